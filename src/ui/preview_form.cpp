#include "ui/preview_form.h"

#include <QApplication>
#include <QFileDialog>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QPrinter>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <exception>

#include "screen/screen_drivers.h"
#include "ui/raster_pdf.h"

namespace quillet {

namespace {

const QColor kToolbarColor = QColor::fromRgba(0xFFE0E0E0);
const QColor kContentColor = QColor::fromRgba(0xFF686868);
const QColor kShadowColor = QColor::fromRgba(0xFF505050);
const QColor kFrameColor = QColor::fromRgba(0xFFA0A0A0);
const QColor kInk = QColor::fromRgba(0xFF303030);

constexpr int kPageGap = 20;

// The toolbar: a grey strip whose close button keeps to the right edge.
class TToolbar : public QWidget {
 public:
  using QWidget::QWidget;
  std::function<void()> OnResize;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    p.fillRect(rect(), kToolbarColor);
  }
  void resizeEvent(QResizeEvent*) override {
    if (OnResize) OnResize();
  }
};

// ---- Toolbar icons, painted with filled rectangles and paths (32 x 20, the button less 4 on
// every side) ----

enum class TIcon { Print, Save, ZoomOut, ZoomIn, Close };

QPixmap PaintIcon(TIcon Icon, qreal Dpr) {
  QPixmap pm(QSize(32, 20) * Dpr);
  pm.setDevicePixelRatio(Dpr);
  pm.fill(Qt::transparent);
  QPainter p(&pm);
  p.setRenderHint(QPainter::Antialiasing);
  switch (Icon) {
    case TIcon::Print: {
      p.fillRect(QRectF(10, 1, 12, 6), Qt::white);           // paper in
      p.fillRect(QRectF(5, 6, 22, 9), kInk);                 // body
      p.fillRect(QRectF(10, 12, 12, 7), Qt::white);          // paper out
      p.fillRect(QRectF(12, 14, 8, 1), kInk);                // printed lines
      p.fillRect(QRectF(12, 16, 6, 1), kInk);
      p.fillRect(QRectF(23, 8, 2, 1.5), QColor(80, 200, 80));  // ready light
      break;
    }
    case TIcon::Save: {
      QPainterPath sheet;  // a page with a folded corner
      sheet.moveTo(9, 1);
      sheet.lineTo(19, 1);
      sheet.lineTo(23, 5);
      sheet.lineTo(23, 19);
      sheet.lineTo(9, 19);
      sheet.closeSubpath();
      p.fillPath(sheet, Qt::white);
      QPainterPath fold;
      fold.moveTo(19, 1);
      fold.lineTo(23, 5);
      fold.lineTo(19, 5);
      fold.closeSubpath();
      p.fillPath(fold, kFrameColor);
      p.fillRect(QRectF(7, 10, 18, 6), QColor(200, 40, 40));  // the red PDF band
      p.fillRect(QRectF(9, 12, 2, 2), Qt::white);
      p.fillRect(QRectF(13, 12, 4, 2), Qt::white);
      p.fillRect(QRectF(19, 12, 3, 2), Qt::white);
      break;
    }
    case TIcon::ZoomOut:
    case TIcon::ZoomIn: {
      QPainterPath lens;
      lens.addEllipse(QPointF(13, 8.5), 7, 7);
      QPainterPath hole;
      hole.addEllipse(QPointF(13, 8.5), 5, 5);
      p.fillPath(lens.subtracted(hole), kInk);
      QPainterPath handle;
      handle.moveTo(17.5, 13);
      handle.lineTo(19, 11.5);
      handle.lineTo(25, 17.5);
      handle.lineTo(23.5, 19);
      handle.closeSubpath();
      p.fillPath(handle, kInk);
      p.fillRect(QRectF(10, 7.75, 6, 1.5), kInk);
      if (Icon == TIcon::ZoomIn) p.fillRect(QRectF(12.25, 5.5, 1.5, 6), kInk);
      break;
    }
    case TIcon::Close: {
      QPainterPath cross;
      cross.moveTo(10, 3);
      cross.lineTo(16, 9);
      cross.lineTo(22, 3);
      cross.lineTo(23.5, 4.5);
      cross.lineTo(17.5, 10.5);
      cross.lineTo(23.5, 16.5);
      cross.lineTo(22, 18);
      cross.lineTo(16, 12);
      cross.lineTo(10, 18);
      cross.lineTo(8.5, 16.5);
      cross.lineTo(14.5, 10.5);
      cross.lineTo(8.5, 4.5);
      cross.closeSubpath();
      p.fillPath(cross, kInk);
      break;
    }
  }
  return pm;
}

QToolButton* IconButton(QWidget* Parent, TIcon Icon, const QString& Hint, int X, int Y) {
  auto* b = new QToolButton(Parent);
  b->setGeometry(X, Y, 40, 28);
  b->setToolTip(Hint);
  b->setIcon(QIcon(PaintIcon(Icon, Parent->devicePixelRatioF())));
  b->setIconSize(QSize(32, 20));
  b->setAutoRaise(true);
  b->setFocusPolicy(Qt::NoFocus);
  return b;
}

QLabel* ToolbarLabel(QWidget* Parent, int X, int Y, int W, int H, const QString& Text, Qt::Alignment Align) {
  auto* l = new QLabel(Text, Parent);
  l->setGeometry(X, Y, W, H);
  l->setAlignment(Align);
  return l;
}

}  // namespace

