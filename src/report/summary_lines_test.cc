#include "report/summary_lines.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tabrun {
namespace {

// The seconds in 14 columns with 3 decimals, at edges that no end-to-end case reaches.
TEST(SummaryLinesTest, TotalCpuTime) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  struct Case {
    float seconds;
    const char* field;
  } cases[] = {
      {-1.5f, "        -1.500"},
      {999999999.0f, "1000000000.000"},  // exactly 14 columns
      {-999999999.0f, "**************"},
      {kInfinity, "**************"},
      {-kInfinity, "**************"},
      {std::numeric_limits<float>::quiet_NaN(), "           NaN"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(TotalSecondsLine(c.seconds),
              std::string(" => Total CPU Time:") + c.field + " seconds\n");
  }
}

// Beside the listing cases of 7 and 12 lines with one failure: 1 / 0, and exactly 20 %.
TEST(SummaryLinesTest, TheWarningRule) {
  struct Case {
    int failures, count;
    bool warns;
  } cases[] = {
      {1, 11, true},  // 1 / 4
      {0, 7, false},  // 0 / 0: no number, compares false
      {6, 6, false},  // a negative divisor
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
