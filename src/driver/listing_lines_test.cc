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
      // Where *.log matches in any case, the names still sort by their bytes as they are.
      {{{"run3.log", 3, 0, false},
        {"Run2.Log", 2, 0, false},
        {"RUN1.LOG", 1, 0, false},
        {"a.log", 4, 0, false},
        {"B.LOG", 5, 0, false},
        {".HIDDEN.LOG", 6, 0, false},
        {"notes.LOGS", 7, 0, false},
        {"LOG", 8, 0, false}},
       NameCase::kAnyCase,
       "-rw-r--r-- 1 tabrun tabrun 5 1970-01-01 00:00 B.LOG\n"
       "-rw-r--r-- 1 tabrun tabrun 1 1970-01-01 00:00 RUN1.LOG\n"
       "-rw-r--r-- 1 tabrun tabrun 2 1970-01-01 00:00 Run2.Log\n"
       "-rw-r--r-- 1 tabrun tabrun 4 1970-01-01 00:00 a.log\n"
       "-rw-r--r-- 1 tabrun tabrun 3 1970-01-01 00:00 run3.log\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ListingLines(c.entries, c.name_case), c.expected)
        << (c.entries.empty() ? "" : c.entries.front().name);
  }
}

}  // namespace
}  // namespace tabrun
