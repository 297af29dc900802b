// Plain POSIX can neither read from the cache alone nor be asked to fill it.

#include "os/read_ahead_hint.h"

namespace tabrun::os {

std::size_t ReadCached(int, char*, std::size_t, std::uint64_t, bool* cold) {
  *cold = true;
  return 0;
}

bool ReadAheadHintWorks() { return false; }

void HintReadAhead(int, std::uint64_t) {}

}  // namespace tabrun::os
