// Printing on a private CUPS scheduler (tests/e2e/with_cups.sh starts it and names it in
// CUPS_SERVER): the job files the queues keep are read back with poppler, and the scheduler's own
// job list (lpstat) says what was sent. Without that scheduler these tests skip: they never print
// on the machine's own printers.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "../e2e/e2e_support.h"
#include "data/csv_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"
#include "screen/screen_drivers.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;
using e2e::Band;
using e2e::Label;
using e2e::Quote;

class Print : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* spool = std::getenv("QUILLET_TEST_SPOOL");
    if (!spool || !std::getenv("CUPS_SERVER")) GTEST_SKIP() << "needs the private scheduler of with_cups.sh";
    Spool = spool;
    // Jobs of the tests before this one stay in the folders.
    for (const fs::path& d : {Spool, Spool / "other"})
      for (const auto& e : fs::directory_iterator(d)) Earlier.push_back(e.path());
  }

  // This test's job files in a queue's folder once at least Count are there, oldest job first.
  // A queue writes its file a moment after the job is accepted, so this waits, generously.
  std::vector<fs::path> Jobs(const fs::path& Dir, size_t Count) const {
    std::vector<fs::path> jobs;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (;;) {
      jobs.clear();
      for (const auto& e : fs::directory_iterator(Dir)) {
        const std::string n = e.path().filename().string();
        if (n.rfind("job-", 0) == 0 && n.size() > 8 && n.compare(n.size() - 4, 4, ".pdf") == 0 &&
            std::find(Earlier.begin(), Earlier.end(), e.path()) == Earlier.end())
          jobs.push_back(e.path());
      }
      if (jobs.size() >= Count || std::chrono::steady_clock::now() > deadline) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::sort(jobs.begin(), jobs.end(), [](const fs::path& A, const fs::path& B) {
      return std::stoi(A.stem().string().substr(4)) < std::stoi(B.stem().string().substr(4));
    });
    return jobs;
  }

  // Every job the scheduler has accepted so far, finished or not.
  static size_t JobsAccepted() {
    return e2e::LineCount(test::RunTool("lpstat -W all -o 2>/dev/null"));
  }

  fs::path Spool;
  std::vector<fs::path> Earlier;
  test::TTempDir Dir;
};

std::string PdfInfo(const fs::path& Pdf, const std::string& Key) {
  const std::string info = test::RunTool("pdfinfo " + Quote(Pdf.string()) + " 2>/dev/null");
  const auto at = info.find(Key + ":");
  if (at == std::string::npos) return "";
  const auto start = info.find_first_not_of(' ', at + Key.size() + 1);
  return info.substr(start, info.find('\n', start) - start);
}

std::string PdfText(const fs::path& Pdf) { return test::RunTool("pdftotext " + Quote(Pdf.string()) + " - 2>/dev/null"); }

// A report over Items (one row per record) with a title from the variable Title and a page
// footer "Page N of M", on a Width x Height page.
std::string ItemsReport(int Width, int Height, const std::string& PrinterName = "") {
  e2e::TJson r;
  r["version"] = "2.0";
  r["page"] = {{"width", Width},     {"height", Height},     {"marginTop", 30},
               {"marginBottom", 30}, {"marginLeft", 30},     {"marginRight", 30}};
  if (!PrinterName.empty()) r["page"]["printerName"] = PrinterName;
  r["bands"] = {Band("Title", 24, {Label("title", 0, 0, 300, "[Title]")}),
                Band("PageFooter", 20, {Label("footer", 0, 0, 200, "Page [PageNo] of [TotalPages]")}),
                Band("MasterData", 16, {Label("name", 0, 0, 200, "", "Items.name")}, "Items")};
  return r.dump(2);
}

std::string ItemsCsv(int Rows) {
  std::string csv = "name\n";
  for (int i = 1; i <= Rows; ++i) csv += "item-" + std::to_string(i) + "\n";
  return csv;
}

