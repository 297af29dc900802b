// Two batches of runs side by side: each run kept as its name, status and figures, the runs
// paired by name, and the change of a figure from one batch to the other.

#ifndef TABRUN_ANALYSIS_COMPARE_H_
#define TABRUN_ANALYSIS_COMPARE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/run_row.h"
#include "recio/name_list.h"

namespace tabrun {

// The figures a compare sets side by side, in the order of the rows' columns. Smaller is
// better for each.
enum class Figure : std::uint8_t { kCpuSeconds, kChi2, kRp, kRwp, kRexp, kRf2, kRf2w, kRf };
inline constexpr std::size_t kFigureCount = 8;

// The figure as the row of `row` carries it; none for a log that could not be read.
std::optional<double> FigureOf(const RunRow& row, Figure figure);

// One batch as a compare keeps it: for each run its name (its log's name relative to the
// batch), its status and its figures, and nothing else, so that two batches of 200,000 runs
// take a few tens of MB. The runs come from rows, whatever made them.
class BatchRuns {
 public:
  // Adds the run of `row` under `name`.
  void Add(std::string_view name, const RunRow& row);

  std::size_t size() const { return status_.size(); }
  // REQUIRES for each: run < size().
  std::string_view name(std::size_t run) const { return names_[run]; }
  RunStatus status(std::size_t run) const { return status_[run]; }
  std::optional<double> figure(std::size_t run, Figure figure) const;

 private:
  NameList names_;
  std::vector<RunStatus> status_;
  std::vector<double> figures_;  // kFigureCount per run, NaN for none
};

// Which batches a name is found in.
enum class PairSide : std::uint8_t { kBoth, kBefore, kAfter };

// The runs of one name: the index of its run in each batch that has one.
struct RunPair {
  PairSide side;
  std::uint32_t before;  // when side is kBoth or kBefore
  std::uint32_t after;   // when side is kBoth or kAfter
};

// The runs of `before` and `after` paired by name, one pair per name, in natural order of the
// names (NaturalLess). When a batch has a name twice there is no pairing: `twice` is that name,
// the first in natural order, and `twice_in` the batch (kBefore or kAfter).
struct Pairing {
  std::vector<RunPair> pairs;
  std::optional<std::string> twice;
  PairSide twice_in = PairSide::kBefore;
};
Pairing PairRuns(const BatchRuns& before, const BatchRuns& after);

// The change of a figure from `before` to `after`: after - before, and (after - before) /
// |before|. Each is none when either value is, and when it is not a finite double (a
// difference beyond the largest double); the relative change of a `before` of 0 is 0 when
// `after` is 0 too and none otherwise. A change of zero is +0, never -0.
struct Change {
  std::optional<double> change;
  std::optional<double> relative;
};
Change ChangeOf(std::optional<double> before, std::optional<double> after);

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_COMPARE_H_
