#include "designer/table_grid_editor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "designer/inspector_editors.h"

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

QString Num(float V) { return QLocale::c().toString(static_cast<double>(V), 'g', 7); }

// The text of a cell, "" for a cell never filled in.
QString ItemText(const QTableWidget* T, int Row, int Col) {
  const QTableWidgetItem* I = T->item(Row, Col);
  return I ? I->text() : QString();
}

void SetItemText(QTableWidget* T, int Row, int Col, const QString& Text) {
  if (QTableWidgetItem* I = T->item(Row, Col))
    I->setText(Text);
  else
    T->setItem(Row, Col, new QTableWidgetItem(Text));
}

// Track weights from a row or column of cells: none when all are blank, else blanks count 1.
std::vector<float> ReadWeights(const std::vector<QString>& Texts) {
  if (std::all_of(Texts.begin(), Texts.end(), [](const QString& S) { return S.trimmed().isEmpty(); })) return {};
  std::vector<float> W;
  for (const QString& S : Texts) {
    bool Ok = false;
    const float V = QLocale::c().toFloat(S.trimmed(), &Ok);
    W.push_back(S.trimmed().isEmpty() || !Ok ? 1.0f : V);
  }
  return W;
}

constexpr int32_t kMaxGridSide = 1000;

}  // namespace

TTableGrid TableGridOf(const TReportElement& T) {
  TTableGrid G;
  G.Rows = std::clamp<int32_t>(T.Rows, 0, kMaxGridSide);
  G.Cols = std::clamp<int32_t>(T.Cols, 0, kMaxGridSide);
  const size_t N = static_cast<size_t>(G.Rows) * static_cast<size_t>(G.Cols);
  G.Cells = T.CellTexts;
  G.Cells.resize(N);
  G.Styles = T.CellStyles;
  G.Styles.resize(N);
  // Weights of another count than the tracks are not used (the tracks are equal).
  if (T.ColWidths.size() == static_cast<size_t>(G.Cols)) G.ColWidths = T.ColWidths;
  if (T.RowHeights.size() == static_cast<size_t>(G.Rows)) G.RowHeights = T.RowHeights;
  G.ColFields = T.ColFields;
  G.ColFields.resize(static_cast<size_t>(G.Cols));
  return G;
}

void ResizeTableGrid(TTableGrid& G, int32_t Rows, int32_t Cols) {
  Rows = std::clamp<int32_t>(Rows, 0, kMaxGridSide);
  Cols = std::clamp<int32_t>(Cols, 0, kMaxGridSide);
  std::vector<std::string> Cells(static_cast<size_t>(Rows) * static_cast<size_t>(Cols));
  std::vector<TCellStyle> Styles(Cells.size());
  for (int32_t R = 0; R < std::min(Rows, G.Rows); ++R)
    for (int32_t C = 0; C < std::min(Cols, G.Cols); ++C) {
      const size_t From = static_cast<size_t>(R) * G.Cols + C, To = static_cast<size_t>(R) * Cols + C;
      if (From < G.Cells.size()) Cells[To] = std::move(G.Cells[From]);
      if (From < G.Styles.size()) Styles[To] = G.Styles[From];
    }
  G.Cells = std::move(Cells);
  G.Styles = std::move(Styles);
  if (!G.ColWidths.empty()) G.ColWidths.resize(static_cast<size_t>(Cols), 1.0f);
  if (!G.RowHeights.empty()) G.RowHeights.resize(static_cast<size_t>(Rows), 1.0f);
  G.ColFields.resize(static_cast<size_t>(Cols));
  G.Rows = Rows;
  G.Cols = Cols;
}

void ApplyTableGrid(const TTableGrid& G, TReportElement& T) {
  T.Rows = G.Rows;
  T.Cols = G.Cols;
  const bool AnyText = std::any_of(G.Cells.begin(), G.Cells.end(), [](const std::string& S) { return !S.empty(); });
  T.CellTexts = AnyText ? G.Cells : std::vector<std::string>{};
  const bool AnyStyle = std::any_of(G.Styles.begin(), G.Styles.end(), [](const TCellStyle& S) { return S.HasStyle; });
  T.CellStyles = AnyStyle ? G.Styles : std::vector<TCellStyle>{};
  T.ColWidths = G.ColWidths;
  T.RowHeights = G.RowHeights;
  const bool AnyField =
      std::any_of(G.ColFields.begin(), G.ColFields.end(), [](const std::string& S) { return !S.empty(); });
  T.ColFields = AnyField ? G.ColFields : std::vector<std::string>{};
}

