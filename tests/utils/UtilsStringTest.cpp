// UtilsString: the set of strings, editing, comparison quirks, search, parse,
// replace, split, scrambling, system texts, wide conversions and thread safety.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "UtilsByte"
#include "UtilsString"

namespace {

using UTILS::UtilsString;

std::string Str(const UtilsString& s) { return s.GetSTLString(); }

TEST(UtilsStringSet, ConstructionGivesCountCopies) {
  UtilsString zero(0UL);
  EXPECT_EQ(1u, zero.GetNumberOfStrings());
  EXPECT_EQ(1, !zero);
  UtilsString three("abc", 3);
  ASSERT_EQ(3u, three.GetNumberOfStrings());
  EXPECT_STREQ("abc", three.GetStringNumber(2));
  UtilsString fromNull(static_cast<const char*>(0), 2);
  EXPECT_STREQ("", fromNull.GetStringNumber(1));
  UtilsString fromStl(std::string("stl")), fromWide(std::wstring(L"wide"));
  EXPECT_EQ("stl", Str(fromStl));
  EXPECT_EQ("wide", Str(fromWide));
  UTILS::MemObject<char> raw("mem", 0);
  EXPECT_EQ("mem", Str(UtilsString(raw, 1)));
  EXPECT_STREQ("UTILS::UtilsString", zero.derived_class());
}

TEST(UtilsStringSet, AddRemoveAndSelect) {
  UtilsString s("zero");
  s.AddString("one");
  s.AddString(std::string("two"));
  EXPECT_EQ(0u, s.GetCurrentString());  // adding does not move the current string
  EXPECT_EQ(3u, s.GetNumberOfStrings());
  EXPECT_EQ("two", Str(s[2]));
  EXPECT_STREQ("one", s.GetStringNumber(1));
  s.RemoveString();  // removes "two"; the index falls back onto the new last string
  EXPECT_EQ(1u, s.GetCurrentString());
  EXPECT_EQ("one", Str(s));
  s.RemoveString(0UL);
  EXPECT_EQ(1u, s.GetNumberOfStrings());
  EXPECT_EQ("one", Str(s));
  s.RemoveString();  // the last string empties instead of disappearing
  EXPECT_EQ(1u, s.GetNumberOfStrings());
  EXPECT_EQ(1, !s);
  s[0].Append("again");
  EXPECT_EQ("again", Str(s));
}

TEST(UtilsStringSet, CopyAndVectorAssignment) {
  UtilsString s("a");
  s.AddString("b");
  s[1];
  s.SetCase(0);
  s.SetMatchStyle(1);
  UtilsString copy(s);
  EXPECT_EQ(2u, copy.GetNumberOfStrings());
  EXPECT_EQ(1u, copy.GetCurrentString());
  EXPECT_EQ(0, copy.GetCase());
  EXPECT_EQ(1, copy.GetMatchStyle());
  copy.Append("!");
  EXPECT_EQ("b", Str(s));  // deep copy

  std::vector<std::string> texts = {"x", "y", "z"};
  s = texts;
  EXPECT_EQ(3u, s.GetNumberOfStrings());
  EXPECT_EQ(0u, s.GetCurrentString());
  EXPECT_EQ("z", Str(s[2]));
  std::vector<char*> none;
  s = none;
  EXPECT_EQ(1u, s.GetNumberOfStrings());
  EXPECT_EQ(1, !s);
  std::vector<std::wstring> wide = {L"w1", L"w2"};
  s = wide;
  EXPECT_EQ("w2", Str(s[1]));
  std::vector<UtilsString> strings = {UtilsString("u1"), UtilsString("u2")};
  s = strings;
  EXPECT_EQ("u1", Str(s));
}

TEST(UtilsStringEdit, AppendNumbersAndTexts) {
  UtilsString s;
  s += 'c';
  s += -42;
  s += 4294967295UL;
  s += 0.1;
  s += 1e20;
  s += 3.14159265358979312;
  EXPECT_EQ("c-4242949672950.11e+203.14159265358979", Str(s));
  UtilsString t("x");
  t.Append(std::wstring(L"y"));
  t.Append(t);  // appending the object to itself
  EXPECT_EQ("xyxy", Str(t));
}

TEST(UtilsStringEdit, InsertReplaceTruncate) {
  UtilsString s("hello");
  s.Insert("XX", 0);
  s.Insert(std::string("--"), 7);
  EXPECT_EQ("XXhello--", Str(s));
  s.Replace("__", 7);
  EXPECT_EQ("XXhello__", Str(s));
  EXPECT_THROW(s.Replace("abc", 8), std::out_of_range);
  EXPECT_THROW(s.Insert("a", 10), std::out_of_range);
  s.TruncateStringAtPosition(2, 0);
  s--;
  --s;
  EXPECT_EQ("hello", Str(s));
  s.TruncateString(5);
  EXPECT_EQ(1, !s);
  try {
    s--;
    FAIL() << "nothing thrown";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ("Out Of Range Error - 1:0; File:  ..\\..\\Include\\UtilsVector; Line:  501",
                 e.what());
  }
  s = "abc";
  EXPECT_THROW(s.TruncateStringAtPosition(4, 0), std::out_of_range);
  s.EraseString();
  EXPECT_EQ(0u, s.length());
}

TEST(UtilsStringCompare, CaseFlagMatchStyleAndSignedBytes) {
  UtilsString abc("abc");
  EXPECT_TRUE(abc != "ABC");
  EXPECT_TRUE(abc > "ABC");  // ABC is the smaller
  abc.SetCase(0);
  EXPECT_TRUE(abc == "ABC");
  EXPECT_TRUE(abc == std::string("AbC"));
  UtilsString registry("Registry");
  registry.SetMatchStyle(1);
  EXPECT_TRUE(registry == "gist");
  EXPECT_TRUE(registry == "Reg");
  EXPECT_FALSE(registry == "GIST");
  registry.SetCase(0);
  EXPECT_TRUE(registry == "GIST");
  UtilsString plain("abc");
  EXPECT_TRUE(plain < "abcd");
  EXPECT_EQ(-1, plain.Compare("abcd"));
  EXPECT_EQ(1, plain.FriendCompare("abcd"));
  EXPECT_TRUE(UtilsString("\xE9") < "A");
  EXPECT_EQ(1, plain.Compare(static_cast<const char*>(0)));
  EXPECT_TRUE(plain == std::wstring(L"abc"));
  EXPECT_TRUE(plain >= UtilsString("abc"));
  // Case-insensitive mapping subtracts 0x20 from everything that is not A..Z: '@'
  // (0x40) maps to ' ' (0x20), and so compares below 'A'.
  // '[' is 0x5B: above 'A' as a byte, but 0x3B (below 'A') after the mapping.
  // The conversions themselves never test the character.
  EXPECT_EQ('A', abc.utoupper('a'));
  EXPECT_EQ('!', abc.utoupper('A'));
  EXPECT_EQ(static_cast<char>(0x81), abc.utolower('a'));
  EXPECT_EQ(1, abc.isupper('Z'));
  EXPECT_EQ(0, abc.isupper(static_cast<char>(0xC9)));  // no accented capitals
  EXPECT_EQ(0x21u, abc.utoupper(static_cast<unsigned short>(0x41)));
  UtilsString bracket("[");
  EXPECT_TRUE(bracket > "A");
  bracket.SetCase(0);
  EXPECT_TRUE(bracket < "A");
}

// The wide slots of the base table keep the base answers; the string's own wide forms
// are separate members, reached through the string.
TEST(UtilsStringCompare, WideCaseFunctionsThroughTheBaseKeepTheBaseAnswers) {
  const unsigned short upperA = L'A', lowerA = L'a';
  UtilsString s;
  const UTILS::UtilsBase<char>& base = s;
  EXPECT_EQ(0, base.isupper(upperA));
  EXPECT_EQ(0, base.islower(lowerA));
  EXPECT_EQ(lowerA, base.utoupper(lowerA));
  EXPECT_EQ(upperA, base.utolower(upperA));
  EXPECT_EQ(1, base.isupper('A'));  // the narrow slots are the string's
  EXPECT_EQ('!', base.utoupper('A'));
  EXPECT_EQ(1, s.isupper(upperA));
  EXPECT_EQ(1, s.islower(lowerA));
  EXPECT_EQ(upperA, s.utoupper(lowerA));
  EXPECT_EQ(lowerA, s.utolower(upperA));
  EXPECT_EQ(1, s.isupper(static_cast<unsigned short>(0xC9)));  // wide classification
  UTILS::UtilsByte bytes;
  const UTILS::UtilsBase<unsigned char>& byteBase = bytes;
  EXPECT_EQ(0, byteBase.isupper(upperA));
  EXPECT_EQ(lowerA, byteBase.utoupper(lowerA));
}

// Clients linked against earlier builds import the wide forms by their old, constant
// names: those lead to the string's own forms now, and the old names of the base
// table's adjusting entries lead to the base answers.
TEST(UtilsStringCompare, OldNamesOfTheWideFormsAreStillExported) {
  HMODULE dll = GetModuleHandleA("VKLinkDB.dll");
  ASSERT_NE(nullptr, dll);
  auto same = [dll](const char* old, const char* now) {
    FARPROC a = GetProcAddress(dll, old), b = GetProcAddress(dll, now);
    return a != nullptr && a == b;
  };
  const char* forms[] = {"7isupperERKt", "7islowerERKt", "8utoupperERKt", "8utolowerERKt"};
#ifdef _WIN64
  const char* offsets[] = {"40", "48", "72", "80"};
#else
  const char* offsets[] = {"20", "24", "36", "40"};
#endif
  for (int i = 0; i < 4; ++i) {
    std::string form = forms[i];
    EXPECT_TRUE(same(("_ZNK5UTILS11UtilsString" + form).c_str(),
                     ("_ZN5UTILS11UtilsString" + form).c_str()))
        << form;
    EXPECT_TRUE(same(("_ZTv0_n" + std::string(offsets[i]) + "_NK5UTILS11UtilsString" + form).c_str(),
                     ("_ZNK5UTILS9UtilsBaseIcE" + form).c_str()))
        << form;
  }
}

TEST(UtilsStringSearch, ResumeRulesAndFindIteration) {
  UtilsString s("abab ab");
  EXPECT_EQ(1, s.Search("ab", 0));
  EXPECT_EQ(1, s.Search("ab", 1));  // the one after the space
  EXPECT_EQ(0, s.Search("ab", 2));  // offset 2 is back to back with offset 0
  unsigned long at = 0;
  ASSERT_EQ(1, s.FindFirst("ab", at));
  EXPECT_EQ(0u, at);
  ASSERT_EQ(1, s.FindNext("ab", at));
  EXPECT_EQ(5u, at);
  EXPECT_EQ(0, s.FindNext("ab", at));
  EXPECT_EQ(1, s.FindAll("ab"));
  ASSERT_EQ(1, s.FindNext("ab", at));  // FindAll left the cursor at 0
  EXPECT_EQ(5u, at);
  UtilsString x("xaaab");
  EXPECT_EQ(0, x.Search("aab"));
  UtilsString xab("xab");
  EXPECT_EQ(0, xab.Search("AB"));
  xab.SetCase(0);
  EXPECT_EQ(1, xab.Search("AB"));
}

TEST(UtilsStringParse, TokensAndIteration) {
  UtilsString s("a::b::::c");
  char out[32];
  ASSERT_EQ(1, s.ParseString("::", out, 0));
  EXPECT_STREQ("a", out);
  ASSERT_EQ(1, s.ParseString("::", out, 2));
  EXPECT_STREQ("", out);
  ASSERT_EQ(1, s.ParseString("::", out, 3));
  EXPECT_STREQ("c", out);
  EXPECT_EQ(0, s.ParseString("::", out, 4));
  UtilsString token;
  std::vector<std::string> seen;
  for (int ok = s.ParseFirstString("::", token, 1); ok; ok = s.ParseNextString("::", token, 1))
    seen.push_back(Str(token));
  EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), seen);
  seen.clear();
  for (int ok = s.ParseFirstStringFast("::", token); ok; ok = s.ParseNextStringFast("::", token))
    seen.push_back(Str(token));
  EXPECT_EQ((std::vector<std::string>{"a", "b", "", "c"}), seen);
  ASSERT_EQ(1, s.ParseStringFast("::", out, 1));  // going back restarts the scan
  EXPECT_STREQ("b", out);
  UtilsString none("whole");
  ASSERT_EQ(1, none.ParseString(";", token, 0));
  EXPECT_EQ("whole", Str(token));
  EXPECT_EQ(0, none.ParseString(";", token, 1));
  UtilsString empty;
  ASSERT_EQ(1, empty.ParseString(";", out, 0));
  EXPECT_STREQ("", out);
  UtilsString mixed("aXbxc");
  mixed.SetCase(0);
  ASSERT_EQ(1, mixed.ParseString("x", token, 2));
  EXPECT_EQ("c", Str(token));
  ASSERT_EQ(1, mixed.ParseString("x", mixed, 1));  // the output may be the object
  EXPECT_EQ("b", Str(mixed));
}

