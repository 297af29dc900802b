#include <unistd.h>

#include "os/cpus.h"

namespace tabrun::os {

int UsableCpus() {
  // Not in POSIX.1-2008 itself, but in every system that claims it, macOS and the BSDs too.
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online >= 1 ? static_cast<int>(online) : 1;
}

}  // namespace tabrun::os
