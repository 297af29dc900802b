// Work on the logs of a batch on several threads, handed back in the order of the batch.

#ifndef TABRUN_DRIVER_ORDERED_POOL_H_
#define TABRUN_DRIVER_ORDERED_POOL_H_

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "driver/in_flight.h"
#include "os/cpus.h"
#include "os/process.h"

namespace tabrun {

// What the pool measures its stretches with (InFlight): the time and the CPU time the process
// has used, both in seconds, and the CPUs it may use. A test passes clocks of its own.
struct PoolClocks {
  std::function<double()> seconds;
  std::function<double()> cpu_seconds;
  int cpus = 1;

  // A steady clock, the process's CPU time and the usable CPUs, from the system.
  static PoolClocks System() {
    return {
        [] {
          return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
              .count();
        },
        os::ProcessCpuSeconds, os::UsableCpus()};
  }
};

// Runs work(index, worker) for every index from 0 to count - 1, and hands the results back in
// the order of the indices through Next(). At most `jobs` indices are worked on at once: by up
// to jobs - 1 threads of the pool's, and by the thread that calls Next(), which works too while
// the result it needs is not there yet. `worker` is the number of the thread that does the
// work, from 0 to jobs - 1 (jobs - 1 for the one that calls Next()), so that each thread can
// keep state of its own in a slot of the caller's. Indices are taken in order; at most `ahead`
// results are made or wait to be taken at any time, so memory does not grow with `count`. With
// one job, or when no thread can be started, Next() does all the work itself, one index at a
// time.
//
// How many of the jobs work at once is InFlight's decision, at the end of each of its
// stretches, from the work done in the stretch, the time it took and the CPU time the process
// used in it: one per
// CPU at first, more while the work waits on the file system rather than on the CPUs and more
// pays, never more than `jobs`. Threads start when they are first needed; those beyond the
// number sleep until it grows again.
//
// A thread takes an index only when its result has room in the window; when it has none, it
// sleeps until Next() has made room for a batch of kBatch results, and then one sleeper is
// woken, which works on until the window is full again. So a thread is woken only when it can
// proceed, and a batch of small logs costs about two thread switches per kBatch logs. Next()
// sleeps only when every index is taken or the window is full, and then until a batch of kBatch
// results is there rather than one.
//
// When work throws, the exception is kept as the result of its index and thrown again by the
// Next() that would have returned that result, on the thread that calls Next(): the results
// before it come first, as they would from one thread.
template <typename Result>
class OrderedPool {
 public:
  static constexpr std::size_t kAhead = 256;
  static constexpr std::size_t kBatch = 64;
  using Work = std::function<Result(std::size_t index, int worker)>;

  // REQUIRES: ahead >= 1.
  OrderedPool(std::size_t count, int jobs, Work work, std::size_t ahead = kAhead,
              PoolClocks clocks = PoolClocks::System())
      : count_(count),
        ahead_(ahead),
        wake_every_(std::min(kBatch, ahead)),
        own_(std::max(jobs, 1) - 1),
        most_threads_(std::min({static_cast<std::size_t>(own_), count, ahead})),
        work_(std::move(work)),
        clocks_(std::move(clocks)),
        rule_(clocks_.cpus, static_cast<int>(most_threads_) + 1),
        slots_(ahead) {
    // With no room to grow, nothing is measured.
    measuring_ = rule_.level() <= static_cast<int>(most_threads_);
    if (measuring_) StartStretch();
    SetLevel(rule_.level());
  }
  // Stops the threads once each has finished the work in its hands; results not taken are
  // dropped.
  ~OrderedPool() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    room_.notify_all();
    parked_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;

  // The result for the next index, once it is there; throws what work threw for it.
  // REQUIRES: called at most count times.
  Result Next() {
    const std::size_t index = taken_.load(std::memory_order_relaxed);
    Slot& slot = slots_[index % ahead_];
    while (!slot.full.load(std::memory_order_acquire)) {
      std::size_t claimed;
      if (Claim(&claimed)) {
        Make(claimed, own_);
      } else {
        WaitFor(index);
      }
    }
    if (slot.failure) {
      const std::exception_ptr failure = std::move(slot.failure);
      slot.failure = nullptr;
      slot.full.store(false, std::memory_order_relaxed);
      taken_.store(index + 1);
      std::rethrow_exception(failure);
    }
    Result result = std::move(*slot.result);
    slot.result.reset();
    slot.full.store(false, std::memory_order_relaxed);
    taken_.store(index + 1);
    // Room for a batch was made: one sleeper takes it.
    if ((index + 1) % wake_every_ == 0 && claimed_.load() + wake_every_ <= index + 1 + ahead_ &&
        sleepers_.load() > 0) {
      { const std::lock_guard<std::mutex> lock(mutex_); }
      room_.notify_one();
    }
    if (measuring_ && ++stretch_results_ >= rule_.StretchResults()) EndStretch();
    return result;
  }

