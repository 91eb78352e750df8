// Several threads working on the one shared database through its mutex.
#include <string.h>
#include <atomic>
#include <random>
#include <thread>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

// Everything at once on several threads: adding and linking (one parent gaining links
// from all of them), link queries, lookups, dependency queries, deletions, flushes, and
// attaching and releasing the shared database. Every id is handed out once, every flush
// succeeds, every query answers whole, and the store reloads with exactly the objects
// that were kept.
TEST_F(DbTest, ThreadsAddingLinkingLookingUpAndDeletingLoseNothing) {
  const int kThreads = 4, kRounds = 150, kLibraries = 20;
  std::vector<CVKUObject*> apps;
  for (int t = 0; t < kThreads; ++t) apps.push_back(AddPath("C:\\APPS\\APP" + std::to_string(t) + ".EXE"));
  std::vector<CVKUObject*> libs;
  for (int i = 0; i < kLibraries; ++i) {
    libs.push_back(AddPath("C:\\LIB\\L" + std::to_string(i) + ".DLL"));
    for (CVKUObject* app : apps) ASSERT_EQ(1, app->LinkTo(libs.back(), 0x10, 0, 0, nullptr));
  }
  CVKUObject* data = AddPath("C:\\DATA");
  uint32_t lastId = Peer::LastObjectID(db_);
  std::atomic<int> failures{0};
  std::vector<std::vector<std::string>> kept(kThreads);
  std::vector<std::vector<unsigned long>> keptIds(kThreads);
  OnThreads(kThreads, [&](int t) {
    auto check = [&](bool ok) { failures += !ok; };
    std::string appName = "APP" + std::to_string(t) + ".EXE";
    for (int r = 0; r < kRounds; ++r) {
      std::string name = "T" + std::to_string(t) + "_" + std::to_string(r) + ".DAT";
      CVKUObject* f = db_->AddObject(const_cast<char*>(name.c_str()), 4, 0, 0, nullptr, 1);
      check(f && data->LinkTo(f, 1, 0, 0, nullptr) == 1 && apps[t]->LinkTo(f, 0x20, 0, 0, nullptr) == 1);
      if (!f) continue;
      check(libs[r % kLibraries]->DoesObjectLinkTo(const_cast<char*>(appName.c_str()), 4) == 1);
      check(f->DoesObjectLinkTo(const_cast<char*>(appName.c_str()), 4) == 1);
      std::string path = "C:\\DATA\\" + name;
      CVKUObject* found = db_->GetObjectByPath(const_cast<char*>(path.c_str()));
      check(found && found->GetUniqueID() == f->GetUniqueID());
      if (found) found->Release();
      if (r % 2 == 0) check(Dependencies(apps[t]).size() == static_cast<size_t>(kLibraries + r + 1) - (r + 2) / 3);
      if (r % 3 == 0) {
        check(f->Delete() == 1);
      } else {
        kept[t].push_back(path);
        keptIds[t].push_back(f->GetUniqueID());
      }
      f->Release();
      if (r % 25 == 0) check(db_->Flush() == 1);
      if (r % 7 == 0) {
        CVKUDatabase* again = AttachDatabase(const_cast<char*>(dir_.c_str()));
        check(again == db_);
        if (again) again->Release();
      }
    }
  });
  EXPECT_EQ(0, failures);
  EXPECT_EQ(lastId + kThreads * kRounds, Peer::LastObjectID(db_));
  for (const auto& ids : keptIds)
    for (unsigned long id : ids) {
      DBObject* o = Peer::LookupObject(db_, id);
      ASSERT_NE(nullptr, o);
      EXPECT_EQ(2u, o->dwLinksToCount & 0x3FFFFFFF) << id;  // its parent and its app, once each
    }
  Reopen();
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_LOADED), CVKUDatabase::GetLoadStatus());
  size_t files = 0;
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) files += o->pszName && o->pszName[0] == 'T';
  EXPECT_EQ(kThreads * (kRounds - (kRounds + 2) / 3), static_cast<int>(files));
  for (const auto& paths : kept)
    for (const std::string& path : paths) EXPECT_NE(nullptr, Find(path.c_str())) << path;
}

// DoesObjectLinkTo walks the incoming array that LinkTo replaces whenever it grows.
TEST_F(DbTest, LinkQueriesWhileTheTargetGainsLinks) {
  const int kLinks = 20000;
  CVKUObject* target = Add("TARGET.DLL", 4);
  ASSERT_EQ(1, Add("FIRST.EXE", 4)->LinkTo(target, 0x10, 0, 0, nullptr));
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  OnThreads(3, [&](int t) {
    if (t == 0) {
      for (int i = 0; i < kLinks; ++i) {
        std::string name = "APP" + std::to_string(i) + ".EXE";
        CVKUObject* app = db_->AddObject(const_cast<char*>(name.c_str()), 4, 0, 0, nullptr, 1);
        app->LinkTo(target, 0x10, 0, 0, nullptr);
        app->Release();
      }
      done = true;
    }
    while (t != 0 && !done) {
      wrong += target->DoesObjectLinkTo(const_cast<char*>("first.exe"), 4) != 1;
      wrong += target->DoesObjectLinkTo(const_cast<char*>("NOBODY.EXE"), 4) != 0;
    }
  });
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(1, target->DoesObjectLinkTo(const_cast<char*>("APP19999.EXE"), 4));
}

