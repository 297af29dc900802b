#include "report/html_report.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string_view>
#include <utility>

#include "recio/civil_time.h"
#include "recio/number.h"
#include "report/escape.h"
#include "report/page_assets.h"

namespace tabrun {
namespace {

// How many PATHs the header names; a shell glob can give thousands.
constexpr std::size_t kNamedPaths = 10;

constexpr std::size_t ColumnIndex(std::string_view name) {
  std::size_t i = 0;
  while (kColumnNames[i] != name) ++i;
  return i;
}
constexpr std::size_t kKindColumn = ColumnIndex("kind");
constexpr std::size_t kStatusColumn = ColumnIndex("status");
static_assert(kStatusColumn == 2, "HtmlReport::Cells::status reads the third cell");

// The figures whose best run the header names, the first one that any row has.
constexpr const char* kBestNames[] = {"chi2", "rf2", "cpu_seconds"};
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

std::string Fixed(double value, int decimals) {
  char text[400];  // the largest double has 309 digits before the point
  const auto result =
      std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
  return std::string(text, result.ptr);
}

// A count with a comma between groups of three digits, as "200,000".
std::string Grouped(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
  return digits;
}

std::string Html(std::string_view text) {
  std::string html;
  AppendHtmlText(text, &html);
  return html;
}

std::string TimeText(std::int64_t seconds) {
  const CivilTime t = CivilTimeOf(seconds);
  // Beyond the years a C struct tm holds, the time is said in seconds, as it always was.
  if (t.year - 1900 < std::numeric_limits<int>::min() ||
      t.year - 1900 > std::numeric_limits<int>::max()) {
    return std::to_string(seconds) + " s after 1970-01-01 00:00:00 UTC";
  }
  char text[64];
  std::snprintf(text, sizeof text, "%lld-%02d-%02d %02d:%02d:%02d UTC",
                static_cast<long long>(t.year), t.month, t.day, t.hour, t.minute, t.second);
  return text;
}

// How a column is carried: a byte of code per row, numbers as text between commas (empty for
// none), or a JSON array of strings.
enum Type { kCode, kNumber, kText };
Type ColumnType(std::size_t column) {
  static const auto kTypes = [] {
    std::array<Type, kColumns> types;
    std::size_t i = 0;
    ForEachCell(RunRow(), [&](std::string_view, bool number) {
      types[i] = i == kKindColumn || i == kStatusColumn ? kCode : number ? kNumber : kText;
      ++i;
    });
    return types;
  }();
  return kTypes[column];
}

template <std::size_t... Column>
std::array<PackedText, kColumns> PackedColumns(std::index_sequence<Column...>) {
  return {PackedText(ColumnType(Column) == kNumber ? PackedText::Kind::kFigures
                                                   : PackedText::Kind::kText)...};
}

// The first `count` of `names` as a JSON array.
std::string JsonList(const char* const* names, std::size_t count) {
  std::string json = "[";
  for (std::size_t i = 0; i < count; ++i) {
    if (json.size() > 1) json.push_back(',');
    AppendJsonString(names[i], &json);
  }
  return json + "]";
}

}  // namespace

HtmlReport::HtmlReport(std::vector<std::string> paths, std::int64_t made_at, bool live)
    : paths_(std::move(paths)),
      made_at_(made_at),
      live_(live),
      columns_(PackedColumns(std::make_index_sequence<kColumns>())) {
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (ColumnType(i) == kText) columns_[i].Append("[");
  }
  tails_.Append("[");
}

std::int64_t HtmlReport::MadeAt() {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch != nullptr) {
    if (const auto seconds = WholeInteger<std::int64_t>(epoch)) return *seconds;
  }
  return static_cast<std::int64_t>(std::time(nullptr));
}

HtmlReport::Cells HtmlReport::Encode(const RunRow& row) {
  Cells encoded;
  const std::vector<std::string>& tail = row.scan.tail;
  for (std::size_t i = 0; i < tail.size(); ++i) {
    encoded.tail.append(i == 0 ? "" : "\n").append(tail[i]);
  }
  if (!tail.empty()) AppendJsonString(encoded.tail, &encoded.tail_json);
  std::string& text = encoded.text;
  std::size_t i = 0;
  ForEachCell(row, [&](std::string_view cell, bool number) {
    encoded.start[i] = static_cast<std::uint32_t>(text.size());
    if (i == kStatusColumn) {
      text.push_back(static_cast<char>(row.status()));
    } else if (i == kKindColumn) {
      text.push_back(
          static_cast<char>(row.problem == ReadProblem::kNone ? row.scan.kind : RunKind::kNone));
    } else {
      text.push_back(',');
      if (number) {
        text.append(cell);
      } else {
        AppendJsonString(cell, &text);
      }
    }
    ++i;
  });
  encoded.start[kColumns] = static_cast<std::uint32_t>(text.size());
  encoded.log = row.log;
  if (row.status() != RunStatus::kOk) encoded.reason = ReasonText(row);
  if (row.problem == ReadProblem::kNone) {
    encoded.best = {row.scan.figures.chi2, row.scan.figures.rf2, row.scan.cpu_seconds};
  }
  return encoded;
}

