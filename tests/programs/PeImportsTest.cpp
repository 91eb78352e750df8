// The PE import reader on images made here: both image formats, both tables, old-style
// delay-load descriptors, and every cut and many corruptions of a valid image, which must
// never read outside the image (the native build runs this under AddressSanitizer).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "PeImports.h"

namespace {

using vkp::PeImports;

struct Dll {
  std::string name;
  bool delayed;
  bool oldStyle = false;  // delay-load descriptor holding virtual addresses
};

void Put32(std::vector<unsigned char>& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<unsigned char>(v >> (8 * i));
}

// An image with one section at RVA 0x1000 (file offset 0x200) holding the import table,
// the delay-load table and the names.
std::vector<unsigned char> Image(bool pe64, const std::vector<Dll>& dlls) {
  const uint32_t kBase = 0x400000, kSection = 0x1000, kRaw = 0x200;
  const size_t optional = pe64 ? 240 : 224;
  std::vector<unsigned char> b(0x200 + 0x400, 0);
  b[0] = 'M', b[1] = 'Z';
  Put32(b, 0x3C, 0x40);
  memcpy(&b[0x40], "PE\0\0", 4);
  b[0x44] = pe64 ? 0x64 : 0x4C, b[0x45] = pe64 ? 0x86 : 0x01;
  b[0x46] = 1;  // one section
  b[0x54] = static_cast<unsigned char>(optional);
  size_t opt = 0x58;
  b[opt] = 0x0B, b[opt + 1] = pe64 ? 0x02 : 0x01;
  Put32(b, opt + (pe64 ? 24 : 28), kBase);
  Put32(b, opt + 60, 0x200);                // size of headers
  Put32(b, opt + (pe64 ? 108 : 92), 16);    // data directories
  size_t dirs = opt + (pe64 ? 112 : 96);
  size_t imports = 0, delayed = 0;
  for (const Dll& d : dlls) ++(d.delayed ? delayed : imports);
  uint32_t importAt = kSection, delayAt = kSection + 20 * (imports + 1), namesAt = delayAt + 32 * (delayed + 1);
  if (imports) Put32(b, dirs + 8, importAt);
  if (delayed) Put32(b, dirs + 13 * 8, delayAt);
  size_t section = opt + optional;
  memcpy(&b[section], ".idata", 6);
  Put32(b, section + 8, 0x400);
  Put32(b, section + 12, kSection);
  Put32(b, section + 16, 0x400);
  Put32(b, section + 20, kRaw);
  auto file = [&](uint32_t rva) { return kRaw + (rva - kSection); };
  for (const Dll& d : dlls) {
    uint32_t& slot = d.delayed ? delayAt : importAt;
    if (d.delayed) {
      Put32(b, file(slot), d.oldStyle ? 0 : 1);
      Put32(b, file(slot) + 4, d.oldStyle ? kBase + namesAt : namesAt);
      slot += 32;
    } else {
      Put32(b, file(slot) + 12, namesAt);
      slot += 20;
    }
    memcpy(&b[file(namesAt)], d.name.c_str(), d.name.size() + 1);
    namesAt += static_cast<uint32_t>(d.name.size() + 1);
  }
  return b;
}

PeImports Read(const std::vector<unsigned char>& b) { return vkp::ReadPeImportsFromMemory(b.data(), b.size()); }

TEST(PeImports, BothFormatsBothTablesEachNameOnce) {
  std::vector<Dll> dlls = {{"KERNEL32.dll", false}, {"msvcrt.dll", false}, {"kernel32.DLL", false},
                           {"user32.dll", true},    {"old.dll", true, true}};
  for (bool pe64 : {false, true}) {
    PeImports r = Read(Image(pe64, dlls));
    ASSERT_EQ(PeImports::kImports, r.result) << r.problem;
    EXPECT_EQ((std::vector<std::string>{"KERNEL32.dll", "msvcrt.dll", "user32.dll", "old.dll"}), r.names);
  }
  EXPECT_EQ(PeImports::kImports, Read(Image(false, {})).result);
  EXPECT_TRUE(Read(Image(false, {})).names.empty());
}

TEST(PeImports, NotAnImageAndDamagedTables) {
  EXPECT_EQ(PeImports::kNotPe, Read({'M', 'Z'}).result);
  EXPECT_EQ(PeImports::kNotPe, Read(std::vector<unsigned char>(4096, 'x')).result);
  EXPECT_EQ(PeImports::kNotPe, vkp::ReadPeImportsFromFile("no such file.dll").result);

  std::vector<unsigned char> image = Image(false, {{"a.dll", false}});
  Put32(image, 0x200 + 20 * 1 + 12, 0x7FFFFFF0);  // the terminating descriptor now names a DLL nowhere
  EXPECT_EQ(PeImports::kDamaged, Read(image).result);
  image = Image(false, {{"a\x01.dll", false}});
  EXPECT_EQ(PeImports::kDamaged, Read(image).result);
  image = Image(true, {{"a.dll", false}});
  image[0x58 + 108] = 1;  // only the export directory is present: no import table
  EXPECT_TRUE(Read(image).names.empty());
  EXPECT_TRUE(vkp::MayHaveImports("C:\\x\\Y.DLL") && vkp::MayHaveImports("a.exe") && !vkp::MayHaveImports("a.txt") &&
              !vkp::MayHaveImports("dll"));
}

TEST(PeImports, EveryCutAndManyCorruptionsStayInsideTheImage) {
  std::vector<unsigned char> full = Image(false, {{"KERNEL32.dll", false}, {"late.dll", true}});
  for (size_t size = 0; size < full.size(); ++size) {
    std::vector<unsigned char> cut(full.begin(), full.begin() + size);
    PeImports r = Read(cut);
    for (const std::string& name : r.names) EXPECT_TRUE(name == "KERNEL32.dll" || name == "late.dll") << size;
  }
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::vector<unsigned char> bad = Image(round % 2 == 1, {{"KERNEL32.dll", false}, {"late.dll", true}});
    for (int n = 0; n < 4; ++n) bad[random() % 0x2C0] = static_cast<unsigned char>(random());
    Read(bad);  // any answer, no read outside
  }
}

}  // namespace
