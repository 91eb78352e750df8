# The protected system paths in the Windows build: the decompression module qfpack.dll
# beside VKLinkDB.dll, the ten list resources made from Protect/lists/*.txt by a host
# tool and embedded in the DLL, the tests under every emulated release and the
# benchmark. Included by WindowsBuild.cmake once the DLL and the test helpers exist.

target_sources(VKLinkDB PRIVATE ${CMAKE_SOURCE_DIR}/LinkDB/ObjectProtectionWin32.cpp)
target_include_directories(VKLinkDB PRIVATE ${CMAKE_SOURCE_DIR}/Protect)
target_link_libraries(VKLinkDB PRIVATE ole32)

# qfpack.dll: zlib linked in, so that the module needs nothing beside it but the system.
find_library(VKL_ZLIB_STATIC NAMES libz.a)
if(NOT VKL_ZLIB_STATIC)
  set(VKL_ZLIB_STATIC ZLIB::ZLIB)
endif()
add_library(qfpack SHARED ${CMAKE_SOURCE_DIR}/Protect/qfpack/QfPack.c)
set_target_properties(qfpack PROPERTIES PREFIX "" OUTPUT_NAME qfpack)
target_include_directories(qfpack PRIVATE ${ZLIB_INCLUDE_DIRS})
target_link_libraries(qfpack PRIVATE ${VKL_ZLIB_STATIC})
target_link_options(qfpack PRIVATE -static-libgcc)
add_dependencies(VKLinkDB qfpack)

# listpack, built for the build machine with its own compiler and zlib (a cross build
# cannot run what it builds for Windows).
find_program(VKL_HOST_CXX NAMES c++ g++ clang++ NO_CMAKE_FIND_ROOT_PATH)
if(NOT VKL_HOST_CXX)
  message(FATAL_ERROR "no C++ compiler for the build machine: listpack cannot be built")
endif()
set(VKL_LISTPACK ${CMAKE_BINARY_DIR}/host/listpack)
add_custom_command(OUTPUT ${VKL_LISTPACK}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/host
  COMMAND ${VKL_HOST_CXX} -O2 -std=c++17 -o ${VKL_LISTPACK} ${CMAKE_SOURCE_DIR}/tools/listpack.cpp -lz
  DEPENDS ${CMAKE_SOURCE_DIR}/tools/listpack.cpp
  COMMENT "Building listpack for the build machine")

# The ten resources, remade when their list text changes; the resource script names
# each by id and by its type name as a string.
set(VKL_LIST_RESOURCES WIN_FILES:101 WIN_FILES:102 WIN_FILES:103 WIN_FILES:104 WIN_FILES:105
                       WIN_REGS:110 WIN_REGS:111 WIN_REGS:112 WIN_REGS:113 WIN_REGS:114)
set(VKL_LIST_DIR ${CMAKE_BINARY_DIR}/lists)
set(payloads)
set(script "// The protected lists: generated from Protect/lists by the build.\n")
foreach(entry ${VKL_LIST_RESOURCES})
  string(REPLACE ":" ";" parts ${entry})
  list(GET parts 0 type)
  list(GET parts 1 id)
  set(text ${CMAKE_SOURCE_DIR}/Protect/lists/${type}_${id}.txt)
  set(payload ${VKL_LIST_DIR}/${type}_${id}.bin)
  add_custom_command(OUTPUT ${payload}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${VKL_LIST_DIR}
    COMMAND ${VKL_LISTPACK} pack ${text} ${payload}
    DEPENDS ${VKL_LISTPACK} ${text}
    COMMENT "Packing ${type} ${id}")
  list(APPEND payloads ${payload})
  string(APPEND script "${id} ${type} \"${payload}\"\n")
endforeach()
file(CONFIGURE OUTPUT ${VKL_LIST_DIR}/ProtectedLists.rc CONTENT "${script}")
target_sources(VKLinkDB PRIVATE ${VKL_LIST_DIR}/ProtectedLists.rc)
set_source_files_properties(${VKL_LIST_DIR}/ProtectedLists.rc PROPERTIES OBJECT_DEPENDS "${payloads}")

