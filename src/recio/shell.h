// Running the listing command through the shell.

#ifndef TABRUN_RECIO_SHELL_H_
#define TABRUN_RECIO_SHELL_H_

#include <string_view>

namespace tabrun {

// Runs `command`, without its trailing blanks, through the standard shell with system() and
// waits for it. Returns system()'s result, or -1 when the command could not be started.
// The command text is fixed by the caller; no file name read from anywhere reaches it.
int RunShellCommand(std::string_view command);

}  // namespace tabrun

#endif  // TABRUN_RECIO_SHELL_H_
