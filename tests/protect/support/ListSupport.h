// Helpers of the Windows tests of the protected lists: the lists as the library holds
// them (read from its resources and inflated with zlib, independently of qfpack.dll),
// their lines expanded as the system's directories give them, the release's pair of
// resources, scratch folders beside the test program, and registry objects in the
// link database.
#ifndef VKLINKDB_TESTS_PROTECT_LIST_SUPPORT_H_
#define VKLINKDB_TESTS_PROTECT_LIST_SUPPORT_H_

#include <windows.h>
#include <zlib.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "CNTAdminObject"
#include "VKLinkDB.h"

namespace listtest {

// The file and registry resource ids for a release (0: none): the table the library
// must follow, written out here from its documentation.
struct Pair {
  int files, keys;
};
inline Pair ExpectedPair(ostype release) {
  static const Pair kPairs[] = {{0, 0}, {102, 111}, {103, 112}, {105, 113}, {104, 114}, {104, 114}, {101, 110}, {101, 110}};
  return release >= 0 && release <= 7 ? kPairs[release] : Pair{0, 0};
}
const int kFileIds[] = {101, 102, 103, 104, 105};
const int kKeyIds[] = {110, 111, 112, 113, 114};

// Raw inflation of a resource payload (4-byte length, raw deflate); empty on failure.
inline std::string InflatePayload(const unsigned char* data, size_t size) {
  if (size < 4) return std::string();
  uint32_t length = data[0] | data[1] << 8 | data[2] << 16 | static_cast<uint32_t>(data[3]) << 24;
  std::string text(length, '\0');
  z_stream s;
  std::memset(&s, 0, sizeof s);
  if (inflateInit2(&s, -MAX_WBITS) != Z_OK) return std::string();
  s.next_in = const_cast<Bytef*>(data + 4);
  s.avail_in = static_cast<uInt>(size - 4);
  s.next_out = reinterpret_cast<Bytef*>(&text[0]);
  s.avail_out = length;
  int rc = inflate(&s, Z_FINISH);
  inflateEnd(&s);
  return rc == Z_STREAM_END ? text : std::string();
}

// The text of one list resource of `module`.
inline std::string ResourceText(HMODULE module, int id, const char* type) {
  HRSRC info = FindResourceA(module, MAKEINTRESOURCEA(id), type);
  if (!info) return std::string();
  HGLOBAL loaded = LoadResource(module, info);
  const unsigned char* data = static_cast<const unsigned char*>(LockResource(loaded));
  return data ? InflatePayload(data, SizeofResource(module, info)) : std::string();
}

// The lines of a list text without their CR LF (the empty separator line included).
inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t lf = text.find('\n', start);
    if (lf == std::string::npos) lf = text.size();
    std::string line = text.substr(start, lf - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    start = lf + 1;
  }
  return lines;
}

inline std::string WithBackslash(std::string dir) {
  if (!dir.empty() && dir.back() != '\\') dir += '\\';
  return dir;
}
inline std::string WindowsDir() {
  char buffer[MAX_PATH];
  UINT n = GetWindowsDirectoryA(buffer, sizeof buffer);
  return WithBackslash(std::string(buffer, n));
}
inline std::string SystemDir() {
  char buffer[MAX_PATH];
  UINT n = GetSystemDirectoryA(buffer, sizeof buffer);
  return WithBackslash(std::string(buffer, n));
}

// A file line as a full path (both variables in the case the lists use).
inline std::string ExpandedPath(const std::string& line) {
  if (line.compare(0, 13, "%WindowsDir%\\") == 0) return WindowsDir() + line.substr(13);
  if (line.compare(0, 12, "%SystemDir%\\") == 0) return SystemDir() + line.substr(12);
  return std::string();
}

// Case-insensitive sets of paths.
struct NoCase {
  bool operator()(const std::string& a, const std::string& b) const { return _stricmp(a.c_str(), b.c_str()) < 0; }
};
typedef std::set<std::string, NoCase> PathSet;