TTableGridEditor::TTableGridEditor(const TTableGrid& Grid, TExprContext Context, QWidget* Parent)
    : QDialog(Parent), FContext(std::move(Context)) {
  setWindowTitle(tr("Table grid"));
  FRows = new QSpinBox(this);
  FCols = new QSpinBox(this);
  FRows->setRange(0, kMaxGridSide);
  FCols->setRange(0, kMaxGridSide);
  FRows->setKeyboardTracking(false);
  FCols->setKeyboardTracking(false);
  FCells = new QTableWidget(this);
  FColumns = new QTableWidget(2, 0, this);
  FColumns->setVerticalHeaderLabels({tr("Width"), tr("Field")});
  FColumns->setMaximumHeight(90);
  FRowHeights = new QTableWidget(0, 1, this);
  FRowHeights->setHorizontalHeaderLabels({tr("Height")});
  FRowHeights->setMaximumWidth(120);

  auto* size = new QHBoxLayout;
  size->addWidget(new QLabel(tr("Rows"), this));
  size->addWidget(FRows);
  size->addWidget(new QLabel(tr("Columns"), this));
  size->addWidget(FCols);
  size->addStretch(1);

  auto* style = new QGroupBox(tr("Current cell"), this);
  FOwnStyle = new QCheckBox(tr("Own style"), style);
  FBold = new QCheckBox(tr("Bold"), style);
  FItalic = new QCheckBox(tr("Italic"), style);
  FTextColor = new TColorButton(style);
  FFill = new TColorButton(style);
  FAlign = new QComboBox(style);
  FAlign->addItems({tr("Left"), tr("Center"), tr("Right")});
  auto* expr = new QPushButton(tr("Expression..."), style);
  auto* styleForm = new QFormLayout(style);
  styleForm->addRow(FOwnStyle);
  styleForm->addRow(FBold);
  styleForm->addRow(FItalic);
  styleForm->addRow(tr("Text colour"), FTextColor);
  styleForm->addRow(tr("Fill"), FFill);
  styleForm->addRow(tr("Alignment"), FAlign);
  styleForm->addRow(expr);

  auto* middle = new QHBoxLayout;
  middle->addWidget(FCells, 1);
  middle->addWidget(FRowHeights);
  middle->addWidget(style);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(size);
  layout->addLayout(middle, 1);
  layout->addWidget(new QLabel(tr("Columns: width weights (blank: equal) and data fields of a data table"), this));
  layout->addWidget(FColumns);
  layout->addWidget(buttons);

  connect(FRows, &QSpinBox::valueChanged, this, [this](int V) { Resize(V, FCols->value()); });
  connect(FCols, &QSpinBox::valueChanged, this, [this](int V) { Resize(FRows->value(), V); });
  connect(FCells, &QTableWidget::currentCellChanged, this, &TTableGridEditor::ShowCellStyle);
  for (QCheckBox* B : {FOwnStyle, FBold, FItalic})
    connect(B, &QCheckBox::toggled, this, &TTableGridEditor::StoreCellStyle);
  for (TColorButton* B : {FTextColor, FFill})
    connect(B, &TColorButton::ColorChosen, this, &TTableGridEditor::StoreCellStyle);
  connect(FAlign, &QComboBox::currentIndexChanged, this, &TTableGridEditor::StoreCellStyle);
  connect(expr, &QPushButton::clicked, this, &TTableGridEditor::EditCellExpression);
  SetGrid(Grid);
  resize(760, 480);
}

TTableGrid TTableGridEditor::Grid() const {
  TTableGrid G;
  G.Rows = FCells->rowCount();
  G.Cols = FCells->columnCount();
  for (int R = 0; R < G.Rows; ++R)
    for (int C = 0; C < G.Cols; ++C) G.Cells.push_back(ItemText(FCells, R, C).toStdString());
  G.Styles = FStyles;
  G.Styles.resize(G.Cells.size());
  std::vector<QString> Widths, Heights;
  for (int C = 0; C < G.Cols; ++C) {
    Widths.push_back(ItemText(FColumns, 0, C));
    G.ColFields.push_back(ItemText(FColumns, 1, C).trimmed().toStdString());
  }
  for (int R = 0; R < G.Rows; ++R) Heights.push_back(ItemText(FRowHeights, R, 0));
  G.ColWidths = ReadWeights(Widths);
  G.RowHeights = ReadWeights(Heights);
  return G;
}

