// SnapshotWin32.h - taking a snapshot on Windows: folders are walked with find queries
// (hidden, system and read-only entries included; symbolic links and junctions listed
// but not entered), each file with its size, time and attributes; keys are opened with
// UtilsRegistry and their values read through the key's handle, whole.
#ifndef VKRECORD_SNAPSHOT_WIN32_H
#define VKRECORD_SNAPSHOT_WIN32_H

#include <string>
#include <vector>

#include "Progress.h"
#include "Snapshot.h"

namespace vkp {

struct SnapshotScope {
  std::vector<std::string> folders;  // folders (or single files)
  std::vector<std::string> keys;     // registry keys, root first
};

struct SnapshotReport {
  std::vector<std::string> missing;  // folders, files and keys that were not there
};

SnapshotReport TakeSnapshot(const SnapshotScope& scope, Snapshot* snapshot, Progress* progress);

}  // namespace vkp

#endif
