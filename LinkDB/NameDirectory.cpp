// The name directory: an open-addressing table of the name-index nodes, keyed by a
// case-folded hash of each record's whole current name.
#include "NameDirectory.h"
#include <algorithm>
#include <new>
#include "Internal.h"

namespace vkl {

static const size_t kNotFound = static_cast<size_t>(-1);

uint32_t NameDirectory::Key(const char* name) {
  uint32_t h = 2166136261u;  // FNV-1a
  if (name)
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p)
      h = (h ^ AsciiUpper(*p)) * 16777619u;
  return h;
}

void NameDirectory::Invalidate() {
  m_bValid = false;
  std::vector<Entry>().swap(m_Slots);
  m_nUsed = 0;
}

bool NameDirectory::Insert(const Entry& e) {
  if ((m_nUsed + 1) * 4 > m_Slots.size() * 3) {
    std::vector<Entry> old;
    old.swap(m_Slots);
    try {
      m_Slots.assign(old.empty() ? 1024 : old.size() * 2, Entry{0, 0, 0, nullptr});
    } catch (const std::bad_alloc&) {
      return false;
    }
    m_nUsed = 0;
    for (const Entry& o : old)
      if (o.pNode) Insert(o);
  }
  size_t mask = m_Slots.size() - 1;
  size_t i = e.dwKey & mask;
  while (m_Slots[i].pNode) i = (i + 1) & mask;
  m_Slots[i] = e;
  ++m_nUsed;
  return true;
}

// Removes the entry at slot and moves later entries of the same probe run back, so
// that no search stops early at the hole.
void NameDirectory::EraseAt(size_t slot) {
  size_t mask = m_Slots.size() - 1;
  size_t hole = slot;
  size_t i = (slot + 1) & mask;
  while (m_Slots[i].pNode) {
    size_t home = m_Slots[i].dwKey & mask;
    // The entry at i may fill the hole if its home is not within (hole, i].
    bool between = hole <= i ? (home > hole && home <= i) : (home > hole || home <= i);
    if (!between) {
      m_Slots[hole] = m_Slots[i];
      hole = i;
    }
    i = (i + 1) & mask;
  }
  m_Slots[hole] = Entry{0, 0, 0, nullptr};
  --m_nUsed;
}

size_t NameDirectory::FindSlot(uint32_t key, const void* record) const {
  if (m_Slots.empty()) return kNotFound;
  size_t mask = m_Slots.size() - 1;
  for (size_t i = key & mask; m_Slots[i].pNode; i = (i + 1) & mask)
    if (m_Slots[i].dwKey == key && m_Slots[i].pNode->pRecord == record) return i;
  return kNotFound;
}

void NameDirectory::Added(IndexNode* node, uint32_t bucket, const char* name) {
  if (!m_bValid) return;
  if (!Insert(Entry{Key(name), m_dwNextSeq++, static_cast<uint16_t>(bucket), node})) Invalidate();
}

void NameDirectory::Removed(IndexNode* node, const char* name) {
  if (!m_bValid || m_Slots.empty()) return;
  size_t mask = m_Slots.size() - 1;
  uint32_t key = Key(name);
  for (size_t i = key & mask; m_Slots[i].pNode; i = (i + 1) & mask) {
    if (m_Slots[i].pNode == node) {
      EraseAt(i);
      return;
    }
  }
}

void NameDirectory::Renamed(const void* record, const char* oldName, const char* newName) {
  if (!m_bValid) return;
  size_t slot = FindSlot(Key(oldName), record);
  if (slot == kNotFound) return;  // not in the name index
  Entry e = m_Slots[slot];
  EraseAt(slot);
  e.dwKey = Key(newName);
  if (!Insert(e)) Invalidate();
}

const NameDirectory::CandidateList& NameDirectory::Candidates(uint32_t bucket, const char* name) {
  CandidateList& out = m_Candidates;
  out.clear();
  if (m_Slots.empty()) return out;
  uint32_t key = Key(name);
  size_t mask = m_Slots.size() - 1;
  for (size_t i = key & mask; m_Slots[i].pNode; i = (i + 1) & mask) {
    const Entry& e = m_Slots[i];
    if (e.dwKey != key || e.wBucket != bucket) continue;
    if (!NamesEqual(static_cast<const DBObject*>(e.pNode->pRecord)->pszName, name)) continue;
    try {
      out.push_back({e.dwSeq, e.pNode});
    } catch (const std::bad_alloc&) {
      out.clear();
      Invalidate();  // the caller sees Valid() false and walks the bucket
      return out;
    }
  }
  if (out.size() > 1)
    std::sort(out.begin(), out.end(), [](const std::pair<uint32_t, IndexNode*>& x,
                                         const std::pair<uint32_t, IndexNode*>& y) { return x.first > y.first; });
  return out;
}

}  // namespace vkl
