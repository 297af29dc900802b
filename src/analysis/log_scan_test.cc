#include "analysis/log_scan.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "report/script_rows.h"
#include "testing/memory_log.h"

namespace tabrun {
namespace {

// A log of `count` records: record n is records[n] when given, "filler n" otherwise.
std::string Numbered(const std::map<int, std::string>& records, int count) {
  std::string text;
  for (int n = 1; n <= count; ++n) {
    const auto it = records.find(n);
    text += (it != records.end() ? it->second : "filler " + std::to_string(n)) + "\n";
  }
  return text;
}

// The scan in one line: outcome, kind, control file | CPU text | seconds | label and result.
std::string Describe(const RunScan& scan) {
  static const char* const kOutcomes[] = {"summary", "no-cpu", "bad-end", "no-control-file",
                                          "bad-cpu"};
  static const char* const kLabels[] = {"", "chi2:", "rf2:", "best:"};
  std::ostringstream out;
  out << kOutcomes[static_cast<int>(scan.outcome)] << " "
      << (scan.kind == RunKind::kAnnealing ? "annealing " : "") << scan.control_file;
  if (scan.outcome == RunOutcome::kBadCpuValue) out << "|" << TrimRight(scan.cpu_value_text);
  if (scan.outcome == RunOutcome::kSummary) {
    out << "|" << scan.cpu_text << "|";
    if (scan.cpu_seconds) out << *scan.cpu_seconds;
    out << "|" << kLabels[static_cast<int>(scan.result_label)] << scan.result_text;
  }
  return out.str();
}

TEST(LogScanTest, WhatEachLogSays) {
  const std::string ctl = "Control file *.pcr: r";
  struct Case {
    std::string log;
    std::string expected;
  } cases[] = {
      // The result line may stand 35 records above the CPU record, not 36; or below it.
      {Numbered(
           {{1, ctl}, {2, " Chi2: 2.31 Rp: 8"}, {36, "Normal end"}, {37, " CPU Time: 12.345 s"}},
           37),
       "summary r.pcr| 12.345 s   |12.345|chi2: 2.31 Rp: 8"},
      {Numbered({{1, " Chi2: 2.31 Rp: 8"}, {2, ctl}, {36, "Normal end"}, {37, "CPU Time: 1"}}, 37),
       "summary r.pcr| 1          |1|"},
      {Numbered({{1, ctl}, {2, "Normal end"}, {3, "CPU Time: 1"}, {60, "Chi2: 9 Rp: 1"}}, 70),
       "summary r.pcr| 1          |1|chi2: 9 Rp: 1"},
      // R-F2 skips the column after its marker; the last "Chi2:" of a record counts; a Chi2
      // record without "Rp:" is passed over.
      {Numbered({{1, "Control file *.pcr:run_b2"},
                 {7, "RF2 -factor :5.67"},
                 {8, "Normal end of run"},
                 {9, "CPU Time: 3.5"}},
                9),
       "summary run_b2.pcr| 3.5        |3.5|rf2:.67"},
      {Numbered({{1, ctl},
                 {2, "Chi2: 5"},
                 {3, "Chi2: 1 Chi2: 2 Rp: 3 RF2 -factor :  4"},
                 {5, "Normal end"},
                 {6, "CPU Time: 1"}},
                6),
       "summary r.pcr| 1          |1|chi2: 2 Rp: 3 RF2 -factor :  4"},
      {Numbered({{1, ctl},
                 {2, "Chi2: 5"},
                 {3, "RF2 -factor :  6"},
                 {5, "Normal end"},
                 {6, "CPU Time: 1"}},
                6),
       "summary r.pcr| 1          |1|rf2: 6"},
      // The last whole "CPU Time:" of its record counts; its text is 12 columns, blanks past 256.
      {Numbered(
           {{1, ctl}, {2, "Normal end"}, {3, "CPU Time: 1.0  CPU Time:  123456.789012 s CPU Tim"}},
           3),
       "summary r.pcr|  123456.789|123457|"},
      {Numbered({{1, ctl}, {2, "Normal end"}, {3, std::string(239, '.') + "CPU Time:12345678"}}, 3),
       "summary r.pcr|12345678    |1.23457e+07|"},
      {"Control file *.pcr: w\r\nNormal end\r\nChi2: 1 Rp: 2\r\nCPU Time: ,\r\n",
       "summary w.pcr| ,          ||chi2: 1 Rp: 2"},
      // Control file names: nothing after the marker, text after the name, blanks around it.
      {Numbered({{1, "Control file *.pcr:"}, {2, "Normal ending"}, {3, "CPU Time: 1"}}, 3),
       "summary .pcr| 1          |1|"},
      {Numbered(
           {{1, "Control file *.pcr:   run1  (copy).pcr  "}, {2, "Normal end"}, {3, "CPU Time: 1"}},
           3),
       "summary run1  (copy).pcr.pcr| 1          |1|"},
      // Annealing runs: the control file line among the last seven records, not the eighth;
      // the CPU time from seven records above that line, not eight; the best solution 29
      // records above the CPU record, not 30, and columns 18 to 25 of it.
      {Numbered({{6, "  => Sol#: 1 RF2=  12.34   x"},
                 {8, "CPU Time:  88.1"},
                 {9, "=> PCR  File  : sa_run1"}},
                9),
       "summary annealing sa_run1.pcr|  88.1      |88.1|best:  12.34"},
      {Numbered({{2, "CPU Time: 2"}, {3, "=> PCR  File  : s"}}, 9),
       "summary annealing s.pcr| 2          |2|"},
      {Numbered({{2, "CPU Time: 2"}, {3, "=> PCR  File  : s"}}, 10), "no-control-file "},
      {Numbered({{1, "CPU Time: 2"}, {8, "=> PCR  File  : s"}}, 9),
       "summary annealing s.pcr| 2          |2|"},
      {Numbered({{1, "CPU Time: 2"}, {9, "=> PCR  File  : s"}}, 9), "no-cpu annealing s.pcr"},
      {Numbered({{1, "=> Sol#: 1 RF2=   7.5321"}, {30, "CPU Time: 2"}, {31, "=> PCR  File  : s"}},
                31),
       "summary annealing s.pcr| 2          |2|best: 7.5321"},
      {Numbered({{1, "=> Sol#: 1 RF2=   7.5321"}, {31, "CPU Time: 2"}, {32, "=> PCR  File  : s"}},
                32),
       "summary annealing s.pcr| 2          |2|"},
      // The name field starts after the line's first colon and ends at the first blank
      // from two columns after it.
      {Numbered({{1, "12:05 => PCR  File  : sa"}, {2, "CPU Time: 1"}}, 2),
       "summary annealing 05.pcr| 1          |1|"},
      {Numbered({{1, "=> PCR  File  :  two"}, {2, "CPU Time: 1"}}, 2),
       "summary annealing .pcr| 1          |1|"},
      // Failures.
      {Numbered(
           {{1, "CPU Time: 4"}, {2, "Control file *.pcr: b"}, {3, "normal end"}, {4, "NORMAL END"}},
           4),
       "bad-end b.pcr"},
      {Numbered({{1, ctl}, {2, "CPU Time: 4.0"}, {3, "Normal end"}}, 3), "no-cpu r.pcr"},
      {"", "no-control-file "},
      {std::string(240, '.') + "Control file *.pcr: r\nNormal end\nCPU Time: 1\n",
       "no-control-file "},
      {Numbered({{1, ctl}, {2, "Normal end"}, {3, "CPU Time: abc seconds"}}, 3),
       "bad-cpu r.pcr| abc seconds"},
      {Numbered({{1, ctl}, {2, "Normal end"}, {3, std::string(247, '.') + "CPU Time:"}}, 3),
       "bad-cpu r.pcr|"},
  };
  for (const Case& c : cases) {
    for (std::size_t window : {LogText::kMinWindow, LogText::kDefaultWindow}) {
      MemoryLog log(c.log, window);
      EXPECT_EQ(Describe(ScanLog(log.text)), c.expected) << c.log.substr(0, 60);
    }
  }
}

// Each figure of the rows is the whole number after its label, however many blanks and digits
// it has, past column 256 too; a no_cpu run's figures come from its last result record before
// "Normal end", or when there is none, after it.
TEST(LogScanTest, FiguresAsWritten) {
  using Field = std::optional<double> ScriptRow::*;
  const std::string ctl = "Control file *.pcr: r\n";
  const struct {
    std::string log;  // "@" stands for the figure
    std::vector<Field> fields;
  } cases[] = {
      {ctl + " Chi2:@ Rp:@ Rwp:@ Rexp:@\nNormal end\nCPU Time: 1\n",
       {&ScriptRow::chi2, &ScriptRow::rp, &ScriptRow::rwp, &ScriptRow::rexp}},
      {ctl + "RF2 -factor :@ RF2w-factor :@ RF-factor :@\nNormal end\nCPU Time: 1\n",
       {&ScriptRow::rf2, &ScriptRow::rf2w, &ScriptRow::rf}},
      {"=> Sol#: 1 RF2=@\nCPU Time: 2\n=> PCR  File  : s\n", {&ScriptRow::rf2}},
      {ctl + "Rp: 1" + std::string(245, '.') + "Chi2:@ Chi2: 5\nNormal end\nCPU Time: 1\n",
       {&ScriptRow::chi2}},
      {ctl + "Chi2: 9 Rp: 9\nChi2:@ Rp: 1\nNormal end\nChi2: 8 Rp: 8\n", {&ScriptRow::chi2}},
      {ctl + "Normal end\nChi2: 8 Rp: 8\r\nRF2 -factor :@\r\n", {&ScriptRow::rf2}},
  };
  for (const auto& c : cases) {
    for (const std::string blanks : {"", " ", "    "}) {
      for (const std::string figure : {"7.25", "37.25", "137.25", "1037.25"}) {
        std::string log = c.log;
        for (std::size_t at; (at = log.find('@')) != std::string::npos;) {
          log.replace(at, 1, blanks + figure);
        }
        MemoryLog memory(log, LogText::kMinWindow);
        const ScriptRow row = RowOfScan("r.log", ScanLog(memory.text));
        for (const Field field : c.fields) EXPECT_EQ(row.*field, std::stod(figure)) << log;
      }
    }
  }
}

// A log cut short while it is read ends where its bytes stopped, for every search: the scan
// gives what the bytes read can give, never a line that is not there. The reader has read the
// first window before the cut; undisturbed, the log has no CPU time.
TEST(LogScanTest, LogCutShortWhileRead) {
  const std::string head = " Control file *.pcr: big\n" + Numbered({}, 40);
  const std::string text = head + " Normal end\n" + Numbered({}, 2000);
  for (const auto& [length, expected] : {std::pair<std::size_t, std::string>{0, "bad-end big.pcr"},
                                         {head.size() + 5, "bad-end big.pcr"},
                                         {head.size() + 12, "no-cpu big.pcr"},
                                         {text.size(), "no-cpu big.pcr"}}) {
    MemoryLog log(text, LogText::kMinWindow);
    log.text.Record(0);
    ASSERT_TRUE(log.Truncate(length));
    EXPECT_EQ(Describe(ScanLog(log.text)), expected) << length;
  }
}

}  // namespace
}  // namespace tabrun
