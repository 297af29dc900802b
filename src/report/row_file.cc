#include "report/row_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace tabrun {
namespace {

// How many bytes a read asks for.
constexpr std::size_t kPiece = 64 << 10;

// `text` in quotes for a message, cut where it would make the line long.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  if (text.size() <= kShown) return "'" + std::string(text) + "'";
  return "'" + std::string(text.substr(0, kShown)) + "...'";
}

std::string ColumnsLacking(std::size_t columns) {
  return std::to_string(columns) + (columns == 1 ? " column" : " columns") +
         ", where tabrun writes " + std::to_string(kFirstColumns) + " at least ('" +
         kColumnNames[0] + "' to '" + kColumnNames[kFirstColumns - 1] + "')";
}

// True when `text` is a number as JSON writes one, which is how the rows write theirs.
bool IsJsonNumber(std::string_view text) {
  std::size_t i = 0;
  const auto digit = [&text](std::size_t at) {
    return at < text.size() && text[at] >= '0' && text[at] <= '9';
  };
  const auto digits = [&](std::size_t at) {
    while (digit(at)) ++at;
    return at;
  };
  if (i < text.size() && text[i] == '-') ++i;
  if (!digit(i)) return false;
  i = text[i] == '0' ? i + 1 : digits(i);
  if (i < text.size() && text[i] == '.') {
    if (!digit(i + 1)) return false;
    i = digits(i + 1);
  }
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    if (!digit(i)) return false;
    i = digits(i);
  }
  return i == text.size();
}

// The place of `name` among `names`, or -1.
template <std::size_t N>
int IndexOf(const char* const (&names)[N], std::string_view name) {
  for (std::size_t i = 0; i < N; ++i) {
    if (name == names[i]) return static_cast<int>(i);
  }
  return -1;
}

// Takes the kind and the status of a row whose first `columns` cells are read, and checks its
// number cells; empties the cells past them. Returns what is wrong, or an empty text.
std::string CheckCells(std::size_t columns, WrittenRow* row) {
  for (std::size_t i = columns; i < kColumns; ++i) row->cells[i].clear();
  const int kind = IndexOf(kKindNames, row->cells[kKindColumn]);
  if (kind < 0) return "kind " + Quoted(row->cells[kKindColumn]) + " is none of tabrun's";
  const int status = IndexOf(kStatusNames, row->cells[kStatusColumn]);
  if (status < 0) return "status " + Quoted(row->cells[kStatusColumn]) + " is none of tabrun's";
  row->kind = static_cast<RunKind>(kind);
  row->status = static_cast<RunStatus>(status);
  for (std::size_t i = 0; i < columns; ++i) {
    const std::string& cell = row->cells[i];
    if (IsNumberColumn(i) && !cell.empty() && !IsJsonNumber(cell)) {
      return std::string(kColumnNames[i]) + " " + Quoted(cell) + " is not a number";
    }
  }
  return {};
}

void AppendUtf8(std::uint32_t code, std::string* out) {
  if (code < 0x80) {
    out->push_back(static_cast<char>(code));
    return;
  }
  char bytes[4];
  int count = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  for (int i = count - 1; i > 0; --i, code >>= 6)
    bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
  constexpr unsigned char kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
  bytes[0] = static_cast<char>(kLead[count] | code);
  out->append(bytes, static_cast<std::size_t>(count));
}

// The four hex digits of a \u escape at text[at], or -1.
int Hex4(std::string_view text, std::size_t at) {
  if (at + 4 > text.size()) return -1;
  int value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    const char c = text[i];
    const int digit = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
    if (digit < 0) return -1;
    value = value * 16 + digit;
  }
  return value;
}

