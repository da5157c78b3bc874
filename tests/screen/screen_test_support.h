// Helpers of the screen tests: small images painted through the screen canvas, and what can be
// read back from pixels (where a colour or the ink is, which rows hold ink).
#pragma once

#include <QImage>
#include <QPainter>
#include <QRect>

#include <cstdlib>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include "screen/fmx_canvas.h"

namespace quillet::screentest {

// A white image with a painter and a canvas on it, set up as the screen drivers set theirs up.
struct TPaintedImage {
  TPaintedImage(int W, int H, float Scale, float Gap, float PageW = 200, float PageH = 100)
      : Image(W, H, QImage::Format_RGB32) {
    Image.fill(Qt::white);
    Painter = std::make_unique<QPainter>(&Image);
    PreparePagePainter(*Painter);
    Canvas = std::make_unique<TFmxRptCanvas>(Painter.get(), Scale, Gap, PageW, PageH);
  }
  QImage& Done() {  // ends painting
    Painter->end();
    return Image;
  }
  QImage Image;
  std::unique_ptr<QPainter> Painter;
  std::unique_ptr<TFmxRptCanvas> Canvas;
};

using TPixelTest = std::function<bool(QRgb)>;

// Mostly this colour: the pixels at least half covered by a fill of C on white.
inline TPixelTest Near(QRgb C, int Tolerance = 64) {
  return [C, Tolerance](QRgb P) {
    return std::abs(qRed(P) - qRed(C)) <= Tolerance && std::abs(qGreen(P) - qGreen(C)) <= Tolerance &&
           std::abs(qBlue(P) - qBlue(C)) <= Tolerance;
  };
}

// Dark ink: text, rules and barcodes, not light fills or half-covered edges of grey frames.
inline bool IsInk(QRgb P) { return qGray(P) < 160; }

// The smallest rectangle holding every pixel of a 32-bit image that passes Test (null when none does).
inline QRect BoxOf(const QImage& Image, const TPixelTest& Test) {
  QRect box;
  for (int y = 0; y < Image.height(); ++y)
    for (int x = 0; x < Image.width(); ++x)
      if (Test(reinterpret_cast<const QRgb*>(Image.constScanLine(y))[x])) box |= QRect(x, y, 1, 1);
  return box;
}

// Both corners within Tolerance pixels.
inline bool SameBox(const QRect& A, const QRect& B, int Tolerance = 1) {
  return std::abs(A.left() - B.left()) <= Tolerance && std::abs(A.top() - B.top()) <= Tolerance &&
         std::abs(A.right() - B.right()) <= Tolerance && std::abs(A.bottom() - B.bottom()) <= Tolerance;
}

// Rows of Area that hold a pixel darker than Threshold, as runs [first, last]: the text lines and
// rules of a page.
inline std::vector<std::pair<int, int>> InkRows(const QImage& Image, const QRect& Area, int Threshold = 160) {
  std::vector<std::pair<int, int>> runs;
  for (int y = Area.top(); y <= Area.bottom(); ++y) {
    bool ink = false;
    for (int x = Area.left(); x <= Area.right() && !ink; ++x) ink = qGray(Image.pixel(x, y)) < Threshold;
    if (ink && (runs.empty() || runs.back().second != y - 1)) runs.push_back({y, y});
    if (ink) runs.back().second = y;
  }
  return runs;
}

}  // namespace quillet::screentest

inline void PrintTo(const QRect& R, std::ostream* Os) {
  *Os << "(" << R.left() << "," << R.top() << ")-(" << R.right() << "," << R.bottom() << ")";
}
