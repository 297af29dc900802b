#include <bit>

#include "os/cpus.h"
#include "os/text_win32.h"

namespace tabrun::os {

int UsableCpus() {
  // The affinity mask covers the process's processor group, at most 64 CPUs.
  DWORD_PTR process = 0, system = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &process, &system) && process != 0) {
    return std::popcount(static_cast<std::uint64_t>(process));
  }
  const DWORD active = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
  return active >= 1 ? static_cast<int>(active) : 1;
}

}  // namespace tabrun::os
