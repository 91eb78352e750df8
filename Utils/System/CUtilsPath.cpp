// UTILS::CUtilsPath: construction, reset and copy, the Windows Installer entry points,
// setting and normalising the path, its network form, special places, reading and
// comparing, and the switches.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"

#include <cstring>
#include <string>

#include "PathText.h"

namespace UTILS {

namespace {

// The ten root designations a registry path may begin with, in the order tried.
const char* const kRegistryRoots[] = {"HKLM", "HKEY_LOCAL_MACHINE", "HKCU", "HKEY_CURRENT_USER",
                                      "HKCR", "HKEY_CLASSES_ROOT",  "HKU",  "HKEY_USERS",
                                      "HKCC", "HKEY_CURRENT_CONFIG"};

const char* const kInstallerModule = "MSI.DLL";

// The computer name, asked once: the system reports the name it started with, and the
// question costs a registry round trip on some systems.
const std::string& ComputerName() {
  static const std::string name = [] {
    char buffer[COMPUTER_NAME_BUFFER_SIZE];
    DWORD size = sizeof buffer;
    return ::GetComputerNameA(buffer, &size) ? std::string(buffer) : std::string();
  }();
  return name;
}

// Loading MSI.DLL pulls in a dozen libraries; unloading them again whenever the last
// object goes would make every short-lived object pay that. The first successful load
// takes one reference of its own that is never given back.
void KeepInstallerLoaded() {
  static volatile LONG kept = 0;
  if (InterlockedCompareExchange(&kept, 1, 0) == 0) ::LoadLibraryA(kInstallerModule);
}

// The text of a system-place call into a thread's buffer: null (`nullOnFailure`) or
// empty on failure.
template <class Call>
char* PlaceInto(char* buffer, DWORD size, Call call, bool nullOnFailure) {
  DWORD n = call(buffer, size);
  if (n == 0 || n >= size) {
    buffer[0] = '\0';
    return nullOnFailure ? 0 : buffer;
  }
  return buffer;
}

thread_local char t_TempDir[PATH_BUFFER_SIZE];
thread_local char t_CurrentDir[PATH_BUFFER_SIZE];
thread_local char t_WindowsDir[PATH_BUFFER_SIZE];
thread_local char t_SystemDir[PATH_BUFFER_SIZE];

// An export of `module` as the function type it has (null without the module).
template <class Function>
Function EntryPoint(HMODULE module, const char* name) {
  if (!module) return 0;
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(::GetProcAddress(module, name)));
}

UtilsString TextOf(const char* text) { return UtilsString(text ? text : ""); }

// Replaces the current text of `target`: one re-allocation of its block, where
// emptying and then appending would make two.
void Store(UtilsString& target, const std::string& text) { target = text; }

// The prefix of relative paths: the current directory as a 260-byte query gives it,
// empty on failure. Kept apart from GetCurrentDir's buffer, which is the caller's.
std::string CurrentDirectoryText() {
  char buffer[PATH_BUFFER_SIZE];
  DWORD n = ::GetCurrentDirectoryA(sizeof buffer, buffer);
  return n == 0 || n >= sizeof buffer ? std::string() : std::string(buffer, n);
}

}  // namespace

// ---- construction, reset, copy --------------------------------------------------------

CUtilsPath::CUtilsPath(const UtilsString& path, int automate, int scanRO, int exceptionHandling) {
  Init();
  m_Automate = automate ? 1 : 0;
  m_ScanRO = scanRO ? 1 : 0;
  m_ExceptionHandling = exceptionHandling ? 1 : 0;
  try {
    SetPath(path, UtilsString(""));
  } catch (...) {
    // No destructor runs for an object whose constructor throws.
    if (m_MsiModule) ::FreeLibrary(m_MsiModule);
    throw;
  }
}

CUtilsPath::CUtilsPath(const CUtilsPath& other) {
  Init();
  CopyData(other);
}

