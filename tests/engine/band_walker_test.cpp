// The band walker: which bands print, how often, where, and when a page ends. Positions are
// worked out by hand on the small test page (body from y 10 to y 190, labels at the band's top).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/report_engine.h"
#include "engine_test_support.h"

namespace quillet::enginetest {
namespace {

std::vector<int> PagesOf(const TTestCanvas& C, const std::string& Text) {
  std::vector<int> Out;
  for (const TCall& Call : C.Calls)
    if (Call.Kind == TKind::DrawText && Call.Text == Text) Out.push_back(Call.Page);
  return Out;
}

// Registers each data set under its name and returns a fresh canvas for the run.
std::shared_ptr<TTestCanvas> WithSources(TReportEngine& E,
                                         std::initializer_list<std::pair<const char*, TMemDataSet*>> Sets) {
  for (const auto& [Name, DS] : Sets) E.SetDataSource(Name, DS);
  return std::make_shared<TTestCanvas>();
}

// ---- Page breaks ----

struct TToleranceCase {
  float FooterHeight;
  float BandHeight;
  TPlace Expected;
};

class BreakTolerance : public ::testing::TestWithParam<TToleranceCase> {};

TEST_P(BreakTolerance, ABandMayEndHalfAPointPastTheLimit) {
  const TToleranceCase& C = GetParam();
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btTitle, 100);
  if (C.FooterHeight > 0) AddBand(Page, btPageFooter, C.FooterHeight);
  AddLabel(AddBand(Page, btPageBody, C.BandHeight), "B");
  TReportEngine E;
  auto Canvas = std::make_shared<TTestCanvas>();
  const int32_t Last = E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(PlaceOf(*Canvas, "B"), C.Expected);
  EXPECT_EQ(Last, C.Expected.Page);
  EXPECT_EQ(Canvas->PagesBegun, C.Expected.Page);
}

// The title ends at y 110; the limit is 190 less the footers.
INSTANTIATE_TEST_SUITE_P(Cases, BreakTolerance,
                         ::testing::Values(TToleranceCase{0, 80, {1, 110}}, TToleranceCase{0, 80.5f, {1, 110}},
                                           TToleranceCase{0, 80.51f, {2, 10}}, TToleranceCase{0, 81, {2, 10}},
                                           TToleranceCase{20, 60.5f, {1, 110}},
                                           TToleranceCase{20, 60.51f, {2, 10}}));

TEST(BandWalker, MasterWithDetailsStartsAPagePerRecord) {
  auto Orders = Numbers("Orders", 3);
  auto Lines = MakeSet("Lines", {{"L", ftLargeint}}, {{I(1)}, {I(2)}});
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btMasterData, 30, "Orders"), "M[N]");
  AddLabel(AddBand(Page, btDetailData, 20, "Lines"), "D[L]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}, {"Lines", Lines.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 3);
  EXPECT_EQ(PlaceOf(*Canvas, "M1"), (TPlace{1, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "M2"), (TPlace{2, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "M3"), (TPlace{3, 10}));
  EXPECT_EQ(Canvas->TextsOnPage(1), (std::vector<std::string>{"M1", "D1", "D2"}));
  EXPECT_EQ(Canvas->TextsOnPage(3), (std::vector<std::string>{"M3", "D1", "D2"}));
  EXPECT_EQ(Canvas->FindText("D2")->Rect.Top, 60);
}

TEST(BandWalker, ATallMasterWithDetailsPrintsOnItsFreshPageWithoutABreakCheck) {
  auto Orders = Numbers("Orders", 3);
  auto Lines = MakeSet("Lines", {{"L", ftLargeint}}, {{I(1)}});
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btTitle, 50), "T");
  AddLabel(AddBand(Page, btMasterData, 300, "Orders"), "M[N]");
  AddLabel(AddBand(Page, btDetailData, 20, "Lines"), "D[L]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}, {"Lines", Lines.get()}});
  // Each master runs past the page bottom where it starts; its detail breaks to the next page.
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 6);
  EXPECT_EQ(PlaceOf(*Canvas, "M1"), (TPlace{1, 60}));
  EXPECT_EQ(PlaceOf(*Canvas, "M2"), (TPlace{3, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "M3"), (TPlace{5, 10}));
  EXPECT_EQ(PagesOf(*Canvas, "D1"), (std::vector<int>{2, 4, 6}));
}

TEST(BandWalker, TheFirstRecordFlagBelongsToTheWholeWalk) {
  auto A = Numbers("A", 2);
  auto B = MakeSet("B", {{"K", ftLargeint}}, {{I(1)}});
  auto Lines = MakeSet("Lines", {{"L", ftLargeint}}, {{I(1)}});
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btMasterData, 30, "A"), "A[N]");
  AddLabel(AddBand(Page, btDetailData, 20, "Lines"), "DA");
  AddLabel(AddBand(Page, btMasterData, 30, "B"), "B[K]");
  AddLabel(AddBand(Page, btDetailData, 20, "Lines"), "DB");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"A", A.get()}, {"B", B.get()}, {"Lines", Lines.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 3);
  EXPECT_EQ(PlaceOf(*Canvas, "A1"), (TPlace{1, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "A2"), (TPlace{2, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "B1"), (TPlace{3, 10}));
}

TEST(BandWalker, AMasterWithoutDetailsFlowsDownThePages) {
  auto Orders = Numbers("Orders", 7);
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btTitle, 30), "T1 [N]");
  AddLabel(AddBand(Page, btTitle, 40), "T2");
  AddLabel(AddBand(Page, btMasterData, 30, "Orders"), "M[N]");
  TReportEngine E;
  E.SetDataSource(Orders.get());  // the title reads the main data set
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 2);
  // Only the first title prints, once; the body starts below it.
  EXPECT_EQ(PlaceOf(*Canvas, "T1 1"), (TPlace{1, 10}));
  EXPECT_EQ(Canvas->CountText("T1 1"), 1);
  EXPECT_EQ(Canvas->CountText("T2"), 0);
  EXPECT_EQ(PlaceOf(*Canvas, "M1"), (TPlace{1, 40}));
  EXPECT_EQ(PlaceOf(*Canvas, "M5"), (TPlace{1, 160}));
  EXPECT_EQ(PlaceOf(*Canvas, "M6"), (TPlace{2, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "M7"), (TPlace{2, 40}));
}

