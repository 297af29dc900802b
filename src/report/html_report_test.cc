#include "report/html_report.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "testing/memory_log.h"
#include "testing/unpack.h"

namespace tabrun {
namespace {

constexpr RunStatus kOk = RunStatus::kOk;

RunRow Row(std::string log, RunStatus status, std::optional<double> chi2 = {},
           std::optional<double> rf2 = {}, std::optional<double> cpu = {}) {
  RunRow row;
  row.log = std::move(log);
  row.scan.status = status;
  if (status == RunStatus::kUnreadable) {
    row.problem = ReadProblem::kMissing;
    row.problem_reason = "No such file or directory";
  }
  row.scan.figures.chi2 = chi2;
  row.scan.figures.rf2 = rf2;
  row.scan.cpu_seconds = cpu;
  return row;
}

// An annealing trial's row, as its log gives it.
RunRow Trial(const std::string& rf2) {
  MemoryLog log(" => Sol#: 1 RF2=" + rf2 + "\n => CPU Time: 1\n => PCR  File  : sa\n");
  RunRow row;
  row.log = "sa_" + rf2 + ".log";
  row.scan = ScanLog(log.text, {.rows = true, .tail_records = 0});
  return row;
}

std::string PageOf(std::vector<RunRow> rows,
                   const std::vector<std::vector<std::string>>& tails = {},
                   std::vector<std::string> paths = {"runs"}, std::int64_t made_at = 0) {
  HtmlReport report(std::move(paths), made_at);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i < tails.size()) rows[i].scan.tail = tails[i];
    report.Add(HtmlReport::Encode(rows[i]));
  }
  std::string page;
  report.WritePage([&page](std::string_view piece) { page.append(piece); });
  return page;
}

// The text of `page` from the first `from` on, up to and with the first `to` after it.
std::string Between(const std::string& page, const std::string& from, const std::string& to) {
  const std::size_t start = page.find(from);
  if (start == std::string::npos) return "(no " + from + ")";
  return page.substr(start, page.find(to, start) + to.size() - start);
}

// The unpacked tails that go with the rows of the page. (The rows themselves are checked in
// the browser, exported as CSV.)
std::string Tails(const std::string& page) {
  const std::string marker = "\"tails\":\"";
  const std::size_t at = page.find(marker);
  if (at == std::string::npos) return "(no tails)";
  const std::size_t begin = at + marker.size();
  return Unpack(page.substr(begin, page.find('"', begin) - begin)).value_or("(not unpacked)");
}

TEST(HtmlReportTest, Header) {
  const std::string page =
      PageOf({Row("runs/a.log", kOk, 2.5, {}, 10), Row("runs/b.log", kOk, 1.5, {}, 0.5),
              Row("runs/c.log", RunStatus::kBadEnd)},
             {}, {"runs", "<b>", "2", "3", "4", "5", "6", "7", "8", "9", "x"}, -1);
  EXPECT_EQ(Between(page, "<header>", "</header>"),
            "<header>\n<h1>tabrun report</h1>\n"
            "<p>Batch <code>runs</code> <code>&lt;b&gt;</code> <code>2</code> <code>3</code> "
            "<code>4</code> <code>5</code> <code>6</code> <code>7</code> <code>8</code> "
            "<code>9</code> and 1 more, made 1969-12-31 23:59:59 UTC by tabrun " TABRUN_VERSION
            ".</p>\n"
            "<p id=\"counts\">3 logs:"
            " <button type=\"button\" data-status=\"ok\">ok <b>2</b> 66.7 %</button>"
            " <button type=\"button\" disabled data-status=\"no_cpu\">no_cpu <b>0</b> 0.0 "
            "%</button>"
            " <button type=\"button\" data-status=\"bad_end\">bad_end <b>1</b> 33.3 %</button>"
            " <button type=\"button\" disabled data-status=\"no_control_file\">no_control_file "
            "<b>0</b> 0.0 %</button>"
            " <button type=\"button\" disabled data-status=\"bad_cpu_value\">bad_cpu_value "
            "<b>0</b> 0.0 %</button>"
            " <button type=\"button\" disabled data-status=\"unreadable\">unreadable <b>0</b> "
            "0.0 %</button></p>\n"
            "<p>Total CPU time 10.500 s = 0.003 h.</p>\n"
            "<p id=\"best\">Best chi2 1.5: <code>runs/b.log</code>.</p>\n</header>");
}

