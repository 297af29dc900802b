#include "recio/record_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tabrun {
namespace {

constexpr std::string_view kCpu = "CPU Time:";
constexpr std::string_view kChi2 = "Chi2:";

// Reads every remaining record, trimmed.
std::vector<std::string> ReadRest(RecordReader& reader) {
  std::vector<std::string> records;
  FixedText line;
  while (reader.Read(&line)) records.emplace_back(line.Trimmed());
  return records;
}

std::string Lines(int first, int last) {
  std::string text;
  for (int i = first; i <= last; ++i) text += "r" + std::to_string(i) + "\n";
  return text;
}

using Records = std::vector<std::string>;

TEST(RecordReaderTest, RecordBoundaries) {
  struct Case {
    std::string text;
    Records expected;
  } cases[] = {
      {"", {}},
      {"\n", {""}},
      {"a\nb", {"a", "b"}},  // a last line without line feed is a record
      {"a\nb\n", {"a", "b"}},
      {"a\n\nb\n", {"a", "", "b"}},
      {"a\r\nb\r\n", {"a", "b"}},  // a carriage return before the line feed ends the line
      {"a\rb\n", {"a\rb"}},        // any other one is an ordinary character
      {"a\r\r\n", {"a\r"}},
      {"a\r", {"a\r"}},  // no line feed follows it
      {"\r\n", {""}},
      {std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
  };
  for (const Case& c : cases) {
    RecordReader reader(c.text);
    EXPECT_EQ(ReadRest(reader), c.expected) << testing::PrintToString(c.text);
  }
}

TEST(RecordReaderTest, LongRecordIsCutAndItsRestSkipped) {
  const std::string text = std::string(300, 'x') + "\nnext\n";
  RecordReader reader(text);
  FixedText line;
  ASSERT_TRUE(reader.Read(&line));
  EXPECT_EQ(line.view(), std::string(256, 'x'));
  ASSERT_TRUE(reader.Read(&line));
  EXPECT_EQ(line.Trimmed(), "next");
}

TEST(RecordReaderTest, EndOfFileLeavesTheLineAsItWas) {
  RecordReader reader("only\n");
  FixedText line;
  ASSERT_TRUE(reader.Read(&line));
  EXPECT_FALSE(reader.Read(&line));
  EXPECT_FALSE(reader.Read(&line));
  EXPECT_EQ(line.Trimmed(), "only");
}

TEST(RecordReaderTest, StepBack) {
  struct Case {
    const char* name;
    std::string text;
    int reads;  // records read first (more than there are: runs into end of file)
    int steps_back;
    Records expected;  // what the following reads give
  } cases[] = {
      {"right after opening", Lines(1, 3), 0, 1, {"r1", "r2", "r3"}},
      {"back over one", Lines(1, 3), 2, 1, {"r2", "r3"}},
      {"more than were read", Lines(1, 3), 2, 5, {"r1", "r2", "r3"}},
      {"eight after end of file", Lines(1, 10), 11, 8, {"r4", "r5", "r6", "r7", "r8", "r9", "r10"}},
      {"first one after end of file only leaves it", Lines(1, 3), 4, 1, {}},
      {"second one after end of file", Lines(1, 3), 4, 2, {"r3"}},
      {"last record was read, no end of file yet", Lines(1, 3), 3, 1, {"r3"}},
      {"last line without line feed", "a\nb", 3, 2, {"b"}},
      {"empty records", "\n\n\n", 4, 3, {"", ""}},
      {"crlf", "a\r\nb\r\nc\r\n", 4, 3, {"b", "c"}},
      {"empty file", "", 1, 8, {}},
      {"file shorter than the step", Lines(1, 3), 4, 36, {"r1", "r2", "r3"}},
  };
  for (const Case& c : cases) {
    RecordReader reader(c.text);
    FixedText line;
    for (int i = 0; i < c.reads; ++i) reader.Read(&line);
    for (int i = 0; i < c.steps_back; ++i) reader.BackSpace();
    EXPECT_EQ(ReadRest(reader), c.expected) << c.name;
  }
}

class ReadUntilTest : public testing::TestWithParam<SearchMode> {};

TEST_P(ReadUntilTest, FindsTheFirstRecordHoldingAMarkerWithin256Columns) {
  const std::string pad247(247, '.');  // "CPU Time:" then ends exactly at column 256
  const std::string pad248(248, '.');  // ... runs one column past 256
  struct Case {
    const char* name;
    std::string text;
    std::string expected;  // the record found, trimmed; "EOF" when none
    Records after;         // what the following reads give
  } cases[] = {
      {"marker at column 1", "a\nCPU Time: 1\nb\n", "CPU Time: 1", {"b"}},
      {"ends at column 256", pad247 + "CPU Time:\nb\n", pad247 + "CPU Time:", {"b"}},
      {"runs past column 256", pad248 + "CPU Time:\nb\n", "EOF", {}},
      {"past 256 first, then a good one",
       pad248 + "CPU Time: 1 CPU Time:\nx CPU Time: 2\nc\n",
       "x CPU Time: 2",
       {"c"}},
      {"case counts", "cpu time: 1\nCPU TIME: 2\n", "EOF", {}},
      {"not split over lines", "CPU\nTime:\n", "EOF", {}},
      {"marker in the last line without line feed", "a\nb CPU Time: 3", "b CPU Time: 3", {}},
      {"before a carriage return", "CPU Time:\r\nz\n", "CPU Time:", {"z"}},
      {"either marker, whichever record is first",
       "a\n Chi2: 1\nCPU Time: 2\n",
       " Chi2: 1",
       {"CPU Time: 2"}},
      {"a long line without a marker, then one",
       std::string(100000, 'y') + "\nChi2:\n",
       "Chi2:",
       {}},
  };
  for (const Case& c : cases) {
    RecordReader reader(c.text, GetParam());
    FixedText line("unchanged");
    const bool found = reader.ReadUntil({kCpu, kChi2}, &line);
    EXPECT_EQ(found ? std::string(line.Trimmed()) : "EOF", c.expected) << c.name;
    if (!found) {
      EXPECT_EQ(line.Trimmed(), "unchanged") << c.name;
    }
    EXPECT_EQ(ReadRest(reader), c.after) << c.name;
  }
}

TEST_P(ReadUntilTest, SearchesOnFromWhereTheReaderStands) {
  const std::string text = "CPU Time: 1\nChi2: a\nCPU Time: 2\nChi2: b\n";
  RecordReader reader(text, GetParam());
  FixedText line;
  Records found;
  while (reader.ReadUntil({kCpu, kChi2}, &line)) found.emplace_back(line.Trimmed());
  EXPECT_EQ(found, (Records{"CPU Time: 1", "Chi2: a", "CPU Time: 2", "Chi2: b"}));
  // After a search that ran into end of file, one step back only leaves the end.
  reader.BackSpace();
  reader.BackSpace();
  ASSERT_TRUE(reader.ReadUntil({kChi2}, &line));
  EXPECT_EQ(line.Trimmed(), "Chi2: b");
  // Stepping back above a record found before finds it again.
  for (int i = 0; i < 4; ++i) reader.BackSpace();
  ASSERT_TRUE(reader.ReadUntil({kCpu}, &line));
  EXPECT_EQ(line.Trimmed(), "CPU Time: 1");
}

INSTANTIATE_TEST_SUITE_P(BothModes, ReadUntilTest,
                         testing::Values(SearchMode::kBlock, SearchMode::kRecordByRecord));

}  // namespace
}  // namespace tabrun