CUtilsPath::~CUtilsPath() {
  CloseTreeSearch();
  if (m_MsiModule) ::FreeLibrary(m_MsiModule);
}

CUtilsPath& CUtilsPath::operator=(const CUtilsPath& other) {
  if (this != &other) CopyData(other);
  return *this;
}

CUtilsPath& CUtilsPath::operator=(const UtilsString& text) {
  SetPath(text, UtilsString(""));
  return *this;
}

void CUtilsPath::Init() {
  m_MsiModule = 0;
  m_ParentLevel = 0;
  Clear(1);
}

void CUtilsPath::Clear(int full) {
  ScopedLock hold(m_Lock);
  m_DirSize = 0;
  m_TotalFiles = 0;
  m_TotalSubDirs = 0;
  m_FileCursor = 0;
  m_DirCursor = 0;
  m_ShellLink = 0;
  m_ShellLinkDataList = 0;
  m_PersistFile = 0;
  if (!full) return;
  m_Automate = 0;
  m_ExceptionHandling = 0;
  m_IsFile = 0;
  m_IsReg = 0;
  m_ScanRO = 0;
  m_IsUNC = 0;
  m_ParentLevel = 0;
  m_Path = "";
  m_PathUNC = "";
  m_Files.RemoveAllStrings();
  m_Dirs.RemoveAllStrings();
  m_Files.SetCase(0);
  m_Files.SetMatchStyle(0);
  m_Dirs.SetCase(0);
  m_Dirs.SetMatchStyle(0);

  // A second full reset loads the module again without giving back the reference
  // taken before; the destructor frees one.
  m_MsiModule = ::LoadLibraryA(kInstallerModule);
  if (m_MsiModule) KeepInstallerLoaded();
  HMODULE module = m_MsiModule;
  m_pfnMsiDecomposeDescriptorA =
      EntryPoint<PFNMSIDECOMPOSEDESCRIPTORA>(module, "MsiDecomposeDescriptorA");
  m_pfnMsiOpenDatabaseA = EntryPoint<PFNMSIOPENDATABASEA>(module, "MsiOpenDatabaseA");
  m_pfnMsiDatabaseOpenViewA =
      EntryPoint<PFNMSIDATABASEOPENVIEWA>(module, "MsiDatabaseOpenViewA");
  m_pfnMsiViewExecute = EntryPoint<PFNMSIVIEWEXECUTE>(module, "MsiViewExecute");
  m_pfnMsiViewFetch = EntryPoint<PFNMSIVIEWFETCH>(module, "MsiViewFetch");
  m_pfnMsiRecordGetStringA =
      EntryPoint<PFNMSIRECORDGETSTRINGA>(module, "MsiRecordGetStringA");
  m_pfnMsiGetComponentPathA =
      EntryPoint<PFNMSIGETCOMPONENTPATHA>(module, "MsiGetComponentPathA");
  m_pfnMsiGetProductInfoA = EntryPoint<PFNMSIGETPRODUCTINFOA>(module, "MsiGetProductInfoA");
  m_pfnMsiGetShortcutTargetA =
      EntryPoint<PFNMSIGETSHORTCUTTARGETA>(module, "MsiGetShortcutTargetA");
  m_pfnMsiCloseHandle = EntryPoint<PFNMSICLOSEHANDLE>(module, "MsiCloseHandle");
  // MsiDecomposeDescriptorA is not required here; the code that uses it tests it.
  m_MsiAvailable = m_pfnMsiOpenDatabaseA && m_pfnMsiDatabaseOpenViewA && m_pfnMsiViewExecute &&
                           m_pfnMsiViewFetch && m_pfnMsiRecordGetStringA &&
                           m_pfnMsiGetComponentPathA && m_pfnMsiGetProductInfoA &&
                           m_pfnMsiGetShortcutTargetA && m_pfnMsiCloseHandle
                       ? 1
                       : 0;
}

