#include "symbols/table_draw.h"

#include <algorithm>

namespace quillet {
namespace {

// Cell k of a table with Cols columns; k is bounded by an array size, so the walk over styles or
// texts never goes past what the caller supplied, however large Rows x Cols is.
struct TCellPos {
  int32_t Row;
  int32_t Col;
};
TCellPos CellAt(size_t K, int32_t Cols) {
  return {static_cast<int32_t>(K / static_cast<size_t>(Cols)), static_cast<int32_t>(K % static_cast<size_t>(Cols))};
}

// Edges from the track sizes; the last edge is the rectangle's own, so float rounding never leaves
// a gap or overhang at the far side.
std::vector<float> Edges(float Start, float End, const std::vector<float>& Sizes) {
  std::vector<float> E(Sizes.size() + 1);
  E[0] = Start;
  for (size_t i = 0; i < Sizes.size(); ++i) E[i + 1] = E[i] + Sizes[i];
  E.back() = End;
  return E;
}

}  // namespace

TRptTableStyle DefaultTableStyle() { return TRptTableStyle{}; }

TRptTableStyle TableStyleOf(const TReportElement& Elem) {
  TRptTableStyle S;
  S.HeaderRow = Elem.HeaderRow;
  S.HeaderFill = Elem.HeaderFill;
  S.HeaderBold = Elem.HeaderBold;
  S.HeaderTextColor = Elem.HeaderTextColor;
  S.ColWidths = Elem.ColWidths;
  S.RowHeights = Elem.RowHeights;
  S.CellStyles = Elem.CellStyles;
  return S;
}

void DrawTable(IRptCanvas& Canvas, const TRectF& R, int32_t Rows, int32_t Cols, TAlphaColor BorderColor,
               TAlphaColor BackColor, float BorderWidth, const std::vector<std::string>& Texts,
               const TRptFont& Font, TAlphaColor TextColor, TRptHorzAlign HAlign, TRptVertAlign VAlign,
               const TRptTableStyle& Style) {
  if (Rows <= 0 || Cols <= 0) return;
  if (!IsTranspColor(BackColor)) Canvas.FillRect(R, BackColor);

  std::vector<float> Widths, Heights;
  ComputeTrackSizes(Cols, Style.ColWidths, R.Width(), Widths);
  ComputeTrackSizes(Rows, Style.RowHeights, R.Height(), Heights);
  const std::vector<float> X = Edges(R.Left, R.Right, Widths);
  const std::vector<float> Y = Edges(R.Top, R.Bottom, Heights);
  const size_t Cells = static_cast<size_t>(Rows) * static_cast<size_t>(Cols);

  if (Style.HeaderRow && !IsTranspColor(Style.HeaderFill))
    Canvas.FillRect(TRectF{R.Left, Y[0], R.Right, Y[1]}, Style.HeaderFill);

  // Cell fills come after the header fill so that a styled header cell shows its own fill.
  const size_t Styled = std::min(Cells, Style.CellStyles.size());
  for (size_t K = 0; K < Styled; ++K) {
    const TCellStyle& CS = Style.CellStyles[K];
    if (!CS.HasStyle || IsTranspColor(CS.Fill)) continue;
    const TCellPos P = CellAt(K, Cols);
    Canvas.FillRect(TRectF{X[P.Col], Y[P.Row], X[P.Col + 1], Y[P.Row + 1]}, CS.Fill);
  }

  Canvas.StrokeRect(R, BorderColor, BorderWidth);
  for (int32_t C = 1; C < Cols; ++C)
    Canvas.DrawLine(TPointF{X[C], R.Top}, TPointF{X[C], R.Bottom}, BorderColor, BorderWidth);
  for (int32_t Row = 1; Row < Rows; ++Row)
    Canvas.DrawLine(TPointF{R.Left, Y[Row]}, TPointF{R.Right, Y[Row]}, BorderColor, BorderWidth);

  const size_t WithText = std::min(Cells, Texts.size());
  for (size_t K = 0; K < WithText; ++K) {
    if (Texts[K].empty()) continue;
    const TCellPos P = CellAt(K, Cols);
    TRptFont F = Font;
    TAlphaColor Color = TextColor;
    TRptHorzAlign HA = HAlign;
    if (Style.HeaderRow && P.Row == 0) {
      F.Bold = Style.HeaderBold;
      Color = Style.HeaderTextColor;
    }
    // A cell's own style wins over the header settings.
    if (K < Style.CellStyles.size() && Style.CellStyles[K].HasStyle) {
      const TCellStyle& CS = Style.CellStyles[K];
      F.Bold = CS.Bold;
      F.Italic = CS.Italic;
      Color = CS.TextColor;
      HA = CS.HAlign;
    }
    const TRectF Inset{X[P.Col] + 2, Y[P.Row] + 1, X[P.Col + 1] - 2, Y[P.Row + 1] - 1};
    Canvas.DrawText(Texts[K], Inset, F, HA, VAlign, false, Color);
  }
}

}  // namespace quillet
