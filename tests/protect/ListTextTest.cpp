// A list's text into its tree: the directories, the expansion of file lines, the line
// reading with its final empty line and reused buffer, and registry lines kept with
// their CR.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ListText.h"

using namespace vkl::protect;

namespace {

ListDirectories Directories(const char* windowsDir = "C:\\WINDOWS", const char* systemDir = "C:\\WINDOWS\\SYSTEM32") {
  ListDirectories dirs;
  SetListDirectories(dirs, windowsDir, systemDir);
  return dirs;
}

std::string Expanded(const std::string& text, const ListDirectories& dirs) {
  std::vector<char> line(kLineBufferSize, 0);
  std::copy(text.begin(), text.end(), line.begin());
  ExpandFileLine(line.data(), dirs);
  return line.data();
}

int Ask(ProtectedNode& tree, const std::string& path) { return FindProtectedPath(&tree, path.c_str(), nullptr); }
int Reaches(ProtectedNode& tree, const std::string& path) {
  uint32_t value;
  return FindProtectedPath(&tree, path.c_str(), &value);
}

}  // namespace

TEST(ListText, DirectoriesEndInOneBackslash) {
  const struct {
    const char* given;
    const char* kept;
  } cases[] = {{"C:\\WINDOWS", "C:\\WINDOWS\\"}, {"C:\\", "C:\\"}, {"", ""}, {nullptr, ""}};
  for (const auto& c : cases) {
    ListDirectories dirs;
    SetListDirectories(dirs, c.given, c.given);
    EXPECT_STREQ(c.kept, dirs.windowsDir);
    EXPECT_EQ(std::strlen(c.kept), dirs.systemLength);
  }
  EXPECT_EQ(1, Directories().systemInWindows);
  EXPECT_EQ(1, Directories("c:\\windows", "C:\\WINDOWS\\SYSTEM").systemInWindows);
  EXPECT_EQ(0, Directories("C:\\WINNT", "D:\\SYSTEM32").systemInWindows);
}

TEST(ListText, FileLinesExpandIntoFullPaths) {
  const ListDirectories dirs = Directories();
  const struct {
    const char* line;
    const char* path;
  } cases[] = {
      {"%WindowsDir%\\control.ini", "C:\\WINDOWS\\control.ini"},
      {"%windowsdir%\\Foo.ini", "C:\\WINDOWS\\Foo.ini"},
      {"%SystemDir%\\midimap.cfg", "C:\\WINDOWS\\SYSTEM32\\midimap.cfg"},
      {"%WindowsDir%\\CatRoot\\MSCREATE.DIR\r", "C:\\WINDOWS\\CatRoot\\MSCREATE.DIR"},
      {"%systemdir%\\x.dll", "C:\\WINDOWS\\SYSTEM32\\x.dll"},     // any 12 characters go
      {"123456789012abc.dll", "C:\\WINDOWS\\SYSTEM32\\abc.dll"},
      {"%WindowsDir%\\caf\xe9", "C:\\WINDOWS\\caf"},              // 128..255 at the end go too
      {"%WindowsDir%\\caf\xe9.ini", "C:\\WINDOWS\\caf\xe9.ini"},
      {"%WindowsDir%\\a \t\x01\r", "C:\\WINDOWS\\a "},           // a blank is not below 32
  };
  for (const auto& c : cases) EXPECT_EQ(c.path, Expanded(c.line, dirs)) << c.line;
  // The System directory is longer than its variable: the result is cut to the buffer.
  std::string full = "%SystemDir%\\" + std::string(kLineBufferSize - 1 - 12, 'x');
  EXPECT_EQ(kLineBufferSize - 1, Expanded(full, dirs).size());
}

TEST(ListText, AFileListEndsWithAnExtraLineMadeFromTheReusedBuffer) {
  ListDirectories dirs = Directories();
  ProtectedNode tree;
  EXPECT_EQ(3u, LoadListText(&tree, "%WindowsDir%\\win.ini\r\n%SystemDir%\\kernel32.dll\r\n", kFileList, dirs));
  EXPECT_EQ(1, Ask(tree, "C:\\WINDOWS\\win.ini"));
  EXPECT_EQ(1, Ask(tree, "C:\\WINDOWS\\SYSTEM32\\kernel32.dll"));
  // The final read leaves the previous expanded line in the buffer behind a new NUL;
  // the line is expanded with the System directory from its 13th byte on.
  EXPECT_EQ(1, Ask(tree, "C:\\WINDOWS\\SYSTEM32\\YSTEM32\\kernel32.dll"));
  EXPECT_EQ(7u, CountNodes(tree));  // C:, WINDOWS, win.ini, SYSTEM32, kernel32.dll, YSTEM32, kernel32.dll
}

TEST(ListText, RegistryLinesKeepTheirCarriageReturn) {
  ProtectedNode tree;
  const char* text =
      "HKLM\\SYSTEM\r\nHKLM\\SYSTEM\\CurrentControlSet\r\nHKLM\\SYSTEM\\CurrentControlSet\\Services\r\n"
      "\r\nHKCU\\Software\r\n";
  EXPECT_EQ(6u, LoadListText(&tree, text, kKeyList, Directories()));
  const struct {
    const char* key;
    int first, second;
  } cases[] = {
      {"HKLM\\SYSTEM\\CurrentControlSet\\Services", 0, 0},  // a leaf: stored with its CR
      {"HKLM\\SYSTEM\\CurrentControlSet\\Services\r", 1, 1},
      {"HKLM\\SYSTEM\\CurrentControlSet", 0, 1},            // an ancestor of a listed key
      {"HKLM\\SYSTEM\r", 1, 1},
      {"HKCU\\Software", 0, 0},
      {"\r", 1, 1},                                          // the separating line
      {"", 1, 1},                                            // the final empty line: the root
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.first, Ask(tree, c.key)) << c.key;
    EXPECT_EQ(c.second, Ask(tree, c.key)) << c.key;
  }
}

TEST(ListText, ReadingStopsAfterALineLongerThanTheBuffer) {
  const struct {
    size_t length;
    size_t lines;
    int nextIsRead;
  } cases[] = {{kLineBufferSize - 1, 3, 1}, {kLineBufferSize, 1, 0}, {20000, 1, 0}};
  for (const auto& c : cases) {
    ProtectedNode tree;
    std::string text = std::string(c.length, 'a') + "\nHKLM\\Next\n";
    EXPECT_EQ(c.lines, LoadListText(&tree, text.c_str(), kKeyList, Directories())) << c.length;
    EXPECT_EQ(c.nextIsRead, Reaches(tree, "HKLM\\Next")) << c.length;
  }
}

TEST(ListText, TheTextEndsAtItsFirstNulAndMayLackItsLastLineEnd) {
  ProtectedNode tree;
  std::string text("HKLM\\A\r\nHKLM\\B", 14);
  text += std::string("\0HKLM\\C\r\n", 9);
  EXPECT_EQ(3u, LoadListText(&tree, text.c_str(), kKeyList, Directories()));
  EXPECT_EQ(1, Ask(tree, "HKLM\\B"));  // no CR: the last line ends at the end of the text
  EXPECT_EQ(0, Reaches(tree, "HKLM\\C"));
  EXPECT_EQ(1u, LoadListText(&tree, "", kKeyList, Directories()));
  EXPECT_EQ(1u, LoadListText(&tree, nullptr, kFileList, Directories()));
}
