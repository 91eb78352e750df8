// Links: duplicates, persistence marks, array growth, deletion and enumeration.
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

TEST_F(DbTest, PersistentLinksAreMadeOncePerTypeAndFoundBySource) {
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  CVKUObject* v = Add("V", 4, 0);
  EXPECT_EQ(1, a->LinkTo(b, 3, 0, 0, nullptr));
  EXPECT_EQ(1, a->LinkTo(b, 3, 0, 0, nullptr));
  EXPECT_EQ(1, a->LinkTo(b, 4, 0, 0, nullptr));
  EXPECT_EQ(2u, Peer::Record(b)->dwLinksToCount);
  // Links to a non-persistent object are never checked for duplicates.
  EXPECT_EQ(1, a->LinkTo(v, 3, 0, 0, nullptr));
  EXPECT_EQ(1, a->LinkTo(v, 3, 0, 0, nullptr));
  EXPECT_EQ(2u, Peer::Record(v)->dwLinksToCount);
  EXPECT_EQ(0, a->LinkTo(nullptr, 3, 0, 0, nullptr));
  CVKUObject empty;
  EXPECT_EQ(0, a->LinkTo(&empty, 3, 0, 0, nullptr));
  EXPECT_EQ(0, empty.LinkTo(a, 3, 0, 0, nullptr));
  // DoesObjectLinkTo looks at the incoming links, by source name (any case) and type.
  CVKUObject* app = Add("Setup.EXE", 0x2000);
  ASSERT_EQ(1, app->LinkTo(b, 0, 0, 0, nullptr));
  EXPECT_EQ(1, b->DoesObjectLinkTo(const_cast<char*>("SETUP.exe"), 0x2000));
  EXPECT_EQ(0, b->DoesObjectLinkTo(const_cast<char*>("SETUP.exe"), 0x4));
  EXPECT_EQ(0, b->DoesObjectLinkTo(const_cast<char*>("OTHER.EXE"), 0xFFFFFFFF));
  EXPECT_EQ(0, app->DoesObjectLinkTo(const_cast<char*>("B"), 0xFFFFFFFF));  // incoming only
}

TEST_F(DbTest, LinkArraysMoveToTheHeapFromTheThirdEntryAndKeepTheirOrder) {
  CVKUObject* hub = Add("HUB", 4);
  DBObject* r = Peer::Record(hub);
  for (int i = 0; i < 25; ++i) {
    ASSERT_EQ(1, hub->LinkTo(Add(("L" + std::to_string(i)).c_str(), 4), 5, 0, 0, nullptr));
    EXPECT_EQ(static_cast<uint32_t>(i + 1) | (i >= 2 ? 0x40000000u : 0), r->dwLinksFromCount);
    for (int j = 0; j <= i; ++j) ASSERT_EQ(static_cast<uint32_t>(j + 1), r->pLinksFrom[j]) << i;
  }
  // Removal compacts in place, keeps the order and the heap bit.
  CVKULink* link = nullptr;
  unsigned long find = hub->FindFirstLinkFrom(0xFFFFFFFF, &link);
  ASSERT_NE(0u, find);
  hub->FindCloseLinkFrom(find);
  EXPECT_EQ(1, link->Delete());
  link->Release();
  EXPECT_EQ(24u | 0x40000000u, r->dwLinksFromCount);
  EXPECT_EQ(2u, r->pLinksFrom[0]);
  EXPECT_EQ(25u, r->pLinksFrom[23]);
}

TEST_F(DbTest, DeletingALinkRemovesItFromBothEnds) {
  CVKUObject* a = Add("A", 4);
  CVKUObject* b = Add("B", 4);
  ASSERT_EQ(1, a->LinkTo(b, 2, 0, 0, nullptr));
  CVKULink* link = nullptr;
  unsigned long find = b->FindFirstLinkTo(0xFFFFFFFF, &link);
  ASSERT_NE(0u, find);
  b->FindCloseLinkTo(find);
  CVKULink copy = *link;
  CVKUObject* source = link->GetSource();
  ASSERT_NE(nullptr, source);
  EXPECT_EQ(a->GetUniqueID(), source->GetUniqueID());
  source->Release();
  EXPECT_EQ(2u, link->GetType());
  Peer::ClearDirty(db_);
  EXPECT_EQ(1, link->Delete());
  EXPECT_EQ(1u, Peer::Dirty(db_));
  EXPECT_EQ(1, link->Delete());
  EXPECT_EQ(0, copy.Delete());
  EXPECT_EQ(0u, Peer::Record(a)->dwLinksFromCount);
  EXPECT_EQ(0u, Peer::Record(b)->dwLinksToCount);
  EXPECT_EQ(nullptr, link->GetSource());
  link->Release();

  // A link record outlives its ends' deletion only in the arena: no handle on a gone end.
  ASSERT_EQ(1, a->LinkTo(b, 2, 0, 0, nullptr));
  find = a->FindFirstLinkFrom(2, &link);
  a->FindCloseLinkFrom(find);
  ASSERT_EQ(1, b->Delete());
  EXPECT_EQ(nullptr, link->GetTarget());
  CVKUObject* stillThere = link->GetSource();
  ASSERT_NE(nullptr, stillThere);
  stillThere->Release();
  link->Release();
}

TEST_F(DbTest, EnumerationFiltersByTypeMaskAndFollowsTheLiveArray) {
  CVKUObject* a = Add("A", 4);
  std::vector<CVKUObject*> t;
  for (int i = 0; i < 5; ++i) t.push_back(Add(("T" + std::to_string(i)).c_str(), 4));
  unsigned long types[5] = {1, 2, 4, 2, 3};
  for (int i = 0; i < 5; ++i) ASSERT_EQ(1, a->LinkTo(t[i], types[i], 0, 0, nullptr));

  CVKULink* link = reinterpret_cast<CVKULink*>(1);
  EXPECT_EQ(0u, a->FindFirstLinkFrom(0, &link));
  EXPECT_EQ(reinterpret_cast<CVKULink*>(1), link);  // not written
  EXPECT_EQ(0u, a->FindFirstLinkTo(0xFFFFFFFF, &link));

  std::vector<unsigned long> seen;
  unsigned long find = a->FindFirstLinkFrom(2, &link);
  ASSERT_NE(0u, find);
  do {
    CVKUObject* target = link->GetTarget();
    seen.push_back(target->GetUniqueID());
    target->Release();
    link->Release();
  } while (a->FindNextLinkFrom(find, &link));
  EXPECT_EQ((std::vector<unsigned long>{t[1]->GetUniqueID(), t[3]->GetUniqueID(), t[4]->GetUniqueID()}), seen);
  EXPECT_EQ(0, a->FindNextLinkFrom(find, &link));  // stays at the end until closed
  a->FindCloseLinkFrom(find);

  // A link removed before the current index shifts the entries: one is skipped.
  find = a->FindFirstLinkFrom(0xFFFFFFFF, &link);  // index 0
  link->Release();
  ASSERT_EQ(1, a->FindNextLinkFrom(find, &link));  // index 1
  link->Release();
  CVKULink* first = nullptr;
  unsigned long other = a->FindFirstLinkFrom(1, &first);
  a->FindCloseLinkFrom(other);
  ASSERT_EQ(1, first->Delete());
  first->Release();
  ASSERT_EQ(1, a->FindNextLinkFrom(find, &link));  // index 2, now the fourth link
  CVKUObject* target = link->GetTarget();
  EXPECT_EQ(t[3]->GetUniqueID(), target->GetUniqueID());
  target->Release();
  link->Release();
  a->FindCloseLinkFrom(find);
}
