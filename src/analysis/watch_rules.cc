#include "analysis/watch_rules.h"

namespace tabrun {

bool ReachedOutcome(const RunScan& scan) {
  switch (scan.status) {
    case RunStatus::kOk:
    case RunStatus::kBadCpuValue:
      return !scan.cpu_record_open;
    case RunStatus::kNoCpu:
    case RunStatus::kBadEnd:
    case RunStatus::kNoControlFile:
      // A log that says why its run ended ("Abnormal end of run", "Killed") has ended.
      return scan.reason == FailureReason::kStatedInLog;
    case RunStatus::kRunning:
      return false;
    case RunStatus::kUnreadable:
      return true;
  }
  return true;
}

bool RunningAt(const RunRow& row, std::int64_t now, std::int64_t window) {
  return row.problem == ReadProblem::kNone && row.modified && !ReachedOutcome(row.scan) &&
         StillRunning(*row.modified, now, window);
}

RunEvent EventOf(bool had_before, RunStatus before, bool has_after, RunStatus after,
                 bool rewritten) {
  if (!has_after) return had_before ? RunEvent::kGone : RunEvent::kNone;
  if (had_before && before == after && !rewritten) return RunEvent::kNone;
  if (after == RunStatus::kRunning) return RunEvent::kStarted;
  return after == RunStatus::kOk ? RunEvent::kFinished : RunEvent::kFailed;
}

}  // namespace tabrun
