// vkdb: inspects link-database store folders with the library's own loader.
//   vkdb stats DIR...                     what the store holds, counted
//   vkdb dump [--json] DIR...             every object (with its full path) and link
//   vkdb check DIR...                     whether each store is sound
//   vkdb dot --app NAME [--out FILE] DIR  an application's dependency graph for Graphviz
// vkdb never changes a store: it loads a copy of the folder's store files. Exit status:
// 0 done (every store sound), 1 a store is damaged or has problems, 2 bad arguments.
#include <stdio.h>

#include <string>
#include <vector>

#include "Folder.h"
#include "LoadedStore.h"
#include "Output.h"
#include "StoreCheck.h"
#include "StoreImage.h"

namespace {

const char kUsage[] =
    "usage:\n"
    "  vkdb stats DIR...\n"
    "  vkdb dump [--json] DIR...\n"
    "  vkdb check DIR...\n"
    "  vkdb dot --app NAME [--out FILE.dot] DIR\n";

int Usage(const std::string& problem) {
  fprintf(stderr, "vkdb: %s\n%s", problem.c_str(), kUsage);
  return 2;
}

// Inspects one folder; returns 0 when it is sound, 1 otherwise.
int Inspect(const std::string& command, bool json, const std::string& folder) {
  using namespace vkp;
  if (!FolderExists(folder)) {
    fprintf(stderr, "vkdb: no store folder %s\n", folder.c_str());
    return 1;
  }
  StoreImage image = ReadStoreImage(folder, kSeparator);
  if (!image.obj.present && !image.link.present) {
    fprintf(stderr, "vkdb: %s holds no store (no obj.dat, no link.dat)\n", folder.c_str());
    return 1;
  }
  bool unnamed = false;
  for (const RawObject& o : image.objects) unnamed = unnamed || (o.name.empty() && o.id != 1);
  LoadedStore loaded;
  std::string error;
  bool attached = loaded.Load(folder, unnamed, &error);
  if (!attached) fprintf(stderr, "vkdb: %s\n", error.c_str());
  const LoadedStore* view = attached ? &loaded : nullptr;
  CheckResult check = CheckStore(image, view);
  std::string out;
  if (command == "stats")
    out = StatsText(folder, image, view);
  else if (command == "dump")
    out = json ? DumpJson(folder, image, view) : DumpText(folder, image, view);
  else
    out = CheckText(folder, image, check);
  fputs(out.c_str(), stdout);
  if (check.findings.empty()) return 0;
  if (command != "check")
    fprintf(stderr, "vkdb: the store in %s has %lu problems (vkdb check %s lists them)\n", folder.c_str(),
            static_cast<unsigned long>(check.findings.size()), folder.c_str());
  return 1;
}

int Dot(const std::string& app, const std::string& outFile, const std::string& folder) {
  using namespace vkp;
  LoadedStore loaded;
  std::string error, dot;
  if (!loaded.Load(folder, false, &error)) {
    fprintf(stderr, "vkdb: %s\n", error.c_str());
    return 1;
  }
  if (!DependencyDot(loaded, app, &dot, &error)) {
    fprintf(stderr, "vkdb: %s\n", error.c_str());
    return 1;
  }
  if (outFile.empty()) {
    fputs(dot.c_str(), stdout);
    return 0;
  }
  FILE* f = fopen(outFile.c_str(), "wb");
  if (!f || fwrite(dot.data(), 1, dot.size(), f) != dot.size() || fclose(f) != 0) {
    fprintf(stderr, "vkdb: cannot write %s\n", outFile.c_str());
    return 1;
  }
  std::string svg = outFile;
  size_t dotExt = svg.rfind(".dot");
  svg = (dotExt != std::string::npos && dotExt + 4 == svg.size() ? svg.substr(0, dotExt) : svg) + ".svg";
  int rendered = RenderWithDot(outFile, svg);
  if (rendered == 0)
    printf("Wrote %s and %s.\n", outFile.c_str(), svg.c_str());
  else if (rendered < 0)
    printf("Wrote %s (Graphviz's dot is not installed: no SVG).\n", outFile.c_str());
  else
    printf("Wrote %s; dot failed with status %d.\n", outFile.c_str(), rendered);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return Usage("no command given");
  std::string command = args[0];
  if (command == "help" || command == "--help" || command == "-h") {
    fputs(kUsage, stdout);
    return 0;
  }
  if (command != "stats" && command != "dump" && command != "check" && command != "dot")
    return Usage("unknown command '" + command + "'");
  bool json = false;
  std::string app, outFile;
  std::vector<std::string> folders;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--json" && command == "dump") {
      json = true;
    } else if ((a == "--app" || a == "--out") && command == "dot") {
      if (i + 1 >= args.size() || args[i + 1].empty()) return Usage(a + " needs a value");
      (a == "--app" ? app : outFile) = args[++i];
    } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
      return Usage("'" + command + "' takes no option " + a);
    } else {
      folders.push_back(a);
    }
  }
  if (folders.empty()) return Usage("'" + command + "' needs a store folder");
  if (command == "dot") {
    if (app.empty()) return Usage("'dot' needs --app NAME");
    if (folders.size() != 1) return Usage("'dot' takes one store folder");
    return Dot(app, outFile, folders[0]);
  }
  int status = 0;
  for (const std::string& folder : folders)
    if (Inspect(command, json, folder) != 0) status = 1;
  return status;
}
