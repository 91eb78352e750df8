# Tests of what is shipped, in each Windows tree: a fresh install tree and archive are
# made from the build (package_stage), the archive must hold exactly the install tree,
# the installed vkrecord and vkdb run, a separate project finds the installed package
# and runs under Wine, and in the 32-bit tree a client compiled as MSVC code runs
# against the installed DLL.
set(VKL_STAGE ${VKL_PACKAGE_DIR}/stage)
set(VKL_ARCHIVE_NAME VKLinkDB-${PROJECT_VERSION}-${VKL_FLAVOUR})

add_test(NAME package_stage
  COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DSTAGE=${VKL_STAGE} -DCPACK=${CMAKE_CPACK_COMMAND}
          -P ${CMAKE_SOURCE_DIR}/tests/package/Stage.cmake)
set_tests_properties(package_stage PROPERTIES FIXTURES_SETUP package TIMEOUT 300)

set(expected bin/VKLinkDB.dll lib/libVKLinkDB.dll.a include/VKLinkDB.h include/VKLinkDBVersion.h
             lib/cmake/VKLinkDB/VKLinkDBConfig.cmake lib/cmake/VKLinkDB/VKLinkDBConfigVersion.cmake
             lib/cmake/VKLinkDB/VKLinkDBTargets.cmake lib/pkgconfig/VKLinkDB.pc README.txt
             bin/example_client.exe bin/vkrecord.exe bin/vkdb.exe share/doc/VKLinkDB/programs.md)
foreach(name ${VKL_BESIDE_DLL_NAMES})
  list(APPEND expected bin/${name})
endforeach()
if(VKL_MSVC_IMPORT_LIBRARY)
  list(APPEND expected lib/VKLinkDB.lib)
endif()
string(REPLACE ";" "," expected "${expected}")
add_test(NAME package_archive
  COMMAND ${CMAKE_COMMAND} -DINSTALL_DIR=${VKL_STAGE}/install -DARCHIVE=${VKL_STAGE}/archive/${VKL_ARCHIVE_NAME}.zip
          -DTOP=${VKL_ARCHIVE_NAME} -DWORK=${VKL_STAGE}/unzipped -DHEADERS=${CMAKE_SOURCE_DIR}/Include
          -DEXPECTED=${expected} -P ${CMAKE_SOURCE_DIR}/tests/package/CheckArchive.cmake)
set_tests_properties(package_archive PROPERTIES FIXTURES_REQUIRED package)

# vkrecord and vkdb as installed: they run from bin/ with what the install put beside them.
add_test(NAME package_programs
  COMMAND sh ${CMAKE_SOURCE_DIR}/tests/package/programs.sh ${VKL_STAGE}/install ${VKL_STAGE}/programs
          ${CMAKE_BINARY_DIR}/wine-run.sh)
set_tests_properties(package_programs PROPERTIES FIXTURES_REQUIRED "package;wine" TIMEOUT 300)

# The consumer is configured with this tree's toolchain against the install tree only
# (the package's own folder, so that the toolchain's search root does not hide it), and
# its tests run under this tree's Wine.
set(toolchain ${CMAKE_TOOLCHAIN_FILE})
if(NOT IS_ABSOLUTE "${toolchain}")
  get_filename_component(toolchain ${toolchain} ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR})
endif()
add_test(NAME package_consumer
  COMMAND ${CMAKE_CTEST_COMMAND}
          --build-and-test ${CMAKE_SOURCE_DIR}/tests/package/consumer ${VKL_STAGE}/consumer
          --build-generator ${CMAKE_GENERATOR} --build-makeprogram ${CMAKE_MAKE_PROGRAM}
          --build-options -DCMAKE_TOOLCHAIN_FILE=${toolchain} -DCMAKE_BUILD_TYPE=Release
                          -DVKLinkDB_DIR=${VKL_STAGE}/install/lib/cmake/VKLinkDB
                          -DVKL_EXPECTED_VERSION=${PROJECT_VERSION}
                          -DCMAKE_CROSSCOMPILING_EMULATOR=${CMAKE_BINARY_DIR}/wine-run.sh
          --test-command ${CMAKE_CTEST_COMMAND} -V)
set_tests_properties(package_consumer PROPERTIES FIXTURES_REQUIRED "package;wine" TIMEOUT 600
                     ENVIRONMENT "PKG_CONFIG_PATH=${VKL_STAGE}/install/lib/pkgconfig")

if(VKL_MSVC_IMPORT_LIBRARY)
  # Every MSVC name leads to its MinGW twin in the installed DLL.
  add_test(NAME msvc_exports
    COMMAND ${VKL_PYTHON} ${CMAKE_SOURCE_DIR}/tools/msvc-aliases.py check --readobj ${VKL_LLVM_READOBJ}
            --dll ${VKL_STAGE}/install/bin/VKLinkDB.dll --implib ${VKL_STAGE}/install/lib/VKLinkDB.lib
            --aliases ${VKL_MSVC_ALIASES})
  set_tests_properties(msvc_exports PROPERTIES FIXTURES_REQUIRED package)
  add_test(NAME msvc_client
    COMMAND sh ${CMAKE_SOURCE_DIR}/tests/package/msvc/build-and-run.sh ${VKL_STAGE}/install ${VKL_STAGE}/msvc
            ${CMAKE_BINARY_DIR}/wine-run.sh ${VKL_CLANGXX} ${VKL_LLD_LINK} ${VKL_LLVM_DLLTOOL})
  set_tests_properties(msvc_client PROPERTIES FIXTURES_REQUIRED "package;wine" TIMEOUT 300)
endif()
