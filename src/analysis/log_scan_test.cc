#include "analysis/log_scan.h"

#include <gtest/gtest.h>

#include <string>

#include "analysis/scan_test_util.h"

namespace tabrun {
namespace {

// Runs that end in a run summary line.
TEST(LogScanTest, RunSummaries) {
  struct Case {
    const char* name;
    std::string log;
    std::string run_text;  // the run summary's text, without its padding
    float cpu;
  } cases[] = {
      {"chi2 result found 35 records above the CPU time",
       NumberedLog({{4, " Control file *.pcr: run_a1"},
                    {25, "  Chi2:  2.31    Rp:  8.45"},
                    {36, " Normal end"},
                    {37, " CPU Time:    12.345 seconds"}},
                   37),
       Padded("Normal end for run_a1.pcr", 50) + "> CPU:    12.345 s> Chi2:  2.31    Rp:  8.45",
       12.345f},
      {"marker at column 1, R-F2 result",
       NumberedLog({{1, "Control file *.pcr:run_b2"},
                    {7, " RF2 -factor :   5.67"},
                    {8, "Normal end of run"},
                    {9, "CPU Time: 3.5"}},
                   9),
       Padded("Normal end for run_b2.pcr", 50) + "> CPU: 3.5> R-F2:  5.67", 3.5f},
      {"the column right after the R-F2 marker is skipped",
       NumberedLog({{1, "Control file *.pcr:run_b2"},
                    {7, "RF2 -factor :5.67"},
                    {8, "Normal end of run"},
                    {9, "CPU Time: 3.5"}},
                   9),
       Padded("Normal end for run_b2.pcr", 50) + "> CPU: 3.5> R-F2:.67", 3.5f},
      {"a result 41 records above the CPU time is not seen",
       NumberedLog({{1, "Control file *.pcr: run_f6"},
                    {2, "Chi2: 1.0 Rp: 2.0"},
                    {43, "Normal end"},
                    {44, "CPU Time: 7.25"}},
                   44),
       Padded("Normal end for run_f6.pcr", 50) + "> CPU: 7.25", 7.25f},
      {"a result below the CPU time is seen",
       NumberedLog({{1, "Control file *.pcr: r"},
                    {2, "Normal end"},
                    {3, "CPU Time: 1"},
                    {60, "Chi2: 9 Rp: 1"}},
                   70),
       Padded("Normal end for r.pcr", 50) + "> CPU: 1> Chi2: 9 Rp: 1", 1.0f},
      {"the run text is cut at 50 columns before the CPU text",
       NumberedLog({{1, "Control file *.pcr:   a_very_long_control_file_name_for_testing_cut"},
                    {2, "Normal end"},
                    {3, "CPU Time: 1.5"}},
                   3),
       "Normal end for a_very_long_control_file_name_for_t> CPU: 1.5", 1.5f},
      {"the last CPU Time of its record counts",
       NumberedLog(
           {{1, "Control file *.pcr: r"}, {2, "Normal end"}, {3, "CPU Time: 1.0  CPU Time: 2.0"}},
           3),
       Padded("Normal end for r.pcr", 50) + "> CPU: 2.0", 2.0f},
      {"the CPU text is 12 columns whatever the number",
       NumberedLog(
           {{1, "Control file *.pcr: r"}, {2, "Normal end"}, {3, "CPU Time:  123456.789012345 s"}},
           3),
       Padded("Normal end for r.pcr", 50) + "> CPU:  123456.789", 123456.789f},
      {"CPU text columns past 256 are blanks",
       NumberedLog({{1, "Control file *.pcr: r"},
                    {2, "Normal end"},
                    {3, std::string(239, '.') + "CPU Time:12345678"}},
                   3),
       Padded("Normal end for r.pcr", 50) + "> CPU:12345678", 12345678.0f},
      {"chi2 needs Rp on its record; R-F2 then; the last Chi2 counts",
       NumberedLog({{1, "Control file *.pcr: r"},
                    {2, "Chi2: 5"},
                    {3, "Chi2: 1 Chi2: 2 Rp: 3 RF2 -factor :  4"},
                    {4, "RF2 -factor :  6"},
                    {5, "Normal end"},
                    {6, "CPU Time: 1"}},
                   6),
       Padded("Normal end for r.pcr", 50) + "> CPU: 1> Chi2: 2 Rp: 3 RF2 -factor :  4", 1.0f},
      {"a chi2 record without Rp is passed over for a later R-F2",
       NumberedLog({{1, "Control file *.pcr: r"},
                    {2, "Chi2: 5"},
                    {3, "RF2 -factor :  6"},
                    {5, "Normal end"},
                    {6, "CPU Time: 1"}},
                   6),
       Padded("Normal end for r.pcr", 50) + "> CPU: 1> R-F2: 6", 1.0f},
      {"control file name edge cases: nothing after the marker",
       NumberedLog({{1, "Control file *.pcr:"}, {2, "Normal end"}, {3, "CPU Time: 1"}}, 3),
       Padded("Normal end for .pcr", 50) + "> CPU: 1", 1.0f},
      {"control file name keeps what follows it and gets a second .pcr",
       NumberedLog(
           {{1, "Control file *.pcr: run1  (copy).pcr"}, {2, "Normal ending"}, {3, "CPU Time: 1"}},
           3),
       Padded("Normal end for run1  (copy).pcr.pcr", 50) + "> CPU: 1", 1.0f},
      {"crlf line ends summarise like lf ones",
       "Control file *.pcr: w\r\nNormal end\r\nChi2: 1 Rp: 2\r\nCPU Time: 4\r\n",
       Padded("Normal end for w.pcr", 50) + "> CPU: 4> Chi2: 1 Rp: 2", 4.0f},
      {"the annealing line never matters in an ordinary run",
       NumberedLog({{1, "Control file *.pcr: r"},
                    {2, "Normal end"},
                    {3, "=> PCR  File  : other"},
                    {4, "CPU Time: 1"}},
                   4),
       Padded("Normal end for r.pcr", 50) + "> CPU: 1", 1.0f},
      {"annealing run with its best solution",
       NumberedLog({{6, "  => Sol#: 1 RF2=  12.34   x"},
                    {8, "CPU Time:  88.1"},
                    {9, "=> PCR  File  : sa_run1"}},
                   9),
       "Normal end for sa_run1.pcr (Monte/Sim.Anneal.)    > CPU:  88.1> R-F2:  12.34", 88.1f},
      {"annealing name longer than 11 characters cuts the suffix",
       NumberedLog({{2, "=> Sol#: 1 RF2=   7.5321 Chi2=   2.104"},
                    {3, "=> PCR  File  : annealing_test7"},
                    {4, "CPU Time:    301.250 seconds"}},
                   4),
       "Normal end for annealing_test7.pcr (Monte/Sim.Anne> CPU:    301.250> R-F2: 7.5321",
       301.25f},
      {"annealing best solution more than 29 records above is not seen",
       NumberedLog(
           {{1, "=> Sol#: 1 RF2=   7.5321"}, {40, "CPU Time: 2"}, {41, "=> PCR  File  : s"}}, 41),
       Padded("Normal end for s.pcr (Monte/Sim.Anneal.)", 50) + "> CPU: 2", 2.0f},
  };
  for (const Case& c : cases) {
    for (SearchMode mode : {SearchMode::kBlock, SearchMode::kRecordByRecord}) {
      const ScanOutput out = ScanText(c.log, mode);
      EXPECT_EQ(out.result, ScanResult::kDone) << c.name;
      EXPECT_EQ(out.results, SummaryLine(c.run_text)) << c.name;
      EXPECT_EQ(out.console, "") << c.name;
      EXPECT_EQ(out.batch.cpu_total, c.cpu) << c.name;
      EXPECT_EQ(out.batch.failures, 0) << c.name;
    }
  }
}

// Runs that end in a failure line, written untrimmed to log.res and trimmed to the console.
TEST(LogScanTest, FailureLines) {
  struct Case {
    const char* name;
    std::string log;
    std::string lead;
    std::string text;
    int failures;
  } cases[] = {
      {"no normal end", NumberedLog({{1, "Control file *.pcr: run_c3"}}, 3),
       " => Bad end for file: ", "run_c3.pcr", 1},
      {"a CPU time before the control file does not save a bad end",
       "CPU Time: 4\nControl file *.pcr: b\nnormal end\nNORMAL END\n",
       " => Bad end for file: ", "b.pcr", 1},
      {"no CPU time after normal end",
       NumberedLog({{1, "Control file *.pcr: run_d4"}, {2, "Normal end"}, {3, "c"}}, 3),
       " => No CPU calculation for: ", "Normal end for run_d4.pcr", 0},
      {"a CPU time above normal end is not seen",
       NumberedLog({{1, "Control file *.pcr: run_e5"}, {2, "CPU Time: 4.0"}, {3, "Normal end"}}, 3),
       " => No CPU calculation for: ", "Normal end for run_e5.pcr", 0},
      {"annealing run without CPU time", NumberedLog({{9, "=> PCR  File  : sa"}}, 9),
       " => No CPU calculation for: ", "Normal end for sa.pcr (Monte/Sim.Anneal.)", 0},
      {"empty log", "", " => PCR file not found in: ", "run.log", 1},
      {"neither control file line", NumberedLog({{2, "=> PCR File : sa"}, {3, "pcr"}}, 5),
       " => PCR file not found in: ", "run.log", 1},
      {"the annealing line stands too far from the end",
       NumberedLog({{2, "=> PCR  File  : sa"}}, 9), " => PCR file not found in: ", "run.log", 1},
      {"the control file marker runs past column 256",
       std::string(240, '.') + "Control file *.pcr: r\nNormal end\nCPU Time: 1\n",
       " => PCR file not found in: ", "run.log", 1},
  };
  for (const Case& c : cases) {
    for (SearchMode mode : {SearchMode::kBlock, SearchMode::kRecordByRecord}) {
      const ScanOutput out = ScanText(c.log, mode);
      EXPECT_EQ(out.results, c.lead + Padded(c.text, 256) + "\n") << c.name;
      EXPECT_EQ(out.console, c.lead + c.text + "\n") << c.name;
      EXPECT_EQ(out.batch.failures, c.failures) << c.name;
      EXPECT_EQ(out.batch.cpu_total, 0.0f) << c.name;
    }
  }
}

TEST(LogScanTest, CpuSecondsCarryOverANullValue) {
  BatchState batch;
  batch.cpu_total = 10.0f;
  batch.cpu_seconds = 2.5f;
  const ScanOutput out =
      ScanText("Control file *.pcr: r\nNormal end\nCPU Time: , 9\n", SearchMode::kBlock, batch);
  EXPECT_EQ(out.batch.cpu_total, 12.5f);
  EXPECT_EQ(out.results, SummaryLine(Padded("Normal end for r.pcr", 50) + "> CPU: , 9"));
}

TEST(LogScanTest, UnreadableCpuValueWritesNothing) {
  struct Case {
    std::string record;
    std::string bad_text;
  } cases[] = {
      {"CPU Time: abc seconds   ", "abc seconds"},
      {"CPU Time:", ""},
      {"CPU Time:12.5s", "12.5s"},
      {std::string(247, '.') + "CPU Time:", ""},
  };
  for (const Case& c : cases) {
    BatchState batch;
    batch.cpu_total = 1.0f;
    const ScanOutput out = ScanText("Control file *.pcr: r\nNormal end\n" + c.record + "\n",
                                    SearchMode::kBlock, batch);
    EXPECT_EQ(out.result, ScanResult::kBadCpuValue) << c.record;
    EXPECT_EQ(out.bad_text, c.bad_text) << c.record;
    EXPECT_EQ(out.results + out.console, "") << c.record;
    EXPECT_EQ(out.batch.cpu_total, 1.0f) << c.record;
  }
}

}  // namespace
}  // namespace tabrun