void HtmlReport::Add(const Cells& cells) {
  const std::string_view text = cells.text;
  for (std::size_t i = 0; i < kColumns; ++i) {
    // The first row's cells have no comma before them.
    const std::uint32_t from = cells.start[i] + (rows_ == 0 && ColumnType(i) != kCode ? 1 : 0);
    columns_[i].Append(text.substr(from, cells.start[i + 1] - from));
  }
  const RunStatus status = cells.status();
  ++counts_[static_cast<std::size_t>(status)];
  if (cells.best[2]) cpu_total_ += *cells.best[2];
  for (std::size_t k = 0; k < best_.size(); ++k) {
    const std::optional<double>& value = cells.best[k];
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
  if (wanted) text = listed ? Html(cells.tail) : cells.tail_json;
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
  listed_ += std::string("<details><summary><b>") + StatusName(cells.status()) + "</b> <code>" +
             Html(cells.log) + "</code>";
  if (!cells.reason.empty()) listed_ += ": " + Html(cells.reason);
  listed_ += "</summary>";
  // The parser drops a line feed right after <pre>: with one written first, a tail that
  // starts with an empty record keeps it.
  if (kept) listed_ += "<pre id=\"tail-" + std::to_string(rows_) + "\">\n" + text + "</pre>";
  if (cells.has_tail() && !kept) listed_ += "<p>The end of this log is left out.</p>";
  listed_ += "</details>\n";
}

std::string HtmlReport::Header() const {
  std::string html = "<header>\n<h1>tabrun report</h1>\n<p>Batch";
  for (std::size_t i = 0; i < paths_.size() && i < kNamedPaths; ++i) {
    html += " <code>" + Html(paths_[i]) + "</code>";
  }
  if (paths_.size() > kNamedPaths)
    html += " and " + std::to_string(paths_.size() - kNamedPaths) + " more";
  html += ", made " + TimeText(made_at_) + " by tabrun " TABRUN_VERSION ".</p>\n";
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
            Html(best_[k].log) + "</code>.";
  }
  return html + "</p>\n</header>\n";
}

std::string HtmlReport::FailedRuns() const {
  std::string html = "<section id=\"failed\">\n<h2>Failed runs</h2>\n<p>";
  if (failures_ == 0) return html + "No run failed.</p>\n</section>\n</main>\n";
  html += Grouped(failures_) + (failures_ == 1 ? " run" : " runs") +
          " did not end with status ok. Open one to see the last records of its log.</p>\n" +
          listed_;
  if (failures_ > kListedFailures) {
    html += "<p>" + Grouped(failures_ - kListedFailures) +
            " more in the table: select one there to see the end of its log.</p>\n";
  }
  if (tails_left_out_ != 0) {
    html += "<p>The ends of " + Grouped(tails_left_out_) +
            " failed logs are left out: the page holds at most 3 MB of them.</p>\n";
  }
  return html + "</section>\n</main>\n";
}

void HtmlReport::WriteData(const PageSink& sink) {
  constexpr const char* kTypeNames[] = {"code", "number", "text"};
  sink("<script type=\"application/json\" id=\"data\">{\"rows\":" + std::to_string(rows_) +
       ",\"columns\":[");
  for (std::size_t i = 0; i < kColumns; ++i) {
    std::string head = i == 0 ? "{\"name\":" : ",{\"name\":";
    AppendJsonString(kColumnNames[i], &head);
    head += std::string(",\"type\":\"") + kTypeNames[ColumnType(i)] + "\"";
    if (i == kKindColumn || i == kStatusColumn) {
      head += ",\"values\":" + (i == kKindColumn ? JsonList(kKindNames, std::size(kKindNames))
                                                 : JsonList(kStatusNames, Statuses()));
    }
    if (ColumnType(i) == kText) columns_[i].Append("]");
    sink(head + ",\"data\":\"");
    columns_[i].WriteBase64(sink);
    sink("\"}");
  }
  sink("],\"tails\":\"");
  tails_.Append("]");
  tails_.WriteBase64(sink);
  sink("\"}</script>\n");
}

void HtmlReport::WritePage(const PageSink& sink) {
  std::string title = paths_.empty() ? "" : ": " + Html(paths_[0]);
  if (paths_.size() > 1) title += " and more";
  sink(std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n") +
       // The page runs its own script and applies its own style, and loads nothing at all.
       "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; " +
       "script-src 'sha256-" + std::string(kPageScriptSha256) + "'; style-src 'sha256-" +
       std::string(kPageStyleSha256) + "'; base-uri 'none'; form-action 'none'\">\n" +
       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n" +
       "<title>tabrun report" + title + "</title>\n<style>");
  sink(kPageStyle);
  sink("</style>\n</head>\n<body>\n" + Header());
  sink(kViews);
  sink(FailedRuns());
  WriteData(sink);
  sink("<script>");
  sink(kPageScript);
  sink("</script>\n</body>\n</html>\n");
}

}  // namespace tabrun