void TTableGridEditor::SetGrid(const TTableGrid& G) {
  FUpdating = true;
  FRows->setValue(G.Rows);
  FCols->setValue(G.Cols);
  FCells->clear();
  FCells->setRowCount(G.Rows);
  FCells->setColumnCount(G.Cols);
  FColumns->setColumnCount(G.Cols);
  FRowHeights->setRowCount(G.Rows);
  FStyles = G.Styles;
  FStyles.resize(static_cast<size_t>(G.Rows) * static_cast<size_t>(G.Cols));
  for (int R = 0; R < G.Rows; ++R) {
    for (int C = 0; C < G.Cols; ++C) {
      const size_t K = static_cast<size_t>(R) * G.Cols + C;
      SetItemText(FCells, R, C, K < G.Cells.size() ? Utf8(G.Cells[K]) : QString());
      SetCellStyle(R, C, FStyles[K]);
    }
    SetItemText(FRowHeights, R, 0, static_cast<size_t>(R) < G.RowHeights.size() ? Num(G.RowHeights[R]) : QString());
  }
  for (int C = 0; C < G.Cols; ++C) {
    SetItemText(FColumns, 0, C, static_cast<size_t>(C) < G.ColWidths.size() ? Num(G.ColWidths[C]) : QString());
    SetItemText(FColumns, 1, C, static_cast<size_t>(C) < G.ColFields.size() ? Utf8(G.ColFields[C]) : QString());
  }
  FUpdating = false;
  if (G.Rows > 0 && G.Cols > 0) FCells->setCurrentCell(0, 0);
  ShowCellStyle();
}

void TTableGridEditor::SetCellStyle(int Row, int Col, const TCellStyle& Style) {
  if (Row < 0 || Col < 0 || Row >= FCells->rowCount() || Col >= FCells->columnCount()) return;
  FStyles[static_cast<size_t>(Row) * FCells->columnCount() + Col] = Style;
  if (!FCells->item(Row, Col)) FCells->setItem(Row, Col, new QTableWidgetItem);
  QTableWidgetItem* I = FCells->item(Row, Col);
  QFont F = FCells->font();
  F.setBold(Style.HasStyle && Style.Bold);
  F.setItalic(Style.HasStyle && Style.Italic);
  I->setFont(F);
  I->setBackground(Style.HasStyle && (Style.Fill >> 24) != 0 ? QBrush(ToQColor(Style.Fill)) : QBrush());
  I->setForeground(Style.HasStyle ? QBrush(ToQColor(Style.TextColor | 0xFF000000u)) : QBrush());
  const Qt::Alignment H = !Style.HasStyle || Style.HAlign == rhaLeft ? Qt::AlignLeft
                          : Style.HAlign == rhaCenter                ? Qt::AlignHCenter
                                                                     : Qt::AlignRight;
  I->setTextAlignment(H | Qt::AlignVCenter);
}

void TTableGridEditor::Resize(int Rows, int Cols) {
  if (FUpdating) return;
  TTableGrid G = Grid();
  ResizeTableGrid(G, Rows, Cols);
  SetGrid(G);
}

void TTableGridEditor::ShowCellStyle() {
  const int R = FCells->currentRow(), C = FCells->currentColumn();
  const bool Valid = R >= 0 && C >= 0;
  TCellStyle S;
  S.TextColor = 0xFF000000;
  if (Valid) S = FStyles[static_cast<size_t>(R) * FCells->columnCount() + C];
  FUpdating = true;
  FOwnStyle->setEnabled(Valid);
  FOwnStyle->setChecked(S.HasStyle);
  for (QWidget* W : std::initializer_list<QWidget*>{FBold, FItalic, FTextColor, FFill, FAlign})
    W->setEnabled(Valid && S.HasStyle);
  FBold->setChecked(S.Bold);
  FItalic->setChecked(S.Italic);
  FTextColor->ShowColor(S.TextColor);
  FFill->ShowColor(S.Fill);
  FAlign->setCurrentIndex(static_cast<int>(S.HAlign));
  FUpdating = false;
}

void TTableGridEditor::StoreCellStyle() {
  if (FUpdating) return;
  const int R = FCells->currentRow(), C = FCells->currentColumn();
  if (R < 0 || C < 0) return;
  TCellStyle S;
  S.HasStyle = FOwnStyle->isChecked();
  if (S.HasStyle) {
    S.Bold = FBold->isChecked();
    S.Italic = FItalic->isChecked();
    S.TextColor = FTextColor->Color();
    S.Fill = FFill->Color();
    S.HAlign = static_cast<TRptHorzAlign>(std::max(0, FAlign->currentIndex()));
  } else {
    S.TextColor = 0xFF000000;
  }
  SetCellStyle(R, C, S);
  ShowCellStyle();
}

void TTableGridEditor::EditCellExpression() {
  const int R = FCells->currentRow(), C = FCells->currentColumn();
  if (R < 0 || C < 0) return;
  TExpressionEditor dlg(ItemText(FCells, R, C), TExprMode::Template, FContext, this);
  if (RunDialog(dlg) == QDialog::Accepted) SetItemText(FCells, R, C, dlg.Text());
}

}  // namespace quillet::designer
