// The rows of the direct mode for scripts: one per log, as CSV or as JSON Lines.

#ifndef TABRUN_REPORT_SCRIPT_ROWS_H_
#define TABRUN_REPORT_SCRIPT_ROWS_H_

#include <array>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "analysis/log_scan.h"

namespace tabrun {

// What one row says, column by column; an empty number is an absent field.
struct ScriptRow {
  std::string log;
  std::string kind;          // "ordinary", "annealing", or empty
  std::string status;        // "ok", "no_cpu", "bad_end", "no_control_file",
                             // "bad_cpu_value" or "unreadable"
  std::string control_file;  // whole, with ".pcr"
  std::optional<double> cpu_seconds;
  std::optional<double> chi2, rp, rwp, rexp;  // from a Chi2 result record
  std::optional<double> rf2, rf2w, rf;        // from an R-F2 or best-solution record
  std::string result;                         // the result text as log.res carries it, not cut
  std::string error;                          // why the log or its CPU value could not be read
};

// The columns of a row, in order: the CSV header and the JSON keys.
inline constexpr const char* kColumnNames[] = {
    "log", "kind", "status", "control_file", "cpu_seconds", "chi2",   "rp",
    "rwp", "rexp", "rf2",    "rf2w",         "rf",          "result", "error"};
inline constexpr std::size_t kColumns = std::size(kColumnNames);
// Every value the status and kind columns take.
inline constexpr const char* kStatusNames[] = {
    "ok", "no_cpu", "bad_end", "no_control_file", "bad_cpu_value", "unreadable"};
inline constexpr const char* kKindNames[] = {"", "ordinary", "annealing"};

// Room for the digits of a number.
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

// Calls cell(text, number) for each field of `row`, in the order of kColumnNames: a string as
// it is, a number as NumberText writes it, an empty number as the empty text. The text lives
// only during its call.
template <typename Cell>
void ForEachCell(const ScriptRow& row, Cell cell) {
  for (const std::string* text : {&row.log, &row.kind, &row.status, &row.control_file}) {
    cell(std::string_view(*text), false);
  }
  for (const std::optional<double>* value :
       {&row.cpu_seconds, &row.chi2, &row.rp, &row.rwp, &row.rexp, &row.rf2, &row.rf2w, &row.rf}) {
    Digits digits;
    cell(*value ? DigitsOf(**value, &digits) : std::string_view(), true);
  }
  for (const std::string* text : {&row.result, &row.error}) cell(std::string_view(*text), false);
}

// The row of a log that was scanned. The CPU value is read in double precision with the
// same rules as the summary's; a number field is empty when its label is absent or is not
// followed by a number, and when the number is too large for a double.
ScriptRow RowOfScan(std::string log, const RunScan& scan);

// The row of a log that could not be read, with the reason, e.g. "cannot open: Is a directory".
ScriptRow UnreadableRow(std::string log, std::string error);

// The CSV header and rows: fields in the order of ScriptRow, quoted only when they hold a
// comma, a double quote, a carriage return or a line feed; names written as their bytes; every
// row ended by a line feed.
std::string CsvHeader();
std::string CsvRow(const ScriptRow& row);

// One JSON object and a line feed, with the keys of the CSV header in the same order. Numbers
// are JSON numbers, empty fields null, and strings are written as AppendJsonString writes
// them.
std::string JsonRow(const ScriptRow& row);

}  // namespace tabrun

#endif  // TABRUN_REPORT_SCRIPT_ROWS_H_
