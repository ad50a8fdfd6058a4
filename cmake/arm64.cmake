# 64-bit ARM, what most head units have.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(debian_architecture arm64)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
