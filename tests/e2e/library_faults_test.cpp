// Faults the program cannot stage, through the library: a data set whose reading fails in the
// middle of the walk, a font file cut short or removed while the drawing pass uses it, and the
// page limit over several reports of one PDF.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "canvas/pdf_font.h"
#include "data/mem_data_set.h"
#include "e2e_support.h"
#include "engine/report_engine.h"

namespace quillet::e2e {
namespace {

// Records 1..Count; moving past record FailAt raises, as a file or connection that breaks would.
class TBreakingDataSet : public TMemDataSet {
 public:
  TBreakingDataSet(int Count, int FailAt) : TMemDataSet("Items"), FFailAt(FailAt) {
    AddField("id", ftLargeint);
    for (int i = 1; i <= Count; ++i) AppendRecord({TExprValue::FromInt(i)});
  }
  int Moves = 0;

 protected:
  bool DoFirst() override {
    FAt = 1;
    return TMemDataSet::DoFirst();
  }
  bool DoNext() override {
    ++Moves;
    if (++FAt > FFailAt) throw EQuilletError("Cannot read data set Items: connection reset", "items.db");
    return TMemDataSet::DoNext();
  }

 private:
  int FFailAt;
  int FAt = 1;
};

std::vector<std::string> Names(const fs::path& Dir) {
  std::vector<std::string> n;
  for (const auto& e : fs::directory_iterator(Dir)) n.push_back(e.path().filename().string());
  std::sort(n.begin(), n.end());
  return n;
}

TEST(LibraryFaults, DataSetFailsMidWalk) {
  for (const int failAt : {1, 70, 170}) {  // on the first page, on the second, on the last
    for (const bool oldFile : {false, true}) {
      SCOPED_TRACE("fails after record " + std::to_string(failAt) + (oldFile ? ", an old PDF" : ""));
      test::TTempDir dir;
      const std::string report =
          dir.Write("list.qdr", Report({Band("MasterData", 14, {Label("r", 0, 0, 300, "Item [id]")}, "Items")}));
      if (oldFile) dir.Write("out.pdf", "the old file");
      const std::vector<std::string> before = Names(dir.Path);
      TBreakingDataSet items(180, failAt);
      items.Open();
      TReportEngine engine;
      engine.SetDataSource("Items", &items);
      try {
        engine.ExportPDF(report, dir.File("out.pdf"));
        ADD_FAILURE() << "the run did not fail";
      } catch (const EQuilletError& e) {
        EXPECT_EQ(std::string(e.what()), "Cannot read data set Items: connection reset");
        EXPECT_EQ(e.FileName(), "items.db");
      }
      EXPECT_GT(items.Moves, 0);
      EXPECT_EQ(Names(dir.Path), before);
      if (oldFile) {
        EXPECT_EQ(ReadFile(dir.File("out.pdf")), "the old file");
      }
    }
  }
}

// The font file of a family is damaged from an OnBeforePage handler of the drawing pass, after the
// first page has drawn with it: the run goes on with the bytes it read, and a face first needed
// afterwards (the bold one, on page 3) is replaced with a warning. Never a crash.
TEST(LibraryFaults, FontFileChangesDuringTheRun) {
  const std::string source = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  if (!fs::exists(source)) GTEST_SKIP() << "DejaVu Sans is not installed";
  const struct {
    const char* Name;
    std::function<void(const fs::path&)> Damage;
  } cases[] = {
      {"cut short", [](const fs::path& F) { fs::resize_file(F, 100); }},
      {"removed", [](const fs::path& F) { fs::remove(F); }},
      {"overwritten with other bytes", [](const fs::path& F) { std::ofstream(F, std::ios::binary) << std::string(5000, 'x'); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    fs::create_directory(dir.Path / "fonts");
    const fs::path font = dir.Path / "fonts" / "Quillet Fragile.ttf";
    fs::copy_file(source, font);
    TJson plain = Label("p", 0, 0, 300, "Page [PageNo] plain");
    plain["fontName"] = "Quillet Fragile";
    TJson bold = Label("b", 0, 16, 300, "[IIF(PageNo = '3', 'Bold on page 3', '')]");
    bold["fontName"] = "Quillet Fragile", bold["fontBold"] = true;
    const std::string report = dir.Write("f.qdr", Report({Band("MasterData", 700, {plain, bold}, "Items")}));
    TBreakingDataSet items(3, 1000);
    items.Open();
    TReportEngine engine;
    engine.SetDataSource("Items", &items);
    engine.SetFontDirs({(dir.Path / "fonts").string()});
    int damagedOn = 0;
    engine.OnBeforePage = [&](TReportEngine&, int32_t Page, int32_t Total, bool&) {
      if (Page == 2 && Total == 3 && !damagedOn) {
        c.Damage(font);
        damagedOn = Page;
      }
    };
    ASSERT_NO_THROW(engine.ExportPDF(report, dir.File("out.pdf")));
    EXPECT_EQ(damagedOn, 2);
    EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
    const std::vector<std::string> pages = PdfPages(dir.File("out.pdf"));
    ASSERT_EQ(pages.size(), 3u);
    EXPECT_NE(pages[1].find("Page 2 plain"), std::string::npos);
    EXPECT_NE(pages[2].find("Bold on page 3"), std::string::npos);
    const std::string fonts = test::RunTool("pdffonts " + Quote(dir.File("out.pdf")));
    EXPECT_NE(fonts.find("DejaVuSans "), std::string::npos) << fonts;  // the plain face, as read
    ASSERT_EQ(engine.Warnings().size(), 1u);
    EXPECT_NE(engine.Warnings()[0].find("Font \"Quillet Fragile\" bold"), std::string::npos) << engine.Warnings()[0];
  }
}

// The page limit counts every report of one PDF, and a counting pass stops too.
TEST(LibraryFaults, PageLimitOverSeveralReports) {
  test::TTempDir dir;
  const std::string report =
      dir.Write("r.qdr", Report({Band("MasterData", 500, {Label("r", 0, 0, 300, "Item [id]")}, "Items")}));
  TBreakingDataSet items(4, 1000);  // four pages a report
  items.Open();
  TReportEngine engine;
  engine.SetDataSource("Items", &items);
  const struct {
    int64_t Limit;
    std::vector<std::string> Files;
    bool Fails;
  } cases[] = {{8, {report, report}, false}, {7, {report, report}, true}, {4, {report}, false}, {3, {report}, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.Files.size()) + " reports, limit " + std::to_string(c.Limit));
    engine.SetMaxPages(c.Limit);
    fs::remove(dir.File("out.pdf"));
    if (c.Fails) {
      try {
        engine.ExportPDF(c.Files, dir.File("out.pdf"));
        ADD_FAILURE() << "no limit";
      } catch (const EQuilletError& e) {
        EXPECT_EQ(std::string(e.what()), report + ": more than " + std::to_string(c.Limit) +
                                             " pages; stopped at the limit of pages per run");
      }
      EXPECT_FALSE(fs::exists(dir.File("out.pdf")));
    } else {
      engine.ExportPDF(c.Files, dir.File("out.pdf"));
      EXPECT_EQ(PdfPageCount(dir.File("out.pdf")), static_cast<int>(c.Limit));
    }
  }
  engine.SetMaxPages(3);
  TReportPage page;
  page.LoadFromFile(report);
  EXPECT_THROW(engine.CountReportPages(page), EQuilletError);
}

}  // namespace
}  // namespace quillet::e2e