TEST(UtilsStringReplace, IterationAndResetQuirk) {
  UtilsString s("one two one two");
  ASSERT_EQ(1, s.ReplaceFirst("two", "2"));
  EXPECT_EQ("one 2 one two", Str(s));
  s.ReplaceReset();  // leaves the replace cursor: the next call continues after "2"
  ASSERT_EQ(1, s.ReplaceNext("one", "1"));
  EXPECT_EQ("one 2 1 two", Str(s));
  EXPECT_EQ(0, s.ReplaceNext("one", "1"));
  ASSERT_EQ(1, s.ReplaceAll("o", "oo"));
  EXPECT_EQ("oone 2 1 twoo", Str(s));
  EXPECT_EQ(0, s.ReplaceAll("ONE", "x"));
  ASSERT_EQ(1, s.ReplaceAll("ONE", "x", 1));  // flag: ignore case
  EXPECT_EQ("ox 2 1 twoo", Str(s));
  ASSERT_EQ(1, s.ReplaceAll(" ", ""));
  EXPECT_EQ("ox21twoo", Str(s));
}

TEST(UtilsStringSplit, PiecesBecomeStrings) {
  UtilsString s("k=v;;x=y"), target;
  s.SplitData(target, UtilsString(";"));
  ASSERT_EQ(3u, target.GetNumberOfStrings());
  EXPECT_STREQ("", target.GetStringNumber(1));
  s.SplitData(UtilsString(";"), 1);
  ASSERT_EQ(2u, s.GetNumberOfStrings());
  EXPECT_EQ("x=y", Str(s[1]));
  UtilsString blank;
  blank.SplitData(UtilsString(";"), 1);
  EXPECT_EQ(1u, blank.GetNumberOfStrings());
}

