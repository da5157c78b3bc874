#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "expr/date_time.h"
#include "expr/decimal_digits.h"
#include "expr/format_settings.h"
#include "expr/formatting.h"
#include "expr_test_support.h"

namespace quillet {
namespace {

using namespace testval;

// Restores the shared settings after tests that change them.
class FormattingTest : public ::testing::Test {
 protected:
  void SetUp() override { FSaved = FormatSettings(); }
  void TearDown() override { FormatSettings() = FSaved; }
  TFormatSettings FSaved;
};

// The shortcut for plain amounts must round exactly as the long expansion does, also next to
// ties (x.xx5 written in binary sits just above or below the half) and for every decimal count.
TEST(DecimalDigits, RoundedShortcutAgreesWithTheExactExpansion) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> unit(0, 1);
  auto same = [](double V, int Decimals) {
    TDecimalDigits slow = ExactDecimalDigits(V);
    RoundToDecimals(slow, Decimals);
    const TDecimalDigits fast = RoundedDecimalDigits(V, Decimals);
    return FixedNotation(slow, Decimals, ".", ",") == FixedNotation(fast, Decimals, ".", ",") &&
           slow.Negative == fast.Negative;
  };
  for (double v : {0.0, -0.0, 0.5, -0.5, 1.005, 2.675, 0.125, 1e-300, 999999999.995, 1e14, -1e15, 1e300})
    for (int d = 0; d <= 9; ++d) EXPECT_TRUE(same(v, d)) << v << " at " << d;
  for (int i = 0; i < 300000; ++i) {
    const int d = static_cast<int>(rng() % 7);
    const double scale = std::pow(10.0, static_cast<double>(rng() % 10));
    // Half of the values sit on a decimal tie one place past the kept decimals.
    double v = std::floor(unit(rng) * scale * 1000) / 1000;
    if (i % 2) v = (std::floor(unit(rng) * scale * std::pow(10.0, d)) + 0.5) / std::pow(10.0, d);
    if (i % 3 == 0) v = -v;
    ASSERT_TRUE(same(v, d)) << v << " at " << d;
  }
}

TEST_F(FormattingTest, FormatValues) {
  struct Case {
    const char* Fmt;
    std::vector<TExprValue> Args;
    std::optional<std::string> Expected;
  };
  const std::optional<std::string> fails;
  const Case cases[] = {
      {"%.2f", {F(3.14159)}, "3.14"},
      {"%.2f", {F(1.005)}, "1.00"},  // the binary value is just below 1.005
      {"%.0f", {F(2.5)}, "3"},       // exact ties go away from zero
      {"%.0f", {F(-2.5)}, "-3"},
      {"%.1f", {F(0.25)}, "0.3"},
      {"%.2f", {F(-0.001)}, "0.00"},
      {"%.2f", {F(0.995)}, "0.99"},
      {"%.2f", {F(9.9999)}, "10.00"},
      {"%f", {I(3)}, "3.00"},
      {"%f", {D(1.5)}, "1.50"},
      {"%.2f", {F(1e20)}, "100000000000000000000.00"},
      {"%12.3n", {F(1234.5678)}, "   1,234.568"},
      {"%8.1n", {F(1234.56)}, " 1,234.6"},
      {"%n", {F(1234567.891)}, "1,234,567.89"},
      {"%n", {F(-999.999)}, "-1,000.00"},
      {"%.0n", {I(999)}, "999"},
      {"%m", {F(1234.5)}, "1,234.50"},
      {"%d", {I(42)}, "42"},
      {"%5d|", {I(42)}, "   42|"},
      {"%-5d|", {I(42)}, "42   |"},
      {"%.5d", {I(-42)}, "-00042"},
      {"%d", {I(INT64_MIN)}, "-9223372036854775808"},
      {"%D", {I(7)}, "7"},
      {"%u", {I(-1)}, "18446744073709551615"},
      {"%x", {I(255)}, "FF"},
      {"%.4x", {I(255)}, "00FF"},
      {"%x", {I(-1)}, "FFFFFFFFFFFFFFFF"},
      {"%p", {I(255)}, "00000000000000FF"},
      {"%e", {F(1234.56789)}, "1.23456789000000E+003"},
      {"%.3e", {F(-0.00012345)}, "-1.23E-004"},
      {"%e", {F(0)}, "0.00000000000000E+000"},
      {"%.1e", {I(5)}, "5E+000"},
      {"%.2e", {F(9.999)}, "1.0E+001"},
      {"%g", {F(1234.5)}, "1234.5"},
      {"%g", {F(1e20)}, "1E20"},
      {"%.3g", {F(12345)}, "1.23E4"},
      {"%g", {F(0.1 + 0.2)}, "0.3"},
      {"%s", {S("abc")}, "abc"},
      {"%5s|", {S("abc")}, "  abc|"},
      {"%-5s|", {S("abc")}, "abc  |"},
      {"%.2s", {S("\xC3\xA4" "bc")}, "\xC3\xA4" "b"},
      {"%4s", {S("\xC3\xA4")}, "   \xC3\xA4"},  // width counts code points
      {"%1:s-%0:s-%s", {S("a"), S("b")}, "b-a-b"},
      {"%s and %d", {S("x"), I(2)}, "x and 2"},
      {"100%%", {}, "100%"},
      {"plain", {}, "plain"},
      // wrong kinds, missing arguments, malformed specifiers
      {"%d", {F(4.2)}, fails},
      {"%d", {S("4")}, fails},
      {"%d", {B(true)}, fails},
      {"%f", {S("1")}, fails},
      {"%f", {N()}, fails},
      {"%s", {I(1)}, fails},
      {"%d", {}, fails},
      {"%d %d", {I(1)}, fails},
      {"%", {}, fails},
      {"%5", {I(1)}, fails},
      {"%z", {I(1)}, fails},
      {"%*d", {I(1)}, fails},
      {"%2000000d", {I(1)}, fails},
  };
  for (const Case& c : cases) EXPECT_EQ(FormatValues(c.Fmt, c.Args), c.Expected) << c.Fmt;
}

TEST_F(FormattingTest, FormatValuesFollowsSettings) {
  TFormatSettings& fs = FormatSettings();
  fs.DecimalSeparator = ",";
  fs.ThousandSeparator = ".";
  fs.CurrencyString = "\xE2\x82\xAC";  // €
  fs.CurrencyFormat = 3;
  EXPECT_EQ(FormatValues("%.2n", {F(1234.5)}), "1.234,50");
  EXPECT_EQ(FormatValues("%m", {F(-5)}), "-5,00 \xE2\x82\xAC");
  EXPECT_EQ(FormatValues("%.3e", {F(1.5)}), "1,50E+000");
  fs.CurrencyString = "$";
  fs.CurrencyFormat = 0;
  fs.CurrencyDecimals = 0;
  EXPECT_EQ(FormatValues("%m", {F(1234.5)}), "$1.235");
}

TEST_F(FormattingTest, FormatDateTimePatterns) {
  const double dt = EncodeDateTime(2024, 3, 5, 14, 7, 9, 45);  // a Tuesday
  const double midnight = EncodeDateTime(2024, 3, 5, 0, 0, 0, 0);
  const double noon = EncodeDateTime(2024, 3, 5, 12, 0, 0, 0);
  struct Case {
    const char* Pattern;
    double Value;
    const char* Expected;
  };
  const Case cases[] = {
      {"yyyy-mm-dd hh:nn:ss.zzz", dt, "2024-03-05 14:07:09.045"},
      {"d/m/yy h:n:s z", dt, "5/3/24 14:7:9 45"},
      {"ddd dddd mmm mmmm", dt, "Tue Tuesday Mar March"},
      {"ddddd", dt, "05.03.2024"},
      {"dddddd", dt, "Tuesday, 5 March 2024"},
      {"YYYY-MM-DD", dt, "2024-03-05"},
      {"hh:mm", dt, "14:07"},          // m after an hour token means minutes
      {"hh dd mm", dt, "14 05 03"},    // ... but not past another letter
      {"mm", dt, "03"},
      {"h:mm am/pm", dt, "2:07 pm"},
      {"hh AM/PM", dt, "02 PM"},
      {"h a/p", dt, "2 p"},
      {"h ampm", dt, "2 PM"},
      {"h am/pm", midnight, "12 am"},
      {"h am/pm", noon, "12 pm"},
      {"c", dt, "05.03.2024 14:07:09"},
      {"c", midnight, "05.03.2024"},
      {"", dt, "05.03.2024 14:07:09"},
      {"t", dt, "14:07"},
      {"tt", dt, "14:07:09"},
      {"'Day' d \"of\" mmmm", dt, "Day 5 of March"},
      {"'unterminated", dt, "unterminated"},
      {"dd.mm.yyyy hh:nn", -1.25, "29.12.1899 06:00"},
      {"yyyy", 1e12, ""},
  };
  for (const Case& c : cases) EXPECT_EQ(FormatDateTime(c.Pattern, c.Value), c.Expected) << c.Pattern;
}

TEST_F(FormattingTest, FormatDateTimeFollowsSettings) {
  TFormatSettings& fs = FormatSettings();
  fs.ShortDateFormat = "yyyy/mm/dd";
  fs.LongTimeFormat = "hh.nn";
  fs.TimeAMString = "vorm.";
  fs.LongMonthNames[2] = "M\xC3\xA4rz";
  const double dt = EncodeDateTime(2024, 3, 5, 9, 30, 0, 0);
  EXPECT_EQ(FormatDateTime("c", dt), "2024/03/05 09.30");
  EXPECT_EQ(FormatDateTime("h:nn ampm", dt), "9:30 vorm.");
  EXPECT_EQ(FormatDateTime("mmmm", dt), "M\xC3\xA4rz");
  // Settings that refer to themselves do not recurse forever.
  fs.ShortDateFormat = "ddddd";
  EXPECT_EQ(FormatDateTime("ddddd", dt), "");
}

}  // namespace
}  // namespace quillet
