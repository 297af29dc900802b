// For a platform that can neither read from its cache alone nor be asked to fill it (plain
// POSIX, Windows): the read-ahead does nothing there, and every read waits for what it needs.

#include "os/read_ahead_hint.h"

namespace tabrun::os {

std::size_t ReadCached(int, char*, std::size_t, std::uint64_t, bool* cold) {
  *cold = true;
  return 0;
}

bool ReadAheadHintWorks() { return false; }

void HintReadAhead(int, std::uint64_t) {}

}  // namespace tabrun::os
