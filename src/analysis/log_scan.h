// Reading one run's log: how it ended, its CPU time, its figures and, when it failed, why.

#ifndef TABRUN_ANALYSIS_LOG_SCAN_H_
#define TABRUN_ANALYSIS_LOG_SCAN_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recio/log_text.h"

namespace tabrun {

// How a run ended, as its row says. The scan makes the first five; kUnreadable is made where a
// log cannot be read, and kRunning by a watch alone. The values are the report page's codes: a
// new status goes at the end.
enum class RunStatus : std::uint8_t {
  kOk,             // the run ended normally and states its CPU time
  kNoCpu,          // it ended normally, but no "CPU Time:" follows
  kBadEnd,         // an ordinary run without "Normal end" after its control file line
  kNoControlFile,  // neither the ordinary nor the annealing control file line was found
  kBadCpuValue,    // the text after "CPU Time:" holds no number
  kUnreadable,     // the log could not be opened or read
  kRunning,        // a watch saw it change lately, and it has not reached an outcome yet
  kLast = kRunning,
};

// kNone when no control file line was found, or the log could not be read.
enum class RunKind : std::uint8_t { kNone, kOrdinary, kAnnealing };

// Which record supplied the summary's result text.
enum class ResultLabel : std::uint8_t {
  kNone,          // none was found
  kChi2,          // a record with both "Chi2:" and "Rp:"
  kRf2,           // a record with "RF2 -factor :"
  kBestSolution,  // an annealing run's "=> Sol#: 1 RF2=" record
};

// Why a run failed, as far as its log tells: the first of these that applies.
enum class FailureReason : std::uint8_t {
  kNone,                    // it did not fail, or its log could not be read
  kEmptyLog,                // no record holds anything but blanks
  kStatedInLog,             // a record of its end says so: failure_record
  kCutInsideRecord,         // the log does not end in a line feed
  kStoppedBeforeNormalEnd,  // bad end, without a record that says why
  kNoCpuAfterNormalEnd,     // an ordinary run without CPU time
  kNoCpuNearPcrFileLine,    // an annealing run without CPU time
  kCpuNotANumber,           // bad CPU value: cpu_value_text says what stands there
  kAnnealingStopped,        // no control file, but annealing lines: a trial stopped early
  kNotARefinementLog,       // no control file line of either kind, nor annealing lines
  kLast = kNotARefinementLog,
};

// The figures a run's rows carry, each the whole number after its label.
struct Figures {
  // From the first record with both "Chi2:" (its last one) and "Rp:".
  std::optional<double> chi2, rp, rwp, rexp;
  // From the first record with "RF2 -factor :", or an annealing run's best solution (rf2 alone).
  std::optional<double> rf2, rf2w, rf;
};

// What a scan is to find beyond what the summary needs.
struct ScanWants {
  // The figures of both families, and for a failed run its last record and failure reason.
  bool rows = false;
  // For a failed run, this many of the last records of its log.
  int tail_records = 0;
};

// What one log says about its run.
struct RunScan {
  RunStatus status = RunStatus::kNoControlFile;
  RunKind kind = RunKind::kNone;
  // The control file name with ".pcr", whole, without leading or trailing blanks; for an
  // annealing run without the "(Monte/Sim.Anneal.)" note. Empty for kNoControlFile.
  std::string control_file;
  // For kOk: the 12 columns after the last "CPU Time:" of the CPU record, blank-padded, and the
  // CPU seconds read from the rest of that record in single precision (for the summary) and,
  // with ScanWants::rows, in double precision (for the rows), from one read of the text. None
  // for a null value ("CPU Time: ,"), which keeps the previous run's seconds in the summary;
  // the double is none too when the value is too large for one.
  std::string cpu_text;
  std::optional<float> cpu_single;
  std::optional<double> cpu_seconds;
  // For kBadCpuValue: the rest of the CPU record after its last marker, up to column 256.
  std::string cpu_value_text;
  // For kOk and kBadCpuValue, with ScanWants::rows: the CPU record is the log's last and no line
  // feed ends it, so that its value may still be being written.
  bool cpu_record_open = false;
  // For kOk: the first result record of the summary's search and the text that follows its
  // label, cut at column 256.
  ResultLabel result_label = ResultLabel::kNone;
  std::string result_text;

  // With ScanWants::rows, the rest.
  // The figures: of a kOk run from the summary's search, of a kNoCpu run from the same search
  // as if its CPU record followed its "Normal end" record (an annealing run: its last record).
  Figures figures;
  // For a run that did not end kOk: its last record that is not all blank, cut at 256 columns,
  // without trailing blanks and carriage returns; why it failed, and for kStatedInLog the record
  // that says so, cut and trimmed the same way and without leading blanks.
  std::string last_record;
  FailureReason reason = FailureReason::kNone;
  std::string failure_record;

  // With ScanWants::tail_records, for a run that did not end kOk: the last records of its log,
  // each cut at 256 columns and without trailing blanks.
  std::vector<std::string> tail;
};

// Scans `log` from its first record. Writes nothing and keeps no state between logs.
RunScan ScanLog(LogText& log, const ScanWants& wants = {});

// What a CPU value that is not a number is reported as, with the reason: the text after the
// marker without blanks around it, quoted, or "end of record" when there is none.
inline constexpr char kBadCpuWhat[] = "cannot read a real number";
std::string BadCpuReason(const RunScan& scan);

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_LOG_SCAN_H_
