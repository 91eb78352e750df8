// The component trees and the reading of list texts (platform-neutral): insertion
// results, the lookup with its marking of a reached ancestor, the expansion of file
// lines, the final empty line made from the reused buffer, registry lines kept with
// their CR, and where the reading stops.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ListText.h"

using namespace vkl::protect;

namespace {

int Ask(ProtectedNode& tree, const std::string& path) { return FindProtectedPath(&tree, path.c_str(), nullptr); }

ListDirectories Dirs() {
  ListDirectories dirs;
  SetListDirectories(dirs, "C:\\WINDOWS", "C:\\WINDOWS\\SYSTEM32");
  return dirs;
}

}  // namespace

TEST(ProtectedTree, InsertionAnswersWhetherTheLineWasListedAlready) {
  const struct {
    const char* text;
    int result;
  } steps[] = {{"A\\B\\C", kInserted}, {"a\\b\\c", kAlreadyListed}, {"\\\\A\\\\B\\C\\", kAlreadyListed},
               {"A\\B", kInserted},    {"A\\B", kAlreadyListed},   {"", kInserted},
               {"\\\\", kAlreadyListed}, {nullptr, kBadPath}};
  ProtectedNode tree;
  for (const auto& s : steps) EXPECT_EQ(s.result, InsertProtectedPath(&tree, s.text, 7)) << (s.text ? s.text : "null");
  EXPECT_EQ(kInserted, InsertProtectedPath(&tree, std::string(259, 'x').c_str(), 9));
  EXPECT_EQ(kPathTooLong, InsertProtectedPath(&tree, std::string(260, 'y').c_str(), 0));
  EXPECT_EQ(4u, CountNodes(tree));
  // A value pointer receives the value given when the node was made, and marks nothing.
  uint32_t value = 1;
  EXPECT_EQ(1, FindProtectedPath(&tree, std::string(259, 'X').c_str(), &value));
  EXPECT_EQ(9u, value);
  EXPECT_EQ(0, FindProtectedPath(&tree, "A\\X", &value));
  EXPECT_EQ(0u, value);
}

TEST(ProtectedTree, OnlyListedPathsAnswerOneAndAReachedAncestorIsMarked) {
  ProtectedNode tree;
  InsertProtectedPath(&tree, "C:\\WINDOWS\\system32\\kernel32.dll", 0);
  InsertProtectedPath(&tree, "C:\\WINDOWS\\win.ini", 0);
  uint32_t value = 5;
  EXPECT_EQ(1, FindProtectedPath(&tree, "C:\\WINDOWS", &value));  // reached, not marked
  const struct {
    std::string path;
    int first, second;
  } cases[] = {
      {"c:\\windows\\SYSTEM32\\KERNEL32.DLL", 1, 1}, {"C:\\\\WINDOWS\\\\win.ini\\", 1, 1},
      {"C:\\WINDOWS\\win.ini\\more", 0, 0},         {"C:\\WINDOWS\\win", 0, 0},
      {"D:\\WINDOWS\\win.ini", 0, 0},               {"C:\\WINDOWS", 0, 1},
      {"\\C:\\windows\\System32\\", 0, 1},          {"", 0, 1},
      {std::string(260, 'C'), 0, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.first, Ask(tree, c.path)) << c.path;
    EXPECT_EQ(c.second, Ask(tree, c.path)) << c.path << " asked again";
  }
  ProtectedNode empty;
  EXPECT_EQ(0, Ask(empty, "C:\\WINDOWS\\win.ini"));
  EXPECT_EQ(0, FindProtectedPath(&tree, nullptr, nullptr));
}

