#include "analysis/log_scan.h"

#include <algorithm>
#include <array>
#include <cmath>

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
// A failed run's reason is looked for in this many records, the last that is not blank and
// those above it: where a log states how it ended.
constexpr int kFailureRecords = 20;

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

// The number `text` starts with (after blanks), when it is one and fits a double.
std::optional<double> NumberIn(std::string_view text) {
  double value = 0;
  if (ReadReal(text, &value) != RealReadResult::kValue || !std::isfinite(value)) return {};
  return value;
}

// The number after the first (or with `last`, the last) `label` in the first 256 columns of
// `record`, however far it runs.
std::optional<double> NumberAfter(std::string_view record, std::string_view label,
                                  bool last = false) {
  const std::string_view head = record.substr(0, kRecordLength);
  const int column = last ? IndexLast(head, label) : Index(head, label);
  if (column == 0) return {};
  return NumberIn(record.substr(static_cast<std::size_t>(column - 1) + label.size()));
}

// The record at `at` whole, past column 256 too: a figure may run past it.
std::string WholeRecord(LogText& log, std::uint64_t at) {
  return log.WholeRecord(at, kLongestFigureRecord);
}

// Whether `line` is a result record of each family: "Chi2:" with "Rp:", and "RF2 -factor :".
struct Families {
  int chi2 = 0;  // the column of its last "Chi2:", or 0
  int rf2 = 0;   // the column of "RF2 -factor :", or 0
};
// With `both` false, a record of the Chi2 family is not looked at for the other.
Families FamiliesOf(const FixedText& line, bool both) {
  // "Rp:" first: most records with "Chi2:" lack it.
  const int chi2 =
      Index(line.view(), markers::kRp) != 0 ? IndexLast(line.view(), markers::kChi2) : 0;
  return {chi2, chi2 != 0 && !both ? 0 : Index(line.view(), markers::kRf2)};
}

// Searches an ordinary run's results from `from` to the end of the log: the first result
// record gives the summary's text (when `summary`), and with `figures` the first record of each
// family gives that family's figures.
void FindOrdinaryResults(LogText& log, std::uint64_t from, bool summary, bool figures,
                         RunScan* scan) {
  bool want_text = summary, want_chi2 = figures, want_rf2 = figures;
  for (std::uint64_t at = from; want_text || want_chi2 || want_rf2;) {
    // Once one family is found, only the other's marker is looked for.
    const auto hit = want_text || (want_chi2 && want_rf2)
                         ? log.FindRecord(at, {markers::kChi2, markers::kRf2})
                     : want_chi2 ? log.FindRecord(at, {markers::kChi2})
                                 : log.FindRecord(at, {markers::kRf2});
    if (!hit) break;
    at = log.NextRecord(hit->at);
    const Families found = FamiliesOf(hit->record, figures);
    if (found.chi2 == 0 && found.rf2 == 0) continue;
    if (want_text) {
      want_text = false;
      // A record of both families gives the Chi2 text; the one column right after the R-F2
      // marker is skipped.
      scan->result_label = found.chi2 != 0 ? ResultLabel::kChi2 : ResultLabel::kRf2;
      scan->result_text = found.chi2 != 0 ? After(hit->record, found.chi2, markers::kChi2.size())
                                          : After(hit->record, found.rf2, markers::kRf2.size() + 1);
    }
    if (!(want_chi2 && found.chi2 != 0) && !(want_rf2 && found.rf2 != 0)) continue;
    const std::string record = WholeRecord(log, hit->at);
    Figures& f = scan->figures;
    if (want_chi2 && found.chi2 != 0) {
      want_chi2 = false;
      f.chi2 = NumberAfter(record, markers::kChi2, true);
      f.rp = NumberAfter(record, markers::kRp);
      f.rwp = NumberAfter(record, markers::kRwp);
      f.rexp = NumberAfter(record, markers::kRexp);
    }
    if (want_rf2 && found.rf2 != 0) {
      want_rf2 = false;
      f.rf2 = NumberAfter(record, markers::kRf2);
      f.rf2w = NumberAfter(record, markers::kRf2w);
      f.rf = NumberAfter(record, markers::kRf);
    }
  }
}

