// Internal.h - what the units of the link database share: the shared-database
// pointer, the lock guard, the name hash, ASCII case-insensitive comparison, the
// helpers that make handles, and the way to the accelerators (Accelerators.h).
#ifndef VKLINKDB_INTERNAL_H
#define VKLINKDB_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include "Accelerators.h"
#include "Platform.h"
#include "RecordPieces.h"
#include "VKLinkDB.h"

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

// ASCII case-insensitive equality of a whole name with the n characters at text.
inline bool NameIs(const char* name, const char* text, size_t n) {
  if (!name) return false;
  for (size_t i = 0; i < n; ++i)
    if (!name[i] || AsciiUpper(static_cast<unsigned char>(name[i])) != AsciiUpper(static_cast<unsigned char>(text[i])))
      return false;
  return name[n] == 0;
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
  // Lookups by id for callers that already hold the mutex: through the accelerators
  // while they are on, else along the id chains.
  static DBObject* FindObject(CVKUDatabase* db, uint32_t id) {
    if (vkl::Accelerators* a = Accel(db)) return a->Object(id);
    return vkl::FindInChain<DBObject>(db->m_ObjectIndex[id & (vkl::kObjectBuckets - 1)], id);
  }
  static DBLink* FindLink(CVKUDatabase* db, uint32_t id) {
    if (vkl::Accelerators* a = Accel(db)) return a->Link(id);
    return vkl::FindInChain<DBLink>(db->m_LinkIndex[id & (vkl::kLinkBuckets - 1)], id);
  }
  // The accelerators of a database: Bundle whenever there are some (the arena's reuse
  // of space works even when the indexes are off), Accel only while its indexes are on.
  static vkl::Accelerators* Bundle(CVKUDatabase* db) { return static_cast<vkl::Accelerators*>(db->m_pNameDirectory); }
  static vkl::Accelerators* Accel(CVKUDatabase* db) {
    vkl::Accelerators* a = Bundle(db);
    return a && a->Valid() ? a : nullptr;
  }
  static IndexNode* NameBucket(CVKUDatabase* db, uint32_t bucket) { return db->m_NameIndex[bucket]; }
  static IndexNode** NameBucketOf(CVKUDatabase* db, uint32_t bucket) { return &db->m_NameIndex[bucket]; }
  static IndexNode** ObjectBucketOf(CVKUDatabase* db, uint32_t id) { return &db->m_ObjectIndex[id & (vkl::kObjectBuckets - 1)]; }
  static IndexNode** LinkBucketOf(CVKUDatabase* db, uint32_t id) { return &db->m_LinkIndex[id & (vkl::kLinkBuckets - 1)]; }
  static DBObject** ObjectListHead(CVKUDatabase* db) { return &db->m_pObjects; }
  static DBLink** LinkListHead(CVKUDatabase* db) { return &db->m_pLinks; }

  static void* Carve(CVKUDatabase* db, unsigned long size) { return db->DoMalloc(size); }
  // A piece of at least size bytes (from the arena's free pieces or its newest block);
  // *capacity gets its real size.
  static void* Carve(CVKUDatabase* db, unsigned long size, uint32_t* capacity);
  // A piece from the newest block only: records, whose pieces the accelerators refer to.
  static void* CarveRecord(CVKUDatabase* db, unsigned long size);
  // A link piece (RecordPieces.h): in the link blocks while the accelerators are on.
  static DBLink* CarveLink(CVKUDatabase* db) {
    if (vkl::Accelerators* a = Accel(db))
      if (DBLink* l = a->CarveLink(db)) return l;
    return static_cast<DBLink*>(CarveRecord(db, vkl::LinkPieceSize()));
  }
  // Gives a piece that nothing refers to any more back to the arena for reuse.
  static void GiveBack(CVKUDatabase* db, void* piece, uint32_t capacity) {
    if (vkl::Accelerators* b = Bundle(db)) b->GiveBack(piece, capacity);
  }
  // Pushes a record made or loaded at the head of its list.
  static void PushObject(CVKUDatabase* db, DBObject* o) {
    o->pNext = db->m_pObjects;
    db->m_pObjects = o;
    if (vkl::Accelerators* a = Accel(db)) a->ObjectPushed(db, o);
  }
  static void PushLink(CVKUDatabase* db, DBLink* l) {
    l->pNext = db->m_pLinks;
    db->m_pLinks = l;
  }
  static void Index(CVKUDatabase* db, DBObject* o) { db->IndexObject(o); }
  static uint32_t& LastObjectID(CVKUDatabase* db) { return db->m_dwLastObjectID; }
  static uint32_t& LastLinkID(CVKUDatabase* db) { return db->m_dwLastLinkID; }
  static void Index(CVKUDatabase* db, DBLink* l) { db->IndexLink(l); }
  // A piece larger than an arena block, for client data a loaded store holds (Database.cpp).
  static void* CarveLarge(CVKUDatabase* db, size_t size);

  // Store loading (StoreLoader.cpp): the lone root of a fresh database, and the
  // records that follow the header of each file.
  static void CreateRoot(CVKUDatabase* db);
  // The records of both files (after their headers); false if memory ran out and part
  // of the store could not be kept.
  static bool LoadStore(CVKUDatabase* db, const unsigned char* objects, size_t objectsSize,
                        const unsigned char* links, size_t linksSize);
  // Drops the link-array entries whose link is missing or does not name the object at
  // that end, so that no entry names an id a new link may take.
  static void DropDanglingEntries(CVKUDatabase* db);
};

namespace vkl {
// Heap-allocated handles with count 1 (null when memory runs out).
inline CVKUObject* NewObjectHandle(DBObject* record) { return DatabaseInternals::NewObjectHandle(record); }
inline CVKULink* NewLinkHandle(DBLink* record) { return DatabaseInternals::NewLinkHandle(record); }
}  // namespace vkl

#endif
