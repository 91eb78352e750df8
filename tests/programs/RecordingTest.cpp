// The recorder's platform-neutral core on an in-memory database: the comparison of two
// snapshots, the objects and links a recording makes (and makes once), the follow-ups
// through a fake system, the plan's categories and the two queries, and the command
// line.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "Arguments.h"
#include "Followups.h"
#include "Handles.h"
#include "Plan.h"
#include "Queries.h"
#include "Recorder.h"
#include "References.h"
#include "Report.h"
#include "Snapshot.h"
#include "Text.h"

namespace vkp {
namespace {

SnapshotEntry Entry(Kind kind, const std::string& path, uint64_t a = 0, const std::string& name = "") {
  SnapshotEntry e;
  e.kind = kind;
  e.path = path;
  e.name = name;
  e.data.a = a;
  return e;
}

std::vector<std::string> Paths(const std::vector<const SnapshotEntry*>& list) {
  std::vector<std::string> out;
  for (const SnapshotEntry* e : list) out.push_back(e->path + (e->kind == Kind::kValue ? "|" + e->name : ""));
  return out;
}

TEST(Snapshot, ComparisonFindsAddedChangedAndRemovedIgnoringCase) {
  Snapshot before, after;
  before.Add(Entry(Kind::kFolder, "C:\\App"));
  before.Add(Entry(Kind::kFile, "C:\\App\\same.txt", 1));
  before.Add(Entry(Kind::kFile, "C:\\App\\grown.txt", 1));
  before.Add(Entry(Kind::kFile, "C:\\App\\gone.txt", 1));
  before.Add(Entry(Kind::kValue, "HKLM\\S", 5, "v"));
  before.Add(Entry(Kind::kFile, "C:\\App\\same.txt", 9));  // a repeat is ignored
  SnapshotEntry attributesOnly = Entry(Kind::kFile, "C:\\APP\\SAME.TXT", 1);
  attributesOnly.data.c = 0x20;
  after.Add(Entry(Kind::kFolder, "c:\\app"));
  after.Add(attributesOnly);
  after.Add(Entry(Kind::kFile, "C:\\App\\grown.txt", 2));
  after.Add(Entry(Kind::kFile, "C:\\App\\New\\b.txt", 1));
  after.Add(Entry(Kind::kFolder, "C:\\App\\New"));
  after.Add(Entry(Kind::kValue, "HKLM\\S", 6, "V"));
  after.Add(Entry(Kind::kValue, "HKLM\\S", 0, ""));
  after.Add(Entry(Kind::kKey, "C:\\App\\grown.txt"));  // a key and a file never meet
  SnapshotDifference d = Compare(before, after);
  EXPECT_EQ((std::vector<std::string>{"C:\\App\\grown.txt", "C:\\App\\New", "C:\\App\\New\\b.txt", "HKLM\\S|"}),
            Paths(d.added));
  EXPECT_EQ((std::vector<std::string>{"C:\\App\\grown.txt", "HKLM\\S|V"}), Paths(d.changed));
  EXPECT_EQ((std::vector<std::string>{"C:\\App\\gone.txt"}), Paths(d.removed));
  EXPECT_EQ((std::vector<std::string>{"HKLM", "S", "(Default)"}), EntryComponents(*d.added[3]));
}

// An in-memory database (no store folder) for each test.
class Store : public ::testing::Test {
 protected:
  void SetUp() override { m_Db = AttachDatabase(nullptr); ASSERT_TRUE(m_Db); }
  void TearDown() override { m_Db->Release(); }

