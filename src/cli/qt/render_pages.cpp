// quillet render --format png / raster: the report's pages painted by the screen canvas.
#include <QByteArray>
#include <QBuffer>
#include <QImageWriter>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file_io.h"
#include "cli/cli.h"
#include "cli/qt/gui_app.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"
#include "screen/screen_drivers.h"
#include "ui/raster_pdf.h"

namespace quillet::cli {

namespace {

std::string PngBytes(const QImage& Image, const std::string& FileName) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  QImageWriter writer(&buffer, "png");
  if (!writer.write(Image))
    throw EQuilletError("PNG encoding failed: " + writer.errorString().toStdString(), FileName);
  return std::string(bytes.constData(), static_cast<size_t>(bytes.size()));
}

// pdftoppm's names: the page number padded to the digits of the last one.
std::string PageFileName(const std::string& Prefix, int Number, int Total) {
  std::string n = std::to_string(Number);
  const size_t width = std::to_string(Total).size();
  if (n.size() < width) n.insert(0, width - n.size(), '0');
  return Prefix + "-" + n + ".png";
}

}  // namespace

TScreenResult RenderScreenPages(TReportEngine& Engine, const TScreenRender& Options) {
  TGuiApplicationScope gui;
  // One operation over all the reports: a cancel request stops the rest of them.
  TReportEngine::TOutputScope operation(Engine);
  const float zoom = static_cast<float>(Options.Dpi) / 96.0f;
  Engine.ClearWarnings();
  Engine.AutoDiscoverDataSources();
  Engine.InjectSystemVariables();

  // Every report is counted first: the file names need the total, the raster PDF its page tree.
  std::vector<std::unique_ptr<TReportPage>> reports;
  std::vector<int32_t> counts;
  int total = 0;
  for (const std::string& file : Options.Reports) {
    reports.push_back(std::make_unique<TReportPage>());
    reports.back()->LoadFromFile(file);
    Engine.SetReportFile(file);
    counts.push_back(CountReportPages(Engine, *reports.back()));
    total += counts.back();
  }

  std::vector<std::string> written;
  std::unique_ptr<TRasterPdfWriter> raster;
  if (!Options.Png) raster = std::make_unique<TRasterPdfWriter>(Options.Out, total);
  int done = 0;
  try {
    for (size_t r = 0; r < reports.size(); ++r) {
      Engine.SetReportFile(Options.Reports[r]);
      RenderPageImages(Engine, *reports[r], zoom, counts[r],
                       [&](const QImage& Image, int32_t, float WidthPt, float HeightPt) {
                         ++done;
                         if (raster) {
                           raster->AddPage(Image, WidthPt, HeightPt);
                         } else {
                           const std::string name = PageFileName(Options.Out, done, std::max(total, done));
                           WriteFileAtomic(name, PngBytes(Image, name));
                           written.push_back(name);
                         }
                         if (Options.Progress)
                           Options.Progress("page " + std::to_string(done) + " of " + std::to_string(total),
                                            done == total);
                       });
    }
    // A strict run that warned writes nothing: the pages already written go below.
    Engine.CheckStrict();
    if (raster) raster->Finish();
  } catch (...) {
    for (const std::string& f : written) std::remove(f.c_str());
    throw;
  }
  TScreenResult result;
  result.Pages = done;
  if (raster) {
    result.Written = Options.Out;
  } else if (!written.empty()) {
    result.Written = written.size() == 1 ? written.front() : written.front() + " .. " + written.back();
  }
  return result;
}

}  // namespace quillet::cli
