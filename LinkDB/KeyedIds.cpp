// The (scope, name key) multimap (see KeyedIds.h).
#include "KeyedIds.h"

namespace vkl {

void KeyedIds::Grow() {
  std::vector<uint32_t> buckets(m_Buckets.empty() ? 64 : m_Buckets.size() * 2, 0);
  size_t mask = buckets.size() - 1;
  for (uint32_t b : m_Buckets) {
    for (uint32_t at = b; at;) {
      Entry& e = m_Entries[at - 1];
      uint32_t next = e.dwNext;
      uint32_t& head = buckets[MixKey(e.dwScope, e.dwKey) & mask];
      e.dwNext = head;
      head = at;
      at = next;
    }
  }
  m_Buckets.swap(buckets);
}

void KeyedIds::Add(uint32_t scope, uint32_t key, uint32_t id) {
  if (m_nCount + 1 > m_Buckets.size()) Grow();
  uint32_t at;
  if (!m_Free.empty()) {
    at = m_Free.back();
    m_Free.pop_back();
  } else {
    m_Entries.push_back(Entry{0, 0, 0, 0});
    at = static_cast<uint32_t>(m_Entries.size());
    // Room for every entry on the free list, so that Remove never allocates.
    if (m_Free.capacity() < m_Entries.size()) m_Free.reserve(m_Entries.capacity());
  }
  uint32_t& head = m_Buckets[MixKey(scope, key) & (m_Buckets.size() - 1)];
  m_Entries[at - 1] = Entry{scope, key, id, head};
  head = at;
  ++m_nCount;
}

bool KeyedIds::Remove(uint32_t scope, uint32_t key, uint32_t id) {
  if (m_Buckets.empty()) return false;
  for (uint32_t* link = &m_Buckets[MixKey(scope, key) & (m_Buckets.size() - 1)]; *link; link = &m_Entries[*link - 1].dwNext) {
    Entry& e = m_Entries[*link - 1];
    if (e.dwScope != scope || e.dwKey != key || e.dwId != id) continue;
    uint32_t at = *link;
    *link = e.dwNext;
    --m_nCount;
    // The slot is reused by the next Add (Add reserved the room for it).
    m_Free.push_back(at);
    return true;
  }
  return false;
}

void KeyedIds::Clear() {
  std::vector<Entry>().swap(m_Entries);
  std::vector<uint32_t>().swap(m_Free);
  std::vector<uint32_t>().swap(m_Buckets);
  m_nCount = 0;
}

}  // namespace vkl
