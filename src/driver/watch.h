// tabrun --watch: a batch followed as its runs go on, until the program is stopped.

#ifndef TABRUN_DRIVER_WATCH_H_
#define TABRUN_DRIVER_WATCH_H_

#include <string>
#include <vector>

namespace tabrun {

enum class WatchOutput {
  kView,  // the view, redrawn in place on a terminal; elsewhere one line per event
  kCsv,   // follow rows: one CSV row per run as it reaches its outcome
  kJson,  // the same as JSON Lines
  kHtml,  // the live page in a file
};

struct WatchOptions {
  WatchOutput output = WatchOutput::kView;
  std::vector<std::string> paths;  // as the direct modes take them
  int jobs = 1;
  int running_for = 120;  // seconds
  std::string page_file;  // for kHtml
};

// Looks at the logs of `paths` about once a second (less often when a look takes long), reading
// only those that are new, changed, or running and due to be judged, and shows what it found as
// `output` says, until an interrupt or SIGTERM; then ends its output cleanly (the terminal as it
// was, with the last view; the page once more, as a page that does not reload) and returns 0.
// Returns 1 when the page's file cannot be written at the start. A failing write to standard
// output ends the program as in the direct modes.
int RunWatch(const WatchOptions& options);

}  // namespace tabrun

#endif  // TABRUN_DRIVER_WATCH_H_
