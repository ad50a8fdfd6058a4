# What each build option needs of the system and of the other options. All that is unmet is collected in
# QUARLO_UNMET, one line each that says what is missing and how to get it. The library itself needs nothing.
set(QUARLO_UNMET "")
find_package(PkgConfig QUIET)

# quarlo_needs(option PACKAGE|MODULE name debian-package): what find_package or pkg-config must find. A module is
# used as PkgConfig::<name>.
function(quarlo_needs option kind name debian)
  if(NOT ${option})
    return()
  endif()
  if(kind STREQUAL PACKAGE)
    find_package(${name} QUIET)
  else()
    if(PkgConfig_FOUND)
      pkg_check_modules(${name} QUIET IMPORTED_TARGET ${name})
    else()
      set(name pkg-config)
      set(debian pkg-config)
    endif()
  endif()
  if(NOT ${name}_FOUND)
    string(CONCAT line " ${option} needs ${name}, which is missing:"
      " apt-get install ${debian}, or configure with -D${option}=OFF")
    list(APPEND QUARLO_UNMET ${line})
    set(QUARLO_UNMET ${QUARLO_UNMET} PARENT_SCOPE)
  endif()
endfunction()

# quarlo_excludes("condition" "what to tell"): options that do not go together.
function(quarlo_excludes condition text)
  cmake_language(EVAL CODE "
    if(${condition})
      set(excluded ON)
    endif()")
  if(excluded)
    set(QUARLO_UNMET ${QUARLO_UNMET} " ${text}" PARENT_SCOPE)
  endif()
endfunction()

quarlo_needs(QUARLO_BUILD_APPS PACKAGE CLI11 libcli11-dev)
quarlo_needs(QUARLO_BUILD_APPS PACKAGE PNG libpng-dev)
quarlo_needs(QUARLO_BUILD_APPS PACKAGE ZLIB zlib1g-dev)
quarlo_needs(QUARLO_BUILD_APPS PACKAGE nlohmann_json nlohmann-json3-dev)
quarlo_needs(QUARLO_BUILD_APPS MODULE libdeflate libdeflate-dev)
quarlo_needs(QUARLO_BUILD_APPS MODULE libturbojpeg libturbojpeg0-dev)
quarlo_needs(QUARLO_BUILD_APPS MODULE cairo libcairo2-dev)
quarlo_needs(QUARLO_BUILD_APPS MODULE pangocairo libpango1.0-dev)

quarlo_needs(QUARLO_BUILD_TESTS PACKAGE GTest libgtest-dev)
quarlo_needs(QUARLO_BUILD_TESTS PACKAGE ZLIB zlib1g-dev)
quarlo_needs(QUARLO_BUILD_TESTS PACKAGE JPEG libjpeg62-turbo-dev)

quarlo_needs(QUARLO_BUILD_BENCH PACKAGE benchmark libbenchmark-dev)
quarlo_needs(QUARLO_BUILD_BENCH PACKAGE ZLIB zlib1g-dev)
quarlo_needs(QUARLO_BUILD_BENCH PACKAGE JPEG libjpeg62-turbo-dev)
if(NOT QUARLO_ZLIB_ONLY)
  quarlo_needs(QUARLO_BUILD_BENCH MODULE libdeflate libdeflate-dev)
endif()

quarlo_needs(QUARLO_BUILD_FUZZ PACKAGE ZLIB zlib1g-dev)
quarlo_needs(QUARLO_BUILD_FUZZ PACKAGE JPEG libjpeg62-turbo-dev)

foreach(option TESTS BENCH FUZZ)
  foreach(plugin JPEG ZLIB SCALING)
    quarlo_excludes("QUARLO_BUILD_${option} AND NOT QUARLO_PLUGIN_${plugin}"
      "QUARLO_BUILD_${option} needs every plug-in: configure with -DQUARLO_PLUGIN_${plugin}=ON or -DQUARLO_BUILD_${option}=OFF")
  endforeach()
endforeach()
quarlo_excludes("QUARLO_BUILD_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES Clang"
  "QUARLO_BUILD_FUZZ needs clang, whose engine it is: apt-get install clang libclang-rt-14-dev, and cmake --preset fuzz")
quarlo_excludes("QUARLO_SANITIZE MATCHES thread AND QUARLO_SANITIZE MATCHES address"
  "QUARLO_SANITIZE: address and thread exclude each other; a build has one of them")
quarlo_excludes("QUARLO_SANITIZE AND QUARLO_HARDENING"
  "QUARLO_SANITIZE and QUARLO_HARDENING exclude each other: guards end the process before a sanitizer can say why")
