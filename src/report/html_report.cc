#include "report/html_report.h"

#include <charconv>
#include <cstdio>
#include <limits>
#include <string_view>
#include <utility>

#include "recio/civil_time.h"
#include "recio/number.h"
#include "report/escape.h"
#include "report/page_frame.h"

namespace tabrun {
namespace {

// How many PATHs the header names; a shell glob can give thousands.
constexpr std::size_t kNamedPaths = 10;

// The figures whose best run the header names, the first one that any row has; the last is
// also summed for the total CPU time.
constexpr const char* kBestNames[] = {"chi2", "rf2", "cpu_seconds"};
constexpr std::size_t kBestColumns[] = {ColumnIndex(kBestNames[0]), ColumnIndex(kBestNames[1]),
                                        ColumnIndex(kBestNames[2])};

// The chart and the table; the page's script fills them and shows them.
constexpr std::string_view kViews = R"(<main>
<noscript><p>The chart and the table of all runs need scripts; the failed runs below do not.</p>
</noscript>
<section id="runs" hidden>
<h2>Runs</h2>
<div class="bar">
<label>Figure <select id="figure"></select></label>
<label>View <select id="view"><option value="series">by run</option>
<option value="rank">rank plot</option><option value="hist">histogram</option></select></label>
<label>x axis <select id="x"><option value="pos">row position</option>
<option value="num">number in the log name</option></select></label>
<label>Value axis <select id="y"><option value="lin">linear</option>
<option value="log">logarithmic</option></select></label>
<button type="button" id="zoom-reset" disabled>Reset zoom</button>
<button type="button" id="png">Save chart as PNG</button>
</div>
<p id="summary"></p>
<div id="plot"><canvas id="chart" tabindex="0" aria-label="The chosen figure of the runs: arrow
keys go from point to point, Enter shows its row, + and - zoom, Shift and an arrow key pan,
dragging zooms to a range"></canvas>
<div id="tip" role="status" hidden></div></div>
<p id="thin"></p>
<div class="bar">
<label>Log name contains <input type="search" id="q" spellcheck="false"></label>
<button type="button" id="csv">Save rows as CSV</button>
</div>
<p id="narrow">Narrow window: only the log name, status and chosen figure show.</p>
<div class="scroll"><table id="rows"><thead><tr></tr></thead><tbody></tbody></table></div>
<div class="bar" id="pager"><button type="button" id="first">First</button>
<button type="button" id="prev">Previous</button><button type="button" id="next">Next</button>
<button type="button" id="last">Last</button> <span id="page"></span></div>
<div id="detail" hidden><h3 id="detail-title"></h3><p id="detail-note"></p>
<pre id="detail-tail"></pre></div>
</section>
)";

// How each column is carried: a byte of code for the kind and the status, numbers as numbers,
// the rest as text.
std::vector<PackedColumns::Column> Columns() {
  using Type = PackedColumns::Type;
  std::vector<PackedColumns::Column> columns;
  ForEachCell(RunRow(), [&](std::string_view, bool number) {
    columns.push_back({kColumnNames[columns.size()], number ? Type::kNumber : Type::kText, {}});
  });
  columns[kKindColumn] = {"kind", Type::kCode, {std::begin(kKindNames), std::end(kKindNames)}};
  columns[kStatusColumn] = {
      "status", Type::kCode, {std::begin(kStatusNames), std::end(kStatusNames)}};
  return columns;
}

// The cells of a row of either kind, with its status and kind (RunRow has them in its scan,
// WrittenRow as they were read), and what the header and the failed runs take from it.
template <typename Row>
HtmlReport::Cells EncodeCells(const Row& row, RunStatus status, RunKind kind) {
  HtmlReport::Cells encoded;
  encoded.cells.Reserve(kColumns, 256);
  encoded.status = status;
  std::size_t i = 0;
  ForEachCell(row, [&](std::string_view cell, bool number) {
    if (i == kStatusColumn) {
      encoded.cells.Code(static_cast<std::uint8_t>(status));
    } else if (i == kKindColumn) {
      encoded.cells.Code(static_cast<std::uint8_t>(kind));
    } else if (number) {
      encoded.cells.Number(cell);
    } else {
      encoded.cells.Text(cell);
    }
    if (i == kLogColumn) encoded.log = cell;
    if (i == kReasonColumn && status != RunStatus::kOk) encoded.reason = cell;
    ++i;
  });
  return encoded;
}

}  // namespace