namespace {

// The ten installer entry points of an object, copied as one block.
struct InstallerEntries {
  PFNMSIDECOMPOSEDESCRIPTORA decompose;
  PFNMSIOPENDATABASEA openDatabase;
  PFNMSIDATABASEOPENVIEWA openView;
  PFNMSIVIEWEXECUTE execute;
  PFNMSIVIEWFETCH fetch;
  PFNMSIRECORDGETSTRINGA getString;
  PFNMSIGETCOMPONENTPATHA componentPath;
  PFNMSIGETPRODUCTINFOA productInfo;
  PFNMSIGETSHORTCUTTARGETA shortcutTarget;
  PFNMSICLOSEHANDLE closeHandle;
};

}  // namespace

void CUtilsPath::CopyData(const CUtilsPath& other) {
  // Everything is read from the source under its lock, then stored under ours.
  UtilsString path, pathUNC;
  UtilsStringList files, dirs;
  int automate, exceptionHandling, isFile, isReg, scanRO, isUNC, msiAvailable;
  unsigned long long dirSize;
  unsigned long totalFiles, totalSubDirs, parentLevel, fileCursor, dirCursor;
  IShellLinkA* shellLink;
  IShellLinkDataList* shellLinkDataList;
  IPersistFile* persistFile;
  HMODULE module;
  InstallerEntries entries;
  {
    ScopedLock source(other.m_Lock);
    path = other.m_Path;
    pathUNC = other.m_PathUNC;
    files = other.m_Files;
    dirs = other.m_Dirs;
    automate = other.m_Automate;
    exceptionHandling = other.m_ExceptionHandling;
    isFile = other.m_IsFile;
    isReg = other.m_IsReg;
    scanRO = other.m_ScanRO;
    isUNC = other.m_IsUNC;
    msiAvailable = other.m_MsiAvailable;
    dirSize = other.m_DirSize;
    totalFiles = other.m_TotalFiles;
    totalSubDirs = other.m_TotalSubDirs;
    parentLevel = other.m_ParentLevel;
    fileCursor = other.m_FileCursor;
    dirCursor = other.m_DirCursor;
    shellLink = other.m_ShellLink;
    shellLinkDataList = other.m_ShellLinkDataList;
    persistFile = other.m_PersistFile;
    module = other.m_MsiModule;
    entries = {other.m_pfnMsiDecomposeDescriptorA, other.m_pfnMsiOpenDatabaseA,
               other.m_pfnMsiDatabaseOpenViewA,    other.m_pfnMsiViewExecute,
               other.m_pfnMsiViewFetch,            other.m_pfnMsiRecordGetStringA,
               other.m_pfnMsiGetComponentPathA,    other.m_pfnMsiGetProductInfoA,
               other.m_pfnMsiGetShortcutTargetA,   other.m_pfnMsiCloseHandle};
  }
  ScopedLock hold(m_Lock);
  // The copy shares the source's module handle; each object still holds one reference
  // of its own, so that every destructor frees exactly one.
  if (module != m_MsiModule) {
    if (m_MsiModule) ::FreeLibrary(m_MsiModule);
    m_MsiModule = module ? ::LoadLibraryA(kInstallerModule) : 0;
  }
  m_Path = path;
  m_PathUNC = pathUNC;
  m_Files = files;
  m_Dirs = dirs;
  m_Automate = automate;
  m_ExceptionHandling = exceptionHandling;
  m_IsFile = isFile;
  m_IsReg = isReg;
  m_ScanRO = scanRO;
  m_IsUNC = isUNC;
  m_MsiAvailable = msiAvailable;
  m_DirSize = dirSize;
  m_TotalFiles = totalFiles;
  m_TotalSubDirs = totalSubDirs;
  m_ParentLevel = parentLevel;
  m_FileCursor = fileCursor;
  m_DirCursor = dirCursor;
  m_ShellLink = shellLink;
  m_ShellLinkDataList = shellLinkDataList;
  m_PersistFile = persistFile;
  m_pfnMsiDecomposeDescriptorA = entries.decompose;
  m_pfnMsiOpenDatabaseA = entries.openDatabase;
  m_pfnMsiDatabaseOpenViewA = entries.openView;
  m_pfnMsiViewExecute = entries.execute;
  m_pfnMsiViewFetch = entries.fetch;
  m_pfnMsiRecordGetStringA = entries.getString;
  m_pfnMsiGetComponentPathA = entries.componentPath;
  m_pfnMsiGetProductInfoA = entries.productInfo;
  m_pfnMsiGetShortcutTargetA = entries.shortcutTarget;
  m_pfnMsiCloseHandle = entries.closeHandle;
}

