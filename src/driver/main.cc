// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <signal.h>
#include <unistd.h>

#include <string>

#include "driver/command_line.h"
#include "driver/run.h"
#include "recio/fatal.h"
#include "recio/output_unit.h"

int main(int argc, char** argv) {
  tabrun::OutputUnit console("*", "standard output", STDOUT_FILENO);
  switch (tabrun::ParseCommandLine(argc, argv)) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a
      // silent death that would leave log.res unflushed.
      signal(SIGPIPE, SIG_IGN);
      return tabrun::RunBatch(console);
    case tabrun::Command::kHelp:
      console.Append(tabrun::HelpText());
      break;
    case tabrun::Command::kVersion:
      console.Append(tabrun::VersionText());
      break;
    case tabrun::Command::kUsageError:
      tabrun::PrintError(tabrun::UsageErrorText());
      return tabrun::kUsageExitStatus;
  }
  console.Flush();
  return 0;
}
