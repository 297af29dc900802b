#include "analysis/natural_order.h"

#include <bit>
#include <cstdint>

#include "recio/number.h"

namespace tabrun {
namespace {

bool IsDigit(std::string_view text, std::size_t i) {
  return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

std::size_t DigitsEnd(std::string_view text, std::size_t i) {
  while (IsDigit(text, i)) ++i;
  return i;
}

}  // namespace

bool NextNumber(std::string_view text, std::size_t from, NumberInText* number) {
  std::size_t begin = from;
  while (begin < text.size() && !IsDigit(text, begin)) ++begin;
  if (begin >= text.size()) return false;
  std::size_t end = DigitsEnd(text, begin);
  if (IsDigit(text, end + 1) && text[end] == '.') end = DigitsEnd(text, end + 1);
  double value = 0;
  // Digits always read: a run too long for a double reads as an infinity.
  ReadReal(text.substr(begin, end - begin), &value);
  *number = {begin, end, value};
  return true;
}

std::string NaturalKey(std::string_view name) {
  std::string key;
  AppendNaturalKey(name, &key);
  return key;
}

void AppendNaturalKey(std::string_view name, std::string* key) {
  NumberInText number;
  std::size_t at = 0;
  while (NextNumber(name, at, &number)) {
    key->append(name.substr(at, number.begin - at));
    key->push_back('0');
    const auto bits = std::bit_cast<std::uint64_t>(number.value);
    for (int shift = 56; shift >= 0; shift -= 8) key->push_back(static_cast<char>(bits >> shift));
    at = number.end;
  }
  key->append(name.substr(at));
}

}  // namespace tabrun
