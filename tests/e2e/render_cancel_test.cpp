// Ctrl-C during quillet render: a real SIGINT to a child that renders a large CSV stops the run
// with exit status 130, and neither the PDF nor its temporary file is left in the folder. And an
// engine whose run was cancelled runs again.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>

#include <chrono>
#include <functional>
#include <regex>
#include <string>
#include <thread>

#include "data/csv_data_set.h"
#include "e2e_support.h"
#include "engine/report_engine.h"

namespace quillet::e2e {
namespace {

using namespace std::chrono_literals;

// 200 000 orders: thousands of pages, far more than a run finishes before the signal arrives.
void WriteLargeJob(const test::TTempDir& Dir) {
  std::string csv = "id,region,amount\n";
  csv.reserve(200000 * 24);
  for (int i = 1; i <= 200000; ++i)
    csv += std::to_string(i) + ",R" + std::to_string(i / 5000) + "," + std::to_string(i % 997) + ".25\n";
  Dir.Write("big.csv", csv);
  Dir.Write("big.qdr", Report({
                           Band("PageHeader", 20, {Label("hdr", 0, 0, 300, "Page [PageNo] of [TotalPages]")}),
                           Band("MasterData", 14, {Label("row", 0, 0, 300, "Order [id] [amount]")}, "Orders"),
                           Band("Summary", 20, {Label("tot", 0, 0, 300, "Total [SUM(amount)]")}),
                       }));
}

const std::vector<std::string> kArgs = {"render", "big.qdr", "-o", "big.pdf", "--data", "Orders=big.csv"};

// The folder holds only what the test put there.
void ExpectNothingLeft(const test::TTempDir& Dir) {
  EXPECT_FALSE(fs::exists(Dir.Path / "big.pdf"));
  EXPECT_TRUE(FilesEndingWith(Dir.Path, ".tmp").empty());
  EXPECT_EQ(Dir.Count(), 2u);
}

// On a terminal the progress line counts pages; once it does, Ctrl-C stops the drawing pass.
TEST(RenderCancel, InterruptOnATerminal) {
  test::TTempDir dir;
  WriteLargeJob(dir);
  FILE* out = std::tmpfile();
  ASSERT_NE(out, nullptr);
  int master = -1, slave = -1;
  ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  ::fcntl(master, F_SETFD, FD_CLOEXEC);
  const pid_t pid = SpawnQuillet(kArgs, dir.Str(), ::fileno(out), slave, true);
  ASSERT_GE(pid, 0);
  ::close(slave);

  // Reads the terminal until the child closes it (EIO on Linux) or the deadline passes.
  std::string seen;
  const auto readFor = [&](std::chrono::milliseconds Limit, const std::regex* Until) {
    const auto deadline = std::chrono::steady_clock::now() + Limit;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd p{master, POLLIN, 0};
      if (::poll(&p, 1, 50) <= 0) continue;
      char buf[4096];
      const ssize_t n = ::read(master, buf, sizeof buf);
      if (n <= 0) return false;
      seen.append(buf, static_cast<size_t>(n));
      if (Until && std::regex_search(seen, *Until)) return true;
    }
    return false;
  };
  const std::regex pageLine("page [0-9]+ of [0-9]+");
  const bool drawing = readFor(120s, &pageLine);
  if (!drawing) {
    ::kill(pid, SIGKILL);
    WaitStatus(pid);
  }
  ASSERT_TRUE(drawing) << "no progress line before the run ended: " << seen;
  EXPECT_TRUE(fs::exists(dir.Path / "big.csv"));
  ASSERT_EQ(::kill(pid, SIGINT), 0);
  readFor(60s, nullptr);
  const int status = WaitStatus(pid);
  ::close(master);

