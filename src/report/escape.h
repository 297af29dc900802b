// Text from file names and logs, made safe for a JSON or an HTML reader.

#ifndef TABRUN_REPORT_ESCAPE_H_
#define TABRUN_REPORT_ESCAPE_H_

#include <string>
#include <string_view>

namespace tabrun {

// Both functions read `text` as UTF-8 and write one U+FFFD for every stretch of bytes that is
// not: a byte that cannot start a character, or the longest start of a character that breaks
// off (so "\xE2\x82" followed by "A" gives U+FFFD and "A"). Surrogates, overlong forms and
// code points past U+10FFFF are not UTF-8. Valid characters are written as they are.

// Appends `text` to *out as a JSON string, quotes included. The quote and the backslash are
// escaped, backspace, tab, line feed, form feed and carriage return as \b \t \n \f \r, the
// other characters below U+0020 as \u00xx in lower-case hex; nothing else is.
void AppendJsonString(std::string_view text, std::string* out);

// Appends `text` to *out as HTML text that is safe in an element and in a quoted attribute:
// & < > " and ' become character references, and a NUL byte becomes U+FFFD.
void AppendHtmlText(std::string_view text, std::string* out);

}  // namespace tabrun

#endif  // TABRUN_REPORT_ESCAPE_H_
