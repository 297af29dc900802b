// tabrun --compare: two batches of runs side by side.

#ifndef TABRUN_DRIVER_COMPARE_RUN_H_
#define TABRUN_DRIVER_COMPARE_RUN_H_

#include <string>

#include "driver/direct_run.h"

namespace tabrun {

// Reads the logs of the PATH `before` and of the PATH `after` as the direct mode reads the
// logs of one PATH, pairs their runs by name (a log's name relative to its PATH: a directory's
// entry name, a file's last component) and writes one row per name to standard output, in
// natural order of the names, or for kHtml one page that shows them all; nothing else anywhere.
// Returns 0 when every log was read and every CPU value found could be read, 1 otherwise. When
// a batch has a name twice (as rows of several PATHs can), it writes nothing on standard output,
// says so on standard error, names the name, and returns 1. A failing write to standard output
// ends the program with a fatal I/O error. `jobs` threads read the logs.
int RunCompare(RowFormat format, const std::string& before, const std::string& after, int jobs);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_COMPARE_RUN_H_
