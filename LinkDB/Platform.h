// Platform.h - the few operating-system services the link database needs, behind one
// thin seam: the database mutex, opening the store files, the system and Windows
// directories, and the Windows-family probe used by Resolve. PlatformWin32.cpp
// implements it with Win32 calls; PlatformPosix.cpp lets the same database code run
// natively on Linux for sanitizer, fuzzing and benchmark builds.
#ifndef VKLINKDB_PLATFORM_H
#define VKLINKDB_PLATFORM_H

#include <stdio.h>

namespace vkl {

// A recursive mutex, unnamed and not owned at creation. Returns null on failure.
void* MutexCreate();
void MutexLock(void* mutex);
void MutexUnlock(void* mutex);
void MutexClose(void* mutex);

// fopen with a Windows-style path ("dir\\obj.dat").
FILE* OpenFile(const char* path, const char* mode);

// The system directory (GetSystemDirectoryA) and the Windows directory
// (GetWindowsDirectoryA), written into buffer; 0 on failure or if they do not fit.
int GetSystemDir(char* buffer, unsigned size);
int GetWindowsDir(char* buffer, unsigned size);

// GetVersionExA's answer to "is this the NT family (platform 2, major version >= 4)?".
// Asked once per process by the caller.
int ProbeNTFamily();

}  // namespace vkl

#endif
