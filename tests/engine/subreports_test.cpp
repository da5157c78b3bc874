// Subreports stamped into their rectangle or flowing with the page, and tables fed by a data
// source that continue over pages.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/report_engine.h"
#include "engine_test_support.h"

namespace quillet::enginetest {
namespace {

constexpr TAlphaColor TableInk = 0xFF112233;

TPlace PlaceX(const TTestCanvas& C, const std::string& Text, float& X) {
  auto Call = C.FindText(Text);
  X = Call ? Call->Rect.Left : -1;
  return Call ? TPlace{Call->Page, Call->Rect.Top} : TPlace{};
}

// ---- Static subreports ----

// Bands of 20 points: title, page body (never stamped), master, page header, page footer.
void WriteStaticSub(const std::string& File) {
  TReportPage Sub;
  AddLabel(AddBand(Sub, btTitle, 20), "S1");
  AddLabel(AddBand(Sub, btPageBody, 20), "SB");
  AddLabel(AddBand(Sub, btMasterData, 20, "Orders"), "S2 [N]");
  AddLabel(AddBand(Sub, btPageHeader, 20), "S3");
  AddLabel(AddBand(Sub, btPageFooter, 20), "S4");
  Sub.SaveToFile(File);
}

TEST(StaticSubreport, StampsBandsUntilTheElementHeightIsReached) {
  test::TTempDir Dir;
  WriteStaticSub(Dir.File("sub.qdr"));
  auto Orders = Numbers("Orders", 3);
  struct TCase {
    std::string ReportFile, SubFile;
    bool Drawn;
  };
  for (const TCase& C : {TCase{Dir.File("main.qdr"), "sub.qdr", true}, TCase{"", Dir.File("sub.qdr"), true},
                         TCase{Dir.File("main.qdr"), "missing.qdr", false}, TCase{"", "sub.qdr", false},
                         TCase{Dir.File("main.qdr"), "", false}}) {
    TReportPage Page;
    SmallPage(Page);
    TReportBand& B = AddBand(Page, btPageBody, 60);
    TReportElement& El = AddElement(B, retSubreport, 30, 5, 100, 50);
    El.SubReportFile = C.SubFile;
    AddLabel(AddBand(Page, btPageBody, 10), "AFTER");
    TReportEngine E;
    E.SetReportFile(C.ReportFile);
    E.SetDataSource(Orders.get());
    E.SetDataSource("Orders", Orders.get());
    auto Canvas = std::make_shared<TTestCanvas>();
    E.RunPass(Page, Canvas, DrawPass());
    float X = 0;
    EXPECT_EQ(PlaceX(*Canvas, "AFTER", X), (TPlace{1, 70}));
    EXPECT_EQ(X, 20);
    if (!C.Drawn) {
      EXPECT_EQ(Canvas->Texts(), std::vector<std::string>{"AFTER"}) << C.SubFile;
      continue;
    }
    // Running heights 20, 40, 60: the third band crosses the 50-point element and is the last.
    // Each band draws once against the outer record.
    EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"S1", "S2 1", "S3", "AFTER"})) << C.SubFile;
    EXPECT_EQ(PlaceX(*Canvas, "S1", X), (TPlace{1, 15}));
    EXPECT_EQ(X, 50);
    EXPECT_EQ(PlaceX(*Canvas, "S2 1", X), (TPlace{1, 35}));
    EXPECT_EQ(PlaceX(*Canvas, "S3", X), (TPlace{1, 55}));
    EXPECT_EQ(X, 50);
  }
}

// ---- Flowing subreports ----

