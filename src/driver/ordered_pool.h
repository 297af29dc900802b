// Work on the logs of a batch on several threads, handed back in the order of the batch.

#ifndef TABRUN_DRIVER_ORDERED_POOL_H_
#define TABRUN_DRIVER_ORDERED_POOL_H_

#include <sched.h>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace tabrun {

// The number of CPUs this process may run on, at least 1.
inline int UsableCpus() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  return std::max(1, CPU_COUNT(&set));
}

// Runs work(index, worker) for every index from 0 to count - 1 on up to `jobs` threads, and
// hands the results back in the order of the indices through Next(). `worker` is the number of
// the thread that does the work, from 0 to jobs - 1, so that each thread can keep state of its
// own in a slot of the caller's. Indices are taken in order; at most kAhead results wait to be
// taken, so memory does not grow with `count`: a thread that gets that far ahead of Next()
// waits. With one job, or when no thread can be started, no thread is started and Next() does
// the work itself, one index at a time.
template <typename Result>
class OrderedPool {
 public:
  static constexpr std::size_t kAhead = 256;
  using Work = std::function<Result(std::size_t index, int worker)>;

  OrderedPool(std::size_t count, int jobs, Work work)
      : count_(count), work_(std::move(work)), slots_(kAhead) {
    const auto threads = std::min<std::size_t>(static_cast<std::size_t>(std::max(jobs, 1)), count);
    for (std::size_t t = 0; threads > 1 && t < threads; ++t) {
      try {
        threads_.emplace_back(&OrderedPool::Run, this, static_cast<int>(t));
      } catch (const std::system_error&) {
        break;  // fewer threads, or none: Next() then works itself
      }
    }
  }
  // Stops the threads once each has finished the work in its hands; results not taken are
  // dropped.
  ~OrderedPool() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    room_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;

  // The result for the next index, once it is there. REQUIRES: called at most count times.
  Result Next() {
    if (threads_.empty()) return work_(taken_++, 0);
    std::unique_lock<std::mutex> lock(mutex_);
    std::optional<Result>& slot = slots_[taken_ % kAhead];
    waiting_for_ = taken_;
    ready_.wait(lock, [&] { return slot.has_value(); });
    Result result = std::move(*slot);
    slot.reset();
    ++taken_;
    const bool wake = threads_waiting_ > 0;
    lock.unlock();
    if (wake) room_.notify_all();
    return result;
  }

 private:
  void Run(int worker) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_ && claimed_ < count_) {
      if (claimed_ >= taken_ + kAhead) {
        ++threads_waiting_;
        room_.wait(lock);
        --threads_waiting_;
        continue;
      }
      const std::size_t index = claimed_++;
      lock.unlock();
      Result result = work_(index, worker);
      lock.lock();
      slots_[index % kAhead] = std::move(result);
      if (index == waiting_for_) ready_.notify_one();
    }
  }

  const std::size_t count_;
  const Work work_;
  std::mutex mutex_;
  std::condition_variable ready_;  // the result Next() waits for has come
  std::condition_variable room_;   // Next() has taken a result
  // Guarded by mutex_, as all below: the result of index i waits in slot i % kAhead.
  std::vector<std::optional<Result>> slots_;
  std::size_t taken_ = 0;           // results handed out by Next()
  std::size_t claimed_ = 0;         // indices handed to the threads
  std::size_t waiting_for_ = ~std::size_t{0};  // the index Next() waits for
  int threads_waiting_ = 0;         // threads waiting for room
  bool stop_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_ORDERED_POOL_H_
