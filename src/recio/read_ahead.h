// Asking the kernel for the next logs of a batch while the current one is read.

#ifndef TABRUN_RECIO_READ_AHEAD_H_
#define TABRUN_RECIO_READ_AHEAD_H_

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tabrun {

// Keeps the disk busy on a cold cache: while log i is read, the kernel is already reading
// the next kLogs logs. A thread of its own opens each of them, asks for at most its first
// kStartBytes with posix_fadvise and closes it again, so asking costs the reader nothing, at
// most one extra file descriptor is open at any time, and at most kLogs * kStartBytes bytes
// are asked for ahead of the reader. Of a big log only the start is asked for: from there on
// the kernel's own read-ahead for sequential reading does better.
//
// The advice is only a hint. A log that is missing, unreadable, changed or replaced by the
// time it is read is read as it is then, and nothing here reports an error.
class ReadAhead {
 public:
  static constexpr std::size_t kLogs = 16;
  static constexpr std::size_t kStartBytes = 1 << 20;

  // `paths` are the logs in the order in which they will be read; they must outlive this.
  explicit ReadAhead(const std::vector<std::string>& paths);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Says that log `index` of the paths is about to be read.
  void Reached(std::size_t index);

 private:
  void Run();

  const std::vector<std::string>& paths_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::size_t reached_ = 0;  // guarded by mutex_, as the two below
  std::size_t asked_ = 1;    // the thread has asked for the logs before this one
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_READ_AHEAD_H_
