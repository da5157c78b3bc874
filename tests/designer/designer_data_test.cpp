// The data of the designer's command line: opened as quillet render opens it, described for the
// data tree, and registered on the engine a preview makes (checked on the PDF that engine writes).
#include <gtest/gtest.h>

#include "../support/test_support.h"
#include "base/error.h"
#include "designer/command_line.h"
#include "designer/designer_data.h"

namespace quillet::designer {
namespace {

const std::string kExamples = std::string(QUILLET_SOURCE_DIR) + "/examples/render/";

TEST(DesignerData, OpensDescribesAndRegistersTheCommandLinesData) {
  const TDesignerArgs args = ParseDesignerArgs({kExamples + "orders.qdr", "/preview", "--data",
                                                "Orders=" + kExamples + "orders.csv", "--var", "PageNo=7"});
  TDesignerData data(args.Data);
  EXPECT_FALSE(data.Empty());
  data.Open();
  EXPECT_TRUE(data.IsOpen());
  ASSERT_EQ(data.Warnings().size(), 1u);  // the --var the built-in page number shadows
  EXPECT_NE(data.Warnings()[0].find("PageNo"), std::string::npos);
  const std::vector<TDataSourceSchema> expected = {
      {"Orders", {"id", "customer_id", "region", "order_date", "amount"}}};
  EXPECT_EQ(data.Schema(), expected);

  // A preview's own engine, as the window's F5 makes one: it sees the sets and the variables.
  TReportEngine preview;
  EXPECT_EQ(preview.GetDataSource("Orders"), nullptr);
  data.RegisterOn(preview);
  EXPECT_EQ(preview.GetDataSource("Orders"), data.Engine().GetDataSource("Orders"));
  EXPECT_NE(preview.GetDataSource("Orders"), nullptr);
  EXPECT_EQ(preview.DataSource(), preview.GetDataSource("Orders"));
  test::TTempDir dir;
  preview.ExportPDF(kExamples + "orders.qdr", dir.File("orders.pdf"));
  if (!test::HaveTool("pdftotext")) GTEST_SKIP() << "pdftotext not found (Debian package poppler-utils)";
  const std::string text = test::RunTool("pdftotext -layout " + dir.File("orders.pdf") + " -");
  EXPECT_NE(text.find("1,050.00"), std::string::npos) << text;  // the first order of orders.csv
}

TEST(DesignerData, NoOptionsNothingToOpenAndAMissingFileIsNamed) {
  TDesignerData none;
  EXPECT_TRUE(none.Empty());
  none.Open();
  EXPECT_TRUE(none.Schema().empty());

  TDesignerData missing(ParseDesignerArgs({"r.qdr", "--data", "A=/nonexistent/a.csv"}).Data);
  try {
    missing.Open();
    FAIL() << "opened";
  } catch (const EQuilletError& e) {
    EXPECT_NE((std::string(e.what()) + e.FileName()).find("/nonexistent/a.csv"), std::string::npos) << e.what();
  }
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_THROW(TDesignerData(ParseDesignerArgs({"--fonts", "/nonexistent"}).Data), EQuilletError);
}

}  // namespace
}  // namespace quillet::designer
