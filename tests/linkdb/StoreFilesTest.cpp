// What obj.dat and link.dat hold, byte for byte, and what survives a reload.
#include <string.h>
#include <array>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;
using Bytes = std::vector<unsigned char>;

namespace {

void U32(Bytes& b, std::initializer_list<uint32_t> values) {
  for (uint32_t v : values)
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
Bytes Header(uint32_t mark = 1) {
  Bytes b;
  U32(b, {4100, mark});
  return b;
}
// One obj.dat entry as the writer lays it out (pointer slots zero).
void ObjectEntry(Bytes& b, uint32_t id, uint32_t type, uint32_t flags, const std::string& name,
                 const std::vector<uint32_t>& from, const std::vector<uint32_t>& to, const Bytes& data) {
  U32(b, {0, 0, id, type, flags, static_cast<uint32_t>(from.size()), 0, static_cast<uint32_t>(to.size()), 0});
  b.push_back(1);
  U32(b, {static_cast<uint32_t>(data.size()), 0});
  b.push_back(static_cast<unsigned char>(name.size()));
  b.push_back(static_cast<unsigned char>(name.size() >> 8));
  b.insert(b.end(), name.begin(), name.end());
  for (uint32_t e : from) U32(b, {e});
  for (uint32_t e : to) U32(b, {e});
  b.insert(b.end(), data.begin(), data.end());
}
void LinkRecord(Bytes& b, uint32_t id, uint32_t source, uint32_t target, uint32_t type) {
  U32(b, {0, id, source, target, type});
  b.push_back(1);
}

}  // namespace

TEST_F(DbTest, StoreFilesAreWrittenByteForByte) {
  CVKUObject* drive = Add("C:", 1);
  unsigned char data[3] = {0xAA, 0xBB, 0xCC};
  CVKUObject* file = db_->AddObject(const_cast<char*>("a.exe"), 4, 0x80000007, 3, data, 1);
  owned_.push_back(file);
  CVKUObject* temp = Add("TEMP", 4, 0);
  Parent(drive, file);                                // link 1
  ASSERT_EQ(1, drive->LinkTo(temp, 1, 0, 0, nullptr));  // link 2, not persistent
  db_->Flush();

  // Newest first: the non-persistent object is skipped, the root has no links.
  Bytes obj = Header();
  ObjectEntry(obj, 3, 4, 0x80000007, "a.exe", {}, {1}, {0xAA, 0xBB, 0xCC});
  ObjectEntry(obj, 2, 1, 0, "C:", {1}, {}, {});
  EXPECT_EQ(obj, ReadFile("obj.dat"));
  Bytes link = Header();
  LinkRecord(link, 1, 2, 3, 1);
  EXPECT_EQ(link, ReadFile("link.dat"));

  // The same database always writes the same bytes.
  db_->Flush();
  EXPECT_EQ(obj, ReadFile("obj.dat"));
}

// What a reload keeps; objects without a saved link are not kept, and the ids of
// objects that were not saved are handed out again.
TEST_F(DbTest, ReloadKeepsIdsNamesDataAndLinksOfLinkedObjectsOnly) {
  CVKUObject* drive = Add("C:", 1);
  CVKUObject* dir = Add("WINDOWS", 4);
  unsigned char data[24];
  for (int i = 0; i < 24; ++i) data[i] = static_cast<unsigned char>(i * 7);
  CVKUObject* file = db_->AddObject(const_cast<char*>("NOTEPAD.EXE"), 4, 0x40000003, 24, data, 1);
  owned_.push_back(file);
  Parent(drive, dir);
  Parent(dir, file);
  ASSERT_EQ(1, file->LinkTo(dir, 0x100, 0, 0, nullptr));
  ASSERT_EQ(1, Add("LONE", 4)->LinkTo(Add("V", 4, 0), 3, 0, 0, nullptr));  // ids 5 and 6
  Reopen();
  EXPECT_EQ(4u, Peer::LastObjectID(db_));
  EXPECT_EQ(3u, Peer::LastLinkID(db_));
  EXPECT_EQ(nullptr, Peer::LookupObject(db_, 5));
  CVKUObject* again = Find("c:\\windows\\notepad.exe");
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(4u, again->GetUniqueID());
  EXPECT_EQ(3u, again->GetFlags());  // the run-time marks (bits 30, 31) are cleared
  FileData fd;
  ASSERT_EQ(1, again->GetFileData(&fd));
  EXPECT_EQ(0, memcmp(fd.abData, data, 24));
  EXPECT_EQ("C:\\WINDOWS\\NOTEPAD.EXE", FullPath(again));
  EXPECT_EQ(5u, Add("X", 4)->GetUniqueID());  // after the highest id loaded
  EXPECT_EQ(nullptr, db_->GetRootObject());  // the root was unlinked, so not written
}

// Nothing is written for a database of the root alone, or when the save flag is off.
TEST_F(DbTest, ARootOnlyDatabaseOrAClearedSaveFlagWritesNothing) {
  CVKUObject* root = db_->GetRootObject();
  ASSERT_NE(nullptr, root);
  EXPECT_EQ(1u, root->GetUniqueID());
  EXPECT_EQ(1, root->IsPersistent());
  root->Release();
  Reopen();
  EXPECT_EQ((std::vector<std::string>{"store.lck"}), FolderFiles());
  Parent(Add("A", 4), Add("B", 4));
  EXPECT_EQ(1u, Peer::Dirty(db_));
  db_->SetSaveFlag(0);
  Reopen();
  EXPECT_FALSE(FileExists("obj.dat"));
  EXPECT_EQ(1u, Peer::LastObjectID(db_));
}

TEST_F(DbTest, AnIncompleteOrForeignStoreIsIgnoredWhole) {
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  Parent(a, b);
  db_->Flush();
  Bytes obj = ReadFile("obj.dat"), link = ReadFile("link.dat");
  ASSERT_GT(obj.size(), 8u);

  struct Case {
    const char* what;
    Bytes obj, link;
  };
  Bytes unmarked = obj;
  unmarked[4] = 0;
  Bytes wrongTag = link;
  wrongTag[0] = 5;
  std::vector<Case> cases = {{"mark 0", unmarked, link},
                             {"wrong tag", obj, wrongTag},
                             {"link.dat missing", obj, {}},
                             {"header cut short", Bytes(obj.begin(), obj.begin() + 6), link}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Load(c.obj, c.link);
    EXPECT_EQ(1u, Peer::LastObjectID(db_));
    EXPECT_EQ(0u, Peer::LastLinkID(db_));
    CVKUObject* root = db_->GetRootObject();
    ASSERT_NE(nullptr, root);
    root->Release();
    EXPECT_EQ(c.obj, ReadFile("obj.dat"));  // left as it was until the next Flush
  }
}

TEST_F(DbTest, MalformedStoresLoadWhatTheyCanAndNeverReadPastTheEnd) {
  Bytes link = Header();
  LinkRecord(link, 9, 2, 3, 1);
  link.resize(link.size() + 10);  // a partial record at the end is dropped

  struct Case {
    const char* what;
    Bytes obj;
    uint32_t lastId;            // expected highest id loaded
    std::vector<uint32_t> ids;  // objects that must be there
  };
  std::vector<Case> cases;
  {
    Bytes b = Header();
    ObjectEntry(b, 2, 1, 0, "C:", {9}, {}, {});
    ObjectEntry(b, 3, 4, 0, "X", {}, {9}, {1, 2, 3});
    b.resize(b.size() - 1);  // the data of the second entry runs past the end
    cases.push_back({"truncated data", b, 2, {2}});
  }
  {
    Bytes b = Header();
    ObjectEntry(b, 2, 1, 0, "C:", {9}, {}, {});
    ObjectEntry(b, 5, 4, 0, "Y", {}, {9}, {});
    b[8 + 45 + 2 + 2 + 4 + 20] = 0xFF;  // second entry's outgoing count: far past the end
    b[8 + 45 + 2 + 2 + 4 + 23] = 0x3F;
    cases.push_back({"count past the end", b, 2, {2}});
  }
  {
    Bytes b = Header();
    ObjectEntry(b, 2, 1, 0, "C:", {9}, {}, {});
    Bytes big(20000, 0x5A);  // more than one arena piece
    ObjectEntry(b, 3, 4, 0, std::string(300, 'n'), {}, {9, 0xFFFFFFFF, 0}, big);
    ObjectEntry(b, 0xFFFFFFFF, 4, 0xC0000000, "", {0x7FFFFFFF}, {}, {});
    cases.push_back({"huge data, odd ids and entries", b, 0xFFFFFFFF, {2, 3, 0xFFFFFFFF}});
  }
  {
    Bytes b = Header();
    ObjectEntry(b, 2, 1, 0, "C:", {9}, {}, {});
    ObjectEntry(b, 3, 4, 0, "Z", {}, {9}, {});
    b[8 + 45 + 2 + 2 + 4 + 45] = 0xFF;  // second entry's name length runs past the end
    b[8 + 45 + 2 + 2 + 4 + 46] = 0xFF;
    cases.push_back({"name past the end", b, 2, {2}});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Load(c.obj, link);
    EXPECT_EQ(c.lastId, Peer::LastObjectID(db_));
    EXPECT_EQ(9u, Peer::LastLinkID(db_));
    for (uint32_t id : c.ids) EXPECT_NE(nullptr, Peer::LookupObject(db_, id)) << id;
    // Whatever was loaded can be walked, queried, changed and written again.
    for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) {
      char path[260];
      db_->SafeGetFullPath(o, path, 0);
      EXPECT_EQ(0u, o->dwFlags & 0xC0000000u);
      if (o->dwDataSize) {
        EXPECT_NE(nullptr, o->pData);
      }
    }
    CVKUObject* x = db_->GetObjectByPath(const_cast<char*>("C:\\X"));
    if (x) {
      Dependencies(x);  // walks whatever links the store named
      x->Release();
    }
    CVKUObject* extra = Add("NEW", 4);
    CVKUObject* drive = Find("C:");
    if (drive) Parent(drive, extra);
    db_->Flush();
    Reopen();
  }
}