  // Records `owned` and `changed` paths (a trailing "\" marks a folder, "|" a value).
  Recorder* Record(const std::string& app, const std::vector<std::string>& owned,
                   const std::vector<std::string>& changed = {}, const std::vector<std::string>& uses = {}) {
    m_Recorders.emplace_back(new Recorder(m_Db));
    Recorder* r = m_Recorders.back().get();
    std::string error;
    EXPECT_TRUE(r->OpenApplication(app, &error)) << error;
    for (int pass = 0; pass < 3; ++pass)
      for (const std::string& p : pass == 0 ? owned : pass == 1 ? changed : uses) {
        Kind kind = p.back() == '\\' ? Kind::kFolder : p.find('|') != std::string::npos ? Kind::kValue
                    : p[0] == 'H'   ? Kind::kKey : Kind::kFile;
        std::vector<std::string> parts = SplitPath(p.substr(0, p.find('|')));
        if (kind == Kind::kValue) parts.push_back(p.substr(p.find('|') + 1));
        if (kind == Kind::kValue && parts.back().empty()) parts.back() = kDefaultValueName;
        EXPECT_TRUE(r->Record(parts, kind, pass == 0 ? kLinkOwns : pass == 1 ? kLinkChanged : kLinkUses)) << p;
      }
    return r;
  }

  std::map<std::string, const PlanItem*> PlanOf(const std::string& app, Plan* plan) {
    std::string error;
    auto isProtected = [this](CVKUObject* o, Kind) { return m_Protected.count(Upper(FullPathOf(o))) > 0; };
    EXPECT_TRUE(MakePlan(m_Db, app, isProtected, plan, &error)) << error;
    std::map<std::string, const PlanItem*> byPath;
    for (const PlanItem& i : plan->items) byPath[i.path] = &i;
    return byPath;
  }

