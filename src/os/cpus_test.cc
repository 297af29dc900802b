#include "os/cpus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace tabrun::os {
namespace {

TEST(CpusTest, ProcessCpuTimeCountsWorkAndNotWaiting) {
  const double start = ProcessCpuSeconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const double slept = ProcessCpuSeconds() - start;
  EXPECT_LT(slept, 0.1) << "a sleep of 0.3 s counted as CPU time";

  // Work until the CPU time has moved on by 50 ms; on a busy machine that takes longer.
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  volatile unsigned spin = 0;
  while (ProcessCpuSeconds() - start - slept < 0.05 && std::chrono::steady_clock::now() < give_up) {
    for (int i = 0; i < 100000; ++i) spin = spin + 1;
  }
  EXPECT_GE(ProcessCpuSeconds() - start - slept, 0.05) << "10 s of work counted no CPU time";
}

}  // namespace
}  // namespace tabrun::os
