#include "recio/read_ahead.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace tabrun {

std::size_t ReadCached(int fd, char* out, std::size_t length, std::uint64_t offset, bool* cold) {
  iovec vector = {out, length};
  const ssize_t got = preadv2(fd, &vector, 1, static_cast<off_t>(offset), RWF_NOWAIT);
  if (got < 0 && (errno == EAGAIN || errno == EOPNOTSUPP)) *cold = true;
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

ReadAhead::ReadAhead(std::size_t count, PathOf path_of)
    : count_(count), path_of_(std::move(path_of)) {}

ReadAhead::~ReadAhead() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void ReadAhead::Reached(std::size_t index, bool cold) {
  if (!cold && !active_.load(std::memory_order_relaxed)) return;
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
  // O_NONBLOCK and O_NOCTTY: a fifo or a terminal listed by accident must not stop the thread.
  const int fd = open(path_of_(index).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return false;
  char byte;
  bool cold = false;
  ReadCached(fd, &byte, 1, 0, &cold);
  // The kernel stops at the end of the file; anything but a regular file just says no.
  if (cold) posix_fadvise(fd, 0, kStartBytes, POSIX_FADV_WILLNEED);
  close(fd);
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
    const bool cold = Advise(index);
    lock.lock();
    cached_in_a_row_ = cold ? 0 : cached_in_a_row_ + 1;
    if (cached_in_a_row_ >= kLogs) active_.store(false, std::memory_order_relaxed);
  }
}

}  // namespace tabrun
