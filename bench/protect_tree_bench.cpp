// The protected trees without the DLL: inflating and loading the shipped lists of the
// NT line (WIN_FILES 101 and WIN_REGS 110, the largest pair) into their trees, and
// lookups in the loaded trees: listed files, paths one component below them (not
// listed), and registry keys through their clean ancestors.
#include <stdio.h>
#include <string.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ListText.h"

using namespace vkl::protect;
using Clock = std::chrono::steady_clock;

namespace {

#ifndef VKL_LIST_DIR
#define VKL_LIST_DIR "Protect/lists"
#endif

std::string ReadText(const char* name) {
  std::ifstream in(std::string(VKL_LIST_DIR) + "/" + name, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<unsigned char> Deflate(const std::string& text) {
  z_stream s;
  memset(&s, 0, sizeof s);
  deflateInit2(&s, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
  std::vector<unsigned char> out(deflateBound(&s, text.size()));
  s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  s.avail_in = static_cast<uInt>(text.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  deflate(&s, Z_FINISH);
  out.resize(s.total_out);
  deflateEnd(&s);
  return out;
}

void Inflate(const std::vector<unsigned char>& in, std::vector<char>& out) {
  z_stream s;
  memset(&s, 0, sizeof s);
  inflateInit2(&s, -MAX_WBITS);
  s.next_in = const_cast<Bytef*>(in.data());
  s.avail_in = static_cast<uInt>(in.size());
  s.next_out = reinterpret_cast<Bytef*>(out.data());
  s.avail_out = static_cast<uInt>(out.size());
  inflate(&s, Z_FINISH);
  inflateEnd(&s);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// Lookups per second over `paths`, repeated for at least a second.
double LookupRate(ProtectedNode& tree, const std::vector<std::string>& paths, size_t* hits) {
  size_t done = 0;
  *hits = 0;
  Clock::time_point start = Clock::now();
  do {
    for (const std::string& p : paths) *hits += FindProtectedPath(&tree, p.c_str(), nullptr);
    done += paths.size();
  } while (Seconds(Clock::now() - start) < 1.0);
  return done / Seconds(Clock::now() - start);
}

}  // namespace

int main() {
  const std::string fileText = ReadText("WIN_FILES_101.txt"), keyText = ReadText("WIN_REGS_110.txt");
  if (fileText.empty() || keyText.empty()) {
    fprintf(stderr, "protect_tree_bench: lists not found under %s\n", VKL_LIST_DIR);
    return 1;
  }
  const std::vector<unsigned char> filePayload = Deflate(fileText), keyPayload = Deflate(keyText);
  ListDirectories dirs;
  SetListDirectories(dirs, "C:\\WINDOWS", "C:\\WINDOWS\\system32");

  double best = 1e9;
  for (int round = 0; round < 5; ++round) {
    Clock::time_point start = Clock::now();
    ProtectedNode files, keys;
    std::vector<char> text(fileText.size() + kOutputSlack, 0);
    Inflate(filePayload, text);
    LoadListText(&files, text.data(), kFileList, dirs);
    text.assign(keyText.size() + kOutputSlack, 0);
    Inflate(keyPayload, text);
    LoadListText(&keys, text.data(), kKeyList, dirs);
    best = std::min(best, Seconds(Clock::now() - start));
  }
  printf("load of the NT pair (%zu + %zu bytes of text, %zu + %zu compressed): %.1f ms (best of 5)\n",
         fileText.size(), keyText.size(), filePayload.size(), keyPayload.size(), best * 1e3);

  ProtectedNode files, keys;
  LoadListText(&files, fileText.c_str(), kFileList, dirs);
  LoadListText(&keys, keyText.c_str(), kKeyList, dirs);
  printf("trees: %zu file nodes, %zu key nodes\n", CountNodes(files), CountNodes(keys));

  std::vector<std::string> listed, below, keyAncestors;
  std::vector<char> line(kLineBufferSize);
  for (const std::string& l : Lines(fileText)) {
    std::fill(line.begin(), line.end(), 0);
    std::copy(l.begin(), l.end(), line.begin());
    ExpandFileLine(line.data(), dirs);
    listed.push_back(line.data());
    below.push_back(std::string(line.data()) + "\\more");
  }
  for (const std::string& l : Lines(keyText)) keyAncestors.push_back(l.substr(0, l.rfind('\\')));
  size_t hits;
  double rate = LookupRate(files, listed, &hits);
  printf("IsProtectedPath-style lookups, listed files: %.0f per second (%zu hits)\n", rate, hits);
  rate = LookupRate(files, below, &hits);
  printf("lookups one component below a listed file: %.0f per second (%zu hits)\n", rate, hits);
  rate = LookupRate(keys, keyAncestors, &hits);
  printf("registry lookups of listed keys' parents: %.0f per second (%zu hits)\n", rate, hits);
  return 0;
}
