#include "report/compare_page.h"

#include <iterator>
#include <string_view>
#include <utility>

#include "report/page_frame.h"

namespace tabrun {
namespace {

// The code of a status that a batch does not have: the one after the last status.
constexpr std::uint8_t kNoStatus = static_cast<std::uint8_t>(RunStatus::kLast) + 1;

// The columns the page carries: those of the compare rows but the changes, which its script
// works out from the values.
std::vector<PackedColumns::Column> Columns() {
  using Type = PackedColumns::Type;
  std::vector<const char*> statuses(std::begin(kStatusNames), std::end(kStatusNames));
  statuses.push_back("");
  std::vector<PackedColumns::Column> columns = {
      {"log", Type::kText, {}},
      {"side", Type::kCode, {std::begin(kSideNames), std::end(kSideNames)}},
      {"status_before", Type::kCode, statuses},
      {"status_after", Type::kCode, statuses},
      {"name_number", Type::kNumber, {}}};
  for (std::size_t k = 0; k < kFigureCount; ++k) {
    columns.push_back({kCompareColumnNames[5 + 4 * k], Type::kNumber, {}});
    columns.push_back({kCompareColumnNames[6 + 4 * k], Type::kNumber, {}});
  }
  return columns;
}

// The charts, the counts and the table; the page's script fills them and shows them.
constexpr std::string_view kViews = R"(<main>
<noscript><p>The charts and the table of the runs need scripts.</p></noscript>
<section id="compare" hidden>
<h2>Both batches</h2>
<div class="bar">
<label>Figure <select id="figure"></select></label>
<label>x axis <select id="x"><option value="pos">row position</option>
<option value="num">number in the log name</option></select></label>
<label>Value axis <select id="y"><option value="lin">linear</option>
<option value="log">logarithmic</option></select></label>
<button type="button" id="zoom-reset" disabled>Reset zoom</button>
</div>
<div id="plot"><canvas id="chart" tabindex="0" aria-label="The chosen figure of the runs before
and after: arrow keys go from point to point, Enter shows its row, + and - zoom, Shift and an
arrow key pan, dragging zooms to a range"></canvas>
<div id="tip" role="status" hidden></div></div>
<p id="thin"></p>
<h2>Change</h2>
<div class="bar">
<label>Better or worse beyond <input type="number" id="threshold" min="0" step="any"
value="5" inputmode="decimal"> %</label>
</div>
<p id="classes"></p>
<div id="change-plot"><canvas id="change" tabindex="0" aria-label="The relative change of the
chosen figure per run, sorted, best first: arrow keys go from point to point, Enter shows its
row"></canvas>
<div id="change-tip" role="status" hidden></div></div>
<p id="change-note"></p>
<div class="bar">
<label>Log name contains <input type="search" id="q" spellcheck="false"></label>
<button type="button" id="csv">Save rows as CSV</button>
</div>
<div class="scroll"><table id="rows"><thead><tr></tr></thead><tbody></tbody></table></div>
<div class="bar" id="pager"><button type="button" id="first">First</button>
<button type="button" id="prev">Previous</button><button type="button" id="next">Next</button>
<button type="button" id="last">Last</button> <span id="page"></span></div>
<div id="detail" hidden><h3 id="detail-title"></h3><p id="detail-note"></p></div>
</section>
</main>
)";

std::string Runs(std::uint64_t count) { return Grouped(count) + (count == 1 ? " run" : " runs"); }

}  // namespace

ComparePage::ComparePage(std::string before, std::string after, std::int64_t made_at)
    : before_(std::move(before)),
      after_(std::move(after)),
      made_at_(made_at),
      columns_(Columns()) {}

void ComparePage::Add(const ComparedPair& pair) {
  const std::optional<RunStatus> before = pair.status_before();
  const std::optional<RunStatus> after = pair.status_after();
  ++sides_[static_cast<std::size_t>(pair.pair.side)];
  if (before && after) {
    fixed_ += *before != RunStatus::kOk && *after == RunStatus::kOk;
    broken_ += *before == RunStatus::kOk && *after != RunStatus::kOk;
  }
  PackedColumns::Cells cells;
  const auto number = [&cells](const std::optional<double>& value) {
    Digits digits;
    cells.Number(value ? DigitsOf(*value, &digits) : std::string_view());
  };
  cells.Text(pair.name());
  cells.Code(static_cast<std::uint8_t>(pair.pair.side));
  cells.Code(before ? static_cast<std::uint8_t>(*before) : kNoStatus);
  cells.Code(after ? static_cast<std::uint8_t>(*after) : kNoStatus);
  number(NameNumber(pair.name()));
  for (std::size_t k = 0; k < kFigureCount; ++k) {
    number(pair.before_value(static_cast<Figure>(k)));
    number(pair.after_value(static_cast<Figure>(k)));
  }
  columns_.Add(cells);
}

std::string ComparePage::Header() const {
  const auto side = [this](PairSide s) { return sides_[static_cast<std::size_t>(s)]; };
  const std::uint64_t both = side(PairSide::kBoth);
  std::string html = "<header>\n<h1>tabrun comparison</h1>\n<p>Before <code>" + HtmlText(before_) +
                     "</code>, after <code>" + HtmlText(after_) + "</code>, made " +
                     MadeText(made_at_) + " by tabrun " TABRUN_VERSION ".</p>\n";
  html += "<p id=\"sides\">" + Runs(both) + " in both, " + Grouped(side(PairSide::kBefore)) +
          " only before, " + Grouped(side(PairSide::kAfter)) +
          " only after; failed before and ok after " + Grouped(fixed_) +
          ", ok before and failed after " + Grouped(broken_) + ".</p>\n";
  html +=
      "<p>Better is smaller for every figure tabrun reads (Chi2 and the R factors), and for the "
      "CPU time: a change below 0 is an improvement.</p>\n";
  if (both == 0 && columns_.rows() != 0) {
    html +=
        "<p id=\"apart\"><b>No run before has the name of a run after: nothing could be "
        "paired.</b> The rows are the runs of each side; runs are paired by the name of their "
        "log within its PATH.</p>\n";
  }
  return html + "</header>\n";
}

void ComparePage::WritePage(const PageSink& sink) {
  sink(PageHead("tabrun comparison: " + HtmlText(before_) + " and " + HtmlText(after_)) + Header());
  sink(kViews);
  sink("<script type=\"application/json\" id=\"data\">{\"page\":\"compare\",");
  columns_.Write(sink);
  sink("}</script>\n");
  WritePageEnd(sink);
}

}  // namespace tabrun
