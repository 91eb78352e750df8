// Commands.h - vkrecord's five commands. Each prints its result (or a one-line error on
// the error output) and returns the program's exit status: 0 done, 1 failed.
#ifndef VKRECORD_COMMANDS_H
#define VKRECORD_COMMANDS_H

#include <string>
#include <vector>

#include "Arguments.h"
#include "Followups.h"
#include "Recorder.h"
#include "Report.h"
#include "Snapshot.h"

namespace vkp {

int RunRecord(const Arguments& args);
int RunScan(const Arguments& args);
int RunPlan(const Arguments& args);
int RunDeps(const Arguments& args);
int RunWho(const Arguments& args);

// Prints "vkrecord: <message>" on the error output and returns 1.
int Fail(const std::string& message);

// Records every entry of `entries` with `relation`, then what follows from them
// (imports, shortcut targets, files named in the registry); the things recorded, for
// the summary.
struct Recording {
  std::vector<Recorded> things;
  FollowupCounts followups;
};
Recording RecordEntries(Recorder& recorder, const std::vector<const SnapshotEntry*>& owned,
                        const std::vector<const SnapshotEntry*>& changed);
// The lines that say what a recording did.
std::string RecordingSummary(const Recorder& recorder, const Recording& recording);

}  // namespace vkp

#endif
