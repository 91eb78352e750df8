// The protected lists of the process: loading them from the embedded resources through
// qfpack.dll, and the questions asked of them (IsProtectedPath, the registry check).
#include "ProtectedLists.h"

#include <ole2.h>

#include <atomic>

#include "CNTAdminObject"
#include "CSyncObject"
#include "CUtilsPath"
#include "ListResources.h"
#include "ListText.h"
#include "ProtectedTree.h"
#include "UtilsAllocator"
#include "UtilsString"

using vkl::protect::ListDirectories;
using vkl::protect::ProtectedNode;

namespace {

const char kDecompressorModule[] = "qfpack.dll";
const char kDecompressorEntry[] = "QfUnCompress";

// QfUnCompress(compressed bytes, their count, output buffer, its capacity): the number
// of bytes written, greater than zero on success.
typedef int(__cdecl* QfUnCompressFn)(const void* in, int inCount, void* out, int outCapacity);

// The root designations the registry check shortens, in the order they are tried.
const struct {
  const char* longName;
  const char* shortName;
} kRootNames[] = {
    {"HKEY_LOCAL_MACHINE", "HKLM"},
    {"HKEY_CURRENT_USER", "HKCU"},
    {"HKEY_CURRENT_CONFIG", "HKCC"},
    {"HKEY_CLASSES_ROOT", "HKCR"},
};

// Process-wide state, built by the library's static initialisation (the release is
// probed then) and destroyed when it is unloaded: the trees first, the probe after them.
CNTAdminObject g_Release;
ProtectedNode g_FileTree;
ProtectedNode g_KeyTree;
ListDirectories g_Directories;
int g_DirectoriesFilled = 0;

HMODULE g_hListModule = NULL;
UTILS::CCriticalSection g_LoadLock;
std::atomic<int> g_ListsLoaded(0);

void FillDirectories() {
  char windowsDir[vkl::protect::kDirectoryBufferSize] = {0};
  char systemDir[vkl::protect::kDirectoryBufferSize] = {0};
  UINT n = GetWindowsDirectoryA(windowsDir, sizeof windowsDir);
  if (n == 0 || n >= sizeof windowsDir) windowsDir[0] = 0;
  n = GetSystemDirectoryA(systemDir, sizeof systemDir);
  if (n == 0 || n >= sizeof systemDir) systemDir[0] = 0;
  vkl::protect::SetListDirectories(g_Directories, windowsDir, systemDir);
  g_DirectoriesFilled = 1;
}

// The full path of qfpack.dll: the directory of this library's own file, then the
// module's name. False when the directory cannot be told.
bool DecompressorPath(UTILS::UtilsString& path) {
  UTILS::CUtilsPath place;
  if (!place.SetDirToModuleName(g_hListModule) || !place.SetPathToSubDir()) return false;
  if (!place.AddToPath(UTILS::UtilsString(kDecompressorModule))) return false;
  path = place.UGetPath();
  return path.length() != 0;
}

// The OLE bracket around the loading, balanced only where it was entered: a thread
// whose COM apartment refuses OLE keeps its own initialisation untouched.
class OleBracket {
 public:
  OleBracket() : m_hResult(OleInitialize(NULL)) {}
  ~OleBracket() {
    if (SUCCEEDED(m_hResult)) OleUninitialize();
  }

 private:
  OleBracket(const OleBracket&);
  OleBracket& operator=(const OleBracket&);
  HRESULT m_hResult;
};

// qfpack.dll, loaded by its full path for as long as one list is inflated.
class Decompressor {
 public:
  explicit Decompressor(const UTILS::UtilsString& path) : m_hModule(LoadLibraryA(path.c_str())), m_pfnUnCompress(0) {
    if (m_hModule) {
      m_pfnUnCompress = reinterpret_cast<QfUnCompressFn>(
          reinterpret_cast<void (*)()>(GetProcAddress(m_hModule, kDecompressorEntry)));
    }
  }
  ~Decompressor() {
    if (m_hModule) FreeLibrary(m_hModule);
  }
  QfUnCompressFn UnCompress() const { return m_pfnUnCompress; }

