# Native Linux build of the platform-neutral link database: the same tests under
# AddressSanitizer and UndefinedBehaviorSanitizer, a libFuzzer target on the store
# loader (with clang), and the benchmark.
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
           COMMAND $<TARGET_FILE:store_loader_fuzz> -max_total_time=30 -timeout=20 -seed=1 -print_final_stats=1
                   ${CMAKE_BINARY_DIR}/fuzz-corpus ${CMAKE_SOURCE_DIR}/fuzz/seeds)
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