TEST(BandWalker, AnEmptyMasterSourcePrintsNoGroupsDetailsOrFooters) {
  auto Empty = MakeSet("Empty", {{"N", ftLargeint}}, {});
  auto Lines = Numbers("Lines", 2);
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "N";
  AddLabel(*Page.Bands.back(), "G");
  AddLabel(AddBand(Page, btMasterData, 10, "Empty"), "M");
  AddLabel(AddBand(Page, btDetailData, 10, "Lines"), "D");
  AddLabel(AddBand(Page, btGroupFooter, 10), "F");
  AddLabel(AddBand(Page, btSummary, 10), "S [COUNT()]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Empty", Empty.get()}, {"Lines", Lines.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 1);
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"S 0"}));
  EXPECT_EQ(PlaceOf(*Canvas, "S 0"), (TPlace{1, 10}));
}

struct TMissingMasterCase {
  std::string Source;
  std::vector<std::string> Texts;
};

class MasterSourceMissing : public ::testing::TestWithParam<TMissingMasterCase> {};

TEST_P(MasterSourceMissing, OnlyAMasterWithoutSourcePrintsOnce) {
  auto Closed = Numbers("Closed", 2);
  Closed->Close();
  auto Lines = Numbers("Lines", 2);
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "N";
  AddLabel(*Page.Bands.back(), "G");
  AddLabel(AddBand(Page, btMasterData, 30, GetParam().Source), "M [N]");
  AddLabel(AddBand(Page, btDetailData, 10, "Lines"), "D");
  AddLabel(AddBand(Page, btGroupFooter, 10), "F");
  AddLabel(AddBand(Page, btSummary, 10), "S");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Closed", Closed.get()}, {"Lines", Lines.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), GetParam().Texts);
  EXPECT_EQ(PlaceOf(*Canvas, "S").Y, GetParam().Texts.size() == 2 ? 40 : 10);
}

