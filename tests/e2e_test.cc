// End-to-end tests: the built tabrun runs in a scratch directory on real files and its outputs
// are compared byte for byte. The unit tests pin the scan of one log and every line layout;
// these hold what needs the whole program: the walk over the listing, the real `ls`, the file
// system's failures and the command line.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "scratch_dir.h"

namespace tabrun_test {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

constexpr std::string_view kBanner =
    "\n"
    "                =========Program Tab_Run=========\n"
    "     Program to extract information from Kolvaran LOG files\n"
    "                ========= Vestrum 2000  =========\n"
    "\n";
constexpr std::string_view kWarning =
    "   \n"
    "   WARNING: If your system is not Windows NT/2000/XP the log.res file is not correct\n"
    "   LOOK INTO individual *.log files!\n";
constexpr std::string_view kGoodLog = " Control file *.pcr: good\n Normal end\n CPU Time:  30.0\n";

std::string Pad(std::string_view text, size_t width) {
  std::string padded(text.substr(0, width));
  padded.resize(width, ' ');
  return padded;
}

std::string Right(std::string_view text, size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + std::string(text);
}

// The run text of a summarised run: the name stage cut or padded to 50 columns, "> CPU:", the
// 12 columns after "CPU Time:" and, when given, the result piece after the trimmed text.
std::string RunText(std::string_view name, std::string_view cpu, std::string_view result = "") {
  std::string text = Pad(name, 50) + "> CPU:" + Pad(cpu, 12);
  if (!result.empty()) text.erase(text.find_last_not_of(' ') + 1).append(result);
  return text;
}

std::string LsLine(std::string_view name) {
  return "-rw-r--r-- 1 kolv users  4213 Nov 14 09:12 " + std::string(name) + "\n";
}

// The console and log.res of a batch, built line by line.
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
  // A failure line: `lead` and the text, padded in log.res and trimmed on the console.
  void Failure(std::string_view lead, std::string_view text) {
    log_res += std::string(lead) + Pad(text, 256) + "\n";
    console += std::string(lead) + std::string(text) + "\n";
  }
  void Close(std::string_view seconds, std::string_view minutes, bool warning) {
    const std::string totals = " => Total CPU Time:" + Right(seconds, 14) + " seconds\n" +
                               " =>                " + Right(minutes, 14) + " minutes\n";
    console += totals + "   FINAL RESULTS IN FILE: log.res\n";
    if (warning) console += kWarning;
    log_res += totals;
  }

  std::string console;
  std::string log_res;
};

std::string GoodRun() { return RunText("Normal end for good.pcr", "  30.0"); }
constexpr std::string_view kBadEnd = " => Bad end for file: ";
constexpr std::string_view kNoCpu = " => No CPU calculation for: ";
constexpr std::string_view kNoControlFile = " => PCR file not found in: ";

class E2eTest : public ScratchDirTest {
 protected:
  // A completed batch, or with `status` 1 a fatal error after what `expected` holds.
  void ExpectRun(const RunResult& run, const Expected& expected, int status = 0,
                 std::string_view err = "") const {
    EXPECT_EQ(run.status, status) << run.err;
    EXPECT_EQ(run.err, err);
    ExpectSameText("console", run.out, expected.console);
    ExpectSameText("log.res", Read("log.res"), expected.log_res);
  }
};

TEST_F(E2eTest, ExampleBatch) {
  const std::string source = TABRUN_SOURCE_DIR;
  for (const fs::directory_entry& entry : fs::directory_iterator(source + "/examples/batch")) {
    fs::copy_file(entry.path(), Path(entry.path().filename().string()));
  }

  const RunResult run = Run();

  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  ExpectSameText("console", run.out, ReadFile(source + "/tests/golden/example.console"));
  ExpectSameText("log.res", Read("log.res"), ReadFile(source + "/tests/golden/example.log.res"));
}

