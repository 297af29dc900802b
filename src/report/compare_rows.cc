#include "report/compare_rows.h"

namespace tabrun {

std::optional<RunStatus> ComparedPair::status_before() const {
  if (pair.side == PairSide::kAfter) return {};
  return before.status(pair.before);
}

std::optional<RunStatus> ComparedPair::status_after() const {
  if (pair.side == PairSide::kBefore) return {};
  return after.status(pair.after);
}

std::optional<double> ComparedPair::before_value(Figure figure) const {
  if (pair.side == PairSide::kAfter) return {};
  return before.figure(pair.before, figure);
}

std::optional<double> ComparedPair::after_value(Figure figure) const {
  if (pair.side == PairSide::kBefore) return {};
  return after.figure(pair.after, figure);
}

std::string CompareCsvHeader() { return CsvHeaderOf(kCompareColumnNames); }

std::string CompareCsvRow(const ComparedPair& pair) {
  return CsvLine([&pair](auto cell) { ForEachCompareCell(pair, cell); });
}

std::string CompareJsonRow(const ComparedPair& pair) {
  return JsonLine(kCompareColumnNames, [&pair](auto cell) { ForEachCompareCell(pair, cell); });
}

}  // namespace tabrun
