#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "base/error.h"
#include "expr/date_time.h"
#include "expr_test_support.h"

namespace quillet {
namespace {

using namespace testval;

TEST(ExprValueTest, TextForm) {
  struct Case {
    TExprValue Value;
    const char* Text;
  };
  const Case cases[] = {
      {N(), ""},
      {TExprValue::Empty(), ""},
      {I(-42), "-42"},
      {I(std::numeric_limits<int64_t>::min()), "-9223372036854775808"},
      {F(2.5), "2.5"},
      {F(0.1), "0.1"},
      {F(12), "12"},
      {F(-0.0), "0"},
      {F(0.1 + 0.2), "0.3"},
      {F(4954598.919999999), "4954598.92"},
      {F(1.0 / 3), "0.333333333333333"},
      {F(2.0 / 3), "0.666666666666667"},
      {F(123456789012345.6), "123456789012346"},
      {F(999999999999999.0), "999999999999999"},
      {F(999999999999999.9), "1E15"},  // rounds up into exponent form
      {F(1e20), "1E20"},
      {F(-2e15), "-2E15"},
      {F(1.5e-7), "1.5E-7"},
      {F(1e-6), "1E-6"},
      {F(1e-5), "0.00001"},
      {F(0.000012345), "0.000012345"},
      {F(std::nan("")), "NAN"},
      {F(-INFINITY), "-INF"},
      {B(true), "True"},
      {B(false), "False"},
      {S("x y"), "x y"},
      {D(0.0), "30.12.1899"},
      {D(1.25), "31.12.1899 06:00:00"},
      {D(-1.25), "29.12.1899 06:00:00"},
      {D(45000.5), "15.03.2023 12:00:00"},
      {D(1e9), "1000000000"},  // not a calendar date
  };
  for (const Case& c : cases) EXPECT_EQ(c.Value.ToText(), c.Text) << ::testing::PrintToString(c.Value);
}

TEST(ExprValueTest, NumberConversion) {
  struct Case {
    TExprValue Value;
    bool Converts;
    double Number;
  };
  const Case cases[] = {
      {I(7), true, 7},           {F(-1.5), true, -1.5},     {D(2.5), true, 2.5},
      {S(" 12 "), true, 12},     {S("\t-3e2 \r\n"), true, -300}, {S("1.5"), true, 1.5},
      {S("1,5"), true, 1.5},     {S("-0,25"), true, -0.25}, {S("1,000.5"), false, 0},
      {S("1,5,3"), false, 0},    {S(""), false, 0},         {S("abc"), false, 0},
      {S("1e400"), false, 0},    {S("nan"), false, 0},      {B(true), false, 0},
      {N(), false, 0},           {TExprValue::Empty(), false, 0},
  };
  for (const Case& c : cases) {
    double v = -999;
    EXPECT_EQ(c.Value.TryToNumber(v), c.Converts) << ::testing::PrintToString(c.Value);
    if (c.Converts) {
      EXPECT_EQ(v, c.Number) << ::testing::PrintToString(c.Value);
    }
  }
}

TEST(ExprValueTest, Truthiness) {
  struct Case {
    TExprValue Value;
    bool Truth;
  };
  const Case cases[] = {
      {N(), false},     {TExprValue::Empty(), false}, {B(true), true},      {B(false), false},
      {I(0), false},    {I(-1), true},                {F(0.0), false},      {F(0.5), true},
      {S(""), false},   {S(" 0 "), false},            {S("0.0"), true},     {S("False"), true},
      {S("no"), true},  {D(0.0), true},
  };
  for (const Case& c : cases) EXPECT_EQ(c.Value.IsTruthy(), c.Truth) << ::testing::PrintToString(c.Value);
}

TEST(ExprValueTest, CompareValues) {
  struct Case {
    TExprValue A, B;
    int Sign;
  };
  const Case cases[] = {
      {I(9007199254740993), I(9007199254740992), 1},  // exact, not through double
      {S("10"), F(10.0), 0},
      {S("2"), S("10"), -1},      // both numbers
      {S("2a"), S("10a"), 1},     // text
      {S("abc"), S("ABC"), 0},
      {S("B"), S("a"), 1},
      {S("\xC3\xA4"), S("\xC3\x84"), 0},  // ä / Ä
      {N(), S(""), 0},
      {B(true), S("TRUE"), 0},
      {D(45000.5), I(45000), 1},
      // Date-times by day count, not by text: 05.03.2024 is after 12.01.2024, 1999 before 2000.
      {D(45356), D(45303), 1},
      {D(36525), D(36526), -1},
      {D(45356.25), D(45356.75), -1},
  };
  for (const Case& c : cases) {
    const int r = CompareValues(c.A, c.B);
    EXPECT_EQ((r > 0) - (r < 0), c.Sign) << ::testing::PrintToString(c.A) << " vs " << ::testing::PrintToString(c.B);
  }
}

TEST(DateTimeTest, EncodeDecodeRoundTrip) {
  struct Case {
    int Y, M, D, h, n, s, ms;
    double Value;  // NAN: only the round trip is checked
  };
  const Case cases[] = {
      {1899, 12, 30, 0, 0, 0, 0, 0.0},      {1899, 12, 31, 6, 0, 0, 0, 1.25},
      {1899, 12, 29, 6, 0, 0, 0, -1.25},    {2023, 3, 15, 12, 0, 0, 0, 45000.5},
      {1, 1, 1, 0, 0, 0, 0, MinDateTime},   {9999, 12, 31, 0, 0, 0, 0, 2958465.0},
      {2000, 2, 29, 0, 0, 0, 0, 36585.0},   {2024, 7, 14, 23, 59, 59, 999, NAN},
      {1600, 3, 1, 13, 14, 15, 16, NAN},    {1970, 1, 1, 0, 0, 0, 1, NAN},
  };
  for (const Case& c : cases) {
    double dt = -1;
    ASSERT_TRUE(TryEncodeDateTime(c.Y, c.M, c.D, c.h, c.n, c.s, c.ms, dt)) << c.Y << "-" << c.M << "-" << c.D;
    if (!std::isnan(c.Value)) {
      EXPECT_DOUBLE_EQ(dt, c.Value);
    }
    int y, m, d, h, n, s, ms;
    ASSERT_TRUE(DecodeDateTime(dt, y, m, d, h, n, s, ms));
    EXPECT_EQ((std::array<int, 7>{y, m, d, h, n, s, ms}), (std::array<int, 7>{c.Y, c.M, c.D, c.h, c.n, c.s, c.ms}));
  }
}

TEST(DateTimeTest, InvalidPartsAndValues) {
  const int bad[][7] = {{2023, 2, 29, 0, 0, 0, 0}, {2024, 13, 1, 0, 0, 0, 0}, {0, 1, 1, 0, 0, 0, 0},
                        {10000, 1, 1, 0, 0, 0, 0}, {2024, 4, 31, 0, 0, 0, 0}, {2024, 1, 1, 24, 0, 0, 0},
                        {2024, 1, 1, 0, 60, 0, 0}, {2024, 1, 0, 0, 0, 0, 0},  {2024, 1, 1, 0, 0, 0, 1000}};
  for (const auto& b : bad) {
    double dt;
    EXPECT_FALSE(TryEncodeDateTime(b[0], b[1], b[2], b[3], b[4], b[5], b[6], dt)) << b[0] << "-" << b[1] << "-" << b[2];
  }
  EXPECT_THROW(EncodeDateTime(2023, 2, 29, 0, 0, 0, 0), EQuilletError);
  TDateTimeParts p;
  for (double v : {std::nan(""), double(INFINITY), 1e300, -1e300, MaxDateTime + 1, MinDateTime - 1})
    EXPECT_FALSE(DecodeDateTimeParts(v, p)) << v;
}

TEST(DateTimeTest, DecodeDetails) {
  TDateTimeParts p;
  // Between -1 and 0 the day is 1899-12-30 and the fraction's magnitude is the time.
  ASSERT_TRUE(DecodeDateTimeParts(-0.5, p));
  EXPECT_EQ((std::array<int, 4>{p.Year, p.Month, p.Day, p.Hour}), (std::array<int, 4>{1899, 12, 30, 12}));
  // A time that rounds up to midnight moves to the next day.
  ASSERT_TRUE(DecodeDateTimeParts(45000.99999999999, p));
  EXPECT_EQ((std::array<int, 3>{p.Day, p.Hour, p.Minute}), (std::array<int, 3>{16, 0, 0}));
  ASSERT_TRUE(DecodeDateTimeParts(EncodeDateTime(2024, 3, 5, 0, 0, 0, 0), p));
  EXPECT_EQ(p.DayOfWeek, 3);  // Tuesday, Sunday = 1
  ASSERT_TRUE(DecodeDateTimeParts(0, p));
  EXPECT_EQ(p.DayOfWeek, 7);  // 1899-12-30 was a Saturday
}

TEST(DateTimeTest, ReadsDateStrings) {
  struct Case {
    const char* Text;
    bool Ok;
    int Y = 0, M = 0, D = 0, h = 0, n = 0, s = 0;
  };
  const Case cases[] = {
      {"2024-03-05", true, 2024, 3, 5, 0, 0, 0},
      {"2024-03-05 14:30", true, 2024, 3, 5, 14, 30, 0},
      {"2024-03-05T14:30:15", true, 2024, 3, 5, 14, 30, 15},
      {"2024-03-05T14:30:15.123Z", true, 2024, 3, 5, 14, 30, 15},
      {"2024-03-05 1", true, 2024, 3, 5, 0, 0, 0},  // too short to hold an hour
      {"05.03.2024", true, 2024, 3, 5, 0, 0, 0},
      {"5.3.2024 7:05", true, 2024, 3, 5, 7, 5, 0},
      {" 05.03.2024 14:30:15 ", true, 2024, 3, 5, 14, 30, 15},
      {"2024-13-05", false},
      {"2023-02-29", false},
      {"2024-03-05 xx:30", false},
      {"2024-03-05 25:00", false},
      {"31.04.2024", false},
      {"05.03.24", false},
      {"05/03/2024", false},
      {"05.03.2024 14", false},
      {"05.03.2024x", false},
      {"", false},
      {"abc", false},
  };
  for (const Case& c : cases) {
    double dt = 0;
    ASSERT_EQ(TryStrToDateTime(c.Text, dt), c.Ok) << c.Text;
    if (c.Ok) {
      EXPECT_DOUBLE_EQ(dt, EncodeDateTime(c.Y, c.M, c.D, c.h, c.n, c.s, 0)) << c.Text;
    }
  }
}

TEST(DateTimeTest, NowFollowsSourceDateEpoch) {
  const char* old = std::getenv("SOURCE_DATE_EPOCH");
  const std::string saved = old ? old : "";
  setenv("SOURCE_DATE_EPOCH", "1709647629", 1);  // 2024-03-05 14:07:09 UTC
  const double now = NowDateTime();
  if (old) setenv("SOURCE_DATE_EPOCH", saved.c_str(), 1); else unsetenv("SOURCE_DATE_EPOCH");
  EXPECT_DOUBLE_EQ(now, EncodeDateTime(2024, 3, 5, 14, 7, 9, 0));
}

}  // namespace
}  // namespace quillet
