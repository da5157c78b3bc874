// The one drawing surface of the engine. The band walker, barcodes, QR codes and tables paint a
// page only through IRptCanvas; the PDF canvas writes page content, the screen canvas paints a
// bitmap. All coordinates are points with the origin at the top left and y growing downwards.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "reportdef/report_model.h"

namespace quillet {

// A point in page coordinates.
struct TPointF {
  float X = 0;
  float Y = 0;
  friend bool operator==(const TPointF&, const TPointF&) = default;
};

struct TSizeF {
  float Width = 0;
  float Height = 0;
  friend bool operator==(const TSizeF&, const TSizeF&) = default;
};

// A font request: family, size in points and style. Text colour is an argument of DrawText.
struct TRptFont {
  std::string Name;
  float Size = 0;
  bool Bold = false;
  bool Italic = false;
  friend bool operator==(const TRptFont&, const TRptFont&) = default;
};

// Shorthand for building a TRptFont in one expression.
inline TRptFont RptFont(std::string Name, float Size, bool Bold, bool Italic) {
  return TRptFont{std::move(Name), Size, Bold, Italic};
}

// A colour whose alpha byte is zero is "no colour": such fills and strokes are not painted.
inline bool IsTranspColor(TAlphaColor C) { return (C >> 24) == 0; }

// The file an image was decoded from, kept so that a canvas able to embed it as it is (the PDF
// canvas and a JPEG) need not re-encode the pixels.
enum TRptImageFormat { rifPng, rifJpeg };
struct TRptImageSource {
  TRptImageFormat Format = rifPng;
  std::vector<uint8_t> Bytes;
};

// A framework-independent image: straight (not premultiplied) 8-bit RGBA pixels, rows packed top
// to bottom, 4 * Width bytes each. Source, when set, is the encoded file these pixels came from;
// canvases that do not use it ignore it.
struct TRptBitmap {
  int32_t Width = 0;
  int32_t Height = 0;
  std::vector<uint8_t> Pixels;
  std::shared_ptr<const TRptImageSource> Source = nullptr;

  bool IsEmpty() const { return Width <= 0 || Height <= 0; }
  // True when any pixel is not fully opaque.
  bool HasTransparency() const;
};

// Implement it to send reports somewhere new (TReportEngine::RunPass draws onto any canvas).
// Widths W are line widths in points; transparent colours (IsTranspColor) paint nothing.
class IRptCanvas {
 public:
  virtual ~IRptCanvas() = default;

  // Starts a page of the given size; every drawing call belongs between BeginPage and EndPage.
  virtual void BeginPage(float WidthPt, float HeightPt) = 0;
  virtual void EndPage() = 0;
  virtual void FillRect(const TRectF& R, TAlphaColor Color) = 0;
  // Outlines R.
  virtual void StrokeRect(const TRectF& R, TAlphaColor Color, float W) = 0;
  virtual void DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) = 0;
  // Note the order: stroke colour before fill colour.
  virtual void DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill,
                             float W) = 0;
  // The ellipse inscribed in R, filled then outlined.
  virtual void DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) = 0;
  // Fills the closed polygon through Pts.
  virtual void FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) = 0;
  // Draws UTF-8 text aligned inside R, on one line or wrapped at R's width.
  virtual void DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA,
                        TRptVertAlign VA, bool WordWrap, TAlphaColor Color) = 0;
  // Width and one-line height of S. May be called outside a page.
  virtual TSizeF MeasureText(const std::string& S, const TRptFont& F) = 0;
  // Total height of S wrapped to width W. May be called outside a page.
  virtual float MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) = 0;
  // Draws Bmp into R as Mode says (see ComputeImagePlacement).
  virtual void DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) = 0;
};

using IRptCanvasPtr = std::shared_ptr<IRptCanvas>;

}  // namespace quillet
