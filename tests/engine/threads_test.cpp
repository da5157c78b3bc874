// Several engines at once: each thread runs its own engine, data and report, and they share only
// the process-wide font caches. Every file must come out exactly as a lone run makes it, with the
// page content compressed on the writer's second thread as well.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "base/file_io.h"
#include "engine/report_engine.h"
#include "engine_test_support.h"

namespace quillet::enginetest {
namespace {

// A text report: a page header, one line per record with a FORMAT expression, subtotals per
// group of ten and a grand total, so fonts, expressions and aggregates all run.
void TextReport(TReportPage& Page) {
  SmallPage(Page);
  AddLabel(AddBand(Page, btPageHeader, 14), "Page [PageNo] of [TotalPages]").FontName = "DejaVu Sans";
  AddBand(Page, btGroupHeader, 12).GroupCondition = "TRUNC((N - 1) / 10)";
  AddLabel(AddBand(Page, btMasterData, 12, "Numbers"), "[N] squared is [FORMAT('%.2f', N * N / 7)]").FontName =
      "DejaVu Sans";
  AddLabel(AddBand(Page, btGroupFooter, 12), "Subtotal [SUM(N)]").FontBold = true;
  AddLabel(AddBand(Page, btSummary, 12), "Total [SUM(N)], mean [AVG(N)]").FontItalic = true;
}

std::string Render(const std::string& File, bool Background) {
  auto Data = Numbers("Numbers", 120);
  TReportPage Page;
  TextReport(Page);
  TReportEngine E;
  E.SetDataSource("Numbers", Data.get());
  E.SetPdfBackgroundCompression(Background);
  E.ExportPDF(Page, File);
  return ReadWholeFile(File);
}

TEST(Threads, EnginesOnSeparateThreadsMakeTheSameFilesAsOneAlone) {
  TScopedEnv Clock("SOURCE_DATE_EPOCH", "1700000000");
  test::TTempDir Dir;
  const std::string Alone = Render(Dir.File("alone.pdf"), false);
  ASSERT_GT(Alone.size(), 1000u);

  constexpr int kThreads = 4;
  std::vector<std::string> Out(kThreads * 3);
  std::vector<std::thread> Pool;
  for (int T = 0; T < kThreads; ++T)
    Pool.emplace_back([&, T] {
      for (int I = 0; I < 3; ++I) {
        const size_t K = size_t(T * 3 + I);
        Out[K] = Render(Dir.File("t" + std::to_string(K) + ".pdf"), (T + I) % 2 == 0);
      }
    });
  for (auto& Th : Pool) Th.join();
  for (size_t K = 0; K < Out.size(); ++K) EXPECT_TRUE(Out[K] == Alone) << "run " << K;
}

}  // namespace
}  // namespace quillet::enginetest
