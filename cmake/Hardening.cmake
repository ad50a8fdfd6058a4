# Guards for builds that meet real phones: what is broken by hostile input ends the process instead of
# being exploited. Flags that a compiler or processor does not know are left out.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Without optimisation the C library ignores _FORTIFY_SOURCE and warns.
target_compile_options(quarlo_compile_options INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
  $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "QUARLO_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(quarlo_compile_options INTERFACE ${flag})
  endif()
endforeach()
target_link_options(quarlo_compile_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
