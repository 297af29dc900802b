#include "analysis/run_row.h"

#include <gtest/gtest.h>

namespace tabrun {
namespace {

TEST(RunRowTest, NaturalOrderReadsNumbersByValue) {
  const struct {
    const char* a;
    const char* b;
  } before[] = {
      {"T5K.log", "T10K.log"},   {"T12.25K.log", "T12.5K.log"},
      {"T9.log", "T9.5.log"},    {"T05.log", "T5.log"},
      {"a1.log", "ab.log"},      {"1.log", "a.log"},
      {" .log", "1.log"},        {"T1", "T1.log"},
      {"r2/a.log", "r10/a.log"}, {"x9.log", "x99999999999999999999999999.log"},
  };
  for (const auto& c : before) {
    EXPECT_TRUE(NaturalLess(c.a, c.b)) << c.a << " < " << c.b;
    EXPECT_FALSE(NaturalLess(c.b, c.a)) << c.b << " !< " << c.a;
  }
  EXPECT_FALSE(NaturalLess("T5K.log", "T5K.log"));
}

}  // namespace
}  // namespace tabrun