// One page of the vector preview: its pixels when they are painted, a white sheet until then,
// framed in grey.
class TPreviewPageView : public QWidget {
 public:
  using QWidget::QWidget;
  QImage Image;
  bool Rendered = false;

  void Release() {
    Image = QImage();
    Rendered = false;
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    const QRect r = rect();
    if (Image.isNull()) p.fillRect(r, Qt::white);
    else p.drawImage(QRectF(r), Image);
    p.setPen(kFrameColor);
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0, 0, -1, -1));
  }
};

// ---- Opening ---------------------------------------------------------------------------------

void TRptPreviewForm::ShowPreview(QWidget* Owner, const std::vector<QImage>& Pages, float PageWidth,
                                  float PageHeight) {
  if (Pages.empty()) {
    QMessageBox::information(Owner, QStringLiteral("Report Preview"), QStringLiteral("No pages to preview."));
    return;
  }
  TRptPreviewForm form(Owner);
  form.SetRasterPages(&Pages, PageWidth, PageHeight);
  form.exec();
}

void TRptPreviewForm::ShowPreviewVector(QWidget* Owner, TPageRenderer Renderer, TPrintProc Print,
                                        TExportProc Export, int32_t PageCount, float PageWidth, float PageHeight) {
  if (!Renderer) return;
  TRptPreviewForm form(Owner);
  form.SetVector(std::move(Renderer), std::move(Print), std::move(Export), PageCount, PageWidth, PageHeight);
  form.exec();
}

