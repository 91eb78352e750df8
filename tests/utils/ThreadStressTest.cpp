// Several threads on the same containers at once: the shared conversion buffers,
// readers of a byte buffer that another thread resizes, arguments that change while
// they are read, copies taken during changes, and objects assigned to each other from
// two threads. Each test runs for a fixed time (stress::Run) and fails rather than
// hangs on a deadlock.
#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>
#include <string>

#include "TestSupport.h"
#include "UtilsByte"
#include "UtilsList"
#include "UtilsString"
#include "UtilsStringList"

namespace {

using UTILS::UtilsByte;
using UTILS::UtilsString;
using UTILS::UtilsStringList;

const double kSeconds = 1.5;
using stress::ExpectClean;

// Every thread converts strings of its own changing lengths; the buffers are shared by
// the process, so their contents may be another thread's, but the heap must stay whole
// and a returned pointer must stay readable for the length of its own string.
TEST(SharedBuffers, ByteAndWideConversionsOnManyThreads) {
  std::vector<std::function<bool()>> bodies;
  for (int t = 0; t < 4; ++t) {
    auto round = std::make_shared<unsigned long>(t * 7919UL);
    bodies.push_back([round] {
      unsigned long n = (*round = *round * 1103515245UL + 12345UL) % 3000;
      UtilsString text(std::string(n, static_cast<char>('a' + n % 26)));
      volatile unsigned long sum = 0;
      const unsigned char* bytes = text.ReturnByteStr();
      for (unsigned long i = 0; i <= n; ++i) sum += bytes[i];
      const unsigned short* wide = text.ReturnWideChar();
      for (unsigned long i = 0; i <= n; ++i) sum += wide[i];
      return true;
    });
  }
  ExpectClean(stress::Run(kSeconds, bodies));
  EXPECT_EQ(_HEAPOK, _heapchk());
}

// The buffer is replaced, truncated and appended to with large contents (large blocks
// go back to the system when freed, so reading a freed one faults); every reader's
// single call must see one state whole.
TEST(UtilsByteThreads, ReadersWhileAnotherThreadReplacesTheBuffer) {
  const unsigned long size = 600 * 1024;
  std::string a(size, 'a');
  a += "needle!";
  std::string b(size + 7, 'b');
  struct Shared {
    UtilsByte buffer, first, second;
  };
  auto shared = std::make_shared<Shared>();
  shared->first.Append(reinterpret_cast<const unsigned char*>(a.data()), a.size());
  shared->second.Append(reinterpret_cast<const unsigned char*>(b.data()), b.size());
  shared->buffer = shared->first;
  const unsigned char* needle = reinterpret_cast<const unsigned char*>("needle!");
  std::vector<std::function<bool()>> bodies;
  bodies.push_back([shared] {
    shared->buffer = shared->second;
    shared->buffer = shared->first;
    shared->buffer.TruncateString(7);
    shared->buffer.Append(reinterpret_cast<const unsigned char*>("needle!"), 7);
    return true;
  });
  bodies.push_back([shared, needle, size] {
    int hit = shared->buffer.Search(needle, 7);
    unsigned long at = 0;
    int found = shared->buffer.FindFirst(needle, 7, at);
    return (hit == 0 || hit == 1) && (!found || at == size);
  });
  bodies.push_back([shared] {
    // Every state the writer leaves (first, second, first less its needle) is at
    // most the second one.
    int order = shared->buffer.Compare(shared->second);
    int reverse = shared->buffer.FriendCompare(shared->second);
    return (order == 0 || order == -1) && (reverse == 0 || reverse == 1) &&
           shared->buffer <= shared->second;
  });
  bodies.push_back([shared, size] {
    // The pointer is only good until the next change, so it is not read here.
    unsigned long n = shared->buffer.length();
    return (n == size + 7 || n == size) && shared->buffer.c_str() != 0;
  });
  ExpectClean(stress::Run(kSeconds, bodies));
}

// The argument flips between a short text and a long one that contains it. Read whole,
// either is fine; a pointer of one with the length of the other is not.
TEST(ArgumentThreads, TextsAreReadWholeUnderTheirOwnLock) {
  const std::string shortText = "abc";
  const std::string longText = "xx" + shortText + std::string(195, 'x');
  struct Shared {
    UtilsString argument;
    UtilsStringList listArgument;
  };
  auto shared = std::make_shared<Shared>();
  shared->argument = shortText.c_str();
  shared->listArgument.AddString(UtilsString(shortText));
  auto isWhole = [shortText, longText](const std::string& s, const std::string& rest) {
    return s == shortText + rest || s == longText + rest;
  };
  std::vector<std::function<bool()>> bodies;
  bodies.push_back([shared, shortText, longText] {
    shared->argument = longText.c_str();
    *shared->listArgument.RetrieveString(0) = longText.c_str();
    shared->argument = shortText.c_str();
    *shared->listArgument.RetrieveString(0) = shortText.c_str();
    return true;
  });
  bodies.push_back([shared, isWhole, shortText, longText] {
    UtilsString appended("");
    appended.Append(shared->argument);
    UtilsString inserted("-");
    inserted.Insert(shared->argument, 0);
    UtilsString replaced(std::string(200, '-'));
    replaced.Replace(shared->argument, 0);
    std::string r = replaced.GetSTLString();
    return isWhole(appended.GetSTLString(), "") && isWhole(inserted.GetSTLString(), "-") &&
           (r == shortText + std::string(197, '-') || r == longText);
  });
  bodies.push_back([shared] {
    // Containment: the short text is in both states, so every comparison gives 0.
    UtilsString mine("abc");
    mine.SetMatchStyle(1);
    UtilsStringList list;
    list.SetMatchStyle(1);
    list.AddString(UtilsString("abc"));
    return mine.Compare(shared->argument) == 0 && mine.FriendCompare(shared->argument) == 0 &&
           list.Compare(shared->argument) == 0 && list.Compare(shared->listArgument) == 0 &&
           list.FriendCompare(shared->listArgument) == 0;
  });
  bodies.push_back([shared, shortText, longText] {
    UtilsStringList list;
    list.AddString(UtilsString(""));
    list.Append(0UL, shared->argument);
    list.Insert(0UL, shared->listArgument, 0);
    std::string s = list.Retrieve(0UL);
    for (const std::string& inserted : {shortText, longText})
      for (const std::string& appended : {shortText, longText})
        if (s == inserted + appended) return true;
    return false;
  });
  ExpectClean(stress::Run(kSeconds, bodies));
}

// Copies taken while one thread adds, selects and removes strings (each change moves
// the whole set) and another appends to whichever string is current must be whole: as
// many strings as the count says, a current string among them, and its text one of
// the two with nothing but appended characters after it.
TEST(UtilsStringThreads, CopiesAreConsistentWhileStringsComeAndGo) {
  auto shared = std::make_shared<UtilsString>("base");
  std::vector<std::function<bool()>> bodies;
  bodies.push_back([shared] {
    shared->AddString("added");
    shared->SetCurrentString(shared->GetNumberOfStrings() - 1);
    shared->RemoveString();
    return true;
  });
  bodies.push_back([shared] { return shared->Append('x'), true; });
  for (int t = 0; t < 2; ++t)
    bodies.push_back([shared] {
      UtilsString copy(*shared);
      UtilsString assigned;
      assigned = *shared;
      for (const UtilsString* s : {&copy, &assigned}) {
        if (s->GetNumberOfStrings() != s->ElementCount()) return false;
        if (s->GetCurrentString() >= s->GetNumberOfStrings()) return false;
        std::string text = s->c_str();
        text.erase(text.find_last_not_of('x') + 1);
        if (text != "base" && text != "added") return false;
      }
      return true;
    });
  ExpectClean(stress::Run(kSeconds, bodies));
}

// Two objects assigned to each other on two threads at once.
template <class T>
void CrossAssign(std::shared_ptr<T> a, std::shared_ptr<T> b) {
  ExpectClean(
      stress::Run(1.0, {[a, b] { return *a = *b, true; }, [a, b] { return *b = *a, true; }}, 10.0));
}

TEST(CrossAssignment, EveryContainer) {
  const unsigned char* one = reinterpret_cast<const unsigned char*>("one");
  CrossAssign(std::make_shared<UtilsByte>(one, 3), std::make_shared<UtilsByte>(one, 2));
  auto a = std::make_shared<UtilsString>("one");
  a->AddString("uno");
  CrossAssign(a, std::make_shared<UtilsString>("two"));
  EXPECT_TRUE(*a == "one" || *a == "two");
  auto list = std::make_shared<UtilsStringList>(UtilsString("one"));
  list->AddString(UtilsString("deux"));
  CrossAssign(list, std::make_shared<UtilsStringList>(UtilsString("two")));
  EXPECT_TRUE(*list == "one" || *list == "two");
  CrossAssign(std::make_shared<UTILS::MemObject<char>>("one", 0),
              std::make_shared<UTILS::MemObject<char>>("two!", 0));
  auto chars = std::make_shared<UTILS::ListObject<char>>();
  auto others = std::make_shared<UTILS::ListObject<char>>();
  chars->AddTail('a');
  others->AddTail('b');
  others->AddTail('c');
  CrossAssign(chars, others);
  auto map = std::make_shared<UTILS::MapObject<int, char>>();
  auto otherMap = std::make_shared<UTILS::MapObject<int, char>>();
  map->AddTail('a');
  otherMap->AddTail('b');
  CrossAssign(map, otherMap);
}

}  // namespace
