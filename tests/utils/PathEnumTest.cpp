// CUtilsPath's tree work: the directory and registry searches against independent walks
// (std::filesystem with the attributes read by plain calls, and RegEnumKeyExA), the
// retrieval cursors, sorting, creating and deleting directories, trees and keys, and
// the path relative to the current directory.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "CUtilsPath"
#include "Scratch.h"
#include "TestSupport.h"
#include "diskio"

namespace {

using UTILS::CUtilsPath;
using UTILS::UtilsString;
namespace fs = std::filesystem;

struct Listing {
  std::vector<std::string> files, dirs;
  unsigned long long size = 0;
};

// What a search must find below `root`, walked with std::filesystem: read-only, hidden
// and system entries (and what is below them) only when `all`.
Listing Walk(const std::string& root, bool all) {
  Listing expected;
  for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator();
       ++it) {
    std::string path = it->path().string();
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(path.c_str(), &data);
    FindClose(find);
    if (!all && (data.dwFileAttributes & 7)) {
      it.disable_recursion_pending();
      continue;
    }
    expected.size += data.nFileSizeLow;
    (it->is_directory() ? expected.dirs : expected.files).push_back(path);
  }
  return expected;
}

std::vector<std::string> Drain(CUtilsPath& path, bool files) {
  std::vector<std::string> out;
  path.ResetTreeSearch();
  UtilsString entry;
  for (int ok = files ? path.RetrieveFirstFile(entry) : path.RetrieveFirstDir(entry); ok;
       ok = files ? path.RetrieveNextFile(entry) : path.RetrieveNextDir(entry))
    out.push_back(Str(entry));
  return out;
}

// A tree with names that have spaces and dots, nested empty folders, and read-only,
// hidden and system entries (a hidden folder with a file inside).
class Tree : public scratch::Dir {
 protected:
  void SetUp() override {
    scratch::Dir::SetUp();
    for (const char* d : {"Sub Dir", "Sub Dir\\nested", "Sub Dir\\nested\\empty", ".dotted dir",
                          "hidden dir", "x.txt"})
      CreateDirectoryA(In(d).c_str(), nullptr);
    const struct {
      const char* name;
      size_t size;
      DWORD attributes;
    } files[] = {{"a file.txt", 10, 0},
                 {"name.with.dots.txt", 3, 0},
                 {"read only.txt", 4, FILE_ATTRIBUTE_READONLY},
                 {"hidden.txt", 5, FILE_ATTRIBUTE_HIDDEN},
                 {"system.bin", 6, FILE_ATTRIBUTE_SYSTEM},
                 {"Sub Dir\\inner file.dat", 7, 0},
                 {"Sub Dir\\nested\\deep.txt", 8, 0},
                 {".dotted dir\\.profile", 9, 0},
                 {"hidden dir\\unseen.txt", 11, 0},
                 {"x.txt\\in a dir named txt.txt", 12, 0}};
    for (const auto& f : files) {
      scratch::MakeFile(In(f.name), std::string(f.size, 'b'));
      if (f.attributes) SetFileAttributesA(In(f.name).c_str(), f.attributes);
    }
    SetFileAttributesA(In("hidden dir").c_str(), FILE_ATTRIBUTE_HIDDEN);
  }
};