  EXPECT_EQ(status, 130) << seen;
  // The progress line is rubbed out before the last word, which is the only line that stays.
  EXPECT_NE(seen.find("\r\x1b[Kquillet: interrupted; big.pdf not written"), std::string::npos) << seen;
  EXPECT_EQ(seen.find("quillet: wrote"), std::string::npos) << seen;
  std::rewind(out);
  EXPECT_EQ(ReadFd(::fileno(out)), "");
  std::fclose(out);
  ExpectNothingLeft(dir);
}

// Without a terminal there is no progress line: the signal goes in as soon as the temporary PDF
// exists, which is while pages are still being counted.
TEST(RenderCancel, InterruptWhileCountingPages) {
  test::TTempDir dir;
  WriteLargeJob(dir);
  FILE* err = std::tmpfile();
  ASSERT_NE(err, nullptr);
  const pid_t pid = SpawnQuillet(kArgs, dir.Str(), ::fileno(err), ::fileno(err));
  ASSERT_GE(pid, 0);
  bool started = false, ended = false;
  const auto deadline = std::chrono::steady_clock::now() + 120s;
  while (!started && !ended && std::chrono::steady_clock::now() < deadline) {
    started = !FilesEndingWith(dir.Path, ".tmp").empty();
    if (!started) {
      int status = 0;
      ended = ::waitpid(pid, &status, WNOHANG) == pid;  // ended without a temporary file
      std::this_thread::sleep_for(2ms);
    }
  }
  if (!started && !ended) {
    ::kill(pid, SIGKILL);
    WaitStatus(pid);
  }
  ASSERT_TRUE(started) << "the run never opened its temporary PDF";
  ASSERT_EQ(::kill(pid, SIGINT), 0);
  const int status = WaitStatus(pid);
  std::rewind(err);
  const std::string text = ReadFd(::fileno(err));
  std::fclose(err);
  EXPECT_EQ(status, 130) << text;
  EXPECT_EQ(text, "quillet: interrupted; big.pdf not written\n");
  ExpectNothingLeft(dir);
}

// A cancel request ends with the operation it stopped, however far that had come: the next
// operation on the same engine runs to its end.
TEST(RenderCancel, EngineRunsAgainAfterACancelledRun) {
  test::TTempDir dir;
  std::string csv = "id\n";
  for (int i = 1; i <= 120; ++i) csv += std::to_string(i) + "\n";  // 3 pages of 55, 55 and 10
  TCsvDataSet items("Items", dir.Write("items.csv", csv));
  items.Open();
  const std::string report =
      dir.Write("list.qdr", Report({Band("MasterData", 14, {Label("row", 0, 0, 300, "Item [id]")}, "Items")}));
  const std::string pdf = dir.File("out.pdf");
  TReportEngine engine;
  engine.SetDataSource("Items", &items);
  int cancelAfter = -1, drawn = 0;  // cancel once this many pages are drawn (0: before the run)
  engine.OnPageRendered = [&](TReportEngine& Sender, int32_t, int32_t) {
    if (++drawn == cancelAfter) Sender.RequestCancel();
  };
  struct Case {
    const char* Name;
    int CancelAfter;
    int Pages;
    std::function<int()> Run;  // the pages made
  } cases[] = {
      {"PDF, before it starts", 0, 3, [&] { engine.ExportPDF(report, pdf); return PdfPageCount(pdf); }},
      {"PDF, after its first page", 1, 3, [&] { engine.ExportPDF(report, pdf); return PdfPageCount(pdf); }},
      {"two reports into one PDF, in the second", 4, 6,
       [&] { engine.ExportPDF({report, report}, pdf); return PdfPageCount(pdf); }},
      {"counting pages", 0, 3, [&] {
         TReportPage page;
         page.LoadFromFile(report);
         return engine.CountReportPages(page);
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    cancelAfter = c.CancelAfter;
    drawn = 0;
    if (c.CancelAfter == 0) engine.RequestCancel();
    EXPECT_THROW(c.Run(), EReportCancelled);
    EXPECT_FALSE(fs::exists(pdf));
    EXPECT_FALSE(engine.CancelRequested());
    cancelAfter = -1;
    EXPECT_EQ(c.Run(), c.Pages);
    fs::remove(pdf);
  }
}

}  // namespace
}  // namespace quillet::e2e
