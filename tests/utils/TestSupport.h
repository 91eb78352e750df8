// What the utility-layer tests share: the text a call threw, the whole record of a
// UTILS::std_exception and of a DiskIO failure, the process's handle count, system
// threads, and timed stress runs that report a deadlock instead of hanging.
#ifndef VKLINKDB_TESTS_UTILS_TEST_SUPPORT_H_
#define VKLINKDB_TESTS_UTILS_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "UtilsString"
#include "diskio"

inline std::string Str(const UTILS::UtilsString& s) { return s.GetSTLString(); }
inline UTILS::UtilsString U(const std::string& s) { return UTILS::UtilsString(s.c_str()); }

// The what() text of the E that `call` throws.
template <class E, class F>
std::string Thrown(F call) {
  try {
    call();
  } catch (E& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

// The record of a UTILS::std_exception thrown in the header `file`: the error's number
// when there is one, with the system's description of it when `describe`.
inline std::string Record(const std::string& file, unsigned long type, unsigned long line,
                          unsigned long error, const std::string& condition, bool describe = true) {
  std::string text = "File:  ..\\..\\Include\\" + file + "; Line Number:  " + std::to_string(line) +
                     "; Exception Name:  UTILS::std_exception; Type:  " + std::to_string(type) +
                     "; ";
  if (error) {
    text += "Error Number: " + std::to_string(error) + "; ";
    if (describe) {
      UTILS::UtilsString description;
      description.SetErrorMsg(error, 0);
      text += "WinError Description: " + description.GetSTLString() + "; ";
    }
  }
  return text + "Error Condition:  " + condition;
}

// "\\<this computer>\", which the network form of a path starts with.
inline std::string NetworkPrefix() {
  char name[512];
  DWORD size = sizeof name;
  GetComputerNameA(name, &size);
  return "\\\\" + std::string(name) + "\\";
}

// Category, error, line and text of the DiskIoException a call threw (category 99:
// nothing was thrown).
struct Failure {
  unsigned long category = 99, error = 0, line = 0;
  std::string what;
  // The record this failure must carry: the category is its type.
  std::string Expected(const std::string& message, bool describe = true) const {
    return Record("diskio", category, line, error, message, describe);
  }
};
template <class F>
Failure Fails(F call) {
  Failure failure;
  try {
    call();
  } catch (UTILS::DiskIoException& e) {
    failure = {e.GetCategory(), e.GetError(), e.GetLine(), e.what()};
    EXPECT_STREQ("UTILS::DiskIoException", e.derived_class());
    EXPECT_STREQ("UTILS::DiskIoException", e.GetTypeName());
    EXPECT_STREQ("..\\..\\Include\\diskio", e.GetFileName());
    const std::string text = e.GetMessageText();  // the record ends with it
    EXPECT_TRUE(failure.what.size() >= text.size() &&
                failure.what.compare(failure.what.size() - text.size(), text.size(), text) == 0)
        << failure.what;
  }
  return failure;
}

// GetProcessHandleCount where the system answers it; Wine answers 0, so there the open
// handle values (multiples of 4, allocated from the lowest free slot up) are counted
// one by one until a long run of unused values.
inline DWORD ProcessHandleCount() {
  DWORD count = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0) return count;
  for (ULONG_PTR value = 4, unused = 0; unused < 512; value += 4) {
    DWORD flags = 0;
    bool open = GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags);
    count += open;
    unused = open ? 0 : unused + 1;
  }
  return count;
}

// Runs body(0) .. body(count - 1) on that many system threads at once and waits for
// them. Tests that count handles need these rather than std::thread, whose runtime
// keeps a few per-thread objects (an event each) for reuse at its own pace.
inline void RunOnThreads(int count, const std::function<void(int)>& body) {
  struct Job {
    const std::function<void(int)>* body;
    int index;
    static DWORD WINAPI Main(void* job) {
      (*static_cast<Job*>(job)->body)(static_cast<Job*>(job)->index);
      return 0;
    }
  };
  std::vector<Job> jobs(count);
  std::vector<HANDLE> threads;
  for (int i = 0; i < count; ++i) {
    jobs[i] = {&body, i};
    threads.push_back(CreateThread(nullptr, 0, Job::Main, &jobs[i], 0, nullptr));
  }
  WaitForMultipleObjects(count, threads.data(), TRUE, INFINITE);
  for (HANDLE thread : threads) CloseHandle(thread);
}

namespace stress {

struct Result {
  bool finished = true;      // false: some thread was still inside a round (deadlock)
  unsigned long rounds = 0;  // rounds completed by all threads together
  unsigned long faults = 0;  // rounds that returned false or threw
  std::string firstError;    // text of the first exception, if any
};

// Runs each body on its own thread, round after round, until `seconds` are up. A body
// returns false when it saw a fault; one that throws counts as a fault and its text is
// kept. Threads still inside a round `graceSeconds` after the time is up are left
// behind, detached, and the run reports a deadlock; what a body captured by shared_ptr
// stays alive for them.
inline Result Run(double seconds, std::vector<std::function<bool()>> bodies,
                  double graceSeconds = 20.0) {
  struct Control {
    std::atomic<int> started{0}, done{0};
    std::atomic<unsigned long> rounds{0}, faults{0};
    std::mutex errorLock;
    std::string firstError;
  };
  typedef std::chrono::steady_clock Clock;
  auto control = std::make_shared<Control>();
  const int count = static_cast<int>(bodies.size());
  const Clock::time_point deadline =
      Clock::now() + std::chrono::milliseconds(static_cast<long>(seconds * 1000));
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) {
    threads.emplace_back([control, count, deadline, body = std::move(bodies[t])] {
      for (control->started++; control->started < count;) std::this_thread::yield();
      while (Clock::now() < deadline) {
        bool ok = false;
        try {
          ok = body();
        } catch (const std::exception& e) {
          std::lock_guard<std::mutex> hold(control->errorLock);
          if (control->firstError.empty()) control->firstError = e.what();
        }
        control->rounds++;
        if (!ok) control->faults++;
      }
      control->done++;
    });
  }
  const Clock::time_point giveUp =
      deadline + std::chrono::milliseconds(static_cast<long>(graceSeconds * 1000));
  while (control->done < count && Clock::now() < giveUp) Sleep(10);
  Result result;
  result.finished = control->done == count;
  for (std::thread& thread : threads) result.finished ? thread.join() : thread.detach();
  result.rounds = control->rounds;
  result.faults = control->faults;
  std::lock_guard<std::mutex> hold(control->errorLock);
  result.firstError = control->firstError;
  return result;
}

// A run must end on time, see no fault and get something done.
inline void ExpectClean(const Result& run) {
  EXPECT_TRUE(run.finished) << "threads still blocked: deadlock";
  EXPECT_EQ(0u, run.faults) << "of " << run.rounds << " rounds; " << run.firstError;
  EXPECT_GT(run.rounds, 0u);
}

}  // namespace stress

#endif  // VKLINKDB_TESTS_UTILS_TEST_SUPPORT_H_
