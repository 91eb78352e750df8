// CThread: the exceptions before anything runs, the state refreshed from exit codes,
// suspend and resume counts, the watcher's message, a worker that ends itself, and a
// thousand threads that must leave no handle behind.
#include <windows.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CThread"
#include "HandleCount.h"
#include "std_exception"

namespace {

using UTILS::CThread;

const std::string kThreadRecord =
    "File:  ..\\..\\Include\\CThread; Line Number:  %; Exception Name:  UTILS::std_exception; "
    "Type:  172; Error Condition:  ";

std::string Record(int line, const char* condition) {
  std::string text = kThreadRecord;
  text.replace(text.find('%'), 1, std::to_string(line));
  return text + condition;
}

DWORD ExitCode(HANDLE thread) {
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  return code;
}

// Two events a worker and its owner meet on: the worker sets `started` and then waits
// for `release`.
struct Gate {
  Gate() : started(CreateEventA(0, FALSE, FALSE, 0)), release(CreateEventA(0, TRUE, FALSE, 0)) {}
  ~Gate() {
    CloseHandle(started);
    CloseHandle(release);
  }
  HANDLE started, release;
};

unsigned long __stdcall CountsAndReturns(void* runs) {
  if (runs) InterlockedIncrement(static_cast<LONG*>(runs));
  return 7;
}

unsigned long __stdcall WaitsAtTheGate(void* gate) {
  Gate* g = static_cast<Gate*>(gate);
  SetEvent(g->started);
  WaitForSingleObject(g->release, INFINITE);
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
  CThread thread(CountsAndReturns, &runs);
  try {
    thread.CreateThread(2, 0, nullptr);
    FAIL() << "no exception";
  } catch (std::invalid_argument& e) {
    EXPECT_STREQ("Inavlid Argument Passed - 2; File:  ..\\..\\Include\\CThread; Line:  504", e.what());
  }
  try {
    thread.CreateThread(0xFFFFFFFFUL, 0, nullptr);
    FAIL() << "no exception";
  } catch (std::invalid_argument& e) {
    EXPECT_STREQ("Inavlid Argument Passed - -1; File:  ..\\..\\Include\\CThread; Line:  504", e.what());
  }
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  EXPECT_EQ(nullptr, thread.GetThreadHandle());
  EXPECT_EQ(0u, thread.GetThreadID());

  CThread none;
  try {
    none.CreateThread(0, 0, nullptr);
    FAIL() << "no exception";
  } catch (std::invalid_argument& e) {
    EXPECT_STREQ(
        "Command Line Parameter Is Incorrect - Null function pointer; File:  "
        "..\\..\\Include\\CThread; Line:  507",
        e.what());
  }
  EXPECT_THROW(CThread(nullptr, nullptr, 1), std::invalid_argument);
  try {
    none.CreateSignalThread();
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(Record(547, "The thread has not been spawned yet.  Cannot execute the command."), e.what());
  }
  EXPECT_EQ(0xFFFFFFFFUL, none.SuspendThread());
  EXPECT_EQ(0xFFFFFFFFUL, none.ResumeThread());
  none.EndThread();
  none.EndSignalThread();
  EXPECT_EQ(0, none.IsThreadActive());
  EXPECT_EQ(0, none.IsThreadSuspended());
  EXPECT_EQ(0, runs);
}

TEST(Thread, RunsThroughTheSystemOrTheRuntimeAndSpawnsAgainWhenDone) {
  for (int useRuntime = 0; useRuntime < 2; ++useRuntime) {
    LONG runs = 0;
    CThread thread(CountsAndReturns, &runs, 1, useRuntime);
    EXPECT_EQ(UTILS::THREAD_RUNNING, thread.GetThreadState());  // not refreshed yet
    EXPECT_NE(0u, thread.GetThreadID());
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(static_cast<void*>(thread), INFINITE));
    EXPECT_EQ(7u, ExitCode(thread.GetThreadHandle()));
    EXPECT_EQ(0, thread.IsThreadActive());
    EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
    if (useRuntime) thread.UseWinLib(); else thread.UseCRTLib();
    ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.GetThreadHandle(), INFINITE));
    EXPECT_EQ(2, runs);
  }
  // A worker that returns STILL_ACTIVE (259) looks active for good.
  CThread forever(ReturnsStillActive, nullptr, 1);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(forever.GetThreadHandle(), INFINITE));
  EXPECT_EQ(1, forever.IsThreadActive());
}

