// The designer's document against the report reader and writer: every edit undone gives back the
// saved bytes, files the writer wrote come back byte for byte, and the program's command line.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <QTreeWidget>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "../support/test_support.h"
#include "base/error.h"
#include "designer/command_line.h"
#include "designer/designer_window.h"
#include "designer/report_document.h"

namespace quillet::designer {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& P) {
  std::ifstream in(P, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

const fs::path kSource = QUILLET_SOURCE_DIR;

// Every edit kind on a real report: done, it changes the file; undone, the bytes are back; redone,
// they are the edit's again, and the file it saves reads back to the same bytes.
TEST(ReportDocument, EveryEditUndoesToTheSameBytes) {
  struct Case {
    const char* What;
    std::function<void(TReportDocument&)> Edit;
  };
  const std::vector<Case> cases = {
      {"page", [](TReportDocument& D) {
         TPageProps p = PagePropsOf(D.Page());
         p.PageWidth = 842;
         p.MarginLeft = 12.5f;
         p.DataSources["Extra"] = {"a", "b"};
         p.VisibleDataSources.push_back("Extra");
         p.PdfTitle = "Titel";
         D.SetPageProps(p);
       }},
      {"add band first", [](TReportDocument& D) { D.AddBand(0, btTitle); }},
      {"add band last", [](TReportDocument& D) { D.AddBand(D.Page().Bands.size(), btPageFooter); }},
      {"remove band", [](TReportDocument& D) { D.RemoveBand(1); }},
      {"move band down", [](TReportDocument& D) { D.MoveBand(0, D.Page().Bands.size() - 1); }},
      {"move band up", [](TReportDocument& D) { D.MoveBand(D.Page().Bands.size() - 1, 0); }},
      {"band members", [](TReportDocument& D) {
         TBandProps b = BandPropsOf(*D.Page().Bands[1]);
         b.Height = 33.3f;
         b.AutoGrow = !b.AutoGrow;
         b.DataSourceName = "Other";
         b.GroupCondition = "YEAR(order_date)";
         b.PrintOnEvenPages = false;
         D.SetBandProps(1, b);
       }},
      {"add element", [](TReportDocument& D) {
         TReportElement e;
         e.ElemType = retMemo;
         e.Name = "memNew";
         e.Text = "{\\rtf1 a\\par b}";
         D.AddElement(1, 0, e);
       }},
      {"delete element", [](TReportDocument& D) { D.RemoveElement(1, 0); }},
      {"change element", [](TReportDocument& D) {
         TReportElement e = *D.Page().Bands[1]->Elements[0];
         e.Left += 0.1f;
         e.FontBold = !e.FontBold;
         e.TextColor = 0xFF336699;
         e.Text = "[Orders.name]";
         D.ReplaceElement(1, 0, e, "change");
       }},
      {"element to another band", [](TReportDocument& D) { D.MoveElementToBand(1, 0, 0, 0, 3.7f); }},
      {"element within its band", [](TReportDocument& D) {
         D.MoveElementToBand(1, 0, 1, D.Page().Bands[1]->Elements.size(), 0.1f);
       }},
  };
  const std::string report = (kSource / "examples/shop/invoice.qdr").string();
  test::TTempDir dir;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    TReportDocument doc;
    doc.Open(report);
    ASSERT_GE(doc.Page().Bands.size(), 3u);
    ASSERT_FALSE(doc.Page().Bands[1]->Elements.empty());
    const std::string before = doc.FileBytes();
    c.Edit(doc);
    EXPECT_TRUE(doc.IsModified());
    const std::string after = doc.FileBytes();
    EXPECT_NE(after, before);
    doc.UndoStack().undo();
    EXPECT_EQ(doc.FileBytes(), before);
    EXPECT_FALSE(doc.IsModified());
    doc.UndoStack().redo();
    EXPECT_EQ(doc.FileBytes(), after);
    doc.SaveAs(dir.File("edited.qdr"));
    EXPECT_FALSE(doc.IsModified());
    EXPECT_EQ(ReadFile(dir.File("edited.qdr")), after);
    TReportDocument again;
    again.Open(dir.File("edited.qdr"));
    EXPECT_EQ(again.FileBytes(), after);
  }
}

// The demo's reports, kept in the writer's form, open and save byte for byte; the legacy layout
// saves as "2.0" and reads back to the same report.
TEST(ReportDocument, ExamplesSaveByteForByteAndLegacySavesAsCurrent) {
  test::TTempDir dir;
  int checked = 0;
  for (const char* folder : {"examples", "docs/examples"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kSource / folder)) {
      if (entry.path().extension() != ".qdr") continue;
      const std::string original = ReadFile(entry.path());
      TReportDocument doc;
      doc.Open(entry.path().string());
      doc.SaveAs(dir.File("copy.qdr"));
      const std::string saved = ReadFile(dir.File("copy.qdr"));
      if (original.find("\"version\": \"1.0\"") != std::string::npos) {
        EXPECT_NE(saved.find("\"version\": \"2.0\""), std::string::npos) << entry.path();
        TReportDocument reread;
        reread.Open(dir.File("copy.qdr"));
        ASSERT_EQ(reread.Page().Bands.size(), doc.Page().Bands.size());
        for (size_t b = 0; b < doc.Page().Bands.size(); ++b) {
          EXPECT_EQ(BandPropsOf(*reread.Page().Bands[b]), BandPropsOf(*doc.Page().Bands[b]));
          ASSERT_EQ(reread.Page().Bands[b]->Elements.size(), doc.Page().Bands[b]->Elements.size());
          for (size_t e = 0; e < doc.Page().Bands[b]->Elements.size(); ++e)
            EXPECT_TRUE(*reread.Page().Bands[b]->Elements[e] == *doc.Page().Bands[b]->Elements[e]);
        }
        EXPECT_EQ(PagePropsOf(reread.Page()), PagePropsOf(doc.Page()));
      } else if (std::string(folder) == "examples") {
        EXPECT_TRUE(saved == original) << entry.path() << " is not in the form the writer writes";
      } else {
        // The manual's examples are written by hand, shorter than the writer writes them: once
        // saved, they come back byte for byte.
        TReportDocument reread;
        reread.Open(dir.File("copy.qdr"));
        EXPECT_TRUE(reread.FileBytes() == saved) << entry.path();
      }
      ++checked;
    }
  }
  EXPECT_GE(checked, 10);
}

