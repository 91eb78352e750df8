// Full paths, lookups by path and resolution of name-only files.
#ifdef _WIN32
#include <windows.h>
#endif
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

TEST_F(DbTest, FullPathsFollowParentLinksOnly) {
  CVKUObject* drive = Add("C:", 1);
  CVKUObject* windows = Add("WINDOWS", 4);
  CVKUObject* orphan = Add("ORPHAN", 2);
  CVKUObject* app = Add("APP", 0x2000);
  Parent(drive, windows);
  ASSERT_EQ(1, drive->LinkTo(orphan, 2, 0, 0, nullptr));  // not a parent link
  Parent(drive, app);
  EXPECT_EQ("C:", FullPath(drive));
  EXPECT_EQ("C:\\WINDOWS", FullPath(windows));
  EXPECT_EQ("<none>", FullPath(orphan));
  EXPECT_EQ("<none>", FullPath(app));  // a client type has no path
  CVKUObject* hive = Add("HKLM", 8);
  CVKUObject* key = Add("Software", 16);
  CVKUObject* sub = Add("Vendor", 32);
  Parent(hive, key);
  Parent(key, sub);
  EXPECT_EQ("HKLM\\Software\\Vendor", FullPath(sub));
  // The first parent that yields a path wins, in the order of the incoming links.
  CVKUObject* other = Add("OTHER", 4);
  Parent(other, windows);  // OTHER has no parent: it yields no path
  EXPECT_EQ("C:\\WINDOWS", FullPath(windows));
}

TEST_F(DbTest, PathsLongerThanTheBufferAreRefused) {
  CVKUObject* drive = Add("C:", 1);
  CVKUObject* parent = drive;
  std::string expected = "C:";
  for (int i = 0; i < 3; ++i) {
    std::string name(100, static_cast<char>('a' + i));
    CVKUObject* dir = Add(name.c_str(), 4);
    Parent(parent, dir);
    expected += "\\" + name;
    parent = dir;
    if (expected.size() < 260) EXPECT_EQ(expected, FullPath(dir));
    else EXPECT_EQ("<none>", FullPath(dir));
  }
  // A cycle of parent links ends at the depth limit.
  CVKUObject* x = Add("X", 4);
  CVKUObject* y = Add("Y", 4);
  Parent(x, y);
  Parent(y, x);
  EXPECT_EQ("<none>", FullPath(x));
}

TEST_F(DbTest, LookupByPathIgnoresCaseAndChecksTheParentChain) {
  CVKUObject* c = Add("C:", 1);
  CVKUObject* d = Add("D:", 1);
  CVKUObject* windows = Add("WINDOWS", 4);
  CVKUObject* system = Add("SYSTEM", 4);
  CVKUObject* dsystem = Add("SYSTEM", 4);
  CVKUObject* dll = Add("KERNEL32.DLL", 2);
  Parent(c, windows);
  Parent(windows, system);
  Parent(d, dsystem);
  Parent(system, dll);
  CVKUObject* found = Find("c:\\windows");
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(windows->GetUniqueID(), found->GetUniqueID());
  // Same name under different parents: the chain decides.
  ASSERT_NE(nullptr, Find("C:\\WINDOWS\\SYSTEM"));
  EXPECT_EQ(system->GetUniqueID(), Find("C:\\WINDOWS\\SYSTEM")->GetUniqueID());
  EXPECT_EQ(dsystem->GetUniqueID(), Find("d:\\system")->GetUniqueID());
  EXPECT_EQ(dll->GetUniqueID(), Find("C:\\Windows\\System\\kernel32.dll")->GetUniqueID());
  // A forward slash splits like a backslash but is never dropped as a trailing one,
  // so such a path never matches a parent chain.
  EXPECT_EQ(nullptr, Find("C:/WINDOWS/SYSTEM/KERNEL32.DLL"));
  EXPECT_EQ(nullptr, Find("C:\\WINDOWS\\"));  // an empty last component
  EXPECT_EQ(nullptr, Find("E:\\WINDOWS"));
  EXPECT_EQ(nullptr, Find("C:\\SYSTEM"));
  EXPECT_EQ(c->GetUniqueID(), Find("c:")->GetUniqueID());
  EXPECT_EQ(nullptr, Find(std::string(1000, 'a').c_str()));
  EXPECT_EQ(nullptr, db_->GetObjectByPath(nullptr));
}