TEST(Thread, RunningWorkerRefusesASecondStartAndAResume) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gate.started, INFINITE));
  try {
    thread.CreateThread(0, 0, nullptr);
    FAIL() << "no exception";
  } catch (UTILS::std_exception& e) {
    EXPECT_EQ(Record(500, "The thread has already been spawned.  Cannot execute the command."), e.what());
  }
  EXPECT_EQ(0xFFFFFFFFUL, thread.ResumeThread());
  EXPECT_EQ(UTILS::THREAD_RUNNING, thread.GetThreadState());
  // Priorities are the system's, on the worker's handle; the "priority class" reading
  // is the thread priority of the process pseudo-handle, as the class has always done.
  EXPECT_TRUE(thread.SetThreadPriority(THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, thread.GetThreadPriority());
  EXPECT_EQ(static_cast<unsigned long>(GetThreadPriority(GetCurrentProcess())), thread.GetPriorityClass());
  DWORD oldClass = GetPriorityClass(GetCurrentProcess());
  EXPECT_TRUE(thread.SetPriorityClass(IDLE_PRIORITY_CLASS));
  EXPECT_EQ(DWORD(IDLE_PRIORITY_CLASS), GetPriorityClass(GetCurrentProcess()));
  thread.SetPriorityClass(oldClass);
  // Ended by force: exit code 1.
  thread.EndThread();
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  EXPECT_EQ(1u, ExitCode(thread.GetThreadHandle()));
}

TEST(Thread, SuspendAndResumeCounts) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate);
  ASSERT_EQ(1, thread.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  EXPECT_EQ(1, thread.IsThreadSuspended());
  EXPECT_EQ(0, thread.IsThreadActive());
  EXPECT_EQ(0xFFFFFFFFUL, thread.SuspendThread());  // only a running object is suspended
  EXPECT_EQ(1u, thread.ResumeThread());
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gate.started, INFINITE));
  EXPECT_EQ(0u, thread.SuspendThread());
  EXPECT_EQ(UTILS::THREAD_SUSPENDED, thread.GetThreadState());
  // A suspension behind the object's back: the first resume marks it running anyway.
  EXPECT_EQ(1u, ::SuspendThread(thread.GetThreadHandle()));
  EXPECT_EQ(2u, thread.ResumeThread());
  EXPECT_EQ(1, thread.IsThreadActive());
  EXPECT_EQ(0xFFFFFFFFUL, thread.ResumeThread());
  EXPECT_EQ(1u, ::ResumeThread(thread.GetThreadHandle()));
  SetEvent(gate.release);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.GetThreadHandle(), INFINITE));
  EXPECT_EQ(0, thread.IsThreadActive());
}

TEST(Thread, SecondStartOnASuspendedObjectLeavesTheFirstSuspended) {
  LONG runs = 0;
  CThread thread(CountsAndReturns, &runs);
  ASSERT_EQ(1, thread.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  HANDLE first = nullptr;
  ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread.GetThreadHandle(), GetCurrentProcess(), &first,
                              0, FALSE, DUPLICATE_SAME_ACCESS));
  DWORD firstId = thread.GetThreadID();
  DWORD handles = ProcessHandleCount();
  ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
  EXPECT_EQ(handles, ProcessHandleCount());  // the first handle closed, the second opened
  EXPECT_NE(firstId, thread.GetThreadID());
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.GetThreadHandle(), INFINITE));
  EXPECT_EQ(1, runs);
  EXPECT_EQ(DWORD(WAIT_TIMEOUT), WaitForSingleObject(first, 0));
  EXPECT_EQ(1u, ::ResumeThread(first));
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(first, INFINITE));
  EXPECT_EQ(2, runs);
  CloseHandle(first);
}

