#include "screen/screen_drivers.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "screen/fmx_canvas.h"

namespace quillet {

namespace {

float SaneZoom(float Zoom) { return std::isfinite(Zoom) && Zoom > 0 ? std::min(Zoom, 1000.0f) : 1.0f; }

int Pixels(float V) { return std::max(1, static_cast<int>(std::lround(std::min(V, 1e6f)))); }

float PageW(const TReportPage& Page) { return static_cast<float>(std::max<int32_t>(1, Page.PageWidth)); }
float PageH(const TReportPage& Page) { return static_cast<float>(std::max<int32_t>(1, Page.PageHeight)); }

// Parsed subreports live for one operation; the canvas's font substitutions become the engine's
// warnings; a cancel request ends with it.
class TScreenOperation {
 public:
  explicit TScreenOperation(TReportEngine& Engine) : FEngine(Engine), FOutput(Engine) {
    FEngine.ClearSubreportCache();
  }
  ~TScreenOperation() { FEngine.ClearSubreportCache(); }
  void Finish(const TFmxRptCanvas& Canvas) {
    for (const std::string& w : Canvas.Warnings()) FEngine.AddWarning(w);
  }

 private:
  TReportEngine& FEngine;
  TReportEngine::TOutputScope FOutput;
};

// A canvas that paints each page into an image of its own and hands it on when the page ends.
class TPageImageCanvas : public TFmxRptCanvas {
 public:
  TPageImageCanvas(float Scale, float PageWpt, float PageHpt, const TPageImageSink& Sink)
      : TFmxRptCanvas(nullptr, Scale, 0, PageWpt, PageHpt), FSink(Sink) {}

  void BeginPage(float WidthPt, float HeightPt) override {
    FImage = QImage(Pixels(WidthPt * Scale()), Pixels(HeightPt * Scale()), QImage::Format_RGB32);
    FImage.fill(Qt::white);
    FPainter.begin(&FImage);
    PreparePagePainter(FPainter);
    SetPainter(&FPainter);
    SetOnlyPageIdx(PageIdx());
    FWpt = WidthPt;
    FHpt = HeightPt;
    TFmxRptCanvas::BeginPage(WidthPt, HeightPt);
  }
  void EndPage() override {
    const int32_t index = PageIdx();
    TFmxRptCanvas::EndPage();
    FPainter.end();
    SetPainter(nullptr);
    QImage done = std::move(FImage);
    FImage = QImage();
    if (FSink) FSink(done, index, FWpt, FHpt);
  }

 private:
  const TPageImageSink& FSink;
  QImage FImage;
  QPainter FPainter;
  float FWpt = 0, FHpt = 0;
};

}  // namespace

float PreviewScale(float WidthPt, float HeightPt, float Zoom) {
  float scale = 4.0f / 3.0f * SaneZoom(Zoom);
  const float w = std::max(1.0f, WidthPt) * scale, h = std::max(1.0f, HeightPt) * scale;
  if (w > kMaxPreviewPixels || h > kMaxPreviewPixels) scale *= std::min(kMaxPreviewPixels / w, kMaxPreviewPixels / h);
  return scale;
}

int32_t CountReportPages(TReportEngine& Engine, TReportPage& Page) {
  auto canvas = std::make_shared<TFmxRptCanvas>(nullptr, 1.0f, 0.0f, PageW(Page), PageH(Page));
  canvas->SetFontDirs(Engine.FontDirs());
  return Engine.CountReportPages(Page, canvas);
}

QImage RenderPreviewPage(TReportEngine& Engine, TReportPage& Page, int32_t PageIndex, int32_t TotalPages,
                         float Zoom) {
  TScreenOperation operation(Engine);
  const float scale = PreviewScale(PageW(Page), PageH(Page), Zoom);
  QImage image(Pixels(PageW(Page) * scale), Pixels(PageH(Page) * scale), QImage::Format_RGB32);
  image.fill(Qt::white);
  QPainter painter(&image);
  PreparePagePainter(painter);
  auto canvas = std::make_shared<TFmxRptCanvas>(&painter, scale, 0.0f, PageW(Page), PageH(Page));
  canvas->SetFontDirs(Engine.FontDirs());
  canvas->SetOnlyPageIdx(std::max<int32_t>(0, PageIndex));
  Engine.RunPass(Page, canvas, TRenderPass::Drawing(TotalPages));
  painter.end();
  operation.Finish(*canvas);
  return image;
}

QImage RenderPreviewComposite(TReportEngine& Engine, TReportPage& Page, float Zoom) {
  TScreenOperation operation(Engine);
  const int32_t n = CountReportPages(Engine, Page);
  float scale = 4.0f / 3.0f * SaneZoom(Zoom);
  float gap = 16;
  auto width = [&] { return PageW(Page) * scale + 2 * gap; };
  auto height = [&] { return (PageH(Page) * scale + gap) * static_cast<float>(n) + gap; };
  if (width() > kMaxPreviewPixels || height() > kMaxPreviewPixels) {
    const float f = std::min(kMaxPreviewPixels / width(), kMaxPreviewPixels / height());
    scale *= f;
    gap = 16 * f;
  }
  QImage image(Pixels(width()), Pixels(height()), QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  PreparePagePainter(painter);
  auto canvas = std::make_shared<TFmxRptCanvas>(&painter, scale, gap, PageW(Page), PageH(Page));
  canvas->SetFontDirs(Engine.FontDirs());
  Engine.RunPass(Page, canvas, TRenderPass::Drawing(n));
  painter.end();
  operation.Finish(*canvas);
  return image;
}

int32_t RenderPageImages(TReportEngine& Engine, TReportPage& Page, float Zoom, int32_t TotalPages,
                         const TPageImageSink& Sink) {
  TScreenOperation operation(Engine);
  const float scale = PreviewScale(PageW(Page), PageH(Page), Zoom);
  auto canvas = std::make_shared<TPageImageCanvas>(scale, PageW(Page), PageH(Page), Sink);
  canvas->SetFontDirs(Engine.FontDirs());
  Engine.RunPass(Page, canvas, TRenderPass::Drawing(TotalPages));
  operation.Finish(*canvas);
  return canvas->PageIdx();
}

}  // namespace quillet
