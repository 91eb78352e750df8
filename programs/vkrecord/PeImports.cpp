// PeImports.cpp - see PeImports.h.
//
// The image: the DOS header's "MZ" and, at 0x3C, the offset of "PE\0\0"; then the file
// header (20 bytes: machine, section count, ..., the optional header's size), the
// optional header (magic 0x10B for PE32, 0x20B for PE32+) whose data directories give
// the import table (entry 1) and the delay-load table (entry 13) as relative virtual
// addresses, and the section table that maps such addresses to file offsets.
#include "PeImports.h"

#include <stdio.h>
#include <string.h>

#include "Text.h"

namespace vkp {

namespace {

const size_t kMaxSections = 96;        // the loader's own limit
const size_t kMaxDescriptors = 4096;   // far more DLLs than any image imports
const size_t kMaxNameLength = 256;

uint32_t U16(const unsigned char* p) { return p[0] | (p[1] << 8); }
uint32_t U32(const unsigned char* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
uint64_t U64(const unsigned char* p) { return U32(p) | (static_cast<uint64_t>(U32(p + 4)) << 32); }

struct Section {
  uint32_t address, virtualSize, rawSize, rawOffset;
};

class Image {
 public:
  Image(const ReadAt& read, uint64_t size) : m_Read(read), m_Size(size) {}

  PeImports Parse() {
    PeImports out;
    unsigned char dos[64];
    if (!Read(0, dos, sizeof dos) || dos[0] != 'M' || dos[1] != 'Z') return out;
    uint32_t pe = U32(dos + 0x3C);
    unsigned char head[24];
    if (!Read(pe, head, sizeof head) || memcmp(head, "PE\0\0", 4) != 0) return out;
    out.result = PeImports::kDamaged;
    size_t sections = U16(head + 6);
    size_t optionalSize = U16(head + 20);
    if (sections > kMaxSections) return Fail(out, "too many sections");
    std::vector<unsigned char> optional(optionalSize);
    if (optionalSize < 2 || !Read(pe + 24, optional.data(), optionalSize)) return Fail(out, "no optional header");
    uint32_t magic = U16(optional.data());
    size_t countAt, dirsAt;
    if (magic == 0x10B) {
      countAt = 92, dirsAt = 96;
      m_ImageBase = optionalSize >= 32 ? U32(&optional[28]) : 0;
    } else if (magic == 0x20B) {
      countAt = 108, dirsAt = 112;
      m_ImageBase = optionalSize >= 32 ? U64(&optional[24]) : 0;
    } else {
      return Fail(out, "unknown optional header");
    }
    if (optionalSize < countAt + 4) return Fail(out, "no data directories");
    size_t directories = U32(&optional[countAt]);
    m_HeadersSize = optionalSize >= 64 ? U32(&optional[60]) : 0;
    auto directory = [&](size_t index) -> uint32_t {
      size_t at = dirsAt + index * 8;
      return index < directories && at + 8 <= optionalSize ? U32(&optional[at]) : 0;
    };
    for (size_t i = 0; i < sections; ++i) {
      unsigned char s[40];
      if (!Read(pe + 24 + optionalSize + i * 40, s, sizeof s)) return Fail(out, "section table cut short");
      m_Sections.push_back(Section{U32(s + 12), U32(s + 8), U32(s + 16), U32(s + 20)});
    }
    out.result = PeImports::kImports;
    if (uint32_t rva = directory(1)) Descriptors(rva, 20, 12, false, out);
    if (out.result == PeImports::kImports)
      if (uint32_t rva = directory(13)) Descriptors(rva, 32, 4, true, out);
    return out;
  }

 private:
  static PeImports& Fail(PeImports& out, const char* problem) {
    out.result = PeImports::kDamaged;
    out.problem = problem;
    return out;
  }

  bool Read(uint64_t offset, void* buffer, size_t size) {
    if (offset > m_Size || size > m_Size - offset) return false;
    return m_Read(offset, buffer, size);
  }

  // The file offset of a relative virtual address, or false when no section holds it.
  bool Offset(uint64_t rva, uint64_t* offset) {
    for (const Section& s : m_Sections) {
      uint64_t extent = s.virtualSize ? s.virtualSize : s.rawSize;
      if (rva >= s.address && rva < s.address + extent) {
        uint64_t into = rva - s.address;
        if (into >= s.rawSize) return false;  // in the part the loader fills with zeros
        *offset = s.rawOffset + into;
        return true;
      }
    }
    if (rva < m_HeadersSize) {
      *offset = rva;
      return true;
    }
    return false;
  }

  // A table of descriptors of `size` bytes whose DLL name is at `nameAt`, ended by one
  // whose name is 0. Old delay-load descriptors (attribute bit 0 clear) hold virtual
  // addresses instead of relative ones.
  void Descriptors(uint32_t rva, size_t size, size_t nameAt, bool delayLoad, PeImports& out) {
    for (size_t i = 0; i < kMaxDescriptors; ++i) {
      unsigned char d[32];
      uint64_t at;
      if (!Offset(rva + i * size, &at) || !Read(at, d, size)) {
        Fail(out, delayLoad ? "delay-load table cut short" : "import table cut short");
        return;
      }
      uint64_t name = U32(d + nameAt);
      if (name == 0) return;
      if (delayLoad && !(U32(d) & 1)) name -= m_ImageBase;
      std::string text;
      if (!Name(name, &text)) {
        Fail(out, "an imported DLL's name is unreadable");
        return;
      }
      bool known = false;
      for (const std::string& n : out.names) known = known || EqualNoCase(n, text);
      if (!known) out.names.push_back(text);
    }
    Fail(out, "the table does not end");
  }

  bool Name(uint64_t rva, std::string* text) {
    uint64_t at;
    if (!Offset(rva, &at)) return false;
    unsigned char c;
    while (text->size() < kMaxNameLength && Read(at + text->size(), &c, 1)) {
      if (c == 0) return !text->empty();
      if (c < 0x20 || c == '\\' || c == '/') return false;
      *text += static_cast<char>(c);
    }
    return false;
  }

  const ReadAt& m_Read;
  uint64_t m_Size;
  uint64_t m_ImageBase = 0;
  uint32_t m_HeadersSize = 0;
  std::vector<Section> m_Sections;
};

}  // namespace

PeImports ReadPeImports(const ReadAt& read, uint64_t fileSize) { return Image(read, fileSize).Parse(); }

PeImports ReadPeImportsFromMemory(const void* image, size_t size) {
  const unsigned char* bytes = static_cast<const unsigned char*>(image);
  return ReadPeImports(
      [&](uint64_t offset, void* buffer, size_t n) {
        memcpy(buffer, bytes + offset, n);
        return true;
      },
      size);
}

PeImports ReadPeImportsFromFile(const std::string& path) {
  PeImports none;
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return none;
  // Files beyond 2 GB are left alone: fseek takes a long.
  if (fseek(f, 0, SEEK_END) != 0) {
    fclose(f);
    return none;
  }
  long size = ftell(f);
  PeImports out;
  if (size > 0)
    out = ReadPeImports(
        [&](uint64_t offset, void* buffer, size_t n) {
          return fseek(f, static_cast<long>(offset), SEEK_SET) == 0 && fread(buffer, 1, n, f) == n;
        },
        static_cast<uint64_t>(size));
  fclose(f);
  return out;
}

bool MayHaveImports(const std::string& path) {
  static const char* const kExtensions[] = {"EXE", "DLL", "OCX", "CPL", "SCR", "SYS", "DRV", "COM"};
  std::string ext = UpperExtension(path);
  for (const char* e : kExtensions)
    if (ext == e) return true;
  return false;
}

}  // namespace vkp
