// Where text goes in its box. Every canvas that must break lines and pages exactly as the PDF
// does (the screen canvas, the printer) places text by these rules and the PDF canvas's line
// breaking (TPdfRptCanvas::WrapText), measured with the same font program.
#pragma once

#include <cstddef>

#include "canvas/pdf_font.h"
#include "canvas/rpt_canvas.h"

namespace quillet {

// Vertical metrics of a font at a size, in points: ascent, one line's height (ascent to
// descent) and the distance from one baseline to the next (1.15 lines).
struct TTextMetrics {
  double Ascent = 0;
  double Height = 0;
  double Step = 0;
};

TTextMetrics TextMetricsOf(const TPDFFont& Font, double Size);

// Height of Lines lines: the steps between them plus one line.
inline double TextBlockHeight(const TTextMetrics& M, size_t Lines) {
  return (static_cast<double>(Lines) - 1) * M.Step + M.Height;
}

// Top of a block of Lines lines in R: at the top, centred, or at the bottom.
double TextBlockTop(const TRectF& R, TRptVertAlign VA, size_t Lines, const TTextMetrics& M);

// Left end of a line Width points wide in R: 2 points in from the left, centred, or 2 points in
// from the right.
double TextLineX(const TRectF& R, TRptHorzAlign HA, double Width);

// Baseline of line Index of a block whose top is Top. A line whose top lies below R's bottom is
// not drawn, nor is any after it.
inline double TextBaseline(double Top, const TTextMetrics& M, size_t Index) {
  return Top + M.Ascent + static_cast<double>(Index) * M.Step;
}
inline bool TextLineBelowBox(const TRectF& R, double Baseline, const TTextMetrics& M) {
  return Baseline - M.Ascent > R.Bottom;
}

// Wrapping leaves 2 points free at each side of the box.
inline double TextWrapWidth(const TRectF& R) { return static_cast<double>(R.Right - R.Left) - 4; }

}  // namespace quillet
