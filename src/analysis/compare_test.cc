#include "analysis/compare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "analysis/natural_order.h"

namespace tabrun {
namespace {

TEST(NaturalOrderTest, NamesInTheOrderOfThePage) {
  // In order, as the page's natural order sorts them: numbers by value wherever they stand,
  // as a '0' against other text; equal keys by the bytes.
  const std::vector<std::string> sorted = {
      "", "T05K", "T5K", "T10K", "T12.25K", "T12.5K", "T100K", "T100K.b", "Ta", "a1.10", "a1.2.3",
      "a1.2.10", "a2", "a10", "b", "n2/S12_t9", "n2/S12_t10", "n10/S1_t1",
      // 1e16 and ...01 are one double; ...02 is the next one.
      "r10000000000000000", "r10000000000000001", "r10000000000000002", "x" + std::string(399, '9'),
      "\xc3\xa9"};
  std::vector<std::string> names(sorted.rbegin(), sorted.rend());
  std::stable_sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return NaturalLess(NaturalKey(a), a, NaturalKey(b), b);
  });
  EXPECT_EQ(names, sorted);
}

TEST(NaturalOrderTest, NumbersInAText) {
  const struct {
    const char* text;
    std::vector<double> numbers;
  } cases[] = {
      {"", {}},
      {"T.5K", {5}},
      {"a1.2.3", {1.2, 3}},
      {"x12.y", {12}},
      {"007.50", {7.5}},
      {"1e5", {1, 5}},
      {"run10000000000000001", {1e16}},
  };
  for (const auto& c : cases) {
    std::vector<double> found;
    NumberInText number;
    for (std::size_t at = 0; NextNumber(c.text, at, &number); at = number.end) {
      found.push_back(number.value);
    }
    EXPECT_EQ(found, c.numbers) << c.text;
  }
  EXPECT_EQ(NameNumber("9/x.log"), std::nullopt);
  EXPECT_EQ(NameNumber(std::string(400, '9')), std::nullopt);  // no double holds it
}

// A batch of runs by these names.
BatchRuns Batch(const std::vector<std::string>& names) {
  BatchRuns batch;
  for (const std::string& name : names) batch.Add(name, RunRow{});
  return batch;
}

// The pairs as "name:side" texts, the name taken from the batch the pair points into.
std::string Describe(const Pairing& pairing, const BatchRuns& before, const BatchRuns& after) {
  if (pairing.twice) {
    return "twice " + *pairing.twice +
           (pairing.twice_in == PairSide::kAfter ? " after" : " before");
  }
  std::string text;
  for (const RunPair& pair : pairing.pairs) {
    const char* const kSides[] = {"both", "before", "after"};
    const std::string_view name =
        pair.side == PairSide::kAfter ? after.name(pair.after) : before.name(pair.before);
    if (pair.side == PairSide::kBoth && before.name(pair.before) != after.name(pair.after)) {
      text += "(mismatch) ";
    }
    text += std::string(name) + ":" + kSides[static_cast<int>(pair.side)] + " ";
  }
  return text;
}

TEST(CompareTest, PairsByNameInNaturalOrder) {
  const struct {
    std::vector<std::string> before, after;
    const char* pairs;
  } cases[] = {
      {{}, {}, ""},
      {{"T10K.log", "T4K.log"}, {"T4K.log", "T10K.log"}, "T4K.log:both T10K.log:both "},
      // Names one side only, before and after the names of both and between them.
      {{"a.log", "c.log", "e.log"},
       {"b.log", "c.log", "d.log", "f.log"},
       "a.log:before b.log:after c.log:both d.log:after e.log:before f.log:after "},
      // No name in common.
      {{"x1"}, {"x2"}, "x1:before x2:after "},
      // Names that one number apart are two names, next to each other.
      {{"T5K"}, {"T05K", "T5K"}, "T05K:after T5K:both "},
      {{"b", "a", "b"}, {}, "twice b before"},
      {{"a"}, {"T2", "T02", "T2"}, "twice T2 after"},
  };
  for (const auto& c : cases) {
    const BatchRuns before = Batch(c.before);
    const BatchRuns after = Batch(c.after);
    EXPECT_EQ(Describe(PairRuns(before, after), before, after), c.pairs) << c.pairs;
  }
}

TEST(CompareTest, Change) {
  constexpr double kMax = std::numeric_limits<double>::max();
  const std::optional<double> kNone;
  const struct {
    std::optional<double> before, after, change, relative;
  } cases[] = {
      {3.4, 1.6, 1.6 - 3.4, (1.6 - 3.4) / 3.4},  // better
      {1.5, 2.4, 2.4 - 1.5, (2.4 - 1.5) / 1.5},  // worse
      {2, 2, 0, 0},
      {-2, -1, 1, 0.5},  // relative to |before|
      {kNone, 2, kNone, kNone},
      {2, kNone, kNone, kNone},
      {0, 0, 0, 0},
      {0, 1, 1, kNone},
      {kMax, -kMax, kNone, kNone},  // beyond a double
      {1e-300, 1e300, 1e300, kNone},
  };
  for (const auto& c : cases) {
    const Change change = ChangeOf(c.before, c.after);
    EXPECT_EQ(change.change, c.change) << c.before.value_or(NAN) << " " << c.after.value_or(NAN);
    EXPECT_EQ(change.relative, c.relative)
        << c.before.value_or(NAN) << " " << c.after.value_or(NAN);
  }
  EXPECT_FALSE(std::signbit(*ChangeOf(0.0, -0.0).change));
}

}  // namespace
}  // namespace tabrun