 private:
  Decompressor(const Decompressor&);
  Decompressor& operator=(const Decompressor&);
  HMODULE m_hModule;
  QfUnCompressFn m_pfnUnCompress;
};

// Inflates `payload` (the resource after its length field) with qfpack.dll and reads
// the text into `tree`.
void InflateAndLoad(const unsigned char* payload, DWORD payloadSize, uint32_t length, ProtectedNode* tree,
                    vkl::protect::ListKind kind) {
  OleBracket ole;
  UTILS::UtilsString path;
  if (!DecompressorPath(path)) return;
  Decompressor decompressor(path);
  if (!decompressor.UnCompress()) return;
  // The buffer comes cleared, so the text is followed by at least ten zero bytes.
  unsigned long capacity = static_cast<unsigned long>(length) + vkl::protect::kOutputSlack;
  UTILS::UtilsAllocator<char> buffer;
  buffer.allocate(capacity);
  int produced = decompressor.UnCompress()(payload, static_cast<int>(payloadSize), buffer.GetBlock(),
                                           static_cast<int>(capacity));
  if (produced > 0) vkl::protect::LoadListText(tree, buffer.GetBlock(), kind, g_Directories);
}

void LoadList(int id, const char* type, ProtectedNode* tree, vkl::protect::ListKind kind) {
  if (id == 0) return;
  if (kind == vkl::protect::kFileList && !g_DirectoriesFilled) FillDirectories();
  HMODULE module = g_hListModule;
  HRSRC info = FindResourceA(module, MAKEINTRESOURCEA(id), type);
  if (!info) return;
  DWORD size = SizeofResource(module, info);
  if (size == 0) return;
  HGLOBAL loaded = LoadResource(module, info);
  if (!loaded) return;
  const unsigned char* data = static_cast<const unsigned char*>(LockResource(loaded));
  // A payload too short for its length field, or whose length leaves no room for the
  // slack, holds no list.
  uint32_t length = 0;
  if (data && size >= vkl::protect::kPayloadHeaderSize) length = vkl::protect::PayloadLength(data);
  if (data && size >= vkl::protect::kPayloadHeaderSize && length <= 0x7FFFFFFFu - vkl::protect::kOutputSlack) {
    try {
      InflateAndLoad(data + vkl::protect::kPayloadHeaderSize, size - vkl::protect::kPayloadHeaderSize, length, tree,
                     kind);
    } catch (...) {
      // No memory for the text (the allocator throws) or for the tree: the list stays
      // as far as it got; the library goes on.
    }
  }
  FreeResource(loaded);
}

// Loads both lists the first time a question needs them. The flag is read without the
// lock on every later question.
void EnsureListsLoaded() {
  if (g_ListsLoaded.load(std::memory_order_acquire)) return;
  UTILS::ScopedLock hold(g_LoadLock);
  if (g_ListsLoaded.load(std::memory_order_relaxed)) return;
  vkl::LoadProtectedFileList(0);
  vkl::LoadProtectedKeyList(0);
  g_ListsLoaded.store(1, std::memory_order_release);
}

}  // namespace

namespace vkl {

void ScheduleProtectedLists(HMODULE library) { g_hListModule = library; }

int LoadProtectedFileList(void*) {
  LoadList(protect::ListResourcesFor(g_Release.GetOS()).files, protect::kFileListType, &g_FileTree,
           protect::kFileList);
  return 0;
}

int LoadProtectedKeyList(void*) {
  LoadList(protect::ListResourcesFor(g_Release.GetOS()).keys, protect::kKeyListType, &g_KeyTree, protect::kKeyList);
  return 0;
}

int IsProtectedRegKey(const char* keyPath) {
  if (!keyPath) return 0;
  EnsureListsLoaded();
  UTILS::UtilsString parts(keyPath);
  UTILS::UtilsString rewritten(keyPath);
  UTILS::UtilsString separator("\\");
  parts.SplitData(separator);
  if (rewritten.length() == 0) return 0;
  parts.SetCurrentString(0);
  for (const auto& root : kRootNames) {
    if (parts.Compare(root.longName) == 0) {
      rewritten.ReplaceFirst(root.longName, root.shortName);
      break;
    }
  }
  return protect::FindProtectedPath(&g_KeyTree, rewritten.c_str(), 0) ? 1 : 0;
}

}  // namespace vkl

extern "C" int IsProtectedPath(const char* path) {
  if (!path) return 0;
  EnsureListsLoaded();
  return vkl::protect::FindProtectedPath(&g_FileTree, path, 0) ? 1 : 0;
}
