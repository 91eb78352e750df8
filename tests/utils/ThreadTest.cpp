// CThread: the exceptions before anything runs, the state refreshed from exit codes,
// suspend and resume counts, the watcher's message, a worker that ends itself, several
// threads on one object, and a thousand threads that must leave no handle behind.
#include <gtest/gtest.h>
#include <windows.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CThread"
#include "TestSupport.h"
#include "std_exception"

namespace {

using UTILS::CThread;

std::string Record(int line, const std::string& condition) {
  return ::Record("CThread", 172, line, 0, condition);
}
const std::string kAlreadySpawned =
    "The thread has already been spawned.  Cannot execute the command.";

DWORD ExitCode(HANDLE thread) {
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  return code;
}

bool Ends(HANDLE thread) { return WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0; }

HANDLE Duplicate(HANDLE handle) {
  HANDLE copy = nullptr;
  DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  return copy;
}

// Events a worker and its owner meet on: the worker sets `started`, then waits for
// `release`.
struct Gate {
  HANDLE started = CreateEventA(0, FALSE, FALSE, 0), release = CreateEventA(0, TRUE, FALSE, 0);
  ~Gate() {
    CloseHandle(started);
    CloseHandle(release);
  }
};

unsigned long __stdcall CountsAndReturns(void* runs) {
  if (runs) InterlockedIncrement(static_cast<LONG*>(runs));
  return 7;
}

unsigned long __stdcall WaitsAtTheGate(void* gate) {
  SetEvent(static_cast<Gate*>(gate)->started);
  WaitForSingleObject(static_cast<Gate*>(gate)->release, INFINITE);
  return 0;
}

unsigned long __stdcall ReturnsStillActive(void*) { return STILL_ACTIVE; }

unsigned long __stdcall EndsItself(void* self) {
  static_cast<CThread*>(self)->EndThread();
  return 5;  // never reached
}

// The protected parts, for the tests.
class Inspected : public CThread {
 public:
  using CThread::CThread;
  HANDLE Watcher() const { return m_hSignalThread; }
  void KeepAfterDelete() { SetAutoDelete(0); }
  bool* pDestroyed = nullptr;
  ~Inspected() override {
    if (pDestroyed) *pDestroyed = true;
  }
};

TEST(Thread, WrongCallsThrowOrAnswerBeforeAnythingRuns) {
  LONG runs = 0;
  CThread thread(CountsAndReturns, &runs), none;
  const std::string file = "; File:  ..\\..\\Include\\CThread; Line:  ";
  EXPECT_EQ("Inavlid Argument Passed - 2" + file + "504",
            Thrown<std::invalid_argument>([&] { thread.CreateThread(2, 0, nullptr); }));
  EXPECT_EQ("Inavlid Argument Passed - -1" + file + "504",
            Thrown<std::invalid_argument>([&] { thread.CreateThread(0xFFFFFFFFUL, 0, nullptr); }));
  EXPECT_EQ("Command Line Parameter Is Incorrect - Null function pointer" + file + "507",
            Thrown<std::invalid_argument>([&] { none.CreateThread(0, 0, nullptr); }));
  EXPECT_THROW(CThread(nullptr, nullptr, 1), std::invalid_argument);
  EXPECT_EQ(Record(547, "The thread has not been spawned yet.  Cannot execute the command."),
            Thrown<UTILS::std_exception>([&] { none.CreateSignalThread(); }));
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  EXPECT_EQ(nullptr, thread.GetThreadHandle());
  EXPECT_EQ(0xFFFFFFFFUL, none.SuspendThread() & none.ResumeThread());
  none.EndThread();
  none.EndSignalThread();
  EXPECT_EQ(0, none.IsThreadActive() + none.IsThreadSuspended() + runs);
}

TEST(Thread, RunsSpawnsAgainAndRefusesWhileRunning) {
  for (int useRuntime = 0; useRuntime < 2; ++useRuntime) {
    LONG runs = 0;
    CThread thread(CountsAndReturns, &runs, 1, useRuntime);
    EXPECT_EQ(UTILS::THREAD_RUNNING, thread.GetThreadState());  // not refreshed yet
    ASSERT_TRUE(Ends(static_cast<void*>(thread)));
    EXPECT_EQ(7u, ExitCode(thread.GetThreadHandle()));
    EXPECT_EQ(0, thread.IsThreadActive());
    EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
    useRuntime ? thread.UseWinLib() : thread.UseCRTLib();
    ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
    ASSERT_TRUE(Ends(thread.GetThreadHandle()));
    EXPECT_EQ(2, runs);
  }
  // A worker that returns STILL_ACTIVE (259) looks active for good.
  CThread forever(ReturnsStillActive, nullptr, 1);
  ASSERT_TRUE(Ends(forever.GetThreadHandle()));
  EXPECT_EQ(1, forever.IsThreadActive());

  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_TRUE(Ends(gate.started));
  EXPECT_EQ(Record(500, kAlreadySpawned),
            Thrown<UTILS::std_exception>([&] { thread.CreateThread(0, 0, nullptr); }));
  EXPECT_EQ(0xFFFFFFFFUL, thread.ResumeThread());
  // Priorities are the system's; the "priority class" reading is the thread priority
  // of the process pseudo-handle, as the class has always given it.
  EXPECT_TRUE(thread.SetThreadPriority(THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, thread.GetThreadPriority());
  EXPECT_EQ(static_cast<unsigned long>(GetThreadPriority(GetCurrentProcess())),
            thread.GetPriorityClass());
  DWORD oldClass = GetPriorityClass(GetCurrentProcess());
  EXPECT_TRUE(thread.SetPriorityClass(IDLE_PRIORITY_CLASS));
  EXPECT_EQ(DWORD(IDLE_PRIORITY_CLASS), GetPriorityClass(GetCurrentProcess()));
  thread.SetPriorityClass(oldClass);
  thread.EndThread();  // by force: exit code 1
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  EXPECT_EQ(1u, ExitCode(thread.GetThreadHandle()));
}

TEST(Thread, SuspendAndResumeCountsAndASecondStartWhileSuspended) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate);
  ASSERT_EQ(1, thread.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  EXPECT_EQ(1, thread.IsThreadSuspended());
  EXPECT_EQ(0xFFFFFFFFUL, thread.SuspendThread());  // only a running object is suspended
  EXPECT_EQ(1u, thread.ResumeThread());
  ASSERT_TRUE(Ends(gate.started));
  EXPECT_EQ(0u, thread.SuspendThread());
  // A suspension behind the object's back: the first resume marks it running anyway.
  EXPECT_EQ(1u, ::SuspendThread(thread.GetThreadHandle()));
  EXPECT_EQ(2u, thread.ResumeThread());
  EXPECT_EQ(1, thread.IsThreadActive());
  EXPECT_EQ(1u, ::ResumeThread(thread.GetThreadHandle()));
  SetEvent(gate.release);
  ASSERT_TRUE(Ends(thread.GetThreadHandle()));

  // A suspended object counts as not spawned: a second start closes the first handle
  // and leaves that thread suspended.
  LONG runs = 0;
  CThread twice(CountsAndReturns, &runs);
  ASSERT_EQ(1, twice.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  HANDLE first = Duplicate(twice.GetThreadHandle());
  DWORD firstId = twice.GetThreadID(), handles = ProcessHandleCount();
  ASSERT_EQ(1, twice.CreateThread(0, 0, nullptr));
  EXPECT_EQ(handles, ProcessHandleCount());
  EXPECT_NE(firstId, twice.GetThreadID());
  ASSERT_TRUE(Ends(twice.GetThreadHandle()));
  EXPECT_EQ(1, runs);
  EXPECT_EQ(1u, ::ResumeThread(first));
  ASSERT_TRUE(Ends(first));
  EXPECT_EQ(2, runs);
  CloseHandle(first);
}

TEST(Thread, WatcherPostsItsMessageOnceWhenTheWorkerEnds) {
  const UINT kDone = WM_APP + 7;
  MSG message;
  PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);  // this thread now has a queue
  Gate gate;
  Inspected thread(WaitsAtTheGate, &gate);
  thread.SetThreadMsg({GetCurrentThreadId(), kDone, 11, 22});
  ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
  thread.CreateSignalThread();
  EXPECT_EQ(THREAD_PRIORITY_LOWEST, GetThreadPriority(thread.Watcher()));
  ASSERT_TRUE(Ends(gate.started));
  EXPECT_FALSE(PeekMessageA(&message, nullptr, kDone, kDone, PM_NOREMOVE));
  SetEvent(gate.release);
  ASSERT_TRUE(Ends(thread.Watcher()));
  int received = 0;
  while (PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE))
    received += message.wParam == 11 && message.lParam == 22;
  EXPECT_EQ(1, received);
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());  // marked by the watcher

  // Ended before the worker: exit code 1, no message, and the handle is kept.
  ResetEvent(gate.release);
  ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
  thread.CreateSignalThread();
  HANDLE watcher = thread.Watcher();
  thread.EndSignalThread();
  EXPECT_EQ(watcher, thread.Watcher());
  EXPECT_EQ(1u, ExitCode(watcher));
  SetEvent(gate.release);
  ASSERT_TRUE(Ends(thread.GetThreadHandle()));
  // Destroyed while the worker waits: the watcher goes first, then the worker is ended
  // by force, and nothing is posted.
  ResetEvent(gate.release);
  HANDLE worker = nullptr;
  {
    CThread doomed(WaitsAtTheGate, &gate, 1);
    doomed.SetThreadMsg({GetCurrentThreadId(), kDone, 0, 0});
    doomed.CreateSignalThread();
    ASSERT_TRUE(Ends(gate.started));
    worker = Duplicate(doomed.GetThreadHandle());
  }
  EXPECT_EQ(1u, ExitCode(worker));
  CloseHandle(worker);
  Sleep(50);
  EXPECT_FALSE(PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE));
}

