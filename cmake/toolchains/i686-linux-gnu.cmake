# 32-bit x86 (Debian: g++-i686-linux-gnu). A 64-bit x86 machine runs the tests without an emulator (lib32stdc++6); in
# qemu-i386 7.2 pthread_create() does not return.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triple i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
