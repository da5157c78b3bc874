#include "reportdef/report_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillet {
namespace {

TEST(ReportModel, EnumSpellingsReadBackAndUnknownsFallBack) {
  for (size_t i = 0; i < ElemTypeNames.size(); ++i)
    EXPECT_EQ(ElemTypeFromStr(ElemTypeNames[i]), static_cast<TRptElemType>(i)) << ElemTypeNames[i];
  for (size_t i = 0; i < BandTypeNames.size(); ++i)
    EXPECT_EQ(BandTypeFromStr(BandTypeNames[i]), static_cast<TBandType>(i)) << BandTypeNames[i];
  EXPECT_EQ(ElemTypeNames[retQRCode], "QRCode");
  EXPECT_EQ(BandTypeNames[btSubdetailData], "SubdetailData");
  EXPECT_EQ(BandTypeLabels[btSubdetailData], "Sub-detail Data");

  // Spellings are case-sensitive; the captions are not file spellings.
  EXPECT_EQ(ElemTypeFromStr("label"), retLabel);
  EXPECT_EQ(ElemTypeFromStr("Frame"), retLabel);
  EXPECT_EQ(ElemTypeFromStr(""), retLabel);
  EXPECT_EQ(BandTypeFromStr("detaildata"), btMasterData);
  EXPECT_EQ(BandTypeFromStr("Page Footer"), btMasterData);
  EXPECT_EQ(BandTypeFromStr("Title"), btTitle);
}

TEST(ReportModel, AlignmentAndScaleConversions) {
  struct Case {
    std::string Text;
    TRptHorzAlign H;
    TRptVertAlign V;
    TRptImageScale S;
  };
  const Case Cases[] = {
      {"Left", rhaLeft, rvaTop, risStretch},     {"Center", rhaCenter, rvaCenter, risCenter},
      {"Right", rhaRight, rvaTop, risStretch},   {"Bottom", rhaLeft, rvaBottom, risStretch},
      {"Fit", rhaLeft, rvaTop, risFit},          {"Tile", rhaLeft, rvaTop, risTile},
      {"center", rhaLeft, rvaTop, risStretch},   {"", rhaLeft, rvaTop, risStretch},
      {"Middle", rhaLeft, rvaTop, risStretch},
  };
  for (const Case& C : Cases) {
    EXPECT_EQ(StrToHorzAlign(C.Text), C.H) << C.Text;
    EXPECT_EQ(StrToVertAlign(C.Text), C.V) << C.Text;
    EXPECT_EQ(StrToImageScale(C.Text), C.S) << C.Text;
  }
  for (TRptHorzAlign A : {rhaLeft, rhaCenter, rhaRight}) EXPECT_EQ(StrToHorzAlign(HorzAlignToStr(A)), A);
  for (TRptVertAlign A : {rvaTop, rvaCenter, rvaBottom}) EXPECT_EQ(StrToVertAlign(VertAlignToStr(A)), A);
  for (TRptImageScale S : {risStretch, risFit, risCenter, risTile})
    EXPECT_EQ(StrToImageScale(ImageScaleToStr(S)), S);
  // Values outside the enumerations still give a spelling.
  EXPECT_EQ(HorzAlignToStr(static_cast<TRptHorzAlign>(7)), "Left");
  EXPECT_EQ(VertAlignToStr(static_cast<TRptVertAlign>(-1)), "Top");
  EXPECT_EQ(ImageScaleToStr(static_cast<TRptImageScale>(9)), "Stretch");

  EXPECT_EQ(BuildFontStyle(true, true), "BoldItalic");
  EXPECT_EQ(BuildFontStyle(true, false), "Bold");
  EXPECT_EQ(BuildFontStyle(false, true), "Italic");
  EXPECT_EQ(BuildFontStyle(false, false), "Normal");
}

TEST(ReportModel, ColourText) {
  EXPECT_EQ(AlphaColorToHex(0xFF000000), "#FF000000");
  EXPECT_EQ(AlphaColorToHex(0x00000000), "#00000000");
  EXPECT_EQ(AlphaColorToHex(0x8000ABCD), "#8000ABCD");
  EXPECT_EQ(AlphaColorToHex(0xFFFFFFFF), "#FFFFFFFF");

  struct Case {
    const char* Text;
    TAlphaColor Color;
  };
  const Case Cases[] = {
      {"", 0},
      {"#", 0},
      {"#ZZZZZZ", 0},
      {"FFFFFF", 0xFFFFFFFF},
      {"#336699", 0xFF336699},
      {"#80FF0000", 0x80FF0000},
      {"#ABC", 0x00000ABC},
      {"#ff336699", 0xFF336699},
      {"#00000000", 0},
      {"#1", 0x1},
      {"#FFFFFFFF12345678", 0x12345678},    // 16 digits: low 32 bits
      {"#1FFFFFFFF12345678", 0},            // 17 significant digits overflow 64 bits
      {"#000000000000000000FF", 0xFF},      // leading zeros are not an overflow
      {"##336699", 0},
      {" #336699", 0},
      {"#33 699", 0},
      {"#-33699", 0},
      {"#GG0000", 0},
  };
  for (const Case& C : Cases) EXPECT_EQ(HexToAlphaColor(C.Text), C.Color) << C.Text;
  for (TAlphaColor C : {0x00000000u, 0x12345678u, 0xFFE0E0E0u, 0x00FFFFFFu})
    EXPECT_EQ(HexToAlphaColor(AlphaColorToHex(C)), C);
}

TEST(ReportModel, ComputeTrackSizes) {
  struct Case {
    int32_t Count;
    std::vector<float> Weights;
    float Total;
    std::vector<float> Expected;
  };
  const float Third = 100.0f / 3;
  const Case Cases[] = {
      {3, {1, 0, 3}, 100, {25, 0, 75}},
      {3, {1, 1}, 100, {Third, Third, Third}},          // wrong length
      {3, {1, 1, 1, 1}, 100, {Third, Third, Third}},    // wrong length
      {3, {0, 0, 0}, 100, {Third, Third, Third}},       // nothing positive
      {3, {-1, -2, 0}, 100, {Third, Third, Third}},
      {3, {-1, 1, 1}, 90, {0, 45, 45}},                 // negative weight hides its track
      {2, {0.5f, 1.5f}, 10, {2.5f, 7.5f}},
      {1, {}, 42, {42}},
      {4, {}, 10, {2.5f, 2.5f, 2.5f, 2.5f}},
      {0, {}, 100, {}},
      {-2, {1, 2}, 100, {}},
  };
  for (const Case& C : Cases) {
    std::vector<float> Sizes = {9, 9, 9, 9, 9};  // stale content must go
    ComputeTrackSizes(C.Count, C.Weights, C.Total, Sizes);
    ASSERT_EQ(Sizes.size(), C.Expected.size()) << "count " << C.Count;
    for (size_t i = 0; i < Sizes.size(); ++i)
      EXPECT_FLOAT_EQ(Sizes[i], C.Expected[i]) << "count " << C.Count << " track " << i;
  }
}

TEST(ReportModel, ComputeImagePlacement) {
  struct Case {
    const char* What;
    TRectF Box;
    int32_t W, H;
    TRptImageScale Scale;
    TRectF Src, Dst;
  };
  const TRectF Empty{};
  const Case Cases[] = {
      {"fit square into wide box", {0, 0, 200, 100}, 100, 100, risFit, {0, 0, 100, 100}, {50, 0, 150, 100}},
      {"fit scales up and centres vertically", {10, 20, 110, 220}, 50, 25, risFit,
       {0, 0, 50, 25}, {10, 95, 110, 145}},
      {"fit scales down", {0, 0, 100, 100}, 400, 200, risFit, {0, 0, 400, 200}, {0, 25, 100, 75}},
      {"centre small image", {0, 0, 100, 100}, 40, 20, risCenter, {0, 0, 40, 20}, {30, 40, 70, 60}},
      {"centre large image shows its middle", {0, 0, 100, 50}, 200, 100, risCenter,
       {50, 25, 150, 75}, {0, 0, 100, 50}},
      {"centre image wider only", {10, 10, 30, 110}, 40, 50, risCenter, {10, 0, 30, 50},
       {10, 35, 30, 85}},
      {"stretch", {5, 5, 105, 55}, 10, 10, risStretch, {0, 0, 10, 10}, {5, 5, 105, 55}},
      {"tile behaves as stretch", {5, 5, 105, 55}, 10, 10, risTile, {0, 0, 10, 10}, {5, 5, 105, 55}},
      {"no image width", {0, 0, 100, 100}, 0, 10, risFit, Empty, Empty},
      {"negative image height", {0, 0, 100, 100}, 10, -1, risStretch, Empty, Empty},
      {"box without height", {0, 10, 100, 10}, 10, 10, risStretch, Empty, Empty},
      {"inverted box", {100, 0, 0, 100}, 10, 10, risCenter, Empty, Empty},
  };
  for (const Case& C : Cases) {
    TRectF Src{1, 2, 3, 4}, Dst{1, 2, 3, 4};
    ComputeImagePlacement(C.Box, C.W, C.H, C.Scale, Src, Dst);
    const TRectF* Got[] = {&Src, &Dst};
    const TRectF* Want[] = {&C.Src, &C.Dst};
    for (int k = 0; k < 2; ++k) {
      EXPECT_FLOAT_EQ(Got[k]->Left, Want[k]->Left) << C.What << (k ? " dst" : " src");
      EXPECT_FLOAT_EQ(Got[k]->Top, Want[k]->Top) << C.What << (k ? " dst" : " src");
      EXPECT_FLOAT_EQ(Got[k]->Right, Want[k]->Right) << C.What << (k ? " dst" : " src");
      EXPECT_FLOAT_EQ(Got[k]->Bottom, Want[k]->Bottom) << C.What << (k ? " dst" : " src");
    }
  }
}

TEST(ReportModel, FreshElementIsAHorizontalLineAlongTheTop) {
  TReportElement E;
  EXPECT_EQ(E.X2, E.Left + E.Width);
  EXPECT_EQ(E.Y2, E.Top);
  EXPECT_EQ(E.VertAlign, rvaCenter);
  EXPECT_EQ(TCellStyle{}.HasStyle, false);
}

TEST(ReportModel, CloneIsDeepAndOffset) {
  TReportElement E;
  E.ElemType = retTable;
  E.Name = "X";
  E.Left = 1.5f;
  E.Top = 2;
  E.X2 = 30;
  E.Y2 = 40;
  E.Text = "t";
  E.CellTexts = {"a", "b"};
  E.ColWidths = {1, 2};
  E.RowHeights = {3};
  E.CellStyles = {TCellStyle{true, true, false, 0xFF112233, 0x80FFFFFF, rhaRight}, TCellStyle{}};
  E.ColFields = {"F1", ""};
  E.HeaderRow = true;

  auto C1 = E.Clone();
  auto C2 = C1->Clone();
  EXPECT_EQ(C1->Name, "X_copy");
  EXPECT_EQ(C2->Name, "X_copy_copy");
  EXPECT_FLOAT_EQ(C2->Left, 21.5f);
  EXPECT_FLOAT_EQ(C2->Top, 22);
  EXPECT_FLOAT_EQ(C2->X2, 50);
  EXPECT_FLOAT_EQ(C2->Y2, 60);

  // Apart from the name and the offsets, the clone equals its source.
  TReportElement Back = *C1;
  Back.Name = E.Name;
  Back.Left -= 10;
  Back.Top -= 10;
  Back.X2 -= 10;
  Back.Y2 -= 10;
  EXPECT_EQ(Back, E);

  // The clone shares no array with its source.
  C1->CellTexts[0] = "changed";
  C1->ColWidths[0] = 99;
  C1->CellStyles[0].Bold = false;
  C1->ColFields.push_back("more");
  EXPECT_EQ(E.CellTexts[0], "a");
  EXPECT_EQ(E.ColWidths[0], 1);
  EXPECT_TRUE(E.CellStyles[0].Bold);
  EXPECT_EQ(E.ColFields.size(), 2u);
}

TEST(ReportModel, ClearKeepsGeometryAndMarginWritesAllSides) {
  TReportPage Page;
  Page.PageWidth = 842;
  Page.PageHeight = 595;
  Page.SetMargin(15);
  Page.MarginLeft = 7;
  Page.StartPageNumber = 5;
  Page.ResetPageNumber = false;
  Page.GridSize = 4;
  Page.PrinterName = "P";
  Page.PdfTitle = Page.PdfAuthor = Page.PdfSubject = Page.PdfKeywords = Page.PdfCreator = "x";
  Page.Bands.push_back(std::make_unique<TReportBand>());
  Page.Bands.back()->Elements.push_back(std::make_unique<TReportElement>());
  Page.VisibleDataSources = {"A"};
  Page.DataSources["A"] = {"f"};

  Page.Clear();
  EXPECT_TRUE(Page.Bands.empty());
  EXPECT_TRUE(Page.VisibleDataSources.empty());
  EXPECT_TRUE(Page.DataSources.empty());
  for (const std::string* S :
       {&Page.PdfTitle, &Page.PdfAuthor, &Page.PdfSubject, &Page.PdfKeywords, &Page.PdfCreator})
    EXPECT_EQ(*S, "");
  EXPECT_EQ(Page.PageWidth, 842);
  EXPECT_EQ(Page.PageHeight, 595);
  EXPECT_EQ(Page.GetMargin(), 15);
  EXPECT_EQ(Page.MarginLeft, 7);
  EXPECT_EQ(Page.StartPageNumber, 5);
  EXPECT_FALSE(Page.ResetPageNumber);
  EXPECT_EQ(Page.GridSize, 4);
  EXPECT_EQ(Page.PrinterName, "P");

  Page.SetMargin(3.5f);
  EXPECT_EQ(Page.MarginTop, 3.5f);
  EXPECT_EQ(Page.MarginBottom, 3.5f);
  EXPECT_EQ(Page.MarginLeft, 3.5f);
  EXPECT_EQ(Page.MarginRight, 3.5f);
}

}  // namespace
}  // namespace quillet
