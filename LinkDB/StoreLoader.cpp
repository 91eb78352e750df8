// Turning the records of obj.dat and link.dat back into database records. The files
// are input from outside: every length and count is checked against what is left of
// the file before anything is carved or copied, and a record that runs past the end
// ends loading there, keeping the records read before it. Link-array entries that name
// no loaded link, or a link that does not name the object back, are dropped: a new
// link could otherwise take that id and join objects the client never linked.
#include <stdlib.h>
#include <string.h>
#include <new>
#include "Internal.h"
#include "LinkArrays.h"
#include "StoreFormat.h"

using namespace vkl;

void DatabaseInternals::CreateRoot(CVKUDatabase* db) {
  DBObject* root = static_cast<DBObject*>(CarveRecord(db, ObjectPieceSize(false, 0)));
  if (!root) return;
  memset(root, 0, sizeof(DBObject));
  root->dwID = 1;
  root->bPersistent = 1;
  PushObject(db, root);  // the whole list
  db->m_dwLastObjectID = 1;
  db->IndexObject(root);
}

namespace {

// Takes a link array of count entries the way loading does: more than 2 on the
// general heap with room rounded up to a multiple of 10, 1 or 2 in the arena. Returns
// the count field to store (with the heap bit) and the array, or count 0 on failure.
uint32_t* TakeLoadedArray(CVKUDatabase* db, uint32_t count, uint32_t* countField) {
  *countField = 0;
  if (count == 0) return nullptr;
  uint32_t* array;
  if (count > 2) {
    array = NewHeapArray(RoundedCapacity(count));
    if (array) *countField = count | VKU_COUNT_ON_HEAP;
  } else {
    array = static_cast<uint32_t*>(DatabaseInternals::Carve(db, count * sizeof(uint32_t)));
    if (array) *countField = count;
  }
  return array;
}

void ReadEntries(uint32_t* array, const unsigned char* p, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) array[i] = ReadU32(p + 4 * i);
}

}  // namespace

bool DatabaseInternals::LoadObjects(CVKUDatabase* db, const unsigned char* data, size_t size) {
  db->m_dwLastObjectID = 0;
  bool whole = true;
  size_t pos = 0;
  while (size - pos >= kObjectFixedSize) {
    const unsigned char* fixed = data + pos;
    uint32_t id = ReadU32(fixed + 8);
    uint32_t type = ReadU32(fixed + 12);
    uint32_t flags = ReadU32(fixed + 16);
    uint32_t fromCount = ReadU32(fixed + 20) & VKU_ENTRY_ID_MASK;
    uint32_t toCount = ReadU32(fixed + 28) & VKU_ENTRY_ID_MASK;
    uint8_t persistent = fixed[36];
    uint32_t dataSize = ReadU32(fixed + 37);
    size_t at = pos + kObjectFixedSize;

    // Check that the variable parts lie within the file before taking anything.
    if (size - at < 2) return whole;
    uint32_t nameLength = ReadU16(data + at);
    at += 2;
    if (size - at < nameLength) return whole;
    const unsigned char* name = data + at;
    at += nameLength;
    if ((size - at) / 4 < fromCount) return whole;
    const unsigned char* from = data + at;
    at += 4 * static_cast<size_t>(fromCount);
    if ((size - at) / 4 < toCount) return whole;
    const unsigned char* to = data + at;
    at += 4 * static_cast<size_t>(toCount);
    if (size - at < dataSize) return whole;
    const unsigned char* clientData = data + at;
    at += dataSize;
    pos = at;

    // The record, its index nodes and its name in one piece (RecordPieces.h). A name
    // of NUL bytes is kept as it is; only its first byte decides the name index.
    bool byName = nameLength > 0 && name[0] && (type & kNameIndexTypes);
    DBObject* o = static_cast<DBObject*>(CarveRecord(db, ObjectPieceSize(byName, nameLength)));
    if (!o) return false;
    memset(o, 0, sizeof(DBObject));
    o->dwID = id;
    o->dwType = type;
    o->dwFlags = flags & 0x3FFFFFFF;  // run-time marks do not survive a reload
    o->bPersistent = persistent;
    if (nameLength > 0) {
      char* copy = PieceName(o, byName);
      memcpy(copy, name, nameLength);
      copy[nameLength] = 0;
      o->pszName = copy;
    }
    if (id > db->m_dwLastObjectID) db->m_dwLastObjectID = id;

    o->pLinksFrom = TakeLoadedArray(db, fromCount, &o->dwLinksFromCount);
    if (o->pLinksFrom) ReadEntries(o->pLinksFrom, from, fromCount);
    o->pLinksTo = TakeLoadedArray(db, toCount, &o->dwLinksToCount);
    if (o->pLinksTo) ReadEntries(o->pLinksTo, to, toCount);
    if ((fromCount && !o->pLinksFrom) || (toCount && !o->pLinksTo)) whole = false;

    // Client data larger than one arena piece cannot be made through the interface, but
    // a store may hold it: it gets a block of its own rather than being dropped.
    if (dataSize > 0) {
      void* piece = dataSize > kMaxDataSize ? DatabaseInternals::CarveLarge(db, dataSize) : db->DoMalloc(dataSize);
      o->pData = static_cast<unsigned char*>(piece);
      if (o->pData) {
        memcpy(o->pData, clientData, dataSize);
      } else {
        whole = false;
      }
    }
    o->dwDataSize = o->pData ? dataSize : 0;

    PushObject(db, o);
    db->IndexObject(o);
  }
  return whole;
}