// Persistent records are written with a persistence byte of 1, whatever byte they were
// loaded with.
TEST_F(DbTest, PersistenceBytesAreWrittenAsOne) {
  Bytes obj = Header();
  ObjectEntry(obj, 2, 1, 0, "C:", {1}, {}, {});
  ObjectEntry(obj, 3, 4, 0, "A", {}, {1}, {});
  obj[8 + 36] = 2;
  obj[8 + 47 + 2 + 4 + 36] = 7;
  Bytes link = Header();
  LinkRecord(link, 1, 2, 3, 1);
  link[8 + 20] = 2;
  Load(obj, link);
  ASSERT_EQ(1, db_->Flush());
  Bytes expectedObj = Header();
  ObjectEntry(expectedObj, 3, 4, 0, "A", {}, {1}, {});
  ObjectEntry(expectedObj, 2, 1, 0, "C:", {1}, {}, {});
  Bytes expectedLink = Header();
  LinkRecord(expectedLink, 1, 2, 3, 1);
  EXPECT_EQ(expectedObj, ReadFile("obj.dat"));
  EXPECT_EQ(expectedLink, ReadFile("link.dat"));
}

// Client data larger than the interface can make (one arena piece) is kept when a store
// holds it, and written back.
TEST_F(DbTest, LargeClientDataInAStoreIsKept) {
  Bytes big(40000);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<unsigned char>(i * 31);
  Bytes obj = Header();
  ObjectEntry(obj, 2, 1, 0, "C:", {1}, {}, {});
  ObjectEntry(obj, 3, 4, 0, "BIG", {}, {1}, big);
  ObjectEntry(obj, 4, 4, 0, "AFTER", {}, {1}, {9});
  Bytes link = Header();
  LinkRecord(link, 1, 2, 3, 1);
  Discard();
  WriteFile("obj.dat", obj);
  WriteFile("link.dat", link);
  for (int round = 0; round < 2; ++round) {
    db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
    ASSERT_NE(nullptr, db_);
    CVKUObject* o = Find("C:\\BIG");
    ASSERT_NE(nullptr, o);
    ASSERT_EQ(big.size(), o->GetDataSize());
    Bytes back(big.size());
    ASSERT_EQ(1, o->GetData(static_cast<unsigned long>(back.size()), back.data()));
    EXPECT_EQ(big, back);
    Reopen();  // written back, read again
    Discard();
  }
}

