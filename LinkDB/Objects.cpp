// Objects: creation and deletion in the database, and the CVKUObject handle's
// accessors, data, names and persistence.
#include <string.h>
#include <new>
#include "Internal.h"
#include "LinkArrays.h"

using namespace vkl;

CVKUObject* DatabaseInternals::NewObjectHandle(DBObject* record) {
  CVKUObject* h = new (std::nothrow) CVKUObject;
  if (h) h->m_pObject = record;
  return h;
}

DBObject* CVKUDatabase::MakeNewObject(char* name, unsigned long type, unsigned long flags,
                                      unsigned long dataSize, unsigned char* data, int persistent) {
  uint32_t n = name ? BoundedLength(name, kMaxNameLength) : 0;
  if (type == 2) persistent = 1;  // type 2 objects are always kept
  if (persistent) DatabaseInternals::MarkSharedDirty();

  // The record, its index nodes and its name are carved in one piece (RecordPieces.h).
  bool byName = n > 0 && (static_cast<uint32_t>(type) & kNameIndexTypes);
  DBObject* o = static_cast<DBObject*>(DatabaseInternals::CarveRecord(this, ObjectPieceSize(byName, n)));
  if (!o) return nullptr;
  memset(o, 0, sizeof(DBObject));
  if (n > 0) {
    char* copy = PieceName(o, byName);
    memcpy(copy, name, n);
    copy[n] = 0;
    o->pszName = copy;
  }
  o->dwID = ++m_dwLastObjectID;
  o->dwType = static_cast<uint32_t>(type);
  o->dwFlags = static_cast<uint32_t>(flags);
  o->dwDataSize = static_cast<uint32_t>(dataSize);
  if (dataSize != 0) {
    // Also fails for more than one arena piece; the half-made record is abandoned
    // and its id stays spent.
    o->pData = static_cast<unsigned char*>(DoMalloc(dataSize));
    if (!o->pData) return nullptr;
    if (data)
      memcpy(o->pData, data, dataSize);
    else
      memset(o->pData, 0, dataSize);
  }
  o->bPersistent = persistent ? 1 : 0;
  DatabaseInternals::PushObject(this, o);
  IndexObject(o);
  return o;
}

int CVKUDatabase::DeleteObject(unsigned long id) {
  DBObject* o = nullptr;
  if (Accelerators* a = DatabaseInternals::Accel(this)) {
    if (id > 0xFFFFFFFFul) return 0;
    o = a->RemoveObject(this, static_cast<uint32_t>(id));
    if (!o && a->Valid()) return 0;
  }
  if (!o) {
    // Without the accelerators: the first node of the id chain, the list walked.
    UnlinkIndexNode<DBObject>(&m_ObjectIndex[id & (kObjectBuckets - 1)], static_cast<uint32_t>(id));
    DBObject** at = &m_pObjects;
    while (*at && (*at)->dwID != id) at = &(*at)->pNext;
    o = *at;
    if (!o) return 0;
    // The name bucket is that of the current name, which after SetName may not be the
    // bucket the object was indexed in.
    if (o->pszName) UnlinkIndexNode<DBObject>(&m_NameIndex[NameHash(o->pszName)], o->dwID);
    *at = o->pNext;
  }

  // The object is already out of the id index, so DeleteLink leaves its own arrays
  // alone; it disposes of them itself.
  for (uint32_t i = 0; i < (o->dwLinksFromCount & VKU_ENTRY_ID_MASK); ++i)
    DeleteLink(o->pLinksFrom[i] & VKU_ENTRY_ID_MASK, 0, 1);
  ReleaseLinkArray(this, &o->dwLinksFromCount, &o->pLinksFrom);
  for (uint32_t i = 0; i < (o->dwLinksToCount & VKU_ENTRY_ID_MASK); ++i)
    DeleteLink(o->pLinksTo[i] & VKU_ENTRY_ID_MASK, 1, 0);
  ReleaseLinkArray(this, &o->dwLinksToCount, &o->pLinksTo);

  if (o->bPersistent) DatabaseInternals::MarkSharedDirty();
  // Name, data and record stay where they are: other handles may still read them.
  if (Accelerators* b = DatabaseInternals::Bundle(this)) {
    b->ForgetCapacity(o->pszName);
    b->ForgetCapacity(o->pData);
  }
  DoFree(o->pszName);
  DoFree(o->pData);
  DoFree(o);
  return 1;
}

CVKUObject* CVKUDatabase::AddObject(char* name, unsigned long type, unsigned long flags,
                                    unsigned long dataSize, void* data, int persistent) {
  MutexGuard lock(m_hMutex);
  DBObject* o = MakeNewObject(name, type, flags, dataSize, static_cast<unsigned char*>(data), persistent);
  return o ? NewObjectHandle(o) : nullptr;
}

// ---- CVKUObject -----------------------------------------------------------------

CVKUObject::CVKUObject() : m_pObject(nullptr), m_dwRefCount(1) {}

CVKUObject& CVKUObject::operator=(const CVKUObject& other) {
  m_pObject = other.m_pObject;
  m_dwRefCount = other.m_dwRefCount;
  return *this;
}

unsigned long CVKUObject::AddRef() { return ++m_dwRefCount; }

