// The default mode: the run over one batch, from the listing command to the closing lines.

#ifndef TABRUN_DRIVER_RUN_H_
#define TABRUN_DRIVER_RUN_H_

namespace tabrun {

// The shell command that lists the batch.
inline constexpr char kListingCommand[] = "ls -l *.log > list_log";

// Summarises the batch in the current directory: runs the listing command, reads list_log,
// writes log.res and the console lines, and returns the exit status (0). A fatal I/O error
// ends the program from inside, after writing out what both outputs had been given. `jobs`
// threads read the logs; the output does not depend on their number.
int RunBatch(int jobs);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_RUN_H_
