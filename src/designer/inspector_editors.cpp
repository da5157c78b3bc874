#include "designer/inspector_editors.h"

#include <QColorDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <utility>

namespace quillet::designer {

namespace {

std::function<int(QDialog&)>& Runner() {
  static std::function<int(QDialog&)> R;
  return R;
}

// A swatch over a checkerboard, so that translucent colours and "no colour" read as such.
QIcon SwatchIcon(TAlphaColor Color, bool Mixed) {
  QPixmap pm(28, 14);
  pm.fill(Qt::white);
  QPainter p(&pm);
  for (int y = 0; y < pm.height(); y += 7)
    for (int x = (y / 7) % 2 * 7; x < pm.width(); x += 14) p.fillRect(x, y, 7, 7, QColor(0xCC, 0xCC, 0xCC));
  if (!Mixed) p.fillRect(pm.rect(), ToQColor(Color));
  if (!Mixed && (Color >> 24) == 0) {
    p.setPen(QPen(Qt::red, 1.5));
    p.drawLine(0, pm.height(), pm.width(), 0);
  }
  p.setPen(Qt::darkGray);
  p.drawRect(pm.rect().adjusted(0, 0, -1, -1));
  return QIcon(pm);
}

}  // namespace

int RunDialog(QDialog& Dialog) { return Runner() ? Runner()(Dialog) : Dialog.exec(); }

void SetDialogRunner(std::function<int(QDialog&)> R) { Runner() = std::move(R); }

QColor ToQColor(TAlphaColor C) {
  return QColor(static_cast<int>((C >> 16) & 0xFF), static_cast<int>((C >> 8) & 0xFF), static_cast<int>(C & 0xFF),
                static_cast<int>(C >> 24));
}

TAlphaColor FromQColor(const QColor& C) {
  return (TAlphaColor(C.alpha()) << 24) | (TAlphaColor(C.red()) << 16) | (TAlphaColor(C.green()) << 8) |
         TAlphaColor(C.blue());
}

// ---- TColorButton ------------------------------------------------------------------------------

TColorButton::TColorButton(QWidget* Parent) : QToolButton(Parent) {
  setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  setPopupMode(QToolButton::MenuButtonPopup);
  setIconSize(QSize(28, 14));
  auto* menu = new QMenu(this);
  menu->addAction(tr("Choose colour..."), this, &TColorButton::Pick);
  menu->addAction(tr("No colour"), this, [this] { SetColor(FColor & 0x00FFFFFFu); });
  setMenu(menu);
  connect(this, &QToolButton::clicked, this, &TColorButton::Pick);
  ShowColor(0);
}

void TColorButton::ShowColor(TAlphaColor Color, bool Mixed) {
  FColor = Color;
  FMixed = Mixed;
  setIcon(SwatchIcon(Color, Mixed));
  setText(Mixed ? QString() : (Color >> 24) == 0 ? tr("none") : QString::fromStdString(AlphaColorToHex(Color)));
}

void TColorButton::SetColor(TAlphaColor Color) {
  ShowColor(Color);
  emit ColorChosen(Color);
}

void TColorButton::Pick() {
  QColorDialog dlg(ToQColor((FColor >> 24) == 0 ? FColor | 0xFF000000u : FColor), this);
  dlg.setOption(QColorDialog::ShowAlphaChannel);
  dlg.setWindowTitle(tr("Colour"));
  if (RunDialog(dlg) == QDialog::Accepted) SetColor(FromQColor(dlg.currentColor()));
}

// ---- TPathEdit ---------------------------------------------------------------------------------

TPathEdit::TPathEdit(TBrowse Browse, QWidget* Parent) : QWidget(Parent), FBrowse(std::move(Browse)) {
  FLine = new QLineEdit(this);
  FButton = new QToolButton(this);
  FButton->setText("...");
  auto* l = new QHBoxLayout(this);
  l->setContentsMargins(0, 0, 0, 0);
  l->setSpacing(2);
  l->addWidget(FLine, 1);
  l->addWidget(FButton);
  setFocusProxy(FLine);
  connect(FLine, &QLineEdit::editingFinished, this, &TPathEdit::Finish);
  connect(FButton, &QToolButton::clicked, this, &TPathEdit::Browse);
}

QString TPathEdit::Text() const { return FLine->text(); }

void TPathEdit::ShowText(const QString& Text, bool Mixed) {
  FShown = Mixed ? QString() : Text;
  FLine->setPlaceholderText(Mixed ? tr("(different values)") : QString());
  if (FLine->text() != FShown) FLine->setText(FShown);
}

void TPathEdit::Finish() {
  if (FLine->text() == FShown) return;
  FShown = FLine->text();
  emit Edited(FShown);
}

void TPathEdit::Browse() {
  QString result;
  if (!FBrowse || !FBrowse(FLine->text(), result)) return;
  FLine->setText(result);
  Finish();
}

}  // namespace quillet::designer
