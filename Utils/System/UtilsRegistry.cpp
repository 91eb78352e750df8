// UTILS::UtilsRegistry.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsRegistry"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "std_exception"

namespace UTILS {

const char* const kCannotCreateRegistryEntry = "Cannot Create Registry Entry:  ";
const char* const kCannotOpenRegistryEntry = "Cannot Open Registry Entry:  ";
const char* const kRegistryPathNoRoot = "The registry path is invalid.  No Root Key designation";
const char* const kRegistryValueLabel = "; value:  ";
const char* const kParameter1IsNull = "Parameter 1 is NULL";

namespace {

// The five roots in the order the parser tries them, each with its short and long
// designation.
struct RootName {
  HKEY hKey;
  const char* pszShort;
  const char* pszLong;
};
const RootName kRoots[] = {
    {HKEY_LOCAL_MACHINE, "HKLM", "HKEY_LOCAL_MACHINE"},
    {HKEY_CURRENT_USER, "HKCU", "HKEY_CURRENT_USER"},
    {HKEY_CLASSES_ROOT, "HKCR", "HKEY_CLASSES_ROOT"},
    {HKEY_USERS, "HKU", "HKEY_USERS"},
    {HKEY_CURRENT_CONFIG, "HKCC", "HKEY_CURRENT_CONFIG"},
};

const char* const kBackslash = "\\";

// A text query reads into this many bytes first; enumeration uses 256 characters for
// names and 256 bytes for data.
const DWORD kQueryBufferSize = 255;
const DWORD kEnumBufferSize = 256;

// The 32-bit value types whose text form is the number of their first byte.
bool IsNumericType(DWORD type) {
  return type == REG_DWORD || type == REG_BINARY || type == REG_DWORD_BIG_ENDIAN;
}

// Value data as text: the first byte in decimal for numeric types, else the data up
// to its first zero. `data` has one zero byte beyond `size`, so unterminated string
// data still ends.
std::string ValueText(DWORD type, const char* data, DWORD size) {
  if (IsNumericType(type))
    return std::to_string(static_cast<unsigned>(static_cast<unsigned char>(data[0])));
  return std::string(data, std::find(data, data + size, '\0'));
}

// The predefined keys are not handles of this process and are never closed as such.
bool IsPredefinedKey(HKEY key) {
  static const HKEY predefined[] = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER,     HKEY_LOCAL_MACHINE,
                                    HKEY_USERS,        HKEY_PERFORMANCE_DATA, HKEY_CURRENT_CONFIG,
                                    HKEY_DYN_DATA};
  return std::find(std::begin(predefined), std::end(predefined), key) != std::end(predefined);
}

std::string StripFinalBackslash(std::string text) {
  if (!text.empty() && text[text.size() - 1] == '\\') text.erase(text.size() - 1);
  return text;
}

// The components of a path, cut at backslashes, empty ones dropped ("a\\b\" gives a, b).
std::vector<std::string> Components(const std::string& path) {
  UtilsString parts(path.c_str());
  parts.SplitData(UtilsString(kBackslash), 1);
  std::vector<std::string> result;
  for (unsigned long i = 0; i < parts.GetNumberOfStrings(); ++i) {
    const char* text = parts.GetStringNumber(i);
    if (*text) result.push_back(text);
  }
  return result;
}

}  // namespace

// ---- construction ---------------------------------------------------------------------

UtilsRegistry::UtilsRegistry(HKEY root, const UtilsString& path, int create, int stepwise) {
  Init();
  m_hRootKey = root;
  int done = create ? RegCreateKeyA(path, stepwise) : RegOpenKeyA(path);
  if (!done) {
    unsigned long error = static_cast<unsigned long>(m_lLastError);
    CloseAfterFailedConstruction();
    throw std_exception(create ? kCannotCreateRegistryEntry : kCannotOpenRegistryEntry,
                        kFileUtilsRegistry, TYPE_REGISTRY,
                        create ? LINE_REGISTRY_CREATE : LINE_REGISTRY_OPEN, error, 1);
  }
}

