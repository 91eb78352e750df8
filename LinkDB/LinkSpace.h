// LinkSpace.h - where link records lie while the accelerators are on, and the map from
// a link id to its record.
//
// Link pieces ([DBLink][link node], RecordPieces.h) are carved from arena blocks of their
// own, so that they lie one after the other and each has a place number (slot). Links
// are made with consecutive ids, and a store lists them in id order (or its reverse),
// so the links of a page of 4,096 ids usually sit in consecutive slots in id order: the
// page then needs only its first slot, its direction and two bitsets (the ids present,
// the ids still alive), about 1 KB instead of an array of 16 KB. A page whose links came
// in any other order becomes such an array. Ids far from the others go to a hash map.
#ifndef VKLINKDB_LINKSPACE_H
#define VKLINKDB_LINKSPACE_H

#include <stddef.h>
#include <stdint.h>
#include <unordered_map>
#include <vector>
#include "RecordPieces.h"

class CVKUDatabase;

namespace vkl {

class LinkSpace {
 public:
  LinkSpace() = default;
  ~LinkSpace() { Clear(); }
  LinkSpace(const LinkSpace&) = delete;
  LinkSpace& operator=(const LinkSpace&) = delete;

  // A new link piece after the last one (in a new block of the database's arena when
  // the last block is full); null when memory runs out.
  DBLink* Carve(CVKUDatabase* db);
  // The slot of a piece carved last; -1 if l is not that piece.
  int64_t SlotOfLast(const DBLink* l) const;

  // The live link with this id, or null.
  DBLink* Find(uint32_t id) const;
  // Enters the link just carved (the last slot). False if the id was there before.
  // Throws std::bad_alloc.
  bool Insert(uint32_t id, uint32_t slot);
  void Erase(uint32_t id);
  size_t Size() const { return m_nLive; }
  void Clear();

  // Link pieces to an arena block (of 16,384 bytes).
  static const size_t kPerBlock = 16384 / (sizeof(DBLink) + sizeof(IndexNode));

 private:
  enum : uint32_t { kPageBits = 12, kPageSize = 1u << kPageBits, kWords = kPageSize / 64 };
  // Ids below this go to pages while pages stay reasonably full (see IdMap.h).
  static const uint32_t kMaxPagedId = 1u << 28;
  struct Page {
    // A run: the present ids in slots from dwFirstSlot on, in id order (iDirection 1)
    // or in reverse (-1); 0 while fewer than two ids came.
    uint32_t dwFirstSlot, dwLastSlot, dwLastId;
    int iDirection;
    uint32_t dwPresent, dwLive;  // counts
    bool bRun;
    mutable bool bRanked;
    uint64_t present[kWords], live[kWords];
    mutable uint16_t rank[kWords];  // present ids before each word (while bRanked)
    uint32_t* slots;                // not a run: slot + 1 by id, 0 for none
  };

  DBLink* At(uint32_t slot) const {
    return reinterpret_cast<DBLink*>(m_Blocks[slot / kPerBlock] + (slot % kPerBlock) * (sizeof(DBLink) + sizeof(IndexNode)));
  }
  uint32_t SlotInRun(const Page& p, uint32_t bit) const;
  void MakeArray(Page& p, uint32_t pageFirstId);

  std::vector<unsigned char*> m_Blocks;  // link blocks' space, by block number
  size_t m_nUsed = 0;                    // pieces carved in the last block
  std::vector<Page*> m_Pages;
  size_t m_nPages = 0, m_nLive = 0;
  std::unordered_map<uint32_t, uint32_t> m_Overflow;  // id -> slot
};

}  // namespace vkl

#endif