unsigned long CVKUObject::Release() {
  if (--m_dwRefCount == 0) {
    delete this;
    return 0;
  }
  return m_dwRefCount;
}

int CVKUObject::GetName(char* buffer, unsigned long size) {
  if (!m_pObject || !buffer || size == 0) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  const char* name = m_pObject->pszName;
  if (!name) return 0;
  size_t n = strlen(name);
  if (n >= size) {
    memcpy(buffer, name, size);
    buffer[size - 1] = 0;
  } else {
    memcpy(buffer, name, n + 1);
  }
  return 1;
}

int CVKUObject::SetName(char* name) {
  if (!m_pObject || !name) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  CVKUDatabase* db = g_pSharedDB;
  uint32_t n = BoundedLength(name, kMaxNameLength);
  char cut[kMaxNameLength + 1];
  memcpy(cut, name, n);
  cut[n] = 0;
  Accelerators* accel = db ? DatabaseInternals::Accel(db) : nullptr;
  Accelerators* arena = db ? DatabaseInternals::Bundle(db) : nullptr;
  char* old = m_pObject->pszName;
  // The room of the old name: its length and NUL, or more if it was renamed shorter.
  uint32_t room = old ? static_cast<uint32_t>(strlen(old)) + 1 : 0;
  if (old && arena) room = arena->CapacityOf(old, room);
  if (old && room > n) {  // the new name fits: copied over the old one
    if (accel) accel->BeforeRename(db, m_pObject);
    memcpy(old, cut, n + 1);
    if (arena) arena->NoteCapacity(old, room, n + 1);
  } else {
    if (!db) return 1;
    if (accel) accel->BeforeRename(db, m_pObject);
    if (arena) {
      arena->ForgetCapacity(old);
      arena->GiveBack(old, room);  // nothing else points at the old name
    }
    uint32_t capacity = 0;
    char* copy = static_cast<char*>(DatabaseInternals::Carve(db, n + 1, &capacity));
    if (copy) {
      memcpy(copy, cut, n + 1);
      if (arena) arena->NoteCapacity(copy, capacity, n + 1);
    }
    m_pObject->pszName = copy;
  }
  // The object stays in the name bucket it was indexed in; the child index and the
  // tops follow its current name.
  if (accel) accel->AfterRename(db, m_pObject);
  return 1;
}

unsigned long CVKUObject::GetType() {
  if (!m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  return m_pObject->dwType;
}

unsigned long CVKUObject::GetFlags() {
  if (!m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  return m_pObject->dwFlags;
}

int CVKUObject::SetFlags(unsigned long flags) {
  if (!m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  m_pObject->dwFlags = static_cast<uint32_t>(flags);
  return 1;
}

unsigned long CVKUObject::GetDataSize() {
  if (!m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  return m_pObject->dwDataSize;
}

int CVKUObject::GetData(unsigned long size, unsigned char* buffer) {
  if (!m_pObject || !buffer) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  unsigned long n = size < m_pObject->dwDataSize ? size : m_pObject->dwDataSize;
  if (n == 0 || !m_pObject->pData) return 0;
  memcpy(buffer, m_pObject->pData, n);
  return 1;
}

int CVKUObject::GetFileData(FileData* out) {
  if (!m_pObject || !out) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  if (m_pObject->dwDataSize != sizeof(FileData) || !m_pObject->pData) return 0;
  memcpy(out, m_pObject->pData, sizeof(FileData));
  return 1;
}

int CVKUObject::SetData(unsigned long size, unsigned char* data) {
  if (!m_pObject || (size && !data)) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  CVKUDatabase* db = g_pSharedDB;
  Accelerators* arena = db ? DatabaseInternals::Bundle(db) : nullptr;
  unsigned char* buffer = m_pObject->pData;
  // The room of the buffer: the data it holds, or more if it held more before.
  uint32_t room = m_pObject->dwDataSize;
  if (buffer && arena) room = arena->CapacityOf(buffer, room);
  if (!buffer || m_pObject->dwDataSize < size) {
    // A buffer with room enough is used again (data above one arena piece still
    // cannot be set); else it goes back to the arena and a new one is carved.
    if (!buffer || size > room || size > kMaxDataSize) {
      if (!db) return 0;
      if (arena && buffer) {
        arena->ForgetCapacity(buffer);
        arena->GiveBack(buffer, room);
      }
      uint32_t capacity = 0;
      buffer = static_cast<unsigned char*>(DatabaseInternals::Carve(db, size, &capacity));
      m_pObject->pData = buffer;
      if (!buffer) {
        m_pObject->dwDataSize = 0;
        return 0;
      }
      room = capacity;
    }
  }
  if (size) memcpy(buffer, data, size);
  m_pObject->dwDataSize = static_cast<uint32_t>(size);
  if (arena) arena->NoteCapacity(buffer, room, static_cast<uint32_t>(size));
  return 1;
}

int CVKUObject::IsPersistent() {
  if (!m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  return m_pObject->bPersistent ? 1 : 0;
}

unsigned long CVKUObject::GetUniqueID() { return m_pObject ? m_pObject->dwID : 0; }

int CVKUObject::Delete() {
  if (!m_pObject) return 1;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  if (!g_pSharedDB || !g_pSharedDB->DeleteObject(m_pObject->dwID)) return 0;
  m_pObject = nullptr;
  return 1;
}
