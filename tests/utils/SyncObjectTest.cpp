// CSyncObject's state stack and CCriticalSection's locking, an UnLock by a thread that
// holds nothing included.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "CSyncObject"
#include "TestSupport.h"

namespace {

// CSyncObject cannot be created on its own; this exposes the base behaviour.
class PlainSync : public UTILS::CSyncObject {
 public:
  explicit PlainSync(const std::string& name) : UTILS::CSyncObject(name) {}
  PlainSync(const PlainSync& other) : UTILS::CSyncObject(other) {}
  using UTILS::CSyncObject::Attach;
  using UTILS::CSyncObject::derived_class;
  using UTILS::CSyncObject::GetObjName;
  using UTILS::CSyncObject::GetState;
  using UTILS::CSyncObject::IsObjectAttached;
  using UTILS::CSyncObject::Lock;
  using UTILS::CSyncObject::UnLock;
};

// The stack starts as {0}; each Lock pushes 1, each matched UnLock pops; an unmatched
// UnLock answers 0 and changes nothing. A copy takes name, states and attached flag.
TEST(SyncObject, NestedLockingIsAStackAndCopiesTakeIt) {
  PlainSync sync("named");
  EXPECT_EQ(0, sync.UnLock());
  EXPECT_EQ(0, sync.GetState(-1) + sync.IsObjectAttached());
  sync.Lock();
  sync.Lock();
  EXPECT_EQ(1, sync.UnLock());
  EXPECT_EQ(0, sync.GetState(0));
  EXPECT_EQ(1, sync.GetState(1));
  EXPECT_EQ(1, sync.GetState(-1));
  sync.Attach();
  PlainSync copy(sync);
  EXPECT_EQ("named", copy.GetObjName());
  EXPECT_EQ(1, copy.IsObjectAttached());
  EXPECT_EQ(1, copy.UnLock() + copy.UnLock());  // one level was held
  EXPECT_EQ(0, copy.GetState(-1));
  EXPECT_EQ(1, sync.GetState(-1));
  EXPECT_STREQ("(anonymous namespace)::PlainSync", sync.derived_class());
  // The critical section's UnLock answers 1 even when nothing is held, and then
  // changes nothing; it is reentrant.
  UTILS::CCriticalSection section;
  EXPECT_STREQ("UTILS::CCriticalSection", section.derived_class());
  EXPECT_EQ(1, section.UnLock());
  EXPECT_EQ(0, section.WasReleased() + section.GetState(-1));
  section.Lock();
  section.Lock();
  EXPECT_EQ(1, section.UnLock());
  EXPECT_EQ(2, section.WasReleased() + section.GetState(-1));
  EXPECT_EQ(1, section.UnLock());
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
  std::thread([&] { stray = section.UnLock(); }).join();
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
  for (int t = 0; t < 2; ++t) bodies.push_back([shared] { return shared->section.UnLock() == 1; });
  stress::Result run = stress::Run(1.5, bodies, 10.0);
  ASSERT_TRUE(run.finished) << "deadlock";
  EXPECT_EQ(0u, run.faults);
  EXPECT_EQ(shared->increments.load(), shared->counter);
  EXPECT_EQ(0, shared->section.GetState(-1));
}

}  // namespace
