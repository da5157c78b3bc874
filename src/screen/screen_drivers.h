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
#include <string>
#include <vector>

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

// ---- The preview window --------------------------------------------------------------------
// Each opens the modal "Report Preview" window: the pages are counted, then recorded in one
// drawing pass, and each page shown is painted from its record. Print prints the report
// (PrintReport), save exports it to PDF (ExportPDF). Needs a QApplication.

void Preview(TReportEngine& Engine);                           // the engine's ReportFile
void Preview(TReportEngine& Engine, const std::string& FileName);
void Preview(TReportEngine& Engine, TReportPage& Page);         // Page must outlive the window
// Several reports one after the other, each with its own page numbers; printing prints each,
// saving exports all into one PDF. An empty list does nothing.
void Preview(TReportEngine& Engine, const std::vector<std::string>& Files);

// ---- Printing ----------------------------------------------------------------------------------
// Printing paints every page with the screen canvas on the active printer, one job per report,
// each page at the report's own page size. The active printer is the system's default until
// SelectPrinterByName changes it.

// Makes the printer whose name or description equals Name (trimmed, ignoring case) the active
// one; false, and nothing changed, when none does or Name is blank.
bool SelectPrinterByName(const std::string& Name);
// The active printer's name ("" when the system has none).
std::string ActivePrinterName();
void PrintReport(TReportEngine& Engine);  // the engine's ReportFile
void PrintReport(TReportEngine& Engine, const std::string& FileName);
void PrintReport(TReportEngine& Engine, const std::string& FileName, const std::string& PrinterName);
void PrintReport(TReportEngine& Engine, TReportPage& Page);
// Prints Page on PrinterName (or the report's "printerName", or the active printer when that is
// empty or unknown); page events fire as in PDF export.
void PrintReportVector(TReportEngine& Engine, TReportPage& Page, const std::string& PrinterName);

// Shows the engine's messages for the user as message boxes instead of writing them to stderr.
void InstallGuiMessageHook(TReportEngine& Engine);

}  // namespace quillet
