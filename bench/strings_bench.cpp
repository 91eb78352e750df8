// Timings of the string classes under their exact-size design: one-character appends,
// Search and Compare over 1 MB texts, sorted insertion into a string list, building a
// set of many strings (AddString one by one, SplitData, assignment from a vector) and
// the cost of an empty UtilsString. Prints one line per figure.
#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "UtilsString"
#include "UtilsStringList"

namespace {

using bench::Now;

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

std::string Piece(unsigned long i) {
  char text[32];
  std::snprintf(text, sizeof text, "piece%05lu", i);
  return text;
}

// Checks that string i of the set holds Piece(i - first) for every i from first on.
void CheckSet(const UTILS::UtilsString& set, unsigned long count, unsigned long first) {
  if (set.GetNumberOfStrings() != count) {
    std::printf("  ERROR: %lu strings, %lu expected\n", set.GetNumberOfStrings(), count);
    return;
  }
  for (unsigned long i = first; i < count; ++i)
    if (Piece(i - first) != set.GetStringNumber(i)) {
      std::printf("  ERROR: string %lu is \"%s\"\n", i, set.GetStringNumber(i));
      return;
    }
}

// Each AddString makes the exactly sized set one string larger.
void AddStrings(unsigned long count) {
  UTILS::UtilsString set("first");
  std::vector<std::string> texts;
  for (unsigned long i = 0; i < count; ++i) texts.push_back(Piece(i));
  double start = Now();
  for (unsigned long i = 0; i < count; ++i) set.AddString(texts[i]);
  double elapsed = Now() - start;
  char label[64];
  std::snprintf(label, sizeof label, "AddString %lu times", count);
  Report(label, elapsed, count);
  CheckSet(set, count + 1, 1);
}

void SplitIntoPieces(unsigned long pieces) {
  std::string joined;
  for (unsigned long i = 0; i < pieces; ++i) joined += (i ? ";" : "") + Piece(i);
  UTILS::UtilsString set(joined), separator(";");
  double start = Now();
  set.SplitData(separator);
  double elapsed = Now() - start;
  char label[64];
  std::snprintf(label, sizeof label, "SplitData into %lu pieces", pieces);
  Report(label, elapsed, pieces);
  CheckSet(set, pieces, 0);
  UTILS::UtilsStringList list;
  start = Now();
  list.SplitData(UTILS::UtilsString(joined), separator);
  elapsed = Now() - start;
  std::snprintf(label, sizeof label, "UtilsStringList::SplitData into %lu pieces", pieces);
  Report(label, elapsed, pieces);
  if (list.size() != pieces) std::printf("  ERROR: %lu strings in the list\n", list.size());
}

void AssignVectors(unsigned long count) {
  std::vector<std::string> texts;
  std::vector<UTILS::UtilsString> strings;
  for (unsigned long i = 0; i < count; ++i) {
    texts.push_back(Piece(i));
    strings.push_back(UTILS::UtilsString(Piece(i)));
  }
  UTILS::UtilsString set;
  double start = Now();
  set = texts;
  double elapsed = Now() - start;
  char label[64];
  std::snprintf(label, sizeof label, "operator= from %lu std::string", count);
  Report(label, elapsed, count);
  CheckSet(set, count, 0);
  UTILS::UtilsString other;
  start = Now();
  other = strings;
  elapsed = Now() - start;
  std::snprintf(label, sizeof label, "operator= from %lu UtilsString", count);
  Report(label, elapsed, count);
  CheckSet(other, count, 0);
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
  AddStrings(4000);
  SplitIntoPieces(4001);
  AssignVectors(4000);
  EmptyStrings(100000);
  PROCESS_MEMORY_COUNTERS memory;
  if (GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory))
    std::printf("%-48s %10lu KB\n", "Peak working set", static_cast<unsigned long>(memory.PeakWorkingSetSize / 1024));
  return 0;
}
