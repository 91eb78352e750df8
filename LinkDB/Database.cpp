// The database object: construction and destruction, the block arena, the three hash
// indexes, lookups by id, reference counting and the process-wide shared instance.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <mutex>
#include <new>
#include "Internal.h"
#include "LinkArrays.h"

namespace vkl {

CVKUDatabase* g_pSharedDB = nullptr;

namespace {
// Serialises the creation of the shared database and the release of its last
// reference, so that every thread's first AttachDatabase gets the one database, and
// none gets a database that another thread is destroying.
std::mutex g_AttachLock;
}  // namespace

uint32_t NameHash(const char* name) {
  uint32_t h = 0;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
    unsigned char c = *p;
    if (c >= 'a' && c <= 'z') c -= 0x20;
    h = (h * 4) ^ static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
  }
  return h & 0x3FFF;
}

}  // namespace vkl

using namespace vkl;

// Arena block: the older block, the bytes used, then the space itself.
struct ArenaBlock {
  ArenaBlock* pNext;
  uint32_t dwUsed;
  unsigned char abSpace[kArenaBlockSpace];
};

CVKUDatabase::CVKUDatabase() {
  m_dwRefCount = 1;
  m_dwLastObjectID = 1;
  m_dwLastLinkID = 0;
  m_pObjects = nullptr;
  m_pLinks = nullptr;
  memset(m_ObjectIndex, 0, sizeof(m_ObjectIndex));
  memset(m_LinkIndex, 0, sizeof(m_LinkIndex));
  memset(m_NameIndex, 0, sizeof(m_NameIndex));
  m_szObjFile[0] = 0;
  m_szLinkFile[0] = 0;
  m_hMutex = MutexCreate();
  // Without memory for the accelerators the database works on its own indexes.
  Accelerators* accelerators = new (std::nothrow) Accelerators;
  m_pNameDirectory = accelerators;
  ArenaBlock* first = static_cast<ArenaBlock*>(malloc(sizeof(ArenaBlock)));
  if (first) {
    first->pNext = nullptr;
    first->dwUsed = 0;
    if (accelerators) accelerators->AddBlock(this, first->abSpace);
  }
  m_pArena = first;
  m_bSave = 1;
  m_bDirty = 0;
  m_bLocked = 0;
  m_pStore = nullptr;
}

static void FreeArrayIfOnHeap(uint32_t count, uint32_t* array) {
  if ((count & VKU_COUNT_ON_HEAP) && array) vkl::FreeHeapArray(array);
}

CVKUDatabase::~CVKUDatabase() {
  // Flush does not clear the dirty flag, so a dirty database is written twice.
  if (m_bDirty && m_bSave) Flush();
  if (m_bDirty && m_bSave) Flush();

  // Index nodes, records, names and data all live in the arena, which goes below in
  // one piece.
  memset(m_ObjectIndex, 0, sizeof(m_ObjectIndex));
  memset(m_NameIndex, 0, sizeof(m_NameIndex));
  memset(m_LinkIndex, 0, sizeof(m_LinkIndex));
  for (DBObject* o = m_pObjects; o; o = o->pNext) {
    // Link arrays that outgrew the arena are on the general heap.
    FreeArrayIfOnHeap(o->dwLinksFromCount, o->pLinksFrom);
    FreeArrayIfOnHeap(o->dwLinksToCount, o->pLinksTo);
  }
  m_pObjects = nullptr;
  m_pLinks = nullptr;

  ArenaBlock* block = static_cast<ArenaBlock*>(m_pArena);
  while (block) {
    ArenaBlock* older = block->pNext;
    free(block);
    block = older;
  }
  m_pArena = nullptr;

  delete DatabaseInternals::Bundle(this);
  m_pNameDirectory = nullptr;
  EndOpenSearches();
  g_pSharedDB = nullptr;
  // The folder's lock goes last, once nothing more is written.
  DestroyStoreFolder(m_pStore);
  m_pStore = nullptr;
  if (m_hMutex) MutexClose(m_hMutex);
}

