// Accelerators.h - indexes beside the database's own, so that lookups, path walks,
// inserts and deletions cost the same at a million objects as at a thousand.
//
// The database's own indexes stay as they are and are kept exactly: the three hash
// tables of 16,384, 65,536 and 16,384 buckets with their chains, and the object and link
// lists in their order. Beside them this object keeps:
//   - an id map for objects (IdMap.h): id -> the id-index node that points at the
//     record, so that a lookup by id is one step, not a chain walk; links lie in blocks
//     of their own, where a link id finds its record in one step too (LinkSpace.h);
//   - a back reference in each object's list slot, so that an object leaves the object
//     list at once;
//   - the child index: (parent id, name) -> the objects with a parent link (type 1) from
//     that parent and that current name, which turns a lookup by path into one step per
//     component (PathWalk.cpp);
//   - the tops: objects of types 1, 8 and 0x1000 by name, the objects that path walks
//     and LookupVFILE find by name alone;
//   - reuse of arena space given up by SetData, SetName and growing link arrays.
//
// Chains of the object-id index are unlinked by moving the bucket's first record into
// the node that goes: with unique ids the order inside an id chain decides nothing.
// Deleted links and the name nodes of deleted objects are unlinked in batches, which
// keep the order of what stays (candidates are tried in chain order, links are written
// in list order), once they are a good part of the whole and before anything walks the
// link list or the chains (the name chains are walked only to choose between several
// candidates, which are live objects, so a node waiting for its batch changes nothing).
//
// All of it is exact only while the database is regular: every id unique, every record
// indexed. A store with duplicate ids, an id counter that wraps, memory running out in
// the middle of a change, or a shallow copy of the database switch the indexes off for
// good (Invalidate), and every operation walks the database's own indexes as described.
// Everything here runs under the database mutex.
#ifndef VKLINKDB_ACCELERATORS_H
#define VKLINKDB_ACCELERATORS_H

#include <stddef.h>
#include <stdint.h>
#include <unordered_map>
#include <vector>
#include "IdMap.h"
#include "KeyedIds.h"
#include "LinkSpace.h"
#include "RecordPieces.h"

class CVKUDatabase;

namespace vkl {

// Case-folded hash of a whole name (null counts as empty), the key of the child index
// and the tops.
uint32_t NameKey(const char* name);
uint32_t NameKey(const char* name, size_t length);

class Accelerators {
 public:
  Accelerators();
  ~Accelerators();
  Accelerators(const Accelerators&) = delete;
  Accelerators& operator=(const Accelerators&) = delete;

  bool Valid() const { return m_bValid; }
  // Switches the indexes off for good, after finishing the pending unlinks of deleted
  // links so that the database's own lists are exact.
  void Invalidate(CVKUDatabase* db);

  // ---- Arena blocks and references to pieces in them.
  void AddBlock(CVKUDatabase* db, unsigned char* space);
  // The reference of a piece carved lately (it lies in one of the newest blocks); 0
  // if it does not.
  PieceRef RefOf(const void* piece) const;
  void* Deref(PieceRef ref) const {
#if UINTPTR_MAX > 0xFFFFFFFFu
    return m_Blocks[(ref >> kOffsetBits) - 1] + (ref & kOffsetMask);
#else
    return reinterpret_cast<void*>(static_cast<uintptr_t>(ref));
#endif
  }

  // ---- Reuse of arena space (kept even when the indexes are off).
  // A free piece of exactly size bytes, or null; *capacity gets its size.
  void* TakeFree(uint32_t size, uint32_t* capacity);
  void GiveBack(void* piece, uint32_t capacity);
  // The room of a data or name piece whose content takes `used` bytes.
  uint32_t CapacityOf(const void* piece, uint32_t used) const;
  void NoteCapacity(const void* piece, uint32_t capacity, uint32_t used);
  void ForgetCapacity(const void* piece);

  // ---- Records by id.
  DBObject* Object(uint32_t id) const {
    PieceRef r = m_Objects.Find(id);
    return r ? static_cast<DBObject*>(static_cast<IndexNode*>(Deref(r))->pRecord) : nullptr;
  }
  DBLink* Link(uint32_t id) const { return m_Links.Find(id); }
  size_t ObjectCount() const { return m_Objects.Size(); }
  size_t LinkCount() const { return m_Links.Size(); }

  // ---- Objects. Each call mirrors one step of the database's own algorithm.
  // The record was pushed at the head of the object list (before its old head).
  void ObjectPushed(CVKUDatabase* db, DBObject* o);
  // The record's nodes were pushed on their chains.
  void ObjectIndexed(CVKUDatabase* db, DBObject* o);
  // The name bucket o's name node was pushed on, or kNoNameBucket if it has none: that
  // of its name, unless a rename (SetName) made it differ.
  uint32_t IndexedBucket(const DBObject* o) const;
  // Takes a live object out of the id index, the name index (if its node is in the
  // bucket of its current name), the child index, the tops and the object list;
  // null if there is no object with this id.
  DBObject* RemoveObject(CVKUDatabase* db, uint32_t id);
  // Around a rename of o (SetName): its entries are taken out under the old name and
  // put back under the new one.
  void BeforeRename(CVKUDatabase* db, DBObject* o);
  void AfterRename(CVKUDatabase* db, DBObject* o);