 private:
  // A result waiting to be taken; the result of index i waits in slot i % ahead_.
  struct Slot {
    std::optional<Result> result;   // or
    std::exception_ptr failure;     // what work threw
    std::atomic<bool> full{false};  // either is there; set by a thread, cleared by Next()
  };
  static constexpr std::size_t kNobody = ~std::size_t{0};

  void StartStretch() {
    stretch_results_ = 0;
    stretch_made_ = made_.load(std::memory_order_relaxed);
    stretch_start_ = clocks_.seconds();
    stretch_cpu_ = clocks_.cpu_seconds();
  }
  // Hands the measures of the stretch that ends to the rule, and follows its decision.
  void EndStretch() {
    const double seconds = clocks_.seconds() - stretch_start_;
    const double cpu = clocks_.cpu_seconds() - stretch_cpu_;
    // Judged by the work done, which a slow index at the head of the window does not hold up.
    const std::size_t made = made_.load(std::memory_order_relaxed) - stretch_made_;
    SetLevel(rule_.Next({made, seconds, cpu}));
    StartStretch();
  }

  // Lets level - 1 threads work beside Next()'s own thread, starting those not yet there.
  void SetLevel(int level) {
    const std::size_t threads = static_cast<std::size_t>(level) - 1;
    if (threads == active_.load()) return;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      active_.store(threads);
    }
    // Those that sleep for room and are no longer wanted go to sleep until wanted again.
    room_.notify_all();
    parked_.notify_all();
    while (threads_.size() < threads && StartThread()) {
    }
  }

  // Starts one more thread unless most_threads_ run; false when none was started.
  bool StartThread() {
    if (threads_.size() >= most_threads_) return false;
    try {
      threads_.emplace_back(&OrderedPool::Run, this, threads_.size());
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

  // Works on `index` and puts its result, or what the work threw, in its slot.
  void Make(std::size_t index, int worker) {
    Slot& slot = slots_[index % ahead_];
    const os::WorkInProgress at_work;
    try {
      slot.result.emplace(work_(index, worker));
    } catch (...) {
      slot.failure = std::current_exception();
    }
    slot.full.store(true);
    made_.fetch_add(1, std::memory_order_relaxed);
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

  void Run(std::size_t thread) {
    const int worker = static_cast<int>(thread);
    for (;;) {
      std::size_t index;
      if (thread < active_.load() && Claim(&index)) {
        Make(index, worker);
        continue;
      }
      std::unique_lock<std::mutex> lock(mutex_);
      if (thread >= active_.load()) {
        parked_.wait(lock, [&] { return stop_ || thread < active_.load(); });
      } else {
        ++sleepers_;
        room_.wait(lock, [&] {
          return stop_ || claimed_.load() >= count_ || thread >= active_.load() ||
                 CanClaim(claimed_.load());
        });
        --sleepers_;
        if (claimed_.load() >= count_) return;
      }
      if (stop_) return;
    }
  }

  const std::size_t count_;
  const std::size_t ahead_;
  const std::size_t wake_every_;  // Next() wakes a sleeper once per this many results taken
  const int own_;                 // the worker number of Next()'s own share
  std::size_t most_threads_;      // threads_ grows up to this; used by Next()'s thread alone
  const Work work_;
  // The rule and the stretch it measures; used by Next()'s thread alone.
  const PoolClocks clocks_;
  InFlight rule_;
  bool measuring_ = false;
  std::size_t stretch_results_ = 0;  // results taken in the stretch
  std::size_t stretch_made_ = 0;     // made_ when it started
  double stretch_start_ = 0;
  double stretch_cpu_ = 0;
  std::vector<Slot> slots_;
  std::atomic<std::size_t> claimed_{0};       // indices handed out to be worked on
  std::atomic<std::size_t> taken_{0};         // results handed out by Next()
  std::atomic<std::size_t> made_{0};          // results made, in any order
  std::atomic<std::size_t> wanted_{kNobody};  // the index whose result wakes Next()
  std::atomic<std::size_t> active_{0};        // threads 0 to active_ - 1 may work; stored
                                              // under mutex_
  std::atomic<int> sleepers_{0};              // threads waiting for room in the window
  // Sleeping, and stopping. The atomics above are stored before and loaded after each other in
  // one total order on both sides (sequentially consistent), so that a thread that has just
  // filled or freed a slot sees a sleeper that could not see it, and wakes it.
  std::mutex mutex_;
  std::condition_variable ready_;   // for Next()
  std::condition_variable room_;    // for threads that wait for room in the window
  std::condition_variable parked_;  // for threads beyond the number that may work
  bool stop_ = false;               // guarded by mutex_
  std::vector<std::thread> threads_;
};

}  // namespace tabrun

#endif  // TABRUN_DRIVER_ORDERED_POOL_H_
