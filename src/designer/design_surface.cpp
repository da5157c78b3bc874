#include "designer/design_surface.h"

#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "designer/edit_operations.h"
#include "screen/fmx_canvas.h"

namespace quillet::designer {

namespace {

constexpr float kPad = 24;            // pixels of grey around the sheet
constexpr int kRulerSize = 22;        // pixels
constexpr float kHandle = 7;          // a resize handle's side in pixels
constexpr float kEdgeGrip = 4;        // pixels either side of a band's lower edge
constexpr float kMinZoom = 0.25f, kMaxZoom = 4.0f;
constexpr float kMinBandHeight = 4;   // points

const char* const kFieldMime = "application/x-formwright-field";
const char* const kElementMime = "application/x-formwright-element";

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

TRectF Normalised(float X1, float Y1, float X2, float Y2) {
  return {std::min(X1, X2), std::min(Y1, Y2), std::max(X1, X2), std::max(Y1, Y2)};
}

bool Overlaps(const TRectF& A, const TRectF& B) {
  return A.Left <= B.Right && B.Left <= A.Right && A.Top <= B.Bottom && B.Top <= A.Bottom;
}

// The band colours of the captions: data bands blue, page bands grey, titles and summaries green,
// groups orange.
QColor CaptionColor(TBandType T) {
  switch (T) {
    case btMasterData:
    case btDetailData:
    case btSubdetailData:
      return QColor(0xD6, 0xE4, 0xF5);
    case btPageHeader:
    case btPageFooter:
    case btPageBody:
      return QColor(0xE4, 0xE4, 0xE4);
    case btTitle:
    case btSummary:
      return QColor(0xDD, 0xEE, 0xD8);
    case btGroupHeader:
    case btGroupFooter:
      return QColor(0xF6, 0xE3, 0xC8);
  }
  return QColor(0xE4, 0xE4, 0xE4);
}

}  // namespace

// ---- Units -----------------------------------------------------------------------------------

float PointsPer(TUnit Unit) {
  switch (Unit) {
    case TUnit::Millimetre: return 72.0f / 25.4f;
    case TUnit::Inch: return 72.0f;
    case TUnit::Point: return 1.0f;
  }
  return 1.0f;
}

const char* UnitName(TUnit Unit) {
  switch (Unit) {
    case TUnit::Millimetre: return "mm";
    case TUnit::Inch: return "in";
    case TUnit::Point: return "pt";
  }
  return "mm";
}

TUnit UnitFromName(const std::string& Name) {
  if (Name == "inch" || Name == "in") return TUnit::Inch;
  if (Name == "pt" || Name == "point") return TUnit::Point;
  return TUnit::Millimetre;
}

// ---- Layout ----------------------------------------------------------------------------------

TSurfaceLayout::TSurfaceLayout(const TReportPage& Page, std::optional<std::pair<size_t, float>> HeightOf) {
  FLeft = Page.MarginLeft;
  FRight = static_cast<float>(Page.PageWidth) - Page.MarginRight;
  float y = Page.MarginTop;
  for (size_t i = 0; i < Page.Bands.size(); ++i) {
    TBandBox b;
    b.CaptionTop = y;
    b.Top = y + kCaption;
    b.Height = HeightOf && HeightOf->first == i ? HeightOf->second : Page.Bands[i]->Height;
    b.Height = std::max(b.Height, 0.0f);
    y = b.Bottom();
    FBands.push_back(b);
  }
  FWidth = static_cast<float>(std::max(Page.PageWidth, 1));
  FHeight = std::max(static_cast<float>(Page.PageHeight), y + Page.MarginBottom);
  if (FRight <= FLeft) FRight = FWidth;
}

int TSurfaceLayout::BandAt(float Y) const {
  for (size_t i = 0; i < FBands.size(); ++i)
    if (Y >= FBands[i].CaptionTop && Y < FBands[i].Bottom()) return static_cast<int>(i);
  return -1;
}

int TSurfaceLayout::NearestBand(float Y) const {
  if (FBands.empty()) return -1;
  int best = 0;
  float bestD = INFINITY;
  for (size_t i = 0; i < FBands.size(); ++i) {
    const TBandBox& b = FBands[i];
    const float d = Y < b.Top ? b.Top - Y : (Y > b.Bottom() ? Y - b.Bottom() : 0);
    if (d < bestD) {
      bestD = d;
      best = static_cast<int>(i);
    }
  }
  return best;
}

TRectF TSurfaceLayout::ElementRect(const TReportElement& El, size_t Band) const {
  const float top = Band < FBands.size() ? FBands[Band].Top : 0;
  if (El.ElemType == retLine)
    return Normalised(FLeft + El.Left, top + El.Top, FLeft + El.X2, top + El.Y2);
  return Normalised(FLeft + El.Left, top + El.Top, FLeft + El.Left + El.Width, top + El.Top + El.Height);
}

// ---- Rulers ----------------------------------------------------------------------------------

class TDesignSurface::TRuler : public QWidget {
 public:
  TRuler(TDesignSurface& Surface, Qt::Orientation O) : QWidget(&Surface), FSurface(Surface), FOrient(O) {}

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    p.fillRect(rect(), QColor(0xF2, 0xF2, 0xF2));
    const bool horz = FOrient == Qt::Horizontal;
    const float ppp = FSurface.PixelsPerPoint();
    const QPointF origin = FSurface.Origin();
    // The top ruler starts above the left one; the left ruler level with the viewport.
    const float shift = horz ? static_cast<float>(kRulerSize) : 0.0f;
    const float zero = (horz ? static_cast<float>(origin.x()) : static_cast<float>(origin.y())) + shift;
    const float unit = PointsPer(FSurface.FUnit);
    // Ticks: major ones labelled, minor ones where they are at least 4 pixels apart.
    float major = 10, minor = 1;  // in units
    if (FSurface.FUnit == TUnit::Inch) {
      major = 1;
      minor = 0.125f;
    } else if (FSurface.FUnit == TUnit::Point) {
      major = 72;
      minor = 9;
    }
    while (major * unit * ppp < 40) {
      major *= 2;
      minor *= 2;
    }
    if (minor * unit * ppp < 4) minor = major / 2;
    const float length = horz ? static_cast<float>(width()) : static_cast<float>(height());
    const float start = horz ? static_cast<float>(kRulerSize) : 0.0f;
    const float first = std::floor((start - zero) / (minor * unit * ppp)) * minor;
    p.setPen(QColor(0x70, 0x70, 0x70));
    QFont f = p.font();
    f.setPixelSize(9);
    p.setFont(f);
    for (float v = first; ; v += minor) {
      const float pos = zero + v * unit * ppp;
      if (pos > length) break;
      if (pos < start) continue;
      const bool isMajor = std::fabs(std::remainder(v, major)) < minor / 4;
      const float tick = isMajor ? kRulerSize * 0.6f : kRulerSize * 0.25f;
      if (horz)
        p.drawLine(QPointF(pos, kRulerSize), QPointF(pos, kRulerSize - tick));
      else
        p.drawLine(QPointF(kRulerSize, pos), QPointF(kRulerSize - tick, pos));
      if (isMajor) {
        const QString label = QString::number(static_cast<double>(std::round(v * 100) / 100));
        if (horz)
          p.drawText(QPointF(pos + 2, 10), label);
        else {
          p.save();
          p.translate(10, pos + 2);
          p.rotate(90);
          p.drawText(QPointF(0, 0), label);
          p.restore();
        }
      }
    }
    // The cursor's place.
    const auto [cx, cy] = FSurface.FCursor;
    if (cx >= 0) {
      p.setPen(QColor(0xD0, 0x30, 0x30));
      const float pos = zero + (horz ? cx : cy) * ppp;
      if (horz)
        p.drawLine(QPointF(pos, 0), QPointF(pos, kRulerSize));
      else
        p.drawLine(QPointF(0, pos), QPointF(kRulerSize, pos));
    }
    p.setPen(QColor(0xB0, 0xB0, 0xB0));
    if (horz)
      p.drawLine(0, kRulerSize - 1, width(), kRulerSize - 1);
    else
      p.drawLine(kRulerSize - 1, 0, kRulerSize - 1, height());
  }