UtilsRegistry::UtilsRegistry(const UtilsString& path, int create, int stepwise) {
  Init();
  if (path.length() == 0)
    ThrowInvalidArgument(ComposeShortError(kInvalidArgument, kParameter1IsNull, kFileUtilsRegistry,
                                           LINE_REGISTRY_PATH_EMPTY));
  // The messages show the path as parsed: relative to its root, with a closing
  // backslash.
  UtilsString parsed(path);
  if (!ParseOutPath(parsed)) {
    UtilsString condition(kRegistryPathNoRoot);
    condition.Append(kRegistryValueLabel);
    condition.Append(parsed.c_str());
    throw std_exception(condition, kFileUtilsRegistry, TYPE_REGISTRY, LINE_REGISTRY_NO_ROOT, 0, 1);
  }
  int done = create ? RegCreateKeyA(path, stepwise) : RegOpenKeyA(path);
  if (!done) {
    unsigned long error = static_cast<unsigned long>(m_lLastError);
    CloseAfterFailedConstruction();
    UtilsString condition(create ? kCannotCreateRegistryEntry : kCannotOpenRegistryEntry);
    condition.Append(kRegistryValueLabel);
    condition.Append(parsed.c_str());
    throw std_exception(condition, kFileUtilsRegistry, TYPE_REGISTRY,
                        create ? LINE_REGISTRY_PATH_CREATE : LINE_REGISTRY_PATH_OPEN, error, 1);
  }
}

// The release probe is copied, not run again.
UtilsRegistry::UtilsRegistry(const UtilsRegistry& other) : m_OS(other.m_OS) {
  Init();
  Copy(other);
}

UtilsRegistry& UtilsRegistry::operator=(const UtilsRegistry& other) {
  if (this != &other) Copy(other);
  return *this;
}

UtilsRegistry::~UtilsRegistry() { ::RegCloseKey(m_hCurrentKey); }

void UtilsRegistry::Init() {
  m_hRootKey = 0;
  m_hCurrentKey = 0;
  m_dwDisposition = 0;
  m_dwDataSize = 0;
  m_dwSetSize = 0;
  m_lLastError = 0;
  m_dwValueType = 0;
  m_Path = "";
  m_pLastWrite = 0;
  m_bLongRoot = 0;
}

// A constructor that throws never runs the destructor: a key opened part-way (a
// stepwise creation that stopped) is closed here.
void UtilsRegistry::CloseAfterFailedConstruction() {
  if (m_hCurrentKey && m_hCurrentKey != m_hRootKey && !IsPredefinedKey(m_hCurrentKey))
    ::RegCloseKey(m_hCurrentKey);
  m_hCurrentKey = 0;
}

HKEY UtilsRegistry::HandleForCopy() const {
  if (!m_hCurrentKey || m_hCurrentKey == m_hRootKey || IsPredefinedKey(m_hCurrentKey) ||
      !m_OS.IsNT())
    return m_hCurrentKey;
  HANDLE duplicate = 0;
  if (!DuplicateHandle(GetCurrentProcess(), m_hCurrentKey, GetCurrentProcess(), &duplicate, 0, TRUE,
                       DUPLICATE_SAME_ACCESS))
    return 0;
  return static_cast<HKEY>(duplicate);
}

void UtilsRegistry::Copy(const UtilsRegistry& other) {
  // Everything is taken from the source under its lock (the key duplicated there, so
  // that the source cannot close it meanwhile), then stored under ours.
  HKEY root, current;
  unsigned long disposition, dataSize, setSize, valueType;
  long lastError;
  int longRoot;
  std::string path;
  FILETIME* lastWrite;
  CNTAdminObject os(other.m_OS);
  {
    ScopedLock source(other.m_Lock);
    root = other.m_hRootKey;
    current = other.HandleForCopy();
    disposition = other.m_dwDisposition;
    dataSize = other.m_dwDataSize;
    setSize = other.m_dwSetSize;
    lastError = other.m_lLastError;
    valueType = other.m_dwValueType;
    longRoot = other.m_bLongRoot;
    path = other.m_Path.GetSTLString();
    lastWrite = other.m_pLastWrite;
  }
  ScopedLock hold(m_Lock);
  // An assigned-to object lets go of its own key first.
  LetGoOfCurrentKey();
  m_hRootKey = root;
  m_hCurrentKey = current;
  m_dwDisposition = disposition;
  m_dwDataSize = dataSize;
  m_dwSetSize = setSize;
  m_lLastError = lastError;
  m_dwValueType = valueType;
  m_bLongRoot = longRoot;
  m_Path = path.c_str();
  m_pLastWrite = lastWrite;
  m_OS = os;
}

