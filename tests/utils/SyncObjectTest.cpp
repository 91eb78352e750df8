// CSyncObject's state stack and CCriticalSection's locking.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "CSyncObject"
#include "StressRun.h"

namespace {

// CSyncObject cannot be created on its own; this exposes the base behaviour.
class PlainSync : public UTILS::CSyncObject {
 public:
  explicit PlainSync(const std::string& name) : UTILS::CSyncObject(name) {}
  PlainSync(const PlainSync& other) : UTILS::CSyncObject(other) {}
  using UTILS::CSyncObject::Attach;
  using UTILS::CSyncObject::GetObjName;
  using UTILS::CSyncObject::GetState;
  using UTILS::CSyncObject::IsObjectAttached;
  using UTILS::CSyncObject::Lock;
  using UTILS::CSyncObject::UnLock;
  using UTILS::CSyncObject::derived_class;
};

TEST(SyncObject, FreshObjectHasOneZeroStateAndUnmatchedUnlockFails) {
  PlainSync sync("named");
  EXPECT_EQ(0, sync.GetState(-1));
  EXPECT_EQ(0, sync.UnLock());
  EXPECT_EQ(0, sync.GetState(-1));
  EXPECT_EQ(0, sync.GetState(0));
  EXPECT_EQ(0, sync.IsObjectAttached());
  EXPECT_EQ("named", sync.GetObjName());
}

TEST(SyncObject, NestedLockingIsAStack) {
  PlainSync sync("s");
  EXPECT_EQ(1, sync.Lock());
  EXPECT_EQ(1, sync.Lock());
  EXPECT_EQ(1, sync.UnLock());
  EXPECT_EQ(1, sync.GetState(-1));
  EXPECT_EQ(0, sync.GetState(0));
  EXPECT_EQ(1, sync.GetState(1));
  EXPECT_EQ(1, sync.UnLock());
  EXPECT_EQ(0, sync.GetState(-1));
  EXPECT_EQ(0, sync.UnLock());
}

TEST(SyncObject, CopyTakesNameStatesAndAttachedFlag) {
  PlainSync sync("source");
  sync.Lock();
  sync.Attach();
  PlainSync copy(sync);
  EXPECT_EQ("source", copy.GetObjName());
  EXPECT_EQ(1, copy.GetState(-1));
  EXPECT_EQ(0, copy.GetState(0));
  EXPECT_EQ(1, copy.IsObjectAttached());
  EXPECT_EQ(1, copy.UnLock());
  EXPECT_EQ(0, copy.UnLock());
}

TEST(SyncObject, DerivedClassNamesTheMostDerivedClass) {
  UTILS::CCriticalSection section;
  EXPECT_STREQ("UTILS::CCriticalSection", section.derived_class());
  EXPECT_EQ(section.derived_class(), section.derived_class());
  PlainSync sync("x");
  EXPECT_STREQ("(anonymous namespace)::PlainSync", sync.derived_class());
}

TEST(CriticalSection, UnmatchedUnlockReturnsOneAndLeavesNothing) {
  UTILS::CCriticalSection section;
  EXPECT_EQ(1, section.UnLock());
  EXPECT_EQ(0, section.WasReleased());
  EXPECT_EQ(0, section.GetState(-1));
  EXPECT_EQ("", section.GetObjName());
}

TEST(CriticalSection, IsReentrantAndRecordsRelease) {
  UTILS::CCriticalSection section;
  section.Lock();
  section.Lock();
  EXPECT_EQ(1, section.GetState(-1));
  EXPECT_EQ(1, section.UnLock());
  EXPECT_EQ(1, section.WasReleased());
  EXPECT_EQ(1, section.GetState(-1));
  EXPECT_EQ(1, section.UnLock());
  EXPECT_EQ(0, section.GetState(-1));
  // Fully released: another thread can take it at once.
  bool taken = false;
  std::thread other([&] {
    section.Lock();
    taken = true;
    section.UnLock();
  });
  other.join();
  EXPECT_TRUE(taken);
}

TEST(CriticalSection, GivesMutualExclusionAcrossThreads) {
  UTILS::CCriticalSection section;
  long counter = 0;  // incremented non-atomically on purpose
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        section.Lock();
        long seen = counter;
        if ((i & 255) == 0) Sleep(0);
        counter = seen + 1;
        section.UnLock();
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(80000, counter);
  EXPECT_EQ(0, section.GetState(-1));
}

// A third thread's UnLock while A is inside and B waits must neither let B in nor
// change the state stack.
TEST(CriticalSection, UnlockFromAThreadThatHoldsNothingChangesNothing) {
  UTILS::CCriticalSection section;
  HANDLE release = CreateEventA(0, TRUE, FALSE, 0);
  std::atomic<int> aInside(0), bInside(0);
  std::thread a([&] {
    section.Lock();
    aInside = 1;
    WaitForSingleObject(release, INFINITE);
    aInside = 0;
    section.UnLock();
  });
  while (!aInside) Sleep(1);
  std::thread b([&] {
    section.Lock();
    bInside = aInside ? 2 : 1;  // 2: entered while A was still inside
    section.UnLock();
  });
  Sleep(100);  // B is waiting now
  int stray = 0;
  std::thread c([&] { stray = section.UnLock(); });
  c.join();
  EXPECT_EQ(1, stray);
  Sleep(100);
  EXPECT_EQ(0, bInside) << "B entered while A held the section";
  EXPECT_EQ(1, section.GetState(-1));
  SetEvent(release);
  a.join();
  b.join();
  CloseHandle(release);
  EXPECT_EQ(1, bInside);
  EXPECT_EQ(0, section.GetState(-1));
}

// Workers count under the lock while other threads keep unlocking what they never took.
TEST(CriticalSection, StrayUnlocksDoNotBreakExclusion) {
  struct Shared {
    UTILS::CCriticalSection section;
    long counter = 0;  // changed non-atomically on purpose
    std::atomic<long> increments{0};
  };
  auto shared = std::make_shared<Shared>();
  std::vector<std::function<bool()>> bodies;
  for (int t = 0; t < 3; ++t)
    bodies.push_back([shared] {
      shared->section.Lock();
      shared->section.Lock();  // nested: the owner's own UnLocks still count
      long seen = shared->counter;
      Sleep(0);
      shared->counter = seen + 1;
      shared->section.UnLock();
      shared->section.UnLock();
      shared->increments++;
      return true;
    });
  for (int t = 0; t < 2; ++t)
    bodies.push_back([shared] { return shared->section.UnLock() == 1; });
  stress::Result run = stress::Run(1.5, bodies, 10.0);
  ASSERT_TRUE(run.finished) << "deadlock";
  EXPECT_EQ(0u, run.faults);
  EXPECT_EQ(shared->increments.load(), shared->counter);
  EXPECT_EQ(0, shared->section.GetState(-1));
}

}  // namespace
