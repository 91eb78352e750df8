// UTILS::CUtilsPath: shell shortcuts. Resolving one to the file it starts, through
// Windows Installer for advertised shortcuts (which hold no target path of their own)
// and through the shell's link object otherwise, and creating one.
//
// An advertised shortcut is answered by three installer methods in turn: the
// documented MsiGetShortcutTargetA; a search of the shortcut's bytes for the
// installer's icon folder ("...\Installer\{product code}\icon") followed by a query of
// the installed package for the component whose shortcut uses that icon; and the
// installer data block read through IShellLinkDataList. The component's path is the
// target; a path that begins with "0" names a registry key and does not count.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"

#include <objbase.h>
#include <objidl.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "diskio"

namespace UTILS {

namespace {

const CLSID kClsidShellLink = {0x00021401, 0x0000, 0x0000,
                               {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const IID kIidShellLinkA = {0x000214EE, 0x0000, 0x0000,
                            {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const IID kIidShellLinkDataList = {0x45E2B4AE, 0xB1C3, 0x11D0,
                                   {0xB9, 0x2F, 0x00, 0xA0, 0xC9, 0x03, 0x12, 0xE1}};
const IID kIidPersistFile = {0x0000010B, 0x0000, 0x0000,
                             {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const DWORD kInProcess = 1;  // CLSCTX_INPROC_SERVER

// SLR_NO_UI | SLR_ANY_MATCH | SLR_NOSEARCH, with 300 ms as the limit in the high word.
const DWORD kResolveFlags = 0x012C0013;
const DWORD kShortPath = 1;    // SLGP_SHORTPATH
const DWORD kUncPriority = 2;  // SLGP_UNCPRIORITY
const DWORD kHasDarwinId = 0x1000;
const DWORD kDarwinSignature = 0xA0000006;
// The link is loaded for reading and leaves others free to read and write it.
const DWORD kLoadMode = STGM_READ | STGM_SHARE_DENY_NONE;

const unsigned long kShortAnswerSize = 261;
const unsigned long kLongAnswerSize = 521;

const char kInstallerFolder[] = "Installer\\{";
const char kLocalPackage[] = "LocalPackage";
const char kComponentsOfIcon[] =
    "SELECT `Component`.`ComponentId` FROM `Component`, `Shortcut` WHERE "
    "`Component`.`Component` = `Shortcut`.`Component_` AND `Shortcut`.`Icon_` = '";
const char kQueryEnd[] = "'";
const char* const kReadOnlyDatabase = 0;  // MSIDBOPEN_READONLY

// COM on the calling thread for one call; uninitialised only when this call was the
// one that initialised it.
class ComScope {
 public:
  ComScope() : m_Result(::CoInitialize(0)) {}
  ~ComScope() {
    if (m_Result == S_OK) ::CoUninitialize();
  }

 private:
  ComScope(const ComScope&);
  ComScope& operator=(const ComScope&);
  HRESULT m_Result;
};

std::wstring Wide(const char* text) {
  int n = ::MultiByteToWideChar(CP_ACP, 0, text, -1, 0, 0);
  if (n <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(n), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, text, -1, &wide[0], n);
  wide.resize(static_cast<size_t>(n - 1));
  return wide;
}

// Closes an installer handle on every way out.
class MsiHandle {
 public:
  explicit MsiHandle(PFNMSICLOSEHANDLE close) : m_Close(close), m_Handle(0) {}
  ~MsiHandle() {
    if (m_Handle) m_Close(m_Handle);
  }
  unsigned long* Out() { return &m_Handle; }
  unsigned long Get() const { return m_Handle; }

 private:
  MsiHandle(const MsiHandle&);
  MsiHandle& operator=(const MsiHandle&);
  PFNMSICLOSEHANDLE m_Close;
  unsigned long m_Handle;
};

// A component path that names a file: not empty, and not a registry key ("0...").
bool IsFilePath(const char* path) { return path[0] != '\0' && path[0] != '0'; }

}  // namespace

void CUtilsPath::ReleaseShellLink() {
  ScopedLock hold(m_Lock);
  if (m_PersistFile) m_PersistFile->Release();
  if (m_ShellLinkDataList) m_ShellLinkDataList->Release();
  if (m_ShellLink) m_ShellLink->Release();
  m_PersistFile = 0;
  m_ShellLinkDataList = 0;
  m_ShellLink = 0;
}

// ---- resolving ------------------------------------------------------------------------

const int CUtilsPath::ResolveLinkFile(const UtilsString& link, UtilsString& target,
                                      int longName) {
  const std::string name = link.GetSTLString();
  std::string answer;
  int found = 0;
  {
    ScopedLock hold(m_Lock);
    std::vector<char> buffer(longName ? kLongAnswerSize : kShortAnswerSize, '\0');
    ComScope com;
    char productCode[LINK_CODE_BUFFER_SIZE] = "";
    char componentId[LINK_CODE_BUFFER_SIZE] = "";
    const UtilsString linkText(name.c_str());
    if (m_MsiAvailable) {
      m_pfnMsiGetShortcutTargetA(name.c_str(), productCode, 0, componentId);
      if (!productCode[0] || !componentId[0]) {
        productCode[0] = componentId[0] = '\0';
        GetUnsupportedShortcutTarget(linkText, productCode, componentId);
      }
      if (!productCode[0] || !componentId[0]) {
        productCode[0] = componentId[0] = '\0';
        GetUnsupportedShortcutTargetUndocumented(linkText, productCode, componentId);
      }
      if (productCode[0] && componentId[0]) {
        char path[LINK_COMPONENT_PATH_SIZE] = "";
        DWORD size = sizeof path;
        m_pfnMsiGetComponentPathA(productCode, componentId, path, &size);
        if (IsFilePath(path)) {
          UtilsString given(path);
          const char* converted = longName ? GetLongPathNameA(given) : GetShortPathNameA(given);
          answer = converted && converted[0] ? converted : path;
          found = 1;
        }
      }
    }
    if (!found && ResolveThroughShell(name.c_str(), &buffer[0],
                                      static_cast<unsigned long>(buffer.size()), longName)) {
      answer = &buffer[0];
      found = 1;
    }
  }
  target.Erase();
  if (found) target.Append(answer);
  return found;
}

const int CUtilsPath::ResolveThroughShell(const char* link, char* buffer, unsigned long size,
                                          int longName) {
  ScopedLock hold(m_Lock);
  HRESULT result = ::CoCreateInstance(kClsidShellLink, 0, kInProcess, kIidShellLinkA,
                                      reinterpret_cast<void**>(&m_ShellLink));
  if (SUCCEEDED(result))
    result = m_ShellLink->QueryInterface(kIidPersistFile, reinterpret_cast<void**>(&m_PersistFile));
  if (SUCCEEDED(result)) result = m_PersistFile->Load(Wide(link).c_str(), kLoadMode);
  if (SUCCEEDED(result)) result = m_ShellLink->Resolve(0, kResolveFlags);
  WIN32_FIND_DATAA found;
  if (SUCCEEDED(result))
    result = m_ShellLink->GetPath(buffer, static_cast<int>(size), &found,
                                  longName ? kUncPriority : kShortPath);
  ReleaseShellLink();
  // A link without a path (the shell answers S_FALSE) has no target either.
  return result == S_OK && buffer[0] != '\0' ? 1 : 0;
}

const int CUtilsPath::ResolveLinkFile(const UtilsString& link, char* target, int longName) {
  if (!target) return 0;
  UtilsString answer;
  if (!ResolveLinkFile(link, answer, longName)) {
    target[0] = '\0';
    return 0;
  }
  std::memcpy(target, answer.c_str(), answer.length() + 1);
  return 1;
}

const int CUtilsPath::ResolveLinkFile(UtilsString& target, int longName) {
  UtilsString link;
  {
    ScopedLock hold(m_Lock);
    if (m_IsReg) return 0;
    link = m_Path.c_str();
  }
  return ResolveLinkFile(link, target, longName);
}

const int CUtilsPath::ResolveLinkFile(char* target, int longName) {
  UtilsString link;
  {
    ScopedLock hold(m_Lock);
    if (m_IsReg) return 0;
    link = m_Path.c_str();
  }
  return ResolveLinkFile(link, target, longName);
}

const int CUtilsPath::ResolveLinkFile(int longName) {
  UtilsString target;
  ScopedLock hold(m_Lock);
  if (!ResolveLinkFile(target, longName)) return 0;
  return SetPath(target, UtilsString(""));
}

// ---- the installer methods -----------------------------------------------------------

const int CUtilsPath::GetUnsupportedShortcutTarget(const UtilsString& link, char* productCode,
                                                   char* componentId) {
  ScopedLock hold(m_Lock);
  if (!m_MsiAvailable) return 0;
  UtilsByte bytes;
  try {
    DiskIO file(link.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
    std::vector<unsigned char> block(LINK_READ_BLOCK_SIZE);
    for (unsigned long total = 0, size = file.GetFileSize(); total < size;) {
      unsigned long n = file.Read(&block[0], LINK_READ_BLOCK_SIZE);
      if (n == 0) break;
      bytes.Append(&block[0], n);
      total += n;
    }
    file.Close();
  } catch (std_exception&) {
    return 0;  // not readable: no answer from this method
  }

  // "...\Installer\{product code}\icon name", in the shortcut's ANSI icon location.
  const unsigned char* begin = bytes.c_str();
  const unsigned char* end = begin + bytes.size();
  const unsigned char* marker = std::search(begin, end, kInstallerFolder,
                                            kInstallerFolder + sizeof kInstallerFolder - 1);
  if (marker == end) return 0;
  const unsigned char* p = marker + sizeof kInstallerFolder - 2;  // the "{"
  std::string product, icon;
  while (p < end && *p != '\\' && *p >= 32 && product.size() < LINK_CODE_BUFFER_SIZE - 1)
    product += static_cast<char>(*p++);
  if (p < end && *p == '\\')
    for (++p; p < end && *p >= 32; ++p) icon += static_cast<char>(*p);

  UtilsString packagePath;
  if (!InternalGetLocalPackagePath(UtilsString(product.c_str()), packagePath)) return 0;
  MsiHandle database(m_pfnMsiCloseHandle), view(m_pfnMsiCloseHandle);
  if (m_pfnMsiOpenDatabaseA(packagePath.c_str(), kReadOnlyDatabase, database.Out()) != 0) return 0;
  const std::string query = kComponentsOfIcon + icon + kQueryEnd;
  if (m_pfnMsiDatabaseOpenViewA(database.Get(), query.c_str(), view.Out()) != 0 ||
      m_pfnMsiViewExecute(view.Get(), 0) != 0)
    return 0;

  // The one component whose path is a file; a second one makes the icon ambiguous.
  std::string keptComponent, keptProduct;
  for (;;) {
    MsiHandle record(m_pfnMsiCloseHandle);
    if (m_pfnMsiViewFetch(view.Get(), record.Out()) != 0) break;
    char id[LINK_RECORD_BUFFER_SIZE] = "";
    DWORD size = sizeof id;
    if (m_pfnMsiRecordGetStringA(record.Get(), 1, id, &size) != 0) continue;
    char path[LINK_COMPONENT_PATH_SIZE] = "";
    size = sizeof path;
    m_pfnMsiGetComponentPathA(product.c_str(), id, path, &size);
    if (!IsFilePath(path)) continue;
    if (!keptComponent.empty()) {
      keptComponent.clear();
      keptProduct.clear();
      break;
    }
    keptComponent = id;
    keptProduct = product;
  }
  if (keptComponent.empty() || keptProduct.empty()) return 0;
  std::memcpy(componentId, keptComponent.c_str(), keptComponent.size() + 1);
  std::memcpy(productCode, keptProduct.c_str(), keptProduct.size() + 1);
  return 1;
}

const int CUtilsPath::GetUnsupportedShortcutTargetUndocumented(const UtilsString& link,
                                                               char* productCode,
                                                               char* componentId) {
  ScopedLock hold(m_Lock);
  if (!m_MsiAvailable) return 0;
  int found = 0;
  HRESULT result = ::CoCreateInstance(kClsidShellLink, 0, kInProcess, kIidShellLinkDataList,
                                      reinterpret_cast<void**>(&m_ShellLinkDataList));
  if (SUCCEEDED(result))
    result = m_ShellLinkDataList->QueryInterface(kIidPersistFile,
                                                 reinterpret_cast<void**>(&m_PersistFile));
  if (SUCCEEDED(result)) result = m_PersistFile->Load(Wide(link.c_str()).c_str(), kLoadMode);
  DWORD flags = 0;
  if (SUCCEEDED(result)) result = m_ShellLinkDataList->GetFlags(&flags);
  if (SUCCEEDED(result) && (flags & kHasDarwinId)) {
    void* block = 0;
    if (SUCCEEDED(m_ShellLinkDataList->CopyDataBlock(kDarwinSignature, &block)) && block) {
      const EXP_DARWIN_LINK* darwin = static_cast<const EXP_DARWIN_LINK*>(block);
      // Not among the entry points that make the installer available: tested here.
      if (m_pfnMsiDecomposeDescriptorA) {
        char product[LINK_CODE_BUFFER_SIZE] = "", component[LINK_CODE_BUFFER_SIZE] = "";
        m_pfnMsiDecomposeDescriptorA(darwin->szDarwinID, product, 0, component, 0);
        if (product[0] && component[0]) {
          std::memcpy(productCode, product, std::strlen(product) + 1);
          std::memcpy(componentId, component, std::strlen(component) + 1);
          found = 1;
        }
      }
      ::LocalFree(block);
    }
  }
  ReleaseShellLink();
  return found;
}

const int CUtilsPath::InternalGetLocalPackagePath(const UtilsString& productCode,
                                                  UtilsString& packagePath) {
  ScopedLock hold(m_Lock);
  if (!m_MsiAvailable) return 0;
  packagePath.Erase();
  char buffer[LINK_PACKAGE_PATH_SIZE] = "";
  DWORD size = sizeof buffer;
  if (m_pfnMsiGetProductInfoA(productCode.c_str(), kLocalPackage, buffer, &size) != 0) return 0;
  packagePath.Append(buffer);
  return 1;
}

// ---- creating -------------------------------------------------------------------------

const int CUtilsPath::CreateLinkFile(const UtilsString& target, const UtilsString& linkFile,
                                     const UtilsString& description) {
  const std::string path = target.GetSTLString(), file = linkFile.GetSTLString(),
                    text = description.GetSTLString();
  ScopedLock hold(m_Lock);
  ComScope com;
  HRESULT result = ::CoCreateInstance(kClsidShellLink, 0, kInProcess, kIidShellLinkA,
                                      reinterpret_cast<void**>(&m_ShellLink));
  if (SUCCEEDED(result))
    result = m_ShellLink->QueryInterface(kIidPersistFile, reinterpret_cast<void**>(&m_PersistFile));
  if (SUCCEEDED(result)) result = m_ShellLink->SetPath(path.c_str());
  if (SUCCEEDED(result)) result = m_ShellLink->SetDescription(text.c_str());
  if (SUCCEEDED(result)) result = m_PersistFile->Save(Wide(file.c_str()).c_str(), TRUE);
  ReleaseShellLink();
  return SUCCEEDED(result) ? 1 : 0;
}

}  // namespace UTILS
