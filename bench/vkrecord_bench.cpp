// vkrecord's benchmark, under Wine: an installation of N files in M folders and V
// registry values is recorded the way `vkrecord record` records it (the snapshot after
// the installation, the comparison with the one before, every object and link made, the
// follow-ups, the store written), against the bare snapshot of the same folders and key
// (the same walk and enumeration, nothing recorded); then the plan of an application of
// P objects.
//   vkrecord_bench.exe [--files N] [--folders M] [--values V] [--plan-objects P]
// Defaults: 20,000 files, 2,000 folders, 5,000 values, 10,000 plan objects. Each step is
// timed three times and the best taken; the tree and key are removed at the end.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include <chrono>
#include <string>

#include "Commands.h"
#include "Plan.h"
#include "SnapshotWin32.h"
#include "Text.h"

namespace {

using Clock = std::chrono::steady_clock;

double Ms(Clock::time_point since) { return std::chrono::duration<double, std::milli>(Clock::now() - since).count(); }

void RemoveTree(const std::string& folder) {
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA((folder + "\\*").c_str(), &found);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      std::string name = found.cFileName, path = folder + "\\" + name;
      if (name == "." || name == "..") continue;
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        RemoveTree(path);
      else
        DeleteFileA(path.c_str());
    } while (FindNextFileA(find, &found));
    FindClose(find);
  }
  RemoveDirectoryA(folder.c_str());
}

// The installation: folders of files spread evenly, and values in keys of 50.
void Install(const std::string& root, const std::string& key, long files, long folders, long values) {
  CreateDirectoryA(root.c_str(), nullptr);
  for (long d = 0; d < folders; ++d) {
    std::string folder = root + "\\folder" + std::to_string(d);
    CreateDirectoryA(folder.c_str(), nullptr);
    long count = files / folders + (d < files % folders ? 1 : 0);
    for (long f = 0; f < count; ++f) {
      HANDLE h = CreateFileA((folder + "\\file" + std::to_string(f) + ".dat").c_str(), GENERIC_WRITE, 0, nullptr,
                             CREATE_ALWAYS, 0, nullptr);
      DWORD n;
      WriteFile(h, "installed\r\n", 11, &n, nullptr);
      CloseHandle(h);
    }
  }
  for (long v = 0; v < values; ++v) {
    HKEY h;
    std::string sub = key + "\\Key" + std::to_string(v / 50);
    RegCreateKeyExA(HKEY_CURRENT_USER, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
    std::string name = "Value" + std::to_string(v), data = "data of value " + std::to_string(v);
    RegSetValueExA(h, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                   static_cast<DWORD>(data.size() + 1));
    RegCloseKey(h);
  }
}

// The parts of a recording, in ms.
struct Parts {
  double snapshot = 0, compare = 0, record = 0, write = 0;
  double Total() const { return snapshot + compare + record + write; }
};

// Records into a fresh store folder as `record` does after its command.
Parts Record(const std::string& store, const vkp::SnapshotScope& scope, const vkp::Snapshot& before,
             const std::string& app, size_t* objects) {
  RemoveTree(store);
  CreateDirectoryA(store.c_str(), nullptr);
  Parts parts;
  Clock::time_point start = Clock::now();
  CVKUDatabase* db = AttachDatabase(const_cast<char*>(store.c_str()));
  db->SetSaveFlag(0);
  vkp::Progress progress;
  vkp::Snapshot after;
  vkp::TakeSnapshot(scope, &after, &progress);
  parts.snapshot = Ms(start);
  start = Clock::now();
  vkp::SnapshotDifference difference = vkp::Compare(before, after);
  parts.compare = Ms(start);
  start = Clock::now();
  {
    vkp::Recorder recorder(db);
    std::string error;
    recorder.OpenApplication(app, &error);
    vkp::RecordEntries(recorder, difference.added, difference.changed);
    *objects = difference.added.size();
  }
  parts.record = Ms(start);
  start = Clock::now();
  db->Flush();
  db->Release();
  parts.write = Ms(start);
  return parts;
}

}  // namespace