// quillet print against quillet render of the same reports: the queue receives one job per
// report, each with the pages and the text of the PDF, on a sheet of the report's own size.
TEST_F(Print, JobsHaveTheReportsPagesTextAndPageSize) {
  struct TCase {
    int Width, Height, Rows;
    const char* PageSize;  // pdfinfo's reading
  };
  const TCase cases[] = {
      {595, 842, 120, "595 x 842 pts (A4)"},
      {842, 595, 70, "842 x 595 pts (A4)"},
      {400, 300, 25, "400 x 300 pts"},
  };
  std::vector<int> pages;
  for (size_t i = 0; i < std::size(cases); ++i) {
    const std::string n = std::to_string(i);
    const std::string report = Dir.Write("r" + n + ".qdr", ItemsReport(cases[i].Width, cases[i].Height));
    const std::vector<std::string> options{"--data", "Items=" + Dir.Write("items" + n + ".csv", ItemsCsv(cases[i].Rows)),
                                           "--var", "Title=Stock list"};
    std::vector<std::string> render{"render", report, "-o", Dir.File("r" + n + ".pdf")};
    render.insert(render.end(), options.begin(), options.end());
    const e2e::TRun pdf = e2e::RunQuillet(render);
    ASSERT_EQ(pdf.Status, 0) << pdf.Err;
    pages.push_back(e2e::PdfPageCount(Dir.File("r" + n + ".pdf")));
    ASSERT_GT(pages.back(), 0);

    std::vector<std::string> print{"print", report};
    print.insert(print.end(), options.begin(), options.end());
    const e2e::TRun run = e2e::RunQuillet(print);
    ASSERT_EQ(run.Status, 0) << run.Err;
    EXPECT_EQ(run.Err, "quillet: sent " + std::to_string(pages.back()) + " pages to quillet-test\n");
  }
  const std::vector<fs::path> jobs = Jobs(Spool, std::size(cases));
  ASSERT_EQ(jobs.size(), std::size(cases));
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].PageSize);
    EXPECT_EQ(e2e::PdfPageCount(jobs[i].string()), pages[i]);
    EXPECT_EQ(PdfInfo(jobs[i], "Page size"), cases[i].PageSize);
    const std::string text = PdfText(jobs[i]);
    const std::string pdfText = PdfText(Dir.File("r" + std::to_string(i) + ".pdf"));
    for (const std::string& word :
         {std::string("Stock list"), std::string("item-1\n"), "item-" + std::to_string(cases[i].Rows) + "\n",
          "Page " + std::to_string(pages[i]) + " of " + std::to_string(pages[i])}) {
      EXPECT_NE(pdfText.find(word), std::string::npos) << word;
      EXPECT_NE(text.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(text.find("item-" + std::to_string(cases[i].Rows + 1) + "\n"), std::string::npos);
  }
}

// Several reports on one command line: a job each, in order.
TEST_F(Print, SeveralReportsAreOneJobEach) {
  const std::string data = Dir.Write("items.csv", ItemsCsv(90));
  const std::string a = Dir.Write("a.qdr", ItemsReport(595, 842));
  const std::string b = Dir.Write("b.qdr", ItemsReport(400, 300));
  const e2e::TRun run = e2e::RunQuillet({"print", a, b, "--data", "Items=" + data, "--var", "Title=Two"});
  ASSERT_EQ(run.Status, 0) << run.Err;
  const std::vector<fs::path> jobs = Jobs(Spool, 2);
  ASSERT_EQ(jobs.size(), 2u);
  EXPECT_EQ(PdfInfo(jobs[0], "Page size"), "595 x 842 pts (A4)");
  EXPECT_EQ(PdfInfo(jobs[1], "Page size"), "400 x 300 pts");
  const int pages = e2e::PdfPageCount(jobs[0].string()) + e2e::PdfPageCount(jobs[1].string());
  EXPECT_EQ(run.Err, "quillet: sent " + std::to_string(pages) + " pages to quillet-test\n");
}

// --printer picks a queue by name or description; a report's own printer name is used without
// it; a name nobody has fails before anything is sent.
TEST_F(Print, PrinterChoice) {
  const std::string data = Dir.Write("items.csv", ItemsCsv(5));
  const std::string plain = Dir.Write("plain.qdr", ItemsReport(595, 842));
  const std::string own = Dir.Write("own.qdr", ItemsReport(595, 842, "second TEST queue"));
  struct TCase {
    std::vector<std::string> Args;
    int Status;
    const char* Queue;  // where the job goes, "" for none
  };
  const TCase cases[] = {
      {{plain, "--printer", "  Second Test Queue "}, 0, "quillet-other"},
      {{plain, "--printer", "QUILLET-OTHER"}, 0, "quillet-other"},
      {{plain}, 0, "quillet-test"},
      {{own}, 0, "quillet-other"},
      {{own, "--printer", "quillet-test"}, 0, "quillet-test"},
      {{plain, "--printer", "quillet"}, 1, ""},
      {{plain, "--printer", "no-such-printer"}, 1, ""},
  };
  size_t test = 0, other = 0;
  for (const TCase& c : cases) {
    std::vector<std::string> args{"print"};
    args.insert(args.end(), c.Args.begin(), c.Args.end());
    args.insert(args.end(), {"--data", "Items=" + data, "--var", "Title=x"});
    std::string trace;
    for (const std::string& a : c.Args) trace += " " + a;
    SCOPED_TRACE(trace);
    const size_t before = JobsAccepted();
    const e2e::TRun run = e2e::RunQuillet(args);
    EXPECT_EQ(run.Status, c.Status) << run.Err;
    if (c.Status != 0) {
      EXPECT_EQ(e2e::LineCount(run.Err), 1u) << run.Err;
      EXPECT_NE(run.Err.find(c.Args.back()), std::string::npos) << run.Err;
      EXPECT_EQ(JobsAccepted(), before);
      continue;
    }
    EXPECT_EQ(run.Err, std::string("quillet: sent 1 page to ") + c.Queue + "\n");
    (std::string(c.Queue) == "quillet-test" ? test : other) += 1;
    EXPECT_EQ(Jobs(Spool, test).size(), test);
    EXPECT_EQ(Jobs(Spool / "other", other).size(), other);
  }
}