INSTANTIATE_TEST_SUITE_P(Cases, MasterSourceMissing,
                         ::testing::Values(TMissingMasterCase{"", {"M [N]", "S"}}, TMissingMasterCase{"Ghost", {"S"}},
                                           TMissingMasterCase{"Closed", {"S"}}));

// ---- Groups ----

TEST(BandWalker, TwoGroupLevelsCloseInnerFirstAndOpenOuterFirst) {
  auto Sales = MakeSet("Sales", {{"Region", ftString}, {"City", ftString}, {"Amount", ftLargeint}},
                       {{S("N"), S("A"), I(10)}, {S("N"), S("A"), I(20)}, {S("N"), S("B"), I(5)}, {S("S"), S("C"), I(7)}});
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "Region";
  AddLabel(*Page.Bands.back(), "H0 [Region]");
  AddBand(Page, btGroupHeader, 10).GroupCondition = "City";
  AddLabel(*Page.Bands.back(), "H1 [City]");
  // Without a chosen scope a band reads the innermost group's running totals.
  AddLabel(AddBand(Page, btMasterData, 10, "Sales"), "M [Amount] [SUM(Amount)]");
  AddLabel(AddBand(Page, btGroupFooter, 10), "F0 [Region] [SUM(Amount)]");
  AddLabel(AddBand(Page, btGroupFooter, 10), "F1 [City] [SUM(Amount)]");
  // After the data the inner group still holds its last totals: the end footers do not reset.
  AddLabel(AddBand(Page, btPageBody, 10), "P [SUM(Amount)]");
  AddLabel(AddBand(Page, btSummary, 10), "S [SUM(Amount)] [COUNT()]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Sales", Sales.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 1);
  const std::vector<std::string> Expected = {
      "H0 N",   "H1 A",   "M 10 10", "M 20 30", "F1 A 30", "H1 B",    "M 5 5", "F1 B 5",
      "F0 N 35", "H0 S",  "H1 C",    "M 7 7",   "F1 C 7",  "F0 S 7",  "P 7",   "S 42 4"};
  EXPECT_EQ(Canvas->Texts(), Expected);
  const auto Texts = Canvas->OfKind(TKind::DrawText);
  for (size_t K = 0; K < Texts.size(); ++K) EXPECT_EQ(Texts[K].Rect.Top, 10 + 10 * K) << Texts[K].Text;
}

TEST(BandWalker, AnEmptyOuterFirstValueSkipsItsFirstHeader) {
  auto DS = MakeSet("DS", {{"O", ftString}, {"In", ftString}}, {{S(""), S("x")}, {S(""), S("y")}});
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "O";
  AddLabel(*Page.Bands.back(), "HO");
  AddBand(Page, btGroupHeader, 10).GroupCondition = "In";
  AddLabel(*Page.Bands.back(), "HI [In]");
  AddLabel(AddBand(Page, btMasterData, 10, "DS"), "M [In]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"DS", DS.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"HI x", "M x", "HI y", "M y"}));
}

TEST(BandWalker, GroupConditionsMayBeExpressions) {
  auto DS = MakeSet("DS", {{"N", ftLargeint}, {"E", ftString}}, {{I(1), S("")}, {I(2), S("")}, {I(3), S("")}, {I(4), S("")}});
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "E";
  AddLabel(*Page.Bands.back(), "Empty");
  AddBand(Page, btGroupHeader, 10).GroupCondition = "N > 2";
  AddLabel(*Page.Bands.back(), "G [N]");
  AddLabel(AddBand(Page, btMasterData, 10, "DS"), "M[N]");
  AddLabel(AddBand(Page, btGroupFooter, 10), "FE [COUNT()]");
  AddLabel(AddBand(Page, btGroupFooter, 10), "FG [N] [COUNT()]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"DS", DS.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  // The outer value is empty on the first record and the inner one is not: headers start inside.
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"G 1", "M1", "M2", "FG 2 2", "G 3", "M3", "M4", "FG 4 2",
                                                       "FE 4"}));
}

