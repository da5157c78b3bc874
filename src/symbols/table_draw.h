// Table drawing: a grid of rows and columns with background, header row, per-cell styles, outer
// border, inner grid lines and one line of text per cell, all through IRptCanvas. Used for static
// table elements and for the data tables the engine builds from a data source.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"
#include "reportdef/report_model.h"

namespace quillet {

// How a table looks beyond its grid. Plain value: copying it copies the arrays.
struct TRptTableStyle {
  bool HeaderRow = false;                    // row 0 is a header row
  TAlphaColor HeaderFill = 0;                // fill of the header row (transparent: none)
  bool HeaderBold = true;                    // bold flag of header cells (false makes them plain)
  TAlphaColor HeaderTextColor = 0xFF000000;  // text colour of header cells
  std::vector<float> ColWidths;              // column weights for ComputeTrackSizes
  std::vector<float> RowHeights;             // row weights for ComputeTrackSizes
  std::vector<TCellStyle> CellStyles;        // row-major: index = row * columns + column

  bool operator==(const TRptTableStyle&) const = default;
};

TRptTableStyle DefaultTableStyle();

// The style fields of a table element, copied field by field.
TRptTableStyle TableStyleOf(const TReportElement& Elem);

// Draws a Rows x Cols table into R. Nothing at all is drawn when Rows or Cols is below 1. Texts is
// row-major; missing entries leave their cells empty and extra ones are ignored. A cell's text uses
// Font, TextColor and HAlign, overridden by the header settings in row 0, which are in turn
// overridden by the cell's own style; VAlign applies to every cell. Texts are not wrapped.
void DrawTable(IRptCanvas& Canvas, const TRectF& R, int32_t Rows, int32_t Cols, TAlphaColor BorderColor,
               TAlphaColor BackColor, float BorderWidth, const std::vector<std::string>& Texts,
               const TRptFont& Font, TAlphaColor TextColor, TRptHorzAlign HAlign, TRptVertAlign VAlign,
               const TRptTableStyle& Style);

}  // namespace quillet
