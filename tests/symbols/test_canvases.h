// Canvases for symbol tests: one records every call with its arguments, one also paints filled
// rectangles into a grey bitmap that a barcode reader can scan.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"

namespace quillet::testing {

enum class TCallKind { BeginPage, EndPage, FillRect, StrokeRect, DrawLine, DrawRoundRect, DrawEllipse, FillPath, DrawText, DrawImage };

// One canvas call; fields a call does not have keep their defaults, so whole calls compare with ==.
struct TCall {
  TCallKind Kind = TCallKind::FillRect;
  TRectF Rect{};
  TPointF P1{}, P2{};
  TAlphaColor Color = 0;   // fill, stroke or text colour
  TAlphaColor Color2 = 0;  // the fill of DrawRoundRect and DrawEllipse
  float Width = 0;
  std::string Text = {};
  TRptFont Font{};
  TRptHorzAlign HAlign = rhaLeft;
  TRptVertAlign VAlign = rvaTop;
  bool WordWrap = false;
  bool operator==(const TCall&) const = default;
};

inline const char* KindName(TCallKind K) {
  static const char* const Names[] = {"BeginPage", "EndPage", "FillRect", "StrokeRect", "DrawLine",
                                      "DrawRoundRect", "DrawEllipse", "FillPath", "DrawText", "DrawImage"};
  return Names[static_cast<int>(K)];
}

// Readable failure output for gtest.
inline void PrintTo(const TCall& C, std::ostream* Os) {
  *Os << KindName(C.Kind) << " rect(" << C.Rect.Left << "," << C.Rect.Top << "," << C.Rect.Right << ","
      << C.Rect.Bottom << ") p(" << C.P1.X << "," << C.P1.Y << ")-(" << C.P2.X << "," << C.P2.Y << ") color "
      << std::hex << C.Color << "/" << C.Color2 << std::dec << " w " << C.Width << " text \"" << C.Text
      << "\" font " << C.Font.Name << " " << C.Font.Size << (C.Font.Bold ? " bold" : "")
      << (C.Font.Italic ? " italic" : "") << " align " << C.HAlign << "/" << C.VAlign
      << (C.WordWrap ? " wrap" : "");
}

inline TCall FillCall(TRectF R, TAlphaColor C) { return TCall{.Kind = TCallKind::FillRect, .Rect = R, .Color = C}; }
inline TCall StrokeCall(TRectF R, TAlphaColor C, float W) {
  return TCall{.Kind = TCallKind::StrokeRect, .Rect = R, .Color = C, .Width = W};
}
inline TCall LineCall(TPointF A, TPointF B, TAlphaColor C, float W) {
  return TCall{.Kind = TCallKind::DrawLine, .P1 = A, .P2 = B, .Color = C, .Width = W};
}
inline TCall TextCall(std::string S, TRectF R, TRptFont F, TRptHorzAlign H, TRptVertAlign V, bool Wrap,
                      TAlphaColor C) {
  return TCall{.Kind = TCallKind::DrawText, .Rect = R, .Color = C, .Text = std::move(S), .Font = std::move(F),
               .HAlign = H, .VAlign = V, .WordWrap = Wrap};
}

class TRecordingCanvas : public IRptCanvas {
 public:
  std::vector<TCall> Calls;

  void BeginPage(float W, float H) override { Calls.push_back({.Kind = TCallKind::BeginPage, .P1 = {W, H}}); }
  void EndPage() override { Calls.push_back({.Kind = TCallKind::EndPage}); }
  void FillRect(const TRectF& R, TAlphaColor C) override { Calls.push_back(FillCall(R, C)); }
  void StrokeRect(const TRectF& R, TAlphaColor C, float W) override { Calls.push_back(StrokeCall(R, C, W)); }
  void DrawLine(const TPointF& A, const TPointF& B, TAlphaColor C, float W) override {
    Calls.push_back(LineCall(A, B, C, W));
  }
  void DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor S, TAlphaColor F, float W) override {
    Calls.push_back({.Kind = TCallKind::DrawRoundRect, .Rect = R, .P1 = {Rx, Ry}, .Color = S, .Color2 = F, .Width = W});
  }
  void DrawEllipse(const TRectF& R, TAlphaColor S, TAlphaColor F, float W) override {
    Calls.push_back({.Kind = TCallKind::DrawEllipse, .Rect = R, .Color = S, .Color2 = F, .Width = W});
  }
  void FillPath(const std::vector<TPointF>& Pts, TAlphaColor C) override {
    Calls.push_back({.Kind = TCallKind::FillPath, .Color = C, .Width = static_cast<float>(Pts.size())});
  }
  void DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign H, TRptVertAlign V,
                bool Wrap, TAlphaColor C) override {
    Calls.push_back(TextCall(S, R, F, H, V, Wrap, C));
  }
  // A fixed-pitch stand-in: half the font size per byte, one font size per line.
  TSizeF MeasureText(const std::string& S, const TRptFont& F) override {
    return {0.5f * F.Size * static_cast<float>(S.size()), F.Size};
  }
  float MeasureWrappedHeight(const std::string&, float, const TRptFont& F) override { return F.Size; }
  void DrawImage(const TRectF& R, const TRptBitmap&, TRptImageScale) override {
    Calls.push_back({.Kind = TCallKind::DrawImage, .Rect = R});
  }
};

// Paints FillRect calls into an 8-bit grey image, Scale pixels per point, starting white, and
// records every call like its base. A pixel is painted when its centre lies inside the rectangle,
// so rectangles meeting at an edge neither overlap nor leave a gap. Other shapes are not painted.
class TRasterCanvas : public TRecordingCanvas {
 public:
  TRasterCanvas(float WidthPt, float HeightPt, float Scale)
      : Width(static_cast<int>(std::lround(WidthPt * Scale))),
        Height(static_cast<int>(std::lround(HeightPt * Scale))),
        Scale(Scale),
        Pixels(static_cast<size_t>(Width) * Height, 255) {}

  const int Width;
  const int Height;
  const float Scale;
  std::vector<uint8_t> Pixels;

  // The texts drawn, in order.
  std::vector<std::string> Texts() const {
    std::vector<std::string> T;
    for (const TCall& C : Calls)
      if (C.Kind == TCallKind::DrawText) T.push_back(C.Text);
    return T;
  }

  void FillRect(const TRectF& R, TAlphaColor C) override {
    TRecordingCanvas::FillRect(R, C);
    if (IsTranspColor(C)) return;
    const int Grey = (299 * ((C >> 16) & 0xFF) + 587 * ((C >> 8) & 0xFF) + 114 * (C & 0xFF)) / 1000;
    auto Px = [&](float V, int Max) { return std::clamp(static_cast<int>(std::ceil(V * Scale - 0.5f)), 0, Max); };
    const int X0 = Px(R.Left, Width), X1 = Px(R.Right, Width), Y0 = Px(R.Top, Height), Y1 = Px(R.Bottom, Height);
    for (int Y = Y0; Y < Y1; ++Y)
      std::fill(Pixels.begin() + static_cast<ptrdiff_t>(Y) * Width + X0,
                Pixels.begin() + static_cast<ptrdiff_t>(Y) * Width + X1, static_cast<uint8_t>(Grey));
  }
};

}  // namespace quillet::testing
