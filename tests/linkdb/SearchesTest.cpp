// Object searches by type mask and name pattern.
#include <random>
#include "TestSupport.h"
#include "Wildcard.h"

namespace {

// The matching rule spelled out recursively, as the reference for the fast matcher.
bool Reference(const char* p, const char* s) {
  if (!*p && !*s) return true;
  if ((!*p || !*s) && *p != '*') return false;
  if (*p == '*') {
    if (Reference(p + 1, s)) return true;
    if (!*s) return false;
    return Reference(p, s + 1) || Reference(p + 1, s + 1);
  }
  char a = (*p >= 'a' && *p <= 'z') ? *p - 32 : *p;
  char b = (*s >= 'a' && *s <= 'z') ? *s - 32 : *s;
  return (*p == '?' || a == b) && Reference(p + 1, s + 1);
}

}  // namespace

TEST(Wildcard, AgreesWithTheRecursiveRuleOnRandomInputs) {
  std::mt19937 rng(12345);
  const char alphabet[] = "aAbB.*?";
  for (int round = 0; round < 20000; ++round) {
    std::string p, s;
    int pl = rng() % 7, sl = rng() % 9;
    for (int i = 0; i < pl; ++i) p += alphabet[rng() % 7];
    for (int i = 0; i < sl; ++i) s += "aAbB."[rng() % 5];
    bool expected = (p == "*.*") ? true : Reference(p.c_str(), s.c_str());
    ASSERT_EQ(expected, vkl::WildcardMatch(p.c_str(), s.c_str())) << "pattern '" << p << "' name '" << s << "'";
  }
  EXPECT_TRUE(vkl::WildcardMatch("*.*", "NODOT"));
  EXPECT_FALSE(vkl::WildcardMatch("*.?*", "NODOT"));
  EXPECT_FALSE(vkl::WildcardMatch("A?", "A"));
  // Many stars against a long name that does not match stay fast.
  EXPECT_FALSE(vkl::WildcardMatch("*a*a*a*a*a*a*a*a*a*a*b", std::string(900, 'a').c_str()));
}

TEST_F(DbTest, SearchesMatchTypeMaskAndPattern) {
  Add("A.DLL", 4);
  Add("X.DLLX", 4);
  Add("DLL", 4);
  Add("B.dll", 0x2000);
  Add("README", 4);
  Add(".DLL", 4);  // 4 characters: never an extension match

  auto names = [&](const char* pattern, unsigned long mask) {
    std::vector<std::string> out;
    CVKUObject* o = nullptr;
    unsigned long find = db_->FindFirstObject(const_cast<char*>(pattern), mask, &o);
    if (!find) return out;
    do {
      out.push_back(Name(o));
      o->Release();
    } while (db_->FindNextObject(find, &o));
    EXPECT_EQ(0, db_->FindNextObject(find, &o));  // stays at the end
    db_->FindCloseObject(find);
    return out;
  };
  using V = std::vector<std::string>;
  EXPECT_EQ((V{"B.dll", "A.DLL"}), names("*.dll", 0xFFFFFFFF));  // newest first
  EXPECT_EQ((V{"A.DLL"}), names("*.dll", 4));
  EXPECT_EQ((V{".DLL", "README", "DLL", "X.DLLX", "A.DLL"}), names("*.*", 4));
  EXPECT_EQ((V{"DLL"}), names("?LL", 4));
  EXPECT_EQ((V{"X.DLLX"}), names("x.dll?", 4));
  EXPECT_EQ((V{"A.DLL"}), names("a.*", 0xFFFF));
  EXPECT_TRUE(names("*", 0).empty());
  EXPECT_TRUE(names("NOTHING", 0xFFFFFFFF).empty());
  CVKUObject* o = nullptr;
  EXPECT_EQ(0u, db_->FindFirstObject(const_cast<char*>(std::string(100, '*').c_str()), 4, &o));
  EXPECT_EQ(0, db_->FindNextObject(0, &o));
  // A search standing on a deleted object goes on from its old successor.
  unsigned long find = db_->FindFirstObject(const_cast<char*>("*"), 4, &o);  // .DLL
  o->Release();
  ASSERT_EQ(1, db_->FindNextObject(find, &o));  // README
  ASSERT_EQ(1, o->Delete());
  o->Release();
  ASSERT_EQ(1, db_->FindNextObject(find, &o));
  EXPECT_EQ("DLL", Name(o));
  o->Release();
  db_->FindCloseObject(find);
}
