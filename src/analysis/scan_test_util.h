// Helpers for the tests of the log scan: logs built from numbered records, and the scan run
// over them into memory streams.

#ifndef TABRUN_ANALYSIS_SCAN_TEST_UTIL_H_
#define TABRUN_ANALYSIS_SCAN_TEST_UTIL_H_

#include <map>
#include <string>

#include "analysis/log_scan.h"
#include "recio/output_unit.h"

namespace tabrun {

// A log of `count` records: record n is records[n] when given, "filler n" otherwise.
inline std::string NumberedLog(const std::map<int, std::string>& records, int count) {
  std::string text;
  for (int n = 1; n <= count; ++n) {
    const auto it = records.find(n);
    text += it != records.end() ? it->second : "filler " + std::to_string(n);
    text += '\n';
  }
  return text;
}

// `text` padded with blanks to `width`.
inline std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

// The log.res line of a run summary whose run text is `run_text`.
inline std::string SummaryLine(const std::string& run_text) {
  return " => " + Padded(run_text, 256) + "\n";
}

struct ScanOutput {
  ScanResult result;
  std::string bad_text;
  std::string results;
  std::string console;
  BatchState batch;
};

inline ScanOutput ScanText(const std::string& log, SearchMode mode = SearchMode::kBlock,
                           BatchState batch = {}, const std::string& log_name = "run.log") {
  OutputUnit console("*", "memory");
  OutputUnit results("1", "memory");
  RecordReader reader(log, mode);
  ScanOutput out;
  out.result = ScanLog(reader, FixedText(log_name), &batch, {console, results}, &out.bad_text);
  out.results = results.contents();
  out.console = console.contents();
  out.batch = batch;
  return out;
}

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_SCAN_TEST_UTIL_H_
