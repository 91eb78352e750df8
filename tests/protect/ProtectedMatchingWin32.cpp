// The matching rules as a client meets them, on the lists of the running release (run
// under one release of each line): case and separators, whole components, the
// reached-ancestor marking, the registry's root designations and its leaf-only keys,
// and CVKUObject::IsProtected.
#include <windows.h>
#include <gtest/gtest.h>

#include <string>

#include "support/ListSupport.h"

using namespace listtest;

namespace {

class ProtectedMatching : public testing::Test {
 protected:
  void SetUp() override {
    const Pair pair = ExpectedPair(CNTAdminObject().GetOS());
    ASSERT_NE(0, pair.files) << "these rules need a release with lists";
    keys = Lines(ResourceText(GetModuleHandleA("VKLinkDB.dll"), pair.keys, "WIN_REGS"));
    ASSERT_NE(nullptr, db.get());
  }
  // Asked twice: the answers of the first and of the second question.
  std::pair<int, int> Twice(const std::string& key) { return {db.Key(key)->IsProtected(), db.Key(key)->IsProtected()}; }

  std::vector<std::string> keys;
  ScratchDatabase db;
};

typedef std::pair<int, int> Answers;

}  // namespace

TEST_F(ProtectedMatching, FilePaths) {
  const std::string sys = SystemDir(), win = WindowsDir();
  std::string lower = sys;
  CharLowerA(&lower[0]);
  const struct {
    std::string path;
    Answers answers;
  } cases[] = {
      {sys + "kernel32.dll", {1, 1}},
      {lower + "KERNEL32.Dll", {1, 1}},
      {"\\\\" + win + "\\\\win.ini\\", {1, 1}},
      {sys + "kernel32.dll\\more", {0, 0}},  // one more component
      {sys + "kernel32", {0, 0}},
      {"win.ini", {0, 0}},
      {win.substr(0, win.size() - 1), {0, 1}},  // the Windows directory: marked by the first question
      {sys, {0, 1}},
  };
  for (const auto& c : cases) {
    int first = IsProtectedPath(c.path.c_str());
    EXPECT_EQ(c.answers, Answers(first, IsProtectedPath(c.path.c_str()))) << c.path;
  }
}

TEST_F(ProtectedMatching, RegistryKeys) {
  // The first HKLM key listed only as a leaf (its next line is not below it).
  std::string leaf;
  for (size_t i = 0; i + 1 < keys.size() && leaf.empty(); ++i)
    if (keys[i].compare(0, 5, "HKLM\\") == 0 && keys[i + 1].compare(0, keys[i].size() + 1, keys[i] + "\\") != 0)
      leaf = "HKEY_LOCAL_MACHINE" + keys[i].substr(4);
  ASSERT_FALSE(leaf.empty());
  const struct {
    std::string key;
    Answers answers;
  } cases[] = {
      {"HKEY_LOCAL_MACHINE\\Software\\Microsoft", {0, 1}},  // an ancestor, by the long form
      {"HKLM\\SOFTWARE\\microsoft", {1, 1}},                // the same node, by the short form
      {"HKEY_CURRENT_USER\\Software", {0, 1}},
      {"hkey_local_machine\\System", {0, 0}},  // the root's case counts: not shortened
      {leaf, {0, 0}},
      {leaf + "\r", {1, 1}},
      {"HKEY_USERS\\.DEFAULT\\Software", {0, 0}},  // other roots stand as they are
      {"HKEY_CLASSES_ROOT\\.txt", {0, 0}},
      {"HKEY_CURRENT_CONFIG\\System", {0, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.answers, Twice(c.key)) << c.key;
}

TEST_F(ProtectedMatching, ObjectsAnswerByTheirFullPath) {
  EXPECT_EQ(1, db.File(SystemDir() + "kernel32.dll")->IsProtected());
  EXPECT_EQ(0, db.File(SystemDir() + "not-a-system-file.dll")->IsProtected());
  EXPECT_EQ(0, db.Add("kernel32.dll", VKU_TYPE_VFILE)->IsProtected());  // no full path
  EXPECT_EQ(0, db.Add("kernel32.dll", 2)->IsProtected());               // no parent
  EXPECT_EQ(0, CVKUObject().IsProtected());
}
