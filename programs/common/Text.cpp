// Text.cpp - see Text.h.
#include "Text.h"

namespace vkp {

std::string Upper(const std::string& text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

bool EqualNoCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 'a' + 'A');
    if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 'a' + 'A');
    if (x != y) return false;
  }
  return true;
}

std::vector<std::string> SplitPath(const std::string& path) {
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('\\', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) out.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

std::string JoinPath(const std::vector<std::string>& components, size_t count) {
  std::string out;
  for (size_t i = 0; i < components.size() && i < count; ++i) {
    if (i) out += '\\';
    out += components[i];
  }
  return out;
}

bool PathIsUnder(const std::string& path, const std::string& root) {
  std::string r = root;
  while (!r.empty() && r.back() == '\\') r.pop_back();
  if (path.size() < r.size() || !EqualNoCase(path.substr(0, r.size()), r)) return false;
  return path.size() == r.size() || path[r.size()] == '\\';
}

std::string ShortRootName(const std::string& name) {
  static const char* const kRoots[][2] = {
      {"HKLM", "HKEY_LOCAL_MACHINE"}, {"HKCU", "HKEY_CURRENT_USER"}, {"HKCR", "HKEY_CLASSES_ROOT"},
      {"HKU", "HKEY_USERS"},          {"HKCC", "HKEY_CURRENT_CONFIG"}};
  for (const auto& root : kRoots)
    if (EqualNoCase(name, root[0]) || EqualNoCase(name, root[1])) return root[0];
  return "";
}

std::string NormalizeKeyPath(const std::string& path) {
  std::vector<std::string> parts = SplitPath(path);
  if (parts.empty()) return "";
  std::string root = ShortRootName(parts[0]);
  if (root.empty()) return "";
  parts[0] = root;
  return JoinPath(parts);
}

std::string UpperExtension(const std::string& path) {
  size_t slash = path.find_last_of('\\');
  size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  return Upper(path.substr(dot + 1));
}

}  // namespace vkp
