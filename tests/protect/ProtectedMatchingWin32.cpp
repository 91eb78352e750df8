// The matching rules as a client meets them, on the lists of the running release (run
// under one release of each line): case and separators, whole components, the
// reached-ancestor marking, the registry's root designations and its leaf-only keys,
// and CVKUObject::IsProtected.
#include <windows.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/ListSupport.h"

using namespace listtest;

namespace {

class ProtectedMatching : public testing::Test {
 protected:
  void SetUp() override {
    CNTAdminObject probe;
    m_Pair = ExpectedPair(probe.GetOS());
    ASSERT_NE(0, m_Pair.files) << "these rules need a release with lists";
    HMODULE library = GetModuleHandleA("VKLinkDB.dll");
    for (const std::string& line : Lines(ResourceText(library, m_Pair.files, "WIN_FILES"))) m_Files.insert(line);
    m_Keys = Lines(ResourceText(library, m_Pair.keys, "WIN_REGS"));
    ASSERT_TRUE(m_Files.count("%SystemDir%\\kernel32.dll") && m_Files.count("%WindowsDir%\\win.ini"));
    ASSERT_NE(nullptr, m_Db.get());
  }
  bool KeyListed(const std::string& key) const { return std::find(m_Keys.begin(), m_Keys.end(), key) != m_Keys.end(); }
  int AskKey(const std::string& key) { return m_Db.Key(key)->IsProtected(); }

  Pair m_Pair = {0, 0};
  PathSet m_Files;
  std::vector<std::string> m_Keys;
  ScratchDatabase m_Db;
};

std::string Doubled(std::string path) {
  for (size_t at = path.find('\\'); at != std::string::npos; at = path.find('\\', at + 2)) path.insert(at, "\\");
  return path;
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return static_cast<char>(tolower(c)); });
  return text;
}

}  // namespace

TEST_F(ProtectedMatching, AListedFileAnswersInAnyCaseAndWithAnySeparators) {
  const std::string kernel = SystemDir() + "kernel32.dll", winIni = WindowsDir() + "win.ini";
  const struct {
    std::string path;
    int answer;
  } cases[] = {
      {kernel, 1},
      {Lower(SystemDir()) + "KERNEL32.Dll", 1},
      {Doubled(kernel), 1},
      {"\\" + winIni + "\\", 1},
      {kernel + "\\more", 0},          // one more component
      {SystemDir() + "kernel32", 0},   // components compare whole
      {"Q" + winIni.substr(1), 0},     // another drive
      {"win.ini", 0},                  // not a full path
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.answer, IsProtectedPath(c.path.c_str())) << c.path;
    EXPECT_EQ(c.answer, IsProtectedPath(c.path.c_str())) << c.path << " asked again";
  }
}

TEST_F(ProtectedMatching, TheWindowsDirectoryAnswersZeroAndThenOne) {
  for (std::string dir : {WindowsDir(), SystemDir()}) {
    dir.pop_back();
    EXPECT_EQ(0, IsProtectedPath(dir.c_str())) << dir;
    EXPECT_EQ(1, IsProtectedPath(dir.c_str())) << dir;
    EXPECT_EQ(1, IsProtectedPath((dir + "\\").c_str())) << dir;
  }
}

TEST_F(ProtectedMatching, RegistryRootsInLongAndShortForm) {
  ASSERT_TRUE(KeyListed("HKLM\\Software\\Microsoft") && KeyListed("HKCU\\Software") && KeyListed("HKLM\\System"));
  // The long designation is shortened: both forms reach one node, whose first question
  // marks it.
  EXPECT_EQ(0, AskKey("HKEY_LOCAL_MACHINE\\Software\\Microsoft"));
  EXPECT_EQ(1, AskKey("HKLM\\Software\\Microsoft"));
  EXPECT_EQ(1, AskKey("HKEY_LOCAL_MACHINE\\SOFTWARE\\microsoft"));
  EXPECT_EQ(0, AskKey("HKEY_CURRENT_USER\\Software"));
  EXPECT_EQ(1, AskKey("HKCU\\Software"));
  EXPECT_EQ(0, AskKey("HKLM\\system"));
  EXPECT_EQ(1, AskKey("HKEY_LOCAL_MACHINE\\SYSTEM"));
  // The root designation is compared with its exact case: a lower-case long form is
  // neither shortened nor found.
  EXPECT_EQ(0, AskKey("hkey_local_machine\\Software\\Microsoft"));
  EXPECT_EQ(0, AskKey("hkey_local_machine\\Software\\Microsoft"));
}

TEST_F(ProtectedMatching, AKeyListedOnlyAsALeafNeverMatchesByName) {
  std::string leaf;
  for (size_t i = 0; i + 1 < m_Keys.size() && leaf.empty(); ++i) {
    const std::string& line = m_Keys[i];
    if (line.compare(0, 5, "HKLM\\") == 0 && m_Keys[i + 1].compare(0, line.size() + 1, line + "\\") != 0) leaf = line;
  }
  ASSERT_FALSE(leaf.empty());
  const std::string longForm = "HKEY_LOCAL_MACHINE" + leaf.substr(4);
  EXPECT_EQ(0, AskKey(longForm)) << leaf;
  EXPECT_EQ(0, AskKey(longForm)) << leaf;
  EXPECT_EQ(1, AskKey(longForm + "\r")) << leaf;
}

TEST_F(ProtectedMatching, OtherRootsAreLookedUpAsTheyStand) {
  for (const char* key : {"HKEY_USERS\\.DEFAULT\\Software", "HKEY_CLASSES_ROOT\\.txt", "HKEY_CURRENT_CONFIG\\System",
                          "HKU\\.DEFAULT", "HKCR"}) {
    EXPECT_EQ(0, AskKey(key)) << key;
    EXPECT_EQ(0, AskKey(key)) << key;
  }
}

TEST_F(ProtectedMatching, IsProtectedAsksByTheObjectsFullPath) {
  std::string kernel = SystemDir() + "kernel32.dll";
  EXPECT_EQ(1, m_Db.File(kernel)->IsProtected());
  EXPECT_EQ(1, m_Db.File(Lower(kernel))->IsProtected());
  EXPECT_EQ(0, m_Db.File(SystemDir() + "not-a-system-file.dll")->IsProtected());
  // No full path: a name-only file, a file without parent, an empty handle.
  CVKUObject* vfile = m_Db.get()->AddObject(const_cast<char*>("kernel32.dll"), VKU_TYPE_VFILE, 0, 0, nullptr, 0);
  ASSERT_NE(nullptr, vfile);
  EXPECT_EQ(0, vfile->IsProtected());
  vfile->Release();
  CVKUObject* orphan = m_Db.get()->AddObject(const_cast<char*>("kernel32.dll"), 2, 0, 0, nullptr, 0);
  ASSERT_NE(nullptr, orphan);
  EXPECT_EQ(0, orphan->IsProtected());
  orphan->Release();
  CVKUObject empty;
  EXPECT_EQ(0, empty.IsProtected());
}
