#include "driver/command_line.h"

#include <string_view>

namespace tabrun {
namespace {

CommandLine UsageError(std::string error) { return {Command::kUsageError, {}, std::move(error)}; }

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  bool help = false, version = false, csv = false, json = false, options_ended = false;
  std::vector<std::string> operands;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (options_ended || arg.size() < 2 || arg[0] != '-') {
      operands.push_back(arg);
    } else if (arg == "--") {
      options_ended = true;
    } else if (arg == "--help") {
      help = true;
    } else if (arg == "--version") {
      version = true;
    } else if (arg == "--csv") {
      csv = true;
    } else if (arg == "--json") {
      json = true;
    } else if (arg[1] == '-') {
      return UsageError("unrecognized option '" + arg + "'");
    } else {
      // A cluster of short options: -h is the only one.
      for (char c : std::string_view(arg).substr(1)) {
        if (c != 'h') return UsageError(std::string("invalid option -- '") + c + "'");
      }
      help = true;
    }
  }
  if (help) return {Command::kHelp, {}, {}};
  if (version) return {Command::kVersion, {}, {}};
  if (csv && json) return UsageError("options '--csv' and '--json' cannot be used together");
  if (!csv && !json) {
    if (!operands.empty()) return UsageError("extra operand '" + operands.front() + "'");
    return {Command::kRun, {}, {}};
  }
  if (operands.empty()) operands.emplace_back(".");
  return {csv ? Command::kCsv : Command::kJson, std::move(operands), {}};
}

std::string HelpText() {
  return "Usage: tabrun\n"
         "       tabrun --csv [PATH]...\n"
         "       tabrun --json [PATH]...\n"
         "\n"
         "Without arguments, in a directory that holds the *.log files of a batch of\n"
         "refinement runs: lists them into list_log (with \"ls -l *.log > list_log\"),\n"
         "reads each log once and writes one summary line per run to log.res: how the run\n"
         "ended, its CPU time and its Chi2 or R-F2 figure. Runs that could not be\n"
         "summarised, the total CPU time and a warning when too many runs failed are shown\n"
         "on the console.\n"
         "\n"
         "With --csv or --json, for scripts: reads every *.log file of each directory PATH\n"
         "(default .), sorted by name, and each file PATH as it is, without the shell, and\n"
         "writes one row per log to standard output only: log, kind, status, control_file,\n"
         "cpu_seconds, chi2, rp, rwp, rexp, rf2, rf2w, rf, result, error. Any file name and\n"
         "any number of logs work.\n"
         "\n"
         "Options:\n"
         "  --csv        one CSV row per log, after a header row\n"
         "  --json       one JSON object per log and line (JSON Lines)\n"
         "  -h, --help   print this help and exit\n"
         "  --version    print the version and exit\n"
         "\n"
         "Exit status: 0 when every log was read; 1 after a fatal I/O error, or with --csv\n"
         "or --json when a log could not be read or had a CPU value that is not a number;\n"
         "2 for a usage error.\n";
}

std::string VersionText() { return std::string("tabrun ") + TABRUN_VERSION + "\n"; }

}  // namespace tabrun
