// tabrun: summarise the logs of a batch of refinement runs into log.res.

#include <new>
#include <string>

#include "driver/command_line.h"
#include "driver/compare_run.h"
#include "driver/console.h"
#include "driver/direct_run.h"
#include "driver/run.h"
#include "driver/watch.h"
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

// The watch's output for the rows or the page of `format`.
tabrun::WatchOutput WatchOutputOf(tabrun::RowFormat format) {
  switch (format) {
    case tabrun::RowFormat::kCsv:
      return tabrun::WatchOutput::kCsv;
    case tabrun::RowFormat::kJson:
      return tabrun::WatchOutput::kJson;
    case tabrun::RowFormat::kHtml:
      break;
  }
  return tabrun::WatchOutput::kHtml;
}

// The watch that `line` asks for, in the output `output`.
int Watch(const tabrun::CommandLine& line, tabrun::WatchOutput output, int jobs) {
  return tabrun::RunWatch({output, line.paths, jobs, line.running_for, line.output});
}

int Run(int argc, char** argv) {
  tabrun::os::OpenStandardHandles();
  const tabrun::CommandLine line =
      tabrun::ParseCommandLine(tabrun::os::Arguments(argc, argv), tabrun::os::TypingShell());
  const int jobs = line.jobs != 0 ? line.jobs : tabrun::kDefaultJobs;
  switch (line.command) {
    case tabrun::Command::kRun:
      // A closed pipe on standard output becomes a write error with a message, not a silent
      // death that would leave log.res unflushed.
      tabrun::os::IgnoreBrokenPipe();
      return tabrun::RunBatch(jobs);
    case tabrun::Command::kCsv:
    case tabrun::Command::kJson:
    case tabrun::Command::kHtml: {
      const tabrun::RowFormat format =
          line.command == tabrun::Command::kCsv    ? tabrun::RowFormat::kCsv
          : line.command == tabrun::Command::kJson ? tabrun::RowFormat::kJson
                                                   : tabrun::RowFormat::kHtml;
      if (line.compare) return tabrun::RunCompare(format, line.paths[0], line.paths[1], jobs);
      if (line.watch) return Watch(line, WatchOutputOf(format), jobs);
      if (line.from_rows) return tabrun::RunFromRows(format, line.paths);
      return tabrun::RunDirect(format, line.paths, jobs);
    }
    case tabrun::Command::kWatch:
      return Watch(line, tabrun::WatchOutput::kView, jobs);
    case tabrun::Command::kHelp:
      return Print(tabrun::HelpText());
    case tabrun::Command::kVersion:
      return Print(tabrun::VersionText());
    case tabrun::Command::kUsageError:
      return UsageError(line);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Memory that runs out, in a worker or here, ends the run as every fatal error does. The
  // pool hands a worker's std::bad_alloc to the thread that takes its result, so it comes here.
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    tabrun::FatalOutOfMemory();
  }
}
