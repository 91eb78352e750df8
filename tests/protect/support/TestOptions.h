// The test program's own options: --lists=DIR, the list builder's output to check;
// --expect-empty, the lists must not have loaded (a copy run beside no working
// qfpack.dll).
#ifndef VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_
#define VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_

#include <string>

extern std::string g_ListBuilderDir;
extern bool g_ExpectEmptyLists;

#endif  // VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_
