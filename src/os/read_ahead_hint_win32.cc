// Windows can neither read from its cache alone nor be asked to fill it for a file that is
// already open, so the read-ahead does nothing here and every read waits for what it needs.

#include "os/read_ahead_hint.h"

namespace tabrun::os {

std::size_t ReadCached(int, char*, std::size_t, std::uint64_t, bool* cold) {
  *cold = true;
  return 0;
}

bool ReadAheadHintWorks() { return false; }

void HintReadAhead(int, std::uint64_t) {}

}  // namespace tabrun::os
