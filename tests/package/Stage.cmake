# Makes a fresh install tree and release archive from a build tree, as a user would:
#   cmake -DBUILD_DIR=<tree> -DSTAGE=<folder> -DCPACK=<cpack> -P Stage.cmake
# gives <folder>/install (cmake --install --strip) and <folder>/archive/*.zip (cpack).
cmake_minimum_required(VERSION 3.18)
foreach(var BUILD_DIR STAGE CPACK)
  if(NOT ${var})
    message(FATAL_ERROR "${var} not given")
  endif()
endforeach()
file(REMOVE_RECURSE ${STAGE})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${STAGE}/install --strip
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${rc})")
endif()
execute_process(COMMAND ${CPACK} --config ${BUILD_DIR}/CPackConfig.cmake -B ${STAGE}/archive
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cpack failed (${rc})")
endif()
