// How the protected trees compare path components: ignoring case and aware of
// multi-byte characters, as the run-time library's _mbsicmp does on Windows. The
// Windows build calls the run-time library (ComponentOrderWin32.cpp); the native build,
// which has no code pages, folds ASCII letters (ComponentOrderPosix.cpp), which is what
// _mbsicmp does under a single-byte code page.
#ifndef VKLINKDB_PROTECT_COMPONENT_ORDER_H_
#define VKLINKDB_PROTECT_COMPONENT_ORDER_H_

#include <stddef.h>

namespace vkl {
namespace protect {

// Negative, 0 or positive as a orders before, equal to or after b.
int CompareComponents(const char* a, const char* b);

// The same over at most the first `count` characters of each.
int CompareComponentsN(const char* a, const char* b, size_t count);

}  // namespace protect
}  // namespace vkl

#endif  // VKLINKDB_PROTECT_COMPONENT_ORDER_H_
