# How VKLinkDB is shipped, per Windows flavour: the version resource of the DLL, the
# install tree (`cmake --install`), the CMake package and the pkg-config file in it,
# the release archive (`cpack`), the MSVC-built clients of the 32-bit DLL and the tests
# of all of these. Included after WindowsBuild.cmake, so every target exists by now.
#
#   bin/                 VKLinkDB.dll, qfpack.dll, the MinGW runtime DLLs, the example
#                        client, vkrecord.exe and vkdb.exe
#   lib/                 libVKLinkDB.dll.a (MinGW), VKLinkDB.lib (MSVC format, 32-bit)
#   lib/cmake/VKLinkDB/  the package: imported target VKLinkDB::VKLinkDB
#   lib/pkgconfig/       VKLinkDB.pc
#   include/             the public headers, by their own names
#   share/doc/VKLinkDB/  the interface documents
#   share/VKLinkDB/      the texts of the embedded protected lists, with their licence
#   README.txt           what is in the archive and how to use it
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(VKL_FLAVOUR win64)
  set(VKL_FILE_DESCRIPTION "${PROJECT_DESCRIPTION} (64-bit)")
else()
  set(VKL_FLAVOUR win32)
  set(VKL_FILE_DESCRIPTION "${PROJECT_DESCRIPTION} (32-bit)")
endif()
set(VKL_PACKAGE_DIR ${CMAKE_BINARY_DIR}/package)

# ---- the version resource ----------------------------------------------------------
configure_file(${CMAKE_SOURCE_DIR}/cmake/VKLinkDB.rc.in ${VKL_PACKAGE_DIR}/VKLinkDB.rc @ONLY)
target_sources(VKLinkDB PRIVATE ${VKL_PACKAGE_DIR}/VKLinkDB.rc)
# The image version in the PE header as well (major.minor).
set_target_properties(VKLinkDB PROPERTIES VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
# The UTILS templates need C++17; clients of the link database alone need C++11.
target_compile_features(VKLinkDB INTERFACE cxx_std_17)

# ---- the install tree ------------------------------------------------------------------
# strip stamps the PE header of every copy it writes with the time, unless
# SOURCE_DATE_EPOCH names one: one time for the whole configuration keeps install trees
# and archives made from it byte for byte alike. A SOURCE_DATE_EPOCH given to the
# configuration (a reproducible build) wins.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(VKL_STRIP_EPOCH $ENV{SOURCE_DATE_EPOCH})
else()
  string(TIMESTAMP VKL_STRIP_EPOCH "%s" UTC)
endif()
install(CODE "set(ENV{SOURCE_DATE_EPOCH} ${VKL_STRIP_EPOCH})")
install(TARGETS VKLinkDB EXPORT VKLinkDBTargets
        RUNTIME DESTINATION bin
        ARCHIVE DESTINATION lib
        INCLUDES DESTINATION include)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/Include/ DESTINATION include)
install(FILES ${VKL_GENERATED_INCLUDE}/VKLinkDBVersion.h DESTINATION include)

# The DLLs an application needs beside VKLinkDB.dll: the MinGW runtime it was built
# with, zlib, and qfpack.dll, which the library loads from its own folder.
set(VKL_BESIDE_DLLS ${RUNTIME_DLLS})
if(TARGET qfpack)
  list(APPEND VKL_BESIDE_DLLS $<TARGET_FILE:qfpack>)
endif()
install(PROGRAMS ${VKL_BESIDE_DLLS} DESTINATION bin)
set(VKL_BESIDE_DLL_NAMES)
foreach(dll ${RUNTIME_DLLS})
  get_filename_component(name ${dll} NAME)
  list(APPEND VKL_BESIDE_DLL_NAMES ${name})
endforeach()
if(TARGET qfpack)
  list(APPEND VKL_BESIDE_DLL_NAMES qfpack.dll)
endif()
# `cmake --install --strip` and the archive strip targets themselves; these files are
# copies of prebuilt DLLs (the runtime carries megabytes of debugging information), so
# they are stripped here, in the installed copy.
string(CONFIGURE [[
if(CMAKE_INSTALL_DO_STRIP)
  foreach(dll @VKL_BESIDE_DLL_NAMES@)
    execute_process(COMMAND "@CMAKE_STRIP@" --strip-unneeded "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin/${dll}"
                    RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0)
      message(FATAL_ERROR "cannot strip bin/${dll}")
    endif()
  endforeach()
endif()
]] strip_code @ONLY)
install(CODE "${strip_code}")

