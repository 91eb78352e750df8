// Text.h - small text helpers shared by the programs: ASCII case folding, backslash
// paths split into components and joined again, registry root names.
#ifndef VKPROGRAMS_TEXT_H
#define VKPROGRAMS_TEXT_H

#include <string>
#include <vector>

namespace vkp {

// ASCII upper case (the database and the file system compare names this way).
std::string Upper(const std::string& text);
bool EqualNoCase(const std::string& a, const std::string& b);
// The components of a backslash path, empty ones dropped ("C:\a\\b\" gives C:, a, b).
std::vector<std::string> SplitPath(const std::string& path);
// The first `count` components joined with backslashes (all of them by default).
std::string JoinPath(const std::vector<std::string>& components, size_t count = std::string::npos);
// True when `path` is `root` or lies below it (ASCII case ignored).
bool PathIsUnder(const std::string& path, const std::string& root);
// The short name of a registry root ("HKEY_LOCAL_MACHINE" or "HKLM" gives "HKLM"), or
// an empty text when `name` names no root. Case is ignored.
std::string ShortRootName(const std::string& name);
// A registry path with its root in short form ("HKEY_CURRENT_USER\Software" gives
// "HKCU\Software"), or an empty text when it does not begin with a root.
std::string NormalizeKeyPath(const std::string& path);
// The extension of the last component, in upper case, without the dot ("" if none).
std::string UpperExtension(const std::string& path);

}  // namespace vkp

#endif
