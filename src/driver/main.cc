// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <string>

#include "driver/command_line.h"
#include "driver/console.h"
#include "driver/direct_run.h"
#include "driver/run.h"
#include "os/cpus.h"
#include "os/file.h"
#include "os/process.h"
#include "recio/fatal.h"

namespace {

int Print(const std::string& text) {
  tabrun::Console console;
  console.Write(text);
  console.Flush();
  return 0;
}

int UsageError(const tabrun::CommandLine& command_line) {
  tabrun::PrintError(command_line.error);
  // The hint is a command to type: as it is, its backslashes not doubled.
  std::string lines;
  if (!command_line.hint.empty()) lines += "tabrun: " + command_line.hint + "\n";
  lines += std::string(tabrun::kTryHelp) + "\n";
  std::size_t written;
  std::string ignored;
  tabrun::os::WriteAll(tabrun::os::kStandardError, lines, &written, &ignored);
  return tabrun::kUsageExitStatus;
}

// The rows of the logs, or of the row files, in `format`.
int Direct(tabrun::RowFormat format, const tabrun::CommandLine& line, int jobs) {
  if (line.from_rows) return tabrun::RunFromRows(format, line.paths);
  return tabrun::RunDirect(format, line.paths, jobs);
}

}  // namespace

int main(int argc, char** argv) {
  tabrun::os::OpenStandardHandles();
  const tabrun::CommandLine line =
      tabrun::ParseCommandLine(tabrun::os::Arguments(argc, argv), tabrun::os::TypingShell());
  const int jobs = line.jobs != 0 ? line.jobs : tabrun::os::UsableCpus();
  switch (line.command) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a silent
      // death that would leave log.res unflushed.
      tabrun::os::IgnoreBrokenPipe();
      return tabrun::RunBatch(jobs);
    case tabrun::Command::kCsv:
      return Direct(tabrun::RowFormat::kCsv, line, jobs);
    case tabrun::Command::kJson:
      return Direct(tabrun::RowFormat::kJson, line, jobs);
    case tabrun::Command::kHtml:
      return Direct(tabrun::RowFormat::kHtml, line, jobs);
    case tabrun::Command::kHelp:
      return Print(tabrun::HelpText());
    case tabrun::Command::kVersion:
      return Print(tabrun::VersionText());
    case tabrun::Command::kUsageError:
      return UsageError(line);
  }
  return 0;
}
