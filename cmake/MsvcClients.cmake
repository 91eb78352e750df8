# MSVC-built clients of the 32-bit link database. On i686 MinGW and MSVC call member
# functions alike, so VKLinkDB.dll exports the link database's classes a second time
# under MSVC's names (aliases in the DLL's own export table, given to the link as a
# .def file), and lib/VKLinkDB.lib is an import library in MSVC's format. Both are made
# by tools/msvc-aliases.py from the declarations of VKLinkDB.h, read by clang as MinGW
# and as MSVC code, when the DLL is linked. See docs/msvc-clients.md.
option(VKL_MSVC_CLIENTS "32-bit: export the link database under MSVC's names too, and ship VKLinkDB.lib" ON)
if(NOT VKL_MSVC_CLIENTS)
  return()
endif()

find_program(VKL_PYTHON NAMES python3 NO_CMAKE_FIND_ROOT_PATH)
find_program(VKL_CLANGXX NAMES clang++ clang++-14 NO_CMAKE_FIND_ROOT_PATH)
find_program(VKL_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 PATHS /usr/lib/llvm-14/bin NO_CMAKE_FIND_ROOT_PATH)
find_program(VKL_LLVM_READOBJ NAMES llvm-readobj llvm-readobj-14 PATHS /usr/lib/llvm-14/bin NO_CMAKE_FIND_ROOT_PATH)
find_program(VKL_LLD_LINK NAMES lld-link lld-link-14 PATHS /usr/lib/llvm-14/bin NO_CMAKE_FIND_ROOT_PATH)
foreach(tool VKL_PYTHON VKL_CLANGXX VKL_LLVM_DLLTOOL VKL_LLVM_READOBJ VKL_LLD_LINK)
  if(NOT ${tool})
    message(FATAL_ERROR "${tool} not found: the MSVC names of the link database need python3, clang, "
                        "llvm-dlltool, llvm-readobj and lld-link (bash tools/install-deps.sh installs them), "
                        "or configure with -DVKL_MSVC_CLIENTS=OFF to build without them")
  endif()
endforeach()

set(VKL_MSVC_DIR ${CMAKE_BINARY_DIR}/msvc)
set(VKL_MSVC_ALIASES ${VKL_MSVC_DIR}/VKLinkDB-aliases.def)
set(VKL_MSVC_IMPLIB_DEF ${VKL_MSVC_DIR}/VKLinkDB.def)
set(VKL_MSVC_IMPORT_LIBRARY ${CMAKE_BINARY_DIR}/lib/VKLinkDB.lib)
file(MAKE_DIRECTORY ${VKL_MSVC_DIR})

# Before the link, once the objects exist: only members the DLL really defines get an
# MSVC name. The link takes the aliases as a .def file beside the objects; the names
# marked for export in the objects stay exported as before.
add_custom_command(TARGET VKLinkDB PRE_LINK
  COMMAND ${VKL_PYTHON} ${CMAKE_SOURCE_DIR}/tools/msvc-aliases.py generate
          --clang ${VKL_CLANGXX} --nm ${CMAKE_NM}
          --header ${CMAKE_SOURCE_DIR}/Include/VKLinkDB.h
          -I ${CMAKE_SOURCE_DIR}/Include -I ${VKL_GENERATED_INCLUDE}
          --aliases ${VKL_MSVC_ALIASES} --implib-def ${VKL_MSVC_IMPLIB_DEF}
          --objects $<TARGET_OBJECTS:VKLinkDB>
  COMMENT "Pairing the MinGW and MSVC names of the link database"
  VERBATIM COMMAND_EXPAND_LISTS)
target_link_options(VKLinkDB PRIVATE ${VKL_MSVC_ALIASES})
set_property(TARGET VKLinkDB APPEND PROPERTY LINK_DEPENDS ${CMAKE_SOURCE_DIR}/tools/msvc-aliases.py)

add_custom_command(TARGET VKLinkDB POST_BUILD
  COMMAND ${VKL_LLVM_DLLTOOL} -m i386 -d ${VKL_MSVC_IMPLIB_DEF} -l ${VKL_MSVC_IMPORT_LIBRARY}
  COMMENT "Making the MSVC-format import library VKLinkDB.lib"
  VERBATIM)
set_property(TARGET VKLinkDB APPEND PROPERTY ADDITIONAL_CLEAN_FILES
             ${VKL_MSVC_ALIASES} ${VKL_MSVC_IMPLIB_DEF} ${VKL_MSVC_IMPORT_LIBRARY})
install(FILES ${VKL_MSVC_IMPORT_LIBRARY} DESTINATION lib)