TRptPreviewForm::TRptPreviewForm(QWidget* Owner) : QDialog(Owner) {
  BuildUI();
  OnMessage = [this](const QString& Message) {
    QMessageBox::information(this, QStringLiteral("Report Preview"), Message);
  };
  OnAskSaveFile = [this]() {
    QFileDialog dialog(this, QStringLiteral("Save as PDF"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(QStringLiteral("PDF Files (*.pdf)"));
    dialog.setDefaultSuffix(QStringLiteral("pdf"));
    dialog.setFileMode(QFileDialog::AnyFile);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return QString();
    return dialog.selectedFiles().front();
  };
}

TRptPreviewForm::~TRptPreviewForm() {
  if (FFilterInstalled) qApp->removeEventFilter(this);
}

void TRptPreviewForm::BuildUI() {
  setWindowTitle(QStringLiteral("Report Preview"));
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    const QRect avail = screen->geometry();
    resize(static_cast<int>(avail.width() * 0.8), static_cast<int>(avail.height() * 0.8));
    move(avail.center() - QPoint(width() / 2, height() / 2));
  }
  setWindowState(windowState() | Qt::WindowMaximized);
  setSizeGripEnabled(false);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);

  auto* toolbar = new TToolbar(this);
  toolbar->setFixedHeight(44);
  FToolbar = toolbar;
  FBtnPrint = IconButton(toolbar, TIcon::Print, QStringLiteral("Print (Ctrl+P)"), 8, 8);
  FBtnExport = IconButton(toolbar, TIcon::Save, QStringLiteral("Save as PDF (Ctrl+S)"), 54, 8);
  FBtnZoomOut = IconButton(toolbar, TIcon::ZoomOut, QStringLiteral("Zoom Out"), 112, 8);
  FZoomLabel = ToolbarLabel(toolbar, 156, 13, 52, 18, QStringLiteral("100%"), Qt::AlignCenter);
  FBtnZoomIn = IconButton(toolbar, TIcon::ZoomIn, QStringLiteral("Zoom In"), 212, 8);
  FPagesLabel = ToolbarLabel(toolbar, 264, 13, 90, 18, QString(), Qt::AlignCenter);
  // Beside the page count: where the reader is, and what is being prepared.
  FPageIndicator = ToolbarLabel(toolbar, 360, 13, 110, 18, QString(), Qt::AlignLeft | Qt::AlignVCenter);
  FProgressLabel = ToolbarLabel(toolbar, 476, 13, 260, 18, QString(), Qt::AlignLeft | Qt::AlignVCenter);
  FCloseBox = new QWidget(toolbar);
  FCloseBox->resize(48, 44);
  FBtnClose = IconButton(FCloseBox, TIcon::Close, QStringLiteral("Close"), 4, 8);
  toolbar->OnResize = [this] { PlaceCloseButton(); };
  layout->addWidget(toolbar);

  FScroll = new QScrollArea(this);
  FScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  FScroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  FScroll->setWidgetResizable(false);
  FScroll->setFrameShape(QFrame::NoFrame);
  FScroll->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  FContent = new QWidget;
  FContent->setAutoFillBackground(true);
  QPalette pal = FContent->palette();
  pal.setColor(QPalette::Window, kContentColor);
  FContent->setPalette(pal);
  FContent->setAttribute(Qt::WA_TransparentForMouseEvents);
  FScroll->setWidget(FContent);
  FScroll->viewport()->installEventFilter(this);
  layout->addWidget(FScroll, 1);

  FImage = new QLabel(FContent);
  FImage->resize(800, 600);
  FImage->setAttribute(Qt::WA_TransparentForMouseEvents);

  connect(FBtnZoomIn, &QToolButton::clicked, this, [this] { DoBtnZoomIn(); });
  connect(FBtnZoomOut, &QToolButton::clicked, this, [this] { DoBtnZoomOut(); });
  connect(FBtnClose, &QToolButton::clicked, this, [this] { DoBtnClose(); });
  connect(FBtnPrint, &QToolButton::clicked, this, [this] { DoBtnPrint(); });
  connect(FBtnExport, &QToolButton::clicked, this, [this] { DoBtnExport(); });
  connect(FScroll->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
    if (FVectorMode) UpdateVisible();
    UpdateLabels();
  });
  connect(FScroll->horizontalScrollBar(), &QScrollBar::valueChanged, this, [this] {
    if (FVectorMode) UpdateVisible();
  });
}

void TRptPreviewForm::PlaceCloseButton() { FCloseBox->move(FToolbar->width() - 48, 0); }

void TRptPreviewForm::SetRasterPages(const std::vector<QImage>* Pages, float PageWidth, float PageHeight) {
  FVectorMode = false;
  FPages = Pages;
  FPageWidth = PageWidth;
  FPageHeight = PageHeight;
  FPageCount = Pages ? static_cast<int32_t>(Pages->size()) : 0;
  FZoom = 1.0f;
  FImage->show();
  UpdateDisplay();
}

void TRptPreviewForm::SetVector(TPageRenderer Renderer, TPrintProc Print, TExportProc Export, int32_t PageCount,
                                float PageWidth, float PageHeight, int32_t ReadyPages) {
  FVectorMode = true;
  FRenderer = std::move(Renderer);
  FPrint = std::move(Print);
  FExport = std::move(Export);
  FPageCount = std::max<int32_t>(1, PageCount);
  FPagesReady = ReadyPages < 0 ? FPageCount : std::min(ReadyPages, FPageCount);
  FPageWidth = PageWidth;
  FPageHeight = PageHeight;
  FZoom = 1.0f;
  FImage->hide();
  BuildVectorPages();
  RebuildLayout();
}

void TRptPreviewForm::SetPagesReady(int32_t Count) {
  FPagesReady = std::clamp<int32_t>(Count, 0, FPageCount);
  if (FVectorMode) UpdateVisible();
}

void TRptPreviewForm::SetProgress(const QString& Text) { FProgressLabel->setText(Text); }

