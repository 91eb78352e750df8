// Helpers of the registry, thread and release-probe tests: the process's handle count,
// and the text of what a call threw.
#ifndef VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_
#define VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

// GetProcessHandleCount where the system answers it; Wine answers 0, so there the open
// handle values (multiples of 4, allocated from the lowest free slot up) are counted
// one by one until a long run of unused values.
inline DWORD ProcessHandleCount() {
  DWORD count = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0) return count;
  DWORD unused = 0;
  for (ULONG_PTR value = 4; unused < 512; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) {
      ++count;
      unused = 0;
    } else {
      ++unused;
    }
  }
  return count;
}

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

// Runs body(0) .. body(count - 1) on that many system threads at once and waits for
// them. The tests that count handles use these rather than std::thread, whose runtime
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

#endif  // VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_
