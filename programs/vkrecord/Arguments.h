// Arguments.h - vkrecord's command line:
//   vkrecord record --db DIR --app NAME [--root PATH]... [--key KEY]... [--even-if-failed] -- COMMAND [ARGS...]
//   vkrecord scan   --db DIR --app NAME PATH|KEY...
//   vkrecord plan   --db DIR --app NAME [--json]
//   vkrecord deps   --db DIR --app NAME [--json]
//   vkrecord who    --db DIR PATH|KEY [--json]
#ifndef VKRECORD_ARGUMENTS_H
#define VKRECORD_ARGUMENTS_H

#include <string>
#include <vector>

namespace vkp {

struct Arguments {
  std::string command;  // record, scan, plan, deps, who; "help" for the usage text
  std::string db;
  std::string app;
  std::vector<std::string> roots;        // record: folders to watch (replacing the default ones)
  std::vector<std::string> keys;         // record: registry keys to watch (replacing the default ones)
  std::vector<std::string> targets;      // scan: what to record; who: the one path asked about
  std::vector<std::string> commandLine;  // record: the command and its arguments
  bool json = false;
  bool evenIfFailed = false;             // record: also when the command reports failure
};

extern const char kUsage[];

// Parses the arguments after the program's name; false with a one-line reason.
bool ParseArguments(const std::vector<std::string>& args, Arguments* out, std::string* error);

// The command line for CreateProcess: each argument quoted where it needs it, by the
// rules the C runtime's parser reads back (backslashes before a quote doubled).
std::string QuoteCommandLine(const std::vector<std::string>& args);

}  // namespace vkp

#endif
