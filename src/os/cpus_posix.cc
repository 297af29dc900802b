#include <sys/resource.h>
#include <unistd.h>

#include "os/cpus.h"

namespace tabrun::os {

int UsableCpus() {
  // Not in POSIX.1-2008 itself, but in every system that claims it, macOS and the BSDs too.
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online >= 1 ? static_cast<int>(online) : 1;
}

double ProcessCpuSeconds() {
  // getrusage, not clock(): the CPU time of the process on every POSIX system.
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace tabrun::os
