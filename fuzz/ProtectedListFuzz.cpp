// libFuzzer target for the protected lists: the input is a list's text, any bytes. It
// is read as a file list and as a registry list into fresh trees; the number of lines
// read must follow the reading rules, every registry line read that is short enough
// must be in its tree (and inserting it again must find it listed), and every line is
// then looked up, with and without a value, as
// given and expanded.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "ListText.h"

using namespace vkl::protect;

namespace {

// The lines the reading takes from a zero-terminated text: every LF-ended line, a last
// line without LF, and the final empty read; a line that overflows the buffer ends it.
std::vector<std::string> LinesRead(const char* text, size_t* reads) {
  std::vector<std::string> lines;
  *reads = 0;
  const char* p = text;
  for (;;) {
    const char* lf = strchr(p, '\n');
    size_t length = lf ? static_cast<size_t>(lf - p) : strlen(p);
    ++*reads;
    if (length >= kLineBufferSize) return lines;
    if (!lf) {
      if (length != 0) {
        lines.emplace_back(p, length);
        ++*reads;
      }
      lines.emplace_back();
      return lines;
    }
    lines.emplace_back(p, length);
    p = lf + 1;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  const char* text = input.c_str();
  ListDirectories dirs;
  SetListDirectories(dirs, "C:\\WINDOWS", "C:\\WINDOWS\\system32");

  ProtectedNode files, keys;
  size_t reads = 0;
  std::vector<std::string> lines = LinesRead(text, &reads);
  if (LoadListText(&files, text, kFileList, dirs) != reads) abort();
  if (LoadListText(&keys, text, kKeyList, dirs) != reads) abort();

  std::vector<char> buffer(kLineBufferSize, 0);
  for (const std::string& line : lines) {
    uint32_t value = 1;
    unsigned char found = FindProtectedPath(&keys, line.c_str(), &value);
    if ((line.size() < kWorkBufferSize && !found) || value != 0) abort();
    FindProtectedPath(&keys, line.c_str(), nullptr);
    FindProtectedPath(&files, line.c_str(), nullptr);
    memcpy(buffer.data(), line.c_str(), line.size() + 1);
    ExpandFileLine(buffer.data(), dirs);
    FindProtectedPath(&files, buffer.data(), &value);
    FindProtectedPath(&files, buffer.data(), nullptr);
    // Every line read is listed already.
    if (line.size() < kWorkBufferSize && InsertProtectedPath(&keys, line.c_str(), 0) != kAlreadyListed) abort();
  }
  return 0;
}
