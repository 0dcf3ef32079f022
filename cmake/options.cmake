# Build options and the flags that every target shares.

option(LUMORA_SANITIZE "Address and undefined-behaviour sanitizers" OFF)
option(LUMORA_BUILD_BENCH "Build the benchmarks" ON)
set(LUMORA_MARCH "native" CACHE STRING "Instruction set of the engine's render code (-march=...); empty for the compiler's default")

find_program(LUMORA_CCACHE ccache)
if(LUMORA_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${LUMORA_CCACHE}")
endif()

add_library(lumora_flags INTERFACE)
target_compile_options(lumora_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Werror;-Wno-missing-field-initializers>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in "text" + std::string (its bug 105651).
  target_compile_options(lumora_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # -g1 keeps file and line for back traces at a fraction of the size of full debug info.
  target_compile_options(lumora_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-g1>)
endif()
if(LUMORA_SANITIZE)
  target_compile_options(lumora_flags INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fsanitize=address,undefined;-fno-sanitize-recover=undefined;-fno-omit-frame-pointer;-O1>)
  target_link_options(lumora_flags INTERFACE -fsanitize=address,undefined)
endif()

# Undefined symbols are found when a library is linked, not when it is loaded.
set(LUMORA_NO_UNDEFINED "$<$<NOT:$<BOOL:${LUMORA_SANITIZE}>>:-Wl,--no-undefined>")
