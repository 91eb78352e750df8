// Arena, indexes, id bookkeeping and the shared instance.
#include "Internal.h"
#include "TestSupport.h"

bool DatabaseTestPeer::InNameBucket(CVKUDatabase* db, uint32_t bucket, uint32_t id) {
  for (IndexNode* n = db->m_NameIndex[bucket]; n; n = n->pNext)
    if (static_cast<DBObject*>(n->pRecord)->dwID == id) return true;
  return false;
}

using Peer = DatabaseTestPeer;

TEST_F(DbTest, ArenaServesWholeBlocksAndRefusesLargerPieces) {
  EXPECT_EQ(nullptr, Peer::DoMalloc(db_, 16385));
  unsigned char* a = static_cast<unsigned char*>(Peer::DoMalloc(db_, 16384));
  ASSERT_NE(nullptr, a);
  a[0] = 1;
  a[16383] = 2;  // the whole piece is usable (AddressSanitizer checks this natively)
  // Pieces follow each other without padding while they fit ...
  unsigned char* b = static_cast<unsigned char*>(Peer::DoMalloc(db_, 45));
  unsigned char* c = static_cast<unsigned char*>(Peer::DoMalloc(db_, 21));
  EXPECT_EQ(b + 45, c);
  // ... and a piece that does not fit starts a new block, giving up the rest.
  unsigned char* d = static_cast<unsigned char*>(Peer::DoMalloc(db_, 16384 - 45 - 21 + 1));
  unsigned char* e = static_cast<unsigned char*>(Peer::DoMalloc(db_, 1));
  ASSERT_NE(nullptr, d);
  EXPECT_EQ(d + (16384 - 45 - 21 + 1), e);
  EXPECT_NE(c + 21, d);
}

TEST_F(DbTest, NameHashFoldsAsciiLettersAndSignExtendsHighBytes) {
  CVKUObject* lower = Add("abc", 4);
  CVKUObject* accented = Add("\xE9t\xC9", 4);
  EXPECT_TRUE(Peer::InNameBucket(db_, ExpectedNameHash("ABC"), lower->GetUniqueID()));
  // 0xE9 enters sign-extended: ((0 * 4) ^ 0xFFFFFFE9) & 0x3FFF, then on.
  EXPECT_EQ(0x3FE9u, ExpectedNameHash("\xE9"));
  EXPECT_TRUE(Peer::InNameBucket(db_, ExpectedNameHash("\xE9T\xC9"), accented->GetUniqueID()));
  // High bytes are not folded, so the other case lands elsewhere.
  EXPECT_NE(ExpectedNameHash("\xC9"), ExpectedNameHash("\xE9"));
  EXPECT_EQ(nullptr, Find("\xC9T\xE9"));
}

TEST_F(DbTest, NameIndexHoldsNamedObjectsOfPathTypesOnly) {
  CVKUObject* file = Add("KERNEL32.DLL", 4);
  CVKUObject* vfile = Add("MSVCRT.DLL", 0x1000);
  CVKUObject* app = Add("APP.EXE", 0x2000);  // a client type outside 0x103F
  CVKUObject* unnamed = Add("", 4);
  EXPECT_TRUE(Peer::InNameBucket(db_, ExpectedNameHash("kernel32.dll"), file->GetUniqueID()));
  EXPECT_TRUE(Peer::InNameBucket(db_, ExpectedNameHash("MSVCRT.DLL"), vfile->GetUniqueID()));
  EXPECT_FALSE(Peer::InNameBucket(db_, ExpectedNameHash("APP.EXE"), app->GetUniqueID()));
  EXPECT_FALSE(Peer::InNameBucket(db_, 0, unnamed->GetUniqueID()));
  EXPECT_TRUE(Peer::InIdIndex(db_, app->GetUniqueID()));
  EXPECT_TRUE(Peer::InIdIndex(db_, unnamed->GetUniqueID()));
}

TEST_F(DbTest, IdsInUse) {
  EXPECT_EQ(1, Peer::ObjectInUse(db_, 0));
  EXPECT_EQ(1, Peer::ObjectInUse(db_, 1));
  EXPECT_EQ(0, Peer::ObjectInUse(db_, 2));
  EXPECT_EQ(1, Peer::LinkInUse(db_, 1));
  EXPECT_EQ(0, Peer::LinkInUse(db_, 2));
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  EXPECT_EQ(2u, a->GetUniqueID());
  EXPECT_EQ(3u, b->GetUniqueID());
  EXPECT_EQ(1, Peer::ObjectInUse(db_, 3));
  EXPECT_EQ(0, Peer::ObjectInUse(db_, 4));
  ASSERT_EQ(1, a->LinkTo(b, 5, 0, 0, nullptr));
  ASSERT_EQ(1, a->LinkTo(b, 6, 0, 0, nullptr));
  EXPECT_EQ(1, Peer::LinkInUse(db_, 2));
  EXPECT_EQ(0, Peer::LinkInUse(db_, 3));
  // Deleting frees the id for ObjectInUse but never for reuse while loaded.
  CVKUObject* extra = db_->AddObject(const_cast<char*>("C"), 4, 0, 0, nullptr, 1);
  ASSERT_EQ(1, extra->Delete());
  extra->Release();
  EXPECT_EQ(0, Peer::ObjectInUse(db_, 4));
  EXPECT_EQ(5u, Add("D", 4)->GetUniqueID());
}

TEST_F(DbTest, AttachReturnsTheSharedDatabaseAndCountsReferences) {
  CVKUDatabase* again = AttachDatabase(const_cast<char*>("Z:\\somewhere\\else"));
  EXPECT_EQ(db_, again);
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

TEST(AttachDatabase, RefusesADirectoryTooLongForTheStorePaths) {
  std::string longDir(255, 'x');
  EXPECT_EQ(nullptr, AttachDatabase(const_cast<char*>(longDir.c_str())));
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_NAME_TOO_LONG), CVKUDatabase::GetLoadStatus());
}

// Without a directory the database has no store: it works in memory and never writes.
TEST(AttachDatabase, WithoutADirectoryTheDatabaseLivesInMemory) {
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
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  Parent(a, b);
  db_->Flush();
  size_t before = 0;
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) ++before;
  EXPECT_EQ(0, db_->Initialize(const_cast<char*>(dir_.c_str())));
  size_t after = 0;
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) ++after;
  EXPECT_EQ(before, after);
  EXPECT_EQ(3u, Peer::LastObjectID(db_));
  EXPECT_EQ(4u, Add("C", 4)->GetUniqueID());
}