void TRptPreviewForm::SetBusy(bool Busy) {
  if (Busy == FBusy) return;
  FBusy = Busy;
  FBtnPrint->setEnabled(!Busy);
  FBtnExport->setEnabled(!Busy);
  if (Busy) QApplication::setOverrideCursor(Qt::BusyCursor);
  else QApplication::restoreOverrideCursor();
}

// ---- Zoom and layout ---------------------------------------------------------------------------

void TRptPreviewForm::ApplyZoom(float Z) {
  FZoom = std::clamp(Z, kMinZoom, kMaxZoom);
  RefreshView();
}

void TRptPreviewForm::RefreshView() {
  if (FVectorMode) RebuildLayout();
  else UpdateDisplay();
}

double TRptPreviewForm::DevicePixelRatio() const { return std::max(1.0, devicePixelRatioF()); }

int TRptPreviewForm::PageWidthPx() const {
  return std::max(1, static_cast<int>(std::lround(FPageWidth * FZoom * 96.0 / 72.0)));
}
int TRptPreviewForm::PageHeightPx() const {
  return std::max(1, static_cast<int>(std::lround(FPageHeight * FZoom * 96.0 / 72.0)));
}

void TRptPreviewForm::UpdateLabels() {
  FZoomLabel->setText(QStringLiteral("%1%").arg(static_cast<int>(std::lround(FZoom * 100))));
  FPagesLabel->setText(QStringLiteral("%1 pages").arg(FPageCount));
  if (FPageCount > 0) FPageIndicator->setText(QStringLiteral("Page %1 of %2").arg(CurrentPage() + 1).arg(FPageCount));
  else FPageIndicator->clear();
}

void TRptPreviewForm::UpdateDisplay() {
  if (!FPages || FPages->empty()) {
    UpdateLabels();
    return;
  }
  int width = 0, height = kPageGap;
  for (const QImage& page : *FPages) {
    width = std::max(width, static_cast<int>(std::lround(page.width() * FZoom)));
    height += static_cast<int>(std::lround(page.height() * FZoom)) + kPageGap;
  }
  width += 40;
  QImage sheet(width, height, QImage::Format_RGB32);
  sheet.fill(kContentColor);
  QPainter p(&sheet);
  p.setRenderHint(QPainter::SmoothPixmapTransform);
  int y = kPageGap;
  for (const QImage& page : *FPages) {
    const int w = static_cast<int>(std::lround(page.width() * FZoom));
    const int h = static_cast<int>(std::lround(page.height() * FZoom));
    const int x = (width - w) / 2;
    p.fillRect(QRect(x + 3, y + 3, w, h), kShadowColor);
    p.drawImage(QRect(x, y, w, h), page);
    p.setPen(kFrameColor);
    p.drawRect(QRect(x, y, w - 1, h - 1));
    y += h + kPageGap;
  }
  p.end();
  FImage->setPixmap(QPixmap::fromImage(sheet));
  FImage->resize(sheet.size());
  FContent->resize(sheet.size());
  UpdateLabels();
}

void TRptPreviewForm::BuildVectorPages() {
  for (TPreviewPageView* v : FPageViews) delete v;
  FPageViews.clear();
  FPageViews.reserve(static_cast<size_t>(FPageCount));
  for (int32_t i = 0; i < FPageCount; ++i) {
    auto* view = new TPreviewPageView(FContent);
    view->setAttribute(Qt::WA_TransparentForMouseEvents);
    view->show();
    FPageViews.push_back(view);
  }
}

void TRptPreviewForm::RebuildLayout() {
  const int pw = PageWidthPx(), ph = PageHeightPx();
  const int contentW = std::max(pw + 40, FScroll->viewport()->width());
  const int contentH = FPageCount * (ph + kPageGap) + kPageGap;
  FContent->resize(contentW, contentH);
  for (int32_t i = 0; i < FPageCount; ++i) {
    TPreviewPageView* view = FPageViews[static_cast<size_t>(i)];
    view->setGeometry((contentW - pw) / 2, kPageGap + i * (ph + kPageGap), pw, ph);
    view->Release();
  }
  UpdateLabels();
  UpdateVisible();
}

