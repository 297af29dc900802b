// What the command line asks for.

#ifndef TABRUN_DRIVER_COMMAND_LINE_H_
#define TABRUN_DRIVER_COMMAND_LINE_H_

#include <string>
#include <string_view>
#include <vector>

#include "os/process.h"

namespace tabrun {

enum class Command {
  kRun,         // no operands: summarise the batch in the current directory
  kCsv,         // --csv [PATH]...: one CSV row per log on standard output
  kJson,        // --json [PATH]...: one JSON object per log on standard output
  kHtml,        // --html [PATH]...: one HTML page for all the logs on standard output
  kWatch,       // --watch [PATH]...: the batch followed live in the terminal
  kHelp,        // -h or --help
  kVersion,     // --version
  kUsageError,  // anything else
};

// The most jobs -j takes: enough to keep a network file system busy, few enough that the
// workers' windows and stacks stay small.
inline constexpr int kMaxJobs = 1024;
// The most logs read at once without -j: enough for a network file system's round trips, few
// enough to spare a server that others share.
inline constexpr int kDefaultJobs = 64;

// How long a log that has not reached an outcome counts as running after its last change,
// unless --running-for says otherwise, and the most --running-for takes.
inline constexpr int kDefaultRunningFor = 120;
inline constexpr int kMaxRunningFor = 1'000'000'000;

struct CommandLine {
  Command command = Command::kRun;
  std::vector<std::string> paths;  // for kCsv, kJson, kHtml and kWatch; "." when none is given
  int jobs = 0;                    // -j N or --jobs=N, from 1 to kMaxJobs; 0 when not given
  // For kUsageError: what is wrong, without "tabrun: ".
  std::string error;
  // For kUsageError: a line, without "tabrun: ", that says what to type instead, to be written
  // as it is (ExtraOperandHint's); may be empty.
  std::string hint;
  // --watch with --csv, --json or --html (kWatch is --watch alone): the rows or the page
  // follow the batch until the program is stopped.
  bool watch = false;
  int running_for = kDefaultRunningFor;  // --running-for SECONDS, with --watch only
  std::string output;                    // --output FILE, with --html --watch only (and needed)
  // --compare, with kCsv, kJson or kHtml: `paths` are BEFORE and AFTER.
  bool compare = false;
  // --from-rows: the paths are files of rows that tabrun wrote ("-" when none is given).
  bool from_rows = false;
};

// Reads the arguments that follow the program's name, UTF-8 strings, the way GNU tools read
// theirs and with the same messages on every platform: "unrecognized option '--x'", "invalid
// option -- 'x'", "option '--csv' doesn't allow an argument", "option requires an argument --
// 'j'", "option '--jobs' requires an argument", "option '--h' is ambiguous; possibilities:
// '--html' '--help'". Options and paths may come in any order (POSIXLY_CORRECT changes
// nothing), "--" ends the options, a long option may be cut to any unique start, short options
// may be grouped, and -j takes its number joined or as the next argument. The first wrong
// option ends the reading. -h, --help or --version anywhere wins over everything else but an
// option error. Paths are taken only with --csv, --json, --html or --watch; one of the first
// three may be given any number of times, but not two different ones. An operand without one of
// them is an error whose hint is ExtraOperandHint's for `shell`. --running-for needs --watch;
// --output needs --html and --watch, which need it in turn. --compare takes one of the first
// three and exactly two paths; it is an error without one, with fewer paths, with more ("extra
// operand") and with --watch. --from-rows goes with one of the first three only, and neither
// with --watch nor with --compare.
CommandLine ParseCommandLine(const std::vector<std::string>& args, os::ShellSyntax shell);

// What to type in `shell` to read the logs of the directory `operand`, given without --csv, as
// a line without "tabrun: ", for example
//   for the logs in that directory: cd './runs' && tabrun, or tabrun --csv './runs'
//   for the logs in that directory: cd /d "C:\runs" && tabrun, or tabrun --csv "C:\runs"
// Each command hands the operand over as it is, and nothing in it becomes an option or a
// special name: for a POSIX shell a relative operand starts with "./" (so that cd reads no
// option in it, "-" is not the previous directory and CDPATH is not searched) and stands in
// single quotes; for cmd.exe it has backslashes, ".\" before a leading '-', and double quotes,
// inside which tabrun's C runtime would read the backslashes that end it as an escaped quote
// unless they are doubled, and a share (\\server\share) is entered with pushd, as cd cannot
// enter it. Empty when no such command can be written: for an empty operand, one that holds a
// control character, and for cmd.exe one that holds '%' or '"'.
std::string ExtraOperandHint(std::string_view operand, os::ShellSyntax shell);

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
