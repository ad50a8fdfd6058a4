# 64-bit and big-endian.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
set(debian_architecture s390x)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