TEST(Thread, WorkerThatEndsItselfWhileAnotherWaits) {
  CThread thread(EndsItself);
  thread.SetThreadParameter(&thread);
  ASSERT_EQ(1, thread.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  HANDLE watched = Duplicate(thread.GetThreadHandle());
  bool ended = false;
  std::thread waiter([&] { ended = Ends(watched); });
  EXPECT_EQ(1u, thread.ResumeThread());
  waiter.join();
  EXPECT_TRUE(ended);
  EXPECT_EQ(1u, ExitCode(watched));
  // It died inside EndThread: the state stands until refreshed, and the lock was let
  // go first (these calls would hang otherwise).
  EXPECT_EQ(UTILS::THREAD_RUNNING, thread.GetThreadState());
  EXPECT_EQ(0, thread.IsThreadActive());
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  CloseHandle(watched);
}

TEST(Thread, CopiesOwnDuplicatesAndDeleteFollowsAutoDelete) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_TRUE(Ends(gate.started));
  thread.SetThreadMsg({1, 2, 3, 4});
  {
    CThread copy(thread), assigned;
    assigned = thread;
    for (CThread* other : {&copy, &assigned}) {
      EXPECT_NE(thread.GetThreadHandle(), other->GetThreadHandle());
      EXPECT_EQ(thread.GetThreadID(), other->GetThreadID());
      EXPECT_EQ(4, other->GetThreadMsg().lParam);
    }
    SetEvent(gate.release);
    ASSERT_TRUE(Ends(copy.GetThreadHandle()));
    EXPECT_EQ(0, assigned.IsThreadActive());
  }
  bool keptDestroyed = false, goneDestroyed = false;
  Inspected* kept = new Inspected;
  kept->pDestroyed = &keptDestroyed;
  kept->KeepAfterDelete();
  kept->Delete();
  EXPECT_FALSE(keptDestroyed);
  delete kept;
  Inspected* gone = new Inspected;
  gone->pDestroyed = &goneDestroyed;
  gone->Delete();
  EXPECT_TRUE(goneDestroyed);
}