// ---- paths ------------------------------------------------------------------------------

const int UtilsRegistry::ParseOutPath(UtilsString& path) {
  if (path.length() == 0) return 0;
  // The copy keeps the caller's case flag and match style, which decide whether a
  // designation matches ("hklm" only where the path ignores case).
  UtilsString parts(path);
  parts.SplitData(UtilsString(kBackslash), 1);
  parts.SetCurrentString(0);
  ScopedLock hold(m_Lock);
  for (const RootName& root : kRoots) {
    int isShort = parts.Compare(root.pszShort) == 0;
    if (!isShort && parts.Compare(root.pszLong) != 0) continue;
    m_hRootKey = root.hKey;
    m_bLongRoot = isShort ? 0 : 1;
    std::string rest;
    for (unsigned long i = 1; i < parts.GetNumberOfStrings(); ++i) {
      rest += parts.GetStringNumber(i);
      rest += '\\';
    }
    path = rest.c_str();
    return 1;
  }
  std::string text = path.GetSTLString();
  if (text[text.size() - 1] != '\\') path.Append(kBackslash);
  return 0;
}

std::string UtilsRegistry::RootDesignation(int style) const {
  int useLong = style == 2 || (style != 1 && m_bLongRoot);
  for (const RootName& root : kRoots)
    if (root.hKey == m_hRootKey) return useLong ? root.pszLong : root.pszShort;
  return std::string();
}

std::string UtilsRegistry::FullPath() const {
  std::string designation = RootDesignation(0);
  if (designation.empty()) return m_Path.GetSTLString();
  return designation + kBackslash + m_Path.GetSTLString();
}

UtilsString UtilsRegistry::GetRegistryPath(int withRoot) {
  ScopedLock hold(m_Lock);
  std::string text =
      withRoot ? RootDesignation(0) + kBackslash + m_Path.GetSTLString() : m_Path.GetSTLString();
  return UtilsString(text.c_str());
}

UtilsString UtilsRegistry::GetRootPath(int style) {
  ScopedLock hold(m_Lock);
  return UtilsString(RootDesignation(style).c_str());
}

HKEY UtilsRegistry::GetRootKey() { return m_hRootKey; }

HKEY UtilsRegistry::GetCurrentKey() const {
  ScopedLock hold(m_Lock);
  return m_hCurrentKey;
}

long UtilsRegistry::GetLastRegistryError() const {
  ScopedLock hold(m_Lock);
  return m_lLastError;
}

unsigned long UtilsRegistry::GetDisposition() const {
  ScopedLock hold(m_Lock);
  return m_dwDisposition;
}

unsigned long UtilsRegistry::GetValueType() const {
  ScopedLock hold(m_Lock);
  return m_dwValueType;
}

// ---- opening and creating -------------------------------------------------------------

void UtilsRegistry::LetGoOfCurrentKey() {
  if (m_hCurrentKey && m_hCurrentKey != m_hRootKey && !IsPredefinedKey(m_hCurrentKey))
    CloseHandle(m_hCurrentKey);
  m_hCurrentKey = 0;
}

void UtilsRegistry::ReplaceCurrentKey(HKEY opened) {
  LetGoOfCurrentKey();
  m_hCurrentKey = opened;
  if (!m_OS.IsNT()) return;
  HANDLE duplicate = 0;
  // Should the duplicate fail, the opened handle is kept rather than lost.
  if (DuplicateHandle(GetCurrentProcess(), opened, GetCurrentProcess(), &duplicate, 0, TRUE,
                      DUPLICATE_SAME_ACCESS)) {
    CloseHandle(opened);
    m_hCurrentKey = static_cast<HKEY>(duplicate);
  }
}