TEST(Thread, WatcherPostsItsMessageOnceWhenTheWorkerEnds) {
  MSG message;
  PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);  // this thread now has a queue
  const UINT kDone = WM_APP + 7;
  Gate gate;
  Inspected thread(WaitsAtTheGate, &gate);
  UTILS::_THREAD_MESSAGE done = {GetCurrentThreadId(), kDone, 11, 22};
  thread.SetThreadMsg(done);
  EXPECT_EQ(kDone, thread.GetThreadMsg().uMsg);
  ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
  thread.CreateSignalThread();
  ASSERT_NE(nullptr, thread.Watcher());
  EXPECT_EQ(THREAD_PRIORITY_LOWEST, GetThreadPriority(thread.Watcher()));
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gate.started, INFINITE));
  EXPECT_FALSE(PeekMessageA(&message, nullptr, kDone, kDone, PM_NOREMOVE));
  SetEvent(gate.release);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.Watcher(), 10000));
  EXPECT_EQ(0u, ExitCode(thread.Watcher()));
  int received = 0;
  while (PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE)) {
    ++received;
    EXPECT_EQ(WPARAM(11), message.wParam);
    EXPECT_EQ(LPARAM(22), message.lParam);
  }
  EXPECT_EQ(1, received);
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());  // marked by the watcher

  // Ended before the worker: no message, and the handle is kept.
  ResetEvent(gate.release);
  ASSERT_EQ(1, thread.CreateThread(0, 0, nullptr));
  thread.CreateSignalThread();
  HANDLE watcher = thread.Watcher();
  thread.EndSignalThread();
  EXPECT_EQ(watcher, thread.Watcher());
  EXPECT_EQ(1u, ExitCode(watcher));
  SetEvent(gate.release);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.GetThreadHandle(), INFINITE));
  Sleep(50);
  EXPECT_FALSE(PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE));
}

TEST(Thread, WorkerThatEndsItselfWhileAnotherWaits) {
  CThread thread(EndsItself);
  thread.SetThreadParameter(&thread);
  ASSERT_EQ(1, thread.CreateThread(CREATE_SUSPENDED, 0, nullptr));
  HANDLE watched = nullptr;
  ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread.GetThreadHandle(), GetCurrentProcess(), &watched,
                              0, FALSE, DUPLICATE_SAME_ACCESS));
  DWORD waited = WAIT_FAILED;
  std::thread waiter([&] { waited = WaitForSingleObject(watched, 10000); });
  EXPECT_EQ(1u, thread.ResumeThread());
  waiter.join();
  EXPECT_EQ(WAIT_OBJECT_0, waited);
  EXPECT_EQ(1u, ExitCode(watched));
  // The worker died inside EndThread: the state stands as it was until refreshed, and
  // the lock was let go first (the calls below would hang otherwise).
  EXPECT_EQ(UTILS::THREAD_RUNNING, thread.GetThreadState());
  EXPECT_EQ(0, thread.IsThreadActive());
  EXPECT_EQ(UTILS::THREAD_NOT_ACTIVE, thread.GetThreadState());
  CloseHandle(watched);
}

TEST(Thread, CopiesOwnDuplicatesAndDeleteFollowsAutoDelete) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gate.started, INFINITE));
  UTILS::_THREAD_MESSAGE message = {1, 2, 3, 4};
  thread.SetThreadMsg(message);
  {
    CThread copy(thread);
    CThread assigned;
    assigned = thread;
    for (CThread* other : {&copy, &assigned}) {
      EXPECT_NE(thread.GetThreadHandle(), other->GetThreadHandle());
      EXPECT_EQ(thread.GetThreadID(), other->GetThreadID());
      EXPECT_EQ(UTILS::THREAD_RUNNING, other->GetThreadState());
      EXPECT_EQ(4, other->GetThreadMsg().lParam);
    }
    SetEvent(gate.release);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(copy.GetThreadHandle(), INFINITE));
    EXPECT_EQ(0, assigned.IsThreadActive());
  }
  EXPECT_EQ(0u, ExitCode(thread.GetThreadHandle()));

  bool keptDestroyed = false, goneDestroyed = false;
  Inspected* kept = new Inspected;
  kept->pDestroyed = &keptDestroyed;
  kept->KeepAfterDelete();
  kept->Delete();
  EXPECT_FALSE(keptDestroyed);
  delete kept;
  EXPECT_TRUE(keptDestroyed);
  Inspected* gone = new Inspected;
  gone->pDestroyed = &goneDestroyed;
  gone->Delete();
  EXPECT_TRUE(goneDestroyed);
}