TEST(FlowingSubreport, ContinuesOverOuterPagesWithTheirHeadersAndFooters) {
  test::TTempDir Dir;
  {
    TReportPage Sub;
    SmallPage(Sub, 100);  // the subreport's own page settings mean nothing here
    AddLabel(AddBand(Sub, btPageHeader, 50), "SUB HEADER");
    AddLabel(AddBand(Sub, btMasterData, 10, "Items"), "R[N]");
    AddBand(Sub, btDetailData, 0, "Nowhere");  // a detail does not start a page per record here
    AddLabel(AddBand(Sub, btSummary, 10), "SUM [SUM(N)]");
    Sub.SaveToFile(Dir.File("items.qdr"));
  }
  auto Items = Numbers("Items", 100);
  auto Orders = Numbers("Orders", 2);
  TReportPage Page;
  SmallPage(Page, 460);  // body from 30 to 430 between header and footer: 40 lines of 10
  AddLabel(AddBand(Page, btPageHeader, 20), "PH [PageNo]");
  AddLabel(AddBand(Page, btPageFooter, 20), "PF [PageNo]");
  TReportBand& Holder = AddBand(Page, btMasterData, 30, "Orders");  // not iterated
  AddLabel(Holder, "HOLD");
  TReportElement& El = AddElement(Holder, retSubreport, 15, 0, 200, 30);
  El.SubReportFlow = true;
  El.SubReportFile = "items.qdr";
  AddLabel(AddBand(Page, btSummary, 10), "END [PageNo]");

  TReportEngine E;
  E.SetReportFile(Dir.File("main.qdr"));
  E.SetDataSource("Items", Items.get());
  E.SetDataSource("Orders", Orders.get());
  auto Canvas = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 3);

  for (int P = 1; P <= 3; ++P) {
    EXPECT_EQ(PlaceOf(*Canvas, "PH " + std::to_string(P)), (TPlace{P, 10}));
    EXPECT_EQ(PlaceOf(*Canvas, "PF " + std::to_string(P)), (TPlace{P, 430}));
  }
  float X = 0;
  EXPECT_EQ(PlaceX(*Canvas, "R1", X), (TPlace{1, 30}));
  EXPECT_EQ(X, 35);
  EXPECT_EQ(PlaceOf(*Canvas, "R40"), (TPlace{1, 420}));
  EXPECT_EQ(PlaceOf(*Canvas, "R41"), (TPlace{2, 30}));
  EXPECT_EQ(PlaceOf(*Canvas, "R81"), (TPlace{3, 30}));
  EXPECT_EQ(PlaceOf(*Canvas, "R100"), (TPlace{3, 220}));
  EXPECT_EQ(PlaceX(*Canvas, "SUM 5050", X), (TPlace{3, 230}));
  EXPECT_EQ(X, 35);
  // The outer report continues below the subreport, back at its own left edge.
  EXPECT_EQ(PlaceX(*Canvas, "END 3", X), (TPlace{3, 240}));
  EXPECT_EQ(X, 20);
  // A subreport at the band's top leaves no strip above it: the holding band is not drawn.
  EXPECT_EQ(Canvas->CountText("HOLD"), 0);
  EXPECT_EQ(Canvas->CountText("SUB HEADER"), 0);
}

TEST(FlowingSubreport, OnlyTheStripAboveTheSubreportTakesRoom) {
  test::TTempDir Dir;
  {
    TReportPage Sub;
    AddLabel(AddBand(Sub, btPageBody, 10), "SUBLINE");
    Sub.SaveToFile(Dir.File("lines.qdr"));
  }
  TReportPage Page;
  SmallPage(Page);
  TReportBand& Holder = AddBand(Page, btPageBody, 100);
  AddLabel(Holder, "STRIP");
  AddLabel(Holder, "BELOW", 0, 50);
  TReportElement& El = AddElement(Holder, retSubreport, 0, 20, 200, 30);
  El.SubReportFlow = true;
  El.SubReportFile = "lines.qdr";
  AddLabel(AddBand(Page, btPageBody, 10), "NEXT");
  TReportEngine E;
  E.SetReportFile(Dir.File("main.qdr"));
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"STRIP", "BELOW", "SUBLINE", "NEXT"}));
  EXPECT_EQ(PlaceOf(*Canvas, "STRIP"), (TPlace{1, 10}));
  EXPECT_EQ(PlaceOf(*Canvas, "BELOW"), (TPlace{1, 60}));  // overlaps the subreport's output
  EXPECT_EQ(PlaceOf(*Canvas, "SUBLINE"), (TPlace{1, 30}));
  EXPECT_EQ(PlaceOf(*Canvas, "NEXT"), (TPlace{1, 40}));
}

TEST(FlowingSubreport, TheOuterTotalsSurviveTheSubreport) {
  test::TTempDir Dir;
  {
    TReportPage Sub;
    AddBand(Sub, btMasterData, 10, "Items");
    Sub.SaveToFile(Dir.File("items.qdr"));
  }
  auto Items = Numbers("Items", 5);
  auto Orders = Numbers("Orders", 3);
  TReportPage Page;
  SmallPage(Page);
  AddBand(Page, btMasterData, 10, "Orders");
  TReportElement& El = AddElement(AddBand(Page, btPageBody, 10), retSubreport, 0, 0, 100, 10);
  El.SubReportFlow = true;
  El.SubReportFile = "items.qdr";
  AddLabel(AddBand(Page, btSummary, 10), "[SUM(N)] [COUNT()]");
  TReportEngine E;
  E.SetReportFile(Dir.File("main.qdr"));
  E.SetDataSource("Items", Items.get());
  E.SetDataSource("Orders", Orders.get());
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(Canvas->Texts(), std::vector<std::string>{"6 3"});
}

