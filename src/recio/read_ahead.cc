#include "recio/read_ahead.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "os/file.h"
#include "os/read_ahead_hint.h"

namespace tabrun {

ReadAhead::ReadAhead(std::size_t count, PathOf path_of)
    : count_(count), path_of_(std::move(path_of)), hint_works_(os::ReadAheadHintWorks()) {}

ReadAhead::~ReadAhead() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void ReadAhead::Reached(std::size_t index, bool cold) {
  if (!hint_works_ || (!cold && !active_.load(std::memory_order_relaxed))) return;
  bool wake = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    reached_ = std::max(reached_, index);
    if (cold) {
      active_.store(true, std::memory_order_relaxed);
      cached_in_a_row_ = 0;
      if (!thread_.joinable()) {
        try {
          thread_ = std::thread(&ReadAhead::Run, this);
        } catch (const std::system_error&) {
          // Without the thread the logs are still read, only without help.
        }
      }
    }
    // The thread sleeps until half of its window has been read: waking it for every log
    // would cost more than the advice.
    wake = active_.load(std::memory_order_relaxed) && reached_ + kLogs / 2 >= asked_;
  }
  if (wake) wake_.notify_one();
}

bool ReadAhead::Advise(std::size_t index) {
  // The open does not wait: a fifo or a terminal listed by accident must not stop the thread.
  int file = os::kNoFile;
  std::string ignored;
  if (os::OpenForReading(os::kWorkingDirectory, path_of_(index), &file, &ignored) !=
      os::OpenResult::kOpened) {
    return false;
  }
  char byte;
  bool cold = false;
  os::ReadCached(file, &byte, 1, 0, &cold);
  if (cold) os::HintReadAhead(file, kStartBytes);
  os::CloseFile(file);
  return cold;
}

void ReadAhead::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    // The logs up to the furthest one read are being read already.
    asked_ = std::max(asked_, reached_ + 1);
    if (asked_ >= count_) return;
    if (!active_.load(std::memory_order_relaxed) || asked_ > reached_ + kLogs) {
      wake_.wait(lock);
      continue;
    }
    const std::size_t index = asked_++;
    lock.unlock();
    bool cold = false;
    try {
      cold = Advise(index);
    } catch (const std::bad_alloc&) {
      // Only a hint: the readers meet the shortage themselves and say so.
    }
    lock.lock();
    cached_in_a_row_ = cold ? 0 : cached_in_a_row_ + 1;
    if (cached_in_a_row_ >= kLogs) active_.store(false, std::memory_order_relaxed);
  }
}

}  // namespace tabrun