// Link-array entries that name no loaded link, or a link that does not name the object
// back (a new obj.dat beside an old link.dat), are dropped at load: a later link with
// that id must not join the object to something the client never linked it to.
TEST_F(DbTest, EntriesThatNameNoLinkOfTheirObjectAreDroppedAtLoad) {
  Bytes obj = Header();
  ObjectEntry(obj, 2, 1, 0, "C:", {1, 4}, {}, {});
  ObjectEntry(obj, 3, 4, 0, "KEPT.TXT", {}, {1}, {});
  ObjectEntry(obj, 4, 4, 0, "STALE.TXT", {}, {4, 1}, {});  // link 4 is missing; link 1 is KEPT's
  Bytes link = Header();
  LinkRecord(link, 1, 2, 3, 1);
  Load(obj, link);
  EXPECT_EQ(1u, Peer::LastLinkID(db_));
  DBObject* stale = Peer::LookupObject(db_, 4);
  ASSERT_NE(nullptr, stale);
  EXPECT_EQ(0u, stale->dwLinksToCount & 0x3FFFFFFF);
  EXPECT_EQ(1u, Peer::LookupObject(db_, 2)->dwLinksFromCount & 0x3FFFFFFF);
  // New links take ids 2, 3, 4 and join only what they join.
  CVKUObject* d = Add("D:", 1);
  for (const char* name : {"X", "Y", "Z"}) Parent(d, Add(name, 4));
  EXPECT_EQ(4u, Peer::LastLinkID(db_));
  char path[260];
  EXPECT_EQ(0, db_->SafeGetFullPath(stale, path, 0));
  EXPECT_EQ("C:\\KEPT.TXT", FullPath(Find("C:\\KEPT.TXT")));
}

