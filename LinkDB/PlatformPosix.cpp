// POSIX side of the platform seam, for the native build of the database. There are no
// Windows directories here: the system and Windows directories are taken from the
// environment (VKL_SYSTEM_DIR, VKL_WINDOWS_DIR, VKL_NT_FAMILY) so that tests can set
// them, with the usual NT layout as default.
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include "Platform.h"

namespace vkl {

void* MutexCreate() {
  pthread_mutex_t* m = static_cast<pthread_mutex_t*>(malloc(sizeof(pthread_mutex_t)));
  if (!m) return nullptr;
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  int rc = pthread_mutex_init(m, &attr);
  pthread_mutexattr_destroy(&attr);
  if (rc != 0) {
    free(m);
    return nullptr;
  }
  return m;
}

void MutexLock(void* mutex) { if (mutex) pthread_mutex_lock(static_cast<pthread_mutex_t*>(mutex)); }
void MutexUnlock(void* mutex) { if (mutex) pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex)); }
void MutexClose(void* mutex) {
  if (!mutex) return;
  pthread_mutex_destroy(static_cast<pthread_mutex_t*>(mutex));
  free(mutex);
}

// Store paths are built with backslashes; on POSIX they become slashes.
FILE* OpenFile(const char* path, const char* mode) {
  std::string p(path);
  for (char& c : p)
    if (c == '\\') c = '/';
  return fopen(p.c_str(), mode);
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