TEST(BandWalker, AllEmptyFirstGroupValuesPrintEveryHeaderOnce) {
  auto DS = MakeSet("DS", {{"N", ftLargeint}, {"E", ftString}}, {{I(1), S("")}, {I(2), S("")}});
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btGroupHeader, 10).GroupCondition = "E";
  AddLabel(*Page.Bands.back(), "A");
  AddBand(Page, btGroupHeader, 10).GroupCondition = "E";
  AddLabel(*Page.Bands.back(), "B");
  AddLabel(AddBand(Page, btMasterData, 10, "DS"), "M[N]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"DS", DS.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"A", "B", "M1", "M2"}));
}

// ---- Details ----

TEST(BandWalker, DetailsAndSubDetailsRepeatPerRecordAndOnlyDetailsAccumulate) {
  auto Orders = Numbers("Orders", 1);
  auto Lines = MakeSet("Lines", {{"L", ftLargeint}}, {{I(1)}, {I(2)}});
  auto Subs = MakeSet("Subs", {{"K", ftLargeint}}, {{I(7)}, {I(8)}});
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btMasterData, 10, "Orders"), "M[N]");
  AddLabel(AddBand(Page, btDetailData, 10, "Lines"), "D[L]");
  AddLabel(AddBand(Page, btSubdetailData, 10, "Subs"), "SD[K]");
  AddLabel(AddBand(Page, btSubdetailData, 10), "SE [K]");
  AddLabel(AddBand(Page, btSummary, 10), "S [COUNT(N)] [COUNT(L)] [COUNT(K)]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}, {"Lines", Lines.get()}, {"Subs", Subs.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"M1", "D1", "SD7", "SD8", "SE [K]", "D2", "SD7", "SD8",
                                                       "SE [K]", "S 1 2 0"}));
  EXPECT_EQ(PlaceOf(*Canvas, "S 1 2 0"), (TPlace{1, 100}));
}

TEST(BandWalker, ADetailWithAnUnknownSourcePrintsOnceAtItsStoredHeight) {
  auto Orders = Numbers("Orders", 1);
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btMasterData, 30, "Orders"), "M[N]");
  TReportBand& D = AddBand(Page, btDetailData, 20, "Nope");
  D.AutoGrow = true;
  AddLabel(D, "D [N]\nx\ny").WordWrap = true;  // would grow to 36 points
  AddLabel(AddBand(Page, btSubdetailData, 10), "SD");
  AddLabel(AddBand(Page, btSummary, 10), "S");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  // No current record while it prints: the field stays unresolved.
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"M1", "D [N]\nx\ny", "S"}));
  EXPECT_EQ(PlaceOf(*Canvas, "D [N]\nx\ny"), (TPlace{1, 40}));
  EXPECT_EQ(PlaceOf(*Canvas, "S"), (TPlace{1, 60}));
}

TEST(BandWalker, RecordNumbersCountTheMasterRecordsOfEachBlock) {
  auto Orders = Numbers("Orders", 3);
  auto Other = Numbers("Other", 2);
  TReportPage Page;
  SmallPage(Page);
  TReportBand& M = AddBand(Page, btMasterData, 10, "Orders");
  AddLabel(M, "[RecordNo]");
  AddLabel(M, "{KayitNo}");
  AddLabel(AddBand(Page, btMasterData, 10, "Other"), "R[recordno]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}, {"Other", Other.get()}});
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"1", "1", "2", "2", "3", "3", "R1", "R2"}));
  EXPECT_EQ(E.GetVariable("RecordNo"), "2");
}

// ---- Band height ----

struct TGrowCase {
  std::string Name;
  TRptElemType Type;
  bool WordWrap;
  bool AutoGrow;
  std::string Text;
  float NextY;  // where the band after the growing one starts
};

class AutoGrow : public ::testing::TestWithParam<TGrowCase> {};

TEST_P(AutoGrow, WrappedLabelsAndEditsGrowTheBand) {
  const TGrowCase& C = GetParam();
  TReportPage Page;
  SmallPage(Page);
  TReportBand& B = AddBand(Page, btPageBody, 20);
  B.AutoGrow = C.AutoGrow;
  TReportElement& El = AddElement(B, C.Type, 0, 5, 100, 10);
  El.Text = C.Text;
  El.WordWrap = C.WordWrap;
  AddLabel(AddBand(Page, btPageBody, 10), "NEXT");
  TReportEngine E;
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(PlaceOf(*Canvas, "NEXT"), (TPlace{1, C.NextY}));
}

