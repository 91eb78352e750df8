# The product: VKLinkDB.dll for 32-bit Windows, its tests, the example client and the
# benchmarks, all run under Wine from this tree's bin/ folder.
set(BIN ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${BIN})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${BIN})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

add_compile_options(-Wall -Wextra -Wno-unused-parameter)

find_package(ZLIB REQUIRED)

file(GLOB_RECURSE UTILS_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/Utils/*.cpp)
file(GLOB PROTECT_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/Protect/*.cpp ${CMAKE_SOURCE_DIR}/Protect/*.rc)
list(FILTER PROTECT_SOURCES EXCLUDE REGEX "Posix\\.cpp$")

add_library(VKLinkDB SHARED
  ${LINKDB_SOURCES}
  ${CMAKE_SOURCE_DIR}/LinkDB/PlatformWin32.cpp
  ${CMAKE_SOURCE_DIR}/LinkDB/DllMain.cpp
  ${UTILS_SOURCES} ${PROTECT_SOURCES})
set_target_properties(VKLinkDB PROPERTIES PREFIX "" OUTPUT_NAME VKLinkDB)
target_include_directories(VKLinkDB PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/Include>
                                          $<BUILD_INTERFACE:${VKL_GENERATED_INCLUDE}>
                                   PRIVATE ${CMAKE_SOURCE_DIR}/LinkDB)
target_compile_definitions(VKLinkDB PRIVATE VKLINKDB_BUILD)
# ole32: the shell's link object (COM) for shortcuts.
target_link_libraries(VKLinkDB PRIVATE ZLIB::ZLIB ole32)

# The shared runtime goes beside the DLL. Its unwinder library is named for the
# exception model of the target: DWARF-2 on i686, SEH on x86_64.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(VKL_LIBGCC_DLL libgcc_s_seh-1.dll)
else()
  set(VKL_LIBGCC_DLL libgcc_s_dw2-1.dll)
endif()
# The shared runtime goes beside the DLL: with a static runtime an exception thrown
# inside the DLL would terminate the client instead of reaching its catch.
set(RUNTIME_DLLS)
foreach(dll ${VKL_LIBGCC_DLL} libstdc++-6.dll libwinpthread-1.dll zlib1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                  OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${path}" OR NOT EXISTS "${path}")
    find_file(path_${dll} ${dll} PATHS /usr/${TOOLCHAIN_PREFIX}/lib /usr/${TOOLCHAIN_PREFIX}/bin NO_DEFAULT_PATH)
    set(path ${path_${dll}})
  endif()
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "runtime DLL ${dll} not found")
  endif()
  list(APPEND RUNTIME_DLLS ${path})
endforeach()
file(COPY ${RUNTIME_DLLS} DESTINATION ${BIN})

# Wine: one prefix for the whole tree, started once per test run. The 64-bit flavour
# runs under 64-bit Wine's own loader in a 64-bit prefix, so that it needs nothing that
# executes 32-bit code.
set(VKL_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(VKL_WINEARCH win64)
  set(loader wine64)
else()
  set(VKL_WINEARCH win32)
  set(loader wine)
endif()
# The loader itself, not a wrapper script: Wine starts its helper processes with it.
find_program(VKL_WINE_LOADER NAMES ${loader} PATHS /usr/lib/wine /usr/lib/wine-stable /opt/wine-stable/bin
             NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_program(VKL_WINE_LOADER NAMES ${loader} NO_CMAKE_FIND_ROOT_PATH)
if(NOT VKL_WINE_LOADER)
  message(WARNING "no ${VKL_WINEARCH} Wine found: the tests of this tree cannot run")
  set(VKL_WINE_LOADER wine)
endif()
configure_file(cmake/wine-run.sh.in ${CMAKE_BINARY_DIR}/wine-run.sh @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
configure_file(cmake/wine-release.sh.in ${CMAKE_BINARY_DIR}/wine-release.sh @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
configure_file(cmake/wineserver.sh.in ${CMAKE_BINARY_DIR}/wineserver.sh @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_BINARY_DIR}/wine-run.sh)
add_test(NAME wine_start COMMAND ${CMAKE_BINARY_DIR}/wineserver.sh -p)
add_test(NAME wine_stop COMMAND ${CMAKE_BINARY_DIR}/wineserver.sh -k)
set_tests_properties(wine_start PROPERTIES FIXTURES_SETUP wine)
set_tests_properties(wine_stop PROPERTIES FIXTURES_CLEANUP wine)

function(vkl_wine_test name)
  add_test(NAME ${name} COMMAND ${name} ${ARGN})
  set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine WORKING_DIRECTORY ${BIN} TIMEOUT 900)
endfunction()

# A test program once more, as a copy named <program>_<release>.exe that Wine presents
# as that Windows release (a per-program AppDefaults key set when the prefix starts),
# running the tests whose names match the filter. Works alike in 32- and 64-bit Wine.
function(vkl_release_run program release filter)
  set(copy ${program}_${release})
  add_custom_command(TARGET ${program} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${program}> ${BIN}/${copy}.exe)
  add_test(NAME wine_${copy}_release
    COMMAND ${CMAKE_BINARY_DIR}/wine-release.sh ${copy}.exe ${release})
  # Its own fixture: a failure here skips only this copy's tests.
  set_tests_properties(wine_${copy}_release PROPERTIES FIXTURES_REQUIRED wine FIXTURES_SETUP ${copy})
  add_test(NAME ${copy} COMMAND ${CMAKE_BINARY_DIR}/wine-run.sh ${copy}.exe --gtest_filter=${filter})
  set_tests_properties(${copy} PROPERTIES FIXTURES_REQUIRED "wine;${copy}" WORKING_DIRECTORY ${BIN} TIMEOUT 900)
endfunction()

# The stateless helpers under test are compiled into the test program as well, since
# the DLL does not export them.
file(GLOB LINKDB_WIN32_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/linkdb/*Win32.cpp)
# The platform layer too: the tests reach the database mutex through it.
add_executable(linkdb_tests ${LINKDB_TESTS} ${LINKDB_WIN32_TESTS}
  ${CMAKE_SOURCE_DIR}/LinkDB/PathSplit.cpp ${CMAKE_SOURCE_DIR}/LinkDB/Wildcard.cpp
  ${CMAKE_SOURCE_DIR}/LinkDB/PlatformWin32.cpp)
target_include_directories(linkdb_tests PRIVATE ${CMAKE_SOURCE_DIR}/LinkDB)
target_link_libraries(linkdb_tests PRIVATE VKLinkDB gtest_main)
vkl_wine_test(linkdb_tests)
# What differs between the 95 line and the NT line, under Windows 98: among others the
# store's files are replaced without MoveFileEx there.
vkl_release_run(linkdb_tests win98 *Resolve*:*Wildcard*:ReleaseProbe.*:StoreTest.*:*Store*)

# A second process on a store folder, and the writer the crash test kills.
add_executable(store_helper ${CMAKE_SOURCE_DIR}/tests/crash/StoreHelper.cpp)
target_include_directories(store_helper PRIVATE ${CMAKE_SOURCE_DIR}/tests/crash)
target_link_libraries(store_helper PRIVATE VKLinkDB)
add_dependencies(linkdb_tests store_helper)
add_executable(crash_test ${CMAKE_SOURCE_DIR}/tests/crash/CrashTest.cpp ${CMAKE_SOURCE_DIR}/tests/linkdb/ChildProcess.cpp)
target_include_directories(crash_test PRIVATE ${CMAKE_SOURCE_DIR}/tests/crash ${CMAKE_SOURCE_DIR}/tests/linkdb)
target_link_libraries(crash_test PRIVATE VKLinkDB)
add_dependencies(crash_test store_helper)
# The short run (docs/testing.md gives the long one).
vkl_wine_test(crash_test crash-store 6 20000 400 1)
# A full disk, as a file-size limit on the Wine process: writing past it fails (EFBIG,
# with SIGXFSZ ignored), as it does when a disk fills up.
add_test(NAME linkdb_tests_full_disk
  COMMAND sh -c "trap '' XFSZ; VKL_FILE_SIZE_LIMIT=1048576 exec prlimit --fsize=1048576 ${CMAKE_BINARY_DIR}/wine-run.sh linkdb_tests.exe --gtest_filter=*FullDisk*")
set_tests_properties(linkdb_tests_full_disk PROPERTIES FIXTURES_REQUIRED wine WORKING_DIRECTORY ${BIN} TIMEOUT 900
                     FAIL_REGULAR_EXPRESSION "SKIPPED|FAILED")

file(GLOB UTILS_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/utils/*.cpp)
if(UTILS_TESTS)
  add_executable(utils_tests ${UTILS_TESTS})
  # The release mapping of the probe is tested on its own, from Protect/.
  target_include_directories(utils_tests PRIVATE ${CMAKE_SOURCE_DIR}/Protect)
  target_link_libraries(utils_tests PRIVATE VKLinkDB gtest_main ole32 uuid)
  vkl_wine_test(utils_tests)
  # The Windows Installer package of the shortcut tests, built with wixl (msitools) when
  # the tests start; the tests install it with msiexec and remove it again. Every file
  # of the package (the installed program and the icons) is one small payload.
  find_program(VKL_WIXL wixl)
  if(NOT VKL_WIXL)
    set(VKL_WIXL wixl)  # the fixture fails and says so
  endif()
  file(WRITE ${BIN}/packages/payload.bin "VKLinkDB link test payload\r\n")
  # wixl takes source files relative to where it runs.
  add_test(NAME msi_packages COMMAND ${VKL_WIXL} -D Payload=payload.bin -o VKLinkDBLinkTest.msi
           ${CMAKE_SOURCE_DIR}/tests/utils/packages/LinkTest.wxs)
  set_tests_properties(msi_packages PROPERTIES FIXTURES_SETUP msi WORKING_DIRECTORY ${BIN}/packages)
  set_tests_properties(utils_tests PROPERTIES FIXTURES_REQUIRED "wine;msi")
  # The shortcut tests once more with MSI.DLL disabled: only the shell object is left.
  add_test(NAME utils_tests_nomsi COMMAND ${CMAKE_BINARY_DIR}/wine-run.sh utils_tests.exe
           --gtest_filter=LinksWithoutInstaller.*)
  set_tests_properties(utils_tests_nomsi PROPERTIES FIXTURES_REQUIRED wine WORKING_DIRECTORY ${BIN}
                       ENVIRONMENT "WINEDLLOVERRIDES=mscoree,mshtml=\;winedbg.exe=d\;msi=d" TIMEOUT 300)
  # The release probe under every emulated release, each copy printing what it saw;
  # the 95-line and NT-line behaviour of the registry, of file I/O (overlapped mode),
  # of raw disk access, of the tree work and of shortcuts under Windows 98 and XP.
  foreach(release win95 winme nt351 nt40 win2k win7)
    vkl_release_run(utils_tests ${release} ReleaseProbe.*)
  endforeach()
  foreach(release win98 winxp)
    vkl_release_run(utils_tests ${release} ReleaseProbe.*:Registry.*:DiskIo.*:RawDisk.*:Tree.*:KeyTree.*:Links.*)
    set_tests_properties(utils_tests_${release} PROPERTIES FIXTURES_REQUIRED "wine;msi;utils_tests_${release}")
  endforeach()
endif()

# A client built only from the published signatures, with no header of ours.
add_executable(signature_client ${CMAKE_SOURCE_DIR}/tests/client/SignatureClient.cpp)
target_link_libraries(signature_client PRIVATE VKLinkDB)
vkl_wine_test(signature_client)

add_executable(example_client ${CMAKE_SOURCE_DIR}/examples/ExampleClient.cpp)
target_link_libraries(example_client PRIVATE VKLinkDB)

file(GLOB BENCH_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/bench/*_bench.cpp)
foreach(src ${BENCH_SOURCES})
  get_filename_component(name ${src} NAME_WE)
  add_executable(${name} ${src})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/bench)
  target_link_libraries(${name} PRIVATE VKLinkDB psapi)
endforeach()
# The path rules on plain strings, beside the class that applies them.
target_sources(paths_bench PRIVATE ${CMAKE_SOURCE_DIR}/Utils/System/PathText.cpp)
target_include_directories(paths_bench PRIVATE ${CMAKE_SOURCE_DIR}/Utils/System)
# The shell's link object, called directly beside ResolveLinkFile.
target_link_libraries(tree_bench PRIVATE ole32 uuid)

# The protected lists: qfpack.dll, the list resources, their tests and benchmark.
include(${CMAKE_SOURCE_DIR}/cmake/ProtectWindows.cmake)
