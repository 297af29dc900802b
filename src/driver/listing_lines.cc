#include "driver/listing_lines.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "recio/civil_time.h"
#include "recio/log_directory.h"

namespace tabrun {

std::string ListingLines(std::vector<os::DirectoryEntry> entries, os::NameCase name_case) {
  std::erase_if(entries, [name_case](const os::DirectoryEntry& e) {
    return !MatchesLogPattern(e.name, name_case);
  });
  // std::string compares as unsigned bytes, which is the C locale's collation.
  std::sort(
      entries.begin(), entries.end(),
      [](const os::DirectoryEntry& a, const os::DirectoryEntry& b) { return a.name < b.name; });
  int width = 1;
  for (const os::DirectoryEntry& e : entries) {
    width = std::max(width, static_cast<int>(std::to_string(e.size).size()));
  }
  std::string text;
  for (const os::DirectoryEntry& e : entries) {
    const CivilTime t = CivilTimeOf(e.modified);
    char line[128];
    std::snprintf(line, sizeof line, "%s 1 tabrun tabrun %*llu %04lld-%02d-%02d %02d:%02d ",
                  e.is_directory ? "drwxr-xr-x" : "-rw-r--r--", width,
                  static_cast<unsigned long long>(e.size), static_cast<long long>(t.year), t.month,
                  t.day, t.hour, t.minute);
    text.append(line).append(e.name).push_back('\n');
  }
  return text;
}

}  // namespace tabrun
