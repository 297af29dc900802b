#include "driver/run.h"

#include <optional>
#include <string>
#include <vector>

#include "analysis/log_scan.h"
#include "driver/console.h"
#include "driver/listing.h"
#include "driver/listing_lines.h"
#include "driver/ordered_pool.h"
#include "os/directory.h"
#include "os/file.h"
#include "os/process.h"
#include "recio/fatal.h"
#include "recio/log_text.h"
#include "recio/name_list.h"
#include "recio/output_unit.h"
#include "recio/read_ahead.h"
#include "report/summary_lines.h"

namespace tabrun {
namespace {

constexpr char kListingFile[] = "list_log";
constexpr char kResultsFile[] = "log.res";
constexpr char kListingUnit[] = "50";
constexpr char kResultsUnit[] = "1";
constexpr char kLogUnit[] = "2";

// The console and log.res: both are written out as far as they can be before a fatal line.
class Streams {
 public:
  Console console;

  void ToResults(std::string_view text) {
    std::string error;
    if (!results_->Write(text, &error)) Fatal(kResultsUnit, kResultsFile, "cannot write", error);
  }

  // Creates or rewrites log.res.
  void OpenResults() {
    std::string error;
    const int fd = OutputUnit::CreateFile(kResultsFile, &error);
    if (fd < 0) Fatal(kResultsUnit, kResultsFile, "cannot open", error);
    results_.emplace(fd);
  }
  // The files that log.res and standard output are.
  std::vector<os::FileIdentity> WrittenFiles() const {
    std::vector<os::FileIdentity> files;
    for (const int fd : {results_ ? results_->fd() : os::kNoFile, os::kStandardOutput}) {
      os::FileStatus status;
      std::string ignored;
      if (fd != os::kNoFile && os::Describe(fd, &status, &ignored) &&
          status.kind == os::FileKind::kRegular) {
        files.push_back(status.identity);
      }
    }
    return files;
  }
  void CloseResults() {
    std::string error;
    if (!results_->Flush(&error)) Fatal(kResultsUnit, kResultsFile, "cannot write", error);
    if (!results_->Close(&error)) Fatal(kResultsUnit, kResultsFile, "cannot close", error);
    results_.reset();
  }

  [[noreturn]] void Fatal(std::string_view unit, std::string_view file, std::string_view what,
                          std::string_view reason) {
    console.Fatal(unit, file, what, reason, results_ ? &*results_ : nullptr);
  }

