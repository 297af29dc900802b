// Fixed-width, blank-padded text and the text helpers that work on it.
//
// Every record the program reads, and every name and result text it builds, lives in a
// buffer of exactly kRecordLength characters: shorter values are padded with blanks on the
// right, longer ones are cut on the right. Only the blank (code 32) counts as white space.
// Positions are 1-based wherever a function takes or returns one, so that the code reads
// like the column numbers the summary layout is described in.

#ifndef TABRUN_RECIO_FIXED_TEXT_H_
#define TABRUN_RECIO_FIXED_TEXT_H_

#include <array>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tabrun {

inline constexpr int kRecordLength = 256;

// A text of exactly kRecordLength characters, blank-padded on the right.
class FixedText {
 public:
  // An all-blank text.
  FixedText();
  explicit FixedText(std::string_view value) { Assign(value); }
  // The pieces side by side, padded with blanks or cut on the right.
  explicit FixedText(std::initializer_list<std::string_view> pieces);

  // Replaces the whole text by `value`, padded with blanks or cut on the right. `value` may
  // point into this text itself.
  void Assign(std::string_view value);

  // All kRecordLength characters, trailing blanks included.
  std::string_view view() const { return {data_.data(), data_.size()}; }

  // The text without its trailing blanks; empty when the text is all blank.
  std::string_view Trimmed() const;

  // Columns `first` to `last` inclusive (1-based). Columns past kRecordLength do not exist:
  // the range is clipped there, and it is empty when first > last or first > kRecordLength.
  // REQUIRES: first >= 1.
  std::string_view Columns(int first, int last) const;

 private:
  std::array<char, kRecordLength> data_;
};

// `text` without its trailing blanks.
std::string_view TrimRight(std::string_view text);

// `text` without its leading and trailing blanks.
std::string_view Trim(std::string_view text);

// The 1-based position of the first occurrence of `pattern` in `text`; 0 when it is absent,
// when `text` is empty or when `pattern` is longer than `text`; 1 for an empty pattern.
// The comparison is exact and `pattern` is used at its full length, trailing blanks included.
int Index(std::string_view text, std::string_view pattern);

// The 1-based position of the last occurrence of `pattern` in `text`; 0 when it is absent;
// text.size() + 1 for an empty pattern.
int IndexLast(std::string_view text, std::string_view pattern);

}  // namespace tabrun

#endif  // TABRUN_RECIO_FIXED_TEXT_H_