// A file the reader refuses opens nothing: the document keeps its report, its edits and its name.
TEST(ReportDocument, AFileThatFailsToLoadOpensNothing) {
  test::TTempDir dir;
  dir.Write("bad.qdr", "{\"version\": \"2.0\", \"bands\": [}");
  TReportDocument doc;
  doc.NewReport(dir.File("mine.qdr"));
  doc.AddBand(0, btTitle);
  const std::string bytes = doc.FileBytes();
  try {
    doc.Open(dir.File("bad.qdr"));
    FAIL() << "opened";
  } catch (const EQuilletError& e) {
    EXPECT_STREQ(e.what(), "Invalid report data");
    EXPECT_NE(e.Detail().find("line 1"), std::string::npos) << e.Detail();
  }
  EXPECT_EQ(doc.FileBytes(), bytes);
  EXPECT_EQ(doc.FileName(), dir.File("mine.qdr"));
  EXPECT_TRUE(doc.IsModified());
}

TEST(DesignerWindow, TitleNamesTheFileAndMarksChanges) {
  TReportDocument doc;
  TDesignerWindow window(doc);
  doc.Open((kSource / "examples/shop/invoice.qdr").string());
  EXPECT_EQ(window.windowTitle(), "invoice.qdr[*] - Formwright");
  EXPECT_FALSE(window.isWindowModified());
  const int bands = window.Outline()->topLevelItem(0)->childCount();
  EXPECT_EQ(bands, static_cast<int>(doc.Page().Bands.size()));
  doc.AddBand(0, btSummary);
  EXPECT_TRUE(window.isWindowModified());
  EXPECT_EQ(window.Outline()->topLevelItem(0)->childCount(), bands + 1);
  EXPECT_EQ(window.Outline()->topLevelItem(0)->child(0)->text(0), "Summary");
  doc.UndoStack().undo();
  EXPECT_FALSE(window.isWindowModified());
}

