// The listing that tabrun writes itself where the platform has no shell to run ls.

#ifndef TABRUN_DRIVER_LISTING_LINES_H_
#define TABRUN_DRIVER_LISTING_LINES_H_

#include <string>
#include <vector>

#include "os/directory.h"

namespace tabrun {

// The text that "ls -l *.log" would write for `entries` in the C locale: of the names that
// *.log matches, with `name_case` as MatchesLogPattern (recio/log_directory.h) takes it, one
// line each, in byte order of the names as they are, shaped like ls -l's long-iso lines:
//   "-rw-r--r-- 1 tabrun tabrun <size> YYYY-MM-DD HH:MM <name>"
// with 'd' and "rwxr-xr-x" for a directory, the sizes right-aligned to the widest and the
// time in UTC. The name is the line's last bytes, as it is, so that the listing reader takes
// its last blank-separated word, exactly as from ls. Empty when no name matches.
std::string ListingLines(std::vector<os::DirectoryEntry> entries, os::NameCase name_case);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_LISTING_LINES_H_
