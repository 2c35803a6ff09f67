# Included by each toolchain file in this folder, which sets `triple` and, if its programs need one, `emulator`. Selects
# Debian's cross compiler. CMake searches for libraries and headers in the cross compiler's folders only.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
if(emulator)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triple})
endif()
