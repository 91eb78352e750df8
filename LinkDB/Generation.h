// Generation.h - the generation file, store.gen: a small companion of obj.dat and
// link.dat that names the pair one flush wrote. Every flush gives the pair the next
// generation number and records, for each of the two files, whether it exists, its size
// and its CRC-32. A load that finds files that do not fit the record knows they are not
// that pair; the store files themselves keep their bytes. The file is optional: a folder
// without one (written by an earlier version, or by another writer of the format) loads
// as it always did. See docs/store-format.md.
#ifndef VKLINKDB_GENERATION_H
#define VKLINKDB_GENERATION_H

#include <stddef.h>
#include <stdint.h>
#include <vector>

namespace vkl {

// What one store file should be: present or not, and if present its size and CRC-32.
struct FileSeal {
  bool bPresent;
  uint64_t qwSize;
  uint32_t dwCrc;
};

inline bool operator==(const FileSeal& a, const FileSeal& b) {
  return a.bPresent == b.bPresent && (!a.bPresent || (a.qwSize == b.qwSize && a.dwCrc == b.dwCrc));
}
inline bool operator!=(const FileSeal& a, const FileSeal& b) { return !(a == b); }

struct GenerationRecord {
  uint32_t dwGeneration;
  FileSeal obj;
  FileSeal link;
};

enum : uint32_t {
  kGenerationTag = 4101,
  kGenerationFileSize = 44,  // tag, generation, two seals of 16 bytes, CRC-32 of the rest
};

// Running CRC-32 (zlib's), starting from 0.
uint32_t StoreCrc(uint32_t crc, const void* data, size_t size);

// The seal of a file's whole contents; an absent file has bPresent false.
FileSeal SealOf(const std::vector<unsigned char>& contents);
inline FileSeal AbsentFile() { return FileSeal{false, 0, 0}; }

std::vector<unsigned char> EncodeGeneration(const GenerationRecord& record);
// False if the bytes are not a whole generation file with a matching checksum.
bool DecodeGeneration(const std::vector<unsigned char>& bytes, GenerationRecord* record);

}  // namespace vkl

#endif
