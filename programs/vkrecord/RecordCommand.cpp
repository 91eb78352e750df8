// RecordCommand.cpp - vkrecord record: a snapshot of the watched folders and keys, the
// command, a second snapshot, and what appeared or changed recorded for the application.
// The store is written once, at the end, and only when the command succeeded (or
// --even-if-failed says to record anyway).
#include <stdio.h>
#include <windows.h>

#include "Commands.h"
#include "Progress.h"
#include "RunCommand.h"
#include "SnapshotWin32.h"
#include "StoreSession.h"
#include "SystemWin32.h"

namespace vkp {

int Fail(const std::string& message) {
  fprintf(stderr, "vkrecord: %s\n", message.c_str());
  return 1;
}

Recording RecordEntries(Recorder& recorder, const std::vector<const SnapshotEntry*>& owned,
                        const std::vector<const SnapshotEntry*>& changed) {
  Recording recording;
  for (int pass = 0; pass < 2; ++pass) {
    for (const SnapshotEntry* e : pass == 0 ? owned : changed) {
      const bool carriesData = e->kind == Kind::kFile || e->kind == Kind::kValue;
      CVKUObject* object = recorder.Record(EntryComponents(*e), e->kind, pass == 0 ? kLinkOwns : kLinkChanged,
                                           carriesData ? &e->data : nullptr);
      if (object && carriesData) recording.things.push_back(Recorded{e->kind, e->path, e->name, object, e->text});
    }
  }
  Win32Probe probe;
  recording.followups = FollowReferences(recorder, probe, recording.things);
  return recording;
}

std::string RecordingSummary(const Recorder& recorder, const Recording& recording) {
  const RecordCounts& c = recorder.Counts();
  const FollowupCounts& f = recording.followups;
  char line[512];
  std::string out = "  brought: " + CountsText(c.owned) + "\n";
  out += "  changed: " + CountsText(c.changed) + "\n";
  snprintf(line, sizeof line,
           "  refers to %lu more files: %lu imported DLLs (of %lu names read from %lu programs and DLLs), "
           "%lu shortcut targets, %lu files named in the registry\n",
           static_cast<unsigned long>(c.uses), static_cast<unsigned long>(f.resolved),
           static_cast<unsigned long>(f.resolved + f.unresolved), static_cast<unsigned long>(f.programs),
           static_cast<unsigned long>(f.shortcuts), static_cast<unsigned long>(f.named));
  out += line;
  if (f.damaged) out += "  " + std::to_string(f.damaged) + " programs or DLLs have an import table that cannot be read\n";
  if (c.skipped) {
    out += "  not recorded, too long for the database (names of 250 characters, paths of 259): " +
           std::to_string(c.skipped) + ", such as " + c.skippedExamples[0] + "\n";
  }
  return out;
}

int RunRecord(const Arguments& args) {
  std::string error;
  StoreSession store;
  if (!store.Open(args.db, true, &error)) return Fail(error);
  Recorder recorder(store.Db());
  if (!recorder.OpenApplication(args.app, &error)) return Fail(error);

  SnapshotScope scope;
  scope.folders = args.roots.empty() ? DefaultFolders() : args.roots;
  scope.keys = args.keys.empty() ? DefaultKeys() : args.keys;
  Progress progress;
  Snapshot before, after;
  DWORD start = GetTickCount();
  progress.Stage("before");
  SnapshotReport report = TakeSnapshot(scope, &before, &progress);
  progress.Finish();
  DWORD firstWalk = GetTickCount() - start;

  CommandResult run = RunAndWait(args.commandLine);
  if (!run.started) return Fail("cannot start " + args.commandLine[0] + ": " + run.error + "; nothing recorded");
  if (!Succeeded(run.exitCode) && !args.evenIfFailed)
    return Fail("the command ended with status " + std::to_string(run.exitCode) +
                "; nothing recorded (--even-if-failed records what it left anyway)");

  start = GetTickCount();
  progress.Stage("after");
  TakeSnapshot(scope, &after, &progress);
  progress.Finish();
  DWORD secondWalk = GetTickCount() - start;
  SnapshotDifference difference = Compare(before, after);
  start = GetTickCount();
  Recording recording = RecordEntries(recorder, difference.added, difference.changed);
  if (!store.Save(&error)) return Fail(error);
  DWORD recordTime = GetTickCount() - start;

  printf("Recorded %s in %s (the command ended with status %lu):\n", args.app.c_str(), args.db.c_str(),
         run.exitCode);
  printf("%s", RecordingSummary(recorder, recording).c_str());
  size_t removed[4] = {0, 0, 0, 0};
  for (const SnapshotEntry* e : difference.removed)
    ++removed[e->kind == Kind::kFolder ? 0 : e->kind == Kind::kFile ? 1 : e->kind == Kind::kKey ? 2 : 3];
  if (!difference.removed.empty()) printf("  removed by the command, not recorded: %s\n", CountsText(removed).c_str());
  printf("  watched %lu folders and %lu keys: %lu files and %lu values, %lu ms before and %lu ms after; "
         "recording took %lu ms\n",
         static_cast<unsigned long>(scope.folders.size()), static_cast<unsigned long>(scope.keys.size()),
         static_cast<unsigned long>(after.Count(Kind::kFile)), static_cast<unsigned long>(after.Count(Kind::kValue)),
         firstWalk, secondWalk, recordTime);
  for (const std::string& m : report.missing) printf("  not there, not watched: %s\n", m.c_str());
  return 0;
}

}  // namespace vkp