TEST_F(Tree, SearchesInTheOrderOfAnIndependentWalkAndFilters) {
  for (int all : {0, 1}) {
    CUtilsPath tree(U(m_Dir), 0, all);
    ASSERT_EQ(1, tree.SearchTree(U("*.*")));
    Listing expected = Walk(m_Dir, all);
    EXPECT_EQ(expected.files, Drain(tree, true)) << all;
    EXPECT_EQ(expected.dirs, Drain(tree, false)) << all;
    EXPECT_EQ(expected.files.size(), tree.GetTotalFiles());
    EXPECT_EQ(expected.dirs.size(), tree.GetTotalSubDirs());
    EXPECT_EQ(expected.size, tree.GetDirSize());
    // Hidden folders are entered only with the switch (Wine also hides dot names).
    EXPECT_EQ(all ? 10u : 5u + (GetFileAttributesA(In(".dotted dir").c_str()) & 2 ? 0 : 1),
              tree.GetTotalFiles());
  }
  // The pattern applies at every level: "x.txt" is entered, the other folders are not.
  CUtilsPath text(U(m_Dir));
  ASSERT_EQ(1, text.SearchTree(U("*.txt")));
  EXPECT_EQ((std::vector<std::string>{In("x.txt")}), Drain(text, false));
  std::vector<std::string> found = Drain(text, true);
  std::sort(found.begin(), found.end());
  EXPECT_EQ((std::vector<std::string>{In("a file.txt"), In("name.with.dots.txt"),
                                      In("x.txt\\in a dir named txt.txt")}),
            found);
  // A folder with nothing but "." and "..".
  CUtilsPath empty(U(In("Sub Dir\\nested\\empty")), 1);
  EXPECT_EQ(0u, empty.GetTotalFiles() + empty.GetTotalSubDirs());
  UtilsString none;
  EXPECT_EQ(0, empty.RetrieveFirstFile(none));
}

TEST_F(Tree, RetrievalDoesNotRewindAndSortsIgnoringCase) {
  CUtilsPath tree(U(m_Dir), 1, 1);
  std::vector<std::string> files = Drain(tree, true);
  ASSERT_EQ(10u, files.size());
  tree.ResetTreeSearch();
  UtilsString entry;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(1, tree.RetrieveNextFile(entry));
  ASSERT_EQ(1, tree.RetrieveFirstFile(entry));  // "First" reads at the cursor
  EXPECT_EQ(files[3], Str(entry));
  char full[MAX_PATH], name[MAX_PATH], ext[MAX_PATH];
  ASSERT_EQ(1, tree.RetrieveNextFileExpanded(full, name, ext, 1));
  EXPECT_EQ(files[4], full);
  UtilsString uFull, uName, uExt;
  ASSERT_EQ(1, tree.RetrieveFirstFileExpanded(uFull, uName, uExt, 0));
  EXPECT_EQ(files[4], Str(uFull));
  UtilsString splitName, splitExt;
  CUtilsPath::GetFileNameFromPath(uFull, splitName, splitExt, 0);
  EXPECT_EQ(Str(splitName) + "|" + Str(splitExt), Str(uName) + "|" + Str(uExt));
  while (tree.RetrieveNextValue(entry)) {
  }
  EXPECT_EQ(files.back(), Str(entry));
  EXPECT_EQ(0, tree.RetrieveFirstFile(entry));  // the cursor stays past the end
  EXPECT_EQ(0, tree.RetrieveNextFile(full));
  EXPECT_EQ(0, tree.RetrieveNextFileExpanded(uFull, uName, uExt, 1));
  EXPECT_EQ(0, tree.RetrieveFirstFile(static_cast<char*>(nullptr)));
  tree.ResetTreeSearch();
  CUtilsPath other;
  ASSERT_EQ(1, tree.RetrieveFirstKey(other));
  EXPECT_STREQ(Drain(tree, false)[0].c_str(), other.GetPath());
  EXPECT_EQ(1, other.GetFileFlag() == 0 && other.IsADir());

  // Sorting ignores case, as the system compares names.
  for (bool sortFiles : {true, false}) {
    std::vector<std::string> expected = Drain(tree, sortFiles);
    std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
      return lstrcmpiA(a.c_str(), b.c_str()) < 0;
    });
    EXPECT_EQ(1, sortFiles ? tree.SortFiles() : tree.SortKeys());
    EXPECT_EQ(expected, Drain(tree, sortFiles));
  }
  tree.CloseTreeSearch();
  EXPECT_EQ(0, tree.RetrieveFirstDir(entry));
}

