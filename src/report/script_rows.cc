#include "report/script_rows.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "analysis/markers.h"
#include "recio/fixed_text.h"
#include "recio/number.h"
#include "report/escape.h"

namespace tabrun {
namespace {

// The number `text` starts with (after blanks), when it is one and fits a double.
std::optional<double> NumberIn(std::string_view text) {
  double value = 0;
  if (ReadReal(text, &value) != RealReadResult::kValue || !std::isfinite(value)) return {};
  return value;
}

// The number after the first (or with `last`, the last) `label` in the first 256 columns of
// `record`, however far it runs.
std::optional<double> After(std::string_view record, std::string_view label, bool last = false) {
  const std::string_view head = record.substr(0, kRecordLength);
  const int column = last ? IndexLast(head, label) : Index(head, label);
  if (column == 0) return {};
  return NumberIn(record.substr(static_cast<std::size_t>(column - 1) + label.size()));
}

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

// Room for a whole row of most logs, so that a row is built in one allocation.
constexpr std::size_t kRowRoom = 512;

}  // namespace

std::optional<double> NameNumber(std::string_view log) {
  const std::string_view name = log.substr(log.rfind('/') + 1);  // npos + 1 is 0
  const auto digit = [&name](std::size_t i) {
    return i < name.size() && name[i] >= '0' && name[i] <= '9';
  };
  const auto digits_end = [&digit](std::size_t i) {
    while (digit(i)) ++i;
    return i;
  };
  std::optional<double> number;
  for (std::size_t i = 0; i < name.size();) {
    if (!digit(i)) {
      ++i;
      continue;
    }
    std::size_t end = digits_end(i);
    if (digit(end + 1) && name[end] == '.') end = digits_end(end + 1);
    double value = 0;
    const bool read =
        ReadReal(name.substr(i, end - i), &value) == RealReadResult::kValue && std::isfinite(value);
    number = read ? std::optional<double>(value) : std::nullopt;
    i = end;
  }
  return number;
}

ScriptRow RowOfScan(std::string log, const RunScan& scan) {
  ScriptRow row;
  row.log = std::move(log);
  row.status = kStatusNames[static_cast<int>(scan.outcome)];
  if (scan.outcome != RunOutcome::kNoControlFile) {
    row.kind = scan.kind == RunKind::kAnnealing ? "annealing" : "ordinary";
    row.control_file = scan.control_file;
  }
  if (scan.outcome == RunOutcome::kBadCpuValue) {
    row.error = std::string(kBadCpuWhat) + ": " + BadCpuReason(scan);
  }
  row.name_number = NameNumber(row.log);
  if (scan.outcome == RunOutcome::kSummary) {
    row.cpu_seconds = NumberIn(scan.cpu_value_text);
    row.result = scan.result_text;
  }
  const std::string_view record = scan.result_record;
  switch (scan.result_label) {
    case ResultLabel::kChi2:
      row.chi2 = After(record, markers::kChi2, true);
      row.rp = After(record, markers::kRp);
      row.rwp = After(record, markers::kRwp);
      row.rexp = After(record, markers::kRexp);
      break;
    case ResultLabel::kRf2:
      row.rf2 = After(record, markers::kRf2);
      row.rf2w = After(record, markers::kRf2w);
      row.rf = After(record, markers::kRf);
      break;
    case ResultLabel::kBestSolution:
      row.rf2 = After(record, markers::kBestSolution);
      break;
    case ResultLabel::kNone:
      break;
  }
  return row;
}

ScriptRow UnreadableRow(std::string log, std::string error) {
  ScriptRow row;
  row.log = std::move(log);
  row.status = "unreadable";
  row.name_number = NameNumber(row.log);
  row.error = std::move(error);
  return row;
}

std::string CsvHeader() {
  std::string header;
  for (const char* key : kColumnNames) header.append(header.empty() ? "" : ",").append(key);
  return header + '\n';
}

std::string CsvRow(const ScriptRow& row) {
  std::string line;
  line.reserve(kRowRoom);
  // Every field but the first follows a comma, however many before it are empty.
  ForEachCell(row, [&line](std::string_view text, bool) {
    AppendCsvField(text, &line);
    line.push_back(',');
  });
  line.back() = '\n';
  return line;
}

std::string JsonRow(const ScriptRow& row) {
  std::string line;
  line.reserve(kRowRoom);
  std::size_t i = 0;
  ForEachCell(row, [&line, &i](std::string_view text, bool number) {
    line.append(i == 0 ? "{\"" : ",\"").append(kColumnNames[i]).append("\":");
    ++i;
    if (text.empty()) {
      line.append("null");
    } else if (number) {
      line.append(text);  // as in the CSV row
    } else {
      AppendJsonString(text, &line);
    }
  });
  line.append("}\n");
  return line;
}

}  // namespace tabrun