TEST(UtilsStringReorder, ReverseSortAndScramble) {
  UtilsString s("b\x90" "aC");
  s.Reverse();
  EXPECT_EQ("Ca\x90" "b", Str(s));
  s.Sort();
  EXPECT_EQ("Cab\x90", Str(s));  // unsigned order: 0x90 after ASCII
  UtilsString x("abc");
  x.XORString('b');
  EXPECT_EQ(3u, x.length());
  EXPECT_EQ(1u, std::string(x.c_str()).size());  // c_str stops at the zeroed byte
  x.XORString('b');
  EXPECT_EQ("abc", Str(x));
  UtilsString secret("attack at dawn"), key("k3y");
  secret.EncryptString(key);
  EXPECT_NE("attack at dawn", Str(secret));
  secret.EncryptString(UTILS::UtilsByte(reinterpret_cast<const unsigned char*>("k3y"), 3));
  EXPECT_EQ("attack at dawn", Str(secret));
  EXPECT_THROW(secret.EncryptString(UtilsString()), std::invalid_argument);
}

TEST(UtilsStringSystem, ErrorTextsFormattingAndResources) {
  UtilsString s("pre:");
  unsigned long n = s.SetErrorMsg(5, 1);
  ASSERT_GT(n, 0u);
  EXPECT_EQ(0u, Str(s).find("pre:Error Number:  5 - "));
  EXPECT_EQ(std::string("pre:Error Number:  5 - ").size() + n, s.length());
  EXPECT_NE(std::string::npos, Str(s).find("Access denied"));
  UtilsString none;
  EXPECT_EQ(0u, none.SetErrorMsg(0x2FFFFFFF, 0));
  EXPECT_EQ(1, !none);

  UtilsString f("<");
  EXPECT_EQ(7u, f.FormatMessageA(UtilsString("%1 and %2!d!"), "a", 5));
  EXPECT_EQ("<a and 5", Str(f));
  UtilsString cur("%2!s!-%1!d!");
  cur.FormatCurrentString(7, "x");
  EXPECT_EQ("x-7", Str(cur));

  UtilsString noTable("keep");  // this program has no message table
  EXPECT_EQ(0u, noTable.FormatMessageA(GetModuleHandleA(0), 1u, "x"));
  EXPECT_EQ("keep", Str(noTable));

  UtilsString r("[");
  HINSTANCE user32 = GetModuleHandleA("user32.dll");
  int count = r.LoadStringA(user32, 2, 100);
  ASSERT_GT(count, 0);
  EXPECT_EQ(1u + count, r.length());
  UtilsString unlimited;
  EXPECT_EQ(count, unlimited.LoadStringA(user32, 2, 0xFFFFFFFFUL));  // no wrap to 0
  EXPECT_EQ(static_cast<unsigned long>(count), unlimited.length());
  UtilsString shortR;
  EXPECT_EQ(2, shortR.LoadStringA(user32, 2, 2));
  EXPECT_EQ(2u, shortR.length());
  EXPECT_EQ(0, r.LoadStringA(0, 65000, 10));  // no such resource in this program
  EXPECT_EQ(1u + count, r.length());
}

