#include <bit>
#include <cstdint>

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

double ProcessCpuSeconds() {
  // Not clock(): Microsoft's C runtime returns the wall time since the process started there.
  FILETIME created, exited, kernel, user;
  if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user)) return 0;
  const auto seconds = [](const FILETIME& t) {  // in units of 100 ns
    return static_cast<double>((static_cast<std::uint64_t>(t.dwHighDateTime) << 32) |
                               t.dwLowDateTime) *
           1e-7;
  };
  return seconds(kernel) + seconds(user);
}

}  // namespace tabrun::os
