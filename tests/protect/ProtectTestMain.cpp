// Entry of the protected-list test program: gtest's flags, then the program's own.
#include <gtest/gtest.h>

#include <cstring>

#include "support/TestOptions.h"

std::string g_ListBuilderDir;
bool g_ExpectEmptyLists = false;

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--lists=", 8) == 0) g_ListBuilderDir = argv[i] + 8;
    if (std::strcmp(argv[i], "--expect-empty") == 0) g_ExpectEmptyLists = true;
  }
  int result = RUN_ALL_TESTS();
  // A run given one of the program's own options is there to run certain tests: when
  // its filter matched none, it has shown nothing.
  if ((g_ExpectEmptyLists || !g_ListBuilderDir.empty()) && testing::UnitTest::GetInstance()->test_to_run_count() == 0)
    return 1;
  return result;
}
