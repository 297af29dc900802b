#include "report/summary_lines.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tabrun {
namespace {

// The seconds in 14 columns with 3 decimals, at the edges a batch rarely reaches.
TEST(SummaryLinesTest, TotalCpuTime) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  struct Case {
    float seconds;
    const char* field;
  } cases[] = {
      {12.3456f, "        12.346"},
      {0.0f, "         0.000"},
      {-1.5f, "        -1.500"},
      {999999999.0f, "1000000000.000"},  // exactly 14 columns
      {1.0e10f, "**************"},
      {-999999999.0f, "**************"},
      {kInfinity, "**************"},
      {-kInfinity, "**************"},
      {std::numeric_limits<float>::quiet_NaN(), "           NaN"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(TotalSecondsLine(c.seconds),
              std::string(" => Total CPU Time:") + c.field + " seconds\n");
  }
  EXPECT_EQ(TotalMinutesLine(5.2265835f), " =>                         5.227 minutes\n");
}

TEST(SummaryLinesTest, TheWarningRule) {
  struct Case {
    int failures, count;
    bool warns;
  } cases[] = {
      {1, 11, true},   // 1 / 4
      {1, 12, false},  // exactly 20 %: strictly greater is needed
      {1, 7, true},    // 1 / 0: infinity
      {0, 7, false},   // 0 / 0: no number, compares false
      {6, 6, false},   // a negative divisor
      {201, 1007, true}, {200, 1007, false},
  };
  const std::string final_line = "   FINAL RESULTS IN FILE: log.res\n";
  for (const Case& c : cases) {
    EXPECT_EQ(ClosingLines(c.failures, c.count) != final_line, c.warns)
        << c.failures << " of " << c.count;
  }
}

}  // namespace
}  // namespace tabrun
