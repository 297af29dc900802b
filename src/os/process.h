// The process itself: its standard handles, its signals, its arguments, and the shell.

#ifndef TABRUN_OS_PROCESS_H_
#define TABRUN_OS_PROCESS_H_

#include <string>
#include <vector>

namespace tabrun::os {

// Puts the null device on each of standard input, output and error that is closed, so that
// no file the program opens can take its place and receive what is meant for it. Call it
// first, before anything is opened. A platform whose handles cannot be taken over this way
// does nothing.
void OpenStandardHandles();

// Ends the process at once with `status`: no exit handlers run, and threads still at work do not
// stop it. What WriteAll wrote is out already; nothing else is flushed. On Windows the process is
// terminated rather than exited, since an exit waits for locks that a thread stopped at any
// point may hold, and then never ends; and it first lets the other threads finish the work they
// are in (see WorkInProgress), for at most a second.
[[noreturn]] void ExitNow(int status);

// While it lives, the calling thread is in a piece of work (reading a log) that ExitNow on
// another thread lets finish on Windows: under wine, ending a process whose other threads are
// in the middle of a system call can hang the end for good. Elsewhere it does nothing.
class WorkInProgress {
 public:
  WorkInProgress();
  ~WorkInProgress();
  WorkInProgress(const WorkInProgress&) = delete;
  WorkInProgress& operator=(const WorkInProgress&) = delete;
};

// Writing to a pipe whose reader has gone becomes a write error, reported where it happens,
// instead of ending the process. A platform without such a signal does nothing.
void IgnoreBrokenPipe();

// True where the system's standard shell has ls and expands a glob such as *.log, so that
// RunShellCommand can run the listing command; false on Windows, whose cmd.exe has neither.
bool ShellListsFiles();

// The shell a person types commands into here, whose quoting a command shown to them must
// follow: a POSIX shell (sh, bash, dash, zsh) on Linux and macOS, cmd.exe on Windows.
enum class ShellSyntax { kPosix, kCmd };
ShellSyntax TypingShell();

// The command-line arguments after the program's name, as UTF-8: on POSIX systems the bytes
// of argv as they came; where the system keeps the command line in another encoding, it is
// converted, and `argv` is not used.
std::vector<std::string> Arguments(int argc, char** argv);

// Runs `command` through the system's standard shell (/bin/sh -c on POSIX systems, cmd.exe
// on Windows) and waits for it, after removing the environment variables named in `unset`
// from the program's environment for good. On POSIX systems the shell runs with the soft
// stack limit raised to 64 MiB where the hard limit allows, since the arguments a command may
// be given are bounded by a quarter of that limit (and by 6 MiB in Linux), so that a glob over
// a few hundred thousand names still fits; the limit is put back afterwards.
//
// Returns false when the shell could not run the command itself: it was not found (status
// 127), or found but could not be started, as with an argument list too long (126). True when
// the command ran, whatever its own exit status, and also when the shell itself could not be
// started (the caller has no better way on than the one it takes after a failed command).
bool RunShellCommand(const std::string& command, const std::vector<std::string>& unset);

}  // namespace tabrun::os

#endif  // TABRUN_OS_PROCESS_H_
