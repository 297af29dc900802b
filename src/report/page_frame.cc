#include "report/page_frame.h"

#include <charconv>
#include <cstdio>
#include <limits>

#include "recio/civil_time.h"
#include "report/escape.h"
#include "report/page_assets.h"

namespace tabrun {

std::string PageHead(std::string_view title_html) {
  return std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n") +
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; " +
         "script-src 'sha256-" + std::string(kPageScriptSha256) + "'; style-src 'sha256-" +
         std::string(kPageStyleSha256) + "'; base-uri 'none'; form-action 'none'\">\n" +
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n" + "<title>" +
         std::string(title_html) + "</title>\n<style>" + std::string(kPageStyle) +
         "</style>\n</head>\n<body>\n";
}

void WritePageEnd(const PageSink& sink) {
  sink("<script>");
  sink(kPageScript);
  sink("</script>\n</body>\n</html>\n");
}

std::string HtmlText(std::string_view text) {
  std::string html;
  AppendHtmlText(text, &html);
  return html;
}

std::string Grouped(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
  return digits;
}

std::string Fixed(double value, int decimals) {
  char text[400];  // the largest double has 309 digits before the point
  const auto result =
      std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
  return std::string(text, result.ptr);
}

std::string MadeText(std::int64_t seconds) {
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

}  // namespace tabrun
