// Loading and writing the two store files, obj.dat and link.dat. Both begin with the
// tag 4100 and a complete mark (0 while being written, 1 once whole); the records that
// follow are read and written field by field, little-endian, so that a 64-bit build
// reads and writes the same bytes as the 32-bit DLL. See docs/store-format.md.
#include <stdlib.h>
#include <string.h>
#include <vector>
#include "Internal.h"
#include "StoreFormat.h"

using namespace vkl;

namespace {

// Whole contents of a file, or false if it cannot be opened or read.
bool ReadWholeFile(const char* path, std::vector<unsigned char>& out) {
  FILE* f = OpenFile(path, "rb");
  if (!f) return false;
  out.clear();
  unsigned char chunk[65536];
  size_t n;
  while ((n = fread(chunk, 1, sizeof(chunk), f)) > 0) out.insert(out.end(), chunk, chunk + n);
  bool ok = !ferror(f);
  fclose(f);
  return ok;
}

bool BuildStorePath(char* field, const char* directory, const char* fileName) {
  size_t n = strlen(directory);
  size_t extra = (n > 0 && directory[n - 1] == '\\') ? 0 : 1;
  if (n + extra + strlen(fileName) + 1 > kFullPathSize) return false;
  memcpy(field, directory, n);
  if (extra) field[n++] = '\\';
  strcpy(field + n, fileName);
  return true;
}

void PutU32(FILE* f, uint32_t v) {
  unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                        static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
  fwrite(b, 1, 4, f);
}

void PutU8(FILE* f, uint8_t v) { fwrite(&v, 1, 1, f); }

void PutU16(FILE* f, uint16_t v) {
  unsigned char b[2] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
  fwrite(b, 1, 2, f);
}

void WriteHeader(FILE* f) {
  PutU32(f, kStoreTag);
  PutU32(f, 0);
}

void MarkComplete(FILE* f) {
  fseek(f, 4, SEEK_SET);
  PutU32(f, 1);
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

void WriteObject(FILE* f, const DBObject* o) {
  uint32_t from = o->dwLinksFromCount & VKU_ENTRY_ID_MASK;
  uint32_t to = o->dwLinksToCount & VKU_ENTRY_ID_MASK;
  if (from + to > g_dwScratchSize) {
    uint32_t* bigger = static_cast<uint32_t*>(malloc(sizeof(uint32_t) * (from + to)));
    if (!bigger) return;  // the object is left out rather than written wrongly
    free(g_pScratch);
    g_pScratch = bigger;
    g_dwScratchSize = from + to;
  }
  uint32_t liveFrom = GatherLive(o->pLinksFrom, from, 0);
  uint32_t liveTo = GatherLive(o->pLinksTo, to, liveFrom);
  if (liveFrom + liveTo == 0) return;

  uint32_t nameLength = o->pszName ? static_cast<uint32_t>(strlen(o->pszName)) : 0;
  // The fixed part; pointer slots are written as zero so that the same database always
  // gives the same bytes.
  PutU32(f, 0);  // pNext
  PutU32(f, 0);  // pszName
  PutU32(f, o->dwID);
  PutU32(f, o->dwType);
  PutU32(f, o->dwFlags);
  PutU32(f, liveFrom);
  PutU32(f, 0);  // pLinksFrom
  PutU32(f, liveTo);
  PutU32(f, 0);  // pLinksTo
  PutU8(f, o->bPersistent);
  PutU32(f, o->dwDataSize);
  PutU32(f, 0);  // pData
  PutU16(f, static_cast<uint16_t>(nameLength));
  if (nameLength) fwrite(o->pszName, 1, nameLength, f);
  for (uint32_t i = 0; i < liveFrom + liveTo; ++i) PutU32(f, g_pScratch[i]);
  if (o->dwDataSize && o->pData) fwrite(o->pData, 1, o->dwDataSize, f);
}

bool HasLiveEntry(const uint32_t* entries, uint32_t count) {
  for (uint32_t i = 0; i < (count & VKU_ENTRY_ID_MASK); ++i)
    if (EntryIsLive(entries[i])) return true;
  return false;
}

}  // namespace

namespace vkl {

bool StoreImageValid(const std::vector<unsigned char>& image) {
  return image.size() >= kStoreHeaderSize && ReadU32(image.data()) == kStoreTag &&
         ReadU32(image.data() + 4) != 0;
}

}  // namespace vkl

int CVKUDatabase::Initialize(char* directory) {
  if (!directory) return 0;
  MutexGuard lock(m_hMutex);
  // Both paths must fit their 260-character fields; a longer directory is refused.
  if (!BuildStorePath(m_szObjFile, directory, "obj.dat") ||
      !BuildStorePath(m_szLinkFile, directory, "link.dat")) {
    m_szObjFile[0] = m_szLinkFile[0] = 0;
    return 0;
  }

  std::vector<unsigned char> objImage, linkImage;
  bool valid = ReadWholeFile(m_szObjFile, objImage) && StoreImageValid(objImage) &&
               ReadWholeFile(m_szLinkFile, linkImage) && StoreImageValid(linkImage);
  if (!valid) {
    DatabaseInternals::CreateRoot(this);
    return 1;
  }
  DatabaseInternals::LoadObjects(this, objImage.data() + kStoreHeaderSize, objImage.size() - kStoreHeaderSize);
  DatabaseInternals::LoadLinks(this, linkImage.data() + kStoreHeaderSize, linkImage.size() - kStoreHeaderSize);
  return 1;
}

void CVKUDatabase::Flush() {
  MutexGuard lock(m_hMutex);
  if (!m_pObjects) return;
  // A database holding only an unlinked root is never written.
  if (m_dwLastObjectID == 1 && (m_pObjects->dwLinksFromCount & VKU_ENTRY_ID_MASK) == 0 &&
      (m_pObjects->dwLinksToCount & VKU_ENTRY_ID_MASK) == 0)
    return;

  if (m_dwLastObjectID != 0) {
    if (FILE* f = OpenFile(m_szObjFile, "wb")) {
      WriteHeader(f);
      for (DBObject* o = m_pObjects; o; o = o->pNext) {
        if (!o->bPersistent) continue;
        if (!HasLiveEntry(o->pLinksFrom, o->dwLinksFromCount) && !HasLiveEntry(o->pLinksTo, o->dwLinksToCount))
          continue;
        WriteObject(f, o);
      }
      MarkComplete(f);
      fclose(f);
    }
  }

  if (m_dwLastLinkID != 0) {
    if (FILE* f = OpenFile(m_szLinkFile, "wb")) {
      WriteHeader(f);
      for (DBLink* l = m_pLinks; l; l = l->pNext) {
        if (!l->bPersistent) continue;
        PutU32(f, 0);  // pNext
        PutU32(f, l->dwID);
        PutU32(f, l->dwSource);
        PutU32(f, l->dwTarget);
        PutU32(f, l->dwType);
        PutU8(f, l->bPersistent);
      }
      MarkComplete(f);
      fclose(f);
    }
  }
}

void CVKUDatabase::DumpDatabase(char*) {}