 private:
  TDesignSurface& FSurface;
  Qt::Orientation FOrient;
};

// ---- The surface -----------------------------------------------------------------------------

TDesignSurface::TDesignSurface(TReportDocument& Doc, TSelection& Sel, QWidget* Parent)
    : QAbstractScrollArea(Parent), FDoc(Doc), FSel(Sel) {
  setViewportMargins(kRulerSize, kRulerSize, 0, 0);
  FTopRuler = new TRuler(*this, Qt::Horizontal);
  FLeftRuler = new TRuler(*this, Qt::Vertical);
  viewport()->setMouseTracking(true);
  viewport()->setAcceptDrops(true);
  setAcceptDrops(true);
  setFocusPolicy(Qt::StrongFocus);
  FGrid = static_cast<float>(std::max(FDoc.Page().GridSize, 1));
  connect(&FDoc, &TReportDocument::Changed, this, [this] {
    FSel.Prune(FDoc.Page());
    UpdateScrollBars();
    viewport()->update();
  });
  connect(&FSel, &TSelection::Changed, viewport(), qOverload<>(&QWidget::update));
  UpdateScrollBars();
}

TDesignSurface::~TDesignSurface() = default;

TSurfaceLayout TDesignSurface::Layout() const {
  if (FDrag == TDrag::BandEdge && FEdgeBand >= 0)
    return TSurfaceLayout(FDoc.Page(), std::make_pair(static_cast<size_t>(FEdgeBand), FEdgeHeight));
  return TSurfaceLayout(FDoc.Page());
}

QPointF TDesignSurface::Origin() const {
  const TSurfaceLayout l(FDoc.Page());
  const float sheetW = l.SheetWidth() * PixelsPerPoint();
  // A sheet narrower than the viewport is centred.
  const float free = static_cast<float>(viewport()->width()) - sheetW - 2 * kPad;
  const float x = free > 0 ? free / 2 + kPad : kPad - static_cast<float>(horizontalScrollBar()->value());
  const float y = kPad - static_cast<float>(verticalScrollBar()->value());
  return {x, y};
}

