#include "recio/number.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tabrun {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Skips a run of digits starting at `i`; returns how many there were.
std::size_t SkipDigits(std::string_view text, std::size_t* i) {
  const std::size_t start = *i;
  while (*i < text.size() && IsDigit(text[*i])) ++*i;
  return *i - start;
}

// True when `token` is a whole real constant: [sign] digits [. digits] [exponent].
bool IsRealConstant(std::string_view token) {
  std::size_t i = 0;
  if (i < token.size() && (token[i] == '+' || token[i] == '-')) ++i;
  std::size_t digits = SkipDigits(token, &i);
  if (i < token.size() && token[i] == '.') {
    ++i;
    digits += SkipDigits(token, &i);
  }
  if (digits == 0) return false;
  if (i < token.size() &&
      (token[i] == 'E' || token[i] == 'e' || token[i] == 'D' || token[i] == 'd')) {
    ++i;
    if (i < token.size() && (token[i] == '+' || token[i] == '-')) ++i;
    if (SkipDigits(token, &i) == 0) return false;
  }
  return i == token.size();
}

std::string RightJustify(std::string text, std::size_t width) {
  if (text.size() < width) text.insert(0, width - text.size(), ' ');
  return text;
}

// The first value of `text` as a real constant with D exponents turned into E, ready for
// strtof or strtod; kValue when there is one.
RealReadResult FirstValue(std::string_view text, std::string* token) {
  const std::size_t start = text.find_first_not_of(' ');
  if (start == std::string_view::npos) return RealReadResult::kNoValue;
  if (text[start] == ',' || text[start] == '/') return RealReadResult::kNull;
  const std::size_t end = std::min(text.find_first_of(" ,/", start), text.size());
  token->assign(text.substr(start, end - start));
  if (!IsRealConstant(*token)) return RealReadResult::kNotANumber;
  for (char& c : *token) {
    if (c == 'D' || c == 'd') c = 'E';
  }
  return RealReadResult::kValue;
}

}  // namespace

RealReadResult ReadReal(std::string_view text, float* value) {
  std::string token;
  const RealReadResult result = FirstValue(text, &token);
  // strtof rounds once, straight to single precision, and gives an infinity on overflow.
  if (result == RealReadResult::kValue) *value = std::strtof(token.c_str(), nullptr);
  return result;
}

RealReadResult ReadReal(std::string_view text, double* value) {
  std::string token;
  const RealReadResult result = FirstValue(text, &token);
  if (result == RealReadResult::kValue) *value = std::strtod(token.c_str(), nullptr);
  return result;
}

std::string FormatFixed14_3(float value) {
  constexpr std::size_t kWidth = 14;
  if (std::isnan(value)) return RightJustify("NaN", kWidth);
  char digits[64];
  // The float widens to double exactly, and printf rounds its exact binary value.
  const int length = std::snprintf(digits, sizeof digits, "%.3f", static_cast<double>(value));
  // An infinity is too large for any width.
  if (std::isinf(value) || length < 0 || static_cast<std::size_t>(length) > kWidth) {
    return std::string(kWidth, '*');
  }
  return RightJustify(digits, kWidth);
}

std::string FormatListInteger(std::int32_t value) {
  return RightJustify(std::to_string(value), 12);
}

}  // namespace tabrun