TEST_F(DbTest, ShortPathsFindTopsOfTreesByLength) {
  CVKUObject* hklm = Add("HKLM", 8);
  CVKUObject* drive = Add("HKL", 1);  // a drive is only found by 2 characters or fewer
  CVKUObject* key = Add("SOFTWARE", 16);
  CVKUObject* sub = Add("Microsoft", 32);
  Parent(hklm, key);
  Parent(key, sub);
  EXPECT_EQ(hklm->GetUniqueID(), Find("hklm")->GetUniqueID());
  EXPECT_EQ(nullptr, Find("HKL"));
  EXPECT_NE(nullptr, drive);
  EXPECT_EQ(key->GetUniqueID(), Find("HKLM\\software")->GetUniqueID());
  EXPECT_EQ(sub->GetUniqueID(), Find("HKLM\\SOFTWARE\\MICROSOFT")->GetUniqueID());
  EXPECT_EQ(nullptr, Find("HKCU\\SOFTWARE"));
  EXPECT_EQ(nullptr, Find("SOFTWARE"));  // no separator: an empty last component
}

TEST_F(DbTest, CorrectPathCheckUsesTheShortFormForTopsOfTrees) {
  CVKUObject* hklm = Add("HKLM", 8);
  CVKUObject* key = Add("SOFTWARE", 16);
  CVKUObject* drive = Add("C:", 1);
  CVKUObject* dir = Add("DOS", 4);
  Parent(hklm, key);
  Parent(drive, dir);
  char shortPath[32] = "C:\\";  // under 4 characters: the short form
  EXPECT_EQ(1, Peer::HasCorrectPath(db_, Peer::Record(dir), shortPath));
  EXPECT_STREQ("C:", shortPath);  // the trailing separator was removed in place
  char hive[32] = "hklm";  // a type-16 object and no separator: the short form
  EXPECT_EQ(1, Peer::HasCorrectPath(db_, Peer::Record(key), hive));
  char withSeparator[32] = "HKLM\\";  // has a separator: the long form, last component empty
  EXPECT_EQ(0, Peer::HasCorrectPath(db_, Peer::Record(key), withSeparator));
  char wrong[32] = "HKCU";
  EXPECT_EQ(0, Peer::HasCorrectPath(db_, Peer::Record(key), wrong));
}

TEST_F(DbTest, ResolveLooksInTheGivenThenTheSystemDirectories) {
  CVKUObject* c = Add("C:", 1);
  CVKUObject* app = Add("APPDIR", 4);
  CVKUObject* local = Add("SHARED.DLL", 4);
  Parent(c, app);
  Parent(app, local);
  CVKUObject* vfile = Add("shared.dll", 0x1000);
  CVKUObject* r = vfile->Resolve(const_cast<char*>("C:\\APPDIR"));
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(local->GetUniqueID(), r->GetUniqueID());
  r->Release();
  r = vfile->Resolve(const_cast<char*>("C:\\APPDIR\\"));
  ASSERT_NE(nullptr, r);
  r->Release();
  EXPECT_EQ(nullptr, vfile->Resolve(const_cast<char*>("C:\\ELSEWHERE")));
  EXPECT_EQ(nullptr, local->Resolve(const_cast<char*>("C:\\APPDIR")));  // not a name-only file

  // In the system directory of the machine we run on.
  CVKUObject* sysFile = AddPath(SystemDir() + "\\SYSONLY.DLL");
  CVKUObject* sysName = Add("SYSONLY.DLL", 0x1000);
  CVKUObject* byName = db_->LookupVFILE(const_cast<char*>("sysonly.dll"));
  ASSERT_NE(nullptr, byName);
  EXPECT_EQ(sysName->GetUniqueID(), byName->GetUniqueID());
  byName->Release();
  r = sysName->Resolve(nullptr);
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(sysFile->GetUniqueID(), r->GetUniqueID());
  r->Release();
}

