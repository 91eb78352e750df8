// UtilsRegistry against Wine's real registry, under a scratch key of HKEY_CURRENT_USER
// that every test creates and removes. The copies of this program that run as
// Windows 98 and XP show what differs between the 95 line and the NT line.
#include <windows.h>
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CNTAdminObject"
#include "RegistryScratch.h"
#include "UtilsRegistry"
#include "std_exception"

namespace {

using UTILS::UtilsRegistry;
using UTILS::UtilsString;

std::string Str(const UtilsString& s) { return s.GetSTLString(); }

const std::string kRecordHead = "File:  ..\\..\\Include\\UtilsRegistry; Line Number:  ";
const std::string kRecordName = "; Exception Name:  UTILS::std_exception; Type:  204; ";

// The system's own text for an error, as the record carries it.
std::string Described(unsigned long error) {
  UtilsString text;
  text.SetErrorMsg(error, 0);
  return "Error Number: " + std::to_string(error) + "; WinError Description: " + Str(text) + "; ";
}

class Registry : public scratch::Key {};

TEST_F(Registry, BothDesignationsOfEveryRootAndTheRootItself) {
  struct Root {
    HKEY key;
    const char* shortName;
    const char* longName;
  } roots[] = {{HKEY_LOCAL_MACHINE, "HKLM", "HKEY_LOCAL_MACHINE"},
               {HKEY_CURRENT_USER, "HKCU", "HKEY_CURRENT_USER"},
               {HKEY_CLASSES_ROOT, "HKCR", "HKEY_CLASSES_ROOT"},
               {HKEY_USERS, "HKU", "HKEY_USERS"},
               {HKEY_CURRENT_CONFIG, "HKCC", "HKEY_CURRENT_CONFIG"}};
  for (const Root& root : roots) {
    for (int useLong = 0; useLong < 2; ++useLong) {
      const char* designation = useLong ? root.longName : root.shortName;
      UtilsRegistry reg{UtilsString(designation)};
      EXPECT_EQ(root.key, reg.GetCurrentKey()) << designation;
      EXPECT_EQ("", Str(reg.GetRegistryPath(0)));
      EXPECT_EQ(std::string(designation) + "\\", Str(reg.GetRegistryPath(1)));
      EXPECT_EQ(root.shortName, Str(reg.GetRootPath(1)));
      EXPECT_EQ(root.longName, Str(reg.GetRootPath(2)));
      EXPECT_EQ(designation, Str(reg.GetRootPath(0)));
    }
  }
  UtilsRegistry defaults;  // the root of HKEY_LOCAL_MACHINE
  EXPECT_EQ(HKEY_LOCAL_MACHINE, defaults.GetCurrentKey());
  EXPECT_EQ("HKLM\\", Str(defaults.GetRegistryPath(1)));

  UtilsRegistry longForm{UtilsString(("HKEY_CURRENT_USER\\" + m_strRelative).c_str())};
  EXPECT_EQ(m_strRelative + "\\", Str(longForm.GetRegistryPath(0)));
  EXPECT_EQ("HKEY_CURRENT_USER\\" + m_strRelative + "\\", Str(longForm.GetRegistryPath(1)));
  // The path's own designation wins over the root the constructor was given.
  UtilsRegistry named(HKEY_LOCAL_MACHINE, UtilsString(m_strFull.c_str()));
  EXPECT_EQ("HKCU", Str(named.GetRootPath(0)));
  // Without one the path lies below the given root.
  UtilsRegistry relative(HKEY_CURRENT_USER, UtilsString(m_strRelative.c_str()));
  EXPECT_EQ(m_strRelative + "\\", Str(relative.GetRegistryPath(0)));
}

TEST_F(Registry, ConstructorsThrowTheirRecords) {
  try {
    UtilsRegistry reg{UtilsString("Software\\X")};
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(kRecordHead + "299" + kRecordName +
                  "Error Condition:  The registry path is invalid.  No Root Key designation; "
                  "value:  Software\\X\\",
              e.what());
  }
  try {
    UtilsRegistry reg{UtilsString("")};
    FAIL() << "no exception";
  } catch (std::invalid_argument& e) {
    EXPECT_STREQ(
        "Inavlid Argument Passed - Parameter 1 is NULL; File:  ..\\..\\Include\\UtilsRegistry; "
        "Line:  294",
        e.what());
  }
  std::string missing = m_strFull + "\\Missing";
  try {
    UtilsRegistry reg{UtilsString(missing.c_str())};
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(kRecordHead + "315" + kRecordName + Described(ERROR_FILE_NOT_FOUND) +
                  "Error Condition:  Cannot Open Registry Entry:  ; value:  " + m_strRelative +
                  "\\Missing\\",
              e.what());
  }
  try {
    UtilsRegistry reg(HKEY_CURRENT_USER, UtilsString(missing.c_str()));
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(kRecordHead + "257" + kRecordName + Described(ERROR_FILE_NOT_FOUND) +
                  "Error Condition:  Cannot Open Registry Entry:  ",
              e.what());
  }
  // A volatile key takes no lasting subkey: creation fails below it.
  scratch::Make(m_strRelative + "\\Volatile", REG_OPTION_VOLATILE);
  std::string below = m_strFull + "\\Volatile\\Child";
  try {
    UtilsRegistry reg(UtilsString(below.c_str()), 1);
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(kRecordHead + "307" + kRecordName + Described(ERROR_CHILD_MUST_BE_VOLATILE) +
                  "Error Condition:  Cannot Create Registry Entry:  ; value:  " + m_strRelative +
                  "\\Volatile\\Child\\",
              e.what());
  }
  try {
    UtilsRegistry reg(HKEY_CURRENT_USER, UtilsString(below.c_str()), 1, 1);
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(kRecordHead + "249" + kRecordName + Described(ERROR_CHILD_MUST_BE_VOLATILE) +
                  "Error Condition:  Cannot Create Registry Entry:  ",
              e.what());
  }
  EXPECT_FALSE(scratch::Exists(m_strRelative + "\\Volatile\\Child"));
}

TEST_F(Registry, LowerCaseRootFollowsTheCaseFlag) {
  UtilsString lower(("hkcu\\" + m_strRelative).c_str());
  EXPECT_THROW(UtilsRegistry{lower}, UTILS::std_exception);  // case-sensitive by default
  lower.SetCase(0);
  UtilsRegistry reg(lower);
  EXPECT_EQ("HKCU", Str(reg.GetRootPath(0)));
  EXPECT_EQ(m_strRelative + "\\", Str(reg.GetRegistryPath(0)));
}

TEST_F(Registry, ValuesAgainstTheRealRegistry) {
  UtilsRegistry reg{UtilsString(m_strFull.c_str())};
  // A DWORD read as text gives the number of its first byte.
  ASSERT_EQ(1, reg.SetValue(UtilsString("n"), 300UL));
  scratch::Raw raw = scratch::Read(m_strRelative, "n");
  ASSERT_EQ(DWORD(REG_DWORD), raw.type);
  ASSERT_EQ(4u, raw.bytes.size());
  EXPECT_EQ(300u, *reinterpret_cast<DWORD*>(&raw.bytes[0]));
  UtilsString text("old");
  ASSERT_EQ(1, reg.GetValue(UtilsString("n"), text));
  EXPECT_EQ("44", Str(text));
  EXPECT_EQ(unsigned(REG_DWORD), reg.GetValueType());
  unsigned long number = 0;
  ASSERT_EQ(1, reg.GetValue(UtilsString("n"), number));
  EXPECT_EQ(300u, number);

  // The first byte counts as unsigned for binary and big-endian data too.
  unsigned char binary[] = {0xFF, 0x01, 0x02};
  scratch::Write(m_strRelative, "b", REG_BINARY, binary, sizeof binary);
  DWORD bigEndian = 0x01000000;  // first byte 0
  scratch::Write(m_strRelative, "e", REG_DWORD_BIG_ENDIAN, &bigEndian, 4);
  ASSERT_EQ(1, reg.GetValue(UtilsString("b"), text));
  EXPECT_EQ("255", Str(text));
  ASSERT_EQ(1, reg.GetValue(UtilsString("e"), text));
  EXPECT_EQ("0", Str(text));

  // Strings: written with their terminator; unterminated data still reads whole.
  ASSERT_EQ(1, reg.SetValue(UtilsString("s"), UtilsString("text")));
  raw = scratch::Read(m_strRelative, "s");
  EXPECT_EQ(DWORD(REG_SZ), raw.type);
  EXPECT_EQ(std::vector<unsigned char>({'t', 'e', 'x', 't', 0}), raw.bytes);
  ASSERT_EQ(1, reg.GetValue(UtilsString("s"), text));
  EXPECT_EQ("text", Str(text));
  scratch::Write(m_strRelative, "u", REG_EXPAND_SZ, "%raw%", 5);
  ASSERT_EQ(1, reg.GetValue(UtilsString("u"), text));
  EXPECT_EQ("%raw%", Str(text));

  // 254 characters and the terminator fill the 255-byte buffer; one more answers 0,
  // although the second, larger query succeeds.
  std::string fits(254, 'f'), tooLong(255, 'g');
  ASSERT_EQ(1, reg.SetValue(UtilsString("fits"), UtilsString(fits.c_str())));
  ASSERT_EQ(1, reg.SetValue(UtilsString("long"), UtilsString(tooLong.c_str())));
  EXPECT_EQ(256u, scratch::Read(m_strRelative, "long").bytes.size());
  ASSERT_EQ(1, reg.GetValue(UtilsString("fits"), text));
  EXPECT_EQ(fits, Str(text));
  text = "kept";
  EXPECT_EQ(0, reg.GetValue(UtilsString("long"), text));
  EXPECT_EQ(ERROR_SUCCESS, reg.GetLastRegistryError());
  EXPECT_EQ("kept", Str(text));

  // Values of the wrong kind and missing ones.
  number = 7;
  EXPECT_EQ(0, reg.GetValue(UtilsString("fits"), number));  // 255 bytes into 4
  EXPECT_EQ(ERROR_MORE_DATA, reg.GetLastRegistryError());
  EXPECT_EQ(7u, number);
  EXPECT_EQ(0, reg.GetValue(UtilsString("absent"), text));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, reg.GetLastRegistryError());
  EXPECT_EQ(0, reg.GetValue(UtilsString(""), text));
  EXPECT_EQ(0, reg.GetValue(UtilsString(""), number));
  EXPECT_EQ(0, reg.SetValue(UtilsString(""), 1UL));
  EXPECT_EQ(0, reg.SetValue(UtilsString(""), UtilsString("x")));
  EXPECT_EQ(0, reg.DeleteValue(UtilsString("")));