const char* CUtilsPath::derived_class() const { return ReadableTypeName(typeid(*this)); }

const int CUtilsPath::RefuseEmpty(unsigned long line) const {
  if (m_ExceptionHandling)
    throw std_exception(kPathnameIsNull, kFileCUtilsPath, TYPE_PATH, line, ::GetLastError(), 1);
  return 0;
}

// ---- setting the path -----------------------------------------------------------------

const int CUtilsPath::SetPath(const UtilsString& path, const UtilsString& base) {
  // The caller's texts are read before the lock is taken.
  std::string text = path.GetSTLString();
  std::string baseText = base.GetSTLString();
  int caseFlag = path.GetCase();
  int matchStyle = path.GetMatchStyle();
  int isRegistry = PathIsRegistry(path);

  ScopedLock hold(m_Lock);
  if (text.empty()) return RefuseEmpty(LINE_SETPATH_NULL);
  m_IsReg = isRegistry;
  if (m_Path.Compare(text) != 0) Clear(0);
  m_Path.SetCase(caseFlag);
  m_Path.SetMatchStyle(matchStyle);

  vkl::pathtext::CutEndingSlash(text);
  vkl::pathtext::MakeFull(text, baseText, CurrentDirectoryText, m_IsReg && baseText.empty(),
                          m_IsUNC);
  // A new path starts a new walk, whether or not the rules changed its text.
  m_ParentLevel = 0;
  Store(m_Path, text);
  MakeUNCName();

  WIN32_FIND_DATAA found;
  if (IsAFileLocked(&found)) m_DirSize = found.nFileSizeLow;
  if (m_Automate) return SearchTree(UtilsString("*.*"));
  return 1;
}

const int CUtilsPath::SetDir(const UtilsString& text) { return SetPath(text, UtilsString("")); }
const int CUtilsPath::SetKey(const UtilsString& text) { return SetPath(text, UtilsString("")); }

void CUtilsPath::MakeFullPath(const UtilsString& base) {
  std::string baseText = base.length() ? base.GetSTLString() : std::string();
  ScopedLock hold(m_Lock);
  std::string text = m_Path.GetSTLString();
  if (vkl::pathtext::MakeFull(text, baseText, CurrentDirectoryText, m_IsReg && baseText.empty(),
                              m_IsUNC))
    Store(m_Path, text);
  m_ParentLevel = 0;
}

void CUtilsPath::MakeUNCName() {
  ScopedLock hold(m_Lock);
  std::string path = m_Path.GetSTLString();
  Store(m_PathUNC, m_IsUNC ? path : vkl::pathtext::UncName(path, ComputerName(), m_IsReg != 0));
}

const int CUtilsPath::PathIsRegistry(const UtilsString& text) {
  if (text.length() == 0) return 0;
  std::string first;
  vkl::pathtext::ElementAt(text.GetSTLString(), 0, first);
  // The first element compares with the case flag of the text it came from.
  UtilsString element(first);
  element.SetCase(text.GetCase());
  for (const char* root : kRegistryRoots)
    if (element.Compare(root) == 0) return 1;
  return 0;
}

const int CUtilsPath::PathIsUNC(const UtilsString& text) {
  const char* p = text.c_str();
  return text.length() >= 2 && p[0] == '\\' && p[1] == '\\' ? 1 : 0;
}

