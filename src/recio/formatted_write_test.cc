#include "recio/formatted_write.h"

#include <gtest/gtest.h>

#include <string>

#include "recio/fixed_text.h"

namespace tabrun {
namespace {

TEST(FormattedWriteTest, RecordShapes) {
  OutputUnit unit("*", "memory");
  WriteEmptyThenRecord(unit, "a");
  WriteRecordThenEmpty(unit, "b");
  WriteRecord(unit, {"c"});
  WriteRecord(unit, {" x", "y ", "z"});
  EXPECT_EQ(unit.contents(), "\na\nb\n\nc\n xy z\n");
}

TEST(FormattedWriteTest, UntrimmedBufferKeepsItsBlanks) {
  OutputUnit unit("1", "memory");
  WriteRecord(unit, {" => ", FixedText("run").view()});
  EXPECT_EQ(unit.contents(), " => run" + std::string(253, ' ') + "\n");
}

TEST(FormattedWriteTest, FixedField) {
  OutputUnit unit("*", "memory");
  WriteRecordWithFixed(unit, " => Total CPU Time:", 90.0f, " seconds");
  WriteRecordWithFixed(unit, " =>                ", 1.0e10f, " minutes");
  EXPECT_EQ(unit.contents(),
            " => Total CPU Time:        90.000 seconds\n"
            " =>                ************** minutes\n");
}

TEST(FormattedWriteTest, ListDirectedTextIntegerText) {
  struct Case {
    std::int32_t value;
    const char* expected;
  } cases[] = {
      {3, " File: List_log contains            3  lines\n"},
      {42, " File: List_log contains           42  lines\n"},
      {0, " File: List_log contains            0  lines\n"},
      {-2147483647 - 1, " File: List_log contains  -2147483648  lines\n"},
  };
  for (const Case& c : cases) {
    OutputUnit unit("*", "memory");
    WriteListDirected(unit, "File: List_log contains ", c.value, " lines");
    EXPECT_EQ(unit.contents(), c.expected);
  }
}

}  // namespace
}  // namespace tabrun
