// UtilsStringList: positions, sorted insertion, list searches and splitting, and a
// string removed on one thread while another appends to it.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "UtilsByte"
#include "UtilsStringList"

namespace {

using UTILS::UtilsString;
using UTILS::UtilsStringList;

const unsigned long kNotFound = 0xEFFFFFFFUL;

// Every text-changing member, assignment included, hands back a constant reference so
// that calls chain without exposing the object to further change.
template <class T>
constexpr bool AssignsToConst() {
  return std::is_same<decltype(std::declval<T&>() = std::declval<const T&>()), const T&>::value;
}
static_assert(AssignsToConst<UtilsStringList>(), "UtilsStringList::operator=");
static_assert(AssignsToConst<UtilsString>(), "UtilsString::operator=");
static_assert(AssignsToConst<UTILS::UtilsByte>(), "UtilsByte::operator=");

std::string Items(UtilsStringList& list) {
  std::string items;
  for (unsigned long i = 0; i < list.size(); ++i)
    items += std::string(i ? "," : "") + list.Retrieve(i);
  return items;
}

UtilsStringList ListOf(std::initializer_list<const char*> texts) {
  UtilsStringList list;
  for (const char* text : texts) list.AddString(UtilsString(text));
  return list;
}

TEST(UtilsStringList, PositionsSortedInsertionAndSplitting) {
  UtilsStringList list = ListOf({"zero", "one", "two"});
  list.Append(2UL, "!");  // the position given becomes the current one
  list += 7UL;
  list += 0.5;
  list[0].Insert("<", 0);
  list.Replace(1UL, "ON", 0);
  EXPECT_STREQ("ONe", list.Retrieve());
  EXPECT_EQ("<zero,ONe,two!70.5", Items(list));
  list.SetCurrentString(9);                          // no test yet...
  EXPECT_THROW(list.Retrieve(), std::out_of_range);  // ...the access tests it
  EXPECT_EQ("Out Of Range Error - 3:3; File:  ..\\..\\Include\\UtilsAllocator; Line:  107",
            Thrown<std::out_of_range>([&] { list.RetrieveString(3); }));
  list.RemoveString(0UL);
  EXPECT_EQ("ONe,two!70.5", Items(list));
  EXPECT_STREQ("UTILS::UtilsStringList", list.derived_class());
  list.RemoveAllStrings();
  EXPECT_EQ(0u, list.size());

  UtilsStringList sorted;
  for (const char* text : {"B", "A", "C"}) sorted.AddStringSorted(UtilsString(text));
  sorted.AddString(UtilsString("0"));  // unsorted now: the next sorted insertion sorts first
  sorted.AddStringSorted(UtilsString("Bb"));
  sorted.AddStringSorted(UtilsString("\xE9"));  // signed order: before every ASCII string
  EXPECT_EQ("\xE9,0,A,B,Bb,C", Items(sorted));
  sorted.Sort(1);
  EXPECT_STREQ("C", sorted.Retrieve(0));

  list.SplitData(UtilsString("c;a;;b"), UtilsString(";"));
  EXPECT_EQ("c,a,,b", Items(list));
  list.SplitData(UtilsString("c;a;;b"), UtilsString(";"), 1, 0, 1);
  list.SplitData(UtilsString("d"), UtilsString(";"), 0, 1);
  EXPECT_EQ("a,b,c,d", Items(list));
  UtilsString set("x");
  set.AddString("");
  set.AddString("y");
  list.SplitData(set, 1);
  EXPECT_EQ("x,y", Items(list));
  list.SplitData(UtilsString(""), UtilsString(";"), 1);
  EXPECT_EQ(0u, list.size());
}

TEST(UtilsStringList, SearchMethodsAndRules) {
  UtilsStringList empty;
  EXPECT_EQ(kNotFound, empty.SearchList(UtilsString("x"), 99, 5));
  UtilsStringList list = ListOf({"pear", "Apple", "fig", "apple", "pear"});
  const UtilsString pear("pear"), apple("APPLE");
  EXPECT_EQ(4u, list.SearchList(pear, 0, 1));
  EXPECT_EQ(kNotFound, list.SearchList(pear, 0, 2));
  list.SetSearchDirection(1);  // from the tail; positions still count from the head
  EXPECT_EQ(4u, list.SearchList(pear, 0, 0));
  EXPECT_EQ(kNotFound, list.SearchList(pear, 2, 0));
  // Method 1 sorts the store, then looks the text up in that order.
  EXPECT_EQ(3u, list.SearchList(pear, 1, 0));
  EXPECT_EQ("Apple,apple,fig,pear,pear", Items(list));
  EXPECT_EQ(kNotFound, list.SearchList(apple, 1, 0));
  list.SetCase(0);
  EXPECT_EQ(1u, list.SearchList(apple, 1, 1));
  EXPECT_EQ(kNotFound, list.SearchList(apple, 1, 2));
  // Containment forces the walk, even with method 1 or an unknown method.
  list.SetMatchStyle(1);
  list.SetSearchDirection(0);
  EXPECT_EQ(0u, list.SearchList(UtilsString("PL"), 1, 0));
  EXPECT_EQ(4u, list.SearchList(UtilsString("ea"), 7, 1));
}

TEST(UtilsStringList, ItemSearchReplaceAndCompare) {
  UtilsStringList list = ListOf({"Hello World", "world peace"});
  EXPECT_EQ(1, list.SearchListItem(1UL, UtilsString("world"), 0));
  EXPECT_EQ(0, list.SearchListItem(0UL, UtilsString("world"), 0));
  EXPECT_EQ(1, list.SearchListItem(0UL, UtilsString("world"), 0, 1));
  char fresh[] = "Earth";
  EXPECT_EQ(1, list.ReplaceAllInList("world", fresh, 1));
  EXPECT_EQ("Hello Earth,Earth peace", Items(list));
  list[0];
  EXPECT_TRUE(list == "Hello Earth" && list < UtilsString("Hello Earth!"));
  EXPECT_EQ(1, list.FriendCompare("Hello Earth!"));
  EXPECT_TRUE(list > ListOf({"Earth peace"}));
  // Strings keep the case flag the list had when they were added.
  UtilsStringList mixed;
  mixed.SetCase(0);
  mixed.AddString(UtilsString("ABC"));
  EXPECT_TRUE(*mixed.RetrieveString(0) == "abc");
}

// The string being appended to is removed and replaced over and over.
TEST(UtilsStringList, RemovingOnOneThreadWhileAppendingOnAnother) {
  UtilsStringList list = ListOf({"first"});
  std::atomic<bool> churning(true);
  std::thread appender([&] {
    while (churning) list.Append(0UL, "a");
  });
  for (int i = 0; i < 3000; ++i) {
    list.AddString(UtilsString("next"));
    list.RemoveString(0UL);
  }
  churning = false;
  appender.join();
  ASSERT_EQ(1u, list.size());
  EXPECT_EQ("next", std::string(list.Retrieve(0UL)).substr(0, 4));
}

}  // namespace
