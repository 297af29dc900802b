// What the command line asks for.

#ifndef TABRUN_DRIVER_COMMAND_LINE_H_
#define TABRUN_DRIVER_COMMAND_LINE_H_

#include <string>
#include <vector>

namespace tabrun {

enum class Command {
  kRun,         // no arguments: summarise the batch in the current directory
  kCsv,         // --csv [PATH]...: one CSV row per log on standard output
  kJson,        // --json [PATH]...: one JSON object per log on standard output
  kHelp,        // -h or --help
  kVersion,     // --version
  kUsageError,  // anything else
};

struct CommandLine {
  Command command = Command::kRun;
  std::vector<std::string> paths;  // for kCsv and kJson; "." when none is given
  std::string error;               // for kUsageError: what is wrong, without "tabrun: "
};

// Reads argv the way GNU tools do: options and paths may come in any order, "--" ends the
// options, and -h, --help or --version anywhere wins over everything else but an unknown
// option. Paths are taken only with --csv or --json, exactly one of which may be given.
CommandLine ParseCommandLine(int argc, const char* const* argv);

// The help text printed for kHelp, ending with a line feed.
std::string HelpText();
// The version line printed for kVersion: "tabrun <version>" and a line feed.
std::string VersionText();
// The line that follows a usage error's "tabrun: <error>" on standard error.
inline constexpr char kTryHelp[] = "Try 'tabrun --help' for more information.";

// Exit status for a usage error.
inline constexpr int kUsageExitStatus = 2;

}  // namespace tabrun

#endif  // TABRUN_DRIVER_COMMAND_LINE_H_
