// Loading and writing the two store files, obj.dat and link.dat. Both begin with the
// tag 4100 and a complete mark (0 while being written, 1 once whole); the records that
// follow are read and written field by field, little-endian, so that a 64-bit build
// reads and writes the same bytes as the 32-bit DLL. How the files reach the disk, and
// what a load does with files a kill or a full disk left behind, is StoreFolder's part.
// See docs/store-format.md.
#include <stdlib.h>
#include <string.h>
#include <atomic>
#include <new>
#include <string>
#include <vector>
#include "Internal.h"
#include "StoreFolder.h"
#include "StoreFormat.h"
#include "StoreWriter.h"

using namespace vkl;

namespace {

std::atomic<unsigned long> g_dwLoadStatus{VKU_LOAD_NONE};

bool BuildStorePath(char* field, const char* directory, const char* fileName) {
  size_t n = strlen(directory);
  size_t extra = (n > 0 && directory[n - 1] == '\\') ? 0 : 1;
  if (n + extra + strlen(fileName) + 1 > kFullPathSize) return false;
  memcpy(field, directory, n);
  if (extra) field[n++] = '\\';
  strcpy(field + n, fileName);
  return true;
}

// Process-wide scratch array for the live entries of one object; grows to exactly the
// size needed and never shrinks.
uint32_t* g_pScratch = nullptr;
uint32_t g_dwScratchSize = 0;

inline bool EntryIsLive(uint32_t e) { return (e & (VKU_ENTRY_NOT_PERSISTENT | VKU_ENTRY_MARK)) == 0; }

uint32_t GatherLive(const uint32_t* entries, uint32_t count, uint32_t at) {
  uint32_t n = 0;
  for (uint32_t i = 0; i < count; ++i)
    if (EntryIsLive(entries[i])) g_pScratch[at + n++] = entries[i];
  return n;
}

// Writes one object's entry; false if the scratch array cannot grow (the flush then
// fails rather than leave the object out).
bool WriteObject(StoreWriter& w, const DBObject* o) {
  uint32_t from = o->dwLinksFromCount & VKU_ENTRY_ID_MASK;
  uint32_t to = o->dwLinksToCount & VKU_ENTRY_ID_MASK;
  if (from + to > g_dwScratchSize) {
    uint32_t* bigger = static_cast<uint32_t*>(malloc(sizeof(uint32_t) * (from + to)));
    if (!bigger) return false;
    free(g_pScratch);
    g_pScratch = bigger;
    g_dwScratchSize = from + to;
  }
  uint32_t liveFrom = GatherLive(o->pLinksFrom, from, 0);
  uint32_t liveTo = GatherLive(o->pLinksTo, to, liveFrom);
  if (liveFrom + liveTo == 0) return true;

  uint32_t nameLength = o->pszName ? static_cast<uint32_t>(strlen(o->pszName)) : 0;
  // The fixed part; pointer slots are written as zero so that the same database always
  // gives the same bytes.
  w.PutU32(0);  // pNext
  w.PutU32(0);  // pszName
  w.PutU32(o->dwID);
  w.PutU32(o->dwType);
  w.PutU32(o->dwFlags);
  w.PutU32(liveFrom);
  w.PutU32(0);  // pLinksFrom
  w.PutU32(liveTo);
  w.PutU32(0);  // pLinksTo
  w.PutU8(1);   // bPersistent: only persistent objects are written
  w.PutU32(o->dwDataSize);
  w.PutU32(0);  // pData
  w.PutU16(static_cast<uint16_t>(nameLength));
  if (nameLength) w.Put(o->pszName, nameLength);
  for (uint32_t i = 0; i < liveFrom + liveTo; ++i) w.PutU32(g_pScratch[i]);
  if (o->dwDataSize && o->pData) w.Put(o->pData, o->dwDataSize);
  return true;
}

bool HasLiveEntry(const uint32_t* entries, uint32_t count) {
  for (uint32_t i = 0; i < (count & VKU_ENTRY_ID_MASK); ++i)
    if (EntryIsLive(entries[i])) return true;
  return false;
}

bool WriteObjects(DBObject* objects, StoreFolder* folder, FileSeal* seal) {
  StoreWriter w(folder->TempPath(StoreFolder::kObj), folder->Buffer());
  w.PutHeader();
  for (DBObject* o = objects; o; o = o->pNext) {
    if (!o->bPersistent) continue;
    if (!HasLiveEntry(o->pLinksFrom, o->dwLinksFromCount) && !HasLiveEntry(o->pLinksTo, o->dwLinksToCount))
      continue;
    if (!WriteObject(w, o)) {
      SetSystemError(SystemErrorCode(kErrorNoMemory));
      return false;  // the writer removes its file
    }
  }
  return w.Finish(seal);
}

bool WriteLinks(DBLink* links, StoreFolder* folder, FileSeal* seal) {
  StoreWriter w(folder->TempPath(StoreFolder::kLink), folder->Buffer());
  w.PutHeader();
  for (DBLink* l = links; l; l = l->pNext) {
    if (!l->bPersistent) continue;
    w.PutU32(0);  // pNext
    w.PutU32(l->dwID);
    w.PutU32(l->dwSource);
    w.PutU32(l->dwTarget);
    w.PutU32(l->dwType);
    w.PutU8(1);  // bPersistent
  }
  return w.Finish(seal);
}

}  // namespace

