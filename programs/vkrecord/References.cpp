// References.cpp - see References.h.
#include "References.h"

#include <vector>

namespace vkp {

namespace {
bool IsFullPath(const std::string& p) {
  if (p.size() >= 3 && ((p[0] >= 'A' && p[0] <= 'Z') || (p[0] >= 'a' && p[0] <= 'z')) && p[1] == ':' &&
      p[2] == '\\')
    return true;
  return p.size() > 2 && p[0] == '\\' && p[1] == '\\';
}

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t");
  return s.substr(b, e - b + 1);
}
}  // namespace

std::string FileNamedBy(const std::string& given, const std::function<bool(const std::string&)>& isFile) {
  std::string text = Trim(given);
  std::vector<std::string> candidates;
  if (!text.empty() && text[0] == '"') {
    size_t close = text.find('"', 1);
    if (close != std::string::npos) candidates.push_back(text.substr(1, close - 1));
  } else {
    candidates.push_back(text);
    size_t comma = text.find(',');
    if (comma != std::string::npos) candidates.push_back(Trim(text.substr(0, comma)));
    for (const char* cut : {" /", " -"}) {
      size_t at = text.find(cut);
      if (at != std::string::npos) candidates.push_back(Trim(text.substr(0, at)));
    }
  }
  for (const std::string& c : candidates)
    if (IsFullPath(c) && c.size() < 260 && isFile(c)) return c;
  return "";
}

bool MayNameFile(const std::string& given) {
  size_t at = given.find_first_not_of(" \t");
  if (at == std::string::npos) return false;
  std::string text = given.substr(at);
  return text[0] == '"' || IsFullPath(text);
}

}  // namespace vkp