void TRptPreviewForm::UpdateVisible() {
  if (!FVectorMode || FPageViews.empty()) return;
  const int ph = PageHeightPx();
  const int stride = ph + kPageGap;
  const int top = FScroll->verticalScrollBar()->value();
  const int bandTop = top - stride, bandBottom = top + FScroll->viewport()->height() + stride;
  const double dpr = DevicePixelRatio();
  for (int32_t i = 0; i < FPageCount; ++i) {
    TPreviewPageView* view = FPageViews[static_cast<size_t>(i)];
    const int pageTop = kPageGap + i * stride, pageBottom = pageTop + ph;
    const bool near = pageBottom > bandTop && pageTop < bandBottom;
    if (near && !view->Rendered && i < FPagesReady && FRenderer) {
      // Painted at the screen's pixel density so pages stay sharp on dense screens.
      QImage image = FRenderer(i, static_cast<float>(FZoom * dpr));
      image.setDevicePixelRatio(dpr);
      view->Image = std::move(image);
      view->Rendered = true;
      view->update();
    } else if (!near && view->Rendered) {
      view->Release();
    }
  }
}

bool TRptPreviewForm::PageRendered(int32_t Index) const {
  return Index >= 0 && Index < static_cast<int32_t>(FPageViews.size()) && FPageViews[static_cast<size_t>(Index)]->Rendered;
}

int32_t TRptPreviewForm::RenderedPageCount() const {
  return static_cast<int32_t>(
      std::count_if(FPageViews.begin(), FPageViews.end(), [](const TPreviewPageView* v) { return v->Rendered; }));
}

int32_t TRptPreviewForm::CurrentPage() const {
  if (FPageCount <= 0) return 0;
  int pageH = PageHeightPx();
  if (!FVectorMode && FPages && !FPages->empty())
    pageH = static_cast<int>(std::lround(FPages->front().height() * FZoom));
  const int stride = pageH + kPageGap;
  const QScrollBar* bar = FScroll->verticalScrollBar();
  // Scrolled to the end, the reader is at the last page even when it cannot reach the top.
  if (bar->maximum() > 0 && bar->value() >= bar->maximum()) return FPageCount - 1;
  return std::clamp<int32_t>((bar->value() + stride / 2) / std::max(1, stride), 0, FPageCount - 1);
}

void TRptPreviewForm::ScrollToPage(int32_t Index) {
  int pageH = PageHeightPx();
  if (!FVectorMode && FPages && !FPages->empty())
    pageH = static_cast<int>(std::lround(FPages->front().height() * FZoom));
  Index = std::clamp<int32_t>(Index, 0, std::max(0, FPageCount - 1));
  FScroll->verticalScrollBar()->setValue(Index * (pageH + kPageGap));
}

// ---- Print and save ----------------------------------------------------------------------------

void TRptPreviewForm::DoBtnPrint() {
  if (FBusy) return;
  try {
    if (FVectorMode) {
      if (FPrint) FPrint();
      return;
    }
    if (!FPages || FPages->empty()) return;
    QPrinter printer(QPrinter::HighResolution);
    const std::string active = ActivePrinterName();
    if (!active.empty()) printer.setPrinterName(QString::fromStdString(active));
    printer.setFullPage(true);
    QPainter painter;
    if (!painter.begin(&printer)) throw std::runtime_error("the printer could not start a document");
    for (size_t i = 0; i < FPages->size(); ++i) {
      if (i > 0) printer.newPage();
      painter.drawImage(QRectF(printer.paperRect(QPrinter::DevicePixel)), (*FPages)[i]);
    }
    painter.end();
    OnMessage(QStringLiteral("%1 page(s) sent to printer.").arg(FPages->size()));
  } catch (const std::exception& e) {
    OnMessage(QStringLiteral("Print error: ") + QString::fromUtf8(e.what()));
  }
}

void TRptPreviewForm::DoBtnExport() {
  if (FBusy) return;
  if (!FVectorMode && (!FPages || FPages->empty())) return;
  const QString file = OnAskSaveFile ? OnAskSaveFile() : QString();
  if (file.isEmpty()) return;
  try {
    if (FVectorMode) {
      if (FExport) FExport(file.toStdString());
    } else {
      RptSavePagesToPDF(*FPages, file.toStdString(), FPageWidth, FPageHeight);
    }
    OnMessage(QStringLiteral("PDF saved:\r\n") + file);
  } catch (const std::exception& e) {
    OnMessage(QStringLiteral("PDF export error: ") + QString::fromUtf8(e.what()));
  }
}