 private:
  std::optional<OutputUnit> results_;
};

// What the scans of one batch add up to.
struct BatchState {
  float cpu_total = 0.0f;     // seconds, single precision, summed over the batch
  float cpu_seconds = 0.0f;   // the last value read; a null value ("CPU Time: ,") keeps it
  std::int32_t failures = 0;  // bad ends, missing control files and files not found
};

// Opens list_log as the listing command left it; a missing one is created empty. Reads it
// whole and closes it again: the file stays in the directory.
NameList LoadListing(LogText& text, Streams& out) {
  std::string error;
  switch (text.Open(kListingFile, &error)) {
    case LogText::OpenResult::kOpened:
      break;
    case LogText::OpenResult::kMissing: {
      const int fd = os::CreateFile(kListingFile, &error);
      if (fd == os::kNoFile) out.Fatal(kListingUnit, kListingFile, "cannot open", error);
      os::CloseFile(fd);
      return {};
    }
    case LogText::OpenResult::kFailed:
      out.Fatal(kListingUnit, kListingFile, "cannot open", error);
  }
  NameList entries = ReadListing(text);
  if (!text.Close(&error)) out.Fatal(kListingUnit, kListingFile, "cannot close", error);
  return entries;
}

// Writes list_log as the listing command would, where the system's shell cannot run it.
void WriteListing(Streams& out) {
  std::vector<os::DirectoryEntry> entries;
  std::string error;
  if (!os::ListDirectoryEntries(".", &entries, &error)) {
    // As ls would, the run goes on with an empty listing.
    PrintError("cannot read the directory: " + error);
    entries.clear();
  }
  const std::string text = ListingLines(std::move(entries), os::PatternCase());
  const int fd = os::CreateFile(kListingFile, &error);
  if (fd == os::kNoFile) out.Fatal(kListingUnit, kListingFile, "cannot open", error);
  std::size_t written;
  if (!os::WriteAll(fd, text, &written, &error)) {
    out.Fatal(kListingUnit, kListingFile, "cannot write", error);
  }
  if (!os::CloseFile(fd, &error)) out.Fatal(kListingUnit, kListingFile, "cannot close", error);
}

// What reading one listed log gives.
struct LogRead {
  LogText::OpenResult open = LogText::OpenResult::kOpened;
  bool written = false;  // the log is a file this run writes: it is read at its turn
  RunScan scan;
  bool closed = true;
  std::string error;  // why the open or the close failed
  std::uint64_t bytes = 0;
};

// Opens and scans the log `path`, unless it is one of the files in `written`.
LogRead ReadLog(const std::string& path, LogText& log,
                const std::vector<os::FileIdentity>& written) {
  LogRead read;
  read.open = log.Open(path, &read.error);
  if (read.open != LogText::OpenResult::kOpened) return read;
  for (const os::FileIdentity& file : written) read.written = read.written || log.Is(file);
  if (read.written) {
    log.Close();
    return read;
  }
  read.scan = ScanLog(log);
  read.bytes = log.size();
  read.closed = log.Close(&read.error);
  return read;
}

// Adds what the log `path` of one non-blank listing entry says to the batch and to the
// outputs, or reports it as not found, as if it were read now.
void SummariseLog(const std::string& path, LogRead read, LogText& log, BatchState* batch,
                  Streams& out) {
  // Read it now, when it holds what the run has written to it so far.
  if (read.written) read = ReadLog(path, log, {});
  out.console.Progressed(read.bytes);
  const FixedText log_name(path);
  switch (read.open) {
    case LogText::OpenResult::kOpened:
      break;
    case LogText::OpenResult::kMissing:
      out.console.Write(NotFoundLine(log_name));
      ++batch->failures;
      return;
    case LogText::OpenResult::kFailed:
      out.Fatal(kLogUnit, path, "cannot open", read.error);
  }
  const RunScan& scan = read.scan;
  if (scan.outcome == RunOutcome::kBadCpuValue) {
    out.Fatal(kLogUnit, path, kBadCpuWhat, BadCpuReason(scan));
  }
  if (scan.outcome == RunOutcome::kSummary) {
    if (scan.cpu_seconds) batch->cpu_seconds = *scan.cpu_seconds;
    batch->cpu_total += batch->cpu_seconds;
  }
  if (scan.outcome == RunOutcome::kBadEnd || scan.outcome == RunOutcome::kNoControlFile) {
    ++batch->failures;
  }
  const RunLines lines = LinesOfRun(scan, log_name);
  out.ToResults(lines.results);
  out.console.Write(lines.console);
  if (!read.closed) out.Fatal(kLogUnit, path, "cannot close", read.error);
}

}  // namespace

int RunBatch(int jobs) {
  Streams out;
  out.console.Write(Banner());
  // The banner must be out before anything the listing command prints.
  out.console.Flush();
  // The listing must not depend on how the user has ls quote names.
  if (!os::ShellListsFiles()) {
    WriteListing(out);
  } else if (!os::RunShellCommand(kListingCommand, {"QUOTING_STYLE"})) {
    // The run goes on with whatever list_log holds; the shell has said why on its own.
    PrintError("the listing command could not run ls; 'tabrun --csv .' reads any number of logs");
  }

  LogText text;
  std::int32_t count = 0;
  NameList paths;
  {
    const NameList listing = LoadListing(text, out);
    count = static_cast<std::int32_t>(listing.size());
    // Blank lines are skipped, but they count in the listing.
    for (std::size_t i = 0; i < listing.size(); ++i) {
      if (!listing[i].empty()) paths.Add(NameOfEntry(listing[i]));
    }
  }
  out.console.Write(ConsoleListingCount(count));

  out.OpenResults();
  out.ToResults(Banner());
  out.ToResults(ResultsListingCount(count));

  // Workers read the logs ahead of the writer; log.res and standard output, which this run
  // writes, are read by the writer itself at their turn, as they stand then.
  const std::vector<os::FileIdentity> written = out.WrittenFiles();
  ReadAhead ahead(paths.size(), [&paths](std::size_t index) { return std::string(paths[index]); });
  std::vector<LogText> texts(static_cast<std::size_t>(jobs));
  OrderedPool<LogRead> pool(paths.size(), jobs, [&](std::size_t index, int worker) {
    LogText& log = texts[static_cast<std::size_t>(worker)];
    LogRead read = ReadLog(std::string(paths[index]), log, written);
    ahead.Reached(index, log.cold());
    return read;
  });
  out.console.StartProgress(paths.size());
  BatchState batch;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    SummariseLog(std::string(paths[i]), pool.Next(), text, &batch, out);
  }

  out.console.Write(TotalSecondsLine(batch.cpu_total));
  out.ToResults(TotalSecondsLine(batch.cpu_total));
  const float minutes = batch.cpu_total / 60.0f;
  out.console.Write(TotalMinutesLine(minutes));
  out.ToResults(TotalMinutesLine(minutes));
  out.console.Write(ClosingLines(batch.failures, count));
  out.CloseResults();
  out.console.Flush();
  return 0;
}

}  // namespace tabrun
