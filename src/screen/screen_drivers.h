// The engine's screen operations: counting pages with the screen canvas, page images for the
// preview and for files, and a composite image of all pages. They run the engine's passes
// (TReportEngine::RunPass) on TFmxRptCanvas. A QGuiApplication must exist (text needs Qt's font
// database); the engine is not re-entrant, so one operation at a time per engine.
//
//   quillet::TReportEngine engine;
//   engine.SetDataSource("Orders", &orders);
//   quillet::TReportPage page;
//   page.LoadFromFile("invoice.qdr");
//   const int32_t pages = quillet::CountReportPages(engine, page);
//   QImage first = quillet::RenderPreviewPage(engine, page, 0, pages, 1.0f);  // 96 pixels per inch
#pragma once

#include <QImage>

#include <cstdint>
#include <functional>

#include "engine/report_engine.h"

namespace quillet {

// Longest side, in pixels, of any page or composite image.
inline constexpr float kMaxPreviewPixels = 8000;

// Pages of the report, at least 1, measured with the screen canvas (the same count as the PDF).
int32_t CountReportPages(TReportEngine& Engine, TReportPage& Page);

// Page PageIndex (0-based within the report) at Zoom (1 = 96 pixels per inch), the larger side at
// most 8000 pixels. "TotalPages" reads TotalPages. The whole report runs; only that page is
// painted.
QImage RenderPreviewPage(TReportEngine& Engine, TReportPage& Page, int32_t PageIndex, int32_t TotalPages,
                         float Zoom);

// Every page, one below the other with a 16-pixel gap around and between them, in one image whose
// larger side is at most 8000 pixels.
QImage RenderPreviewComposite(TReportEngine& Engine, TReportPage& Page, float Zoom);

// Pixels per point at Zoom for a WidthPt x HeightPt page, after the 8000-pixel limit.
float PreviewScale(float WidthPt, float HeightPt, float Zoom);

// Receives each painted page as soon as it is finished: the image (as RenderPreviewPage paints
// it), its 0-based index in the report and its size in points.
using TPageImageSink = std::function<void(const QImage& Image, int32_t PageIndex, float WidthPt, float HeightPt)>;

// One drawing pass that hands every page to Sink and keeps none: the way to write many pages
// as files without holding them. "TotalPages" reads TotalPages. Returns the number of pages.
int32_t RenderPageImages(TReportEngine& Engine, TReportPage& Page, float Zoom, int32_t TotalPages,
                         const TPageImageSink& Sink);

}  // namespace quillet
