// Fuzzer for the worker pool over a batch: the input, split at NUL bytes, is a batch of logs
// that 1 to 4 threads scan with windows of their own while the writer takes the scans in order
// through a window of 1 to 8; every scan must be the one a single thread makes. Now and then the
// writer gives up part way, as on a fatal log, and the pool must stop without hanging.

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "analysis/log_scan.h"
#include "driver/ordered_pool.h"
#include "testing/memory_log.h"

namespace {

// Some fields of a scan that the summary and the rows use.
std::string Describe(const tabrun::RunScan& s) {
  return std::to_string(static_cast<int>(s.status)) + s.control_file + '|' + s.cpu_value_text +
         '|' + s.cpu_text + '|' + s.result_text + '|' + s.last_record + '|' +
         std::to_string(static_cast<int>(s.reason)) + s.failure_record + '|' +
         std::to_string(s.figures.chi2.value_or(-1)) + std::to_string(s.figures.rf2.value_or(-1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size < 2) return 0;
  const int jobs = 1 + bytes[0] % 4;
  const std::size_t ahead = 1 + bytes[1] % 8;
  const std::string_view data(reinterpret_cast<const char*>(bytes) + 2, size - 2);
  const tabrun::ScanWants wants{.rows = true, .tail_records = 0};
  std::vector<tabrun::MemoryBytes> logs;
  std::vector<std::string> want;
  for (std::size_t at = 0, end; at <= data.size() && logs.size() < 64; at = end + 1) {
    end = std::min(data.find('\0', at), data.size());
    tabrun::MemoryLog log(data.substr(at, end - at));
    logs.emplace_back(data.substr(at, end - at));
    want.push_back(Describe(tabrun::ScanLog(log.text, wants)));
  }
  std::vector<tabrun::LogText> texts(static_cast<std::size_t>(jobs));
  tabrun::OrderedPool<std::string> pool(
      logs.size(), jobs,
      [&](std::size_t index, int worker) {
        tabrun::LogText& text = texts[static_cast<std::size_t>(worker)];
        text.Open(logs[index]);
        return Describe(tabrun::ScanLog(text, wants));
      },
      ahead);
  const std::size_t take = bytes[1] & 8 ? logs.size() / 2 : logs.size();
  for (std::size_t i = 0; i < take; ++i) {
    const std::string got = pool.Next();
    if (got != want[i]) {
      std::cerr << "log " << i << " of " << logs.size() << ", " << jobs << " jobs: got \"" << got
                << "\", want \"" << want[i] << "\"\n";
      std::abort();
    }
  }
  return 0;
}
