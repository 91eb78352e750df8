// Turning the records of obj.dat and link.dat back into database records. The files
// are input from outside: every length and count is checked against what is left of
// the file before anything is carved or copied, and a record that runs past the end
// ends loading there, keeping the records read before it. Link-array entries that name
// no loaded link, or a link that does not name the object back, are dropped: a new
// link could otherwise take that id and join objects the client never linked.
//
// Links are read first, so that each object's entries are checked, and its parent
// links entered in the child index, as the object is read, while it is at hand.
#include <stdlib.h>
#include <string.h>
#include <algorithm>
#include <new>
#include <vector>
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

// Takes a link array of count entries the way loading does. Returns the count field to
// store and the array, or count 0 on failure. An array read from a store is carved from
// the arena with room for its entries only, next to its object: most loaded arrays never
// grow, and the first entry added moves one to the general heap with room for a
// multiple of 10, as it moves any arena array of 2 entries or more (LinkArrays.h). Only
// an array too large for an arena piece goes to the heap at once.
uint32_t* TakeLoadedArray(CVKUDatabase* db, uint32_t count, uint32_t* countField) {
  *countField = 0;
  if (count == 0) return nullptr;
  uint32_t* array;
  if (count > kArenaBlockSpace / sizeof(uint32_t)) {
    array = NewHeapArray(count);
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

struct LinkEnds {
  uint32_t dwSource, dwTarget, dwType;
};

// The ends of every loaded link by id, while the accelerators are on (ids then unique):
// arrays by id rather than the link index, one read per entry, since an object's
// entries name links all over the store. Sources and targets in arrays of their own: an
// outgoing entry needs the source, an incoming one the target, and each array is a
// third of a table of whole links, which the processor's address translation covers
// better. Only for ids close enough together; else the link index answers.
class LoadedLinks {
 public:
  bool Reserve(const unsigned char* data, size_t count) {
    uint32_t maxId = 0;
    for (size_t i = 0; i < count; ++i) maxId = std::max(maxId, ReadU32(data + i * kLinkRecordSize + 4));
    if (maxId > 2 * count + 65536) return false;
    try {
      m_Source.resize(static_cast<size_t>(maxId) + 1);
      m_Target.resize(static_cast<size_t>(maxId) + 1);
      m_Present.assign(static_cast<size_t>(maxId) / 64 + 1, 0);
      m_Parent.assign(static_cast<size_t>(maxId) / 64 + 1, 0);
    } catch (const std::bad_alloc&) {
      m_Source.clear();
      return false;
    }
    return true;
  }
  bool Ready() const { return !m_Source.empty(); }
  void Set(const DBLink* l) {
    m_Source[l->dwID] = l->dwSource;
    m_Target[l->dwID] = l->dwTarget;
    m_Present[l->dwID / 64] |= uint64_t(1) << (l->dwID % 64);
    uint64_t parent = uint64_t(l->dwType == VKU_LINK_PARENT) << (l->dwID % 64);
    m_Parent[l->dwID / 64] = (m_Parent[l->dwID / 64] & ~(uint64_t(1) << (l->dwID % 64))) | parent;
  }
  bool Present(uint32_t id) const { return id < m_Source.size() && (m_Present[id / 64] >> (id % 64) & 1); }
  bool Find(uint32_t id, LinkEnds* out) const {
    if (!Present(id)) return false;
    *out = LinkEnds{m_Source[id], m_Target[id], IsParent(id) ? uint32_t(VKU_LINK_PARENT) : 0u};
    return true;
  }
  // The end that the entry of an outgoing (source) or incoming (target) array names;
  // 0 with no link (false).
  bool End(uint32_t id, bool outgoing, uint32_t* end) const {
    bool present = Present(id);
    *end = present ? (outgoing ? m_Source[id] : m_Target[id]) : 0;
    return present;
  }
  bool IsParent(uint32_t id) const { return m_Parent[id / 64] >> (id % 64) & 1; }
  uint32_t Source(uint32_t id) const { return m_Source[id]; }

 private:
  std::vector<uint32_t> m_Source, m_Target;
  std::vector<uint64_t> m_Present, m_Parent;
};

// Parent links waiting to enter the child index; the bucket of each was asked for
// when it came.
class ChildBatch {
 public:
  void Add(CVKUDatabase* db, Accelerators* a, uint32_t parent, DBObject* child) {
    a->PrefetchChild(parent, child);
    m_Pending[m_nCount++] = Pending{parent, child};
    if (m_nCount == kSize) Flush(db);
  }
  void Flush(CVKUDatabase* db) {
    for (size_t i = 0; i < m_nCount; ++i)
      if (Accelerators* a = DatabaseInternals::Accel(db)) a->ParentAdded(db, m_Pending[i].dwParent, m_Pending[i].pChild);
    m_nCount = 0;
  }

 private:
  static const size_t kSize = 32;
  struct Pending {
    uint32_t dwParent;
    DBObject* pChild;
  };
  Pending m_Pending[kSize];
  size_t m_nCount = 0;
};

// Keeps the entries of one link array whose link exists and names the object at this
// end, in their order. With a batch, the parent links among the incoming ones are
// entered in the child index.
void KeepNamedEntries(CVKUDatabase* db, const LoadedLinks* ends, DBObject* o, bool outgoing, ChildBatch* batch) {
  uint32_t* countField = outgoing ? &o->dwLinksFromCount : &o->dwLinksToCount;
  uint32_t* array = outgoing ? o->pLinksFrom : o->pLinksTo;
  uint32_t count = *countField & VKU_ENTRY_ID_MASK, kept = 0;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t id = array[i] & VKU_ENTRY_ID_MASK;
    LinkEnds found;
    if (ends && ends->Ready()) {
      if (!ends->Find(id, &found)) continue;
    } else {
      DBLink* l = DatabaseInternals::FindLink(db, id);
      if (!l) continue;
      found = LinkEnds{l->dwSource, l->dwTarget, l->dwType};
    }
    if ((outgoing ? found.dwSource : found.dwTarget) != o->dwID) continue;
    array[kept++] = array[i];
    if (batch && !outgoing && found.dwType == VKU_LINK_PARENT)
      if (Accelerators* a = DatabaseInternals::Accel(db)) batch->Add(db, a, found.dwSource, o);
  }
  *countField = (*countField & ~VKU_ENTRY_ID_MASK) | kept;
}

// The records of link.dat. Also counts the parent links (the size of the child index).
bool LoadLinks(CVKUDatabase* db, const unsigned char* data, size_t size, LoadedLinks* ends, size_t* parentLinks) {
  size_t count = size / kLinkRecordSize;
  if (DatabaseInternals::Accel(db)) ends->Reserve(data, count);
  *parentLinks = 0;
  for (size_t i = 0; i < count; ++i) {
    const unsigned char* r = data + i * kLinkRecordSize;
    DBLink* l = DatabaseInternals::CarveLink(db);
    if (!l) return false;
    l->dwID = ReadU32(r + 4);
    l->dwSource = ReadU32(r + 8);
    l->dwTarget = ReadU32(r + 12);
    l->dwType = ReadU32(r + 16);
    l->bPersistent = r[20];
    if (l->dwID > DatabaseInternals::LastLinkID(db)) DatabaseInternals::LastLinkID(db) = l->dwID;
    if (l->dwType == VKU_LINK_PARENT) ++*parentLinks;
    DatabaseInternals::PushLink(db, l);
    DatabaseInternals::Index(db, l);
    if (ends->Ready()) ends->Set(l);
  }
  return true;
}

// Checks the entries of a few objects at a time, as KeepNamedEntries does: the ends of
// all their links are read first, in one loop of reads that do not wait for each other
// (the links lie all over the table of ends; one read at a time, each would wait for
// memory), then each array is compacted and its parent links indexed.
class EntryChecker {
 public:
  void Add(CVKUDatabase* db, const LoadedLinks* ends, DBObject* o, ChildBatch* children) {
    m_Objects[m_nObjects++] = o;
    m_nEntries += (o->dwLinksFromCount & VKU_ENTRY_ID_MASK) + (o->dwLinksToCount & VKU_ENTRY_ID_MASK);
    if (m_nObjects == kObjects || m_nEntries >= kEntries) Flush(db, ends, children);
  }
  void Flush(CVKUDatabase* db, const LoadedLinks* ends, ChildBatch* children) {
    if (!ends->Ready()) {
      for (size_t i = 0; i < m_nObjects; ++i) {
        KeepNamedEntries(db, ends, m_Objects[i], true, nullptr);
        KeepNamedEntries(db, ends, m_Objects[i], false, children);
      }
    } else {
      try {
        m_Found.resize(m_nEntries);
        m_Present.resize(m_nEntries);
        m_Ids.resize(m_nEntries);
      } catch (const std::bad_alloc&) {
        m_Found.clear();
      }
      if (m_Found.size() < m_nEntries) {  // no room: one object at a time
        for (size_t i = 0; i < m_nObjects; ++i) {
          KeepNamedEntries(db, ends, m_Objects[i], true, nullptr);
          KeepNamedEntries(db, ends, m_Objects[i], false, children);
        }
      } else {
        size_t k = 0;
        for (size_t i = 0; i < m_nObjects; ++i) {
          DBObject* o = m_Objects[i];
          for (uint32_t j = 0; j < (o->dwLinksFromCount & VKU_ENTRY_ID_MASK); ++j, ++k) {
            m_Ids[k] = o->pLinksFrom[j] & VKU_ENTRY_ID_MASK;
            m_Present[k] = ends->End(m_Ids[k], true, &m_Found[k]);
          }
          for (uint32_t j = 0; j < (o->dwLinksToCount & VKU_ENTRY_ID_MASK); ++j, ++k) {
            m_Ids[k] = o->pLinksTo[j] & VKU_ENTRY_ID_MASK;
            m_Present[k] = ends->End(m_Ids[k], false, &m_Found[k]);
          }
        }
        k = 0;
        for (size_t i = 0; i < m_nObjects; ++i) {
          DBObject* o = m_Objects[i];
          Keep(db, ends, o, &o->dwLinksFromCount, o->pLinksFrom, &k, nullptr);
          Keep(db, ends, o, &o->dwLinksToCount, o->pLinksTo, &k, children);
        }
      }
    }
    m_nObjects = m_nEntries = 0;
  }

 private:
  void Keep(CVKUDatabase* db, const LoadedLinks* ends, DBObject* o, uint32_t* countField, uint32_t* array, size_t* k,
            ChildBatch* children) {
    uint32_t count = *countField & VKU_ENTRY_ID_MASK, kept = 0;
    for (uint32_t i = 0; i < count; ++i, ++*k) {
      if (!m_Present[*k] || m_Found[*k] != o->dwID) continue;
      array[kept++] = array[i];
      // For an incoming parent link, the parent (its source) enters the child index.
      if (children && ends->IsParent(m_Ids[*k]))
        if (Accelerators* a = DatabaseInternals::Accel(db)) children->Add(db, a, ends->Source(m_Ids[*k]), o);
    }
    *countField = (*countField & ~VKU_ENTRY_ID_MASK) | kept;
  }

  static const size_t kObjects = 64, kEntries = 256;
  DBObject* m_Objects[kObjects];
  size_t m_nObjects = 0, m_nEntries = 0;
  std::vector<uint32_t> m_Ids, m_Found;  // each entry's link, and the end it names
  std::vector<char> m_Present;
};

// The entries of obj.dat, each checked against the links loaded (while the
// accelerators are on; else DropDanglingEntries does it afterwards).
bool LoadObjects(CVKUDatabase* db, const unsigned char* data, size_t size, const LoadedLinks* ends) {
  bool whole = true;
  size_t pos = 0;
  ChildBatch children;
  EntryChecker checker;
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
    if (size - at < 2) break;
    uint32_t nameLength = ReadU16(data + at);
    at += 2;
    if (size - at < nameLength) break;
    const unsigned char* name = data + at;
    at += nameLength;
    if ((size - at) / 4 < fromCount) break;
    const unsigned char* from = data + at;
    at += 4 * static_cast<size_t>(fromCount);
    if ((size - at) / 4 < toCount) break;
    const unsigned char* to = data + at;
    at += 4 * static_cast<size_t>(toCount);
    if (size - at < dataSize) break;
    const unsigned char* clientData = data + at;
    at += dataSize;
    pos = at;

    // The record, its index nodes and its name in one piece (RecordPieces.h). A name
    // of NUL bytes is kept as it is; only its first byte decides the name index.
    bool byName = nameLength > 0 && name[0] && (type & kNameIndexTypes);
    DBObject* o = static_cast<DBObject*>(DatabaseInternals::CarveRecord(db, ObjectPieceSize(byName, nameLength)));
    if (!o) {
      whole = false;
      break;
    }
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
    if (id > DatabaseInternals::LastObjectID(db)) DatabaseInternals::LastObjectID(db) = id;

    o->pLinksFrom = TakeLoadedArray(db, fromCount, &o->dwLinksFromCount);
    if (o->pLinksFrom) ReadEntries(o->pLinksFrom, from, fromCount);
    o->pLinksTo = TakeLoadedArray(db, toCount, &o->dwLinksToCount);
    if (o->pLinksTo) ReadEntries(o->pLinksTo, to, toCount);
    if ((fromCount && !o->pLinksFrom) || (toCount && !o->pLinksTo)) {
      whole = false;
      // A record without its entries is not what the accelerators can follow.
      if (Accelerators* a = DatabaseInternals::Accel(db)) a->Invalidate(db);
    }

    // Client data larger than one arena piece cannot be made through the interface, but
    // a store may hold it: it gets a block of its own rather than being dropped.
    if (dataSize > 0) {
      void* piece = dataSize > kMaxDataSize ? DatabaseInternals::CarveLarge(db, dataSize) : DatabaseInternals::Carve(db, dataSize);
      o->pData = static_cast<unsigned char*>(piece);
      if (o->pData) {
        memcpy(o->pData, clientData, dataSize);
      } else {
        whole = false;
      }
    }
    o->dwDataSize = o->pData ? dataSize : 0;

    DatabaseInternals::PushObject(db, o);
    DatabaseInternals::Index(db, o);
    if (DatabaseInternals::Accel(db)) checker.Add(db, ends, o, &children);
  }
  if (DatabaseInternals::Accel(db)) checker.Flush(db, ends, &children);
  children.Flush(db);
  return whole;
}

}  // namespace

