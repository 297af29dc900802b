// The exact layout of every line the program writes to the console and to log.res.
//
// Per-run lines pass their 256-column buffer untrimmed to log.res, so that each line kind
// has a fixed length there, and trimmed to the console.

#ifndef TABRUN_REPORT_SUMMARY_LINES_H_
#define TABRUN_REPORT_SUMMARY_LINES_H_

#include <cstdint>

#include "recio/fixed_text.h"
#include "recio/output_unit.h"

namespace tabrun {

// The two streams every per-run line may go to.
struct ReportStreams {
  OutputUnit& console;
  OutputUnit& results;  // log.res
};

// Five records: an empty one, the three banner texts, an empty one.
void WriteBanner(OutputUnit& unit);

// " File: List_log contains " with the count in 12 columns and "  lines" (console wording).
void WriteConsoleListingCount(OutputUnit& console, std::int32_t count);

// "  => The file: List_log contains " with the count (log.res wording), then a record
// holding one blank.
void WriteResultsListingCount(OutputUnit& results, std::int32_t count);

// Console only: " => File <name> not found!".
void WriteNotFound(OutputUnit& console, const FixedText& log_name);

// " => PCR file not found in: " and the log file's name.
void WriteMissingControlFile(const ReportStreams& out, const FixedText& log_name);

// " => Bad end for file: " and the run text (the control file name).
void WriteBadEnd(const ReportStreams& out, const FixedText& run_text);

// " => No CPU calculation for: " and the run text.
void WriteNoCpu(const ReportStreams& out, const FixedText& run_text);

// log.res only: " => " and the run text, always 260 characters.
void WriteRunSummary(OutputUnit& results, const FixedText& run_text);

// The seconds line to the console then log.res, the total turned into minutes in single
// precision, then the minutes line to both.
void WriteCpuTotals(const ReportStreams& out, float cpu_seconds_total);

// Console: "   FINAL RESULTS IN FILE: log.res".
void WriteFinalResults(OutputUnit& console);

// True when more than 20 % of the listing, less the 7 lines the rule was made for, failed:
// (failures * 100) / (listing_count - 7) > 20, in single precision, where a division by zero
// gives an infinity (which warns) or, for 0 / 0, no number (which does not).
bool WarningDue(std::int32_t failures, std::int32_t listing_count);

// Console: the spacer, the warning and the look-into lines.
void WriteWarning(OutputUnit& console);

}  // namespace tabrun

#endif  // TABRUN_REPORT_SUMMARY_LINES_H_