# ---- tests ------------------------------------------------------------------------------
# One program: the tree and list-text rules (compiled in, platform-neutral, shared with
# the native build), qfpack.dll itself, and through the DLL the lists chosen for the
# release, the matching rules and the failure cases (copies of the DLL in folders of
# their own, with qfpack.dll missing, without its export, or failing).
set(PROTECT_CORE ${CMAKE_SOURCE_DIR}/Protect/ProtectedTree.cpp ${CMAKE_SOURCE_DIR}/Protect/ListText.cpp
                 ${CMAKE_SOURCE_DIR}/Protect/ComponentOrderWin32.cpp)
file(GLOB PROTECT_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/protect/*.cpp)
add_executable(protect_tests ${PROTECT_TESTS} ${PROTECT_CORE})
target_include_directories(protect_tests PRIVATE ${CMAKE_SOURCE_DIR}/Protect ${CMAKE_SOURCE_DIR}/LinkDB)
target_link_libraries(protect_tests PRIVATE VKLinkDB gtest ZLIB::ZLIB)

# A stand-in qfpack.dll whose QfUnCompress fills the buffer with a list and fails.
add_library(qfpack_failing SHARED ${CMAKE_SOURCE_DIR}/tests/protect/support/FailingQfPack.c)
set_target_properties(qfpack_failing PROPERTIES PREFIX "")
target_link_options(qfpack_failing PRIVATE -static-libgcc)
add_dependencies(protect_tests qfpack_failing qfpack)

# Under Wine's default release (newer than XP: no lists) everything but the rules that
# need a list; under every release the choice of lists and the failure cases; under one
# release of each line the matching rules.
vkl_wine_test(protect_tests --gtest_filter=-ProtectedMatching.*:ListBuilder.*)
foreach(release win95 winme nt40 win2k win7)
  vkl_release_run(protect_tests ${release} ReleaseProbe.*:ProtectedRelease.*)
endforeach()
foreach(release win98 winxp)
  vkl_release_run(protect_tests ${release} ReleaseProbe.*:ProtectedRelease.*:ProtectedMatching.*)
endforeach()
target_sources(protect_tests PRIVATE ${CMAKE_SOURCE_DIR}/tests/linkdb/ReleaseProbeWin32.cpp)
# The copies run beside a copy of the library are hard links to this folder's files,
# which cannot be deleted while the program that made them has them mapped: what the
# runs leave is removed after the last of them.
add_test(NAME protect_scratch_cleanup COMMAND bash -c "rm -rf protect_*_[0-9]*")
set_tests_properties(protect_scratch_cleanup PROPERTIES FIXTURES_CLEANUP protect_scratch WORKING_DIRECTORY ${BIN})
set_tests_properties(protect_tests PROPERTIES FIXTURES_REQUIRED "wine;protect_scratch")
foreach(release win95 winme nt40 win2k win7 win98 winxp)
  set_tests_properties(protect_tests_${release} PROPERTIES
                       FIXTURES_REQUIRED "wine;protect_scratch;protect_tests_${release}")
endforeach()

# The list builder on this tree's own prefix: its output's format, and the round trip
# through listpack, qfpack.dll and the loader.
find_program(VKL_PYTHON NAMES python3 NO_CMAKE_FIND_ROOT_PATH)
if(VKL_PYTHON)
  add_test(NAME protect_list_builder
           COMMAND bash ${CMAKE_SOURCE_DIR}/tests/protect/support/list-builder-test.sh
                   ${VKL_PYTHON} ${CMAKE_SOURCE_DIR}/tools/protlists.py ${VKL_LISTPACK} ${VKL_WINEPREFIX}
                   ${CMAKE_BINARY_DIR}/wine-run.sh)
  set_tests_properties(protect_list_builder PROPERTIES FIXTURES_REQUIRED wine WORKING_DIRECTORY ${BIN} TIMEOUT 900)
endif()

# ---- benchmarks ---------------------------------------------------------------------------
# protect_bench (picked up with the others) times the DLL; protect_tree_bench the trees
# alone, with the run-time library's component order.
target_sources(protect_tree_bench PRIVATE ${PROTECT_CORE})
target_include_directories(protect_tree_bench PRIVATE ${CMAKE_SOURCE_DIR}/Protect)
target_link_libraries(protect_tree_bench PRIVATE ZLIB::ZLIB)
target_compile_definitions(protect_tree_bench PRIVATE VKL_LIST_DIR="${CMAKE_SOURCE_DIR}/Protect/lists")
add_dependencies(protect_bench qfpack)
target_include_directories(protect_bench PRIVATE ${CMAKE_SOURCE_DIR}/tests/protect)
target_link_libraries(protect_bench PRIVATE ZLIB::ZLIB)
