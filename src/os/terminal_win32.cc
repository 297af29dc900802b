// The console through its own API: its window's size, VT processing asked for, and the
// console's control events caught.

#include <atomic>

#include "os/terminal.h"
#include "os/text_win32.h"

namespace tabrun::os {
namespace {

std::atomic<bool> stop_asked{false};

BOOL WINAPI AskStop(DWORD) {
  stop_asked = true;
  return TRUE;  // handled: the process is not ended by the system's default handler
}

}  // namespace

TerminalSize SizeOf(int file) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(win32::SystemHandle(file), &info)) return {};
  return {info.srWindow.Bottom - info.srWindow.Top + 1,
          info.srWindow.Right - info.srWindow.Left + 1};
}

bool EnableEscapes(int file) {
  const HANDLE handle = win32::SystemHandle(file);
  DWORD mode;
  if (!GetConsoleMode(handle, &mode)) return false;
  return (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 ||
         SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void CatchStop() { SetConsoleCtrlHandler(AskStop, TRUE); }

bool StopAsked() { return stop_asked; }

}  // namespace tabrun::os
