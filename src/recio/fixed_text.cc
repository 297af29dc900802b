#include "recio/fixed_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "os/bytes.h"

namespace tabrun {

FixedText::FixedText() { data_.fill(' '); }

void FixedText::Assign(std::string_view value) {
  const size_t keep = std::min(value.size(), data_.size());
  // memmove: the value may be a view of this very buffer. An empty one may have no data at all.
  if (keep > 0) std::memmove(data_.data(), value.data(), keep);
  std::fill(data_.begin() + keep, data_.end(), ' ');
}

FixedText::FixedText(std::initializer_list<std::string_view> pieces) {
  size_t used = 0;
  for (std::string_view piece : pieces) {
    const size_t keep = std::min(piece.size(), data_.size() - used);
    if (keep > 0) std::memcpy(data_.data() + used, piece.data(), keep);
    used += keep;
  }
  std::fill(data_.begin() + used, data_.end(), ' ');
}

std::string_view FixedText::Trimmed() const { return TrimRight(view()); }

std::string_view FixedText::Columns(int first, int last) const {
  last = std::min(last, kRecordLength);
  if (first > last) return {};
  return view().substr(first - 1, last - first + 1);
}

std::string_view TrimRight(std::string_view text) {
  // Eight blanks at a time first: most of a record is padding.
  constexpr std::uint64_t kBlanks = 0x2020202020202020;
  size_t end = text.size();
  for (std::uint64_t word; end >= 8; end -= 8) {
    std::memcpy(&word, text.data() + end - 8, 8);
    if (word != kBlanks) break;
  }
  while (end > 0 && text[end - 1] == ' ') --end;
  return text.substr(0, end);
}

std::string_view Trim(std::string_view text) {
  text = TrimRight(text);
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

int Index(std::string_view text, std::string_view pattern) {
  const size_t at = text.find(pattern);
  return at == std::string_view::npos ? 0 : static_cast<int>(at) + 1;
}

int IndexLast(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return static_cast<int>(text.size()) + 1;
  // Only where the pattern's first byte stands, found from the right: rfind compares the
  // whole pattern at every position of the text.
  size_t starts = text.size() < pattern.size() ? 0 : text.size() - pattern.size() + 1;
  while (starts > 0) {
    const char* hit = os::LastByte(text.data(), pattern.front(), starts);
    if (hit == nullptr) break;
    const auto at = static_cast<size_t>(hit - text.data());
    if (text.substr(at, pattern.size()) == pattern) return static_cast<int>(at) + 1;
    starts = at;
  }
  return 0;
}

}  // namespace tabrun
