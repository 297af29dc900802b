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
  std::optional<double> name_number;          // NameNumber(log)
  // For a log that was read and whose status is not "ok": its last record that is not all
  // blank, cut at 256 columns, without trailing blanks and carriage returns, its control
  // characters escaped as in the messages on standard error. Empty otherwise.
  std::string last_record;
};

// The columns of a row, in order: the CSV header and the JSON keys.
inline constexpr const char* kColumnNames[] = {
    "log",  "kind", "status", "control_file", "cpu_seconds", "chi2",  "rp",          "rwp",
    "rexp", "rf2",  "rf2w",   "rf",           "result",      "error", "name_number", "last_record"};
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
  const auto number = [&cell](const std::optional<double>& value) {
    Digits digits;
    cell(value ? DigitsOf(*value, &digits) : std::string_view(), true);
  };
  for (const std::string* text : {&row.log, &row.kind, &row.status, &row.control_file}) {
    cell(std::string_view(*text), false);
  }
  for (const std::optional<double>* value :
       {&row.cpu_seconds, &row.chi2, &row.rp, &row.rwp, &row.rexp, &row.rf2, &row.rf2w, &row.rf}) {
    number(*value);
  }
  for (const std::string* text : {&row.result, &row.error}) cell(std::string_view(*text), false);
  number(row.name_number);
  cell(std::string_view(row.last_record), false);
}

// The last number in the name of `log`, the text after its last '/', which the page's x axis
// "last number in the log name" uses too. A number is a run of the digits 0 to 9, together
// with a '.' and the run of digits right after it when they follow; the name is read from its
// start, so that "NdFeB_T005K.log" gives 5, "T12.5K.log" 12.5 and "a1.2.3.log" 3. It is read
// as a double: "run10000000000000001.log" gives 1e+16. None when the name holds no digit, or
// its last number is too large for a double.
std::optional<double> NameNumber(std::string_view log);

// The row of a log that was scanned, without its last_record. The CPU value is read in double
// precision with the same rules as the summary's, and each figure is the whole number that
// follows its label in the result record (the label within its first 256 columns, the number
// as far as it goes), not the summary's cut; an ordinary no_cpu run carries the figures of
// its result record too. A number field is empty when its label is absent or is not followed
// by a number, and when the number is too large for a double.
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