  ASSERT_EQ(1, reg.DeleteValue(UtilsString("s")));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, scratch::Read(m_strRelative, "s").result);
  EXPECT_EQ(0, reg.DeleteValue(UtilsString("s")));
}

TEST_F(Registry, EnumeratesKeysAndValues) {
  for (const char* name : {"A", "B", "C"}) scratch::Make(m_strRelative + "\\" + name);
  DWORD dword = 300;
  scratch::Write(m_strRelative, "d", REG_DWORD, &dword, 4);
  scratch::Write(m_strRelative, "s", REG_SZ, "str", 4);
  std::string bigData(300, 'x');
  scratch::Write(m_strRelative, "big", REG_SZ, bigData.c_str(), 301);

  UtilsRegistry reg{UtilsString(m_strFull.c_str())};
  std::set<std::string> bare, relative, full;
  UtilsString name;
  unsigned long index = 0;
  for (; reg.EnumKey(index, name, 0); ++index) {
    bare.insert(Str(name));
    ASSERT_EQ(1, reg.EnumKey(index, name, 1));
    relative.insert(Str(name));
    ASSERT_EQ(1, reg.EnumKey(index, name, 2));
    full.insert(Str(name));
  }
  EXPECT_EQ(3u, index);
  EXPECT_EQ(ERROR_NO_MORE_ITEMS, reg.GetLastRegistryError());
  EXPECT_EQ(std::set<std::string>({"A", "B", "C"}), bare);
  EXPECT_EQ(1u, relative.count(m_strRelative + "\\B"));
  EXPECT_EQ(1u, full.count(m_strFull + "\\C"));

  // Values: the text form follows the query's rules; data past 256 bytes answers 0.
  std::set<std::string> seen;
  UtilsString value;
  for (index = 0; index < 3; ++index) {
    if (reg.EnumValue(index, name, value, 0)) {
      seen.insert(Str(name) + "=" + Str(value));
    } else {
      // Asked again with room enough, which succeeds, and still answered with 0.
      EXPECT_EQ(ERROR_SUCCESS, reg.GetLastRegistryError());
      seen.insert("(more data)");
    }
  }
  EXPECT_EQ(std::set<std::string>({"d=44", "s=str", "(more data)"}), seen);
  EXPECT_EQ(0, reg.EnumValue(3, name, value, 0));
  EXPECT_EQ(ERROR_NO_MORE_ITEMS, reg.GetLastRegistryError());

  // The 32-bit form reads DWORDs whole and strings that fit in 4 bytes raw.
  std::set<std::string> numbers;
  for (index = 0; index < 3; ++index) {
    unsigned long number = 0;
    if (reg.EnumValue(index, name, number, 2)) numbers.insert(Str(name) + "=" + std::to_string(number));
  }
  EXPECT_EQ(std::set<std::string>({m_strFull + "\\d=300", m_strFull + "\\s=" + std::to_string(0x00727473)}),
            numbers);
}

