// The rows of the direct modes for scripts: one per log, as CSV or as JSON Lines, and the
// names and words their columns write.

#ifndef TABRUN_REPORT_SCRIPT_ROWS_H_
#define TABRUN_REPORT_SCRIPT_ROWS_H_

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "analysis/run_row.h"
#include "recio/fatal.h"
#include "report/escape.h"

namespace tabrun {

// The columns of a row, in order: the CSV header and the JSON keys. Rows of an older version
// are a prefix of these: new columns go at the end.
inline constexpr const char* kColumnNames[] = {
    "log",         "kind",        "status", "control_file", "cpu_seconds", "chi2",   "rp",
    "rwp",         "rexp",        "rf2",    "rf2w",         "rf",          "result", "error",
    "name_number", "last_record", "reason", "bytes",        "modified"};
inline constexpr std::size_t kColumns = std::size(kColumnNames);
// Rows of tabrun 1.1.0 and 1.2.0 end at "error", those of 1.3.0 at "last_record".
inline constexpr std::size_t kFirstColumns = 14;

// The place of the column `name` in kColumnNames. REQUIRES: it is one of them.
constexpr std::size_t ColumnIndex(std::string_view name) {
  std::size_t i = 0;
  while (kColumnNames[i] != name) ++i;
  return i;
}
inline constexpr std::size_t kLogColumn = ColumnIndex("log");
inline constexpr std::size_t kKindColumn = ColumnIndex("kind");
inline constexpr std::size_t kStatusColumn = ColumnIndex("status");
inline constexpr std::size_t kLastRecordColumn = ColumnIndex("last_record");
inline constexpr std::size_t kReasonColumn = ColumnIndex("reason");

// True when column `column` holds numbers (ForEachCell's `number`), false for text.
bool IsNumberColumn(std::size_t column);

// The name of each RunStatus and RunKind, in the order of their values.
inline constexpr const char* kStatusNames[] = {
    "ok", "no_cpu", "bad_end", "no_control_file", "bad_cpu_value", "unreadable", "running"};
static_assert(std::size(kStatusNames) == static_cast<std::size_t>(RunStatus::kLast) + 1);
inline constexpr const char* kKindNames[] = {"", "ordinary", "annealing"};
static_assert(std::size(kKindNames) == static_cast<std::size_t>(RunKind::kAnnealing) + 1);

inline const char* StatusName(RunStatus status) {
  return kStatusNames[static_cast<std::size_t>(status)];
}

// Room for a whole row of most logs, so that a row is built in one allocation.
inline constexpr std::size_t kRowRoom = 512;

// Room for the digits of a number, or for a time.
using Digits = std::array<char, 32>;

// A number as the rows write it: the shortest decimal that reads back to the same double
// ("3.87", "1e+39"), in *digits.
inline std::string_view DigitsOf(double value, Digits* digits) {
  const char* end = std::to_chars(digits->data(), digits->data() + digits->size(), value).ptr;
  return {digits->data(), static_cast<std::size_t>(end - digits->data())};
}
inline std::string NumberText(double value) {
  Digits digits;
  return std::string(DigitsOf(value, &digits));
}

// The error column of `row`: why it could not be read ("cannot open: Is a directory"), or why
// its CPU value could not be read; empty otherwise.
std::string ErrorText(const RunRow& row);

// The reason column of `row`: empty for an ok run; for an unreadable one its error; otherwise
// the record of its log's end that says why it failed (escaped as Printable escapes), or the
// words for what its log shows (FailureReason).
std::string ReasonText(const RunRow& row);

// A time in seconds since 1970 as the modified column writes it, in UTC and ISO 8601:
// "2026-11-25T17:24:11Z", in *digits.
std::string_view TimeText(std::int64_t seconds, Digits* digits);

// Calls cell(text, number) for each field of `row`, in the order of kColumnNames: a text as it
// is, a number as DigitsOf writes it, an empty number as the empty text. The text lives only
// during its call. The columns of what the log says are empty for an unreadable row.
template <typename Cell>
void ForEachCell(const RunRow& row, Cell cell) {
  static const RunScan kNothing;
  const bool read = row.problem == ReadProblem::kNone;
  const RunScan& scan = read ? row.scan : kNothing;
  const auto number = [&cell](const std::optional<double>& value) {
    Digits digits;
    cell(value ? DigitsOf(*value, &digits) : std::string_view(), true);
  };
  const auto text = [&cell](std::string_view value) { cell(value, false); };
  text(row.log);
  text(kKindNames[static_cast<std::size_t>(scan.kind)]);
  text(StatusName(row.status()));
  text(scan.control_file);
  const Figures& f = scan.figures;
  for (const std::optional<double>* value :
       {&scan.cpu_seconds, &f.chi2, &f.rp, &f.rwp, &f.rexp, &f.rf2, &f.rf2w, &f.rf}) {
    number(*value);
  }
  text(scan.status == RunStatus::kOk ? std::string_view(scan.result_text) : std::string_view());
  text(ErrorText(row));
  number(row.name_number);
  text(Printable(scan.last_record));
  text(ReasonText(row));
  Digits digits;
  if (read && row.bytes) {
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), *row.bytes).ptr;
    cell(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())), true);
  } else {
    cell(std::string_view(), true);
  }
  text(read && row.modified ? TimeText(*row.modified, &digits) : std::string_view());
}