QPointF TDesignSurface::ToView(float X, float Y) const {
  const QPointF o = Origin();
  return {o.x() + X * PixelsPerPoint(), o.y() + Y * PixelsPerPoint()};
}

std::pair<float, float> TDesignSurface::ToPage(const QPointF& P) const {
  const QPointF o = Origin();
  return {static_cast<float>((P.x() - o.x()) / PixelsPerPoint()), static_cast<float>((P.y() - o.y()) / PixelsPerPoint())};
}

void TDesignSurface::UpdateScrollBars() {
  const TSurfaceLayout l(FDoc.Page());
  const int w = static_cast<int>(std::ceil(l.SheetWidth() * PixelsPerPoint() + 2 * kPad));
  const int h = static_cast<int>(std::ceil(l.SheetHeight() * PixelsPerPoint() + 2 * kPad));
  horizontalScrollBar()->setRange(0, std::max(0, w - viewport()->width()));
  horizontalScrollBar()->setPageStep(viewport()->width());
  verticalScrollBar()->setRange(0, std::max(0, h - viewport()->height()));
  verticalScrollBar()->setPageStep(viewport()->height());
  horizontalScrollBar()->setSingleStep(20);
  verticalScrollBar()->setSingleStep(20);
  RefreshRulers();
}

void TDesignSurface::RefreshRulers() {
  const QRect vp = viewport()->geometry();
  FTopRuler->setGeometry(vp.left() - kRulerSize, vp.top() - kRulerSize, vp.width() + kRulerSize, kRulerSize);
  FLeftRuler->setGeometry(vp.left() - kRulerSize, vp.top(), kRulerSize, vp.height());
  FTopRuler->update();
  FLeftRuler->update();
}

void TDesignSurface::SetZoom(float Zoom) {
  Zoom = std::clamp(Zoom, kMinZoom, kMaxZoom);
  if (Zoom == FZoom) return;
  const QPointF centre(viewport()->width() / 2.0, viewport()->height() / 2.0);
  const auto [px, py] = ToPage(centre);
  FZoom = Zoom;
  UpdateScrollBars();
  const QPointF now = ToView(px, py);
  horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(now.x() - centre.x()));
  verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(now.y() - centre.y()));
  RefreshRulers();
  viewport()->update();
  emit ZoomChanged(FZoom);
}

void TDesignSurface::ZoomIn() { SetZoom(FZoom * 1.25f); }
void TDesignSurface::ZoomOut() { SetZoom(FZoom / 1.25f); }

void TDesignSurface::FitWidth() {
  const TSurfaceLayout l(FDoc.Page());
  const float avail = static_cast<float>(viewport()->width()) - 2 * kPad - 4;
  SetZoom(avail / (l.SheetWidth() * 96.0f / 72.0f));
}

void TDesignSurface::SetUnit(TUnit Unit) {
  FUnit = Unit;
  RefreshRulers();
}

void TDesignSurface::SetGrid(float Step, bool Snap) {
  FGrid = std::max(Step, 0.5f);
  FSnap = Snap;
  viewport()->update();
}

float TDesignSurface::SnapValue(float V) const { return FSnap ? std::round(V / FGrid) * FGrid : V; }

void TDesignSurface::SetTool(std::optional<TRptElemType> Type) {
  FTool = Type;
  viewport()->setCursor(FTool ? Qt::CrossCursor : Qt::ArrowCursor);
}

void TDesignSurface::EnsureVisible(float X, float Y) {
  const QPointF v = ToView(X, Y);
  const int margin = 40;
  if (v.x() < margin) horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(v.x()) - margin);
  if (v.x() > viewport()->width() - margin)
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(v.x()) - viewport()->width() + margin);
  if (v.y() < margin) verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(v.y()) - margin);
  if (v.y() > viewport()->height() - margin)
    verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(v.y()) - viewport()->height() + margin);
}

void TDesignSurface::resizeEvent(QResizeEvent* Event) {
  QAbstractScrollArea::resizeEvent(Event);
  UpdateScrollBars();
}

void TDesignSurface::scrollContentsBy(int, int) {
  RefreshRulers();
  viewport()->update();
}

const TReportElement& TDesignSurface::Shown(const TElementRef& Ref) const {
  if (auto it = FGhosts.find(Ref); it != FGhosts.end()) return it->second;
  return *FDoc.Page().Bands.at(Ref.Band)->Elements.at(Ref.Index);
}

// ---- Painting --------------------------------------------------------------------------------

void TDesignSurface::paintEvent(QPaintEvent*) {
  QPainter p(viewport());
  p.fillRect(viewport()->rect(), QColor(0x80, 0x86, 0x8E));
  const TSurfaceLayout l = Layout();
  PaintSheet(p, l);
  PaintSelection(p, l);
}

