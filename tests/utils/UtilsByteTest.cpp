// UtilsByte: exact lengths, unchecked byte access, comparison, search, parse,
// replace and scrambling.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "UtilsByte"

namespace {

using UTILS::UtilsByte;

const unsigned char kAzb[] = {0x41, 0x00, 0x42};

std::string Bytes(const UtilsByte& b) {
  return std::string(reinterpret_cast<const char*>(b.c_str()), b.length());
}
const unsigned char* U(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

TEST(UtilsByte, ExactLengthWithEmbeddedZero) {
  UtilsByte b(kAzb, 3);
  EXPECT_EQ(3u, b.length());
  EXPECT_EQ(3u, b.size());
  EXPECT_EQ(0, std::memcmp(b.c_str(), kAzb, 3));
  EXPECT_EQ(0x42, b[2]);
  b[1] = 0x7A;
  EXPECT_EQ("AzB", Bytes(b));
  EXPECT_THROW(b.RetrieveByte(3), std::out_of_range);
  b += U("xyz");  // a pointer without a length is one byte
  EXPECT_EQ("AzBx", Bytes(b));
}

TEST(UtilsByte, EditingMembers) {
  UtilsByte b(U("hello"), 5);
  b.Insert(U("--"), 2, 2);
  EXPECT_EQ("he--llo", Bytes(b));
  b.Replace(U("LL"), 2, 4);
  EXPECT_EQ("he--LLo", Bytes(b));
  b--;
  --b;
  EXPECT_EQ("he--L", Bytes(b));
  b.TruncateStringAtPosition(2, 2);
  EXPECT_EQ("heL", Bytes(b));
  EXPECT_THROW(b.TruncateString(4), std::out_of_range);
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
  EXPECT_GT(a.Compare(upper), 0);
  EXPECT_TRUE(upper < a);
  EXPECT_TRUE(high < letter);  // 0xE9 is negative as a signed byte
  EXPECT_EQ(-a.Compare(upper), a.FriendCompare(upper));
  a.SetCase(0);
  EXPECT_TRUE(a == upper);
  UtilsByte registry(U("Registry"), 8), gist(U("gist"), 4);
  EXPECT_FALSE(registry == gist);
  registry.SetMatchStyle(1);
  EXPECT_TRUE(registry == gist);
  EXPECT_EQ(1, registry.GetMatchStyle());
}

TEST(UtilsByte, SearchAndFindIteration) {
  UtilsByte b(U("ab-ab-abab"), 10);
  EXPECT_EQ(1, b.Search(U("ab"), 2, 2));
  EXPECT_EQ(0, b.Search(U("ab"), 2, 3));  // the back-to-back pair counts once
  unsigned long at = 0;
  ASSERT_EQ(1, b.FindFirst(U("ab"), 2, at));
  EXPECT_EQ(0u, at);
  ASSERT_EQ(1, b.FindNext(U("ab"), 2, at));
  EXPECT_EQ(3u, at);
  ASSERT_EQ(1, b.FindNext(U("ab"), 2, at));
  EXPECT_EQ(6u, at);
  EXPECT_EQ(0, b.FindNext(U("ab"), 2, at));
  EXPECT_EQ(1, b.FindAll(U("-"), 1));
  EXPECT_EQ(0, b.FindAll(U("zz"), 2));
}

TEST(UtilsByte, ParseAndReplace) {
  UtilsByte b(U("k1=v1;;k2"), 9), token;
  ASSERT_EQ(1, b.ParseFirstByteString(U(";"), 1, token));
  EXPECT_EQ("k1=v1", Bytes(token));
  ASSERT_EQ(1, b.ParseNextByteString(U(";"), 1, token));
  EXPECT_EQ("", Bytes(token));
  ASSERT_EQ(1, b.ParseNextByteString(U(";"), 1, token));
  EXPECT_EQ("k2", Bytes(token));
  EXPECT_EQ(0, b.ParseNextByteString(U(";"), 1, token));
  ASSERT_EQ(1, b.ParseByteString(U(";"), 1, token, 1, 1));  // empty tokens skipped
  EXPECT_EQ("k2", Bytes(token));
  ASSERT_EQ(1, b.ReplaceAll(U(";"), 1, U(";;"), 2));  // grows without looping
  EXPECT_EQ("k1=v1;;;;k2", Bytes(b));
  ASSERT_EQ(1, b.ReplaceFirst(U(";;"), 2, U("&"), 1));
  ASSERT_EQ(1, b.ReplaceNext(U(";;"), 2, 0, 0));
  EXPECT_EQ("k1=v1&k2", Bytes(b));
  EXPECT_EQ(1, b.ReplaceNext(U("k"), 1, U("K"), 1));  // only k at or after the cursor
  EXPECT_EQ("k1=v1&K2", Bytes(b));
  EXPECT_EQ(0, b.ReplaceNext(U("k"), 1, U("K"), 1));
  EXPECT_EQ(0, b.ReplaceAll(U("zz"), 2, U("y"), 1));
  b.SetCase(0);  // the buffer's own case rules apply to the replace search
  ASSERT_EQ(1, b.ReplaceAll(U("K"), 1, U("k"), 1));
  EXPECT_EQ("k1=v1&k2", Bytes(b));
}

TEST(UtilsByte, ReorderAndScramble) {
  const unsigned char raw[] = {3, 0x90, 1, 0x41, 2};
  UtilsByte b(raw, 5);
  b.Reverse();
  const unsigned char reversed[] = {2, 0x41, 1, 0x90, 3};
  EXPECT_EQ(0, std::memcmp(b.c_str(), reversed, 5));
  b.Sort();
  const unsigned char sorted[] = {1, 2, 3, 0x41, 0x90};
  EXPECT_EQ(0, std::memcmp(b.c_str(), sorted, 5));
  UtilsByte copy(b);
  b.XORData(0x5A);
  EXPECT_NE(0, std::memcmp(b.c_str(), sorted, 5));
  b.XORData(0x5A);
  EXPECT_TRUE(b == copy);
  UtilsByte key(U("\x01\x02"), 2);
  b.EncryptData(key);
  EXPECT_EQ(0, b[0]);  // 1 ^ 1
  EXPECT_EQ(0, b[1]);  // 2 ^ 2
  EXPECT_EQ(2, b[2]);  // 3 ^ 1
  b.EncryptData(key);
  EXPECT_TRUE(b == copy);
  EXPECT_THROW(b.EncryptData(UtilsByte()), std::invalid_argument);
  b.EncryptData(b);  // the key may be the buffer itself
  EXPECT_EQ(0, b[4]);
}

TEST(UtilsByte, LengthSumsThatWrapThrowBadAllocAndChangeNothing) {
  UtilsByte b(U("12345"), 5);
  const unsigned char other[4] = {1, 2, 3, 4};
  EXPECT_THROW(b.Append(other, 0xFFFFFFFEUL), std::bad_alloc);  // 5 + n wraps to 3
  EXPECT_THROW(b.Insert(other, 0xFFFFFFFBUL, 2), std::bad_alloc);  // wraps to 0
  EXPECT_EQ("12345", Bytes(b));
  b.Append(other, 4);
  EXPECT_EQ(9u, b.length());
}

}  // namespace
