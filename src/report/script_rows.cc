#include "report/script_rows.h"

#include <array>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <string_view>

#include "analysis/markers.h"
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

// The number after the first (or with `last`, the last) `label` in `record`.
std::optional<double> After(std::string_view record, std::string_view label, bool last = false) {
  const std::size_t at = last ? record.rfind(label) : record.find(label);
  if (at == std::string_view::npos) return {};
  return NumberIn(record.substr(at + label.size()));
}

Cell Text(const std::string& text) { return {text, false}; }

Cell Number(const std::optional<double>& value) {
  return {value ? NumberText(*value) : std::string(), true};
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"') quoted.push_back('"');
    quoted.push_back(c);
  }
  return quoted + '"';
}

}  // namespace

std::string NumberText(double value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  return std::string(digits, result.ptr);
}

std::array<Cell, kColumns> CellsOf(const ScriptRow& row) {
  return {Text(row.log),           Text(row.kind),   Text(row.status), Text(row.control_file),
          Number(row.cpu_seconds), Number(row.chi2), Number(row.rp),   Number(row.rwp),
          Number(row.rexp),        Number(row.rf2),  Number(row.rf2w), Number(row.rf),
          Text(row.result),        Text(row.error)};
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
  if (scan.outcome != RunOutcome::kSummary) return row;
  row.cpu_seconds = NumberIn(scan.cpu_value_text);
  row.result = scan.result_text;
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
      row.rf2 = NumberIn(scan.result_text);
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
  // Every field but the first follows a comma, however many before it are empty.
  for (const Cell& cell : CellsOf(row)) line.append(CsvField(cell.text)).push_back(',');
  line.back() = '\n';
  return line;
}

std::string JsonRow(const ScriptRow& row) {
  // The numbers keep the text of the CSV row.
  const auto cells = CellsOf(row);
  std::string line = "{";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    line.append(i == 0 ? "\"" : ",\"").append(kColumnNames[i]).append("\":");
    if (cells[i].text.empty()) {
      line.append("null");
    } else if (cells[i].number) {
      line.append(cells[i].text);
    } else {
      AppendJsonString(cells[i].text, &line);
    }
  }
  return line + "}\n";
}

}  // namespace tabrun
