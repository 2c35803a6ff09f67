# 32-bit x86 (Debian: g++-i686-linux-gnu, and qemu-user to run the tests).
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triple i686-linux-gnu)
set(emulator qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
