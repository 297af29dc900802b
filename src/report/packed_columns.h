// The rows of a page, carried column by column: each column compressed as it grows.

#ifndef TABRUN_REPORT_PACKED_COLUMNS_H_
#define TABRUN_REPORT_PACKED_COLUMNS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/packed_text.h"

namespace tabrun {

// Columns of rows as a page's script unpacks them (PageData): a code column holds one byte per
// row, the index of its text among the column's `values`; a number column the numbers as text
// between commas, empty for none; a text column a JSON array of strings. Each is deflated and
// base64-encoded. Memory holds the compressed columns, not the rows.
class PackedColumns {
 public:
  enum class Type : std::uint8_t { kCode, kNumber, kText };
  struct Column {
    const char* name;
    Type type;
    std::vector<const char*> values;  // for kCode: the text of each code
  };

  explicit PackedColumns(const std::vector<Column>& columns);

  // One row's cells as the columns carry them: one call per column, in the order of the
  // columns. They can be made on any thread, apart from the columns.
  class Cells {
   public:
    void Code(std::uint8_t code) { Start().push_back(static_cast<char>(code)); }
    void Number(std::string_view digits) { Start().append(",").append(digits); }
    void Text(std::string_view text);  // any bytes: written as a JSON string
    // Makes room for `cells` cells of `bytes` bytes in all, so that a row is made with one
    // allocation of each kind.
    void Reserve(std::size_t cells, std::size_t bytes) {
      start_.reserve(cells);
      text_.reserve(bytes);
    }

    // The cells as one text and where each starts in it, for keeping them elsewhere; a text
    // and starts that came from here make the same cells again.
    const std::string& text() const { return text_; }
    const std::vector<std::uint32_t>& starts() const { return start_; }
    Cells() = default;
    Cells(std::string text, std::vector<std::uint32_t> starts)
        : text_(std::move(text)), start_(std::move(starts)) {}

   private:
    friend class PackedColumns;
    std::string& Start() {
      start_.push_back(static_cast<std::uint32_t>(text_.size()));
      return text_;
    }
    std::string text_;
    std::vector<std::uint32_t> start_;  // cell i starts at text_[start_[i]]
  };

  // Adds the next row. REQUIRES: `cells` has a cell per column; Write has not been called.
  void Add(const Cells& cells);

  std::uint64_t rows() const { return rows_; }

  // Writes "rows":N,"columns":[...], each column as {"name", "type", "values" for a code
  // column, "data"}. REQUIRES: called once, after the last Add.
  void Write(const PageSink& sink);

 private:
  std::vector<Column> columns_;
  std::vector<std::unique_ptr<PackedText>> packed_;
  std::uint64_t rows_ = 0;
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_PACKED_COLUMNS_H_