// A row as tabrun wrote it, read back from its CSV or JSON Lines (RowFile): its status and kind,
// and its other cells as text, a number as the digits the rows carry. Written again, it gives
// the bytes it was read from.
struct WrittenRow {
  RunStatus status = RunStatus::kOk;
  RunKind kind = RunKind::kNone;
  // In the order of kColumnNames; the cells of kind and status are not used, and those of the
  // columns that an older column set lacks are empty.
  std::array<std::string, kColumns> cells;
};

// Calls cell(text, number) for each field of `row`, as ForEachCell of a RunRow does.
template <typename Cell>
void ForEachCell(const WrittenRow& row, Cell cell) {
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (i == kKindColumn) {
      cell(std::string_view(kKindNames[static_cast<std::size_t>(row.kind)]), false);
    } else if (i == kStatusColumn) {
      cell(std::string_view(StatusName(row.status)), false);
    } else {
      cell(std::string_view(row.cells[i]), IsNumberColumn(i));
    }
  }
}

// The CSV header and rows: fields in the order of kColumnNames, quoted only when they hold a
// comma, a double quote, a carriage return or a line feed; names written as their bytes; every
// row ended by a line feed.
std::string CsvHeader();
std::string CsvRow(const RunRow& row);
std::string CsvRow(const WrittenRow& row);

// One JSON object and a line feed, with the keys of the CSV header in the same order. Numbers
// are JSON numbers, empty fields null, and strings are written as AppendJsonString writes
// them.
std::string JsonRow(const RunRow& row);
std::string JsonRow(const WrittenRow& row);

// The same for any rows: the header of `names`, and the line of the cells that
// each_cell(cell) hands to cell(text, number) in the order of the names, as ForEachCell does.
std::string CsvHeaderOf(std::span<const char* const> names);
void AppendCsvField(std::string_view text, std::string* line);
template <typename EachCell>
std::string CsvLine(EachCell each_cell) {
  std::string line;
  line.reserve(kRowRoom);
  // Every field but the first follows a comma, however many before it are empty.
  each_cell([&line](std::string_view text, bool number) {
    if (number) {
      line.append(text);  // digits, a sign, a point or an exponent: never quoted
    } else {
      AppendCsvField(text, &line);
    }
    line.push_back(',');
  });
  line.back() = '\n';
  return line;
}
template <typename EachCell>
std::string JsonLine(std::span<const char* const> names, EachCell each_cell) {
  std::string line;
  line.reserve(kRowRoom);
  std::size_t i = 0;
  each_cell([&line, &i, names](std::string_view text, bool number) {
    line.append(i == 0 ? "{\"" : ",\"").append(names[i]).append("\":");
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

#endif  // TABRUN_REPORT_SCRIPT_ROWS_H_
