// The memo text editor: the memo's text in a multi-line editor, with buttons that wrap the
// selection in a group of the control words the engine's rich-text reader understands (bold,
// italic, colour from a colour table, size in half-points). A plain text becomes rich text at the
// first such change, its own braces and backslashes escaped.
#pragma once

#include <QDialog>
#include <QString>
#include <cstdint>

#include "reportdef/report_model.h"

class QLabel;
class QPlainTextEdit;
class QDoubleSpinBox;

namespace quillet::designer {

enum class TRichFormat { Bold, Italic, Color, Size };

// A text with a selection [From, To) in UTF-16 positions, as the editor has them.
struct TRichEdit {
  QString Text;
  int From = 0;
  int To = 0;
  bool operator==(const TRichEdit&) const = default;
};

// Wraps the selection in a group with Format: Color takes the colour (its alpha is not kept),
// Size the size in points times 100 (1050 is 10.5 points). The selection comes back around the
// same characters; an empty selection comes back inside the new, empty group.
TRichEdit ApplyRichFormat(const TRichEdit& Edit, TRichFormat Format, uint32_t Value = 0);

class TRichTextEditor : public QDialog {
  Q_OBJECT

 public:
  explicit TRichTextEditor(const QString& Text, QWidget* Parent = nullptr);

  QString Text() const;
  QPlainTextEdit* Editor() const noexcept { return FText; }
  void Select(int From, int To);
  // What the buttons do to the selection.
  void Format(TRichFormat Format, uint32_t Value = 0);

 private:
  void UpdatePreview();

  QPlainTextEdit* FText = nullptr;
  QDoubleSpinBox* FSize = nullptr;
  QLabel* FPreview = nullptr;
};

}  // namespace quillet::designer
