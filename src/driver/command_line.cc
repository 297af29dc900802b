#include "driver/command_line.h"

#include <string_view>

namespace tabrun {

Command ParseCommandLine(int argc, const char* const* argv) {
  if (argc <= 1) return Command::kRun;
  if (argc > 2) return Command::kUsageError;
  const std::string_view arg = argv[1];
  if (arg == "-h" || arg == "--help") return Command::kHelp;
  if (arg == "--version") return Command::kVersion;
  return Command::kUsageError;
}

std::string HelpText() {
  return "Usage: tabrun\n"
         "\n"
         "Run it with no arguments in a directory that holds the *.log files of a batch of\n"
         "refinement runs. It lists them into list_log (with \"ls -l *.log > list_log\"),\n"
         "reads each log once and writes one summary line per run to log.res: how the run\n"
         "ended, its CPU time and its Chi2 or R-F2 figure. Runs that could not be\n"
         "summarised, the total CPU time and a warning when too many runs failed are shown\n"
         "on the console.\n"
         "\n"
         "Options:\n"
         "  -h, --help   print this help and exit\n"
         "  --version    print the version and exit\n"
         "\n"
         "Exit status: 0 when the batch was summarised, 1 after a fatal I/O error (one line\n"
         "on standard error names the unit, the file and the reason), 2 for a usage error.\n";
}

std::string VersionText() { return std::string("tabrun ") + TABRUN_VERSION + "\n"; }

std::string UsageErrorText() { return "usage: tabrun [-h | --help | --version]"; }

}  // namespace tabrun
