// preview_bench REPORT.qdr NAME=DATA.csv [ZOOM]: drives the preview window offscreen through its
// API the way the preview opens a report, and prints: the time until page 1 is shown, the time
// until every page is ready, the time to paint arbitrary pages afterwards, and the peak memory
// while every page is visited once.
#include <QApplication>
#include <QElapsedTimer>
#include <QScrollArea>
#include <QScrollBar>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "data/csv_data_set.h"
#include "engine/report_engine.h"
#include "screen/page_records.h"
#include "screen/screen_drivers.h"
#include "ui/preview_form.h"

namespace {

long PeakKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: preview_bench REPORT.qdr NAME=DATA.csv [ZOOM]\n");
    return 2;
  }
  ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
  QApplication app(argc, argv);
  const std::string data = argv[2];
  const auto eq = data.find('=');
  const float zoom = argc > 3 ? std::strtof(argv[3], nullptr) : 1.0f;
  quillet::TCsvDataSet set(data.substr(0, eq), data.substr(eq + 1));
  set.Open();
  quillet::TReportEngine engine;
  engine.SetDataSource(set.Name(), &set);
  engine.SetDataSource(&set);
  engine.SetReportFile(argv[1]);
  engine.InjectSystemVariables();
  quillet::TReportPage page;
  page.LoadFromFile(argv[1]);

  QElapsedTimer clock;
  clock.start();
  quillet::TRptPreviewForm form;
  form.resize(1000, 800);
  form.show();
  const int32_t pages = quillet::CountReportPages(engine, page);
  const double counted = clock.nsecsElapsed() / 1e6;
  auto records = std::make_shared<quillet::TPageRecorder>(engine.FontDirs());
  form.SetVector([&](int32_t Index, float Z) { return quillet::RenderRecordedPage(*records, Index, Z); }, nullptr,
                 nullptr, pages, static_cast<float>(page.PageWidth), static_cast<float>(page.PageHeight), 0);
  form.ApplyZoom(zoom);
  double first = -1;
  records->OnPageRecorded = [&](int32_t Index) {
    form.SetPagesReady(Index + 1);
    if (first < 0 && form.PageRendered(0)) first = clock.nsecsElapsed() / 1e6;
  };
  engine.RunPass(page, records, quillet::TRenderPass::Drawing(pages));
  const double ready = clock.nsecsElapsed() / 1e6;

  // Arbitrary pages, each painted on its own from its record.
  std::mt19937 rng(7);
  double paintMax = 0, paintSum = 0;
  const int samples = 20;
  for (int i = 0; i < samples; ++i) {
    const int32_t p = static_cast<int32_t>(rng() % static_cast<uint32_t>(pages));
    QElapsedTimer t;
    t.start();
    const QImage image = quillet::RenderRecordedPage(*records, p, zoom);
    const double ms = t.nsecsElapsed() / 1e6;
    paintMax = std::max(paintMax, ms);
    paintSum += ms;
  }
  // Every page visited once in the window, as a reader paging through would.
  QElapsedTimer visit;
  visit.start();
  for (int32_t p = 0; p < pages; ++p) form.ScrollToPage(p);
  const double visited = visit.nsecsElapsed() / 1e6;

  std::printf("pages %d  counted %.0f ms  first page shown %.0f ms  all ready %.0f ms\n", pages, counted, first, ready);
  std::printf("paint one page at zoom %.2f: mean %.1f ms, max %.1f ms (%d pages)\n", zoom, paintSum / samples,
              paintMax, samples);
  std::printf("visit every page: %.0f ms (%.1f ms a page)  records %.1f MiB  peak memory %.1f MiB\n", visited,
              visited / pages, records->MemoryBytes() / 1048576.0, PeakKiB() / 1024.0);
  return 0;
}