  // ---- Links.
  // A piece for a new link record (RecordPieces.h), in the link blocks.
  DBLink* CarveLink(CVKUDatabase* db) { return m_Links.Carve(db); }
  void LinkIndexed(CVKUDatabase* db, DBLink* l);
  // Takes a live link out of the accelerators; it leaves the link list and its id chain
  // with the next batch. Null if there is no link with this id.
  DBLink* RemoveLink(CVKUDatabase* db, uint32_t id);
  // A parent link from parentId was added to, or removed from, child's incoming array.
  void ParentAdded(CVKUDatabase* db, uint32_t parentId, DBObject* child);
  void ParentRemoved(uint32_t parentId, DBObject* child);
  // Unlinks the deleted links still in the link list and the link index's chains.
  void FinishLinkRemovals(CVKUDatabase* db);
  // Unlinks the name nodes of deleted objects still in their chains.
  void FinishNameRemovals(CVKUDatabase* db);

  // ---- Path walks.
  // Appends to out the objects with a parent link from parentId whose current name is
  // name (an object may come twice).
  void Children(uint32_t parentId, const char* name, size_t length, std::vector<DBObject*>& out) const;
  // The parent links of a live object, when the child index knows them: -1 if it does
  // not (the object has more than one, or is not live), else how many (0 or 1), the
  // one parent's id in *parent.
  int SoleParent(const DBObject* o, uint32_t* parent) const {
    if (Object(o->dwID) != o || (!m_ExtraParents.empty() && m_ExtraParents.count(o->dwID))) return -1;
    const ObjectExtra* x = Extra(o);
    if (!x->dwChildNext) return 0;
    *parent = x->dwChildParent;
    return 1;
  }
  // Appends to out the objects of exactly this type (1, 8 or 0x1000) with this name.
  void Tops(uint32_t type, const char* name, size_t length, std::vector<DBObject*>& out) const;
  static bool IsTopType(uint32_t type) { return type == 1 || type == 8 || type == 0x1000; }
  // Room for the child index of a store being loaded (entries parent links).
  void ReserveChildren(size_t entries);
  // Asks for the bucket that ParentAdded(.., parentId, child) is about to change.
  void PrefetchChild(uint32_t parentId, const DBObject* child) const {
    if (!m_ChildBuckets.empty()) __builtin_prefetch(&m_ChildBuckets[ChildBucket(parentId, NameKey(child->pszName))]);
  }
  // Scratch lists for the path walk.
  std::vector<DBObject*> m_Scratch[3];

 private:
  // In the 64-bit library a reference is a block number (from 1) and an offset in it.
  enum : uint32_t { kOffsetBits = 14, kOffsetMask = (1u << kOffsetBits) - 1, kMaxBlocks = (1u << (32 - kOffsetBits)) - 1 };

  uint32_t ChildBucket(uint32_t parentId, uint32_t key) const {
    return MixKey(parentId, key) & static_cast<uint32_t>(m_ChildBuckets.size() - 1);
  }
  // The id node of a live object.
  PieceRef NodeRef(const DBObject* o) const { return m_Objects.Find(o->dwID); }
  void AddChild(uint32_t parentId, DBObject* child);
  bool RemoveChild(uint32_t parentId, DBObject* child);
  void GrowChildren(size_t buckets);
  // The parents of o along its incoming parent links (an id once per link).
  void ParentsOf(CVKUDatabase* db, DBObject* o, std::vector<uint32_t>& out) const;
  void ForgetEntries(CVKUDatabase* db, DBObject* o);
  void RestoreEntries(CVKUDatabase* db, DBObject* o);
  // An id-chain node now holds record, which used to be held by node `from`.
  void ObjectMoved(DBObject* record, PieceRef from, PieceRef to);
  void Clear();

  bool m_bValid = true;
  std::vector<unsigned char*> m_Blocks;  // the arena blocks' space, by block number
  IdMap m_Objects;
  LinkSpace m_Links;
  std::vector<PieceRef> m_ChildBuckets;  // id node of each bucket's first object
  size_t m_nChildren = 0;
  KeyedIds m_MoreParents;                // (parent id, name key) -> child id, beyond the first
  std::unordered_map<uint32_t, uint32_t> m_ExtraParents;  // child id -> its entries there
  KeyedIds m_Tops;                       // (type, name key) -> id
  std::vector<DBLink*> m_DeletedLinks;   // still in the link list and chains
  std::vector<IndexNode*> m_DeletedNames;  // name nodes still in their chains
  // Objects whose name node is not (or no longer) in the bucket of their name: id ->
  // the bucket it is in, or kNoNameBucket.
  std::unordered_map<uint32_t, uint16_t> m_RenamedBuckets;
  uint32_t m_dwRenameBucket = kNoNameBucket;  // IndexedBucket before a rename
  std::vector<uint32_t> m_Parents;       // scratch

  // Arena reuse: free pieces by size, and the room of data and name pieces that is
  // larger than their content.
  std::unordered_map<uint32_t, std::vector<void*>> m_FreePieces;
  std::unordered_map<const void*, uint32_t> m_Capacities;
};

}  // namespace vkl

#endif
