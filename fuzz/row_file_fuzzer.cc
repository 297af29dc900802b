// Fuzzer for reading rows back: any bytes as a file of rows, its first byte the size of the pieces
// the file comes in. The rows read are the same whatever the pieces, and written as CSV or as
// JSON and read again they give the same bytes again.

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

#include "report/row_file.h"

namespace {

struct Rows {
  std::string csv;
  std::string json;
  std::string error;
  bool operator==(const Rows&) const = default;
};

Rows Read(std::string_view text, std::size_t piece) {
  std::size_t at = 0;
  tabrun::RowFile file("f", [&](char* out, std::size_t length, std::string*) {
    const std::size_t count = std::min({length, piece, text.size() - at});
    std::copy_n(text.data() + at, count, out);
    at += count;
    return static_cast<std::int64_t>(count);
  });
  Rows rows;
  tabrun::WrittenRow row;
  tabrun::RowFile::Result result;
  while ((result = file.Next(&row)) == tabrun::RowFile::Result::kRow) {
    rows.csv += tabrun::CsvRow(row);
    rows.json += tabrun::JsonRow(row);
  }
  if (result == tabrun::RowFile::Result::kError) rows.error = file.error();
  return rows;
}

void Check(bool holds, const char* what, const Rows& rows) {
  if (holds) return;
  std::cerr << what << "\nCSV:\n" << rows.csv << "JSON:\n" << rows.json << rows.error << "\n";
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  const Rows rows = Read(text, bytes[0] % 8 + 1);
  Check(rows == Read(text, 1 << 16), "the rows depend on the pieces", rows);
  const Rows from_csv = Read(tabrun::CsvHeader() + rows.csv, 3);
  Check(from_csv.csv == rows.csv && from_csv.json == rows.json && from_csv.error.empty(),
        "the CSV rows do not come back", rows);
  const Rows from_json = Read(rows.json, 5);
  Check(from_json.json == rows.json && from_json.error.empty(), "the JSON rows do not come back",
        rows);
  return 0;
}