void CUtilsPath::RemoveAnyWhiteSpace() {
  ScopedLock hold(m_Lock);
  std::string text = m_Path.GetSTLString();
  vkl::pathtext::TrimBlanks(text);
  m_Path = text;
}

void CUtilsPath::RemoveAnyWhiteSpaceUNC() {
  ScopedLock hold(m_Lock);
  std::string text = m_PathUNC.GetSTLString();
  vkl::pathtext::TrimBlanks(text);
  m_PathUNC = text;
}

void CUtilsPath::CutEndingSlash() {
  ScopedLock hold(m_Lock);
  std::string text = m_Path.GetSTLString();
  vkl::pathtext::CutEndingSlash(text);
  m_Path = text;
}

void CUtilsPath::CutEndingSlashUNC() {
  ScopedLock hold(m_Lock);
  std::string text = m_PathUNC.GetSTLString();
  vkl::pathtext::CutEndingSlash(text);
  m_PathUNC = text;
}

void CUtilsPath::AddEndingSlash() {
  ScopedLock hold(m_Lock);
  m_Path.Append("\\");
}

void CUtilsPath::AddEndingSlashUNC() {
  ScopedLock hold(m_Lock);
  m_PathUNC.Append("\\");
}

// ---- extending ----------------------------------------------------------------------------

const int CUtilsPath::AddToPath(const UtilsString& relative) {
  std::string text = relative.GetSTLString();
  UtilsString given(relative);
  ScopedLock hold(m_Lock);
  if (text.empty()) return RefuseEmpty(LINE_ADDTOPATH_NULL);
  if (m_Path.length() == 0) return SetPath(given, UtilsString(""));
  UtilsString base(m_Path.c_str());
  bool climbs = text.find("..") != std::string::npos;
  // A drive-qualified path goes under the current path, never in its place.
  if (!climbs && text.size() > 2 && text[1] == ':' && text[2] == '\\') {
    UtilsString rest(text.c_str() + 3);
    rest.SetCase(given.GetCase());
    given = rest;
  }
  int result = SetPath(given, base);
  return climbs ? result : 1;
}

const int CUtilsPath::AddDirToPath(const UtilsString& relative) { return AddToPath(relative); }

CUtilsPath& CUtilsPath::operator+=(const UtilsString& relative) {
  AddToPath(relative);
  return *this;
}

CUtilsPath& CUtilsPath::operator+=(const CUtilsPath& other) {
  AddToPath(other.UGetPath());
  return *this;
}

// ---- special places -------------------------------------------------------------------

namespace {

// SetPath with a place the system gave; an empty place is a failed call, not an empty
// path, and answers 0 without an exception.
template <class Object>
int SetToPlace(Object& object, const UtilsString& place) {
  if (place.length() == 0) return 0;
  return object.SetDir(place);
}

}  // namespace

const int CUtilsPath::SetDirToTemp() { return SetToPlace(*this, UGetTempDir()); }
const int CUtilsPath::SetPathToTemp() { return SetDirToTemp(); }
const int CUtilsPath::SetDirToWindowsDir() { return SetToPlace(*this, UGetWindowsDir()); }
const int CUtilsPath::SetDirToWindowsDirectory() { return SetDirToWindowsDir(); }
const int CUtilsPath::SetPathToWindowsDir() { return SetDirToWindowsDir(); }
const int CUtilsPath::SetPathToWindowsDirectory() { return SetDirToWindowsDir(); }
const int CUtilsPath::SetDirToSystemDir() { return SetToPlace(*this, UGetSystemDir()); }
const int CUtilsPath::SetDirToSystemDirectory() { return SetDirToSystemDir(); }
const int CUtilsPath::SetPathToSystemDir() { return SetDirToSystemDir(); }
const int CUtilsPath::SetPathToSystemDirectory() { return SetDirToSystemDir(); }

