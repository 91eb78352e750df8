// Objects: names, data, flags, deletion and persistence.
#include <string.h>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

TEST_F(DbTest, NamesAreCutTo250AndCopiedOutWithinTheBuffer) {
  std::string longName(300, 'q');
  longName[249] = 'E';
  CVKUObject* o = Add(longName.c_str(), 4);
  EXPECT_EQ(longName.substr(0, 250), Name(o));
  char small[10];
  memset(small, '#', sizeof(small));
  EXPECT_EQ(1, o->GetName(small, sizeof(small)));
  EXPECT_EQ(std::string(9, 'q'), std::string(small));
  EXPECT_EQ(0, o->GetName(small, 0));
  EXPECT_EQ(0, Add(nullptr, 4)->GetName(small, sizeof(small)));
  // Type 2 is always persistent and marks the store dirty; other types only if asked.
  Peer::ClearDirty(db_);
  EXPECT_EQ(1, Add("T", 2, 0)->IsPersistent());
  EXPECT_EQ(1u, Peer::Dirty(db_));
  Peer::ClearDirty(db_);
  EXPECT_EQ(0, Add("V", 4, 0)->IsPersistent());
  EXPECT_EQ(0u, Peer::Dirty(db_));
}

TEST_F(DbTest, DataIsCopiedInAndOutWithinTheGivenSizes) {
  unsigned char bytes[25];
  for (int i = 0; i < 25; ++i) bytes[i] = static_cast<unsigned char>(100 + i);
  CVKUObject* o = db_->AddObject(const_cast<char*>("D"), 4, 0, 25, bytes, 1);
  owned_.push_back(o);
  unsigned char out[40] = {0};
  EXPECT_EQ(0, o->GetData(0, out));
  EXPECT_EQ(1, o->GetData(40, out));
  EXPECT_EQ(0, memcmp(out, bytes, 25));
  FileData fd;
  EXPECT_EQ(0, o->GetFileData(&fd));  // 25 bytes are not a FileData
  EXPECT_EQ(0, o->GetFileData(nullptr));
  // A smaller size reports the new size and copies only that much.
  unsigned char four[4] = {1, 2, 3, 4};
  EXPECT_EQ(1, o->SetData(4, four));
  EXPECT_EQ(4u, o->GetDataSize());
  memset(out, 0, sizeof(out));
  EXPECT_EQ(1, o->GetData(40, out));
  EXPECT_EQ(0, memcmp(out, four, 4));
  EXPECT_EQ(0, out[4]);
  // A block above 16,384 bytes cannot be kept, in AddObject or SetData.
  std::vector<unsigned char> big(16385, 1);
  EXPECT_EQ(nullptr, db_->AddObject(const_cast<char*>("BIG"), 4, 0, 16385, big.data(), 1));
  EXPECT_EQ(0, o->SetData(16385, big.data()));
  EXPECT_EQ(0u, o->GetDataSize());
  EXPECT_EQ(0, o->GetData(40, out));
}

TEST_F(DbTest, DeleteRemovesTheObjectAndEveryLinkAtIt) {
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  CVKUObject* c = Add("C", 4);
  ASSERT_EQ(1, a->LinkTo(b, 5, 0, 0, nullptr));
  ASSERT_EQ(1, b->LinkTo(c, 5, 0, 0, nullptr));
  ASSERT_EQ(1, b->LinkTo(b, 6, 0, 0, nullptr));  // to itself
  ASSERT_EQ(1, c->LinkTo(b, 7, 0, 0, nullptr));
  CVKUObject second = *b;  // a second handle on the same record
  Peer::ClearDirty(db_);
  EXPECT_EQ(1, b->Delete());
  EXPECT_EQ(1u, Peer::Dirty(db_));
  EXPECT_EQ(1, b->Delete());  // the handle is empty now
  EXPECT_EQ(0u, b->GetUniqueID());
  EXPECT_EQ(0, second.Delete());  // the record is gone
  EXPECT_EQ(nullptr, Peer::LookupObject(db_, 3));
  EXPECT_EQ(0u, Peer::Record(a)->dwLinksFromCount & 0x3FFFFFFF);
  EXPECT_EQ(0u, Peer::Record(c)->dwLinksToCount & 0x3FFFFFFF);
  EXPECT_EQ(0u, Peer::Record(c)->dwLinksFromCount & 0x3FFFFFFF);
  for (unsigned long id = 1; id <= 4; ++id) EXPECT_EQ(nullptr, Peer::LookupLink(db_, id)) << id;
}

