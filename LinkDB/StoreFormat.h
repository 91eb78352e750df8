// StoreFormat.h - sizes and little-endian field readers of the store files.
#ifndef VKLINKDB_STOREFORMAT_H
#define VKLINKDB_STOREFORMAT_H

#include <stdint.h>
#include <vector>

namespace vkl {

enum : uint32_t {
  kStoreHeaderSize = 8,   // tag, complete mark
  kObjectFixedSize = 45,  // the DBObject fields as laid out on the 32-bit target
  kLinkRecordSize = 21,   // the DBLink fields
};

inline uint32_t ReadU32(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

inline uint16_t ReadU16(const unsigned char* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

// True if the image is long enough for a header, carries the tag 4100 and its
// complete mark is non-zero.
bool StoreImageValid(const std::vector<unsigned char>& image);

}  // namespace vkl

#endif
