// Snapshot.h - what a set of folders and registry keys held at one moment: every folder,
// file, key and value, with the size and time of each file and a hash of each value's
// data, and the comparison of two snapshots. Taking one is in SnapshotWin32.cpp.
#ifndef VKRECORD_SNAPSHOT_H
#define VKRECORD_SNAPSHOT_H

#include <stddef.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "StoreModel.h"

namespace vkp {

struct SnapshotEntry {
  Kind kind = Kind::kFile;  // kFolder, kFile, kKey or kValue
  std::string path;         // the full path; for a value, its key's path
  std::string name;         // a value's name ("" for the unnamed value)
  RecordData data;          // files: size, time, attributes; values: type, size, hash
  std::string text;         // a string value's text (REG_EXPAND_SZ expanded) when it may
                            // name a file (MayNameFile), else ""
};

class Snapshot {
 public:
  // Adds an entry; a second entry for the same thing is ignored.
  void Add(SnapshotEntry entry);
  const std::vector<SnapshotEntry>& Entries() const { return m_Entries; }
  const SnapshotEntry* Find(const SnapshotEntry& like) const;
  size_t Count(Kind kind) const;

 private:
  std::vector<SnapshotEntry> m_Entries;
  std::unordered_map<std::string, size_t> m_Index;
};

// The identity of an entry: its kind's namespace and its path (and value name) in upper
// case, as the file system and the registry compare names.
std::string SnapshotKey(const SnapshotEntry& entry);

struct SnapshotDifference {
  std::vector<const SnapshotEntry*> added;    // in the second snapshot only
  std::vector<const SnapshotEntry*> changed;  // files and values whose data differ
  std::vector<const SnapshotEntry*> removed;  // in the first only
};
// Compares two snapshots; each list is sorted by path. A file has changed when its size
// or last-write time differs, a value when its type, size or data differ; folders and
// keys are only added or removed.
SnapshotDifference Compare(const Snapshot& before, const Snapshot& after);

// The path components of an entry as the store lays them out (a value's name last).
std::vector<std::string> EntryComponents(const SnapshotEntry& entry);

}  // namespace vkp

#endif