// Searches an annealing run's best solution from `from` on: it gives the summary's text (when
// `summary`) and with `figures` the rf2.
void FindBestSolution(LogText& log, std::uint64_t from, bool summary, bool figures, RunScan* scan) {
  const auto hit = log.FindRecord(from, {markers::kBestSolution});
  if (!hit) return;
  if (summary) {
    scan->result_label = ResultLabel::kBestSolution;
    scan->result_text = TrimRight(hit->record.Columns(kBestSolutionFirst, kBestSolutionLast));
  }
  if (figures) scan->figures.rf2 = NumberAfter(WholeRecord(log, hit->at), markers::kBestSolution);
}

// Reads the CPU record `line` into `scan`, in double precision too with `wide`; false when its
// value is not a number.
bool ReadCpu(const FixedText& line, bool wide, RunScan* scan) {
  const int value_column =
      IndexLast(line.view(), markers::kCpuTime) + static_cast<int>(markers::kCpuTime.size());
  const std::string_view value_text = line.Columns(value_column, kRecordLength);
  scan->cpu_text = line.Columns(value_column, value_column + kCpuTextColumns - 1);
  // Columns past the end of the record are blanks.
  scan->cpu_text.resize(kCpuTextColumns, ' ');
  float single = 0.0f;
  double seconds = 0.0;
  switch (wide ? ReadReal(value_text, &single, &seconds) : ReadReal(value_text, &single)) {
    case RealReadResult::kValue:
      scan->cpu_single = single;
      if (wide && std::isfinite(seconds)) scan->cpu_seconds = seconds;
      return true;
    case RealReadResult::kNull:
      return true;
    case RealReadResult::kNoValue:
    case RealReadResult::kNotANumber:
      scan->cpu_value_text = value_text;
      return false;
  }
  return false;
}

// The record at `at`, cut at 256 columns and without blanks and carriage returns at its end,
// and with `lead` without blanks at its start too.
std::string Trimmed(LogText& log, std::uint64_t at, bool lead) {
  const FixedText record = log.Record(at);
  std::string_view text = record.view();
  text = text.substr(0, text.find_last_not_of(" \r") + 1);
  if (lead) text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
  return std::string(text);
}

// Why the failed run of `scan` failed, and its last record.
void DescribeFailure(LogText& log, RunScan* scan) {
  const std::optional<std::uint64_t> last = log.LastNonBlankRecord();
  if (!last) {
    scan->reason = FailureReason::kEmptyLog;
    return;
  }
  scan->last_record = Trimmed(log, *last, false);
  // One pass over the end of the log for every word at once: the last record with "Abnormal
  // end", else the last with an error word, and whether annealing lines stand there.
  static constexpr auto kWords = [] {
    std::array<std::string_view,
               1 + std::size(markers::kErrorWords) + std::size(markers::kAnnealingWords)>
        words{markers::kAbnormalEnd};
    std::size_t i = 1;
    for (std::string_view word : markers::kErrorWords) words[i++] = word;
    for (std::string_view word : markers::kAnnealingWords) words[i++] = word;
    return words;
  }();
  const std::uint64_t end = log.NextRecord(*last);
  std::optional<std::uint64_t> abnormal, error;
  bool annealing = false;
  for (auto hit = log.FindRecord(log.RecordsAbove(*last, kFailureRecords - 1), kWords, end); hit;
       hit = log.FindRecord(log.NextRecord(hit->at), kWords, end)) {
    const auto holds = [&hit](std::string_view word) {
      return Index(hit->record.view(), word) != 0;
    };
    if (holds(markers::kAbnormalEnd)) abnormal = hit->at;
    if (std::any_of(std::begin(markers::kErrorWords), std::end(markers::kErrorWords), holds)) {
      error = hit->at;
    }
    annealing = annealing || std::any_of(std::begin(markers::kAnnealingWords),
                                         std::end(markers::kAnnealingWords), holds);
  }
  if (abnormal || error) {
    scan->reason = FailureReason::kStatedInLog;
    scan->failure_record = Trimmed(log, abnormal ? *abnormal : *error, true);
  } else if (log.EndsInsideRecord()) {
    scan->reason = FailureReason::kCutInsideRecord;
  } else {
    switch (scan->status) {
      case RunStatus::kNoCpu:
        scan->reason = scan->kind == RunKind::kAnnealing ? FailureReason::kNoCpuNearPcrFileLine
                                                         : FailureReason::kNoCpuAfterNormalEnd;
        break;
      case RunStatus::kBadEnd:
        scan->reason = FailureReason::kStoppedBeforeNormalEnd;
        break;
      case RunStatus::kBadCpuValue:
        scan->reason = FailureReason::kCpuNotANumber;
        break;
      case RunStatus::kNoControlFile:
        scan->reason =
            annealing ? FailureReason::kAnnealingStopped : FailureReason::kNotARefinementLog;
        break;
      case RunStatus::kOk:
      case RunStatus::kUnreadable:
      case RunStatus::kRunning:
        break;
    }
  }
}

