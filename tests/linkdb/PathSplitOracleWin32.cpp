// Our path splitter against the run-time library's own _splitpath, over generated
// paths built from drives, both separators, dots and names.
#include <stdlib.h>
#include <random>
#include <string>
#include <gtest/gtest.h>
#include "PathSplit.h"

TEST(PathSplitOracle, AgreesWithTheRuntimeSplitpath) {
  const char* pieces[] = {"C:", "c:", "\\", "/", ".", "..", "a", "bc", "x.y", "name.ext", ":", " ", "Z:", "\\\\",
                          "dir", ".txt", "~1"};
  const int n = sizeof(pieces) / sizeof(pieces[0]);
  std::mt19937 rng(4242);
  int compared = 0;
  for (int round = 0; round < 50000; ++round) {
    std::string path;
    int parts = rng() % 7;
    for (int i = 0; i < parts; ++i) path += pieces[rng() % n];
    if (path.size() >= 200) continue;
    char d[_MAX_DRIVE], p[_MAX_DIR], f[_MAX_FNAME], e[_MAX_EXT];
    _splitpath(path.c_str(), d, p, f, e);
    char d2[256], p2[256], f2[256], e2[256];
    vkl::SplitPath(path.c_str(), d2, p2, f2, e2);
    ASSERT_STREQ(d, d2) << path;
    ASSERT_STREQ(p, p2) << path;
    ASSERT_STREQ(f, f2) << path;
    ASSERT_STREQ(e, e2) << path;
    ++compared;
  }
  EXPECT_GT(compared, 40000);
}
