// listpack: turns a protected-list text into the payload of its resource (the text's
// length as 4 bytes little-endian, then the text as a raw deflate stream), or back.
//   listpack pack   list.txt list.bin
//   listpack unpack list.bin list.txt
// Built for the build machine, with its zlib: the Windows build runs it to make the
// list resources it embeds.
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace {

bool ReadAll(const char* path, std::vector<unsigned char>& data) {
  FILE* f = fopen(path, "rb");
  if (!f) return false;
  unsigned char chunk[65536];
  size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) data.insert(data.end(), chunk, chunk + n);
  bool ok = !ferror(f);
  fclose(f);
  return ok;
}

bool WriteAll(const char* path, const std::vector<unsigned char>& data) {
  FILE* f = fopen(path, "wb");
  if (!f) return false;
  bool ok = data.empty() || fwrite(data.data(), 1, data.size(), f) == data.size();
  return fclose(f) == 0 && ok;
}

bool Pack(const std::vector<unsigned char>& text, std::vector<unsigned char>& payload) {
  if (text.size() > 0x7FFFFFF0u) return false;
  uint32_t length = static_cast<uint32_t>(text.size());
  z_stream s;
  memset(&s, 0, sizeof s);
  // Raw deflate: negative window bits, no header or trailer.
  if (deflateInit2(&s, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY) != Z_OK) return false;
  payload.assign(4 + deflateBound(&s, length), 0);
  for (int i = 0; i < 4; ++i) payload[i] = static_cast<unsigned char>(length >> (8 * i));
  s.next_in = const_cast<Bytef*>(text.data());
  s.avail_in = length;
  s.next_out = payload.data() + 4;
  s.avail_out = static_cast<uInt>(payload.size() - 4);
  int rc = deflate(&s, Z_FINISH);
  payload.resize(4 + s.total_out);
  deflateEnd(&s);
  return rc == Z_STREAM_END;
}

bool Unpack(const std::vector<unsigned char>& payload, std::vector<unsigned char>& text) {
  if (payload.size() < 4) return false;
  uint32_t length = payload[0] | payload[1] << 8 | payload[2] << 16 | static_cast<uint32_t>(payload[3]) << 24;
  text.assign(length, 0);
  z_stream s;
  memset(&s, 0, sizeof s);
  if (inflateInit2(&s, -MAX_WBITS) != Z_OK) return false;
  s.next_in = const_cast<Bytef*>(payload.data() + 4);
  s.avail_in = static_cast<uInt>(payload.size() - 4);
  unsigned char none;
  s.next_out = length ? text.data() : &none;
  s.avail_out = length;
  int rc = inflate(&s, Z_FINISH);
  inflateEnd(&s);
  return rc == Z_STREAM_END && s.total_out == length;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 || (strcmp(argv[1], "pack") != 0 && strcmp(argv[1], "unpack") != 0)) {
    fprintf(stderr, "usage: listpack pack|unpack input output\n");
    return 2;
  }
  std::vector<unsigned char> in, out;
  if (!ReadAll(argv[2], in)) {
    fprintf(stderr, "listpack: cannot read %s\n", argv[2]);
    return 1;
  }
  bool ok = strcmp(argv[1], "pack") == 0 ? Pack(in, out) : Unpack(in, out);
  if (!ok) {
    fprintf(stderr, "listpack: %s: %s failed\n", argv[2], argv[1]);
    return 1;
  }
  if (!WriteAll(argv[3], out)) {
    fprintf(stderr, "listpack: cannot write %s\n", argv[3]);
    return 1;
  }
  return 0;
}
