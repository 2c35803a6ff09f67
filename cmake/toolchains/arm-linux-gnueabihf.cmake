# 32-bit ARM (Debian: g++-arm-linux-gnueabihf, and qemu-user to run the tests).
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triple arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