bool DatabaseInternals::LoadStore(CVKUDatabase* db, const unsigned char* objects, size_t objectsSize,
                                  const unsigned char* links, size_t linksSize) {
  db->m_dwLastObjectID = 0;
  db->m_dwLastLinkID = 0;
  LoadedLinks ends;
  size_t parentLinks = 0;
  bool whole = LoadLinks(db, links, linksSize, &ends, &parentLinks);
  if (Accelerators* a = Accel(db)) {
    try {
      if (!whole) throw std::bad_alloc();
      a->ReserveChildren(parentLinks);
    } catch (const std::bad_alloc&) {
      a->Invalidate(db);
    }
  }
  whole = LoadObjects(db, objects, objectsSize, &ends) && whole;
  // Without the accelerators (or since they went off) the entries are checked now.
  if (!Accel(db)) DropDanglingEntries(db);
  return whole;
}

void DatabaseInternals::DropDanglingEntries(CVKUDatabase* db) {
  // Every entry kept names a loaded link, so the next link id, which continues after
  // the highest one loaded, is above every id still named.
  for (DBObject* o = db->m_pObjects; o; o = o->pNext) {
    KeepNamedEntries(db, nullptr, o, true, nullptr);
    KeepNamedEntries(db, nullptr, o, false, nullptr);
  }
}