// One line of the header, for batches at the edges.
TEST(HtmlReportTest, HeaderLines) {
  const std::string count = "<p id=\"counts\">", best = "<p id=\"best\">";
  const std::string ok = " <button type=\"button\" data-status=\"ok\">ok <b>";
  const struct {
    std::vector<RunRow> rows;
    std::string line;
  } cases[] = {
      {{}, best + "No run has a chi2, rf2 or cpu_seconds.</p>"},
      {{},
       count + "0 logs: <button type=\"button\" disabled data-status=\"ok\">ok <b>0</b></button>"},
      {std::vector(1000, Row("a", kOk)), count + "1,000 logs:" + ok + "1,000</b> 100.0 %"},
      {{Row("a", kOk)}, count + "1 log:" + ok + "1</b> 100.0 %</button>"},
      // chi2 before rf2 before cpu_seconds; on a tie the first log.
      {{Row("a", kOk, {}, 3, 1), Row("b", kOk, 4, {}, 1), Row("c", kOk, 4)},
       best + "Best chi2 4: <code>b</code>.</p>"},
      {{Row("a", kOk, {}, 3, 1), Row("b", kOk, {}, 2)}, best + "Best rf2 2: <code>b</code>.</p>"},
      // RF2=103.225 is 103.225, not the " 03.225" of the summary's columns.
      {{Trial("103.225"), Trial("9.4312")},
       best + "Best rf2 9.4312: <code>sa_9.4312.log</code>.</p>"},
      {{Row("a", kOk, {}, {}, 1e-7), Row("<x>", kOk, {}, {}, -0.0)},
       best + "Best cpu_seconds -0: <code>&lt;x&gt;</code>.</p>"},
  };
  // The time the page was made, as a date where it has four digits or more, else in seconds.
  const std::string made = " UTC by tabrun " TABRUN_VERSION ".</p>";
  const struct {
    std::int64_t made_at;
    std::string line;
  } times[] = {
      {1'000'000'000'000, "<p>Batch <code>.</code>, made 33658-09-27 01:46:40" + made},
      {std::numeric_limits<std::int64_t>::max(),
       "<p>Batch <code>.</code>, made 9223372036854775807 s after 1970-01-01 00:00:00" + made},
  };
  const auto expect_line = [](const std::string& page, const std::string& line) {
    const std::string start = line.substr(0, line.find_first_of(" >", 3));
    EXPECT_EQ(Between(page, start, "\n").substr(0, line.size()), line);
  };
  for (const auto& c : cases) expect_line(PageOf(c.rows), c.line);
  for (const auto& c : times) expect_line(PageOf({}, {}, {"."}, c.made_at), c.line);
}

// Each failed run with its reason. Text from names and logs shows as text: markup escaped,
// invalid UTF-8 and NUL as U+FFFD, control characters as in the rows.
TEST(HtmlReportTest, ListedFailures) {
  RunRow bad_end = Row("<img src=x onerror=alert(1)>.log", RunStatus::kBadEnd);
  bad_end.scan.reason = FailureReason::kStatedInLog;
  bad_end.scan.failure_record = "=> Abnormal end <b>\t";
  RunRow empty = Row("empty.log", RunStatus::kNoControlFile);
  empty.scan.reason = FailureReason::kEmptyLog;
  const std::string page =
      PageOf({Row("ok.log", kOk), bad_end, Row("gone.log", RunStatus::kUnreadable), empty},
             {{}, {"", "</script><!--", std::string("last 'words' & \"n\0\xE9\"", 20)}});
  EXPECT_EQ(Between(page, "<section id=\"failed\">", "</section>"),
            "<section id=\"failed\">\n<h2>Failed runs</h2>\n"
            "<p>3 runs did not end with status ok. Open one to see the last records of its "
            "log.</p>\n"
            "<details><summary><b>bad_end</b> <code>&lt;img src=x onerror=alert(1)&gt;.log</code>"
            ": =&gt; Abnormal end &lt;b&gt;\\t</summary><pre "
            "id=\"tail-1\">\n\n&lt;/script&gt;&lt;!--\nlast &#39;words&#39; &amp; "
            "&quot;n\uFFFD\uFFFD&quot;</pre>"
            "</details>\n"
            "<details><summary><b>unreadable</b> <code>gone.log</code>: cannot open: No such file "
            "or directory</summary></details>\n"
            "<details><summary><b>no_control_file</b> <code>empty.log</code>: empty log</summary>"
            "</details>\n"
            "</section>");
  EXPECT_EQ(Tails(page), "[]");
  EXPECT_NE(PageOf({Row("a", kOk)}).find("<p>No run failed.</p>"), std::string::npos);
}