// Three lines measure 36 points; the element starts 5 points down the band.
INSTANTIATE_TEST_SUITE_P(
    Cases, AutoGrow,
    ::testing::Values(TGrowCase{"WrappedLabel", retLabel, true, true, "a\nb\nc", 51},
                      TGrowCase{"WrappedEdit", retEdit, true, true, "a\nb\nc", 51},
                      TGrowCase{"UnwrappedLabel", retLabel, false, true, "a\nb\nc", 30},
                      TGrowCase{"Memo", retMemo, true, true, "a\nb\nc", 30},
                      TGrowCase{"NoAutoGrow", retLabel, true, false, "a\nb\nc", 30},
                      TGrowCase{"ShorterThanStored", retLabel, true, true, "one line", 30},
                      TGrowCase{"EmptyText", retLabel, true, true, "", 30}),
    [](const ::testing::TestParamInfo<TGrowCase>& I) { return I.param.Name; });

TEST(BandWalker, CountingPassCountsGrownBands) {
  for (bool Grow : {false, true}) {
    TReportPage Page;
    SmallPage(Page);
    TReportBand& B = AddBand(Page, btPageBody, 20);
    B.AutoGrow = Grow;
    AddLabel(B, std::string(14, '\n')).WordWrap = true;  // 15 lines: 180 points
    AddBand(Page, btPageBody, 10);
    TReportEngine E;
    auto Canvas = std::make_shared<TTestCanvas>();
    EXPECT_EQ(E.RunPass(Page, Canvas, CountPass()), Grow ? 2 : 1);
    EXPECT_TRUE(Canvas->Calls.empty());
  }
}

// ---- Page headers and footers ----

TEST(BandWalker, PageFootersShareOneLineAndShowTheMasterRecord) {
  auto Orders = Numbers("Orders", 10);
  TReportPage Page;
  SmallPage(Page);
  TReportBand& H = AddBand(Page, btPageHeader, 20);
  H.PrintOnFirstPage = false;
  AddLabel(H, "PH [N]");
  AddLabel(AddBand(Page, btPageFooter, 20), "PF [N]");
  AddLabel(AddBand(Page, btPageFooter, 15), "PF2 [PageNo]");
  AddLabel(AddBand(Page, btMasterData, 30, "Orders"), "M[N]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}});
  // Footers take 35 points: the body ends at 155, four records a page. Footers and headers
  // show the record that caused the break; the last footer the last record.
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 3);
  EXPECT_EQ(Canvas->TextsOnPage(1), (std::vector<std::string>{"M1", "M2", "M3", "M4", "PF 5", "PF2 1"}));
  EXPECT_EQ(Canvas->TextsOnPage(2), (std::vector<std::string>{"PH 5", "M5", "M6", "M7", "M8", "PF 9", "PF2 2"}));
  EXPECT_EQ(Canvas->TextsOnPage(3), (std::vector<std::string>{"PH 9", "M9", "M10", "PF 10", "PF2 3"}));
  EXPECT_EQ(PlaceOf(*Canvas, "PF 5"), (TPlace{1, 155}));
  EXPECT_EQ(PlaceOf(*Canvas, "PF2 1"), (TPlace{1, 155}));
  EXPECT_EQ(PlaceOf(*Canvas, "M5"), (TPlace{2, 30}));
}

TEST(BandWalker, AHeaderHiddenOnTheFirstPageIsStillReservedWhenCounting) {
  auto Orders = Numbers("Orders", 11);
  TReportPage Page;
  SmallPage(Page);
  TReportBand& H = AddBand(Page, btPageHeader, 30);
  H.PrintOnFirstPage = false;
  AddLabel(H, "HDR");
  AddLabel(AddBand(Page, btMasterData, 30, "Orders"), "M[N]");
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  auto Counting = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Counting, CountPass()), 3);  // 5 + 5 + 1 records
  auto Canvas = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass(3, "3")), 2);  // 6 + 5 records
  EXPECT_EQ(PagesOf(*Canvas, "HDR"), std::vector<int>{2});
  EXPECT_EQ(PlaceOf(*Canvas, "M1"), (TPlace{1, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "M6"), (TPlace{1, 160}));
  EXPECT_EQ(PlaceOf(*Canvas, "M7"), (TPlace{2, 40}));
}

