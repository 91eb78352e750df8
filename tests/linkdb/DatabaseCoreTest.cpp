// Id bookkeeping, the shared instance and its reference counts, and initialisation.
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

TEST_F(DbTest, IdsInUse) {
  auto inUse = [&](std::vector<unsigned long> objects, std::vector<unsigned long> links) {
    std::vector<unsigned long> o, l;
    for (unsigned long id = 0; id < 6; ++id) {
      if (Peer::ObjectInUse(db_, id)) o.push_back(id);
      if (Peer::LinkInUse(db_, id)) l.push_back(id);
    }
    EXPECT_EQ(objects, o);
    EXPECT_EQ(links, l);
  };
  inUse({0, 1}, {0, 1});  // 0 and the root; links 0 and 1 before any link exists
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  ASSERT_EQ(1, a->LinkTo(b, 5, 0, 0, nullptr));
  ASSERT_EQ(1, a->LinkTo(b, 6, 0, 0, nullptr));
  inUse({0, 1, 2, 3}, {0, 1, 2});
  // Deleting frees the id for ObjectInUse but never for reuse while loaded.
  CVKUObject* extra = db_->AddObject(const_cast<char*>("C"), 4, 0, 0, nullptr, 1);
  ASSERT_EQ(1, extra->Delete());
  extra->Release();
  inUse({0, 1, 2, 3}, {0, 1, 2});
  EXPECT_EQ(5u, Add("D", 4)->GetUniqueID());
}

TEST_F(DbTest, AttachReturnsTheSharedDatabaseAndCountsReferences) {
  EXPECT_EQ(db_, AttachDatabase(const_cast<char*>("Z:\\somewhere\\else")));
  EXPECT_EQ(3u, db_->AddRef());
  EXPECT_EQ(2u, db_->Release());
  EXPECT_EQ(1u, db_->Release());
  db_->SetLock(7);
  EXPECT_EQ(7, db_->CheckLock());
  db_->SetSaveFlag(0);
  EXPECT_EQ(0u, db_->Release());  // destroyed
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
  ASSERT_NE(nullptr, db_);
  EXPECT_EQ(2u, db_->AddRef());
  db_->Release();
}

// A directory too long for the store paths is refused; without a directory the
// database has no store: it works in memory and never writes.
TEST(AttachDatabase, RefusesALongDirectoryAndLivesInMemoryWithoutOne) {
  EXPECT_EQ(nullptr, AttachDatabase(const_cast<char*>(std::string(255, 'x').c_str())));
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_NAME_TOO_LONG), CVKUDatabase::GetLoadStatus());
  CVKUDatabase* db = AttachDatabase(nullptr);
  ASSERT_NE(nullptr, db);
  EXPECT_EQ(VKU_LOAD_NEW | VKU_LOAD_NOT_WRITABLE, CVKUDatabase::GetLoadStatus());
  CVKUObject* a = db->AddObject(const_cast<char*>("C:"), 1, 0, 0, nullptr, 1);
  CVKUObject* b = db->AddObject(const_cast<char*>("B"), 4, 0, 0, nullptr, 1);
  ASSERT_EQ(1, a->LinkTo(b, 1, 0, 0, nullptr));
  CVKUObject* found = db->GetObjectByPath(const_cast<char*>("C:\\B"));
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(b->GetUniqueID(), found->GetUniqueID());
  EXPECT_EQ(0, db->Flush());
  EXPECT_EQ(vkl::SystemErrorCode(vkl::kErrorNoFolder), LastError());
  for (CVKUObject* o : {a, b, found}) o->Release();
  EXPECT_EQ(0u, db->Release());
}

TEST_F(DbTest, ASecondInitializeIsRefused) {
  Parent(Add("A", 4), Add("B", 4));
  db_->Flush();
  auto count = [&] {
    size_t n = 0;
    for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) ++n;
    return n;
  };
  size_t before = count();
  EXPECT_EQ(0, db_->Initialize(const_cast<char*>(dir_.c_str())));
  EXPECT_EQ(before, count());
  EXPECT_EQ(4u, Add("C", 4)->GetUniqueID());
}
