// The output drivers as seen from outside: what they write, which events fire with which page
// numbers, and what a failed or cancelled run leaves behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "engine/report_engine.h"
#include "engine_test_support.h"
#include "registration/rpt_data_set.h"

namespace quillet::enginetest {
namespace {

// A report of filled rectangles only (no fonts needed): one 30-point master band per record of
// "Orders" on the small page, six records a page.
void ShapesReport(TReportPage& Page, int32_t StartPage, const std::string& Source = "Orders") {
  SmallPage(Page);
  Page.StartPageNumber = StartPage;
  TReportBand& M = AddBand(Page, btMasterData, 30, Source);
  AddElement(M, retRectangle, 0, 0, 50, 20).FillColor = 0xFF336699;
}

struct TEventLog {
  std::vector<std::string> Lines;
  void Attach(TReportEngine& E) {
    E.OnBeforeRender = [this](TReportEngine&) { Lines.push_back("begin"); };
    E.OnAfterRender = [this](TReportEngine&) { Lines.push_back("end"); };
    E.OnPageRendered = [this](TReportEngine&, int32_t P, int32_t T) {
      Lines.push_back(std::to_string(P) + "/" + std::to_string(T));
    };
  }
};

bool StartsWithPdfHeader(const std::string& File) {
  std::ifstream In(File, std::ios::binary);
  char Head[5] = {};
  In.read(Head, 5);
  return std::string(Head, 5) == "%PDF-";
}

TEST(OutputDrivers, ExportWritesThePdfAndNumbersPagesFromTheStartNumber) {
  test::TTempDir Dir;
  auto Orders = Numbers("Orders", 14);  // 6 + 6 + 2 records
  TReportPage Page;
  ShapesReport(Page, 5);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  TEventLog Log;
  Log.Attach(E);
  std::vector<std::string> Before;
  E.OnBeforePage = [&](TReportEngine&, int32_t P, int32_t T, bool&) {
    Before.push_back(std::to_string(P) + "/" + std::to_string(T));
  };
  E.ExportPDF(Page, Dir.File("out.pdf"));
  // The total is the number of the last page.
  EXPECT_EQ(Log.Lines, (std::vector<std::string>{"begin", "5/7", "6/7", "7/7", "end"}));
  EXPECT_EQ(Before, (std::vector<std::string>{"5/7", "6/7", "7/7"}));
  EXPECT_TRUE(StartsWithPdfHeader(Dir.File("out.pdf")));
  EXPECT_EQ(Dir.Count(), 1u);
  // The driver adds the system variables it needs.
  EXPECT_EQ(E.GetVariable("TotalPages"), "7");
}

TEST(OutputDrivers, ExportFindsDataSetLinksBesideTheEngine) {
  test::TTempDir Dir;
  auto Orders = Numbers("Orders", 7);
  TComponent Form;
  TReportEngine E(&Form);
  TRptDataSet Link(&Form);
  Link.SetName("lnkOrders");
  Link.SetDataSet(Orders.get());
  TReportPage Page;
  ShapesReport(Page, 1, "lnkOrders");
  TEventLog Log;
  Log.Attach(E);
  E.ExportPDF(Page, Dir.File("out.pdf"));
  EXPECT_EQ(Log.Lines, (std::vector<std::string>{"begin", "1/2", "2/2", "end"}));
  EXPECT_EQ(E.GetDataSource("lnkOrders"), Orders.get());
}

// Whatever ran before on the engine, a pass starts with every active set on its first record
// (masters before their details), no record counted and no master: the title reads the first
// customer and that customer's first order, in every pass, and the drawing matches the count.
TEST(OutputDrivers, EveryPassStartsFromTheFirstRecords) {
  auto Customers = MakeSet("Customers", {{"id", ftLargeint}, {"name", ftString}},
                           {{I(1), S("Anka")}, {I(2), S("Birlik")}, {I(3), S("Cinar")}});
  auto Orders = MakeSet("Orders", {{"id", ftLargeint}, {"cid", ftLargeint}},
                        {{I(10), I(1)}, {I(11), I(1)}, {I(20), I(2)}, {I(30), I(3)}});
  Orders->SetMaster(Customers.get(), "cid", "id");
  auto Closed = std::make_unique<TMemDataSet>("Closed");
  Closed->AddField("x", ftLargeint);
  TReportPage Page;
  SmallPage(Page);
  AddLabel(AddBand(Page, btTitle, 10), "T [Customers.name] [Orders.id] R=[RecordNo]");
  AddLabel(AddBand(Page, btMasterData, 10, "Customers"), "M [name] [RecordNo]");
  AddLabel(AddBand(Page, btDetailData, 10, "Orders"), "D [Orders.id]");
  AddLabel(AddBand(Page, btPageFooter, 10), "F [PageNo]/[TotalPages] [name]");
  TReportEngine E;
  // Registered in an order that puts the detail before its master.
  E.SetDataSource("AOrders", Orders.get());
  E.SetDataSource("Customers", Customers.get());
  E.SetDataSource("Closed", Closed.get());
  E.SetDataSource(Customers.get());
  E.SetDataSource("Orders", Orders.get());
  for (int Run = 0; Run < 3; ++Run) {
    auto Canvas = std::make_shared<TTestCanvas>();
    const int32_t Pages = Run == 0 ? E.CountReportPages(Page, Canvas) : E.RunPass(Page, Canvas, DrawPass(3, "3"));
    EXPECT_EQ(Pages, 3);  // a page per customer
    if (Run == 0) continue;
    EXPECT_EQ(Canvas->Texts(),
              (std::vector<std::string>{"T Anka 10 R=0", "M Anka 1", "D 10", "D 11", "F 1/3 Birlik", "M Birlik 2",
                                        "D 20", "F 2/3 Cinar", "M Cinar 3", "D 30", "F 3/3 Cinar"}));
    EXPECT_FALSE(Closed->Active());
  }
}

TEST(OutputDrivers, SeveralReportsShareOnePdfAndKeepTheirOwnNumbers) {
  test::TTempDir Dir;
  auto Orders = Numbers("Orders", 8);  // two pages
  {
    TReportPage A;
    ShapesReport(A, 1);
    A.SaveToFile(Dir.File("a.qdr"));
    TReportPage B;
    ShapesReport(B, 10);
    B.SaveToFile(Dir.File("b.qdr"));
  }
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  TEventLog Log;
  Log.Attach(E);
  E.ExportPDF(std::vector<std::string>{Dir.File("a.qdr"), Dir.File("b.qdr")}, Dir.File("both.pdf"));
  EXPECT_EQ(Log.Lines, (std::vector<std::string>{"begin", "1/2", "2/2", "10/11", "11/11", "end"}));
  EXPECT_TRUE(StartsWithPdfHeader(Dir.File("both.pdf")));
  EXPECT_EQ(E.ReportFile(), Dir.File("b.qdr"));
}

TEST(OutputDrivers, AReportFileNameBecomesTheReportFile) {
  test::TTempDir Dir;
  auto Orders = Numbers("Orders", 1);
  {
    TReportPage A;
    ShapesReport(A, 1);
    A.SaveToFile(Dir.File("a.qdr"));
  }
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  E.ExportPDF(Dir.File("a.qdr"), Dir.File("a.pdf"));
  EXPECT_EQ(E.ReportFile(), Dir.File("a.qdr"));
  EXPECT_TRUE(StartsWithPdfHeader(Dir.File("a.pdf")));
  // The parameterless form runs the report file again.
  E.ExportPDF(Dir.File("again.pdf"));
  EXPECT_TRUE(StartsWithPdfHeader(Dir.File("again.pdf")));
}

TEST(OutputDrivers, AnEmptyFileListWritesNothing) {
  test::TTempDir Dir;
  TReportEngine E;
  TEventLog Log;
  Log.Attach(E);
  EXPECT_NO_THROW(E.ExportPDF(std::vector<std::string>{}, Dir.File("none.pdf")));
  EXPECT_EQ(Dir.Count(), 0u);
  EXPECT_TRUE(Log.Lines.empty());
}

TEST(OutputDrivers, ExportWithoutReportFileRaises) {
  test::TTempDir Dir;
  TReportEngine E;
  try {
    E.ExportPDF(Dir.File("out.pdf"));
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& X) {
    EXPECT_STREQ(X.what(), "ReportEngine: ReportFile property is empty.");
  }
  EXPECT_EQ(Dir.Count(), 0u);
}

TEST(OutputDrivers, ACancelledExportLeavesNothingBehind) {
  test::TTempDir Dir;
  auto Orders = Numbers("Orders", 14);
  TReportPage Page;
  ShapesReport(Page, 1);
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  TEventLog Log;
  Log.Attach(E);
  E.OnBeforePage = [](TReportEngine&, int32_t P, int32_t, bool& Cancel) { Cancel = P == 2; };
  EXPECT_THROW(E.ExportPDF(Page, Dir.File("out.pdf")), EReportCancelled);
  EXPECT_EQ(Dir.Count(), 0u);
  EXPECT_EQ(Log.Lines, (std::vector<std::string>{"begin", "1/3"}));
}

TEST(OutputDrivers, AFailedLoadFiresNoAfterRenderAndWritesNothing) {
  test::TTempDir Dir;
  Dir.Write("bad.qdr", "this is not a report");
  TReportEngine E;
  TEventLog Log;
  Log.Attach(E);
  EXPECT_ANY_THROW(E.ExportPDF(Dir.File("bad.qdr"), Dir.File("out.pdf")));
  EXPECT_ANY_THROW(E.ExportPDF(Dir.File("missing.qdr"), Dir.File("out.pdf")));
  EXPECT_EQ(Dir.Count(), 1u);  // only the bad report itself
  EXPECT_EQ(std::count(Log.Lines.begin(), Log.Lines.end(), "end"), 0);
}

TEST(OutputDrivers, CountingPagesGivesAtLeastOne) {
  auto Orders = Numbers("Orders", 13);  // 6 + 6 + 1 records
  TReportEngine E;
  E.SetDataSource("Orders", Orders.get());
  {
    TReportPage Empty;
    EXPECT_EQ(E.CountReportPages(Empty), 1);
    EXPECT_EQ(E.CountReportPages(Empty, std::make_shared<TTestCanvas>()), 1);
  }
  for (int32_t Start : {1, 5, -3}) {
    TReportPage Page;
    ShapesReport(Page, Start);
    auto Canvas = std::make_shared<TTestCanvas>();
    EXPECT_EQ(E.CountReportPages(Page, Canvas), 3) << Start;  // a count, not the last page number
    EXPECT_TRUE(Canvas->Calls.empty());
  }
  // A master whose source is missing produces no body at all.
  TReportPage Ghost;
  ShapesReport(Ghost, 1, "Ghost");
  EXPECT_EQ(E.CountReportPages(Ghost), 1);
}

}  // namespace
}  // namespace quillet::enginetest
