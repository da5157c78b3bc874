#include "symbols/table_draw.h"

#include <gtest/gtest.h>

#include <vector>

#include "test_canvases.h"

namespace quillet {
namespace {

using testing::FillCall;
using testing::LineCall;
using testing::StrokeCall;
using testing::TCall;
using testing::TextCall;
using testing::TRecordingCanvas;

constexpr TAlphaColor kBorder = 0xFF808080;
constexpr TAlphaColor kBlack = 0xFF000000;
constexpr TAlphaColor kWhite = 0xFFFFFFFF;

TEST(TableDraw, CallSequenceWithHeaderAndCellStyles) {
  TRptTableStyle Style = DefaultTableStyle();
  Style.HeaderRow = true;
  Style.HeaderFill = 0xFFE0E0E0;
  Style.HeaderBold = false;  // switches bold off even though the font argument is bold
  Style.HeaderTextColor = 0xFF0000AA;
  Style.ColWidths = {1, 3};
  // Shorter than the six cells: cells 4 and 5 are unstyled.
  Style.CellStyles = {
      TCellStyle{},
      TCellStyle{true, true, true, 0xFF00AA00, 0xFFFFEE00, rhaRight},    // header cell with its own style
      TCellStyle{false, true, true, 0xFF123456, 0xFF123456, rhaRight},   // HasStyle false: ignored
      TCellStyle{true, false, false, 0xFF330000, 0x00FFFFFF, rhaCenter}, // transparent fill: no fill
  };
  const std::vector<std::string> Texts = {"H1", "H2", "a", "b", "", "d", "extra"};
  const TRectF R{10, 20, 110, 80};
  TRecordingCanvas Canvas;
  DrawTable(Canvas, R, 3, 2, kBorder, kWhite, 0.5f, Texts, RptFont("Arial", 9, true, false), kBlack, rhaLeft,
            rvaBottom, Style);

  // Columns 25 and 75 wide, rows 20 high: x edges 10, 35, 110; y edges 20, 40, 60, 80.
  const std::vector<TCall> Expected = {
      FillCall(R, kWhite),
      FillCall({10, 20, 110, 40}, 0xFFE0E0E0),
      FillCall({35, 20, 110, 40}, 0xFFFFEE00),
      StrokeCall(R, kBorder, 0.5f),
      LineCall({35, 20}, {35, 80}, kBorder, 0.5f),
      LineCall({10, 40}, {110, 40}, kBorder, 0.5f),
      LineCall({10, 60}, {110, 60}, kBorder, 0.5f),
      TextCall("H1", {12, 21, 33, 39}, RptFont("Arial", 9, false, false), rhaLeft, rvaBottom, false, 0xFF0000AA),
      TextCall("H2", {37, 21, 108, 39}, RptFont("Arial", 9, true, true), rhaRight, rvaBottom, false, 0xFF00AA00),
      TextCall("a", {12, 41, 33, 59}, RptFont("Arial", 9, true, false), rhaLeft, rvaBottom, false, kBlack),
      TextCall("b", {37, 41, 108, 59}, RptFont("Arial", 9, false, false), rhaCenter, rvaBottom, false, 0xFF330000),
      TextCall("d", {37, 61, 108, 79}, RptFont("Arial", 9, true, false), rhaLeft, rvaBottom, false, kBlack),
  };
  EXPECT_EQ(Canvas.Calls, Expected);
}

TEST(TableDraw, HeaderSettingsWithoutFillAndWithoutHeaderRow) {
  struct Case {
    bool HeaderRow;
    TAlphaColor HeaderFill;
    TAlphaColor Back;
    std::vector<TCall> Expected;
  };
  const TRectF R{0, 0, 40, 20};
  const TRptFont Plain = RptFont("DejaVu Sans", 8, false, true);
  const TRptFont Bold = RptFont("DejaVu Sans", 8, true, true);
  const std::vector<TCall> Grid = {StrokeCall(R, kBorder, 1), LineCall({20, 0}, {20, 20}, kBorder, 1),
                                   LineCall({0, 10}, {40, 10}, kBorder, 1)};
  auto With = [&](std::vector<TCall> Before, std::vector<TCall> After) {
    Before.insert(Before.end(), Grid.begin(), Grid.end());
    Before.insert(Before.end(), After.begin(), After.end());
    return Before;
  };
  const Case Cases[] = {
      // A transparent header fill still gives the header font and colour.
      {true, 0x00E0E0E0, 0,
       With({}, {TextCall("h", {2, 1, 18, 9}, Bold, rhaRight, rvaCenter, false, 0xFF0000FF),
                 TextCall("x", {22, 11, 38, 19}, Plain, rhaRight, rvaCenter, false, 0xFF111111)})},
      // Without a header row, row 0 is an ordinary row and its fill is not painted.
      {false, 0xFFE0E0E0, 0xFFFAFAFA,
       With({FillCall(R, 0xFFFAFAFA)},
            {TextCall("h", {2, 1, 18, 9}, Plain, rhaRight, rvaCenter, false, 0xFF111111),
             TextCall("x", {22, 11, 38, 19}, Plain, rhaRight, rvaCenter, false, 0xFF111111)})},
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.HeaderRow);
    TRptTableStyle Style;
    Style.HeaderRow = C.HeaderRow;
    Style.HeaderFill = C.HeaderFill;
    Style.HeaderTextColor = 0xFF0000FF;
    TRecordingCanvas Canvas;
    DrawTable(Canvas, R, 2, 2, kBorder, C.Back, 1, {"h", "", "", "x"}, Plain, 0xFF111111, rhaRight, rvaCenter,
              Style);
    EXPECT_EQ(Canvas.Calls, C.Expected);
  }
}

TEST(TableDraw, EmptyGridDrawsNothing) {
  const std::pair<int32_t, int32_t> Sizes[] = {{0, 3}, {3, 0}, {-1, 2}, {2, -5}, {0, 0}};
  TRptTableStyle Style;
  Style.HeaderRow = true;
  Style.HeaderFill = kBlack;
  for (auto [Rows, Cols] : Sizes) {
    TRecordingCanvas Canvas;
    DrawTable(Canvas, TRectF{0, 0, 100, 100}, Rows, Cols, kBorder, kWhite, 1, {"a", "b"},
              RptFont("Arial", 10, false, false), kBlack, rhaLeft, rvaTop, Style);
    EXPECT_TRUE(Canvas.Calls.empty()) << Rows << "x" << Cols;
  }
}

TEST(TableDraw, FarEdgesAreTheRectangleEdges) {
  // Thirds of 100 and sevenths of 10 do not add up exactly in float; the last cell still ends at
  // the rectangle. A zero weight hides its column.
  struct Case {
    int32_t Cols;
    std::vector<float> ColWidths;
    std::vector<float> FirstEdges;  // x of the inner lines
  } Cases[] = {
      {3, {}, {100.0f / 3, 100.0f / 3 + 100.0f / 3}},
      {3, {1, 0, 1}, {50, 50}},
      {3, {1, 2}, {100.0f / 3, 100.0f / 3 + 100.0f / 3}},  // wrong count: equal columns
  };
  for (const Case& C : Cases) {
    TRptTableStyle Style;
    Style.ColWidths = C.ColWidths;
    TRecordingCanvas Canvas;
    const int32_t Rows = 7;
    std::vector<std::string> Texts(static_cast<size_t>(Rows * C.Cols), "t");
    DrawTable(Canvas, TRectF{0.3f, 0.1f, 100.3f, 10.1f}, Rows, C.Cols, kBorder, 0, 1, Texts,
              RptFont("Arial", 10, false, false), kBlack, rhaLeft, rvaTop, Style);
    ASSERT_EQ(Canvas.Calls.size(), 1 + (C.Cols - 1) + (Rows - 1) + Texts.size());
    for (int32_t i = 0; i + 1 < C.Cols; ++i) EXPECT_FLOAT_EQ(Canvas.Calls[1 + i].P1.X, 0.3f + C.FirstEdges[i]);
    const TCall& Last = Canvas.Calls.back();
    EXPECT_EQ(Last.Rect.Right, 100.3f - 2);
    EXPECT_EQ(Last.Rect.Bottom, 10.1f - 1);
  }
}

TEST(TableDraw, StyleFromElementAndDefaults) {
  const TRptTableStyle D = DefaultTableStyle();
  EXPECT_FALSE(D.HeaderRow);
  EXPECT_EQ(D.HeaderFill, 0u);
  EXPECT_TRUE(D.HeaderBold);
  EXPECT_EQ(D.HeaderTextColor, 0xFF000000u);
  EXPECT_TRUE(D.ColWidths.empty() && D.RowHeights.empty() && D.CellStyles.empty());

  TReportElement E;
  E.HeaderRow = true;
  E.HeaderFill = 0xFF010203;
  E.HeaderBold = false;
  E.HeaderTextColor = 0xFF040506;
  E.ColWidths = {1, 2};
  E.RowHeights = {3};
  E.CellStyles = {TCellStyle{true, false, true, 1, 2, rhaCenter}};
  const TRptTableStyle S = TableStyleOf(E);
  EXPECT_EQ(S, (TRptTableStyle{true, 0xFF010203, false, 0xFF040506, {1, 2}, {3}, E.CellStyles}));
}

}  // namespace
}  // namespace quillet
