// vkrecord: records what an installation leaves in a link database, says what removing
// an application would mean, and answers the database's dependency questions. See
// Arguments.h for the command line and README.md for examples.
#include <stdio.h>

#include "Arguments.h"
#include "Commands.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  vkp::Arguments parsed;
  std::string error;
  if (!vkp::ParseArguments(args, &parsed, &error)) {
    fprintf(stderr, "vkrecord: %s\n%s", error.c_str(), vkp::kUsage);
    return 2;
  }
  if (parsed.command == "help") {
    fputs(vkp::kUsage, stdout);
    return 0;
  }
  if (parsed.command == "record") return vkp::RunRecord(parsed);
  if (parsed.command == "scan") return vkp::RunScan(parsed);
  if (parsed.command == "plan") return vkp::RunPlan(parsed);
  if (parsed.command == "deps") return vkp::RunDeps(parsed);
  return vkp::RunWho(parsed);
}
