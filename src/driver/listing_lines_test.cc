#include "driver/listing_lines.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

TEST(ListingLinesTest, LinesOfTheLogGlobInByteOrder) {
  using os::NameCase;
  const struct {
    std::vector<os::DirectoryEntry> entries;
    NameCase name_case;
    std::string expected;
  } cases[] = {
      {{}, NameCase::kExact, ""},
      {{{"notes.txt", 1, 0, false}, {".hidden.log", 1, 0, false}, {"UPPER.LOG", 1, 0, false}},
       NameCase::kExact,
       ""},
      // Byte order: capitals before small letters, UTF-8 after ASCII; blanks stay in the name.
      {{{"\xCE\xB1_300K.log", 7, 0, false},
        {"b run.log", 12345, 1'790'000'000, false},
        {"B.log", 0, -1, false},
        {"runs.log", 4096, 86'400, true}},
       NameCase::kExact,
       "-rw-r--r-- 1 tabrun tabrun     0 1969-12-31 23:59 B.log\n"
       "-rw-r--r-- 1 tabrun tabrun 12345 2026-09-21 14:13 b run.log\n"
       "drwxr-xr-x 1 tabrun tabrun  4096 1970-01-02 00:00 runs.log\n"
       "-rw-r--r-- 1 tabrun tabrun     7 1970-01-01 00:00 \xCE\xB1_300K.log\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ListingLines(c.entries, c.name_case), c.expected)
        << (c.entries.empty() ? "" : c.entries.front().name);
  }
}

}  // namespace
}  // namespace tabrun