namespace vkl {

bool StoreImageValid(const std::vector<unsigned char>& image) {
  return image.size() >= kStoreHeaderSize && ReadU32(image.data()) == kStoreTag &&
         ReadU32(image.data() + 4) != 0;
}

void SetLoadStatus(unsigned long status) { g_dwLoadStatus = status; }

void DestroyStoreFolder(void* store) { delete static_cast<StoreFolder*>(store); }

}  // namespace vkl

unsigned long CVKUDatabase::GetLoadStatus() { return g_dwLoadStatus; }

int CVKUDatabase::Initialize(char* directory) {
  MutexGuard lock(m_hMutex);
  if (m_pStore) {  // loading twice would make every object twice
    SetSystemError(SystemErrorCode(kErrorAlreadyInitialized));
    return 0;
  }
  // Without a directory the database has no store: it lives in memory only.
  std::string prefix;
  if (directory) {
    // Both paths must fit their 260-character fields; a longer directory is refused.
    if (!BuildStorePath(m_szObjFile, directory, "obj.dat") ||
        !BuildStorePath(m_szLinkFile, directory, "link.dat")) {
      m_szObjFile[0] = m_szLinkFile[0] = 0;
      SetLoadStatus(VKU_LOAD_NAME_TOO_LONG);
      SetSystemError(SystemErrorCode(kErrorNameTooLong));
      return 0;
    }
    prefix.assign(m_szObjFile, strlen(m_szObjFile) - strlen("obj.dat"));
  }
  StoreFolder* folder = new (std::nothrow) StoreFolder(prefix, directory != nullptr);
  if (!folder) {
    SetSystemError(SystemErrorCode(kErrorNoMemory));
    return 0;
  }
  if (folder->Lock() == kFolderBusy) {
    // Another process has the folder: nothing in it is touched.
    unsigned long error = LastSystemError();
    delete folder;
    m_szObjFile[0] = m_szLinkFile[0] = 0;
    SetLoadStatus(VKU_LOAD_LOCKED);
    SetSystemError(error);
    return 0;
  }
  m_pStore = folder;

  std::vector<unsigned char> images[2];
  unsigned long outcome = folder->Read(images);
  if (outcome == VKU_LOAD_LOADED) {
    const std::vector<unsigned char>& obj = images[StoreFolder::kObj];
    const std::vector<unsigned char>& link = images[StoreFolder::kLink];
    bool whole = DatabaseInternals::LoadStore(this, obj.data() + kStoreHeaderSize, obj.size() - kStoreHeaderSize,
                                              link.data() + kStoreHeaderSize, link.size() - kStoreHeaderSize);
    // A store that memory could not hold whole is never replaced by the part loaded.
    if (!whole) folder->RefuseWrites(SystemErrorCode(kErrorNoMemory));
  } else {
    DatabaseInternals::CreateRoot(this);
  }
  SetLoadStatus(outcome | (folder->Writable() ? 0 : VKU_LOAD_NOT_WRITABLE));
  return 1;
}

int CVKUDatabase::Flush() {
  MutexGuard lock(m_hMutex);
  // A thread ended in the middle of a change: what is in memory may be half done, and
  // the store on the disk is the better one.
  if (MutexAbandoned(m_hMutex)) {
    SetSystemError(SystemErrorCode(kErrorAbandoned));
    return 0;
  }
  if (!m_pObjects) return 1;
  // A database holding only an unlinked root is never written.
  if (m_dwLastObjectID == 1 && (m_pObjects->dwLinksFromCount & VKU_ENTRY_ID_MASK) == 0 &&
      (m_pObjects->dwLinksToCount & VKU_ENTRY_ID_MASK) == 0)
    return 1;
  StoreFolder* folder = static_cast<StoreFolder*>(m_pStore);
  if (!folder) {
    SetSystemError(SystemErrorCode(kErrorNoFolder));
    return 0;
  }
  if (!folder->PrepareToWrite()) return 0;

  FileSeal seals[2] = {AbsentFile(), AbsentFile()};
  bool written[2] = {false, false};
  if (m_dwLastObjectID != 0) {
    if (!WriteObjects(m_pObjects, folder, &seals[StoreFolder::kObj])) return 0;
    written[StoreFolder::kObj] = true;
  }
  // If no link was ever created or loaded, link.dat is left as it is.
  if (m_dwLastLinkID != 0) {
    // Deleted links still waiting in the list leave it first.
    if (Accelerators* a = DatabaseInternals::Accel(this)) a->FinishLinkRemovals(this);
    if (!WriteLinks(m_pLinks, folder, &seals[StoreFolder::kLink])) {
      if (written[StoreFolder::kObj]) folder->DiscardTemp(StoreFolder::kObj);
      return 0;
    }
    written[StoreFolder::kLink] = true;
  }
  if (!written[StoreFolder::kObj] && !written[StoreFolder::kLink]) return 1;
  return folder->Commit(seals, written) ? 1 : 0;
}

void CVKUDatabase::DumpDatabase(char*) {}
