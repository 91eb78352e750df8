// The release value for a version record (platform id, major and minor version), as
// CNTAdminObject maps it. Kept apart so that every combination can be tested without
// a system that reports it.
//
// Platform 1 (the 95 line) is told by the minor version alone; platform 2 (the NT
// line) by the major version, and for major 5 by the minor one too. Anything else,
// NT 5.2 and every later release included, maps to `unmatched` (the value the probe
// held before): the probe does not reset it, so a newer system stays OS_UNKNOWN.
#ifndef VKLINKDB_PROTECT_RELEASE_MAP_H_
#define VKLINKDB_PROTECT_RELEASE_MAP_H_

#include "CNTAdminObject"

namespace vkl {

const unsigned long kPlatformWindows = 1;  // VER_PLATFORM_WIN32_WINDOWS
const unsigned long kPlatformNT = 2;       // VER_PLATFORM_WIN32_NT

inline ostype ReleaseFromVersion(unsigned long platform, unsigned long major, unsigned long minor,
                                 ostype unmatched) {
  if (platform == kPlatformWindows) {
    if (minor == 0) return OS_WIN95;
    if (minor == 10) return OS_WIN98;
    if (minor == 90) return OS_WINME;
  } else if (platform == kPlatformNT) {
    if (major == 3) return OS_NT3;
    if (major == 4) return OS_NT4;
    if (major == 5 && minor == 0) return OS_WIN2000;
    if (major == 5 && minor == 1) return OS_WINXP;
  }
  return unmatched;
}

}  // namespace vkl

#endif  // VKLINKDB_PROTECT_RELEASE_MAP_H_
