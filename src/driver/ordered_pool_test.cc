#include "driver/ordered_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace tabrun {
namespace {

void Wait(int microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

TEST(OrderedPoolTest, ResultsComeInOrderWhateverTheJobsAndTheWindow) {
  const struct {
    int jobs;
    std::size_t ahead, count;
  } kCases[] = {{1, 256, 300},  {2, 1, 300},   {3, 2, 300}, {8, 3, 500},
                {8, 256, 2000}, {64, 7, 1000}, {4, 256, 0}, {4, 256, 1}};
  for (const auto& c : kCases) {
    std::vector<std::atomic<int>> calls(c.count);
    OrderedPool<std::string> pool(
        c.count, c.jobs,
        [&](std::size_t index, int) {
          ++calls[index];
          if (index % 13 == 0) Wait(index % 3 * 1000);  // uneven work
          return std::to_string(index);
        },
        c.ahead);
    for (std::size_t i = 0; i < c.count; ++i) {
      ASSERT_EQ(pool.Next(), std::to_string(i)) << c.jobs << " jobs, ahead " << c.ahead;
    }
    for (std::size_t i = 0; i < c.count; ++i) ASSERT_EQ(calls[i], 1) << "index " << i;
  }
}

TEST(OrderedPoolTest, NoMoreThanAheadResultsWaitForASlowWriter) {
  constexpr std::size_t kAhead = 8;
  std::atomic<std::size_t> returned{0}, furthest{0};
  std::atomic<bool> writer_sleeps{false};  // then `returned` is what Next() has counted
  OrderedPool<std::size_t> pool(
      400, 6,
      [&](std::size_t index, int) {
        const std::size_t lead = index - returned.load();
        for (std::size_t seen = furthest.load(); writer_sleeps.load() && lead > seen;) {
          furthest.compare_exchange_weak(seen, lead);
        }
        return index;
      },
      kAhead);
  for (std::size_t i = 0; i < 400; ++i) {
    ASSERT_EQ(pool.Next(), i);
    returned.store(i + 1);
    if (i % 50 != 0) continue;
    writer_sleeps.store(true);
    Wait(2000);
    writer_sleeps.store(false);
  }
  EXPECT_EQ(furthest.load(), kAhead - 1)
      << "the window holds the result taken last and " << kAhead - 1 << " more";
}

TEST(OrderedPoolTest, WhatWorkThrowsComesAtItsTurn) {
  for (const int jobs : {1, 2, 8}) {
    std::atomic<std::size_t> calls{0};
    OrderedPool<std::size_t> pool(1000, jobs, [&](std::size_t index, int) {
      ++calls;
      if (index == 37) throw std::bad_alloc();
      return index;
    });
    // With threads, one of them meets the failure, before Next() works on anything itself.
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (jobs > 1 && calls.load() <= 37 && std::chrono::steady_clock::now() < give_up) {
      Wait(1000);
    }
    for (std::size_t i = 0; i < 37; ++i) ASSERT_EQ(pool.Next(), i) << jobs << " jobs";
    EXPECT_THROW(pool.Next(), std::bad_alloc) << jobs << " jobs";
  }
}

TEST(OrderedPoolTest, StopsEarlyOnceTheWorkInHandIsDone) {
  std::atomic<int> working{0}, calls{0};
  {
    OrderedPool<int> pool(100000, 8, [&](std::size_t, int) {
      ++working, ++calls;
      Wait(100);
      return --working;
    });
    for (int i = 0; i < 10; ++i) pool.Next();
  }
  EXPECT_EQ(working.load(), 0);
  const int after = calls.load();
  Wait(5000);
  EXPECT_EQ(calls.load(), after) << "work went on after the pool was gone";
  EXPECT_LT(after, 1000);
}

// A file system on a clock of its own: each read moves it on by read_seconds(k) seconds, where k
// is the number of stretches the pool has ended, as if the reads came one after another; the
// process keeps `busy` of its 2 CPUs busy.
class FakeFileSystem {
 public:
  FakeFileSystem(double (*read_seconds)(int stretches), double busy)
      : read_seconds_(read_seconds), busy_(busy) {}

  PoolClocks Clocks() {
    // The pool reads the time when it starts and twice at the end of each stretch.
    return {[this] { return ++calls_, Now(); }, [this] { return busy_ * Now() * 2; }, 2};
  }
  // How many of `count` indices each worker did, at most `jobs` at once.
  std::map<int, int> Workers(int jobs, std::size_t count) {
    std::map<int, int> workers;
    OrderedPool<int> pool(
        count, jobs,
        [this](std::size_t, int worker) {
          Wait(1000);  // so that every thread that may work gets some; the least Windows sleeps
          nanoseconds_ += static_cast<long long>(read_seconds_((calls_ - 1) / 2) * 1e9);
          return worker;
        },
        OrderedPool<int>::kAhead, Clocks());
    for (std::size_t i = 0; i < count; ++i) ++workers[pool.Next()];
    return workers;
  }

 private:
  double Now() const { return static_cast<double>(nanoseconds_.load()) * 1e-9; }

  double (*const read_seconds_)(int);
  const double busy_;
  std::atomic<long long> nanoseconds_{0};
  std::atomic<int> calls_{0};
};
double Faster(int stretches) { return 1.0 / (1 << std::min(stretches, 20)); }
double Same(int) { return 0.01; }  // one read at a time, whatever the number in flight

TEST(OrderedPoolTest, WorkersGrowOnlyWhileMoreReadsPayAndTheCpusWait) {
  EXPECT_EQ(FakeFileSystem(Faster, 0.1).Workers(8, 400).size(), 8u)
      << "the 7 threads and the caller all worked";
  const std::map<int, int> busy = FakeFileSystem(Faster, 0.6).Workers(8, 300);
  EXPECT_EQ(busy.size(), 2u) << "one thread beside the caller on 2 CPUs";
  EXPECT_TRUE(busy.contains(0) && busy.contains(7));
  // Reads that take as long at 4 as at 2: back to 2, and 4 only for a stretch now and then.
  std::map<int, int> same = FakeFileSystem(Same, 0.1).Workers(8, 1000);
  const int others = 1000 - same[0] - same[7];
  EXPECT_GT(others, 0) << "4 were tried";
  EXPECT_LT(others, 100) << "threads 1 and 2 went on working";
}

}  // namespace
}  // namespace tabrun