void TDesignSurface::PaintSheet(QPainter& P, const TSurfaceLayout& L) {
  const TReportPage& page = FDoc.Page();
  const float ppp = PixelsPerPoint();
  const QPointF o = Origin();
  const QRectF sheet(o.x(), o.y(), L.SheetWidth() * ppp, L.SheetHeight() * ppp);
  P.fillRect(sheet.translated(3, 3), QColor(0x50, 0x50, 0x50, 0x99));
  P.fillRect(sheet, Qt::white);
  // The page's own height, where a sheet taller than the page continues.
  if (L.SheetHeight() > static_cast<float>(page.PageHeight)) {
    QPen pen(QColor(0xC0, 0x40, 0x40), 1, Qt::DashLine);
    P.setPen(pen);
    const double y = o.y() + page.PageHeight * ppp;
    P.drawLine(QPointF(sheet.left(), y), QPointF(sheet.right(), y));
  }
  // Margins.
  {
    QPen pen(QColor(0x9C, 0xB8, 0xDC), 1, Qt::DotLine);
    P.setPen(pen);
    const QRectF body(ToView(page.MarginLeft, page.MarginTop),
                      ToView(static_cast<float>(page.PageWidth) - page.MarginRight,
                             static_cast<float>(page.PageHeight) - page.MarginBottom));
    P.drawRect(body);
  }
  const QRectF clip = sheet;
  P.save();
  P.setClipRect(clip);
  for (size_t i = 0; i < page.Bands.size(); ++i) {
    const TReportBand& band = *page.Bands[i];
    const TSurfaceLayout::TBandBox& b = L.Bands()[i];
    // Caption.
    const QRectF cap(ToView(L.Left(), b.CaptionTop), ToView(L.Right(), b.Top));
    const bool bandSelected = FSel.Kind() == TSelection::TKind::Band && FSel.Band() == i;
    P.fillRect(cap, bandSelected ? CaptionColor(band.BandType).darker(125) : CaptionColor(band.BandType));
    QString caption = Utf8(std::string(BandTypeLabels[static_cast<size_t>(band.BandType)]));
    if (!band.DataSourceName.empty()) caption += ": " + Utf8(band.DataSourceName);
    if (!band.GroupCondition.empty()) caption += "  [" + Utf8(band.GroupCondition) + "]";
    QFont f = P.font();
    f.setPixelSize(std::clamp(static_cast<int>(TSurfaceLayout::kCaption * ppp * 0.6f), 7, 14));
    P.setFont(f);
    P.setPen(QColor(0x30, 0x3A, 0x48));
    P.drawText(cap.adjusted(4, 0, -4, 0), Qt::AlignVCenter | Qt::AlignLeft, caption);
    // Body: grid dots where they are far enough apart to help.
    const QRectF body(ToView(L.Left(), b.Top), ToView(L.Right(), b.Bottom()));
    if (FGrid * ppp >= 5) {
      P.setPen(QColor(0xC8, 0xC8, 0xC8));
      for (float y = 0; y <= b.Height; y += FGrid)
        for (float x = 0; L.Left() + x <= L.Right(); x += FGrid) P.drawPoint(ToView(L.Left() + x, b.Top + y));
    }
    // The lower edge, which drags.
    P.setPen(QPen(QColor(0x8A, 0x9A, 0xB0), 1));
    P.drawLine(body.bottomLeft(), body.bottomRight());
  }
  // Elements, through the screen canvas at this zoom, as the report draws them.
  if (!FCanvas || FCanvasScale != ppp) {
    FCanvas = std::shared_ptr<TFmxRptCanvas>(
        TFmxRptCanvas::CreateForPrint(nullptr, ppp, static_cast<float>(page.PageWidth),
                                      static_cast<float>(page.PageHeight), {}).release());
    FCanvasScale = ppp;
  }
  FEngine.SetReportFile(FDoc.FileName());
  P.save();
  P.translate(o);
  PreparePagePainter(P);
  FCanvas->SetPainter(&P);
  FCanvas->BeginPage(L.SheetWidth(), L.SheetHeight());
  for (size_t i = 0; i < page.Bands.size(); ++i) {
    for (size_t j = 0; j < page.Bands[i]->Elements.size(); ++j) {
      const TReportElement& el = Shown({i, j});
      try {
        FEngine.DrawDesignElement(FCanvas, page, el, L.Bands()[i].Top);
      } catch (const std::exception&) {
        // An element that cannot be drawn still shows its frame below.
      }
    }
  }
  FCanvas->EndPage();
  FCanvas->SetPainter(nullptr);
  P.restore();
  // Every element's bounds, faintly, so that empty ones can be found.
  P.setRenderHint(QPainter::Antialiasing, false);
  QPen bounds(QColor(0xA0, 0xB4, 0xD0), 1, Qt::DotLine);
  P.setPen(bounds);
  P.setBrush(Qt::NoBrush);
  for (size_t i = 0; i < page.Bands.size(); ++i)
    for (size_t j = 0; j < page.Bands[i]->Elements.size(); ++j) {
      const TReportElement& el = Shown({i, j});
      if (el.ElemType == retLine) continue;
      const TRectF r = L.ElementRect(el, i);
      P.drawRect(QRectF(ToView(r.Left, r.Top), ToView(r.Right, r.Bottom)));
    }
  P.restore();
}

