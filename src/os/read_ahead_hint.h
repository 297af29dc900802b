// The system's cache of file contents: what it holds, and asking it to fill.

#ifndef TABRUN_OS_READ_AHEAD_HINT_H_
#define TABRUN_OS_READ_AHEAD_HINT_H_

#include <cstddef>
#include <cstdint>

namespace tabrun::os {

// Reads up to `length` bytes at `offset` of `file` from the cache alone, without waiting for
// the disk, and returns how many it read: 0 when none are cached, at the end of the file, or
// on an error. Sets *cold (and leaves it alone otherwise) when the disk would have to be read,
// which on some systems also sets their own read-ahead going, and when the system cannot tell:
// a file system that does not say (tmpfs, /proc, some network file systems), and a platform
// that has no such read, where this returns 0 and sets *cold every time.
std::size_t ReadCached(int file, char* out, std::size_t length, std::uint64_t offset, bool* cold);

// True when HintReadAhead can make the system read ahead on this platform; false where it
// does nothing, so that the caller need not spend a thread on it.
bool ReadAheadHintWorks();

// Asks the system to start reading the first `length` bytes of the open file `file` into its
// cache, and returns at once. Only a hint: nothing is reported, and a file that is not a
// regular file is left alone.
void HintReadAhead(int file, std::uint64_t length);

}  // namespace tabrun::os

#endif  // TABRUN_OS_READ_AHEAD_HINT_H_