// The status, kind, control file, CPU time, result text and, with `figures`, the figures.
void Summarise(LogText& log, bool figures, RunScan* scan) {
  std::uint64_t cpu_from = 0;
  if (const auto control = log.FindRecord(0, {markers::kControlFile})) {
    const FixedText& line = control->record;
    scan->kind = RunKind::kOrdinary;
    scan->control_file =
        Trim(After(line, Index(line.view(), markers::kControlFile), markers::kControlFile.size()));
    scan->control_file.append(markers::kPcrSuffix);
    const auto normal_end = log.FindRecord(log.NextRecord(control->at), {markers::kNormalEnd});
    if (!normal_end) {
      scan->status = RunStatus::kBadEnd;
      return;
    }
    cpu_from = log.NextRecord(normal_end->at);
  } else {
    const auto annealing = log.FindRecord(log.RecordsAbove(log.size(), kAnnealingTailRecords),
                                          {markers::kAnnealingControlFile});
    if (!annealing) return;  // kNoControlFile
    scan->kind = RunKind::kAnnealing;
    scan->control_file = AnnealingName(annealing->record);
    scan->control_file.append(markers::kPcrSuffix);
    cpu_from = log.RecordsAbove(annealing->at, kCpuSearchAboveAnnealingLine);
  }
  const bool annealing = scan->kind == RunKind::kAnnealing;

  const auto cpu = log.FindRecord(cpu_from, {markers::kCpuTime});
  if (!cpu) {
    scan->status = RunStatus::kNoCpu;
    // A run that lost its CPU record (a full disk, or still writing) still states its figures:
    // those the summary would take had that record stood right after "Normal end", or for an
    // annealing run after its last record.
    if (!figures) return;
    if (annealing) {
      FindBestSolution(log, log.RecordsAbove(log.size(), kBestSolutionRecordsAbove), false, true,
                       scan);
    } else {
      FindOrdinaryResults(log, log.RecordsAbove(cpu_from, kResultRecordsAbove), false, true, scan);
    }
    return;
  }
  scan->cpu_record_open =
      figures && log.NextRecord(cpu->at) == log.size() && log.EndsInsideRecord();
  if (!ReadCpu(cpu->record, figures, scan)) {
    scan->status = RunStatus::kBadCpuValue;
    return;
  }
  scan->status = RunStatus::kOk;
  if (annealing) {
    FindBestSolution(log, log.RecordsAbove(cpu->at, kBestSolutionRecordsAbove), true, figures,
                     scan);
  } else {
    FindOrdinaryResults(log, log.RecordsAbove(cpu->at, kResultRecordsAbove), true, figures, scan);
  }
}

}  // namespace

std::string BadCpuReason(const RunScan& scan) {
  const std::string_view text = Trim(scan.cpu_value_text);
  return text.empty() ? "end of record" : "'" + std::string(text) + "'";
}

RunScan ScanLog(LogText& log, const ScanWants& wants) {
  RunScan scan;
  Summarise(log, wants.rows, &scan);
  if (scan.status == RunStatus::kOk) return scan;
  if (wants.rows) DescribeFailure(log, &scan);
  if (wants.tail_records > 0) scan.tail = log.LastRecords(wants.tail_records);
  return scan;
}

}  // namespace tabrun
