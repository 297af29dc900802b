#include "analysis/monte_check.h"

#include <gtest/gtest.h>

#include <string>

#include "analysis/scan_test_util.h"

namespace tabrun {
namespace {

// Runs the check on a log whose last record is `marker_line`, as the scan does: after a
// search for the ordinary control file line has reached end of file.
bool Check(const std::string& log, FixedText* run_text, RecordReader* reader) {
  FixedText line;
  EXPECT_FALSE(reader->ReadUntil({"Control file *.pcr:"}, &line)) << log;
  return CheckMonte(*reader, run_text);
}

TEST(CheckMonteTest, NameField) {
  struct Case {
    std::string marker_line;
    std::string run_text;
  } cases[] = {
      {" => PCR  File  : sa_run1", "Normal end for sa_run1.pcr (Monte/Sim.Anneal.)"},
      {"=> PCR  File  :sa_run1   (phase 1)", "Normal end for sa_run1.pcr (Monte/Sim.Anneal.)"},
      {"=> PCR  File  :  sa_run1", "Normal end for .pcr (Monte/Sim.Anneal.)"},
      {"=> PCR  File  : sa_run1.pcr", "Normal end for sa_run1.pcr.pcr (Monte/Sim.Anneal.)"},
      {"12:05 => PCR  File  : sa_run1", "Normal end for 05.pcr (Monte/Sim.Anneal.)"},
      // The marker's colon at column 256: nothing is left for the field.
      {std::string(241, '.') + "=> PCR  File  :", "Normal end for .pcr (Monte/Sim.Anneal.)"},
  };
  for (const Case& c : cases) {
    const std::string log = "a\nb\n" + c.marker_line + "\n";
    RecordReader reader(log);
    FixedText run_text("untouched");
    ASSERT_TRUE(Check(log, &run_text, &reader)) << c.marker_line;
    EXPECT_EQ(run_text.Trimmed(), c.run_text) << c.marker_line;
  }
}

TEST(CheckMonteTest, OnlyTheLastSevenRecordsAreSearched) {
  for (int from_end = 0; from_end < 10; ++from_end) {
    const int count = 20;
    const std::string log = NumberedLog({{count - from_end, "=> PCR  File  : s"}}, count);
    RecordReader reader(log);
    FixedText run_text("untouched");
    EXPECT_EQ(Check(log, &run_text, &reader), from_end < 7) << from_end;
    if (from_end >= 7) {
      EXPECT_EQ(run_text.Trimmed(), "untouched");
      FixedText line;
      EXPECT_FALSE(reader.Read(&line));  // left at end of file
    }
  }
}

// After success the next read gives the seventh record above the marker line, or the first.
TEST(CheckMonteTest, WhereTheLogIsLeft) {
  struct Case {
    std::string log;
    std::string next;
  } cases[] = {
      {NumberedLog({{17, "=> PCR  File  : s"}}, 20), "filler 10"},
      {"=> PCR  File  : s\nCPU Time: 1\n", "=> PCR  File  : s"},
  };
  for (const Case& c : cases) {
    RecordReader reader(c.log);
    FixedText run_text;
    ASSERT_TRUE(Check(c.log, &run_text, &reader));
    FixedText line;
    ASSERT_TRUE(reader.Read(&line));
    EXPECT_EQ(line.Trimmed(), c.next);
  }
}

}  // namespace
}  // namespace tabrun
