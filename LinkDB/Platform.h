// Platform.h - the few operating-system services the link database needs, behind one
// thin seam: the database mutex, the store folder's files and lock, the last system
// error, the system and Windows directories, and the Windows-family probe used by
// Resolve. PlatformWin32.cpp implements it with Win32 calls; PlatformPosix.cpp lets the
// same database code run natively on Linux for sanitizer, fuzzing and benchmark builds.
#ifndef VKLINKDB_PLATFORM_H
#define VKLINKDB_PLATFORM_H

#include <stddef.h>
#include <stdio.h>

namespace vkl {

// A recursive mutex, unnamed and not owned at creation. Returns null on failure.
void* MutexCreate();
void MutexLock(void* mutex);
void MutexUnlock(void* mutex);
void MutexClose(void* mutex);
// True once a thread has ended while it held the mutex (WAIT_ABANDONED): whatever it
// was changing may be half done. The next locker owns the mutex as usual.
bool MutexAbandoned(void* mutex);

// fopen with a Windows-style path ("dir\\obj.dat").
FILE* OpenFile(const char* path, const char* mode);

// Files of the store folder. Every call returns true on success and leaves the reason of
// a failure as the last system error.
//
// A file being written: created (or emptied) for writing, not shared with other writers.
void* StoreFileCreate(const char* path);
bool StoreFileWrite(void* file, const void* data, size_t size);          // all of it, or failure
bool StoreFileWriteAt(void* file, unsigned long offset, const void* data, size_t size);
bool StoreFileSync(void* file);   // to the disk: FlushFileBuffers, fsync
bool StoreFileClose(void* file);  // also reports an error that only the close sees
// Puts `from` in the place of `to` in one step, replacing it, and on the disk when the
// call returns (MoveFileEx with write-through; rename and a sync of the folder).
bool StoreFileReplace(const char* from, const char* to);
bool StoreFileRemove(const char* path);
bool StoreFileExists(const char* path);

// The lock that keeps one writer per store folder: a lock file held open without
// sharing (an exclusive flock natively) while a database has the folder.
enum FolderLockResult { kFolderLocked, kFolderBusy, kFolderUnwritable };
// kFolderLocked: *lock holds the folder until StoreFolderUnlock. kFolderBusy: another
// process holds it. kFolderUnwritable: the lock file cannot be made (a missing or
// read-only folder).
FolderLockResult StoreFolderLock(const char* lockPath, void** lock);
void StoreFolderUnlock(void* lock);

// The last system error (GetLastError, errno), and setting it back after clean-up.
unsigned long LastSystemError();
void SetSystemError(unsigned long code);
// The codes the database itself reports.
enum ErrorKind {
  kErrorFolderBusy,          // another process has the store folder
  kErrorNoFolder,            // the database has no store folder
  kErrorAbandoned,           // a thread ended while it was changing the database
  kErrorAlreadyInitialized,  // a second Initialize
  kErrorNameTooLong,         // the folder's name does not fit the store paths
  kErrorNoMemory,
};
unsigned long SystemErrorCode(ErrorKind kind);

// The system directory (GetSystemDirectoryA) and the Windows directory
// (GetWindowsDirectoryA), written into buffer; 0 on failure or if they do not fit.
int GetSystemDir(char* buffer, unsigned size);
int GetWindowsDir(char* buffer, unsigned size);

// GetVersionExA's answer to "is this the NT family (platform 2, major version >= 4)?".
// Asked once per process by the caller.
int ProbeNTFamily();

}  // namespace vkl

#endif
