# What the toolchain files of other processors share: Debian's cross compiler, the packages that
# tools/sysroot.sh lays out, and an emulator that runs the tests.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

cmake_path(SET sysroot NORMALIZE
  ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${debian_architecture})
set(libraries ${sysroot}/lib/${triplet}:${sysroot}/usr/lib/${triplet})
set(CMAKE_FIND_ROOT_PATH ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/${triplet}/pkgconfig:${sysroot}/usr/share/pkgconfig)

# Where Debian keeps the headers that differ between processors.
add_compile_options(-isystem${sysroot}/usr/include/${triplet})
# The C library is the cross compiler's own; zlib's link leads from /usr/lib to /lib.
add_link_options(-Wl,-rpath-link,${libraries})
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${emulator} -L /usr/${triplet} -E LD_LIBRARY_PATH=${libraries})
