# Native Linux build of the platform-neutral link database and protected-path trees:
# the same tests under AddressSanitizer and UndefinedBehaviorSanitizer, libFuzzer
# targets on the store loader and on the protected lists (with clang), and the
# benchmarks.
option(VKL_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" ON)
add_compile_options(-Wall -Wextra -Wno-unused-parameter)
if(VKL_SANITIZE)
  # Arena pieces lie back to back without padding, by design, so records, index nodes
  # and small link arrays sit at odd addresses: the alignment check is left out.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=alignment -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# With clang, the library is built with the fuzzer's coverage counters, so that the
# fuzzer is guided by the loader's and the queries' branches, not only its own.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

add_library(linkdb_core STATIC ${LINKDB_SOURCES} ${CMAKE_SOURCE_DIR}/LinkDB/PlatformPosix.cpp)
target_include_directories(linkdb_core PUBLIC ${CMAKE_SOURCE_DIR}/Include ${CMAKE_SOURCE_DIR}/LinkDB)
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
target_link_libraries(linkdb_core PUBLIC Threads::Threads ZLIB::ZLIB)

add_executable(linkdb_tests ${LINKDB_TESTS})
target_link_libraries(linkdb_tests PRIVATE linkdb_core gtest_main)
add_test(NAME linkdb_tests COMMAND linkdb_tests)

# A second process on a store folder, and the writer the crash test kills; the short
# crash run (docs/testing.md gives the long one).
add_executable(store_helper ${CMAKE_SOURCE_DIR}/tests/crash/StoreHelper.cpp)
target_include_directories(store_helper PRIVATE ${CMAKE_SOURCE_DIR}/tests/crash)
target_link_libraries(store_helper PRIVATE linkdb_core)
add_dependencies(linkdb_tests store_helper)
add_executable(crash_test ${CMAKE_SOURCE_DIR}/tests/crash/CrashTest.cpp ${CMAKE_SOURCE_DIR}/tests/linkdb/ChildProcess.cpp)
target_include_directories(crash_test PRIVATE ${CMAKE_SOURCE_DIR}/tests/crash ${CMAKE_SOURCE_DIR}/tests/linkdb)
target_link_libraries(crash_test PRIVATE linkdb_core)
add_dependencies(crash_test store_helper)
add_test(NAME crash_test COMMAND crash_test ${CMAKE_BINARY_DIR}/crash-store 10 20000 400 1)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_executable(store_loader_fuzz ${CMAKE_SOURCE_DIR}/fuzz/StoreLoaderFuzz.cpp)
  target_compile_options(store_loader_fuzz PRIVATE -fsanitize=fuzzer)
  target_link_options(store_loader_fuzz PRIVATE -fsanitize=fuzzer)
  target_link_libraries(store_loader_fuzz PRIVATE linkdb_core)
  # A bounded run in every test pass, growing a corpus in the build tree from the
  # committed seeds; longer runs by hand (see docs/testing.md).
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz-corpus)
  add_test(NAME store_loader_fuzz
           COMMAND $<TARGET_FILE:store_loader_fuzz> -max_total_time=20 -timeout=20 -seed=1 -print_final_stats=1
                   ${CMAKE_BINARY_DIR}/fuzz-corpus ${CMAKE_SOURCE_DIR}/fuzz/seeds)
endif()

# The protected-path trees and the reading of list texts, with the ASCII component order
# of the native seam.
add_library(protect_core STATIC ${CMAKE_SOURCE_DIR}/Protect/ProtectedTree.cpp ${CMAKE_SOURCE_DIR}/Protect/ListText.cpp
                                ${CMAKE_SOURCE_DIR}/Protect/ComponentOrderPosix.cpp)
target_include_directories(protect_core PUBLIC ${CMAKE_SOURCE_DIR}/Protect ${CMAKE_SOURCE_DIR}/Include)
file(GLOB PROTECT_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/protect/*.cpp)
list(FILTER PROTECT_TESTS EXCLUDE REGEX "Win32\\.cpp$")
add_executable(protect_tests ${PROTECT_TESTS})
target_link_libraries(protect_tests PRIVATE protect_core gtest Threads::Threads)
add_test(NAME protect_tests COMMAND protect_tests)

# listpack: the resource payloads of the lists (the Windows build makes its own).
find_package(ZLIB REQUIRED)
add_executable(listpack ${CMAKE_SOURCE_DIR}/tools/listpack.cpp)
target_link_libraries(listpack PRIVATE ZLIB::ZLIB)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_executable(protected_list_fuzz ${CMAKE_SOURCE_DIR}/fuzz/ProtectedListFuzz.cpp)
  target_compile_options(protected_list_fuzz PRIVATE -fsanitize=fuzzer)
  target_link_options(protected_list_fuzz PRIVATE -fsanitize=fuzzer)
  target_link_libraries(protected_list_fuzz PRIVATE protect_core)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz-corpus-lists)
  add_test(NAME protected_list_fuzz
           COMMAND $<TARGET_FILE:protected_list_fuzz> -max_total_time=15 -timeout=20 -seed=1 -print_final_stats=1
                   ${CMAKE_BINARY_DIR}/fuzz-corpus-lists ${CMAKE_SOURCE_DIR}/fuzz/list-seeds)
endif()

file(GLOB BENCH_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/bench/linkdb*_bench.cpp)
# SQLite is what the scale benchmark compares against; only the benchmark uses it.
find_package(SQLite3 QUIET)
foreach(src ${BENCH_SOURCES})
  get_filename_component(name ${src} NAME_WE)
  add_executable(${name} ${src})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/bench)
  target_link_libraries(${name} PRIVATE linkdb_core)
  if(SQLite3_FOUND AND name STREQUAL "linkdb_scale_bench")
    target_compile_definitions(${name} PRIVATE VKL_WITH_SQLITE)
    target_link_libraries(${name} PRIVATE SQLite::SQLite3)
  endif()
endforeach()

# The protected trees loaded from the shipped NT lists, and lookups in them.
add_executable(protect_tree_bench ${CMAKE_SOURCE_DIR}/bench/protect_tree_bench.cpp)
target_link_libraries(protect_tree_bench PRIVATE protect_core ZLIB::ZLIB)
target_compile_definitions(protect_tree_bench PRIVATE VKL_LIST_DIR="${CMAKE_SOURCE_DIR}/Protect/lists")
