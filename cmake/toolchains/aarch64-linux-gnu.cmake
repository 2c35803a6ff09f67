# 64-bit ARM (Debian: g++-aarch64-linux-gnu, and qemu-user to run the tests).
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triple aarch64-linux-gnu)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