TEST_F(Registry, CreatesOpensAndMovesDown) {
  UtilsRegistry reg{UtilsString(m_strFull.c_str())};
  std::string deep = m_strFull + "\\a\\b\\c";
  ASSERT_EQ(1, reg.CreateKey(UtilsString(deep.c_str()), 1));
  EXPECT_TRUE(scratch::Exists(m_strRelative + "\\a\\b\\c"));
  EXPECT_EQ(m_strRelative + "\\a\\b\\c\\", Str(reg.GetRegistryPath(0)));
  EXPECT_EQ(unsigned(REG_CREATED_NEW_KEY), reg.GetDisposition());
  ASSERT_EQ(1, reg.SetValue(UtilsString("here"), 1UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative + "\\a\\b\\c", "here").type);
  ASSERT_EQ(1, reg.CreateKey(UtilsString(deep.c_str()), 0));
  EXPECT_EQ(unsigned(REG_OPENED_EXISTING_KEY), reg.GetDisposition());

  // A subkey without moving, then one moving down.
  ASSERT_EQ(1, reg.CreateSubKey(UtilsString("stay"), 0));
  EXPECT_EQ(m_strRelative + "\\a\\b\\c\\", Str(reg.GetRegistryPath(0)));
  EXPECT_TRUE(scratch::Exists(m_strRelative + "\\a\\b\\c\\stay"));
  ASSERT_EQ(1, reg.CreateSubKey(UtilsString("down"), 1));
  EXPECT_EQ(m_strRelative + "\\a\\b\\c\\down\\", Str(reg.GetRegistryPath(0)));
  ASSERT_EQ(1, reg.OpenKey(UtilsString(m_strFull.c_str())));
  ASSERT_EQ(1, reg.OpenSubKey(UtilsString("a")));
  ASSERT_EQ(1, reg.OpenSubKey(UtilsString("b")));
  EXPECT_EQ(m_strFull + "\\a\\b\\", Str(reg.GetRegistryPath(1)));
  EXPECT_EQ(0, reg.OpenSubKey(UtilsString("nope")));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, reg.GetLastRegistryError());
  EXPECT_EQ(m_strFull + "\\a\\b\\", Str(reg.GetRegistryPath(1)));  // unchanged
  // A path without a designation is opened below the root.
  ASSERT_EQ(1, reg.OpenKey(UtilsString((m_strRelative + "\\a").c_str())));
  EXPECT_EQ(m_strRelative + "\\a\\", Str(reg.GetRegistryPath(0)));

  // Empty names and the bare root create nothing; an unknown designation is taken
  // as a key name below the root, and the failed open keeps the object where it was.
  EXPECT_EQ(0, reg.CreateKey(UtilsString("HKCU"), 0));
  EXPECT_EQ(0, reg.CreateKey(UtilsString(""), 1));
  EXPECT_EQ(0, reg.CreateSubKey(UtilsString(""), 1));
  EXPECT_EQ(0, reg.OpenSubKey(UtilsString("")));
  EXPECT_EQ(0, reg.OpenKey(UtilsString("HKXX\\Software")));
  EXPECT_EQ("HKCU", Str(reg.GetRootPath(0)));
  EXPECT_EQ(m_strRelative + "\\a\\", Str(reg.GetRegistryPath(0)));
  ASSERT_EQ(1, reg.SetValue(UtilsString("still"), 2UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative + "\\a", "still").type);
}

