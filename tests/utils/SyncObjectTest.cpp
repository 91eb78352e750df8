// CSyncObject's state stack and CCriticalSection's locking.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "CSyncObject"

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

}  // namespace
