#include "analysis/log_scan.h"

#include "analysis/markers.h"
#include "recio/number.h"

namespace tabrun {
namespace {

// The annealing control file line counts only among the last records of a log.
constexpr int kAnnealingTailRecords = 7;
// After it is found, the CPU time is looked for from this many records above it.
constexpr int kCpuSearchAboveAnnealingLine = 7;
// How far above the "CPU Time:" record the result line may stand.
constexpr int kResultRecordsAbove = 35;
constexpr int kBestSolutionRecordsAbove = 29;
// The CPU text: the columns right after "CPU Time:", untrimmed.
constexpr int kCpuTextColumns = 12;
// Columns of the best solution's R-F2 value, wherever its marker stands.
constexpr int kBestSolutionFirst = 18;
constexpr int kBestSolutionLast = 25;
// How much of a result record is read for its figures.
constexpr std::size_t kLongestFigureRecord = 64 << 10;

// The text of `line` from `skip` columns after column `at` to its last non-blank.
std::string_view After(const FixedText& line, int at, std::size_t skip) {
  return TrimRight(line.Columns(at + static_cast<int>(skip), kRecordLength));
}

// The annealing run's name field: it starts right after the first colon of the line, which is
// the marker's own unless an earlier one stands before it, and ends before the first blank
// found from two columns after that colon, so a single blank right after the colon does not
// end it.
std::string_view AnnealingName(const FixedText& line) {
  const int colon = Index(line.view(), ":");
  const int length = Index(line.Columns(colon + 2, kRecordLength), " ");
  return Trim(line.Columns(colon + 1, colon + length));
}

// The label of `line` as a result record, and into *text the text after it that the summary
// carries; kNone when it is no result record.
ResultLabel OrdinaryResult(const FixedText& line, std::string* text) {
  // "Rp:" first: most records with "Chi2:" lack it.
  const int chi2 =
      Index(line.view(), markers::kRp) != 0 ? IndexLast(line.view(), markers::kChi2) : 0;
  if (chi2 != 0) {
    *text = After(line, chi2, markers::kChi2.size());
    return ResultLabel::kChi2;
  }
  if (const int rf2 = Index(line.view(), markers::kRf2); rf2 != 0) {
    // The one column right after the marker is skipped.
    *text = After(line, rf2, markers::kRf2.size() + 1);
    return ResultLabel::kRf2;
  }
  return ResultLabel::kNone;
}

// The whole record at `at`, without trailing blanks: a figure may run past column 256.
std::string WholeRecord(LogText& log, std::uint64_t at) {
  std::string record = log.WholeRecord(at, kLongestFigureRecord);
  record.resize(TrimRight(record).size());
  return record;
}

// The first result record from `from` on, or with `last` the last one before `to`.
void FindOrdinaryResult(LogText& log, std::uint64_t from, std::uint64_t to, bool last,
                        RunScan* scan) {
  std::optional<std::uint64_t> found;
  for (auto hit = log.FindRecord(from, {markers::kChi2, markers::kRf2}); hit && hit->at < to;
       hit = log.FindRecord(log.NextRecord(hit->at), {markers::kChi2, markers::kRf2})) {
    std::string text;
    const ResultLabel label = OrdinaryResult(hit->record, &text);
    if (label == ResultLabel::kNone) continue;
    scan->result_label = label;
    scan->result_text = std::move(text);
    found = hit->at;
    if (!last) break;
  }
  if (found) scan->result_record = WholeRecord(log, *found);
}

void FindBestSolution(LogText& log, std::uint64_t cpu_record, RunScan* scan) {
  const auto hit = log.FindRecord(log.RecordsAbove(cpu_record, kBestSolutionRecordsAbove),
                                  {markers::kBestSolution});
  if (!hit) return;
  scan->result_label = ResultLabel::kBestSolution;
  scan->result_record = WholeRecord(log, hit->at);
  scan->result_text = TrimRight(hit->record.Columns(kBestSolutionFirst, kBestSolutionLast));
}

// Reads the CPU record `line` into `scan`; false when its value is not a number.
bool ReadCpu(const FixedText& line, RunScan* scan) {
  const int value_column =
      IndexLast(line.view(), markers::kCpuTime) + static_cast<int>(markers::kCpuTime.size());
  scan->cpu_value_text = line.Columns(value_column, kRecordLength);
  scan->cpu_text = line.Columns(value_column, value_column + kCpuTextColumns - 1);
  // Columns past the end of the record are blanks.
  scan->cpu_text.resize(kCpuTextColumns, ' ');
  float seconds = 0.0f;
  switch (ReadReal(scan->cpu_value_text, &seconds)) {
    case RealReadResult::kValue:
      scan->cpu_seconds = seconds;
      return true;
    case RealReadResult::kNull:
      return true;
    case RealReadResult::kNoValue:
    case RealReadResult::kNotANumber:
      return false;
  }
  return false;
}

}  // namespace

std::string BadCpuReason(const RunScan& scan) {
  const std::string_view text = Trim(scan.cpu_value_text);
  return text.empty() ? "end of record" : "'" + std::string(text) + "'";
}

RunScan ScanLog(LogText& log) {
  RunScan scan;
  std::uint64_t cpu_from = 0;
  std::uint64_t normal_end_at = 0;
  if (const auto control = log.FindRecord(0, {markers::kControlFile})) {
    const FixedText& line = control->record;
    scan.control_file =
        Trim(After(line, Index(line.view(), markers::kControlFile), markers::kControlFile.size()));
    scan.control_file.append(markers::kPcrSuffix);
    const auto normal_end = log.FindRecord(log.NextRecord(control->at), {markers::kNormalEnd});
    if (!normal_end) {
      scan.outcome = RunOutcome::kBadEnd;
      return scan;
    }
    normal_end_at = normal_end->at;
    cpu_from = log.NextRecord(normal_end_at);
  } else {
    const auto annealing = log.FindRecord(log.RecordsAbove(log.size(), kAnnealingTailRecords),
                                          {markers::kAnnealingControlFile});
    if (!annealing) return scan;  // kNoControlFile
    scan.kind = RunKind::kAnnealing;
    scan.control_file = AnnealingName(annealing->record);
    scan.control_file.append(markers::kPcrSuffix);
    cpu_from = log.RecordsAbove(annealing->at, kCpuSearchAboveAnnealingLine);
  }

  const auto cpu = log.FindRecord(cpu_from, {markers::kCpuTime});
  if (!cpu) {
    scan.outcome = RunOutcome::kNoCpu;
    if (scan.kind == RunKind::kOrdinary) {
      // A run that converged and lost its CPU record (a full disk) still states its figures.
      FindOrdinaryResult(log, 0, normal_end_at, true, &scan);
      if (scan.result_label == ResultLabel::kNone) {
        FindOrdinaryResult(log, cpu_from, log.size(), true, &scan);
      }
      scan.result_text.clear();
    }
    return scan;
  }
  const std::uint64_t cpu_record = cpu->at;
  if (!ReadCpu(cpu->record, &scan)) {
    scan.outcome = RunOutcome::kBadCpuValue;
    return scan;
  }
  scan.outcome = RunOutcome::kSummary;
  if (scan.kind == RunKind::kAnnealing) {
    FindBestSolution(log, cpu_record, &scan);
  } else {
    FindOrdinaryResult(log, log.RecordsAbove(cpu_record, kResultRecordsAbove), log.size(), false,
                       &scan);
  }
  return scan;
}

}  // namespace tabrun