const int UtilsRegistry::RegOpenKeyA(const UtilsString& path) {
  UtilsString copy(path);
  ScopedLock hold(m_Lock);
  HKEY rememberedRoot = m_hRootKey;
  ParseOutPath(copy);
  std::string parsed = copy.GetSTLString();
  std::string subkey = StripFinalBackslash(parsed);
  HKEY opened = 0;
  m_lLastError = ::RegOpenKeyExA(m_hRootKey, subkey.c_str(), 0, REGISTRY_ACCESS, &opened);
  if (m_lLastError != ERROR_SUCCESS) {
    m_hRootKey = rememberedRoot;
    return 0;
  }
  if (!subkey.empty()) {
    ReplaceCurrentKey(opened);
  } else {
    // Opening the root itself: the root becomes the current key, and the extra handle
    // the system may have given for it is not kept.
    if (opened && opened != m_hRootKey) ::RegCloseKey(opened);
    LetGoOfCurrentKey();
    m_hCurrentKey = m_hRootKey;
  }
  m_Path = parsed.c_str();
  return 1;
}

const int UtilsRegistry::RegOpenSubKey(const UtilsString& subkey) {
  std::string name = subkey.GetSTLString();
  ScopedLock hold(m_Lock);
  if (name.empty() || !m_hCurrentKey) return 0;
  HKEY opened = 0;
  m_lLastError = ::RegOpenKeyExA(m_hCurrentKey, name.c_str(), 0, REGISTRY_ACCESS, &opened);
  if (m_lLastError != ERROR_SUCCESS) return 0;
  ReplaceCurrentKey(opened);
  m_Path.Append(name.c_str());
  ParseOutPath(m_Path);
  return 1;
}

const int UtilsRegistry::RegCreateKeyA(const UtilsString& path, int stepwise) {
  UtilsString copy(path);
  ScopedLock hold(m_Lock);
  HKEY rememberedRoot = m_hRootKey;
  ParseOutPath(copy);
  std::string parsed = copy.GetSTLString();
  std::string subkey = StripFinalBackslash(parsed);
  if (subkey.empty()) return 0;
  if (!stepwise) {
    HKEY created = 0;
    DWORD disposition = 0;
    m_lLastError = ::RegCreateKeyExA(m_hRootKey, subkey.c_str(), 0, 0, 0, REGISTRY_ACCESS, 0,
                                     &created, &disposition);
    m_dwDisposition = disposition;
    if (m_lLastError == ERROR_SUCCESS) ReplaceCurrentKey(created);
  } else {
    std::vector<std::string> steps = Components(subkey);
    if (steps.empty()) return 0;
    HKEY created = 0;
    DWORD disposition = 0;
    m_lLastError = ::RegCreateKeyExA(m_hRootKey, steps[0].c_str(), 0, 0, 0, REGISTRY_ACCESS, 0,
                                     &created, &disposition);
    m_dwDisposition = disposition;
    if (m_lLastError == ERROR_SUCCESS) {
      // The path follows the current key step by step, so that a creation that stops
      // part-way leaves a path that names the key reached.
      ReplaceCurrentKey(created);
      m_Path = (steps[0] + kBackslash).c_str();
      for (size_t i = 1; i < steps.size(); ++i)
        if (!RegCreateSubKey(UtilsString(steps[i].c_str()), 1)) break;
    }
  }
  if (m_lLastError != ERROR_SUCCESS) {
    m_hRootKey = rememberedRoot;
    return 0;
  }
  m_Path = parsed.c_str();
  return 1;
}

const int UtilsRegistry::RegCreateSubKey(const UtilsString& subkey, int moveDown) {
  std::string name = subkey.GetSTLString();
  ScopedLock hold(m_Lock);
  if (name.empty() || !m_hCurrentKey) return 0;
  HKEY created = 0;
  DWORD disposition = 0;
  m_lLastError = ::RegCreateKeyExA(m_hCurrentKey, name.c_str(), 0, 0, 0, REGISTRY_ACCESS, 0,
                                   &created, &disposition);
  m_dwDisposition = disposition;
  if (m_lLastError != ERROR_SUCCESS) return 0;
  if (!moveDown) {
    CloseHandle(created);
    return 1;
  }
  ReplaceCurrentKey(created);
  m_Path.Append(name.c_str());
  ParseOutPath(m_Path);
  return 1;
}

// ---- values -----------------------------------------------------------------------------