TEST(DesignerCommandLine, OnlyExactSwitchesAreSwitches) {
  struct Case {
    std::vector<std::string> Args;
    std::string Report, DataSources;
    bool Preview;
    std::string Error;  // "" when it parses
  };
  const std::vector<Case> cases = {
      {{}, "", "", false, ""},
      {{"/home/a/r.qdr"}, "/home/a/r.qdr", "", false, ""},
      {{"/home/a/r.qdr", "/ds:/tmp/x/datasources.json"}, "/home/a/r.qdr", "/tmp/x/datasources.json", false, ""},
      {{"/r.qdr", "/preview"}, "/r.qdr", "", true, ""},
      {{"/previewer.qdr"}, "/previewer.qdr", "", false, ""},
      {{"/dsx.qdr"}, "/dsx.qdr", "", false, ""},
      {{"a.qdr", "b.qdr"}, "", "", false, "more than one report file: \"a.qdr\" and \"b.qdr\""},
      {{"/ds:"}, "", "", false, "/ds: needs a file name"},
      {{"/preview"}, "", "", false, "/preview needs a report file"},
      {{"/r.qdr", "--data", "A=/a.csv", "/preview"}, "/r.qdr", "", true, ""},
      {{"--data=A=/ds:x.csv", "/r.qdr"}, "/r.qdr", "", false, ""},
      {{"/r.qdr", "--dta", "A=/a.csv"}, "", "", false, "unknown option \"--dta\""},
  };
  for (const Case& c : cases) {
    try {
      const TDesignerArgs a = ParseDesignerArgs(c.Args);
      EXPECT_EQ(c.Error, "");
      EXPECT_EQ(a.Report, c.Report);
      EXPECT_EQ(a.DataSources, c.DataSources);
      EXPECT_EQ(a.Preview, c.Preview);
    } catch (const EDesignerUsage& e) {
      EXPECT_EQ(e.what(), c.Error);
    }
  }
}

