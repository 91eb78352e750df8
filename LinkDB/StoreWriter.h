// StoreWriter.h - writes one store file to the disk: through a buffer, every write
// checked, the complete mark set only once all the records are on the disk, and the
// finished file's seal (size and CRC-32) worked out on the way. A file that is not
// finished is removed.
#ifndef VKLINKDB_STOREWRITER_H
#define VKLINKDB_STOREWRITER_H

#include <stddef.h>
#include <stdint.h>
#include <string>
#include <vector>
#include "Generation.h"

namespace vkl {

class StoreWriter {
 public:
  // Creates (or empties) the file; `buffer` is scratch space kept by the caller.
  StoreWriter(const std::string& path, std::vector<unsigned char>& buffer);
  ~StoreWriter();
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;

  // The tag 4100 and the mark 0. The seal counts the mark 1 that Finish writes.
  void PutHeader();
  void Put(const void* data, size_t size);
  void PutU8(uint8_t v) { Put(&v, 1); }
  void PutU16(uint16_t v);
  void PutU32(uint32_t v);

  // Writes what is buffered, syncs the file, writes the mark 1, syncs again and closes.
  // True if the whole file is on the disk; its seal is then in *seal. On failure the
  // file is removed and the system error of the first failure is current.
  bool Finish(FileSeal* seal);

 private:
  bool Drain();
  void Fail();

  std::string m_Path;
  std::vector<unsigned char>& m_Buffer;
  void* m_hFile;
  size_t m_nUsed = 0;
  uint64_t m_qwSize = 0;
  uint32_t m_dwCrc = 0;
  bool m_bFailed = false;
  unsigned long m_dwError = 0;
};

}  // namespace vkl

#endif
