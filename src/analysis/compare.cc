#include "analysis/compare.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "analysis/natural_order.h"

namespace tabrun {
namespace {

// The runs of `batch` in natural order of their names, with their keys.
struct Sorted {
  NameList keys;  // by run, end to end: a batch of 200,000 takes no block of the heap per key
  std::vector<std::uint32_t> order;
};

Sorted SortedRuns(const BatchRuns& batch) {
  Sorted sorted;
  std::string key;
  for (std::size_t run = 0; run < batch.size(); ++run) {
    key.clear();
    AppendNaturalKey(batch.name(run), &key);
    sorted.keys.Add(key);
  }
  sorted.order.resize(batch.size());
  std::iota(sorted.order.begin(), sorted.order.end(), 0);
  const auto less = [&](std::uint32_t a, std::uint32_t b) {
    return NaturalLess(sorted.keys[a], batch.name(a), sorted.keys[b], batch.name(b));
  };
  // A directory's names come sorted by their bytes, which is often their natural order too.
  if (!std::is_sorted(sorted.order.begin(), sorted.order.end(), less)) {
    std::sort(sorted.order.begin(), sorted.order.end(), less);
  }
  return sorted;
}

// The first name of `batch` that it has twice, in natural order.
std::optional<std::string> Twice(const BatchRuns& batch, const Sorted& sorted) {
  for (std::size_t i = 1; i < sorted.order.size(); ++i) {
    const std::string_view name = batch.name(sorted.order[i]);
    if (name == batch.name(sorted.order[i - 1])) return std::string(name);
  }
  return {};
}

}  // namespace

std::optional<double> FigureOf(const RunRow& row, Figure figure) {
  if (row.problem != ReadProblem::kNone) return {};
  const Figures& f = row.scan.figures;
  const std::optional<double>* const kValues[] = {
      &row.scan.cpu_seconds, &f.chi2, &f.rp, &f.rwp, &f.rexp, &f.rf2, &f.rf2w, &f.rf};
  static_assert(std::size(kValues) == kFigureCount);
  return *kValues[static_cast<std::size_t>(figure)];
}

void BatchRuns::Add(std::string_view name, const RunRow& row) {
  names_.Add(name);
  status_.push_back(row.status());
  for (std::size_t k = 0; k < kFigureCount; ++k) {
    figures_.push_back(
        FigureOf(row, static_cast<Figure>(k)).value_or(std::numeric_limits<double>::quiet_NaN()));
  }
}

std::optional<double> BatchRuns::figure(std::size_t run, Figure figure) const {
  const double value = figures_[run * kFigureCount + static_cast<std::size_t>(figure)];
  return std::isnan(value) ? std::nullopt : std::optional<double>(value);
}

Pairing PairRuns(const BatchRuns& before, const BatchRuns& after) {
  Pairing pairing;
  const Sorted b = SortedRuns(before);
  const Sorted a = SortedRuns(after);
  if ((pairing.twice = Twice(before, b))) return pairing;
  if ((pairing.twice = Twice(after, a))) {
    pairing.twice_in = PairSide::kAfter;
    return pairing;
  }
  pairing.pairs.reserve(std::max(before.size(), after.size()));
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < b.order.size() || j < a.order.size()) {
    const std::uint32_t rb = i < b.order.size() ? b.order[i] : 0;
    const std::uint32_t ra = j < a.order.size() ? a.order[j] : 0;
    if (j == a.order.size() || (i < b.order.size() && NaturalLess(b.keys[rb], before.name(rb),
                                                                  a.keys[ra], after.name(ra)))) {
      pairing.pairs.push_back({PairSide::kBefore, rb, 0});
      ++i;
    } else if (i == b.order.size() || before.name(rb) != after.name(ra)) {
      pairing.pairs.push_back({PairSide::kAfter, 0, ra});
      ++j;
    } else {
      pairing.pairs.push_back({PairSide::kBoth, rb, ra});
      ++i, ++j;
    }
  }
  return pairing;
}

Change ChangeOf(std::optional<double> before, std::optional<double> after) {
  if (!before || !after) return {};
  const double change = *after - *before + 0.0;  // + 0.0 makes a -0 difference +0
  if (!std::isfinite(change)) return {};
  Change out{change, {}};
  if (*before != 0) {
    const double relative = change / std::fabs(*before);
    if (std::isfinite(relative)) out.relative = relative;
  } else if (change == 0) {
    out.relative = 0.0;
  }
  return out;
}

}  // namespace tabrun
