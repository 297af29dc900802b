#include "report/summary_lines.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

std::string Blanks(std::size_t n) { return std::string(n, ' '); }

TEST(SummaryLinesTest, BannerAndCounts) {
  EXPECT_EQ(Banner() + ConsoleListingCount(3),
            "\n"
            "                =========Program Tab_Run=========\n"
            "     Program to extract information from Kolvaran LOG files\n"
            "                ========= Vestrum 2000  =========\n"
            "\n"
            " File: List_log contains            3  lines\n");
  EXPECT_EQ(ResultsListingCount(-2147483647 - 1),
            "  => The file: List_log contains  -2147483648  lines\n \n");
}

// log.res gets the whole 256-column buffer, so each line kind has its own fixed length; the
// console gets it trimmed, and nothing for a run summary.
TEST(SummaryLinesTest, PerRunLines) {
  const FixedText log_name("broken.log");
  RunScan scan;
  scan.control_file = "broken.pcr";
  struct Case {
    RunOutcome outcome;
    RunKind kind;
    std::string lead;
    std::string text;
  } cases[] = {
      {RunOutcome::kNoControlFile, RunKind::kOrdinary, " => PCR file not found in: ", "broken.log"},
      {RunOutcome::kBadEnd, RunKind::kOrdinary, " => Bad end for file: ", "broken.pcr"},
      {RunOutcome::kNoCpu, RunKind::kOrdinary,
       " => No CPU calculation for: ", "Normal end for broken.pcr"},
      {RunOutcome::kNoCpu, RunKind::kAnnealing,
       " => No CPU calculation for: ", "Normal end for broken.pcr (Monte/Sim.Anneal.)"},
  };
  for (const Case& c : cases) {
    scan.outcome = c.outcome;
    scan.kind = c.kind;
    const RunLines lines = LinesOfRun(scan, log_name);
    EXPECT_EQ(lines.results, c.lead + c.text + Blanks(256 - c.text.size()) + "\n");
    EXPECT_EQ(lines.console, c.lead + c.text + "\n");
  }
  EXPECT_EQ(NotFoundLine(log_name), " => File broken.log not found!\n");
}

TEST(SummaryLinesTest, RunText) {
  struct Case {
    RunKind kind;
    std::string control_file;
    std::string cpu_text;
    ResultLabel label;
    std::string result;
    std::string expected;
  } cases[] = {
      {RunKind::kOrdinary, "cu2o.pcr", "    12.345 s", ResultLabel::kChi2, "  1.53  Rp:  8.21",
       "Normal end for cu2o.pcr" + Blanks(27) + "> CPU:    12.345 s> Chi2:  1.53  Rp:  8.21"},
      {RunKind::kAnnealing, "annealing_test7.pcr", "  301.250   ", ResultLabel::kBestSolution,
       " 7.5321",
       "Normal end for annealing_test7.pcr (Monte/Sim.Anne> CPU:  301.250> R-F2: 7.5321"},
      {RunKind::kOrdinary, "x.pcr", " 3.5        ", ResultLabel::kRf2, std::string(300, 'r'),
       ("Normal end for x.pcr" + Blanks(30) + "> CPU: 3.5> R-F2:" + std::string(300, 'r'))
           .substr(0, 256)},
      {RunKind::kOrdinary, "x.pcr", " 3.5        ", ResultLabel::kNone, "",
       "Normal end for x.pcr" + Blanks(30) + "> CPU: 3.5"},
  };
  for (const Case& c : cases) {
    RunScan scan;
    scan.outcome = RunOutcome::kSummary;
    scan.kind = c.kind;
    scan.control_file = c.control_file;
    scan.cpu_text = c.cpu_text;
    scan.result_label = c.label;
    scan.result_text = c.result;
    EXPECT_EQ(RunText(scan).Trimmed(), c.expected);
    EXPECT_EQ(LinesOfRun(scan, FixedText()).results,
              " => " + std::string(FixedText(c.expected).view()) + "\n");
  }
}

TEST(SummaryLinesTest, Totals) {
  struct Case {
    float value;
    const char* seconds;
  } cases[] = {
      {313.595f, " => Total CPU Time:       313.595 seconds\n"},
      {0.5f, " => Total CPU Time:         0.500 seconds\n"},
      {999999999.0f, " => Total CPU Time:1000000000.000 seconds\n"},  // exactly 14 columns
      {1.0e10f, " => Total CPU Time:************** seconds\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(TotalSecondsLine(c.value), c.seconds);
  EXPECT_EQ(TotalMinutesLine(5.2265835f), " =>                         5.227 minutes\n");
}

TEST(SummaryLinesTest, ClosingLinesAndTheWarning) {
  const std::string final_line = "   FINAL RESULTS IN FILE: log.res\n";
  EXPECT_EQ(
      ClosingLines(1, 10),
      final_line +
          "   \n"
          "   WARNING: If your system is not Windows NT/2000/XP the log.res file is not correct\n"
          "   LOOK INTO individual *.log files!\n");
  struct Case {
    int failures, count;
    bool warns;
  } cases[] = {
      {0, 10, false}, {1, 12, false},  // exactly 20 %: strictly greater is needed
      {1, 11, true},  {1, 7, true},    // 1 / 0: infinity
      {0, 7, false},                   // 0 / 0: no number, compares false
      {6, 6, false},  {201, 1007, true}, {200, 1007, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ClosingLines(c.failures, c.count) != final_line, c.warns)
        << c.failures << " of " << c.count;
  }
}

}  // namespace
}  // namespace tabrun
