#include "recio/fixed_text.h"

#include <gtest/gtest.h>

#include <string>

namespace tabrun {
namespace {

TEST(FixedTextTest, AssignPadsCutsAndMayReadItself) {
  FixedText text("0123456789");
  EXPECT_EQ(text.view(), "0123456789" + std::string(246, ' '));
  text.Assign(text.Columns(3, 256));
  EXPECT_EQ(text.Trimmed(), "23456789");
  text.Assign(std::string(300, 'x'));
  EXPECT_EQ(text.view(), std::string(256, 'x'));
}

TEST(FixedTextTest, ColumnsAreOneBasedAndClippedAtTheEnd) {
  FixedText text("abcdef");
  EXPECT_EQ(text.Columns(2, 4), "bcd");
  EXPECT_EQ(text.Columns(250, 270).size(), 7u);
  EXPECT_EQ(text.Columns(257, 300), "");
  EXPECT_EQ(text.Columns(5, 4), "");
}

TEST(TextHelpersTest, TrimAndAdjust) {
  EXPECT_EQ(TrimRight("ab  "), "ab");
  EXPECT_EQ(TrimRight("   "), "");
  EXPECT_EQ(TrimRight(" a\t"), " a\t");  // only the blank is white space
  EXPECT_EQ(AdjustLeft("  ab "), "ab   ");
  EXPECT_EQ(AdjustLeft("   "), "   ");
  EXPECT_EQ(AdjustLeft(""), "");
}

TEST(TextHelpersTest, IndexForwardAndBackward) {
  struct Case {
    std::string_view text, pattern;
    int first, last;
  } cases[] = {
      {"CPU Time: 1 CPU Time: 2", "CPU Time:", 1, 13},
      {"abc", "abcd", 0, 0},               // pattern longer than the text
      {"", "a", 0, 0},                     // empty text
      {"abc", "", 1, 4},                   // empty pattern: 1 forward, length + 1 backward
      {"Normal End", "Normal end", 0, 0},  // case counts
      {"a  b", "  ", 2, 2},                // blanks in the pattern count
      {"xx", "x", 1, 2},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Index(c.text, c.pattern), c.first) << c.text << " / " << c.pattern;
    EXPECT_EQ(IndexLast(c.text, c.pattern), c.last) << c.text << " / " << c.pattern;
  }
}

}  // namespace
}  // namespace tabrun
