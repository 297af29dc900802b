// Asking the kernel for the next logs of a batch while the current ones are read.

#ifndef TABRUN_RECIO_READ_AHEAD_H_
#define TABRUN_RECIO_READ_AHEAD_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tabrun {

// Keeps the disk busy on a cold cache: while log i is read, the kernel is already reading
// the next kLogs logs. A thread of its own opens each of them, asks for at most its first
// kStartBytes of the system and closes it again, so asking costs the readers nothing, at
// most one extra file descriptor is open at any time, and at most kLogs * kStartBytes bytes
// are asked for ahead of the readers. Of a big log only the start is asked for: from there
// on the kernel's own read-ahead for sequential reading does better.
//
// A warm cache pays nothing for it. The thread starts only when a reader says that a log had
// to come from the disk; it first asks whether the start of each log is in the page cache
// (with a read that must not wait), advises only the logs whose start is not, and goes back to
// sleep after kLogs cached logs in a row, until a reader finds a cold log again. While it
// sleeps, Reached costs one atomic load.
//
// Where the system cannot be asked (os/read_ahead_hint.h), no thread is started at all.
//
// The advice is only a hint. A log that is missing, unreadable, changed or replaced by the
// time it is read is read as it is then, and nothing here reports an error.
class ReadAhead {
 public:
  static constexpr std::size_t kLogs = 16;
  static constexpr std::size_t kStartBytes = 1 << 20;

  // The path of log `index` of the batch.
  using PathOf = std::function<std::string(std::size_t index)>;

  // `count` logs, read roughly in the order of their indices.
  ReadAhead(std::size_t count, PathOf path_of);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Says that log `index` has been read, and whether some of it had to come from the disk.
  // Safe to call from several threads.
  void Reached(std::size_t index, bool cold);

 private:
  void Run();

  // Asks for log `index`; returns false when its start was in the page cache already.
  bool Advise(std::size_t index);

  const std::size_t count_;
  const PathOf path_of_;
  const bool hint_works_;
  std::atomic<bool> active_{false};  // the batch looks cold: the thread advises
  std::mutex mutex_;
  std::condition_variable wake_;
  std::size_t reached_ = 0;  // guarded by mutex_, as all below: the furthest log read
  std::size_t asked_ = 0;    // the thread has looked at the logs before this one
  std::size_t cached_in_a_row_ = 0;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace tabrun

#endif  // TABRUN_RECIO_READ_AHEAD_H_