TEST_F(Print, PrintersListsTheQueues) {
  const e2e::TRun run = e2e::RunQuillet({"printers"});
  EXPECT_EQ(run.Status, 0) << run.Err;
  EXPECT_EQ(run.Err, "");
  std::vector<std::string> lines;
  for (size_t start = 0, nl; (nl = run.Out.find('\n', start)) != std::string::npos; start = nl + 1)
    lines.push_back(run.Out.substr(start, nl - start));
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (std::vector<std::string>{"quillet-other\tSecond test queue",
                                             "quillet-test\tQuillet test queue\tdefault"}));
}

// In the library: the active printer follows SelectPrinterByName, and stays when no printer
// answers to the name.
TEST_F(Print, SelectPrinterByName) {
  struct TCase {
    const char* Name;
    bool Found;
    const char* Active;
  };
  const TCase cases[] = {
      {"  ", false, "quillet-test"},           {"second test queue", true, "quillet-other"},
      {"", false, "quillet-other"},            {"quillet-tes", false, "quillet-other"},
      {" QUILLET-TEST\t", true, "quillet-test"}, {"Quillet test queue x", false, "quillet-test"},
      {"QUILLET-OTHER", true, "quillet-other"}, {"Quillet Test Queue", true, "quillet-test"},
  };
  ASSERT_TRUE(SelectPrinterByName("quillet-test"));
  for (const TCase& c : cases) {
    SCOPED_TRACE(std::string("\"") + c.Name + "\"");
    EXPECT_EQ(SelectPrinterByName(c.Name), c.Found);
    EXPECT_EQ(ActivePrinterName(), c.Active);
  }
}

// The events of a job fire as in PDF export, with the last page number as the total; a cancel
// from a page event stops the run before any job is sent.
TEST_F(Print, PageEventsAndCancel) {
  const std::string file = Dir.Write("r.qdr", ItemsReport(595, 842));
  TCsvDataSet items("Items", Dir.Write("items.csv", ItemsCsv(150)));
  items.Open();
  TReportEngine engine;
  engine.SetDataSource("Items", &items);
  engine.SetDataSource(&items);
  engine.SetVariable("Title", "Events");
  ASSERT_TRUE(SelectPrinterByName("quillet-test"));

  std::vector<std::pair<int32_t, int32_t>> rendered;
  int32_t cancelAt = 0;
  engine.OnBeforePage = [&](TReportEngine&, int32_t Page, int32_t, bool& Cancel) { Cancel = Page == cancelAt; };
  engine.OnPageRendered = [&](TReportEngine&, int32_t Page, int32_t Total) { rendered.emplace_back(Page, Total); };
  int before = 0, after = 0;
  engine.OnBeforeRender = [&](TReportEngine&) { ++before; };
  engine.OnAfterRender = [&](TReportEngine&) { ++after; };

  PrintReport(engine, file);
  const std::vector<fs::path> jobs = Jobs(Spool, 1);
  ASSERT_EQ(jobs.size(), 1u);
  const int pages = e2e::PdfPageCount(jobs[0].string());
  ASSERT_GE(pages, 3);
  ASSERT_EQ(rendered.size(), static_cast<size_t>(pages));
  for (int i = 0; i < pages; ++i) EXPECT_EQ(rendered[i], std::make_pair(i + 1, pages));
  EXPECT_EQ(before, 1);
  EXPECT_EQ(after, 1);

  const size_t accepted = JobsAccepted();
  cancelAt = 2;
  rendered.clear();
  EXPECT_THROW(PrintReport(engine, file), EReportCancelled);
  EXPECT_EQ(rendered.size(), 1u);
  EXPECT_EQ(after, 1);
  // Pages reach the printer only after the whole report has run: a cancelled run sends nothing.
  EXPECT_EQ(JobsAccepted(), accepted);

  engine.SetReportFile("");
  EXPECT_THROW(
      {
        try {
          PrintReport(engine);
        } catch (const EQuilletError& e) {
          EXPECT_STREQ(e.what(), "ReportEngine: ReportFile property is empty.");
          throw;
        }
      },
      EQuilletError);
}

}  // namespace
}  // namespace quillet
