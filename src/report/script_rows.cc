#include "report/script_rows.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "recio/civil_time.h"

namespace tabrun {
namespace {

// What a ReadProblem says before the system's reason.
constexpr const char* kProblemWords[] = {"", "cannot open", "cannot open", "cannot close",
                                         "cannot read the directory"};
static_assert(std::size(kProblemWords) == static_cast<std::size_t>(ReadProblem::kCannotList) + 1);

// The words of each FailureReason that is not a record of the log; kCpuNotANumber is followed by
// what stands after the marker.
constexpr const char* kReasonWords[] = {
    "",
    "empty log",
    "",
    "cut in the middle of a record: killed, or still being written",
    "stopped before \"Normal end\" without an error message",
    "\"Normal end\" without a \"CPU Time:\" line after it",
    "annealing run without a \"CPU Time:\" line near its \"=> PCR  File  :\" line",
    "the CPU time is not a number: ",
    "annealing run stopped before its \"=> PCR  File  :\" line",
    // One text, in parentheses: it is too long for one line.
    ("no \"Control file *.pcr:\" line, and no \"=> PCR  File  :\" line near its end: not a "
     "refinement log?"),
};
static_assert(std::size(kReasonWords) == static_cast<std::size_t>(FailureReason::kLast) + 1);

}  // namespace

void AppendCsvField(std::string_view text, std::string* line) {
  const bool quoted = std::any_of(text.begin(), text.end(), [](char c) {
    return c == ',' || c == '"' || c == '\r' || c == '\n';
  });
  if (!quoted) {
    line->append(text);
    return;
  }
  line->push_back('"');
  for (char c : text) {
    if (c == '"') line->push_back('"');
    line->push_back(c);
  }
  line->push_back('"');
}

std::string ErrorText(const RunRow& row) {
  if (row.problem != ReadProblem::kNone) {
    return std::string(kProblemWords[static_cast<std::size_t>(row.problem)]) + ": " +
           row.problem_reason;
  }
  if (row.scan.status == RunStatus::kBadCpuValue) {
    return std::string(kBadCpuWhat) + ": " + BadCpuReason(row.scan);
  }
  return {};
}

std::string ReasonText(const RunRow& row) {
  if (row.problem != ReadProblem::kNone) return ErrorText(row);
  if (row.running) return {};
  const FailureReason reason = row.scan.reason;
  switch (reason) {
    case FailureReason::kStatedInLog:
      return Printable(row.scan.failure_record);
    case FailureReason::kCpuNotANumber:
      return kReasonWords[static_cast<std::size_t>(reason)] + BadCpuReason(row.scan);
    default:
      return kReasonWords[static_cast<std::size_t>(reason)];
  }
}

std::string_view TimeText(std::int64_t seconds, Digits* digits) {
  const CivilTime t = CivilTimeOf(seconds);
  char* text = digits->data();
  // Written by hand: a batch has a row per log, and printf costs more than the rest of the row.
  if (t.year < 0 || t.year > 9999) {
    const int length =
        std::snprintf(text, digits->size(), "%lld-%02d-%02dT%02d:%02d:%02dZ",
                      static_cast<long long>(t.year), t.month, t.day, t.hour, t.minute, t.second);
    return {text, std::min(static_cast<std::size_t>(length), digits->size() - 1)};
  }
  const auto put = [&text](std::int64_t value, int width, char after) {
    for (int i = width - 1; i >= 0; --i, value /= 10) text[i] = static_cast<char>('0' + value % 10);
    text[width] = after;
    text += width + 1;
  };
  put(t.year, 4, '-');
  put(t.month, 2, '-');
  put(t.day, 2, 'T');
  put(t.hour, 2, ':');
  put(t.minute, 2, ':');
  put(t.second, 2, 'Z');
  return {digits->data(), 20};
}

std::string CsvHeaderOf(std::span<const char* const> names) {
  std::string header;
  for (const char* key : names) header.append(header.empty() ? "" : ",").append(key);
  return header + '\n';
}

bool IsNumberColumn(std::size_t column) {
  static const auto kNumbers = [] {
    std::array<bool, kColumns> numbers{};
    std::size_t i = 0;
    ForEachCell(RunRow(), [&](std::string_view, bool number) { numbers[i++] = number; });
    return numbers;
  }();
  return kNumbers[column];
}

std::string CsvHeader() { return CsvHeaderOf(kColumnNames); }

std::string CsvRow(const RunRow& row) {
  return CsvLine([&row](auto cell) { ForEachCell(row, cell); });
}
std::string CsvRow(const WrittenRow& row) {
  return CsvLine([&row](auto cell) { ForEachCell(row, cell); });
}

std::string JsonRow(const RunRow& row) {
  return JsonLine(kColumnNames, [&row](auto cell) { ForEachCell(row, cell); });
}
std::string JsonRow(const WrittenRow& row) {
  return JsonLine(kColumnNames, [&row](auto cell) { ForEachCell(row, cell); });
}

}  // namespace tabrun
