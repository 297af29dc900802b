// The rows of tabrun --compare: one per name found in either batch, with both runs' statuses
// and figures and the change of each figure, as CSV or as JSON Lines.

#ifndef TABRUN_REPORT_COMPARE_ROWS_H_
#define TABRUN_REPORT_COMPARE_ROWS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "analysis/compare.h"
#include "report/script_rows.h"

namespace tabrun {

// The columns of a compare row, in order: the run's name, which batches have it, the status in
// each and the number in the name, then for each figure (in the order of Figure) its value
// before and after, its change and its relative change.
inline constexpr const char* kCompareColumnNames[] = {
    "log",
    "side",
    "status_before",
    "status_after",
    "name_number",
    "cpu_seconds_before",
    "cpu_seconds_after",
    "cpu_seconds_change",
    "cpu_seconds_relative",
    "chi2_before",
    "chi2_after",
    "chi2_change",
    "chi2_relative",
    "rp_before",
    "rp_after",
    "rp_change",
    "rp_relative",
    "rwp_before",
    "rwp_after",
    "rwp_change",
    "rwp_relative",
    "rexp_before",
    "rexp_after",
    "rexp_change",
    "rexp_relative",
    "rf2_before",
    "rf2_after",
    "rf2_change",
    "rf2_relative",
    "rf2w_before",
    "rf2w_after",
    "rf2w_change",
    "rf2w_relative",
    "rf_before",
    "rf_after",
    "rf_change",
    "rf_relative",
};
inline constexpr std::size_t kCompareColumns = std::size(kCompareColumnNames);
static_assert(kCompareColumns == 5 + 4 * kFigureCount);

// The words of the side column, in the order of PairSide.
inline constexpr const char* kSideNames[] = {"both", "before", "after"};
static_assert(std::size(kSideNames) == static_cast<std::size_t>(PairSide::kAfter) + 1);

// The runs of one row.
struct ComparedPair {
  const BatchRuns& before;
  const BatchRuns& after;
  RunPair pair;

  std::string_view name() const {
    return pair.side == PairSide::kAfter ? after.name(pair.after) : before.name(pair.before);
  }
  std::optional<RunStatus> status_before() const;
  std::optional<RunStatus> status_after() const;
  std::optional<double> before_value(Figure figure) const;
  std::optional<double> after_value(Figure figure) const;
};

// Calls cell(text, number) for each field of the row of `pair`, in the order of
// kCompareColumnNames, as ForEachCell does for the rows of one batch: a status a batch does not
// have, and a figure or change that is none, is the empty text.
template <typename Cell>
void ForEachCompareCell(const ComparedPair& pair, Cell cell) {
  const auto number = [&cell](const std::optional<double>& value) {
    Digits digits;
    cell(value ? DigitsOf(*value, &digits) : std::string_view(), true);
  };
  const auto status = [&cell](const std::optional<RunStatus>& value) {
    cell(value ? std::string_view(StatusName(*value)) : std::string_view(), false);
  };
  cell(pair.name(), false);
  cell(kSideNames[static_cast<std::size_t>(pair.pair.side)], false);
  status(pair.status_before());
  status(pair.status_after());
  number(NameNumber(pair.name()));
  for (std::size_t k = 0; k < kFigureCount; ++k) {
    const auto figure = static_cast<Figure>(k);
    const std::optional<double> before = pair.before_value(figure);
    const std::optional<double> after = pair.after_value(figure);
    const Change change = ChangeOf(before, after);
    number(before);
    number(after);
    number(change.change);
    number(change.relative);
  }
}

// The CSV header and rows, and the JSON Lines, of compare rows, written as CsvRow and JsonRow
// write the rows of one batch.
std::string CompareCsvHeader();
std::string CompareCsvRow(const ComparedPair& pair);
std::string CompareJsonRow(const ComparedPair& pair);

}  // namespace tabrun

#endif  // TABRUN_REPORT_COMPARE_ROWS_H_
