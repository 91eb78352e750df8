// UTILS::CUtilsPath: the parts of a path (drive or root key, file name and extension,
// elements and parents), what the path names on disk (file or directory, size), and
// its long and short forms.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"

#include <cstring>
#include <string>
#include <vector>

#include "PathText.h"

namespace UTILS {

namespace {

thread_local char t_ShortName[PATH_NAME_BUFFER_SIZE];
thread_local char t_LongName[PATH_NAME_BUFFER_SIZE];

typedef DWORD(WINAPI* PFNGETLONGPATHNAMEA)(LPCSTR, LPSTR, DWORD);

int CopyOut(const std::string& text, char* out) {
  if (!out) return 0;
  std::memcpy(out, text.c_str(), text.size() + 1);
  return 1;
}

// Closes a find handle on every way out.
class FindHandle {
 public:
  explicit FindHandle(HANDLE handle) : m_hFind(handle) {}
  ~FindHandle() {
    if (m_hFind != INVALID_HANDLE_VALUE) ::FindClose(m_hFind);
  }
  bool Valid() const { return m_hFind != INVALID_HANDLE_VALUE; }

 private:
  FindHandle(const FindHandle&);
  FindHandle& operator=(const FindHandle&);
  HANDLE m_hFind;
};

}  // namespace

// ---- drive and root key ---------------------------------------------------------------

UtilsString CUtilsPath::UGetDrive() const {
  std::string drive;
  {
    ScopedLock hold(m_Lock);
    vkl::pathtext::ElementAt(m_Path.GetSTLString(), 0, drive);
  }
  return UtilsString(drive);
}
const int CUtilsPath::GetDrive(char* drive) const {
  return CopyOut(UGetDrive().GetSTLString(), drive);
}
const int CUtilsPath::GetDrive(UtilsString& drive) const {
  drive = UGetDrive();
  return 1;
}
UtilsString CUtilsPath::UGetRootKey() const { return UGetDrive(); }
const int CUtilsPath::GetRootKey(char* root) const { return GetDrive(root); }
const int CUtilsPath::GetRootKey(UtilsString& root) const { return GetDrive(root); }

// ---- file name and extension ------------------------------------------------------------

const int CUtilsPath::GetFileNameFromPath(const UtilsString& path, UtilsString& name,
                                          UtilsString& ext, int firstDot) {
  std::string text = path.GetSTLString(), n, e;
  int found = vkl::pathtext::SplitFileName(text.c_str(), text.size(), n, e, firstDot != 0);
  name = n;
  ext = e;
  return found;
}

const int CUtilsPath::GetFileNameFromPath(const char* path, char* name, char* ext,
                                          int firstDot) {
  if (!path || !name || !ext) return 0;
  std::string n, e;
  int found = vkl::pathtext::SplitFileName(path, std::strlen(path), n, e, firstDot != 0);
  CopyOut(n, name);
  CopyOut(e, ext);
  return found;
}

// ---- the parent walk ----------------------------------------------------------------------

const int CUtilsPath::ParentAtLevel(unsigned long levels, UtilsString& parent) {
  std::string text;
  {
    ScopedLock hold(m_Lock);
    if (!vkl::pathtext::ParentAt(m_Path.GetSTLString(), levels, text)) return 0;
  }
  parent = text;
  return 1;
}

const int CUtilsPath::UpperDirParse(UtilsString& element, int direction) {
  std::string text;
  {
    ScopedLock hold(m_Lock);
    std::string path = m_Path.GetSTLString();
    unsigned long count = vkl::pathtext::CountElements(path);
    if (m_ParentLevel >= count) return 0;
    unsigned long index = direction ? count - 1 - m_ParentLevel : m_ParentLevel;
    vkl::pathtext::ElementAt(path, index, text);
  }
  element = text;
  return 1;
}

// One level higher than the last call: the level is moved only when there is a parent.
const int CUtilsPath::ParentStep(UtilsString& out) {
  std::string text;
  {
    ScopedLock hold(m_Lock);
    if (!vkl::pathtext::ParentAt(m_Path.GetSTLString(), m_ParentLevel + 1, text)) return 0;
    ++m_ParentLevel;
  }
  out = text;
  return 1;
}

const int CUtilsPath::ElementStep(UtilsString& out, int direction) {
  UtilsString element;
  {
    ScopedLock hold(m_Lock);
    if (!UpperDirParse(element, direction)) return 0;
    ++m_ParentLevel;
  }
  out = element;
  return 1;
}

#define UTILS_PATH_WALK(NAME, STEP)                                  \
  const int CUtilsPath::NAME(UtilsString& out) { return STEP; }      \
  const int CUtilsPath::NAME(CUtilsPath& out) {                      \
    UtilsString text;                                                \
    if (!NAME(text)) return 0;                                       \
    out = text;                                                      \
    return 1;                                                        \
  }                                                                  \
  const int CUtilsPath::NAME(char* out) {                            \
    if (!out) return 0;                                              \
    UtilsString text;                                                \
    if (!NAME(text)) return 0;                                       \
    return CopyOut(text.GetSTLString(), out);                        \
  }
UTILS_PATH_WALK(GetParentDir, ParentStep(out))
UTILS_PATH_WALK(GetNextParentDir, ElementStep(out, 0))
UTILS_PATH_WALK(GetPrevParentDir, ElementStep(out, 1))
UTILS_PATH_WALK(GetParentKey, ParentStep(out))
UTILS_PATH_WALK(GetNextParentKey, ElementStep(out, 0))
UTILS_PATH_WALK(GetPrevParentKey, ElementStep(out, 1))
#undef UTILS_PATH_WALK

const int CUtilsPath::ResetParentSearch() {
  ScopedLock hold(m_Lock);
  m_ParentLevel = 0;
  return 1;
}
const int CUtilsPath::CloseParentSearch() { return ResetParentSearch(); }

// ---- kind and size ----------------------------------------------------------------------

const int CUtilsPath::IsAFileLocked(WIN32_FIND_DATAA* found) {
  ScopedLock hold(m_Lock);
  // A key is never a file: the flag must not keep the answer about an earlier path.
  if (m_IsReg) return m_IsFile = 0;
  WIN32_FIND_DATAA data;
  FindHandle find(::FindFirstFileA(m_Path.c_str(), &data));
  m_IsFile = find.Valid() && !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
  if (find.Valid() && found) *found = data;
  return m_IsFile;
}

const int CUtilsPath::IsADirLocked(WIN32_FIND_DATAA* found) {
  ScopedLock hold(m_Lock);
  if (m_IsReg) return 0;
  WIN32_FIND_DATAA data;
  FindHandle find(::FindFirstFileA(m_Path.c_str(), &data));
  if (!find.Valid()) return 0;
  if (found) *found = data;
  return (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? 1 : 0;
}

static_assert(sizeof(WIN32_FIND_DATAA) == 320, "the find data handed back is 320 bytes");

const int CUtilsPath::IsAFile() { return IsAFileLocked(0); }
// The search is closed at once here too: nothing could ever close a handle left open.
const int CUtilsPath::IsAFile(WIN32_FIND_DATAA& found) { return IsAFileLocked(&found); }
const int CUtilsPath::IsADir() { return IsADirLocked(0); }
const int CUtilsPath::IsADir(WIN32_FIND_DATAA& found) { return IsADirLocked(&found); }
const int CUtilsPath::DirExists() { return IsADir(); }

unsigned long CUtilsPath::GetFileSize() {
  ScopedLock hold(m_Lock);
  if (m_IsReg) return 0;
  WIN32_FIND_DATAA data;
  FindHandle find(::FindFirstFileA(m_Path.c_str(), &data));
  return find.Valid() ? data.nFileSizeLow : 0;
}

unsigned long long CUtilsPath::GetDirSize() const {
  ScopedLock hold(m_Lock);
  return m_DirSize;
}
const int CUtilsPath::GetFileFlag() const {
  ScopedLock hold(m_Lock);
  return m_IsFile;
}
const int CUtilsPath::GetRegFlag() const {
  ScopedLock hold(m_Lock);
  return m_IsReg;
}
const int CUtilsPath::IsARegEntry() const { return GetRegFlag(); }

// ---- long and short names -------------------------------------------------------------------

char* CUtilsPath::GetShortPathNameA() {
  UtilsString path;
  {
    ScopedLock hold(m_Lock);
    if (m_IsReg) return 0;
    path = m_Path.c_str();
  }
  return GetShortPathNameA(path);
}

char* CUtilsPath::GetShortPathNameA(const UtilsString& path) {
  if (PathIsRegistry(path)) return 0;
  DWORD n = ::GetShortPathNameA(path.c_str(), t_ShortName, PATH_NAME_BUFFER_SIZE);
  if (n == 0 || n >= PATH_NAME_BUFFER_SIZE) {
    t_ShortName[0] = '\0';
    return 0;
  }
  return t_ShortName;
}

char* CUtilsPath::GetLongPathNameA() {
  UtilsString path;
  {
    ScopedLock hold(m_Lock);
    if (m_IsReg) return 0;
    path = m_Path.c_str();
  }
  return GetLongPathNameA(path);
}

char* CUtilsPath::GetLongPathNameA(const UtilsString& path) {
  if (PathIsRegistry(path)) return 0;
  UtilsString longPath;
  if (!UGetLongPathFromShort(path, longPath, PATH_NAME_BUFFER_SIZE) ||
      longPath.length() >= PATH_NAME_BUFFER_SIZE) {
    t_LongName[0] = '\0';
    return 0;
  }
  std::memcpy(t_LongName, longPath.c_str(), longPath.length() + 1);
  return t_LongName;
}

const int CUtilsPath::UGetLongPathFromShort(const UtilsString& shortPath, UtilsString& longPath,
                                            unsigned long bufferSize) {
  UtilsString given(shortPath);
  {
    // A path without a first element of its own (a network path, nothing at all) and
    // the bare root are their own long form.
    CUtilsPath full(given, 0, 0, 0);
    UtilsString folder;
    if (!full.GetDirFolder(folder) || given.Compare("\\") == 0) {
      longPath = given;
      return 1;
    }
  }
  HMODULE kernel = ::GetModuleHandleA("kernel32.dll");
  PFNGETLONGPATHNAMEA system =
      kernel ? reinterpret_cast<PFNGETLONGPATHNAMEA>(
                   reinterpret_cast<void (*)()>(::GetProcAddress(kernel, "GetLongPathNameA")))
             : 0;
  if (!system) return RebuildLongPathName(given, longPath);
  std::vector<char> buffer(bufferSize ? bufferSize : 1, '\0');
  DWORD n = system(given.c_str(), &buffer[0], bufferSize);
  if (n == 0 || n >= bufferSize) return 0;
  longPath = &buffer[0];
  return 1;
}

const int CUtilsPath::RebuildLongPathName(const UtilsString& shortPath, UtilsString& longPath) {
  std::string given = shortPath.GetSTLString();
  std::string current = CUtilsPath(shortPath, 0, 0, 0).UGetPath().GetSTLString();
  // No "insert a disk" box for a drive without a medium while the elements are looked up.
  UINT oldMode = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  std::vector<std::string> leafFirst;
  for (;;) {
    if (current.size() == 2 && current[1] == ':') break;
    WIN32_FIND_DATAA data;
    {
      FindHandle find(::FindFirstFileA(current.c_str(), &data));
      if (!find.Valid()) break;
    }
    leafFirst.push_back(data.cFileName);
    std::string parent;
    if (!vkl::pathtext::ParentAt(current, 1, parent)) break;
    current.swap(parent);
  }
  ::SetErrorMode(oldMode);
  if (leafFirst.empty()) return 0;

  // The drive as the caller wrote it, or the root for a path that begins at one; a
  // root part adds only its separator.
  std::string result;
  if (given.size() > 1 && given[1] == ':') {
    result = given.substr(0, 1) + ":";
  } else if (!given.empty() && given[0] == '\\') {
    result = "";
  } else {
    result = leafFirst.back();
    leafFirst.pop_back();
  }
  for (std::vector<std::string>::reverse_iterator it = leafFirst.rbegin(); it != leafFirst.rend();
       ++it)
    result += "\\" + *it;
  longPath = result;
  return 1;
}

}  // namespace UTILS
