// SnapshotWin32.cpp - see SnapshotWin32.h.
#include "SnapshotWin32.h"

#include <string.h>
#include <windows.h>

#include "CUtilsPath"
#include "References.h"
#include "Text.h"
#include "UtilsRegistry"

namespace vkp {

using UTILS::CUtilsPath;
using UTILS::UtilsRegistry;
using UTILS::UtilsString;

namespace {

RecordData FileRecord(const WIN32_FIND_DATAA& found) {
  RecordData r;
  r.a = (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
  r.b = (static_cast<uint64_t>(found.ftLastWriteTime.dwHighDateTime) << 32) | found.ftLastWriteTime.dwLowDateTime;
  r.c = found.dwFileAttributes;
  return r;
}

bool IsLinkOrJunction(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }

// The folder's tree, depth first, with each file's size, time and attributes from the
// find data itself. A folder that is a symbolic link or junction is listed but not
// entered: it leads elsewhere (Wine links the profile's Templates folder to the user's
// home, and Windows profiles hold junctions that lead back into themselves).
// CUtilsPath::SearchTree follows them, which is why the walk is done here.
void WalkTree(const std::string& folder, Snapshot* snapshot, Progress* progress) {
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA((folder + "\\*.*").c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) return;
  std::vector<std::string> below;
  SnapshotEntry entry;
  do {
    if (!strcmp(found.cFileName, ".") || !strcmp(found.cFileName, "..")) continue;
    entry.path = folder + "\\" + found.cFileName;
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      entry.kind = Kind::kFolder;
      entry.data = RecordData();
      if (!IsLinkOrJunction(found.dwFileAttributes)) below.push_back(entry.path);
    } else {
      entry.kind = Kind::kFile;
      entry.data = FileRecord(found);
    }
    progress->Add(entry.kind);
    snapshot->Add(entry);
  } while (FindNextFileA(find, &found));
  FindClose(find);
  for (const std::string& sub : below) WalkTree(sub, snapshot, progress);
}

void WalkFolder(const std::string& given, Snapshot* snapshot, Progress* progress, SnapshotReport* report) {
  // The path as CUtilsPath normalises it (full, no closing backslash).
  CUtilsPath place{UtilsString(given.c_str())};
  SnapshotEntry entry;
  entry.path = place.GetPath();
  while (entry.path.size() > 3 && entry.path.back() == '\\') entry.path.pop_back();
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA(entry.path.c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) {
    report->missing.push_back(given);
    return;
  }
  FindClose(find);
  if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
    entry.kind = Kind::kFile;
    entry.data = FileRecord(found);
    snapshot->Add(entry);
    progress->Add(Kind::kFile);
    return;
  }
  entry.kind = Kind::kFolder;
  snapshot->Add(entry);
  progress->Add(Kind::kFolder);
  WalkTree(entry.path, snapshot, progress);
}

// One open key: through UtilsRegistry, whose every open asks for read and write access;
// where that is refused, through a read-only open of the key itself.
class OpenKey {
 public:
  explicit OpenKey(const std::string& path) {
    try {
      m_Reg = new UtilsRegistry(UtilsString(path.c_str()), 0, 0);
      m_Handle = m_Reg->GetCurrentKey();
      return;
    } catch (...) {
    }
    std::vector<std::string> parts = SplitPath(path);
    static const struct {
      const char* name;
      HKEY key;
    } kRoots[] = {{"HKLM", HKEY_LOCAL_MACHINE}, {"HKCU", HKEY_CURRENT_USER}, {"HKCR", HKEY_CLASSES_ROOT},
                  {"HKU", HKEY_USERS},          {"HKCC", HKEY_CURRENT_CONFIG}};
    for (const auto& root : kRoots)
      if (!parts.empty() && parts[0] == root.name) {
        std::string rest = JoinPath(std::vector<std::string>(parts.begin() + 1, parts.end()));
        if (RegOpenKeyExA(root.key, rest.c_str(), 0, KEY_READ, &m_Own) == ERROR_SUCCESS) m_Handle = m_Own;
      }
  }
  ~OpenKey() {
    delete m_Reg;
    if (m_Own) RegCloseKey(m_Own);
  }
  HKEY Handle() const { return m_Handle; }
  // The subkeys' names.
  std::vector<std::string> Subkeys() {
    std::vector<std::string> out;
    UtilsString name;
    for (unsigned long i = 0; m_Handle; ++i) {
      if (m_Reg ? m_Reg->EnumKey(i, name, 0) != 0 : Plain(i, &name)) {
        out.push_back(name.GetSTLString());
        continue;
      }
      long error = m_Reg ? m_Reg->GetLastRegistryError() : m_Error;
      if (error != ERROR_MORE_DATA) break;  // a name too long for the class's buffer is passed over
    }
    return out;
  }

