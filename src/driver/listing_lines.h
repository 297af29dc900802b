// The listing that tabrun writes itself where the platform has no shell to run ls.

#ifndef TABRUN_DRIVER_LISTING_LINES_H_
#define TABRUN_DRIVER_LISTING_LINES_H_

#include <cstdint>
#include <string>
#include <vector>

namespace tabrun {

// An entry of a directory, as the directory listing gives it.
struct ListedFile {
  std::string name;          // UTF-8, without a directory
  std::uint64_t size = 0;    // in bytes
  std::int64_t modified = 0;  // seconds since 1970-01-01 00:00:00 UTC
  bool is_directory = false;
};

// The text that "ls -l *.log" would write for `entries` in the C locale: of the names that the
// shell's *.log matches (ending in ".log", case counting, and not starting with '.'), one line
// each, in byte order of the names, shaped like ls -l's long-iso lines:
//   "-rw-r--r-- 1 tabrun tabrun <size> YYYY-MM-DD HH:MM <name>"
// with 'd' and "rwxr-xr-x" for a directory, the sizes right-aligned to the widest and the
// time in UTC. The name is the line's last bytes, as it is, so that the listing reader takes
// its last blank-separated word, exactly as from ls. Empty when no name matches.
std::string ListingLines(std::vector<ListedFile> entries);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_LISTING_LINES_H_