// A store as an earlier version wrote it loads and is written back as before: reversed by
// one reload (loading pushes at the head), the same bytes again after a second. The
// entries have arrays of every size the loader treats differently (1, 2 and 3 entries
// in the arena, more than a heap array of 10 holds), client data and long names.
TEST_F(DbTest, AStoreIsWrittenBackByteForByte) {
  struct Entry {
    uint32_t id, type, flags;
    std::string name;
    std::vector<uint32_t> from, to;
    Bytes data;
  };
  std::vector<Entry> entries;
  std::vector<std::array<uint32_t, 4>> links;  // id, source, target, type
  uint32_t nextLink = 1;
  auto link = [&](uint32_t s, uint32_t t, uint32_t type) {
    links.push_back({nextLink, s, t, type});
    return nextLink++;
  };
  entries.push_back({2, 1, 0, "C:", {}, {}, {}});
  for (uint32_t i = 0; i < 14; ++i)
    entries.push_back({3 + i, i % 2 ? 4u : 2u, i * 3, std::string(i * 17 + 1, static_cast<char>('a' + i)), {}, {}, {}});
  entries.push_back({20, 0x2000, 7, "APP.EXE", {}, {}, Bytes(24, 0x5C)});
  for (uint32_t i = 0; i < 14; ++i) {  // each under C:, the app using most of them
    uint32_t parent = link(2, 3 + i, 1);
    entries[0].from.push_back(parent);
    entries[1 + i].to.push_back(parent);
    for (uint32_t k = 0; k < i % 4; ++k) {
      uint32_t use = link(20, 3 + i, 0x10 + k);
      entries.back().from.push_back(use);
      entries[1 + i].to.push_back(use);
    }
  }
  auto image = [&](bool reversed) {
    Bytes obj = Header(), lnk = Header();
    for (size_t k = 0; k < entries.size(); ++k) {
      const Entry& e = entries[reversed ? entries.size() - 1 - k : k];
      ObjectEntry(obj, e.id, e.type, e.flags, e.name, e.from, e.to, e.data);
    }
    for (size_t k = 0; k < links.size(); ++k) {
      const auto& l = links[reversed ? links.size() - 1 - k : k];
      LinkRecord(lnk, l[0], l[1], l[2], l[3]);
    }
    return std::make_pair(obj, lnk);
  };
  Discard();
  WriteFile("obj.dat", image(false).first);
  WriteFile("link.dat", image(false).second);
  for (bool reversed : {true, false}) {
    db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
    ASSERT_NE(nullptr, db_);
    ASSERT_EQ(1, db_->Flush());
    EXPECT_EQ(image(reversed).first, ReadFile("obj.dat"));
    EXPECT_EQ(image(reversed).second, ReadFile("link.dat"));
    Discard();
  }
}
