#include "recio/read_ahead.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace tabrun {

ReadAhead::ReadAhead(std::size_t count, Open open) : count_(count), open_(std::move(open)) {}

ReadAhead::~ReadAhead() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void ReadAhead::Reached(std::size_t index, bool cold) {
  if (!cold && !started_.load(std::memory_order_relaxed)) return;
  bool wake = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!started_.load(std::memory_order_relaxed)) {
      started_.store(true, std::memory_order_relaxed);
      try {
        thread_ = std::thread(&ReadAhead::Run, this);
      } catch (const std::system_error&) {
        return;  // without the thread the logs are still read, only without help
      }
    }
    reached_ = std::max(reached_, index);
    // The thread sleeps until half of its window has been read: waking it for every log
    // would cost more than the advice.
    wake = reached_ + kLogs / 2 >= asked_;
  }
  if (wake) wake_.notify_one();
}

void ReadAhead::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    // The logs up to the furthest one read are being read already.
    asked_ = std::max(asked_, reached_ + 1);
    if (asked_ >= count_) return;
    if (asked_ > reached_ + kLogs) {
      wake_.wait(lock);
      continue;
    }
    const std::size_t index = asked_++;
    lock.unlock();
    const int fd = open_(index);
    if (fd >= 0) {
      // The kernel stops at the end of the file; anything but a regular file just says no.
      posix_fadvise(fd, 0, kStartBytes, POSIX_FADV_WILLNEED);
      close(fd);
    }
    lock.lock();
  }
}

}  // namespace tabrun
