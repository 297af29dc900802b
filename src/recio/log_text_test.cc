#include "recio/log_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/memory_log.h"

namespace tabrun {
namespace {

// Records, and hits cut in two by the end of a window, are checked against a plain split of the
// text by the log_scan fuzzer; these tables hold the rules at their edges.

constexpr std::size_t kWindows[] = {LogText::kMinWindow, LogText::kDefaultWindow};

// The 0-based number of the record that starts at `at`; -1 for the end of the text.
int RecordNumber(LogText& text, std::uint64_t at) {
  int n = 0;
  for (std::uint64_t r = 0; r < text.size(); r = text.NextRecord(r), ++n) {
    if (r == at) return n;
  }
  return at == text.size() ? -1 : -2;
}

std::uint64_t StartOf(LogText& text, int number) {
  std::uint64_t at = 0;
  for (int i = 0; i < number; ++i) at = text.NextRecord(at);
  return at;
}

TEST(LogTextTest, RecordsAbove) {
  std::string ten;
  for (int i = 1; i <= 10; ++i)
    ten += "r" + std::to_string(i) + (i == 5 ? std::string(3000, '-') : "") + "\n";
  struct Case {
    std::string text;
    int from;  // record number, -1 for the end of the text
    int n;
    int expected;
  } cases[] = {
      {ten, -1, 7, 3},                     // from the end, seven records above is the fourth record
      {ten, 9, 1, 8},     {ten, 6, 2, 4},  // over a record longer than the small window
      {ten, 9, 35, 0},    {ten, 0, 1, 0}, {"a\nb", -1, 1, 1},  // a last record without a line feed
      {"a\nb", -1, 2, 0},
  };
  for (const Case& c : cases) {
    for (std::size_t window : kWindows) {
      MemoryLog log(c.text, window);
      const std::uint64_t from = c.from < 0 ? log.text.size() : StartOf(log.text, c.from);
      EXPECT_EQ(RecordNumber(log.text, log.text.RecordsAbove(from, c.n)), c.expected)
          << c.from << " - " << c.n << " window " << window;
    }
  }
}

TEST(LogTextTest, FindCountsOnlyWholeMarkersWithin256Columns) {
  const std::string kLong = "Control file *.pcr:";
  const std::string kShort = "Chi2:";
  struct Case {
    std::string text;
    int from;
    std::vector<std::string_view> markers;
    int expected;  // record number, -1 when none
  } cases[] = {
      {std::string(237, '.') + kLong + "\n", 0, {kLong}, 0},  // ends at column 256
      {std::string(238, '.') + kLong + "\n", 0, {kLong}, -1},
      // A hit that does not count, then one in the same record that does not either, then one
      // in the next record that does.
      {std::string(240, '.') + kLong + kLong + "\n" + kLong + "\n", 0, {kLong}, 1},
      // The long marker is too far right, a shorter one further right still fits.
      {std::string(240, '.') + kLong + "\n" + std::string(240, '.') + "Chi2:\n",
       0,
       {kLong, kShort},
       1},
      {std::string(235, '.') + kLong.substr(0, 3) + " Chi2:" + kLong + "\n", 0, {kLong, kShort}, 0},
      {"Chi2:\na\n" + kLong + "\n", 0, {kLong, kShort}, 0},  // the nearest, whatever the order
      {"Chi2:\na\n" + kLong + "\n", 1, {kLong, kShort}, 2},
      {"Chi2:\na\nChi2:\n", 1, {kLong, kShort}, 2},
      {"Chi2\r\n:\n", 0, {kShort}, -1},
  };
  for (const Case& c : cases) {
    for (std::size_t window : kWindows) {
      MemoryLog log(c.text, window);
      const std::uint64_t at =
          log.text.Find(StartOf(log.text, c.from), {c.markers[0], c.markers.back()});
      EXPECT_EQ(RecordNumber(log.text, at), c.expected)
          << c.text.substr(0, 40) << " window " << window;
    }
  }
}

}  // namespace
}  // namespace tabrun
