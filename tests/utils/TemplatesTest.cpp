// UtilsAllocator, UtilsBase, MemObject and the list templates: exact sizing, failed
// re-allocations, checks and their texts, the search rules and comparison (parsing and
// sorting are tested through UtilsString and UtilsByte).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "UtilsList"
#include "UtilsVector"

namespace {

using UTILS::MemObject;
using UTILS::UtilsAllocator;
using UTILS::UtilsBase;

// Exposes the raw allocation steps of the allocator.
class RawAllocator : public UtilsAllocator<int> {
 public:
  using UtilsAllocator<int>::AllocateRaw;
  using UtilsAllocator<int>::FreeRaw;
  using UtilsAllocator<int>::ReAllocateRaw;
};

const std::string kAlloc = "; File:  ..\\..\\Include\\UtilsAllocator; Line:  ";
const std::string kVector = "; File:  ..\\..\\Include\\UtilsVector; Line:  ";

TEST(Allocator, ReAllocationIsExactAndMatricesAreChecked) {
  UtilsAllocator<int> a(4);
  for (int i = 0; i < 4; ++i) a[i] = i + 10;
  int* before = a.GetBlock();
  a.ReAllocateMemory(4);
  EXPECT_EQ(before, a.GetBlock());
  a.ReAllocateMemory(2);
  a.ReAllocateMemory(5);
  EXPECT_EQ(5u, a.GetCount());
  EXPECT_EQ((std::vector<int>{10, 11, 0, 0, 0}), std::vector<int>(a.GetBlock(), a.GetBlock() + 5));
  UtilsAllocator<int> m(3, 2);
  m(0, 2) = 7;
  m(1, 0) = 8;
  EXPECT_EQ(7, m(0, 2));
  EXPECT_THROW(m(2, 0), std::out_of_range);
  EXPECT_THROW(m(0, 3), std::out_of_range);
  UtilsAllocator<int> copy(m);
  EXPECT_EQ(8, copy(1, 0));
}

// Every check with its whole text.
TEST(Allocator, ChecksThrowTheirTexts) {
  const std::string call = "The Function Call Is Incorrect Or Cannot Be Called As Such - ";
  const std::string realloc = call + "UtilsAllocator<T>::ReAllocateMemory" + kAlloc;
  UtilsAllocator<char> chars(3);
  const UtilsAllocator<char>& constChars = chars;
  UtilsAllocator<int> empty, owned(2), matrix(3, 2);
  RawAllocator raw;
  const std::pair<std::string, std::function<void()>> ranges[] = {
      {"Out Of Range Error - 3:3" + kAlloc + "107", [&] { chars[3] = 'x'; }},
      {"Out Of Range Error - -1:3" + kAlloc + "131", [&] { (void)constChars[0xFFFFFFFFUL]; }},
      {"Out Of Range Error - 4294967295:3" + kAlloc + "107", [&] { chars[0xFFFFFFFFUL] = 0; }}};
  for (const auto& c : ranges) EXPECT_EQ(c.first, Thrown<std::out_of_range>(c.second));
  const std::pair<std::string, std::function<void()>> allocations[] = {
      {realloc + "724", [&] { empty.ReAllocateMemory(3); }},
      {call + "Cannot Allocate Memory Internally Without Constructor Initialization" + kAlloc +
           "74",
       [&] { empty.ZeroBlock(); }},
      {"Inavlid Argument Passed - 0" + kAlloc + "417", [&] { empty.allocate(0); }},
      {"Command Line Parameter Is Incorrect - 0" + kAlloc + "726",
       [&] { owned.ReAllocateMemory(0); }},
      {realloc + "728", [&] { matrix.ReAllocateMemory(4); }},
      {"Inavlid Argument Passed - 0" + kAlloc + "519", [&] { matrix.AllocateMatrix(3, 0); }},
      {"Inavlid Argument Passed - 0" + kAlloc + "442", [&] { raw.AllocateRaw(0); }},
      {"Inavlid Argument Passed - 0" + kAlloc + "493", [&] { raw.FreeRaw(0); }},
      {"Inavlid Argument Passed - 0" + kAlloc + "788", [&] { raw.ReAllocateRaw(0, 1, 1); }}};
  for (const auto& c : allocations) EXPECT_EQ(c.first, Thrown<std::bad_alloc>(c.second));
}

// Counts its instances; default constructions and copies draw from a budget and throw
// std::bad_alloc once it is spent (a budget below 0 never runs out).
struct Fragile {
  static int live, budget;
  int value = 0;
  Fragile() {
    Spend();
    ++live;
  }
  Fragile(const Fragile& other) : value(other.value) {
    Spend();
    ++live;
  }
  Fragile& operator=(const Fragile& other) {
    Spend();
    value = other.value;
    return *this;
  }
  ~Fragile() { --live; }
  static void Spend() {
    if (budget == 0) throw std::bad_alloc();
    if (budget > 0) --budget;
  }
};
int Fragile::live = 0;
int Fragile::budget = -1;

// Whichever step of a re-allocation fails (making the temporary block, copying into
// it, making the new block, copying into that), the allocator keeps its elements and
// count, holds nothing else, and frees everything exactly once later.
TEST(Allocator, FailedReAllocationLeavesTheAllocatorAsItWas) {
  for (unsigned long newCount : {5UL, 2UL}) {
    bool completed = false;
    for (int budget = 0; !completed && budget < 40; ++budget) {
      {
        UtilsAllocator<Fragile> a(3);
        for (int i = 0; i < 3; ++i) a[i].value = i + 1;
        Fragile::budget = budget;
        try {
          a.ReAllocateMemory(newCount);
          completed = true;
        } catch (const std::bad_alloc&) {
        }
        Fragile::budget = -1;
        unsigned long expected = completed ? newCount : 3;
        ASSERT_EQ(expected, a.GetCount()) << "budget " << budget;
        EXPECT_EQ(static_cast<int>(expected), Fragile::live) << "budget " << budget;
        for (unsigned long i = 0; i < (std::min)(expected, 3UL); ++i)
          EXPECT_EQ(static_cast<int>(i + 1), a[i].value) << "budget " << budget;
      }
      EXPECT_EQ(0, Fragile::live);
    }
    EXPECT_TRUE(completed);
  }
}

class CharBase : public UtilsBase<char> {
 public:
  int isupper(const char& c) const override { return c >= 'A' && c <= 'Z'; }
  char utoupper(const char& c) const override { return static_cast<char>(c - 0x20); }
  using UtilsBase<char>::isupper;
  using UtilsBase<char>::utoupper;
};

// After a full match the scan resumes one element after it, after a partial match of
// m >= 2 elements m further on; an empty needle matches at every position inside.
TEST(Search, ResumeRulesAndCounting) {
  const struct {
    const char *needle, *hay;
    unsigned long occurrence;
    int caseFlag, hit;
    unsigned long found;
  } cases[] = {
      // needle, haystack, occurrence, case flag: hit, offset found
      {"ab", "abab", 0, 1, 1, 0}, {"ab", "abab", 1, 1, 0, 0xEFFFFFFF}, {"ab", "ab-ab", 1, 1, 1, 3},
      {"aa", "aaaa", 1, 1, 0, 0xEFFFFFFF}, {"aab", "aaab", 0, 1, 0, 0xEFFFFFFF},
      {"aab", "xaab", 0, 1, 1, 1}, {"abc", "ab", 0, 1, 0, 0}, {"", "abc", 0, 1, 1, 0},
      {"", "abc", 2, 1, 1, 2}, {"", "abc", 3, 1, 0, 0xEFFFFFFF}, {"", "", 0, 1, 0, 0xEFFFFFFF},
      {"AB", "xaby", 0, 1, 0, 0xEFFFFFFF}, {"AB", "xaby", 0, 0, 1, 1}};
  CharBase base;
  for (const auto& c : cases) {
    unsigned long at = 99;
    EXPECT_EQ(c.hit, base.search(c.needle, c.needle + std::strlen(c.needle), c.hay,
                                 c.hay + std::strlen(c.hay), at, c.caseFlag, c.occurrence))
        << c.needle << " in " << c.hay;
    EXPECT_EQ(c.found, at) << c.needle << " in " << c.hay;
  }
  // lastFound: 0 when fewer matches were counted, else the last one counted.
  unsigned long at = 0, last = 77;
  EXPECT_EQ(0, base.search("x", 0, "x-x-x", 0, at, 1, 5, &last));
  EXPECT_EQ(0u, last);
  EXPECT_EQ(0, base.search("x", 0, "x-x-x", 0, at, 1, 3, &last));
  EXPECT_EQ(4u, last);
}

// Signed bytes, null texts first, a zero past the shorter text, case mapping by
// subtracting 0x20, and containment (an empty text is contained in any).
TEST(Compare, SignedBytesNullsCaseAndContainment) {
  const struct {
    const char *a, *b;
    int caseFlag, matchStyle, expected;
  } cases[] = {
      // first, second, case flag, match style: order
      {0, "a", 1, 0, -1}, {0, 0, 1, 0, 0}, {"a", 0, 1, 0, 1}, {"abc", "abcd", 1, 0, -1},
      {"\xE9", "A", 1, 0, -1}, {"abc", "ABC", 0, 0, 0}, {"abc", "ABC", 1, 0, 1},
      {"Registry", "gist", 1, 1, 0}, {"gist", "Registry", 1, 1, 0}, {"", "Registry", 1, 1, 0},
      {"", "Registry", 1, 0, -1}, {"Registry", "GIST", 1, 1, 1}};
  CharBase base;
  for (const auto& c : cases)
    EXPECT_EQ(c.expected, base.compare(c.a, c.b, c.caseFlag, c.matchStyle, 0, 0))
        << (c.a ? c.a : "null") << " " << (c.b ? c.b : "null");
}

TEST(MemObject, TextKeepsItsTerminatorAndChecksPositions) {
  MemObject<char> text;
  text.Append("hello");
  text.Append("!!", 1);
  text.Insert("XY", 2, 0);
  text.Replace("--", 2, 3);
  EXPECT_STREQ("XYh--lo!", text.Data());
  EXPECT_EQ(8u, text.Length());
  text.Append(text.Data() + 2, 2);  // source inside the object's own block
  text.Insert(text.Data(), 1, 1);
  EXPECT_STREQ("XXYh--lo!h-", text.Data());
  text.TruncateStringAtPosition(4, 1);
  text.TruncateString(2);
  EXPECT_STREQ("X-lo!", text.Data());
  EXPECT_EQ("Out Of Range Error - 6:5" + kVector + "501",
            Thrown<std::out_of_range>([&] { text.TruncateString(6); }));
  EXPECT_EQ("Out Of Range Error - 6:5" + kVector + "546",
            Thrown<std::out_of_range>([&] { text.TruncateStringAtPosition(6, 0); }));
  EXPECT_THROW(text.TruncateStringAtPosition(4, 2), std::out_of_range);
  EXPECT_THROW(text.Insert("x", 1, 6), std::out_of_range);
  EXPECT_THROW(text.Replace("xy", 2, 4), std::out_of_range);
  EXPECT_STREQ("X-lo!", text.Data());
  text.Clear();
  EXPECT_EQ(0u, text.Length());
  EXPECT_STREQ("", text.Data());
  // Bytes: no terminator, a pointer without a length is one element, the block is
  // exactly the length.
  MemObject<unsigned char> bytes;
  bytes.Append(reinterpret_cast<const unsigned char*>("A\0B"), 3);
  bytes.Append(reinterpret_cast<const unsigned char*>("A"));
  EXPECT_EQ(4u, bytes.Length());
  EXPECT_THROW(bytes[4], std::out_of_range);
  MemObject<unsigned char> copy(bytes);
  bytes.TruncateString(4);
  EXPECT_EQ(0x42, copy[2]);
  EXPECT_EQ(0x41, copy[3]);
}

// Lengths whose sum does not fit throw before anything is written.
TEST(MemObject, LengthSumsThatWrapThrowBadAlloc) {
  MemObject<char> text("ab", 0);
  const char tiny[] = "x";
  EXPECT_EQ("Inavlid Argument Passed - -2" + kAlloc + "442",
            Thrown<std::bad_alloc>([&] { text.Append(tiny, 0xFFFFFFFEUL); }));  // 2 + n wraps to 0
  EXPECT_THROW(text.Append(tiny, 0xFFFFFFFDUL), std::bad_alloc);  // the terminator wraps
  EXPECT_THROW(text.Insert(tiny, 0xFFFFFFFEUL, 1), std::bad_alloc);
  EXPECT_STREQ("ab", text.Data());
  EXPECT_EQ(2u, text.Length());
}

TEST(ListObject, PositionalEditsAndChecks) {
  UTILS::ListObject<char> list;
  list.AddTail('b');
  list.AddHead('a');
  list.AddTail('d');
  list.InsertAt(2, 'c');
  std::string forward, backward;
  for (UTILS::Node<char>* n = list.Head(); n; n = n->m_pNext) forward += n->m_Data;
  for (UTILS::Node<char>* n = list.Tail(); n; n = n->m_pPrev) backward += n->m_Data;
  EXPECT_EQ("abcd|dcba", forward + "|" + backward);
  list.RemoveAt(1);
  UTILS::ListObject<char> copy(list);
  list.RemoveAll();
  EXPECT_EQ(3u, copy.Count());
  EXPECT_EQ('c', copy.At(1));
  EXPECT_EQ('d', copy.At(2));
  const UTILS::ListObject<char>& readOnly = copy;
  EXPECT_EQ("Out Of Range Error - 3:3" + kAlloc + "131",
            Thrown<std::out_of_range>([&] { readOnly.At(3); }));
  EXPECT_THROW(list.RemoveAt(0), std::out_of_range);
  EXPECT_THROW(list.InsertAt(1, 'x'), std::out_of_range);
}

TEST(MapObject, KeysSortAndLookup) {
  UTILS::MapObject<int, unsigned char> map;
  EXPECT_EQ(0xEFFFFFFFu, map.SearchList(5, 0, 0, 1, 0));
  int k9 = map.AddTail(9), k3 = map.AddTail(3);
  map.AddTail(7);
  EXPECT_EQ(1u, map.SearchList(3, 0, 0, 1, 0));
  EXPECT_EQ(0xEFFFFFFFu, map.SearchList(3, 2, 0, 1, 0));  // unknown method
  map.AddSorted(5, 1);  // sorts first
  EXPECT_EQ(1, map.IsSorted());
  EXPECT_EQ("3 5 7 9", std::to_string(map.At(0)) + " " + std::to_string(map.At(1)) + " " +
                           std::to_string(map.At(2)) + " " + std::to_string(map.At(3)));
  EXPECT_EQ(3u, map.FindKey(k9));  // keys follow their values
  EXPECT_EQ(k3, map.KeyAt(0));
  EXPECT_EQ(2u, map.SearchList(7, 1, 0, 1, 0));
  map.RemoveAt(0);
  EXPECT_EQ(0xEFFFFFFFu, map.FindKey(k3));
  UTILS::MapObject<int, unsigned char> copy(map);
  EXPECT_EQ(3u, copy.Count());
  EXPECT_EQ(9, copy.At(2));
}

}  // namespace
