// The list builder's output for this tree's own Wine prefix (made by
// support/list-builder-test.sh, given with --lists=DIR): the exact format of both
// kinds, the same lines from a plain listing of the files and from a regedit export,
// and the round trip of each text through its resource payload, qfpack.dll and the
// loader into a tree that holds every line.
#include <windows.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ListText.h"
#include "support/ListSupport.h"
#include "support/TestOptions.h"

using namespace listtest;
using namespace vkl::protect;

namespace {

std::string ReadBytes(const std::string& name) {
  std::ifstream in(g_ListBuilderDir + "\\" + name, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// The lines of a builder's text, checked: each ends in CR LF, holds no other control
// character, has at most 259 characters and is there once (ignoring case).
std::vector<std::string> CheckedLines(const std::string& name) {
  const std::string text = ReadBytes(name);
  std::vector<std::string> lines = Lines(text);
  EXPECT_TRUE(!text.empty() && text.back() == '\n') << name;
  size_t crlf = 0;
  for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at + 2)) ++crlf;
  EXPECT_EQ(lines.size(), crlf) << name << ": a line without CR LF";
  PathSet seen;
  for (const std::string& line : lines) {
    for (char c : line) EXPECT_GE(static_cast<unsigned char>(c), 32u) << line;
    EXPECT_LE(line.size(), 259u) << line;
    EXPECT_TRUE(line.empty() || seen.insert(line).second) << "listed twice: " << line;
  }
  return lines;
}

// The payload inflated by qfpack.dll into a buffer of its length plus ten, then loaded;
// answers how many of `wanted` the tree holds.
size_t RoundTrip(const std::string& text, const std::string& payloadName, ListKind kind,
                 const std::vector<std::string>& wanted) {
  const std::string payload = ReadBytes(payloadName);
  Decompressor qfpack(ModuleDir(nullptr) + "qfpack.dll");
  if (payload.size() < 4 || !qfpack.fn) return 0;
  std::vector<char> buffer(PayloadLength(reinterpret_cast<const unsigned char*>(payload.data())) + kOutputSlack, 0);
  if (qfpack.fn(payload.data() + 4, static_cast<int>(payload.size() - 4), buffer.data(), static_cast<int>(buffer.size())) !=
          static_cast<int>(text.size()) || text != buffer.data())
    return 0;
  ListDirectories dirs;
  SetListDirectories(dirs, WindowsDir().c_str(), SystemDir().c_str());
  ProtectedNode tree;
  LoadListText(&tree, buffer.data(), kind, dirs);
  size_t found = 0;
  for (const std::string& p : wanted) found += FindProtectedPath(&tree, p.c_str(), nullptr);
  return found;
}

}  // namespace

TEST(ListBuilder, FileListFormatAndRoundTrip) {
  if (g_ListBuilderDir.empty()) GTEST_SKIP() << "run by the protect_list_builder test, with --lists=DIR";
  const std::vector<std::string> lines = CheckedLines("files.txt");
  ASSERT_GT(lines.size(), 300u);
  std::vector<std::string> paths;
  for (const std::string& line : lines) {
    paths.push_back(ExpandedPath(line));
    EXPECT_FALSE(paths.back().empty()) << "no variable: " << line;
  }
  PathSet all(lines.begin(), lines.end());
  EXPECT_TRUE(all.count("%WindowsDir%\\win.ini") && all.count("%SystemDir%\\kernel32.dll"));
  EXPECT_TRUE(ReadBytes("files-listing.txt") == ReadBytes("files.txt"));
  EXPECT_EQ(paths.size(), RoundTrip(ReadBytes("files.txt"), "files.bin", kFileList, paths));
}

TEST(ListBuilder, RegistryListFormatAndRoundTrip) {
  if (g_ListBuilderDir.empty()) GTEST_SKIP() << "run by the protect_list_builder test, with --lists=DIR";
  const std::vector<std::string> lines = CheckedLines("regs.txt");
  ASSERT_GT(lines.size(), 1000u);
  std::set<std::string> earlier;
  std::string root = "HKLM";
  std::vector<std::string> stored;
  for (const std::string& line : lines) {
    if (line.empty()) {
      EXPECT_EQ("HKLM", root) << "a second empty line";
      root = "HKCU";
      continue;
    }
    EXPECT_EQ(root + "\\", line.substr(0, 5)) << line;
    const std::string parent = line.substr(0, line.rfind('\\'));
    EXPECT_TRUE(parent == root || earlier.count(parent)) << "ancestor not listed before: " << line;
    earlier.insert(line);
    stored.push_back(line + "\r");
  }
  EXPECT_EQ("HKCU", root) << "no empty line between the blocks";
  EXPECT_EQ(stored.size(), RoundTrip(ReadBytes("regs.txt"), "regs.bin", kKeyList, stored));

  const std::vector<std::string> part = CheckedLines("regs-export.txt");
  ASSERT_GT(part.size(), 10u);
  EXPECT_EQ("HKLM\\Software", part.front());
  EXPECT_EQ("", part.back());  // no HKCU block: the list ends with its separating line
  for (const std::string& line : part) EXPECT_TRUE(earlier.count(line) || line.empty()) << "not in the hives: " << line;
}