inline std::string ModuleDir(HMODULE module) {
  char buffer[MAX_PATH];
  DWORD n = GetModuleFileNameA(module, buffer, sizeof buffer);
  std::string path(buffer, n);
  return path.substr(0, path.find_last_of('\\') + 1);
}
inline std::string ModuleName(HMODULE module) {
  char buffer[MAX_PATH];
  DWORD n = GetModuleFileNameA(module, buffer, sizeof buffer);
  std::string path(buffer, n);
  return path.substr(path.find_last_of('\\') + 1);
}

// A folder beside the test program, removed with everything in it at the end, as far
// as the system lets: a hard link to a file this process has mapped (its program, its
// libraries) stays until the process ends (the test run removes what is left).
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& tag)
      : m_Path(ModuleDir(nullptr) + "protect_" + tag + "_" + std::to_string(GetCurrentProcessId()) + "\\") {
    CreateDirectoryA(m_Path.c_str(), nullptr);
  }
  ~ScratchFolder() {
    WIN32_FIND_DATAA found;
    HANDLE find = FindFirstFileA((m_Path + "*").c_str(), &found);
    if (find != INVALID_HANDLE_VALUE) {
      do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileA((m_Path + found.cFileName).c_str());
      } while (FindNextFileA(find, &found));
      FindClose(find);
    }
    RemoveDirectoryA(m_Path.c_str());
  }
  const std::string& Path() const { return m_Path; }
  // Puts a file of the test program's folder into this one, under `as` if given: a
  // hard link where the file system allows one (the runtime libraries are large), else
  // a copy. A library to be loaded beside its original in one process must be a copy:
  // the loader takes a link to a loaded file for the module already loaded.
  bool Take(const std::string& name, const std::string& as = std::string(), bool copy = false) const {
    std::string from = ModuleDir(nullptr) + name, to = m_Path + (as.empty() ? name : as);
    return (!copy && CreateHardLinkA(to.c_str(), from.c_str(), nullptr)) || CopyFileA(from.c_str(), to.c_str(), FALSE);
  }

 private:
  ScratchFolder(const ScratchFolder&);
  ScratchFolder& operator=(const ScratchFolder&);
  std::string m_Path;
};

// The link database, attached in a scratch folder and never written back.
class ScratchDatabase {
 public:
  ScratchDatabase() : m_Folder("db"), m_pDatabase(AttachDatabase(const_cast<char*>(m_Folder.Path().c_str()))) {
    if (m_pDatabase) m_pDatabase->SetSaveFlag(0);
  }
  ~ScratchDatabase() {
    for (CVKUObject* o : m_Objects) o->Release();
    if (m_pDatabase) m_pDatabase->Release();
  }
  CVKUDatabase* get() const { return m_pDatabase; }

  // A chain of objects spelling `path`: the first component a root of `rootType`, each
  // later one of `childType` linked to its parent by a parent link; the last object.
  CVKUObject* Chain(const std::string& path, unsigned long rootType, unsigned long childType,
                    unsigned long leafType) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
      size_t cut = path.find('\\', start);
      parts.push_back(path.substr(start, cut == std::string::npos ? std::string::npos : cut - start));
      if (cut == std::string::npos) break;
      start = cut + 1;
    }
    CVKUObject* parent = nullptr;
    for (size_t i = 0; i < parts.size(); ++i) {
      unsigned long type = i == 0 ? rootType : (i + 1 == parts.size() ? leafType : childType);
      CVKUObject* o = m_pDatabase->AddObject(const_cast<char*>(parts[i].c_str()), type, 0, 0, nullptr, 0);
      if (!o) return nullptr;
      m_Objects.push_back(o);
      if (parent) parent->LinkTo(o, VKU_LINK_PARENT, 0, 0, nullptr);
      parent = o;
    }
    return parent;
  }
  CVKUObject* Key(const std::string& path) { return Chain(path, VKU_TYPE_HIVE, 16, 16); }
  CVKUObject* File(const std::string& path) { return Chain(path, VKU_TYPE_DRIVE, 4, 2); }

 private:
  ScratchFolder m_Folder;
  CVKUDatabase* m_pDatabase;
  std::vector<CVKUObject*> m_Objects;
};

}  // namespace listtest

#endif  // VKLINKDB_TESTS_PROTECT_LIST_SUPPORT_H_
