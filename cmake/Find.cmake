# xavo_find(NAME HEADER LIBRARY...): sets NAME_INCLUDE_DIR to the folder of the header, and NAME_LIBRARY to the path of
# the first library that exists. It searches the folders of CMAKE_PREFIX_PATH first, also if a toolchain
# file limits CMake's search to the compiler's folders.
macro(xavo_find name header)
    set(named PATHS ${CMAKE_PREFIX_PATH} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_path(${name}_INCLUDE_DIR ${header} ${named} PATH_SUFFIXES include)
    find_path(${name}_INCLUDE_DIR ${header})
    find_library(${name}_LIBRARY NAMES ${ARGN} ${named}
                 PATH_SUFFIXES lib ${CMAKE_INSTALL_LIBDIR} lib/${CMAKE_LIBRARY_ARCHITECTURE})
    find_library(${name}_LIBRARY NAMES ${ARGN})
    unset(named)
endmacro()
