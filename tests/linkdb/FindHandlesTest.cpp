// Find handles of object searches, link enumerations and dependency queries: small
// numbers from one table, so that a handle that is stale, closed twice, made up or of
// another kind is refused instead of followed, on 32- and 64-bit builds alike.
#include <atomic>
#include <thread>
#include "TestSupport.h"

TEST_F(DbTest, FindHandlesRefuseStaleDoubleClosedMadeUpAndForeignHandles) {
  CVKUObject* app = AddPath("C:\\APPS\\APP.EXE", 2);
  for (const char* n : {"A.DLL", "B.DLL", "C.DLL"}) app->LinkTo(Add(n, 4), 0x10, 0, 0, nullptr);
  CVKUObject* got = nullptr;
  CVKULink* link = nullptr;
  double weight = 0;

  unsigned long search = db_->FindFirstObject(const_cast<char*>("*.DLL"), 4, &got);
  got->Release();
  unsigned long links = app->FindFirstLinkFrom(0x10, &link);
  link->Release();
  unsigned long deps = app->FindFirstDependentObject(&got, &weight);
  got->Release();
  ASSERT_NE(0u, search);
  ASSERT_NE(0u, links);
  ASSERT_NE(0u, deps);
  // Small numbers, whatever the width of a pointer.
  EXPECT_LT(search, 0x10000u);
  EXPECT_LT(deps, 0x10000u);

  // A handle of one kind is no handle of another.
  EXPECT_EQ(0, db_->FindNextObject(links, &got));
  EXPECT_EQ(0, app->FindNextLinkFrom(deps, &link));
  EXPECT_EQ(0, app->FindNextDependentObject(search, &got, &weight));
  db_->FindCloseObject(deps);  // refused: the query stays open
  EXPECT_EQ(1, app->FindNextDependentObject(deps, &got, &weight));
  got->Release();

  // Made-up handles.
  for (unsigned long bogus : {0ul, 0xFFFFFFFFul, 0x12345678ul, search + 1000})
    EXPECT_EQ(0, db_->FindNextObject(bogus, &got)) << bogus;
  EXPECT_EQ(0, app->FindNextLinkTo(0xDEADBEEFul, &link));

  // Closed once: stale; closed twice: nothing happens.
  db_->FindCloseObject(search);
  app->FindCloseLinkFrom(links);
  app->FindCloseDependentObject(deps);
  EXPECT_EQ(0, db_->FindNextObject(search, &got));
  EXPECT_EQ(0, app->FindNextLinkFrom(links, &link));
  EXPECT_EQ(0, app->FindNextDependentObject(deps, &got, &weight));
  db_->FindCloseObject(search);
  app->FindCloseLinkFrom(links);
  app->FindCloseReferencingApp(deps);

  // A stale handle is not handed out again to the next search.
  unsigned long next = db_->FindFirstObject(const_cast<char*>("*.DLL"), 4, &got);
  got->Release();
  EXPECT_NE(search, next);
  db_->FindCloseObject(next);
}

// Threads step and close searches while others open new ones: a close that races a step
// on the same handle frees the state only after the step, and no handle is lost.
TEST_F(DbTest, FindHandlesSurviveClosesRacingStepsOnOtherThreads) {
  for (int i = 0; i < 50; ++i) Add(("F" + std::to_string(i) + ".DLL").c_str(), 4);
  const int kRounds = 300;
  std::atomic<unsigned long> shared{0};
  std::atomic<bool> done{false};
  std::thread stepper([&] {
    while (!done) {
      CVKUObject* o = nullptr;
      if (db_->FindNextObject(shared.load(), &o) && o) o->Release();
    }
  });
  std::thread closer([&] {
    while (!done) db_->FindCloseObject(shared.load());
  });
  int opened = 0;
  for (int r = 0; r < kRounds; ++r) {
    CVKUObject* o = nullptr;
    unsigned long h = db_->FindFirstObject(const_cast<char*>("F*.DLL"), 4, &o);
    if (!h) continue;
    ++opened;
    o->Release();
    shared = h;
    for (int i = 0; i < 10; ++i)
      if (db_->FindNextObject(h, &o) && o) o->Release();
    db_->FindCloseObject(h);
  }
  done = true;
  stepper.join();
  closer.join();
  EXPECT_EQ(kRounds, opened);
}