const int UtilsRegistry::RegQueryValueA(const UtilsString& name, unsigned long& value) {
  std::string valueName = name.GetSTLString();
  DWORD data = 0;
  {
    ScopedLock hold(m_Lock);
    if (valueName.empty() || !m_hCurrentKey) return 0;
    DWORD type = 0, size = sizeof(DWORD);
    m_lLastError = ::RegQueryValueExA(m_hCurrentKey, valueName.c_str(), 0, &type,
                                      reinterpret_cast<BYTE*>(&data), &size);
    m_dwDataSize = size;
    m_dwValueType = type;
    if (m_lLastError != ERROR_SUCCESS) return 0;
  }
  value = data;
  return 1;
}

const int UtilsRegistry::RegQueryValueA(const UtilsString& name, UtilsString& value) {
  std::string valueName = name.GetSTLString();
  std::string text;
  {
    ScopedLock hold(m_Lock);
    if (valueName.empty() || !m_hCurrentKey) return 0;
    // One spare zero byte past the size the system is told, so that string data
    // stored without its terminator still ends.
    char buffer[kQueryBufferSize + 1] = {};
    DWORD type = 0, size = kQueryBufferSize;
    m_lLastError = ::RegQueryValueExA(m_hCurrentKey, valueName.c_str(), 0, &type,
                                      reinterpret_cast<BYTE*>(buffer), &size);
    m_dwDataSize = size;
    m_dwValueType = type;
    if (m_lLastError == ERROR_MORE_DATA) {
      // The value is read once more into a buffer of the reported size, but a value
      // longer than the first buffer is still answered with 0.
      std::vector<char> larger(size + 1);
      m_lLastError = ::RegQueryValueExA(m_hCurrentKey, valueName.c_str(), 0, &type,
                                        reinterpret_cast<BYTE*>(&larger[0]), &size);
      m_dwDataSize = size;
      m_dwValueType = type;
      return 0;
    }
    if (m_lLastError != ERROR_SUCCESS) return 0;
    text = ValueText(type, buffer, size);
  }
  value = text.c_str();
  return 1;
}

const int UtilsRegistry::RegSetValueA(const UtilsString& name, unsigned long value) {
  std::string valueName = name.GetSTLString();
  ScopedLock hold(m_Lock);
  if (valueName.empty() || !m_hCurrentKey) return 0;
  DWORD data = static_cast<DWORD>(value);
  m_dwSetSize = sizeof(DWORD);
  m_lLastError = ::RegSetValueExA(m_hCurrentKey, valueName.c_str(), 0, REG_DWORD,
                                  reinterpret_cast<const BYTE*>(&data), sizeof(DWORD));
  return m_lLastError == ERROR_SUCCESS;
}

const int UtilsRegistry::RegSetValueA(const UtilsString& name, const UtilsString& value) {
  std::string valueName = name.GetSTLString();
  std::string data = value.GetSTLString();
  ScopedLock hold(m_Lock);
  if (valueName.empty() || !m_hCurrentKey) return 0;
  m_dwSetSize = static_cast<unsigned long>(data.size() + 1);
  m_lLastError = ::RegSetValueExA(m_hCurrentKey, valueName.c_str(), 0, REG_SZ,
                                  reinterpret_cast<const BYTE*>(data.c_str()), m_dwSetSize);
  return m_lLastError == ERROR_SUCCESS;
}

const int UtilsRegistry::RegDeleteValueA(const UtilsString& name) {
  std::string valueName = name.GetSTLString();
  ScopedLock hold(m_Lock);
  if (valueName.empty() || !m_hCurrentKey) return 0;
  m_lLastError = ::RegDeleteValueA(m_hCurrentKey, valueName.c_str());
  return m_lLastError == ERROR_SUCCESS;
}

// ---- enumeration ------------------------------------------------------------------------

const int UtilsRegistry::RegEnumKeyA(unsigned long index, UtilsString& name,
                                     unsigned long withPath) {
  std::string result;
  {
    ScopedLock hold(m_Lock);
    char buffer[kEnumBufferSize];
    DWORD size = kEnumBufferSize;
    m_lLastError = ::RegEnumKeyExA(m_hCurrentKey, index, buffer, &size, 0, 0, 0, m_pLastWrite);
    if (m_lLastError == ERROR_MORE_DATA) {
      // Asked again with the reported size, but the index still answers 0.
      std::vector<char> larger((std::max)(size + 1, kEnumBufferSize));
      size = static_cast<DWORD>(larger.size());
      m_lLastError =
          ::RegEnumKeyExA(m_hCurrentKey, index, &larger[0], &size, 0, 0, 0, m_pLastWrite);
      return 0;
    }
    if (m_lLastError != ERROR_SUCCESS) return 0;
    if (withPath) result = GetRegistryPath(withPath > 1).GetSTLString();
    result.append(buffer, size);
  }
  name = result.c_str();
  return 1;
}

