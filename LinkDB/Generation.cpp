// The generation file's bytes: little-endian words, closed by the CRC-32 of the rest so
// that a damaged record is never taken for a true one.
#include "Generation.h"
#include <zlib.h>
#include "StoreFormat.h"

namespace vkl {

namespace {

void PutU32(std::vector<unsigned char>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

void PutSeal(std::vector<unsigned char>& out, const FileSeal& seal) {
  PutU32(out, seal.bPresent ? 1 : 0);
  PutU32(out, static_cast<uint32_t>(seal.qwSize));
  PutU32(out, static_cast<uint32_t>(seal.qwSize >> 32));
  PutU32(out, seal.dwCrc);
}

bool GetSeal(const unsigned char* p, FileSeal* seal) {
  uint32_t present = ReadU32(p);
  if (present > 1) return false;
  seal->bPresent = present == 1;
  seal->qwSize = ReadU32(p + 4) | (static_cast<uint64_t>(ReadU32(p + 8)) << 32);
  seal->dwCrc = ReadU32(p + 12);
  return true;
}

}  // namespace

uint32_t StoreCrc(uint32_t crc, const void* data, size_t size) {
  const Bytef* p = static_cast<const Bytef*>(data);
  uLong c = crc;
  while (size > 0) {
    uInt chunk = size > (1u << 30) ? (1u << 30) : static_cast<uInt>(size);
    c = crc32(c, p, chunk);
    p += chunk;
    size -= chunk;
  }
  return static_cast<uint32_t>(c);
}

FileSeal SealOf(const std::vector<unsigned char>& contents) {
  return FileSeal{true, contents.size(), StoreCrc(0, contents.data(), contents.size())};
}

std::vector<unsigned char> EncodeGeneration(const GenerationRecord& record) {
  std::vector<unsigned char> out;
  PutU32(out, kGenerationTag);
  PutU32(out, record.dwGeneration);
  PutSeal(out, record.obj);
  PutSeal(out, record.link);
  PutU32(out, StoreCrc(0, out.data(), out.size()));
  return out;
}

bool DecodeGeneration(const std::vector<unsigned char>& bytes, GenerationRecord* record) {
  if (bytes.size() != kGenerationFileSize || ReadU32(bytes.data()) != kGenerationTag) return false;
  if (ReadU32(bytes.data() + 40) != StoreCrc(0, bytes.data(), 40)) return false;
  record->dwGeneration = ReadU32(bytes.data() + 4);
  return GetSeal(bytes.data() + 8, &record->obj) && GetSeal(bytes.data() + 24, &record->link);
}

}  // namespace vkl
