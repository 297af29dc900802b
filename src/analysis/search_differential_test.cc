// The block search of the record reader against the record-by-record reference, over
// thousands of generated batches: both must write the same bytes and keep the same totals.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "analysis/scan_test_util.h"

namespace tabrun {
namespace {

// Records that matter to the scan, near misses, and plain text.
const char* const kPieces[] = {
    "Control file *.pcr: run",
    "Control file *.pcr:",
    "Control file *.pcr ",
    "Normal end",
    "normal end",
    "Normal ending",
    "CPU Time: 12.5 seconds",
    "CPU Time:  3",
    "CPU Time: 1 CPU Time: 2",
    "CPU Time: ,",
    "CPU Tim",
    "Chi2:  1.53  Rp:  8.21",
    "Chi2: 4.0",
    "Rp: 9",
    "RF2 -factor :  5.67",
    "RF2 -factor:",
    "=> Sol#: 1 RF2=   7.53",
    "=> PCR  File  : sa_run",
    "=> PCR File :",
    "12:05 => PCR  File  : x",
    "cycle 12 => R-factors  3.4",
    "",
    "   ",
    "Chi2: 1 Rp: 2 RF2 -factor : 3",
};

std::string RandomRecord(std::mt19937& rng) {
  std::uniform_int_distribution<int> kind(0, 9);
  std::uniform_int_distribution<int> piece(0, sizeof kPieces / sizeof kPieces[0] - 1);
  std::string record;
  switch (kind(rng)) {
    case 0:  // a marker pushed towards, onto or past column 256
      record.assign(std::uniform_int_distribution<int>(225, 260)(rng), '.');
      record += kPieces[piece(rng)];
      break;
    case 1:  // a long record with several pieces
      for (int i = 0; i < 12; ++i) record += std::string(rng() % 40, 'x') + kPieces[piece(rng)];
      break;
    case 2:
    case 3:
    case 4:
      record.assign(rng() % 8, ' ');
      record += kPieces[piece(rng)];
      break;
    default:
      record = "filler " + std::to_string(rng() % 1000);
  }
  if (rng() % 10 == 0) record += '\r';
  return record;
}

std::string RandomLog(std::mt19937& rng) {
  const int count = std::uniform_int_distribution<int>(0, 90)(rng);
  std::string log;
  for (int i = 0; i < count; ++i) log += RandomRecord(rng) + "\n";
  if (!log.empty() && rng() % 4 == 0) log.pop_back();  // no line feed after the last record
  return log;
}

// Scans the logs of one batch in turn and returns everything written plus the totals.
std::string RunBatch(const std::vector<std::string>& logs, SearchMode mode) {
  OutputUnit console("*", "memory");
  OutputUnit results("1", "memory");
  BatchState batch;
  std::string trail;
  for (const std::string& log : logs) {
    RecordReader reader(log, mode);
    std::string bad_text;
    if (ScanLog(reader, FixedText("x.log"), &batch, {console, results}, &bad_text) ==
        ScanResult::kBadCpuValue) {
      trail += "bad cpu value: " + bad_text + "\n";
      break;
    }
  }
  std::uint32_t total_bits;
  std::memcpy(&total_bits, &batch.cpu_total, sizeof total_bits);
  return results.contents() + "|" + console.contents() + "|" + trail + std::to_string(total_bits) +
         " " + std::to_string(batch.failures);
}

TEST(SearchDifferentialTest, BlockSearchMatchesRecordByRecord) {
  std::mt19937 rng(20261121);
  for (int batch = 0; batch < 3000; ++batch) {
    std::vector<std::string> logs(1 + rng() % 4);
    for (std::string& log : logs) log = RandomLog(rng);
    const std::string block = RunBatch(logs, SearchMode::kBlock);
    const std::string reference = RunBatch(logs, SearchMode::kRecordByRecord);
    ASSERT_EQ(block, reference) << "batch " << batch;
  }
}

}  // namespace
}  // namespace tabrun
