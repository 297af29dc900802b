// What a watch knows of a batch: each log's stamp and status, the counts by status, the runs that
// ended lately, the best figures and the newest failures. It reads nothing and has no clock: the
// caller lists, describes and reads the logs and says what time it is.

#ifndef TABRUN_DRIVER_WATCH_STATE_H_
#define TABRUN_DRIVER_WATCH_STATE_H_

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/run_row.h"
#include "analysis/watch_rules.h"

namespace tabrun {

class WatchState {
 public:
  // A log is kept in a slot, which stays its own while it is watched.
  using Slot = std::uint32_t;
  static constexpr std::size_t kRecentFailures = 20;

  // `window`: how many seconds a log without an outcome counts as running after its last change.
  explicit WatchState(std::int64_t window) : window_(window) {}

  // Makes room for `logs` more logs at once, so that a batch's first look takes no more memory
  // than its logs need.
  void Reserve(std::size_t logs);
  // How many slots there are, free ones too: every slot is below this.
  std::size_t slots() const { return logs_by_slot_.size(); }
  // A slot for a new log, which has no status until Apply.
  Slot Add();
  // The log in `slot`, named `log`, is gone: its run no longer counts, and the slot is free.
  void Remove(Slot slot, std::string_view log, std::vector<WatchEvent>* events);

  // True when the log in `slot` must be read: it was never read, or `stamp` is not what it was.
  bool NeedsRead(Slot slot, const FileStamp& stamp) const;

  // The slots of running logs that have not changed for the window at `now`: read again, they
  // become the failure their scan says. With `all`, the slots of every running log.
  std::vector<Slot> Due(std::int64_t now, bool all = false) const;
  // True when the log in `slot` was running when it was read last.
  bool Running(Slot slot) const { return running_.contains(slot); }

  // Takes the row of the log in `slot` as read at `now`, whose stamp was `stamp`; row.running
  // says whether it runs (RunningAt). Says what happened in *events unless `quiet` (the first
  // look at a batch), and returns it.
  RunEvent Apply(Slot slot, const RunRow& row, const FileStamp& stamp, std::int64_t now, bool quiet,
                 std::vector<WatchEvent>* events);

  // The number of logs with each status as the watch gives it, kRunning included.
  const std::array<std::uint64_t, kStatusCount>& counts() const { return counts_; }
  std::uint64_t logs() const { return logs_; }
  // Runs that reached their outcome since the first look, and within the minute before `now`.
  std::uint64_t ended() const { return ended_; }
  std::uint64_t EndedWithinMinute(std::int64_t now);
  const std::array<BestFigure, 3>& best() const { return best_; }
  // The newest first.
  const std::deque<RecentFailure>& recent_failures() const { return recent_failures_; }

 private:
  // What the watch keeps of one log besides its stamp, in one byte, since a batch may hold
  // hundreds of thousands: its status as the watch gives it, and whether Apply has had it.
  struct Log {
    RunStatus status : 7 = RunStatus::kOk;
    bool read : 1 = false;
  };
  static_assert(sizeof(Log) == 1);

  void Count(const Log& log, int by);
  void Forget(std::string_view log);

  const std::int64_t window_;
  std::vector<FileStamp> stamps_;  // of each slot
  std::vector<Log> logs_by_slot_;
  std::vector<Slot> free_;
  std::map<Slot, std::int64_t> running_;  // the running logs' slots, with their modified time
  std::array<std::uint64_t, kStatusCount> counts_{};
  std::uint64_t logs_ = 0;
  std::uint64_t ended_ = 0;
  std::deque<std::int64_t> ended_at_;  // within the last minute, oldest first
  std::array<BestFigure, 3> best_{{{"chi2", {}, {}}, {"rwp", {}, {}}, {"rf2", {}, {}}}};
  std::deque<RecentFailure> recent_failures_;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_WATCH_STATE_H_
