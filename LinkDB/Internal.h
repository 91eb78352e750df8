// Internal.h - what the units of the link database share: the shared-database
// pointer, the lock guard, index nodes, the name hash, ASCII case-insensitive
// comparison, and the helpers that make handles.
#ifndef VKLINKDB_INTERNAL_H
#define VKLINKDB_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include "NameDirectory.h"
#include "Platform.h"
#include "VKLinkDB.h"

// Node of a bucket chain of one of the three hash indexes, carved from the arena.
struct IndexNode {
  IndexNode* pNext;
  void* pRecord;
};

namespace vkl {

enum : uint32_t {
  kArenaBlockSpace = 16384,
  kObjectBuckets = 16384,
  kLinkBuckets = 65536,
  kNameBuckets = 16384,
  kNameIndexTypes = 0x103F,
  kMaxNameLength = 250,
  kMaxDataSize = 16384,
  kPathBufferSize = 1000,
  kFullPathSize = 260,
  kMaxPathDepth = 260,
  kStoreTag = 4100,
};

// The process-wide database returned by AttachDatabase; every handle works on it.
extern CVKUDatabase* g_pSharedDB;

// Holds the mutex of a database for the lifetime of the guard (no-op without one).
class MutexGuard {
 public:
  explicit MutexGuard(void* mutex) : m_hMutex(mutex) { MutexLock(m_hMutex); }
  ~MutexGuard() { MutexUnlock(m_hMutex); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  void* m_hMutex;
};

// Case-insensitive (ASCII letters only) hash of a name into 0..0x3FFF. Bytes from 0x80
// up are not folded and enter the hash sign-extended.
uint32_t NameHash(const char* name);

// The first record of a bucket chain with the given id, or null.
template <typename Record>
inline Record* FindInChain(IndexNode* node, unsigned long id) {
  for (; node; node = node->pNext)
    if (static_cast<Record*>(node->pRecord)->dwID == id) return static_cast<Record*>(node->pRecord);
  return nullptr;
}

// Removes the first node of a bucket chain whose record has the given id; returns it.
template <typename Record>
inline IndexNode* UnlinkIndexNode(IndexNode** bucket, unsigned long id) {
  for (IndexNode** p = bucket; *p; p = &(*p)->pNext) {
    if (static_cast<Record*>((*p)->pRecord)->dwID == id) {
      IndexNode* node = *p;
      *p = node->pNext;
      return node;
    }
  }
  return nullptr;
}

inline unsigned char AsciiUpper(unsigned char c) { return (c >= 'a' && c <= 'z') ? c - 0x20 : c; }

// ASCII case-insensitive equality of two whole strings; null equals nothing.
inline bool NamesEqual(const char* a, const char* b) {
  if (!a || !b) return false;
  const unsigned char* x = reinterpret_cast<const unsigned char*>(a);
  const unsigned char* y = reinterpret_cast<const unsigned char*>(b);
  for (; *x && *y; ++x, ++y)
    if (AsciiUpper(*x) != AsciiUpper(*y)) return false;
  return *x == *y;
}

// Bounded strlen: the length of s, or max if s is longer.
inline uint32_t BoundedLength(const char* s, uint32_t max) {
  uint32_t n = 0;
  while (n < max && s[n]) ++n;
  return n;
}

// The object with a full path, and the file a name-only object (type 0x1000) stands
// for; the caller holds the mutex. Null when there is none.
DBObject* FindByPath(CVKUDatabase* db, const char* path);
DBObject* ResolveName(CVKUDatabase* db, DBObject* object, const char* directory);

// Ends every open object search (their records go with a destroyed database).
void EndOpenSearches();

// Destroys the shared database, whatever its reference count (library unload).
void DestroySharedDatabase();

// What GetLoadStatus reports (StoreFiles.cpp).
void SetLoadStatus(unsigned long status);
// Lets go of a database's store folder and its lock (the destructor's last step).
void DestroyStoreFolder(void* store);

}  // namespace vkl

// Access to the shared database's private state for the handle classes' helpers.
struct DatabaseInternals {
  static void* SharedMutex() { return vkl::g_pSharedDB ? vkl::g_pSharedDB->m_hMutex : nullptr; }
  static void MarkSharedDirty() {
    if (vkl::g_pSharedDB) vkl::g_pSharedDB->m_bDirty = 1;
  }
  static DBObject* LookupObject(uint32_t id) {
    return vkl::g_pSharedDB ? vkl::g_pSharedDB->LookupObject(id) : nullptr;
  }
  static DBLink* LookupLink(uint32_t id) {
    return vkl::g_pSharedDB ? vkl::g_pSharedDB->LookupLink(id) : nullptr;
  }

  static CVKUObject* NewObjectHandle(DBObject* record);
  static CVKULink* NewLinkHandle(DBLink* record);
  // Lookups by id for callers that already hold the mutex.
  static DBObject* FindObject(CVKUDatabase* db, uint32_t id);
  static DBLink* FindLink(CVKUDatabase* db, uint32_t id);
  static vkl::NameDirectory* Directory(CVKUDatabase* db) {
    vkl::NameDirectory* d = static_cast<vkl::NameDirectory*>(db->m_pNameDirectory);
    return d && d->Valid() ? d : nullptr;
  }
  static IndexNode* NameBucket(CVKUDatabase* db, uint32_t bucket) { return db->m_NameIndex[bucket]; }

  static void* Carve(CVKUDatabase* db, unsigned long size) { return db->DoMalloc(size); }
  // A piece larger than an arena block, for client data a loaded store holds (Database.cpp).
  static void* CarveLarge(CVKUDatabase* db, size_t size);

  // Store loading (StoreLoader.cpp): the lone root of a fresh database, and the
  // records that follow the header of each file.
  static void CreateRoot(CVKUDatabase* db);
  // False if memory ran out and part of the file could not be kept.
  static bool LoadObjects(CVKUDatabase* db, const unsigned char* data, size_t size);
  static bool LoadLinks(CVKUDatabase* db, const unsigned char* data, size_t size);
  // After both files: drops the link-array entries whose link is missing or does not
  // name the object at that end, so that no entry names an id a new link may take.
  static void DropDanglingEntries(CVKUDatabase* db);
};

namespace vkl {
// Heap-allocated handles with count 1 (null when memory runs out).
inline CVKUObject* NewObjectHandle(DBObject* record) { return DatabaseInternals::NewObjectHandle(record); }
inline CVKULink* NewLinkHandle(DBLink* record) { return DatabaseInternals::NewLinkHandle(record); }
}  // namespace vkl

#endif
