#include "report/cell_store.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace tabrun {
namespace {

HtmlReport::Cells Cells(std::string log, RunStatus status, std::vector<std::string> tail,
                        std::optional<double> chi2) {
  RunRow row;
  row.log = std::move(log);
  row.scan.status = status;
  row.scan.control_file = "x.pcr";
  row.scan.figures.chi2 = chi2;
  row.scan.tail = std::move(tail);
  return HtmlReport::Encode(row);
}

// Every part of the cells, to compare.
auto Parts(const HtmlReport::Cells& c) {
  return std::tuple(c.cells.text(), c.cells.starts(), c.status, c.tail, c.tail_json, c.reason,
                    c.last_record, c.figures);
}

void ExpectSame(const HtmlReport::Cells* got, const HtmlReport::Cells& want) {
  ASSERT_NE(got, nullptr) << want.log;
  EXPECT_TRUE(Parts(*got) == Parts(want)) << want.log;
}

// Cells come back as they went in, from blocks and from those waiting to go in, put again and
// dropped; a tail of one empty record stays a tail.
TEST(CellStoreTest, GivesBackEachLogsCellsAsPutAndNoneWhenDropped) {
  const struct {
    CellStore::Slot slot;
    HtmlReport::Cells cells;
  } cases[] = {
      {0, Cells("a.log", RunStatus::kOk, {}, 1.5)},
      {1, Cells("b \"quoted\".log", RunStatus::kBadEnd, {" cycle 1", " => Killed"}, {})},
      {63, Cells("c.log", RunStatus::kNoCpu, {""}, 1e300)},
      {64, Cells("d.log", RunStatus::kUnreadable, {}, {})},
      {1000, Cells("\xe9.log", RunStatus::kRunning, {"\t"}, 0.0)},
  };
  CellStore store;
  for (const auto& c : cases) store.Put(c.slot, c.cells);
  store.Drop(64);
  // Enough others to send them all into their blocks, whatever waits.
  const HtmlReport::Cells filler = Cells(std::string(500, 'f'), RunStatus::kOk, {}, 2.0);
  for (CellStore::Slot slot = 2000; slot < 2000 + 4 * CellStore::kPendingBytes / 500; ++slot) {
    store.Put(slot, filler);
  }
  for (const bool again : {false, true}) {
    for (const auto& c : cases) {
      if (c.slot == 64) {
        EXPECT_EQ(store.Get(64), nullptr);
      } else {
        ExpectSame(store.Get(c.slot), c.cells);
      }
    }
    EXPECT_EQ(store.Get(2), nullptr);
    EXPECT_EQ(store.Get(999'999), nullptr);
    ExpectSame(store.Get(2001), filler);
    // Put again, each waits apart from its block until the next flush.
    if (!again) store.Put(1, cases[1].cells);
  }
}

}  // namespace
}  // namespace tabrun