std::vector<QRectF> TDesignSurface::HandleRects(const TReportElement& El, size_t Band) const {
  const TSurfaceLayout l = Layout();
  auto box = [](QPointF C) { return QRectF(C.x() - kHandle / 2, C.y() - kHandle / 2, kHandle, kHandle); };
  if (El.ElemType == retLine) {
    const float top = l.Bands().at(Band).Top;
    return {box(ToView(l.Left() + El.Left, top + El.Top)), box(ToView(l.Left() + El.X2, top + El.Y2))};
  }
  const TRectF r = l.ElementRect(El, Band);
  const QPointF a = ToView(r.Left, r.Top), c = ToView(r.Right, r.Bottom);
  const double mx = (a.x() + c.x()) / 2, my = (a.y() + c.y()) / 2;
  return {box(a),           box({mx, a.y()}), box({c.x(), a.y()}), box({c.x(), my}),
          box(c),           box({mx, c.y()}), box({a.x(), c.y()}), box({a.x(), my})};
}

void TDesignSurface::PaintSelection(QPainter& P, const TSurfaceLayout& L) {
  P.setRenderHint(QPainter::Antialiasing, false);
  const QColor accent(0x1F, 0x6F, 0xD0);
  const auto& refs = FSel.Elements();
  for (const TElementRef& r : refs) {
    const TReportElement& el = Shown(r);
    const TRectF box = L.ElementRect(el, r.Band);
    P.setPen(QPen(accent, 1, Qt::DashLine));
    P.setBrush(Qt::NoBrush);
    P.drawRect(QRectF(ToView(box.Left, box.Top), ToView(box.Right, box.Bottom)));
    if (refs.size() == 1) {
      P.setPen(QPen(accent, 1));
      P.setBrush(Qt::white);
      for (const QRectF& h : HandleRects(el, r.Band)) P.drawRect(h);
    }
  }
  if (FDrag == TDrag::Rubber) {
    P.setPen(QPen(accent, 1, Qt::DashLine));
    P.setBrush(QColor(0x1F, 0x6F, 0xD0, 0x20));
    P.drawRect(FRubber.normalized());
  }
}

// ---- Hit tests -------------------------------------------------------------------------------

std::optional<TElementRef> TDesignSurface::ElementAt(const QPointF& ViewPos) const {
  const TSurfaceLayout l = Layout();
  const auto [x, y] = ToPage(ViewPos);
  const float slack = 3 / PixelsPerPoint();
  const TReportPage& page = FDoc.Page();
  // The topmost: the last drawn.
  for (size_t i = page.Bands.size(); i-- > 0;)
    for (size_t j = page.Bands[i]->Elements.size(); j-- > 0;) {
      const TRectF r = l.ElementRect(Shown({i, j}), i);
      if (x >= r.Left - slack && x <= r.Right + slack && y >= r.Top - slack && y <= r.Bottom + slack)
        return TElementRef{i, j};
    }
  return std::nullopt;
}

int TDesignSurface::HandleAt(const QPointF& ViewPos) const {
  if (FSel.Elements().size() != 1) return kNoHandle;
  const TElementRef r = FSel.Elements().front();
  const std::vector<QRectF> handles = HandleRects(Shown(r), r.Band);
  for (size_t k = 0; k < handles.size(); ++k)
    if (handles[k].adjusted(-2, -2, 2, 2).contains(ViewPos)) return static_cast<int>(k);
  return kNoHandle;
}

int TDesignSurface::BandEdgeAt(const QPointF& ViewPos) const {
  const TSurfaceLayout l = Layout();
  for (size_t i = 0; i < l.Bands().size(); ++i) {
    const QPointF a = ToView(l.Left(), l.Bands()[i].Bottom());
    const QPointF b = ToView(l.Right(), l.Bands()[i].Bottom());
    if (ViewPos.x() >= a.x() && ViewPos.x() <= b.x() && std::fabs(ViewPos.y() - a.y()) <= kEdgeGrip)
      return static_cast<int>(i);
  }
  return -1;
}

// ---- Mouse -----------------------------------------------------------------------------------

