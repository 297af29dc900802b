// Linux counts the CPUs of the process's affinity mask, which taskset and cgroups narrow, and
// reads the process's CPU clock to the nanosecond.

#include <sched.h>
#include <time.h>

#include <algorithm>

#include "os/cpus.h"

namespace tabrun::os {

int UsableCpus() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  return std::max(1, CPU_COUNT(&set));
}

double ProcessCpuSeconds() {
  timespec used{};
  if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) != 0) return 0;
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

}  // namespace tabrun::os