// ---- Keys and the wheel ------------------------------------------------------------------------

namespace {

// The character a key stands for. Qt reports Ctrl+letter as a control character, so a letter
// comes from the key code, upper-case when Shift or Caps Lock (not both) is on.
QChar KeyCharacter(const QKeyEvent& E) {
  const QString text = E.text();
  if (text.size() == 1 && text[0].isLetter() && text[0].isPrint()) return text[0];
  const int key = E.key();
  if (key >= Qt::Key_A && key <= Qt::Key_Z) {
    const bool shift = E.modifiers() & Qt::ShiftModifier;
    const bool caps = (E.nativeModifiers() & 0x2) != 0;  // the lock bit of the X11 key state
    const QChar c(static_cast<char16_t>('a' + (key - Qt::Key_A)));
    return shift != caps ? c.toUpper() : c;
  }
  if (text.size() == 1 && text[0].isPrint()) return text[0];
  if (key == Qt::Key_Plus) return QLatin1Char('+');
  if (key == Qt::Key_Minus) return QLatin1Char('-');
  return QChar();
}

}  // namespace

bool TRptPreviewForm::HandleKey(const QKeyEvent& E) {
  bool handled = false;
  const bool ctrl = E.modifiers() & Qt::ControlModifier;
  const QChar ch = KeyCharacter(E);
  if (E.key() == Qt::Key_Escape) {
    DoBtnClose();
    return true;
  }
  if (ctrl && ch == QLatin1Char('p')) {
    DoBtnPrint();
    handled = true;
  }
  if (ctrl && ch == QLatin1Char('s')) {
    DoBtnExport();
    handled = true;
  }
  if (ctrl && ch == QLatin1Char('+')) {
    DoBtnZoomIn();
    handled = true;
  }
  if (ctrl && ch == QLatin1Char('-')) {
    DoBtnZoomOut();
    handled = true;
  }
  if (E.modifiers() & Qt::KeypadModifier) {
    if (E.key() == Qt::Key_Plus) {
      DoBtnZoomIn();
      handled = true;
    } else if (E.key() == Qt::Key_Minus) {
      DoBtnZoomOut();
      handled = true;
    }
  }
  if (handled) return true;
  switch (E.key()) {
    case Qt::Key_PageDown:
      ScrollToPage(CurrentPage() + 1);
      return true;
    case Qt::Key_PageUp:
      ScrollToPage(CurrentPage() - 1);
      return true;
    case Qt::Key_Home:
      ScrollToPage(0);
      return true;
    case Qt::Key_End:
      ScrollToPage(FPageCount - 1);
      return true;
    default:
      return false;
  }
}

void TRptPreviewForm::showEvent(QShowEvent* Event) {
  QDialog::showEvent(Event);
  // Keys are read for the whole window, whichever child has the focus.
  if (!FFilterInstalled) {
    qApp->installEventFilter(this);
    FFilterInstalled = true;
  }
  PlaceCloseButton();
  RefreshView();
}

void TRptPreviewForm::hideEvent(QHideEvent* Event) {
  if (FFilterInstalled) {
    qApp->removeEventFilter(this);
    FFilterInstalled = false;
  }
  QDialog::hideEvent(Event);
}

bool TRptPreviewForm::eventFilter(QObject* Watched, QEvent* Event) {
  if (Watched == FScroll->viewport()) {
    if (Event->type() == QEvent::Resize) {
      RefreshView();
    } else if (Event->type() == QEvent::Wheel) {
      auto* wheel = static_cast<QWheelEvent*>(Event);
      if (wheel->modifiers() & Qt::ControlModifier) {
        const int notches = wheel->angleDelta().y() / 120;
        if (notches != 0) ApplyZoom(FZoom + kZoomStep * static_cast<float>(notches));
        return true;
      }
    }
    return false;
  }
  if (Event->type() == QEvent::KeyPress && Watched->isWidgetType()) {
    auto* w = static_cast<QWidget*>(Watched);
    if (w == this || isAncestorOf(w)) return HandleKey(*static_cast<QKeyEvent*>(Event));
  }
  return QDialog::eventFilter(Watched, Event);
}

}  // namespace quillet
