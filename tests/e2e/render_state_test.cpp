// quillet render over reports that used to go wrong quietly: state left over from the counting
// pass, subreports that include themselves or fan out without end, page bands inside flowing
// subreports, and tables too large to allocate. Read back with pdftotext and qpdf.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "e2e_support.h"

namespace quillet::e2e {
namespace {

TJson Subreport(const std::string& File, float Left, float Top, bool Flow) {
  return {{"type", "Subreport"}, {"name", "sub"},          {"left", Left},          {"top", Top},
          {"width", 200},        {"height", 14},           {"subReportFile", File}, {"subReportFlow", Flow}};
}

// The left edge of the first word Word on each page (-1 where there is none), from pdftotext -bbox.
std::vector<double> WordLefts(const std::string& Pdf, const std::string& Word) {
  const std::string html = test::RunTool("pdftotext -bbox " + Quote(Pdf) + " - 2>/dev/null");
  std::vector<double> lefts;
  for (size_t page = html.find("<page "), end; page != std::string::npos; page = html.find("<page ", end)) {
    end = html.find("</page>", page);
    const size_t w = html.find(">" + Word + "</word>", page);
    lefts.push_back(w < end ? std::atof(html.c_str() + html.rfind("xMin=\"", w) + 6) : -1);
  }
  return lefts;
}

// The title and the first page header see the first record in the drawing pass too, not the
// record the counting pass ended on; the linked detail follows its master's first record.
TEST(RenderState, TheTitleReadsTheFirstRecords) {
  test::TTempDir dir;
  dir.Write("customers.csv", "id,name\n1,Anka\n2,Birlik\n3,Cinar\n");
  dir.Write("orders.csv", "id,customer_id\n10,1\n11,1\n20,2\n30,3\n");
  dir.Write("list.qdr",
            Report({Band("Title", 20, {Label("t", 0, 0, 400, "Title [Customers.name] first [Orders.id] R=[RecordNo]")}),
                    Band("MasterData", 20, {Label("m", 0, 0, 400, "Customer [name]")}, "Customers"),
                    Band("DetailData", 20, {Label("d", 20, 0, 400, "Order [Orders.id]")}, "Orders"),
                    Band("PageFooter", 20, {Label("f", 0, 0, 400, "Page [PageNo] of [TotalPages]")})}));
  const TRun r = RunQuillet({"render", "list.qdr", "-o", "list.pdf", "--data", "Customers=customers.csv", "--data",
                             "Orders=orders.csv", "--link", "Orders.customer_id=Customers.id"},
                            dir.Str());
  ASSERT_EQ(r.Status, 0) << r.Err;
  const std::vector<std::string> pages = PdfPages(dir.File("list.pdf"));
  ASSERT_EQ(pages.size(), 3u);
  EXPECT_NE(pages[0].find("Title Anka first 10 R=0"), std::string::npos) << pages[0];
  EXPECT_NE(pages[2].find("Page 3 of 3"), std::string::npos) << pages[2];
}

// Three copies of a report inside itself, drawn as the report or as a flowing subreport of
// another, end at once, with one warning, and the run succeeds. A chain of files that
// fans out past the expansion limit (3^10 under one band) stops with one line and writes nothing.
TEST(RenderState, RunawaySubreports) {
  test::TTempDir dir;
  std::vector<TJson> self = {Label("s", 0, 0, 100, "Selfie")};
  for (int k = 0; k < 3; ++k) self.push_back(Subreport("self.qdr", 100.f * k, 14, false));
  dir.Write("self.qdr", Report({Band("Summary", 40, self)}));
  dir.Write("main.qdr", Report({Band("PageBody", 40, {Subreport("self.qdr", 0, 0, true)})}));
  TRun r;
  for (const char* file : {"self.qdr", "main.qdr"}) {
    r = RunQuillet({"render", file, "-o", "self.pdf"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_NE(r.Err.find("self.qdr includes itself"), std::string::npos) << r.Err;
    EXPECT_EQ(r.Err.find("includes itself"), r.Err.rfind("includes itself")) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File("self.pdf"), dir.File("raster")), "");
  }
  // Drawn flowing from another report, the file's copies inside it draw nothing.
  const std::string text = PdfPages(dir.File("self.pdf")).at(0);
  EXPECT_TRUE(text.find("Selfie") != std::string::npos && text.find("Selfie") == text.rfind("Selfie")) << text;
  for (int level = 0; level < 10; ++level) {
    const TJson sub = Subreport("level" + std::to_string(level + 1) + ".qdr", 0, 0, false);
    dir.Write("level" + std::to_string(level) + ".qdr", Report({Band("Summary", 14, {sub, sub, sub})}));
  }
  dir.Write("level10.qdr", Report({Band("Summary", 14, {Label("l", 0, 0, 100, "Leaf")})}));
  r = RunQuillet({"render", "level0.qdr", "-o", "fan.pdf"}, dir.Str());
  EXPECT_EQ(r.Status, 1) << r.Err;
  EXPECT_NE(r.Err.find("Subreport nesting too large in "), std::string::npos) << r.Err;
  EXPECT_EQ(LineCount(r.Err), 1u) << r.Err;
  EXPECT_TRUE(FilesEndingWith(dir.Path, ".pdf") == std::vector<std::string>{"self.pdf"});
}

// Page headers and footers on the pages a flowing subreport starts stand where they stand on its
// first page, and a static subreport inside the flowing one is offset by both lefts, once each.
TEST(RenderState, PageBandsInsideAFlowingSubreportKeepTheirPlace) {
  test::TTempDir dir;
  std::string csv = "n\n";
  for (int i = 1; i <= 120; ++i) csv += std::to_string(i) + "\n";
  dir.Write("items.csv", csv);
  dir.Write("inner.qdr", Report({Band("Summary", 14, {Label("i", 0, 0, 100, "Inner")})}));
  dir.Write("rows.qdr", Report({Band("MasterData", 20, {Label("r", 0, 0, 100, "Row [n]"), Subreport("inner.qdr", 50, 0, false)},
                                     "Items")}));
  dir.Write("main.qdr", Report({Band("PageHeader", 20, {Label("h", 0, 0, 200, "Heading [PageNo]")}),
                                Band("PageFooter", 20, {Label("f", 0, 0, 200, "Footing [PageNo]")}),
                                Band("PageBody", 20, {Subreport("rows.qdr", 150, 0, true)})}));
  const TRun r = RunQuillet({"render", "main.qdr", "-o", "flow.pdf", "--data", "Items=items.csv"}, dir.Str());
  ASSERT_EQ(r.Status, 0) << r.Err;
  const std::vector<double> heads = WordLefts(dir.File("flow.pdf"), "Heading"),
                            feet = WordLefts(dir.File("flow.pdf"), "Footing"),
                            rows = WordLefts(dir.File("flow.pdf"), "Row"), inner = WordLefts(dir.File("flow.pdf"), "Inner");
  ASSERT_GE(heads.size(), 3u);
  for (size_t p = 0; p < heads.size(); ++p) {
    SCOPED_TRACE(p + 1);
    EXPECT_NEAR(heads[p], heads[0], 0.01);
    EXPECT_NEAR(feet[p], heads[0], 0.01);
    EXPECT_NEAR(rows[p] - heads[p], 150, 0.01);
    EXPECT_NEAR(inner[p] - rows[p], 50, 0.01);
  }
}

// A table too large to allocate is refused at load, by render and check alike.
TEST(RenderState, OversizedTablesFailAtLoad) {
  test::TTempDir dir;
  dir.Write("grid.qdr", Report({Band("Summary", 40, {{{"type", "Table"}, {"name", "Grid"}, {"rows", 1000}, {"cols", 30000}}})}));
  for (const std::vector<std::string>& args : {std::vector<std::string>{"render", "grid.qdr", "-o", "grid.pdf"}, {"check", "grid.qdr"}}) {
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, 1) << r.Err;
    EXPECT_EQ(r.Out, "");
    EXPECT_NE(r.Err.find("grid.qdr"), std::string::npos) << r.Err;
    EXPECT_NE(r.Err.find("Table Grid: 1000x30000 cells exceed the limit of 100000"), std::string::npos) << r.Err;
    EXPECT_EQ(LineCount(r.Err), 1u) << r.Err;
  }
  EXPECT_TRUE(FilesEndingWith(dir.Path, ".pdf").empty());
}

// check points out a detail band without a data source after the listing; the report still
// checks out.
TEST(RenderState, CheckWarnsOfDetailBandsOverTheMainSet) {
  test::TTempDir dir;
  dir.Write("trap.qdr", Report({Band("Title", 20, {}), Band("MasterData", 20, {}, "Orders"), Band("DetailData", 20, {}),
                                Band("SubdetailData", 20, {}), Band("DetailData", 20, {}, "Items")}));
  const TRun r = RunQuillet({"check", "trap.qdr"}, dir.Str());
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Err, "");
  const std::string tail =
      "warning: trap.qdr: bands[2] (DetailData): detail band with an empty data source walks the main data set\n"
      "warning: trap.qdr: bands[3] (SubdetailData): sub-detail band with an empty data source walks the main data set\n";
  ASSERT_GE(r.Out.size(), tail.size());
  EXPECT_EQ(r.Out.substr(r.Out.size() - tail.size()), tail) << r.Out;
  EXPECT_NE(r.Out.find("Bands: 5"), std::string::npos);
}

}  // namespace
}  // namespace quillet::e2e