TEST_F(Registry, StepwiseCreationStopsWhereTheRegistryRefuses) {
  scratch::Make(m_strRelative + "\\Volatile", REG_OPTION_VOLATILE);
  UtilsRegistry reg{UtilsString(m_strFull.c_str())};
  EXPECT_EQ(0, reg.CreateKey(UtilsString((m_strFull + "\\Volatile\\x\\y").c_str()), 1));
  EXPECT_EQ(ERROR_CHILD_MUST_BE_VOLATILE, reg.GetLastRegistryError());
  // The object stays on the deepest key reached, and its path says so.
  EXPECT_EQ(m_strRelative + "\\Volatile\\", Str(reg.GetRegistryPath(0)));
  ASSERT_EQ(1, reg.SetValue(UtilsString("v"), 1UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative + "\\Volatile", "v").type);
}

TEST_F(Registry, RecursiveDeletionRemovesTheSubtreeAndLeavesTheParent) {
  for (const char* key : {"\\T\\a\\a1\\a11", "\\T\\a\\a2", "\\T\\b", "\\T\\c\\c1"})
    scratch::Make(m_strRelative + key);
  DWORD one = 1;
  for (const char* key : {"\\T", "\\T\\a", "\\T\\a\\a1\\a11", "\\T\\c\\c1"})
    for (const char* value : {"v1", "v2", "v3"}) scratch::Write(m_strRelative + key, value, REG_DWORD, &one, 4);
  scratch::Make(m_strRelative + "\\Sibling");

  UtilsRegistry reg{UtilsString((m_strFull + "\\T").c_str())};
  ASSERT_EQ(1, reg.DeleteKey(1));
  EXPECT_FALSE(scratch::Exists(m_strRelative + "\\T"));
  EXPECT_TRUE(scratch::Exists(m_strRelative + "\\Sibling"));
  EXPECT_EQ(m_strFull + "\\", Str(reg.GetRegistryPath(1)));
  ASSERT_EQ(1, reg.SetValue(UtilsString("onParent"), 1UL));
  EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative, "onParent").type);

  // By path: the object comes back to the key it was on.
  scratch::Make(m_strRelative + "\\U\\deep\\deeper");
  ASSERT_EQ(1, reg.OpenKey(UtilsString((m_strFull + "\\Sibling").c_str())));
  ASSERT_EQ(1, reg.DeleteKey(UtilsString((m_strFull + "\\U").c_str()), 1));
  EXPECT_FALSE(scratch::Exists(m_strRelative + "\\U"));
  EXPECT_EQ(m_strFull + "\\Sibling\\", Str(reg.GetRegistryPath(1)));
  EXPECT_EQ(0, reg.DeleteKey(UtilsString((m_strFull + "\\U").c_str()), 1));
  EXPECT_EQ(0, reg.DeleteKey(UtilsString(""), 1));
  EXPECT_EQ(m_strFull + "\\Sibling\\", Str(reg.GetRegistryPath(1)));

  // The root itself is never deleted.
  UtilsRegistry root{UtilsString("HKCU")};
  EXPECT_EQ(0, root.DeleteKey(0));
  EXPECT_EQ(0, root.DeleteKey(1));
}

