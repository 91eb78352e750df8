// The list builder's output for this tree's own Wine prefix (made by
// support/list-builder-test.sh, given with --lists=DIR): the exact line format of both
// kinds, the round trip of each text through its resource payload, qfpack.dll and the
// loader into a tree that holds every line, and the same lines from a plain listing of
// the files and from a regedit export.
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

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class ListBuilder : public testing::Test {
 protected:
  void SetUp() override {
    if (g_ListBuilderDir.empty()) GTEST_SKIP() << "run by the protect_list_builder test, with --lists=DIR";
    m_Dir = g_ListBuilderDir + "\\";
  }

  // Every line ends in CR LF, holds no other control character, is at most 259
  // characters long and is listed once (ignoring case); the lines without their ends.
  std::vector<std::string> CheckedLines(const std::string& name) {
    const std::string text = ReadBytes(m_Dir + name);
    EXPECT_FALSE(text.empty()) << name;
    std::vector<std::string> lines;
    PathSet seen;
    size_t start = 0;
    while (start < text.size()) {
      size_t lf = text.find('\n', start);
      EXPECT_NE(std::string::npos, lf) << name << ": the last line has no LF";
      if (lf == std::string::npos) break;
      EXPECT_TRUE(lf > start && text[lf - 1] == '\r') << name << ": line " << lines.size() + 1 << " lacks its CR";
      std::string line = text.substr(start, lf - start - 1);
      for (char c : line) EXPECT_GE(static_cast<unsigned char>(c), 32u) << name << ": " << line;
      EXPECT_LE(line.size(), 259u) << line;
      if (!line.empty()) {
        EXPECT_TRUE(seen.insert(line).second) << name << ": listed twice: " << line;
      }
      lines.push_back(line);
      start = lf + 1;
    }
    return lines;
  }

  // The payload inflated by qfpack.dll into a buffer of its length plus ten, as the
  // library does; empty when that fails.
  std::string ThroughQfPack(const std::string& payloadName) {
    std::string payload = ReadBytes(m_Dir + payloadName);
    if (payload.size() < 4) return std::string();
    const unsigned char* p = reinterpret_cast<const unsigned char*>(payload.data());
    std::vector<char> buffer(PayloadLength(p) + kOutputSlack, 0);
    HMODULE module = LoadLibraryA((ModuleDir(nullptr) + "qfpack.dll").c_str());
    typedef int(__cdecl * Fn)(const void*, int, void*, int);
    Fn fn = module ? reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, "QfUnCompress"))) : 0;
    int n = fn ? fn(p + 4, static_cast<int>(payload.size() - 4), buffer.data(), static_cast<int>(buffer.size())) : 0;
    if (module) FreeLibrary(module);
    return n > 0 ? std::string(buffer.data(), n) : std::string();
  }

  std::string m_Dir;
};

}  // namespace

TEST_F(ListBuilder, TheFileListNamesEveryFileUnderAVariable) {
  std::vector<std::string> lines = CheckedLines("files.txt");
  ASSERT_GT(lines.size(), 300u);
  PathSet all(lines.begin(), lines.end());
  for (const std::string& line : lines)
    EXPECT_TRUE(line.compare(0, 13, "%WindowsDir%\\") == 0 || line.compare(0, 12, "%SystemDir%\\") == 0) << line;
  EXPECT_TRUE(all.count("%WindowsDir%\\win.ini") && all.count("%SystemDir%\\kernel32.dll"));

  std::string text = ThroughQfPack("files.bin");
  ASSERT_EQ(ReadBytes(m_Dir + "files.txt"), text);
  ListDirectories dirs;
  SetListDirectories(dirs, WindowsDir().c_str(), SystemDir().c_str());
  ProtectedNode tree;
  EXPECT_EQ(lines.size() + 1, LoadListText(&tree, text.c_str(), kFileList, dirs));
  size_t missing = 0;
  for (const std::string& line : lines) missing += FindProtectedPath(&tree, ExpandedPath(line).c_str(), nullptr) != 1;
  EXPECT_EQ(0u, missing);
}

TEST_F(ListBuilder, TheRegistryListPutsAncestorsFirstAndTheBlocksApart) {
  std::vector<std::string> lines = CheckedLines("regs.txt");
  ASSERT_GT(lines.size(), 1000u);
  size_t blanks = 0;
  std::set<std::string> earlier;
  std::string root = "HKLM";
  for (const std::string& line : lines) {
    if (line.empty()) {
      ++blanks;
      root = "HKCU";
      continue;
    }
    EXPECT_EQ(root + "\\", line.substr(0, 5)) << line;
    std::string parent = line.substr(0, line.rfind('\\'));
    if (parent != root) {
      EXPECT_TRUE(earlier.count(parent)) << "ancestor not listed before: " << line;
    }
    earlier.insert(line);
  }
  EXPECT_EQ(1u, blanks);

  std::string text = ThroughQfPack("regs.bin");
  ASSERT_EQ(ReadBytes(m_Dir + "regs.txt"), text);
  ProtectedNode tree;
  EXPECT_EQ(lines.size() + 1, LoadListText(&tree, text.c_str(), kKeyList, ListDirectories()));
  size_t missing = 0;
  for (const std::string& line : lines) missing += FindProtectedPath(&tree, (line + "\r").c_str(), nullptr) != 1;
  EXPECT_EQ(0u, missing);
}

TEST_F(ListBuilder, AListingAndAnExportGiveTheSameLines) {
  EXPECT_TRUE(ReadBytes(m_Dir + "files-listing.txt") == ReadBytes(m_Dir + "files.txt"));
  std::vector<std::string> whole = CheckedLines("regs.txt"), part = CheckedLines("regs-export.txt");
  std::set<std::string> all(whole.begin(), whole.end());
  ASSERT_GT(part.size(), 10u);
  EXPECT_EQ("HKLM\\Software", part.front());
  EXPECT_EQ("", part.back());  // no HKCU block: the list ends with its separating line
  for (const std::string& line : part) EXPECT_TRUE(all.count(line)) << "not in the hive's list: " << line;
}