struct TParityCase {
  bool First, Odd, Even;
  int32_t StartPage;
  std::vector<int> Shown;  // canvas pages (1-based) showing the header
};

class PageParity : public ::testing::TestWithParam<TParityCase> {};

TEST_P(PageParity, HeadersFollowTheParityFlags) {
  const TParityCase& C = GetParam();
  auto Orders = Numbers("Orders", 4);
  TReportPage Page;
  SmallPage(Page);
  Page.StartPageNumber = C.StartPage;
  TReportBand& H = AddBand(Page, btPageHeader, 20);
  H.PrintOnFirstPage = C.First;
  H.PrintOnOddPages = C.Odd;
  H.PrintOnEvenPages = C.Even;
  AddLabel(H, "PH");
  AddLabel(AddBand(Page, btMasterData, 160, "Orders"), "M[N]");
  TReportEngine E;
  auto Canvas = WithSources(E, {{"Orders", Orders.get()}});
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), C.StartPage + 3);
  EXPECT_EQ(Canvas->PagesBegun, 4);
  EXPECT_EQ(PagesOf(*Canvas, "PH"), C.Shown);
  // A hidden header takes no room.
  for (int P = 1; P <= 4; ++P) {
    const bool Shown = std::find(C.Shown.begin(), C.Shown.end(), P) != C.Shown.end();
    EXPECT_EQ(PlaceOf(*Canvas, "M" + std::to_string(P)), (TPlace{P, Shown ? 30.f : 10.f}));
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, PageParity,
                         ::testing::Values(TParityCase{true, true, true, 1, {1, 2, 3, 4}},
                                           TParityCase{false, true, true, 1, {2, 3, 4}},
                                           TParityCase{true, false, true, 1, {2, 4}},
                                           TParityCase{true, true, false, 1, {1, 3}},
                                           TParityCase{true, false, false, 1, {}},
                                           TParityCase{true, false, true, 2, {1, 3}},
                                           TParityCase{false, false, true, 2, {3}},
                                           // Page -1 is not odd by the signed remainder.
                                           TParityCase{true, false, false, -1, {1}}));

// ---- Passes ----

TReportPage& NumberedReport(TReportPage& Page, int32_t StartPage) {
  SmallPage(Page);
  Page.StartPageNumber = StartPage;
  AddLabel(AddBand(Page, btTitle, 20), "Title");
  AddLabel(AddBand(Page, btPageHeader, 10), "Head");
  TReportBand& F = AddBand(Page, btPageFooter, 20);
  AddLabel(F, "[PageNo]/[TotalPages]");
  AddLabel(F, "{TotalPages}");
  TReportBand& M = AddBand(Page, btMasterData, 30, "Orders");
  AddLabel(M, "M[N]");
  AddElement(M, retRectangle, 0, 0, 50, 10).FillColor = 0xFF00FF00;
  AddLabel(AddBand(Page, btSummary, 10), "End");
  return Page;
}

TEST(RenderPass, CountingDrawsNothingAndFiresNothing) {
  auto Orders = Numbers("Orders", 15);
  TReportPage Page;
  NumberedReport(Page, 1);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  int Events = 0;
  E.OnBeforePage = [&](TReportEngine&, int32_t, int32_t, bool&) { ++Events; };
  E.OnPageRendered = [&](TReportEngine&, int32_t, int32_t) { ++Events; };
  auto Canvas = std::make_shared<TTestCanvas>();
  TRenderPass Pass = CountPass();
  Pass.FireEvents = true;
  // Page 1: title and header leave 130 points (4 records); later pages 150 (5 records).
  EXPECT_EQ(E.RunPass(Page, Canvas, Pass), 4);
  EXPECT_TRUE(Canvas->Calls.empty());
  EXPECT_EQ(Events, 0);
}

