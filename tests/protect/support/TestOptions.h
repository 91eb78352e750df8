// Options of the protected-list test program beyond gtest's own:
//   --lists=DIR      the list builder's output to check (ListBuilder tests)
//   --expect-empty   the lists must not have loaded (a copy run without a working
//                    qfpack.dll beside its library)
#ifndef VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_
#define VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_

#include <string>

extern std::string g_ListBuilderDir;
extern bool g_ExpectEmptyLists;

#endif  // VKLINKDB_TESTS_PROTECT_TEST_OPTIONS_H_
