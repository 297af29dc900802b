// The page of tabrun --html: one self-contained HTML file that shows a batch.

#ifndef TABRUN_REPORT_HTML_REPORT_H_
#define TABRUN_REPORT_HTML_REPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "report/script_rows.h"

namespace tabrun {

// Collects the rows of a batch, in order, and makes the page that shows them.
class HtmlReport {
 public:
  // How many records of a failed log's end the page shows.
  static constexpr int kTailRecords = 20;

  // `paths` are the PATH operands as given; `made_at` is when the report was made, in seconds
  // since the epoch (UTC).
  HtmlReport(std::vector<std::string> paths, std::int64_t made_at);

  // Adds the row of the next log. `tail` holds the last records of the log, at most
  // kTailRecords of them, each cut at 256 columns, when the row's status is not "ok" and the
  // log could be read; otherwise it is empty.
  void Add(const ScriptRow& row, const std::vector<std::string>& tail);

  // The whole page.
  std::string Page() const;

 private:
  std::vector<std::string> paths_;
  std::int64_t made_at_;
  std::vector<ScriptRow> rows_;
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_HTML_REPORT_H_
