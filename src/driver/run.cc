#include "driver/run.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "analysis/run_row.h"
#include "driver/console.h"
#include "driver/listing.h"
#include "driver/listing_lines.h"
#include "driver/pipeline.h"
#include "os/directory.h"
#include "os/file.h"
#include "os/process.h"
#include "recio/fatal.h"
#include "recio/log_text.h"
#include "recio/name_list.h"
#include "recio/output_unit.h"
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

// The logs of the listing, by their names there, each opened from the working directory.
class Listing : public LogSource {
 public:
  explicit Listing(const NameList& paths) : paths_(paths) {}
  std::size_t size() const override { return paths_.size(); }
  LogPlace PlaceOf(std::size_t index) const override {
    LogPlace place;
    place.path = paths_[index];
    return place;
  }

 private:
  const NameList& paths_;
};

// Adds what one non-blank listing entry's log says to the batch and to the outputs, or reports
// it as not found, as if it were read now. A log that is one of this run's outputs is read now.
void SummariseLog(RunRow& row, RowReader& reader, BatchState* batch, Streams& out) {
  if (row.read_at_turn) {
    LogPlace place;
    place.path = std::move(row.log);
    row = reader.Read(std::move(place), {});
  }
  const std::string& path = row.log;
  const FixedText log_name(path);
  switch (row.problem) {
    case ReadProblem::kNone:
    case ReadProblem::kCannotClose:
      break;
    case ReadProblem::kMissing:
      out.console.Write(NotFoundLine(log_name));
      ++batch->failures;
      return;
    case ReadProblem::kCannotOpen:
    case ReadProblem::kCannotList:
      out.Fatal(kLogUnit, path, "cannot open", row.problem_reason);
  }
  const RunScan& scan = row.scan;
  if (scan.status == RunStatus::kBadCpuValue) {
    out.Fatal(kLogUnit, path, kBadCpuWhat, BadCpuReason(scan));
  }
  if (scan.status == RunStatus::kOk) {
    if (scan.cpu_single) batch->cpu_seconds = *scan.cpu_single;
    batch->cpu_total += batch->cpu_seconds;
  }
  if (scan.status == RunStatus::kBadEnd || scan.status == RunStatus::kNoControlFile) {
    ++batch->failures;
  }
  const RunLines lines = LinesOfRun(scan, log_name);
  out.ToResults(lines.results);
  out.console.Write(lines.console);
  if (row.problem == ReadProblem::kCannotClose) {
    out.Fatal(kLogUnit, path, "cannot close", row.problem_reason);
  }
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
  BatchState batch;
  RowReader own;
  PipelineStages<std::monostate> stages;
  stages.read_at_turn = out.WrittenFiles();
  stages.sink = [&](ReadLog<std::monostate>& log) { SummariseLog(log.row, own, &batch, out); };
  ReadLogs(Listing(paths), jobs, stages, out.console);

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
