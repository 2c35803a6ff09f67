# 32-bit big-endian PowerPC (Debian: g++-powerpc-linux-gnu, and qemu-user to run the tests).
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(triple powerpc-linux-gnu)
set(emulator qemu-ppc)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
