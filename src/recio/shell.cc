#include "recio/shell.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "recio/fixed_text.h"

namespace tabrun {
namespace {

constexpr rlim_t kShellStack = rlim_t{64} << 20;

}  // namespace

int RunShellCommand(std::string_view command) {
  const std::string text(TrimRight(command));
  rlimit saved;
  const bool raise = getrlimit(RLIMIT_STACK, &saved) == 0 && saved.rlim_cur != RLIM_INFINITY &&
                     saved.rlim_cur < kShellStack;
  if (raise) {
    rlimit raised = saved;
    raised.rlim_cur =
        saved.rlim_max == RLIM_INFINITY ? kShellStack : std::min(kShellStack, saved.rlim_max);
    setrlimit(RLIMIT_STACK, &raised);
  }
  const int status = std::system(text.c_str());
  if (raise) setrlimit(RLIMIT_STACK, &saved);
  return status;
}

bool CommandDidNotRun(int status) {
  return status != -1 && WIFEXITED(status) &&
         (WEXITSTATUS(status) == 126 || WEXITSTATUS(status) == 127);
}

}  // namespace tabrun
