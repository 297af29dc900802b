// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "driver/command_line.h"
#include "driver/run.h"
#include "recio/fatal.h"

namespace {

int Print(const std::string& text) {
  if (write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    tabrun::FatalIoError("*", "standard output", "cannot write", std::strerror(errno));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  switch (tabrun::ParseCommandLine(argc, argv)) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a
      // silent death that would leave log.res unflushed.
      signal(SIGPIPE, SIG_IGN);
      return tabrun::RunBatch();
    case tabrun::Command::kHelp:
      return Print(tabrun::HelpText());
    case tabrun::Command::kVersion:
      return Print(tabrun::VersionText());
    case tabrun::Command::kUsageError:
      tabrun::PrintError(tabrun::UsageErrorText());
      return tabrun::kUsageExitStatus;
  }
  return 0;
}
