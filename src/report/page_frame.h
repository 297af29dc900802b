// What every page of tabrun shares: its head with the policy that lets only its own script and
// style run, its script at the end, and the texts its headers are written with.

#ifndef TABRUN_REPORT_PAGE_FRAME_H_
#define TABRUN_REPORT_PAGE_FRAME_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "report/packed_text.h"

namespace tabrun {

// The page from its doctype up to and with <body>: a Content-Security-Policy that lets the page
// run its script and apply its style and load nothing at all, the title (HTML text) and the
// style.
std::string PageHead(std::string_view title_html);

// The page's script, which shows every kind of page, and the end of the page.
void WritePageEnd(const PageSink& sink);

// `text` as HTML text, as AppendHtmlText writes it.
std::string HtmlText(std::string_view text);

// A count with a comma between groups of three digits, as "200,000".
std::string Grouped(std::uint64_t count);

// `value` with `decimals` digits after the point.
std::string Fixed(double value, int decimals);

// A time in seconds since 1970 as "2026-11-25 17:24:11 UTC"; beyond the years a C struct tm
// holds, in seconds: "N s after 1970-01-01 00:00:00 UTC".
std::string MadeText(std::int64_t seconds);

}  // namespace tabrun

#endif  // TABRUN_REPORT_PAGE_FRAME_H_
