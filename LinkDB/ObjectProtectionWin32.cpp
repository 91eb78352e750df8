// CVKUObject::IsProtected: whether an object's full path is a file or registry key of
// the operating system, asked of the protected lists.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CUtilsPath"
#include "Internal.h"
#include "ProtectedLists.h"
#include "UtilsString"

int CVKUObject::IsProtected() {
  char path[vkl::kPathBufferSize];
  if (!GetFullPath(path)) return 0;
  // A registry path is one whose first element is a root designation, the test a
  // CUtilsPath built from the text applies; asked directly, it spares a path object
  // (and the installer module every path object loads) per question. The text itself
  // is looked up, not a normalised form of it.
  if (UTILS::CUtilsPath::PathIsRegistry(UTILS::UtilsString(path))) return vkl::IsProtectedRegKey(path);
  return IsProtectedPath(path);
}
