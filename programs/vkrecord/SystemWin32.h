// SystemWin32.h - vkrecord's questions to Windows: the folders and keys watched by
// default, the Start-menu folders, the release, and the SystemProbe of the follow-ups
// (files, imports, shortcuts, registry text), answered with the library's own classes
// where it has them (CUtilsPath, UtilsRegistry, CNTAdminObject).
#ifndef VKRECORD_SYSTEM_WIN32_H
#define VKRECORD_SYSTEM_WIN32_H

#include <string>
#include <vector>

#include "Followups.h"

namespace vkp {

class Win32Probe : public SystemProbe {
 public:
  std::string ExistingFile(const std::string& path) override;
  PeImports Imports(const std::string& path) override;
  std::string ShortcutTarget(const std::string& link) override;
  // The text of a string value (REG_SZ, REG_EXPAND_SZ expanded); false for other types.
  bool ValueText(const std::string& key, const std::string& name, std::string* text);
  std::vector<std::string> ImportFolders(const std::string& folder) override;
};

// The Program Files folders, the Windows folder, the common and per-user application
// data folders and Start menus, each once and none inside another.
std::vector<std::string> DefaultFolders();
// HKLM\SOFTWARE and HKCU\Software.
std::vector<std::string> DefaultKeys();
// The common and per-user Start menus.
std::vector<std::string> StartMenuFolders();
// Whether a path names an existing folder.
bool IsFolder(const std::string& path);
// The release as CNTAdminObject::GetOS reports it (an ostype value).
int ReleaseProbe();
// The text of a system error code.
std::string ErrorText(unsigned long code);
// Drops paths that lie inside another of the list (and repeats), keeping the order.
std::vector<std::string> OutermostOnly(const std::vector<std::string>& paths);

}  // namespace vkp

#endif
