// CrashStore.h - the store that the crash test's writer builds and flushes again and
// again, and what its checker expects of it after a kill. State k of the store: a
// drive C: with `dirs` directories of 99 files each (the base), the objects C:\K1 to
// C:\Kk, and C:\GEN.DAT whose four bytes of data hold k.
#ifndef VKLINKDB_CRASHSTORE_H
#define VKLINKDB_CRASHSTORE_H

#include <stdio.h>
#include <string>
#include "VKLinkDB.h"

namespace crash {

const int kFilesPerDir = 99;

inline int DirsFor(int objects) { return objects / (kFilesPerDir + 1) > 0 ? objects / (kFilesPerDir + 1) : 1; }

// Objects in state k: the drive, the base, GEN.DAT and K1..Kk.
inline unsigned long ObjectsIn(int dirs, unsigned long k) {
  return 1 + static_cast<unsigned long>(dirs) * (kFilesPerDir + 1) + 1 + k;
}

inline std::string DirPath(int d) { return "C:\\D" + std::to_string(d); }
inline std::string FilePath(int d, int f) { return DirPath(d) + "\\F" + std::to_string(f) + ".DAT"; }
inline std::string StepPath(unsigned long k) { return "C:\\K" + std::to_string(k); }
inline const char* GenerationPath() { return "C:\\GEN.DAT"; }

inline char* S(const std::string& s) { return const_cast<char*>(s.c_str()); }

// The progress file: the last state the writer has flushed, in a fixed-size record
// rewritten in place, so that a kill never leaves half a number.
inline bool WriteProgress(const std::string& path, unsigned long k) {
  FILE* f = fopen(path.c_str(), "r+b");
  if (!f) f = fopen(path.c_str(), "wb");
  if (!f) return false;
  char line[16];
  snprintf(line, sizeof(line), "%10lu\n", k);
  bool ok = fwrite(line, 1, 11, f) == 11;
  return fclose(f) == 0 && ok;
}

inline bool ReadProgress(const std::string& path, unsigned long* k) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return false;
  char line[16] = {0};
  size_t n = fread(line, 1, 11, f);
  fclose(f);
  return n == 11 && sscanf(line, "%lu", k) == 1;
}

}  // namespace crash

#endif
