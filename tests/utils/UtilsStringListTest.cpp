// UtilsStringList: positions, sorted insertion, list searches and splitting.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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

std::vector<std::string> Items(UtilsStringList& list) {
  std::vector<std::string> items;
  for (unsigned long i = 0; i < list.size(); ++i) items.push_back(list.Retrieve(i));
  return items;
}

UtilsStringList ListOf(std::initializer_list<const char*> texts) {
  UtilsStringList list;
  for (const char* text : texts) list.AddString(UtilsString(text));
  return list;
}

TEST(UtilsStringList, PositionsAndAppends) {
  UtilsStringList list = ListOf({"zero", "one", "two"});
  EXPECT_EQ(3u, list.GetNumberOfStrings());
  list.Append(2UL, "!");
  EXPECT_EQ(4u, list.length());  // the position given became the current one
  EXPECT_STREQ("two!", list.Retrieve());
  list += 7UL;
  list += 0.5;
  EXPECT_STREQ("two!70.5", list.Retrieve());
  list[0].Insert("<", 0);
  list.Replace(1UL, "ON", 0);
  EXPECT_STREQ("ONe", list.Retrieve());
  EXPECT_EQ((std::vector<std::string>{"<zero", "ONe", "two!70.5"}), Items(list));
  list.SetCurrentString(9);  // no test yet...
  EXPECT_THROW(list.Retrieve(), std::out_of_range);  // ...the access tests it
  try {
    list.RetrieveString(3);
    FAIL() << "nothing thrown";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ("Out Of Range Error - 3:3; File:  ..\\..\\Include\\UtilsAllocator; Line:  107",
                 e.what());
  }
  list.RemoveString(0UL);
  EXPECT_EQ((std::vector<std::string>{"ONe", "two!70.5"}), Items(list));
  list.RemoveAllStrings();
  EXPECT_EQ(0u, list.size());
  EXPECT_STREQ("UTILS::UtilsStringList", list.derived_class());
}

TEST(UtilsStringList, RemovingOnOneThreadWhileAppendingOnAnother) {
  // The string being appended to is removed and replaced over and over.
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
  EXPECT_STREQ("next", std::string(list.Retrieve(0UL)).substr(0, 4).c_str());
}

TEST(UtilsStringList, SortedInsertion) {
  UtilsStringList list;
  list.AddStringSorted(UtilsString("B"));
  list.AddStringSorted(UtilsString("A"));
  list.AddStringSorted(UtilsString("C"));
  EXPECT_EQ((std::vector<std::string>{"A", "B", "C"}), Items(list));
  list.AddString(UtilsString("0"));  // unsorted now: the next sorted insertion sorts first
  list.AddStringSorted(UtilsString("Bb"));
  EXPECT_EQ((std::vector<std::string>{"0", "A", "B", "Bb", "C"}), Items(list));
  list.AddStringSorted(UtilsString("\xE9"));  // signed order: before every ASCII string
  EXPECT_STREQ("\xE9", list.Retrieve(0));
  list.Sort(1);
  EXPECT_STREQ("C", list.Retrieve(0));
  list.Sort();
  EXPECT_STREQ("C", list.Retrieve(5));
}

TEST(UtilsStringList, SearchMethodsAndRules) {
  UtilsStringList empty;
  EXPECT_EQ(kNotFound, empty.SearchList(UtilsString("x"), 99, 5));
  UtilsStringList list = ListOf({"pear", "Apple", "fig", "apple", "pear"});
  EXPECT_EQ(0u, list.SearchList(UtilsString("pear"), 0, 0));
  EXPECT_EQ(4u, list.SearchList(UtilsString("pear"), 0, 1));
  EXPECT_EQ(kNotFound, list.SearchList(UtilsString("pear"), 0, 2));
  list.SetSearchDirection(1);  // from the tail; positions still count from the head
  EXPECT_EQ(4u, list.SearchList(UtilsString("pear"), 0, 0));
  EXPECT_EQ(kNotFound, list.SearchList(UtilsString("pear"), 2, 0));
  // Method 1 sorts the store, then looks the text up in that order.
  unsigned long at = list.SearchList(UtilsString("pear"), 1, 1);
  ASSERT_NE(kNotFound, at);
  EXPECT_STREQ("pear", list.Retrieve(at));
  EXPECT_EQ((std::vector<std::string>{"Apple", "apple", "fig", "pear", "pear"}), Items(list));
  EXPECT_EQ(kNotFound, list.SearchList(UtilsString("APPLE"), 1, 0));
  list.SetCase(0);
  EXPECT_EQ(0u, list.SearchList(UtilsString("APPLE"), 1, 0));
  EXPECT_EQ(1u, list.SearchList(UtilsString("APPLE"), 1, 1));
  EXPECT_EQ(kNotFound, list.SearchList(UtilsString("APPLE"), 1, 2));
  // Containment forces the walk, even with method 1 or an unknown method.
  list.SetMatchStyle(1);
  list.SetSearchDirection(0);
  EXPECT_EQ(0u, list.SearchList(UtilsString("PL"), 1, 0));
  EXPECT_EQ(list.SearchList(UtilsString("ea"), 0, 1), list.SearchList(UtilsString("ea"), 1, 1));
  EXPECT_EQ(4u, list.SearchList(UtilsString("ea"), 7, 1));
}

TEST(UtilsStringList, ItemSearchReplaceAndCompare) {
  UtilsStringList list = ListOf({"Hello World", "world peace"});
  EXPECT_EQ(1, list.SearchListItem(1UL, UtilsString("world"), 0));
  EXPECT_EQ(0, list.SearchListItem(0UL, UtilsString("world"), 0));
  EXPECT_EQ(1, list.SearchListItem(0UL, UtilsString("world"), 0, 1));
  char fresh[] = "Earth";
  EXPECT_EQ(1, list.ReplaceAllInList("world", fresh, 1));
  EXPECT_EQ((std::vector<std::string>{"Hello Earth", "Earth peace"}), Items(list));
  list[0];
  EXPECT_TRUE(list == "Hello Earth");
  EXPECT_TRUE(list < UtilsString("Hello Earth!"));
  EXPECT_EQ(1, list.FriendCompare("Hello Earth!"));
  UtilsStringList other = ListOf({"Earth peace"});
  EXPECT_TRUE(list > other);
  // Strings keep the case flag the list had when they were added.
  UtilsStringList mixed;
  mixed.SetCase(0);
  mixed.AddString(UtilsString("ABC"));
  EXPECT_EQ(0, mixed.RetrieveString(0)->GetCase());
  EXPECT_TRUE(*mixed.RetrieveString(0) == "abc");
}

TEST(UtilsStringList, SplitData) {
  UtilsStringList list;
  list.SplitData(UtilsString("c;a;;b"), UtilsString(";"));
  EXPECT_EQ((std::vector<std::string>{"c", "a", "", "b"}), Items(list));
  list.SplitData(UtilsString("c;a;;b"), UtilsString(";"), 1, 0, 1);
  EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), Items(list));
  list.SplitData(UtilsString("d"), UtilsString(";"), 0, 1);
  EXPECT_EQ(4u, list.size());
  UtilsString set("x");
  set.AddString("");
  set.AddString("y");
  list.SplitData(set, 1);
  EXPECT_EQ((std::vector<std::string>{"x", "y"}), Items(list));
  list.SplitData(UtilsString(""), UtilsString(";"), 1);
  EXPECT_EQ(0u, list.size());
}

}  // namespace
