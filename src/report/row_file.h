// Rows that tabrun wrote, read back: one file of --csv or --json rows, row by row.

#ifndef TABRUN_REPORT_ROW_FILE_H_
#define TABRUN_REPORT_ROW_FILE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "report/script_rows.h"

namespace tabrun {

// Reads the rows of one file as tabrun --csv or --json wrote them, of today's column set or of
// an older one (its first kFirstColumns columns at least; the columns it lacks are empty).
//
// The first byte decides: '{' starts JSON Lines, anything else must be the CSV header. A CSV
// file is RFC 4180 (a quoted field may hold commas, doubled quotes and line feeds) with the
// header on its first line; each of its rows has as many fields as the header. A JSON file is
// one object a line with the keys of kColumnNames in order, each a string, a number or null, as
// tabrun writes them, no blank between; each line is checked by its own keys. Lines end in a
// line feed, or a carriage return and a line feed; the last one too, so that a file cut short
// is an error. The kind and the status must be tabrun's names, a number cell a JSON number.
// An empty file holds no rows, as --json writes for no logs.
//
// The file is read in pieces as the rows are asked for: memory holds a piece and one row.
class RowFile {
 public:
  // Reads up to `length` bytes into `out`, and returns how many: 0 at the end, -1 on an error
  // with the system's reason in *error.
  using ReadBytes = std::function<std::int64_t(char* out, std::size_t length, std::string* error)>;

  // `name` is what the messages call the file.
  RowFile(std::string name, ReadBytes read);

  enum class Result { kRow, kEnd, kError };
  // Reads the next row into *row (its cells reuse their room). kEnd after the last row; kError,
  // and from then on every time, when the file could not be read or holds something that
  // tabrun does not write: error() then says what and where.
  Result Next(WrittenRow* row);

  // After kError, without "tabrun: ": "<name>: cannot read: <reason>" or
  //   <name>:<line>: not rows that tabrun wrote: <what>
  // where <line> is the line, counted from 1, on which the wrong row or header starts.
  const std::string& error() const { return error_; }

 private:
  enum class Format { kUnknown, kCsv, kJson };

  // Reads another piece into buffer_; false at the end or on an error (then error_ is set).
  bool Fill();
  // Finds the end of the record that starts at start_: the offset of its line feed, scanning on
  // from scan_; npos when buffer_ holds no end yet.
  std::size_t RecordEnd();
  Result Fail(std::string what);
  // Reads the record text as a header or a row; an empty text when all is well, else what is
  // wrong.
  std::string ReadHeader(std::string_view record);
  std::string ReadCsvRow(std::string_view record, WrittenRow* row);
  std::string ReadJsonRow(std::string_view record, WrittenRow* row);

  const std::string name_;
  const ReadBytes read_;
  std::string buffer_;
  std::size_t start_ = 0;  // where the next record starts in buffer_
  std::size_t scan_ = 0;   // how far RecordEnd has looked
  // Where scan_ stands in a CSV field.
  enum class Field { kStart, kUnquoted, kQuoted, kQuoteInQuoted };
  Field field_ = Field::kStart;
  bool ended_ = false;      // the file has no more bytes
  std::uint64_t line_ = 1;  // the line the next record starts on
  Format format_ = Format::kUnknown;
  std::size_t columns_ = 0;  // of a CSV file, as its header says
  std::string error_;
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_ROW_FILE_H_
