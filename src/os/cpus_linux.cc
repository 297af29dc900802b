// Linux counts the CPUs of the process's affinity mask, which taskset and cgroups narrow.

#include <sched.h>

#include <algorithm>

#include "os/cpus.h"

namespace tabrun::os {

int UsableCpus() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  return std::max(1, CPU_COUNT(&set));
}

}  // namespace tabrun::os
