#include "recio/number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tabrun {
namespace {

TEST(ReadRealTest, AcceptedForms) {
  struct Case {
    const char* text;
    float expected;
  } cases[] = {
      {"    12.345 seconds", 12.345f},
      {"3.5", 3.5f},
      {"-2", -2.0f},
      {"+.5", 0.5f},
      {"5.", 5.0f},
      {"1.5E2", 150.0f},
      {"1.5e-1", 0.15f},
      {"2D3", 2000.0f},
      {"2d+3,x", 2000.0f},
      {"7.25/", 7.25f},
      {"0.1", 0.1f},  // rounded once, straight to single precision
  };
  for (const Case& c : cases) {
    float value = -1.0f;
    EXPECT_EQ(ReadReal(c.text, &value), RealReadResult::kValue) << c.text;
    EXPECT_EQ(value, c.expected) << c.text;
  }
}

TEST(ReadRealTest, NullValuesKeepTheTarget) {
  for (const char* text : {",", "  , 3.0", "/", " / 3.0"}) {
    float value = 42.0f;
    EXPECT_EQ(ReadReal(text, &value), RealReadResult::kNull) << text;
    EXPECT_EQ(value, 42.0f) << text;
  }
}

TEST(ReadRealTest, NoValueAndNotANumber) {
  float value = 42.0f;
  EXPECT_EQ(ReadReal("", &value), RealReadResult::kNoValue);
  EXPECT_EQ(ReadReal("      ", &value), RealReadResult::kNoValue);
  for (const char* text : {"abc", "12.3s", "1.2.3", ".", "+", "1e", "1e+", "E5", "\t12", "Infinity",
                           "NaN", "3*1.5", "12.345seconds"}) {
    EXPECT_EQ(ReadReal(text, &value), RealReadResult::kNotANumber) << text;
  }
  EXPECT_EQ(value, 42.0f);
  // Only the first value matters, whatever follows its separator.
  EXPECT_EQ(ReadReal("1,5e", &value), RealReadResult::kValue);
  EXPECT_EQ(value, 1.0f);
}

TEST(ReadRealTest, OverflowBecomesInfinity) {
  float value = 0.0f;
  EXPECT_EQ(ReadReal("1e39", &value), RealReadResult::kValue);
  EXPECT_TRUE(std::isinf(value) && value > 0);
  EXPECT_EQ(ReadReal("-1D40", &value), RealReadResult::kValue);
  EXPECT_TRUE(std::isinf(value) && value < 0);
}

TEST(FormatFixedTest, FourteenColumnsThreeDecimals) {
  struct Case {
    float value;
    const char* expected;
  } cases[] = {
      {12.3456f, "        12.346"},
      {0.5f, "         0.500"},
      {0.0f, "         0.000"},
      {123456.0f, "    123456.000"},
      {313.595f, "       313.595"},
      {5.2265835f, "         5.227"},
      {-1.5f, "        -1.500"},
      {9999999.0f, "   9999999.000"},
      {999999999.0f, "1000000000.000"},  // exactly 14 columns
      {1.0e10f, "**************"},       // 15 columns needed
      {1.0e11f, "**************"},
      {-999999999.0f, "**************"},
      {std::numeric_limits<float>::infinity(), "**************"},
      {-std::numeric_limits<float>::infinity(), "**************"},
      {std::numeric_limits<float>::quiet_NaN(), "           NaN"},
  };
  for (const Case& c : cases) EXPECT_EQ(FormatFixed14_3(c.value), c.expected) << c.value;
}

}  // namespace
}  // namespace tabrun
