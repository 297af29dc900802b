#include "report/escape.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

#define FFFD "\xEF\xBF\xBD"

TEST(EscapeTest, JsonString) {
  struct Case {
    std::string text;
    std::string json;
  } cases[] = {
      {"", R"("")"},
      {"plain /x\x7F", "\"plain /x\x7F\""},  // neither the slash nor DEL is escaped
      {"q\"b\\", R"("q\"b\\")"},
      {"\b\t\n\f\r", R"("\b\t\n\f\r")"},
      {std::string("\0\x01\x1f", 3), R"("\u0000\u0001\u001f")"},
      {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\""},
      // Bytes that are not UTF-8: one U+FFFD per stretch that breaks off.
      {"caf\xE9", "\"caf" FFFD "\""},
      {"\xE2\x82" "A", "\"" FFFD "A\""},
      {"\xE2\x82", "\"" FFFD "\""},                // cut off at the end
      {"\xC0\xAF", "\"" FFFD FFFD "\""},           // overlong
      {"\xE0\x80\x80", "\"" FFFD FFFD FFFD "\""},  // overlong
      {"\xED\xA0\x80", "\"" FFFD FFFD FFFD "\""},  // a surrogate
      {"\xF4\x90\x80\x80", "\"" FFFD FFFD FFFD FFFD "\""},  // past U+10FFFF
      {"\xF0\x9F\x98" "\"", "\"" FFFD "\\\"\""},
      {"\x80\xBF\xFE\xFF", "\"" FFFD FFFD FFFD FFFD "\""},
  };
  for (const Case& c : cases) {
    std::string out = "x";
    AppendJsonString(c.text, &out);
    EXPECT_EQ(out, "x" + c.json) << c.text;
  }
}

TEST(EscapeTest, HtmlText) {
  struct Case {
    std::string text;
    std::string html;
  } cases[] = {
      {"</script><!--", "&lt;/script&gt;&lt;!--"},
      {"a&b \"c\" 'd'", "a&amp;b &quot;c&quot; &#39;d&#39;"},
      {std::string("n\0\xE9\n", 4), "n" FFFD FFFD "\n"},
  };
  for (const Case& c : cases) {
    std::string out;
    AppendHtmlText(c.text, &out);
    EXPECT_EQ(out, c.html) << c.text;
  }
}

}  // namespace
}  // namespace tabrun