void TDesignSurface::mousePressEvent(QMouseEvent* Event) {
  setFocus(Qt::MouseFocusReason);
  if (Event->button() != Qt::LeftButton) return;
  const QPointF pos = Event->position();
  FPressView = pos;
  FPressPage = ToPage(pos);
  FGhosts.clear();
  FSelectOnRelease = false;
  const TSurfaceLayout l = Layout();
  const int band = l.BandAt(FPressPage.second);

  if (FTool || (FFields.Pending && FFields.Pending() && band >= 0 &&
                FPressPage.second >= l.Bands()[static_cast<size_t>(band)].Top)) {
    if (band >= 0) PlaceAt(pos);
    return;
  }
  if (int h = HandleAt(pos); h != kNoHandle) {
    FDrag = FSel.Elements().size() == 1 && Shown(FSel.Elements().front()).ElemType == retLine ? TDrag::LineEnd
                                                                                               : TDrag::Resize;
    FHandle = h;
    FPressed = FSel.Elements().front();
    return;
  }
  if (int e = BandEdgeAt(pos); e >= 0) {
    FDrag = TDrag::BandEdge;
    FEdgeBand = e;
    FEdgeHeight = FDoc.Page().Bands[static_cast<size_t>(e)]->Height;
    return;
  }
  if (auto hit = ElementAt(pos)) {
    const bool shift = Event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier);
    if (shift) {
      FSel.Toggle(*hit);
      FDrag = TDrag::None;
      return;
    }
    if (!FSel.Contains(*hit))
      FSel.SelectElements({*hit});
    else
      FSelectOnRelease = FSel.Elements().size() > 1;
    FPressed = hit;
    FDrag = TDrag::Press;
    return;
  }
  if (band >= 0 && FPressPage.second < l.Bands()[static_cast<size_t>(band)].Top) {
    // The caption: the band itself.
    FSel.SelectBand(static_cast<size_t>(band));
    FDrag = TDrag::None;
    return;
  }
  FDrag = TDrag::Rubber;
  FRubber = QRectF(pos, pos);
}

void TDesignSurface::mouseMoveEvent(QMouseEvent* Event) {
  const QPointF pos = Event->position();
  const auto [x, y] = ToPage(pos);
  const TSurfaceLayout l = Layout();
  const int band = l.BandAt(y);
  FCursor = {x, y};
  if (band >= 0)
    emit CursorMoved(x - l.Left(), y - l.Bands()[static_cast<size_t>(band)].Top, band);
  else
    emit CursorMoved(x, y, -1);
  FTopRuler->update();
  FLeftRuler->update();
  if (FDrag == TDrag::None) {
    // The cursor tells what a press would do.
    Qt::CursorShape shape = FTool ? Qt::CrossCursor : Qt::ArrowCursor;
    if (!FTool) {
      const int h = HandleAt(pos);
      if (h != kNoHandle) {
        static const Qt::CursorShape kShapes[] = {Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor,
                                                  Qt::SizeHorCursor,   Qt::SizeFDiagCursor, Qt::SizeVerCursor,
                                                  Qt::SizeBDiagCursor, Qt::SizeHorCursor};
        shape = FSel.Elements().size() == 1 && Shown(FSel.Elements().front()).ElemType == retLine
                    ? Qt::CrossCursor
                    : kShapes[h];
      } else if (BandEdgeAt(pos) >= 0) {
        shape = Qt::SplitVCursor;
      } else if (ElementAt(pos)) {
        shape = Qt::SizeAllCursor;
      }
    }
    viewport()->setCursor(shape);
    return;
  }
  UpdateDrag(pos, Event->modifiers());
}

void TDesignSurface::UpdateDrag(const QPointF& ViewPos, Qt::KeyboardModifiers Mods) {
  const auto [x, y] = ToPage(ViewPos);
  float dx = x - FPressPage.first, dy = y - FPressPage.second;
  const bool free = Mods & Qt::AltModifier;  // Alt: no snapping while it is held
  auto snap = [&](float V) { return free ? V : SnapValue(V); };
  switch (FDrag) {
    case TDrag::Press:
      if (std::hypot(ViewPos.x() - FPressView.x(), ViewPos.y() - FPressView.y()) < 3) return;
      FDrag = TDrag::Move;
      FSelectOnRelease = false;
      [[fallthrough]];
    case TDrag::Move: {
      // The pressed element's corner lands on the grid; the others keep their distances.
      const TReportElement& pressed = *FDoc.Page().Bands.at(FPressed->Band)->Elements.at(FPressed->Index);
      dx = snap(pressed.Left + dx) - pressed.Left;
      dy = snap(pressed.Top + dy) - pressed.Top;
      FGhosts.clear();
      for (const TElementRef& r : FSel.Elements()) {
        TReportElement e = *FDoc.Page().Bands.at(r.Band)->Elements.at(r.Index);
        e.Left += dx;
        e.Top += dy;
        e.X2 += dx;
        e.Y2 += dy;
        FGhosts.emplace(r, std::move(e));
      }
      break;
    }
    case TDrag::Resize: {
      TReportElement e = *FDoc.Page().Bands.at(FPressed->Band)->Elements.at(FPressed->Index);
      float left = e.Left, top = e.Top, right = e.Left + e.Width, bottom = e.Top + e.Height;
      const int h = FHandle;
      if (h == 0 || h == 6 || h == 7) left = snap(left + dx);
      if (h == 2 || h == 3 || h == 4) right = snap(right + dx);
      if (h == 0 || h == 1 || h == 2) top = snap(top + dy);
      if (h == 4 || h == 5 || h == 6) bottom = snap(bottom + dy);
      const float minSize = 1;
      if (right - left < minSize) (h == 0 || h == 6 || h == 7) ? left = right - minSize : right = left + minSize;
      if (bottom - top < minSize) (h == 0 || h == 1 || h == 2) ? top = bottom - minSize : bottom = top + minSize;
      e.Left = left;
      e.Top = top;
      e.Width = right - left;
      e.Height = bottom - top;
      FGhosts.clear();
      FGhosts.emplace(*FPressed, std::move(e));
      break;
    }
    case TDrag::LineEnd: {
      TReportElement e = *FDoc.Page().Bands.at(FPressed->Band)->Elements.at(FPressed->Index);
      if (FHandle == 0) {
        e.Left = snap(e.Left + dx);
        e.Top = snap(e.Top + dy);
      } else {
        e.X2 = snap(e.X2 + dx);
        e.Y2 = snap(e.Y2 + dy);
      }
      e.Width = std::fabs(e.X2 - e.Left);
      e.Height = std::fabs(e.Y2 - e.Top);
      FGhosts.clear();
      FGhosts.emplace(*FPressed, std::move(e));
      break;
    }
    case TDrag::BandEdge:
      FEdgeHeight = std::max(kMinBandHeight, snap(FDoc.Page().Bands[static_cast<size_t>(FEdgeBand)]->Height + dy));
      UpdateScrollBars();
      break;
    case TDrag::Rubber:
      FRubber.setBottomRight(ViewPos);
      break;
    case TDrag::None:
      return;
  }
  viewport()->update();
}