TEST_F(Tree, CreatesByClimbingAndDeletesFilesTreesAndRefusals) {
  // Four missing levels at once; the parent of a file; what already exists.
  CUtilsPath deep(U(In("new\\one two\\three.3\\four")));
  EXPECT_EQ(1, deep.CreateDirectoryA(0));
  EXPECT_TRUE(scratch::Exists(In("new\\one two\\three.3\\four")));
  CUtilsPath file(U(In("made\\for a file\\f.txt")));
  EXPECT_EQ(1, file.Create(1));
  EXPECT_TRUE(scratch::Exists(In("made\\for a file")));
  EXPECT_FALSE(scratch::Exists(In("made\\for a file\\f.txt")));
  EXPECT_EQ(1, deep.CreatePath(0));  // already there: not a missing parent
  EXPECT_EQ(0, CUtilsPath(U("Q:\\no\\such\\drive")).CreateDirectoryA(0));

  // Without the read-only switch the hidden, read-only and system entries stay, and so
  // does the folder: the answer is 0 and the path stays.
  CUtilsPath kept(U(m_Dir));
  EXPECT_EQ(0, kept.DeleteDir());
  EXPECT_EQ(m_Dir, kept.GetPath());
  EXPECT_TRUE(scratch::Exists(In("hidden.txt")) && !scratch::Exists(In("a file.txt")));
  kept.SetExceptionHandling();
  EXPECT_THROW(kept.Delete(), UTILS::DiskIoException);

  // A single file; then the whole tree with the switch, after which the path is the
  // parent.
  scratch::MakeFile(In("single.txt"), "x");
  CUtilsPath single(U(In("single.txt")));
  EXPECT_EQ(1, single.DeletePath());
  EXPECT_FALSE(scratch::Exists(In("single.txt")));
  CUtilsPath all(U(m_Dir), 0, 1);
  EXPECT_EQ(1, all.DeleteDirectory());
  EXPECT_FALSE(scratch::Exists(m_Dir));
  EXPECT_EQ(m_Parent, all.GetPath());
  EXPECT_EQ(0, CUtilsPath(U(In("gone"))).DeleteDir());
  CreateDirectoryA(m_Dir.c_str(), nullptr);  // for the fixture to remove
}

TEST_F(Tree, SubDirFolderIsThePathRelativeToTheCurrentDirectory) {
  char saved[MAX_PATH];
  GetCurrentDirectoryA(sizeof saved, saved);
  ASSERT_TRUE(SetCurrentDirectoryA(In("Sub Dir\\nested").c_str()));
  for (const auto& c :
       std::vector<std::pair<std::string, std::string>>{{"Sub Dir\\nested\\empty\\x", "\\empty\\x"},
                                                        {"Sub Dir\\nested", ""},
                                                        {"Sub Dir\\other\\y", "..\\other\\y"},
                                                        {"x.txt", "..\\..\\x.txt"}}) {
    UtilsString folder("untouched");
    char text[MAX_PATH] = "untouched";
    CUtilsPath path(U(In(c.first)));
    EXPECT_EQ(2, path.GetSubDirFolder(folder) + path.GetSubDirFolder(text)) << c.first;
    EXPECT_EQ(c.second + "|" + c.second, Str(folder) + "|" + text);
  }
  UtilsString folder;
  EXPECT_EQ(0, CUtilsPath(U("Q:\\elsewhere")).GetSubDirFolder(folder) +
                   CUtilsPath(U("HKCU\\Software")).GetSubDirFolder(folder));
  SetCurrentDirectoryA(saved);
}

// Independent walk of a key: sub-keys after everything below them, value names bare.
void WalkKey(HKEY parent, const std::string& name, const std::string& full,
             std::vector<std::string>& keys, std::vector<std::string>& values) {
  HKEY key;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(parent, name.c_str(), 0, KEY_READ, &key));
  char child[256];
  for (DWORD i = 0, n = sizeof child; RegEnumKeyExA(key, i, child, &n, 0, 0, 0, 0) == 0;
       ++i, n = sizeof child) {
    WalkKey(key, child, full + "\\" + child, keys, values);
    keys.push_back(full + "\\" + child);
  }
  for (DWORD i = 0, n = sizeof child; RegEnumValueA(key, i, child, &n, 0, 0, 0, 0) == 0;
       ++i, n = sizeof child)
    values.push_back(child);
  RegCloseKey(key);
}

class KeyTree : public scratch::Key {};

