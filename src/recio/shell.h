// Running the listing command through the shell.

#ifndef TABRUN_RECIO_SHELL_H_
#define TABRUN_RECIO_SHELL_H_

#include <string_view>

namespace tabrun {

// Runs `command`, without its trailing blanks, through the standard shell with system() and
// waits for it. Returns system()'s result: a wait status, or -1 when the shell could not be
// started. The command text is fixed by the caller; no file name read from anywhere reaches
// it.
//
// The shell runs with the soft stack limit raised to 64 MiB where the hard limit allows: the
// arguments a command may be given are bounded by a quarter of that limit (and by 6 MiB in
// the kernel), so a glob over a few hundred thousand names still fits. The limit is put back
// afterwards.
int RunShellCommand(std::string_view command);

// True when `status`, from RunShellCommand, says that the shell could not run the command
// itself: not found (127), or found but not runnable, as with an argument list too long (126).
bool CommandDidNotRun(int status);

}  // namespace tabrun

#endif  // TABRUN_RECIO_SHELL_H_