TEST(ListText, FileLinesExpandIntoFullPaths) {
  const ListDirectories dirs = Dirs();
  EXPECT_STREQ("C:\\WINDOWS\\", dirs.windowsDir);
  EXPECT_EQ(1, dirs.systemInWindows);
  const struct {
    const char* line;
    const char* path;
  } cases[] = {
      {"%WindowsDir%\\control.ini", "C:\\WINDOWS\\control.ini"},
      {"%windowsdir%\\Foo.ini\r", "C:\\WINDOWS\\Foo.ini"},
      {"%SystemDir%\\midimap.cfg", "C:\\WINDOWS\\SYSTEM32\\midimap.cfg"},
      {"123456789012abc.dll", "C:\\WINDOWS\\SYSTEM32\\abc.dll"},  // any 12 characters go
      {"%WindowsDir%\\caf\xe9", "C:\\WINDOWS\\caf"},               // so do 128..255 at the end
      {"%WindowsDir%\\caf\xe9.ini", "C:\\WINDOWS\\caf\xe9.ini"},
      {"%WindowsDir%\\a \t\x01", "C:\\WINDOWS\\a "},
  };
  std::vector<char> line(kLineBufferSize, 0);
  for (const auto& c : cases) {
    std::fill(line.begin(), line.end(), 0);
    strcpy(line.data(), c.line);
    ExpandFileLine(line.data(), dirs);
    EXPECT_STREQ(c.path, line.data()) << c.line;
  }
  // The System directory is longer than its variable: the result is cut to the buffer.
  std::string full = "%SystemDir%\\" + std::string(kLineBufferSize - 13, 'x');
  strcpy(line.data(), full.c_str());
  ExpandFileLine(line.data(), dirs);
  EXPECT_EQ(kLineBufferSize - 1, strlen(line.data()));
}

TEST(ListText, TheLastReadAddsALineAndRegistryLinesKeepTheirCR) {
  ProtectedNode files, keys;
  EXPECT_EQ(3u, LoadListText(&files, "%WindowsDir%\\win.ini\r\n%SystemDir%\\kernel32.dll\r\n", kFileList, Dirs()));
  // The final read leaves the last expanded line in the buffer behind a new NUL; it is
  // expanded with the System directory from its 13th byte on.
  for (const char* path : {"C:\\WINDOWS\\win.ini", "C:\\WINDOWS\\SYSTEM32\\kernel32.dll",
                           "C:\\WINDOWS\\SYSTEM32\\YSTEM32\\kernel32.dll"})
    EXPECT_EQ(1, Ask(files, path)) << path;
  EXPECT_EQ(7u, CountNodes(files));

  const char* text = "HKLM\\SYSTEM\r\nHKLM\\SYSTEM\\CurrentControlSet\r\nHKLM\\SYSTEM\\CurrentControlSet\\Services\r\n"
                     "\r\nHKCU\\Software\r\n";
  EXPECT_EQ(6u, LoadListText(&keys, text, kKeyList, Dirs()));
  const struct {
    const char* key;
    int first, second;
  } cases[] = {
      {"HKLM\\SYSTEM\\CurrentControlSet\\Services", 0, 0},  // a leaf, stored with its CR
      {"HKLM\\SYSTEM\\CurrentControlSet\\Services\r", 1, 1}, {"HKLM\\SYSTEM\\CurrentControlSet", 0, 1},
      {"HKCU\\Software", 0, 0}, {"\r", 1, 1},  // the separating line
      {"", 1, 1},                              // the final empty line: the root
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.first, Ask(keys, c.key)) << c.key;
    EXPECT_EQ(c.second, Ask(keys, c.key)) << c.key;
  }
}

TEST(ListText, ReadingEndsAtTheFirstNulOrAfterALineLongerThanTheBuffer) {
  const struct {
    std::string text;
    size_t lines;
    int nextRead;
  } cases[] = {
      {std::string(kLineBufferSize - 1, 'a') + "\nHKLM\\Next\n", 3, 1},
      {std::string(kLineBufferSize, 'a') + "\nHKLM\\Next\n", 1, 0},
      {"HKLM\\A\r\nHKLM\\Next", 3, 1},  // the last line may lack its LF
      {std::string("HKLM\\A\r\n\0HKLM\\Next\r\n", 20), 2, 0},
      {"", 1, 0},
  };
  for (const auto& c : cases) {
    ProtectedNode tree;
    uint32_t value;
    EXPECT_EQ(c.lines, LoadListText(&tree, c.text.c_str(), kKeyList, Dirs())) << c.text.size();
    EXPECT_EQ(c.nextRead, FindProtectedPath(&tree, "HKLM\\Next", &value)) << c.text.size();
  }
}
