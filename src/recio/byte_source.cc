#include "recio/byte_source.h"

#include <algorithm>
#include <cstring>

#include "os/read_ahead_hint.h"

namespace tabrun {

std::size_t FileBytes::ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) {
  // What the page cache holds first; the plain reads below wait for the rest.
  const std::size_t cached = os::ReadCached(file_, out, length, offset, cold);
  std::size_t have = cached;
  while (have < length) {
    const std::int64_t got = os::ReadAt(file_, out + have, length - have, offset + have);
    if (got <= 0) break;
    if (cached > 0) *cold = true;  // the cache held only the start
    have += static_cast<std::size_t>(got);
  }
  return have;
}

std::size_t MemoryBytes::ReadAt(std::uint64_t offset, char* out, std::size_t length, bool*) {
  if (offset >= bytes_.size()) return 0;
  const std::size_t have = std::min<std::size_t>(length, bytes_.size() - offset);
  std::memcpy(out, bytes_.data() + offset, have);
  return have;
}

}  // namespace tabrun
