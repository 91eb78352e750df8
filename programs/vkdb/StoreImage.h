// StoreImage.h - a store folder's files read byte by byte, as the store format describes
// them (docs/store-format.md), without the library: every object entry and link record
// as written, and every way the bytes depart from the format. vkdb compares this with
// what the library's loader makes of the same files, since the loader silently drops
// what it cannot use (link entries that name no link, a cut-off last entry).
#ifndef VKDB_STORE_IMAGE_H
#define VKDB_STORE_IMAGE_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace vkp {

struct RawObject {
  uint64_t offset = 0;  // of the entry in obj.dat
  uint32_t id = 0, type = 0, flags = 0;
  uint8_t persistent = 0;
  std::string name;
  std::vector<uint32_t> from, to;  // link-array entries as written
  uint32_t dataSize = 0;
  std::vector<unsigned char> data;  // the first 24 bytes at most
};

struct RawLink {
  uint64_t offset = 0;
  uint32_t id = 0, source = 0, target = 0, type = 0;
  uint8_t persistent = 0;
};

// One file's header, as found.
struct RawFile {
  bool present = false;
  uint64_t size = 0;
  uint32_t tag = 0, mark = 0;
  uint32_t crc = 0;  // CRC-32 of the whole file
  bool Valid() const { return present && size >= 8 && tag == 4100 && mark != 0; }
};

struct StoreImage {
  RawFile obj, link;
  bool genPresent = false, genValid = false;
  uint32_t generation = 0;
  struct Seal {
    bool present = false;
    uint64_t size = 0;
    uint32_t crc = 0;
  } genObj, genLink;
  struct Temporary {
    std::string name;  // obj.dat.tmp, link.dat.tmp or store.gen.tmp
    uint64_t size = 0;
    uint32_t crc = 0;
  };
  std::vector<Temporary> temporaries;  // leftovers of a flush
  std::vector<RawObject> objects;        // in file order
  std::vector<RawLink> links;
  std::vector<std::string> damage;       // how the bytes depart from the format
};

// Reads the files of a store folder; `separator` joins the folder and the file names.
StoreImage ReadStoreImage(const std::string& folder, char separator);
// The same from the bytes of the two files (for tests and the fuzz corpus); an absent
// file is given as null.
StoreImage ParseStoreImage(const std::vector<unsigned char>* obj, const std::vector<unsigned char>* link);

}  // namespace vkp

#endif
