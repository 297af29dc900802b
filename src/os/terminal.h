// The terminal as a live view needs it: its size, its escape sequences, and a way to be stopped
// that leaves it clean.

#ifndef TABRUN_OS_TERMINAL_H_
#define TABRUN_OS_TERMINAL_H_

namespace tabrun::os {

struct TerminalSize {
  int rows = 0;
  int columns = 0;
};

// The size of the terminal that `file` is (a handle of file.h), in character cells; zero rows
// and columns when it is no terminal or the system cannot say.
TerminalSize SizeOf(int file);

// Lets the terminal `file` take the VT escape sequences that move the cursor and erase (a
// Windows console must be asked to); terminals elsewhere always take them. False when it cannot.
bool EnableEscapes(int file);

// From now on an interrupt (Ctrl-C), SIGTERM and, on Windows, the console's break and close
// events do not end the process but make StopAsked true, so that the program ends as it chooses.
void CatchStop();
bool StopAsked();

}  // namespace tabrun::os

#endif  // TABRUN_OS_TERMINAL_H_
