# The compiler, its warnings, and the one precompiled header that every module shares.

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  message(FATAL_ERROR "GCC below 13 destroys a temporary of a co_await expression twice, without a warning. "
    "Build with Clang 16 (cmake --preset dev) or a newer GCC.")
endif()

option(MARLET_BUILD_TESTS "Build the tests" ON)
option(MARLET_BUILD_BENCH "Build the benchmarks" OFF)
option(MARLET_BUILD_FUZZ "Build the fuzz targets (needs Clang)" OFF)
set(MARLET_SANITIZE "" CACHE STRING "Value for -fsanitize, such as address,undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# One code model for libraries and executables, so that they can share the precompiled header.
add_compile_options(-fPIC)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)

find_program(CCACHE ccache)
if(CCACHE)
  # The precompiled header carries times that say nothing about its meaning.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
    CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} ${CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
  -Wextra-semi -Wcast-qual -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options(-fcolor-diagnostics)
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
  add_link_options(-fuse-ld=lld)
endif()
if(MARLET_SANITIZE)
  add_compile_options(-fsanitize=${MARLET_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${MARLET_SANITIZE})
  if(MARLET_SANITIZE MATCHES thread)
    # ThreadSanitizer doesn't see the fence of Asio's own reference counts. Those of Boost do without one.
    add_compile_definitions(BOOST_ASIO_DISABLE_STD_ATOMIC)
  endif()
endif()
