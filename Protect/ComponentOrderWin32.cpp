// Component order on Windows: the run-time library's multi-byte comparisons, which
// follow the process's multi-byte code page.
#include "ComponentOrder.h"

#include <mbstring.h>

namespace vkl {
namespace protect {

int CompareComponents(const char* a, const char* b) {
  return _mbsicmp(reinterpret_cast<const unsigned char*>(a), reinterpret_cast<const unsigned char*>(b));
}

int CompareComponentsN(const char* a, const char* b, size_t count) {
  return _mbsnicmp(reinterpret_cast<const unsigned char*>(a), reinterpret_cast<const unsigned char*>(b), count);
}

}  // namespace protect
}  // namespace vkl
