// UTILS::CUtilsPath: collecting the tree below a path into the object's lists (the
// directory walk and the registry walk), the counts, and the path's element at the
// walk's level.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"

#include <memory>
#include <string>

#include "PathText.h"
#include "UtilsRegistry"

namespace UTILS {

namespace {

// Read-only, hidden and system: entries with any of them are skipped unless the
// object scans read-only entries too.
const DWORD kSkippedAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

class FindHandle {
 public:
  explicit FindHandle(HANDLE handle) : m_hFind(handle) {}
  ~FindHandle() {
    if (m_hFind != INVALID_HANDLE_VALUE) ::FindClose(m_hFind);
  }
  bool Valid() const { return m_hFind != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return m_hFind; }

 private:
  FindHandle(const FindHandle&);
  FindHandle& operator=(const FindHandle&);
  HANDLE m_hFind;
};

}  // namespace

const int CUtilsPath::SearchTree(const UtilsString& pattern) {
  UtilsString given(pattern.c_str());
  ScopedLock hold(m_Lock);
  CloseTreeSearch();
  UtilsString path(m_Path.c_str());
  if (m_IsReg) return FindAllValues(path) ? 1 : 0;
  if (!IsADirLocked(0)) return 0;
  return FindAllFiles(path, given) ? 1 : 0;
}

const int CUtilsPath::Search(const UtilsString& pattern) { return SearchTree(pattern); }

const int CUtilsPath::FindAllFiles(const UtilsString& dir, const UtilsString& pattern) {
  ScopedLock hold(m_Lock);
  if (dir.length() == 0) return RefuseEmpty(LINE_FINDALLFILES_NULL);
  std::string base = dir.GetSTLString();
  WIN32_FIND_DATAA data;
  FindHandle find(::FindFirstFileA((base + "\\" + pattern.GetSTLString()).c_str(), &data));
  if (!find.Valid()) {
    DWORD error = ::GetLastError();
    // No match in an existing directory is an empty level, not a failure.
    if (error == ERROR_FILE_NOT_FOUND) return 1;
    if (m_ExceptionHandling)
      throw std_exception(kFindFileError, kFileCUtilsPath, TYPE_PATH, LINE_FINDALLFILES_FIND_ERROR,
                          error, 1);
    return 0;
  }
  do {
    std::string name = data.cFileName;
    if (name == "." || name == "..") continue;
    if ((data.dwFileAttributes & kSkippedAttributes) && !m_ScanRO) continue;
    std::string full = base + "\\" + name;
    m_DirSize += data.nFileSizeLow;
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      ++m_TotalSubDirs;
      m_Dirs.AddString(UtilsString(full));
      if (!FindAllFiles(UtilsString(full), pattern)) return 0;
    } else {
      ++m_TotalFiles;
      m_Files.AddString(UtilsString(full));
    }
  } while (::FindNextFileA(find.Get(), &data));
  return 1;
}

const int CUtilsPath::FindAllValues(const UtilsString& key) {
  ScopedLock hold(m_Lock);
  if (key.length() == 0) return RefuseEmpty(LINE_FINDALLVALUES_NULL);
  // A key that cannot be opened fails the walk, with the registry's own exception when
  // the object throws.
  std::unique_ptr<UtilsRegistry> opened;
  try {
    opened.reset(new UtilsRegistry(key, 0, 0));
  } catch (std_exception&) {
    if (m_ExceptionHandling) throw;
    return 0;
  }

  std::string base = key.GetSTLString();
  UtilsString name;
  // Keys are listed after everything below them.
  for (unsigned long i = 0; opened->EnumKey(i, name, 0); ++i) {
    ++m_TotalSubDirs;
    std::string sub = base + "\\" + name.GetSTLString();
    if (!FindAllValues(UtilsString(sub))) return 0;
    m_Dirs.AddString(UtilsString(sub));
  }
  // With the read-only switch on, a registry walk lists keys only.
  if (!m_ScanRO) {
    UtilsString value;
    for (unsigned long i = 0; opened->EnumValue(i, name, value, 0); ++i) {
      m_Files.AddString(name);
      ++m_TotalFiles;
    }
  }
  return 1;
}

const int CUtilsPath::CloseTreeSearch() {
  ScopedLock hold(m_Lock);
  try {
    m_Files.RemoveAllStrings();
    m_Dirs.RemoveAllStrings();
  } catch (...) {
  }
  Clear(0);
  return 1;
}

const int CUtilsPath::ResetTreeSearch() {
  ScopedLock hold(m_Lock);
  m_FileCursor = 0;
  m_DirCursor = 0;
  return 1;
}

unsigned long CUtilsPath::GetTotalFiles() const {
  ScopedLock hold(m_Lock);
  return m_TotalFiles;
}
unsigned long CUtilsPath::GetTotalValues() const { return GetTotalFiles(); }
unsigned long CUtilsPath::GetTotalSubDirs() const {
  ScopedLock hold(m_Lock);
  return m_TotalSubDirs;
}
unsigned long CUtilsPath::GetTotalSubKeys() const { return GetTotalSubDirs(); }

const int CUtilsPath::GetDirFolder(UtilsString& folder) {
  UtilsString element;
  if (!UpperDirParse(element, 0) || element.length() == 0) return 0;
  folder = element;
  return 1;
}
const int CUtilsPath::GetDirFolder(char* folder) {
  if (!folder) return 0;
  UtilsString element;
  if (!GetDirFolder(element)) return 0;
  std::string text = element.GetSTLString();
  text.copy(folder, text.size());
  folder[text.size()] = '\0';
  return 1;
}
const int CUtilsPath::GetKeyFolder(UtilsString& folder) { return GetDirFolder(folder); }
const int CUtilsPath::GetKeyFolder(char* folder) { return GetDirFolder(folder); }

}  // namespace UTILS