bool DatabaseInternals::LoadLinks(CVKUDatabase* db, const unsigned char* data, size_t size) {
  db->m_dwLastLinkID = 0;
  for (size_t pos = 0; size - pos >= kLinkRecordSize; pos += kLinkRecordSize) {
    const unsigned char* r = data + pos;
    DBLink* l = static_cast<DBLink*>(CarveRecord(db, LinkPieceSize()));
    if (!l) return false;
    l->dwID = ReadU32(r + 4);
    l->dwSource = ReadU32(r + 8);
    l->dwTarget = ReadU32(r + 12);
    l->dwType = ReadU32(r + 16);
    l->bPersistent = r[20];
    if (l->dwID > db->m_dwLastLinkID) db->m_dwLastLinkID = l->dwID;
    PushLink(db, l);
    db->IndexLink(l);
  }
  return true;
}

namespace {

// Keeps the entries of one link array whose link exists and names the object `id` at
// this end, in their order. For the incoming ones, the parent links are entered in the
// child index.
void KeepNamedEntries(CVKUDatabase* db, DBObject* o, bool outgoing) {
  uint32_t* countField = outgoing ? &o->dwLinksFromCount : &o->dwLinksToCount;
  uint32_t* array = outgoing ? o->pLinksFrom : o->pLinksTo;
  uint32_t count = *countField & VKU_ENTRY_ID_MASK, kept = 0;
  for (uint32_t i = 0; i < count; ++i) {
    DBLink* l = DatabaseInternals::FindLink(db, array[i] & VKU_ENTRY_ID_MASK);
    if (!l || (outgoing ? l->dwSource : l->dwTarget) != o->dwID) continue;
    array[kept++] = array[i];
    if (!outgoing && l->dwType == VKU_LINK_PARENT)
      if (Accelerators* a = DatabaseInternals::Accel(db)) a->ParentAdded(db, l->dwSource, o);
  }
  *countField = (*countField & ~VKU_ENTRY_ID_MASK) | kept;
}

}  // namespace

void DatabaseInternals::DropDanglingEntries(CVKUDatabase* db) {
  // Every entry kept names a loaded link, so the next link id, which continues after
  // the highest one loaded, is above every id still named.
  if (Accelerators* a = Accel(db)) {
    size_t objects = 0;
    for (DBObject* o = db->m_pObjects; o; o = o->pNext) ++objects;
    try {
      a->ReserveChildren(objects);
    } catch (const std::bad_alloc&) {
      a->Invalidate(db);
    }
  }
  for (DBObject* o = db->m_pObjects; o; o = o->pNext) {
    KeepNamedEntries(db, o, true);
    KeepNamedEntries(db, o, false);
  }
}
