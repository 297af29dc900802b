#include "recio/read_ahead.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace tabrun {
namespace {

void Advise(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return;
  // The kernel stops at the end of the file; anything but a regular file just says no.
  posix_fadvise(fd, 0, ReadAhead::kStartBytes, POSIX_FADV_WILLNEED);
  close(fd);
}

}  // namespace

ReadAhead::ReadAhead(const std::vector<std::string>& paths) : paths_(paths) {
  if (paths_.size() < 2) return;
  try {
    thread_ = std::thread(&ReadAhead::Run, this);
  } catch (const std::system_error&) {
    // Without a thread the logs are still read, only without help.
  }
}

ReadAhead::~ReadAhead() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void ReadAhead::Reached(std::size_t index) {
  bool wake = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    reached_ = index;
    // The thread sleeps until half of its window has been read: waking it for every log
    // would cost a warm batch more than all the advice.
    wake = index + kLogs / 2 >= asked_;
  }
  if (wake) wake_.notify_one();
}

void ReadAhead::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    // The log read first is not asked for: it is read right away.
    asked_ = std::max(asked_, reached_ + 1);
    if (asked_ >= paths_.size()) return;
    if (asked_ > reached_ + kLogs) {
      wake_.wait(lock);
      continue;
    }
    const std::string& path = paths_[asked_++];
    lock.unlock();
    Advise(path);
    lock.lock();
  }
}

}  // namespace tabrun