TEST_F(KeyTree, ListsKeysAfterTheirSubKeysAndDeletesTheTree) {
  DWORD one = 1;
  for (const char* k : {"A", "A\\A1", "A\\A1\\deep", "A\\A2", "B key", "B key\\x.y", "C"})
    scratch::Make(m_strRelative + "\\" + k, 0, "value of", REG_DWORD, &one, sizeof one);
  scratch::Make(m_strRelative + "\\A\\A1", 0, "second", REG_DWORD, &one, sizeof one);
  scratch::Make(m_strRelative, 0, "top", REG_DWORD, &one, sizeof one);

  std::vector<std::string> keys, values;
  WalkKey(HKEY_CURRENT_USER, m_strRelative, m_strFull, keys, values);
  CUtilsPath tree(U(m_strFull), 1);
  EXPECT_EQ(keys, Drain(tree, false));
  EXPECT_EQ(values, Drain(tree, true));
  EXPECT_EQ(7u, tree.GetTotalSubKeys());
  EXPECT_EQ(9u, tree.GetTotalValues());
  tree.SetScanRO();  // keys only
  ASSERT_EQ(1, tree.Search(U("*.*")));
  EXPECT_EQ(keys, Drain(tree, false));
  EXPECT_EQ(0u, tree.GetTotalValues());

  CUtilsPath created(U(m_strFull + "\\made\\by climbing"));
  EXPECT_EQ(1, created.CreateDirectoryA(0));
  EXPECT_TRUE(scratch::KeyExists(m_strRelative + "\\made\\by climbing"));
  CUtilsPath branch(U(m_strFull + "\\A"));
  EXPECT_EQ(1, branch.DeleteDir());
  EXPECT_FALSE(scratch::KeyExists(m_strRelative + "\\A"));
  EXPECT_EQ(m_strFull, branch.GetPath());
  EXPECT_EQ(0, CUtilsPath(U(m_strFull + "\\missing")).DeleteDir());
  CUtilsPath missing(U(m_strFull + "\\missing"), 0, 0, 1);
  EXPECT_THROW(missing.SearchTree(U("*.*")), UTILS::std_exception);
}

// One object searched, read, sorted, resolving a shortcut, set to another folder and
// copied, from several threads: every entry read is one the tree holds, every answer
// the link's target, every copy one of the paths set with its own network form, and a
// parent a whole ancestor.
TEST_F(Tree, OneObjectFromSeveralThreads) {
  CUtilsPath shared(U(m_Dir), 0, 1);
  ASSERT_EQ(1, shared.CreateLinkFile(U(In("a file.txt")), U(In("Sub Dir\\a link.lnk")), U("")));
  std::vector<std::string> all = Walk(m_Dir, true).files;
  const std::string sub = In("Sub Dir"), network = NetworkPrefix();
  std::vector<int> wrong(5, 0);
  RunOnThreads(5, [&](int t) {
    UtilsString entry;
    for (int i = 0; i < 100; ++i) {
      if (t == 0) {
        shared.SearchTree(U("*.*"));
        shared.SortFiles();
      } else if (t == 1) {
        wrong[t] += !shared.ResolveLinkFile(U(In("Sub Dir\\a link.lnk")), entry, 1) ||
                    Str(entry) != In("a file.txt");
      } else if (t == 2) {
        shared.SetDir(U(i % 2 ? sub + "\\" : m_Dir));
        CUtilsPath copy(shared);
        const std::string path = copy.GetPath(), unc = copy.GetPathUNC();
        wrong[t] += (path != sub && path != m_Dir) || unc != network + path.substr(3);
        shared.ResetParentSearch();
        std::string up = shared.GetParentDir(entry) ? Str(entry) : "(none)";
        wrong[t] += up != m_Dir && up != m_Parent;
      } else if (shared.RetrieveNextFile(entry)) {
        wrong[t] += std::find(all.begin(), all.end(), Str(entry)) == all.end();
      } else {
        shared.ResetTreeSearch();
      }
    }
  });
  EXPECT_EQ(std::vector<int>(5, 0), wrong);
  shared.SetDir(U(m_Dir));
  ASSERT_EQ(1, shared.SearchTree(U("*.*")));
  EXPECT_EQ(all.size(), shared.GetTotalFiles());
}

}  // namespace
