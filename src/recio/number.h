// Number conversions between text and the 32-bit values the summary prints.

#ifndef TABRUN_RECIO_NUMBER_H_
#define TABRUN_RECIO_NUMBER_H_

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace tabrun {

enum class RealReadResult {
  kValue,    // a number was read and stored
  kNull,     // the list starts with a comma or a slash: nothing stored, the target keeps its value
  kNoValue,  // the text is empty or all blank
  kNotANumber,  // the first value is not a real number
};

// Reads the first value of `text` the way a list-directed read of one real number does.
// Leading blanks are skipped; the value ends at a blank, a comma, a slash or the end of the
// text. Accepted: an optional sign, digits with an optional decimal point (at least one
// digit), and an optional exponent of E, e, D or d with an optional sign and at least one
// digit. The value is rounded to the nearest single-precision number; a value too large for
// single precision becomes an infinity of its sign. *value is written only for kValue.
RealReadResult ReadReal(std::string_view text, float* value);
// The same read in double precision.
RealReadResult ReadReal(std::string_view text, double* value);
// The same read once, its value rounded once to each precision: a double rounded again to
// single precision can differ from the direct conversion.
RealReadResult ReadReal(std::string_view text, float* single, double* wide);

// The value in 14 columns with 3 decimals: rounded to the nearest (exact halves of the binary
// value round to even), right-justified, a zero before the point when the integer part is
// zero, a minus sign for negative values. 14 asterisks when it needs more than 14 columns,
// as an infinity does; a NaN prints as "NaN", right-justified.
std::string FormatFixed14_3(float value);

// The integer right-justified in the 12 columns of list-directed output.
std::string FormatListInteger(std::int32_t value);

// The integer that the whole of `text` is: decimal digits after an optional minus sign. None
// when anything else is there, or the value does not fit T.
template <typename T>
std::optional<T> WholeInteger(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return value;
}

}  // namespace tabrun

#endif  // TABRUN_RECIO_NUMBER_H_
