#include "driver/watch_state.h"

#include <algorithm>

#include "report/script_rows.h"

namespace tabrun {

void WatchState::Reserve(std::size_t logs) {
  const std::size_t wanted = logs_by_slot_.size() + logs - std::min(logs, free_.size());
  stamps_.reserve(wanted);
  logs_by_slot_.reserve(wanted);
}

WatchState::Slot WatchState::Add() {
  if (!free_.empty()) {
    const Slot slot = free_.back();
    free_.pop_back();
    return slot;
  }
  stamps_.emplace_back();
  logs_by_slot_.emplace_back();
  return static_cast<Slot>(logs_by_slot_.size() - 1);
}

void WatchState::Count(const Log& log, int by) {
  if (!log.read) return;
  counts_[static_cast<std::size_t>(log.status)] += static_cast<std::uint64_t>(by);
  logs_ += static_cast<std::uint64_t>(by);
}

void WatchState::Forget(std::string_view log) {
  std::erase_if(recent_failures_, [log](const RecentFailure& f) { return f.log == log; });
}

void WatchState::Remove(Slot slot, std::string_view log, std::vector<WatchEvent>* events) {
  Log& gone = logs_by_slot_[slot];
  if (gone.read) events->push_back({RunEvent::kGone, gone.status, std::string(log), {}});
  Count(gone, -1);
  Forget(log);
  running_.erase(slot);
  gone = Log();
  stamps_[slot] = {};
  free_.push_back(slot);
}

bool WatchState::NeedsRead(Slot slot, const FileStamp& stamp) const {
  return !logs_by_slot_[slot].read || NeedsReading(stamps_[slot], stamp);
}

std::vector<WatchState::Slot> WatchState::Due(std::int64_t now, bool all) const {
  std::vector<Slot> due;
  for (const auto& [slot, modified] : running_) {
    if (all || !StillRunning(modified, now, window_)) due.push_back(slot);
  }
  return due;
}

RunEvent WatchState::Apply(Slot slot, const RunRow& row, const FileStamp& stamp, std::int64_t now,
                           bool quiet, std::vector<WatchEvent>* events) {
  Log& log = logs_by_slot_[slot];
  const bool had = log.read;
  const RunStatus before = log.status;
  const bool rewritten = had && Rewritten(stamps_[slot], stamp);
  Count(log, -1);
  stamps_[slot] = stamp;
  log.status = row.status();
  log.read = true;
  Count(log, 1);
  if (row.running) {
    running_[slot] = row.modified.value_or(stamp.modified);
  } else {
    running_.erase(slot);
  }
  const RunEvent event = EventOf(had, before, true, log.status, rewritten);
  if (event == RunEvent::kNone) return event;
  Forget(row.log);
  if (log.status == RunStatus::kOk) {
    const Figures& f = row.scan.figures;
    const std::optional<double> values[] = {f.chi2, f.rwp, f.rf2};
    for (std::size_t k = 0; k < best_.size(); ++k) {
      if (values[k] && (!best_[k].value || *values[k] < *best_[k].value)) {
        best_[k].value = values[k];
        best_[k].log = row.log;
      }
    }
  }
  WatchEvent said{event, log.status, row.log, {}};
  if (event == RunEvent::kFailed) {
    said.reason = ReasonText(row);
    recent_failures_.push_front({row.log, log.status, said.reason});
    if (recent_failures_.size() > kRecentFailures) recent_failures_.pop_back();
  }
  if (!quiet && (event == RunEvent::kFinished || event == RunEvent::kFailed)) {
    ++ended_;
    ended_at_.push_back(now);
  }
  if (!quiet) events->push_back(std::move(said));
  return event;
}

std::uint64_t WatchState::EndedWithinMinute(std::int64_t now) {
  while (!ended_at_.empty() && ended_at_.front() <= now - 60) ended_at_.pop_front();
  return ended_at_.size();
}

}  // namespace tabrun
