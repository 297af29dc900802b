// The page of tabrun --compare --html: two batches of runs side by side in one self-contained
// HTML file.

#ifndef TABRUN_REPORT_COMPARE_PAGE_H_
#define TABRUN_REPORT_COMPARE_PAGE_H_

#include <array>
#include <cstdint>
#include <string>

#include "report/compare_rows.h"
#include "report/packed_columns.h"

namespace tabrun {

// Collects the rows of a compare, in order, and writes the page that shows them.
//
// The page is plain HTML for the header (both PATHs, when it was made, how many names each
// batch has and how many both, how many runs went from failed to ok and back, that smaller is
// better, and when no name is in both batches, that nothing could be paired); its script draws
// both batches on one chart, the change of the chosen figure per run, the counts of better and
// worse runs beyond a threshold set on the page, and the table. The rows go into the page as
// HtmlReport's do, column by column (PackedColumns): the name, the side, both statuses, the
// number in the name and each figure before and after; the script works out the changes as
// CompareCsvRow writes them. The page runs the same script and style as HtmlReport's.
class ComparePage {
 public:
  // `before` and `after` are the PATH operands as given; `made_at` is when the page was made,
  // in seconds since the epoch (UTC).
  ComparePage(std::string before, std::string after, std::int64_t made_at);

  // Adds the next row; rows come in the order the page lists them. REQUIRES: WritePage has not
  // been called.
  void Add(const ComparedPair& pair);

  // Writes the whole page to `sink`, in pieces. REQUIRES: called once, after the last Add.
  void WritePage(const PageSink& sink);

 private:
  std::string Header() const;

  const std::string before_;
  const std::string after_;
  const std::int64_t made_at_;
  PackedColumns columns_;
  std::array<std::uint64_t, 3> sides_{};  // by PairSide
  std::uint64_t fixed_ = 0;               // in both: failed before, ok after
  std::uint64_t broken_ = 0;              // in both: ok before, failed after
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_COMPARE_PAGE_H_
