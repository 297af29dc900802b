#include "report/summary_lines.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

std::string Blanks(std::size_t n) { return std::string(n, ' '); }

TEST(SummaryLinesTest, BannerAndCounts) {
  OutputUnit console("*", "memory");
  OutputUnit results("1", "memory");
  WriteBanner(console);
  WriteConsoleListingCount(console, 3);
  WriteResultsListingCount(results, 3);
  EXPECT_EQ(console.contents(),
            "\n"
            "                =========Program Tab_Run=========\n"
            "     Program to extract information from Kolvaran LOG files\n"
            "                ========= Vestrum 2000  =========\n"
            "\n"
            " File: List_log contains            3  lines\n");
  EXPECT_EQ(results.contents(),
            "  => The file: List_log contains            3  lines\n"
            " \n");
}

TEST(SummaryLinesTest, PerRunLinesAreUntrimmedInLogResOnly) {
  OutputUnit console("*", "memory");
  OutputUnit results("1", "memory");
  const ReportStreams out{console, results};
  const FixedText name("broken.log");
  const FixedText text("broken.pcr");
  WriteNotFound(console, name);
  WriteMissingControlFile(out, name);
  WriteBadEnd(out, text);
  WriteNoCpu(out, text);
  WriteRunSummary(results, text);
  EXPECT_EQ(console.contents(),
            " => File broken.log not found!\n"
            " => PCR file not found in: broken.log\n"
            " => Bad end for file: broken.pcr\n"
            " => No CPU calculation for: broken.pcr\n");
  EXPECT_EQ(results.contents(), " => PCR file not found in: broken.log" + Blanks(246) + "\n" +
                                    " => Bad end for file: broken.pcr" + Blanks(246) + "\n" +
                                    " => No CPU calculation for: broken.pcr" + Blanks(246) + "\n" +
                                    " => broken.pcr" + Blanks(246) + "\n");
  // Fixed lengths per line kind: 283, 278, 284 and 260 characters.
  std::size_t start = 0;
  for (std::size_t expected : {283u, 278u, 284u, 260u}) {
    const std::size_t end = results.contents().find('\n', start);
    EXPECT_EQ(end - start, expected);
    start = end + 1;
  }
}

TEST(SummaryLinesTest, CpuTotalsInSecondsThenMinutes) {
  struct Case {
    float seconds;
    const char* console;
  } cases[] = {
      {313.595f,
       " => Total CPU Time:       313.595 seconds\n"
       " =>                         5.227 minutes\n"},
      {90.0f,
       " => Total CPU Time:        90.000 seconds\n"
       " =>                         1.500 minutes\n"},
      {0.0f,
       " => Total CPU Time:         0.000 seconds\n"
       " =>                         0.000 minutes\n"},
      // Too wide in seconds, exactly 14 columns in single-precision minutes.
      {1.0e11f,
       " => Total CPU Time:************** seconds\n"
       " =>                1666666624.000 minutes\n"},
      {1.0e12f,
       " => Total CPU Time:************** seconds\n"
       " =>                ************** minutes\n"},
  };
  for (const Case& c : cases) {
    OutputUnit console("*", "memory");
    OutputUnit results("1", "memory");
    WriteCpuTotals({console, results}, c.seconds);
    EXPECT_EQ(console.contents(), c.console) << c.seconds;
    EXPECT_EQ(results.contents(), c.console) << c.seconds;
  }
}

TEST(SummaryLinesTest, ClosingLines) {
  OutputUnit console("*", "memory");
  WriteFinalResults(console);
  WriteWarning(console);
  EXPECT_EQ(console.contents(),
            "   FINAL RESULTS IN FILE: log.res\n"
            "   \n"
            "   WARNING: If your system is not Windows NT/2000/XP the log.res file is not correct\n"
            "   LOOK INTO individual *.log files!\n");
}

TEST(WarningDueTest, Thresholds) {
  struct Case {
    int failures, count;
    bool warns;
  } cases[] = {
      {1, 10, true},                      // 33.3 %
      {0, 10, false},    {1, 12, false},  // exactly 20 %: strictly greater is needed
      {2, 16, true},     {1, 7, true},    // 1 / 0: infinity
      {0, 7, false},                      // 0 / 0: no number, compares false
      {3, 3, false},                      // negative divisor
      {6, 6, false},     {0, 0, false},
      {1, 8, true},      {200, 1007, false},  // 5 * 200 = 1000: not above
      {201, 1007, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WarningDue(c.failures, c.count), c.warns) << c.failures << " of " << c.count;
  }
}

}  // namespace
}  // namespace tabrun
