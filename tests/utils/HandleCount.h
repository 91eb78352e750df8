// How many handles the test process holds, for the tests that must leave none behind.
#ifndef VKLINKDB_TESTS_UTILS_HANDLE_COUNT_H_
#define VKLINKDB_TESTS_UTILS_HANDLE_COUNT_H_

#include <windows.h>

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

#endif  // VKLINKDB_TESTS_UTILS_HANDLE_COUNT_H_
