#include "canvas/text_layout.h"

namespace quillet {

TTextMetrics TextMetricsOf(const TPDFFont& Font, double Size) {
  TTextMetrics m;
  m.Ascent = Font.AscentScaled() / 1000.0 * Size;
  m.Height = (Font.AscentScaled() - Font.DescentScaled()) / 1000.0 * Size;
  m.Step = 1.15 * m.Height;
  return m;
}

double TextBlockTop(const TRectF& R, TRptVertAlign VA, size_t Lines, const TTextMetrics& M) {
  const double blockHeight = TextBlockHeight(M, Lines);
  const double boxHeight = static_cast<double>(R.Bottom) - R.Top;
  if (VA == rvaCenter) return R.Top + (boxHeight - blockHeight) / 2;
  if (VA == rvaBottom) return R.Bottom - blockHeight;
  return R.Top;
}

double TextLineX(const TRectF& R, TRptHorzAlign HA, double Width) {
  if (HA == rhaCenter) return R.Left + ((static_cast<double>(R.Right) - R.Left) - Width) / 2;
  if (HA == rhaRight) return R.Right - 2 - Width;
  return R.Left + 2.0;
}

}  // namespace quillet
