// SystemWin32.cpp - see SystemWin32.h.
#include "SystemWin32.h"

#include <windows.h>

#include "CNTAdminObject"
#include "CUtilsPath"
#include "Text.h"
#include "UtilsRegistry"

namespace vkp {

using UTILS::CUtilsPath;
using UTILS::UtilsRegistry;
using UTILS::UtilsString;

namespace {

// SHGetFolderPathA is taken at run time: shell32 of the first Windows 95 lacks it, and
// shfolder.dll brings it there.
std::string SpecialFolder(int csidl) {
  typedef HRESULT(WINAPI * GetFolderPath)(HWND, int, HANDLE, DWORD, LPSTR);
  static GetFolderPath get = [] {
    for (const char* dll : {"shell32.dll", "shfolder.dll"})
      if (HMODULE module = LoadLibraryA(dll))
        if (FARPROC f = GetProcAddress(module, "SHGetFolderPathA"))
          return reinterpret_cast<GetFolderPath>(reinterpret_cast<void (*)()>(f));
    return static_cast<GetFolderPath>(nullptr);
  }();
  char path[MAX_PATH] = "";
  if (!get || get(nullptr, csidl, nullptr, 0, path) != S_OK) return "";
  return path;
}

// CSIDL numbers (shlobj.h).
const int kProgramFiles = 0x26, kProgramFilesX86 = 0x2a, kWindows = 0x24, kCommonAppData = 0x23,
          kAppData = 0x1a, kCommonStartMenu = 0x16, kStartMenu = 0x0b;

}  // namespace

std::vector<std::string> OutermostOnly(const std::vector<std::string>& paths) {
  std::vector<std::string> out;
  for (size_t i = 0; i < paths.size(); ++i) {
    bool inside = paths[i].empty();
    for (size_t j = 0; j < paths.size() && !inside; ++j) {
      if (i == j) continue;
      bool same = EqualNoCase(paths[i], paths[j]);
      inside = same ? j < i : PathIsUnder(paths[i], paths[j]);
    }
    if (!inside) out.push_back(paths[i]);
  }
  return out;
}

std::vector<std::string> DefaultFolders() {
  std::vector<std::string> folders;
  for (int csidl : {kProgramFiles, kProgramFilesX86, kWindows, kCommonAppData, kAppData, kCommonStartMenu, kStartMenu})
    folders.push_back(SpecialFolder(csidl));
  if (folders[2].empty()) folders[2] = CUtilsPath::UGetWindowsDir().GetSTLString();
  return OutermostOnly(folders);
}

std::vector<std::string> DefaultKeys() { return {"HKLM\\SOFTWARE", "HKCU\\Software"}; }

std::vector<std::string> StartMenuFolders() {
  std::vector<std::string> folders = {SpecialFolder(kCommonStartMenu), SpecialFolder(kStartMenu)};
  return OutermostOnly(folders);
}

bool IsFolder(const std::string& path) {
  DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

int ReleaseProbe() { return static_cast<int>(CNTAdminObject().GetOS()); }

std::string ErrorText(unsigned long code) {
  char buffer[512] = "";
  DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, buffer,
                           sizeof buffer, nullptr);
  std::string text(buffer, n);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' || text.back() == '.'))
    text.pop_back();
  return text.empty() ? "error " + std::to_string(code) : text + " (error " + std::to_string(code) + ")";
}

std::string Win32Probe::ExistingFile(const std::string& path) {
  if (path.empty() || path.find_first_of("*?") != std::string::npos) return "";
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA(path.c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) return "";
  FindClose(find);
  if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return "";
  size_t slash = path.find_last_of('\\');
  return (slash == std::string::npos ? "" : path.substr(0, slash + 1)) + found.cFileName;
}

PeImports Win32Probe::Imports(const std::string& path) { return ReadPeImportsFromFile(path); }

std::string Win32Probe::ShortcutTarget(const std::string& link) {
  CUtilsPath resolver;
  UtilsString target;
  if (!resolver.ResolveLinkFile(UtilsString(link.c_str()), target, 1)) return "";
  return target.GetSTLString();
}

bool Win32Probe::ValueText(const std::string& key, const std::string& name, std::string* text) {
  try {
    UtilsRegistry reg(UtilsString(key.c_str()), 0, 0);
    // The class reads text through a 255-byte buffer; the key's handle reads any length.
    HKEY handle = reg.GetCurrentKey();
    DWORD type = 0, size = 0;
    if (RegQueryValueExA(handle, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return false;
    if (type != REG_SZ && type != REG_EXPAND_SZ) return false;
    std::string data(size + 1, '\0');
    if (RegQueryValueExA(handle, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&data[0]), &size) !=
        ERROR_SUCCESS)
      return false;
    data.resize(strnlen(data.c_str(), data.size()));
    if (type == REG_EXPAND_SZ) {
      char expanded[4096];
      DWORD n = ExpandEnvironmentStringsA(data.c_str(), expanded, sizeof expanded);
      if (n > 0 && n <= sizeof expanded) data = expanded;
    }
    *text = data;
    return true;
  } catch (...) {
    return false;
  }
}

std::vector<std::string> Win32Probe::ImportFolders(const std::string& folder) {
  // The database's resolution asks GetVersionExA once: platform 2, version 4 or later.
  static const bool nt = [] {
    OSVERSIONINFOA info;
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExA(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT && info.dwMajorVersion >= 4;
  }();
  std::string windows = CUtilsPath::UGetWindowsDir().GetSTLString();
  std::vector<std::string> out = {folder, CUtilsPath::UGetSystemDir().GetSTLString()};
  if (nt) out.push_back(windows + "\\SYSTEM");
  out.push_back(windows);
  return out;
}

}  // namespace vkp