const int UtilsRegistry::RegEnumValueA(unsigned long index, UtilsString& name, UtilsString& value,
                                       unsigned long withPath) {
  std::string nameText, valueText;
  {
    ScopedLock hold(m_Lock);
    char nameBuffer[kEnumBufferSize];
    char data[kEnumBufferSize + 1] = {};  // one spare zero, as in the query
    DWORD nameSize = kEnumBufferSize, dataSize = kEnumBufferSize, type = 0;
    m_lLastError = ::RegEnumValueA(m_hCurrentKey, index, nameBuffer, &nameSize, 0, &type,
                                   reinterpret_cast<BYTE*>(data), &dataSize);
    m_dwDataSize = dataSize;
    m_dwValueType = type;
    if (m_lLastError == ERROR_MORE_DATA) {
      // Both buffers grow to the reported sizes for a second call, but the index
      // still answers 0.
      std::vector<char> largerName((std::max)(nameSize + 1, kEnumBufferSize));
      std::vector<char> largerData((std::max)(dataSize, kEnumBufferSize) + 1);
      nameSize = static_cast<DWORD>(largerName.size());
      dataSize = static_cast<DWORD>(largerData.size() - 1);
      m_lLastError = ::RegEnumValueA(m_hCurrentKey, index, &largerName[0], &nameSize, 0, &type,
                                     reinterpret_cast<BYTE*>(&largerData[0]), &dataSize);
      m_dwDataSize = dataSize;
      m_dwValueType = type;
      return 0;
    }
    if (m_lLastError != ERROR_SUCCESS) return 0;
    if (withPath) nameText = GetRegistryPath(withPath > 1).GetSTLString();
    nameText.append(nameBuffer, nameSize);
    valueText = ValueText(type, data, dataSize);
  }
  name = nameText.c_str();
  value = valueText.c_str();
  return 1;
}

const int UtilsRegistry::RegEnumValueA(unsigned long index, UtilsString& name, unsigned long& value,
                                       unsigned long withPath) {
  std::string nameText;
  DWORD number = 0;
  {
    ScopedLock hold(m_Lock);
    char nameBuffer[kEnumBufferSize];
    DWORD nameSize = kEnumBufferSize, dataSize = sizeof(DWORD), type = 0;
    m_lLastError = ::RegEnumValueA(m_hCurrentKey, index, nameBuffer, &nameSize, 0, &type,
                                   reinterpret_cast<BYTE*>(&number), &dataSize);
    m_dwDataSize = dataSize;
    m_dwValueType = type;
    if (m_lLastError == ERROR_MORE_DATA) {
      // The data cannot grow past the 32-bit variable: the second call gets a larger
      // name buffer only, and the index answers 0 whatever it gives.
      std::vector<char> largerName((std::max)(nameSize + 1, kEnumBufferSize));
      nameSize = static_cast<DWORD>(largerName.size());
      dataSize = sizeof(DWORD);
      DWORD ignored = 0;
      m_lLastError = ::RegEnumValueA(m_hCurrentKey, index, &largerName[0], &nameSize, 0, &type,
                                     reinterpret_cast<BYTE*>(&ignored), &dataSize);
      m_dwDataSize = dataSize;
      m_dwValueType = type;
      return 0;
    }
    if (m_lLastError != ERROR_SUCCESS) return 0;
    if (withPath) nameText = GetRegistryPath(withPath > 1).GetSTLString();
    nameText.append(nameBuffer, nameSize);
  }
  name = nameText.c_str();
  value = number;
  return 1;
}

// ---- deletion ---------------------------------------------------------------------------

// Opens `parent` and deletes its subkey `last` (the key that was current); the object
// is left on the parent. When the parent cannot be opened nothing is deleted: the
// current key might otherwise hold a subkey of the same name.
const int UtilsRegistry::DeleteCurrentKey(const std::string& parent, const std::string& last) {
  if (!RegOpenKeyA(UtilsString(parent.c_str()))) return 0;
  m_lLastError = ::RegDeleteKeyA(m_hCurrentKey, last.c_str());
  return m_lLastError == ERROR_SUCCESS;
}

