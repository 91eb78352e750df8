// Timings of the string classes under their exact-size design: one-character appends,
// Search and Compare over 1 MB texts, sorted insertion into a string list and the cost
// of an empty UtilsString. Prints one line per figure.
#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <string>

#include "UtilsString"
#include "UtilsStringList"

namespace {

double Now() {
  static LARGE_INTEGER frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return f;
  }();
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void Report(const char* what, double seconds, unsigned long operations) {
  std::printf("%-48s %10.3f ms total  %12.3f us/op  (%lu ops)\n", what, seconds * 1e3,
              seconds * 1e6 / operations, operations);
}

void AppendOneByOne(unsigned long count) {
  UTILS::UtilsString text;
  double start = Now();
  for (unsigned long i = 0; i < count; ++i) text.Append(static_cast<char>('a' + i % 26));
  double elapsed = Now() - start;
  char label[64];
  std::snprintf(label, sizeof label, "Append(char) up to %lu characters", count);
  Report(label, elapsed, count);
  if (text.length() != count) std::printf("  ERROR: length %lu\n", text.length());
}

void SearchAndCompare() {
  const unsigned long size = 1024 * 1024;
  std::string body(size, 'a');
  for (unsigned long i = 0; i < size; i += 7) body[i] = 'b';
  std::string tail = body;
  tail.replace(size - 8, 8, "needle!!");
  UTILS::UtilsString haystack(tail), twin(tail), other(body);

  double start = Now();
  int found = haystack.Search("needle!!", 0);
  Report("Search, 1 MB text, match at the end", Now() - start, 1);
  start = Now();
  int missing = haystack.Search("absent text", 0);
  Report("Search, 1 MB text, no match", Now() - start, 1);
  haystack.SetCase(0);
  start = Now();
  int foundNoCase = haystack.Search("NEEDLE!!", 0);
  Report("Search ignoring case, 1 MB text", Now() - start, 1);
  haystack.SetCase(1);

  start = Now();
  int same = haystack.Compare(twin);
  Report("Compare, equal 1 MB texts", Now() - start, 1);
  start = Now();
  int differ = haystack.Compare(other);
  Report("Compare, 1 MB texts differing near the end", Now() - start, 1);
  twin.SetCase(0);
  start = Now();
  int sameNoCase = twin.Compare(haystack);
  Report("Compare ignoring case, equal 1 MB texts", Now() - start, 1);
  if (!found || missing || !foundNoCase || same != 0 || differ == 0 || sameNoCase != 0)
    std::printf("  ERROR: unexpected search or compare result\n");
}

void SortedInsertion(unsigned long count) {
  UTILS::UtilsStringList list;
  char text[32];
  double start = Now();
  for (unsigned long i = 0; i < count; ++i) {
    // A scrambled order so that most strings land inside the list.
    std::snprintf(text, sizeof text, "item%08lu", (i * 7919UL) % count);
    list.AddStringSorted(UTILS::UtilsString(text));
  }
  double elapsed = Now() - start;
  char label[64];
  std::snprintf(label, sizeof label, "AddStringSorted of %lu strings", count);
  Report(label, elapsed, count);
  for (unsigned long i = 1; i < list.size(); ++i)
    if (std::string(list.Retrieve(i - 1)) > list.Retrieve(i)) {
      std::printf("  ERROR: list out of order at %lu\n", i);
      break;
    }
}

void EmptyStrings(unsigned long count) {
  double start = Now();
  for (unsigned long i = 0; i < count; ++i) {
    UTILS::UtilsString empty;
    if (empty.length() != 0) std::printf("  ERROR: not empty\n");
  }
  Report("Construct and destroy an empty UtilsString", Now() - start, count);
}

}  // namespace

int main() {
  AppendOneByOne(10000);
  AppendOneByOne(100000);
  SearchAndCompare();
  SortedInsertion(10000);
  EmptyStrings(100000);
  PROCESS_MEMORY_COUNTERS memory;
  if (GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory))
    std::printf("%-48s %10lu KB\n", "Peak working set", static_cast<unsigned long>(memory.PeakWorkingSetSize / 1024));
  return 0;
}
