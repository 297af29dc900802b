#include "driver/in_flight.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tabrun {
namespace {

// A file system in which `level` reads at once give rate(level) results a second while the
// process keeps `busy` of its CPUs busy.
struct Model {
  double (*rate)(int level);
  double busy;
};

// The levels after each of `stretches` stretches, as "2 4 4 8".
std::string Levels(InFlight& rule, int cpus, const Model& model, int stretches) {
  std::string levels;
  for (int i = 0; i < stretches; ++i) {
    InFlight::Stretch stretch;
    stretch.results = rule.StretchResults();
    stretch.seconds = static_cast<double>(stretch.results) / model.rate(rule.level());
    stretch.cpu_seconds = model.busy * stretch.seconds * cpus;
    levels += (levels.empty() ? "" : " ") + std::to_string(rule.Next(stretch));
  }
  return levels;
}

// Reads that take 10 us (a warm cache), or 10 ms unless a server makes them wait longer.
double Quick(int level) { return 1e5 * level; }
double Latency(int level) { return 100.0 * level; }              // each read waits alone
double Server(int level) { return 100.0 * std::min(level, 8); }  // a server of 8 at once
double Flat(int) { return 100.0; }                               // one at a time
double JustPays(int level) { return level == 2 ? 100.0 : 100.0 * InFlight::kPays * 1.001; }
double AlmostPays(int level) { return level == 2 ? 100.0 : 100.0 * InFlight::kPays * 0.999; }

// A level that changed is followed by one stretch that is not judged: it repeats the level.
TEST(InFlightTest, GrowsWhileMoreReadsPayAndTheCpusWait) {
  const struct {
    int cpus, most;
    double (*rate)(int level);
    double busy;
    int stretches;
    const char* levels;
    const char* what;
  } kCases[] = {
      {2, 64, Latency, 0.1, 12, "4 4 8 8 16 16 32 32 64 64 64 64", "latency alone: to the most"},
      {2, 24, Latency, 0.1, 8, "4 4 8 8 16 16 24 24", "the most is not a power of two"},
      {8, 3, Latency, 0.1, 3, "3 3 3", "fewer jobs than CPUs: never more"},
      {2, 64, Latency, 0.5, 3, "2 2 2", "the CPUs half busy: the reads wait on them"},
      {2, 64, Latency, 0.49, 2, "4 4", "just under half busy"},
      {2, 64, JustPays, 0.1, 4, "4 4 8 8", "a step that pays exactly kPays is kept"},
      {2, 64, AlmostPays, 0.1, 12, "4 4 2 2 2 2 2 2 4 4 2 2",
       "one that pays less is taken back, then tried after 4 stretches"},
      {1, 64, Server, 0.1, 28, "2 2 4 4 8 8 16 16 8 8 8 8 8 8 16 16 8 8 8 8 8 8 8 8 8 8 16 16",
       "a server of 8: tries 16 after 4, then 8, then 16 stretches"},
      {2, 64, Flat, 0.1, 4, "4 4 2 2", "one read at a time: back to the start"},
      {2, 64, Quick, 0.1, 10, "2 2 2 2 2 2 4 4 4 8",
       "too quick to tell: 16 results, then 32, ... until they last 5 ms"},
  };
  for (const auto& c : kCases) {
    InFlight rule(c.cpus, c.most);
    EXPECT_EQ(Levels(rule, c.cpus, {c.rate, c.busy}, c.stretches), c.levels) << c.what;
  }
}

TEST(InFlightTest, HalvesToTheStartWhenTheCpusAreBusy) {
  // The cache was cold: the reads waited on the disk, and more of them paid.
  InFlight rule(2, 16);
  EXPECT_EQ(Levels(rule, 2, {Latency, 0.1}, 7), "4 4 8 8 16 16 16");
  InFlight kept = rule;
  // Now it is warm: the CPUs are the limit, and threads beyond them only cost switches.
  EXPECT_EQ(Levels(rule, 2, {Flat, 0.9}, 7), "8 8 4 4 2 2 2");
  EXPECT_EQ(Levels(kept, 2, {Flat, 0.89}, 2), "16 16") << "busy, but less than kBusy";
}

}  // namespace
}  // namespace tabrun