#ifdef _WIN32
// <windows>\SYSTEM is searched on the NT family only. The test runs under both kinds of
// release: CTest runs it once more as linkdb_tests_win98.exe, which Wine presents as
// Windows 98.
TEST_F(DbTest, ResolveTriesTheWindowsSystemFolderOnTheNTFamilyOnly) {
  char windowsDir[260];
  ASSERT_NE(0u, GetWindowsDirectoryA(windowsDir, sizeof(windowsDir)));
  std::string folder = std::string(windowsDir) + "\\SYSTEM";
  if (_stricmp(folder.c_str(), SystemDir().c_str()) == 0) GTEST_SKIP() << "the system directory is that folder";
  CVKUObject* file = AddPath(folder + "\\NTONLY.DLL");
  CVKUObject* name = Add("NTONLY.DLL", 0x1000);
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_TRUE(GetVersionExA(&info));
  bool nt = info.dwPlatformId == VER_PLATFORM_WIN32_NT && info.dwMajorVersion >= 4;
  CVKUObject* r = name->Resolve(nullptr);
  EXPECT_EQ(nt, r != nullptr) << "platform " << info.dwPlatformId << " version " << info.dwMajorVersion;
  if (r) {
    EXPECT_EQ(file->GetUniqueID(), r->GetUniqueID());
    r->Release();
  }
}
#endif

// Two objects of one name at every level, each a child of both objects of the level
// above: 2^40 parent chains. The walks must answer at once, whether the chains end
// without a drive, reach one, or reach one by paths too long to build.
TEST_F(DbTest, BranchingParentChainsAreWalkedOnce) {
  const int kLevels = 40;
  auto lattice = [&](const char* name, CVKUObject** top, std::string* path) {
    std::vector<CVKUObject*> above = {Add(name, 4), Add(name, 4)};
    *top = above[1];
    *path = std::string("C:\\") + name;
    for (int i = 0; i < kLevels; ++i) {
      std::vector<CVKUObject*> level = {Add(name, 4), Add(name, 4)};
      for (CVKUObject* child : level)
        for (CVKUObject* parent : above) Parent(parent, child);
      above = level;
      *path += std::string("\\") + name;
    }
    return above[0];
  };
  CVKUObject* top = nullptr;
  std::string path;
  CVKUObject* bottom = lattice("D", &top, &path);
  EXPECT_EQ("<none>", FullPath(bottom));
  EXPECT_EQ(nullptr, Find(path.c_str()));
  CVKUObject* drive = Add("C:", 1);
  Parent(drive, top);
  EXPECT_EQ(path, FullPath(bottom));
  ASSERT_NE(nullptr, Find(path.c_str()));

  CVKUObject* longBottom = lattice("LONGER", &top, &path);  // 2 + 41 * 7 characters
  Parent(drive, top);
  EXPECT_EQ("<none>", FullPath(longBottom));
}

// A path of 259 levels below its drive, the deepest the path walks take: looking it up
// must not need a large frame per level (a thread may have a stack of 128 KB).
TEST_F(DbTest, DeepPathsAreFoundOnASmallStack) {
  const int kLevels = 259;
  CVKUObject* parent = Add("C:", 1);
  std::string path = "C:";
  for (int i = 0; i < kLevels; ++i) {
    char name[2] = {static_cast<char>('A' + i % 26), 0};
    CVKUObject* child = Add(name, 4);
    Parent(parent, child);
    parent = child;
    path += std::string("\\") + name;
  }
  unsigned long found = 0;
  auto lookup = [&] {
    CVKUObject* o = db_->GetObjectByPath(const_cast<char*>(path.c_str()));
    if (o) {
      found = o->GetUniqueID();
      o->Release();
    }
  };
#if defined(_WIN32)
  size_t used = StackBytesUsed(lookup);
  printf("%u bytes of stack for a lookup %d levels deep\n", static_cast<unsigned>(used), kLevels);
  EXPECT_LT(used, 128u * 1024);
#else
  // A real small stack; the sanitizers' frames are larger, so it is 256 KB here.
  ASSERT_TRUE(RunOnStack(256 * 1024, lookup));
#endif
  EXPECT_EQ(parent->GetUniqueID(), found);
}
