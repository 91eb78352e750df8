// qfpack.dll: raw deflate in, the byte count out; anything else answers 0 or less.
#include <windows.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/ListSupport.h"

namespace {

std::vector<unsigned char> Deflate(const std::string& text, int windowBits) {
  z_stream s;
  std::memset(&s, 0, sizeof s);
  deflateInit2(&s, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY);
  std::vector<unsigned char> out(deflateBound(&s, text.size()) + 16);
  s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  s.avail_in = static_cast<uInt>(text.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  deflate(&s, Z_FINISH);
  out.resize(s.total_out);
  deflateEnd(&s);
  return out;
}

}  // namespace

TEST(QfPack, InflatesRawDeflateAndRefusesEverythingElse) {
  listtest::Decompressor qfpack(listtest::ModuleDir(nullptr) + "qfpack.dll");
  ASSERT_TRUE(qfpack.fn);
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "HKLM\\SOFTWARE\\Classes\\CLSID\\{" + std::to_string(i * 7919) + "}\r\n";
  const std::vector<unsigned char> raw = Deflate(text, -MAX_WBITS), wrapped = Deflate(text, MAX_WBITS),
                                   empty = Deflate("", -MAX_WBITS), junk(64, 0xFF);
  const int size = static_cast<int>(text.size());
  const struct {
    const char* what;
    const std::vector<unsigned char>& in;
    size_t count;
    int capacity, result;
  } cases[] = {
      {"ten bytes to spare", raw, raw.size(), size + 10, size}, {"exact room", raw, raw.size(), size, size},
      {"one byte short", raw, raw.size(), size - 1, -3},        {"truncated", raw, raw.size() / 2, size + 10, -4},
      {"zlib header", wrapped, wrapped.size(), size + 10, -4},  {"not deflate", junk, junk.size(), size + 10, -4},
      {"empty stream", empty, empty.size(), 10, 0},             {"no room", raw, raw.size(), 0, -1},
      {"negative count", raw, static_cast<size_t>(-1), 10, -1},
  };
  for (const auto& c : cases) {
    std::vector<char> out(size + 10, 0);
    EXPECT_EQ(c.result, qfpack.fn(c.in.data(), static_cast<int>(c.count), out.data(), c.capacity)) << c.what;
    if (c.result > 0) {
      EXPECT_EQ(text, std::string(out.data(), c.result)) << c.what;
    }
  }
  char buffer[16];
  EXPECT_EQ(-1, qfpack.fn(nullptr, 4, buffer, sizeof buffer));
  EXPECT_EQ(-1, qfpack.fn(raw.data(), 4, nullptr, 16));
}
