#include "report/watch_view.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

WatchSummary Example() {
  WatchSummary summary;
  summary.clock = "17:24:11";
  summary.paths = {"runs"};
  summary.logs = 120;
  summary.counts[static_cast<std::size_t>(RunStatus::kOk)] = 100;
  summary.counts[static_cast<std::size_t>(RunStatus::kRunning)] = 8;
  summary.counts[static_cast<std::size_t>(RunStatus::kBadEnd)] = 9;
  summary.counts[static_cast<std::size_t>(RunStatus::kNoCpu)] = 2;
  summary.counts[static_cast<std::size_t>(RunStatus::kUnreadable)] = 1;
  summary.ended = 40;
  summary.ended_within_minute = 3;
  summary.best = {
      {{"chi2", 1.53, "runs/cu2o_rt.log"}, {"rwp", {}, {}}, {"rf2", 5.12, "runs/x.log"}}};
  summary.failures = {{"runs/T5K.log", RunStatus::kBadEnd, "=> Abnormal end of run: singular"},
                      {"runs/T\xCE\xB1.log", RunStatus::kNoCpu, ""}};
  return summary;
}

TEST(WatchViewTest, ViewFitsTheTerminal) {
  const std::vector<std::string> all = {
      "tabrun --watch runs   17:24:11",
      "120 logs: 8 running, 100 ok, 12 failed",
      "failed: no_cpu 2, bad_end 9, unreadable 1",
      "ended: 3 in the last minute, 40 since the start",
      "best chi2 1.53 runs/cu2o_rt.log",
      "best rf2 5.12 runs/x.log",
      "newest failures:",
      "bad_end runs/T5K.log: => Abnormal end of run: singular",
      "no_cpu runs/T\xCE\xB1.log",
  };
  EXPECT_EQ(ViewLines(Example(), 24, 80), all);
  // Cut to 4 rows of 15 columns; a character of two bytes is not cut in half.
  EXPECT_EQ(ViewLines(Example(), 4, 15),
            (std::vector<std::string>{"tabrun --watch ", "120 logs: 8 run", "failed: no_cpu ",
                                      "ended: 3 in the"}));
  EXPECT_EQ(ViewLines(Example(), 24, 13).back(), "no_cpu runs/T");
  EXPECT_EQ(ViewLines(Example(), 24, 15).back(), "no_cpu runs/T\xCE\xB1");
  // Nothing failed and nothing ok yet: the lines that would say nothing are left out.
  WatchSummary quiet;
  quiet.clock = "00:00:00";
  quiet.notes = {"'runs': cannot read the directory: No such file or directory"};
  EXPECT_EQ(
      ViewLines(quiet, 24, 80),
      (std::vector<std::string>{"tabrun --watch   00:00:00",
                                "'runs': cannot read the directory: No such file or directory",
                                "0 logs: 0 running, 0 ok, 0 failed",
                                "ended: 0 in the last minute, 0 since the start"}));
}

TEST(WatchViewTest, ScreenAndLines) {
  EXPECT_EQ(ViewScreen({"a", "b"}), "\x1b[Ha\x1b[K\r\nb\x1b[K\x1b[J");
  const struct {
    WatchEvent event;
    const char* line;
  } cases[] = {
      {{RunEvent::kStarted, RunStatus::kRunning, "r/T1.log", ""}, "12:00:00 started r/T1.log\n"},
      {{RunEvent::kFinished, RunStatus::kOk, "r/T1.log", ""}, "12:00:00 finished r/T1.log\n"},
      {{RunEvent::kFailed, RunStatus::kBadEnd, "r/T\n.log", "why"},
       "12:00:00 failed r/T\\n.log bad_end: why\n"},
      {{RunEvent::kFailed, RunStatus::kNoCpu, "r/T1.log", ""}, "12:00:00 failed r/T1.log no_cpu\n"},
      {{RunEvent::kGone, RunStatus::kOk, "r/T1.log", ""}, "12:00:00 gone r/T1.log\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(EventLine(c.event, "12:00:00"), c.line) << c.line;
  EXPECT_EQ(CountsLine(Example()), "17:24:11 120 logs: 8 running, 100 ok, 12 failed\n");
}

}  // namespace
}  // namespace tabrun
