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

// The first record, from kResultRecordsAbove above the CPU record on, with both "Chi2:" and
// "Rp:" or with "RF2 -factor :".
void FindOrdinaryResult(LogText& log, std::uint64_t cpu_record, RunScan* scan) {
  for (auto hit = log.FindRecord(log.RecordsAbove(cpu_record, kResultRecordsAbove),
                                 {markers::kChi2, markers::kRf2});
       hit; hit = log.FindRecord(log.NextRecord(hit->at), {markers::kChi2, markers::kRf2})) {
    const FixedText& line = hit->record;
    // "Rp:" first: most records with "Chi2:" lack it.
    const int chi2 =
        Index(line.view(), markers::kRp) != 0 ? IndexLast(line.view(), markers::kChi2) : 0;
    if (chi2 != 0) {
      scan->result_label = ResultLabel::kChi2;
      scan->result_text = After(line, chi2, markers::kChi2.size());
    } else if (const int rf2 = Index(line.view(), markers::kRf2); rf2 != 0) {
      scan->result_label = ResultLabel::kRf2;
      // The one column right after the marker is skipped.
      scan->result_text = After(line, rf2, markers::kRf2.size() + 1);
    } else {
      continue;
    }
    scan->result_record = line.Trimmed();
    return;
  }
}

void FindBestSolution(LogText& log, std::uint64_t cpu_record, RunScan* scan) {
  const auto hit = log.FindRecord(log.RecordsAbove(cpu_record, kBestSolutionRecordsAbove),
                                  {markers::kBestSolution});
  if (!hit) return;
  scan->result_label = ResultLabel::kBestSolution;
  scan->result_record = hit->record.Trimmed();
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
  if (const auto control = log.FindRecord(0, {markers::kControlFile})) {
    const FixedText& line = control->record;
    scan.control_file = Trim(
        After(line, Index(line.view(), markers::kControlFile), markers::kControlFile.size()));
    scan.control_file.append(markers::kPcrSuffix);
    const auto normal_end = log.FindRecord(log.NextRecord(control->at), {markers::kNormalEnd});
    if (!normal_end) {
      scan.outcome = RunOutcome::kBadEnd;
      return scan;
    }
    cpu_from = log.NextRecord(normal_end->at);
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
    FindOrdinaryResult(log, cpu_record, &scan);
  }
  return scan;
}

}  // namespace tabrun
