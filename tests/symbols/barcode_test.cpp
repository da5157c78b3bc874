#include "symbols/barcode.h"

#include <gtest/gtest.h>

// text() gives UTF-8.
#define ZX_USE_UTF8 1
#include <ZXing/BarcodeFormat.h>
#include <ZXing/DecodeHints.h>
#include <ZXing/ImageView.h>
#include <ZXing/ReadBarcode.h>

#include <numeric>
#include <string>
#include <vector>

#include "test_canvases.h"

namespace quillet {
namespace {

using testing::TCall;
using testing::TCallKind;
using testing::TRasterCanvas;
using testing::TRecordingCanvas;

constexpr TAlphaColor kBlack = 0xFF000000;
constexpr TAlphaColor kWhite = 0xFFFFFFFF;

std::vector<int32_t> Runs(const std::string& Text, bool* Ok = nullptr) {
  std::vector<int32_t> R{99};  // must be cleared
  bool FirstIsBar = false;
  const bool Result = BarcodeRuns(Text, R, FirstIsBar);
  if (Ok) *Ok = Result;
  EXPECT_TRUE(FirstIsBar) << Text;
  return R;
}

// "1" per bar module, "0" per space module.
std::string Modules(const std::vector<int32_t>& R) {
  std::string M;
  for (size_t i = 0; i < R.size(); ++i) M.append(static_cast<size_t>(R[i]), i % 2 ? '0' : '1');
  return M;
}

struct TDecoded {
  ZXing::BarcodeFormat Format = ZXing::BarcodeFormat::None;
  std::string Text;
  std::vector<std::string> HumanTexts;
};

// Draws Text through DrawBarcode with its text strip into a bitmap, with a quiet zone around the
// element, and reads it back.
TDecoded DrawAndRead(const std::string& Text, ZXing::BarcodeFormats Formats, float ModuleWidth) {
  const std::vector<int32_t> R = Runs(Text);
  const float W = static_cast<float>(std::accumulate(R.begin(), R.end(), 0)) * ModuleWidth;
  const float Quiet = 15 * ModuleWidth, H = 50;
  TRasterCanvas Canvas(W + 2 * Quiet, H + 2 * Quiet, 3);
  DrawBarcode(Canvas, Text, TRectF{Quiet, Quiet, Quiet + W, Quiet + H}, kBlack, kWhite, true);
  ZXing::DecodeHints Hints;
  Hints.setFormats(Formats);
  const ZXing::Result Res =
      ZXing::ReadBarcode(ZXing::ImageView(Canvas.Pixels.data(), Canvas.Width, Canvas.Height, ZXing::ImageFormat::Lum), Hints);
  TDecoded D;
  D.HumanTexts = Canvas.Texts();
  if (Res.isValid()) {
    D.Format = Res.format();
    D.Text = Res.text();
  }
  return D;
}

struct TReadCase {
  std::string Text;
  ZXing::BarcodeFormat Format;
  std::string Decoded;
  std::string Human;
};

std::vector<TReadCase> ReadableCases() {
  using F = ZXing::BarcodeFormat;
  std::vector<TReadCase> C = {
      {"Hello, World!", F::Code128, "Hello, World!", "Hello, World!"},
      {"A", F::Code128, "A", "A"},
      {"00012345678905", F::Code128, "00012345678905", "00012345678905"},
      {"x\xC3\x84y", F::Code128, "x?y", "x\xC3\x84y"},               // U+00C4 is outside code set B
      {"a\xF0\x9F\x98\x80z", F::Code128, "a??z", "a\xF0\x9F\x98\x80z"},  // two UTF-16 units, two "?"
      {"EAN8", F::Code128, "EAN8", "EAN8"},                          // no colon: not a prefix
      {"c39:lower", F::Code128, "c39:lower", "c39:lower"},           // prefixes are case-sensitive
      {"C39:0123456789", F::Code39, "0123456789", "0123456789"},
      {"C39:ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%", F::Code39, "ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%",
       "ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%"},
      {"C39:abc", F::Code39, "ABC", "abc"},
      {"C39:a*b#c", F::Code39, "ABC", "a*b#c"},
      {"EAN:590123412345", F::EAN13, "5901234123457", "590123412345"},
      {"EAN:5901234123457", F::EAN13, "5901234123457", "5901234123457"},
      {"EAN:4006381333931", F::EAN13, "4006381333931", "4006381333931"},
      {"EAN:978-3-16-148410", F::EAN13, "9783161484100", "978-3-16-148410"},
      {"EAN:40063813339319999", F::EAN13, "4006381333931", "40063813339319999"},
      {"UPCA:03600029145", F::UPCA, "036000291452", "03600029145"},
      {"UPCA:01234567890", F::UPCA, "012345678905", "01234567890"},
      {"EAN8:9638507", F::EAN8, "96385074", "9638507"},
      {"EAN8:5512345", F::EAN8, "55123457", "5512345"},
      {"EAN8:96385074", F::EAN8, "96385074", "96385074"},
      {"EAN8:9638-5074-999", F::EAN8, "96385074", "9638-5074-999"},
      {"ITF:123456", F::ITF, "123456", "123456"},
      {"ITF:12345", F::ITF, "012345", "12345"},
      {"ITF:0123456789", F::ITF, "0123456789", "0123456789"},
      {"ITF:9876-5432-1098-765", F::ITF, "0987654321098765", "9876-5432-1098-765"},
      {"CBR:0123456789-$:/.+", F::Codabar, "0123456789-$:/.+", "0123456789-$:/.+"},
      {"CBR:31117013206375", F::Codabar, "31117013206375", "31117013206375"},
      {"CBR:a12345b", F::Codabar, "12345", "a12345b"},
      {"CBR:40156#x", F::Codabar, "40156", "40156#x"},
  };
  // Every printable ASCII character, which covers Code 128 values 0 to 94.
  std::string Printable;
  for (char Ch = ' '; Ch < 127; ++Ch) Printable += Ch;
  C.push_back({Printable, F::Code128, Printable, Printable});
  // Every first digit, so every EAN-13 parity row, with computed check digits; the reader checks
  // them, and a leading 0 comes back as UPC-A.
  for (char D = '1'; D <= '9'; ++D) {
    const std::string Twelve = std::string(1, D) + "1357924680" + std::string(1, '0' + (D - '0') * 7 % 10);
    int Sum = 0;
    for (int i = 0; i < 12; ++i) Sum += (Twelve[i] - '0') * (i % 2 ? 3 : 1);
    const std::string Check(1, static_cast<char>('0' + (10 - Sum % 10) % 10));
    C.push_back({"EAN:" + Twelve, F::EAN13, Twelve + Check, Twelve});
  }
  return C;
}

TEST(Barcode, DrawnSymbolsDecodeWithAnOutsideReader) {
  const auto Formats = ZXing::BarcodeFormat::LinearCodes;
  // Whole and fractional pixels per module (3 pixels per unit).
  for (float ModuleWidth : {1.0f, 1.25f, 0.9f, 2.0f}) {
    for (const TReadCase& C : ReadableCases()) {
      SCOPED_TRACE(C.Text + " module " + std::to_string(ModuleWidth));
      const TDecoded D = DrawAndRead(C.Text, Formats, ModuleWidth);
      EXPECT_EQ(D.Format, C.Format) << ZXing::ToString(D.Format);
      EXPECT_EQ(D.Text, C.Decoded);
      EXPECT_EQ(D.HumanTexts, std::vector<std::string>{C.Human});
      EXPECT_EQ(BarcodeHumanText(C.Text), C.Human);
    }
  }
}

TEST(Barcode, RunListsOfUnreadableAndFramingCases) {
  struct Case {
    std::string Text;
    bool Ok;
    std::vector<int32_t> Expected;
  } Cases[] = {
      // Start and stop "*" alone, read from the most significant bit: n w n n w n w n n.
      {"C39:", true, {1, 3, 1, 1, 3, 1, 3, 1, 1, 1, 1, 3, 1, 1, 3, 1, 3, 1, 1}},
      {"C39:*%", true, Runs("C39:%")},
      {"C39:\xC4\xB1\xC3\xA9", true, Runs("C39:I")},  // upper-cased by code point: "ı" -> "I", "É" skipped
      // Four digits are below what readers accept, so the exact runs are the check.
      {"ITF:1234", true, {1, 1, 1, 1, 3, 1, 1, 3, 1, 1, 1, 1, 3, 3, 3, 1, 3, 1, 1, 3, 1, 1, 1, 3, 3, 1, 1}},
      {"ITF:123", true, Runs("ITF:0123")},
      {"ITF:x", false, {}},
      {"ITF:", false, {}},
      // Start A, narrow space, stop D; the letters A..D and unknown characters are skipped.
      {"CBR:", true, {1, 1, 3, 3, 1, 3, 1, 1, 1, 1, 1, 3, 3, 3, 1}},
      {"CBR:AbCd*", true, Runs("CBR:")},
      {"CBR:x7", true, Runs("CBR:7")},
      {"", false, {}},
      {"\xC3\x84", true, Runs("?")},
      {"EAN:12345678901", false, {}},
      {"EAN:1234567890a1", false, {}},
      {"UPCA:1234567890", false, {}},
      {"EAN8:123456", false, {}},
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.Text);
    bool Ok = !C.Ok;
    EXPECT_EQ(Runs(C.Text, &Ok), C.Expected);
    EXPECT_EQ(Ok, C.Ok);
  }
}

TEST(Barcode, EanCheckDigitIsComputedOrTakenAsGiven) {
  struct Case {
    std::string Text;
    std::string LastDigitAndGuard;  // R code of the last digit, then the end guard
  } Cases[] = {
      {"EAN:590123412345", "1000100101"},   // computed 7
      {"EAN:5901234123457", "1000100101"},  // given 7
      {"EAN:5901234123450", "1110010101"},  // a wrong given 0 is drawn unchanged
      {"UPCA:03600029145", "1101100101"},   // computed 2
      {"EAN8:9638507", "1011100101"},       // computed 4
      {"EAN8:96385070", "1110010101"},      // given 0
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.Text);
    const std::string M = Modules(Runs(C.Text));
    EXPECT_EQ(M.size(), C.Text.starts_with("EAN8:") ? 67u : 95u);
    EXPECT_EQ(M.substr(M.size() - 10), C.LastDigitAndGuard);
    EXPECT_EQ(M.substr(0, 3), "101");
  }
  // UPC-A is EAN-13 with a leading zero.
  EXPECT_EQ(Runs("UPCA:03600029145"), Runs("EAN:003600029145"));
}