// The expansion budget belongs to one drawing of one outer band: a subreport per record never
// adds up, while one band whose subreports expand past the budget stops the run.
TEST(Subreports, ExpansionsBeneathOneOuterBandAreCapped) {
  test::TTempDir Dir;
  TReportPage Leaf, Fan;  // the fan holds three leaves: four expansions with itself
  AddLabel(AddBand(Leaf, btSummary, 10), "LEAF");
  Leaf.SaveToFile(Dir.File("leaf.qdr"));
  TReportBand& FanBand = AddBand(Fan, btSummary, 10);
  for (int K = 0; K < 3; ++K) AddElement(FanBand, retSubreport, 0, 0, 10, 10).SubReportFile = "leaf.qdr";
  Fan.SaveToFile(Dir.File("fan.qdr"));
  const struct {
    const char* File;
    int64_t Limit;
    int Leaves;  // -1: the run stops
  } cases[] = {{"leaf.qdr", 1, 50}, {"fan.qdr", 4, 150}, {"fan.qdr", 3, -1}};
  for (const auto& C : cases) {
    auto Orders = Numbers("Orders", 50);
    TReportPage Page;
    SmallPage(Page, 2000);
    AddElement(AddBand(Page, btMasterData, 10, "Orders"), retSubreport, 0, 0, 10, 10).SubReportFile = C.File;
    TReportEngine E;
    E.SetReportFile(Dir.File("main.qdr"));
    E.SetDataSource("Orders", Orders.get());
    E.SetSubreportExpansionLimit(C.Limit);
    auto Canvas = std::make_shared<TTestCanvas>();
    try {
      E.RunPass(Page, Canvas, DrawPass());
      EXPECT_EQ(Canvas->CountText("LEAF"), C.Leaves) << C.File;
    } catch (const EQuilletError& Err) {
      EXPECT_EQ(C.Leaves, -1) << Err.what();
      EXPECT_EQ(std::string(Err.what()), "Subreport nesting too large in " + Dir.File("leaf.qdr"));
    }
  }
}

// ---- Data tables ----

std::unique_ptr<TMemDataSet> OrdersOf(int Count) {
  std::vector<std::vector<TExprValue>> Rows;
  for (int K = 1; K <= Count; ++K) Rows.push_back({S("n" + std::to_string(K)), I(10 * K)});
  return MakeSet("Orders", {{"Name", ftString}, {"Amount", ftLargeint}}, Rows);
}

TReportElement& AddDataTable(TReportBand& Band, float Top, float Height) {
  TReportElement& El = AddElement(Band, retTable, 5, Top, 100, Height);
  El.DataField = "Orders";
  El.Rows = 3;
  El.Cols = 2;
  El.CellTexts = {"Name", "Amount", "ignored", "ignored"};
  El.ColFields = {"Name", "Total: [Amount]"};
  El.StrokeColor = TableInk;
  return El;
}

std::vector<TCall> Outlines(const TTestCanvas& C) {
  std::vector<TCall> Out;
  for (const TCall& Call : C.OfKind(TKind::StrokeRect))
    if (Call.Color == TableInk) Out.push_back(Call);
  return Out;
}

TEST(DataTable, NeedingTwoAndAHalfPagesRepeatsItsHeaderOnEach) {
  auto Orders = OrdersOf(20);
  TReportPage Page;
  SmallPage(Page);
  AddDataTable(AddBand(Page, btPageBody, 0), 0, 60);  // 20-point rows
  AddLabel(AddBand(Page, btSummary, 10), "END [COUNT()]");
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());

  auto Counting = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Counting, CountPass()), 3);
  EXPECT_TRUE(Counting->Calls.empty());

  auto Canvas = std::make_shared<TTestCanvas>();
  EXPECT_EQ(E.RunPass(Page, Canvas, DrawPass()), 3);
  // 180 points a page: the header and 8 rows, twice, then the header and 4 rows.
  const auto Tables = Outlines(*Canvas);
  ASSERT_EQ(Tables.size(), 3u);
  const TRectF Want[] = {{25, 10, 125, 190}, {25, 10, 125, 190}, {25, 10, 125, 110}};
  for (int K = 0; K < 3; ++K) {
    EXPECT_EQ(Tables[K].Page, K + 1);
    EXPECT_EQ(Tables[K].Rect, Want[K]);
  }
  const std::vector<std::string> Page1 = Canvas->TextsOnPage(1);
  ASSERT_EQ(Page1.size(), 18u);
  EXPECT_EQ((std::vector<std::string>(Page1.begin(), Page1.begin() + 4)),
            (std::vector<std::string>{"Name", "Amount", "n1", "Total: 10"}));
  EXPECT_EQ(Page1.back(), "Total: 80");
  const std::vector<std::string> Page3 = Canvas->TextsOnPage(3);
  EXPECT_EQ((std::vector<std::string>(Page3.begin(), Page3.begin() + 4)),
            (std::vector<std::string>{"Name", "Amount", "n17", "Total: 170"}));
  EXPECT_EQ(Canvas->CountText("Name"), 3);
  // Table records are not totalled; the report continues below the table.
  EXPECT_EQ(PlaceOf(*Canvas, "END 0"), (TPlace{3, 110}));
}

