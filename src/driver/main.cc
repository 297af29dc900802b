// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "driver/command_line.h"
#include "driver/console.h"
#include "driver/direct_run.h"
#include "driver/ordered_pool.h"
#include "driver/run.h"
#include "recio/fatal.h"

namespace {

int Print(const std::string& text) {
  tabrun::Console console;
  console.Write(text);
  console.Flush();
  return 0;
}

int UsageError(const tabrun::CommandLine& line) {
  tabrun::PrintError(line.error);
  if (!line.hint.empty()) tabrun::PrintError(line.hint);
  const std::string try_help = std::string(tabrun::kTryHelp) + "\n";
  ssize_t ignored = write(STDERR_FILENO, try_help.data(), try_help.size());
  (void)ignored;
  return tabrun::kUsageExitStatus;
}

// Puts /dev/null on any of standard input, output and error that is closed, so that no file
// tabrun opens can take its number and receive what is meant for it.
void OpenStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) continue;
    const int null = open("/dev/null", O_RDWR);
    // open takes the lowest free number, which is `fd`; anything else is not ours to keep.
    if (null != fd && null >= 0) close(null);
  }
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardDescriptors();
  const tabrun::CommandLine line =
      tabrun::ParseCommandLine(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
  const int jobs = line.jobs != 0 ? line.jobs : tabrun::UsableCpus();
  switch (line.command) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a silent
      // death that would leave log.res unflushed.
      signal(SIGPIPE, SIG_IGN);
      return tabrun::RunBatch(jobs);
    case tabrun::Command::kCsv:
      return tabrun::RunDirect(tabrun::RowFormat::kCsv, line.paths, jobs);
    case tabrun::Command::kJson:
      return tabrun::RunDirect(tabrun::RowFormat::kJson, line.paths, jobs);
    case tabrun::Command::kHtml:
      return tabrun::RunDirect(tabrun::RowFormat::kHtml, line.paths, jobs);
    case tabrun::Command::kHelp:
      return Print(tabrun::HelpText());
    case tabrun::Command::kVersion:
      return Print(tabrun::VersionText());
    case tabrun::Command::kUsageError:
      return UsageError(line);
  }
  return 0;
}
