// Work on the logs of a batch on several threads, handed back in the order of the batch.

#ifndef TABRUN_DRIVER_ORDERED_POOL_H_
#define TABRUN_DRIVER_ORDERED_POOL_H_

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "os/cpus.h"

namespace tabrun {

// Runs work(index, worker) for every index from 0 to count - 1 on `jobs` threads, and hands
// the results back in the order of the indices through Next(). The thread that calls Next() is
// one of them: up to jobs - 1 threads are started, and Next() works too while the result it
// needs is not there yet. `worker` is the number of the thread that does the work, from 0 to
// jobs - 1 (jobs - 1 for the one that calls Next()), so that each thread can keep state of its
// own in a slot of the caller's. Indices are taken in order; at most `ahead` results are made
// or wait to be taken at any time, so memory does not grow with `count`. With one job, or when
// no thread can be started, Next() does all the work itself, one index at a time.
//
// A thread takes an index only when its result has room in the window; when it has none, it
// sleeps until Next() has made room for a batch of kBatch results, and then one sleeper is
// woken, which works on until the window is full again. Threads start as they are needed: one
// per CPU at first (at most jobs - 1), then one more each time room for a batch is made while
// none sleeps and the CPUs were less than half busy with this process since the last batch:
// then the threads wait for the file system (a network one, say), and more of them help. Up
// to min(jobs - 1, ahead, count) threads start. So a thread is woken only when it can proceed, no
// more threads run than keep the CPUs or the file system busy, and however many jobs are asked for,
// a batch of small logs costs about two thread switches per kBatch logs. Next() sleeps only when
// every index is taken or the window is full, and then until a batch of kBatch results is there
// rather than one.
template <typename Result>
class OrderedPool {
 public:
  static constexpr std::size_t kAhead = 256;
  static constexpr std::size_t kBatch = 64;
  using Work = std::function<Result(std::size_t index, int worker)>;