// Dependency queries at once: each must see every object, whatever the others mark.
TEST_F(DbTest, DependencyQueriesOnSeveralThreadsGetWholeAnswers) {
  const int kLibraries = 60, kThreads = 3, kRounds = 150;
  std::vector<CVKUObject*> apps;
  for (int t = 0; t < kThreads; ++t) apps.push_back(AddPath("C:\\APPS\\APP" + std::to_string(t) + ".EXE"));
  for (int i = 0; i < kLibraries; ++i) {
    CVKUObject* lib = AddPath("C:\\LIB\\L" + std::to_string(i) + ".DLL");
    for (CVKUObject* app : apps) ASSERT_EQ(1, app->LinkTo(lib, 0x10, 0, 0, nullptr));
  }
  std::vector<int> shortAnswers(kThreads, 0);
  OnThreads(kThreads, [&](int t) {
    for (int r = 0; r < kRounds; ++r) shortAnswers[t] += Dependencies(apps[t]).size() != static_cast<size_t>(kLibraries);
  });
  EXPECT_EQ(std::vector<int>(kThreads, 0), shortAnswers);
  // No visited mark is left behind.
  for (DBObject* o = Peer::FirstObject(db_); o; o = o->pNext) EXPECT_EQ(0u, o->dwFlags & 0x40000000u);
}

// The first AttachDatabase calls of several threads at once make one database, and the
// reference counts of many threads add up.
TEST_F(DbTest, RacingFirstAttachesShareOneDatabase) {
  const int kThreads = 8;
  Discard();
  for (int round = 0; round < 10; ++round) {
    std::atomic<int> ready{0};
    std::vector<CVKUDatabase*> got(kThreads, nullptr);
    OnThreads(kThreads, [&](int t) {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      got[t] = AttachDatabase(const_cast<char*>(dir_.c_str()));
    });
    ASSERT_NE(nullptr, got[0]);
    ASSERT_EQ(std::vector<CVKUDatabase*>(kThreads, got[0]), got) << "round " << round;
    CVKUDatabase* db = got[0];
    OnThreads(kThreads, [db](int) {
      for (int i = 0; i < 2000; ++i) {
        db->AddRef();
        db->Release();
      }
    });
    EXPECT_EQ(static_cast<unsigned long>(kThreads + 1), db->AddRef()) << "round " << round;
    db->SetSaveFlag(0);
    for (int i = 0; i < kThreads; ++i) db->Release();
    EXPECT_EQ(0u, db->Release());
  }
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
  ASSERT_NE(nullptr, db_);
}

// SetData and SetName on shared objects from several threads, while objects with data
// come and go: all of them use and give back the arena's free space. Every read sees
// one whole value (each value is one repeated byte).
TEST_F(DbTest, DataAndNamesChangeOnManyThreadsAndGiveBackSpace) {
  std::vector<CVKUObject*> shared;
  for (int i = 0; i < 6; ++i) shared.push_back(AddPath("C:\\SHARED\\S" + std::to_string(i)));
  std::atomic<int> torn{0};
  auto whole = [&](const unsigned char* p, size_t n, unsigned char unused) {
    size_t run = 0;
    while (run < n && p[run] == p[0]) ++run;
    for (size_t i = run; i < n; ++i)
      if (p[i] != unused) return false;
    return true;
  };
  OnThreads(4, [&](int t) {
    std::mt19937 rng(t);
    std::vector<unsigned char> data(2000), back(2000);
    for (int r = 0; r < 2000; ++r) {
      CVKUObject* o = shared[rng() % shared.size()];
      unsigned char v = static_cast<unsigned char>('a' + rng() % 26);
      unsigned long size = rng() % 2 ? 1000 + rng() % 1000 : 1 + rng() % 100;
      memset(data.data(), v, size);
      o->SetData(size, data.data());
      memset(back.data(), '#', back.size());
      if (o->GetData(back.size(), back.data()) && !whole(back.data(), back.size(), '#')) ++torn;
      std::string name(1 + rng() % 200, v);
      o->SetName(&name[0]);
      char read[260];
      memset(read, '#', sizeof(read));
      if (o->GetName(read, sizeof(read)) && !whole(reinterpret_cast<unsigned char*>(read), strlen(read), '#')) ++torn;
      CVKUObject* temp = db_->AddObject(&name[0], 4, 0, size, data.data(), 1);
      if (temp) {
        temp->SetData(size / 2, data.data());
        temp->Delete();
        temp->Release();
      }
    }
  });
  EXPECT_EQ(0, torn);
}
