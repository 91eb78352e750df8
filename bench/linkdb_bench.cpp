// Timings and memory of the link database on a realistic graph: a drive with 1,000
// directories of 99 files each (100,000 objects with their parent links), 200
// applications each linked to 1,000 files (200,000 application links). Measures the
// build, Flush, reloading, 100,000 lookups by path, and a dependency query of an
// application with 1,000 dependencies. Runs on the native build and under Wine.
//
//   linkdb_bench [data directory]
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <chrono>
#include <random>
#include <string>
#include <vector>
#include "BenchClock.h"
#include "VKLinkDB.h"
#ifdef _WIN32
#include <windows.h>
#include <psapi.h>
#else
#include <unistd.h>
#endif

namespace {

const int kDirs = 1000, kFilesPerDir = 99, kApps = 200, kDepsPerApp = 1000, kLookups = 100000;

using bench::Now;

using bench::ResidentMiB;

using bench::FileSize;

char* S(const std::string& s) { return const_cast<char*>(s.c_str()); }

std::string FilePath(int d, int f) {
  char buf[64];
  snprintf(buf, sizeof(buf), "C:\\DIR%04d\\F%04d_%02d.DAT", d, d, f);
  return buf;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
  std::string dir = argc > 1 ? argv[1] : ".\\bench-data";
  CreateDirectoryA(dir.c_str(), nullptr);
  std::string sep = "\\";
#else
  std::string dir = argc > 1 ? argv[1] : "bench-data";
  std::string cmd = "mkdir -p '" + dir + "'";
  if (system(cmd.c_str()) != 0) return 1;
  std::string sep = "/";
#endif
  remove((dir + sep + "obj.dat").c_str());
  remove((dir + sep + "link.dat").c_str());
  double rssStart = ResidentMiB();

  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 1;

  // Build.
  double t0 = Now();
  CVKUObject* drive = db->AddObject(S("C:"), 1, 0, 0, nullptr, 1);
  std::vector<CVKUObject*> files;
  files.reserve(kDirs * kFilesPerDir);
  long objects = 1, links = 0;
  char name[64];
  for (int d = 0; d < kDirs; ++d) {
    snprintf(name, sizeof(name), "DIR%04d", d);
    CVKUObject* dirObj = db->AddObject(name, 4, 0, 0, nullptr, 1);
    drive->LinkTo(dirObj, 1, 0, 0, nullptr);
    ++objects, ++links;
    for (int f = 0; f < kFilesPerDir; ++f) {
      snprintf(name, sizeof(name), "F%04d_%02d.DAT", d, f);
      CVKUObject* file = db->AddObject(name, 4, 0, 0, nullptr, 1);
      dirObj->LinkTo(file, 1, 0, 0, nullptr);
      files.push_back(file);
      ++objects, ++links;
    }
    dirObj->Release();
  }
  // Applications are executables in a directory of their own, so that they have paths.
  CVKUObject* appDir = db->AddObject(S("APPS"), 4, 0, 0, nullptr, 1);
  drive->LinkTo(appDir, 1, 0, 0, nullptr);
  std::mt19937 rng(99);
  std::vector<CVKUObject*> apps;
  for (int a = 0; a < kApps; ++a) {
    snprintf(name, sizeof(name), "APP%03d.EXE", a);
    CVKUObject* app = db->AddObject(name, 4, 0, 0, nullptr, 1);
    appDir->LinkTo(app, 1, 0, 0, nullptr);
    ++objects, ++links;
    size_t start = rng() % files.size();
    for (int i = 0; i < kDepsPerApp; ++i) app->LinkTo(files[(start + i * 97) % files.size()], 0x10, 0, 0, nullptr);
    links += kDepsPerApp;
    apps.push_back(app);
  }
  double build = Now() - t0;
  printf("build: %ld objects + %ld links in %.3f s = %.2f million per second\n", objects, links, build,
         (objects + links) / build / 1e6);

  // Dependency query of one application.
  t0 = Now();
  CVKUObject* dep = nullptr;
  unsigned long q = apps[0]->FindFirstDependentObject(&dep, nullptr);
  long deps = 0;
  if (q) {
    do {
      ++deps;
      dep->Release();
    } while (apps[0]->FindNextDependentObject(q, &dep, nullptr));
    apps[0]->FindCloseDependentObject(q);
  }
  printf("dependency query: %ld dependencies in %.3f ms\n", deps, (Now() - t0) * 1e3);

  for (CVKUObject* o : files) o->Release();
  for (CVKUObject* o : apps) o->Release();
  appDir->Release();
  drive->Release();

  t0 = Now();
  db->Flush();
  double flush = Now() - t0;
  long storeBytes = FileSize(dir + sep + "obj.dat") + FileSize(dir + sep + "link.dat");
  db->SetSaveFlag(0);
  db->Release();

  t0 = Now();
  db = AttachDatabase(S(dir));
  double reload = Now() - t0;
  printf("flush: %.3f s, reload: %.3f s, together %.3f s (store %.1f MiB)\n", flush, reload, flush + reload,
         storeBytes / 1048576.0);

  // Lookups by path.
  std::vector<std::string> paths;
  for (int i = 0; i < kLookups; ++i) paths.push_back(FilePath(rng() % kDirs, rng() % kFilesPerDir));
  t0 = Now();
  long found = 0;
  for (const std::string& p : paths) {
    if (CVKUObject* o = db->GetObjectByPath(S(p))) {
      ++found;
      o->Release();
    }
  }
  double lookups = Now() - t0;
  printf("lookups: %d by path (%ld found) in %.3f s = %.0f per second\n", kLookups, found, lookups,
         kLookups / lookups);

  double tablesMiB = (16384 + 65536 + 16384) * sizeof(void*) / 1048576.0;
  double rss = ResidentMiB() - rssStart;
  printf("memory: %.1f MiB resident for the reloaded database; store %.1f MiB, fixed tables %.1f MiB "
         "(ratio %.2f of store plus tables)\n",
         rss, storeBytes / 1048576.0, tablesMiB, rss / (storeBytes / 1048576.0 + tablesMiB));
  db->SetSaveFlag(0);
  db->Release();
  return found == kLookups && deps == kDepsPerApp ? 0 : 1;
}