  // REQUIRES: ahead >= 1.
  OrderedPool(std::size_t count, int jobs, Work work, std::size_t ahead = kAhead)
      : count_(count),
        ahead_(ahead),
        wake_every_(std::min(kBatch, ahead)),
        own_(std::max(jobs, 1) - 1),
        most_threads_(std::min({static_cast<std::size_t>(own_), count, ahead})),
        work_(std::move(work)),
        slots_(ahead) {
    while (threads_.size() < std::min(most_threads_, cpus_) && StartThread()) {
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
    const std::size_t index = taken_.load(std::memory_order_relaxed);
    Slot& slot = slots_[index % ahead_];
    while (!slot.full.load(std::memory_order_acquire)) {
      std::size_t claimed;
      if (Claim(&claimed)) {
        Put(claimed, work_(claimed, own_));
      } else {
        WaitFor(index);
      }
    }
    Result result = std::move(*slot.result);
    slot.result.reset();
    slot.full.store(false, std::memory_order_relaxed);
    taken_.store(index + 1);
    if ((index + 1) % wake_every_ == 0) {
      const bool waiting = CpusMostlyIdle();
      // Room for a batch was made: one sleeper takes it, or when every thread is busy waiting
      // for the file system, one more.
      if (claimed_.load() + wake_every_ <= index + 1 + ahead_) {
        if (sleepers_.load() > 0) {
          { const std::lock_guard<std::mutex> lock(mutex_); }
          room_.notify_one();
        } else if (waiting) {
          StartThread();
        }
      }
    }
    return result;
  }

 private:
  // A result waiting to be taken; the result of index i waits in slot i % ahead_.
  struct Slot {
    std::optional<Result> result;
    std::atomic<bool> full{false};  // result is there; set by a thread, cleared by Next()
  };
  static constexpr std::size_t kNobody = ~std::size_t{0};

  // True when this process kept its CPUs less than half busy since the last call.
  bool CpusMostlyIdle() {
    const std::clock_t cpu = std::clock();
    const auto now = std::chrono::steady_clock::now();
    const double busy = static_cast<double>(cpu - last_cpu_) / CLOCKS_PER_SEC;
    const double wall = std::chrono::duration<double>(now - last_wall_).count();
    last_cpu_ = cpu;
    last_wall_ = now;
    return busy < 0.5 * wall * static_cast<double>(cpus_);
  }

  // Starts one more thread unless most_threads_ run; false when none was started.
  bool StartThread() {
    if (threads_.size() >= most_threads_) return false;
    try {
      threads_.emplace_back(&OrderedPool::Run, this, static_cast<int>(threads_.size()));
    } catch (const std::system_error&) {
      most_threads_ = threads_.size();  // fewer threads: Next() does the rest
      return false;
    }
    return true;
  }

  // Takes the next index into *index, if there is one and room for its result. False when
  // there was none to take.
  bool Claim(std::size_t* index) {
    *index = claimed_.load(std::memory_order_relaxed);
    do {
      if (!CanClaim(*index)) return false;
    } while (!claimed_.compare_exchange_weak(*index, *index + 1, std::memory_order_relaxed));
    return true;
  }
  bool CanClaim(std::size_t index) const {
    return index < count_ && index < taken_.load() + ahead_;
  }

  void Put(std::size_t index, Result result) {
    Slot& slot = slots_[index % ahead_];
    slot.result.emplace(std::move(result));
    slot.full.store(true);
    if (wanted_.load() == index) {
      { const std::lock_guard<std::mutex> lock(mutex_); }
      ready_.notify_one();
    }
  }

  // Sleeps until the result of `index` is there, and when the index at the end of its batch
  // is not done either, until that one is too.
  void WaitFor(std::size_t index) {
    const std::size_t batch_end = std::min({index + kBatch, index + ahead_, count_}) - 1;
    const std::size_t wanted =
        slots_[batch_end % ahead_].full.load() ? index : batch_end;  // else `index` lags
    std::unique_lock<std::mutex> lock(mutex_);
    wanted_.store(wanted);
    ready_.wait(lock, [&] { return slots_[wanted % ahead_].full.load(); });
    wanted_.store(kNobody);
  }

  void Run(int worker) {
    for (;;) {
      std::size_t index;
      if (Claim(&index)) {
        Put(index, work_(index, worker));
        continue;
      }
      std::unique_lock<std::mutex> lock(mutex_);
      ++sleepers_;
      room_.wait(lock,
                 [&] { return stop_ || claimed_.load() >= count_ || CanClaim(claimed_.load()); });
      --sleepers_;
      if (stop_ || claimed_.load() >= count_) return;
    }
  }

  const std::size_t count_;
  const std::size_t ahead_;
  const std::size_t wake_every_;  // Next() wakes a sleeper once per this many results taken
  const int own_;                 // the worker number of Next()'s own share
  std::size_t most_threads_;      // threads_ grows up to this; used by Next()'s thread alone
  const std::size_t cpus_ = static_cast<std::size_t>(os::UsableCpus());
  std::clock_t last_cpu_ = std::clock();  // the process's CPU time and the time at the last
  std::chrono::steady_clock::time_point last_wall_ = std::chrono::steady_clock::now();  // batch
  const Work work_;
  std::vector<Slot> slots_;
  std::atomic<std::size_t> claimed_{0};       // indices handed out to be worked on
  std::atomic<std::size_t> taken_{0};         // results handed out by Next()
  std::atomic<std::size_t> wanted_{kNobody};  // the index whose result wakes Next()
  std::atomic<int> sleepers_{0};              // threads waiting for room in the window
  // Sleeping, and stopping. The atomics above are stored before and loaded after each other in
  // one total order on both sides (sequentially consistent), so that a thread that has just
  // filled or freed a slot sees a sleeper that could not see it, and wakes it.
  std::mutex mutex_;
  std::condition_variable ready_;  // for Next()
  std::condition_variable room_;   // for threads that wait for room in the window
  bool stop_ = false;              // guarded by mutex_
  std::vector<std::thread> threads_;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_ORDERED_POOL_H_