// A bad end, an ordinary run and an annealing run, listed by the real `ls`.
TEST_F(E2eTest, WorkedExample) {
  Write("broken.log", " Control file *.pcr: broken\n => Cycle:   1\n");
  Write("cu2o.log",
        " Control file *.pcr: cu2o\n => Cycle:   1\n  Chi2:  1.53  Rp:  8.21\n"
        " => Normal end, final calculations and writing...\n  CPU Time:     12.345 seconds\n");
  Write("sa_run1.log",
        " ** Kolvaran: simulated annealing **\n=> Sol#: 1 RF2=   7.5321 Chi2=   2.104\n"
        "=> PCR  File  : sa_run1\nCPU Time:    301.250 seconds\n");

  Expected expected(3);
  expected.Failure(kBadEnd, "broken.pcr");
  expected.Summary(
      "Normal end for cu2o.pcr                           > CPU:     12.345> Chi2:  1.53  Rp:  "
      "8.21");
  expected.Summary(
      "Normal end for sa_run1.pcr (Monte/Sim.Anneal.)    > CPU:    301.250> R-F2: 7.5321");
  expected.Close("313.595", "5.227", false);
  ExpectRun(Run(), expected);

  // list_log is kept: one long-listing line per log, in name order.
  const std::string listing = Read("list_log");
  EXPECT_EQ(std::count(listing.begin(), listing.end(), '\n'), 3) << listing;
  EXPECT_LT(listing.find(" broken.log\n"), listing.find(" cu2o.log\n")) << listing;
  EXPECT_TRUE(listing.ends_with(" sa_run1.log\n")) << listing;
}

// No log at all: `ls` complains on its own, list_log is created empty and kept, and a stale
// log.res longer than the new one is replaced whole.
TEST_F(E2eTest, EmptyDirectory) {
  Write("log.res", std::string(5000, 'x') + "\n");
  Write("notes.txt", "not a log\n");

  const RunResult run = Run();

  Expected expected(0);
  expected.Close("0.000", "0.000", false);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err.find("tabrun"), std::string::npos) << run.err;
  ExpectSameText("console", run.out, expected.console);
  ExpectSameText("log.res", Read("log.res"), expected.log_res);
  EXPECT_EQ(Read("list_log"), "");
}

// Every listing line is an entry: blank ones are counted but skipped, others are named by
// their last word. Not-found lines, bad ends and logs without a control file line are failures
// for the warning; a run without CPU time is not. Entries are spelled one letter each.
TEST_F(E2eTest, ListingEntriesAndWarning) {
  Write("good.log", kGoodLog);
  Write("nocpu.log", " Control file *.pcr: nocpu\n Normal end\n");
  Write("broken.log", " Control file *.pcr: broken\n");
  Write("noctl.log", " Kolvaran stopped: cannot read the input file\n");
  // Each kind of entry, by its letter in kKinds: its listing line and what it adds.
  constexpr std::string_view kKinds = "GNBCMT_L";
  const std::pair<std::string, void (*)(Expected&)> kinds[] = {
      {LsLine("good.log"), [](Expected& e) { e.Summary(GoodRun()); }},
      {LsLine("nocpu.log"), [](Expected& e) { e.Failure(kNoCpu, "Normal end for nocpu.pcr"); }},
      {LsLine("broken.log"), [](Expected& e) { e.Failure(kBadEnd, "broken.pcr"); }},
      {LsLine("noctl.log"), [](Expected& e) { e.Failure(kNoControlFile, "noctl.log"); }},
      {LsLine("gone.log"), [](Expected& e) { e.NotFound("gone.log"); }},
      {"total 16\n", [](Expected& e) { e.NotFound("16"); }},
      {"\n", [](Expected&) {}},
      // 10,000 characters: the name is taken from the first 256.
      {std::string(10000, 'x') + " good.log\n",
       [](Expected& e) { e.NotFound(std::string(256, 'x')); }},
  };
  struct Case {
    std::string entries;
    const char* seconds;
    const char* minutes;
    bool warning;
  };
  const Case cases[] = {
      {"T_GGGGG", "150.000", "2.500", true},           // 1 failure over 7 - 7 = 0
      {"GGGGGGGGG_NM", "270.000", "4.500", false},     // 1 over 5: exactly 20
      {"GGGGGGGGGGGGGGBCL", "420.000", "7.000", true},  // 3 over 10
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.entries);
    Expected expected(static_cast<int>(c.entries.size()));
    std::string listing;
    for (char letter : c.entries) {
      const auto& [line, add] = kinds[kKinds.find(letter)];
      listing += line;
      add(expected);
    }
    expected.Close(c.seconds, c.minutes, c.warning);
    ExpectRun(Run(listing), expected);
  }
}

