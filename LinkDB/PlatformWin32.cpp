// Win32 side of the platform seam.
#include <windows.h>
#include <stdlib.h>
#include "Platform.h"

namespace vkl {

namespace {

// The database mutex with a note of whether an owner ever ended while holding it.
struct Mutex {
  HANDLE hMutex;
  volatile LONG lAbandoned;
};

// The 95 line has no MoveFileExA (it fails with ERROR_CALL_NOT_IMPLEMENTED).
bool Windows95Line() {
  static const bool line95 = (GetVersion() & 0x80000000u) != 0;
  return line95;
}

// The replacement of the 95 line: the old file goes first, so for a moment there is
// none; the generation file written before (see StoreFolder.cpp) lets a load finish the
// move from the temporary file.
bool DeleteThenMove(const char* from, const char* to) {
  if (!DeleteFileA(to) && GetLastError() != ERROR_FILE_NOT_FOUND) return false;
  return MoveFileA(from, to) != 0;
}

}  // namespace

void* MutexCreate() {
  Mutex* m = static_cast<Mutex*>(malloc(sizeof(Mutex)));
  if (!m) return nullptr;
  m->hMutex = CreateMutexA(NULL, FALSE, NULL);
  m->lAbandoned = 0;
  if (!m->hMutex) {
    free(m);
    return nullptr;
  }
  return m;
}

void MutexLock(void* mutex) {
  if (!mutex) return;
  Mutex* m = static_cast<Mutex*>(mutex);
  if (WaitForSingleObject(m->hMutex, INFINITE) == WAIT_ABANDONED) InterlockedExchange(&m->lAbandoned, 1);
}

void MutexUnlock(void* mutex) {
  if (mutex) ReleaseMutex(static_cast<Mutex*>(mutex)->hMutex);
}

void MutexClose(void* mutex) {
  if (!mutex) return;
  CloseHandle(static_cast<Mutex*>(mutex)->hMutex);
  free(mutex);
}

bool MutexAbandoned(void* mutex) { return mutex && static_cast<Mutex*>(mutex)->lAbandoned != 0; }

FILE* OpenFile(const char* path, const char* mode) { return fopen(path, mode); }

void* StoreFileCreate(const char* path) {
  HANDLE h = CreateFileA(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  return h == INVALID_HANDLE_VALUE ? nullptr : h;
}

bool StoreFileWrite(void* file, const void* data, size_t size) {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    DWORD chunk = size > (1u << 20) ? (1u << 20) : static_cast<DWORD>(size);
    DWORD written = 0;
    if (!WriteFile(static_cast<HANDLE>(file), p, chunk, &written, NULL)) return false;
    if (written == 0) {  // nothing taken without an error: the disk is full
      SetLastError(ERROR_DISK_FULL);
      return false;
    }
    p += written;
    size -= written;
  }
  return true;
}

bool StoreFileWriteAt(void* file, unsigned long offset, const void* data, size_t size) {
  SetLastError(NO_ERROR);
  if (SetFilePointer(static_cast<HANDLE>(file), static_cast<LONG>(offset), NULL, FILE_BEGIN) ==
          INVALID_SET_FILE_POINTER &&
      GetLastError() != NO_ERROR)
    return false;
  return StoreFileWrite(file, data, size);
}

bool StoreFileSync(void* file) { return FlushFileBuffers(static_cast<HANDLE>(file)) != 0; }

bool StoreFileClose(void* file) { return CloseHandle(static_cast<HANDLE>(file)) != 0; }

bool StoreFileReplace(const char* from, const char* to) {
  if (Windows95Line()) return DeleteThenMove(from, to);
  for (int attempt = 0;; ++attempt) {
    if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    DWORD error = GetLastError();
    if (error == ERROR_CALL_NOT_IMPLEMENTED) return DeleteThenMove(from, to);
    // A virus scanner or an indexer may hold the old file open for a moment.
    if ((error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED) || attempt == 4) return false;
    Sleep(20u << attempt);
  }
}

bool StoreFileRemove(const char* path) { return DeleteFileA(path) != 0; }

bool StoreFileExists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

FolderLockResult StoreFolderLock(const char* lockPath, void** lock) {
  *lock = nullptr;
  HANDLE h = CreateFileA(lockPath, GENERIC_READ | GENERIC_WRITE, 0, NULL, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  if (h != INVALID_HANDLE_VALUE) {
    *lock = h;
    return kFolderLocked;
  }
  DWORD error = GetLastError();
  return (error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION) ? kFolderBusy : kFolderUnwritable;
}

void StoreFolderUnlock(void* lock) {
  if (lock) CloseHandle(static_cast<HANDLE>(lock));
}

unsigned long LastSystemError() { return GetLastError(); }
void SetSystemError(unsigned long code) { SetLastError(code); }

unsigned long SystemErrorCode(ErrorKind kind) {
  switch (kind) {
    case kErrorFolderBusy: return ERROR_SHARING_VIOLATION;
    case kErrorNoFolder: return ERROR_PATH_NOT_FOUND;
    case kErrorAbandoned: return ERROR_ABANDONED_WAIT_0;
    case kErrorAlreadyInitialized: return ERROR_ALREADY_INITIALIZED;
    case kErrorNameTooLong: return ERROR_FILENAME_EXCED_RANGE;
    case kErrorNoMemory: return ERROR_NOT_ENOUGH_MEMORY;
  }
  return ERROR_GEN_FAILURE;
}

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