const int CUtilsPath::SetDirToModuleName(HINSTANCE module) {
  char name[PATH_NAME_BUFFER_SIZE];
  DWORD n = ::GetModuleFileNameA(module, name, sizeof name);
  if (n == 0 || n >= sizeof name) return 0;
  return SetToPlace(*this, UtilsString(name));
}
const int CUtilsPath::SetPathToModuleName(HINSTANCE module) { return SetDirToModuleName(module); }

const int CUtilsPath::SetPathToSubDir() {
  UtilsString parent;
  {
    ScopedLock hold(m_Lock);
    std::string text;
    if (!vkl::pathtext::ParentAt(m_Path.GetSTLString(), m_ParentLevel + 1, text)) return 0;
    parent = text;
  }
  return SetDir(parent);
}
const int CUtilsPath::SetPathToSubKey() { return SetPathToSubDir(); }

// ---- system places as text ------------------------------------------------------------

char* CUtilsPath::GetTempDir() {
  return PlaceInto(t_TempDir, PATH_BUFFER_SIZE,
                   [](char* b, DWORD n) { return ::GetTempPathA(n, b); }, true);
}
char* CUtilsPath::GetTempDirectory() { return GetTempDir(); }
char* CUtilsPath::GetCurrentDir() {
  return PlaceInto(t_CurrentDir, PATH_BUFFER_SIZE,
                   [](char* b, DWORD n) { return ::GetCurrentDirectoryA(n, b); }, true);
}
char* CUtilsPath::GetCurrentDirectoryA() { return GetCurrentDir(); }
char* CUtilsPath::GetWindowsDir() {
  return PlaceInto(t_WindowsDir, PATH_BUFFER_SIZE,
                   [](char* b, DWORD n) { return ::GetWindowsDirectoryA(b, n); }, false);
}
char* CUtilsPath::GetWindowsDirectoryA() { return GetWindowsDir(); }
char* CUtilsPath::GetSystemDir() {
  return PlaceInto(t_SystemDir, PATH_BUFFER_SIZE,
                   [](char* b, DWORD n) { return ::GetSystemDirectoryA(b, n); }, false);
}
char* CUtilsPath::GetSystemDirectoryA() { return GetSystemDir(); }

UtilsString CUtilsPath::UGetTempDir() { return TextOf(GetTempDir()); }
UtilsString CUtilsPath::UGetTempDirectory() { return UGetTempDir(); }
UtilsString CUtilsPath::UGetCurrentDir() { return TextOf(GetCurrentDir()); }
UtilsString CUtilsPath::UGetCurrentDirectory() { return UGetCurrentDir(); }
UtilsString CUtilsPath::UGetWindowsDir() { return TextOf(GetWindowsDir()); }
UtilsString CUtilsPath::UGetWindowsDirectory() { return UGetWindowsDir(); }
UtilsString CUtilsPath::UGetSystemDir() { return TextOf(GetSystemDir()); }
UtilsString CUtilsPath::UGetSystemDirectory() { return UGetSystemDir(); }

const int CUtilsPath::SetCurrentDir() {
  std::string text;
  {
    ScopedLock hold(m_Lock);
    if (m_IsReg) return 0;
    text = m_Path.GetSTLString();
  }
  return ::SetCurrentDirectoryA(text.c_str()) ? 1 : 0;
}
const int CUtilsPath::SetCurrentDirectoryA() { return SetCurrentDir(); }

// ---- reading and comparing ----------------------------------------------------------------

