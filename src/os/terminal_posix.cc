#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "os/terminal.h"

namespace tabrun::os {
namespace {

volatile sig_atomic_t stop_asked = 0;

void AskStop(int) { stop_asked = 1; }

}  // namespace

TerminalSize SizeOf(int file) {
  winsize size{};
  if (ioctl(file, TIOCGWINSZ, &size) != 0) return {};
  return {size.ws_row, size.ws_col};
}

bool EnableEscapes(int file) { return isatty(file) == 1; }

void CatchStop() {
  struct sigaction action {};
  action.sa_handler = AskStop;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool StopAsked() { return stop_asked != 0; }

}  // namespace tabrun::os