TEST(Barcode, Code128RunShape) {
  // Start, one symbol per UTF-16 unit, check, stop: six elements of 11 modules each, stop 7 of 13;
  // every symbol has an even number of bar modules.
  for (const std::string& Text : {std::string("a"), std::string("Quillet 1.0"), std::string("~~~~~~~~~~")}) {
    const std::vector<int32_t> R = Runs(Text);
    const size_t Symbols = Text.size() + 2;
    ASSERT_EQ(R.size(), 6 * Symbols + 7) << Text;
    for (size_t s = 0; s < Symbols; ++s) {
      EXPECT_EQ(R[6 * s] + R[6 * s + 1] + R[6 * s + 2] + R[6 * s + 3] + R[6 * s + 4] + R[6 * s + 5], 11);
      EXPECT_EQ((R[6 * s] + R[6 * s + 2] + R[6 * s + 4]) % 2, 0);
    }
    EXPECT_EQ(std::accumulate(R.end() - 7, R.end(), 0), 13);
  }
}

struct TStripCase {
  float Height;
  float Strip;
  float FontSize;
};

TEST(Barcode, DrawBarcodeTextStripAndCallOrder) {
  const TStripCase Cases[] = {{20, 7, 5.6f}, {100, 14, 11.2f}, {50, 9, 7.2f}, {10, 5, 4}};
  for (const TStripCase& C : Cases) {
    SCOPED_TRACE(C.Height);
    TRecordingCanvas Canvas;
    const TRectF R{10, 20, 10 + 95 * 2, 20 + C.Height};
    DrawBarcode(Canvas, "EAN:590123412345", R, 0xFF112233, 0xFFEEEEEE, true);
    ASSERT_GE(Canvas.Calls.size(), 3u);
    EXPECT_EQ(Canvas.Calls.front(), testing::FillCall(R, 0xFFEEEEEE));
    const float BarBottom = R.Bottom - C.Strip;
    EXPECT_FLOAT_EQ(Canvas.Calls[1].Rect.Bottom, BarBottom);
    // The first bar of the start guard is one module (2 units) wide.
    EXPECT_EQ(Canvas.Calls[1], testing::FillCall(TRectF{10, 20, 12, Canvas.Calls[1].Rect.Bottom}, 0xFF112233));
    const TCall& Text = Canvas.Calls.back();
    EXPECT_EQ(Text.Kind, TCallKind::DrawText);
    EXPECT_EQ(Text.Text, "590123412345");
    EXPECT_FLOAT_EQ(Text.Rect.Top, BarBottom);
    EXPECT_EQ(Text.Rect.Left, R.Left);
    EXPECT_EQ(Text.Rect.Right, R.Right);
    EXPECT_EQ(Text.Rect.Bottom, R.Bottom);
    EXPECT_EQ(Text.Font.Name, "Arial");
    EXPECT_FLOAT_EQ(Text.Font.Size, C.FontSize);
    EXPECT_FALSE(Text.Font.Bold || Text.Font.Italic || Text.WordWrap);
    EXPECT_EQ(Text.HAlign, rhaCenter);
    EXPECT_EQ(Text.VAlign, rvaCenter);
    EXPECT_EQ(Text.Color, 0xFF112233u);
    // Every other call is a bar of the full bar height in the foreground colour, left to right.
    float LastRight = R.Left;
    for (size_t i = 1; i + 1 < Canvas.Calls.size(); ++i) {
      const TCall& Bar = Canvas.Calls[i];
      EXPECT_EQ(Bar.Kind, TCallKind::FillRect);
      EXPECT_EQ(Bar.Color, 0xFF112233u);
      EXPECT_EQ(Bar.Rect.Top, R.Top);
      EXPECT_FLOAT_EQ(Bar.Rect.Bottom, BarBottom);
      EXPECT_GE(Bar.Rect.Left, LastRight);
      LastRight = Bar.Rect.Right;
    }
    EXPECT_NEAR(LastRight, R.Right, 1e-3);
  }
}