// Several threads on one object: the lock lets only one of them suspend the worker at
// a time, so every successful suspension starts from a count of 0 and every resume
// from 1, and no suspension is left unaccounted for.
TEST(ThreadStress, OneObjectFromSeveralThreads) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_TRUE(Ends(gate.started));
  std::vector<int> wrong(4, 0);
  RunOnThreads(4, [&](int t) {
    for (int i = 0; i < 500; ++i) {
      unsigned long suspended = thread.SuspendThread(), resumed = thread.ResumeThread();
      wrong[t] +=
          (suspended != 0xFFFFFFFFUL && suspended != 0) + (resumed != 0xFFFFFFFFUL && resumed != 1);
      thread.IsThreadActive();
    }
  });
  EXPECT_EQ(std::vector<int>(4, 0), wrong);
  EXPECT_EQ(0u, ::ResumeThread(thread.GetThreadHandle()));  // no suspension left behind
  EXPECT_EQ(1, thread.IsThreadActive());
  SetEvent(gate.release);
  ASSERT_TRUE(Ends(thread.GetThreadHandle()));
}

// A thousand workers from four owners, started and ended every way the class offers:
// the process has as many handles afterwards as before.
TEST(ThreadStress, AThousandThreadsLeaveNoHandle) {
  const UINT kDone = WM_APP + 9;
  auto owner = [&](int* failures, int count) {
    Gate gate;
    for (int i = 0; i < count; ++i) {
      LONG runs = 0;
      ResetEvent(gate.release);
      if (i % 4 == 0) {  // the runtime's start, returning at once
        CThread thread(CountsAndReturns, &runs, 1, 1);
        *failures += !Ends(thread.GetThreadHandle()) || thread.IsThreadActive() || runs != 1;
      } else if (i % 4 == 1) {  // created suspended, then resumed
        CThread thread(CountsAndReturns, &runs);
        thread.CreateThread(CREATE_SUSPENDED, 0, nullptr);
        *failures += thread.ResumeThread() != 1 || !Ends(thread.GetThreadHandle()) || runs != 1;
      } else if (i % 4 == 2) {  // ended by force while it waits
        CThread thread(WaitsAtTheGate, &gate, 1);
        WaitForSingleObject(gate.started, INFINITE);
        thread.EndThread();
        *failures += ExitCode(thread.GetThreadHandle()) != 1;
      } else {  // watched, its message posted to this owner
        CThread thread(WaitsAtTheGate, &gate, 1);
        thread.SetThreadMsg({GetCurrentThreadId(), kDone, WPARAM(i), 0});
        thread.CreateSignalThread();
        WaitForSingleObject(gate.started, INFINITE);
        SetEvent(gate.release);
        *failures += !Ends(thread.GetThreadHandle());
      }
    }
  };
  auto owners = [&](int perOwner) {
    std::vector<int> failures(4, 0);
    RunOnThreads(4, [&](int t) { owner(&failures[t], perOwner); });
    EXPECT_EQ(std::vector<int>(4, 0), failures);
  };
  // One round of each kind first, so that what the system sets up once (also the first
  // time its own locks are contended) is not counted.
  owners(4);
  DWORD before = ProcessHandleCount();
  owners(250);
  EXPECT_EQ(before, ProcessHandleCount());
}

}  // namespace