// The first failures are listed; the tails of the others go with the rows.
TEST(HtmlReportTest, FailuresPastTheListedOnes) {
  std::vector<RunRow> rows(HtmlReport::kListedFailures + 2, Row("f.log", RunStatus::kNoCpu));
  rows.front() = Row("ok.log", kOk);
  std::vector<std::vector<std::string>> tails(rows.size(), {"t"});
  tails.back() = {"a\"b", "end"};
  const std::string page = PageOf(rows, tails);
  EXPECT_NE(page.find("<pre id=\"tail-100\">"), std::string::npos);
  EXPECT_EQ(page.find("<pre id=\"tail-101\">"), std::string::npos);
  EXPECT_NE(page.find("<p>1 more in the table: "), std::string::npos);
  EXPECT_EQ(Tails(page), "[101,\"a\\\"b\\nend\"]");
}

// Tails fill the budget as the page writes them; the first that does not fit and every one
// after it are left out, counted, and marked null among the rows' tails, unlike an empty log.
TEST(HtmlReportTest, TailBudget) {
  for (const std::uint64_t size : {HtmlReport::kTailBudget, HtmlReport::kTailBudget + 1}) {
    SCOPED_TRACE(size);
    const bool fits = size == HtmlReport::kTailBudget;
    std::vector<RunRow> rows(HtmlReport::kListedFailures + 3, Row("f.log", RunStatus::kBadEnd));
    std::vector<std::vector<std::string>> tails(rows.size(), {"t"});
    tails[0] = {std::string(size, 'x')};
    tails[2] = tails[101] = {};  // empty logs: nothing to leave out
    const std::string page = PageOf(rows, tails);
    EXPECT_EQ(page.find("<pre id=\"tail-0\">") != std::string::npos, fits);
    EXPECT_NE(page.find("<p>The end of this log is left out.</p>"), std::string::npos);
    EXPECT_NE(page.find("<p>The ends of " + std::to_string(fits ? 100 : 101) + " failed logs"),
              std::string::npos);
    const std::string left_out = Tails(page);
    EXPECT_EQ(left_out.substr(0, 15), fits ? "[1,null,3,null," : "[0,null,1,null,");
    EXPECT_EQ(left_out.substr(left_out.size() - 27), ",99,null,100,null,102,null]");
  }
}

// A page from rows read back (its counts, CPU time and best run: rows_round_trip.py): its header
// names the row files; a failed run shows its reason and its last record (escaped as the rows
// carry it) in place of the end of its log, and the page says so.
TEST(HtmlReportTest, PageFromRows) {
  const auto written = [](RunStatus status, std::string log, std::string last_record = {},
                          std::string reason = {}) {
    WrittenRow row;
    row.status = status;
    row.cells[0] = std::move(log);
    row.cells[kLastRecordColumn] = std::move(last_record);
    row.cells[kReasonColumn] = std::move(reason);
    return row;
  };
  HtmlReport report({"shard-1.csv", "-"}, 0, HtmlReport::Input::kRows);
  for (const WrittenRow& row :
       {written(kOk, "a.log"), written(kOk, "b.log"),
        written(RunStatus::kBadEnd, "<c>.log", " => Cycle:\\t<1>", "stopped & gone"),
        written(RunStatus::kUnreadable, "d.log", "", "cannot open: Is a directory")}) {
    report.Add(HtmlReport::Encode(row));
  }
  std::string page;
  report.WritePage([&page](std::string_view piece) { page.append(piece); });
  EXPECT_EQ(Between(page, "<p>Batch", "</p>"),
            "<p>Batch from the rows in <code>shard-1.csv</code> <code>-</code>, made 1970-01-01 "
            "00:00:00 UTC by tabrun " TABRUN_VERSION ".</p>");
  EXPECT_EQ(Between(page, "<section id=\"failed\">", "</section>"),
            "<section id=\"failed\">\n<h2>Failed runs</h2>\n"
            "<p>2 runs did not end with status ok. This page was made from rows, which hold no "
            "more of a log than its last record: open one to see it.</p>\n"
            "<details><summary><b>bad_end</b> <code>&lt;c&gt;.log</code>: stopped &amp; "
            "gone</summary><pre>\n =&gt; Cycle:\\t&lt;1&gt;</pre></details>\n"
            "<details><summary><b>unreadable</b> <code>d.log</code>: cannot open: Is a "
            "directory</summary></details>\n"
            "</section>");
  EXPECT_EQ(Tails(page), "[]");
}

}  // namespace
}  // namespace tabrun
