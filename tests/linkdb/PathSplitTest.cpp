// Path splitting by the run-time library's rule (the Windows build also checks it
// against the real _splitpath, see PathSplitOracleWin32.cpp).
#include <string>
#include <gtest/gtest.h>
#include "PathSplit.h"

namespace {
std::string Parts(const char* path) {
  char d[64], p[64], f[64], e[64];
  vkl::SplitPath(path, d, p, f, e);
  return std::string(d) + "|" + p + "|" + f + "|" + e;
}
}  // namespace

TEST(PathSplit, SplitsDriveDirectoryNameAndExtension) {
  EXPECT_EQ("C:|\\WINDOWS\\|NOTEPAD|.EXE", Parts("C:\\WINDOWS\\NOTEPAD.EXE"));
  EXPECT_EQ("C:|\\a/b/|c.d|.e", Parts("C:\\a/b/c.d.e"));
  EXPECT_EQ("C:|||", Parts("C:"));
  EXPECT_EQ("C:|\\||", Parts("C:\\"));
  EXPECT_EQ("|dir\\||.profile", Parts("dir\\.profile"));
  EXPECT_EQ("|a.b\\|c|", Parts("a.b\\c"));
  EXPECT_EQ("C:||x|.y", Parts("C:x.y"));
  EXPECT_EQ("|\\\\server\\share\\|f|", Parts("\\\\server\\share\\f"));
  EXPECT_EQ("|||", Parts(""));
  EXPECT_EQ("||x|", Parts("x"));
  EXPECT_EQ("|:\\|x|", Parts(":\\x"));
}
