# How our own code is compiled. Everything is a property of the target quilt_options, which every
# target of ours links privately.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # With the source folder as base, checkouts in different places share what they compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
endif()

add_library(quilt_options INTERFACE)
target_compile_options(quilt_options INTERFACE
  -Wall -Wextra -Wpedantic
  # Without this, instruction sets with a fused multiply-add round differently from those without.
  -ffp-contract=off
  # __FILE__ is the path from the root of the sources, wherever they lie.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  # g++ 12 sees overlaps in "text" + std::string that are not there (GCC bug 105329).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
if(QUILT_WERROR)
  target_compile_options(quilt_options INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Debug" OR QUILT_SANITIZE)
  # With QUILT_POISON_PIXELS new pixels are signalling NaNs, so that one that nobody wrote shows.
  target_compile_definitions(quilt_options INTERFACE _GLIBCXX_ASSERTIONS QUILT_POISON_PIXELS)
endif()

if(QUILT_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
    -O1 -g -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QUILT_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -O1 -g)
  add_link_options(-fsanitize=thread)
elseif(NOT QUILT_SANITIZE STREQUAL "")
  message(FATAL_ERROR "QUILT_SANITIZE is \"${QUILT_SANITIZE}\"; it may be empty, address or thread")
endif()
if(QUILT_FUZZ)
  # Everything of ours is watched by the fuzzer; only its programs bring its main function.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
    -O1 -g -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QUILT_SANITIZE STREQUAL "")
  # A symbol that no library brings is found when a library is linked, not when it is loaded.
  add_link_options(LINKER:--no-undefined)
endif()

find_package(Threads REQUIRED)