# Example and tool programs: the example client, vkrecord (records what an installation
# leaves, plans its removal) and vkdb (inspects a store). The test programs, the
# release-named copies of vkrecord and the example packages stay in the build tree.
foreach(program example_client vkrecord vkdb)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION bin)
  endif()
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/docs/linkdb-api.md ${CMAKE_SOURCE_DIR}/docs/msvc-clients.md
              ${CMAKE_SOURCE_DIR}/docs/store-format.md ${CMAKE_SOURCE_DIR}/docs/system-utils.md
              ${CMAKE_SOURCE_DIR}/docs/paths-and-files.md ${CMAKE_SOURCE_DIR}/docs/protected-lists.md
              ${CMAKE_SOURCE_DIR}/docs/programs.md
        DESTINATION share/doc/VKLinkDB)
# The protected lists embedded in the DLL are derived from Wine and distributed under
# its licence (LGPL 2.1 or later): their texts, the form in which they are edited, and
# the licence go with every copy of the DLL.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/Protect/lists/ DESTINATION share/VKLinkDB/protected-lists)

# ---- the CMake package and the pkg-config file ----------------------------------------
include(CMakePackageConfigHelpers)
install(EXPORT VKLinkDBTargets NAMESPACE VKLinkDB:: DESTINATION lib/cmake/VKLinkDB)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/VKLinkDBConfig.cmake.in
                              ${VKL_PACKAGE_DIR}/VKLinkDBConfig.cmake
                              INSTALL_DESTINATION lib/cmake/VKLinkDB)
# A new major version may change the interface; the check of the pointer size keeps a
# 64-bit project from taking the 32-bit package and the other way round.
write_basic_package_version_file(${VKL_PACKAGE_DIR}/VKLinkDBConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${VKL_PACKAGE_DIR}/VKLinkDBConfig.cmake ${VKL_PACKAGE_DIR}/VKLinkDBConfigVersion.cmake
        DESTINATION lib/cmake/VKLinkDB)
configure_file(${CMAKE_SOURCE_DIR}/cmake/VKLinkDB.pc.in ${VKL_PACKAGE_DIR}/VKLinkDB.pc @ONLY)
install(FILES ${VKL_PACKAGE_DIR}/VKLinkDB.pc DESTINATION lib/pkgconfig)

# ---- MSVC-built clients (32-bit) ------------------------------------------------------
if(VKL_FLAVOUR STREQUAL "win32")
  include(${CMAKE_SOURCE_DIR}/cmake/MsvcClients.cmake)
endif()

# ---- the archive's README and the archive --------------------------------------------
if(VKL_FLAVOUR STREQUAL "win32")
  set(VKL_README_TOOLCHAIN "i686-w64-mingw32, posix threads, DWARF-2 exceptions")
else()
  set(VKL_README_TOOLCHAIN "x86_64-w64-mingw32, posix threads, SEH exceptions")
endif()
if(VKL_MSVC_IMPORT_LIBRARY)
  set(VKL_README_MSVC "lib/VKLinkDB.lib            the import library in MSVC's format, for MSVC-built clients")
  set(VKL_README_MSVC_LINK "the link database only (VKLinkDB.h, no UTILS): link lib/VKLinkDB.lib;
               read share/doc/VKLinkDB/msvc-clients.md first")
else()
  set(VKL_README_MSVC "(no import library for MSVC: MSVC-built clients use the win32 archive)")
  set(VKL_README_MSVC_LINK "not served by this flavour; the win32 archive serves 32-bit MSVC clients
               of the link database (share/doc/VKLinkDB/msvc-clients.md)")
endif()
string(REPLACE ";" ", " VKL_README_DLLS "${VKL_BESIDE_DLL_NAMES}")
string(REGEX MATCH "^[0-9]+" VKL_README_GCC "${CMAKE_CXX_COMPILER_VERSION}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/README.txt.in ${VKL_PACKAGE_DIR}/README.txt @ONLY NEWLINE_STYLE CRLF)
install(FILES ${VKL_PACKAGE_DIR}/README.txt DESTINATION .)

set(CPACK_PACKAGE_NAME VKLinkDB)
set(CPACK_PACKAGE_VENDOR "The VKLinkDB developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME VKLinkDB-${PROJECT_VERSION}-${VKL_FLAVOUR})
set(CPACK_GENERATOR ZIP)
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_STRIP_FILES ON)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
include(CPack)

include(${CMAKE_SOURCE_DIR}/cmake/PackageTests.cmake)
