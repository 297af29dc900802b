# Chooses, once, the source of each concern of the operating-system layer (src/os/): the
# Windows one on Windows, a Linux one where the system has what it uses (and
# TABRUN_POSIX_ONLY is off), the plain POSIX one everywhere else. Sets tabrun_os_sources.
include(CheckCXXSourceCompiles)

if(WIN32)
  set(tabrun_os_system win32)
else()
  set(tabrun_os_system posix)
endif()

# Sets `out` to `linux_source` when the program `code` compiles and links here, else to
# `fallback`. A call, not the address of a name: C++ overloads some of these functions.
function(tabrun_choose out fallback linux_source code)
  set(found FALSE)
  if(NOT TABRUN_POSIX_ONLY AND NOT WIN32)
    get_filename_component(name ${linux_source} NAME_WE)
    string(TOUPPER "TABRUN_HAVE_${name}" variable)
    set(CMAKE_REQUIRED_DEFINITIONS -D_GNU_SOURCE)
    check_cxx_source_compiles("${code}" ${variable})
    set(found ${${variable}})
  endif()
  if(found)
    set(${out} ${linux_source} PARENT_SCOPE)
  else()
    set(${out} ${fallback} PARENT_SCOPE)
  endif()
endfunction()

tabrun_choose(read_ahead src/os/read_ahead_hint_none.cc
  src/os/read_ahead_hint_linux.cc "#include <fcntl.h>
#include <sys/uio.h>
int main() {
  iovec v{};
  return static_cast<int>(preadv2(0, &v, 1, 0, RWF_NOWAIT)) +
         posix_fadvise(0, 0, 1, POSIX_FADV_WILLNEED);
}")
tabrun_choose(cpus src/os/cpus_${tabrun_os_system}.cc src/os/cpus_linux.cc "#include <sched.h>
int main() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof set, &set) + CPU_COUNT(&set);
}")
# Not a system call: the searches of the C library where it has them, standard C++ elsewhere.
tabrun_choose(bytes src/os/bytes_portable.cc src/os/bytes_linux.cc "#include <string.h>
int main() {
  char b[2] = {};
  return memrchr(b, 0, 1) != memmem(b, 2, b, 1);
}")

tabrun_choose(change_feed src/os/change_feed_none.cc src/os/change_feed_linux.cc
  "#include <sys/inotify.h>
#include <sys/vfs.h>
int main() {
  struct statfs fs;
  return inotify_init1(IN_NONBLOCK) + statfs(\".\", &fs);
}")

set(tabrun_os_sources
  src/os/directory_${tabrun_os_system}.cc
  src/os/file_${tabrun_os_system}.cc
  src/os/process_${tabrun_os_system}.cc
  src/os/terminal_${tabrun_os_system}.cc
  ${read_ahead} ${cpus} ${bytes} ${change_feed})
if(WIN32)
  # What the Windows files share: UTF-8 and UTF-16 names, and the system's errors in words.
  list(APPEND tabrun_os_sources src/os/text_win32.cc)
endif()
string(REPLACE ";" " " shown "${tabrun_os_sources}")
message(STATUS "Operating-system layer: ${shown}")
