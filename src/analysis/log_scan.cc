#include "analysis/log_scan.h"

#include "analysis/markers.h"
#include "analysis/monte_check.h"
#include "recio/number.h"

namespace tabrun {
namespace {

// The name stage of the run text is cut or padded to this many columns before "> CPU:", so
// that the CPU column lines up through the whole of log.res.
constexpr int kNameColumns = 50;
// The CPU text: the columns right after "CPU Time:", untrimmed.
constexpr int kCpuTextColumns = 12;
// How far back the result line may stand above the "CPU Time:" record (one step back more
// than records above it).
constexpr int kResultStepBack = 36;
constexpr int kAnnealingResultStepBack = 30;
// Columns of the best solution's R-F2 value, wherever its marker stands.
constexpr int kBestSolutionFirst = 18;
constexpr int kBestSolutionLast = 25;

std::string Concat(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (std::string_view piece : pieces) text.append(piece);
  return text;
}

// The control file name: everything after the marker up to the record's last non-blank,
// with ".pcr" appended and leading blanks moved to the end.
void TakeControlFileName(const FixedText& line, FixedText* run_text) {
  const int at = Index(line.view(), markers::kControlFile);
  const std::string_view rest = line.Columns(at + markers::kControlFile.size(), kRecordLength);
  run_text->Assign(AdjustLeft(Concat({TrimRight(rest), markers::kPcrSuffix})));
}

// The 12 columns after the marker; those past the end of the record are blanks.
std::string CpuText(const FixedText& line, int value_column) {
  std::string text(line.Columns(value_column, value_column + kCpuTextColumns - 1));
  text.resize(kCpuTextColumns, ' ');
  return text;
}

// The first record, from 35 above "CPU Time:" on, with both "Chi2:" and "Rp:" or with
// "RF2 -factor :" supplies the result text.
void AppendOrdinaryResult(RecordReader& log, FixedText* run_text) {
  for (int i = 0; i < kResultStepBack; ++i) log.BackSpace();
  FixedText line;
  while (log.ReadUntil({markers::kChi2, markers::kRf2}, &line)) {
    const int chi2 = IndexLast(line.view(), markers::kChi2);
    const int rp = Index(line.view(), markers::kRp);
    const int rf2 = Index(line.view(), markers::kRf2);
    if (chi2 != 0 && rp != 0) {
      const std::string_view value =
          TrimRight(line.Columns(chi2 + markers::kChi2.size(), kRecordLength));
      run_text->Assign(Concat({run_text->Trimmed(), markers::kChi2Piece, value}));
      return;
    }
    if (rf2 != 0) {
      // The one column right after the marker is skipped.
      const std::string_view value =
          TrimRight(line.Columns(rf2 + markers::kRf2.size() + 1, kRecordLength));
      run_text->Assign(Concat({run_text->Trimmed(), markers::kRf2Piece, value}));
      return;
    }
  }
}

void AppendAnnealingResult(RecordReader& log, FixedText* run_text) {
  for (int i = 0; i < kAnnealingResultStepBack; ++i) log.BackSpace();
  FixedText line;
  if (!log.ReadUntil({markers::kBestSolution}, &line)) return;
  const std::string_view value = TrimRight(line.Columns(kBestSolutionFirst, kBestSolutionLast));
  run_text->Assign(Concat({run_text->Trimmed(), markers::kRf2Piece, value}));
}

}  // namespace

ScanResult ScanLog(RecordReader& log, const FixedText& log_name, BatchState* batch,
                   const ReportStreams& out, std::string* bad_text) {
  FixedText line;
  FixedText run_text;
  bool annealing = false;
  if (log.ReadUntil({markers::kControlFile}, &line)) {
    TakeControlFileName(line, &run_text);
    if (!log.ReadUntil({markers::kNormalEnd}, &line)) {
      WriteBadEnd(out, run_text);
      ++batch->failures;
      return ScanResult::kDone;
    }
    run_text.Assign(Concat({markers::kNormalEndFor, run_text.view()}));
  } else if (CheckMonte(log, &run_text)) {
    annealing = true;
  } else {
    WriteMissingControlFile(out, log_name);
    ++batch->failures;
    return ScanResult::kDone;
  }

  if (!log.ReadUntil({markers::kCpuTime}, &line)) {
    WriteNoCpu(out, run_text);
    return ScanResult::kDone;
  }
  const int cpu = IndexLast(line.view(), markers::kCpuTime);
  const int value_column = cpu + static_cast<int>(markers::kCpuTime.size());
  const std::string_view value_text = line.Columns(value_column, kRecordLength);
  switch (ReadReal(value_text, &batch->cpu_seconds)) {
    case RealReadResult::kValue:
    case RealReadResult::kNull:
      break;
    case RealReadResult::kNoValue:
    case RealReadResult::kNotANumber:
      *bad_text = TrimRight(value_text).substr(0);
      bad_text->erase(0, bad_text->find_first_not_of(' '));
      return ScanResult::kBadCpuValue;
  }
  batch->cpu_total += batch->cpu_seconds;
  run_text.Assign(
      Concat({run_text.Columns(1, kNameColumns), markers::kCpuPiece, CpuText(line, value_column)}));

  if (annealing) {
    AppendAnnealingResult(log, &run_text);
  } else {
    AppendOrdinaryResult(log, &run_text);
  }
  WriteRunSummary(out.results, run_text);
  return ScanResult::kDone;
}

}  // namespace tabrun
