#include "report/script_rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tabrun {
namespace {

// The modified column at the edges of its four-digit years, and past them.
TEST(ScriptRowsTest, TimeText) {
  const struct {
    std::int64_t seconds;
    std::string text;
  } cases[] = {
      {0, "1970-01-01T00:00:00Z"},
      {-1, "1969-12-31T23:59:59Z"},
      {1795627451, "2026-11-25T17:24:11Z"},
      {-62167219200, "0000-01-01T00:00:00Z"},
      {253402300799, "9999-12-31T23:59:59Z"},
      {253402300800, "10000-01-01T00:00:00Z"},
      {-62167219201, "-1-12-31T23:59:59Z"},
  };
  for (const auto& c : cases) {
    Digits digits;
    EXPECT_EQ(TimeText(c.seconds, &digits), c.text) << c.seconds;
  }
}

// A log that was read but could not be closed is unreadable: its row says nothing of what the
// scan found, however much that was.
TEST(ScriptRowsTest, UnreadableRowCarriesNoScan) {
  RunRow row;
  row.log = "a,b.log";
  row.scan.status = RunStatus::kOk;
  row.scan.kind = RunKind::kOrdinary;
  row.scan.control_file = "a.pcr";
  row.scan.cpu_seconds = 1.5;
  row.scan.figures.chi2 = 2;
  row.scan.result_text = " 2";
  row.problem = ReadProblem::kCannotClose;
  row.problem_reason = "Input/output error";
  row.name_number = 7;
  row.bytes = 12;
  row.modified = 0;
  EXPECT_EQ(CsvRow(row),
            "\"a,b.log\",,unreadable,,,,,,,,,,,cannot close: Input/output error,7,,"
            "cannot close: Input/output error,,\n");
  row.problem = ReadProblem::kNone;
  EXPECT_EQ(CsvRow(row),
            "\"a,b.log\",ordinary,ok,a.pcr,1.5,2,,,,,,, 2,,7,,,12,1970-01-01T00:00:00Z\n");
}

}  // namespace
}  // namespace tabrun
