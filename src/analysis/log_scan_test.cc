#include "analysis/log_scan.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "analysis/markers.h"
#include "testing/memory_log.h"

namespace tabrun {
namespace {

// A log of `count` records: "filler n" for record n, but where (number, text) pairs say else.
template <typename... Records>
std::string Numbered(int count, const Records&... records) {
  std::vector<std::string> lines;
  for (int n = 1; n <= count; ++n) lines.push_back("filler " + std::to_string(n));
  int number = 0;
  [[maybe_unused]] const auto put = [&](const auto& record) {
    if constexpr (std::is_integral_v<std::decay_t<decltype(record)>>) {
      number = record;
    } else {
      lines.at(static_cast<std::size_t>(number - 1)) = record;
    }
  };
  (put(records), ...);
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// The scan in one line: outcome, kind, control file | CPU text | seconds | label and result.
std::string Describe(const RunScan& scan) {
  static const char* const kStatuses[] = {"summary", "no-cpu", "bad-end", "no-control-file",
                                          "bad-cpu"};
  static const char* const kLabels[] = {"", "chi2:", "rf2:", "best:"};
  std::ostringstream out;
  out << kStatuses[static_cast<int>(scan.status)] << " "
      << (scan.kind == RunKind::kAnnealing ? "annealing " : "") << scan.control_file;
  if (scan.status == RunStatus::kBadCpuValue) out << "|" << TrimRight(scan.cpu_value_text);
  if (scan.status == RunStatus::kOk) {
    out << "|" << scan.cpu_text << "|";
    if (scan.cpu_single) out << *scan.cpu_single;
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
      {Numbered(37, 1, ctl, 2, " Chi2: 2.31 Rp: 8", 36, "Normal end", 37, " CPU Time: 12.345 s"),
       "summary r.pcr| 12.345 s   |12.345|chi2: 2.31 Rp: 8"},
      {Numbered(37, 1, " Chi2: 2.31 Rp: 8", 2, ctl, 36, "Normal end", 37, "CPU Time: 1"),
       "summary r.pcr| 1          |1|"},
      {Numbered(70, 1, ctl, 2, "Normal end", 3, "CPU Time: 1", 60, "Chi2: 9 Rp: 1"),
       "summary r.pcr| 1          |1|chi2: 9 Rp: 1"},
      // R-F2 skips the column after its marker; the last "Chi2:" of a record counts; a Chi2
      // record without "Rp:" is passed over.
      {Numbered(9, 1, "Control file *.pcr:run_b2", 7, "RF2 -factor :5.67", 8, "Normal end of run",
                9, "CPU Time: 3.5"),
       "summary run_b2.pcr| 3.5        |3.5|rf2:.67"},
      {Numbered(6, 1, ctl, 2, "Chi2: 5", 3, "Chi2: 1 Chi2: 2 Rp: 3 RF2 -factor :  4", 5,
                "Normal end", 6, "CPU Time: 1"),
       "summary r.pcr| 1          |1|chi2: 2 Rp: 3 RF2 -factor :  4"},
      {Numbered(6, 1, ctl, 2, "Chi2: 5", 3, "RF2 -factor :  6", 5, "Normal end", 6, "CPU Time: 1"),
       "summary r.pcr| 1          |1|rf2: 6"},
      // The last whole "CPU Time:" of its record counts; its text is 12 columns, blanks past 256.
      {Numbered(3, 1, ctl, 2, "Normal end", 3, "CPU Time: 1.0  CPU Time:  123456.789012 s CPU Tim"),
       "summary r.pcr|  123456.789|123457|"},
      {Numbered(3, 1, ctl, 2, "Normal end", 3, std::string(239, '.') + "CPU Time:12345678"),
       "summary r.pcr|12345678    |1.23457e+07|"},
      {"Control file *.pcr: w\r\nNormal end\r\nChi2: 1 Rp: 2\r\nCPU Time: ,\r\n",
       "summary w.pcr| ,          ||chi2: 1 Rp: 2"},
      // Control file names: nothing after the marker, text after the name, blanks around it.
      {Numbered(3, 1, "Control file *.pcr:", 2, "Normal ending", 3, "CPU Time: 1"),
       "summary .pcr| 1          |1|"},
      {Numbered(3, 1, "Control file *.pcr:   run1  (copy).pcr  ", 2, "Normal end", 3,
                "CPU Time: 1"),
       "summary run1  (copy).pcr.pcr| 1          |1|"},
      // Annealing runs: the control file line among the last seven records, not the eighth;
      // the CPU time from seven records above that line, not eight; the best solution 29
      // records above the CPU record, not 30, and columns 18 to 25 of it.
      {Numbered(9, 6, "  => Sol#: 1 RF2=  12.34   x", 8, "CPU Time:  88.1", 9,
                "=> PCR  File  : sa_run1"),
       "summary annealing sa_run1.pcr|  88.1      |88.1|best:  12.34"},
      {Numbered(9, 2, "CPU Time: 2", 3, "=> PCR  File  : s"),
       "summary annealing s.pcr| 2          |2|"},
      {Numbered(10, 2, "CPU Time: 2", 3, "=> PCR  File  : s"), "no-control-file "},
      {Numbered(9, 1, "CPU Time: 2", 8, "=> PCR  File  : s"),
       "summary annealing s.pcr| 2          |2|"},
      {Numbered(9, 1, "CPU Time: 2", 9, "=> PCR  File  : s"), "no-cpu annealing s.pcr"},
      {Numbered(31, 1, "=> Sol#: 1 RF2=   7.5321", 30, "CPU Time: 2", 31, "=> PCR  File  : s"),
       "summary annealing s.pcr| 2          |2|best: 7.5321"},
      {Numbered(32, 1, "=> Sol#: 1 RF2=   7.5321", 31, "CPU Time: 2", 32, "=> PCR  File  : s"),
       "summary annealing s.pcr| 2          |2|"},
      // The name field starts after the line's first colon and ends at the first blank
      // from two columns after it.
      {Numbered(2, 1, "12:05 => PCR  File  : sa", 2, "CPU Time: 1"),
       "summary annealing 05.pcr| 1          |1|"},
      {Numbered(2, 1, "=> PCR  File  :  two", 2, "CPU Time: 1"),
       "summary annealing .pcr| 1          |1|"},
      // Failures.
      {Numbered(4, 1, "CPU Time: 4", 2, "Control file *.pcr: b", 3, "normal end", 4, "NORMAL END"),
       "bad-end b.pcr"},
      {Numbered(3, 1, ctl, 2, "CPU Time: 4.0", 3, "Normal end"), "no-cpu r.pcr"},
      {"", "no-control-file "},
      {std::string(240, '.') + "Control file *.pcr: r\nNormal end\nCPU Time: 1\n",
       "no-control-file "},
      {Numbered(3, 1, ctl, 2, "Normal end", 3, "CPU Time: abc seconds"),
       "bad-cpu r.pcr| abc seconds"},
      {Numbered(3, 1, ctl, 2, "Normal end", 3, std::string(247, '.') + "CPU Time:"),
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
// it has, past column 256 too.
TEST(LogScanTest, FiguresAsWritten) {
  using Field = std::optional<double> Figures::*;
  const std::string ctl = "Control file *.pcr: r\n";
  const struct {
    std::string log;  // "@" stands for the figure
    std::vector<Field> fields;
  } cases[] = {
      {ctl + " Chi2:@ Rp:@ Rwp:@ Rexp:@\nNormal end\nCPU Time: 1\n",
       {&Figures::chi2, &Figures::rp, &Figures::rwp, &Figures::rexp}},
      {ctl + "RF2 -factor :@ RF2w-factor :@ RF-factor :@\nNormal end\nCPU Time: 1\n",
       {&Figures::rf2, &Figures::rf2w, &Figures::rf}},
      {"=> Sol#: 1 RF2=@\nCPU Time: 2\n=> PCR  File  : s\n", {&Figures::rf2}},
      {ctl + "Rp: 1" + std::string(245, '.') + "Chi2:@ Chi2: 5\nNormal end\nCPU Time: 1\n",
       {&Figures::chi2}},
      {ctl + "Normal end\nChi2: 8 Rp: 8\r\nRF2 -factor :@\r\n", {&Figures::rf2}},
  };
  for (const auto& c : cases) {
    for (const std::string blanks : {"", " ", "    "}) {
      for (const std::string figure : {"7.25", "37.25", "137.25", "1037.25"}) {
        std::string log = c.log;
        for (std::size_t at; (at = log.find('@')) != std::string::npos;) {
          log.replace(at, 1, blanks + figure);
        }
        MemoryLog memory(log, LogText::kMinWindow);
        const Figures figures = ScanLog(memory.text, {.rows = true}).figures;
        for (const Field field : c.fields) EXPECT_EQ(figures.*field, std::stod(figure)) << log;
      }
    }
  }
}

// What the rows say of a log beyond the summary: its status, the figures of both families
// (of a run without CPU time, those the summary would take had its CPU record stood right after
// "Normal end", or for an annealing run after its last record), and for a failed run why, and
// its last record.
std::string DescribeRow(const RunScan& scan) {
  static const char* const kStatuses[] = {"ok", "no_cpu", "bad_end", "no_control_file",
                                          "bad_cpu_value"};
  static const char* const kReasons[] = {"",
                                         "empty",
                                         "stated: ",
                                         "cut",
                                         "stopped",
                                         "no-cpu",
                                         "no-cpu-annealing",
                                         "cpu-nan",
                                         "annealing-stopped",
                                         "not-refinement"};
  std::ostringstream out;
  out << kStatuses[static_cast<int>(scan.status)];
  const Figures& f = scan.figures;
  const std::pair<const char*, std::optional<double>> figures[] = {
      {"chi2", f.chi2}, {"rp", f.rp},     {"rwp", f.rwp}, {"rexp", f.rexp},
      {"rf2", f.rf2},   {"rf2w", f.rf2w}, {"rf", f.rf}};
  for (const auto& [name, value] : figures) {
    if (value) out << " " << name << "=" << *value;
  }
  if (scan.status != RunStatus::kOk) {
    out << " | " << kReasons[static_cast<int>(scan.reason)] << scan.failure_record << " | "
        << scan.last_record;
  }
  return out.str();
}

TEST(LogScanTest, WhatEachRowSays) {
  const std::string ctl = " => Control file *.pcr: r";
  const std::string chi2 = " => Chi2:  1.53  Rp:  8.21  Rwp: 10.47  Rexp:  8.46";
  const std::string background =
      " => Background-subtracted R-factors: Rp: 11.04  Rwp: 13.32  Chi2:  1.53";
  const std::string ne = " => Normal end, final calculations and writing...";
  const std::string shipped_figures = " chi2=1.53 rp=8.21 rwp=10.47 rexp=8.46";
  const std::string temp = " => Temp:    4.649  Accepted:  0.378  Cost:   11.678";
  struct Case {
    std::string log;
    std::string expected;
  } cases[] = {
      // The shipped layout: an earlier cycle's figures out of reach, the result record, the
      // background-subtracted one, "Normal end"; with and without its CPU record.
      {Numbered(46, 1, ctl, 5, "Rp: 9.10 Rwp: 11.55 Rexp: 8.46 Chi2: 2.05", 40, chi2, 41,
                background, 44, ne, 45, " => CPU Time:    12.345 seconds"),
       "ok" + shipped_figures},
      {Numbered(46, 1, ctl, 5, "Rp: 9.10 Rwp: 11.55 Rexp: 8.46 Chi2: 2.05", 40, chi2, 41,
                background, 44, ne),
       "no_cpu" + shipped_figures + " | no-cpu | filler 46"},
      // The result record 34 records above "Normal end" is in reach, 35 are not.
      {Numbered(40, 1, ctl, 6, chi2, 40, ne), "no_cpu" + shipped_figures + " | no-cpu | " + ne},
      {Numbered(40, 1, ctl, 5, chi2, 40, ne), "no_cpu | no-cpu | " + ne},
      // Still being written after "Normal end".
      {ctl + "\n" + chi2 + "\n" + ne + "\n => Writing",
       "no_cpu" + shipped_figures + " | cut |  => Writing"},
      // An annealing run without CPU time: its best solution up to 28 records above its last
      // record, as if its CPU record followed it.
      {Numbered(30, 2, "  => Sol#: 1 RF2=  9.4312 Chi2=  3.218", 30, "=> PCR  File  : s"),
       "no_cpu rf2=9.4312 | no-cpu-annealing | => PCR  File  : s"},
      {Numbered(30, 1, "  => Sol#: 1 RF2=  9.4312 Chi2=  3.218", 30, "=> PCR  File  : s"),
       "no_cpu | no-cpu-annealing | => PCR  File  : s"},
      // Both families in one window, whichever comes first; a record may hold both.
      {Numbered(5, 1, ctl, 2, "RF2 -factor : 6 RF2w-factor : 7 RF-factor : 8", 3,
                "Chi2: 2 Rp: 3 Rwp: 4 Rexp: 5", 4, ne, 5, "CPU Time: 1"),
       "ok chi2=2 rp=3 rwp=4 rexp=5 rf2=6 rf2w=7 rf=8"},
      {Numbered(4, 1, ctl, 2, "Chi2: 2 Rp: 3 RF2 -factor : 6", 3, "Chi2: 9 Rp: 9 RF2 -factor : 9",
                4, ne),
       "no_cpu chi2=2 rp=3 rf2=6 | no-cpu | " + ne},
      // Reasons: an empty log.
      {"", "no_control_file | empty | "},
      {"  \r\n\n   \n", "no_control_file | empty | "},
      // The record that says why: "Abnormal end" before an error word, the last of each, among
      // the last 20 records up to the last one that is not blank.
      {Numbered(13, 1, ctl, 10, " ERROR: a", 11, " => Abnormal end of run: singular matrix  ", 12,
                " ERROR: b", 13, " => Check your control file") +
           "\n  \r\n",
       "bad_end | stated: => Abnormal end of run: singular matrix |  => Check your control file"},
      {Numbered(12, 1, ctl, 10, "forrtl: severe (174): SIGSEGV", 11, "Killed"),
       "bad_end | stated: Killed | filler 12"},
      {Numbered(23, 1, ctl, 2, "Abnormal end", 3, "Error"), "bad_end | stopped | filler 23"},
      {Numbered(22, 1, ctl, 3, "Error: x"), "bad_end | stated: Error: x | filler 22"},
      // A log cut inside its last record; then one for each status.
      {ctl + "\n => Cycle: 7", "bad_end | cut |  => Cycle: 7"},
      {ctl + "\n => Cycle: 7\n", "bad_end | stopped |  => Cycle: 7"},
      {ctl + "\n" + ne + "\n CPU Time: abc\n", "bad_cpu_value | cpu-nan |  CPU Time: abc"},
      {Numbered(30, 1, " => Run mode: simulated annealing", 30, temp),
       "no_control_file | annealing-stopped | " + temp},
      {Numbered(1, 1, " => Best solutions (sorted by cost):"),
       "no_control_file | annealing-stopped |  => Best solutions (sorted by cost):"},
      {Numbered(30, 1, " => Run mode: simulated annealing"),
       "no_control_file | not-refinement | filler 30"},
      // A record whose first 256 columns are blank is blank, whatever follows them.
      {"x\n" + std::string(300, ' ') + "y\n", "no_control_file | not-refinement | x"},
  };
  for (const Case& c : cases) {
    for (std::size_t window : {LogText::kMinWindow, LogText::kDefaultWindow}) {
      MemoryLog log(c.log, window);
      EXPECT_EQ(DescribeRow(ScanLog(log.text, {.rows = true})), c.expected) << c.log.substr(0, 80);
    }
  }
}

// A byte source that counts what it gives.
class CountedBytes : public MemoryBytes {
 public:
  using MemoryBytes::MemoryBytes;
  std::size_t ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) override {
    const std::size_t got = MemoryBytes::ReadAt(offset, out, length, cold);
    read += got;
    return got;
  }
  std::uint64_t read = 0;
};

// A failed log that ends in a great many empty records is read a few times over, not once per
// record: its last record, its reason and its tail come from one pass back over the blanks.
TEST(LogScanTest, BlankTailReadOnce) {
  for (const std::string blank : {"\n", "  \r\n"}) {
    std::string text = " => Control file *.pcr: r\n => Abnormal end of run\n";
    for (int i = 0; i < 200'000; ++i) text += blank;
    CountedBytes bytes(text);
    LogText log;
    log.Open(bytes);
    const RunScan scan = ScanLog(log, {.rows = true, .tail_records = 20});
    EXPECT_EQ(scan.failure_record, "=> Abnormal end of run");
    EXPECT_EQ(scan.tail.size(), 20u);
    EXPECT_LE(bytes.read, 3 * text.size() + 4 * LogText::kDefaultWindow) << bytes.read;
  }
}

// A log cut short while it is read ends where its bytes stopped, for every search: the scan
// gives what the bytes read can give, never a line that is not there. The reader has read the
// first window before the cut; undisturbed, the log has no CPU time.
TEST(LogScanTest, LogCutShortWhileRead) {
  const std::string head = " Control file *.pcr: big\n" + Numbered(40);
  const std::string text = head + " Normal end\n" + Numbered(2000);
  for (const auto& [length, expected] : {std::pair<std::size_t, std::string>{0, "bad-end big.pcr"},
                                         {head.size() + 5, "bad-end big.pcr"},
                                         {head.size() + 12, "no-cpu big.pcr"},
                                         {text.size(), "no-cpu big.pcr"}}) {
    ScratchLog log(text, LogText::kMinWindow);
    log.text.Record(0);
    ASSERT_TRUE(log.Truncate(length));
    EXPECT_EQ(Describe(ScanLog(log.text)), expected) << length;
  }
}

}  // namespace
}  // namespace tabrun
