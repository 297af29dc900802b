# Cross build for Linux ARM64 with Debian's g++-aarch64-linux-gnu, zlib from the multiarch
# zlib1g-dev:arm64. The tests run under qemu-aarch64 with the multiarch libc6:arm64 and
# libstdc++6:arm64 (-L /): the cross loader from libc6-arm64-cross beside a multiarch libc of
# another version hangs at the first thread start. A run that hangs anyway ends after 300 s.
#   cmake -B build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /usr/lib/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# By full path: the end-to-end cases run with a PATH of their own.
find_program(TABRUN_QEMU qemu-aarch64)
find_program(TABRUN_TIMEOUT timeout)
if(TABRUN_QEMU AND TABRUN_TIMEOUT)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TABRUN_TIMEOUT};300;${TABRUN_QEMU};-L;/)
endif()
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
