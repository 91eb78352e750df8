// Snapshot.cpp - see Snapshot.h.
#include "Snapshot.h"

#include <algorithm>

#include "Text.h"

namespace vkp {

std::string SnapshotKey(const SnapshotEntry& entry) {
  switch (entry.kind) {
    case Kind::kKey: return "K" + Upper(entry.path);
    case Kind::kValue: return "V" + Upper(entry.path) + '\x01' + Upper(entry.name);
    default: return "F" + Upper(entry.path);  // a folder and a file cannot share a path
  }
}

void Snapshot::Add(SnapshotEntry entry) {
  std::string key = SnapshotKey(entry);
  if (m_Index.emplace(std::move(key), m_Entries.size()).second) m_Entries.push_back(std::move(entry));
}

const SnapshotEntry* Snapshot::Find(const SnapshotEntry& like) const {
  auto known = m_Index.find(SnapshotKey(like));
  return known == m_Index.end() ? nullptr : &m_Entries[known->second];
}

size_t Snapshot::Count(Kind kind) const {
  size_t n = 0;
  for (const SnapshotEntry& e : m_Entries) n += e.kind == kind;
  return n;
}

namespace {
bool Differs(const SnapshotEntry& a, const SnapshotEntry& b) {
  if (a.kind != b.kind) return true;
  if (a.kind == Kind::kFile) return a.data.a != b.data.a || a.data.b != b.data.b;
  if (a.kind == Kind::kValue) return a.data != b.data;
  return false;
}

// Sorted by the upper-case path, each key made once.
void SortByPath(std::vector<const SnapshotEntry*>& list) {
  std::vector<std::pair<std::string, const SnapshotEntry*>> keyed;
  keyed.reserve(list.size());
  for (const SnapshotEntry* e : list) keyed.emplace_back(Upper(e->path) + '\x01' + Upper(e->name), e);
  std::sort(keyed.begin(), keyed.end());
  for (size_t i = 0; i < list.size(); ++i) list[i] = keyed[i].second;
}
}  // namespace

SnapshotDifference Compare(const Snapshot& before, const Snapshot& after) {
  SnapshotDifference d;
  for (const SnapshotEntry& e : after.Entries()) {
    const SnapshotEntry* old = before.Find(e);
    if (!old)
      d.added.push_back(&e);
    else if (Differs(*old, e))
      d.changed.push_back(&e);
  }
  for (const SnapshotEntry& e : before.Entries())
    if (!after.Find(e)) d.removed.push_back(&e);
  SortByPath(d.added);
  SortByPath(d.changed);
  SortByPath(d.removed);
  return d;
}

std::vector<std::string> EntryComponents(const SnapshotEntry& entry) {
  std::vector<std::string> parts = SplitPath(entry.path);
  if (entry.kind == Kind::kValue) parts.push_back(entry.name.empty() ? kDefaultValueName : entry.name);
  return parts;
}

}  // namespace vkp
