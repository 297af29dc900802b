#include "driver/ordered_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace tabrun {
namespace {

// Results come back in order, at most `ahead` of them are made or wait at any time, and a pool
// given up early stops without hanging.
TEST(OrderedPoolTest, InOrderWithinTheWindow) {
  struct Case {
    std::size_t count;
    int jobs;
    std::size_t ahead;
    std::size_t take;  // how many results are taken before the pool is given up
  } cases[] = {
      {0, 2, 4, 0},     {1, 4, 256, 1},    {100, 1, 256, 100}, {1000, 3, 2, 1000},
      {1000, 8, 5, 1000}, {300, 2, 1, 300}, {1000, 4, 3, 7},
  };
  for (const Case& c : cases) {
    std::atomic<std::size_t> started{0}, taken{0}, most_in_flight{0};
    std::atomic<int> workers_seen{0};
    {
      OrderedPool<std::size_t> pool(
          c.count, c.jobs,
          [&](std::size_t index, int worker) {
            const std::size_t in_flight = ++started - taken.load();
            for (std::size_t m = most_in_flight; in_flight > m;) {
              most_in_flight.compare_exchange_weak(m, in_flight);
            }
            workers_seen.fetch_or(1 << worker);
            if (index % 7 == 0) std::this_thread::yield();
            return index;
          },
          c.ahead);
      for (std::size_t i = 0; i < c.take; ++i) {
        EXPECT_EQ(pool.Next(), i) << c.count << " " << c.jobs << " " << c.ahead;
        ++taken;
      }
    }
    // One more: the result just handed out is counted as taken only once Next() has returned.
    EXPECT_LE(most_in_flight.load(), c.ahead + 1) << c.count << " " << c.jobs << " " << c.ahead;
    EXPECT_LT(workers_seen.load(), 1 << c.jobs);
  }
}

}  // namespace
}  // namespace tabrun
