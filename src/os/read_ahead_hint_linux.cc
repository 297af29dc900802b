// Linux reads from the page cache alone with preadv2(RWF_NOWAIT) and fills it on advice.

#include <errno.h>
#include <fcntl.h>
#include <sys/uio.h>

#include "os/read_ahead_hint.h"

namespace tabrun::os {

std::size_t ReadCached(int file, char* out, std::size_t length, std::uint64_t offset, bool* cold) {
  iovec vector = {out, length};
  const ssize_t got = preadv2(file, &vector, 1, static_cast<off_t>(offset), RWF_NOWAIT);
  // EOPNOTSUPP: the file system cannot say what it caches.
  if (got < 0 && (errno == EAGAIN || errno == EOPNOTSUPP)) *cold = true;
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool ReadAheadHintWorks() { return true; }

void HintReadAhead(int file, std::uint64_t length) {
  // The kernel stops at the end of the file; anything but a regular file just says no.
  posix_fadvise(file, 0, static_cast<off_t>(length), POSIX_FADV_WILLNEED);
}

}  // namespace tabrun::os
