// Runs several thread bodies side by side for a fixed time, so that stress tests end
// on time and a deadlock fails the test instead of hanging the program.
//
// Each body is one round; it is called again and again on its own thread until the
// time is up, and returns false when it saw a fault (counted, the run goes on). A body
// that throws counts as a fault too and its text is kept. When the threads have not all
// finished some seconds after the time is up, they are left behind, detached, and the
// run reports a deadlock: whatever a body captured by shared_ptr stays alive for them.
#ifndef VKLINKDB_TESTS_STRESS_RUN_H_
#define VKLINKDB_TESTS_STRESS_RUN_H_

#include <windows.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace stress {

struct Result {
  bool finished = true;       // false: some thread was still inside a round (deadlock)
  unsigned long rounds = 0;   // rounds completed by all threads together
  unsigned long faults = 0;   // rounds that returned false or threw
  std::string firstError;     // text of the first exception, if any
};

inline Result Run(double seconds, std::vector<std::function<bool()>> bodies,
                  double graceSeconds = 20.0) {
  struct Control {
    std::atomic<int> started{0};
    std::atomic<int> done{0};
    std::atomic<unsigned long> rounds{0};
    std::atomic<unsigned long> faults{0};
    std::mutex errorLock;
    std::string firstError;
  };
  typedef std::chrono::steady_clock Clock;
  std::shared_ptr<Control> control = std::make_shared<Control>();
  const int count = static_cast<int>(bodies.size());
  const Clock::time_point deadline =
      Clock::now() + std::chrono::milliseconds(static_cast<long>(seconds * 1000));
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) {
    threads.emplace_back([control, count, deadline, body = std::move(bodies[t])] {
      control->started++;
      while (control->started < count) std::this_thread::yield();
      while (Clock::now() < deadline) {
        bool ok = false;
        try {
          ok = body();
        } catch (const std::exception& e) {
          std::lock_guard<std::mutex> hold(control->errorLock);
          if (control->firstError.empty()) control->firstError = e.what();
        } catch (...) {
          std::lock_guard<std::mutex> hold(control->errorLock);
          if (control->firstError.empty()) control->firstError = "unknown exception";
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
  for (std::thread& thread : threads) {
    if (result.finished)
      thread.join();
    else
      thread.detach();
  }
  result.rounds = control->rounds;
  result.faults = control->faults;
  std::lock_guard<std::mutex> hold(control->errorLock);
  result.firstError = control->firstError;
  return result;
}

}  // namespace stress

#endif  // VKLINKDB_TESTS_STRESS_RUN_H_