// Plain deletion of a key with subkeys: the NT line refuses it; on the 95 line the
// system removes the subtree. Told by the platform the system reports, which on
// releases after XP is still the NT line although the probe calls them unknown.
TEST_F(Registry, PlainDeletionOfAKeyWithSubkeysDiffersByRelease) {
  scratch::Make(m_strRelative + "\\P\\child");
  scratch::Make(m_strRelative + "\\Leaf");
  UtilsRegistry reg{UtilsString((m_strFull + "\\Leaf").c_str())};
  ASSERT_EQ(1, reg.DeleteKey(0));
  EXPECT_FALSE(scratch::Exists(m_strRelative + "\\Leaf"));
  EXPECT_EQ(m_strRelative + "\\", Str(reg.GetRegistryPath(0)));

  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof info;
  ASSERT_TRUE(GetVersionExA(&info));
  ASSERT_EQ(1, reg.OpenKey(UtilsString((m_strFull + "\\P").c_str())));
  int deleted = reg.DeleteKey(0);
  if (info.dwPlatformId == VER_PLATFORM_WIN32_NT) {
    EXPECT_EQ(0, deleted);
    EXPECT_EQ(ERROR_ACCESS_DENIED, reg.GetLastRegistryError());
    EXPECT_TRUE(scratch::Exists(m_strRelative + "\\P\\child"));
  } else {
    EXPECT_EQ(1, deleted);
    EXPECT_FALSE(scratch::Exists(m_strRelative + "\\P"));
  }
  EXPECT_EQ(m_strRelative + "\\", Str(reg.GetRegistryPath(0)));  // on the parent either way
}