TEST(UtilsStringWide, RoundTripsThroughTheSharedBuffer) {
  UtilsString s("Gr\xFC\xDF" "e");  // code page 1252
  const unsigned short* wide = s.ReturnWideChar();
  EXPECT_EQ(0xFC, wide[2]);
  EXPECT_EQ(0xDF, wide[3]);
  EXPECT_EQ(0, wide[5]);
  UtilsString back;
  back.ConvertFromWideChar(wide, 0);
  EXPECT_TRUE(back == s);
  back.ConvertFromWideChar(wide, 1);
  EXPECT_EQ(10u, back.length());
  std::string longText(3000, 'q');
  UtilsString big(longText);
  const unsigned short* grown = big.w_str();  // larger than the buffer so far
  EXPECT_EQ('q', grown[2999]);
  EXPECT_EQ(0, grown[3000]);
  EXPECT_EQ(longText, Str(s.ReturnStringFromWideString(grown)));
  EXPECT_TRUE(s.GetSTLWString() == std::wstring(L"Gr\u00FC\u00DFe"));
  EXPECT_EQ("Gr\xFC\xDF" "e", Str(UtilsString(s.GetSTLWString())));
  const unsigned char* bytes = s.ReturnByteStr();
  EXPECT_EQ(0xDF, bytes[3]);
  EXPECT_EQ(0, bytes[5]);
  UtilsString unchanged("keep");
  unchanged.ConvertFromWideChar(0, 0);
  EXPECT_EQ("keep", Str(unchanged));
}

