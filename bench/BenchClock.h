// The clock, the best-of-rounds timer, the resident-memory probe and the file-size
// query that the benchmarks share, natively and under Wine.
#ifndef VKLINKDB_BENCH_CLOCK_H_
#define VKLINKDB_BENCH_CLOCK_H_

#include <stdio.h>

#include <algorithm>
#include <chrono>
#include <string>

#ifdef _WIN32
#include <windows.h>
#include <psapi.h>
#else
#include <unistd.h>
#endif

namespace bench {

// Seconds on a monotonic clock (QueryPerformanceCounter under Windows).
inline double Now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// The shortest of `rounds` runs, in seconds: the least disturbed by the rest of the
// machine.
template <class F>
double Best(F run, int rounds) {
  double best = 1e30;
  for (int round = 0; round < rounds; ++round) {
    double start = Now();
    run();
    best = std::min(best, Now() - start);
  }
  return best;
}

// The process's resident memory (its working set under Windows), in MiB.
inline double ResidentMiB() {
#ifdef _WIN32
  PROCESS_MEMORY_COUNTERS pmc;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &pmc, sizeof(pmc))) return 0;
  return pmc.WorkingSetSize / 1048576.0;
#else
  FILE* f = fopen("/proc/self/statm", "r");
  long pages = 0, resident = 0;
  if (f) {
    if (fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    fclose(f);
  }
  return resident * (sysconf(_SC_PAGESIZE) / 1048576.0);
#endif
}

// The size of a file in bytes; 0 when it cannot be opened.
inline long FileSize(const std::string& path) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return 0;
  fseek(f, 0, SEEK_END);
  long n = ftell(f);
  fclose(f);
  return n;
}

}  // namespace bench

#endif  // VKLINKDB_BENCH_CLOCK_H_