// Listings longer than 500 lines are counted and walked to their end.
TEST_F(E2eTest, LongListings) {
  Write("good.log", kGoodLog);
  for (const int lines : {501, 100000}) {
    SCOPED_TRACE(lines);
    std::string listing;
    Expected expected(lines);
    for (int k = 1; k < lines; ++k) {
      const std::string name = "gone_" + std::to_string(k) + ".log";
      listing += LsLine(name);
      expected.NotFound(name);
    }
    listing += LsLine("good.log");
    expected.Summary(GoodRun());
    expected.Close("30.000", "0.500", true);
    ExpectRun(Run(listing), expected);
  }
}

// Hostile logs in one batch: CRLF line ends, NUL and bytes that are not UTF-8 (kept as they
// are), an empty log, a 50 MB line of which only the first 256 columns are seen, and a CPU value
// beyond single precision that turns both totals into Infinity.
TEST_F(E2eTest, HostileLogs) {
  Write("crlf.log",
        " Control file *.pcr: cu2o\r\n  Chi2:  1.53  Rp:  8.21\r\n Normal end\r\n"
        "  CPU Time:  12.345\r\n");
  Write("empty.log", "");
  Write("huge.log", " Control file *.pcr: big\n Normal end\n  Chi2:  4.44  Rp:  5.55" +
                        std::string(300, ' ') + std::string(50'000'000, 'x') +
                        " CPU Time: 99.0\n CPU Time:      1.250 seconds\n");
  Write("inf.log", " Control file *.pcr: inf\n Normal end\n CPU Time: 1e39\n");
  Write("nul.log",
        " Control file *.pcr: caf\xe9_\xff\n\0 junk \0 Normal end \xc3\x28\n"
        "  Chi2:  1.0\0x  Rp: \xff\n CPU Time:  3.0 \0\0 s\n"s);

  Expected expected(5);
  expected.Summary(RunText("Normal end for cu2o.pcr", "  12.345", "> Chi2:  1.53  Rp:  8.21"));
  expected.Failure(kNoControlFile, "empty.log");
  expected.Summary(RunText("Normal end for big.pcr", "      1.250 ", "> Chi2:  4.44  Rp:  5.55"));
  expected.Summary(RunText("Normal end for inf.pcr", " 1e39"));
  expected.Summary(
      RunText("Normal end for caf\xe9_\xff.pcr", "  3.0 \0\0 s"s, "> Chi2:  1.0\0x  Rp: \xff"s));
  expected.Close("Infinity", "Infinity", false);
  ExpectRun(Run(), expected);
}

// A symbolic link is named by its target in the listing; a dangling target and a link loop
// are not found, a good target is summarised.
TEST_F(E2eTest, SymbolicLinks) {
  fs::create_directory(Path("runs"));
  Write("runs/keep.log", kGoodLog);
  fs::create_symlink("runs/keep.log", Path("alias.log"));
  fs::create_symlink("gone.log", Path("dead.log"));
  fs::create_symlink("loop.log", Path("loop.log"));

  Expected expected(3);
  expected.Summary(GoodRun());
  expected.NotFound("gone.log");
  expected.NotFound("loop.log");
  expected.Close("30.000", "0.500", false);
  ExpectRun(Run(), expected);
}

// A CPU value that is not a number stops the batch at the second of three logs: log.res keeps
// the line of the first, and nothing is written after.
TEST_F(E2eTest, CpuValueThatIsNotANumberIsFatal) {
  Write("a.log", kGoodLog);
  Write("b.log", " Control file *.pcr: b\n Normal end\n CPU Time: abc seconds\n");
  Write("c.log", kGoodLog);

  Expected expected(3);
  expected.Summary(GoodRun());
  ExpectRun(Run(), expected, 1,
            "tabrun: unit 2 (b.log): cannot read a real number: 'abc seconds'\n");
}

