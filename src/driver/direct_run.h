// The direct modes: tabrun --csv, --json or --html.

#ifndef TABRUN_DRIVER_DIRECT_RUN_H_
#define TABRUN_DRIVER_DIRECT_RUN_H_

#include <cstdint>
#include <string>
#include <vector>

namespace tabrun {

enum class RowFormat { kCsv, kJson, kHtml };

// Writes one row per log of `paths` to standard output, or for kHtml one page that holds
// them all, and nothing else anywhere: a directory stands for its *.log entries, sorted by
// name, and any other path for itself. Every log is scanned as the default mode scans it. Returns 0
// when every log was read and every CPU value found could be read, 1 otherwise; a failing write to
// standard output ends the program with a fatal I/O error. `jobs` threads read the logs; the output
// does not depend on their number.
int RunDirect(RowFormat format, const std::vector<std::string>& paths, int jobs);

// When a page is said to have been made, in seconds since 1970 (UTC): SOURCE_DATE_EPOCH when it
// holds a number of seconds, so that two pages of one batch can be the same to the byte,
// otherwise now.
std::int64_t MadeAt();

// Exit status when a row file cannot be read or is not rows that tabrun wrote.
inline constexpr int kBadRowsExitStatus = 2;

// Writes the rows of `files`, rows that tabrun --csv or --json wrote (RowFile; "-" is standard
// input), as RunDirect writes the rows of logs: the files in the order given, each to its end;
// a row as it was read, in today's columns; the page with the last record of each failed run
// in place of the end of its log, and the files named as its batch. Returns what RunDirect
// returns for the same rows. At a file that cannot be read or is not such rows, it writes out
// the rows before it (no page), says why on standard error and returns kBadRowsExitStatus.
int RunFromRows(RowFormat format, const std::vector<std::string>& files);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_DIRECT_RUN_H_
