# What the products are hardened with, where compiler and processor have it. KX_HARDENED names what was found, and the
# test of the built programs (tests/build) fails for each of it that they do not show. All code has stack protectors; the
# sanitizers have better checks than the rest.
add_library(kx_hardening INTERFACE)
set(KX_HARDENED stack_protector)
if(KX_SANITIZE OR KX_FUZZ)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)

target_compile_definitions(kx_hardening INTERFACE $<$<COMPILE_LANGUAGE:CXX>:_GLIBCXX_ASSERTIONS>)
list(APPEND KX_HARDENED assertions)

# kx_harden(<name> <flag>...): with the first of the flags that the compiler knows.
function(kx_harden name)
  foreach(flag IN LISTS ARGN)
    string(MAKE_C_IDENTIFIER "KX_HAVE${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(kx_hardening INTERFACE ${flag})
      set(KX_HARDENED ${KX_HARDENED} ${name} PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

kx_harden(stack_clash -fstack-clash-protection)
kx_harden(branches -fcf-protection=full -mbranch-protection=standard)

# The C library's checks need the optimiser. What does not know level 3 warns.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstdio>\nint main() { return 0; }" KX_HAVE_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  if(KX_HAVE_FORTIFY_3)
    target_compile_options(kx_hardening INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  else()
    target_compile_options(kx_hardening INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
  list(APPEND KX_HARDENED fortify)
endif()

# What the loader has set up cannot be written any more.
check_linker_flag(CXX -Wl,-z,relro,-z,now KX_HAVE_RELRO)
if(KX_HAVE_RELRO)
  target_link_options(kx_hardening INTERFACE -Wl,-z,relro,-z,now)
  list(APPEND KX_HARDENED relro)
endif()
