# Flags that every target of the project shares.
add_library(zenquor_flags INTERFACE)
target_compile_options(zenquor_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
# The smallest x86-64 that broadcast machines of the last fifteen years share: SSSE3 and SSE4 for the pixel loops.
include(CheckCXXCompilerFlag)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  check_cxx_compiler_flag(-march=x86-64-v2 ZENQUOR_HAS_X86_64_V2)
  if(ZENQUOR_HAS_X86_64_V2)
    target_compile_options(zenquor_flags INTERFACE -march=x86-64-v2)
  endif()
endif()
if(ZENQUOR_WARNINGS_AS_ERRORS)
  target_compile_options(zenquor_flags INTERFACE -Werror)
endif()
if(ZENQUOR_SANITIZE)
  # Instrumented code hides from g++ 12 what is initialised where.
  target_compile_options(zenquor_flags INTERFACE -fsanitize=${ZENQUOR_SANITIZE} -fno-omit-frame-pointer -g1
    -Wno-maybe-uninitialized)
  target_link_options(zenquor_flags INTERFACE -fsanitize=${ZENQUOR_SANITIZE})
  if(ZENQUOR_SANITIZE MATCHES "undefined")
    target_compile_options(zenquor_flags INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()