CVKUDatabase& CVKUDatabase::operator=(const CVKUDatabase& other) {
  // A shallow copy: both objects share the mutex, the arena and the index nodes
  // afterwards. Changes through either one would no longer be mirrored in the other's
  // accelerators, so both work on the database's own indexes from now on. The deleted
  // links still waiting in the link list leave it first, so that the copy's list is
  // exact.
  if (this == &other) return *this;
  CVKUDatabase* source = const_cast<CVKUDatabase*>(&other);
  if (Accelerators* a = DatabaseInternals::Bundle(source)) {
    a->Invalidate(source);
    delete a;
    source->m_pNameDirectory = nullptr;
  }
  delete DatabaseInternals::Bundle(this);
  memcpy(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(*this));
  m_pNameDirectory = nullptr;
  // The store folder and its lock stay with the original: the copy has no folder, and
  // its Flush fails.
  m_pStore = nullptr;
  return *this;
}

unsigned long CVKUDatabase::AddRef() { return __atomic_add_fetch(&m_dwRefCount, 1, __ATOMIC_SEQ_CST); }

unsigned long CVKUDatabase::Release() {
  // Under the attach lock the count reaches 0 and the database is destroyed (its store
  // written) before another AttachDatabase can look for it; that one then loads what
  // this one wrote.
  std::lock_guard<std::mutex> guard(g_AttachLock);
  unsigned long count = __atomic_sub_fetch(&m_dwRefCount, 1, __ATOMIC_SEQ_CST);
  if (count == 0) delete this;
  return count;
}

void CVKUDatabase::SetLock(int lock) { m_bLocked = lock; }
int CVKUDatabase::CheckLock() { return m_bLocked; }
void CVKUDatabase::SetSaveFlag(int save) { m_bSave = save; }

// A piece from the newest block, or from a new one.
void* DatabaseInternals::CarveRecord(CVKUDatabase* db, unsigned long size) {
  if (size > kArenaBlockSpace) return nullptr;
  ArenaBlock* block = static_cast<ArenaBlock*>(db->m_pArena);
  if (block && kArenaBlockSpace - block->dwUsed >= size) {
    void* piece = block->abSpace + block->dwUsed;
    block->dwUsed += size;
    return piece;
  }
  // The rest of the current block is given up.
  ArenaBlock* fresh = static_cast<ArenaBlock*>(malloc(sizeof(ArenaBlock)));
  if (!fresh) return nullptr;
  fresh->pNext = block;
  fresh->dwUsed = static_cast<uint32_t>(size);
  db->m_pArena = fresh;
  if (Accelerators* a = Accel(db)) a->AddBlock(db, fresh->abSpace);
  return fresh->abSpace;
}

void* DatabaseInternals::Carve(CVKUDatabase* db, unsigned long size, uint32_t* capacity) {
  if (size > kArenaBlockSpace) return nullptr;
  // Space given back by SetData, SetName and growing link arrays is used first.
  if (Accelerators* b = Bundle(db))
    if (void* piece = b->TakeFree(static_cast<uint32_t>(size), capacity)) return piece;
  if (capacity) *capacity = static_cast<uint32_t>(size);
  return CarveRecord(db, size);
}

void* CVKUDatabase::DoMalloc(unsigned long size) { return DatabaseInternals::Carve(this, size, nullptr); }

// Pieces whose record may still be read through another handle are never given back;
// those that nothing refers to any more go back through DatabaseInternals::GiveBack.
void CVKUDatabase::DoFree(void*) {}

void* DatabaseInternals::CarveLarge(CVKUDatabase* db, size_t size) {
  ArenaBlock* newest = static_cast<ArenaBlock*>(db->m_pArena);
  if (!newest || size > SIZE_MAX - offsetof(ArenaBlock, abSpace)) return nullptr;
  // A block of its own, chained behind the newest one: carving goes on in the newest
  // block, and the destructor returns this one with all the others.
  ArenaBlock* block = static_cast<ArenaBlock*>(malloc(offsetof(ArenaBlock, abSpace) + size));
  if (!block) return nullptr;
  block->dwUsed = kArenaBlockSpace;
  block->pNext = newest->pNext;
  newest->pNext = block;
  return block->abSpace;
}