const char* CUtilsPath::GetPath() const {
  ScopedLock hold(m_Lock);
  return m_Path.c_str();
}
const char* CUtilsPath::GetFullPath() const { return GetPath(); }
const char* CUtilsPath::GetDir() const { return GetPath(); }
const char* CUtilsPath::GetPathUNC() const {
  ScopedLock hold(m_Lock);
  return m_PathUNC.c_str();
}
const char* CUtilsPath::GetDirUNC() const { return GetPathUNC(); }
UtilsString CUtilsPath::UGetPath() const {
  ScopedLock hold(m_Lock);
  return UtilsString(m_Path.c_str());
}
UtilsString CUtilsPath::UGetFullPath() const { return UGetPath(); }
UtilsString CUtilsPath::UGetDir() const { return UGetPath(); }
UtilsString CUtilsPath::UGetPathUNC() const {
  ScopedLock hold(m_Lock);
  return UtilsString(m_PathUNC.c_str());
}
UtilsString CUtilsPath::UGetDirUNC() const { return UGetPathUNC(); }
CUtilsPath::operator char*() {
  ScopedLock hold(m_Lock);
  return m_Path.GetString();
}
CUtilsPath::operator const char*() const { return GetPath(); }
CUtilsPath::operator UtilsString() const { return UGetPath(); }
CUtilsPath::operator CUtilsPath*() { return this; }

namespace {

// Compares two path texts with the settings of `mine`.
int ComparePaths(const UtilsString& mine, CCriticalSection& lock, const UtilsString& theirs) {
  ScopedLock hold(lock);
  return mine.Compare(theirs);
}

}  // namespace

int CUtilsPath::operator==(const CUtilsPath& other) const {
  return ComparePaths(m_Path, m_Lock, other.UGetPath()) == 0;
}
int CUtilsPath::operator!=(const CUtilsPath& other) const { return !(*this == other); }
int CUtilsPath::operator<(const CUtilsPath& other) const {
  return ComparePaths(m_Path, m_Lock, other.UGetPath()) < 0;
}
int CUtilsPath::operator>(const CUtilsPath& other) const {
  return ComparePaths(m_Path, m_Lock, other.UGetPath()) > 0;
}
int CUtilsPath::operator<=(const CUtilsPath& other) const {
  return ComparePaths(m_Path, m_Lock, other.UGetPath()) <= 0;
}
int CUtilsPath::operator>=(const CUtilsPath& other) const {
  return ComparePaths(m_Path, m_Lock, other.UGetPath()) >= 0;
}
int CUtilsPath::operator==(const UtilsString& text) const {
  UtilsString theirs(text.c_str());
  theirs.SetCase(text.GetCase());
  return ComparePaths(PathIsUNC(theirs) ? m_PathUNC : m_Path, m_Lock, theirs) == 0;
}
int CUtilsPath::operator!() const {
  ScopedLock hold(m_Lock);
  return m_Path.length() == 0;
}

// ---- switches -------------------------------------------------------------------------

namespace {

const int Switch(int& flag, int value, CCriticalSection& lock) {
  ScopedLock hold(lock);
  flag = value;
  return 1;
}

}  // namespace

const int CUtilsPath::SetAutomate() { return Switch(m_Automate, 1, m_Lock); }
const int CUtilsPath::ClearAutomate() { return Switch(m_Automate, 0, m_Lock); }
const int CUtilsPath::ResetAutomate() { return Switch(m_Automate, 0, m_Lock); }
const int CUtilsPath::SetExceptionHandling() { return Switch(m_ExceptionHandling, 1, m_Lock); }
const int CUtilsPath::ClearExceptionHandling() { return Switch(m_ExceptionHandling, 0, m_Lock); }
const int CUtilsPath::ResetExceptionHandling() { return Switch(m_ExceptionHandling, 0, m_Lock); }
const int CUtilsPath::SetScanRO() { return Switch(m_ScanRO, 1, m_Lock); }
const int CUtilsPath::SetScanROKO() { return Switch(m_ScanRO, 1, m_Lock); }
const int CUtilsPath::ClearScanRO() { return Switch(m_ScanRO, 0, m_Lock); }
const int CUtilsPath::ClearScanROKO() { return Switch(m_ScanRO, 0, m_Lock); }
const int CUtilsPath::ReSetScanRO() { return Switch(m_ScanRO, 0, m_Lock); }
const int CUtilsPath::ReSetScanROKO() { return Switch(m_ScanRO, 0, m_Lock); }

}  // namespace UTILS
