// End-to-end tests: the built tabrun runs in a scratch directory on real log files, and its
// console output and log.res are compared byte for byte with what the run must produce.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "scratch_dir.h"

namespace tabrun_test {
namespace {

using std::string_literals::operator""s;

constexpr std::string_view kBanner =
    "\n"
    "                =========Program Tab_Run=========\n"
    "     Program to extract information from Kolvaran LOG files\n"
    "                ========= Vestrum 2000  =========\n"
    "\n";
constexpr std::string_view kFinalResults = "   FINAL RESULTS IN FILE: log.res\n";
constexpr std::string_view kWarning =
    "   \n"
    "   WARNING: If your system is not Windows NT/2000/XP the log.res file is not correct\n"
    "   LOOK INTO individual *.log files!\n";
constexpr std::string_view kUsageError = "tabrun: usage: tabrun [-h | --help | --version]\n";

// `text` padded with blanks, or cut, to `width` characters.
std::string Pad(std::string_view text, size_t width) {
  std::string padded(text.substr(0, width));
  padded.resize(width, ' ');
  return padded;
}

// `text` right-justified in `width` columns.
std::string Right(std::string_view text, size_t width) {
  return text.size() >= width ? std::string(text)
                              : std::string(width - text.size(), ' ') + std::string(text);
}

std::string RightTrim(std::string_view text) {
  const size_t end = text.find_last_not_of(' ');
  return std::string(end == std::string_view::npos ? "" : text.substr(0, end + 1));
}

// The run text of a summarised run: the name cut or padded to 50 columns, "> CPU:", the 12
// columns after "CPU Time:" and, when the result line was found, the result piece after the
// trimmed text.
std::string RunText(std::string_view name, std::string_view cpu_columns,
                    std::string_view result = "") {
  std::string text = Pad(name, 50) + "> CPU:" + Pad(cpu_columns, 12);
  if (!result.empty()) text = RightTrim(text) + std::string(result);
  return text;
}

// One line of `ls -l` output naming `name`.
std::string LsLine(std::string_view name) {
  return "-rw-r--r-- 1 kolv users  4213 Nov 14 09:12 " + std::string(name) + "\n";
}

// The console and log.res a completed batch must leave, built line by line.
struct Expected {
  explicit Expected(int listing_count) {
    const std::string count = Right(std::to_string(listing_count), 12);
    console = std::string(kBanner) + " File: List_log contains " + count + "  lines\n";
    log_res = std::string(kBanner) + "  => The file: List_log contains " + count + "  lines\n \n";
  }
  void NotFound(std::string_view name) {
    console += " => File " + std::string(name) + " not found!\n";
  }
  void Summary(std::string_view run_text) { log_res += " => " + Pad(run_text, 256) + "\n"; }
  void BadEnd(std::string_view control_file) {
    log_res += " => Bad end for file: " + Pad(control_file, 256) + "\n";
    console += " => Bad end for file: " + std::string(control_file) + "\n";
  }
  void NoCpu(std::string_view run_text) {
    log_res += " => No CPU calculation for: " + Pad(run_text, 256) + "\n";
    console += " => No CPU calculation for: " + std::string(run_text) + "\n";
  }
  void NoControlFile(std::string_view log_name) {
    log_res += " => PCR file not found in: " + Pad(log_name, 256) + "\n";
    console += " => PCR file not found in: " + std::string(log_name) + "\n";
  }
  // The closing lines; `seconds` and `minutes` are the number fields without their padding.
  void Close(std::string_view seconds, std::string_view minutes, bool warning) {
    const std::string totals = " => Total CPU Time:" + Right(seconds, 14) + " seconds\n" +
                               " =>                " + Right(minutes, 14) + " minutes\n";
    console += totals + std::string(kFinalResults);
    if (warning) console += kWarning;
    log_res += totals;
  }