  CVKUDatabase* m_Db = nullptr;
  std::vector<std::unique_ptr<Recorder>> m_Recorders;
  std::set<std::string> m_Protected;
};

TEST_F(Store, ObjectsHavePathsAndRecordingTwiceMakesNothingNew) {
  Record("AppOne", {"C:\\Program Files\\One\\", "C:\\Program Files\\One\\one.exe", "HKLM\\Software\\One",
                    "HKLM\\Software\\One|", "HKLM\\Software\\One|C:\\Program Files\\One\\one.exe"});
  StoreTree tree(m_Db);
  CVKUObject* exe = tree.Find({"c:", "PROGRAM FILES", "one", "ONE.EXE"}, Kind::kFile);
  ASSERT_TRUE(exe);
  EXPECT_EQ("C:\\Program Files\\One\\one.exe", FullPathOf(exe));
  ObjectRef byPath(m_Db->GetObjectByPath(const_cast<char*>("C:\\Program Files\\One\\one.exe")));
  EXPECT_EQ(exe->GetUniqueID(), byPath->GetUniqueID());
  EXPECT_EQ(kFlagFile, exe->GetFlags());
  CVKUObject* value = tree.FindPath("HKLM\\Software\\One\\C:\\Program Files\\One\\one.exe");
  ASSERT_TRUE(value);
  EXPECT_EQ(kTypeValue, value->GetType());
  EXPECT_TRUE(tree.FindPath("HKLM\\Software\\One\\(Default)"));
  CVKUObject* app = tree.FindPath("Applications\\AppOne");
  ASSERT_TRUE(app);
  EXPECT_EQ("Applications\\AppOne", FullPathOf(app));

  Recorder* again = Record("APPONE", {"C:\\Program Files\\One\\one.exe", "HKLM\\Software\\One|"});
  EXPECT_EQ(0u, again->Tree().ObjectsMade());
  EXPECT_EQ(0u, again->Counts().owned[1] + again->Counts().owned[3]);
}

TEST_F(Store, NamesAndPathsTheDatabaseCannotHoldAreSkipped) {
  Recorder* r = Record("App", {});
  EXPECT_FALSE(r->Record({"C:", std::string(251, 'n')}, Kind::kFile, kLinkOwns));
  EXPECT_EQ(StoreTree::Refusal::kNameTooLong, r->Tree().LastRefusal());
  EXPECT_FALSE(r->Record({"C:", std::string(200, 'a'), std::string(60, 'b')}, Kind::kFile, kLinkOwns));
  EXPECT_EQ(StoreTree::Refusal::kPathTooLong, r->Tree().LastRefusal());
  EXPECT_TRUE(r->Record({"C:", std::string(200, 'a'), std::string(55, 'b')}, Kind::kFile, kLinkOwns));  // 259 characters
  EXPECT_EQ(2u, r->Counts().skipped);
  std::string error;
  for (const char* bad : {"", "a\\b", "a*", "a?b"}) EXPECT_FALSE(Recorder(m_Db).OpenApplication(bad, &error)) << bad;
}

TEST_F(Store, PlanSaysOwnedSharedProtectedChangedAndWhy) {
  m_Protected = {"C:\\WINDOWS\\SYSTEM32\\KERNEL32.DLL"};
  Record("AppOne",
         {"C:\\PF\\Vendor\\", "C:\\PF\\Vendor\\One\\", "C:\\PF\\Vendor\\One\\one.exe", "C:\\PF\\Common\\shared.dll",
          "HKLM\\Software\\Vendor", "HKLM\\Software\\Vendor|Version", "C:\\WINDOWS\\system32\\kernel32.dll"},
         {"HKLM\\Software\\Classes\\txtfile|"}, {"C:\\WINDOWS\\system32\\kernel32.dll", "C:\\WINDOWS\\notepad.exe"});
  Record("AppTwo", {"C:\\PF\\Vendor\\Two\\", "C:\\PF\\Vendor\\Two\\two.exe"}, {}, {"C:\\PF\\Common\\shared.dll"});
  Plan plan;
  auto items = PlanOf("appone", &plan);
  EXPECT_EQ("AppOne", plan.application);
  ASSERT_EQ(9u, plan.items.size());
  auto is = [&](const char* path, Category c) {
    ASSERT_TRUE(items.count(path)) << path;
    EXPECT_EQ(c, items[path]->category) << path << ": " << items[path]->why;
  };
  is("C:\\PF\\Vendor\\One", Category::kOwned);
  is("C:\\PF\\Vendor\\One\\one.exe", Category::kOwned);
  is("HKLM\\Software\\Vendor\\Version", Category::kOwned);
  is("HKLM\\Software\\Vendor", Category::kOwned);
  is("C:\\PF\\Common\\shared.dll", Category::kShared);
  EXPECT_EQ(std::vector<std::string>{"AppTwo"}, items["C:\\PF\\Common\\shared.dll"]->others);
  EXPECT_EQ("kept: AppTwo (uses) refers to it too", items["C:\\PF\\Common\\shared.dll"]->why);
  is("C:\\PF\\Vendor", Category::kShared);  // it holds AppTwo's folder
  EXPECT_EQ("kept: holds C:\\PF\\Vendor\\Two (shared)", items["C:\\PF\\Vendor"]->why);
  is("C:\\WINDOWS\\system32\\kernel32.dll", Category::kProtected);  // even though AppOne "brought" it
  is("HKLM\\Software\\Classes\\txtfile\\(Default)", Category::kChanged);
  EXPECT_EQ("kept: it was there before AppOne, which changed it", items["HKLM\\Software\\Classes\\txtfile\\(Default)"]->why);
  is("C:\\WINDOWS\\notepad.exe", Category::kChanged);
  EXPECT_EQ(kLinkUses, items["C:\\WINDOWS\\notepad.exe"]->relation);

  std::string text = PlanText(plan, "store", ListsFor(7));
  EXPECT_NE(std::string::npos, text.find("Protection lists: the Windows 2000 and XP lists (this system reports Windows XP)"));
  EXPECT_NE(std::string::npos, text.find("AppOne: 9 objects: 4 owned (removable), 2 shared, 1 protected, 2 changed."));
  EXPECT_NE(std::string::npos, PlanText(plan, "store", ListsFor(0)).find(kNoListsWarning));
  std::string json = PlanJson(plan, "store", ListsFor(0));
  EXPECT_NE(std::string::npos, json.find("\"counts\": {\"owned\": 4, \"shared\": 2, \"protected\": 1, \"changed\": 2}"));
  EXPECT_NE(std::string::npos,
            json.find("{\"category\": \"shared\", \"kind\": \"file\", \"path\": \"C:\\\\PF\\\\Common\\\\shared.dll\", "
                      "\"relation\": [\"owns\"], \"others\": [\"AppTwo\"]"));

  std::string error;
  EXPECT_FALSE(MakePlan(m_Db, "AppThree", [](CVKUObject*, Kind) { return false; }, &plan, &error));
  EXPECT_EQ("the store holds no application named \"AppThree\"", error);
}

TEST_F(Store, QueriesGiveFullPathsAndHow) {
  Record("AppOne", {"C:\\PF\\One\\", "C:\\PF\\One\\one.exe"}, {}, {"C:\\WINDOWS\\system32\\kernel32.dll"});
  Record("AppTwo", {}, {}, {"C:\\WINDOWS\\system32\\kernel32.dll"});
  std::vector<QueryRow> rows;
  std::string error;
  ASSERT_TRUE(Dependencies(m_Db, "AppOne", &rows, &error)) << error;
  std::vector<std::string> found;
  for (const QueryRow& r : rows) found.push_back(r.how + " " + r.path);
  EXPECT_EQ((std::vector<std::string>{"owns C:\\PF\\One", "owns C:\\PF\\One\\one.exe",
                                      "uses C:\\WINDOWS\\system32\\kernel32.dll"}),
            found);
  ASSERT_TRUE(Referrers(m_Db, "c:\\windows\\SYSTEM32\\kernel32.dll", &rows, &error)) << error;
  ASSERT_EQ(2u, rows.size());
  EXPECT_EQ("AppOne uses", rows[0].path + " " + rows[0].how);
  EXPECT_EQ("AppTwo uses", rows[1].path + " " + rows[1].how);
  EXPECT_NE(std::string::npos, ReferrersText("X", rows).find("X: 2 applications refer to it:"));
  EXPECT_FALSE(Referrers(m_Db, "C:\\nothing", &rows, &error));
}

// A system whose files, imports, shortcuts and values are listed here.
class FakeSystem : public SystemProbe {
 public:
  std::set<std::string> files;
  std::map<std::string, std::vector<std::string>> imports;
  std::map<std::string, std::string> links;
  std::string ExistingFile(const std::string& p) override { return files.count(Upper(p)) ? p : ""; }
  PeImports Imports(const std::string& p) override {
    PeImports r;
    if (imports.count(p)) r.result = PeImports::kImports, r.names = imports[p];
    return r;
  }
  std::string ShortcutTarget(const std::string& l) override { return links.count(l) ? links[l] : ""; }
  std::vector<std::string> ImportFolders(const std::string& f) override { return {f, "C:\\W\\system32", "C:\\W"}; }
};

TEST_F(Store, FollowUpsLinkImportsShortcutsAndNamedFiles) {
  FakeSystem sys;
  sys.files = {"C:\\APP\\A.EXE", "C:\\APP\\PRIVATE.DLL", "C:\\W\\SYSTEM32\\KERNEL32.DLL", "C:\\W\\NOTEPAD.EXE",
               "C:\\COMMON\\SHARED.DLL"};
  sys.imports["C:\\App\\a.exe"] = {"KERNEL32.dll", "private.dll", "missing.dll"};
  sys.links["C:\\Menu\\a.lnk"] = "C:\\W\\notepad.exe";
  Recorder* r = Record("App", {"C:\\App\\a.exe", "C:\\App\\private.dll", "C:\\Menu\\a.lnk", "HKLM\\S|Path",
                               "HKLM\\S|C:\\W\\notepad.exe"});
  std::vector<Recorded> things;
  StoreTree& tree = r->Tree();
  things.push_back({Kind::kFile, "C:\\App\\a.exe", "", tree.Find({"C:", "App", "a.exe"}, Kind::kFile), ""});
  things.push_back({Kind::kFile, "C:\\Menu\\a.lnk", "", tree.Find({"C:", "Menu", "a.lnk"}, Kind::kFile), ""});
  things.push_back({Kind::kValue, "HKLM\\S", "Path", tree.Find({"HKLM", "S", "Path"}, Kind::kValue),
                    "\"C:\\Common\\shared.dll\" /register"});
  things.push_back({Kind::kValue, "HKLM\\S", "C:\\W\\notepad.exe", nullptr, ""});
  FollowupCounts c = FollowReferences(*r, sys, things);
  EXPECT_EQ(1u, c.programs);
  EXPECT_EQ(2u, c.resolved);  // kernel32 in the system folder, private.dll beside the program (owned: no "uses")
  EXPECT_EQ(1u, c.unresolved);
  EXPECT_EQ(1u, c.shortcuts);
  EXPECT_EQ(2u, c.named);
  EXPECT_EQ(3u, r->Counts().uses);  // kernel32, notepad (twice over: once), shared.dll
  EXPECT_EQ(3u, r->Counts().imports);
  ObjectRef vfile(m_Db->LookupVFILE(const_cast<char*>("KERNEL32.dll")));
  ASSERT_TRUE(vfile);
  int imports = 0;
  ForEachLinkFrom(things[0].object, kLinkImports, [&](const LinkEnd& end) {
    imports += end.object->GetType() == kTypeNameOnly;
    return true;
  });
  EXPECT_EQ(3, imports);
  EXPECT_TRUE(things[0].object->DoesObjectLinkTo(const_cast<char*>("App"), kTypeApplication));
  EXPECT_EQ(kLinkUses, r->RelationTo(tree.Find({"C:", "Common", "shared.dll"}, Kind::kFile)));
  EXPECT_EQ(kLinkOwns, r->RelationTo(tree.Find({"C:", "App", "private.dll"}, Kind::kFile)));

  auto isFile = [&](const std::string& p) { return sys.files.count(Upper(p)) > 0; };
  EXPECT_EQ("C:\\W\\notepad.exe", FileNamedBy("  C:\\W\\notepad.exe,0", isFile));
  EXPECT_EQ("C:\\W\\notepad.exe", FileNamedBy("C:\\W\\notepad.exe -s", isFile));
  EXPECT_EQ("", FileNamedBy("notepad.exe", isFile));
  EXPECT_EQ("", FileNamedBy("\"C:\\W\\notepad.exe", isFile));
  for (const char* text : {" \"x\"", "C:\\x", "\\\\server\\x", "\tD:\\"}) EXPECT_TRUE(MayNameFile(text)) << text;
  for (const char* text : {"", "  ", "x.dll", "C:x", "1:\\x", "\\x", "%SystemRoot%\\x"}) EXPECT_FALSE(MayNameFile(text)) << text;
}

TEST(Arguments, EachCommandTakesItsOwnOptions) {
  Arguments a;
  std::string error;
  ASSERT_TRUE(ParseArguments({"record", "--db", "S", "--app", "A", "--root", "C:\\x", "--key", "HKEY_CURRENT_USER\\X",
                              "--", "msiexec", "/i", "--db"},
                             &a, &error))
      << error;
  EXPECT_EQ((std::vector<std::string>{"msiexec", "/i", "--db"}), a.commandLine);
  EXPECT_EQ(std::vector<std::string>{"C:\\x"}, a.roots);
  ASSERT_TRUE(ParseArguments({"who", "--db", "S", "C:\\f", "--json"}, &a, &error)) << error;
  EXPECT_TRUE(a.json && a.targets == std::vector<std::string>{"C:\\f"});
  const std::vector<std::vector<std::string>> bad = {
      {}, {"erase"}, {"plan", "--db", "S"}, {"plan", "--app", "A"}, {"record", "--db", "S", "--app", "A"},
      {"record", "--db", "S", "--app", "A", "--key", "Software\\X", "--", "x"}, {"plan", "--db", "S", "--app", "A", "x"},
      {"who", "--db", "S"}, {"scan", "--db", "S", "--app", "A"}, {"deps", "--db", "S", "--db", "T", "--app", "A"},
      {"plan", "--db", "S", "--app", "A", "--root", "C:\\"}, {"plan", "--db"}};
  for (const auto& b : bad) EXPECT_FALSE(ParseArguments(b, &a, &error)) << (b.empty() ? "" : b[0]) << " " << b.size();
  EXPECT_EQ("a \"b c\" \"\" \"d\\\"e\" \"f g\\\\\" h\\i", QuoteCommandLine({"a", "b c", "", "d\"e", "f g\\", "h\\i"}));
}

}  // namespace
}  // namespace vkp
