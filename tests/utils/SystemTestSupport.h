// Helpers of the registry, thread and release-probe tests: the process's handle count,
// and the text of what a call threw.
#ifndef VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_
#define VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_

#include <windows.h>

#include <string>

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

#endif  // VKLINKDB_TESTS_UTILS_SYSTEM_TEST_SUPPORT_H_
