#include "analysis/log_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "testing/memory_log.h"

namespace tabrun {
namespace {

// What the summary and the rows say of logs at the edges of the scan's rules, and the figures as
// the logs write them, are checked end to end (tests/cases/scan_records_summary,
// scan_records_rows, scan_figures_rows); the log_scan fuzzer has those logs in its corpus and
// checks that a window of the smallest size reads them as a wide one.

// A byte source that counts what it gives, and that can be cut short behind the reader's back.
class CountedBytes : public MemoryBytes {
 public:
  using MemoryBytes::MemoryBytes;
  std::size_t ReadAt(std::uint64_t offset, char* out, std::size_t length, bool* cold) override {
    const std::uint64_t have = offset < cut ? std::min<std::uint64_t>(length, cut - offset) : 0;
    const std::size_t got = MemoryBytes::ReadAt(offset, out, static_cast<std::size_t>(have), cold);
    read += got;
    return got;
  }
  std::uint64_t read = 0;
  std::uint64_t cut = ~std::uint64_t{0};
};

// A failed log that ends in a great many empty records is read a few times over, not once per
// record: its last record, its reason and its tail come from one pass back over the blanks.
TEST(LogScanTest, BlankTailReadOnce) {
  for (const std::string blank : {"\n", "  \r\n"}) {
    std::string text = " => Control file *.pcr: r\n => Abnormal end of run\n";
    for (int i = 0; i < 200'000; ++i) text += blank;
    CountedBytes bytes(text);
    LogText log;
    log.Open(bytes);
    const RunScan scan = ScanLog(log, {.rows = true, .tail_records = 20});
    EXPECT_EQ(scan.failure_record, "=> Abnormal end of run");
    EXPECT_EQ(scan.tail.size(), 20u);
    EXPECT_LE(bytes.read, 3 * text.size() + 4 * LogText::kDefaultWindow) << bytes.read;
  }
}

// A log cut short while it is read ends where its bytes stopped, for every search: the scan
// gives what the bytes read can give, never a line that is not there. The reader has read the
// first window before the cut; undisturbed, the log has no CPU time.
TEST(LogScanTest, LogCutShortWhileRead) {
  std::string records;
  for (int i = 0; i < 40; ++i) records += " filler\n";
  const std::string head = " Control file *.pcr: big\n" + records;
  std::string text = head + " Normal end\n";
  for (int i = 0; i < 50; ++i) text += records;
  for (const auto& [length, expected] : {std::pair<std::size_t, RunStatus>{0, RunStatus::kBadEnd},
                                         {head.size() + 5, RunStatus::kBadEnd},
                                         {head.size() + 12, RunStatus::kNoCpu},
                                         {text.size(), RunStatus::kNoCpu}}) {
    CountedBytes bytes(text);
    LogText log(LogText::kMinWindow);
    log.Open(bytes);
    log.Record(0);
    bytes.cut = length;
    const RunScan scan = ScanLog(log);
    EXPECT_EQ(scan.status, expected) << length;
    EXPECT_EQ(scan.control_file, "big.pcr") << length;
  }
}

}  // namespace
}  // namespace tabrun
