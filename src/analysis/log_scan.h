// Reading one run's log: how it ended, its CPU time and its result figure.

#ifndef TABRUN_ANALYSIS_LOG_SCAN_H_
#define TABRUN_ANALYSIS_LOG_SCAN_H_

#include <optional>
#include <string>

#include "recio/log_text.h"

namespace tabrun {

enum class RunOutcome {
  kSummary,        // the run ended normally and states its CPU time
  kNoCpu,          // it ended normally, but no "CPU Time:" follows
  kBadEnd,         // an ordinary run without "Normal end" after its control file line
  kNoControlFile,  // neither the ordinary nor the annealing control file line was found
  kBadCpuValue,    // the text after "CPU Time:" holds no number
};

enum class RunKind { kOrdinary, kAnnealing };

// Which record supplied the result text.
enum class ResultLabel {
  kNone,          // none was found
  kChi2,          // a record with both "Chi2:" and "Rp:"
  kRf2,           // a record with "RF2 -factor :"
  kBestSolution,  // an annealing run's "=> Sol#: 1 RF2=" record
};

// What one log says about its run. The fields are plain text and numbers; the summary line,
// and any other form of the row, is built from them elsewhere.
struct RunScan {
  RunOutcome outcome = RunOutcome::kNoControlFile;
  RunKind kind = RunKind::kOrdinary;  // meaningless for kNoControlFile
  // The control file name with ".pcr", whole, without leading or trailing blanks; for an
  // annealing run without the "(Monte/Sim.Anneal.)" note. Empty for kNoControlFile.
  std::string control_file;
  // For kSummary and kBadCpuValue: the rest of the "CPU Time:" record after its last marker,
  // up to column 256, and its first 12 columns, blank-padded.
  std::string cpu_value_text;
  std::string cpu_text;
  // For kSummary: the CPU seconds read from cpu_value_text, or nothing for a null value
  // ("CPU Time: ,"), which keeps the previous run's seconds.
  std::optional<float> cpu_seconds;
  // For kSummary: the result record and the text that follows the label in the summary line
  // (cut at column 256). The record is whole, past column 256 too (up to 64 KiB), without
  // trailing blanks, so that its figures can be read as written. An ordinary kNoCpu run has
  // a result record but no text: its last result record before "Normal end", or when there is
  // none, after it.
  ResultLabel result_label = ResultLabel::kNone;
  std::string result_record;
  std::string result_text;
};

// Scans `log` from its first record. Writes nothing and keeps no state between logs.
RunScan ScanLog(LogText& log);

// What a CPU value that is not a number is reported as, with the reason: the text after the
// marker without blanks around it, quoted, or "end of record" when there is none.
inline constexpr char kBadCpuWhat[] = "cannot read a real number";
std::string BadCpuReason(const RunScan& scan);

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_LOG_SCAN_H_