TEST_F(Registry, KeyDeletedUnderAnOpenObject) {
  scratch::Make(m_strRelative + "\\Gone\\inner");
  UtilsRegistry reg{UtilsString((m_strFull + "\\Gone").c_str())};
  ASSERT_EQ(ERROR_SUCCESS, scratch::DeleteTree(HKEY_CURRENT_USER, m_strRelative + "\\Gone"));
  UtilsString name, value;
  unsigned long number = 0;
  EXPECT_EQ(0, reg.SetValue(UtilsString("v"), 1UL));
  EXPECT_EQ(ERROR_KEY_DELETED, reg.GetLastRegistryError());
  EXPECT_EQ(0, reg.GetValue(UtilsString("v"), value));
  EXPECT_EQ(0, reg.GetValue(UtilsString("v"), number));
  EXPECT_EQ(0, reg.EnumKey(0, name, 0));
  EXPECT_EQ(0, reg.EnumValue(0, name, value, 0));
  EXPECT_EQ(0, reg.OpenSubKey(UtilsString("inner")));
  EXPECT_EQ(0, reg.CreateSubKey(UtilsString("new"), 1));
  EXPECT_EQ(0, reg.DeleteKey(1));
  EXPECT_FALSE(scratch::Exists(m_strRelative + "\\Gone"));
  EXPECT_TRUE(scratch::Exists(m_strRelative));
}

