// The exact layout of every line the default mode writes to the console and to log.res.
//
// Each function returns whole records, every one ended by a line feed, and writes nothing.
// Per-run lines carry their 256-column buffer untrimmed to log.res, so that each line kind has
// a fixed length there, and trimmed to the console.

#ifndef TABRUN_REPORT_SUMMARY_LINES_H_
#define TABRUN_REPORT_SUMMARY_LINES_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "analysis/log_scan.h"
#include "recio/fixed_text.h"

namespace tabrun {

// Five records: an empty one, the three banner texts, an empty one.
std::string Banner();

// " File: List_log contains " with the count in 12 columns and "  lines" (console wording).
std::string ConsoleListingCount(std::int32_t count);

// "  => The file: List_log contains " with the count (log.res wording), then a record
// holding one blank.
std::string ResultsListingCount(std::int32_t count);

// Console only: " => File <name> not found!", the name without trailing blanks.
std::string NotFoundLine(const FixedText& log_name);

// What one scanned run adds to each stream; either may be empty.
struct RunLines {
  std::string results;  // log.res
  std::string console;
};

// The line of a run: the run summary (log.res only) or a no-CPU, bad-end or
// missing-control-file line (both streams). A run whose CPU value is not a number has none,
// and so has a log that was not read.
RunLines LinesOfRun(const RunScan& scan, const FixedText& log_name);

// The run text of a summarised run, as the run summary line carries it after " => ": the name
// cut or padded to 50 columns, "> CPU:" and the 12-column CPU text, then after its last
// non-blank "> Chi2:" or "> R-F2:" and the result text, all cut at 256 columns.
FixedText RunText(const RunScan& scan);

// " => Total CPU Time:" with the seconds in 14 columns and " seconds".
std::string TotalSecondsLine(float seconds);
// " =>" and 16 blanks with the minutes in 14 columns and " minutes".
std::string TotalMinutesLine(float minutes);

// Console: "   FINAL RESULTS IN FILE: log.res", then the spacer, the warning and the look-into
// lines when WarningDue.
std::string ClosingLines(std::int32_t failures, std::int32_t listing_count);

// True when more than 20 % of the listing, less the 7 lines the rule was made for, failed:
// (failures * 100) / (listing_count - 7) > 20, in single precision, where a division by zero
// gives an infinity (which warns) or, for 0 / 0, no number (which does not).
bool WarningDue(std::int32_t failures, std::int32_t listing_count);

}  // namespace tabrun

#endif  // TABRUN_REPORT_SUMMARY_LINES_H_
