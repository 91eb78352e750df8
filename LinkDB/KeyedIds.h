// KeyedIds.h - a small multimap from a (scope, name key) pair to record ids: the
// objects of one type with one name (the tops of trees and name-only files), and the
// children of one parent with one name beyond the one each object keeps itself (see
// Accelerators.h). Entries live in one array with a free list, chained per bucket.
#ifndef VKLINKDB_KEYEDIDS_H
#define VKLINKDB_KEYEDIDS_H

#include <stddef.h>
#include <stdint.h>
#include <vector>

namespace vkl {

// Mixes a scope and a name key into a well-spread hash.
inline uint32_t MixKey(uint32_t scope, uint32_t key) {
  uint32_t h = scope * 0x9E3779B1u ^ key;
  h ^= h >> 16;
  h *= 0x85EBCA6Bu;
  h ^= h >> 13;
  h *= 0xC2B2AE35u;
  h ^= h >> 16;
  return h;
}

class KeyedIds {
 public:
  // Adds one entry (an id may be entered several times). Throws std::bad_alloc.
  void Add(uint32_t scope, uint32_t key, uint32_t id);
  // Removes one entry equal to (scope, key, id); false if there is none.
  bool Remove(uint32_t scope, uint32_t key, uint32_t id);
  // Calls f(id) for each entry with this scope and key.
  template <typename F>
  void ForEach(uint32_t scope, uint32_t key, F f) const {
    if (m_Buckets.empty()) return;
    for (uint32_t at = m_Buckets[MixKey(scope, key) & (m_Buckets.size() - 1)]; at; at = m_Entries[at - 1].dwNext) {
      const Entry& e = m_Entries[at - 1];
      if (e.dwScope == scope && e.dwKey == key) f(e.dwId);
    }
  }
  size_t Size() const { return m_nCount; }
  void Clear();

 private:
  struct Entry {
    uint32_t dwScope, dwKey, dwId;
    uint32_t dwNext;  // 1 + index of the next entry of the bucket; 0 at the end
  };
  void Grow();

  std::vector<Entry> m_Entries;
  std::vector<uint32_t> m_Free;     // 1 + index of unused entries
  std::vector<uint32_t> m_Buckets;  // 1 + index of each bucket's first entry
  size_t m_nCount = 0;
};

}  // namespace vkl

#endif
