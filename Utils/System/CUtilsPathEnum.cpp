// UTILS::CUtilsPath: reading what the tree search collected (the retrieval cursors),
// sorting it, the path relative to the current directory, and creating and deleting
// directories, trees and registry keys.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"

#include <cstring>
#include <stdexcept>
#include <string>

#include "PathText.h"
#include "UtilsRegistry"
#include "diskio"

namespace UTILS {

namespace {

int CopyOut(const UtilsString& text, char* out) {
  if (!out) return 0;
  std::memcpy(out, text.c_str(), text.length() + 1);
  return 1;
}

// The error of a CreateDirectoryA call on `dir` (0 on success).
DWORD MakeDirectory(const std::string& dir) {
  return ::CreateDirectoryA(dir.c_str(), 0) ? 0 : ::GetLastError();
}

bool Gone(const std::string& path) {
  return ::GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES;
}

// Case-insensitive search in the system's sense of path names.
size_t FindIgnoringCase(const std::string& text, const std::string& part) {
  if (part.empty() || part.size() > text.size()) return std::string::npos;
  for (size_t at = 0; at + part.size() <= text.size(); ++at)
    if (::CompareStringA(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, text.c_str() + at,
                         static_cast<int>(part.size()), part.c_str(),
                         static_cast<int>(part.size())) == CSTR_EQUAL)
      return at;
  return std::string::npos;
}

}  // namespace

// ---- retrieval ------------------------------------------------------------------------

const int CUtilsPath::RetrieveEntry(UtilsStringList& list, unsigned long& cursor, int next,
                                    UtilsString& out) {
  UtilsString entry;
  {
    ScopedLock hold(m_Lock);
    // Past the end the cursor stops one beyond the last entry, so that a following
    // "First" also answers 0 until the search is reset.
    if (next && cursor < list.size()) ++cursor;
    try {
      entry = list.RetrieveUString(cursor);
    } catch (std::out_of_range&) {
      return 0;
    }
  }
  out = entry;
  return 1;
}

#define UTILS_PATH_RETRIEVE(NAME, LIST, CURSOR, NEXT)                  \
  const int CUtilsPath::NAME(UtilsString& out) {                       \
    return RetrieveEntry(LIST, CURSOR, NEXT, out);                     \
  }                                                                    \
  const int CUtilsPath::NAME(char* out) {                              \
    if (!out) return 0;                                                \
    UtilsString text;                                                  \
    return RetrieveEntry(LIST, CURSOR, NEXT, text) && CopyOut(text, out); \
  }                                                                    \
  const int CUtilsPath::NAME(CUtilsPath& out) {                        \
    UtilsString text;                                                  \
    if (!RetrieveEntry(LIST, CURSOR, NEXT, text)) return 0;            \
    return out.SetDir(text);                                           \
  }
UTILS_PATH_RETRIEVE(RetrieveFirstFile, m_Files, m_FileCursor, 0)
UTILS_PATH_RETRIEVE(RetrieveNextFile, m_Files, m_FileCursor, 1)
UTILS_PATH_RETRIEVE(RetrieveFirstDir, m_Dirs, m_DirCursor, 0)
UTILS_PATH_RETRIEVE(RetrieveNextDir, m_Dirs, m_DirCursor, 1)
UTILS_PATH_RETRIEVE(RetrieveFirstValue, m_Files, m_FileCursor, 0)
UTILS_PATH_RETRIEVE(RetrieveNextValue, m_Files, m_FileCursor, 1)
UTILS_PATH_RETRIEVE(RetrieveFirstKey, m_Dirs, m_DirCursor, 0)
UTILS_PATH_RETRIEVE(RetrieveNextKey, m_Dirs, m_DirCursor, 1)
#undef UTILS_PATH_RETRIEVE

// The expanded forms: the entry, and its name and extension split as GetFileNameFromPath
// splits them.
#define UTILS_PATH_EXPANDED(NAME, NEXT)                                                      \
  const int CUtilsPath::NAME(UtilsString& full, UtilsString& name, UtilsString& ext,        \
                             int firstDot) {                                               \
    UtilsString entry;                                                                     \
    if (!RetrieveEntry(m_Files, m_FileCursor, NEXT, entry)) return 0;                      \
    GetFileNameFromPath(entry, name, ext, firstDot);                                       \
    full = entry;                                                                          \
    return 1;                                                                              \
  }                                                                                        \
  const int CUtilsPath::NAME(char* full, char* name, char* ext, int firstDot) {            \
    if (!full || !name || !ext) return 0;                                                  \
    UtilsString entry;                                                                     \
    if (!RetrieveEntry(m_Files, m_FileCursor, NEXT, entry)) return 0;                      \
    CopyOut(entry, full);                                                                  \
    GetFileNameFromPath(full, name, ext, firstDot);                                        \
    return 1;                                                                              \
  }
UTILS_PATH_EXPANDED(RetrieveFirstFileExpanded, 0)
UTILS_PATH_EXPANDED(RetrieveNextFileExpanded, 1)
#undef UTILS_PATH_EXPANDED

// ---- sorting --------------------------------------------------------------------------

const int CUtilsPath::SortFiles() {
  ScopedLock hold(m_Lock);
  m_Files.SetCase(0);
  m_Files.Sort(0);
  return 1;
}
const int CUtilsPath::SortValues() { return SortFiles(); }
const int CUtilsPath::SortDirs() {
  ScopedLock hold(m_Lock);
  m_Dirs.SetCase(0);
  m_Dirs.Sort(0);
  return 1;
}
const int CUtilsPath::SortKeys() { return SortDirs(); }

// ---- the path relative to the current directory ---------------------------------------

const int CUtilsPath::GetSubDirFolder(UtilsString& folder) {
  std::string current = UGetCurrentDir().GetSTLString();
  std::string answer;
  {
    ScopedLock hold(m_Lock);
    m_ParentLevel = 0;
    if (m_IsReg || current.empty()) return 0;
    vkl::pathtext::CutEndingSlash(current);
    const std::string path = m_Path.GetSTLString();
    // The current directory, or the nearest of its parents, found inside the path.
    std::string inside = current;
    unsigned long climbed = 0;
    size_t at;
    while ((at = FindIgnoringCase(path, inside)) == std::string::npos) {
      if (!vkl::pathtext::ParentAt(current, ++climbed, inside)) return 0;
    }
    for (unsigned long i = 0; i < climbed; ++i) answer += i ? "\\.." : "..";
    answer += path.substr(0, at) + path.substr(at + inside.size());
  }
  folder = answer;
  return 1;
}

const int CUtilsPath::GetSubDirFolder(char* folder) {
  if (!folder) return 0;
  UtilsString text;
  return GetSubDirFolder(text) && CopyOut(text, folder);
}

// ---- creating -------------------------------------------------------------------------

const int CUtilsPath::CreateDirectoryA(int parentOnly) {
  ScopedLock hold(m_Lock);
  if (m_Path.length() == 0) return 0;
  const std::string path = m_Path.GetSTLString();
  if (m_IsReg) {
    try {
      UtilsRegistry key(m_Path, 1, 1);
    } catch (std_exception&) {
      if (m_ExceptionHandling) throw;
      return 0;
    }
    return 1;
  }

  // Levels are counted from the path: the target itself is level 0 or, for a file or
  // when only the parent is asked for, level 1.
  const unsigned long base = (parentOnly || IsAFileLocked(0)) ? 1 : 0;
  std::string dir;
  if (!vkl::pathtext::ParentAt(path, base, dir)) return 0;
  m_ParentLevel = 0;
  DWORD error = MakeDirectory(dir);
  if (error != ERROR_PATH_NOT_FOUND) return 1;

  // Climb until a level can be made or already exists...
  bool made = false;
  while (error == ERROR_PATH_NOT_FOUND &&
         vkl::pathtext::ParentAt(path, base + m_ParentLevel + 1, dir)) {
    ++m_ParentLevel;
    error = MakeDirectory(dir);
    made = error == 0;
  }
  if (!made && error != ERROR_ALREADY_EXISTS) {
    m_ParentLevel = 0;
    return 0;
  }
  // ...then make the levels below it again, down to the target.
  while (m_ParentLevel > 0) {
    --m_ParentLevel;
    if (!vkl::pathtext::ParentAt(path, base + m_ParentLevel, dir) || MakeDirectory(dir) != 0)
      break;
  }
  m_ParentLevel = 0;
  return 1;
}

const int CUtilsPath::Create(int parentOnly) { return CreateDirectoryA(parentOnly); }
const int CUtilsPath::CreatePath(int parentOnly) { return CreateDirectoryA(parentOnly); }

// ---- deleting -------------------------------------------------------------------------

const int CUtilsPath::DeleteDir() {
  ScopedLock hold(m_Lock);
  const std::string path = m_Path.GetSTLString();
  std::string parent;
  bool hasParent = vkl::pathtext::ParentAt(path, 1, parent);
  try {
    if (m_IsReg) {
      UtilsRegistry registry;
      if (!registry.RegDeleteKeyA(m_Path, 1)) return 0;
      if (hasParent) SetPath(UtilsString(parent), UtilsString(""));
      return 1;
    }
    DiskIO disk;
    if (IsAFileLocked(0)) {
      disk.Delete(path.c_str(), m_ScanRO);
      return 1;
    }
    if (!IsADirLocked(0)) return 0;
    if (m_TotalFiles == 0 && m_TotalSubDirs == 0) {
      if (!SearchTree(UtilsString("*.*"))) return 0;
    } else {
      m_FileCursor = 0;
      m_DirCursor = 0;
    }
    for (unsigned long i = 0, n = m_Files.size(); i < n; ++i)
      disk.Delete(m_Files.Retrieve(i), m_ScanRO);
    m_FileCursor = 0;
    // Directories are listed before what they hold; removing one removes the empty
    // directories below it too, so entries already gone are passed over.
    for (unsigned long i = 0, n = m_Dirs.size(); i < n; ++i) {
      const char* dir = m_Dirs.Retrieve(i);
      if (!Gone(dir)) disk.DeleteDir(dir, m_ScanRO);
    }
    m_DirCursor = 0;
    disk.DeleteDir(path.c_str(), 0);
  } catch (std_exception&) {
    if (m_ExceptionHandling) throw;
    return 0;
  }
  if (hasParent) SetPath(UtilsString(parent), UtilsString(""));
  return 1;
}

const int CUtilsPath::Delete() { return DeleteDir(); }
const int CUtilsPath::DeletePath() { return DeleteDir(); }
const int CUtilsPath::DeleteDirectory() { return DeleteDir(); }

}  // namespace UTILS
