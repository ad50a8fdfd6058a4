# One set of compile options for every target: quarlo_options(target).
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(Threads REQUIRED)

find_program(QUARLO_CCACHE ccache DOC "Compiler cache; empty to compile without one")
mark_as_advanced(QUARLO_CCACHE)
if(QUARLO_CCACHE)
  # Paths relative to the tree: another clone finds what this one has compiled.
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
    ${QUARLO_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

add_library(quarlo_compile_options INTERFACE)
target_compile_options(quarlo_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # When it optimises, this compiler takes "text" + std::string for a copy of something onto itself.
  target_compile_options(quarlo_compile_options INTERFACE
    $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<NOT:$<CONFIG:Debug>>>:-Wno-restrict>)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Times beyond 2038, and dumps beyond 2 GiB.
  target_compile_definitions(quarlo_compile_options INTERFACE
    _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
if(QUARLO_WARNINGS_AS_ERRORS)
  target_compile_options(quarlo_compile_options INTERFACE -Werror)
endif()
if(QUARLO_SANITIZE)
  target_compile_options(quarlo_compile_options INTERFACE
    -fsanitize=${QUARLO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # The runtime's own dlopen stands between: only the older tag, which counts for the whole program, lets
  # plug-ins be found by bare file name then.
  target_link_options(quarlo_compile_options INTERFACE
    -fsanitize=${QUARLO_SANITIZE} -Wl,--disable-new-dtags)
endif()
if(QUARLO_COVERAGE)
  # The suite runs many threads: plain counters lose counts and even go negative.
  target_compile_options(quarlo_compile_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quarlo_compile_options INTERFACE --coverage)
endif()
if(QUARLO_HARDENING)
  include(cmake/Hardening.cmake)
endif()

# For folders of tests and tools: when it optimises, this compiler sees writes beyond vectors and texts that are
# put together in steps. In what is shipped these warnings count.
macro(quarlo_ignore_misfires)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    foreach(misfire array-bounds stringop-overflow maybe-uninitialized)
      add_compile_options($<$<AND:$<COMPILE_LANGUAGE:CXX>,$<NOT:$<CONFIG:Debug>>>:-Wno-${misfire}>)
    endforeach()
  endif()
endmacro()

# quarlo_pixels(source...): what looks at every pixel is optimised when nothing else is.
function(quarlo_pixels)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Debug>:-O2>)
endfunction()

# Build-time only: an INTERFACE dependency would reach the installed package.
function(quarlo_options target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:quarlo_compile_options> Threads::Threads)
endfunction()