 private:
  bool Plain(unsigned long i, UtilsString* name) {
    char buffer[256];
    DWORD size = sizeof buffer;
    m_Error = RegEnumKeyExA(m_Handle, i, buffer, &size, nullptr, nullptr, nullptr, nullptr);
    if (m_Error != ERROR_SUCCESS) return false;
    *name = buffer;
    return true;
  }

  UtilsRegistry* m_Reg = nullptr;
  HKEY m_Own = nullptr;
  HKEY m_Handle = nullptr;
  long m_Error = 0;
};

// The values of a key, whole: the class's value enumeration reads numbers and binary
// data as their first byte and gives up on data longer than 256 bytes, so the values
// are read through the key's handle.
void ReadValues(HKEY key, const std::string& path, Snapshot* snapshot, Progress* progress) {
  static std::vector<char> name(16384);
  static std::vector<BYTE> data(4096);
  SnapshotEntry entry;
  entry.kind = Kind::kValue;
  entry.path = path;
  for (DWORD i = 0;;) {
    DWORD nameSize = static_cast<DWORD>(name.size()), dataSize = static_cast<DWORD>(data.size()), type = 0;
    LONG r = RegEnumValueA(key, i, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize);
    if (r == ERROR_MORE_DATA && dataSize > data.size()) {
      data.resize(dataSize);
      continue;
    }
    if (r != ERROR_SUCCESS) break;
    entry.name.assign(name.data(), nameSize);
    entry.data.a = Fnv1a64(data.data(), dataSize);
    entry.data.b = dataSize;
    entry.data.c = type;
    entry.text.clear();
    if ((type == REG_SZ || type == REG_EXPAND_SZ) && dataSize > 0) {
      std::string text(reinterpret_cast<const char*>(data.data()), dataSize);
      text.resize(strnlen(text.c_str(), text.size()));
      if (type == REG_EXPAND_SZ && text.find('%') != std::string::npos) {
        char expanded[4096];
        DWORD n = ExpandEnvironmentStringsA(text.c_str(), expanded, sizeof expanded);
        if (n > 0 && n <= sizeof expanded) text = expanded;
      }
      if (MayNameFile(text)) entry.text = text;
    }
    snapshot->Add(entry);
    progress->Add(Kind::kValue);
    ++i;
  }
}

bool WalkKey(const std::string& path, Snapshot* snapshot, Progress* progress) {
  std::vector<std::string> subkeys;
  {
    OpenKey key(path);
    if (!key.Handle()) return false;
    SnapshotEntry entry;
    entry.kind = Kind::kKey;
    entry.path = path;
    snapshot->Add(entry);
    progress->Add(Kind::kKey);
    ReadValues(key.Handle(), path, snapshot, progress);
    subkeys = key.Subkeys();
  }
  for (const std::string& sub : subkeys) WalkKey(path + "\\" + sub, snapshot, progress);
  return true;
}

}  // namespace

SnapshotReport TakeSnapshot(const SnapshotScope& scope, Snapshot* snapshot, Progress* progress) {
  SnapshotReport report;
  for (const std::string& folder : scope.folders) WalkFolder(folder, snapshot, progress, &report);
  for (const std::string& key : scope.keys) {
    std::string path = NormalizeKeyPath(key);
    if (path.empty() || !WalkKey(path, snapshot, progress)) report.missing.push_back(key);
  }
  return report;
}

}  // namespace vkp
