# 32-bit ARM with a hardware floating point unit.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(debian_architecture armhf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
