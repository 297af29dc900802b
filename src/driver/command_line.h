// What the command line asks for.

#ifndef TABRUN_DRIVER_COMMAND_LINE_H_
#define TABRUN_DRIVER_COMMAND_LINE_H_

#include <string>
#include <vector>

namespace tabrun {

enum class Command {
  kRun,         // no operands: summarise the batch in the current directory
  kCsv,         // --csv [PATH]...: one CSV row per log on standard output
  kJson,        // --json [PATH]...: one JSON object per log on standard output
  kHtml,        // --html [PATH]...: one HTML page for all the logs on standard output
  kHelp,        // -h or --help
  kVersion,     // --version
  kUsageError,  // anything else
};

// The most jobs -j takes: enough to keep a network file system busy, few enough that the
// workers' windows and stacks stay small.
inline constexpr int kMaxJobs = 1024;

struct CommandLine {
  Command command = Command::kRun;
  std::vector<std::string> paths;  // for kCsv, kJson and kHtml; "." when none is given
  int jobs = 0;                    // -j N or --jobs=N, from 1 to kMaxJobs; 0 when not given
  // For kUsageError: what is wrong, without "tabrun: ", or empty when the parser has already
  // said it on standard error.
  std::string error;
};

// Reads argv with getopt_long, the way GNU tools do, and with GNU's own messages on standard
// error for an unknown option, a missing or unwanted argument, or an ambiguous abbreviation:
// options and paths may come in any order (even with POSIXLY_CORRECT set), "--" ends the
// options, a long option may be cut to any unique start, and -h, --help or --version anywhere
// wins over everything else but an option error. Paths are taken only with --csv, --json or
// --html, exactly one of which may be given. Not reentrant: it uses getopt's global state.
CommandLine ParseCommandLine(int argc, const char* const* argv);

// The help text printed for kHelp, ending with a line feed.
std::string HelpText();
// The version line printed for kVersion: "tabrun <version>" and a line feed.
std::string VersionText();
// The line that follows a usage error on standard error.
inline constexpr char kTryHelp[] = "Try 'tabrun --help' for more information.";

// Exit status for a usage error.
inline constexpr int kUsageExitStatus = 2;

}  // namespace tabrun

#endif  // TABRUN_DRIVER_COMMAND_LINE_H_