void TDesignSurface::mouseReleaseEvent(QMouseEvent* Event) {
  if (Event->button() != Qt::LeftButton) return;
  FinishDrag(Event->position());
}

void TDesignSurface::FinishDrag(const QPointF& ViewPos) {
  const TDrag drag = FDrag;
  FDrag = TDrag::None;
  std::map<TElementRef, TReportElement> ghosts;
  ghosts.swap(FGhosts);
  const TSurfaceLayout l = Layout();
  switch (drag) {
    case TDrag::Press:
      if (FSelectOnRelease && FPressed) FSel.SelectElements({*FPressed});
      break;
    case TDrag::Move: {
      if (ghosts.empty() || !FPressed) break;
      const TReportElement& before = *FDoc.Page().Bands.at(FPressed->Band)->Elements.at(FPressed->Index);
      const TReportElement& after = ghosts.at(*FPressed);
      const float dx = after.Left - before.Left, dy = after.Top - before.Top;
      // The band the pressed element's top left corner is over now decides where they all go.
      const float pageY = l.Bands().at(FPressed->Band).Top + after.Top;
      const int target = l.NearestBand(pageY);
      bool sameBand = true;
      for (const TElementRef& r : FSel.Elements()) sameBand = sameBand && static_cast<int>(r.Band) == target;
      const bool leaves = target >= 0 && target != static_cast<int>(FPressed->Band) &&
                          (pageY < l.Bands()[FPressed->Band].Top || pageY >= l.Bands()[FPressed->Band].Bottom());
      if (!leaves || sameBand) {
        MoveSelection(FDoc, FSel, dx, dy);
      } else {
        std::vector<float> tops;
        const float targetTop = l.Bands()[static_cast<size_t>(target)].Top;
        for (const TElementRef& r : FSel.Elements()) {
          const TReportElement& e = *FDoc.Page().Bands.at(r.Band)->Elements.at(r.Index);
          tops.push_back(SnapValue(l.Bands()[r.Band].Top + e.Top + dy - targetTop));
        }
        MoveSelectionToBand(FDoc, FSel, static_cast<size_t>(target), dx, tops);
      }
      break;
    }
    case TDrag::Resize:
    case TDrag::LineEnd:
      if (FPressed && !ghosts.empty()) {
        const TReportElement& e = ghosts.begin()->second;
        if (!(e == *FDoc.Page().Bands.at(FPressed->Band)->Elements.at(FPressed->Index)))
          FDoc.ReplaceElement(FPressed->Band, FPressed->Index, e, tr("Resize"));
      }
      break;
    case TDrag::BandEdge:
      if (FEdgeBand >= 0 && static_cast<size_t>(FEdgeBand) < FDoc.Page().Bands.size()) {
        TBandProps props = BandPropsOf(*FDoc.Page().Bands[static_cast<size_t>(FEdgeBand)]);
        if (props.Height != FEdgeHeight) {
          props.Height = FEdgeHeight;
          FDoc.SetBandProps(static_cast<size_t>(FEdgeBand), props);
        }
      }
      FEdgeBand = -1;
      break;
    case TDrag::Rubber: {
      const QRectF r = FRubber.normalized();
      if (r.width() < 3 && r.height() < 3) {
        // A click on a band's empty space selects the band; outside the bands, the page.
        const int band = l.BandAt(ToPage(ViewPos).second);
        if (band >= 0)
          FSel.SelectBand(static_cast<size_t>(band));
        else
          FSel.SelectPage();
        break;
      }
      const auto [x1, y1] = ToPage(r.topLeft());
      const auto [x2, y2] = ToPage(r.bottomRight());
      const TRectF area{x1, y1, x2, y2};
      std::vector<TElementRef> hit;
      const TReportPage& page = FDoc.Page();
      for (size_t i = 0; i < page.Bands.size(); ++i)
        for (size_t j = 0; j < page.Bands[i]->Elements.size(); ++j)
          if (Overlaps(area, l.ElementRect(*page.Bands[i]->Elements[j], i))) hit.push_back({i, j});
      FSel.SelectElements(std::move(hit));
      break;
    }
    case TDrag::None:
      break;
  }
  FPressed.reset();
  FHandle = kNoHandle;
  UpdateScrollBars();
  viewport()->update();
}

