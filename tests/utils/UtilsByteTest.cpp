// UtilsByte: exact lengths, unchecked byte access, comparison, find, parse, replace with
// the buffer's own case rules, scrambling, and length sums that do not fit.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "UtilsByte"

namespace {

using UTILS::UtilsByte;

std::string Bytes(const UtilsByte& b) {
  return std::string(reinterpret_cast<const char*>(b.c_str()), b.length());
}
const unsigned char* U(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

TEST(UtilsByte, ExactLengthsAndEditing) {
  UtilsByte b(U("A\0B"), 3);
  EXPECT_EQ(3u, b.size());
  b[1] = 'z';
  EXPECT_THROW(b.RetrieveByte(3), std::out_of_range);
  b += U("xyz");  // a pointer without a length is one byte
  b.Insert(U("--"), 2, 2);
  b.Replace(U("LL"), 2, 0);
  EXPECT_EQ("LL--Bx", Bytes(b));
  b--;
  --b;
  b.TruncateStringAtPosition(2, 1);
  EXPECT_EQ("L-", Bytes(b));
  EXPECT_THROW(b.TruncateString(3), std::out_of_range);
  b.EraseData();
  EXPECT_EQ(0u, b.length());
  EXPECT_THROW(b--, std::out_of_range);
  UTILS::UtilsAllocator<unsigned char> block(2);
  block[0] = 'o';
  block[1] = 'k';
  b = block;
  EXPECT_EQ("ok", Bytes(b));
}

TEST(UtilsByte, ComparisonIsSignedAndHonoursSettings) {
  UtilsByte a(U("abc"), 3), upper(U("ABC"), 3), high(U("\xE9"), 1), letter(U("A"), 1);
  EXPECT_EQ(1, a.Compare(upper));
  EXPECT_EQ(-1, a.FriendCompare(upper));
  EXPECT_TRUE(upper < a && high < letter);  // 0xE9 is negative as a signed byte
  a.SetCase(0);
  EXPECT_TRUE(a == upper);
  UtilsByte registry(U("Registry"), 8), gist(U("gist"), 4);
  EXPECT_FALSE(registry == gist);
  registry.SetMatchStyle(1);
  EXPECT_TRUE(registry == gist);
}

TEST(UtilsByte, FindParseAndReplace) {
  UtilsByte b(U("ab-ab-abab"), 10);
  EXPECT_EQ(0, b.Search(U("ab"), 2, 3));  // the back-to-back pair counts once
  unsigned long at = 0;
  std::string seen;
  for (int ok = b.FindFirst(U("ab"), 2, at); ok; ok = b.FindNext(U("ab"), 2, at))
    seen += std::to_string(at);
  EXPECT_EQ("036", seen);
  EXPECT_EQ(1, b.FindAll(U("-"), 1) - b.FindAll(U("zz"), 2));

  UtilsByte text(U("k1=v1;;k2"), 9), token;
  seen.clear();
  for (int ok = text.ParseFirstByteString(U(";"), 1, token); ok;
       ok = text.ParseNextByteString(U(";"), 1, token))
    seen += "[" + Bytes(token) + "]";
  EXPECT_EQ("[k1=v1][][k2]", seen);
  ASSERT_EQ(1, text.ParseByteString(U(";"), 1, token, 1, 1));  // empty tokens skipped
  EXPECT_EQ("k2", Bytes(token));
  ASSERT_EQ(1, text.ReplaceAll(U(";"), 1, U(";;"), 2));  // grows without looping
  EXPECT_EQ("k1=v1;;;;k2", Bytes(text));
  ASSERT_EQ(1, text.ReplaceFirst(U(";;"), 2, U("&"), 1));
  ASSERT_EQ(1, text.ReplaceNext(U(";;"), 2, 0, 0));
  EXPECT_EQ(1, text.ReplaceNext(U("k"), 1, U("K"), 1));  // only k at or after the cursor
  EXPECT_EQ(0, text.ReplaceNext(U("k"), 1, U("K"), 1) + text.ReplaceAll(U("zz"), 2, U("y"), 1));
  EXPECT_EQ("k1=v1&K2", Bytes(text));
  text.SetCase(0);  // the buffer's own case rules apply to the replace search
  ASSERT_EQ(1, text.ReplaceAll(U("K"), 1, U("x"), 1));
  EXPECT_EQ("x1=v1&x2", Bytes(text));
}

TEST(UtilsByte, ReorderAndScramble) {
  UtilsByte b(U("\x03\x90\x01\x41\x02"), 5);
  b.Reverse();
  EXPECT_EQ("\x02\x41\x01\x90\x03", Bytes(b));
  b.Sort();
  EXPECT_EQ("\x01\x02\x03\x41\x90", Bytes(b));
  UtilsByte copy(b);
  b.XORData(0x5A);
  EXPECT_EQ("\x5B\x58\x59\x1B\xCA", Bytes(b));
  b.XORData(0x5A);
  b.EncryptData(UtilsByte(U("\x01\x02"), 2));
  EXPECT_EQ(std::string("\0\0\x02\x43\x91", 5), Bytes(b));
  EXPECT_THROW(b.EncryptData(UtilsByte()), std::invalid_argument);
  b = copy;
  b.EncryptData(b);  // the key may be the buffer itself
  EXPECT_EQ(std::string(5, '\0'), Bytes(b));
}

TEST(UtilsByte, LengthSumsThatWrapThrowBadAllocAndChangeNothing) {
  UtilsByte b(U("12345"), 5);
  const unsigned char other[4] = {1, 2, 3, 4};
  EXPECT_THROW(b.Append(other, 0xFFFFFFFEUL), std::bad_alloc);     // 5 + n wraps to 3
  EXPECT_THROW(b.Insert(other, 0xFFFFFFFBUL, 2), std::bad_alloc);  // wraps to 0
  EXPECT_EQ("12345", Bytes(b));
  b.Append(other, 4);
  EXPECT_EQ(9u, b.length());
}

}  // namespace