TEST(RenderPass, TotalPagesIsTheLastPageNumberWhenCountedFirst) {
  auto Orders = Numbers("Orders", 12);
  TReportPage Page;
  NumberedReport(Page, 5);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  auto Counting = std::make_shared<TTestCanvas>();
  const int32_t Total = E.RunPass(Page, Counting, CountPass());
  ASSERT_EQ(Total, 7);  // three pages numbered 5, 6, 7
  auto Canvas = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass(Total, std::to_string(Total))), 7);
  EXPECT_EQ(Canvas->PagesBegun, 3);
  EXPECT_EQ(Canvas->TextsOnPage(1).back(), "7");
  EXPECT_EQ(PagesOf(*Canvas, "5/7"), std::vector<int>{1});
  EXPECT_EQ(PagesOf(*Canvas, "6/7"), std::vector<int>{2});
  EXPECT_EQ(PagesOf(*Canvas, "7/7"), std::vector<int>{3});
  EXPECT_EQ(Canvas->CountText("7"), 3);
  EXPECT_EQ(E.GetVariable("PageNo"), "7");
  // Every page is opened at the page's size and closed.
  for (const TCall& C : Canvas->OfKind(TKind::BeginPage)) EXPECT_EQ(C.P1, (TPointF{400, 200}));
  EXPECT_EQ(Canvas->OfKind(TKind::EndPage).size(), 3u);
}

TEST(RenderPass, PageEventsFireOnlyWhenAsked) {
  auto Orders = Numbers("Orders", 15);
  for (bool Fire : {false, true}) {
    TReportPage Page;
    NumberedReport(Page, 1);
    TReportEngine E;
    E.SetDataSource("Orders", Orders.get());
    std::vector<std::string> Log;
    E.OnBeforePage = [&](TReportEngine& S, int32_t P, int32_t T, bool&) {
      EXPECT_EQ(&S, &E);
      Log.push_back("before " + std::to_string(P) + "/" + std::to_string(T));
    };
    E.OnPageRendered = [&](TReportEngine&, int32_t P, int32_t T) {
      Log.push_back("rendered " + std::to_string(P) + "/" + std::to_string(T));
    };
    TRenderPass Pass = DrawPass(4, "4");
    Pass.FireEvents = Fire;
    EXPECT_EQ(E.RunPass(Page, std::make_shared<TTestCanvas>(), Pass), 4);
    if (!Fire) {
      EXPECT_TRUE(Log.empty());
      continue;
    }
    EXPECT_EQ(Log, (std::vector<std::string>{"before 1/4", "rendered 1/4", "before 2/4", "rendered 2/4", "before 3/4",
                                             "rendered 3/4", "before 4/4", "rendered 4/4"}));
  }
}

TEST(RenderPass, CancellingBeforeAPageStopsTheRun) {
  auto Orders = Numbers("Orders", 15);
  TReportPage Page;
  NumberedReport(Page, 1);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  std::vector<int32_t> Asked;
  E.OnBeforePage = [&](TReportEngine&, int32_t P, int32_t, bool& Cancel) {
    Asked.push_back(P);
    Cancel = P == 2;
  };
  auto Canvas = std::make_shared<TTestCanvas>();
  TRenderPass Pass = DrawPass(4, "4");
  Pass.FireEvents = true;
  try {
    E.RunPass(Page, Canvas, Pass);
    ADD_FAILURE() << "the run was not cancelled";
  } catch (const EReportCancelled& X) {
    EXPECT_STREQ(X.what(), "Rapor kullanici tarafindan durduruldu");
  }
  EXPECT_EQ(Asked, (std::vector<int32_t>{1, 2}));
  EXPECT_EQ(Canvas->PagesBegun, 1);
  EXPECT_TRUE(Canvas->TextsOnPage(2).empty());

  // The same handler is not asked when events are off.
  Asked.clear();
  auto Quiet = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Quiet, DrawPass(4, "4")), 4);
  EXPECT_TRUE(Asked.empty());
}

TEST(RenderPass, AStopRequestEndsEvenACountingPassAtItsNextPage) {
  auto Orders = Numbers("Orders", 15);
  TReportPage Page;
  NumberedReport(Page, 1);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  E.RequestCancel();
  auto Canvas = std::make_shared<TTestCanvas>();
  EXPECT_THROW(E.RunPass(Page, Canvas, CountPass()), EReportCancelled);
  E.ClearCancel();
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass(4, "4")), 4);
}

}  // namespace
}  // namespace quillet::enginetest
