// Arguments.cpp - see Arguments.h.
#include "Arguments.h"

#include "Text.h"

namespace vkp {

const char kUsage[] =
    "usage:\n"
    "  vkrecord record --db DIR --app NAME [--root PATH]... [--key KEY]... [--even-if-failed] -- COMMAND [ARGS...]\n"
    "  vkrecord scan   --db DIR --app NAME PATH|KEY...\n"
    "  vkrecord plan   --db DIR --app NAME [--json]\n"
    "  vkrecord deps   --db DIR --app NAME [--json]\n"
    "  vkrecord who    --db DIR PATH|KEY [--json]\n";

namespace {
bool Takes(const std::string& command, const std::string& option) {
  if (option == "--db") return true;
  if (option == "--app") return command != "who";
  if (option == "--root" || option == "--key" || option == "--even-if-failed") return command == "record";
  if (option == "--json") return command == "plan" || command == "deps" || command == "who";
  return false;
}
}  // namespace

bool ParseArguments(const std::vector<std::string>& args, Arguments* out, std::string* error) {
  *out = Arguments();
  if (args.empty()) {
    *error = "no command given";
    return false;
  }
  out->command = args[0];
  if (out->command == "help" || out->command == "--help" || out->command == "-h") {
    out->command = "help";
    return true;
  }
  const std::string& c = out->command;
  if (c != "record" && c != "scan" && c != "plan" && c != "deps" && c != "who") {
    *error = "unknown command '" + c + "'";
    return false;
  }
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--" && c == "record") {
      out->commandLine.assign(args.begin() + i + 1, args.end());
      break;
    }
    if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
      if (!Takes(c, a)) {
        *error = "'" + c + "' takes no option " + a;
        return false;
      }
      if (a == "--json") {
        out->json = true;
        continue;
      }
      if (a == "--even-if-failed") {
        out->evenIfFailed = true;
        continue;
      }
      if (i + 1 >= args.size() || args[i + 1].empty()) {
        *error = a + " needs a value";
        return false;
      }
      const std::string& value = args[++i];
      if (a == "--db" || a == "--app") {
        std::string& slot = a == "--db" ? out->db : out->app;
        if (!slot.empty()) {
          *error = a + " given twice";
          return false;
        }
        slot = value;
      } else if (a == "--root") {
        out->roots.push_back(value);
      } else {
        if (NormalizeKeyPath(value).empty()) {
          *error = "--key needs a registry key beginning with its root, such as HKLM\\SOFTWARE: " + value;
          return false;
        }
        out->keys.push_back(value);
      }
      continue;
    }
    if (c == "scan" || c == "who") {
      out->targets.push_back(a);
      continue;
    }
    *error = "'" + c + "' takes no argument '" + a + "'" + (c == "record" ? " (the command follows --)" : "");
    return false;
  }
  if (out->db.empty()) {
    *error = "'" + c + "' needs --db DIR";
    return false;
  }
  if (c != "who" && out->app.empty()) {
    *error = "'" + c + "' needs --app NAME";
    return false;
  }
  if (c == "record" && out->commandLine.empty()) {
    *error = "'record' needs the command to run after --";
    return false;
  }
  if (c == "scan" && out->targets.empty()) {
    *error = "'scan' needs at least one folder, file or key";
    return false;
  }
  if (c == "who" && out->targets.size() != 1) {
    *error = "'who' needs exactly one path or key";
    return false;
  }
  return true;
}

std::string QuoteCommandLine(const std::vector<std::string>& args) {
  std::string line;
  for (const std::string& a : args) {
    if (!line.empty()) line += ' ';
    if (!a.empty() && a.find_first_of(" \t\"") == std::string::npos) {
      line += a;
      continue;
    }
    line += '"';
    size_t backslashes = 0;
    for (char ch : a) {
      if (ch == '\\') {
        ++backslashes;
        continue;
      }
      if (ch == '"') backslashes = backslashes * 2 + 1;
      line.append(backslashes, '\\');
      backslashes = 0;
      line += ch;
    }
    line.append(backslashes * 2, '\\');
    line += '"';
  }
  return line;
}

}  // namespace vkp