TEST_F(DbTest, PersistenceIsDemotedWhollyButPromotedOnlyTowardsPersistentEnds) {
  CVKUObject* app = Add("APP", 4);
  CVKUObject* kept = Add("KEPT", 4);
  CVKUObject* temp = Add("TEMP", 4, 0);
  ASSERT_EQ(1, app->LinkTo(kept, 9, 0, 0, nullptr));
  ASSERT_EQ(1, app->LinkTo(temp, 9, 0, 0, nullptr));
  DBObject* rApp = Peer::Record(app);
  const uint32_t kVolatile = 0x40000000u;  // the mark of a non-persistent entry
  auto expect = [&](uint32_t keptLink, uint32_t tempLink) {
    EXPECT_EQ(keptLink, rApp->pLinksFrom[0]);
    EXPECT_EQ(keptLink, Peer::Record(kept)->pLinksTo[0]);
    EXPECT_EQ(keptLink == 1, Peer::LookupLink(db_, 1)->bPersistent);
    EXPECT_EQ(tempLink, rApp->pLinksFrom[1]);
    EXPECT_EQ(tempLink, Peer::Record(temp)->pLinksTo[0]);
    EXPECT_EQ(0, Peer::LookupLink(db_, 2)->bPersistent);
  };
  expect(1, 2 | kVolatile);
  EXPECT_EQ(1, app->MakeUnpersistent());
  EXPECT_EQ(0, app->IsPersistent());
  expect(1 | kVolatile, 2 | kVolatile);
  EXPECT_EQ(1, app->MakePersistent());
  expect(1, 2 | kVolatile);  // the other end of link 2 is not persistent
  CVKUObject empty;
  EXPECT_EQ(0, empty.MakePersistent());
  EXPECT_EQ(1, empty.MakeUnpersistent());
}

TEST_F(DbTest, RenamedObjectsStayInTheNameBucketTheyWereIndexedIn) {
  CVKUObject* dir = Add("OLDNAME", 4);
  Parent(Add("C:", 1), dir);
  EXPECT_EQ(1, dir->SetName(const_cast<char*>("NEWER_AND_LONGER")));
  EXPECT_EQ("NEWER_AND_LONGER", Name(dir));
  EXPECT_EQ("C:\\NEWER_AND_LONGER", FullPath(dir));  // the parent walk sees the new name
  EXPECT_EQ(nullptr, Find("C:\\NEWER_AND_LONGER"));    // the index does not
  EXPECT_EQ(nullptr, Find("C:\\OLDNAME"));
  EXPECT_EQ(1, dir->SetName(const_cast<char*>("SHORT")));
  Reopen();  // the reload indexes the current name
  EXPECT_NE(nullptr, Find("C:\\SHORT"));
}

// SetData and SetName keep a buffer that has room enough, whatever size it held last;
// a buffer they give up is taken by the next piece of its size. So alternating sizes
// use the same memory again and again instead of a new piece each time.
TEST_F(DbTest, DataAndNamesReuseTheirBuffersAndGiveUpSpaceForOthers) {
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  std::vector<unsigned char> big(16384, 7), small(100, 9);
  ASSERT_EQ(1, a->SetData(16384, big.data()));
  unsigned char* buffer = Peer::Record(a)->pData;
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(1, a->SetData(i % 2 ? 16384 : 100, i % 2 ? big.data() : small.data()));
    ASSERT_EQ(buffer, Peer::Record(a)->pData) << i;
  }
  std::vector<unsigned char> back(16384);
  ASSERT_EQ(1, a->GetData(16384, back.data()));  // the whole piece (AddressSanitizer checks this)
  EXPECT_EQ(big, back);
  EXPECT_EQ(0, a->SetData(16385, big.data()));  // fails, and a gives up its buffer
  // A 300-byte buffer given up by b is where a's next 300 bytes go.
  ASSERT_EQ(1, b->SetData(300, big.data()));
  unsigned char* given = Peer::Record(b)->pData;
  ASSERT_EQ(1, b->SetData(600, big.data()));
  ASSERT_EQ(1, a->SetData(300, big.data()));
  EXPECT_EQ(given, Peer::Record(a)->pData);

  std::string longName(200, 'L'), shortName = "S";
  ASSERT_EQ(1, a->SetName(&longName[0]));
  char* name = Peer::Record(a)->pszName;
  for (int i = 0; i < 100; ++i) ASSERT_EQ(1, a->SetName(i % 2 ? &longName[0] : &shortName[0]));
  EXPECT_EQ(name, Peer::Record(a)->pszName);
  EXPECT_EQ(longName, Name(a));
}
