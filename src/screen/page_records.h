// Recorded pages: one drawing pass of a report stores each page's canvas calls in a compact,
// compressed record, and a page is painted at any zoom by replaying its record onto the screen
// canvas. Browsing a long report in the preview then costs one run of the report, not one run
// per page shown, and a replayed page has exactly the pixels a fresh run would paint.
#pragma once

#include <QByteArray>
#include <QImage>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"

namespace quillet {

class TFmxRptCanvas;

class TPageRecorder : public IRptCanvas {
 public:
  // FontDirs: the font folders the measuring (and later the replaying) canvas searches.
  explicit TPageRecorder(std::vector<std::string> FontDirs = {});
  ~TPageRecorder() override;

  int32_t PageCount() const noexcept { return static_cast<int32_t>(FPages.size()); }
  // The page's size in points; {0, 0} for an index out of range.
  TSizeF PageSize(int32_t Index) const;
  // Calls Target.BeginPage, every drawing call of the page in its order, and Target.EndPage.
  // Nothing for an index out of range.
  void Replay(int32_t Index, IRptCanvas& Target) const;
  // Bytes held by the records (compressed pages, fonts, images).
  size_t MemoryBytes() const;
  const std::vector<std::string>& FontDirs() const noexcept { return FFontDirs; }
  // Fonts the measuring canvas substituted.
  const std::vector<std::string>& Warnings() const;
  // Called after each page is recorded, with its 0-based index.
  std::function<void(int32_t PageIndex)> OnPageRecorded;

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

 private:
  struct TPage {
    float Width = 0;
    float Height = 0;
    QByteArray Ops;  // compressed
  };
  void PutU8(uint8_t V) { FOps.push_back(static_cast<char>(V)); }
  void PutU32(uint32_t V);
  void PutF(float V);
  void PutRect(const TRectF& R);
  void PutString(const std::string& S);
  uint32_t FontIndex(const TRptFont& F);
  uint32_t ImageIndex(const TRptBitmap& Bmp);

  std::vector<std::string> FFontDirs;
  std::unique_ptr<TFmxRptCanvas> FMeasure;
  std::vector<TPage> FPages;
  std::string FOps;  // the page being recorded, uncompressed
  bool FInPage = false;
  float FPageW = 0, FPageH = 0;
  std::vector<TRptFont> FFonts;
  std::vector<std::shared_ptr<const TRptBitmap>> FImages;
  std::vector<uint64_t> FImageHashes;
};

// Page Index of the records at Zoom, painted exactly as RenderPreviewPage paints that page.
QImage RenderRecordedPage(const TPageRecorder& Records, int32_t Index, float Zoom);

}  // namespace quillet
