// Win32 side of the platform seam.
#include <windows.h>
#include "Platform.h"

namespace vkl {

void* MutexCreate() { return CreateMutexA(NULL, FALSE, NULL); }
void MutexLock(void* mutex) { if (mutex) WaitForSingleObject((HANDLE)mutex, INFINITE); }
void MutexUnlock(void* mutex) { if (mutex) ReleaseMutex((HANDLE)mutex); }
void MutexClose(void* mutex) { if (mutex) CloseHandle((HANDLE)mutex); }

FILE* OpenFile(const char* path, const char* mode) { return fopen(path, mode); }

int GetSystemDir(char* buffer, unsigned size) {
  UINT n = GetSystemDirectoryA(buffer, size);
  return n != 0 && n < size;
}

int GetWindowsDir(char* buffer, unsigned size) {
  UINT n = GetWindowsDirectoryA(buffer, size);
  return n != 0 && n < size;
}

int ProbeNTFamily() {
  OSVERSIONINFOA info;
  ZeroMemory(&info, sizeof(info));
  info.dwOSVersionInfoSize = sizeof(info);  // the 148-byte record
  if (!GetVersionExA(&info)) return 0;
  if (info.dwPlatformId != VER_PLATFORM_WIN32_WINDOWS && info.dwPlatformId != VER_PLATFORM_WIN32_NT)
    return 0;
  if (info.dwMajorVersion < 4) return 0;
  return info.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

}  // namespace vkl
