# Warnings, sanitizers and the helpers that only make builds faster.

add_library(lumisk_options INTERFACE)
target_compile_options(lumisk_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(LUMISK_WERROR)
  target_compile_options(lumisk_options INTERFACE -Werror)
endif()
target_compile_definitions(lumisk_options INTERFACE _FILE_OFFSET_BITS=64)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(lumisk_options INTERFACE -Wthread-safety)
endif()

set(LUMISK_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")
if(LUMISK_SANITIZE)
  add_compile_options(-fsanitize=${LUMISK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${LUMISK_SANITIZE})
endif()

# Fuzzers see how far an input came only in code that is instrumented, so every layer is.
if(LUMISK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
find_program(MOLD mold)
if(MOLD)
  add_link_options(-fuse-ld=mold)
endif()
