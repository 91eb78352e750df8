// UtilsRegistry against Wine's real registry, under a scratch key of HKEY_CURRENT_USER
// that every test creates and removes. The copies of this program that run as
// Windows 98 and XP show what differs between the 95 line and the NT line.
#include <gtest/gtest.h>
#include <windows.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "CNTAdminObject"
#include "Scratch.h"
#include "TestSupport.h"
#include "UtilsRegistry"
#include "std_exception"

namespace {

using UTILS::UtilsRegistry;
using UTILS::UtilsString;

// The record of a constructor's exception, with the system's text for `error`.
std::string Record(int line, unsigned long error, const std::string& condition) {
  return ::Record("UtilsRegistry", 204, line, error, condition);
}

class Registry : public scratch::Key {};

TEST_F(Registry, BothDesignationsOfEveryRootAndTheRootItself) {
  const struct {
    HKEY key;
    const char *shortName, *longName;
  } roots[] = {{HKEY_LOCAL_MACHINE, "HKLM", "HKEY_LOCAL_MACHINE"},
               {HKEY_CURRENT_USER, "HKCU", "HKEY_CURRENT_USER"},
               {HKEY_CLASSES_ROOT, "HKCR", "HKEY_CLASSES_ROOT"},
               {HKEY_USERS, "HKU", "HKEY_USERS"},
               {HKEY_CURRENT_CONFIG, "HKCC", "HKEY_CURRENT_CONFIG"}};
  for (const auto& root : roots) {
    for (const char* designation : {root.shortName, root.longName}) {
      UtilsRegistry reg{UtilsString(designation)};
      EXPECT_EQ(root.key, reg.GetCurrentKey()) << designation;
      EXPECT_EQ("", Str(reg.GetRegistryPath(0)));
      EXPECT_EQ(std::string(designation) + "\\", Str(reg.GetRegistryPath(1)));
      EXPECT_EQ(root.shortName, Str(reg.GetRootPath(1)));
      EXPECT_EQ(root.longName, Str(reg.GetRootPath(2)));
      EXPECT_EQ(designation, Str(reg.GetRootPath(0)));
    }
  }
  EXPECT_EQ(HKEY_LOCAL_MACHINE, UtilsRegistry().GetCurrentKey());
  // The path's own designation wins over the root given; without one it lies below it.
  UtilsRegistry named(HKEY_LOCAL_MACHINE, U("HKEY_CURRENT_USER\\" + m_strRelative));
  EXPECT_EQ("HKEY_CURRENT_USER\\" + m_strRelative + "\\", Str(named.GetRegistryPath(1)));
  UtilsRegistry relative(HKEY_CURRENT_USER, U(m_strRelative));
  EXPECT_EQ(m_strRelative + "\\", Str(relative.GetRegistryPath(0)));
  // A lower-case designation counts only where the path ignores case.
  UtilsString lower(("hkcu\\" + m_strRelative).c_str());
  EXPECT_THROW(UtilsRegistry{lower}, UTILS::std_exception);
  lower.SetCase(0);
  EXPECT_EQ(m_strFull + "\\", Str(UtilsRegistry(lower).GetRegistryPath(1)));
}

TEST_F(Registry, ConstructorsThrowTheirRecords) {
  EXPECT_EQ(Record(299, 0,
                   "The registry path is invalid.  No Root Key designation; value:  Software\\X\\"),
            Thrown<UTILS::std_exception>([] { UtilsRegistry reg(UtilsString("Software\\X")); }));
  EXPECT_EQ(
      "Inavlid Argument Passed - Parameter 1 is NULL; File:  ..\\..\\Include\\UtilsRegistry; Line: "
      " 294",
      Thrown<std::invalid_argument>([] { UtilsRegistry reg(UtilsString("")); }));
  std::string missing = m_strFull + "\\Missing";
  EXPECT_EQ(Record(315, ERROR_FILE_NOT_FOUND,
                   "Cannot Open Registry Entry:  ; value:  " + m_strRelative + "\\Missing\\"),
            Thrown<UTILS::std_exception>([&] { UtilsRegistry reg(U(missing)); }));
  EXPECT_EQ(
      Record(257, ERROR_FILE_NOT_FOUND, "Cannot Open Registry Entry:  "),
      Thrown<UTILS::std_exception>([&] { UtilsRegistry reg(HKEY_CURRENT_USER, U(missing)); }));
  // A volatile key takes no lasting subkey: creation fails below it.
  scratch::Make(m_strRelative + "\\Volatile", REG_OPTION_VOLATILE);
  std::string below = m_strFull + "\\Volatile\\Child";
  EXPECT_EQ(
      Record(307, ERROR_CHILD_MUST_BE_VOLATILE,
             "Cannot Create Registry Entry:  ; value:  " + m_strRelative + "\\Volatile\\Child\\"),
      Thrown<UTILS::std_exception>([&] { UtilsRegistry reg(U(below), 1); }));
  EXPECT_EQ(
      Record(249, ERROR_CHILD_MUST_BE_VOLATILE, "Cannot Create Registry Entry:  "),
      Thrown<UTILS::std_exception>([&] { UtilsRegistry reg(HKEY_CURRENT_USER, U(below), 1, 1); }));
}

TEST_F(Registry, ValuesAgainstTheRealRegistry) {
  UtilsRegistry reg(U(m_strFull));
  std::string bytes;
  UtilsString text("old");
  unsigned long number = 0;
  // A DWORD read as text gives the number of its first byte, unsigned.
  ASSERT_EQ(1, reg.SetValue(U("n"), 300UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::ReadType(m_strRelative, "n", &bytes));
  EXPECT_EQ(std::string("\x2c\x01\0\0", 4), bytes);
  ASSERT_EQ(1, reg.GetValue(U("n"), text));
  EXPECT_EQ("44", Str(text));
  EXPECT_EQ(unsigned(REG_DWORD), reg.GetValueType());
  ASSERT_EQ(1, reg.GetValue(U("n"), number));
  EXPECT_EQ(300u, number);
  scratch::Make(m_strRelative, 0, "b", REG_BINARY, "\xFF\x01", 2);
  ASSERT_EQ(1, reg.GetValue(U("b"), text));
  EXPECT_EQ("255", Str(text));
  // Strings are written with their terminator and read whole, unexpanded.
  ASSERT_EQ(1, reg.SetValue(U("s"), U("text")));
  EXPECT_EQ(DWORD(REG_SZ), scratch::ReadType(m_strRelative, "s", &bytes));
  EXPECT_EQ(std::string("text", 5), bytes);
  scratch::Make(m_strRelative, 0, "u", REG_EXPAND_SZ, "%raw%", 5);  // no terminator stored
  ASSERT_EQ(1, reg.GetValue(U("u"), text));
  EXPECT_EQ("%raw%", Str(text));
  // 254 characters and the terminator fill the 255-byte buffer; one more answers 0,
  // although the second, larger query succeeds.
  ASSERT_EQ(1, reg.SetValue(U("fits"), U(std::string(254, 'f'))));
  ASSERT_EQ(1, reg.SetValue(U("long"), U(std::string(255, 'g'))));
  ASSERT_EQ(1, reg.GetValue(U("fits"), text));
  EXPECT_EQ(std::string(254, 'f'), Str(text));
  EXPECT_EQ(0, reg.GetValue(U("long"), text));
  EXPECT_EQ(ERROR_SUCCESS, reg.GetLastRegistryError());
  EXPECT_EQ(std::string(254, 'f'), Str(text));
  // Wrong kinds, missing values and empty names.
  EXPECT_EQ(0, reg.GetValue(U("fits"), number));
  EXPECT_EQ(ERROR_MORE_DATA, reg.GetLastRegistryError());
  EXPECT_EQ(0, reg.GetValue(U("absent"), text));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, reg.GetLastRegistryError());
  EXPECT_EQ(0, reg.GetValue(U(""), text) + reg.GetValue(U(""), number) + reg.SetValue(U(""), 1UL) +
                   reg.SetValue(U(""), U("x")) + reg.DeleteValue(U("")));
  ASSERT_EQ(1, reg.DeleteValue(U("s")));
  EXPECT_EQ(0u, scratch::ReadType(m_strRelative, "s"));
  EXPECT_EQ(0, reg.DeleteValue(U("s")));
}

TEST_F(Registry, EnumeratesKeysAndValues) {
  for (const char* name : {"A", "B"}) scratch::Make(m_strRelative + "\\" + name);
  DWORD dword = 300;
  scratch::Make(m_strRelative, 0, "d", REG_DWORD, &dword, 4);
  scratch::Make(m_strRelative, 0, "s", REG_SZ, "str", 4);
  scratch::Make(m_strRelative, 0, "big", REG_SZ, std::string(300, 'x').c_str(), 301);
  UtilsRegistry reg(U(m_strFull));
  std::set<std::string> keys, values, numbers;
  UtilsString name, value;
  for (unsigned long i = 0, withPath = 0; reg.EnumKey(i, name, withPath); ++i, ++withPath)
    keys.insert(Str(name));
  EXPECT_EQ(ERROR_NO_MORE_ITEMS, reg.GetLastRegistryError());
  EXPECT_EQ(std::set<std::string>({"A", m_strRelative + "\\B"}), keys);  // Wine sorts subkeys
  for (unsigned long i = 0; i < 3; ++i) {
    unsigned long number = 0;
    // Data past 256 bytes answers 0, although the second call with room enough succeeds.
    values.insert(reg.EnumValue(i, name, value, 0)
                      ? Str(name) + "=" + Str(value)
                      : "more data, " + std::to_string(reg.GetLastRegistryError()));
    if (reg.EnumValue(i, name, number, 2)) numbers.insert(Str(name) + "=" + std::to_string(number));
  }
  EXPECT_EQ(0, reg.EnumValue(3, name, value, 0));
  EXPECT_EQ(std::set<std::string>({"d=44", "s=str", "more data, 0"}), values);
  // The 32-bit form reads a DWORD whole, and a string that fits in 4 bytes raw.
  EXPECT_EQ(std::set<std::string>(
                {m_strFull + "\\d=300", m_strFull + "\\s=" + std::to_string(0x00727473)}),
            numbers);
}

TEST_F(Registry, CreatesOpensAndMovesDown) {
  UtilsRegistry reg(U(m_strFull));
  ASSERT_EQ(1, reg.CreateKey(U(m_strFull + "\\a\\b\\c"), 1));
  EXPECT_TRUE(scratch::KeyExists(m_strRelative + "\\a\\b\\c"));
  EXPECT_EQ(m_strRelative + "\\a\\b\\c\\", Str(reg.GetRegistryPath(0)));
  EXPECT_EQ(unsigned(REG_CREATED_NEW_KEY), reg.GetDisposition());
  ASSERT_EQ(1, reg.CreateKey(U(m_strFull + "\\a\\b\\c"), 0));
  EXPECT_EQ(unsigned(REG_OPENED_EXISTING_KEY), reg.GetDisposition());
  ASSERT_EQ(1, reg.CreateSubKey(U("stay"), 0));
  EXPECT_TRUE(scratch::KeyExists(m_strRelative + "\\a\\b\\c\\stay"));
  ASSERT_EQ(1, reg.CreateSubKey(U("down"), 1));
  EXPECT_EQ(m_strRelative + "\\a\\b\\c\\down\\", Str(reg.GetRegistryPath(0)));
  ASSERT_EQ(1, reg.OpenKey(U(m_strRelative)));  // below the root
  ASSERT_EQ(1, reg.OpenSubKey(U("a")));
  EXPECT_EQ(0, reg.OpenSubKey(U("nope")));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, reg.GetLastRegistryError());
  // Empty names and the bare root create nothing; an unknown designation is a key
  // name below the root; failures keep the object where it was.
  EXPECT_EQ(0, reg.CreateKey(U("HKCU"), 0) + reg.CreateKey(U(""), 1) + reg.CreateSubKey(U(""), 1) +
                   reg.OpenSubKey(U("")) + reg.OpenKey(U("HKXX\\Software")));
  EXPECT_EQ(m_strFull + "\\a\\", Str(reg.GetRegistryPath(1)));
  ASSERT_EQ(1, reg.SetValue(U("here"), 2UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::ReadType(m_strRelative + "\\a", "here"));
  // A stepwise creation that the registry refuses part-way stays on the deepest key.
  scratch::Make(m_strRelative + "\\Volatile", REG_OPTION_VOLATILE);
  EXPECT_EQ(0, reg.CreateKey(U(m_strFull + "\\Volatile\\x\\y"), 1));
  EXPECT_EQ(ERROR_CHILD_MUST_BE_VOLATILE, reg.GetLastRegistryError());
  EXPECT_EQ(m_strRelative + "\\Volatile\\", Str(reg.GetRegistryPath(0)));
  ASSERT_EQ(1, reg.SetValue(U("v"), 1UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::ReadType(m_strRelative + "\\Volatile", "v"));
}

TEST_F(Registry, DeletionRecursivePlainAndBehindTheObjectsBack) {
  DWORD one = 1;
  for (const char* key : {"\\T", "\\T\\a", "\\T\\a\\a1\\a11", "\\T\\a\\a2", "\\T\\b", "\\T\\c\\c1"})
    for (const char* value : {"v1", "v2", "v3"})
      scratch::Make(m_strRelative + key, 0, value, REG_DWORD, &one, 4);
  scratch::Make(m_strRelative + "\\U\\deep\\deeper");
  scratch::Make(m_strRelative + "\\Sibling");
  UtilsRegistry reg(U(m_strFull + "\\T"));
  ASSERT_EQ(1, reg.DeleteKey(1));
  EXPECT_FALSE(scratch::KeyExists(m_strRelative + "\\T"));
  EXPECT_EQ(m_strFull + "\\", Str(reg.GetRegistryPath(1)));
  ASSERT_EQ(1, reg.SetValue(U("onParent"), 1UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::ReadType(m_strRelative, "onParent"));
  // By path: the object comes back to the key it was on.
  ASSERT_EQ(1, reg.OpenKey(U(m_strFull + "\\Sibling")));
  ASSERT_EQ(1, reg.DeleteKey(U(m_strFull + "\\U"), 1));
  EXPECT_FALSE(scratch::KeyExists(m_strRelative + "\\U"));
  EXPECT_TRUE(scratch::KeyExists(m_strRelative + "\\Sibling"));
  EXPECT_EQ(0, reg.DeleteKey(U(m_strFull + "\\U"), 1) + reg.DeleteKey(U(""), 1));
  EXPECT_EQ(m_strFull + "\\Sibling\\", Str(reg.GetRegistryPath(1)));
  // The root itself is never deleted.
  UtilsRegistry root(UtilsString("HKCU"));
  EXPECT_EQ(0, root.DeleteKey(0) + root.DeleteKey(1));
  // A key deleted behind an open object's back: every call answers 0.
  scratch::Make(m_strRelative + "\\Gone\\inner");
  UtilsRegistry gone(U(m_strFull + "\\Gone"));
  ASSERT_EQ(ERROR_SUCCESS, scratch::DeleteTree(HKEY_CURRENT_USER, m_strRelative + "\\Gone"));
  EXPECT_EQ(0, gone.SetValue(U("v"), 1UL));
  EXPECT_EQ(ERROR_KEY_DELETED, gone.GetLastRegistryError());
  UtilsString name, value;
  unsigned long number = 0;
  EXPECT_EQ(0, gone.GetValue(U("v"), value) + gone.GetValue(U("v"), number) +
                   gone.EnumKey(0, name, 0) + gone.EnumValue(0, name, value, 0) +
                   gone.OpenSubKey(U("inner")) + gone.CreateSubKey(U("new"), 1) +
                   gone.DeleteKey(1));
  EXPECT_FALSE(scratch::KeyExists(m_strRelative + "\\Gone"));
  // Plain deletion of a key with subkeys: the NT line refuses it, the 95 line removes the
  // subtree. Told by the platform the system reports, which after XP is still the NT
  // line although the probe calls those releases unknown.
  scratch::Make(m_strRelative + "\\P\\child");
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof info;
  ASSERT_TRUE(GetVersionExA(&info));
  UtilsRegistry plain(U(m_strFull + "\\P"));
  bool nt = info.dwPlatformId == VER_PLATFORM_WIN32_NT;
  EXPECT_EQ(nt ? 0 : 1, plain.DeleteKey(0));
  EXPECT_EQ(nt ? ERROR_ACCESS_DENIED : ERROR_SUCCESS, plain.GetLastRegistryError());
  EXPECT_EQ(nt, scratch::KeyExists(m_strRelative + "\\P\\child"));
  EXPECT_EQ(m_strRelative + "\\", Str(plain.GetRegistryPath(0)));  // on the parent either way
}

// On the NT line the object keeps an inheritable duplicate of each key it opens and a
// copy gets its own; elsewhere (the 95 line, and every release the probe does not
// know) the copy shares the handle, and destroying the copy closes it for both.
TEST_F(Registry, CopiesDuplicateOrShareTheKeyByRelease) {
  bool nt = CNTAdminObject().IsNT() != 0;
  DWORD handles = ProcessHandleCount();
  {
    UtilsRegistry reg(U(m_strFull));
    DWORD flags = 0;
    ASSERT_TRUE(GetHandleInformation(reg.GetCurrentKey(), &flags));
    EXPECT_EQ(nt ? DWORD(HANDLE_FLAG_INHERIT) : 0u, flags & HANDLE_FLAG_INHERIT);
    {
      UtilsRegistry copy(reg);
      EXPECT_EQ(nt, reg.GetCurrentKey() != copy.GetCurrentKey());
      EXPECT_EQ(Str(reg.GetRegistryPath(1)), Str(copy.GetRegistryPath(1)));
      EXPECT_EQ(1, copy.SetValue(U("viaCopy"), 1UL));
      if (nt) {
        UtilsRegistry assigned;
        assigned = reg;
        EXPECT_NE(reg.GetCurrentKey(), assigned.GetCurrentKey());
      }
    }
    EXPECT_EQ(nt ? 1 : 0, reg.SetValue(U("afterCopy"), 1UL));
    EXPECT_EQ(nt ? ERROR_SUCCESS : ERROR_INVALID_HANDLE, reg.GetLastRegistryError());
  }
  EXPECT_EQ(DWORD(REG_DWORD), scratch::ReadType(m_strRelative, "viaCopy"));
  EXPECT_EQ(handles, ProcessHandleCount());
}

// One object shared by several threads: writers on the current key while another
// thread moves the object between two keys. Every write lands in one of the two keys,
// none is lost and no handle is left behind. A short round first lets the system set
// up what it makes once, the first time its own locks are contended.
TEST_F(Registry, OneObjectFromSeveralThreads) {
  scratch::Make(m_strRelative + "\\other");
  const int kWriters = 3;
  auto round = [&](const std::string& prefix, int writes) {
    UtilsRegistry reg(U(m_strFull));
    std::vector<int> failures(kWriters + 1, 0);
    RunOnThreads(kWriters + 1, [&](int t) {
      for (int i = 0; i < writes; ++i) {
        if (t == kWriters) {  // the one that moves the object
          failures[t] += !reg.OpenSubKey(U("other")) || !reg.OpenKey(U(m_strFull));
          continue;
        }
        UtilsString name((prefix + std::to_string(t) + "_" + std::to_string(i)).c_str()), text;
        failures[t] += !reg.SetValue(name, static_cast<unsigned long>(i));
        reg.GetValue(name, text);
        reg.EnumValue(0, text, text, 1);
      }
    });
    EXPECT_EQ(std::vector<int>(kWriters + 1, 0), failures);
  };
  round("warm", 10);
  DWORD handles = ProcessHandleCount();
  round("t", 150);
  EXPECT_EQ(handles, ProcessHandleCount());
  EXPECT_EQ(DWORD(kWriters * 160),
            scratch::CountValues(m_strRelative) + scratch::CountValues(m_strRelative + "\\other"));
}

}  // namespace
