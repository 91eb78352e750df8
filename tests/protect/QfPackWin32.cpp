// qfpack.dll: raw deflate in, the byte count out; anything else answers 0 or less.
// And every list resource of the library inflates through it to the text zlib gives.
#include <windows.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/ListSupport.h"

namespace {

typedef int(__cdecl* QfUnCompressFn)(const void*, int, void*, int);

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

class QfPack : public testing::Test {
 protected:
  void SetUp() override {
    m_hModule = LoadLibraryA((listtest::ModuleDir(nullptr) + "qfpack.dll").c_str());
    ASSERT_NE(nullptr, m_hModule);
    m_pfn = reinterpret_cast<QfUnCompressFn>(reinterpret_cast<void (*)()>(GetProcAddress(m_hModule, "QfUnCompress")));
    ASSERT_NE(nullptr, m_pfn);
  }
  void TearDown() override {
    if (m_hModule) FreeLibrary(m_hModule);
  }
  int UnCompress(const std::vector<unsigned char>& in, size_t inCount, int capacity, std::string* out = nullptr) {
    std::vector<char> buffer(capacity > 0 ? capacity : 1, 0);
    int n = m_pfn(in.data(), static_cast<int>(inCount), buffer.data(), capacity);
    if (out && n > 0) out->assign(buffer.data(), n);
    return n;
  }
  HMODULE m_hModule = nullptr;
  QfUnCompressFn m_pfn = nullptr;
};

}  // namespace

TEST_F(QfPack, InflatesRawDeflateAndRefusesEverythingElse) {
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "HKLM\\SOFTWARE\\Classes\\CLSID\\{" + std::to_string(i * 7919) + "}\r\n";
  const std::vector<unsigned char> raw = Deflate(text, -MAX_WBITS), wrapped = Deflate(text, MAX_WBITS),
                                   empty = Deflate("", -MAX_WBITS), junk(64, 0xFF);
  const int size = static_cast<int>(text.size());
  const struct {
    const char* what;
    const std::vector<unsigned char>* in;
    size_t count;
    int capacity, result;
  } cases[] = {
      {"whole stream, ten bytes to spare", &raw, raw.size(), size + 10, size},
      {"whole stream, exact room", &raw, raw.size(), size, size},
      {"one byte short of room", &raw, raw.size(), size - 1, -3},
      {"truncated stream", &raw, raw.size() / 2, size + 10, -4},
      {"zlib header", &wrapped, wrapped.size(), size + 10, -4},
      {"not deflate at all", &junk, junk.size(), size + 10, -4},
      {"empty stream", &empty, empty.size(), 10, 0},
      {"no room", &raw, raw.size(), 0, -1},
  };
  for (const auto& c : cases) {
    std::string out;
    EXPECT_EQ(c.result, UnCompress(*c.in, c.count, c.capacity, &out)) << c.what;
    if (c.result > 0) {
      EXPECT_EQ(text, out) << c.what;
    }
  }
  char buffer[16];
  EXPECT_EQ(-1, m_pfn(nullptr, 4, buffer, sizeof buffer));
  EXPECT_EQ(-1, m_pfn(raw.data(), 4, nullptr, 16));
  EXPECT_EQ(-1, m_pfn(raw.data(), -1, buffer, sizeof buffer));
}

TEST_F(QfPack, EveryEmbeddedListInflatesToItsText) {
  HMODULE library = GetModuleHandleA("VKLinkDB.dll");
  ASSERT_NE(nullptr, library);
  for (int kind = 0; kind < 2; ++kind) {
    for (int i = 0; i < 5; ++i) {
      int id = kind ? listtest::kKeyIds[i] : listtest::kFileIds[i];
      const char* type = kind ? "WIN_REGS" : "WIN_FILES";
      HRSRC info = FindResourceA(library, MAKEINTRESOURCEA(id), type);
      ASSERT_NE(nullptr, info) << type << " " << id;
      const unsigned char* data = static_cast<const unsigned char*>(LockResource(LoadResource(library, info)));
      DWORD size = SizeofResource(library, info);
      std::string oracle = listtest::InflatePayload(data, size);
      ASSERT_GT(oracle.size(), 1000u) << type << " " << id;
      std::vector<unsigned char> payload(data + 4, data + size);
      std::string out;
      EXPECT_EQ(static_cast<int>(oracle.size()), UnCompress(payload, payload.size(), static_cast<int>(oracle.size()) + 10, &out));
      EXPECT_TRUE(out == oracle) << type << " " << id;
    }
  }
}
