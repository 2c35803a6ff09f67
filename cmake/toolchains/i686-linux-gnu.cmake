# 32-bit x86 (Debian: g++-i686-linux-gnu). A 64-bit x86 machine runs the tests by itself (lib32stdc++6); under qemu-i386
# 7.2 no program comes back from pthread_create().
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triple i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
