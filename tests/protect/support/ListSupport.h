// Helpers of the Windows tests of the protected lists: the lists as the library holds
// them (its resources, inflated with zlib, independently of qfpack.dll), file lines as
// full paths, the release's pair, qfpack.dll itself, scratch folders beside the test
// program, and chains of objects in the link database.
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

// The resource ids a release must answer from (0: none), as documented.
struct Pair {
  int files, keys;
};
inline Pair ExpectedPair(ostype release) {
  static const Pair kPairs[] = {{0, 0}, {102, 111}, {103, 112}, {105, 113}, {104, 114}, {104, 114}, {101, 110}, {101, 110}};
  return release >= 0 && release <= 7 ? kPairs[release] : Pair{0, 0};
}
const int kFileIds[] = {101, 102, 103, 104, 105};
const int kKeyIds[] = {110, 111, 112, 113, 114};

// The text of one list resource of `module`, inflated with zlib; empty on failure.
inline std::string ResourceText(HMODULE module, int id, const char* type) {
  HRSRC info = FindResourceA(module, MAKEINTRESOURCEA(id), type);
  const unsigned char* p = info ? static_cast<const unsigned char*>(LockResource(LoadResource(module, info))) : 0;
  DWORD size = info ? SizeofResource(module, info) : 0;
  if (!p || size < 4) return std::string();
  std::string text(p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24, '\0');
  z_stream s;
  std::memset(&s, 0, sizeof s);
  inflateInit2(&s, -MAX_WBITS);
  s.next_in = const_cast<Bytef*>(p + 4);
  s.avail_in = size - 4;
  s.next_out = reinterpret_cast<Bytef*>(&text[0]);
  s.avail_out = static_cast<uInt>(text.size());
  int rc = inflate(&s, Z_FINISH);
  inflateEnd(&s);
  return rc == Z_STREAM_END ? text : std::string();
}

// The lines of a list text without their CR LF (the empty separator line included).
inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0, lf; start < text.size(); start = lf + 1) {
    lf = text.find('\n', start);
    if (lf == std::string::npos) lf = text.size();
    lines.push_back(text.substr(start, lf - start - (lf > start && text[lf - 1] == '\r')));
  }
  return lines;
}

inline std::string SystemPlace(UINT (WINAPI* query)(LPSTR, UINT)) {
  char buffer[MAX_PATH];
  std::string dir(buffer, query(buffer, sizeof buffer));
  return dir.empty() || dir.back() == '\\' ? dir : dir + "\\";
}
inline std::string WindowsDir() { return SystemPlace(GetWindowsDirectoryA); }
inline std::string SystemDir() { return SystemPlace(GetSystemDirectoryA); }

// A file line as a full path; empty for a line without a variable.
inline std::string ExpandedPath(const std::string& line) {
  if (line.compare(0, 13, "%WindowsDir%\\") == 0) return WindowsDir() + line.substr(13);
  if (line.compare(0, 12, "%SystemDir%\\") == 0) return SystemDir() + line.substr(12);
  return std::string();
}

struct NoCase {
  bool operator()(const std::string& a, const std::string& b) const { return _stricmp(a.c_str(), b.c_str()) < 0; }
};
typedef std::set<std::string, NoCase> PathSet;

inline std::string ModulePath(HMODULE module) {
  char buffer[MAX_PATH];
  return std::string(buffer, GetModuleFileNameA(module, buffer, sizeof buffer));
}
inline std::string ModuleDir(HMODULE module) {
  std::string path = ModulePath(module);
  return path.substr(0, path.find_last_of('\\') + 1);
}
inline std::string ModuleName(HMODULE module) { return ModulePath(module).substr(ModuleDir(module).size()); }

// qfpack.dll loaded by its path for the life of the object.
struct Decompressor {
  typedef int(__cdecl* Fn)(const void*, int, void*, int);
  explicit Decompressor(const std::string& path) : module(LoadLibraryA(path.c_str())), fn(0) {
    if (module) fn = reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, "QfUnCompress")));
  }
  ~Decompressor() {
    if (module) FreeLibrary(module);
  }
  HMODULE module;
  Fn fn;
};

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
    for (BOOL more = find != INVALID_HANDLE_VALUE; more; more = FindNextFileA(find, &found))
      DeleteFileA((m_Path + found.cFileName).c_str());
    if (find != INVALID_HANDLE_VALUE) FindClose(find);
    RemoveDirectoryA(m_Path.c_str());
  }
  const std::string& Path() const { return m_Path; }
  // Puts a file of the test program's folder here, under `as` if given: a hard link
  // where the file system allows one (the runtime libraries are large), else a copy. A
  // library loaded beside its original in one process must be a copy: the loader takes
  // a link to a loaded file for the module already loaded.
  bool Take(const std::string& name, const std::string& as = std::string(), bool copy = false) const {
    std::string from = ModuleDir(nullptr) + name, to = m_Path + (as.empty() ? name : as);
    return (!copy && CreateHardLinkA(to.c_str(), from.c_str(), nullptr)) || CopyFileA(from.c_str(), to.c_str(), FALSE);
  }

 private:
  ScratchFolder(const ScratchFolder&);
  ScratchFolder& operator=(const ScratchFolder&);
  std::string m_Path;
};

// The link database attached in a scratch folder, never written back, and objects in it.
class ScratchDatabase {
 public:
  ScratchDatabase() : m_Folder("db"), m_pDb(AttachDatabase(const_cast<char*>(m_Folder.Path().c_str()))) {
    if (m_pDb) m_pDb->SetSaveFlag(0);
  }
  ~ScratchDatabase() {
    for (CVKUObject* o : m_Objects) o->Release();
    if (m_pDb) m_pDb->Release();
  }
  CVKUDatabase* get() const { return m_pDb; }
  CVKUObject* Add(const std::string& name, unsigned long type) {
    CVKUObject* o = m_pDb->AddObject(const_cast<char*>(name.c_str()), type, 0, 0, nullptr, 0);
    if (o) m_Objects.push_back(o);
    return o;
  }
  // A chain spelling `path`: a root of `rootType`, then objects of `type` (the last of
  // `leafType`), each the target of a parent link from the one before; the last one.
  CVKUObject* Chain(const std::string& path, unsigned long rootType, unsigned long type, unsigned long leafType) {
    CVKUObject* parent = nullptr;
    for (size_t start = 0, cut = 0; cut != std::string::npos; start = cut + 1) {
      cut = path.find('\\', start);
      CVKUObject* o = Add(path.substr(start, cut == std::string::npos ? cut : cut - start),
                          !parent ? rootType : cut == std::string::npos ? leafType : type);
      if (!o) return nullptr;
      if (parent) parent->LinkTo(o, VKU_LINK_PARENT, 0, 0, nullptr);
      parent = o;
    }
    return parent;
  }
  CVKUObject* Key(const std::string& path) { return Chain(path, VKU_TYPE_HIVE, 16, 16); }
  CVKUObject* File(const std::string& path) { return Chain(path, VKU_TYPE_DRIVE, 4, 2); }

 private:
  ScratchFolder m_Folder;
  CVKUDatabase* m_pDb;
  std::vector<CVKUObject*> m_Objects;
};

}  // namespace listtest

#endif  // VKLINKDB_TESTS_PROTECT_LIST_SUPPORT_H_