TEST_F(E2eTest, ListedDirectoryIsFatal) {
  Write("a.log", kGoodLog);
  fs::create_directory(Path("d.log"));
  Write("c.log", kGoodLog);

  Expected expected(3);
  expected.Summary(GoodRun());
  ExpectRun(Run(LsLine("a.log") + LsLine("d.log") + LsLine("c.log")), expected, 1,
            "tabrun: unit 2 (d.log): cannot open: Is a directory\n");
}

TEST_F(E2eTest, UnreadableLogIsFatal) {
  Write("a.log", kGoodLog);
  Write("secret.log", kGoodLog, 0000);
  ASSERT_EQ(chmod(work_.c_str(), 0777), 0);

  Expected expected(2);
  expected.Summary(GoodRun());
  ExpectRun(Run(std::nullopt, {}, User::kUnprivileged), expected, 1,
            "tabrun: unit 2 (secret.log): cannot open: Permission denied\n");
}

TEST_F(E2eTest, LogResThatCannotBeCreatedIsFatal) {
  Write("a.log", kGoodLog);
  fs::create_directory(Path("log.res"));

  const RunResult run = Run();

  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "tabrun: unit 1 (log.res): cannot open: Is a directory\n");
  ExpectSameText("console", run.out, Expected(1).console);
  EXPECT_TRUE(Read("list_log").ends_with(" a.log\n"));
  EXPECT_EQ(Entries(), (std::vector<std::string>{"a.log", "list_log", "log.res"}));
}

TEST_F(E2eTest, ListLogThatCannotBeCreatedIsFatal) {
  Write("a.log", kGoodLog);
  ASSERT_EQ(chmod(work_.c_str(), 0555), 0);

  const RunResult run = Run(std::nullopt, {}, User::kUnprivileged);

  // The shell's complaint about the redirection comes first; tabrun's own line is the last.
  const std::string fatal = "tabrun: unit 50 (list_log): cannot open: Permission denied\n";
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.err.ends_with(fatal)) << run.err;
  EXPECT_EQ(run.err.find("tabrun:"), run.err.size() - fatal.size()) << run.err;
  ExpectSameText("console", run.out, kBanner);
  EXPECT_EQ(Entries(), std::vector<std::string>{"a.log"});
}

// Any argument but one -h, --help or --version is a usage error. No case lists or writes files.
TEST_F(E2eTest, CommandLine) {
  Write("a.log", kGoodLog);
  Write("log.res", "old\n");

  struct Case {
    std::vector<std::string> args;
    int status;
    const char* out;  // nullptr for the help text
    const char* err;
  };
  const char* const usage = "tabrun: usage: tabrun [-h | --help | --version]\n";
  const Case cases[] = {
      {{"-h"}, 0, nullptr, ""},
      {{"--help"}, 0, nullptr, ""},
      {{"--version"}, 0, "tabrun 1.0.0\n", ""},
      {{"-x"}, 2, "", usage},
      {{"-h", "-h"}, 2, "", usage},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.front() + " (" + std::to_string(c.args.size()) + ")");
    const RunResult run = Run(LsLine("a.log"), c.args);
    EXPECT_EQ(run.status, c.status);
    EXPECT_EQ(run.err, c.err);
    if (c.out == nullptr) {
      EXPECT_TRUE(run.out.starts_with("Usage: tabrun\n")) << run.out;
      EXPECT_NE(run.out.find("--version"), std::string::npos) << run.out;
    } else {
      EXPECT_EQ(run.out, c.out);
    }
    EXPECT_FALSE(LsRan());
    EXPECT_EQ(Entries(), (std::vector<std::string>{"a.log", "log.res"}));
    EXPECT_EQ(Read("log.res"), "old\n");
  }
}

}  // namespace
}  // namespace tabrun_test
