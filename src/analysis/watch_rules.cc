#include "analysis/watch_rules.h"

namespace tabrun {

std::uint64_t IdentityKey(const os::FileIdentity& identity) {
  // The inode as it is, the device spread over all bits by an odd multiplier: two files of one
  // device meet only where one of them would have the key 0, which is kept for "not known".
  const std::uint64_t key = identity.inode ^ (identity.device * 0x9E3779B97F4A7C15u);
  if (identity == os::FileIdentity{}) return 0;
  return key != 0 ? key : 1;
}

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
