// The paged map from ids to piece references (see IdMap.h).
#include "IdMap.h"
#include <stdlib.h>
#include <new>

namespace vkl {

uint32_t IdMap::FindOverflow(uint32_t id) const {
  auto it = m_Overflow.find(id);
  return it == m_Overflow.end() ? 0 : it->second;
}

uint32_t* IdMap::Slot(uint32_t id) {
  uint32_t page = id >> kPageBits;
  if (page < m_Pages.size() && m_Pages[page] && m_Pages[page][id & kPageMask]) return &m_Pages[page][id & kPageMask];
  auto it = m_Overflow.find(id);
  return it == m_Overflow.end() ? nullptr : &it->second;
}

bool IdMap::Insert(uint32_t id, uint32_t ref) {
  uint32_t page = id >> kPageBits;
  bool paged = page < m_Pages.size() && m_Pages[page];
  // An id whose page had not been made yet when it came may be in the overflow map.
  if (!m_Overflow.empty() && m_Overflow.count(id)) return false;
  if (!paged && id < kMaxPagedId && (m_nPages + 1) * 256 <= m_nCount + 64 * 256) {
    // A new page is made while the pages hold at least one id in 256 on average (after
    // the first 64 pages), which keeps them within a few times the size of a hash map
    // even for scattered ids and costs nothing for the ids the database hands out.
    if (page >= m_Pages.size()) {
      m_Pages.resize(page + 1, nullptr);
      m_PageCounts.resize(page + 1, 0);
    }
    m_Pages[page] = static_cast<uint32_t*>(calloc(kPageSize, sizeof(uint32_t)));
    if (!m_Pages[page]) throw std::bad_alloc();
    ++m_nPages;
    paged = true;
  }
  if (paged) {
    uint32_t& slot = m_Pages[page][id & kPageMask];
    if (slot) return false;
    slot = ref;
    ++m_PageCounts[page];
  } else if (!m_Overflow.emplace(id, ref).second) {
    return false;
  }
  ++m_nCount;
  return true;
}

void IdMap::Replace(uint32_t id, uint32_t ref) {
  if (uint32_t* slot = Slot(id)) *slot = ref;
}

void IdMap::Erase(uint32_t id) {
  uint32_t page = id >> kPageBits;
  if (page < m_Pages.size() && m_Pages[page] && m_Pages[page][id & kPageMask]) {
    m_Pages[page][id & kPageMask] = 0;
    --m_nCount;
    if (--m_PageCounts[page] == 0) {  // the memory of a page goes with its last id
      free(m_Pages[page]);
      m_Pages[page] = nullptr;
      --m_nPages;
    }
    return;
  }
  m_nCount -= m_Overflow.erase(id);
}

void IdMap::Clear() {
  for (uint32_t* page : m_Pages) free(page);
  std::vector<uint32_t*>().swap(m_Pages);
  std::vector<uint32_t>().swap(m_PageCounts);
  std::unordered_map<uint32_t, uint32_t>().swap(m_Overflow);
  m_nPages = m_nCount = 0;
}

}  // namespace vkl
