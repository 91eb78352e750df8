// Link pieces in blocks of their own, and the map from link ids to them (LinkSpace.h).
#include "LinkSpace.h"
#include <stdlib.h>
#include <string.h>
#include <new>
#include "Internal.h"

namespace vkl {

static_assert(LinkSpace::kPerBlock == kArenaBlockSpace / (sizeof(DBLink) + sizeof(IndexNode)),
              "a link block is an arena block");

DBLink* LinkSpace::Carve(CVKUDatabase* db) {
  if (m_Blocks.empty() || m_nUsed == kPerBlock) {
    // A block of the arena like any other, behind its newest: carving in the newest
    // goes on undisturbed, and the destructor returns this one with the others.
    unsigned char* space = static_cast<unsigned char*>(DatabaseInternals::CarveLarge(db, kArenaBlockSpace));
    if (!space) return nullptr;
    try {
      m_Blocks.push_back(space);
    } catch (const std::bad_alloc&) {
      return nullptr;  // the block stays in the arena until the database goes
    }
    m_nUsed = 0;
  }
  return At(static_cast<uint32_t>((m_Blocks.size() - 1) * kPerBlock + m_nUsed++));
}

int64_t LinkSpace::SlotOfLast(const DBLink* l) const {
  if (m_Blocks.empty() || m_nUsed == 0) return -1;
  uint32_t slot = static_cast<uint32_t>((m_Blocks.size() - 1) * kPerBlock + m_nUsed - 1);
  return At(slot) == l ? slot : -1;
}

uint32_t LinkSpace::SlotInRun(const Page& p, uint32_t bit) const {
  if (!p.bRanked) {
    uint16_t before = 0;
    for (uint32_t w = 0; w < kWords; ++w) {
      p.rank[w] = before;
      before = static_cast<uint16_t>(before + __builtin_popcountll(p.present[w]));
    }
    p.bRanked = true;
  }
  uint32_t w = bit / 64, b = bit % 64;
  uint32_t less = p.rank[w] + static_cast<uint32_t>(__builtin_popcountll(p.present[w] & ((uint64_t(1) << b) - 1)));
  // In id order the slot follows the ids below this one; in reverse, those above it.
  return p.dwFirstSlot + (p.iDirection >= 0 ? less : p.dwPresent - 1 - less);
}

DBLink* LinkSpace::Find(uint32_t id) const {
  uint32_t page = id >> kPageBits;
  if (page < m_Pages.size() && m_Pages[page]) {
    const Page& p = *m_Pages[page];
    uint32_t bit = id & (kPageSize - 1);
    if (!p.bRun) return p.slots[bit] ? At(p.slots[bit] - 1) : nullptr;
    if (!(p.live[bit / 64] >> (bit % 64) & 1)) return nullptr;
    return At(SlotInRun(p, bit));
  }
  if (m_Overflow.empty()) return nullptr;
  auto it = m_Overflow.find(id);
  return it == m_Overflow.end() ? nullptr : At(it->second);
}

void LinkSpace::MakeArray(Page& p, uint32_t pageFirstId) {
  (void)pageFirstId;
  uint32_t* slots = static_cast<uint32_t*>(calloc(kPageSize, sizeof(uint32_t)));
  if (!slots) throw std::bad_alloc();
  for (uint32_t bit = 0; bit < kPageSize; ++bit)
    if (p.live[bit / 64] >> (bit % 64) & 1) slots[bit] = SlotInRun(p, bit) + 1;
  p.slots = slots;
  p.bRun = false;
}

bool LinkSpace::Insert(uint32_t id, uint32_t slot) {
  uint32_t index = id >> kPageBits, bit = id & (kPageSize - 1);
  if (!m_Overflow.empty() && m_Overflow.count(id)) return false;
  bool paged = index < m_Pages.size() && m_Pages[index];
  if (!paged && id < kMaxPagedId && (m_nPages + 1) * 256 <= m_nLive + 64 * 256) {
    if (index >= m_Pages.size()) m_Pages.resize(index + 1, nullptr);
    Page* fresh = static_cast<Page*>(calloc(1, sizeof(Page)));
    if (!fresh) throw std::bad_alloc();
    fresh->bRun = true;
    m_Pages[index] = fresh;
    ++m_nPages;
    paged = true;
  }
  if (!paged) {
    if (!m_Overflow.emplace(id, slot).second) return false;
    ++m_nLive;
    return true;
  }
  Page& p = *m_Pages[index];
  if (p.bRun) {
    // An id seen before in this page (even one deleted since) is not taken twice.
    if (p.present[bit / 64] >> (bit % 64) & 1) return false;
    bool continues = p.dwPresent == 0 ||
                     (slot == p.dwLastSlot + 1 && (p.iDirection == 0 || (p.iDirection > 0) == (id > p.dwLastId)));
    if (continues) {
      if (p.dwPresent == 0) {
        p.dwFirstSlot = slot;
      } else if (p.iDirection == 0) {
        p.iDirection = id > p.dwLastId ? 1 : -1;
      }
      p.dwLastSlot = slot;
      p.dwLastId = id;
      p.present[bit / 64] |= uint64_t(1) << (bit % 64);
      p.live[bit / 64] |= uint64_t(1) << (bit % 64);
      ++p.dwPresent;
      ++p.dwLive;
      p.bRanked = false;
      ++m_nLive;
      return true;
    }
    MakeArray(p, index << kPageBits);
  }
  if (p.slots[bit]) return false;
  p.slots[bit] = slot + 1;
  ++p.dwLive;
  ++m_nLive;
  return true;
}

void LinkSpace::Erase(uint32_t id) {
  uint32_t index = id >> kPageBits, bit = id & (kPageSize - 1);
  if (index < m_Pages.size() && m_Pages[index]) {
    Page& p = *m_Pages[index];
    if (p.bRun) {
      if (!(p.live[bit / 64] >> (bit % 64) & 1)) return;
      p.live[bit / 64] &= ~(uint64_t(1) << (bit % 64));
    } else {
      if (!p.slots[bit]) return;
      p.slots[bit] = 0;
    }
    --m_nLive;
    if (--p.dwLive == 0) {  // the memory of a page goes with its last link
      free(p.slots);
      free(&p);
      m_Pages[index] = nullptr;
      --m_nPages;
    }
    return;
  }
  m_nLive -= m_Overflow.erase(id);
}

void LinkSpace::Clear() {
  for (Page* p : m_Pages) {
    if (!p) continue;
    free(p->slots);
    free(p);
  }
  std::vector<Page*>().swap(m_Pages);
  std::unordered_map<uint32_t, uint32_t>().swap(m_Overflow);
  std::vector<unsigned char*>().swap(m_Blocks);
  m_nUsed = m_nPages = m_nLive = 0;
}

}  // namespace vkl
