// The page of tabrun --html: one self-contained HTML file that shows a batch.

#ifndef TABRUN_REPORT_HTML_REPORT_H_
#define TABRUN_REPORT_HTML_REPORT_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/packed_text.h"
#include "report/script_rows.h"

namespace tabrun {

// Collects the rows of a batch, in order, and writes the page that shows them.
//
// The page is plain HTML for the header (the PATHs, when it was made, the counts per status,
// the total CPU time, the best run) and for the first kListedFailures runs whose status is not
// "ok", each with the end of its log; its own script draws the chart and the table from the
// rows, which it carries column by column, deflated and base64-encoded, in an element that never
// runs. A Content-Security-Policy lets the page run that script and apply its style and load
// nothing at all. Text from names and logs is written as text, with U+FFFD for bytes that are
// not UTF-8.
//
// Memory holds the compressed columns, the HTML of the listed failures and the ends of the other
// failed logs within kTailBudget, not the rows: a batch of 200,000 logs takes a few MB.
class HtmlReport {
 public:
  // How many records of a failed log's end the page shows.
  static constexpr int kTailRecords = 20;
  // How many failed runs the page lists in plain HTML; the table shows the others.
  static constexpr std::uint64_t kListedFailures = 100;
  // The ends of failed logs take at most this many bytes of the page, counted as written,
  // before compression; the page leaves out those that come after and says how many.
  static constexpr std::uint64_t kTailBudget = 3'000'000;

  // `paths` are the PATH operands as given; `made_at` is when the report was made, in seconds
  // since the epoch (UTC). A `live` page is one that a watch rewrites: it says when it was
  // updated, reloads itself every kReloadSeconds and counts running runs even when there are
  // none. Any other page names the running status only when a run has it.
  HtmlReport(std::vector<std::string> paths, std::int64_t made_at, bool live = false);

  // When a page that is not live is said to have been made: SOURCE_DATE_EPOCH when it holds a
  // number of seconds, so that two pages of one batch can be the same to the byte, otherwise now.
  static std::int64_t MadeAt();

  // How often a live page reloads itself.
  static constexpr int kReloadSeconds = 2;

  // The cells of `row` as the page's columns carry them: one byte of code for the kind and the
  // status (the value of its enum), a comma and JSON text for the others; cell i is
  // text[start[i], start[i + 1]). And the end of its log: row.scan.tail, which the scan of a
  // failed log makes with ScanWants::tail_records = kTailRecords. And what the header and the
  // list of failed runs say of it, so that a row can be added from its cells alone.
  struct Cells {
    std::string text;
    std::array<std::uint32_t, kColumns + 1> start{};
    std::string tail;       // the records joined by line feeds
    std::string tail_json;  // the same as a JSON string, empty when there is no tail
    std::string log;        // RunRow::log
    std::string reason;     // of a run that is not ok: ReasonText
    std::array<std::optional<double>, 3> best;  // chi2, rf2 and cpu_seconds
    RunStatus status() const { return static_cast<RunStatus>(text[start[2]]); }
    bool has_tail() const { return !tail_json.empty(); }
  };
  // It depends on nothing else, so that the threads that read the logs can make the cells and
  // spare the one that writes.
  static Cells Encode(const RunRow& row);

  // Adds the row of the next log, as Encode makes its cells; rows come in the order the page
  // lists them, from one thread. REQUIRES: WritePage has not been called.
  void Add(const Cells& cells);

  // Writes the whole page to `sink`, in pieces. REQUIRES: called once, after the last Add.
  void WritePage(const PageSink& sink);

 private:
  // The lowest value of one figure, and the first log that has it.
  struct Best {
    std::optional<double> value;
    std::string log;
  };

  void AddFailure(const Cells& cells);
  // How many statuses the page names: all of them when live or a run is running.
  std::size_t Statuses() const;
  std::string Header() const;
  std::string FailedRuns() const;
  void WriteData(const PageSink& sink);

  const std::vector<std::string> paths_;
  const std::int64_t made_at_;
  const bool live_;
  std::uint64_t rows_ = 0;
  std::array<std::uint64_t, std::size(kStatusNames)> counts_{};
  double cpu_total_ = 0;
  std::array<Best, 3> best_;  // of chi2, rf2 and cpu_seconds
  std::array<PackedText, kColumns> columns_;
  // [row, "tail" or null, ...]: the tails of the failures not listed, and null for each
  // failure whose tail is left out, listed or not.
  PackedText tails_;
  std::string listed_;  // the HTML of the listed failures
  std::uint64_t failures_ = 0;
  std::uint64_t tail_bytes_ = 0;
  bool any_tail_ = false;  // in tails_
  std::uint64_t tails_left_out_ = 0;
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_HTML_REPORT_H_