HtmlReport::HtmlReport(std::vector<std::string> paths, std::int64_t made_at, Input input, bool live)
    : paths_(std::move(paths)), made_at_(made_at), input_(input), live_(live), columns_(Columns()) {
  tails_.Append("[");
}

HtmlReport::Cells HtmlReport::Encode(const RunRow& row) {
  const bool read = row.problem == ReadProblem::kNone;
  Cells encoded = EncodeCells(row, row.status(), read ? row.scan.kind : RunKind::kNone);
  if (read) encoded.figures = {row.scan.figures.chi2, row.scan.figures.rf2, row.scan.cpu_seconds};
  const std::vector<std::string>& tail = row.scan.tail;
  for (std::size_t i = 0; i < tail.size(); ++i) {
    encoded.tail.append(i == 0 ? "" : "\n").append(tail[i]);
  }
  if (!tail.empty()) AppendJsonString(encoded.tail, &encoded.tail_json);
  return encoded;
}

HtmlReport::Cells HtmlReport::Encode(const WrittenRow& row) {
  Cells encoded = EncodeCells(row, row.status, row.kind);
  for (std::size_t k = 0; k < encoded.figures.size(); ++k) {
    double value = 0;
    if (ReadReal(row.cells[kBestColumns[k]], &value) == RealReadResult::kValue) {
      encoded.figures[k] = value;
    }
  }
  if (row.status != RunStatus::kOk) encoded.last_record = row.cells[kLastRecordColumn];
  return encoded;
}

void HtmlReport::Add(const Cells& cells) {
  columns_.Add(cells.cells);
  const RunStatus status = cells.status;
  ++counts_[static_cast<std::size_t>(status)];
  if (cells.figures[2]) cpu_total_ += *cells.figures[2];
  for (std::size_t k = 0; k < best_.size(); ++k) {
    const std::optional<double>& value = cells.figures[k];
    if (value && (!best_[k].value || *value < *best_[k].value)) best_[k] = {value, cells.log};
  }
  // A run still running has not failed (yet).
  if (status != RunStatus::kOk && status != RunStatus::kRunning) AddFailure(cells);
  ++rows_;
}

std::size_t HtmlReport::Statuses() const {
  const std::size_t running = static_cast<std::size_t>(RunStatus::kRunning);
  return live_ || counts_[running] != 0 ? counts_.size() : running;
}

void HtmlReport::AddFailure(const Cells& cells) {
  const bool listed = ++failures_ <= kListedFailures;
  // The tail as the page holds it: HTML text in a listed failure, a JSON string otherwise;
  // none is made once the budget is spent.
  const bool wanted = cells.has_tail() && tails_left_out_ == 0;
  std::string text;
  if (wanted) text = listed ? HtmlText(cells.tail) : cells.tail_json;
  const bool kept = wanted && tail_bytes_ + text.size() <= kTailBudget;
  if (kept) tail_bytes_ += text.size();
  if (cells.has_tail() && !kept) {
    ++tails_left_out_;
    text = "null";  // the page tells a log whose end is left out from an empty one
  }
  if (!text.empty() && (!listed || !kept)) {  // a listed failure shows its kept tail itself
    tails_.Append((any_tail_ ? "," : "") + std::to_string(rows_) + "," + text);
    any_tail_ = true;
  }
  if (!listed) return;
  listed_ += std::string("<details><summary><b>") + StatusName(cells.status) + "</b> <code>" +
             HtmlText(cells.log) + "</code>";
  if (!cells.reason.empty()) listed_ += ": " + HtmlText(cells.reason);
  listed_ += "</summary>";
  if (!cells.last_record.empty()) listed_ += "<pre>\n" + HtmlText(cells.last_record) + "</pre>";
  // The parser drops a line feed right after <pre>: with one written first, a tail that
  // starts with an empty record keeps it.
  if (kept) listed_ += "<pre id=\"tail-" + std::to_string(rows_) + "\">\n" + text + "</pre>";
  if (cells.has_tail() && !kept) listed_ += "<p>The end of this log is left out.</p>";
  listed_ += "</details>\n";
}

