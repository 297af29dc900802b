#include "report/row_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>

namespace tabrun {
namespace {

const std::string kHeader = CsvHeader();
// Rows of every status, with the cells that need quotes, escapes or are empty.
const std::string kCsvRows =
    "runs/a.log,ordinary,ok,a.pcr,12.345,1.53,8.21,10.47,8.46,,,,  1.53  Rp:  8.21,,2,,,812,"
    "2026-11-25T17:24:11Z\n"
    "\"it's \"\"q\"\", a\nb.log\",,no_control_file,,,,,,,,,,,,,\" => x,\\ty\",\"no \"\"Control "
    "file *.pcr:\"\" line\",0,2026-11-25T17:24:11Z\n"
    "caf\xC3\xA9.log,annealing,bad_cpu_value,c.pcr,,,,,,1e+39,,-0,,cannot read a real number: "
    "'abc',5e-324,,,9,\n"
    "missing.log,,unreadable,,,,,,,,,,,cannot open: No such file or directory,,,cannot open: "
    "No such file or directory,,\n";
const std::string kJsonRows =
    "{\"log\":\"runs/a.log\",\"kind\":\"ordinary\",\"status\":\"ok\",\"control_file\":\"a.pcr\","
    "\"cpu_seconds\":12.345,\"chi2\":1.53,\"rp\":8.21,\"rwp\":10.47,\"rexp\":8.46,\"rf2\":null,"
    "\"rf2w\":null,\"rf\":null,\"result\":\"  1.53  Rp:  8.21\",\"error\":null,\"name_number\":2,"
    "\"last_record\":null,\"reason\":null,\"bytes\":812,\"modified\":\"2026-11-25T17:24:11Z\"}\n"
    "{\"log\":\"it's \\\"q\\\", a\\nb\\u001b\\\\.log\",\"kind\":null,\"status\":\"no_cpu\","
    "\"control_file\":\"caf\xC3\xA9\",\"cpu_seconds\":null,\"chi2\":-1.5e-07,\"rp\":null,"
    "\"rwp\":null,\"rexp\":null,\"rf2\":null,\"rf2w\":null,\"rf\":null,\"result\":null,"
    "\"error\":null,\"name_number\":null,\"last_record\":\"\xEF\xBF\xBD \\t\",\"reason\":null,"
    "\"bytes\":0,\"modified\":null}\n";

// Everything `rows` holds as Next reads it, fed `piece` bytes at a time, written again by
// `write`; and the error, when there is one.
struct Read {
  std::string rows;
  std::string error;
};
template <typename Write>
Read ReadAll(const std::string& text, std::size_t piece, Write write) {
  std::size_t at = 0;
  RowFile file("f.csv", [&](char* out, std::size_t length, std::string*) {
    const std::size_t count = std::min({length, piece, text.size() - at});
    std::copy_n(text.data() + at, count, out);
    at += count;
    return static_cast<std::int64_t>(count);
  });
  Read read;
  WrittenRow row;
  RowFile::Result result;
  while ((result = file.Next(&row)) == RowFile::Result::kRow) read.rows += write(row);
  if (result == RowFile::Result::kError) read.error = file.error();
  EXPECT_EQ(file.Next(&row), result) << "a second call after the last";
  return read;
}
Read AsCsv(const std::string& text, std::size_t piece = 1 << 20) {
  return ReadAll(text, piece, [](const WrittenRow& row) { return CsvRow(row); });
}
Read AsJson(const std::string& text, std::size_t piece = 1 << 20) {
  return ReadAll(text, piece, [](const WrittenRow& row) { return JsonRow(row); });
}

// Rows read back are written as they were, in either format, whatever the pieces the file
// comes in: quoted line feeds and doubled quotes across pieces, escapes and surrogates.
TEST(RowFileTest, RowsComeBackAsWritten) {
  for (const std::size_t piece : {1, 3, 64, 1 << 20}) {
    EXPECT_EQ(AsCsv(kHeader + kCsvRows, piece).rows, kCsvRows) << piece;
    EXPECT_EQ(AsJson(kJsonRows, piece).rows, kJsonRows) << piece;
    EXPECT_EQ(AsJson(AsJson(kHeader + kCsvRows, piece).rows).rows, AsJson(kHeader + kCsvRows).rows)
        << piece;
  }
  // JSON's escapes become the bytes they stand for; U+FFFD stays U+FFFD.
  EXPECT_EQ(AsCsv(kJsonRows).rows.substr(AsCsv(kJsonRows).rows.find('\n') + 1),
            "\"it's \"\"q\"\", a\nb\x1B\\.log\",,no_cpu,caf\xC3\xA9,,-1.5e-07,,,,,,,,,,"
            "\xEF\xBF\xBD \t,,0,\n");
  EXPECT_EQ(AsCsv("{\"log\":\"\\ud83d\\ude00\\u00e9\\/\\b\\f\\r\"" +
                  kJsonRows.substr(kJsonRows.find(",\"kind\"")))
                .rows.substr(0, 13),
            "\"\xF0\x9F\x98\x80\xC3\xA9/\b\f\r\",");
}

// What a file that holds no rows, or rows of an older column set, or CR LF line ends, gives.
TEST(RowFileTest, OtherFilesOfRows) {
  const std::string old_header =
      "log,kind,status,control_file,cpu_seconds,chi2,rp,rwp,rexp,rf2,rf2w,rf,result,error\n";
  const struct {
    std::string text;
    std::string csv;
  } cases[] = {
      {"", ""},
      {kHeader, ""},
      {old_header + "a.log,,bad_end,,,,,,,,,,,\n", "a.log,,bad_end,,,,,,,,,,,,,,,,\n"},
      {"{\"log\":\"a.log\",\"kind\":null,\"status\":\"ok\",\"control_file\":null,"
       "\"cpu_seconds\":1,\"chi2\":null,\"rp\":null,\"rwp\":null,\"rexp\":null,\"rf2\":null,"
       "\"rf2w\":null,\"rf\":null,\"result\":null,\"error\":null,\"name_number\":null,"
       "\"last_record\":\"x\"}\r\n",
       "a.log,,ok,,1,,,,,,,,,,,x,,,\n"},
      {"log,kind,status,control_file,cpu_seconds,chi2,rp,rwp,rexp,rf2,rf2w,rf,result,error\r\n"
       "\"a\r\nb\",,ok,,,,,,,,,,,\"x\r\"\r\n",
       "\"a\r\nb\",,ok,,,,,,,,,,,\"x\r\",,,,,\n"},
  };
  for (const auto& c : cases) {
    const Read read = AsCsv(c.text);
    EXPECT_EQ(read.rows, c.csv) << c.text;
    EXPECT_EQ(read.error, "") << c.text;
  }
}

// Each thing that tabrun does not write is an error that names the file, the line where the
// row starts and what is wrong; the rows before it are read: none for the header, two rows
// for the others (here after the CSV header and a row, or two JSON rows).
TEST(RowFileTest, NotRows) {
  const std::string row = "a.log,,ok,,,,,,,,,,,,,,,,\n";
  const std::string json = kJsonRows.substr(0, kJsonRows.find('\n') + 1);
  const std::string no_header = "the first line is neither tabrun's CSV header nor a JSON row";
  struct Case {
    std::string text;
    std::string error;
  };
  const Case headers[] = {
      {" Control file *.pcr: a\n", no_header},
      {"lo", no_header},
      {"log,kind,state\n", "column 3 of the header is 'state', where tabrun writes 'status'"},
      {"log,kind,status,control_file,cpu_seconds,chi2,rp,rwp,rexp,rf2,rf2w,rf,result\n",
       "the header has 13 columns, where tabrun writes 14 at least ('log' to 'error')"},
      {kHeader.substr(0, kHeader.size() - 1) + ",x\n",
       "the header has more columns than tabrun writes: 'x' and on"},
  };
  const Case csv_rows[] = {
      {"a.log,,ok\n", "the row has 3 fields, where the header has 19"},
      {row.substr(0, row.size() - 1) + ",\n", "the row has more fields than the 19 of the header"},
      {"\"a\"b,,ok,,,,,,,,,,,,,,,,\n", "a quoted field goes on after its closing quote"},
      {"a\"b,,ok,,,,,,,,,,,,,,,,\n", "a field that is not quoted holds a double quote"},
      {"\"a,,ok,,,,,,,,,,,,,,,,\n", "the file ends inside a row, without a line feed: cut short?"},
      {row.substr(0, row.size() - 1),
       "the file ends inside a row, without a line feed: cut short?"},
      {"a.log,,okay,,,,,,,,,,,,,,,,\n", "status 'okay' is none of tabrun's"},
      {"a.log,x,ok,,,,,,,,,,,,,,,,\n", "kind 'x' is none of tabrun's"},
      {"a.log,,ok,,1.,,,,,,,,,,,,,,\n", "cpu_seconds '1.' is not a number"},
      {"a.log,,ok,,,,,,,,,,,,,,,012,\n", "bytes '012' is not a number"},
      {"a.log,,ok,,,,,,,,,,,,,,,,inf\n", ""},  // a text column takes any text
  };
  const Case json_rows[] = {
      {"{\"log\":\"a\",\"kind\":null,\"state\":\"ok\"}\n", "key 3 is not \"status\""},
      {"{\"log\":\"a\",\"kind\":null,\"status\":\"ok\"}\n",
       "the row has 3 columns, where tabrun writes 14 at least ('log' to 'error')"},
      {json.substr(0, json.size() - 2) + ",\"x\":null}\n",
       "the row has more keys than tabrun writes"},
      {"{\"log\":1,\"kind\":null}\n", "log holds no string nor null"},
      {"{\"log\":\"a\",\"kind\":null,\"status\":\"ok\",\"control_file\":null,\"cpu_seconds\":"
       "\"1\"}\n",
       "cpu_seconds holds no number nor null"},
      {"{\"log\":\"a\" ,\"kind\":null}\n",
       "the value of log is not followed by ',' or by '}' at the end"},
      {json.substr(0, json.size() - 1) + " \n",
       "the value of modified is not followed by ',' or by '}' at the end"},
      {"{\"log\":\"a\\x\"}\n", "a string holds the unknown escape \\x"},
      {"{\"log\":\"a\\ud800\"}\n", "a string holds half of a surrogate pair"},
      {"{\"log\":\"\\udc00\"}\n", "a string holds half of a surrogate pair"},
      {"{\"log\":\"\\u00g0\"}\n", "a string holds a \\u escape without four hex digits"},
      {"{\"log\":\"a\tb\"}\n", "a control character stands in a string unescaped"},
      {"{\"log\":\"a}\n", "a string is not closed"},
      {"\n", "a line that is not a JSON object"},
      {"log,kind\n", "a line that is not a JSON object"},
  };
  const std::string what = "not rows that tabrun wrote: ";
  const std::pair<std::string, std::span<const Case>> groups[] = {
      {"", headers}, {kHeader + row, csv_rows}, {json + json, json_rows}};
  for (const auto& [before, cases] : groups) {
    for (const Case& c : cases) {
      const Read read = AsCsv(before + c.text, 5);
      const std::string line = before.empty() ? "f.csv:1: " : "f.csv:3: ";
      EXPECT_EQ(read.error, c.error.empty() ? "" : line + what + c.error) << c.text;
      if (!c.error.empty()) {
        EXPECT_EQ(read.rows, AsCsv(before).rows) << c.text;
      }
    }
  }
}

// A read that fails ends the file with the system's reason.
TEST(RowFileTest, ReadFails) {
  RowFile file("shard.csv", [](char*, std::size_t, std::string* error) {
    *error = "Input/output error";
    return std::int64_t{-1};
  });
  WrittenRow row;
  EXPECT_EQ(file.Next(&row), RowFile::Result::kError);
  EXPECT_EQ(file.error(), "shard.csv: cannot read: Input/output error");
}

}  // namespace
}  // namespace tabrun
