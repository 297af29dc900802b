// What the command line asks for.

#ifndef TABRUN_DRIVER_COMMAND_LINE_H_
#define TABRUN_DRIVER_COMMAND_LINE_H_

#include <string>

namespace tabrun {

enum class Command {
  kRun,      // no arguments: summarise the batch in the current directory
  kHelp,     // -h or --help
  kVersion,  // --version
  kUsageError,
};

// Decides from argv what to do. Exactly one argument of -h, --help or --version is accepted;
// anything else with arguments is a usage error.
Command ParseCommandLine(int argc, const char* const* argv);

// The help text printed for kHelp, ending with a line feed.
std::string HelpText();
// The version line printed for kVersion: "tabrun <version>" and a line feed.
std::string VersionText();
// The one line printed to standard error for kUsageError, without the "tabrun: " prefix.
std::string UsageErrorText();

// Exit status for a usage error.
inline constexpr int kUsageExitStatus = 2;

}  // namespace tabrun

#endif  // TABRUN_DRIVER_COMMAND_LINE_H_