std::string HtmlReport::Header() const {
  std::string html = "<header>\n<h1>tabrun report</h1>\n<p>Batch";
  if (input_ == Input::kRows) html += " from the rows in";
  for (std::size_t i = 0; i < paths_.size() && i < kNamedPaths; ++i) {
    html += " <code>" + HtmlText(paths_[i]) + "</code>";
  }
  if (paths_.size() > kNamedPaths)
    html += " and " + std::to_string(paths_.size() - kNamedPaths) + " more";
  html += ", made " + MadeText(made_at_) + " by tabrun " TABRUN_VERSION ".</p>\n";
  if (live_) {
    // The script says the time in the reader's own zone; without it, UTC stands.
    const CivilTime t = CivilTimeOf(made_at_);
    char clock[16];
    std::snprintf(clock, sizeof clock, "%02d:%02d:%02d", t.hour, t.minute, t.second);
    html += "<p id=\"live\" data-at=\"" + std::to_string(made_at_) + "\" data-reload=\"" +
            std::to_string(kReloadSeconds) + "\">live, updated <time>" + clock +
            "</time> UTC</p>\n";
  }
  html += "<p id=\"counts\">" + Grouped(rows_) + (rows_ == 1 ? " log:" : " logs:");
  for (std::size_t s = 0; s < Statuses(); ++s) {
    // A status no run has filters nothing in: its button cannot be pressed.
    html += std::string(" <button type=\"button\"") + (counts_[s] == 0 ? " disabled" : "") +
            " data-status=\"" + kStatusNames[s] + "\">" + kStatusNames[s] + " <b>" +
            Grouped(counts_[s]) + "</b>";
    if (rows_ != 0) html += " " + Fixed(100.0 * counts_[s] / rows_, 1) + " %";
    html += "</button>";
  }
  html += "</p>\n<p>Total CPU time " + Fixed(cpu_total_, 3) +
          " s = " + Fixed(cpu_total_ / 3600, 3) + " h.</p>\n<p id=\"best\">";
  std::size_t k = 0;
  while (k < best_.size() && !best_[k].value) ++k;
  if (k == best_.size()) {
    html += "No run has a chi2, rf2 or cpu_seconds.";
  } else {
    html += "Best " + std::string(kBestNames[k]) + " " + NumberText(*best_[k].value) + ": <code>" +
            HtmlText(best_[k].log) + "</code>.";
  }
  return html + "</p>\n</header>\n";
}

std::string HtmlReport::FailedRuns() const {
  std::string html = "<section id=\"failed\">\n<h2>Failed runs</h2>\n<p>";
  if (failures_ == 0) return html + "No run failed.</p>\n</section>\n</main>\n";
  const bool rows = input_ == Input::kRows;
  html += Grouped(failures_) + (failures_ == 1 ? " run" : " runs") +
          " did not end with status ok. " +
          (rows ? "This page was made from rows, which hold no more of a log than its last "
                  "record: open one to see it."
                : "Open one to see the last records of its log.") +
          "</p>\n" + listed_;
  if (failures_ > kListedFailures) {
    html += "<p>" + Grouped(failures_ - kListedFailures) +
            " more in the table: select one there to see " +
            (rows ? "its last record" : "the end of its log") + ".</p>\n";
  }
  if (tails_left_out_ != 0) {
    html += "<p>The ends of " + Grouped(tails_left_out_) +
            " failed logs are left out: the page holds at most 3 MB of them.</p>\n";
  }
  return html + "</section>\n</main>\n";
}

void HtmlReport::WriteData(const PageSink& sink) {
  sink(std::string("<script type=\"application/json\" id=\"data\">{") +
       (input_ == Input::kRows ? "\"from_rows\":true," : ""));
  columns_.Write(sink);
  sink(",\"tails\":\"");
  tails_.Append("]");
  tails_.WriteBase64(sink);
  sink("\"}</script>\n");
}

void HtmlReport::WritePage(const PageSink& sink) {
  std::string title = paths_.empty() ? "" : ": " + HtmlText(paths_[0]);
  if (paths_.size() > 1) title += " and more";
  sink(PageHead("tabrun report" + title) + Header());
  sink(kViews);
  sink(FailedRuns());
  WriteData(sink);
  WritePageEnd(sink);
}

}  // namespace tabrun