TEST(UtilsStringThreads, ConcurrentAppendsKeepEveryCharacter) {
  UtilsString shared;
  const int perThread = 2500;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&shared, t] {
      for (int i = 0; i < perThread; ++i) shared.Append(static_cast<char>('a' + t));
    });
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(4u * perThread, shared.length());
  std::map<char, int> counts;
  for (unsigned long i = 0; i < shared.length(); ++i) counts[shared.RetrieveChar(i)]++;
  ASSERT_EQ(4u, counts.size());
  for (int t = 0; t < 4; ++t) EXPECT_EQ(perThread, counts[static_cast<char>('a' + t)]);
  EXPECT_EQ(0, shared.c_str()[shared.length()]);
}

TEST(UtilsStringThreads, AddingStringsWhileAppendingToTheCurrentOne) {
  UtilsString shared("x");
  std::atomic<bool> adding(true);
  unsigned long appended = 0;
  std::thread appender([&] {
    while (adding) {
      shared.Append('a');
      ++appended;
    }
  });
  for (int i = 0; i < 400; ++i) shared.AddString("added");  // each moves the whole set
  adding = false;
  appender.join();
  EXPECT_EQ(401u, shared.GetNumberOfStrings());
  EXPECT_STREQ("added", shared.GetStringNumber(400));
  EXPECT_EQ(1 + appended, shared.length());
}

}  // namespace
