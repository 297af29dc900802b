#include "recio/number.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

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

// The first value of `text` in *token, when it is a real constant.
RealReadResult FirstValue(std::string_view text, std::string_view* token) {
  std::size_t start = 0;
  while (start < text.size() && text[start] == ' ') ++start;
  if (start == text.size()) return RealReadResult::kNoValue;
  if (text[start] == ',' || text[start] == '/') return RealReadResult::kNull;
  std::size_t end = start;
  while (end < text.size() && text[end] != ' ' && text[end] != ',' && text[end] != '/') ++end;
  *token = text.substr(start, end - start);
  return IsRealConstant(*token) ? RealReadResult::kValue : RealReadResult::kNotANumber;
}

// The real constant `token`, rounded once to the nearest Real. std::from_chars reads most of
// them without copying; it takes no plus sign and no D exponent, and leaves a value too large
// or too small for Real alone, so those go through strtof or strtod, which round once too and
// give an infinity on overflow. A standard library without from_chars for floating point
// (libc++ before 17) sends every value that way: the program reads few numbers per log.
template <typename Real>
Real ConvertReal(std::string_view token) {
#if defined(__cpp_lib_to_chars)
  const std::string_view digits = token.front() == '+' ? token.substr(1) : token;
  Real value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc() && end == digits.data() + digits.size()) return value;
#endif
  std::string copy(token);
  for (char& c : copy) {
    if (c == 'D' || c == 'd') c = 'E';
  }
  if constexpr (std::is_same_v<Real, float>) {
    return std::strtof(copy.c_str(), nullptr);
  } else {
    return std::strtod(copy.c_str(), nullptr);
  }
}

template <typename Real>
RealReadResult ReadRealAs(std::string_view text, Real* value) {
  std::string_view token;
  const RealReadResult result = FirstValue(text, &token);
  if (result == RealReadResult::kValue) *value = ConvertReal<Real>(token);
  return result;
}

}  // namespace

RealReadResult ReadReal(std::string_view text, float* value) { return ReadRealAs(text, value); }

RealReadResult ReadReal(std::string_view text, double* value) { return ReadRealAs(text, value); }

RealReadResult ReadReal(std::string_view text, float* single, double* wide) {
  std::string_view token;
  const RealReadResult result = FirstValue(text, &token);
  if (result == RealReadResult::kValue) {
    *single = ConvertReal<float>(token);
    *wide = ConvertReal<double>(token);
  }
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
