#include "designer/rich_text_editor.h"

#include <QColorDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "designer/inspector_editors.h"
#include "engine/rich_text.h"

namespace quillet::designer {

namespace {

const QString kRtfStart = QStringLiteral("{\\rtf");

// The characters of plain text that mean something in rich text, written as text.
QString Escape(QStringView S) {
  QString R;
  for (QChar C : S) {
    if (C == '\\' || C == '{' || C == '}') {
      R += QChar('\\');
      R += C;
    } else if (C == '\n') {
      R += QStringLiteral("\\par ");
    } else {
      R += C;
    }
  }
  return R;
}

void Insert(TRichEdit& E, int At, const QString& What) {
  E.Text.insert(At, What);
  if (At <= E.From) E.From += What.size();
  if (At <= E.To) E.To += What.size();
}

// Plain text becomes "{\rtf1 ...}", the selection kept on the same characters.
void MakeRich(TRichEdit& E) {
  if (E.Text.startsWith(kRtfStart)) return;
  const QString Head = QStringLiteral("{\\rtf1 ");
  const int From = static_cast<int>(Head.size() + Escape(QStringView(E.Text).left(E.From)).size());
  const int To = From + static_cast<int>(Escape(QStringView(E.Text).mid(E.From, E.To - E.From)).size());
  E.Text = Head + Escape(E.Text) + "}";
  E.From = From;
  E.To = To;
}

// The index of Color in the colour table, adding the table or the entry as needed.
int ColorIndex(TRichEdit& E, TAlphaColor Color) {
  if (!E.Text.contains(QStringLiteral("\\colortbl"))) {
    // After "{\rtf1" and the blank that ends it, so that the blank stays no text.
    int P = static_cast<int>(kRtfStart.size());
    while (P < E.Text.size() && E.Text[P].isLetterOrNumber()) ++P;
    if (P < E.Text.size() && E.Text[P] == ' ') ++P;
    Insert(E, P, QStringLiteral("{\\colortbl ;}"));
  }
  const int At = static_cast<int>(E.Text.indexOf(QStringLiteral("\\colortbl")));
  int End = static_cast<int>(E.Text.indexOf('}', At));
  if (End < 0) End = static_cast<int>(E.Text.size());
  const QString Entry =
      QStringLiteral("\\red%1\\green%2\\blue%3;").arg((Color >> 16) & 0xFF).arg((Color >> 8) & 0xFF).arg(Color & 0xFF);
  const int Found = static_cast<int>(E.Text.indexOf(Entry, At));
  if (Found >= 0 && Found < End) return static_cast<int>(E.Text.mid(At, Found - At).count(';'));
  const int Index = static_cast<int>(E.Text.mid(At, End - At).count(';'));
  Insert(E, End, Entry);
  return Index;
}

}  // namespace

TRichEdit ApplyRichFormat(const TRichEdit& Edit, TRichFormat Format, uint32_t Value) {
  TRichEdit E = Edit;
  if (E.From > E.To) std::swap(E.From, E.To);
  E.From = std::clamp(E.From, 0, static_cast<int>(E.Text.size()));
  E.To = std::clamp(E.To, E.From, static_cast<int>(E.Text.size()));
  MakeRich(E);
  QString Open;
  switch (Format) {
    case TRichFormat::Bold: Open = QStringLiteral("{\\b "); break;
    case TRichFormat::Italic: Open = QStringLiteral("{\\i "); break;
    case TRichFormat::Color: Open = QStringLiteral("{\\cf%1 ").arg(ColorIndex(E, Value)); break;
    case TRichFormat::Size: Open = QStringLiteral("{\\fs%1 ").arg(std::max<long>(2, std::lround(Value / 50.0))); break;
  }
  const bool Empty = E.From == E.To;
  const int From = E.From;
  E.Text.insert(E.To, '}');
  E.Text.insert(From, Open);
  E.From = From + static_cast<int>(Open.size());
  E.To = Empty ? E.From : E.To + static_cast<int>(Open.size());
  return E;
}

TRichTextEditor::TRichTextEditor(const QString& Text, QWidget* Parent) : QDialog(Parent) {
  setWindowTitle(tr("Memo text"));
  FText = new QPlainTextEdit(this);
  FText->setPlainText(Text);
  FSize = new QDoubleSpinBox(this);
  FSize->setRange(1, 500);
  FSize->setDecimals(1);
  FSize->setValue(12);
  FPreview = new QLabel(this);
  FPreview->setTextFormat(Qt::RichText);
  FPreview->setWordWrap(true);
  FPreview->setFrameShape(QFrame::StyledPanel);
  FPreview->setMinimumHeight(60);
  FPreview->setAlignment(Qt::AlignLeft | Qt::AlignTop);

  auto* bar = new QHBoxLayout;
  auto button = [this, bar](const QString& Caption, auto Slot) {
    auto* b = new QPushButton(Caption, this);
    connect(b, &QPushButton::clicked, this, Slot);
    bar->addWidget(b);
    return b;
  };
  button(tr("Bold"), [this] { Format(TRichFormat::Bold); })->setStyleSheet("font-weight: bold;");
  button(tr("Italic"), [this] { Format(TRichFormat::Italic); })->setStyleSheet("font-style: italic;");
  button(tr("Colour..."), [this] {
    QColorDialog dlg(Qt::black, this);
    if (RunDialog(dlg) == QDialog::Accepted) Format(TRichFormat::Color, FromQColor(dlg.currentColor()));
  });
  bar->addWidget(FSize);
  button(tr("Size"), [this] { Format(TRichFormat::Size, static_cast<uint32_t>(std::lround(FSize->value() * 100))); });
  bar->addStretch(1);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(bar);
  layout->addWidget(FText, 2);
  layout->addWidget(new QLabel(tr("Preview"), this));
  layout->addWidget(FPreview, 1);
  layout->addWidget(buttons);
  connect(FText, &QPlainTextEdit::textChanged, this, &TRichTextEditor::UpdatePreview);
  UpdatePreview();
  resize(560, 400);
}

QString TRichTextEditor::Text() const { return FText->toPlainText(); }

void TRichTextEditor::Select(int From, int To) {
  QTextCursor c = FText->textCursor();
  c.setPosition(From);
  c.setPosition(To, QTextCursor::KeepAnchor);
  FText->setTextCursor(c);
}

void TRichTextEditor::Format(TRichFormat Format, uint32_t Value) {
  const QTextCursor c = FText->textCursor();
  const TRichEdit E = ApplyRichFormat({Text(), c.selectionStart(), c.selectionEnd()}, Format, Value);
  FText->setPlainText(E.Text);
  Select(E.From, E.To);
  FText->setFocus();
}

void TRichTextEditor::UpdatePreview() {
  QString html;
  for (const TRTFRun& r : ParseRichText(Text().toStdString(), "Sans", 10, 0xFF000000)) {
    if (r.NewPara) html += "<br>";
    QString s = QString::fromStdString(r.Text).toHtmlEscaped();
    if (r.Bold) s = "<b>" + s + "</b>";
    if (r.Italic) s = "<i>" + s + "</i>";
    html += QStringLiteral("<span style=\"color:%1; font-size:%2pt\">%3</span>")
                .arg(ToQColor(r.Color | 0xFF000000u).name())
                .arg(static_cast<double>(r.FontSize))
                .arg(s);
  }
  FPreview->setText(html);
}

}  // namespace quillet::designer
