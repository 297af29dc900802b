// The run over one batch: listing, per-file scans, totals and closing lines.

#ifndef TABRUN_DRIVER_RUN_H_
#define TABRUN_DRIVER_RUN_H_

#include "recio/output_unit.h"

namespace tabrun {

// The shell command that lists the batch.
inline constexpr char kListingCommand[] = "ls -l *.log > list_log";

// Summarises the batch in the current directory: runs the listing command, reads list_log,
// writes log.res and the console lines to `console`, and returns the exit status (0). A
// fatal I/O error ends the program from inside, after flushing what was written.
int RunBatch(OutputUnit& console);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_RUN_H_
