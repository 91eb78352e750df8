// UtilsAllocator, UtilsBase and MemObject: exact sizing, checks and their texts,
// the search resume rules and selection_sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

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

template <class E, class F>
std::string ThrownText(F f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  return "<nothing thrown>";
}

const std::string kAlloc = "; File:  ..\\..\\Include\\UtilsAllocator; Line:  ";
const std::string kVector = "; File:  ..\\..\\Include\\UtilsVector; Line:  ";

TEST(Allocator, ReAllocationIsExactAndKeepsElements) {
  UtilsAllocator<int> a(4);
  for (int i = 0; i < 4; ++i) a[i] = i + 10;
  int* before = a.GetBlock();
  a.ReAllocateMemory(4);
  EXPECT_EQ(before, a.GetBlock());
  a.ReAllocateMemory(2);
  EXPECT_EQ(2u, a.GetCount());
  EXPECT_EQ(10, a[0]);
  EXPECT_EQ(11, a[1]);
  a.ReAllocateMemory(5);
  EXPECT_EQ(5u, a.GetCount());
  EXPECT_EQ(11, a[1]);
  EXPECT_EQ(0, a[4]);
}

TEST(Allocator, ElementAccessTexts) {
  UtilsAllocator<char> a(3);
  EXPECT_EQ("Out Of Range Error - 3:3" + kAlloc + "107",
            ThrownText<std::out_of_range>([&] { a[3] = 'x'; }));
  const UtilsAllocator<char>& c = a;
  EXPECT_EQ("Out Of Range Error - -1:3" + kAlloc + "131",
            ThrownText<std::out_of_range>([&] { (void)c[0xFFFFFFFFUL]; }));
  EXPECT_EQ("Out Of Range Error - 4294967295:3" + kAlloc + "107",
            ThrownText<std::out_of_range>([&] { a[0xFFFFFFFFUL] = 0; }));
}

TEST(Allocator, AllocationCheckTexts) {
  const std::string call = "The Function Call Is Incorrect Or Cannot Be Called As Such - ";
  UtilsAllocator<int> empty;
  EXPECT_EQ(call + "UtilsAllocator<T>::ReAllocateMemory" + kAlloc + "724",
            ThrownText<std::bad_alloc>([&] { empty.ReAllocateMemory(3); }));
  EXPECT_EQ(call + "Cannot Allocate Memory Internally Without Constructor Initialization" +
                kAlloc + "74",
            ThrownText<std::bad_alloc>([&] { empty.ZeroBlock(); }));
  EXPECT_EQ("Inavlid Argument Passed - 0" + kAlloc + "417",
            ThrownText<std::bad_alloc>([&] { empty.allocate(0); }));
  UtilsAllocator<int> owned(2);
  EXPECT_EQ("Command Line Parameter Is Incorrect - 0" + kAlloc + "726",
            ThrownText<std::bad_alloc>([&] { owned.ReAllocateMemory(0); }));
  UtilsAllocator<int> matrix(3, 2);
  EXPECT_EQ(call + "UtilsAllocator<T>::ReAllocateMemory" + kAlloc + "728",
            ThrownText<std::bad_alloc>([&] { matrix.ReAllocateMemory(4); }));
  EXPECT_EQ("Inavlid Argument Passed - 0" + kAlloc + "519",
            ThrownText<std::bad_alloc>([&] { matrix.AllocateMatrix(3, 0); }));
  RawAllocator raw;
  EXPECT_EQ("Inavlid Argument Passed - 0" + kAlloc + "442",
            ThrownText<std::bad_alloc>([&] { raw.AllocateRaw(0); }));
  EXPECT_EQ("Inavlid Argument Passed - 0" + kAlloc + "493",
            ThrownText<std::bad_alloc>([&] { raw.FreeRaw(0); }));
  EXPECT_EQ("Inavlid Argument Passed - 0" + kAlloc + "788",
            ThrownText<std::bad_alloc>([&] { raw.ReAllocateRaw(0, 1, 1); }));
}

TEST(Allocator, MatrixRowsAreIndependentAndChecked) {
  UtilsAllocator<int> m(3, 2);
  m(0, 2) = 7;
  m(1, 0) = 8;
  EXPECT_EQ(7, m(0, 2));
  EXPECT_EQ(8, m(1, 0));
  EXPECT_THROW(m(2, 0), std::out_of_range);
  EXPECT_THROW(m(0, 3), std::out_of_range);
  UtilsAllocator<int> copy(m);
  EXPECT_EQ(8, copy(1, 0));
}