TEST(Barcode, DrawBarcodeWithoutStripOrBackground) {
  struct Case {
    std::string Text;
    TAlphaColor Back;
    bool ShowText;
    bool ExpectBars;
  } Cases[] = {
      {"C39:AB", 0x00FFFFFF, false, true},  // transparent background: no fill at all
      {"C39:AB", kWhite, false, true},      // no text: bars take the full height
      {"C39:", kWhite, true, true},         // empty human text: no strip
      {"EAN:123", kWhite, false, false},    // too few digits: background only
      {"", kWhite, true, false},            // empty Code 128: background only
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.Text);
    TRecordingCanvas Canvas;
    const TRectF R{0, 0, 300, 40};
    DrawBarcode(Canvas, C.Text, R, kBlack, C.Back, C.ShowText);
    size_t i = 0;
    if (!IsTranspColor(C.Back)) {
      ASSERT_FALSE(Canvas.Calls.empty());
      EXPECT_EQ(Canvas.Calls[i++], testing::FillCall(R, C.Back));
    }
    EXPECT_EQ(Canvas.Calls.size() > i, C.ExpectBars);
    for (; i < Canvas.Calls.size(); ++i) {
      EXPECT_EQ(Canvas.Calls[i].Kind, TCallKind::FillRect);
      EXPECT_EQ(Canvas.Calls[i].Rect.Bottom, R.Bottom);
      EXPECT_EQ(Canvas.Calls[i].Color, kBlack);
    }
  }
  // Too few digits with the text shown: the background and the typed text, nothing else.
  TRecordingCanvas Canvas;
  DrawBarcode(Canvas, "EAN8:12-34", TRectF{0, 0, 100, 50}, kBlack, kWhite, true);
  ASSERT_EQ(Canvas.Calls.size(), 2u);
  EXPECT_EQ(Canvas.Calls[1].Text, "12-34");
}

