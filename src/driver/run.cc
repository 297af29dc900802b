#include "driver/run.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "analysis/log_scan.h"
#include "driver/listing.h"
#include "recio/fatal.h"
#include "recio/input_file.h"
#include "recio/shell.h"
#include "report/summary_lines.h"

namespace tabrun {
namespace {

constexpr char kListingFile[] = "list_log";
constexpr char kResultsFile[] = "log.res";
constexpr char kListingUnit[] = "50";
constexpr char kResultsUnit[] = "1";
constexpr char kLogUnit[] = "2";

// Opens list_log as it was left by the listing command; a missing one is created empty.
// Reads it whole and closes it again: the file stays in the directory.
std::vector<std::string> LoadListing(InputFile& input) {
  std::string error;
  switch (input.Open(kListingFile, &error)) {
    case InputFile::OpenResult::kOpened:
      break;
    case InputFile::OpenResult::kMissing: {
      const int fd = open(kListingFile, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
      if (fd < 0) FatalIoError(kListingUnit, kListingFile, "cannot open", std::strerror(errno));
      close(fd);
      return {};
    }
    case InputFile::OpenResult::kFailed:
      FatalIoError(kListingUnit, kListingFile, "cannot open", error);
  }
  RecordReader reader(input);
  std::vector<std::string> entries = ReadListing(reader);
  if (!input.Close(&error)) FatalIoError(kListingUnit, kListingFile, "cannot close", error);
  return entries;
}

// Scans the log of one non-blank listing entry, or reports it as not found.
void SummariseEntry(std::string_view entry, InputFile& input, BatchState* batch,
                    const ReportStreams& out) {
  const FixedText log_name(NameOfEntry(entry));
  const std::string path(log_name.Trimmed());
  std::string error;
  switch (input.Open(path, &error)) {
    case InputFile::OpenResult::kOpened:
      break;
    case InputFile::OpenResult::kMissing:
      WriteNotFound(out.console, log_name);
      ++batch->failures;
      return;
    case InputFile::OpenResult::kFailed:
      FatalIoError(kLogUnit, path, "cannot open", error);
  }
  RecordReader log(input);
  std::string bad_text;
  if (ScanLog(log, log_name, batch, out, &bad_text) == ScanResult::kBadCpuValue) {
    FatalIoError(kLogUnit, path, "cannot read a real number",
                 bad_text.empty() ? "end of record" : "'" + bad_text + "'");
  }
  if (!input.Close(&error)) FatalIoError(kLogUnit, path, "cannot close", error);
}

}  // namespace

int RunBatch(OutputUnit& console) {
  WriteBanner(console);
  // The banner must be out before anything the listing command prints.
  console.Flush();
  RunShellCommand(kListingCommand);

  InputFile input;
  const std::vector<std::string> listing = LoadListing(input);
  const auto count = static_cast<std::int32_t>(listing.size());
  WriteConsoleListingCount(console, count);

  std::unique_ptr<OutputUnit> results = OutputUnit::CreateFile(kResultsUnit, kResultsFile);
  const ReportStreams out{console, *results};
  WriteBanner(*results);
  WriteResultsListingCount(*results, count);

  BatchState batch;
  for (const std::string& entry : listing) {
    if (entry.empty()) continue;  // a blank line is skipped, but it counts in the listing
    SummariseEntry(entry, input, &batch, out);
  }

  WriteCpuTotals(out, batch.cpu_total);
  WriteFinalResults(console);
  if (WarningDue(batch.failures, count)) WriteWarning(console);
  results->Close();
  console.Flush();
  return 0;
}

}  // namespace tabrun
