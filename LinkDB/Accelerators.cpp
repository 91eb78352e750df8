// The indexes beside the database's own (see Accelerators.h).
#include "Accelerators.h"
#include <algorithm>
#include <new>
#include "Internal.h"

namespace vkl {

uint32_t NameKey(const char* name, size_t length) {
  uint32_t h = 2166136261u;  // FNV-1a over the case-folded bytes
  for (size_t i = 0; i < length; ++i) h = (h ^ AsciiUpper(static_cast<unsigned char>(name[i]))) * 16777619u;
  return h;
}

uint32_t NameKey(const char* name) { return name ? NameKey(name, strlen(name)) : NameKey("", 0); }

Accelerators::Accelerators() = default;

Accelerators::~Accelerators() = default;

void Accelerators::Clear() {
  std::vector<unsigned char*>().swap(m_Blocks);
  m_Objects.Clear();
  m_Links.Clear();
  std::vector<PieceRef>().swap(m_ChildBuckets);
  m_nChildren = 0;
  m_MoreParents.Clear();
  std::unordered_map<uint32_t, uint32_t>().swap(m_ExtraParents);
  m_Tops.Clear();
  std::vector<DBLink*>().swap(m_DeletedLinks);
  std::vector<IndexNode*>().swap(m_DeletedNames);
  std::unordered_map<uint32_t, uint16_t>().swap(m_RenamedBuckets);
  std::vector<uint32_t>().swap(m_Parents);
  for (std::vector<DBObject*>& s : m_Scratch) std::vector<DBObject*>().swap(s);
}

void Accelerators::Invalidate(CVKUDatabase* db) {
  if (!m_bValid) return;
  FinishLinkRemovals(db);
  FinishNameRemovals(db);
  m_bValid = false;
  Clear();
}

// ---- Blocks and references ----------------------------------------------------------

void Accelerators::AddBlock(CVKUDatabase* db, unsigned char* space) {
#if UINTPTR_MAX > 0xFFFFFFFFu
  if (!m_bValid) return;
  if (m_Blocks.size() >= kMaxBlocks) {  // 4 GB of arena: no more references
    Invalidate(db);
    return;
  }
  try {
    m_Blocks.push_back(space);
  } catch (const std::bad_alloc&) {
    Invalidate(db);
  }
#else
  (void)db;
  (void)space;
#endif
}

PieceRef Accelerators::RefOf(const void* piece) const {
#if UINTPTR_MAX > 0xFFFFFFFFu
  const unsigned char* p = static_cast<const unsigned char*>(piece);
  // A record is looked for right after it was carved, before more than a couple of new
  // blocks can have been started.
  size_t n = m_Blocks.size();
  for (size_t i = n; i > 0 && i + 3 > n; --i) {
    const unsigned char* space = m_Blocks[i - 1];
    if (p >= space && p < space + kArenaBlockSpace)
      return static_cast<PieceRef>(i << kOffsetBits | static_cast<size_t>(p - space));
  }
  return 0;
#else
  return static_cast<PieceRef>(reinterpret_cast<uintptr_t>(piece));
#endif
}

// ---- Arena reuse --------------------------------------------------------------------

void* Accelerators::TakeFree(uint32_t size, uint32_t* capacity) {
  // A piece of the same size: what gives pieces back (data, names, link arrays) asks
  // for the same sizes again and again.
  if (m_FreePieces.empty() || size == 0) return nullptr;
  auto it = m_FreePieces.find(size);
  if (it == m_FreePieces.end()) return nullptr;
  void* piece = it->second.back();
  it->second.pop_back();
  if (it->second.empty()) m_FreePieces.erase(it);
  if (capacity) *capacity = size;
  return piece;
}

void Accelerators::GiveBack(void* piece, uint32_t capacity) {
  // Pieces of fewer than 8 bytes are not worth a list entry; larger than an arena
  // piece, they are blocks of their own (loaded data) and stay where they are.
  if (!piece || capacity < 8 || capacity > kArenaBlockSpace) return;
  try {
    m_FreePieces[capacity].push_back(piece);
  } catch (const std::bad_alloc&) {
  }
}

uint32_t Accelerators::CapacityOf(const void* piece, uint32_t used) const {
  if (!piece || m_Capacities.empty()) return used;
  auto it = m_Capacities.find(piece);
  return it == m_Capacities.end() ? used : it->second;
}

void Accelerators::NoteCapacity(const void* piece, uint32_t capacity, uint32_t used) {
  if (!piece) return;
  if (capacity <= used) {
    if (!m_Capacities.empty()) m_Capacities.erase(piece);
    return;
  }
  try {
    m_Capacities[piece] = capacity;
  } catch (const std::bad_alloc&) {
  }
}

void Accelerators::ForgetCapacity(const void* piece) {
  if (piece && !m_Capacities.empty()) m_Capacities.erase(piece);
}

// ---- Objects ------------------------------------------------------------------------

void Accelerators::ObjectPushed(CVKUDatabase* db, DBObject* o) {
  if (!m_bValid) return;
  Extra(o)->dwListPrev = 0;
  // The old head needs the reference back; o was carved just now, so RefOf finds it.
  PieceRef ref = RefOf(o);
  if (!ref) Invalidate(db);
  else if (o->pNext) Extra(o->pNext)->dwListPrev = ref;
}

void Accelerators::ObjectIndexed(CVKUDatabase* db, DBObject* o) {
  if (!m_bValid) return;
  PieceRef ref = RefOf(o);
  if (!ref) {
    Invalidate(db);
    return;
  }
  try {
    if (!m_Objects.Insert(o->dwID, ref + static_cast<PieceRef>(sizeof(DBObject)))) {
      Invalidate(db);  // a second object with this id
      return;
    }
    if (IsTopType(o->dwType)) m_Tops.Add(o->dwType, NameKey(o->pszName), o->dwID);
  } catch (const std::bad_alloc&) {
    Invalidate(db);
  }
}

uint32_t Accelerators::IndexedBucket(const DBObject* o) const {
  if (!m_RenamedBuckets.empty()) {
    auto it = m_RenamedBuckets.find(o->dwID);
    if (it != m_RenamedBuckets.end()) return it->second;
  }
  return EntersNameIndex(o->pszName, o->dwType) ? NameHash(o->pszName) : static_cast<uint32_t>(kNoNameBucket);
}

void Accelerators::ParentsOf(CVKUDatabase* db, DBObject* o, std::vector<uint32_t>& out) const {
  (void)db;
  out.clear();
  uint32_t count = o->dwLinksToCount & VKU_ENTRY_ID_MASK;
  for (uint32_t i = 0; i < count; ++i) {
    DBLink* l = Link(o->pLinksTo[i] & VKU_ENTRY_ID_MASK);
    if (l && l->dwType == VKU_LINK_PARENT) out.push_back(l->dwSource);
  }
}

void Accelerators::ForgetEntries(CVKUDatabase* db, DBObject* o) {
  if (IsTopType(o->dwType)) m_Tops.Remove(o->dwType, NameKey(o->pszName), o->dwID);
  ParentsOf(db, o, m_Parents);
  for (uint32_t parent : m_Parents) RemoveChild(parent, o);
}

void Accelerators::RestoreEntries(CVKUDatabase* db, DBObject* o) {
  if (IsTopType(o->dwType)) m_Tops.Add(o->dwType, NameKey(o->pszName), o->dwID);
  ParentsOf(db, o, m_Parents);
  for (uint32_t parent : m_Parents) AddChild(parent, o);
}

DBObject* Accelerators::RemoveObject(CVKUDatabase* db, uint32_t id) {
  PieceRef ref = m_Objects.Find(id);
  if (!ref) return nullptr;
  IndexNode* node = static_cast<IndexNode*>(Deref(ref));
  DBObject* o = static_cast<DBObject*>(node->pRecord);
  try {
    ForgetEntries(db, o);  // while its incoming links still tell its parents
  } catch (const std::bad_alloc&) {
    Invalidate(db);
    return nullptr;  // the caller walks the database's own indexes instead
  }

  // Out of the id chain: the bucket's first record takes this node's place (the order
  // inside an id chain decides nothing while ids are unique).
  IndexNode** bucket = DatabaseInternals::ObjectBucketOf(db, id);
  IndexNode* head = *bucket;
  if (head != node) {
    DBObject* moved = static_cast<DBObject*>(head->pRecord);
    PieceRef from = m_Objects.Find(moved->dwID);
    node->pRecord = moved;
    m_Objects.Replace(moved->dwID, ref);
    ObjectMoved(moved, from, ref);
  }
  *bucket = head->pNext;
  m_Objects.Erase(id);

  // Out of the name chain, if its node is in the bucket of its current name (else no
  // node of the bucket names this id, and its own node stays where it is): with the
  // next batch.
  uint32_t nameBucket = IndexedBucket(o);
  if (!m_RenamedBuckets.empty()) m_RenamedBuckets.erase(id);
  if (o->pszName && nameBucket != kNoNameBucket && nameBucket == NameHash(o->pszName)) {
    try {
      m_DeletedNames.push_back(OwnNameNode(o));
    } catch (const std::bad_alloc&) {  // no room to remember it: unlinked at once
      for (IndexNode** at = DatabaseInternals::NameBucketOf(db, nameBucket); *at; at = &(*at)->pNext) {
        if (*at == OwnNameNode(o)) {
          *at = (*at)->pNext;
          break;
        }
      }
    }
  }

  ObjectExtra* x = Extra(o);
  // Out of the object list; the record keeps its own next pointer.
  DBObject* prev = x->dwListPrev ? static_cast<DBObject*>(Deref(x->dwListPrev)) : nullptr;
  if (prev)
    prev->pNext = o->pNext;
  else
    *DatabaseInternals::ObjectListHead(db) = o->pNext;
  if (o->pNext) Extra(o->pNext)->dwListPrev = x->dwListPrev;
  if (m_DeletedNames.size() > m_Objects.Size() / 4 + 1024) FinishNameRemovals(db);
  return o;
}

void Accelerators::FinishNameRemovals(CVKUDatabase* db) {
  if (m_DeletedNames.empty()) return;
  std::sort(m_DeletedNames.begin(), m_DeletedNames.end());
  for (uint32_t b = 0; b < kNameBuckets; ++b) {
    for (IndexNode** at = DatabaseInternals::NameBucketOf(db, b); *at;) {
      if (std::binary_search(m_DeletedNames.begin(), m_DeletedNames.end(), *at))
        *at = (*at)->pNext;
      else
        at = &(*at)->pNext;
    }
  }
  m_DeletedNames.clear();
  if (m_DeletedNames.capacity() > 4096) std::vector<IndexNode*>().swap(m_DeletedNames);
}

void Accelerators::BeforeRename(CVKUDatabase* db, DBObject* o) {
  if (!m_bValid) return;
  m_dwRenameBucket = IndexedBucket(o);
  if (Object(o->dwID) != o) {
    // A deleted record renamed through another handle: its name node may have stayed
    // in a chain, where the new name could make it found. The walks know what to do.
    Invalidate(db);
    return;
  }
  try {
    ForgetEntries(db, o);
  } catch (const std::bad_alloc&) {
    Invalidate(db);
  }
}

void Accelerators::AfterRename(CVKUDatabase* db, DBObject* o) {
  if (!m_bValid || Object(o->dwID) != o) return;
  try {
    // The name node stays in its bucket: remembered if the new name does not tell it.
    uint32_t derived = EntersNameIndex(o->pszName, o->dwType) ? NameHash(o->pszName) : static_cast<uint32_t>(kNoNameBucket);
    if (derived != m_dwRenameBucket)
      m_RenamedBuckets[o->dwID] = static_cast<uint16_t>(m_dwRenameBucket);
    else if (!m_RenamedBuckets.empty())
      m_RenamedBuckets.erase(o->dwID);
    RestoreEntries(db, o);
  } catch (const std::bad_alloc&) {
    Invalidate(db);
  }
}

// ---- The child index ----------------------------------------------------------------

void Accelerators::GrowChildren(size_t size) {
  std::vector<PieceRef> buckets(size, 0);
  uint32_t mask = static_cast<uint32_t>(size - 1);
  for (PieceRef first : m_ChildBuckets) {
    for (PieceRef r = first; IsRef(r);) {
      DBObject* c = static_cast<DBObject*>(static_cast<IndexNode*>(Deref(r))->pRecord);
      ObjectExtra* x = Extra(c);
      PieceRef next = x->dwChildNext;
      PieceRef& head = buckets[MixKey(x->dwChildParent, NameKey(c->pszName)) & mask];
      x->dwChildNext = IsRef(head) ? head : static_cast<PieceRef>(kChainEnd);
      head = r;
      r = next;
    }
  }
  m_ChildBuckets.swap(buckets);
}

// The buckets are half as many as the entries (two to a bucket on average): a lookup
// looks at one object more, and a million objects save 2 MB.
void Accelerators::ReserveChildren(size_t entries) {
  size_t size = 1024;
  while (size < entries) size *= 2;
  if (size > m_ChildBuckets.size()) GrowChildren(size);
}

void Accelerators::AddChild(uint32_t parentId, DBObject* child) {
  ObjectExtra* x = Extra(child);
  uint32_t key = NameKey(child->pszName);
  if (x->dwChildNext) {  // its own entry is taken: a second parent link
    ++m_ExtraParents[child->dwID];
    try {
      m_MoreParents.Add(parentId, key, child->dwID);
    } catch (const std::bad_alloc&) {
      if (--m_ExtraParents[child->dwID] == 0) m_ExtraParents.erase(child->dwID);
      throw;
    }
    return;
  }
  if (m_nChildren + 1 > m_ChildBuckets.size()) GrowChildren(m_ChildBuckets.empty() ? 1024 : m_ChildBuckets.size() * 2);
  PieceRef& head = m_ChildBuckets[ChildBucket(parentId, key)];
  x->dwChildParent = parentId;
  x->dwChildNext = IsRef(head) ? head : static_cast<PieceRef>(kChainEnd);
  head = NodeRef(child);
  ++m_nChildren;
}

bool Accelerators::RemoveChild(uint32_t parentId, DBObject* child) {
  ObjectExtra* x = Extra(child);
  uint32_t key = NameKey(child->pszName);
  if (x->dwChildNext && x->dwChildParent == parentId) {
    for (PieceRef* link = &m_ChildBuckets[ChildBucket(parentId, key)]; IsRef(*link);) {
      DBObject* c = static_cast<DBObject*>(static_cast<IndexNode*>(Deref(*link))->pRecord);
      if (c == child) {
        *link = x->dwChildNext;
        x->dwChildNext = 0;
        --m_nChildren;
        return true;
      }
      link = &Extra(c)->dwChildNext;
    }
    return false;
  }
  if (!m_MoreParents.Remove(parentId, key, child->dwID)) return false;
  auto it = m_ExtraParents.find(child->dwID);
  if (it != m_ExtraParents.end() && --it->second == 0) m_ExtraParents.erase(it);
  return true;
}

void Accelerators::ObjectMoved(DBObject* record, PieceRef from, PieceRef to) {
  ObjectExtra* x = Extra(record);
  if (!x->dwChildNext) return;
  for (PieceRef* link = &m_ChildBuckets[ChildBucket(x->dwChildParent, NameKey(record->pszName))]; IsRef(*link);) {
    if (*link == from) {
      *link = to;
      return;
    }
    link = &Extra(static_cast<DBObject*>(static_cast<IndexNode*>(Deref(*link))->pRecord))->dwChildNext;
  }
}

void Accelerators::ParentAdded(CVKUDatabase* db, uint32_t parentId, DBObject* child) {
  if (!m_bValid) return;
  try {
    AddChild(parentId, child);
  } catch (const std::bad_alloc&) {
    Invalidate(db);
  }
}

void Accelerators::ParentRemoved(uint32_t parentId, DBObject* child) {
  if (m_bValid) RemoveChild(parentId, child);
}

void Accelerators::Children(uint32_t parentId, const char* name, size_t length, std::vector<DBObject*>& out) const {
  uint32_t key = NameKey(name, length);
  if (!m_ChildBuckets.empty()) {
    for (PieceRef r = m_ChildBuckets[ChildBucket(parentId, key)]; IsRef(r);) {
      DBObject* c = static_cast<DBObject*>(static_cast<IndexNode*>(Deref(r))->pRecord);
      const ObjectExtra* x = Extra(c);
      if (x->dwChildParent == parentId && NameIs(c->pszName, name, length)) out.push_back(c);
      r = x->dwChildNext;
    }
  }
  if (m_MoreParents.Size())
    m_MoreParents.ForEach(parentId, key, [&](uint32_t id) {
      DBObject* c = Object(id);
      if (c && NameIs(c->pszName, name, length)) out.push_back(c);
    });
}

void Accelerators::Tops(uint32_t type, const char* name, size_t length, std::vector<DBObject*>& out) const {
  m_Tops.ForEach(type, NameKey(name, length), [&](uint32_t id) {
    DBObject* o = Object(id);
    if (o && o->dwType == type && NameIs(o->pszName, name, length)) out.push_back(o);
  });
}

// ---- Links --------------------------------------------------------------------------

void Accelerators::LinkIndexed(CVKUDatabase* db, DBLink* l) {
  if (!m_bValid) return;
  int64_t slot = m_Links.SlotOfLast(l);
  try {
    if (slot >= 0 && m_Links.Insert(l->dwID, static_cast<uint32_t>(slot))) return;
  } catch (const std::bad_alloc&) {
  }
  Invalidate(db);  // a second link with this id, or no memory
}

DBLink* Accelerators::RemoveLink(CVKUDatabase* db, uint32_t id) {
  DBLink* l = m_Links.Find(id);
  if (!l) return nullptr;
  m_Links.Erase(id);
  try {
    m_DeletedLinks.push_back(l);
  } catch (const std::bad_alloc&) {
    // No room to remember it: out of the list and its chain at once, the long way.
    for (DBLink** at = DatabaseInternals::LinkListHead(db); *at; at = &(*at)->pNext) {
      if (*at == l) {
        *at = l->pNext;
        break;
      }
    }
    UnlinkIndexNode<DBLink>(DatabaseInternals::LinkBucketOf(db, id), id);
  }
  // A batch walks the whole list and index, so it waits until the deleted links are a
  // good part of them.
  if (m_DeletedLinks.size() > m_Links.Size() / 4 + 1024) FinishLinkRemovals(db);
  return l;
}

void Accelerators::FinishLinkRemovals(CVKUDatabase* db) {
  if (m_DeletedLinks.empty()) return;
  std::sort(m_DeletedLinks.begin(), m_DeletedLinks.end());
  // A live link is the one its id names; only the others need the search.
  auto deleted = [&](DBLink* l) {
    return Link(l->dwID) != l && std::binary_search(m_DeletedLinks.begin(), m_DeletedLinks.end(), l);
  };
  for (DBLink** at = DatabaseInternals::LinkListHead(db); *at;) {
    if (deleted(*at))
      *at = (*at)->pNext;
    else
      at = &(*at)->pNext;
  }
  for (uint32_t b = 0; b < kLinkBuckets; ++b) {
    for (IndexNode** at = DatabaseInternals::LinkBucketOf(db, b); *at;) {
      if (deleted(static_cast<DBLink*>((*at)->pRecord)))
        *at = (*at)->pNext;
      else
        at = &(*at)->pNext;
    }
  }
  m_DeletedLinks.clear();
  if (m_DeletedLinks.capacity() > 4096) std::vector<DBLink*>().swap(m_DeletedLinks);
}

}  // namespace vkl
