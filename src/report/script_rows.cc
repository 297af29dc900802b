#include "report/script_rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <initializer_list>
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

// The number after the first (or with `last`, the last) `label` in `record`.
std::optional<double> After(std::string_view record, std::string_view label, bool last = false) {
  const int column = last ? IndexLast(record, label) : Index(record, label);
  if (column == 0) return {};
  return NumberIn(record.substr(static_cast<std::size_t>(column - 1) + label.size()));
}

// A Cell that only looks at its text.
struct CellView {
  std::string_view text;
  bool number = false;
};

// Room for the digits of a number.
using Digits = std::array<char, 32>;

std::string_view DigitsOf(double value, Digits* digits) {
  const char* end = std::to_chars(digits->data(), digits->data() + digits->size(), value).ptr;
  return {digits->data(), static_cast<std::size_t>(end - digits->data())};
}

// Calls append(cell) for each field of `row`, in the order of kColumnNames. A number's text
// lives only during its call.
template <typename Append>
void VisitCells(const ScriptRow& row, Append append) {
  for (const std::string* text : {&row.log, &row.kind, &row.status, &row.control_file}) {
    append(CellView{*text, false});
  }
  for (const std::optional<double>* value :
       {&row.cpu_seconds, &row.chi2, &row.rp, &row.rwp, &row.rexp, &row.rf2, &row.rf2w, &row.rf}) {
    Digits digits;
    append(CellView{*value ? DigitsOf(**value, &digits) : std::string_view(), true});
  }
  for (const std::string* text : {&row.result, &row.error}) append(CellView{*text, false});
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

std::string NumberText(double value) {
  Digits digits;
  return std::string(DigitsOf(value, &digits));
}

void ForEachCell(const ScriptRow& row,
                 const std::function<void(std::string_view text, bool number)>& cell) {
  VisitCells(row, [&cell](const CellView& view) { cell(view.text, view.number); });
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
  line.reserve(kRowRoom);
  // Every field but the first follows a comma, however many before it are empty.
  VisitCells(row, [&line](const CellView& cell) {
    AppendCsvField(cell.text, &line);
    line.push_back(',');
  });
  line.back() = '\n';
  return line;
}

std::string JsonRow(const ScriptRow& row) {
  std::string line;
  line.reserve(kRowRoom);
  std::size_t i = 0;
  VisitCells(row, [&line, &i](const CellView& cell) {
    line.append(i == 0 ? "{\"" : ",\"").append(kColumnNames[i]).append("\":");
    ++i;
    if (cell.text.empty()) {
      line.append("null");
    } else if (cell.number) {
      line.append(cell.text);  // as in the CSV row
    } else {
      AppendJsonString(cell.text, &line);
    }
  });
  line.append("}\n");
  return line;
}

}  // namespace tabrun