// On the NT line the object keeps an inheritable duplicate of each key it opens and a
// copy gets its own; elsewhere (the 95 line, and every release the probe does not
// know) the copy shares the handle, and destroying the copy closes it for both.
TEST_F(Registry, CopiesDuplicateOrShareTheKeyByRelease) {
  CNTAdminObject probe;
  DWORD handles = ProcessHandleCount();
  {
    UtilsRegistry reg{UtilsString(m_strFull.c_str())};
    DWORD flags = 0;
    ASSERT_TRUE(GetHandleInformation(reg.GetCurrentKey(), &flags));
    EXPECT_EQ(probe.IsNT() ? DWORD(HANDLE_FLAG_INHERIT) : 0u, flags & HANDLE_FLAG_INHERIT);
    {
      UtilsRegistry copy(reg);
      if (probe.IsNT()) {
        EXPECT_NE(reg.GetCurrentKey(), copy.GetCurrentKey());
        UtilsRegistry assigned;
        assigned = reg;
        EXPECT_NE(reg.GetCurrentKey(), assigned.GetCurrentKey());
        EXPECT_EQ(1, assigned.SetValue(UtilsString("viaAssigned"), 1UL));
      } else {
        EXPECT_EQ(reg.GetCurrentKey(), copy.GetCurrentKey());
      }
      EXPECT_EQ(Str(reg.GetRegistryPath(1)), Str(copy.GetRegistryPath(1)));
      EXPECT_EQ(1, copy.SetValue(UtilsString("viaCopy"), 1UL));
    }
    int written = reg.SetValue(UtilsString("afterCopy"), 1UL);
    if (probe.IsNT()) {
      EXPECT_EQ(1, written);
    } else {
      EXPECT_EQ(0, written);
      EXPECT_EQ(ERROR_INVALID_HANDLE, reg.GetLastRegistryError());
    }
  }
  EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative, "viaCopy").type);
  EXPECT_EQ(handles, ProcessHandleCount());
}

TEST_F(Registry, ARootOfTheCallersOwn) {
  scratch::Make(m_strRelative + "\\own\\sub");
  HKEY own = scratch::Create(m_strRelative + "\\own");
  {
    UtilsRegistry reg(own, UtilsString("sub"));
    EXPECT_EQ("", Str(reg.GetRootPath(0)));
    EXPECT_EQ("\\sub\\", Str(reg.GetRegistryPath(1)));
    ASSERT_EQ(1, reg.SetValue(UtilsString("v"), 5UL));
    EXPECT_EQ(DWORD(REG_DWORD), scratch::Read(m_strRelative + "\\own\\sub", "v").type);
    ASSERT_EQ(1, reg.DeleteKey(0));
    EXPECT_FALSE(scratch::Exists(m_strRelative + "\\own\\sub"));
    EXPECT_EQ(own, reg.GetCurrentKey());
  }
  // The destructor closed the current key, which was the caller's root.
  EXPECT_NE(ERROR_SUCCESS, RegSetValueExA(own, "x", 0, REG_SZ, reinterpret_cast<const BYTE*>(""), 1));
}

// One object shared by several threads: writers on the current key while another
// thread moves the object between two keys. Every write lands in one of the two keys,
// none is lost and no handle is left behind.
TEST_F(Registry, OneObjectFromSeveralThreads) {
  scratch::Make(m_strRelative + "\\other");
  DWORD handles = ProcessHandleCount();
  {
    UtilsRegistry reg{UtilsString(m_strFull.c_str())};
    const int kWriters = 3, kWrites = 150;
    std::vector<std::thread> threads;
    std::vector<int> failures(kWriters + 1, 0);
    for (int t = 0; t < kWriters; ++t)
      threads.emplace_back([&, t] {
        for (int i = 0; i < kWrites; ++i) {
          std::string name = "t" + std::to_string(t) + "_" + std::to_string(i);
          if (!reg.SetValue(UtilsString(name.c_str()), static_cast<unsigned long>(i))) ++failures[t];
          UtilsString text;
          reg.GetValue(UtilsString(name.c_str()), text);
          reg.EnumValue(0, text, text, 1);
        }
      });
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        if (!reg.OpenSubKey(UtilsString("other"))) ++failures[kWriters];
        if (!reg.OpenKey(UtilsString(m_strFull.c_str()))) ++failures[kWriters];
      }
    });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(std::vector<int>(kWriters + 1, 0), failures);
    EXPECT_EQ(unsigned(kWriters * kWrites),
              scratch::CountValues(m_strRelative) + scratch::CountValues(m_strRelative + "\\other"));
  }
  EXPECT_EQ(handles, ProcessHandleCount());
}

}  // namespace
