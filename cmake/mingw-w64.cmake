# Cross build of tabrun.exe for Windows x86-64 with Debian's MinGW-w64 (posix threads):
#   cmake -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake && cmake --build build-win -j2
#   ctest --test-dir build-win      # the unit tests and the end-to-end cases, under wine
# The runtime (libgcc, libstdc++, winpthread) and zlib are linked statically, so tabrun.exe runs
# on a Windows machine without any DLL beside it.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(tabrun_mingw x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${tabrun_mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${tabrun_mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${tabrun_mingw}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${tabrun_mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
# libz-mingw-w64-dev ships libz.a beside the import library: take the static one.
set(ZLIB_USE_STATIC_LIBS ON)
set(ZLIB_LIBRARY /usr/${tabrun_mingw}/lib/libz.a CACHE FILEPATH "zlib, linked statically")

# Every run of a Windows program in the build (ctest, the end-to-end cases) goes through wine,
# with a prefix of its own under the build folder.
find_program(TABRUN_WINE wine)
if(TABRUN_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh ${CMAKE_BINARY_DIR}/wine-prefix)
endif()
