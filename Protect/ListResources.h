// Which embedded list resources stand for which Windows release. The two families are
// numbered differently on purpose: among the file lists the NT line has 104 and
// Millennium 105, among the registry lists Millennium has 113 and the NT line 114.
#ifndef VKLINKDB_PROTECT_LIST_RESOURCES_H_
#define VKLINKDB_PROTECT_LIST_RESOURCES_H_

#include "CNTAdminObject"

namespace vkl {
namespace protect {

// The resource type names, given to FindResourceA as strings.
const char kFileListType[] = "WIN_FILES";
const char kKeyListType[] = "WIN_REGS";

struct ListResourceIds {
  int files;  // WIN_FILES id, 0: none
  int keys;   // WIN_REGS id, 0: none
};

// The pair of lists for a release; {0, 0} for OS_UNKNOWN and any value outside 1 to 7.
inline ListResourceIds ListResourcesFor(int release) {
  switch (release) {
    case OS_WIN2000:
    case OS_WINXP:
      return {101, 110};
    case OS_WIN95:
      return {102, 111};
    case OS_WIN98:
      return {103, 112};
    case OS_NT3:
    case OS_NT4:
      return {104, 114};
    case OS_WINME:
      return {105, 113};
    default:
      return {0, 0};
  }
}

}  // namespace protect
}  // namespace vkl

#endif  // VKLINKDB_PROTECT_LIST_RESOURCES_H_
