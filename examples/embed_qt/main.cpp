// Page 1 of a report as a PNG image, painted with Quillet's Qt module: the smallest Qt program
// that shows report pages. Usage: embed_qt REPORT.qdr DATA.csv NAME OUT.png, where NAME is the
// data-source name the report uses for the CSV file.
#include <QGuiApplication>
#include <QImage>

#include <cstdio>
#include <string>

#include "data/csv_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"
#include "screen/screen_drivers.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: embed_qt REPORT.qdr DATA.csv NAME OUT.png\n");
    return 2;
  }
  QGuiApplication app(argc, argv);  // text on screen needs Qt's font machinery
  try {
    quillet::TCsvDataSet data(argv[3], argv[2]);
    data.Open();
    quillet::TReportEngine engine;
    engine.SetDataSource(argv[3], &data);
    engine.SetDataSource(&data);
    engine.SetReportFile(argv[1]);
    engine.InjectSystemVariables();

    quillet::TReportPage page;
    page.LoadFromFile(argv[1]);
    const int32_t pages = quillet::CountReportPages(engine, page);  // the same count as the PDF
    const QImage first = quillet::RenderPreviewPage(engine, page, 0, pages, 1.0f);  // 96 dpi
    if (!first.save(QString::fromLocal8Bit(argv[4]), "PNG")) {
      std::fprintf(stderr, "embed_qt: cannot write %s\n", argv[4]);
      return 1;
    }
    std::printf("page 1 of %d: %dx%d pixels\n", pages, first.width(), first.height());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "embed_qt: %s\n", e.what());
    return 1;
  }
  return 0;
}