  std::string console;
  std::string log_res;
};

std::string Escape(std::string_view text) {
  std::string escaped;
  for (unsigned char c : text) {
    if (c >= 32 && c < 127) {
      escaped += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      escaped += hex;
    }
  }
  return escaped;
}

std::string_view LineAround(std::string_view text, size_t pos) {
  const size_t begin = pos == 0 ? 0 : text.rfind('\n', pos - 1);
  const size_t start = begin == std::string_view::npos || pos == 0 ? 0 : begin + 1;
  const size_t end = text.find('\n', start);
  return text.substr(start, end == std::string_view::npos ? text.npos : end - start);
}

// Compares two texts and, on a difference, shows the first line that differs (escaped, with its
// length, since trailing blanks matter); a whole-text diff of a megabyte helps nobody.
void ExpectSameText(std::string_view what, std::string_view actual, std::string_view expected) {
  if (actual == expected) return;
  size_t pos = 0;
  while (pos < actual.size() && pos < expected.size() && actual[pos] == expected[pos]) ++pos;
  size_t line = 1;
  for (size_t k = 0; k < pos; ++k) line += expected[k] == '\n';
  const std::string_view want = LineAround(expected, pos);
  const std::string_view got = LineAround(actual, pos);
  ADD_FAILURE() << what << " differs at line " << line << " (byte " << pos << "; sizes "
                << actual.size() << " actual, " << expected.size() << " expected)\n"
                << "  expected (" << want.size() << "): \"" << Escape(want) << "\"\n"
                << "  actual   (" << got.size() << "): \"" << Escape(got) << "\"";
}

// A batch that must complete: exit status 0, nothing on standard error, and both outputs as
// expected.
void ExpectBatch(const ScratchDir& dir, const RunResult& run, const Expected& expected) {
  EXPECT_EQ(run.start_error, "");
  EXPECT_FALSE(run.timed_out);
  EXPECT_EQ(run.exit_status, 0) << "signal " << run.signal << ", stderr: " << run.err;
  EXPECT_EQ(run.err, "");
  ExpectSameText("console", run.out, expected.console);
  ExpectSameText("log.res", dir.Read("log.res"), expected.log_res);
}

// A batch that must end with a fatal I/O error: exit status 1, exactly `error` on standard
// error, and what was written before the failure in full.
void ExpectFatal(const ScratchDir& dir, const RunResult& run, std::string_view error,
                 std::string_view console, std::string_view log_res) {
  EXPECT_EQ(run.start_error, "");
  EXPECT_FALSE(run.timed_out);
  EXPECT_EQ(run.exit_status, 1) << "signal " << run.signal << ", stderr: " << run.err;
  EXPECT_EQ(run.err, error);
  ExpectSameText("console", run.out, console);
  ExpectSameText("log.res", dir.Read("log.res"), log_res);
}

// True when the user that RunUnprivileged runs tabrun as is refused `mode` on `path`.
bool PermissionsBind(const std::string& path, int mode) {
  return geteuid() == 0 || access(path.c_str(), mode) != 0;
}

using E2eTest = ScratchDirTest;

// The batch of the summary report's worked example, with the real `ls`.
TEST_F(E2eTest, WorkedExample) {
  dir_.Write("broken.log",
             " ** Kolvaran: profile refinement **\n"
             " Control file *.pcr: broken\n"
             " => Reading data file: broken.dat\n"
             " => Cycle:   1\n");
  dir_.Write("cu2o.log",
             " ** Kolvaran: profile refinement **\n"
             " Control file *.pcr: cu2o\n"
             " => Cycle:   1\n"
             " => Cycle:   2\n"
             "  Chi2:  1.53  Rp:  8.21\n"
             " => Normal end, final calculations and writing...\n"
             "  CPU Time:     12.345 seconds\n");
  dir_.Write("sa_run1.log",
             " ** Kolvaran: simulated annealing **\n"
             " => Starting temperature:  10.00\n"
             "=> Sol#: 1 RF2=   7.5321 Chi2=   2.104\n"
             "=> PCR  File  : sa_run1\n"
             "CPU Time:    301.250 seconds\n");

  const RunResult run = Run();

  const std::string console =
      "\n"
      "                =========Program Tab_Run=========\n"
      "     Program to extract information from Kolvaran LOG files\n"
      "                ========= Vestrum 2000  =========\n"
      "\n"
      " File: List_log contains            3  lines\n"
      " => Bad end for file: broken.pcr\n"
      " => Total CPU Time:       313.595 seconds\n"
      " =>                         5.227 minutes\n"
      "   FINAL RESULTS IN FILE: log.res\n";
  const std::string cu2o =
      " => Normal end for cu2o.pcr                           > CPU:     12.345> Chi2:  1.53  "
      "Rp:  8.21";
  const std::string sa_run1 =
      " => Normal end for sa_run1.pcr (Monte/Sim.Anneal.)    > CPU:    301.250> R-F2: 7.5321";
  std::string log_res =
      "\n"
      "                =========Program Tab_Run=========\n"
      "     Program to extract information from Kolvaran LOG files\n"
      "                ========= Vestrum 2000  =========\n"
      "\n"
      "  => The file: List_log contains            3  lines\n"
      " \n";
  log_res += " => Bad end for file: broken.pcr" + std::string(246, ' ') + "\n";
  log_res += cu2o + std::string(260 - cu2o.size(), ' ') + "\n";
  log_res += sa_run1 + std::string(260 - sa_run1.size(), ' ') + "\n";
  log_res +=
      " => Total CPU Time:       313.595 seconds\n"
      " =>                         5.227 minutes\n";
  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  ExpectSameText("console", run.out, console);
  ExpectSameText("log.res", dir_.Read("log.res"), log_res);

  // list_log is kept: one long-listing line per log, in name order.
  const std::string listing = dir_.Read("list_log");
  const size_t first = listing.find(" broken.log\n");
  const size_t second = listing.find(" cu2o.log\n");
  const size_t third = listing.find(" sa_run1.log\n");
  EXPECT_LT(first, second) << listing;
  EXPECT_LT(second, third) << listing;
  EXPECT_EQ(third + std::strlen(" sa_run1.log\n"), listing.size()) << listing;
  EXPECT_EQ(std::count(listing.begin(), listing.end(), '\n'), 3) << listing;
}

// The warning is written when 100 * failures / (entries - 7) > 20. Each listing is spelled as one
// letter per entry: G a summarised run, N a run without CPU time (not a failure), B a bad end, C a
// log without control file, M a name that does not exist, _ an empty line.
TEST_F(E2eTest, WarningRule) {
  dir_.Write("good.log", " Control file *.pcr: good\n Normal end\n CPU Time:    30.000 seconds\n");
  dir_.Write("nocpu.log", " Control file *.pcr: nocpu\n Normal end\n");
  dir_.Write("broken.log", " Control file *.pcr: broken\n => Cycle: 1\n");
  dir_.Write("noctl.log", " Kolvaran stopped: cannot read the input file\n");

  struct Case {
    const char* entries;
    const char* seconds;
    const char* minutes;
    bool warning;
  };
  const Case cases[] = {
      {"GGGGGGGGGM", "270.000", "4.500", true},  // 1 of 10: 100/3
      {"GGGGGGGGGG", "300.000", "5.000", false},
      // 1 of 12 is exactly 20: not above it, for each kind of failure.
      {"GGGGGGGGGGGB", "330.000", "5.500", false},
      {"GGGGGGGGGGGC", "330.000", "5.500", false},
      {"GGGGGGGGGGGM", "330.000", "5.500", false},
      // 1 of 11 is 25.
      {"GGGGGGGGGGB", "300.000", "5.000", true},
      {"GGGGGGGGGGC", "300.000", "5.000", true},
      {"GGGGGGGGGGM", "300.000", "5.000", true},
      // A run without CPU time is no failure.
      {"GGGGGGGGGGNC", "300.000", "5.000", false},
      // 7 entries: a failure divided by zero warns, none does not.
      {"______M", "0.000", "0.000", true},
      {"GGGGGGG", "210.000", "3.500", false},
      {"_______", "0.000", "0.000", false},
      // Fewer than 7 entries never warn.
      {"BCM", "0.000", "0.000", false},
      {"BBCCMM", "0.000", "0.000", false},
      // Empty lines are entries too.
      {"_____GGGGGM", "150.000", "2.500", true},
      // 2 of 17 is exactly 20, 2 of 16 is 22.2.
      {"GGGGGGGGGGGGGGGBC", "450.000", "7.500", false},
      {"GGGGGGGGGGGGGGBC", "420.000", "7.000", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.entries);
    const std::string entries = c.entries;
    Expected expected(static_cast<int>(entries.size()));
    std::string listing;
    for (char kind : entries) {
      switch (kind) {
        case 'G':
          listing += LsLine("good.log");
          expected.Summary(RunText("Normal end for good.pcr", "    30.000 s"));
          break;
        case 'N':
          listing += LsLine("nocpu.log");
          expected.NoCpu("Normal end for nocpu.pcr");
          break;
        case 'B':
          listing += LsLine("broken.log");
          expected.BadEnd("broken.pcr");
          break;
        case 'C':
          listing += LsLine("noctl.log");
          expected.NoControlFile("noctl.log");
          break;
        case 'M':
          listing += LsLine("gone.log");
          expected.NotFound("gone.log");
          break;
        case '_':
          listing += "\n";
          break;
      }
    }
    expected.Close(c.seconds, c.minutes, c.warning);
    ExpectBatch(dir_, RunWithListing(listing), expected);
  }
}

// No log at all: `ls` complains on standard error, and stale list_log and log.res are replaced.
TEST_F(E2eTest, EmptyDirectory) {
  dir_.Write("list_log", LsLine("stale.log"));
  dir_.Write("log.res", std::string(5000, 'x') + "\n");
  dir_.Write("notes.txt", "not a log\n");

  const RunResult run = Run();

  Expected expected(0);
  expected.Close("0.000", "0.000", false);
  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_EQ(run.err.find("tabrun"), std::string::npos) << run.err;
  ExpectSameText("console", run.out, expected.console);
  ExpectSameText("log.res", dir_.Read("log.res"), expected.log_res);
  EXPECT_EQ(dir_.Read("list_log"), "");
}

// The name is the last blank-separated word of the first 256 characters of a listing line.
TEST_F(E2eTest, ListingLinesAndTheirNames) {
  dir_.Write("run1.log", " Control file *.pcr: run1\n Normal end\n CPU Time:      1.500 seconds\n");
  dir_.MakeDir("sub");
  dir_.Write("sub/run2.log",
             " Control file *.pcr: run2\n Normal end\n CPU Time:      2.250 seconds\n");
  const std::string ls_prefix = "-rw-r--r-- 1 kolv users 913 Nov 14 09:12 ";  // 41 characters
  const std::string long_name(9955, 'k');
  const std::string cut_name(256 - ls_prefix.size(), 'k');
  dir_.Write(cut_name, " Control file *.pcr: long\n Normal end\n CPU Time:      0.250 seconds\n");

  const std::string long_line = ls_prefix + long_name + ".log";
  ASSERT_EQ(long_line.size(), 10000u);
  const std::string listing =
      "-rw-r--r--+ 1 kolv users 913 Nov 14 09:12 run1.log\n"
      "-rw-r--r--  1 kolv users 1020 Jan  3  2006 run1.log   \n"
      "run1.log\n"
      "   run1.log\n"
      "-rw-r--r--  1 kolv users 512 Nov 14 09:12 my run.log\n"
      "total 16\n"
      "lrwxr-xr-x  1 kolv users 12 Nov 14 09:12 short.log -> sub/run2.log\n"
      "-rw-r--r-- 1 kolv users 5 Nov 14 09:12\trun1.log\n"
      "\n"
      "      \n"
      "\t\n" +
      long_line + "\n" + "-rw-r--r-- 1 kolv users 5 Nov 14 09:12 caf\xe9.log\n";

  const RunResult run = RunWithListing(listing);

  Expected expected(13);
  const std::string run1 = RunText("Normal end for run1.pcr", "      1.500 ");
  for (int k = 0; k < 4; ++k) expected.Summary(run1);
  expected.NotFound("run.log");
  expected.NotFound("16");
  expected.Summary(RunText("Normal end for run2.pcr", "      2.250 "));
  expected.NotFound("09:12\trun1.log");
  expected.NotFound("\t");
  expected.Summary(RunText("Normal end for long.pcr", "      0.250 "));
  expected.NotFound("caf\xe9.log");
  expected.Close("8.500", "0.142", true);  // 5 failures in 13 entries
  ExpectBatch(dir_, run, expected);

  // The shell expanded *.log for the listing command, and the listing is kept as written.
  EXPECT_EQ(dir_.StandInLsArgs(), "-l\nrun1.log\n");
  ExpectSameText("list_log", dir_.Read("list_log"), listing);
}

// `count` records that hold none of the markers.
std::string Filler(int count) {
  std::string lines;
  for (int k = 1; k <= count; ++k) {
    lines += " => Working: step ";
    lines += std::to_string(k);
    lines += "\n";
  }
  return lines;
}

// One log in the directory: how the scan reads it, from the control file line (or the
// annealing run's "=> PCR  File  :" line) to the result figure.
TEST_F(E2eTest, OutcomeOfOneLog) {
  struct Case {
    const char* what;
    std::string log;
    char outcome;      // S run summary, N no CPU, B bad end, C no control file line
    std::string text;  // the run text, or the control file name of a bad end
    const char* seconds;
    const char* minutes;
  };
  const Case cases[] = {
      {"Chi2 record 12 records above CPU Time",
       Filler(3) + " Control file *.pcr: run_a1\n" + Filler(20) + "  Chi2:  2.31    Rp:  8.45\n" +
           Filler(10) + " Normal end\n CPU Time:    12.345 seconds\n",
       'S', RunText("Normal end for run_a1.pcr", "    12.345 s", "> Chi2:  2.31    Rp:  8.45"),
       "12.345", "0.206"},
      {"markers at column 1",
       "Control file *.pcr:run_b2\n" + Filler(5) +
           " RF2 -factor :   5.67\nNormal end of run\nCPU Time: 3.5\n",
       'S', RunText("Normal end for run_b2.pcr", " 3.5", "> R-F2:  5.67"), "3.500", "0.058"},
      {"the column after the RF2 marker is skipped",
       "Control file *.pcr:run_b2\n" + Filler(5) +
           "RF2 -factor :5.67\nNormal end of run\nCPU Time: 3.5\n",
       'S', RunText("Normal end for run_b2.pcr", " 3.5", "> R-F2:.67"), "3.500", "0.058"},
      {"Chi2 record 42 records above CPU Time is not seen",
       "Control file *.pcr: run_f6\nChi2: 1.0 Rp: 2.0\n" + Filler(40) +
           "Normal end\nCPU Time: 7.25\n",
       'S', RunText("Normal end for run_f6.pcr", " 7.25"), "7.250", "0.121"},
      {"result line below CPU Time",
       "Control file *.pcr: r\nNormal end\nCPU Time: 1.0\n" + Filler(3) + "  Chi2: 3.3 Rp: 4.4\n",
       'S', RunText("Normal end for r.pcr", " 1.0", "> Chi2: 3.3 Rp: 4.4"), "1.000", "0.017"},
      {"Chi2 beats RF2 on one record; the last Chi2 counts",
       "Control file *.pcr: r\n RF2 -factor : 9.9  Chi2: 1.1 Chi2: 1.2 Rp: 2.2\n"
       "Normal end\nCPU Time: 1.0\n",
       'S', RunText("Normal end for r.pcr", " 1.0", "> Chi2: 1.2 Rp: 2.2"), "1.000", "0.017"},
      {"Chi2 without Rp is passed over",
       "Control file *.pcr: r\n Chi2: 5.5\n RF2 -factor :  4.4\nNormal end\nCPU Time: 1.0\n", 'S',
       RunText("Normal end for r.pcr", " 1.0", "> R-F2: 4.4"), "1.000", "0.017"},
      {"name cut at 50 columns before the CPU text",
       "Control file *.pcr:   a_very_long_control_file_name_for_testing_cut\nNormal end\n"
       "CPU Time: 1.5\n",
       'S', RunText("Normal end for a_very_long_control_file_name_for_t", " 1.5"), "1.500",
       "0.025"},
      {"last CPU Time of the record",
       "Control file *.pcr: r\nNormal end\nCPU Time: 1.0  CPU Time: 2.0\n", 'S',
       RunText("Normal end for r.pcr", " 2.0"), "2.000", "0.033"},
      {"text after the name stays in it",
       "Control file *.pcr: run1  (copy)\nNormal ending\nCPU Time: 1.0\n", 'S',
       RunText("Normal end for run1  (copy).pcr", " 1.0"), "1.000", "0.017"},
      {"an ordinary control file line wins over an annealing marker",
       "Control file *.pcr: ord\nNormal end\nCPU Time: 1.0\n=> PCR  File  : sa\n", 'S',
       RunText("Normal end for ord.pcr", " 1.0"), "1.000", "0.017"},
      {"no end", "Control file *.pcr: run_c3\n" + Filler(2), 'B', "run_c3.pcr", "0.000", "0.000"},
      {"CPU Time before a bad end",
       "Control file *.pcr: r\nCPU Time: 5.0\nnormal end\nNORMAL END\n", 'B', "r.pcr", "0.000",
       "0.000"},
      {"name already ending in .pcr, with nothing else", "Control file *.pcr: run1.pcr\n", 'B',
       "run1.pcr.pcr", "0.000", "0.000"},
      {"empty name", "Control file *.pcr:\n", 'B', ".pcr", "0.000", "0.000"},
      {"no CPU Time", " Control file *.pcr: run_d4\nNormal end\nc\n", 'N',
       "Normal end for run_d4.pcr", "0.000", "0.000"},
      {"CPU Time above Normal end", "Control file *.pcr: run_e5\nCPU Time: 4.0\nNormal end\n", 'N',
       "Normal end for run_e5.pcr", "0.000", "0.000"},
      // Annealing runs.
      {"annealing run",
       Filler(5) +
           "  => Sol#: 1 RF2=  12.34   x\nfiller\nCPU Time:  88.1\n=> PCR  File  : sa_run1\n",
       'S', RunText("Normal end for sa_run1.pcr (Monte/Sim.Anneal.)", "  88.1", "> R-F2:  12.34"),
       "88.100", "1.468"},
      {"solution marker at column 1 shifts the value",
       "=> Sol#: 1 RF2=  12.34\nCPU Time: 1.0\n=> PCR  File  : s\n", 'S',
       RunText("Normal end for s.pcr (Monte/Sim.Anneal.)", " 1.0", "> R-F2:12.34"), "1.000",
       "0.017"},
      {"Sol#: 10 is not solution 1", " => Sol#: 10 RF2=  3.21\nCPU Time: 1.0\n=> PCR  File  : s\n",
       'S', RunText("Normal end for s.pcr (Monte/Sim.Anneal.)", " 1.0"), "1.000", "0.017"},
      {"name right after the colon", "=> PCR  File  :sa_run1   (phase 1)\nCPU Time: 1.0\n", 'S',
       RunText("Normal end for sa_run1.pcr (Monte/Sim.Anneal.)", " 1.0"), "1.000", "0.017"},
      {"two blanks after the colon", "=> PCR  File  :  sa_run1\nCPU Time: 1.0\n", 'S',
       RunText("Normal end for .pcr (Monte/Sim.Anneal.)", " 1.0"), "1.000", "0.017"},
      {"annealing name ending in .pcr, no CPU Time", "=> PCR  File  : sa_run1.pcr\n", 'N',
       "Normal end for sa_run1.pcr.pcr (Monte/Sim.Anneal.)", "0.000", "0.000"},
      {"colon before the marker", "12:05 => PCR  File  : sa_run1\n", 'N',
       "Normal end for 05.pcr (Monte/Sim.Anneal.)", "0.000", "0.000"},
      {"marker with single blanks", "=> PCR File : sa_run1\nCPU Time: 1.0\n", 'C', "", "0.000",
       "0.000"},
      {"lower-case marker", "=> pcr  File  : sa_run1\nCPU Time: 1.0\n", 'C', "", "0.000", "0.000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ScratchDir scratch;
    scratch.Write("r.log", c.log);
    Expected expected(1);
    switch (c.outcome) {
      case 'S':
        expected.Summary(c.text);
        break;
      case 'N':
        expected.NoCpu(c.text);
        break;
      case 'B':
        expected.BadEnd(c.text);
        break;
      case 'C':
        expected.NoControlFile("r.log");
        break;
    }
    expected.Close(c.seconds, c.minutes, false);
    const RunResult run = RunProgram(TABRUN_BINARY, scratch.work(), {});
    ExpectBatch(scratch, run, expected);
  }
}

// Listings longer than 500 lines are walked to their end.
TEST_F(E2eTest, LongListings) {
  dir_.Write("kept.log", " Control file *.pcr: kept\n Normal end\n CPU Time:      4.000 seconds\n");
  for (const int lines : {500, 501, 100000}) {
    SCOPED_TRACE(lines);
    std::string listing;
    Expected expected(lines);
    for (int k = 1; k < lines; ++k) {
      const std::string name = std::string("gone_") + std::to_string(k) + ".log";
      listing += LsLine(name);
      expected.NotFound(name);
    }
    listing += LsLine("kept.log");
    expected.Summary(RunText("Normal end for kept.pcr", "      4.000 "));
    expected.Close("4.000", "0.067", true);
    ExpectBatch(dir_, RunWithListing(listing), expected);
  }
}

// A CR just before the LF belongs to the line end, in the logs and in the listing; any other CR
// is an ordinary character.
TEST_F(E2eTest, CarriageReturns) {
  dir_.Write("crlf.log",
             " Control file *.pcr: cu2o\r\n"
             " => Cycle: 1\r\n"
             "  Chi2:  1.53  Rp:  8.21\r\n"
             " Normal end\r\n"
             "  CPU Time:  12.345\r\n");
  dir_.Write("sa_crlf.log",
             "Kolvaran simulated annealing\r\n"
             "  => Sol#: 1 RF2=  12.34\r\n"
             "CPU Time:  88.1\r\n"
             "=> PCR  File  : sa_crlf\r\n");
  dir_.Write("midcr.log", " Control file *.pcr: mid\rcr\n => Cycle: 1\n");
  const std::string listing =
      "-rw-r--r-- 1 kolv users 9 Nov 14 09:12 crlf.log\r\n"
      "\r\n"
      "-rw-r--r-- 1 kolv users 9 Nov 14 09:12 sa_crlf.log\r\n"
      "-rw-r--r-- 1 kolv users 9 Nov 14 09:12 midcr.log\r\n";

  Expected expected(4);
  expected.Summary(RunText("Normal end for cu2o.pcr", "  12.345", "> Chi2:  1.53  Rp:  8.21"));
  expected.Summary(
      RunText("Normal end for sa_crlf.pcr (Monte/Sim.Anneal.)", "  88.1", "> R-F2:  12.34"));
  expected.BadEnd("mid\rcr.pcr");
  expected.Close("100.445", "1.674", false);
  ExpectBatch(dir_, RunWithListing(listing), expected);
}

// NUL bytes and bytes that are not UTF-8 are ordinary characters, kept as they are.
TEST_F(E2eTest, BinaryBytesInLogs) {
  dir_.Write("bin.log",
             " Control file *.pcr: caf\xe9_\xff\xfe\n"
             "\0\0\0 junk \0 Normal end \xc3\x28\n"
             "  Chi2:  1.0\0x  Rp: \xff\n"
             " CPU Time:  3.0 \0\0 s\n"s);
  dir_.Write("binbad.log", " Control file *.pcr: \xe9t\xe9\0x\n\xff\xfe\xfd\n"s);

  const RunResult run = Run();

  Expected expected(2);
  expected.Summary(RunText("Normal end for caf\xe9_\xff\xfe.pcr", "  3.0 \0\0 s"s,
                           "> Chi2:  1.0\0x  Rp: \xff"s));
  expected.BadEnd("\xe9t\xe9\0x.pcr"s);
  expected.Close("3.000", "0.050", false);
  ExpectBatch(dir_, run, expected);
}

// A last line without a line feed is a record, in the logs and in the listing.
TEST_F(E2eTest, LastLineWithoutLineFeed) {
  dir_.Write("nolf_a.log",
             " Control file *.pcr: nolf_a\n Normal end\n  Chi2:  2.0  Rp:  3.0\n CPU Time:  4.5");
  dir_.Write("nolf_b.log",
             " Control file *.pcr: nolf_b\n Normal end\n CPU Time:  1.0\n  Chi2:  9.9  Rp:  9.8");
  dir_.Write("nolf_sa.log", "  => Sol#: 1 RF2=   5.5\nCPU Time:  2.5\n=> PCR  File  : nolf_sa");
  dir_.Write("nolf_bad.log", " Control file *.pcr: nolf_bad");
  std::string listing =
      LsLine("nolf_a.log") + LsLine("nolf_b.log") + LsLine("nolf_sa.log") + LsLine("nolf_bad.log");
  listing.pop_back();

  Expected expected(4);
  expected.Summary(RunText("Normal end for nolf_a.pcr", "  4.5", "> Chi2:  2.0  Rp:  3.0"));
  expected.Summary(RunText("Normal end for nolf_b.pcr", "  1.0", "> Chi2:  9.9  Rp:  9.8"));
  expected.Summary(
      RunText("Normal end for nolf_sa.pcr (Monte/Sim.Anneal.)", "  2.5", "> R-F2:   5.5"));
  expected.BadEnd("nolf_bad.pcr");
  expected.Close("8.000", "0.133", false);
  ExpectBatch(dir_, RunWithListing(listing), expected);
}

// Logs shorter than the steps back: an empty one, a one-line annealing log, and annealing logs
// whose "=> PCR  File  :" line stands just inside and just outside the last seven records.
TEST_F(E2eTest, ShortLogs) {
  dir_.Write("empty.log", "");
  dir_.Write("tiny_sa.log", "=> PCR  File  : tiny\n");
  dir_.Write("late_sa.log", "=> PCR  File  : late\n" + std::string("filler\n") + "filler\n" +
                                "filler\n" + "filler\n" + "filler\n" + "filler\n" + "filler\n");
  dir_.Write("edge_sa.log",
             "  => Sol#: 1 RF2=  4.25\n"
             "CPU Time:  9.0\n"
             "=> PCR  File  : edge\n"
             "filler\nfiller\nfiller\nfiller\nfiller\nfiller\n");

  const RunResult run = Run();

  Expected expected(4);
  expected.Summary(
      RunText("Normal end for edge.pcr (Monte/Sim.Anneal.)", "  9.0", "> R-F2:  4.25"));
  expected.NoControlFile("empty.log");
  expected.NoControlFile("late_sa.log");
  expected.NoCpu("Normal end for tiny.pcr (Monte/Sim.Anneal.)");
  expected.Close("9.000", "0.150", false);
  ExpectBatch(dir_, run, expected);
}

// Records are cut at 256 columns: a marker that runs past column 256 is not seen, columns of
// the CPU text past 256 are blanks, and a long result is cut with the run text at 256.
TEST_F(E2eTest, RecordsLongerThanTheBuffer) {
  const std::string chi2 = "  Chi2:  1.53  Rp:  8.21";
  dir_.Write("edge.log",
             " Control file *.pcr: edge\n"
             " Normal end\n" +
                 chi2 + std::string(256 - chi2.size(), 'y') + std::string(44, 'Z') + "\n" +
                 std::string(249, ' ') + "CPU Time: 99\n" + std::string(240, ' ') +
                 "CPU Time: 7.5   ZZZZZZZZ\n");

  const RunResult run = Run();

  Expected expected(1);
  const std::string run_text = RunText("Normal end for edge.pcr", " 7.5",
                                       "> Chi2:  1.53  Rp:  8.21" + std::string(232, 'y'));
  ASSERT_GT(run_text.size(), 256u);
  expected.Summary(run_text.substr(0, 256));
  expected.Close("7.500", "0.125", false);
  ExpectBatch(dir_, run, expected);
}

// One log of a single 50 MB line: only its first 256 columns are seen, the rest is skipped,
// and the step back over it lands on the right records.
TEST_F(E2eTest, FiftyMegabyteLine) {
  dir_.Write("big.log", " Control file *.pcr: big\n Normal end\n  Chi2:  4.44  Rp:  5.55" +
                            std::string(300, ' ') + std::string(50'000'000, 'x') +
                            " CPU Time: 99.0\n CPU Time:      1.250 seconds\n");

  const RunResult run = Run();

  Expected expected(1);
  expected.Summary(RunText("Normal end for big.pcr", "      1.250 ", "> Chi2:  4.44  Rp:  5.55"));
  expected.Close("1.250", "0.021", false);
  ExpectBatch(dir_, run, expected);
}

// The CPU values of the runs and the two total lines: forms of numbers, fields that overflow
// or exactly fill 14 columns, infinity, and null values that reuse the previous value.
TEST_F(E2eTest, TotalCpuLines) {
  struct Case {
    std::vector<std::string> cpu;  // text after "CPU Time:" in r1.log, r2.log, ...
    const char* seconds;
    const char* minutes;
  };
  const Case cases[] = {
      {{" 90.0"}, "90.000", "1.500"},
      {{" 12.3456"}, "12.346", "0.206"},
      {{" 42 seconds"}, "42.000", "0.700"},
      {{" +1.5E+01 s", " 2.5d0"}, "17.500", "0.292"},
      {{" 0.0"}, "0.000", "0.000"},
      {{" 1.0E10"}, "**************", "166666672.000"},
      {{" 1.0D11 s"}, "**************", "1666666624.000"},
      {{" 1e39"}, "Infinity", "Infinity"},
      {{" 3.0e38", " 3.0e38"}, "Infinity", "Infinity"},
      // A null value keeps the value before it: 0 before any file, then 2.5 again.
      {{" , 7", " 2.5", " / 9"}, "5.000", "0.083"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cpu.front());
    ScratchDir scratch;
    Expected expected(static_cast<int>(c.cpu.size()));
    for (size_t k = 0; k < c.cpu.size(); ++k) {
      const std::string run = std::string("r") + std::to_string(k + 1);
      scratch.Write(run + ".log",
                    " Control file *.pcr: " + run + "\n Normal end\n CPU Time:" + c.cpu[k] + "\n");
      expected.Summary(RunText("Normal end for " + run + ".pcr", c.cpu[k].substr(0, 12)));
    }
    expected.Close(c.seconds, c.minutes, false);
    const RunResult run = RunProgram(TABRUN_BINARY, scratch.work(), {});
    ExpectBatch(scratch, run, expected);
  }
}

// A CPU value that is not a number ends the program in the middle of the batch: what was
// written before stays, nothing after.
TEST_F(E2eTest, CpuValueThatIsNotANumber) {
  struct Case {
    const char* after_marker;
    const char* reason;
  };
  const Case cases[] = {
      {"abc seconds", "'abc seconds'"},
      {"   abc seconds  ", "'abc seconds'"},
      {"", "end of record"},
      {"      ", "end of record"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.after_marker);
    ScratchDir scratch;
    scratch.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
    scratch.Write("b.log", " Control file *.pcr: b\n Normal end\n CPU Time:" +
                               std::string(c.after_marker) + "\n");
    scratch.Write("c.log", " Control file *.pcr: c\n Normal end\n CPU Time:  2.0\n");

    const RunResult run = RunProgram(TABRUN_BINARY, scratch.work(), {});

    Expected expected(3);
    expected.Summary(RunText("Normal end for a.pcr", "  1.0"));
    ExpectFatal(
        scratch, run,
        "tabrun: unit 2 (b.log): cannot read a real number: " + std::string(c.reason) + "\n",
        expected.console, expected.log_res);
  }
}

// A listed name that is a directory cannot be opened as a log.
TEST_F(E2eTest, ListedDirectoryIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.MakeDir("d.log");
  dir_.Write("c.log", " Control file *.pcr: c\n Normal end\n CPU Time:  2.0\n");

  const RunResult run = RunWithListing(LsLine("a.log") + LsLine("d.log") + LsLine("c.log"));

  Expected expected(3);
  expected.Summary(RunText("Normal end for a.pcr", "  1.0"));
  ExpectFatal(dir_, run, "tabrun: unit 2 (d.log): cannot open: Is a directory\n", expected.console,
              expected.log_res);
}

// With the real `ls`, a directory named like a log is listed by its contents: its header, its
// total line and its entries become not-found lines, its empty line is skipped.
TEST_F(E2eTest, DirectoryNamedLikeALogWithRealLs) {
  dir_.Write("good.log", " Control file *.pcr: good\n Normal end\n CPU Time:  3.0\n");
  dir_.MakeDir("sub.log");
  dir_.Write("sub.log/inner.txt", "");

  const RunResult run = Run();

  Expected expected(5);
  expected.Summary(RunText("Normal end for good.pcr", "  3.0"));
  expected.NotFound("sub.log:");
  expected.NotFound("0");
  expected.NotFound("inner.txt");
  expected.Close("3.000", "0.050", false);
  ExpectBatch(dir_, run, expected);
}

TEST_F(E2eTest, LogResThatCannotBeCreatedIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.MakeDir("log.res");

  const RunResult run = Run();

  EXPECT_EQ(run.exit_status, 1) << run.err;
  EXPECT_EQ(run.err, "tabrun: unit 1 (log.res): cannot open: Is a directory\n");
  ExpectSameText("console", run.out, Expected(1).console);
  const std::string listing = dir_.Read("list_log");
  EXPECT_TRUE(listing.ends_with(" a.log\n")) << listing;
}

TEST_F(E2eTest, ListLogThatCannotBeCreatedIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.MakeDir("list_log");

  const RunResult run = Run();

  // The shell's own complaint about the redirection comes first; tabrun's line is the last.
  const std::string fatal = "tabrun: unit 50 (list_log): cannot open: Is a directory\n";
  EXPECT_EQ(run.exit_status, 1) << run.err;
  EXPECT_TRUE(run.err.ends_with(fatal)) << run.err;
  EXPECT_EQ(run.err.find("tabrun:"), run.err.size() - fatal.size()) << run.err;
  ExpectSameText("console", run.out, kBanner);
  EXPECT_FALSE(dir_.Exists("log.res"));
}

// The permission cases run tabrun as a user whom permissions stop (user 65534 when we are
// root). They are skipped only when no such user is at hand.
TEST_F(E2eTest, UnreadableLogIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.Write("secret.log", " Control file *.pcr: s\n", 0000);
  ASSERT_EQ(chmod(dir_.work().c_str(), 0777), 0) << std::strerror(errno);
  if (!PermissionsBind(dir_.PathOf("secret.log"), R_OK)) {
    GTEST_SKIP() << "file permissions are not enforced for this user";
  }

  const RunResult run = RunUnprivileged();
  if (!run.start_error.empty()) GTEST_SKIP() << run.start_error;

  Expected expected(2);
  expected.Summary(RunText("Normal end for a.pcr", "  1.0"));
  ExpectFatal(dir_, run, "tabrun: unit 2 (secret.log): cannot open: Permission denied\n",
              expected.console, expected.log_res);
}

TEST_F(E2eTest, ReadOnlyLogResIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.Write("log.res", "old\n", 0444);
  ASSERT_EQ(chmod(dir_.work().c_str(), 0777), 0) << std::strerror(errno);
  if (!PermissionsBind(dir_.PathOf("log.res"), W_OK)) {
    GTEST_SKIP() << "file permissions are not enforced for this user";
  }

  const RunResult run = RunUnprivileged();
  if (!run.start_error.empty()) GTEST_SKIP() << run.start_error;

  EXPECT_EQ(run.exit_status, 1) << run.err;
  EXPECT_EQ(run.err, "tabrun: unit 1 (log.res): cannot open: Permission denied\n");
  ExpectSameText("console", run.out, Expected(1).console);
  EXPECT_EQ(dir_.Read("log.res"), "old\n");
}

TEST_F(E2eTest, ReadOnlyDirectoryIsFatal) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  ASSERT_EQ(chmod(dir_.work().c_str(), 0555), 0) << std::strerror(errno);
  if (!PermissionsBind(dir_.work(), W_OK)) {
    GTEST_SKIP() << "directory permissions are not enforced for this user";
  }

  const RunResult run = RunUnprivileged();
  if (!run.start_error.empty()) GTEST_SKIP() << run.start_error;

  // The shell's own complaint about the redirection comes first; tabrun's line is the last.
  const std::string fatal = "tabrun: unit 50 (list_log): cannot open: Permission denied\n";
  EXPECT_EQ(run.exit_status, 1) << run.err;
  EXPECT_TRUE(run.err.ends_with(fatal)) << run.err;
  EXPECT_EQ(run.err.find("tabrun:"), run.err.size() - fatal.size()) << run.err;
  ExpectSameText("console", run.out, kBanner);
  EXPECT_EQ(dir_.Entries(), std::vector<std::string>{"a.log"});
}

// With the real `ls`, a symbolic link is named by its target. A dangling target and a link
// loop count as not found; a good target is summarised.
TEST_F(E2eTest, SymbolicLinksWithRealLs) {
  dir_.MakeDir("runs");
  dir_.Write("runs/keep.log", " Control file *.pcr: keep\n Normal end\n CPU Time:      6.000 s\n");
  dir_.Symlink("runs/keep.log", "alias.log");
  dir_.Symlink("gone_target.log", "dead.log");
  dir_.Symlink("loop.log", "loop.log");

  const RunResult run = Run();

  Expected expected(3);
  expected.Summary(RunText("Normal end for keep.pcr", "      6.000 "));
  expected.NotFound("gone_target.log");
  expected.NotFound("loop.log");
  expected.Close("6.000", "0.100", false);
  ExpectBatch(dir_, run, expected);
}

TEST_F(E2eTest, SymbolicLinksNamedDirectly) {
  dir_.Symlink("gone_target.log", "dead.log");
  dir_.Symlink("loop_b.log", "loop_a.log");
  dir_.Symlink("loop_a.log", "loop_b.log");

  const RunResult run = RunWithListing("dead.log\nloop_a.log\n");

  Expected expected(2);
  expected.NotFound("dead.log");
  expected.NotFound("loop_a.log");
  expected.Close("0.000", "0.000", false);
  ExpectBatch(dir_, run, expected);
}

// Any argument but -h, --help or --version is a usage error; in none of these cases does the
// listing command run or a file change.
TEST_F(E2eTest, CommandLine) {
  dir_.Write("a.log", " Control file *.pcr: a\n Normal end\n CPU Time:  1.0\n");
  dir_.Write("log.res", "old\n");

  struct Case {
    std::vector<std::string> args;
    int exit_status;
    std::string out;  // "help" for the help text
    std::string err;
  };
  const std::string usage(kUsageError);
  const Case cases[] = {
      {{"-h"}, 0, "help", ""},
      {{"--help"}, 0, "help", ""},
      {{"--version"}, 0, "tabrun 1.0.0\n", ""},
      {{"-x"}, 2, "", usage},
      {{"-H"}, 2, "", usage},
      {{"--verbose"}, 2, "", usage},
      {{"--help=yes"}, 2, "", usage},
      {{"-"}, 2, "", usage},
      {{""}, 2, "", usage},
      {{"a.log"}, 2, "", usage},
      {{"-h", "-h"}, 2, "", usage},
      {{"--version", "x"}, 2, "", usage},
  };
  std::string help;
  for (const Case& c : cases) {
    SCOPED_TRACE("args: " + (c.args.empty() ? "" : c.args.front()) + " (" +
                 std::to_string(c.args.size()) + ")");
    const RunResult run = RunWithListing(LsLine("a.log"), c.args);
    EXPECT_EQ(run.exit_status, c.exit_status);
    EXPECT_EQ(run.err, c.err);
    if (c.out == "help") {
      EXPECT_NE(run.out.find("--version"), std::string::npos) << run.out;
      if (help.empty()) help = run.out;
      EXPECT_EQ(run.out, help);
    } else {
      EXPECT_EQ(run.out, c.out);
    }
    EXPECT_FALSE(dir_.StandInLsRan());
    EXPECT_EQ(dir_.Entries(), (std::vector<std::string>{"a.log", "log.res"}));
    EXPECT_EQ(dir_.Read("log.res"), "old\n");
  }
}

// The example batch shipped in examples/batch, against its expected outputs in tests/golden.
TEST_F(E2eTest, ExampleBatch) {
  dir_.CopyFilesFrom(std::string(TABRUN_SOURCE_DIR) + "/examples/batch");

  const RunResult run = Run();

  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  ExpectSameText("console", run.out, ReadSourceFile("tests/golden/example.console"));
  ExpectSameText("log.res", dir_.Read("log.res"), ReadSourceFile("tests/golden/example.log.res"));
}

}  // namespace
}  // namespace tabrun_test
