#include "driver/command_line.h"

#include <getopt.h>

#include <optional>
#include <string_view>

#include "recio/number.h"

namespace tabrun {
namespace {

enum LongOnly { kCsvOption = 256, kJsonOption, kHtmlOption, kVersionOption };

constexpr option kOptions[] = {
    {"csv", no_argument, nullptr, kCsvOption},
    {"json", no_argument, nullptr, kJsonOption},
    {"html", no_argument, nullptr, kHtmlOption},
    {"jobs", required_argument, nullptr, 'j'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, kVersionOption},
    {nullptr, 0, nullptr, 0},
};

CommandLine UsageError(std::string error) {
  return {Command::kUsageError, {}, 0, std::move(error)};
}

// The number of jobs `text` gives, or 0 when it is not a number from 1 to kMaxJobs.
int JobsOf(std::string_view text) {
  const std::optional<int> jobs = WholeInteger<int>(text);
  return jobs && *jobs >= 1 && *jobs <= kMaxJobs ? *jobs : 0;
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  // getopt_long permutes its own copy of the pointers; the messages it prints name argv[0],
  // which is "tabrun" whatever path the program was started by.
  std::vector<char*> args;
  for (int i = 0; i < argc; ++i) args.push_back(const_cast<char*>(argv[i]));  // not written
  std::string name = "tabrun";
  if (!args.empty()) args[0] = name.data();
  args.push_back(nullptr);

  bool help = false, version = false, failed = false;
  std::vector<std::pair<Command, std::string_view>> modes;  // and the option that asked
  std::vector<std::string> operands;
  CommandLine line;
  optind = 0;  // start afresh
  opterr = 1;  // getopt says what is wrong
  // The leading '-' hands operands back in place, so that POSIXLY_CORRECT changes nothing.
  for (int c; (c = getopt_long(argc, args.data(), "-hj:", kOptions, nullptr)) != -1;) {
    switch (c) {
      case 1: operands.emplace_back(optarg); break;
      case 'h': help = true; break;
      case kVersionOption: version = true; break;
      case kCsvOption: modes.emplace_back(Command::kCsv, "--csv"); break;
      case kJsonOption: modes.emplace_back(Command::kJson, "--json"); break;
      case kHtmlOption: modes.emplace_back(Command::kHtml, "--html"); break;
      case 'j':
        line.jobs = JobsOf(optarg);
        if (line.jobs == 0) {
          return UsageError("invalid number of jobs: '" + std::string(optarg) + "' (1 to " +
                            std::to_string(kMaxJobs) + ")");
        }
        break;
      default: failed = true; break;  // getopt has printed why
    }
  }
  for (int i = optind; i < argc; ++i) operands.emplace_back(argv[i]);  // after "--"
  if (failed) return UsageError("");
  if (help) return {Command::kHelp, {}, 0, {}};
  if (version) return {Command::kVersion, {}, 0, {}};
  if (modes.size() > 1) {
    return UsageError("options '" + std::string(modes[0].second) + "' and '" +
                      std::string(modes[1].second) + "' cannot be used together");
  }
  if (modes.empty()) {
    if (!operands.empty()) return UsageError("extra operand '" + operands.front() + "'");
    line.command = Command::kRun;
    return line;
  }
  if (operands.empty()) operands.emplace_back(".");
  line.command = modes.front().first;
  line.paths = std::move(operands);
  return line;
}

std::string HelpText() {
  return "Usage: tabrun [-j N]\n"
         "       tabrun --csv [-j N] [PATH]...\n"
         "       tabrun --json [-j N] [PATH]...\n"
         "       tabrun --html [-j N] [PATH]... > report.html\n"
         "\n"
         "Without operands, in a directory that holds the *.log files of a batch of\n"
         "refinement runs: lists them into list_log (with \"ls -l *.log > list_log\"),\n"
         "reads each log once and writes one summary line per run to log.res: how the run\n"
         "ended, its CPU time and its Chi2 or R-F2 figure. Runs that could not be\n"
         "summarised, the total CPU time and a warning when too many runs failed are shown\n"
         "on the console.\n"
         "\n"
         "With --csv, --json or --html: reads every *.log file of each directory PATH\n"
         "(default .), sorted by name, hidden ones left out, and each file PATH as it is,\n"
         "without the shell, and writes to standard output only. --csv and --json write\n"
         "one row per log: log, kind, status, control_file, cpu_seconds, chi2, rp, rwp,\n"
         "rexp, rf2, rf2w, rf, result, error. --html writes one page that shows the batch:\n"
         "counts, a chart of one figure per run, a table to sort and filter, and the last\n"
         "lines of every failed log. Any file name and any number of logs work.\n"
         "\n"
         "Options:\n"
         "  --csv          one CSV row per log, after a header row\n"
         "  --json         one JSON object per log and line (JSON Lines)\n"
         "  --html         one self-contained HTML page\n"
         "  -j, --jobs=N   read N logs at a time (default: the CPUs tabrun may use;\n"
         "                 more pay off on a network file system); output is the same\n"
         "  -h, --help     print this help and exit\n"
         "  --version      print the version and exit\n"
         "\n"
         "Exit status: 0 when every log was read; 1 after a fatal I/O error, or in the\n"
         "direct modes when a log could not be read or had a CPU value that is not a\n"
         "number; 2 for a usage error.\n";
}

std::string VersionText() { return std::string("tabrun ") + TABRUN_VERSION + "\n"; }

}  // namespace tabrun
