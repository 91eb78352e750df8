// UtilsString: the set of strings, editing, comparison quirks, the wide case slots,
// find, parse, replace, split, scrambling, system texts and wide conversions.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "UtilsByte"
#include "UtilsString"

namespace {

using UTILS::UtilsString;

TEST(UtilsStringSet, AddRemoveSelectAndCopy) {
  UtilsString three("abc", 3), fromNull(static_cast<const char*>(0), 2);
  EXPECT_EQ(1u, UtilsString(0UL).GetNumberOfStrings());  // a count of 0 is taken as 1
  EXPECT_STREQ("abc", three.GetStringNumber(2));
  EXPECT_EQ(2u, fromNull.GetNumberOfStrings());
  EXPECT_EQ("stl|wide|mem", Str(UtilsString(std::string("stl"))) + "|" +
                                Str(UtilsString(std::wstring(L"wide"))) + "|" +
                                Str(UtilsString(UTILS::MemObject<char>("mem", 0))));
  UtilsString s("zero");
  s.AddString("one");
  s.AddString(std::string("two"));
  EXPECT_EQ(0u, s.GetCurrentString());  // adding does not move the current string
  EXPECT_EQ("two", Str(s[2]));
  s.RemoveString();  // removes "two"; the index falls back onto the new last string
  EXPECT_EQ(1u, s.GetCurrentString());
  s.SetCase(0);
  s.SetMatchStyle(1);
  UtilsString copy(s);
  EXPECT_EQ("one", Str(copy));
  EXPECT_EQ(1, copy.GetCase() == 0 && copy.GetMatchStyle() == 1);
  copy.Append("!");
  EXPECT_EQ("one", Str(s));  // deep copy
  s.RemoveString(0UL);
  s.RemoveString();  // the last string empties instead of disappearing
  EXPECT_EQ(1u, s.GetNumberOfStrings());
  EXPECT_EQ(1, !s);
  std::vector<std::wstring> wide = {L"w1", L"w2"};
  s = wide;
  EXPECT_EQ("w2", Str(s[1]));
  std::vector<char*> none;
  s = none;
  EXPECT_EQ(1u, s.GetNumberOfStrings());
  EXPECT_EQ(1, !s);
  EXPECT_STREQ("UTILS::UtilsString", s.derived_class());
}

TEST(UtilsStringEdit, AppendInsertReplaceTruncate) {
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
  s = "hello";
  s.Insert("XX", 0);
  s.Insert(std::string("--"), 7);
  s.Replace("__", 7);
  EXPECT_EQ("XXhello__", Str(s));
  EXPECT_THROW(s.Replace("abc", 8), std::out_of_range);
  EXPECT_THROW(s.Insert("a", 10), std::out_of_range);
  s.TruncateStringAtPosition(2, 0);
  s--;
  --s;
  EXPECT_EQ("hello", Str(s));
  s.TruncateString(4);
  s.EraseString();
  EXPECT_EQ("Out Of Range Error - 1:0; File:  ..\\..\\Include\\UtilsVector; Line:  501",
            Thrown<std::out_of_range>([&] { s--; }));
}

// The string hands its own case flag and match style to the base rules (Compare.*).
TEST(UtilsStringCompare, CaseFlagMatchStyleAndSignedBytes) {
  UtilsString abc("abc"), registry("Registry");
  EXPECT_TRUE(abc != "ABC" && abc > "ABC" && abc < "abcd" && abc == std::wstring(L"abc"));
  EXPECT_EQ("-1 1 1", std::to_string(abc.Compare("abcd")) + " " +
                          std::to_string(abc.FriendCompare("abcd")) + " " +
                          std::to_string(abc.Compare(static_cast<const char*>(0))));
  EXPECT_TRUE(UtilsString("\xE9") < "A");
  abc.SetCase(0);
  EXPECT_TRUE(abc == "ABC" && abc == std::string("AbC"));
  registry.SetMatchStyle(1);
  EXPECT_TRUE(registry == "gist" && !(registry == "GIST"));
  registry.SetCase(0);
  EXPECT_TRUE(registry == "GIST");
  // Ignoring case subtracts 0x20 from everything that is not A..Z: '[' (0x5B) is above
  // 'A' as a byte and below it (0x3B) after the mapping. The conversions never test.
  UtilsString bracket("[");
  EXPECT_TRUE(bracket > "A");
  bracket.SetCase(0);
  EXPECT_TRUE(bracket < "A");
  const std::string converted = {abc.utoupper('a'), abc.utoupper('A'), abc.utolower('a')};
  EXPECT_EQ("A!\x81", converted);
  EXPECT_EQ(1, abc.isupper('Z') - abc.isupper(static_cast<char>(0xC9)));
}

// The wide slots of the base table keep the base answers; the string's own wide forms
// are separate members, reached through the string.
TEST(UtilsStringCompare, WideCaseFunctionsThroughTheBaseKeepTheBaseAnswers) {
  const unsigned short upperA = L'A', lowerA = L'a';
  UtilsString s;
  const UTILS::UtilsBase<char>& base = s;
  EXPECT_EQ(0, base.isupper(upperA) + base.islower(lowerA));
  EXPECT_EQ(lowerA, base.utoupper(lowerA));
  EXPECT_EQ(upperA, base.utolower(upperA));
  EXPECT_EQ(1, base.isupper('A'));  // the narrow slots are the string's
  EXPECT_EQ('!', base.utoupper('A'));
  EXPECT_EQ(3,
            s.isupper(upperA) + s.islower(lowerA) + s.isupper(static_cast<unsigned short>(0xC9)));
  EXPECT_EQ(upperA, s.utoupper(lowerA));
  EXPECT_EQ(0x21u, s.utoupper(upperA));  // no test of the character
  EXPECT_EQ(lowerA, s.utolower(upperA));
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
  auto same = [dll](const std::string& old, const std::string& now) {
    FARPROC a = GetProcAddress(dll, old.c_str()), b = GetProcAddress(dll, now.c_str());
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
    EXPECT_TRUE(same("_ZNK5UTILS11UtilsString" + form, "_ZN5UTILS11UtilsString" + form)) << form;
    EXPECT_TRUE(same("_ZTv0_n" + std::string(offsets[i]) + "_NK5UTILS11UtilsString" + form,
                     "_ZNK5UTILS9UtilsBaseIcE" + form))
        << form;
  }
}

TEST(UtilsStringText, FindParseReplaceAndSplit) {
  UtilsString s("abab ab");
  EXPECT_EQ(1, s.Search("ab", 1));  // the one after the space
  EXPECT_EQ(0, s.Search("ab", 2));  // offset 2 is back to back with offset 0
  unsigned long at = 0;
  std::string seen;
  for (int ok = s.FindFirst("ab", at); ok; ok = s.FindNext("ab", at)) seen += std::to_string(at);
  EXPECT_EQ("05", seen);
  EXPECT_EQ(1, s.FindAll("ab"));
  ASSERT_EQ(1, s.FindNext("ab", at));  // FindAll left the cursor at 0
  EXPECT_EQ(5u, at);
  UtilsString xab("xab");
  EXPECT_EQ(0, xab.Search("AB"));
  xab.SetCase(0);
  EXPECT_EQ(1, xab.Search("AB"));

  UtilsString p("a::b::::c"), token;
  char out[32];
  seen.clear();
  for (unsigned long i = 0; p.ParseString("::", out, i); ++i) seen += std::string("[") + out + "]";
  for (int ok = p.ParseFirstString("::", token, 1); ok; ok = p.ParseNextString("::", token, 1))
    seen += Str(token);
  for (int ok = p.ParseFirstStringFast("::", token); ok; ok = p.ParseNextStringFast("::", token))
    seen += "<" + Str(token) + ">";
  EXPECT_EQ("[a][b][][c]abc<a><b><><c>", seen);
  ASSERT_EQ(1, p.ParseStringFast("::", out, 1));  // going back restarts the scan
  EXPECT_STREQ("b", out);
  UtilsString whole("whole"), empty;
  ASSERT_EQ(1, whole.ParseString(";", token, 0));
  EXPECT_EQ(0, whole.ParseString(";", out, 1));
  EXPECT_EQ("whole", Str(token));
  ASSERT_EQ(1, empty.ParseString(";", out, 0));
  EXPECT_STREQ("", out);
  UtilsString mixed("aXbxc");
  mixed.SetCase(0);
  ASSERT_EQ(1, mixed.ParseString("x", mixed, 1));  // the output may be the object
  EXPECT_EQ("b", Str(mixed));

  UtilsString r("one two one two");
  ASSERT_EQ(1, r.ReplaceFirst("two", "2"));
  r.ReplaceReset();  // leaves the replace cursor: the next call continues after "2"
  ASSERT_EQ(1, r.ReplaceNext("one", "1"));
  EXPECT_EQ(0, r.ReplaceNext("one", "1"));
  EXPECT_EQ("one 2 1 two", Str(r));
  ASSERT_EQ(1, r.ReplaceAll("o", "oo"));
  EXPECT_EQ(0, r.ReplaceAll("ONE", "x"));
  ASSERT_EQ(1, r.ReplaceAll("ONE", "x", 1));  // flag: ignore case
  ASSERT_EQ(1, r.ReplaceAll(" ", ""));
  EXPECT_EQ("ox21twoo", Str(r));

  UtilsString k("k=v;;x=y"), target;
  k.SplitData(target, UtilsString(";"));
  EXPECT_EQ(3u, target.GetNumberOfStrings());
  EXPECT_STREQ("", target.GetStringNumber(1));
  k.SplitData(UtilsString(";"), 1);
  EXPECT_EQ("k=v|x=y", std::string(k.GetStringNumber(0)) + "|" + k.GetStringNumber(1));
  UtilsString blank;
  blank.SplitData(UtilsString(";"), 1);
  EXPECT_EQ(1u, blank.GetNumberOfStrings());
}

TEST(UtilsStringText, ReverseSortAndScramble) {
  UtilsString s("b\220aC");
  s.Reverse();
  EXPECT_EQ("Ca\220b", Str(s));
  s.Sort();
  EXPECT_EQ("Cab\x90", Str(s));  // unsigned order: 0x90 after ASCII
  UtilsString x("abc");
  x.XORString('b');
  EXPECT_EQ(std::string("\x03\0\x01", 3), std::string(x.c_str(), x.length()));
  UtilsString secret("attack at dawn");
  secret.EncryptString(UtilsString("k3y"));
  EXPECT_EQ('a' ^ 'k', secret.c_str()[0]);
  EXPECT_EQ('t' ^ 'y', secret.c_str()[2]);
  secret.EncryptString(UTILS::UtilsByte(reinterpret_cast<const unsigned char*>("k3y"), 3));
  EXPECT_EQ("attack at dawn", Str(secret));
  EXPECT_THROW(secret.EncryptString(UtilsString()), std::invalid_argument);
}

TEST(UtilsStringText, ErrorTextsFormattingAndResources) {
  UtilsString s("pre:");
  unsigned long n = s.SetErrorMsg(5, 1);
  ASSERT_GT(n, 0u);
  EXPECT_EQ(0u, Str(s).find("pre:Error Number:  5 - "));
  EXPECT_EQ(std::string("pre:Error Number:  5 - ").size() + n, s.length());
  EXPECT_NE(std::string::npos, Str(s).find("Access denied"));
  UtilsString none;
  EXPECT_EQ(0u, none.SetErrorMsg(0x2FFFFFFF, 0));
  EXPECT_EQ(1, !none);
  UtilsString f("<"), cur("%2!s!-%1!d!"), noTable("keep");
  EXPECT_EQ(7u, f.FormatMessageA(UtilsString("%1 and %2!d!"), "a", 5));
  cur.FormatCurrentString(7, "x");
  EXPECT_EQ(0u, noTable.FormatMessageA(GetModuleHandleA(0), 1u, "x"));  // no message table
  EXPECT_EQ("<a and 5|x-7|keep", Str(f) + "|" + Str(cur) + "|" + Str(noTable));
  UtilsString r("["), unlimited, shortR;
  HINSTANCE user32 = GetModuleHandleA("user32.dll");
  int count = r.LoadStringA(user32, 2, 100);
  ASSERT_GT(count, 0);
  EXPECT_EQ(1u + count, r.length());
  EXPECT_EQ(count, unlimited.LoadStringA(user32, 2, 0xFFFFFFFFUL));  // no wrap to 0
  EXPECT_EQ(static_cast<unsigned long>(count), unlimited.length());
  EXPECT_EQ(2, shortR.LoadStringA(user32, 2, 2));
  EXPECT_EQ(2u, shortR.length());
  EXPECT_EQ(0, r.LoadStringA(0, 65000, 10));  // no such resource in this program
  EXPECT_EQ(1u + count, r.length());
}

TEST(UtilsStringWide, RoundTripsThroughTheSharedBuffer) {
  UtilsString s("Gr\374\337e");  // code page 1252
  const unsigned short* wide = s.ReturnWideChar();
  EXPECT_EQ(std::vector<unsigned short>({'G', 'r', 0xFC, 0xDF, 'e', 0}),
            std::vector<unsigned short>(wide, wide + 6));
  UtilsString back;
  back.ConvertFromWideChar(wide, 0);
  back.ConvertFromWideChar(wide, 1);
  EXPECT_EQ(Str(s) + Str(s), Str(back));
  std::string longText(3000, 'q');
  const unsigned short* grown = UtilsString(longText).w_str();  // larger than the buffer so far
  EXPECT_EQ(0, grown[3000]);
  EXPECT_EQ(longText, Str(s.ReturnStringFromWideString(grown)));
  EXPECT_TRUE(s.GetSTLWString() == std::wstring(L"Gr\u00FC\u00DFe"));
  const unsigned char* bytes = s.ReturnByteStr();
  EXPECT_EQ(std::string(Str(s).c_str(), 6), std::string(reinterpret_cast<const char*>(bytes), 6));
  back.ConvertFromWideChar(0, 0);
  EXPECT_EQ(Str(s) + Str(s), Str(back));
}

}  // namespace
