// Several threads working on the one shared database through its mutex.
#include <thread>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

TEST_F(DbTest, ThreadsAddingLinkingLookingUpAndDeletingLoseNothing) {
  const int kThreads = 4, kPerThread = 300;
  CVKUObject* drive = Add("C:", 1);
  std::vector<std::thread> threads;
  std::vector<std::vector<unsigned long>> kept(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::string dirName = "T" + std::to_string(t);
      CVKUObject* dir = db_->AddObject(const_cast<char*>(dirName.c_str()), 4, 0, 0, nullptr, 1);
      drive->LinkTo(dir, 1, 0, 0, nullptr);
      for (int i = 0; i < kPerThread; ++i) {
        std::string name = "F" + std::to_string(i) + ".DAT";
        CVKUObject* f = db_->AddObject(const_cast<char*>(name.c_str()), 4, 0, 0, nullptr, 1);
        dir->LinkTo(f, 1, 0, 0, nullptr);
        std::string path = "C:\\" + dirName + "\\" + name;
        CVKUObject* found = db_->GetObjectByPath(const_cast<char*>(path.c_str()));
        EXPECT_NE(nullptr, found) << path;
        if (found) {
          EXPECT_EQ(f->GetUniqueID(), found->GetUniqueID());
          found->Release();
        }
        if (i % 3 == 0) {
          EXPECT_EQ(1, f->Delete());
        } else {
          kept[t].push_back(f->GetUniqueID());
        }
        f->Release();
      }
      dir->Release();
    });
  }
  for (std::thread& th : threads) th.join();

  size_t expected = 0;
  for (int t = 0; t < kThreads; ++t) {
    expected += kept[t].size();
    for (unsigned long id : kept[t]) {
      DBObject* o = Peer::LookupObject(db_, id);
      ASSERT_NE(nullptr, o);
      EXPECT_EQ(1u, o->dwLinksToCount & 0x3FFFFFFF);
    }
  }
  // Every id was handed out once; every surviving file is in the tree once.
  EXPECT_EQ(1u + 1 + kThreads * (1 + kPerThread), Peer::LastObjectID(db_));
  size_t files = 0;
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext)
    if (o->pszName && o->pszName[0] == 'F') ++files;
  EXPECT_EQ(expected, files);
  Reopen();
  size_t reloaded = 0;
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext)
    if (o->pszName && o->pszName[0] == 'F') ++reloaded;
  EXPECT_EQ(expected, reloaded);
}
