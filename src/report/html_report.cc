#include "report/html_report.h"

#include "report/escape.h"

namespace tabrun {

HtmlReport::HtmlReport(std::vector<std::string> paths, std::int64_t made_at)
    : paths_(std::move(paths)), made_at_(made_at) {}

void HtmlReport::Add(const ScriptRow& row, const std::vector<std::string>& tail) {
  (void)tail;
  rows_.push_back(row);
}

std::string HtmlReport::Page() const {
  // A placeholder until the page is built: one line per log.
  std::string page = "<!DOCTYPE html>\n<html><body><pre>\n";
  for (const ScriptRow& row : rows_) {
    AppendHtmlText(row.log + " " + row.status + "\n", &page);
  }
  return page + "</pre></body></html>\n";
}

}  // namespace tabrun
