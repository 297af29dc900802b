// Fuzzer for the log reader and the scan: one log in memory, read through a window a few bytes
// over the smallest, each call checked against a plain split into records, the scan against a
// wide window, and the summary's part of it against a scan for the summary alone.

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "analysis/log_scan.h"
#include "analysis/markers.h"
#include "testing/memory_log.h"

namespace tabrun {

constexpr std::string_view kMarkers[] = {markers::kControlFile,  markers::kNormalEnd,
                                         markers::kCpuTime,      markers::kChi2,
                                         markers::kRp,           markers::kRf2,
                                         markers::kBestSolution, markers::kAnnealingControlFile};

template <typename T>
void Expect(const char* call, std::uint64_t from, const T& got, const T& want) {
  if (got == want) return;
  std::cerr << call << " from " << from << ": got \"" << got << "\", want \"" << want << "\"\n";
  std::abort();
}

// Every field, one a line: no record holds a line feed.
static std::string Describe(const RunScan& s) {
  std::ostringstream out;
  out << static_cast<int>(s.status) << static_cast<int>(s.kind) << static_cast<int>(s.result_label)
      << static_cast<int>(s.reason) << s.cpu_single.has_value()
      << std::bit_cast<std::uint32_t>(s.cpu_single.value_or(0)) << s.cpu_seconds.has_value()
      << std::bit_cast<std::uint64_t>(s.cpu_seconds.value_or(0));
  const Figures& f = s.figures;
  for (auto figure : {f.chi2, f.rp, f.rwp, f.rexp, f.rf2, f.rf2w, f.rf})
    out << ' ' << figure.has_value() << std::bit_cast<std::uint64_t>(figure.value_or(0));
  for (auto t : {s.control_file, s.cpu_value_text, s.cpu_text, s.result_text, s.last_record,
                 s.failure_record})
    out << '\n' << t;
  for (const std::string& t : s.tail) out << '\n' << t;
  return out.str();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view data(reinterpret_cast<const char*>(bytes), size);
  // The log split the plain way: record i starts at start[i] and shows padded[i] in its first
  // kRecordLength columns; start[n] is the end of the text.
  std::vector<std::uint64_t> start;
  std::vector<std::string> padded;
  for (std::size_t at = 0, lf; at < size; at = lf + 1) {
    lf = std::min(data.find('\n', at), size);
    std::string_view record = data.substr(at, lf - at);
    if (lf < size && record.ends_with('\r')) record.remove_suffix(1);
    start.push_back(at);
    padded.emplace_back(record.substr(0, kRecordLength)).resize(kRecordLength, ' ');
  }
  const std::size_t n = padded.size();
  start.push_back(size);

  // The window, and for four walks from hit to hit as the scan goes three markers (repeats
  // allowed), a number of records to step back and one more start, come from the first bytes.
  const auto param = [&](std::size_t i) -> std::size_t { return i < size ? bytes[i] : 0; };
  MemoryLog log(data, LogText::kMinWindow + param(0) % 16);
  for (std::size_t i = 0; i < n; ++i)
    Expect("Record", start[i], std::string(log.text.Record(start[i]).view()), padded[i]);
  for (std::size_t s = 1; s <= 4; ++s) {
    const std::string_view set[] = {kMarkers[param(s) % 8], kMarkers[param(s + 4) % 8],
                                    kMarkers[param(s + 8) % 8]};
    const std::size_t above = 1 + param(s + 12) % 8;
    for (std::size_t i : {std::size_t{0}, n - std::min(n, above), param(s + 16) * n / 256, n}) {
      for (int step = 0; step < 16; ++step, ++i) {
        const std::uint64_t from = start[i];
        const auto misses = [&](auto m) { return padded[i].find(m) == m.npos; };
        while (i < n && std::all_of(set, set + 3, misses)) ++i;
        Expect("Find", from, log.text.Find(from, {set[0], set[1], set[2]}), start[i]);
        Expect("RecordsAbove", start[i], log.text.RecordsAbove(start[i], static_cast<int>(above)),
               start[i - std::min(i, above)]);
        if (i == n) break;
        Expect("NextRecord", start[i], log.text.NextRecord(start[i]), start[i + 1]);
        Expect("Record", start[i], std::string(log.text.Record(start[i]).view()), padded[i]);
      }
    }
  }
  std::uint64_t last_non_blank = LogText::kNone;
  for (std::size_t i = n; i > 0 && last_non_blank == LogText::kNone; --i) {
    if (padded[i - 1].find_last_not_of(" \r") != std::string::npos) last_non_blank = start[i - 1];
  }
  Expect("LastNonBlankRecord", 0, log.text.LastNonBlankRecord().value_or(LogText::kNone),
         last_non_blank);
  MemoryLog wide(data);
  const ScanWants all{.rows = true, .tail_records = 20};
  Expect("ScanLog", 0, Describe(ScanLog(log.text, all)), Describe(ScanLog(wide.text, all)));
  // What the summary takes does not depend on what else is looked for.
  const RunScan summary = ScanLog(wide.text), rows = ScanLog(wide.text, all);
  Expect("ScanLog", 0,
         std::to_string(static_cast<int>(summary.status)) + summary.control_file +
             summary.cpu_text + summary.result_text,
         std::to_string(static_cast<int>(rows.status)) + rows.control_file + rows.cpu_text +
             rows.result_text);
  return 0;
}

}  // namespace tabrun
