// The process on Windows: binary standard handles, the command line in UTF-16, no signals and
// no shell that lists files.

#include <fcntl.h>
#include <io.h>
#include <stdlib.h>

#include <atomic>

#include "os/process.h"
#include "os/text_win32.h"
// After windows.h, which it needs.
#include <shellapi.h>

namespace tabrun::os {

bool win32::broken_pipe_ignored = false;

namespace {

// The threads in a piece of work, and whether this one is.
std::atomic<int> threads_at_work{0};
thread_local int at_work_here = 0;

}  // namespace

WorkInProgress::WorkInProgress() {
  ++at_work_here;
  threads_at_work.fetch_add(1);
}

WorkInProgress::~WorkInProgress() {
  --at_work_here;
  threads_at_work.fetch_sub(1);
}

void OpenStandardHandles() {
  for (int fd = 0; fd <= 2; ++fd) {
    if (win32::SystemHandle(fd) == INVALID_HANDLE_VALUE) {
      const int null = _wopen(L"NUL", _O_RDWR | _O_BINARY);
      // _wopen takes the lowest free number, which is `fd`; anything else is not ours to keep.
      if (null != fd && null >= 0) _close(null);
    }
    // Writes go to the system's handle, not through the C runtime, but nothing may turn an LF
    // into CR LF behind the program's back.
    _setmode(fd, _O_BINARY);
  }
  // A console shows the UTF-8 the program writes.
  SetConsoleOutputCP(CP_UTF8);
}

void ExitNow(int status) {
  // Threads that finish their work take no more once the results they made fill their window,
  // so the wait ends soon; a thread stuck in a read does not hold the end for more than a second.
  for (int waited = 0; waited < 1000 && threads_at_work.load() > at_work_here; ++waited) Sleep(1);
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  ExitProcess(static_cast<UINT>(status));  // not reached
}

void IgnoreBrokenPipe() { win32::broken_pipe_ignored = true; }

bool ShellListsFiles() { return false; }

ShellSyntax TypingShell() { return ShellSyntax::kCmd; }

std::vector<std::string> Arguments(int, char**) {
  // argv holds the arguments in the ANSI code page, where a Greek or CJK name is lost: the
  // UTF-16 command line holds them all.
  int count = 0;
  LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; wide != nullptr && i < count; ++i) arguments.push_back(win32::Utf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool RunShellCommand(const std::string& command, const std::vector<std::string>& unset) {
  std::wstring wide;
  for (const std::string& name : unset) {
    if (win32::Wide(name, &wide)) SetEnvironmentVariableW(wide.c_str(), nullptr);
    _putenv((name + "=").c_str());
  }
  if (!win32::Wide(command, &wide)) return true;
  const int status = _wsystem(wide.c_str());
  // cmd.exe's status for a command it cannot find.
  return status != 9009;
}

}  // namespace tabrun::os