int main(int argc, char** argv) {
  long files = 20000, folders = 2000, values = 5000, planObjects = 10000;
  for (int i = 1; i + 1 < argc; i += 2) {
    long v = atol(argv[i + 1]);
    if (!strcmp(argv[i], "--files")) files = v;
    else if (!strcmp(argv[i], "--folders")) folders = v > 0 ? v : 1;
    else if (!strcmp(argv[i], "--values")) values = v;
    else if (!strcmp(argv[i], "--plan-objects")) planObjects = v;
  }
  char temp[MAX_PATH];
  GetTempPathA(sizeof temp, temp);
  std::string base = std::string(temp) + "vkrecord_bench." + std::to_string(GetCurrentProcessId());
  std::string root = base + "\\tree", store = base + "\\store", key = "Software\\VKRecordBench";
  CreateDirectoryA(base.c_str(), nullptr);
  CreateDirectoryA(root.c_str(), nullptr);
  RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
  HKEY h;
  RegCreateKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
  RegCloseKey(h);

  vkp::SnapshotScope scope;
  scope.folders = {root};
  scope.keys = {"HKCU\\" + key};
  vkp::Progress progress;
  vkp::Snapshot before;
  vkp::TakeSnapshot(scope, &before, &progress);
  Install(root, key, files, folders, values);
  printf("vkrecord_bench: %ld files in %ld folders, %ld values\n", files, folders, values);

  double bare = 1e30;
  Parts best;
  best.snapshot = 1e30;
  size_t recorded = 0;
  for (int round = 0; round < 3; ++round) {
    Clock::time_point start = Clock::now();
    vkp::Snapshot snapshot;
    vkp::TakeSnapshot(scope, &snapshot, &progress);
    double ms = Ms(start);
    if (ms < bare) bare = ms;
    Parts parts = Record(store, scope, before, "Bench", &recorded);
    if (parts.Total() < best.Total()) best = parts;
  }
  printf("  bare snapshot (walk and enumeration):   %8.0f ms\n", bare);
  printf("  record (%lu objects, store written):  %8.0f ms   ratio %.2f\n", static_cast<unsigned long>(recorded),
         best.Total(), best.Total() / bare);
  printf("    snapshot %.0f, comparison %.0f, objects, links and follow-ups %.0f, store written %.0f ms\n",
         best.snapshot, best.compare, best.record, best.write);
  // What the database's lock costs here: every call that adds an object or a link takes
  // it (a Win32 mutex), and a recorded object needs three such calls (the object, its
  // parent link, the application's link). Under Wine each take and each release is a
  // round trip to the Wine server.
  {
    HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    size_t calls = 3 * recorded;
    Clock::time_point start = Clock::now();
    for (size_t i = 0; i < calls; ++i) {
      WaitForSingleObject(mutex, INFINITE);
      ReleaseMutex(mutex);
    }
    double ms = Ms(start);
    CloseHandle(mutex);
    printf("    the lock alone, taken and released 3 times per object (%lu times): %.0f ms (%.1f us each)\n",
           static_cast<unsigned long>(calls), ms, 1000.0 * ms / static_cast<double>(calls ? calls : 1));
  }

  // The plan: an application of planObjects objects, recorded from a part of the tree.
  vkp::SnapshotScope part;
  long planFolders = planObjects / (files / folders + 1);
  for (long d = 0; d < planFolders && d < folders; ++d) part.folders.push_back(root + "\\folder" + std::to_string(d));
  vkp::Snapshot none;
  size_t planned = 0;
  Record(store, part, none, "Plan", &planned);
  CVKUDatabase* db = AttachDatabase(const_cast<char*>(store.c_str()));
  db->SetSaveFlag(0);
  double planMs = 1e30;
  size_t items = 0;
  auto isProtected = [](CVKUObject* o, vkp::Kind) { return o->IsProtected() != 0; };
  for (int round = 0; round < 3; ++round) {
    Clock::time_point start = Clock::now();
    vkp::Plan plan;
    std::string error;
    vkp::MakePlan(db, "Plan", isProtected, &plan, &error);
    double ms = Ms(start);
    if (ms < planMs) planMs = ms;
    items = plan.items.size();
  }
  db->Release();
  printf("  plan of an application of %lu objects: %8.0f ms\n", static_cast<unsigned long>(items), planMs);

  RemoveTree(base);
  RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
  return 0;
}