TEST(DataTable, ZeroHeightMeansSixteenPointRowsBelowTheStripAboveIt) {
  auto Orders = OrdersOf(3);
  TReportPage Page;
  SmallPage(Page);
  TReportBand& B = AddBand(Page, btPageBody, 0);
  AddLabel(B, "CAPTION");
  TReportElement& El = AddDataTable(B, 30, 0);
  El.ColFields = {"Amount", "[Name]!"};
  AddLabel(AddBand(Page, btPageBody, 10), "END");
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  auto Canvas = std::make_shared<TTestCanvas>();
  E.RunPass(Page, Canvas, DrawPass());
  EXPECT_EQ(PlaceOf(*Canvas, "CAPTION"), (TPlace{1, 10}));
  const auto Tables = Outlines(*Canvas);
  ASSERT_EQ(Tables.size(), 1u);
  EXPECT_EQ(Tables[0].Rect, (TRectF{25, 40, 125, 40 + 4 * 16}));
  EXPECT_EQ(Canvas->Texts(), (std::vector<std::string>{"CAPTION", "Name", "Amount", "10", "n1!", "20", "n2!", "30",
                                                       "n3!", "END"}));
  EXPECT_EQ(PlaceOf(*Canvas, "END"), (TPlace{1, 104}));
}

TEST(DataTable, WithoutRecordsOrSourceNothingIsDrawn) {
  struct TCase {
    std::string Source;
    int Records;
  };
  for (const TCase& C : {TCase{"Orders", 0}, TCase{"Missing", 5}}) {
    auto Orders = OrdersOf(C.Records);
    TReportPage Page;
    SmallPage(Page);
    AddDataTable(AddBand(Page, btPageBody, 0), 0, 60).DataField = C.Source;
    AddLabel(AddBand(Page, btPageBody, 10), "END");
    TReportEngine E;
    E.SetDataSource("Orders", Orders.get());
    auto Canvas = std::make_shared<TTestCanvas>();
    E.RunPass(Page, Canvas, DrawPass());
    EXPECT_EQ(Canvas->Drawing().size(), 1u) << C.Source;
    EXPECT_EQ(PlaceOf(*Canvas, "END"), (TPlace{1, 10})) << C.Source;
  }
}

TEST(DataTable, NeedsRoomForTheHeaderAndOneRowWithoutTolerance) {
  struct TCase {
    float Height;  // three rows
    TPlace Table;
  };
  // The title leaves 30 points: exactly two rows of 15 fit, two of 15.2 do not, even though an
  // ordinary band would be allowed the extra 0.4.
  for (TCase C : {TCase{45, {1, 160}}, TCase{45.6f, {2, 10}}}) {
    auto Orders = OrdersOf(1);
    TReportPage Page;
    SmallPage(Page);
    AddBand(Page, btTitle, 150);
    AddDataTable(AddBand(Page, btPageBody, 0), 0, C.Height);
    TReportEngine E;
    E.SetDataSource("Orders", Orders.get());
    auto Canvas = std::make_shared<TTestCanvas>();
    E.RunPass(Page, Canvas, DrawPass());
    const auto Tables = Outlines(*Canvas);
    ASSERT_EQ(Tables.size(), 1u);
    EXPECT_EQ((TPlace{Tables[0].Page, Tables[0].Rect.Top}), C.Table) << C.Height;
    EXPECT_NEAR(Tables[0].Rect.Bottom - Tables[0].Rect.Top, 2 * C.Height / 3, 1e-3);
  }
}

}  // namespace
}  // namespace quillet::enginetest