// Several threads on one object: the lock lets only one of them suspend the worker at
// a time, so every successful suspension starts from a count of 0 and every successful
// resume from 1.
TEST(ThreadStress, OneObjectFromSeveralThreads) {
  Gate gate;
  CThread thread(WaitsAtTheGate, &gate, 1);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(gate.started, INFINITE));
  std::vector<std::thread> callers;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t)
    callers.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        unsigned long suspended = thread.SuspendThread();
        if (suspended != 0xFFFFFFFFUL && suspended != 0) ++wrong[t];
        unsigned long resumed = thread.ResumeThread();
        if (resumed != 0xFFFFFFFFUL && resumed != 1) ++wrong[t];
        thread.IsThreadActive();
        thread.GetThreadState();
      }
    });
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(std::vector<int>(4, 0), wrong);
  // Whatever the callers left, the worker is let run to its end.
  int extra = 0;
  for (DWORD count; (count = ::ResumeThread(thread.GetThreadHandle())) != 0xFFFFFFFF && count > 1;)
    ++extra;
  EXPECT_EQ(0, extra) << "suspensions the object did not account for";
  EXPECT_EQ(1, thread.IsThreadActive());
  SetEvent(gate.release);
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.GetThreadHandle(), INFINITE));
}

// A thousand workers from four owners, started every way the class offers and ended
// every way it offers: the process has as many handles afterwards as before.
TEST(ThreadStress, AThousandThreadsLeaveNoHandle) {
  const int kOwners = 4, kPerOwner = 250;
  const UINT kDone = WM_APP + 9;
  auto owner = [&](int* failures, int count) {
    MSG message;
    PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);
    Gate gate;
    for (int i = 0; i < count; ++i) {
      switch (i % 4) {
        case 0: {  // the runtime's start, returning at once
          LONG runs = 0;
          CThread thread(CountsAndReturns, &runs, 1, 1);
          WaitForSingleObject(thread.GetThreadHandle(), INFINITE);
          if (thread.IsThreadActive() || runs != 1) ++*failures;
          break;
        }
        case 1: {  // created suspended, then resumed
          LONG runs = 0;
          CThread thread(CountsAndReturns, &runs);
          thread.CreateThread(CREATE_SUSPENDED, 0, nullptr);
          if (thread.ResumeThread() != 1) ++*failures;
          WaitForSingleObject(thread.GetThreadHandle(), INFINITE);
          if (runs != 1) ++*failures;
          break;
        }
        case 2: {  // ended by force while it waits
          ResetEvent(gate.release);
          CThread thread(WaitsAtTheGate, &gate, 1);
          WaitForSingleObject(gate.started, INFINITE);
          thread.EndThread();
          if (ExitCode(thread.GetThreadHandle()) != 1) ++*failures;
          break;
        }
        default: {  // watched, the message arriving once
          int received = 0;
          {
            ResetEvent(gate.release);
            CThread thread(WaitsAtTheGate, &gate, 1);
            UTILS::_THREAD_MESSAGE done = {GetCurrentThreadId(), kDone, WPARAM(i), 0};
            thread.SetThreadMsg(done);
            thread.CreateSignalThread();
            WaitForSingleObject(gate.started, INFINITE);
            SetEvent(gate.release);
            DWORD deadline = GetTickCount() + 10000;
            while (received == 0 && GetTickCount() < deadline) {
              MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_POSTMESSAGE);
              while (PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE))
                if (message.wParam == WPARAM(i)) ++received;
            }
          }
          // The watcher is gone with its object: a second message would be here now.
          while (PeekMessageA(&message, nullptr, kDone, kDone, PM_REMOVE))
            if (message.wParam == WPARAM(i)) ++received;
          if (received != 1) ++*failures;
          break;
        }
      }
    }
  };
  // One round of each kind first, so that what the system sets up once per process
  // is not counted.
  int warmUp = 0;
  std::thread first(owner, &warmUp, 4);
  first.join();
  EXPECT_EQ(0, warmUp);
  DWORD before = ProcessHandleCount();
  std::vector<int> failures(kOwners, 0);
  std::vector<std::thread> owners;
  for (int t = 0; t < kOwners; ++t) owners.emplace_back(owner, &failures[t], kPerOwner);
  for (auto& thread : owners) thread.join();
  EXPECT_EQ(std::vector<int>(kOwners, 0), failures);
  EXPECT_EQ(before, ProcessHandleCount());
}

}  // namespace