// Counts its instances; default constructions and copies draw from a budget and throw
// std::bad_alloc once it is spent (a budget below 0 never runs out).
struct Fragile {
  static int live, budget;
  int value;
  Fragile() : value(0) {
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

// Counts copies and moves; its moves cannot throw.
struct Tracked {
  static int copies, moves;
  int value = 0;
  Tracked() {}
  Tracked(const Tracked& other) : value(other.value) { ++copies; }
  Tracked(Tracked&& other) noexcept : value(other.value) { ++moves; }
  Tracked& operator=(const Tracked& other) {
    value = other.value;
    ++copies;
    return *this;
  }
  Tracked& operator=(Tracked&& other) noexcept {
    value = other.value;
    ++moves;
    return *this;
  }
};
int Tracked::copies = 0;
int Tracked::moves = 0;

TEST(Allocator, ResizingMovesElementsThatMoveWithoutThrowing) {
  UtilsAllocator<Tracked> a(3);
  for (int i = 0; i < 3; ++i) a[i].value = i + 7;
  Tracked::copies = Tracked::moves = 0;
  a.ReAllocateMemory(6);
  a.ReAllocateMemory(2);
  EXPECT_EQ(0, Tracked::copies);
  EXPECT_GT(Tracked::moves, 0);
  EXPECT_EQ(8, a[1].value);
}

// Lengths whose sum does not fit throw before anything is written.
TEST(MemObject, LengthSumsThatWrapThrowBadAlloc) {
  MemObject<char> text("ab", 0);
  const char tiny[] = "x";
  try {
    text.Append(tiny, 0xFFFFFFFEUL);  // 2 + n wraps to 0
    FAIL() << "nothing thrown";
  } catch (const std::bad_alloc& e) {
    EXPECT_EQ("Inavlid Argument Passed - -2" + kAlloc + "442", std::string(e.what()));
  }
  EXPECT_THROW(text.Append(tiny, 0xFFFFFFFDUL), std::bad_alloc);  // the terminator wraps
  EXPECT_THROW(text.Insert(tiny, 0xFFFFFFFEUL, 1), std::bad_alloc);
  EXPECT_STREQ("ab", text.Data());
  EXPECT_EQ(2u, text.Length());
}

class ByteBase : public UtilsBase<unsigned char> {};
class CharBase : public UtilsBase<char> {
 public:
  int isupper(const char& c) const override { return c >= 'A' && c <= 'Z'; }
  char utoupper(const char& c) const override { return static_cast<char>(c - 0x20); }
  using UtilsBase<char>::isupper;
  using UtilsBase<char>::utoupper;
};

int Find(const char* needle, const char* hay, unsigned long k, unsigned long* found = 0,
         int caseFlag = 1) {
  CharBase base;
  unsigned long at = 0;
  int hit = base.search(needle, needle + std::strlen(needle), hay, hay + std::strlen(hay), at,
                        caseFlag, k);
  if (found) *found = at;
  return hit;
}

TEST(Search, ResumeRules) {
  unsigned long at = 99;
  EXPECT_EQ(1, Find("ab", "abab", 0, &at));
  EXPECT_EQ(0u, at);
  EXPECT_EQ(0, Find("ab", "abab", 1, &at));
  EXPECT_EQ(0xEFFFFFFFu, at);
  EXPECT_EQ(1, Find("ab", "ab-ab", 1, &at));
  EXPECT_EQ(3u, at);
  EXPECT_EQ(0, Find("aa", "aaaa", 1));
  EXPECT_EQ(0, Find("aab", "aaab", 0));
  EXPECT_EQ(1, Find("aab", "xaab", 0, &at));
  EXPECT_EQ(1u, at);
  EXPECT_EQ(0, Find("abc", "ab", 0, &at));
  EXPECT_EQ(0u, at);  // needle longer than the haystack
  // An empty needle matches at every position inside the haystack, and nowhere else.
  EXPECT_EQ(1, Find("", "abc", 0, &at));
  EXPECT_EQ(0u, at);
  EXPECT_EQ(1, Find("", "abc", 2, &at));
  EXPECT_EQ(2u, at);
  EXPECT_EQ(0, Find("", "abc", 3));
  EXPECT_EQ(0, Find("", "", 0));
}

TEST(Search, CaseFlag) {
  EXPECT_EQ(0, Find("AB", "xaby", 0, 0, 1));
  EXPECT_EQ(1, Find("AB", "xaby", 0, 0, 0));
  EXPECT_EQ("Inavlid Argument Passed - 2; File:  ..\\..\\Include\\UtilsBase; Line:  936",
            ThrownText<std::invalid_argument>([] { Find("a", "abc", 0, 0, 2); }));
}

TEST(Search, LastFoundTracksCountedMatches) {
  CharBase base;
  const char* hay = "x-x-x";
  unsigned long at = 0, last = 77;
  EXPECT_EQ(0, base.search("x", 0, hay, hay + 5, at, 1, 5, &last));
  EXPECT_EQ(0u, last);  // fewer than 5 matches were counted
  last = 77;
  EXPECT_EQ(0, base.search("x", 0, hay, hay + 5, at, 1, 3, &last));
  EXPECT_EQ(4u, last);  // exactly 3 counted: the last of them stays
}

TEST(Parse, TokensBetweenSeparators) {
  CharBase base;
  const char* text = "a,,b";
  unsigned long start = 0, length = 0;
  ASSERT_EQ(1, base.parse(text, 4, ",", 1, 1, 1, 0, start, length));
  EXPECT_EQ(0u, length);
  ASSERT_EQ(1, base.parse(text, 4, ",", 1, 2, 1, 0, start, length));
  EXPECT_EQ(3u, start);
  EXPECT_EQ(0, base.parse(text, 4, ",", 1, 3, 1, 0, start, length));
  ASSERT_EQ(1, base.parse(text, 4, ",", 1, 1, 1, 1, start, length));  // empties skipped
  EXPECT_EQ(3u, start);
  ASSERT_EQ(1, base.parse(text, 4, ";", 1, 0, 1, 0, start, length));
  EXPECT_EQ(4u, length);
}

TEST(SelectionSort, UnsignedAscending) {
  ByteBase base;
  unsigned char bytes[] = {3, 1, 0x80, 2, 0x41};
  base.selection_sort(bytes, bytes + 5);
  const unsigned char sorted[] = {1, 2, 3, 0x41, 0x80};
  EXPECT_EQ(0, std::memcmp(bytes, sorted, 5));
  UtilsBase<const char*> texts;
  const char* words[] = {"pear", "apple", "fig"};
  texts.selection_sort(words, words + 3);
  EXPECT_STREQ("apple", words[0]);
  EXPECT_STREQ("pear", words[2]);
}

TEST(Compare, SignedBytesNullsAndContainment) {
  CharBase base;
  EXPECT_EQ(-1, base.compare(0, "a", 1, 0, 0, 0));
  EXPECT_EQ(0, base.compare(0, 0, 1, 0, 0, 0));
  EXPECT_EQ(1, base.compare("a", 0, 1, 0, 0, 0));
  EXPECT_EQ(-1, base.compare("abc", "abcd", 1, 0, 0, 0));
  EXPECT_EQ(-1, base.compare("\xE9", "A", 1, 0, 0, 0));
  EXPECT_EQ(0, base.compare("abc", "ABC", 0, 0, 0, 0));
  EXPECT_EQ(1, base.compare("abc", "ABC", 1, 0, 0, 0));
  EXPECT_EQ(0, base.compare("Registry", "gist", 1, 1, 0, 0));
  EXPECT_EQ(0, base.compare("gist", "Registry", 1, 1, 0, 0));
  EXPECT_EQ(0, base.compare("", "Registry", 1, 1, 0, 0));  // "" is contained in any text
  EXPECT_EQ(-1, base.compare("", "Registry", 1, 0, 0, 0));
  EXPECT_NE(0, base.compare("Registry", "GIST", 1, 1, 0, 0));
}

TEST(MemObject, TextKeepsTerminatorAndExactBlock) {
  MemObject<char> text;
  text.Append("hello");
  text.Append("!!", 1);
  EXPECT_EQ(6u, text.Length());
  EXPECT_STREQ("hello!", text.Data());
  text.Insert("XY", 2, 0);
  text.Replace("--", 2, 3);
  EXPECT_STREQ("XYh--lo!", text.Data());
  text.Append(text.Data() + 2, 2);  // source inside the object's own block
  EXPECT_STREQ("XYh--lo!h-", text.Data());
  text.TruncateStringAtPosition(3, 1);
  EXPECT_STREQ("X-lo!h-", text.Data());
  text.TruncateString(2);
  EXPECT_STREQ("X-lo!", text.Data());
  text.Clear();
  EXPECT_EQ(0u, text.Length());
  EXPECT_STREQ("", text.Data());
}

TEST(MemObject, RangeChecksThrowInsteadOfOverrunning) {
  MemObject<char> text("abc", 0);
  EXPECT_EQ("Out Of Range Error - 4:3" + kVector + "501",
            ThrownText<std::out_of_range>([&] { text.TruncateString(4); }));
  EXPECT_EQ("Out Of Range Error - 4:3" + kVector + "546",
            ThrownText<std::out_of_range>([&] { text.TruncateStringAtPosition(4, 0); }));
  EXPECT_THROW(text.TruncateStringAtPosition(2, 2), std::out_of_range);
  EXPECT_THROW(text.Insert("x", 1, 4), std::out_of_range);
  EXPECT_THROW(text.Replace("xy", 2, 2), std::out_of_range);
  EXPECT_STREQ("abc", text.Data());
}

TEST(MemObject, BytesHaveNoTerminatorAndLengthRuleOfOne) {
  MemObject<unsigned char> bytes;
  const unsigned char data[] = {0x41, 0x00, 0x42};
  bytes.Append(data, 3);
  bytes.Append(data);  // no length: one element
  EXPECT_EQ(4u, bytes.Length());
  EXPECT_EQ(0x41, bytes[3]);
  EXPECT_THROW(bytes[4], std::out_of_range);  // block is exactly the length
  MemObject<unsigned char> copy(bytes);
  bytes.TruncateString(4);
  EXPECT_EQ(4u, copy.Length());
  EXPECT_EQ(0x42, copy[2]);
}

}  // namespace

namespace {

TEST(ListObject, PositionalEditsAndChecks) {
  UTILS::ListObject<char> list;
  list.AddTail('b');
  list.AddHead('a');
  list.AddTail('d');
  list.InsertAt(2, 'c');
  ASSERT_EQ(4u, list.Count());
  std::string seen;
  for (UTILS::Node<char>* n = list.Head(); n; n = n->m_pNext) seen += n->m_Data;
  EXPECT_EQ("abcd", seen);
  seen.clear();
  for (UTILS::Node<char>* n = list.Tail(); n; n = n->m_pPrev) seen += n->m_Data;
  EXPECT_EQ("dcba", seen);
  list.RemoveAt(1);
  EXPECT_EQ('c', list.At(1));
  UTILS::ListObject<char> copy(list);
  list.RemoveAll();
  EXPECT_EQ(3u, copy.Count());
  EXPECT_EQ('d', copy.At(2));
  const UTILS::ListObject<char>& readOnly = copy;
  try {
    readOnly.At(3);
    FAIL() << "nothing thrown";
  } catch (const std::out_of_range& e) {
    EXPECT_EQ("Out Of Range Error - 3:3" + kAlloc + "131", std::string(e.what()));
  }
  EXPECT_THROW(list.RemoveAt(0), std::out_of_range);
  EXPECT_THROW(list.InsertAt(1, 'x'), std::out_of_range);
}

TEST(MapObject, KeysSortAndLookup) {
  UTILS::MapObject<int, unsigned char> map;
  EXPECT_EQ(0xEFFFFFFFu, map.SearchList(5, 0, 0, 1, 0));
  int k9 = map.AddTail(9);
  int k3 = map.AddTail(3);
  map.AddTail(7);
  EXPECT_NE(k9, k3);
  EXPECT_EQ(1u, map.SearchList(3, 0, 0, 1, 0));
  EXPECT_EQ(0xEFFFFFFFu, map.SearchList(3, 2, 0, 1, 0));  // unknown method
  map.AddSorted(5, 1);  // sorts first
  EXPECT_EQ(1, map.IsSorted());
  EXPECT_EQ(3, map.At(0));
  EXPECT_EQ(5, map.At(1));
  EXPECT_EQ(9, map.At(3));
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
