// Wildcard matching for object searches. The match is the usual one of '*' and '?',
// done by walking both strings and going back to the last '*' on a mismatch, which
// gives the same answers as trying every split at every '*' without its cost.
#include <string.h>
#include "Internal.h"
#include "Wildcard.h"

namespace vkl {

static void CopyUpper(char* out, const char* in) {
  uint32_t n = BoundedLength(in, kPathBufferSize - 1);
  for (uint32_t i = 0; i < n; ++i) {
    out[i] = static_cast<char>(AsciiUpper(static_cast<unsigned char>(in[i])));
  }
  out[n] = 0;
}

bool WildcardMatch(const char* pattern, const char* name) {
  char p[kPathBufferSize], s[kPathBufferSize];
  CopyUpper(p, pattern);
  CopyUpper(s, name);
  if (strcmp(p, "*.*") == 0) strcpy(p, "*");

  size_t pi = 0, si = 0;
  size_t starP = static_cast<size_t>(-1), starS = 0;
  while (s[si]) {
    if (p[pi] && p[pi] != '*' && (p[pi] == '?' || p[pi] == s[si])) {
      ++pi;
      ++si;
    } else if (p[pi] == '*') {
      starP = pi++;
      starS = si;
    } else if (starP != static_cast<size_t>(-1)) {
      pi = starP + 1;
      si = ++starS;
    } else {
      return false;
    }
  }
  while (p[pi] == '*') ++pi;
  return p[pi] == 0;
}

}  // namespace vkl
