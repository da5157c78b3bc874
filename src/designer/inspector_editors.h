// The small editors the inspector builds its rows from: a colour button with its picker, a line
// with a "..." button that opens a dialog, and the one place every such dialog is run from, so
// that tests can answer a dialog without showing it.
#pragma once

#include <QToolButton>
#include <QWidget>
#include <functional>

#include "reportdef/report_model.h"

class QDialog;
class QLineEdit;

namespace quillet::designer {

// Runs a modal dialog and returns its result (QDialog::Accepted or Rejected). By default it is
// Dialog.exec(); SetDialogRunner replaces that for the whole program (tests fill the dialog in and
// accept it), an empty runner restores it.
int RunDialog(QDialog& Dialog);
void SetDialogRunner(std::function<int(QDialog&)> Runner);

QColor ToQColor(TAlphaColor Color);
TAlphaColor FromQColor(const QColor& Color);

// A swatch of a colour. Clicking opens the colour picker (with alpha); its menu also offers
// "No colour" (alpha 0). Choosing emits ColorChosen; ShowColor only shows.
class TColorButton : public QToolButton {
  Q_OBJECT

 public:
  explicit TColorButton(QWidget* Parent = nullptr);

  TAlphaColor Color() const noexcept { return FColor; }
  bool Mixed() const noexcept { return FMixed; }
  // Shows Color, or a blank swatch for a selection whose colours differ.
  void ShowColor(TAlphaColor Color, bool Mixed = false);
  // What the picker does when the user accepts a colour: shows it and emits ColorChosen.
  void SetColor(TAlphaColor Color);
  // Opens the picker through RunDialog.
  void Pick();

 signals:
  void ColorChosen(TAlphaColor Color);

 private:
  TAlphaColor FColor = 0;
  bool FMixed = false;
};

// A line edit with a "..." button beside it. Finishing an edit that changed the text emits
// Edited; the button runs the browser function, whose answer (when it gives one) goes into the
// line and is emitted the same way.
class TPathEdit : public QWidget {
  Q_OBJECT

 public:
  // Given the current text, returns true and sets Result to take a new text.
  using TBrowse = std::function<bool(const QString& Current, QString& Result)>;

  TPathEdit(TBrowse Browse, QWidget* Parent = nullptr);

  QLineEdit* LineEdit() const noexcept { return FLine; }
  QToolButton* Button() const noexcept { return FButton; }
  QString Text() const;
  // Shows Text without emitting; Mixed shows an empty line with a hint.
  void ShowText(const QString& Text, bool Mixed = false);
  // Runs the browser as the button does.
  void Browse();

 signals:
  void Edited(const QString& Text);

 private:
  void Finish();

  TBrowse FBrowse;
  QLineEdit* FLine = nullptr;
  QToolButton* FButton = nullptr;
  QString FShown;
};

}  // namespace quillet::designer
