// The numbers in a log's name, and the natural order of names that reads them by value.

#ifndef TABRUN_ANALYSIS_NATURAL_ORDER_H_
#define TABRUN_ANALYSIS_NATURAL_ORDER_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace tabrun {

// A number in a text: text[begin, end) and its value.
struct NumberInText {
  std::size_t begin = 0;
  std::size_t end = 0;
  double value = 0;
};

// Finds the first number of `text` that starts at `from` or after it: a run of the digits 0 to
// 9, together with a '.' and the run of digits right after it when they follow. Its value is
// the nearest double, an infinity when it is too large for one. Returns false when there is
// none. The numbers of a text are found one after another by starting each search at the end
// of the number before: "a1.2.3" holds 1.2 and 3.
bool NextNumber(std::string_view text, std::size_t from, NumberInText* number);

// The key of `name` in natural order: its bytes, but each number of it written as a '0' and
// the eight bytes of its double, high first. Doubles that are not negative order as their bits
// do, and every number takes nine bytes, so that keys compared byte by byte order numbers by
// value (T5K < T10K < T100K, T12.25K < T12.5K) and as a '0' against other text. Names that
// write one number apart (T05K, T5K) have equal keys.
std::string NaturalKey(std::string_view name);
// The same, appended to *key.
void AppendNaturalKey(std::string_view name, std::string* key);

// Natural order, as the report page sorts log names: by key, then, between equal keys, by the
// names' bytes. REQUIRES: each key is NaturalKey of its name.
inline bool NaturalLess(std::string_view key_a, std::string_view a, std::string_view key_b,
                        std::string_view b) {
  const int by_key = key_a.compare(key_b);
  return by_key != 0 ? by_key < 0 : a < b;
}

// The same for two names alone, each key made for the one comparison: for a few names; sort
// many by keys made once.
inline bool NaturalLess(std::string_view a, std::string_view b) {
  return NaturalLess(NaturalKey(a), a, NaturalKey(b), b);
}

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_NATURAL_ORDER_H_
