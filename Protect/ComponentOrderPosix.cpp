// Component order on the native build: ASCII letters folded to lower case, other bytes
// compared as unsigned values, as _mbsicmp compares under a single-byte code page.
#include "ComponentOrder.h"

namespace vkl {
namespace protect {

namespace {

inline int Folded(const char* p) {
  unsigned char c = static_cast<unsigned char>(*p);
  return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

}  // namespace

int CompareComponentsN(const char* a, const char* b, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    int x = Folded(a + i), y = Folded(b + i);
    if (x != y) return x - y;
    if (x == 0) return 0;
  }
  return 0;
}

int CompareComponents(const char* a, const char* b) { return CompareComponentsN(a, b, static_cast<size_t>(-1)); }

}  // namespace protect
}  // namespace vkl
