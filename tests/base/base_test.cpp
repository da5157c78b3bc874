#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sys/stat.h>

#include "base/clock.h"
#include "base/error.h"
#include "base/file_io.h"
#include "base/number_format.h"
#include "base/utf8.h"

namespace quillet {
namespace {

TEST(NumberText, ShortestFloatReadsBackToTheSameFloat) {
  struct Case {
    float Value;
    const char* Text;
  } cases[] = {{10.1f, "10.1"}, {10.0f, "10"},  {-0.5f, "-0.5"},   {0.0f, "0"},         {-0.0f, "0"},
               {1e-7f, "1e-07"}, {3.4e38f, "3.4e+38"}, {595.0f, "595"}, {56.7f, "56.7"}, {0.1f, "0.1"}};
  for (const auto& c : cases) EXPECT_EQ(FloatToShortest(c.Value), c.Text) << c.Value;

  // A seeded set of random floats over many magnitudes: the text must parse back exactly.
  std::mt19937 rng(12345);
  std::uniform_real_distribution<float> mant(-1.0f, 1.0f);
  std::uniform_int_distribution<int> exp(-30, 30);
  for (int i = 0; i < 20000; ++i) {
    const float v = std::ldexp(mant(rng), exp(rng));
    const std::string s = FloatToShortest(v);
    float back = 0;
    auto r = std::from_chars(s.data(), s.data() + s.size(), back);
    ASSERT_EQ(r.ec, std::errc()) << s;
    ASSERT_EQ(back, v) << s;
    ASSERT_LE(s.size(), 16u) << s;
  }
  EXPECT_EQ(FloatToShortest(NAN), "0");
  EXPECT_EQ(DoubleToShortest(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(DoubleToShortest(1e15), "1e+15");
  EXPECT_EQ(DoubleToShortest(123456789012345.0), "123456789012345");
}

TEST(NumberText, FormatDecimalsIsThePointPattern) {
  struct Case {
    double Value;
    int Decimals;
    const char* Text;
  } cases[] = {{0, 3, "0"},           {1.5, 3, "1.5"},        {1.23456, 3, "1.235"}, {-0.0004, 3, "0"},
               {-1.2, 3, "-1.2"},     {595.2756, 2, "595.28"}, {100, 3, "100"},      {1e20, 3, "100000000000000000000"},
               {0.0005, 3, "0.001"},  {2.675, 2, "2.68"},      {12.5, 0, "13"},      {13.5, 0, "14"},
               {-2.5, 0, "-3"},       {0.0625, 3, "0.063"},    {9.9996, 3, "10"},    {999.9999, 3, "1000"},
               {0.00049, 3, "0"},     {-0.0005, 3, "-0.001"},  {128.0 / 255, 3, "0.502"}, {1e-300, 3, "0"},
               {123456.7891, 3, "123456.789"}, {0.1 + 0.2, 3, "0.3"}, {5e-324, 3, "0"}, {0.5, 0, "1"},
               {0.4, 0, "0"}};
  for (const auto& c : cases) EXPECT_EQ(FormatDecimals(c.Value, c.Decimals), c.Text) << c.Value;
  EXPECT_EQ(FormatDecimals(1.7976931348623157e308, 3), "179769313486232" + std::string(294, '0'));

  // Against an independent reading: the text parses back to within half a unit of the last place.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> dist(-1e6, 1e6);
  for (int i = 0; i < 20000; ++i) {
    const double v = dist(rng);
    const std::string s = FormatDecimals(v, 3);
    double back = 0;
    ASSERT_TRUE(ParseDouble(s, back)) << s;
    ASSERT_LE(std::fabs(back - v), 0.0005 + 1e-9) << v << " " << s;
    ASSERT_EQ(s.find('e'), std::string::npos);
  }

  // The shortcut agrees with the digit-by-digit rule, near halves and ties included.
  std::uniform_int_distribution<int64_t> units(-2000000000000LL, 2000000000000LL);
  std::uniform_int_distribution<int> decimals(0, 6);
  for (int i = 0; i < 200000; ++i) {
    const int d = decimals(rng);
    const double scale = std::pow(10.0, d);
    const int64_t u = units(rng) % static_cast<int64_t>(1e9 * scale);
    const double near[] = {(u + 0.5) / scale, std::nextafter((u + 0.5) / scale, 0.0),
                           std::nextafter((u + 0.5) / scale, 1e300), u / scale, dist(rng)};
    for (const double v : near) {
      std::string slow;
      detail::AppendDecimalsBy15Digits(slow, v, d);
      ASSERT_EQ(FormatDecimals(v, d), slow) << v << " " << d;
    }
  }
}

TEST(NumberText, ParseDoubleAcceptsOnlyPlainDecimals) {
  struct Case {
    const char* Text;
    bool Ok;
    double Value;
  } cases[] = {{"12", true, 12},     {" 1.5\t", true, 1.5}, {"-2e3", true, -2000}, {"+.5", true, 0.5},
               {"", false, 0},       {"  ", false, 0},      {"1,5", false, 0},     {"inf", false, 0},
               {"nan", false, 0},    {"0x10", false, 0},    {"1e999", false, 0},   {"12abc", false, 0},
               {"-", false, 0},      {"+", false, 0},       {"--1", false, 0}};
  for (const auto& c : cases) {
    double v = -1;
    EXPECT_EQ(ParseDouble(c.Text, v), c.Ok) << c.Text;
    if (c.Ok) {
      EXPECT_EQ(v, c.Value) << c.Text;
    }
  }
}

TEST(Utf8, DecodingNeverFailsAndCountsCodePoints) {
  struct Case {
    std::string Text;
    std::u32string CodePoints;
  } cases[] = {
      {"a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", U"a\u00E4\u20AC\U0001F600"},
      {"\xC3", U"\uFFFD"},                          // truncated
      {"\xC0\xAF", U"\uFFFD\uFFFD"},                // overlong
      {"\xED\xA0\x80", U"\uFFFD\uFFFD\uFFFD"},      // surrogate
      {"\xF4\x90\x80\x80", U"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
      {"\x80x", U"\uFFFDx"},
      {std::string("a\0b", 3), std::u32string(U"a\0b", 3)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DecodeUtf8(c.Text), c.CodePoints);
    EXPECT_EQ(Utf8Length(c.Text), c.CodePoints.size());
  }
  EXPECT_EQ(EncodeUtf8(U"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(StripBom("\xEF\xBB\xBF{}"), "{}");
  EXPECT_EQ(StripBom("{}"), "{}");
}

TEST(Utf8, CaseMappingCoversNonAsciiLetters) {
  struct Case {
    const char* Lower;
    const char* Upper;
  } cases[] = {{"abc xyz 123", "ABC XYZ 123"},
               {"\xC3\xA4\xC3\xB6\xC3\xBC", "\xC3\x84\xC3\x96\xC3\x9C"},                       // äöü
               {"\xC5\x9F\xC4\x9F\xC3\xA7", "\xC5\x9E\xC4\x9E\xC3\x87"},                       // şğç
               {"\xCE\xB1\xCE\xB2", "\xCE\x91\xCE\x92"},                                       // αβ
               {"\xD0\xB6\xD1\x91", "\xD0\x96\xD0\x81"}};                                      // жё
  for (const auto& c : cases) {
    EXPECT_EQ(Utf8Upper(c.Lower), c.Upper);
    EXPECT_EQ(Utf8Lower(c.Upper), c.Lower);
  }
  EXPECT_EQ(Utf8Upper("\xC4\xB1"), "I");                  // dotless i
  EXPECT_EQ(Utf8Upper("a\xFF" "b"), "A\xFF" "B");         // invalid bytes stay as they were
}

TEST(FileIo, AtomicWriteReplacesWholeFileAndLeavesNoTemporary) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / ("quillet_base_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const std::string file = (dir / "a.txt").string();
  WriteFileAtomic(file, "first");
  ::chmod(file.c_str(), 0640);
  WriteFileAtomic(file, std::string("second\0x", 8));
  EXPECT_EQ(ReadWholeFile(file), std::string("second\0x", 8));
  struct stat st {};
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);

  try {
    WriteFileAtomic((dir / "missing" / "b.txt").string(), "x");
    FAIL() << "writing into a missing folder must fail";
  } catch (const EQuilletError& e) {
    EXPECT_NE(std::string(e.what()).find("b.txt"), std::string::npos);
  }
  EXPECT_THROW(ReadWholeFile((dir / "none.txt").string()), EQuilletError);
  EXPECT_THROW(ReadWholeFile(dir.string()), EQuilletError);
  fs::remove_all(dir);
}

TEST(Clock, SourceDateEpochFixesTheClockInUtc) {
  const char* old = std::getenv("SOURCE_DATE_EPOCH");
  const std::string saved = old ? old : "";
  ::setenv("SOURCE_DATE_EPOCH", "1709214310", 1);  // 2024-02-29 13:45:10 UTC
  const TClockReading r = ReadClock();
  EXPECT_TRUE(r.Fixed);
  EXPECT_EQ(r.UnixSeconds, 1709214310);
  EXPECT_EQ(r.Year, 2024);
  EXPECT_EQ(r.Month, 2);
  EXPECT_EQ(r.Day, 29);
  EXPECT_EQ(r.Hour, 13);
  EXPECT_EQ(r.Minute, 45);
  EXPECT_EQ(r.Second, 10);
  ::setenv("SOURCE_DATE_EPOCH", "not a number", 1);
  EXPECT_FALSE(ReadClock().Fixed);
  if (old) {
    ::setenv("SOURCE_DATE_EPOCH", saved.c_str(), 1);
  } else {
    ::unsetenv("SOURCE_DATE_EPOCH");
  }
}

}  // namespace
}  // namespace quillet