// Reads the JSON string that starts at text[*at] (a quote) into *out, and moves *at past it.
// Returns what is wrong, or an empty text.
std::string ReadJsonString(std::string_view text, std::size_t* at, std::string* out) {
  std::size_t i = *at + 1;
  for (;;) {
    const std::size_t plain = i;
    while (i < text.size() && text[i] != '"' && text[i] != '\\' &&
           static_cast<unsigned char>(text[i]) >= 0x20) {
      ++i;
    }
    out->append(text.substr(plain, i - plain));
    if (i == text.size()) return "a string is not closed";
    if (text[i] == '"') break;
    if (text[i] != '\\') return "a control character stands in a string unescaped";
    if (++i == text.size()) return "a string is not closed";
    const char escaped = text[i++];
    if (const char* found = std::strchr("\"\\/bfnrt", escaped); found != nullptr && escaped != 0) {
      out->push_back("\"\\/\b\f\n\r\t"[found - "\"\\/bfnrt"]);
      continue;
    }
    if (escaped != 'u') return std::string("a string holds the unknown escape \\") + escaped;
    int code = Hex4(text, i);
    i += 4;
    if (code >= 0xD800 && code < 0xDC00) {
      const int low = text.substr(i, 2) == "\\u" ? Hex4(text, i + 2) : -1;
      if (low < 0xDC00 || low > 0xDFFF) return "a string holds half of a surrogate pair";
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      i += 6;
    } else if (code >= 0xDC00 && code <= 0xDFFF) {
      return "a string holds half of a surrogate pair";
    }
    if (code < 0) return "a string holds a \\u escape without four hex digits";
    AppendUtf8(static_cast<std::uint32_t>(code), out);
  }
  *at = i + 1;
  return {};
}

}  // namespace

RowFile::RowFile(std::string name, ReadBytes read)
    : name_(std::move(name)), read_(std::move(read)) {}

RowFile::Result RowFile::Next(WrittenRow* row) {
  if (!error_.empty()) return Result::kError;
  for (;;) {
    if (format_ == Format::kUnknown) {
      while (buffer_.size() - start_ < 4 && Fill()) {
      }
      if (!error_.empty()) return Result::kError;
      if (buffer_.size() == start_) return Result::kEnd;
      if (buffer_[start_] == '{') {
        format_ = Format::kJson;
      } else if (buffer_.compare(start_, 4, "log,") == 0) {
        format_ = Format::kCsv;
      } else {
        return Fail("the first line is neither tabrun's CSV header nor a JSON row");
      }
    }
    std::size_t end;
    while ((end = RecordEnd()) == std::string::npos) {
      if (Fill()) continue;
      if (!error_.empty()) return Result::kError;
      if (start_ == buffer_.size()) return Result::kEnd;
      return Fail("the file ends inside a row, without a line feed: cut short?");
    }
    std::string_view record(buffer_.data() + start_, end - start_);
    const auto lines = static_cast<std::uint64_t>(std::count(record.begin(), record.end(), '\n'));
    if (record.ends_with('\r')) record.remove_suffix(1);
    const bool header = format_ == Format::kCsv && columns_ == 0;
    const std::string what = format_ == Format::kJson ? ReadJsonRow(record, row)
                             : header                 ? ReadHeader(record)
                                                      : ReadCsvRow(record, row);
    if (!what.empty()) return Fail(what);
    start_ = scan_ = end + 1;
    line_ += lines + 1;
    if (!header) return Result::kRow;
  }
}

bool RowFile::Fill() {
  if (ended_) return false;
  // Only the record being read is kept.
  buffer_.erase(0, start_);
  scan_ -= start_;
  start_ = 0;
  const std::size_t had = buffer_.size();
  buffer_.resize(had + kPiece);
  std::string reason;
  const std::int64_t got = read_(buffer_.data() + had, kPiece, &reason);
  buffer_.resize(had + static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  if (got < 0) error_ = name_ + ": cannot read: " + reason;
  ended_ = got <= 0;
  return got > 0;
}

std::size_t RowFile::RecordEnd() {
  if (format_ == Format::kJson) {
    const std::size_t end = buffer_.find('\n', scan_);
    scan_ = end == std::string::npos ? buffer_.size() : end;
    return end;
  }
  // A quote opens a quoted field only at the start of the field; in one, two quotes stand for
  // one, and a quote before anything else closes it.
  for (; scan_ < buffer_.size(); ++scan_) {
    const char c = buffer_[scan_];
    if (field_ == Field::kQuoted) {
      if (c == '"') field_ = Field::kQuoteInQuoted;
    } else if (field_ == Field::kQuoteInQuoted && c == '"') {
      field_ = Field::kQuoted;
    } else if (c == '\n') {
      field_ = Field::kStart;
      return scan_;
    } else {
      field_ = c == ','                              ? Field::kStart
               : c == '"' && field_ == Field::kStart ? Field::kQuoted
                                                     : Field::kUnquoted;
    }
  }
  return std::string::npos;
}

RowFile::Result RowFile::Fail(std::string what) {
  error_ = name_ + ":" + std::to_string(line_) + ": not rows that tabrun wrote: " + what;
  return Result::kError;
}

std::string RowFile::ReadHeader(std::string_view record) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at <= record.size(); ++columns) {
    const std::size_t comma = std::min(record.find(',', at), record.size());
    const std::string_view name = record.substr(at, comma - at);
    if (columns == kColumns) {
      return "the header has more columns than tabrun writes: " + Quoted(name) + " and on";
    }
    if (name != kColumnNames[columns]) {
      return "column " + std::to_string(columns + 1) + " of the header is " + Quoted(name) +
             ", where tabrun writes '" + kColumnNames[columns] + "'";
    }
    at = comma + 1;
  }
  if (columns < kFirstColumns) return "the header has " + ColumnsLacking(columns);
  columns_ = columns;
  return {};
}

