// PeImports.h - the names of the DLLs a program or DLL imports, read from its PE image:
// the import table and the delay-load table, 32-bit (PE32) and 64-bit (PE32+) images
// alike. The reader takes only the bytes it needs and checks every offset and count
// against the file, so any file can be given to it.
#ifndef VKRECORD_PE_IMPORTS_H
#define VKRECORD_PE_IMPORTS_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

namespace vkp {

struct PeImports {
  enum Result { kImports, kNotPe, kDamaged } result = kNotPe;
  std::vector<std::string> names;  // in table order, each once (ASCII case ignored)
  std::string problem;             // why a damaged image was given up
};

// Reads `size` bytes at `offset` into `buffer`; false when they are not all there.
using ReadAt = std::function<bool(uint64_t offset, void* buffer, size_t size)>;

PeImports ReadPeImports(const ReadAt& read, uint64_t fileSize);
PeImports ReadPeImportsFromMemory(const void* image, size_t size);
PeImports ReadPeImportsFromFile(const std::string& path);

// True for the extensions of files that may carry an import table (EXE, DLL, OCX, CPL,
// SCR, SYS, DRV, COM).
bool MayHaveImports(const std::string& path);

}  // namespace vkp

#endif