const int UtilsRegistry::RegDeleteKeyA(int recursive) {
  ScopedLock hold(m_Lock);
  std::vector<std::string> steps = Components(m_Path.GetSTLString());
  if (steps.empty()) return 0;  // the root itself is never deleted
  // The parent, relative to the root and with its designation in front.
  std::string relativeParent;
  for (size_t i = 0; i + 1 < steps.size(); ++i) relativeParent += steps[i] + kBackslash;
  std::string designation = RootDesignation(0);
  std::string parent =
      designation.empty() ? relativeParent : designation + kBackslash + relativeParent;
  if (!recursive) return DeleteCurrentKey(parent, steps.back());

  // Depth first without recursion: go down along subkey 0 to a leaf, clear its values,
  // delete it (which leaves the object on its parent), and repeat until the object is
  // back on the start's parent.
  std::string start = FullPath();
  UtilsString startParent(relativeParent.c_str());
  do {
    UtilsString child;
    while (RegEnumKeyA(0, child, 0) && RegOpenSubKey(child)) {
    }
    UtilsString valueName, valueText;
    for (unsigned long i = 0; RegEnumValueA(i, valueName, valueText, 0); ++i)
      RegDeleteValueA(valueName);
    if (!RegDeleteKeyA(0)) {
      long error = m_lLastError;
      RegOpenKeyA(UtilsString(start.c_str()));
      m_lLastError = error;  // the deletion's code, not the reopening's
      return 0;
    }
  } while (m_Path.Compare(startParent) > 0);
  return 1;
}

const int UtilsRegistry::RegDeleteKeyA(const UtilsString& path, int recursive) {
  UtilsString target(path);
  ScopedLock hold(m_Lock);
  if (target.length() == 0 || !m_hCurrentKey) return 0;
  std::string remembered = FullPath();
  if (!RegOpenKeyA(target)) return 0;
  int deleted = RegDeleteKeyA(recursive);
  if (deleted) {
    long error = m_lLastError;
    RegOpenKeyA(UtilsString(remembered.c_str()));
    m_lLastError = error;
  }
  return deleted;
}

// ---- forwarders -------------------------------------------------------------------------

const int UtilsRegistry::CreateKey(const UtilsString& path, int stepwise) {
  return RegCreateKeyA(path, stepwise);
}
const int UtilsRegistry::CreateSubKey(const UtilsString& subkey, int moveDown) {
  return RegCreateSubKey(subkey, moveDown);
}
const int UtilsRegistry::OpenKey(const UtilsString& path) { return RegOpenKeyA(path); }
const int UtilsRegistry::OpenSubKey(const UtilsString& subkey) { return RegOpenSubKey(subkey); }
const int UtilsRegistry::GetValue(const UtilsString& name, unsigned long& value) {
  return RegQueryValueA(name, value);
}
const int UtilsRegistry::GetValue(const UtilsString& name, UtilsString& value) {
  return RegQueryValueA(name, value);
}
const int UtilsRegistry::SetValue(const UtilsString& name, unsigned long value) {
  return RegSetValueA(name, value);
}
const int UtilsRegistry::SetValue(const UtilsString& name, const UtilsString& value) {
  return RegSetValueA(name, value);
}
const int UtilsRegistry::EnumKey(unsigned long index, UtilsString& name, unsigned long withPath) {
  return RegEnumKeyA(index, name, withPath);
}
const int UtilsRegistry::EnumValue(unsigned long index, UtilsString& name, UtilsString& value,
                                   unsigned long withPath) {
  return RegEnumValueA(index, name, value, withPath);
}
const int UtilsRegistry::EnumValue(unsigned long index, UtilsString& name, unsigned long& value,
                                   unsigned long withPath) {
  return RegEnumValueA(index, name, value, withPath);
}
const int UtilsRegistry::DeleteKey(const UtilsString& path, int recursive) {
  return RegDeleteKeyA(path, recursive);
}
const int UtilsRegistry::DeleteKey(int recursive) { return RegDeleteKeyA(recursive); }
const int UtilsRegistry::DeleteValue(const UtilsString& name) { return RegDeleteValueA(name); }

}  // namespace UTILS
