#include "fuzz_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "analysis/markers.h"
#include "recio/number.h"
#include "recio/output_unit.h"
#include "report/summary_lines.h"

namespace tabrun::fuzz {
namespace {

constexpr std::string_view kSummaryLead = " => ";
constexpr std::string_view kBadEndLead = " => Bad end for file: ";
constexpr std::string_view kMissingLead = " => PCR file not found in: ";
constexpr std::string_view kNoCpuLead = " => No CPU calculation for: ";

const FixedText& LogName() {
  static const FixedText name("fuzz_run.log");
  return name;
}

bool SameBits(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

bool SameBatch(const BatchState& a, const BatchState& b) {
  return SameBits(a.cpu_total, b.cpu_total) && SameBits(a.cpu_seconds, b.cpu_seconds) &&
         a.failures == b.failures;
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

std::vector<std::string_view> SplitRecords(std::string_view text) {
  std::vector<std::string_view> records;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t lf = text.find('\n', start);
    if (lf == std::string_view::npos) {
      records.push_back(text.substr(start));
      break;
    }
    std::size_t end = lf;
    if (end > start && text[end - 1] == '\r') --end;
    records.push_back(text.substr(start, end - start));
    start = lf + 1;
  }
  return records;
}

bool ModelReader::Read(FixedText* line) {
  if (next_ == records_->size()) {
    at_end_of_file_ = true;
    return false;
  }
  line->Assign((*records_)[next_++].substr(0, kRecordLength));
  return true;
}

void ModelReader::BackSpace() {
  if (at_end_of_file_) {
    at_end_of_file_ = false;
  } else if (next_ > 0) {
    --next_;
  }
}

bool ModelReader::ReadUntil(const std::vector<std::string_view>& markers, FixedText* line) {
  FixedText record;
  while (Read(&record)) {
    for (std::string_view marker : markers) {
      if (record.view().find(marker) != std::string_view::npos) {
        *line = record;
        return true;
      }
    }
  }
  return false;
}

// ---------------------------------------------------------------------------------------------
// The scan.

ScanOutcome Scan(RecordReader& log) {
  OutputUnit console("*", "standard output");
  OutputUnit results("1", "log.res");
  ScanOutcome outcome;
  outcome.batch = kBatchBefore;
  outcome.result = ScanLog(log, LogName(), &outcome.batch, {console, results}, &outcome.bad_text);
  outcome.console = console.contents();
  outcome.results = results.contents();
  return outcome;
}

void CheckSameOutcome(const ScanOutcome& a, const ScanOutcome& b) {
  FUZZ_CHECK(a.result == b.result);
  FUZZ_CHECK(a.bad_text == b.bad_text);
  FUZZ_CHECK(SameBatch(a.batch, b.batch));
  FUZZ_CHECK(a.console == b.console);
  FUZZ_CHECK(a.results == b.results);
}

void CheckOutcome(const ScanOutcome& outcome) {
  const BatchState& before = kBatchBefore;
  const BatchState& after = outcome.batch;
  if (outcome.result == ScanResult::kBadCpuValue) {
    // The caller ends the program: nothing of this log may have been written or counted.
    FUZZ_CHECK(outcome.console.empty());
    FUZZ_CHECK(outcome.results.empty());
    FUZZ_CHECK(SameBatch(after, before));
    FUZZ_CHECK(TrimRight(outcome.bad_text).size() == outcome.bad_text.size());
    float ignored = 0.0f;
    const RealReadResult read = ReadReal(outcome.bad_text, &ignored);
    FUZZ_CHECK(read == RealReadResult::kNoValue || read == RealReadResult::kNotANumber);
    return;
  }
  FUZZ_CHECK(outcome.bad_text.empty());

  // Exactly one log.res record: a lead and an untrimmed 256-column buffer.
  const std::string_view results = outcome.results;
  FUZZ_CHECK(!results.empty() && results.back() == '\n');
  FUZZ_CHECK(results.find('\n') == results.size() - 1);
  const std::string_view line = results.substr(0, results.size() - 1);
  // 260, 278, 283 or 284 columns, one length per line kind.
  std::string_view lead;
  for (std::string_view kind : {kSummaryLead, kBadEndLead, kMissingLead, kNoCpuLead}) {
    if (line.size() == kind.size() + kRecordLength) lead = kind;
  }
  FUZZ_CHECK(!lead.empty());
  FUZZ_CHECK(StartsWith(line, lead));
  const std::string_view buffer = line.substr(lead.size());

  if (lead == kSummaryLead) {
    FUZZ_CHECK(outcome.console.empty());
    FUZZ_CHECK(after.failures == before.failures);
    FUZZ_CHECK(SameBits(after.cpu_total, before.cpu_total + after.cpu_seconds));
    FUZZ_CHECK(StartsWith(buffer, markers::kNormalEndFor));
    FUZZ_CHECK(buffer.substr(50, markers::kCpuPiece.size()) == markers::kCpuPiece);
    return;
  }

  // The other three kinds go to the console as well, with the buffer trimmed, and read no CPU
  // time.
  FUZZ_CHECK(outcome.console == std::string(lead) + std::string(TrimRight(buffer)) + "\n");
  FUZZ_CHECK(SameBits(after.cpu_total, before.cpu_total));
  FUZZ_CHECK(SameBits(after.cpu_seconds, before.cpu_seconds));
  if (lead == kNoCpuLead) {
    FUZZ_CHECK(after.failures == before.failures);
    FUZZ_CHECK(StartsWith(buffer, markers::kNormalEndFor));
  } else if (lead == kBadEndLead) {
    FUZZ_CHECK(after.failures == before.failures + 1);
    // The control file name, which always keeps its ".pcr": the marker leaves at most 237
    // columns of name.
    const std::string_view name = TrimRight(buffer);
    FUZZ_CHECK(name.size() >= markers::kPcrSuffix.size());
    FUZZ_CHECK(name.substr(name.size() - markers::kPcrSuffix.size()) == markers::kPcrSuffix);
  } else {
    FUZZ_CHECK(after.failures == before.failures + 1);
    FUZZ_CHECK(buffer == LogName().view());
  }
}

// ---------------------------------------------------------------------------------------------
// The readers, step by step.

namespace {

// Markers cut from the input itself, so that most searches hit something; kept in static
// storage as ReadUntil requires, and rewritten only before the readers of one input exist.
constexpr int kCutMarkers = 4;
char cut_marker_storage[kCutMarkers][kRecordLength];
std::string_view cut_markers[kCutMarkers];

struct MarkerSet {
  int count;
  const std::string_view* markers[RecordReader::kMaxMarkers];
};

// The scan's own searches, then searches for the cut markers alone and mixed.
const MarkerSet kMarkerSets[] = {
    {1, {&markers::kControlFile}},
    {1, {&markers::kNormalEnd}},
    {1, {&markers::kCpuTime}},
    {2, {&markers::kChi2, &markers::kRf2}},
    {1, {&markers::kBestSolution}},
    {1, {&markers::kAnnealingControlFile}},
    {1, {&markers::kRp}},
    {4, {&markers::kChi2, &markers::kRf2, &markers::kCpuTime, &markers::kNormalEnd}},
    {1, {&cut_markers[0]}},
    {1, {&cut_markers[1]}},
    {1, {&cut_markers[2]}},
    {1, {&cut_markers[3]}},
    {2, {&cut_markers[0], &cut_markers[1]}},
    {2, {&cut_markers[2], &cut_markers[3]}},
    {3, {&cut_markers[1], &cut_markers[2], &cut_markers[3]}},
    {4, {&cut_markers[0], &cut_markers[1], &cut_markers[2], &cut_markers[3]}},
    {2, {&cut_markers[0], &markers::kCpuTime}},
    {3, {&cut_markers[3], &markers::kChi2, &markers::kRf2}},
    {2, {&cut_markers[1], &cut_markers[1]}},
};
constexpr int kMarkerSetCount = sizeof kMarkerSets / sizeof kMarkerSets[0];

bool ReadUntil(RecordReader& reader, const MarkerSet& set, FixedText* line) {
  const std::string_view* const* m = set.markers;
  switch (set.count) {
    case 1:
      return reader.ReadUntil({*m[0]}, line);
    case 2:
      return reader.ReadUntil({*m[0], *m[1]}, line);
    case 3:
      return reader.ReadUntil({*m[0], *m[1], *m[2]}, line);
    default:
      return reader.ReadUntil({*m[0], *m[1], *m[2], *m[3]}, line);
  }
}

bool ReadUntil(ModelReader& reader, const MarkerSet& set, FixedText* line) {
  std::vector<std::string_view> wanted;
  for (int i = 0; i < set.count; ++i) wanted.push_back(*set.markers[i]);
  return reader.ReadUntil(wanted, line);
}

// The script's layout: a step count, four markers as (offset low, offset high, length) into
// the script, then one byte per step.
std::uint8_t ScriptByte(std::string_view script, std::size_t i) {
  return i < script.size() ? static_cast<std::uint8_t>(script[i]) : 0;
}
constexpr std::size_t kFirstStep = 1 + 3 * kCutMarkers;

void CutMarkers(std::string_view script) {
  for (int k = 0; k < kCutMarkers; ++k) {
    const std::size_t offset = ScriptByte(script, 1 + 3 * k) | ScriptByte(script, 2 + 3 * k) << 8;
    const std::uint8_t length_byte = ScriptByte(script, 3 + 3 * k);
    // Mostly short markers; the top of the range gives 225 to 256 columns.
    const std::size_t length =
        length_byte >= 224 ? length_byte - 255 + kRecordLength : 1 + length_byte % 24;
    std::string_view cut =
        script.empty() ? std::string_view() : script.substr(offset % script.size(), length);
    // A marker holds no line end and does not end with a blank.
    cut = cut.substr(0, cut.find_first_of("\r\n"));
    cut = TrimRight(cut);
    if (cut.empty()) cut = k % 2 == 0 ? "0" : "e";
    std::memcpy(cut_marker_storage[k], cut.data(), cut.size());
    cut_markers[k] = std::string_view(cut_marker_storage[k], cut.size());
  }
}

// Every reader has given `line` the same value as the model's `expected`.
void CheckLines(const std::vector<FixedText>& lines, const FixedText& expected) {
  for (const FixedText& line : lines) FUZZ_CHECK(line.view() == expected.view());
}

// The readers stand where the model stands when the next read, and a read after one step
// back, return the same in each. Copies are probed, so the readers themselves do not move.
void CheckSamePlace(const std::vector<RecordReader>& readers, const ModelReader& model) {
  for (int back = 0; back <= 1; ++back) {
    ModelReader model_probe = model;
    if (back == 1) model_probe.BackSpace();
    FixedText expected;
    const bool more = model_probe.Read(&expected);
    for (RecordReader probe : readers) {
      if (back == 1) probe.BackSpace();
      FixedText line;
      FUZZ_CHECK(probe.Read(&line) == more);
      FUZZ_CHECK(line.view() == expected.view());
    }
  }
}

}  // namespace

void CheckReadersAgree(std::string_view script, std::string_view text,
                       std::vector<RecordReader>& readers) {
  CutMarkers(script);
  const std::vector<std::string_view> records = SplitRecords(text);
  ModelReader model(&records);
  // A failed read or search must leave the line as it was, so all start alike.
  const FixedText untouched("untouched");
  FixedText expected = untouched;
  std::vector<FixedText> lines(readers.size(), untouched);

  static constexpr int kLongStepBacks[] = {7, 8, 29, 30, 35, 36, 37, 300};
  const std::size_t steps = ScriptByte(script, 0);
  for (std::size_t i = 0; i < steps; ++i) {
    const std::uint8_t step = ScriptByte(script, kFirstStep + i);
    const int kind = step & 7;
    const int argument = step >> 3;
    if (kind == 0) {
      const bool more = model.Read(&expected);
      for (std::size_t r = 0; r < readers.size(); ++r) {
        FUZZ_CHECK(readers[r].Read(&lines[r]) == more);
      }
    } else if (kind <= 2) {
      const int count = kind == 1 ? 1 + argument : kLongStepBacks[argument & 7];
      for (int n = 0; n < count; ++n) {
        model.BackSpace();
        for (RecordReader& reader : readers) reader.BackSpace();
      }
    } else {
      const MarkerSet& set = kMarkerSets[argument % kMarkerSetCount];
      const bool found = ReadUntil(model, set, &expected);
      for (std::size_t r = 0; r < readers.size(); ++r) {
        FUZZ_CHECK(ReadUntil(readers[r], set, &lines[r]) == found);
      }
    }
    CheckLines(lines, expected);
    CheckSamePlace(readers, model);
  }

  // The rest of the text, then the end of file and the last records again.
  for (bool more = true; more;) {
    more = model.Read(&expected);
    for (std::size_t r = 0; r < readers.size(); ++r) {
      FUZZ_CHECK(readers[r].Read(&lines[r]) == more);
    }
    CheckLines(lines, expected);
  }
  for (int n = 0; n < 8; ++n) {
    model.BackSpace();
    for (RecordReader& reader : readers) reader.BackSpace();
  }
  CheckSamePlace(readers, model);
}

// ---------------------------------------------------------------------------------------------
// The in-memory file.

MemoryFile::MemoryFile() {
  fd_ = memfd_create("tabrun-fuzz", MFD_CLOEXEC);
  FUZZ_CHECK(fd_ >= 0);
  path_ = "/proc/self/fd/" + std::to_string(fd_);
}

MemoryFile::~MemoryFile() { close(fd_); }

void MemoryFile::Set(std::string_view content) {
  // The big-log target rewrites only its tail: find the first difference a block at a time.
  constexpr std::size_t kBlock = 64 << 10;
  const std::size_t common = std::min(content.size(), content_.size());
  std::size_t from = 0;
  while (from + kBlock <= common && std::memcmp(&content[from], &content_[from], kBlock) == 0) {
    from += kBlock;
  }
  while (from < common && content[from] == content_[from]) ++from;
  FUZZ_CHECK(ftruncate(fd_, static_cast<off_t>(content.size())) == 0);
  for (std::size_t done = from; done < content.size();) {
    const ssize_t n =
        pwrite(fd_, content.data() + done, content.size() - done, static_cast<off_t>(done));
    FUZZ_CHECK(n > 0);
    done += static_cast<std::size_t>(n);
  }
  content_.assign(content);
}

}  // namespace tabrun::fuzz
