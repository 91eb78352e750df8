// IdMap.h - a map from a record id (u32) to a 32-bit piece reference, for lookups by id
// that do not slow down as the store grows. Ids are handed out one after the other, so
// the map is an array indexed by id, cut into pages that are made when an id first
// needs them and freed when their last id goes. Ids far from the others (a store may
// name any id) go to a hash map instead, so that a few stray ids cost a few entries,
// not pages.
#ifndef VKLINKDB_IDMAP_H
#define VKLINKDB_IDMAP_H

#include <stddef.h>
#include <stdint.h>
#include <unordered_map>
#include <vector>

namespace vkl {

class IdMap {
 public:
  IdMap() = default;
  ~IdMap() { Clear(); }
  IdMap(const IdMap&) = delete;
  IdMap& operator=(const IdMap&) = delete;

  // The reference stored for id, or 0.
  uint32_t Find(uint32_t id) const {
    uint32_t page = id >> kPageBits;
    if (page < m_Pages.size() && m_Pages[page]) {
      uint32_t ref = m_Pages[page][id & kPageMask];
      if (ref || m_Overflow.empty()) return ref;
    }
    return m_Overflow.empty() ? 0 : FindOverflow(id);
  }
  // Adds id (ref must not be 0). False if id is there already. Throws std::bad_alloc.
  bool Insert(uint32_t id, uint32_t ref);
  // Changes the reference of an id that is there.
  void Replace(uint32_t id, uint32_t ref);
  void Erase(uint32_t id);
  size_t Size() const { return m_nCount; }
  void Clear();

 private:
  enum : uint32_t { kPageBits = 12, kPageSize = 1u << kPageBits, kPageMask = kPageSize - 1 };
  // Ids below this go to pages if the pages stay reasonably full (see Insert).
  static const uint32_t kMaxPagedId = 1u << 28;

  uint32_t FindOverflow(uint32_t id) const;
  uint32_t* Slot(uint32_t id);

  std::vector<uint32_t*> m_Pages;
  std::vector<uint32_t> m_PageCounts;
  size_t m_nPages = 0;
  size_t m_nCount = 0;
  std::unordered_map<uint32_t, uint32_t> m_Overflow;
};

}  // namespace vkl

#endif
