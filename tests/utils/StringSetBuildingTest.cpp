// Building sets of many strings: moves hand the strings over without copying them, and
// a set of 4,000 strings is built in time linear in its size (AddString one by one,
// SplitData, assignment from a vector).
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "UtilsByte"
#include "UtilsString"
#include "UtilsStringList"

namespace {

using UTILS::UtilsByte;
using UTILS::UtilsString;
using UTILS::UtilsStringList;

static_assert(std::is_nothrow_move_constructible<UtilsString>::value &&
                  std::is_nothrow_move_assignable<UtilsString>::value &&
                  std::is_nothrow_move_constructible<UtilsStringList>::value &&
                  std::is_nothrow_move_assignable<UtilsStringList>::value &&
                  std::is_nothrow_move_constructible<UtilsByte>::value,
              "the string classes move without throwing");

TEST(StringMoves, MovesHandOverTheVeryCharactersAndLeaveOneEmptyString) {
  UtilsString source("zero");
  source.AddString("one");
  source[1];
  source.SetCase(0);
  const char* characters = source.c_str();
  UtilsString moved(std::move(source));
  EXPECT_EQ(characters, moved.c_str());
  EXPECT_EQ(2u, moved.GetNumberOfStrings());
  EXPECT_EQ(1, moved.GetCurrentString() == 1 && moved.GetCase() == 0);
  EXPECT_EQ(1u, source.GetNumberOfStrings());
  source.Append("again");  // a moved-from string is an ordinary empty one
  EXPECT_STREQ("again", source.c_str());
  UtilsString target("old");
  target = std::move(moved);
  EXPECT_EQ(characters, target.c_str());
  EXPECT_STREQ("zero", target.GetStringNumber(0));

  UtilsByte bytes(reinterpret_cast<const unsigned char*>("\x01\x02\x03"), 3), byteTarget;
  const unsigned char* data = bytes.c_str();
  UtilsByte movedBytes(std::move(bytes));
  EXPECT_EQ(0u, bytes.length());
  byteTarget = std::move(movedBytes);
  EXPECT_EQ(data, byteTarget.c_str());
  EXPECT_EQ(3u, byteTarget.length());

  UtilsStringList list(UtilsString("a"));
  list.AddString(UtilsString("b"));
  UtilsString* first = list.RetrieveString(0);
  UtilsStringList movedList(std::move(list)), listTarget(UtilsString("x"));
  EXPECT_EQ(0u, list.size());
  listTarget = std::move(movedList);
  EXPECT_EQ(first, listTarget.RetrieveString(0));
  EXPECT_EQ(2u, listTarget.size());
}

std::string Piece(unsigned long i) {
  char text[32];
  std::snprintf(text, sizeof text, "piece%05lu", i);
  return text;
}

// Each way takes about 20 ms and took tens of seconds when every step copied the whole
// set; the limit of a second leaves a wide margin for a busy machine.
TEST(StringSetBuilding, FourThousandStringsTakeLinearTime) {
  std::string joined = Piece(0);
  std::vector<std::string> texts;
  std::vector<UtilsString> strings;
  for (unsigned long i = 0; i < 4000; ++i) {
    joined += ";" + Piece(i + 1);
    texts.push_back(Piece(i));
    strings.push_back(UtilsString(Piece(i)));
  }
  UtilsString set("first"), split(joined), fromTexts, fromStrings;
  UtilsStringList list;
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"AddString",
       [&] {
         for (unsigned long i = 0; i < 4000; ++i) set.AddString(Piece(i));
       }},
      {"SplitData", [&] { split.SplitData(UtilsString(";")); }},
      {"list SplitData", [&] { list.SplitData(UtilsString(joined), UtilsString(";")); }},
      {"vector of std::string", [&] { fromTexts = texts; }},
      {"vector of UtilsString", [&] { fromStrings = strings; }}};
  for (const auto& way : ways) {
    auto start = std::chrono::steady_clock::now();
    way.second();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1)) << way.first;
  }
  for (const UtilsString* s : {&set, &split, &fromTexts, &fromStrings}) {
    unsigned long first = s == &set ? 1 : 0, count = s == &split ? 4001 : 4000 + first;
    ASSERT_EQ(count, s->GetNumberOfStrings());
    for (unsigned long i = first; i < count; ++i)
      ASSERT_EQ(Piece(i - first), s->GetStringNumber(i));
  }
  ASSERT_EQ(4001u, list.size());
  EXPECT_STREQ("piece04000", list.Retrieve(4000));
}

}  // namespace