void TDesignSurface::mouseDoubleClickEvent(QMouseEvent* Event) { mousePressEvent(Event); }

void TDesignSurface::PlaceAt(const QPointF& ViewPos) {
  const TSurfaceLayout l = Layout();
  const auto [x, y] = ToPage(ViewPos);
  const int band = l.NearestBand(y);
  if (band < 0) return;
  const size_t b = static_cast<size_t>(band);
  const float left = std::max(0.0f, SnapValue(x - l.Left()));
  const float top = std::max(0.0f, SnapValue(y - l.Bands()[b].Top));
  if (FTool) {
    TReportElement e = NewElement(*FTool);
    e.Left = left;
    e.Top = top;
    e.X2 = left + e.Width;
    e.Y2 = top;
    PlaceElement(FDoc, FSel, b, std::move(e));
    SetTool(std::nullopt);
    emit ToolUsed();
  } else if (FFields.Place) {
    FFields.Place(b, left, top);
  }
}

void TDesignSurface::wheelEvent(QWheelEvent* Event) {
  if (Event->modifiers() & Qt::ControlModifier) {
    const int steps = Event->angleDelta().y() / 120;
    if (steps > 0) ZoomIn();
    if (steps < 0) ZoomOut();
    Event->accept();
    return;
  }
  QAbstractScrollArea::wheelEvent(Event);
}

void TDesignSurface::keyPressEvent(QKeyEvent* Event) {
  const bool shift = Event->modifiers() & Qt::ShiftModifier;
  const float step = shift ? FGrid : 1.0f;
  float dx = 0, dy = 0;
  switch (Event->key()) {
    case Qt::Key_Left: dx = -step; break;
    case Qt::Key_Right: dx = step; break;
    case Qt::Key_Up: dy = -step; break;
    case Qt::Key_Down: dy = step; break;
    case Qt::Key_Escape:
      if (FTool) {
        SetTool(std::nullopt);
        emit ToolUsed();
      } else {
        FSel.SelectPage();
      }
      return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      // Enter on a selected band places the field chosen in the data tree below what it holds.
      if (FSel.Kind() == TSelection::TKind::Band && FFields.Pending && FFields.Pending() && FFields.Place) {
        const TReportBand& band = *FDoc.Page().Bands.at(FSel.Band());
        float left = 0;
        for (const auto& e : band.Elements) left = std::max(left, e->Left + e->Width);
        FFields.Place(FSel.Band(), SnapValue(left + (band.Elements.empty() ? 0 : FGrid)), 0);
        return;
      }
      break;
    default:
      break;
  }
  if ((dx != 0 || dy != 0) && !FSel.Elements().empty()) {
    MoveSelection(FDoc, FSel, dx, dy);
    return;
  }
  QAbstractScrollArea::keyPressEvent(Event);
}

// ---- Drops -----------------------------------------------------------------------------------

void TDesignSurface::dragEnterEvent(QDragEnterEvent* Event) {
  if (Event->mimeData()->hasFormat(kFieldMime) || Event->mimeData()->hasFormat(kElementMime))
    Event->acceptProposedAction();
}

void TDesignSurface::dragMoveEvent(QDragMoveEvent* Event) {
  const auto [x, y] = ToPage(Event->position());
  const bool onBand = Layout().NearestBand(y) >= 0 && x >= 0;
  if (onBand)
    Event->acceptProposedAction();
  else
    Event->ignore();
}

void TDesignSurface::dropEvent(QDropEvent* Event) {
  const TSurfaceLayout l = Layout();
  const auto [x, y] = ToPage(Event->position());
  const int band = l.NearestBand(y);
  if (band < 0) return;
  const size_t b = static_cast<size_t>(band);
  const float left = std::max(0.0f, SnapValue(x - l.Left()));
  const float top = std::max(0.0f, SnapValue(y - l.Bands()[b].Top));
  const QMimeData* data = Event->mimeData();
  if (data->hasFormat(kElementMime)) {
    const std::string name = QString::fromUtf8(data->data(kElementMime)).toStdString();
    TReportElement e = NewElement(ElemTypeFromStr(name));
    e.Left = left;
    e.Top = top;
    e.X2 = left + e.Width;
    e.Y2 = top;
    PlaceElement(FDoc, FSel, b, std::move(e));
  } else if (data->hasFormat(kFieldMime) && FFields.Drop) {
    FFields.Drop(b, left, top, QString::fromUtf8(data->data(kFieldMime)).toStdString());
  }
  Event->acceptProposedAction();
  setFocus(Qt::OtherFocusReason);
}

}  // namespace quillet::designer
