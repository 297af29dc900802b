#include "analysis/watch_rules.h"

#include <gtest/gtest.h>

#include "testing/memory_log.h"

namespace tabrun {
namespace {

constexpr char kOrdinary[] = " Control file *.pcr: r\n";

TEST(WatchRulesTest, OutcomeIsReachedOnlyWhenWritingOnCannotChangeIt) {
  const struct {
    std::string log;
    bool reached;
  } cases[] = {
      {std::string(kOrdinary) + " Normal end\n CPU Time: 12.5 s\n", true},
      // The CPU record is still being written: "12" may become "12.5".
      {std::string(kOrdinary) + " Normal end\n CPU Time: 12", false},
      {std::string(kOrdinary) + " Normal end\n CPU Time:", false},
      // Its line feed came: a CPU value that is no number stays so.
      {std::string(kOrdinary) + " Normal end\n CPU Time: x\n", true},
      // Complete, with a record being written after it.
      {std::string(kOrdinary) + " Normal end\n CPU Time: 12.5 s\n trailing", true},
      {std::string(kOrdinary) + " Normal end\n", false},
      {std::string(kOrdinary) + " cycle 3\n", false},
      {std::string(kOrdinary) + " cycle 3", false},
      {"", false},
      {" Reading the data\n", false},
      {std::string(kOrdinary) + " => Abnormal end of run: singular matrix\n", true},
      {std::string(kOrdinary) + " cycle 3\n Killed\n", true},
  };
  for (const auto& c : cases) {
    MemoryLog log(c.log);
    EXPECT_EQ(ReachedOutcome(ScanLog(log.text, {.rows = true})), c.reached) << c.log;
  }
}

TEST(WatchRulesTest, RunningEndsWhenTheWindowHasPassedSinceTheLastChange) {
  EXPECT_TRUE(StillRunning(1000, 1119, 120));
  EXPECT_FALSE(StillRunning(1000, 1120, 120));
  EXPECT_TRUE(StillRunning(1000, 990, 120));  // a file server's clock ahead of ours
}

TEST(WatchRulesTest, ChangedStampsAreReadAgainAndRewritesTakeBackWhatWasSaid) {
  const FileStamp seen{100, 50, 7};
  const struct {
    FileStamp now;
    bool read, rewritten;
  } cases[] = {
      {{100, 50, 7}, false, false},
      {{120, 50, 7}, true, false},
      {{100, 51, 7}, true, false},
      {{80, 51, 7}, true, true},
      {{100, 50, 8}, true, true},
      // A listing tells the size and the time alone.
      {{100, 50, 0}, false, true},
      {{101, 50, 0}, true, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NeedsReading(seen, c.now), c.read) << c.now.size << " " << c.now.identity;
    EXPECT_EQ(Rewritten(seen, c.now), c.rewritten) << c.now.size << " " << c.now.identity;
  }
}

TEST(WatchRulesTest, IdentityKeysTellFilesApartAndZeroIsNotKnown) {
  EXPECT_EQ(IdentityKey({}), 0u);
  const os::FileIdentity identities[] = {{0, 1}, {0, 2}, {1, 0}, {1, 1}, {2, 1}, {1, 2}, {2, 0}};
  for (const os::FileIdentity& a : identities) {
    EXPECT_NE(IdentityKey(a), 0u) << a.device << ":" << a.inode;
    for (const os::FileIdentity& b : identities) {
      EXPECT_EQ(IdentityKey(a) == IdentityKey(b), a == b) << a.device << ":" << a.inode;
    }
  }
}

TEST(WatchRulesTest, EventsSayWhatChangedOnce) {
  using S = RunStatus;
  using E = RunEvent;
  const struct {
    bool had;
    S before;
    bool has;
    S after;
    bool rewritten;
    E event;
  } cases[] = {
      {false, S::kOk, true, S::kRunning, false, E::kStarted},
      {false, S::kOk, true, S::kOk, false, E::kFinished},
      {false, S::kOk, true, S::kBadEnd, false, E::kFailed},
      {true, S::kRunning, true, S::kRunning, false, E::kNone},
      {true, S::kRunning, true, S::kOk, false, E::kFinished},
      {true, S::kRunning, true, S::kBadEnd, false, E::kFailed},  // it stopped changing
      {true, S::kOk, true, S::kOk, false, E::kNone},             // a blank line appended
      {true, S::kOk, true, S::kOk, true, E::kFinished},          // restarted and ended again
      {true, S::kOk, true, S::kRunning, false, E::kStarted},
      {true, S::kBadEnd, true, S::kOk, false, E::kFinished},
      {true, S::kOk, false, S::kOk, false, E::kGone},
      {false, S::kOk, false, S::kOk, false, E::kNone},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EventOf(c.had, c.before, c.has, c.after, c.rewritten), c.event)
        << c.had << static_cast<int>(c.before) << c.has << static_cast<int>(c.after) << c.rewritten;
  }
}

}  // namespace
}  // namespace tabrun