TEST(Barcode, EachSymbologyDrawsItsRunsOverTheWholeRectangle) {
  using TDraw = void (*)(IRptCanvas&, const std::string&, const TRectF&, TAlphaColor, TAlphaColor);
  struct Case {
    TDraw Draw;
    std::string Payload;
    std::string Prefixed;
  } Cases[] = {
      {DrawCode128, "Abc-123", "Abc-123"},   {DrawCode39, "abc-123", "C39:abc-123"},
      {DrawEAN13, "590123412345", "EAN:590123412345"}, {DrawEAN8, "9638507", "EAN8:9638507"},
      {DrawITF, "12345", "ITF:12345"},       {DrawCodabar, "12-34", "CBR:12-34"},
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.Payload);
    const TRectF R{5, 7, 405, 57};
    TRecordingCanvas Canvas;
    C.Draw(Canvas, C.Payload, R, 0xFF0000FF, 0xFFFFFF00);
    ASSERT_FALSE(Canvas.Calls.empty());
    EXPECT_EQ(Canvas.Calls[0], testing::FillCall(R, 0xFFFFFF00));
    const std::vector<int32_t> Expected = Runs(C.Prefixed);
    const float Module = R.Width() / static_cast<float>(std::accumulate(Expected.begin(), Expected.end(), 0));
    // Rebuild the run list from the bar rectangles and the gaps between them.
    std::vector<int32_t> Got;
    float X = R.Left;
    for (size_t i = 1; i < Canvas.Calls.size(); ++i) {
      const TRectF& B = Canvas.Calls[i].Rect;
      EXPECT_EQ(Canvas.Calls[i].Color, 0xFF0000FFu);
      EXPECT_EQ(B.Top, R.Top);
      EXPECT_EQ(B.Bottom, R.Bottom);
      if (i > 1) Got.push_back(static_cast<int32_t>(std::lround((B.Left - X) / Module)));
      Got.push_back(static_cast<int32_t>(std::lround((B.Right - B.Left) / Module)));
      X = B.Right;
    }
    EXPECT_EQ(Got, Expected);
    EXPECT_NEAR(X, R.Right, 1e-3);
  }
  // The Draw... entries take a payload, not a prefixed text: this is 16 characters of Code 128,
  // 18 symbols of 3 bars plus the stop's 4.
  TRecordingCanvas Prefixed;
  DrawCode128(Prefixed, "EAN:590123412345", TRectF{0, 0, 200, 10}, kBlack, 0);
  EXPECT_EQ(Prefixed.Calls.size(), 18u * 3 + 4);

  // A transparent background is not filled.
  TRecordingCanvas Canvas;
  DrawITF(Canvas, "12", TRectF{0, 0, 50, 10}, kBlack, 0);
  ASSERT_FALSE(Canvas.Calls.empty());
  EXPECT_EQ(Canvas.Calls[0], testing::FillCall(TRectF{0, 0, 50.0f / 27, 10}, kBlack));
}

}  // namespace
}  // namespace quillet
