// The run over one batch: listing, per-file scans, totals and closing lines.

#ifndef TABRUN_DRIVER_RUN_H_
#define TABRUN_DRIVER_RUN_H_

#include "recio/output_unit.h"
#include "recio/record_reader.h"

namespace tabrun {

// The shell command that lists the batch.
inline constexpr char kListingCommand[] = "ls -l *.log > list_log";

// Summarises the batch in the current directory: runs the listing command, reads list_log,
// writes log.res and the console lines to `console`, and returns the exit status (0). A
// fatal I/O error ends the program from inside, after flushing what was written.
// `search` chooses how the logs are searched; the output is the same either way.
int RunBatch(OutputUnit& console, SearchMode search = SearchMode::kBlock);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_RUN_H_
