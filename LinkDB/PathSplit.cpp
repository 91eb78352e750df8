// Path splitting as the Windows run-time library does it (see PathSplit.h).
#include <string.h>
#include "PathSplit.h"

namespace vkl {

static void CopyPart(char* out, const char* from, const char* to) {
  if (!out) return;
  memcpy(out, from, static_cast<size_t>(to - from));
  out[to - from] = 0;
}

PathParts SplitPathParts(const char* path, size_t length) {
  auto at = [path, length](unsigned i) { return i < length ? path[i] : '\0'; };
  PathParts parts;
  unsigned i = 0;
  parts.driveEnd = (at(0) && at(1) == ':') ? 2 : 0;
  parts.dirEnd = parts.driveEnd;
  for (i = parts.driveEnd; at(i); ++i)
    if (at(i) == '\\' || at(i) == '/') parts.dirEnd = i + 1;
  parts.end = i;
  parts.extStart = parts.end;
  for (i = parts.dirEnd; at(i); ++i)
    if (at(i) == '.') parts.extStart = i;
  return parts;
}

PathParts SplitPathParts(const char* path) { return SplitPathParts(path, static_cast<size_t>(-1)); }

void SplitPath(const char* path, char* drive, char* dir, char* fname, char* ext) {
  PathParts p = SplitPathParts(path);
  CopyPart(drive, path, path + p.driveEnd);
  CopyPart(dir, path + p.driveEnd, path + p.dirEnd);
  CopyPart(fname, path + p.dirEnd, path + p.extStart);
  CopyPart(ext, path + p.extStart, path + p.end);
}

}  // namespace vkl
