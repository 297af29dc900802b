// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <signal.h>

#include <string>

#include "driver/command_line.h"
#include "driver/console.h"
#include "driver/direct_run.h"
#include "driver/run.h"
#include "recio/fatal.h"

namespace {

int Print(const std::string& text) {
  tabrun::Console console;
  console.Write(text);
  console.Flush();
  return 0;
}

int UsageError(const std::string& error) {
  tabrun::PrintError(error + "\n" + tabrun::kTryHelp);
  return tabrun::kUsageExitStatus;
}

}  // namespace

int main(int argc, char** argv) {
  const tabrun::CommandLine line = tabrun::ParseCommandLine(argc, argv);
  switch (line.command) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a silent
      // death that would leave log.res unflushed.
      signal(SIGPIPE, SIG_IGN);
      return tabrun::RunBatch();
    case tabrun::Command::kCsv:
      return tabrun::RunDirect(tabrun::RowFormat::kCsv, line.paths);
    case tabrun::Command::kJson:
      return tabrun::RunDirect(tabrun::RowFormat::kJson, line.paths);
    case tabrun::Command::kHelp:
      return Print(tabrun::HelpText());
    case tabrun::Command::kVersion:
      return Print(tabrun::VersionText());
    case tabrun::Command::kUsageError:
      return UsageError(line.error);
  }
  return 0;
}
