// PathSplit.h - splitting a path into drive, directory, file name and extension by the
// rule of the Windows run-time library's _splitpath: the drive is the first two
// characters when the second is ':'; the directory runs up to and including the last
// '\\' or '/'; the extension starts at the last '.' of what follows; the file name is
// the rest. Each output buffer must hold at least as many characters as the input.
#ifndef VKLINKDB_PATHSPLIT_H
#define VKLINKDB_PATHSPLIT_H

#include <stddef.h>

namespace vkl {

// Where the parts of a path end: the drive is [0, driveEnd), the directory
// [driveEnd, dirEnd), the file name [dirEnd, extStart) and the extension
// [extStart, end).
struct PathParts {
  unsigned driveEnd, dirEnd, extStart, end;
};

PathParts SplitPathParts(const char* path);
// The same for the first `length` characters of path (or up to its NUL, if sooner).
PathParts SplitPathParts(const char* path, size_t length);

// The same parts copied out as NUL-terminated strings; any output may be null.
void SplitPath(const char* path, char* drive, char* dir, char* fname, char* ext);

}  // namespace vkl

#endif
