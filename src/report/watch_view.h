// What a watch shows: the view redrawn in a terminal, and the lines that tell its events one at a
// time elsewhere. Formatting only: the watch gives the figures and the time.

#ifndef TABRUN_REPORT_WATCH_VIEW_H_
#define TABRUN_REPORT_WATCH_VIEW_H_

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "analysis/watch_rules.h"

namespace tabrun {

// What the view shows, at one time.
struct WatchSummary {
  std::string clock;  // ClockText of now
  std::vector<std::string> paths;
  std::array<std::uint64_t, kStatusCount> counts{};
  std::uint64_t logs = 0;
  std::uint64_t ended = 0;
  std::uint64_t ended_within_minute = 0;
  std::array<BestFigure, 3> best;
  std::deque<RecentFailure> failures;  // newest first
  std::vector<std::string> notes;      // what the watch has to say: a directory gone, ...
};

// `seconds` since 1970 as the local time of day, "hh:mm:ss".
std::string ClockText(std::int64_t seconds);

// The view in lines, at most `rows` of them, none longer than `columns` bytes (a name is cut
// there, whatever it holds), without line ends:
//   tabrun --watch runs   17:24:11
//   120 logs: 8 running, 100 ok, 12 failed
//   failed: bad_end 9, no_cpu 2, unreadable 1
//   ended: 3 in the last minute, 40 since the start
//   best chi2 1.53 runs/cu2o_rt.log
//   ...
//   newest failures:
//   bad_end runs/T5K.log: => Abnormal end of run: singular matrix
// The lines that say nothing (no failed run, no best figure) are left out; the newest failures
// take the rows that are left, and the notes come first.
std::vector<std::string> ViewLines(const WatchSummary& summary, int rows, int columns);

// The view as one write to a VT terminal: the cursor home, each line with the rest of its row
// erased, and the rows below erased.
std::string ViewScreen(const std::vector<std::string>& lines);

// The line that tells `event` at `clock`, with a line feed:
//   17:24:11 finished runs/T300K.log
//   17:24:11 failed runs/T5K.log bad_end: => Abnormal end of run: singular matrix
//   17:24:11 started runs/T310K.log
//   17:24:11 gone runs/T5K.log
std::string EventLine(const WatchEvent& event, const std::string& clock);

// The counts as one line, with a line feed: "17:24:11 120 logs: 8 running, 100 ok, 12 failed".
std::string CountsLine(const WatchSummary& summary);

}  // namespace tabrun

#endif  // TABRUN_REPORT_WATCH_VIEW_H_
