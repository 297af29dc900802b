// What a watch decides about one log from what it knows of it, without a clock of its own: the
// caller says what time it is.

#ifndef TABRUN_ANALYSIS_WATCH_RULES_H_
#define TABRUN_ANALYSIS_WATCH_RULES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "analysis/log_scan.h"
#include "analysis/run_row.h"
#include "os/file.h"

namespace tabrun {

// What one metadata lookup tells of a log: enough to see that it changed. A watch keeps one per
// log, so it is small: the file's identity is kept as one number (IdentityKey).
struct FileStamp {
  std::uint64_t size = 0;
  std::int64_t modified = 0;   // seconds since 1970, as FileStatus::modified
  std::uint64_t identity = 0;  // IdentityKey; 0 where it is not known
  bool operator==(const FileStamp&) const = default;
};

// `identity` as one number: 0 for the zero identity (the platform cannot tell), and otherwise
// not 0 and the same for two files only by a chance of about one in 2^64.
std::uint64_t IdentityKey(const os::FileIdentity& identity);

// The stamp of the file that `status` describes.
inline FileStamp StampOf(const os::FileStatus& status) {
  return {status.size, status.modified.value_or(0), IdentityKey(status.identity)};
}

// True when a log that was read as `seen` must be read again now that it is `now`: it grew,
// shrank, was touched or was replaced by another file (where `now` knows the identity: a
// directory listing tells the size and time alone). A log whose stamp has not changed is not
// read again; one changed within the second it was read and not in size is taken to be the same.
inline bool NeedsReading(const FileStamp& seen, const FileStamp& now) {
  return seen.size != now.size || seen.modified != now.modified ||
         (now.identity != 0 && now.identity != seen.identity);
}

// True when `seen` and `now` are two files, or the same file that lost bytes: whatever it gave
// before is taken back and it counts as a new run.
inline bool Rewritten(const FileStamp& seen, const FileStamp& now) {
  return seen.identity != now.identity || now.size < seen.size;
}

// True when the run whose log was scanned as `scan` has reached its outcome: it is ok, or its CPU
// value is not a number, and its CPU record is complete; or a record of its log's end says why
// it failed (FailureReason::kStatedInLog: "Abnormal end of run", "Killed", ...); or its log
// cannot be read. False for a log that may still be being written: a bad end, no CPU time or no
// control file line (yet) without such a record, or a CPU record that no line feed ends.
// REQUIRES: `scan` was made with ScanWants::rows.
bool ReachedOutcome(const RunScan& scan);

// True when a log that has not reached its outcome still counts as running at `now`: it was
// last modified less than `window` seconds before (or after `now`, when clocks disagree). Once
// it has not changed for `window` seconds it is the failure its scan says.
inline bool StillRunning(std::int64_t modified, std::int64_t now, std::int64_t window) {
  return now - modified < window;
}

// True when `row`, read at `now`, is of a run still running: its log was read, has not reached
// its outcome and changed less than `window` seconds before (StillRunning). RunRow::running.
bool RunningAt(const RunRow& row, std::int64_t now, std::int64_t window);

// What happened to a run between two looks at its log, as a watch tells it.
enum class RunEvent : std::uint8_t {
  kNone,      // nothing worth saying: it kept its status
  kStarted,   // it began running: a new log, one that had ended and was written on, or rewritten
  kFinished,  // it reached its outcome, ok
  kFailed,    // it reached its outcome, any other status
  kGone,      // its log is gone
};

// The event between `before` and `after`, the statuses a watch gives a log (kRunning included);
// `had_before` is false for a log not seen before, `has_after` false for one that is gone.
// A run ends (kFinished, kFailed) each time its status becomes another outcome, and again after
// its log was rewritten (Rewritten) in between: a run restarted and ended again between two looks
// ended twice. A new log that has an outcome already has just ended.
RunEvent EventOf(bool had_before, RunStatus before, bool has_after, RunStatus after,
                 bool rewritten);

inline constexpr std::size_t kStatusCount = static_cast<std::size_t>(RunStatus::kLast) + 1;

// Something that happened to a run, for the caller to tell.
struct WatchEvent {
  RunEvent event = RunEvent::kNone;
  RunStatus status = RunStatus::kOk;  // after it
  std::string log;
  std::string reason;  // of a failure: ReasonText
};

// The best (lowest) value of a figure among the runs seen ok, and the log that has it.
struct BestFigure {
  const char* name;
  std::optional<double> value;
  std::string log;
};

// A failed run, as the newest failures list it.
struct RecentFailure {
  std::string log;
  RunStatus status;
  std::string reason;
};

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_WATCH_RULES_H_
