// The screen surface: IRptCanvas on a QPainter, for page images, the preview and the printer.
// Report points become device pixels through one scale factor and an offset per page. In the
// preview, pages are painted one below the other with a gap around each, a grey shadow and a
// border (or only one chosen page); on a printer every page is a sheet.
//
// Text is laid out by the PDF canvas's rules with the same font programs, so a page breaks its
// lines, and a report its pages, exactly as the PDF does; Qt only draws each line, in glyphs of
// the same font file at their unhinted advances, at the baseline that layout gives.
#pragma once

#include <QColor>
#include <QRawFont>
#include <QPainter>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "canvas/font_manager.h"
#include "canvas/rpt_canvas.h"

namespace quillet {

// Antialiasing on for shapes, text and scaled images: every painter the screen module paints
// report pages with is set up by this one function, so page images and previews agree pixel for
// pixel.
void PreparePagePainter(QPainter& Painter);

class TFmxRptCanvas : public IRptCanvas {
 public:
  // Preview use: pages stacked vertically with Gap device pixels around and between them. A
  // null Canvas paints nothing and only measures.
  TFmxRptCanvas(QPainter* Canvas, float Scale, float Gap, float PageWpt, float PageHpt);
  // Print use: no gap, each page from the device's top left corner; NextPage starts a new sheet
  // before every page after the first.
  static std::unique_ptr<TFmxRptCanvas> CreateForPrint(QPainter* Canvas, float Scale, float PageWpt, float PageHpt,
                                                       std::function<void()> NextPage);
  ~TFmxRptCanvas() override;

  // Paints only the page with this 0-based index (-1: every page).
  void SetOnlyPageIdx(int32_t Index) noexcept { FOnlyPageIdx = Index; }
  int32_t OnlyPageIdx() const noexcept { return FOnlyPageIdx; }
  int32_t PageIdx() const noexcept { return FPageIdx; }
  float Scale() const noexcept { return FScale; }
  // Font folders searched before the system's fonts; set before the first text.
  void SetFontDirs(std::vector<std::string> Dirs) { FFonts.SetFontDirs(std::move(Dirs)); }
  // Fonts that were substituted.
  const std::vector<std::string>& Warnings() const { return FFonts.Warnings(); }

  void BeginPage(float WidthPt, float HeightPt) override;
  void EndPage() override;
  void FillRect(const TRectF& R, TAlphaColor Color) override;
  void StrokeRect(const TRectF& R, TAlphaColor Color, float W) override;
  void DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) override;
  void DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill, float W) override;
  void DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) override;
  void FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) override;
  void DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA, TRptVertAlign VA,
                bool WordWrap, TAlphaColor Color) override;
  TSizeF MeasureText(const std::string& S, const TRptFont& F) override;
  float MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) override;
  void DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) override;

  // Report points to device pixels on the current page.
  QPointF SXY(const TPointF& P) const { return {P.X * FScale + FOX, P.Y * FScale + FOY}; }
  QRectF MakeRect(const TRectF& R) const;

  // Points the canvas at another painter: a canvas that paints each page into its own image, or
  // one kept across paint events (so its fonts stay loaded), is given each painter in turn.
  void SetPainter(QPainter* Canvas) noexcept { FCanvas = Canvas; }

 private:
  bool Painting() const noexcept { return FCanvas && !FSuppress; }
  QPen StrokePen(TAlphaColor Color, float W) const;
  // Qt's reading of the very font file a face of the font manager came from, sized for this canvas.
  QRawFont RawFontOf(const TPDFFontEntry& Entry, float Size);
  void DrawLineGlyphs(const QRawFont& Font, const std::string& Line, const QPointF& Origin, const QColor& Color);

  QPainter* FCanvas = nullptr;
  float FScale = 1;
  float FGap = 0;
  float FPageWpt = 0;
  float FPageHpt = 0;
  int32_t FPageIdx = 0;
  float FOX = 0;
  float FOY = 0;
  bool FPrintMode = false;
  std::function<void()> FNextPage;
  int32_t FOnlyPageIdx = -1;
  bool FSuppress = false;
  TPDFFontManager FFonts;  // font programs for layout and measuring; never written anywhere
  std::map<std::pair<const TPDFFontEntry*, float>, QRawFont> FRawFonts;
};

}  // namespace quillet
