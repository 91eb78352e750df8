// Dependency queries: the forward walk, the backward walk and name-only files.
#include "TestSupport.h"

using Ids = std::vector<unsigned long>;

namespace {
unsigned long Id(CVKUObject* o) { return o->GetUniqueID(); }
}  // namespace

TEST_F(DbTest, DependenciesAreCollectedDepthFirstOnceEach) {
  CVKUObject* dir = AddPath("C:\\APP");
  CVKUObject* exe = AddPath("C:\\APP\\APP.EXE");
  CVKUObject* a = AddPath("C:\\APP\\A.DLL");
  CVKUObject* b = AddPath("C:\\APP\\B.DLL");
  CVKUObject* cfg = AddPath("C:\\APP\\APP.INI");
  ASSERT_EQ(1, exe->LinkTo(a, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, a->LinkTo(b, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, b->LinkTo(a, 0x10, 0, 0, nullptr));    // a cycle
  ASSERT_EQ(1, b->LinkTo(exe, 0x10, 0, 0, nullptr));  // back to the start
  ASSERT_EQ(1, exe->LinkTo(cfg, 0x20, 0, 0, nullptr));
  ASSERT_EQ(1, exe->LinkTo(dir, 0, 0, 0, nullptr));  // type 0 is never followed
  // Discovery order A, B, EXE (through B), CFG; results come newest first.
  EXPECT_EQ((Ids{Id(cfg), Id(exe), Id(b), Id(a)}), Dependencies(exe));
  // The visited marks are gone after the query.
  for (CVKUObject* o : {exe, a, b, cfg}) EXPECT_EQ(0u, o->GetFlags() & 0x40000000u);
  EXPECT_TRUE(Dependencies(cfg).empty());
  CVKUObject* vfile = Add("NOPATH", 0x1000);
  EXPECT_TRUE(Dependencies(vfile).empty());  // no full path, no query
}

TEST_F(DbTest, NameOnlyFilesResolveInTheApplicationsDirectory) {
  CVKUObject* exe = AddPath("C:\\PROG\\PROG.EXE");
  CVKUObject* helper = AddPath("C:\\PROG\\HELPER.DLL");
  CVKUObject* deeper = AddPath("C:\\PROG\\DEEPER.DLL");
  CVKUObject* typed2 = AddPath("C:\\PROG\\T2.DLL", 2);
  CVKUObject* beyond = AddPath("C:\\PROG\\BEYOND.DLL");
  CVKUObject* vHelper = Add("helper.dll", 0x1000);
  CVKUObject* vT2 = Add("t2.dll", 0x1000);
  CVKUObject* vMissing = Add("MISSING.DLL", 0x1000);
  ASSERT_EQ(1, exe->LinkTo(vHelper, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, exe->LinkTo(vT2, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, exe->LinkTo(vMissing, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, vMissing->LinkTo(beyond, 0x10, 0, 0, nullptr));  // reached only through a failed resolve
  ASSERT_EQ(1, helper->LinkTo(deeper, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, typed2->LinkTo(beyond, 0x10, 0, 0, nullptr));  // type 2 reached by name: not expanded
  EXPECT_EQ((Ids{Id(typed2), Id(deeper), Id(helper)}), Dependencies(exe));
}

TEST_F(DbTest, ReferencingAppsWalkBackThenForward) {
  CVKUObject* lib = AddPath("C:\\D\\LIB.DLL");
  CVKUObject* app1 = AddPath("C:\\D\\ONE.EXE");
  CVKUObject* app2 = AddPath("C:\\D\\TWO.EXE");
  CVKUObject* data = AddPath("C:\\D\\ONE.DAT");
  ASSERT_EQ(1, app1->LinkTo(lib, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, app1->LinkTo(data, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, app2->LinkTo(lib, 0x10, 0, 0, nullptr));
  // LIB's parent link (type 1, LIB being type 4) is skipped; then ONE.EXE and its own
  // dependencies (LIB itself, ONE.DAT), then TWO.EXE.
  EXPECT_EQ((Ids{Id(app2), Id(data), Id(lib), Id(app1)}), ReferencingApps(lib));
  for (CVKUObject* o : {lib, app1, app2, data}) EXPECT_EQ(0u, o->GetFlags() & 0x40000000u);
}

TEST_F(DbTest, BackwardWalkTestsTheTypeOfTheLastSourceTaken) {
  CVKUObject* c = Add("C:", 1);
  CVKUObject* key = Add("KEYS", 16);  // a type the parent-link rule does not skip
  CVKUObject* hive = Add("HKLM", 8);
  CVKUObject* user = Add("USER", 0x2000);
  CVKUObject* file = Add("F", 4);
  Parent(hive, key);
  // Incoming at KEY, in order: a parent link (followed, KEY is type 16) from HKLM,
  // then a type-0x10 link from a type-4 file, then a parent link from USER. The second
  // source makes the remembered type 4, so the third link (type 1) is skipped.
  ASSERT_EQ(1, file->LinkTo(key, 0x10, 0, 0, nullptr));
  ASSERT_EQ(1, user->LinkTo(key, 1, 0, 0, nullptr));
  Parent(c, file);
  EXPECT_EQ((Ids{Id(file), Id(key), Id(hive)}), ReferencingApps(key));
}
