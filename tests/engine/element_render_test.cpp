// Element rendering: what each element type asks of the canvas. Every element here sits on a
// band at y 10 of the small test page (left margin 20), at left 5 and top 3: its rectangle starts
// at (25, 13).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "canvas/image_codecs.h"
#include "engine/report_engine.h"
#include "engine/rich_text.h"
#include "engine_test_support.h"

namespace quillet::enginetest {
namespace {

constexpr TAlphaColor Red = 0xFFFF0000;
constexpr TAlphaColor Blue = 0xFF0000FF;
constexpr TAlphaColor Green = 0xFF00FF00;
constexpr TAlphaColor Grey = 0xFF808080;

TReportElement Element(TRptElemType Type, float Width, float Height) {
  TReportElement El;
  El.ElemType = Type;
  El.Left = 5;
  El.Top = 3;
  El.Width = Width;
  El.Height = Height;
  El.FontName = "Serif";
  El.FontSize = 10;
  El.TextColor = Blue;
  El.BorderColor = Grey;
  return El;
}

// Draws El alone on a page and returns the drawing calls.
std::vector<TCall> Render(const TReportElement& El, TReportEngine* Engine = nullptr) {
  TReportPage Page;
  SmallPage(Page);
  TReportBand& B = AddBand(Page, btPageBody, 60);
  B.Elements.push_back(std::make_unique<TReportElement>(El));
  TReportEngine Local;
  TReportEngine& E = Engine ? *Engine : Local;
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());
  return Canvas->Drawing();
}

void ExpectRect(const TRectF& Got, const TRectF& Want, const std::string& What = "") {
  EXPECT_NEAR(Got.Left, Want.Left, 1e-3) << What;
  EXPECT_NEAR(Got.Top, Want.Top, 1e-3) << What;
  EXPECT_NEAR(Got.Right, Want.Right, 1e-3) << What;
  EXPECT_NEAR(Got.Bottom, Want.Bottom, 1e-3) << What;
}

void ExpectPoint(const TPointF& Got, const TPointF& Want, const std::string& What = "") {
  EXPECT_NEAR(Got.X, Want.X, 1e-3) << What;
  EXPECT_NEAR(Got.Y, Want.Y, 1e-3) << What;
}

// The two end points in either order.
void ExpectSegment(const TCall& Line, TPointF A, TPointF B) {
  ASSERT_EQ(Line.Kind, TKind::DrawLine);
  const bool Forward = std::abs(Line.P1.X - A.X) < 1e-3 && std::abs(Line.P1.Y - A.Y) < 1e-3;
  ExpectPoint(Line.P1, Forward ? A : B, "start");
  ExpectPoint(Line.P2, Forward ? B : A, "end");
}

// ---- Labels and backgrounds ----

TEST(ElementRendering, LabelBackgroundsPaintOnlyWithAlpha) {
  struct TCase {
    TAlphaColor Back;
    bool Filled;
  };
  for (TCase C : {TCase{0x00FF0000, false}, TCase{0x00000000, false}, TCase{Red, true}, TCase{0x01000000, true}}) {
    TReportElement El = Element(retLabel, 100, 20);
    El.Text = "Hi";
    El.BackColor = C.Back;
    El.HorzAlign = rhaRight;
    El.VertAlign = rvaBottom;
    El.WordWrap = true;
    El.FontBold = true;
    const auto Calls = Render(El);
    ASSERT_EQ(Calls.size(), C.Filled ? 2u : 1u) << std::hex << C.Back;
    if (C.Filled) {
      EXPECT_EQ(Calls[0].Kind, TKind::FillRect);
      ExpectRect(Calls[0].Rect, {25, 13, 125, 33});
      EXPECT_EQ(Calls[0].Color, C.Back);
    }
    const TCall& T = Calls.back();
    EXPECT_EQ(T.Kind, TKind::DrawText);
    EXPECT_EQ(T.Text, "Hi");
    ExpectRect(T.Rect, {25, 13, 125, 33});
    EXPECT_EQ(T.Font, RptFont("Serif", 10, true, false));
    EXPECT_EQ(T.HAlign, rhaRight);
    EXPECT_EQ(T.VAlign, rvaBottom);
    EXPECT_TRUE(T.WordWrap);
    EXPECT_EQ(T.Color, Blue);
  }
}

// ---- Edit boxes ----

struct TBorderCase {
  std::string Name;
  bool Top, Right, Bottom, Left;
  float Width;
};

class EditBorders : public ::testing::TestWithParam<TBorderCase> {};

TEST_P(EditBorders, OneOutlineForAllFourSidesElseOneLinePerSide) {
  const TBorderCase& C = GetParam();
  TReportElement El = Element(retEdit, 100, 20);
  El.Text = "x";
  El.BorderTop = C.Top;
  El.BorderRight = C.Right;
  El.BorderBottom = C.Bottom;
  El.BorderLeft = C.Left;
  El.BorderWidth = C.Width;
  El.BorderColor = 0x00123456;  // drawn even without alpha
  const auto Calls = Render(El);
  const float W = std::max(C.Width, 0.5f);
  const TRectF R{25, 13, 125, 33};
  std::vector<std::pair<TPointF, TPointF>> Sides;
  if (C.Top) Sides.push_back({{25, 13}, {125, 13}});
  if (C.Right) Sides.push_back({{125, 13}, {125, 33}});
  if (C.Bottom) Sides.push_back({{25, 33}, {125, 33}});
  if (C.Left) Sides.push_back({{25, 13}, {25, 33}});
  const bool All = C.Top && C.Right && C.Bottom && C.Left;
  ASSERT_EQ(Calls.size(), (All ? 1 : Sides.size()) + 1);
  if (All) {
    EXPECT_EQ(Calls[0].Kind, TKind::StrokeRect);
    ExpectRect(Calls[0].Rect, R);
    EXPECT_EQ(Calls[0].Color, 0x00123456u);
    EXPECT_FLOAT_EQ(Calls[0].Width, W);
  } else {
    for (size_t K = 0; K < Sides.size(); ++K) {
      ExpectSegment(Calls[K], Sides[K].first, Sides[K].second);
      EXPECT_EQ(Calls[K].Color, 0x00123456u);
      EXPECT_FLOAT_EQ(Calls[K].Width, W);
    }
  }
  EXPECT_EQ(Calls.back().Kind, TKind::DrawText);
}

INSTANTIATE_TEST_SUITE_P(Cases, EditBorders,
                         ::testing::Values(TBorderCase{"BottomOnly", false, false, true, false, 1},
                                           TBorderCase{"AllFour", true, true, true, true, 2},
                                           TBorderCase{"AllFourWidthZero", true, true, true, true, 0},
                                           TBorderCase{"TopAndLeft", true, false, false, true, 1.5f},
                                           TBorderCase{"RightWidthZero", false, true, false, false, 0},
                                           TBorderCase{"ThreeSides", true, true, true, false, 1},
                                           TBorderCase{"None", false, false, false, false, 1}),
                         [](const ::testing::TestParamInfo<TBorderCase>& I) { return I.param.Name; });

TEST(ElementRendering, EditTextIsInsetLeftAlignedCentredAndUnwrapped) {
  TReportElement El = Element(retEdit, 100, 20);
  El.Text = "Value";
  El.HorzAlign = rhaRight;
  El.VertAlign = rvaBottom;
  El.WordWrap = true;
  El.BackColor = Green;
  El.BorderTop = El.BorderRight = El.BorderBottom = El.BorderLeft = false;
  const auto Calls = Render(El);
  ASSERT_EQ(Calls.size(), 2u);
  EXPECT_EQ(Calls[0].Kind, TKind::FillRect);
  ExpectRect(Calls[0].Rect, {25, 13, 125, 33});
  const TCall& T = Calls[1];
  EXPECT_EQ(T.Text, "Value");
  ExpectRect(T.Rect, {28, 15, 123, 31});
  EXPECT_EQ(T.HAlign, rhaLeft);
  EXPECT_EQ(T.VAlign, rvaCenter);
  EXPECT_FALSE(T.WordWrap);
  EXPECT_EQ(T.Color, Blue);
}

// ---- Shapes ----

TEST(ElementRendering, RectanglesFillAndStrokeOnlyVisibleColours) {
  struct TCase {
    TAlphaColor Fill, Stroke;
    float Width;
    std::vector<TKind> Kinds;
  };
  for (const TCase& C : {TCase{Red, Blue, 2, {TKind::FillRect, TKind::StrokeRect}},
                         TCase{0x00FF0000, Blue, 0, {TKind::StrokeRect}}, TCase{Red, 0x000000FF, 1, {TKind::FillRect}},
                         TCase{0, 0, 1, {}}}) {
    TReportElement El = Element(retRectangle, 100, 40);
    El.FillColor = C.Fill;
    El.StrokeColor = C.Stroke;
    El.StrokeWidth = C.Width;
    const auto Calls = Render(El);
    ASSERT_EQ(Calls.size(), C.Kinds.size());
    for (size_t K = 0; K < Calls.size(); ++K) {
      EXPECT_EQ(Calls[K].Kind, C.Kinds[K]);
      ExpectRect(Calls[K].Rect, {25, 13, 125, 53});
      if (Calls[K].Kind == TKind::StrokeRect) {
        EXPECT_EQ(Calls[K].Color, C.Stroke);
        EXPECT_FLOAT_EQ(Calls[K].Width, std::max(C.Width, 0.5f));
      } else {
        EXPECT_EQ(Calls[K].Color, C.Fill);
      }
    }
  }
}

TEST(ElementRendering, RoundRectsEllipsesAndCirclesPassTheirSettingsThrough) {
  TReportElement Round = Element(retRoundRect, 100, 40);
  Round.CornerX = 7;
  Round.CornerY = 4;
  Round.StrokeColor = 0x00000000;
  Round.FillColor = Red;
  Round.StrokeWidth = 0;
  auto Calls = Render(Round);
  ASSERT_EQ(Calls.size(), 1u);
  EXPECT_EQ(Calls[0].Kind, TKind::DrawRoundRect);
  ExpectRect(Calls[0].Rect, {25, 13, 125, 53});
  ExpectPoint(Calls[0].P1, {7, 4});
  EXPECT_EQ(Calls[0].Color, 0u);
  EXPECT_EQ(Calls[0].Color2, Red);
  EXPECT_FLOAT_EQ(Calls[0].Width, 0);

  for (TRptElemType Type : {retEllipse, retCircle}) {
    TReportElement El = Element(Type, 100, 40);  // a non-square circle is an ellipse
    El.StrokeColor = Blue;
    El.FillColor = Green;
    El.StrokeWidth = 3;
    Calls = Render(El);
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_EQ(Calls[0].Kind, TKind::DrawEllipse);
    ExpectRect(Calls[0].Rect, {25, 13, 125, 53});
    EXPECT_EQ(Calls[0].Color, Blue);
    EXPECT_EQ(Calls[0].Color2, Green);
    EXPECT_FLOAT_EQ(Calls[0].Width, 3);
  }
}

TEST(ElementRendering, LinesRunToTheirFarEndWhateverTheirSize) {
  struct TCase {
    float StrokeWidth, ExpectedWidth;
  };
  for (TCase C : {TCase{2, 2}, TCase{0, 0.5f}}) {
    TReportElement El = Element(retLine, 30, 40);
    El.Left = 10;
    El.Top = 5;
    El.X2 = 100;
    El.Y2 = 5;
    El.StrokeColor = Red;
    El.StrokeWidth = C.StrokeWidth;
    const auto Calls = Render(El);
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_EQ(Calls[0].Kind, TKind::DrawLine);
    ExpectPoint(Calls[0].P1, {120, 15}, "far end first");
    ExpectPoint(Calls[0].P2, {30, 15});
    EXPECT_EQ(Calls[0].Color, Red);
    EXPECT_FLOAT_EQ(Calls[0].Width, C.ExpectedWidth);
  }
}

// ---- Check boxes and radio buttons ----

struct TMarkCase {
  std::string Name;
  TRptElemType Type;
  float Height;
  bool Checked;
  TRectF Box;
};

class Marks : public ::testing::TestWithParam<TMarkCase> {};

TEST_P(Marks, BoxAtTheLeftEdgeVerticallyCentredThenTheCaption) {
  const TMarkCase& C = GetParam();
  TReportElement El = Element(C.Type, 100, C.Height);
  El.Checked = C.Checked;
  El.Text = "Agree";
  El.BackColor = Green;
  El.VertAlign = rvaBottom;
  El.HorzAlign = rhaRight;
  El.WordWrap = true;
  const auto Calls = Render(El);
  const float Sz = C.Box.Right - C.Box.Left;
  size_t K = 0;
  ASSERT_GE(Calls.size(), 3u);
  EXPECT_EQ(Calls[K].Kind, TKind::FillRect);
  ExpectRect(Calls[K++].Rect, {25, 13, 125, 13 + C.Height}, "background covers the element");
  if (C.Type == retCheckBox) {
    EXPECT_EQ(Calls[K].Kind, TKind::StrokeRect);
    ExpectRect(Calls[K].Rect, C.Box, "box");
    EXPECT_EQ(Calls[K].Color, Grey);
    EXPECT_FLOAT_EQ(Calls[K++].Width, 1);
    if (C.Checked) {
      ASSERT_EQ(Calls.size(), 5u);
      const TPointF A{C.Box.Left + 0.2f * Sz, C.Box.Top + 0.5f * Sz};
      const TPointF B{C.Box.Left + 0.45f * Sz, C.Box.Bottom - 0.22f * Sz};
      const TPointF D{C.Box.Right - 0.15f * Sz, C.Box.Top + 0.2f * Sz};
      for (int L = 0; L < 2; ++L) {
        EXPECT_EQ(Calls[K + L].Kind, TKind::DrawLine);
        EXPECT_EQ(Calls[K + L].Color, Blue);
        EXPECT_FLOAT_EQ(Calls[K + L].Width, 1.5f);
      }
      ExpectPoint(Calls[K].P1, A, "tick start");
      ExpectPoint(Calls[K].P2, B, "tick corner");
      ExpectPoint(Calls[K + 1].P1, B, "tick corner");
      ExpectPoint(Calls[K + 1].P2, D, "tick end");
      K += 2;
    }
  } else {
    EXPECT_EQ(Calls[K].Kind, TKind::DrawEllipse);
    ExpectRect(Calls[K].Rect, C.Box, "ring");
    EXPECT_EQ(Calls[K].Color, Grey);
    EXPECT_EQ(Calls[K].Color2, 0u);
    EXPECT_FLOAT_EQ(Calls[K++].Width, 1);
    if (C.Checked) {
      const float In = 0.28f * Sz;
      EXPECT_EQ(Calls[K].Kind, TKind::DrawEllipse);
      ExpectRect(Calls[K].Rect, {C.Box.Left + In, C.Box.Top + In, C.Box.Right - In, C.Box.Bottom - In}, "dot");
      EXPECT_EQ(Calls[K].Color, 0u);
      EXPECT_EQ(Calls[K].Color2, Blue);
      EXPECT_FLOAT_EQ(Calls[K++].Width, 0);
    }
  }
  ASSERT_EQ(Calls.size(), K + 1);
  const TCall& T = Calls[K];
  EXPECT_EQ(T.Kind, TKind::DrawText);
  EXPECT_EQ(T.Text, "Agree");
  ExpectRect(T.Rect, {C.Box.Right + 4, 13, 125, 13 + C.Height}, "caption");
  EXPECT_EQ(T.HAlign, rhaLeft);
  EXPECT_EQ(T.VAlign, rvaBottom);
  EXPECT_FALSE(T.WordWrap);
}

// A box is min(14, height) square: 10 high gives 10, 30 high gives 14 with 8 above it.
INSTANTIATE_TEST_SUITE_P(Cases, Marks,
                         ::testing::Values(TMarkCase{"CheckSmall", retCheckBox, 10, false, {25, 13, 35, 23}},
                                           TMarkCase{"CheckTallTicked", retCheckBox, 30, true, {25, 21, 39, 35}},
                                           TMarkCase{"CheckSmallTicked", retCheckBox, 10, true, {25, 13, 35, 23}},
                                           TMarkCase{"RadioTall", retRadioButton, 30, false, {25, 21, 39, 35}},
                                           TMarkCase{"RadioTallChecked", retRadioButton, 30, true, {25, 21, 39, 35}},
                                           TMarkCase{"RadioSmallChecked", retRadioButton, 12, true, {25, 13, 37, 25}}),
                         [](const ::testing::TestParamInfo<TMarkCase>& I) { return I.param.Name; });

// ---- Memos ----

TEST(ElementRendering, APlainMemoIsOneRunInTheElementsFontWithoutStyle) {
  TReportElement El = Element(retMemo, 100, 20);
  El.Text = "Hello [1+1]";
  El.FontBold = true;
  El.FontItalic = true;
  El.BackColor = Green;
  const auto Calls = Render(El);
  ASSERT_EQ(Calls.size(), 2u);
  EXPECT_EQ(Calls[0].Kind, TKind::FillRect);
  ExpectRect(Calls[0].Rect, {25, 13, 125, 33});
  const TCall& T = Calls[1];
  EXPECT_EQ(T.Kind, TKind::DrawText);
  EXPECT_EQ(T.Text, "Hello 2");
  // "Hello 2" measures 7 x 5 = 35 points; the line is 1.3 x 10 high.
  ExpectRect(T.Rect, {27, 15, 27 + 35 + 2, 15 + 13});
  EXPECT_EQ(T.Font, RptFont("Serif", 10, false, false));
  EXPECT_EQ(T.HAlign, rhaLeft);
  EXPECT_EQ(T.VAlign, rvaTop);
  EXPECT_FALSE(T.WordWrap);
  EXPECT_EQ(T.Color, Blue);
}

TEST(ElementRendering, MemoRunsKeepFlowingBelowTheElement) {
  const std::string Rich = "{\\rtf1 A\\par B\\par C\\par D}";
  if (ParseRichText(Rich, "Serif", 10, Blue).size() < 4) GTEST_SKIP() << "the rich-text reader is not in place yet";
  TReportElement El = Element(retMemo, 100, 20);
  El.Text = Rich;
  const auto Calls = Render(El);
  ASSERT_EQ(Calls.size(), 4u);
  // Lines are 13 points high with 2 points between them; the element ends at y 33.
  const float Tops[] = {15, 30, 45, 60};
  const char* Texts[] = {"A", "B", "C", "D"};
  for (size_t K = 0; K < 4; ++K) {
    EXPECT_EQ(Calls[K].Text, Texts[K]);
    ExpectRect(Calls[K].Rect, {27, Tops[K], 27 + 5 + 2, Tops[K] + 13}, Texts[K]);
  }
}

// Lines of a memo 50 wide at 10 points: text runs from x 27 up to 73 (9 characters of 5 points),
// lines are 13 high and 2 apart, and each stretch of one run on a line is drawn once. Line
// breaks, empty lines and words wider than the line: tests/e2e/memo_test.cpp.
TEST(ElementRendering, MemosWrapAtSpaces) {
  struct TDrawn {
    std::string Text;
    TRectF Rect;
  };
  struct TCase {
    const char* Name;
    std::string Text;
    std::vector<TDrawn> Expected;
  };
  const std::vector<TCase> Cases = {
      {"breaks at the last space that fits, which starts no line",
       "aaa bbb ccc ddd",
       {{"aaa bbb", {27, 15, 64, 28}}, {"ccc ddd", {27, 30, 64, 43}}}},
      {"leading spaces stay, the spaces broken at go", "  aa   bbbbbbb",
       {{"  aa", {27, 15, 49, 28}}, {"bbbbbbb", {27, 30, 64, 43}}}},
      {"runs without a space between them move together", R"({\rtf1 aaaa bb{\b cc}dd})",
       {{"aaaa", {27, 15, 49, 28}}, {"bb", {27, 30, 39, 43}}, {"cc", {37, 30, 49, 43}}, {"dd", {47, 30, 59, 43}}}},
      {"a run is split where it breaks", R"({\rtf1 a{\i bb ccc dddd} e})",
       {{"a", {27, 15, 34, 28}}, {"bb ccc", {32, 15, 64, 28}}, {"dddd", {27, 30, 49, 43}}, {" e", {47, 30, 59, 43}}}},
      {"the largest size sets the line's height", R"({\rtf1 aa{\fs40 B} cc dddddd})",
       {{"aa", {27, 15, 39, 41}}, {"B", {37, 15, 49, 41}}, {" cc", {47, 15, 64, 41}}, {"dddddd", {27, 43, 59, 56}}}},
  };
  for (const TCase& C : Cases) {
    TReportElement El = Element(retMemo, 50, 20);
    El.Text = C.Text;
    const auto Calls = Render(El);
    ASSERT_EQ(Calls.size(), C.Expected.size()) << C.Name;
    for (size_t K = 0; K < Calls.size(); ++K) {
      EXPECT_EQ(Calls[K].Text, C.Expected[K].Text) << C.Name;
      ExpectRect(Calls[K].Rect, C.Expected[K].Rect, std::string(C.Name) + ": " + C.Expected[K].Text);
    }
  }
}

// Long memos are common in long reports: each stretch of text is measured once, not again for
// every line it might end.
TEST(ElementRendering, MemoTextIsMeasuredOnce) {
  struct TCountingCanvas : TTestCanvas {
    size_t Measured = 0;
    TSizeF MeasureText(const std::string& S, const TRptFont& F) override {
      Measured += S.size();
      return TTestCanvas::MeasureText(S, F);
    }
  };
  std::string Text;
  for (int I = 0; I < 20000; ++I) Text += std::string(1 + I % 7, 'w') + (I % 5 ? " " : "  ");
  for (const std::string& Memo : {Text, "{\\rtf1 " + Text + "}"}) {
    TReportPage Page;
    SmallPage(Page);
    TReportElement& El = *AddBand(Page, btPageBody, 60).Elements.emplace_back(
        std::make_unique<TReportElement>(Element(retMemo, 200, 20)));
    El.Text = Memo;
    TReportEngine E;
    auto Canvas = std::make_shared<TCountingCanvas>();
    E.RunPass(Page, Canvas, DrawPass());
    EXPECT_EQ(Canvas->Measured, Text.size());
    EXPECT_GT(Canvas->OfKind(TKind::DrawText).size(), 2000u);
  }
}

// ---- Images ----

std::string TinyJpeg(int32_t Side = 2) {
  TRptBitmap Bmp;
  Bmp.Width = Side;
  Bmp.Height = Side;
  Bmp.Pixels.assign(size_t(4 * Side * Side), 200);
  const std::vector<uint8_t> Bytes = EncodeJpeg(Bmp);
  return std::string(Bytes.begin(), Bytes.end());
}

// A relative image name is looked up in the documents folder, then beside the report file, so a
// report and its logo can travel together; the documents folder wins when both have the file.
TEST(ElementRendering, ImagesComeFromTheDocumentsFolderBesideTheReportOrAnAbsolutePath) {
  test::TTempDir Home, Elsewhere;
  std::filesystem::create_directories(Home.Path / "Documents");
  std::ofstream(Home.Path / "Documents" / "logo.jpg", std::ios::binary) << TinyJpeg(2);
  std::ofstream(Home.Path / "Documents" / "both.jpg", std::ios::binary) << TinyJpeg(2);
  const std::string Absolute = Elsewhere.Write("abs.jpg", TinyJpeg(4));
  Elsewhere.Write("beside.jpg", TinyJpeg(3));
  Elsewhere.Write("both.jpg", TinyJpeg(3));
  TScopedEnv HomeEnv("HOME", Home.Str());

  struct TCase {
    std::string File;
    bool WithReportFile;
    float DrawnWidth;  // 0: nothing drawn
  };
  for (const TCase& C : {TCase{"logo.jpg", true, 2}, TCase{Absolute, true, 4}, TCase{"missing.jpg", true, 0},
                         TCase{"beside.jpg", true, 3}, TCase{"beside.jpg", false, 0}, TCase{"both.jpg", true, 2},
                         TCase{"", true, 0}}) {
    TReportElement El = Element(retImage, 60, 30);
    El.ImageFile = C.File;
    El.ImageScale = risFit;
    El.BackColor = Red;  // an image paints no background
    TReportEngine E;
    if (C.WithReportFile) E.SetReportFile(Elsewhere.File("report.qdr"));
    const auto Calls = Render(El, &E);
    if (C.DrawnWidth == 0) {
      EXPECT_TRUE(Calls.empty()) << C.File;
      continue;
    }
    ASSERT_EQ(Calls.size(), 1u) << C.File;
    EXPECT_EQ(Calls[0].Kind, TKind::DrawImage);
    EXPECT_EQ(Calls[0].Width, C.DrawnWidth) << C.File;
    ExpectRect(Calls[0].Rect, {25, 13, 85, 43});
  }
}

// ---- Tables, barcodes, QR codes ----

TEST(ElementRendering, StaticTableCellsAreResolved) {
  TReportElement El = Element(retTable, 100, 40);
  El.Rows = 2;
  El.Cols = 2;
  El.CellTexts = {"Name", "[Company]", "[1 + 1]", "{Company}"};
  El.StrokeColor = 0xFF112233;
  El.StrokeWidth = 1.5f;
  TReportEngine E;
  E.SetVariable("Company", "Acme");
  const auto Calls = Render(El, &E);
  std::vector<std::string> Texts;
  int Outlines = 0;
  for (const TCall& C : Calls) {
    if (C.Kind == TKind::DrawText) Texts.push_back(C.Text);
    if (C.Kind == TKind::StrokeRect && C.Color == 0xFF112233) {
      ++Outlines;
      ExpectRect(C.Rect, {25, 13, 125, 53});
      EXPECT_FLOAT_EQ(C.Width, 1.5f);
    }
  }
  EXPECT_EQ(Texts, (std::vector<std::string>{"Name", "Acme", "2", "{Company}"}));
  EXPECT_EQ(Outlines, 1);
}

TEST(ElementRendering, BarcodesAndQrCodesPaintInsideTheirRectangle) {
  for (TRptElemType Type : {retBarcode, retQRCode}) {
    TReportElement El = Element(Type, 120, 50);
    El.Text = Type == retBarcode ? "C39:[Code]" : "[Code]";
    El.TextColor = 0xFF000000;
    El.BackColor = 0;
    TReportEngine E;
    E.SetVariable("Code", "AB12");
    const auto Calls = Render(El, &E);
    int Marks = 0;
    for (const TCall& C : Calls) {
      if (C.Kind != TKind::FillRect && C.Kind != TKind::FillPath) continue;
      ++Marks;
      if (C.Kind == TKind::FillRect) {
        EXPECT_GE(C.Rect.Left, 25 - 1e-3);
        EXPECT_LE(C.Rect.Right, 145 + 1e-3);
        EXPECT_GE(C.Rect.Top, 13 - 1e-3);
        EXPECT_LE(C.Rect.Bottom, 63 + 1e-3);
      }
    }
    EXPECT_GT(Marks, 10) << (Type == retBarcode ? "barcode" : "QR code");
  }
}

}  // namespace
}  // namespace quillet::enginetest
