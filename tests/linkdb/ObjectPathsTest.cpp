// Full paths, lookups by path and resolution of name-only files.
#ifdef _WIN32
#include <windows.h>
#endif
#include "TestSupport.h"

TEST_F(DbTest, FullPathsFollowParentLinksOnlyAndFitTheBuffer) {
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
  CVKUObject* key = Add("Software", 16);
  CVKUObject* sub = Add("Vendor", 32);
  Parent(Add("HKLM", 8), key);
  Parent(key, sub);
  EXPECT_EQ("HKLM\\Software\\Vendor", FullPath(sub));
  // The first parent that yields a path wins, in the order of the incoming links.
  Parent(Add("OTHER", 4), windows);  // OTHER has no parent: it yields no path
  EXPECT_EQ("C:\\WINDOWS", FullPath(windows));
  // Paths longer than the buffer are refused.
  CVKUObject* parent = drive;
  std::string expected = "C:";
  for (int i = 0; i < 3; ++i) {
    std::string name(100, static_cast<char>('a' + i));
    CVKUObject* dir = Add(name.c_str(), 4);
    Parent(parent, dir);
    expected += "\\" + name;
    parent = dir;
    EXPECT_EQ(expected.size() < 260 ? expected : "<none>", FullPath(dir));
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
  CVKUObject* windows = Add("WINDOWS", 4);
  CVKUObject* system = Add("SYSTEM", 4);
  CVKUObject* dsystem = Add("SYSTEM", 4);
  CVKUObject* dll = Add("KERNEL32.DLL", 2);
  CVKUObject* hklm = Add("HKLM", 8);
  CVKUObject* key = Add("SOFTWARE", 16);
  CVKUObject* sub = Add("Microsoft", 32);
  Parent(c, windows);
  Parent(windows, system);
  Parent(Add("D:", 1), dsystem);
  Parent(system, dll);
  Parent(hklm, key);
  Parent(key, sub);
  Add("HKL", 1);  // a drive is only found by 2 characters or fewer
  struct Case {
    std::string path;
    CVKUObject* expected;
  } cases[] = {
      {"c:\\windows", windows},
      {"C:\\WINDOWS\\SYSTEM", system},  // same name under different parents: the chain decides
      {"d:\\system", dsystem},
      {"C:\\Windows\\System\\kernel32.dll", dll},
      {"c:", c},
      {"hklm", hklm},
      {"HKLM\\software", key},
      {"HKLM\\SOFTWARE\\MICROSOFT", sub},
      // A forward slash splits like a backslash but is never dropped as a trailing one,
      // so such a path never matches a parent chain.
      {"C:/WINDOWS/SYSTEM/KERNEL32.DLL", nullptr},
      {"C:\\WINDOWS\\", nullptr},  // an empty last component
      {"SOFTWARE", nullptr},        // no separator: an empty last component
      {"E:\\WINDOWS", nullptr},
      {"C:\\SYSTEM", nullptr},
      {"HKL", nullptr},
      {"HKCU\\SOFTWARE", nullptr},
      {std::string(1000, 'a'), nullptr},
  };
  for (const Case& k : cases) {
    CVKUObject* found = Find(k.path.c_str());
    EXPECT_EQ(k.expected ? k.expected->GetUniqueID() : 0, found ? found->GetUniqueID() : 0) << k.path;
  }
  EXPECT_EQ(nullptr, db_->GetObjectByPath(nullptr));
}

TEST_F(DbTest, ResolveLooksInTheGivenThenTheSystemDirectories) {
  CVKUObject* local = AddPath("C:\\APPDIR\\SHARED.DLL");
  CVKUObject* vfile = Add("shared.dll", 0x1000);
  CVKUObject* sysFile = AddPath(SystemDir() + "\\SYSONLY.DLL");  // of the machine we run on
  CVKUObject* sysName = Add("SYSONLY.DLL", 0x1000);
  auto resolved = [](CVKUObject* o, const char* dir) {
    CVKUObject* r = o->Resolve(const_cast<char*>(dir));
    unsigned long id = r ? r->GetUniqueID() : 0;
    if (r) r->Release();
    return id;
  };
  EXPECT_EQ(local->GetUniqueID(), resolved(vfile, "C:\\APPDIR"));
  EXPECT_EQ(local->GetUniqueID(), resolved(vfile, "C:\\APPDIR\\"));
  EXPECT_EQ(0u, resolved(vfile, "C:\\ELSEWHERE"));
  EXPECT_EQ(0u, resolved(local, "C:\\APPDIR"));  // not a name-only file
  EXPECT_EQ(sysFile->GetUniqueID(), resolved(sysName, nullptr));
  CVKUObject* byName = db_->LookupVFILE(const_cast<char*>("sysonly.dll"));
  ASSERT_NE(nullptr, byName);
  EXPECT_EQ(sysName->GetUniqueID(), byName->GetUniqueID());
  byName->Release();
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