std::string RowFile::ReadCsvRow(std::string_view record, WrittenRow* row) {
  std::size_t fields = 0;
  for (std::size_t at = 0;; ++at) {
    if (fields == columns_) {
      return "the row has more fields than the " + std::to_string(columns_) + " of the header";
    }
    std::string& cell = row->cells[fields++];
    cell.clear();
    if (at < record.size() && record[at] == '"') {
      // A quoted field: its quotes doubled inside; the record's end is outside of it.
      for (++at;;) {
        const std::size_t quote = record.find('"', at);
        if (quote == std::string_view::npos) return "a quoted field is not closed";
        cell.append(record.substr(at, quote - at));
        at = quote + 1;
        if (at == record.size() || record[at] != '"') break;
        cell.push_back('"');
        ++at;
      }
      if (at < record.size() && record[at] != ',') {
        return "a quoted field goes on after its closing quote";
      }
    } else {
      const std::size_t comma = std::min(record.find(',', at), record.size());
      const std::string_view text = record.substr(at, comma - at);
      if (text.find('"') != std::string_view::npos) {
        return "a field that is not quoted holds a double quote";
      }
      cell.assign(text);
      at = comma;
    }
    if (at == record.size()) break;
  }
  if (fields != columns_) {
    return "the row has " + std::to_string(fields) + (fields == 1 ? " field" : " fields") +
           ", where the header has " + std::to_string(columns_);
  }
  return CheckCells(fields, row);
}

std::string RowFile::ReadJsonRow(std::string_view record, WrittenRow* row) {
  if (!record.starts_with('{')) return "a line that is not a JSON object";
  std::size_t at = 1;
  std::size_t keys = 0;
  for (;;) {
    if (keys == kColumns) return "the row has more keys than tabrun writes";
    const std::string key = std::string("\"") + kColumnNames[keys] + "\":";
    if (record.substr(at, key.size()) != key) {
      return "key " + std::to_string(keys + 1) + " is not \"" + kColumnNames[keys] + "\"";
    }
    at += key.size();
    std::string& cell = row->cells[keys];
    cell.clear();
    const bool number = IsNumberColumn(keys);
    const char* const name = kColumnNames[keys++];
    if (record.substr(at, 4) == "null") {
      at += 4;
    } else if (at < record.size() && record[at] == '"' && !number) {
      if (std::string what = ReadJsonString(record, &at, &cell); !what.empty()) return what;
    } else {
      const std::size_t end =
          std::min(record.find_first_not_of("+-.0123456789Ee", at), record.size());
      if (!number || !IsJsonNumber(record.substr(at, end - at))) {
        return std::string(name) + " holds no " + (number ? "number" : "string") + " nor null";
      }
      cell.assign(record.substr(at, end - at));
      at = end;
    }
    if (at < record.size() && record[at] == ',') {
      ++at;
      continue;
    }
    if (at + 1 != record.size() || record[at] != '}') {
      return std::string("the value of ") + name + " is not followed by ',' or by '}' at the end";
    }
    break;
  }
  if (keys < kFirstColumns) return "the row has " + ColumnsLacking(keys);
  return CheckCells(keys, row);
}

}  // namespace tabrun
