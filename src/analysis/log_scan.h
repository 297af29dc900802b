// Reading one run's log: how it ended, its CPU time and its result figure.

#ifndef TABRUN_ANALYSIS_LOG_SCAN_H_
#define TABRUN_ANALYSIS_LOG_SCAN_H_

#include <cstdint>
#include <string>

#include "recio/fixed_text.h"
#include "recio/record_reader.h"
#include "report/summary_lines.h"

namespace tabrun {

// What the scans of one batch share, owned by the driver.
struct BatchState {
  float cpu_total = 0.0f;     // seconds, single precision, summed over the batch
  float cpu_seconds = 0.0f;   // the last value read; a null value ("CPU Time: ,") keeps it
  std::int32_t failures = 0;  // bad ends, missing control files and files not found
};

enum class ScanResult {
  kDone,
  kBadCpuValue,  // the text after "CPU Time:" is not a number; nothing was written
};

// Scans the log `log` (whose file name is `log_name`) from its first record and writes the
// run's line: the run summary to log.res, or one of the no-CPU, bad-end and
// missing-control-file lines to log.res and the console. Adds the run's CPU seconds to
// batch->cpu_total when the log states them and counts a bad end or a missing control file
// in batch->failures.
//
// Returns kBadCpuValue, with the offending text (the rest of the record after "CPU Time:",
// without leading and trailing blanks) in *bad_text, when the CPU value cannot be read; the caller
// ends the program then, and the batch state and the streams are as they were before this log.
ScanResult ScanLog(RecordReader& log, const FixedText& log_name, BatchState* batch,
                   const ReportStreams& out, std::string* bad_text);

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_LOG_SCAN_H_
