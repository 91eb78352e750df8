// Wildcard.h - the name patterns of object searches: '*' stands for any run of
// characters (also none), '?' for exactly one; ASCII letters match either case; the
// pattern "*.*" matches every name, with or without a dot.
#ifndef VKLINKDB_WILDCARD_H
#define VKLINKDB_WILDCARD_H

namespace vkl {

// Pattern and name are taken up to 999 characters each, as by the 1,000-character
// working buffers of the search.
bool WildcardMatch(const char* pattern, const char* name);

}  // namespace vkl

#endif