// The data options are quillet render's: the same values, the same mistakes.
TEST(DesignerCommandLine, DataOptionsAreThoseOfRender) {
  struct Case {
    std::vector<std::string> Args;
    std::string Report;
    std::vector<std::string> Names;  // the --data names in order
    std::string Main;
    size_t Links = 0;
    std::vector<std::pair<std::string, std::string>> Vars;
    char Separator = 0;
    std::string Error;
  };
  const std::vector<Case> cases = {
      {{"r.qdr", "--data", "Orders=o.csv", "--data=Items=sqlite:shop.db:SELECT * FROM items WHERE o = :Orders.id",
        "--main", "Orders", "--link", "Items.order_id=Orders.id", "--var", "Title=A=B", "--csv-separator", ";",
        "--fonts", "/usr/share/fonts"},
       "r.qdr", {"Orders", "Items"}, "Orders", 1, {{"Title", "A=B"}}, ';', ""},
      {{"--data", "A=a.json", "/preview", "/r.qdr"}, "/r.qdr", {"A"}, "", 0, {}, 0, ""},
      {{"--data", "A=a.json"}, "", {"A"}, "", 0, {}, 0, ""},  // a new report, with data
      {{"r.qdr", "--data"}, "", {}, "", 0, {}, 0, "--data needs a value"},
      {{"r.qdr", "--data", "A=a.txt"}, "", {}, "", 0, {}, 0,
       "--data: unknown kind of data source \"a.txt\" (expected FILE.csv, FILE.json or sqlite:FILE.db:SQL)"},
      {{"r.qdr", "--data", "A.B=a.csv"}, "", {}, "", 0, {}, 0,
       "--data: a data source name cannot contain \".\": \"A.B\""},
      {{"r.qdr", "--data", "A=a.csv", "--data", "A=b.csv"}, "", {}, "", 0, {}, 0,
       "--data: data source \"A\" given twice"},
      {{"r.qdr", "--data", "A=a.csv", "--main", "B"}, "", {}, "", 0, {}, 0, "--main: unknown data source \"B\""},
      {{"r.qdr", "--data", "A=a.csv", "--link", "A.x=B.y"}, "", {}, "", 0, {}, 0,
       "--link: unknown data source \"B\""},
      {{"r.qdr", "--data", "A=sqlite:x.db:SELECT :C.id"}, "", {}, "", 0, {}, 0,
       "--data A: unknown data source \"C\" in parameter :C.id"},
      {{"r.qdr", "--data", "A=a.json", "--csv-separator", ";"}, "", {}, "", 0, {}, 0,
       "--csv-separator applies to CSV data, and no --data names a .csv file"},
      {{"r.qdr", "--var", "novalue"}, "", {}, "", 0, {}, 0, "--var expects NAME=VALUE, got \"novalue\""},
      {{"r.qdr", "--strict"}, "", {}, "", 0, {}, 0, "unknown option \"--strict\""},
      {{"r.qdr", "--data", "A=a.csv", "b.qdr"}, "", {}, "", 0, {}, 0,
       "more than one report file: \"r.qdr\" and \"b.qdr\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.Args));
    try {
      const TDesignerArgs a = ParseDesignerArgs(c.Args);
      EXPECT_EQ(c.Error, "");
      EXPECT_EQ(a.Report, c.Report);
      std::vector<std::string> names;
      for (const auto& d : a.Data.Data) names.push_back(d.Name);
      EXPECT_EQ(names, c.Names);
      EXPECT_EQ(a.Data.MainName, c.Main);
      EXPECT_EQ(a.Data.Links.size(), c.Links);
      EXPECT_EQ(a.Data.Vars, c.Vars);
      EXPECT_EQ(a.Data.CsvSeparator, c.Separator);
      EXPECT_TRUE(a.Data.Reports.empty());
    } catch (const EDesignerUsage& e) {
      EXPECT_EQ(e.what(), c.Error);
    }
  }
}

// What the program says on stderr and how it ends: a usage mistake is one line and the usage text
// (exit 2), data that cannot be opened one line (exit 1), both before any window is needed.
TEST(DesignerCommandLine, MistakesAndMissingDataEndBeforeAnyWindow) {
  struct Case {
    std::string Args;
    int Status;
    std::string FirstLine;  // what it starts with
    std::string Mentions;
  };
  const std::vector<Case> cases = {
      {"r.qdr --data", 2, "formwright: --data needs a value", ""},
      {"r.qdr --data A=a.csv --main B /preview", 2, "formwright: --main: unknown data source \"B\"", ""},
      {"r.qdr --data Orders=gone.csv /preview", 1, "formwright: ", "gone.csv"},
      {"r.qdr --data Orders=gone.csv", 1, "formwright: ", "gone.csv"},
      {"r.qdr --data 'Orders=sqlite:nothere.db:SELECT 1' /preview", 1, "formwright: ", "nothere.db"},
      {"r.qdr --fonts nofonts /preview", 1, "formwright: --fonts: no such folder", "nofonts"},
  };
  test::TTempDir dir;
  std::filesystem::copy_file(kSource / "examples/render/orders.qdr", dir.Path / "r.qdr");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Args);
    const std::string cmd = "cd " + dir.Str() + " && env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=minimal " +
                            FORMWRIGHT_PATH + " " + c.Args + " > out.txt 2> err.txt";
    const int status = std::system(cmd.c_str());
    EXPECT_EQ(WEXITSTATUS(status), c.Status);
    const std::string err = ReadFile(dir.File("err.txt"));
    EXPECT_EQ(err.rfind(c.FirstLine, 0), 0u) << err;
    const std::string first = err.substr(0, err.find('\n'));
    EXPECT_NE(first.find(c.Mentions), std::string::npos) << err;
    if (c.Status == 2)
      EXPECT_EQ(err.substr(err.find('\n') + 1), kDesignerUsage);
    else
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_EQ(ReadFile(dir.File("out.txt")), "");
  }
}

// /preview of a file that is not there: one line and exit 1, without a window.
TEST(DesignerCommandLine, PreviewOfAMissingFileFailsOnOneLine) {
  test::TTempDir dir;
  const std::string cmd = std::string("cd ") + dir.Str() + " && " + FORMWRIGHT_PATH +
                          " nope.qdr /preview > out.txt 2> err.txt";
  const int status = std::system(cmd.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1);
  const std::string err = ReadFile(dir.File("err.txt"));
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  EXPECT_EQ(err.rfind("formwright: ", 0), 0u) << err;
  EXPECT_NE(err.find("nope.qdr"), std::string::npos) << err;
  EXPECT_EQ(ReadFile(dir.File("out.txt")), "");
}

}  // namespace
}  // namespace quillet::designer
