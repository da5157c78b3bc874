#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "engine/rich_text.h"

namespace quillet {

// Readable failure output for run lists.
void PrintTo(const TRTFRun& R, std::ostream* Os) {
  *Os << "{\"" << R.Text << "\" font=" << R.FontName << " size=" << R.FontSize << (R.Bold ? " B" : "")
      << (R.Italic ? " I" : "") << " color=" << std::hex << R.Color << std::dec << (R.NewPara ? " NP" : "")
      << "}";
}

namespace {

constexpr TAlphaColor kDefColor = 0xFF112233;

std::vector<TRTFRun> Parse(const std::string& Text) { return ParseRichText(Text, "Arial", 10, kDefColor); }

// A run in the defaults, changed by the chained setters.
struct TextRun {
  TRTFRun R;
  explicit TextRun(std::string Text) {
    R.Text = std::move(Text);
    R.FontName = "Arial";
    R.FontSize = 10;
    R.Color = kDefColor;
  }
  TextRun& B() { R.Bold = true; return *this; }
  TextRun& I() { R.Italic = true; return *this; }
  TextRun& Size(float S) { R.FontSize = S; return *this; }
  TextRun& Font(std::string F) { R.FontName = std::move(F); return *this; }
  TextRun& Color(TAlphaColor C) { R.Color = C; return *this; }
  TextRun& Para() { R.NewPara = true; return *this; }
  operator TRTFRun() const { return R; }
};

// True when Text is well-formed UTF-8 (decoding yields U+FFFD only for a real, 3-byte U+FFFD).
bool IsValidUtf8(const std::string& Text) {
  for (size_t P = 0; P < Text.size();) {
    const size_t Start = P;
    if (DecodeUtf8At(Text, P) == 0xFFFD && P - Start != 3) return false;
  }
  return true;
}

struct Case {
  const char* Name;
  std::string Input;
  std::vector<TRTFRun> Expected;
};

TEST(RichText, ParsesTheSupportedSubset) {
  const std::string Fonts = R"({\fonttbl{\f0\fswiss Helvetica;}{\f1 Times New Roman ; }{\f2\fnil{\*\panose 0204}Courier;}})";
  const std::string Colors = R"({\colortbl;\red255\green0\blue0;\green128\blue255;\red-5\green300;})";
  const Case Cases[] = {
      {"plain", "Hello", {TextRun("Hello")}},
      {"plain keeps braces", "a {\\b x}", {TextRun("a {\\b x}")}},
      {"empty plain", "", {TextRun("")}},
      {"header only", "{\\rtf1}", {}},
      {"bold toggles", R"({\rtf1 a\b b\b0 c})", {TextRun("a"), TextRun("b").B(), TextRun("c")}},
      {"italic toggles", R"({\rtf1\i x\i0 y\i2 z})", {TextRun("x").I(), TextRun("y"), TextRun("z").I()}},
      {"brace restores", R"({\rtf1 {\b x} y})", {TextRun("x").B(), TextRun(" y")}},
      {"nested restore", R"({\rtf1\fs20{\i{\b a}b}c})", {TextRun("a").B().I(), TextRun("b").I(), TextRun("c")}},
      {"half points", R"({\rtf1\fs30 a\fs25 b})", {TextRun("a").Size(15), TextRun("b").Size(12.5f)}},
      {"size minimum", R"({\rtf1\fs1 a\fs0 b\fs-8 c})", {TextRun("a").Size(1), TextRun("b").Size(1), TextRun("c").Size(1)}},
      {"huge size saturates", R"({\rtf1\fs99999999999999999999 a})", {TextRun("a").Size(5e8f)}},
      {"fs without number", R"({\rtf1\fs30 a\fs b})", {TextRun("a").Size(15), TextRun("b").Size(15)}},
      {"colour table",
       "{\\rtf1" + Colors + R"(\cf1 r\cf2 g\cf3 c\cf0 d\cf4 e\cf99 f\cf-1 h})",
       {TextRun("r").Color(0xFFFF0000), TextRun("g").Color(0xFF0080FF), TextRun("c").Color(0xFF00FF00), TextRun("d"),
        TextRun("e"), TextRun("f"), TextRun("h")}},
      {"first colour entry is the default", R"({\rtf1{\colortbl\red1;\red2;}\cf0 a\cf1 b})",
       {TextRun("a"), TextRun("b").Color(0xFF020000)}},
      {"no colour table", R"({\rtf1\cf1 a})", {TextRun("a")}},
      {"font table", "{\\rtf1" + Fonts + R"(\f1 x\f0 y\f2 z\f7 w})",
       {TextRun("x").Font("Times New Roman"), TextRun("y").Font("Helvetica"), TextRun("z").Font("Courier"), TextRun("w")}},
      {"font table without groups", R"({\rtf1{\fonttbl\f3 Verdana;}\f3 a})", {TextRun("a").Font("Verdana")}},
      {"no font selected keeps the default", "{\\rtf1" + Fonts + "a}", {TextRun("a")}},
      {"font number restored by brace", "{\\rtf1" + Fonts + R"(\f0{\f1 a}b})",
       {TextRun("a").Font("Times New Roman"), TextRun("b").Font("Helvetica")}},
      {"two pars leave an empty line", R"({\rtf1 a\par\par b})",
       {TextRun("a"), TextRun("").Para(), TextRun("b").Para()}},
      {"line breaks too", R"({\rtf1 a\line b})", {TextRun("a"), TextRun("b").Para()}},
      {"empty lines take the size in force", R"({\rtf1 a\par\fs40\line{\b}\par b})",
       {TextRun("a"), TextRun("").Size(20).Para(), TextRun("").Size(20).Para(), TextRun("b").Size(20).Para()}},
      {"trailing par adds nothing", R"({\rtf1 a\par})", {TextRun("a")}},
      {"only the last of trailing pars adds nothing", R"({\rtf1 a\par\par})", {TextRun("a"), TextRun("").Para()}},
      {"leading par leaves an empty first line", R"({\rtf1\par a})", {TextRun("").Para(), TextRun("a").Para()}},
      {"skipped groups",
       R"({\rtf1{\*\generator Gen 1.0;}{\info{\title T}{\author A}}{\stylesheet{\s0 Normal;}})"
       R"({\pict ffd8}{\filetbl x}{\listtable y}{\listoverridetable z} a})",
       {TextRun(" a")}},
      {"text around a skipped group joins", R"({\rtf1 a{\*\x y{\b z}}b})", {TextRun("ab")}},
      {"unknown destination is text", R"({\rtf1{\foo x}})", {TextRun("x")}},
      {"escapes", R"({\rtf1 \\\{\}\~\'e9\'41})", {TextRun("\\{} \xC3\xA9" "A")}},
      {"escape inside skipped group", R"({\rtf1{\*\x \'7d}a})", {TextRun("a")}},
      {"bad hex escapes", R"({\rtf1 \'zz\'4})", {TextRun("zz4")}},
      {"bad hex before a brace", R"({\rtf1 {\b a\'}b})", {TextRun("a").B(), TextRun("b")}},
      {"control symbols are not text", R"({\rtf1 a\-b\_c})", {TextRun("abc")}},
      {"unicode word ignored, fallback kept", R"({\rtf1 \u233?x})", {TextRun("?x")}},
      {"a hyphen after a control word belongs to it", R"({\rtf1 a\par-b})", {TextRun("a"), TextRun("b").Para()}},
      {"and so does its number", R"({\rtf1 a\par-2 b})", {TextRun("a"), TextRun("b").Para()}},
      {"CR and LF ignored", "{\\rtf1 a\r\nb\n\\par\r\nc}", {TextRun("ab"), TextRun("c").Para()}},
      {"multibyte text passes", "{\\rtf1\\b \xC3\xBC\xE2\x82\xAC\\\xC3\xA4}", {TextRun("\xC3\xBC\xE2\x82\xAC\xC3\xA4").B()}},
      {"unbalanced close keeps state", R"({\rtf1 a}}\b b}c)", {TextRun("a"), TextRun("b").B(), TextRun("c").B()}},
      {"unclosed groups still close the last run", R"({\rtf1{\b a)", {TextRun("a").B()}},
      {"trailing backslash", "{\\rtf1 a\\", {TextRun("a")}},
  };
  for (const auto& C : Cases) EXPECT_EQ(Parse(C.Input), C.Expected) << C.Name << ": " << C.Input;
}

TEST(RichText, DefaultsFillEverythingTheTextDoesNotSet) {
  // "{\rtf" is the whole test for rich text; a size below 1 is raised to 1 in both kinds.
  for (const std::string Text : {"{\\rtf text}", "text"}) {
    const auto Runs = ParseRichText(Text, "Courier", 0.5f, 0xFF00FF00);
    EXPECT_EQ(Runs, (std::vector<TRTFRun>{TRTFRun{"text", "Courier", 1, false, false, 0xFF00FF00, false}}));
  }
}

TEST(RichText, LongFontNamesAreCutOnACharacterBoundary) {
  std::string Name;
  for (int I = 0; I < 200; ++I) Name += "\xC3\xBC";  // 400 bytes of two-byte characters
  const auto Runs = Parse("{\\rtf1{\\fonttbl{\\f0 x" + Name + ";}}\\f0 a}");
  ASSERT_EQ(Runs.size(), 1u);
  EXPECT_LE(Runs[0].FontName.size(), 128u);
  EXPECT_GE(Runs[0].FontName.size(), 100u);
  EXPECT_TRUE(IsValidUtf8(Runs[0].FontName));
}

TEST(RichText, DeepNestingRestoresStateOnceTheGroupsClose) {
  for (const size_t Depth : {size_t{100}, size_t{5000}, size_t{200000}}) {
    const std::string Text = "{\\rtf1\\b" + std::string(Depth, '{') + "\\b0 x" + std::string(Depth, '}') + "y}z";
    EXPECT_EQ(Parse(Text), (std::vector<TRTFRun>{TextRun("x"), TextRun("y").B(), TextRun("z")})) << Depth;
  }
  // Opening braces only, and closing braces only.
  EXPECT_EQ(Parse("{\\rtf1 a" + std::string(1 << 20, '{') + "b"), (std::vector<TRTFRun>{TextRun("ab")}));
  EXPECT_EQ(Parse("{\\rtf1 a}\\i" + std::string(1 << 20, '}') + "b"),
            (std::vector<TRTFRun>{TextRun("a"), TextRun("b").I()}));
}

TEST(RichText, LargeInputsFinish) {
  // About a megabyte each; a quadratic reader would not finish in any reasonable time.
  std::string Toggles = "{\\rtf1{\\fonttbl{\\f0 F;}}{\\colortbl;\\red1;}";
  for (int I = 0; I < 100000; ++I) Toggles += "a\\b b\\b0 ";
  EXPECT_EQ(Parse(Toggles + "}").size(), 200000u);

  std::string Tables = "{\\rtf1{\\fonttbl";
  for (int I = 0; I < 60000; ++I) Tables += "{\\f" + std::to_string(I) + " N;}";
  Tables += "}{\\colortbl;";
  for (int I = 0; I < 40000; ++I) Tables += "\\red9;";
  Tables += "}\\f59999\\cf39999 z}";
  EXPECT_EQ(Parse(Tables), (std::vector<TRTFRun>{TextRun("z").Font("N").Color(0xFF090000)}));

  const std::string Escapes = [] {
    std::string S = "{\\rtf1 ";
    while (S.size() < (1 << 20)) S += "\\'e9\\'zz\\~\\{";
    return S;
  }();
  const auto Runs = Parse(Escapes);
  ASSERT_EQ(Runs.size(), 1u);
  EXPECT_EQ(Utf8Length(Runs[0].Text), (Escapes.size() - 7) / 12 * 5);

  const std::string Pars = "{\\rtf1 a" + std::string(1 << 20, 'x') + "\\par";
  std::string ManyPars = Pars;
  for (int I = 0; I < 100000; ++I) ManyPars += "\\par\\line ";
  const auto Lines = Parse(ManyPars + "b");
  ASSERT_EQ(Lines.size(), 200002u);
  EXPECT_EQ(Lines[1], TRTFRun(TextRun("").Para()));
  EXPECT_EQ(Lines[200000], TRTFRun(TextRun("").Para()));
  EXPECT_EQ(Lines.back(), TRTFRun(TextRun("b").Para()));
}

}  // namespace
}  // namespace quillet
