// quillet render --format png / raster as files: the pages written are the pages the preview
// paints, and a run that fails or is interrupted leaves none of them behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <QImage>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "../e2e/e2e_support.h"
#include "../engine/engine_test_support.h"
#include "data/csv_data_set.h"
#include "screen/screen_drivers.h"

namespace quillet::screentest {
namespace {

using namespace std::chrono_literals;
using e2e::RunQuillet;
namespace fs = std::filesystem;

const std::string kOrdersQdr = QUILLET_SOURCE_DIR "/examples/render/orders.qdr";
const std::string kOrdersCsv = QUILLET_SOURCE_DIR "/examples/render/orders.csv";

std::vector<std::string> OrdersRun(const std::string& Out, const std::string& Format) {
  return {"render", kOrdersQdr, "-o", Out, "--format", Format, "--data", "Orders=" + kOrdersCsv, "--var",
          "Company=Quillet Trading"};
}

// The same report and data in this process, under the clock the program ran with.
TEST(PageFiles, PngPagesAreThePagesThePreviewPaints) {
  test::TTempDir dir;
  const e2e::TRun run = RunQuillet(OrdersRun(dir.File("orders"), "png"));
  ASSERT_EQ(run.Status, 0) << run.Err;
  enginetest::TScopedEnv clock("SOURCE_DATE_EPOCH", e2e::kSourceDateEpoch);
  TCsvDataSet orders("Orders", kOrdersCsv);
  orders.Open();
  TReportEngine engine;
  engine.SetDataSource("Orders", &orders);
  engine.SetDataSource(&orders);
  engine.SetVariable("Company", "Quillet Trading");
  TReportPage page;
  page.LoadFromFile(kOrdersQdr);
  engine.SetReportFile(kOrdersQdr);
  engine.AutoDiscoverDataSources();
  engine.InjectSystemVariables();
  ASSERT_EQ(CountReportPages(engine, page), 2);
  EXPECT_EQ(dir.Count(), 2u);
  for (int32_t i = 0; i < 2; ++i) {
    const QImage file(QString::fromStdString(dir.File("orders-" + std::to_string(i + 1) + ".png")));
    EXPECT_TRUE(file.convertToFormat(QImage::Format_RGB32) ==
                RenderPreviewPage(engine, page, i, 2, 1).convertToFormat(QImage::Format_RGB32))
        << i;
  }
}

// Nothing is left behind by a run that fails, before or after its first page (the orders make
// two pages: a folder named like page 2 stops the run after page 1 is written), or that is
// interrupted once its first page file is there (exit status 130).
TEST(PageFiles, AFailedOrInterruptedRunLeavesNoPageBehind) {
  auto with = [](std::vector<std::string> A, std::vector<std::string> More) {
    A.insert(A.end(), More.begin(), More.end());
    return A;
  };
  const struct {
    const char* Name;
    std::vector<std::string> Blockers;  // folders made before the run, in the way of its files
    std::vector<std::string> Args;
    int Status;
  } cases[] = {
      {"page 2 cannot be written", {"p-2.png"}, OrdersRun("p", "png"), 1},
      {"no such folder", {}, OrdersRun("missing/p", "png"), 1},
      {"raster file cannot be written", {"out.pdf"}, OrdersRun("out.pdf", "raster"), 1},
      {"missing data file", {}, {"render", kOrdersQdr, "-o", "p", "--format", "png", "--data", "Orders=nothere.csv"}, 1},
      {"compression is for PDF only", {}, with(OrdersRun("p", "png"), {"--compression", "3"}), 2},
  };
  for (const auto& t : cases) {
    SCOPED_TRACE(t.Name);
    test::TTempDir dir;
    for (const std::string& b : t.Blockers) fs::create_directory(dir.Path / b);
    const e2e::TRun run = RunQuillet(t.Args, dir.Str());
    EXPECT_EQ(run.Status, t.Status) << run.Err;
    EXPECT_EQ(dir.Count(), t.Blockers.size()) << "something was left behind";
  }

  test::TTempDir dir;
  std::string csv = "id\n";
  for (int i = 1; i <= 20000; ++i) csv += std::to_string(i) + "\n";
  dir.Write("big.csv", csv);
  dir.Write("big.qdr", e2e::Report({e2e::Band("MasterData", 14, {e2e::Label("row", 0, 0, 300, "Order [id]")}, "Orders")}));
  const int quiet = ::open("/dev/null", O_WRONLY);
  const pid_t pid = e2e::SpawnQuillet({"render", "big.qdr", "-o", "big", "--format", "png", "--data", "Orders=big.csv"},
                                      dir.Str(), quiet, quiet);
  ::close(quiet);
  ASSERT_GE(pid, 0);
  const auto deadline = std::chrono::steady_clock::now() + 120s;
  bool ended = false;
  for (int status = 0; e2e::FilesEndingWith(dir.Path, ".png").empty() && !ended;) {
    ended = ::waitpid(pid, &status, WNOHANG) == pid || std::chrono::steady_clock::now() > deadline;
    std::this_thread::sleep_for(2ms);
  }
  ASSERT_FALSE(ended) << "no page file appeared";
  ::kill(pid, SIGINT);
  EXPECT_EQ(e2e::WaitStatus(pid), 130);
  EXPECT_EQ(dir.Count(), 2u) << "page files left behind";
}

}  // namespace
}  // namespace quillet::screentest
