# Options, compiler flags and build types.

option(BUILD_SHARED_LIBS "Build KORInterface as a shared library" ON)
option(KORINTERFACE_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(KORINTERFACE_BUILD_TOOLS "Build the kor tool" ${PROJECT_IS_TOP_LEVEL})
option(KORINTERFACE_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(KORINTERFACE_PYTHON "Build the module of the Python package korinterface" OFF)
option(KORINTERFACE_BUILD_FUZZERS "Build the fuzzers (clang)" OFF)
option(KORINTERFACE_TESTS_SMOKE "Of a cross build, only the tests of the DLL, the program and the archive" OFF)
option(KORINTERFACE_TESTS_GROUPED "Run a whole program or class of tests in a process: quicker, for a run of all of them" OFF)
option(KORINTERFACE_JOIN "Compile sources some at a time, but for the numeric ones: a whole build is quicker, a change dearer" OFF)
option(KORINTERFACE_WERROR "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})
set(KORINTERFACE_LIBRARY_OPTIONS "" CACHE STRING "Compiler options of the library's own sources, after those of the build type")
set(KORINTERFACE_SANITIZE "" CACHE STRING "Sanitizers of the whole build, for example address,undefined")

set(KOR_ABI_VERSION 0)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# Flags of everything that is compiled here. Contracting a*b+c into one rounding would change results, and so
# would fast-math; neither may be switched on from outside.
add_library(kor_build_flags INTERFACE)
if(MSVC)
  # C4251 tells of exported classes with members of standard-library types. There are two, and a lint holds that number.
  target_compile_options(kor_build_flags INTERFACE /W4 /wd4251 /fp:precise /utf-8)
  if(KORINTERFACE_WERROR)
    target_compile_options(kor_build_flags INTERFACE /WX)
  endif()
else()
  target_compile_options(kor_build_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off)
  if(KORINTERFACE_WERROR)
    target_compile_options(kor_build_flags INTERFACE -Werror)
  endif()
  # g++ 12 reports overlapping copies inside std::string that do not overlap (GCC bug 105329).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(kor_build_flags INTERFACE -Wno-restrict)
  endif()
  # g++ 12 loses the rounding of neighbouring doubles to float and back when it packs them into one vector, at -O2 and
  # above.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14)
    target_compile_options(kor_build_flags INTERFACE -fno-tree-slp-vectorize)
  endif()
endif()

# Most sources here need less memory than g++ would first collect its garbage for, again and again.
if(KORINTERFACE_JOIN AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options("SHELL:--param ggc-min-expand=100" "SHELL:--param ggc-min-heapsize=524288")
endif()

include(cmake/Hardening.cmake)
target_compile_options(kor_build_flags INTERFACE ${kor_hardening_options})
target_link_options(kor_build_flags INTERFACE ${kor_hardening_links})

if(KORINTERFACE_SANITIZE)
  add_compile_options(-fsanitize=${KORINTERFACE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KORINTERFACE_SANITIZE})
endif()
