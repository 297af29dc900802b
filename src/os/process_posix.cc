#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "os/process.h"

namespace tabrun::os {
namespace {

constexpr rlim_t kShellStack = rlim_t{64} << 20;

}  // namespace

void OpenStandardHandles() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) continue;
    const int null = open("/dev/null", O_RDWR);
    // open takes the lowest free number, which is `fd`; anything else is not ours to keep.
    if (null != fd && null >= 0) close(null);
  }
}

// _Exit, not _exit: the thread sanitizer takes _exit for an end that should have joined the
// workers, while a fatal error ends them where they stand on purpose.
void ExitNow(int status) { std::_Exit(status); }

WorkInProgress::WorkInProgress() = default;
WorkInProgress::~WorkInProgress() = default;

void IgnoreBrokenPipe() { signal(SIGPIPE, SIG_IGN); }

bool ShellListsFiles() { return true; }

ShellSyntax TypingShell() { return ShellSyntax::kPosix; }

std::vector<std::string> Arguments(int argc, char** argv) {
  return std::vector<std::string>(argv + std::min(argc, 1), argv + argc);
}

bool RunShellCommand(const std::string& command, const std::vector<std::string>& unset) {
  for (const std::string& name : unset) unsetenv(name.c_str());
  rlimit saved;
  const bool raise = getrlimit(RLIMIT_STACK, &saved) == 0 && saved.rlim_cur != RLIM_INFINITY &&
                     saved.rlim_cur < kShellStack;
  if (raise) {
    rlimit raised = saved;
    raised.rlim_cur =
        saved.rlim_max == RLIM_INFINITY ? kShellStack : std::min(kShellStack, saved.rlim_max);
    setrlimit(RLIMIT_STACK, &raised);
  }
  const int status = system(command.c_str());
  if (raise) setrlimit(RLIMIT_STACK, &saved);
  return status == -1 || !WIFEXITED(status) ||
         (WEXITSTATUS(status) != 126 && WEXITSTATUS(status) != 127);
}

}  // namespace tabrun::os
