// Building sets of many strings: moves hand the strings over without copying them, and
// a set of 4,000 strings is built in time linear in its size (AddString one by one,
// SplitData, assignment from a vector).
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
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

TEST(StringMoves, TheStringClassesMoveWithoutThrowing) {
  EXPECT_TRUE(std::is_nothrow_move_constructible<UtilsString>::value);
  EXPECT_TRUE(std::is_nothrow_move_assignable<UtilsString>::value);
  EXPECT_TRUE(std::is_nothrow_move_constructible<UtilsStringList>::value);
  EXPECT_TRUE(std::is_nothrow_move_assignable<UtilsStringList>::value);
  EXPECT_TRUE(std::is_nothrow_move_constructible<UtilsByte>::value);
}

TEST(StringMoves, MovesHandOverTheVeryCharactersAndLeaveOneEmptyString) {
  UtilsString source("zero");
  source.AddString("one");
  source[1];
  source.SetCase(0);
  const char* characters = source.c_str();
  UtilsString moved(std::move(source));
  EXPECT_EQ(characters, moved.c_str());
  EXPECT_EQ(2u, moved.GetNumberOfStrings());
  EXPECT_EQ(1u, moved.GetCurrentString());
  EXPECT_EQ(0, moved.GetCase());
  EXPECT_EQ(1u, source.GetNumberOfStrings());
  EXPECT_EQ(0u, source.GetCurrentString());
  EXPECT_EQ(1, !source);
  source.Append("again");  // a moved-from string is an ordinary empty one
  EXPECT_STREQ("again", source.c_str());
  UtilsString target("old");
  target = std::move(moved);
  EXPECT_EQ(characters, target.c_str());
  EXPECT_STREQ("zero", target.GetStringNumber(0));

  const unsigned char raw[] = {1, 2, 3};
  UtilsByte bytes(raw, 3);
  const unsigned char* data = bytes.c_str();
  UtilsByte movedBytes(std::move(bytes));
  EXPECT_EQ(data, movedBytes.c_str());
  EXPECT_EQ(0u, bytes.length());
  UtilsByte byteTarget(raw, 1);
  byteTarget = std::move(movedBytes);
  EXPECT_EQ(data, byteTarget.c_str());
  EXPECT_EQ(3u, byteTarget.length());

  UtilsStringList list(UtilsString("a"));
  list.AddString(UtilsString("b"));
  UtilsString* first = list.RetrieveString(0);
  UtilsStringList movedList(std::move(list));
  EXPECT_EQ(first, movedList.RetrieveString(0));
  EXPECT_EQ(2u, movedList.size());
  EXPECT_EQ(0u, list.size());
  UtilsStringList listTarget(UtilsString("x"));
  listTarget = std::move(movedList);
  EXPECT_EQ(first, listTarget.RetrieveString(0));
}

double Seconds() {
  LARGE_INTEGER frequency, counter;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

std::string Piece(unsigned long i) {
  char text[32];
  std::snprintf(text, sizeof text, "piece%05lu", i);
  return text;
}

void ExpectPieces(const UtilsString& set, unsigned long count, unsigned long first) {
  ASSERT_EQ(count, set.GetNumberOfStrings());
  for (unsigned long i = first; i < count; ++i)
    ASSERT_EQ(Piece(i - first), set.GetStringNumber(i)) << "string " << i;
}

// Each case takes about 20 ms after the fix and tens of seconds when every step copies
// the whole set; the limit leaves a wide margin for a busy machine.
const double kLimit = 1.0;

TEST(StringSetBuilding, FourThousandAddStringsTakeLinearTime) {
  UtilsString set("first");
  double start = Seconds();
  for (unsigned long i = 0; i < 4000; ++i) set.AddString(Piece(i));
  EXPECT_LT(Seconds() - start, kLimit);
  ExpectPieces(set, 4001, 1);
}

TEST(StringSetBuilding, SplittingIntoFourThousandPiecesTakesLinearTime) {
  std::string joined;
  for (unsigned long i = 0; i < 4001; ++i) joined += (i ? ";" : "") + Piece(i);
  UtilsString set(joined);
  double start = Seconds();
  set.SplitData(UtilsString(";"));
  EXPECT_LT(Seconds() - start, kLimit);
  ExpectPieces(set, 4001, 0);
  UtilsStringList list;
  start = Seconds();
  list.SplitData(UtilsString(joined), UtilsString(";"));
  EXPECT_LT(Seconds() - start, kLimit);
  ASSERT_EQ(4001u, list.size());
  EXPECT_STREQ("piece04000", list.Retrieve(4000));
}

TEST(StringSetBuilding, AssigningAVectorOfFourThousandTakesLinearTime) {
  std::vector<std::string> texts;
  std::vector<UtilsString> strings;
  for (unsigned long i = 0; i < 4000; ++i) {
    texts.push_back(Piece(i));
    strings.push_back(UtilsString(Piece(i)));
  }
  UtilsString set;
  double start = Seconds();
  set = texts;
  EXPECT_LT(Seconds() - start, kLimit);
  ExpectPieces(set, 4000, 0);
  start = Seconds();
  set = strings;
  EXPECT_LT(Seconds() - start, kLimit);
  ExpectPieces(set, 4000, 0);
}

}  // namespace
