// crash_test: kills a writer of a large store at many points of its flushes and checks
// that every kill leaves a store that loads whole, as the writer last flushed it or as
// it was flushing it - never empty, never partial.
//
//   crash_test <dir> <trials> <objects> <max-delay-ms> [seed]
//
// Each trial starts store_helper (the program beside this one) writing the store in
// <dir> (CrashStore.h), waits until it has loaded the store, lets it write for a random
// time below <max-delay-ms>, and kills it outright (TerminateProcess, SIGKILL). It then
// attaches the folder itself and checks what it loads against the writer's progress
// file. The folder is kept from one trial to the next, so each writer starts from what
// the last kill and the check's recovery left.
#include <stdio.h>
#include <stdlib.h>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include "ChildProcess.h"
#include "CrashStore.h"
#include "VKLinkDB.h"

namespace fs = std::filesystem;
using crash::S;

namespace {

struct Outcome {
  bool ok = false;
  unsigned long state = 0;
  std::string why;
};

unsigned long CountObjects(CVKUDatabase* db) {
  unsigned long n = 0;
  CVKUObject* o = nullptr;
  unsigned long find = db->FindFirstObject(S("*"), 0xFFFFFFFFul, &o);
  if (!find) return 0;
  do {
    ++n;
    o->Release();
  } while (db->FindNextObject(find, &o));
  db->FindCloseObject(find);
  return n;
}

bool Has(CVKUDatabase* db, const std::string& path) {
  CVKUObject* o = db->GetObjectByPath(S(path));
  if (o) o->Release();
  return o != nullptr;
}

// Loads the folder and checks it holds state `flushed` or `flushed + 1` whole.
Outcome Check(const std::string& dir, int dirs, unsigned long flushed) {
  Outcome out;
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) {
    out.why = "the folder cannot be attached";
    return out;
  }
  db->SetSaveFlag(0);
  unsigned long status = CVKUDatabase::GetLoadStatus();
  CVKUObject* gen = db->GetObjectByPath(S(crash::GenerationPath()));
  unsigned char b[4] = {0, 0, 0, 0};
  if (status != VKU_LOAD_LOADED) {
    out.why = "load status " + std::to_string(status);
  } else if (!gen || !gen->GetData(4, b)) {
    out.why = "the state marker is missing (an empty or partial store)";
  } else {
    unsigned long k = b[0] | (b[1] << 8) | (b[2] << 16) | (static_cast<unsigned long>(b[3]) << 24);
    out.state = k;
    unsigned long objects = CountObjects(db);
    if (k != flushed && k != flushed + 1) {
      out.why = "state " + std::to_string(k) + " after state " + std::to_string(flushed) + " was flushed";
    } else if (objects != crash::ObjectsIn(dirs, k)) {
      out.why = std::to_string(objects) + " objects, state " + std::to_string(k) + " has " +
                std::to_string(crash::ObjectsIn(dirs, k));
    } else if (Has(db, crash::StepPath(k + 1)) || !Has(db, crash::FilePath(0, 0)) ||
               !Has(db, crash::FilePath(dirs - 1, crash::kFilesPerDir - 1))) {
      out.why = "objects of another state, or base files missing";
    } else {
      out.ok = true;
      for (unsigned long i = 1; i <= k && out.ok; ++i)
        if (!Has(db, crash::StepPath(i))) {
          out.ok = false;
          out.why = crash::StepPath(i) + " has no path";
        }
    }
  }
  if (gen) gen->Release();
  db->Release();
  return out;
}

bool AnyLeftOver(const std::string& dir, const char* suffix) {
  for (const char* name : {"obj.dat", "link.dat", "store.gen"})
    if (fs::exists(fs::path(dir) / (std::string(name) + suffix))) return true;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: crash_test <dir> <trials> <objects> <max-delay-ms> [seed]\n");
    return 64;
  }
  std::string dir = argv[1];
  int trials = atoi(argv[2]), objects = atoi(argv[3]), maxDelay = atoi(argv[4]);
  unsigned seed = argc > 5 ? static_cast<unsigned>(atoi(argv[5]))
                           : static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
  int dirs = crash::DirsFor(objects);
  std::string helper = ProgramBeside("store_helper");
  std::string progress = (fs::path(dir) / "progress.txt").string();
  std::error_code ec;
  fs::remove_all(dir, ec);
  fs::create_directories(dir);
  std::mt19937 random(seed);
  setvbuf(stdout, nullptr, _IONBF, 0);  // a long run shows each trial as it ends
  printf("crash_test: %d trials, %lu objects in the base, kills within %d ms, seed %u\n", trials,
         crash::ObjectsIn(dirs, 0), maxDelay, seed);

  int older = 0, newer = 0, midWrite = 0, failures = 0;
  auto started = std::chrono::steady_clock::now();
  for (int t = 1; t <= trials; ++t) {
    fs::remove(progress, ec);
    ChildProcess writer;
    if (!writer.Start(helper, {"write", dir, std::to_string(objects), progress})) {
      fprintf(stderr, "cannot start %s\n", helper.c_str());
      return 2;
    }
    unsigned long flushed = 0;
    // Ready once it has loaded (or built) the store and said which state it holds.
    for (int waited = 0; !crash::ReadProgress(progress, &flushed); waited += 10) {
      if (!writer.Running() || waited > 600000) {
        fprintf(stderr, "trial %d: the writer ended (%d) before it was ready\n", t, writer.Wait());
        return 2;
      }
      SleepMs(10);
    }
    unsigned delay = maxDelay > 0 ? random() % static_cast<unsigned>(maxDelay) : 0;
    SleepMs(delay);
    if (!writer.Running()) {
      fprintf(stderr, "trial %d: the writer failed (exit %d)\n", t, writer.Wait());
      return 2;
    }
    writer.Kill();
    crash::ReadProgress(progress, &flushed);
    bool temporaries = AnyLeftOver(dir, ".tmp");
    midWrite += temporaries;
    Outcome o = Check(dir, dirs, flushed);
    if (o.ok && AnyLeftOver(dir, ".bad")) {
      o.ok = false;
      o.why = "files were moved aside";
    }
    if (!o.ok) {
      ++failures;
      printf("trial %d: killed after %u ms, state %lu flushed: FAILED: %s\n", t, delay, flushed, o.why.c_str());
    } else {
      (o.state == flushed ? older : newer)++;
      printf("trial %d: killed after %u ms%s: state %lu flushed, state %lu loaded (%s)\n", t, delay,
             temporaries ? " inside a write" : "", flushed, o.state, o.state == flushed ? "old" : "new");
    }
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  printf("crash_test: %d trials in %.0f s: %d loaded the store last flushed, %d the one being written, "
         "%d kills left temporaries (inside a write), %d failed\n",
         trials, seconds, older, newer, midWrite, failures);
  fs::remove_all(dir, ec);
  return failures ? 1 : 0;
}
