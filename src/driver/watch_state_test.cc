#include "driver/watch_state.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

RunRow Row(const char* log, RunStatus status, std::int64_t modified, bool running,
           std::optional<double> chi2 = {}) {
  RunRow row;
  row.log = log;
  row.scan.status = status;
  row.scan.figures.chi2 = chi2;
  row.modified = modified;
  row.running = running;
  return row;
}

std::uint64_t Count(const WatchState& state, RunStatus status) {
  return state.counts()[static_cast<std::size_t>(status)];
}

// A batch followed on a clock of its own: two runs ended before the watch, one runs, then
// stops changing, one is restarted and one is deleted; each is counted once.
TEST(WatchStateTest, CountsEachRunOnceThroughItsLife) {
  WatchState state(120);
  std::vector<WatchEvent> events;
  const WatchState::Slot a = state.Add();
  const WatchState::Slot b = state.Add();
  const WatchState::Slot c = state.Add();
  const FileStamp stamp_a{10, 900, 1};
  state.Apply(a, Row("a.log", RunStatus::kOk, 900, false, 2.5), stamp_a, 1000, true, &events);
  state.Apply(b, Row("b.log", RunStatus::kOk, 900, false, 1.5), {10, 900, 2}, 1000, true, &events);
  state.Apply(c, Row("c.log", RunStatus::kBadEnd, 990, true), {5, 990, 3}, 1000, true, &events);
  EXPECT_TRUE(events.empty());  // the first look tells nothing
  EXPECT_EQ(Count(state, RunStatus::kOk), 2u);
  EXPECT_EQ(Count(state, RunStatus::kRunning), 1u);
  EXPECT_EQ(state.best()[0].log, "b.log");
  EXPECT_FALSE(state.NeedsRead(a, stamp_a));
  EXPECT_TRUE(state.NeedsRead(a, {11, 900, 1}));

  EXPECT_TRUE(state.Due(1109).empty());
  EXPECT_EQ(state.Due(1110), std::vector<WatchState::Slot>{c});
  state.Apply(c, Row("c.log", RunStatus::kBadEnd, 990, false), {5, 990, 3}, 1110, false, &events);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].event, RunEvent::kFailed);
  EXPECT_EQ(Count(state, RunStatus::kRunning), 0u);
  EXPECT_EQ(Count(state, RunStatus::kBadEnd), 1u);
  ASSERT_EQ(state.recent_failures().size(), 1u);
  EXPECT_TRUE(state.Due(5000).empty());

  // Restarted: it runs again, and is no recent failure any more.
  state.Apply(c, Row("c.log", RunStatus::kBadEnd, 1115, true), {2, 1115, 4}, 1115, false, &events);
  EXPECT_EQ(events.back().event, RunEvent::kStarted);
  EXPECT_TRUE(state.recent_failures().empty());
  EXPECT_EQ(Count(state, RunStatus::kBadEnd), 0u);

  state.Remove(b, "b.log", &events);
  EXPECT_EQ(events.back().event, RunEvent::kGone);
  EXPECT_EQ(state.logs(), 2u);
  EXPECT_EQ(Count(state, RunStatus::kOk), 1u);
  EXPECT_EQ(state.Add(), b);  // its slot serves the next new log
  EXPECT_EQ(state.logs(), 2u);

  EXPECT_EQ(state.ended(), 1u);
  EXPECT_EQ(state.EndedWithinMinute(1169), 1u);
  EXPECT_EQ(state.EndedWithinMinute(1170), 0u);
}

}  // namespace
}  // namespace tabrun
