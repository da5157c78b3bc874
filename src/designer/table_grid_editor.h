// The grid editor of a table element: its Rows x Cols cell texts, the style of each cell, the
// column widths and fields and the row heights, edited together and applied as one edit.
#pragma once

#include <QDialog>
#include <cstdint>
#include <string>
#include <vector>

#include "designer/expression_editor.h"
#include "reportdef/report_model.h"

class QCheckBox;
class QComboBox;
class QSpinBox;
class QTableWidget;

namespace quillet::designer {

class TColorButton;

// A table's grid with every list at its full size: Cells and Styles hold Rows x Cols entries row
// by row, ColFields one per column. Empty ColWidths or RowHeights mean equal tracks.
struct TTableGrid {
  int32_t Rows = 3;
  int32_t Cols = 3;
  std::vector<std::string> Cells;
  std::vector<TCellStyle> Styles;
  std::vector<float> ColWidths;
  std::vector<float> RowHeights;
  std::vector<std::string> ColFields;
  bool operator==(const TTableGrid&) const = default;
};

// The grid of a table, lists padded or cut to its size.
TTableGrid TableGridOf(const TReportElement& Table);
// Gives Grid a new size keeping every cell at its row and column.
void ResizeTableGrid(TTableGrid& Grid, int32_t Rows, int32_t Cols);
// Stores Grid in Table. Lists that say nothing (no text in any cell, no cell with a style of its
// own, no field) are stored empty, as a table that never had them.
void ApplyTableGrid(const TTableGrid& Grid, TReportElement& Table);

class TTableGridEditor : public QDialog {
  Q_OBJECT

 public:
  TTableGridEditor(const TTableGrid& Grid, TExprContext Context, QWidget* Parent = nullptr);

  // The grid as the editor's widgets hold it.
  TTableGrid Grid() const;
  void SetGrid(const TTableGrid& Grid);

  QSpinBox* RowCount() const noexcept { return FRows; }
  QSpinBox* ColCount() const noexcept { return FCols; }
  // Rows x Cols cell texts.
  QTableWidget* Cells() const noexcept { return FCells; }
  // Two rows ("Width", "Field") by Cols columns; a blank width is 1 when any width is given.
  QTableWidget* Columns() const noexcept { return FColumns; }
  // Rows rows by one column of heights, blank as for widths.
  QTableWidget* RowHeights() const noexcept { return FRowHeights; }
  // The style of one cell, as the style controls set it for the current cell.
  void SetCellStyle(int Row, int Col, const TCellStyle& Style);
  // Opens the expression editor on the current cell.
  void EditCellExpression();

 private:
  void Resize(int Rows, int Cols);
  void ShowCellStyle();
  void StoreCellStyle();

  TExprContext FContext;
  std::vector<TCellStyle> FStyles;  // Rows x Cols, kept beside the cell texts
  bool FUpdating = false;
  QSpinBox* FRows = nullptr;
  QSpinBox* FCols = nullptr;
  QTableWidget* FCells = nullptr;
  QTableWidget* FColumns = nullptr;
  QTableWidget* FRowHeights = nullptr;
  QCheckBox* FOwnStyle = nullptr;
  QCheckBox* FBold = nullptr;
  QCheckBox* FItalic = nullptr;
  TColorButton* FTextColor = nullptr;
  TColorButton* FFill = nullptr;
  QComboBox* FAlign = nullptr;
};

}  // namespace quillet::designer