// Records lie in pieces that hold their index nodes (RecordPieces.h): indexing pushes
// those nodes on their chains.
void CVKUDatabase::IndexObject(DBObject* object) {
  IndexNode* node = OwnIdNode(object);
  node->pRecord = object;
  IndexNode** bucket = &m_ObjectIndex[object->dwID & (kObjectBuckets - 1)];
  node->pNext = *bucket;
  *bucket = node;

  Extra(object)->dwChildNext = 0;
  if (EntersNameIndex(object->pszName, object->dwType)) {
    IndexNode* byName = OwnNameNode(object);
    byName->pRecord = object;
    uint32_t hash = NameHash(object->pszName);
    byName->pNext = m_NameIndex[hash];
    m_NameIndex[hash] = byName;
  }
  if (Accelerators* a = DatabaseInternals::Accel(this)) a->ObjectIndexed(this, object);
}

void CVKUDatabase::IndexLink(DBLink* link) {
  IndexNode* node = OwnLinkNode(link);
  node->pRecord = link;
  IndexNode** bucket = &m_LinkIndex[link->dwID & (kLinkBuckets - 1)];
  node->pNext = *bucket;
  *bucket = node;
  if (Accelerators* a = DatabaseInternals::Accel(this)) a->LinkIndexed(this, link);
}

int CVKUDatabase::ObjectInUse(unsigned long id) {
  if (id < 2) return 1;
  if (id > m_dwLastObjectID) return 0;
  MutexGuard lock(m_hMutex);
  // The id map holds exactly the objects of the list.
  if (Accelerators* a = DatabaseInternals::Accel(this)) return a->Object(static_cast<uint32_t>(id)) ? 1 : 0;
  for (DBObject* o = m_pObjects; o; o = o->pNext)
    if (o->dwID == id) return 1;
  return 0;
}

int CVKUDatabase::LinkInUse(unsigned long id) {
  if (id < 2) return 1;
  if (id > m_dwLastLinkID) return 0;
  MutexGuard lock(m_hMutex);
  // The id map holds the links of the list but for deleted ones still waiting to leave it.
  if (Accelerators* a = DatabaseInternals::Accel(this)) return a->Link(static_cast<uint32_t>(id)) ? 1 : 0;
  for (DBLink* l = m_pLinks; l; l = l->pNext)
    if (l->dwID == id) return 1;
  return 0;
}

DBObject* CVKUDatabase::LookupObject(unsigned long id) {
  if (id > 0xFFFFFFFFul) return nullptr;
  MutexGuard lock(m_hMutex);
  return DatabaseInternals::FindObject(this, static_cast<uint32_t>(id));
}

DBLink* CVKUDatabase::LookupLink(unsigned long id) {
  if (id > 0xFFFFFFFFul) return nullptr;
  MutexGuard lock(m_hMutex);
  return DatabaseInternals::FindLink(this, static_cast<uint32_t>(id));
}

extern "C" CVKUDatabase* AttachDatabase(char* directory) {
  std::lock_guard<std::mutex> guard(g_AttachLock);
  if (g_pSharedDB) {
    g_pSharedDB->AddRef();
    return g_pSharedDB;
  }
  CVKUDatabase* db = new (std::nothrow) CVKUDatabase;
  if (!db) return nullptr;
  g_pSharedDB = db;
  if (!db->Initialize(directory)) {
    // The reason (a busy folder, a name too long) stays the last error.
    unsigned long error = LastSystemError();
    delete db;  // clears the shared pointer; it has nothing to write
    g_pSharedDB = nullptr;
    SetSystemError(error);
    return nullptr;
  }
  return db;
}

void vkl::DestroySharedDatabase() {
  // The destructor writes the store if it is dirty (unless a thread ended in the middle
  // of a change, see Flush) and clears the shared pointer. No attach lock here: at
  // unload no other thread may be inside the library, and at process exit a thread
  // killed while holding it would leave it held for ever.
  delete g_pSharedDB;
}
