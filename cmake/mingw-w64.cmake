# Cross-compiling for 64-bit Windows with Debian's MinGW; programs run under Wine.
#
# The run-time libraries are linked in, so that a program needs KORInterface.dll and nothing else.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Packages whose headers or sources serve every target come from the host, each by a find module of its own.
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/mingw-w64)
set(Eigen3_DIR /usr/share/eigen3/cmake CACHE PATH "Eigen, headers only")

# Beside libz.a lies an import library of zlib1.dll, which CMake would take.
set(ZLIB_LIBRARY ${CMAKE_FIND_ROOT_PATH}/lib/libz.a CACHE FILEPATH "zlib, linked in")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tests/windows/run.sh;${CMAKE_BINARY_DIR}/wine)
