// POSIX side of the platform seam, for the native build of the database. There are no
// Windows directories here: the system and Windows directories are taken from the
// environment (VKL_SYSTEM_DIR, VKL_WINDOWS_DIR, VKL_NT_FAMILY) so that tests can set
// them, with the usual NT layout as default.
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <string>
#include "Platform.h"

namespace vkl {

namespace {

// A robust mutex: when its owner thread ends while holding it, the next locker is told
// (EOWNERDEAD), as WAIT_ABANDONED tells on Windows.
struct Mutex {
  pthread_mutex_t mutex;
  volatile int abandoned;
};

// Store paths are built with backslashes; on POSIX they become slashes.
std::string Native(const char* path) {
  std::string p(path);
  for (char& c : p)
    if (c == '\\') c = '/';
  return p;
}

int Fd(void* file) { return static_cast<int>(reinterpret_cast<intptr_t>(file)) - 1; }
void* AsFile(int fd) { return reinterpret_cast<void*>(static_cast<intptr_t>(fd) + 1); }

bool WriteAll(int fd, const char* p, size_t size, off_t* at) {
  while (size > 0) {
    ssize_t n = at ? pwrite(fd, p, size, *at) : write(fd, p, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) {
      errno = ENOSPC;
      return false;
    }
    p += n;
    size -= static_cast<size_t>(n);
    if (at) *at += n;
  }
  return true;
}

// The folder of a path, synced so that a rename in it is on the disk.
bool SyncFolderOf(const std::string& path) {
  size_t cut = path.find_last_of('/');
  std::string folder = cut == std::string::npos ? "." : cut == 0 ? "/" : path.substr(0, cut);
  int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  bool ok = fsync(fd) == 0 || errno == EINVAL;  // some file systems cannot sync a folder
  int saved = errno;
  close(fd);
  errno = saved;
  return ok;
}

}  // namespace

void* MutexCreate() {
  Mutex* m = static_cast<Mutex*>(malloc(sizeof(Mutex)));
  if (!m) return nullptr;
  m->abandoned = 0;
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
  int rc = pthread_mutex_init(&m->mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  if (rc != 0) {
    free(m);
    return nullptr;
  }
  return m;
}

void MutexLock(void* mutex) {
  if (!mutex) return;
  Mutex* m = static_cast<Mutex*>(mutex);
  if (pthread_mutex_lock(&m->mutex) == EOWNERDEAD) {
    __atomic_store_n(&m->abandoned, 1, __ATOMIC_SEQ_CST);
    pthread_mutex_consistent(&m->mutex);
  }
}

void MutexUnlock(void* mutex) {
  if (mutex) pthread_mutex_unlock(&static_cast<Mutex*>(mutex)->mutex);
}

void MutexClose(void* mutex) {
  if (!mutex) return;
  pthread_mutex_destroy(&static_cast<Mutex*>(mutex)->mutex);
  free(mutex);
}

bool MutexAbandoned(void* mutex) {
  return mutex && __atomic_load_n(&static_cast<Mutex*>(mutex)->abandoned, __ATOMIC_SEQ_CST) != 0;
}

FILE* OpenFile(const char* path, const char* mode) { return fopen(Native(path).c_str(), mode); }

void* StoreFileCreate(const char* path) {
  int fd = open(Native(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  return fd < 0 ? nullptr : AsFile(fd);
}

bool StoreFileWrite(void* file, const void* data, size_t size) {
  return WriteAll(Fd(file), static_cast<const char*>(data), size, nullptr);
}

bool StoreFileWriteAt(void* file, unsigned long offset, const void* data, size_t size) {
  off_t at = static_cast<off_t>(offset);
  return WriteAll(Fd(file), static_cast<const char*>(data), size, &at);
}

bool StoreFileSync(void* file) { return fsync(Fd(file)) == 0; }

bool StoreFileClose(void* file) { return close(Fd(file)) == 0; }

bool StoreFileReplace(const char* from, const char* to) {
  std::string target = Native(to);
  if (rename(Native(from).c_str(), target.c_str()) != 0) return false;
  return SyncFolderOf(target);
}

bool StoreFileRemove(const char* path) { return unlink(Native(path).c_str()) == 0; }

bool StoreFileExists(const char* path) {
  struct stat st;
  return stat(Native(path).c_str(), &st) == 0;
}

FolderLockResult StoreFolderLock(const char* lockPath, void** lock) {
  *lock = nullptr;
  int fd = open(Native(lockPath).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return kFolderUnwritable;
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    int error = errno;
    close(fd);
    errno = error;
    // Without a lock there is no single writer: a folder that cannot be locked is not
    // written.
    return error == EWOULDBLOCK ? kFolderBusy : kFolderUnwritable;
  }
  *lock = AsFile(fd);
  return kFolderLocked;
}

void StoreFolderUnlock(void* lock) {
  if (lock) close(Fd(lock));  // the lock goes with the descriptor
}

unsigned long LastSystemError() { return static_cast<unsigned long>(errno); }
void SetSystemError(unsigned long code) { errno = static_cast<int>(code); }

unsigned long SystemErrorCode(ErrorKind kind) {
  switch (kind) {
    case kErrorFolderBusy: return EWOULDBLOCK;
    case kErrorNoFolder: return ENOENT;
    case kErrorAbandoned: return EOWNERDEAD;
    case kErrorAlreadyInitialized: return EALREADY;
    case kErrorNameTooLong: return ENAMETOOLONG;
    case kErrorNoMemory: return ENOMEM;
  }
  return EIO;
}

static int FromEnv(const char* name, const char* fallback, char* buffer, unsigned size) {
  const char* v = getenv(name);
  if (!v) v = fallback;
  size_t n = strlen(v);
  if (n == 0 || n >= size) return 0;
  memcpy(buffer, v, n + 1);
  return 1;
}

int GetSystemDir(char* buffer, unsigned size) {
  return FromEnv("VKL_SYSTEM_DIR", "C:\\WINDOWS\\system32", buffer, size);
}

int GetWindowsDir(char* buffer, unsigned size) {
  return FromEnv("VKL_WINDOWS_DIR", "C:\\WINDOWS", buffer, size);
}

int ProbeNTFamily() {
  const char* v = getenv("VKL_NT_FAMILY");
  return v ? atoi(v) != 0 : 1;
}

}  // namespace vkl
