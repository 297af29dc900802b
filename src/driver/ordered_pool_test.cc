#include "driver/ordered_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tabrun {
namespace {

void Wait(int microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

// Clocks in which the CPUs are `busy` of the time and stretch k lasts seconds(k) seconds.
PoolClocks Scripted(double (*seconds)(int stretch), double busy) {
  auto calls = std::make_shared<int>(0);
  auto now = std::make_shared<double>(0);
  // The pool reads the time at the start and at the end of each stretch.
  auto time = [=] {
    if ((*calls)++ % 2 == 1) *now += seconds(*calls / 2);
    return *now;
  };
  return {time, [=] { return busy * *now * 2; }, 2};
}
double Faster(int stretch) { return 1.0 / (1 << stretch); }  // results come ever faster
double Same(int) { return 1; }

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
        [&](std::size_t index, int worker) {
          EXPECT_TRUE(worker >= 0 && worker < c.jobs);
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

// Which workers did the work of each index, with the given clocks.
std::vector<int> Workers(int jobs, std::size_t count, const PoolClocks& clocks) {
  std::vector<int> workers;
  OrderedPool<int> pool(
      count, jobs,
      [](std::size_t, int worker) {
        Wait(1000);  // waits, as on a file system; a millisecond, the least Windows sleeps
        return worker;
      },
      OrderedPool<int>::kAhead, clocks);
  for (std::size_t i = 0; i < count; ++i) workers.push_back(pool.Next());
  return workers;
}

TEST(OrderedPoolTest, MoreWorkersWhileTheyWaitAndMorePays) {
  const std::vector<int> workers = Workers(8, 400, Scripted(Faster, 0.1));
  const std::set<int> all(workers.begin(), workers.end());
  EXPECT_EQ(all.size(), 8u) << "the 7 threads and the caller all worked";
}

TEST(OrderedPoolTest, NoMoreWorkersThanCpusWhileTheCpusAreBusy) {
  const std::vector<int> workers = Workers(8, 300, Scripted(Faster, 0.6));
  EXPECT_EQ(std::set<int>(workers.begin(), workers.end()), (std::set<int>{0, 7}))
      << "one thread beside the caller on 2 CPUs";
}

TEST(OrderedPoolTest, WorkersThatDidNotPayStop) {
  const std::vector<int> workers = Workers(8, 1000, Scripted(Same, 0.1));
  // 2 reads, then 4 that took as long: back to 2, and 4 only for a stretch now and then.
  const auto others = std::count_if(workers.begin(), workers.end(),
                                    [](int worker) { return worker != 0 && worker != 7; });
  EXPECT_GT(others, 0) << "4 were tried";
  EXPECT_LT(others, 100) << "threads 1 and 2 went on working";
}

}  // namespace
}  // namespace tabrun
