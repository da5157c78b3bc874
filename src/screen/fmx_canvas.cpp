#include "screen/fmx_canvas.h"

#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <QGlyphRun>
#include <QImage>
#include <QPaintDevice>
#include <QPainterPath>
#include <QPolygonF>
#include <QRawFont>
#include <QString>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <unordered_map>

#include "canvas/pdf_canvas.h"
#include "canvas/text_layout.h"

namespace quillet {

namespace {

QColor ToQColor(TAlphaColor C) { return QColor::fromRgba(static_cast<QRgb>(C)); }

// Each font file is read by Qt once per process; the canvases take sized copies of it.
QRawFont RawFontOfFile(const std::string& FileName) {
  static std::mutex guard;
  static std::unordered_map<std::string, QRawFont> fonts;
  std::lock_guard<std::mutex> lock(guard);
  auto it = fonts.find(FileName);
  if (it != fonts.end()) return it->second;
  QRawFont font(QString::fromStdString(FileName), 12, QFont::PreferNoHinting);
  return fonts.emplace(FileName, font).first->second;
}

// The same face through Qt's font database: a printer's PDF can embed a face only when Qt knows
// the file it came from, and draws glyphs of a face read from bytes as outlines without text.
// Falls back to the face as read from the file when the database offers a different one.
QRawFont EmbeddableRawFontOfFile(const std::string& FileName) {
  static std::mutex guard;
  static std::unordered_map<std::string, QRawFont> fonts;
  const QRawFont direct = RawFontOfFile(FileName);
  std::lock_guard<std::mutex> lock(guard);
  auto it = fonts.find(FileName);
  if (it != fonts.end()) return it->second;
  QRawFont chosen = direct;
  if (direct.isValid() && QFontDatabase::addApplicationFont(QString::fromStdString(FileName)) >= 0) {
    QFont font = QFontDatabase::font(direct.familyName(), direct.styleName(), 12);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(QFont::NoFontMerging);
    const QRawFont known = QRawFont::fromFont(font);
    // The header table carries the face's checksum and dates: equal headers, equal faces.
    if (known.isValid() && known.fontTable("head") == direct.fontTable("head") &&
        known.fontTable("cmap") == direct.fontTable("cmap"))
      chosen = known;
  }
  return fonts.emplace(FileName, chosen).first->second;
}

}  // namespace

void PreparePagePainter(QPainter& Painter) {
  Painter.setRenderHint(QPainter::Antialiasing, true);
  Painter.setRenderHint(QPainter::TextAntialiasing, true);
  Painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
}

TFmxRptCanvas::TFmxRptCanvas(QPainter* Canvas, float Scale, float Gap, float PageWpt, float PageHpt)
    : FCanvas(Canvas), FScale(Scale), FGap(Gap), FPageWpt(PageWpt), FPageHpt(PageHpt) {}

std::unique_ptr<TFmxRptCanvas> TFmxRptCanvas::CreateForPrint(QPainter* Canvas, float Scale, float PageWpt,
                                                             float PageHpt, std::function<void()> NextPage) {
  auto c = std::make_unique<TFmxRptCanvas>(Canvas, Scale, 0.0f, PageWpt, PageHpt);
  c->FPrintMode = true;
  c->FNextPage = std::move(NextPage);
  return c;
}

TFmxRptCanvas::~TFmxRptCanvas() = default;

QRectF TFmxRptCanvas::MakeRect(const TRectF& R) const {
  const QPointF a = SXY({R.Left, R.Top});
  const QPointF b = SXY({R.Right, R.Bottom});
  return QRectF(a, b);
}

QPen TFmxRptCanvas::StrokePen(TAlphaColor Color, float W) const {
  QPen pen(ToQColor(Color));
  pen.setWidthF(std::max(0.5f, W * FScale));
  pen.setCapStyle(Qt::FlatCap);
  pen.setJoinStyle(Qt::MiterJoin);
  return pen;
}

void TFmxRptCanvas::BeginPage(float WidthPt, float HeightPt) {
  FPageWpt = WidthPt;
  FPageHpt = HeightPt;
  if (FPrintMode) {
    if (FPageIdx > 0 && FNextPage) FNextPage();
    if (FCanvas) FCanvas->save();
    FOX = FOY = 0;
    FSuppress = false;
    return;
  }
  const float w = WidthPt * FScale, h = HeightPt * FScale;
  if (FOnlyPageIdx < 0) {
    FSuppress = false;
    FOX = FGap;
    FOY = (h + FGap) * static_cast<float>(FPageIdx) + FGap;
  } else {
    FSuppress = FOnlyPageIdx != FPageIdx;
    FOX = FOY = FGap;
    if (FSuppress) return;
  }
  if (!FCanvas) return;
  // The sheet: a shadow 3 pixels down and right, the white page, a grey outline.
  FCanvas->save();
  FCanvas->setOpacity(0.6);
  FCanvas->fillRect(QRectF(FOX + 3, FOY + 3, w, h), QColor::fromRgba(0xFF505050));
  FCanvas->setOpacity(1.0);
  FCanvas->fillRect(QRectF(FOX, FOY, w, h), Qt::white);
  QPen outline(QColor::fromRgba(0xFFA0A0A0));
  outline.setWidthF(1.0);
  FCanvas->setPen(outline);
  FCanvas->setBrush(Qt::NoBrush);
  FCanvas->drawRect(QRectF(FOX, FOY, w, h));
  FCanvas->restore();
}

void TFmxRptCanvas::EndPage() {
  if (FPrintMode && FCanvas) FCanvas->restore();
  ++FPageIdx;
}

void TFmxRptCanvas::FillRect(const TRectF& R, TAlphaColor Color) {
  if (!Painting() || IsTranspColor(Color)) return;
  // Filled rectangles snap to whole pixels: barcode bars and QR modules that touch must not show
  // the faint seams antialiased edges leave between them. A rectangle keeps at least one pixel.
  const QRectF r = MakeRect(R).normalized();
  if (r.isEmpty()) return;
  const int left = static_cast<int>(std::lround(r.left())), top = static_cast<int>(std::lround(r.top()));
  const int right = std::max(left + 1, static_cast<int>(std::lround(r.right())));
  const int bottom = std::max(top + 1, static_cast<int>(std::lround(r.bottom())));
  FCanvas->fillRect(QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)), ToQColor(Color));
}

void TFmxRptCanvas::StrokeRect(const TRectF& R, TAlphaColor Color, float W) {
  if (!Painting() || IsTranspColor(Color)) return;
  FCanvas->setPen(StrokePen(Color, W));
  FCanvas->setBrush(Qt::NoBrush);
  FCanvas->drawRect(MakeRect(R));
}

void TFmxRptCanvas::DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) {
  if (!Painting() || IsTranspColor(Color)) return;
  FCanvas->setPen(StrokePen(Color, W));
  FCanvas->drawLine(SXY(P1), SXY(P2));
}

void TFmxRptCanvas::DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill,
                                  float W) {
  if (!Painting()) return;
  const QRectF r = MakeRect(R);
  if (!IsTranspColor(Fill)) {
    FCanvas->setPen(Qt::NoPen);
    FCanvas->setBrush(ToQColor(Fill));
    FCanvas->drawRoundedRect(r, Rx * FScale, Ry * FScale, Qt::AbsoluteSize);
  }
  if (!IsTranspColor(Stroke)) {
    FCanvas->setPen(StrokePen(Stroke, W));
    FCanvas->setBrush(Qt::NoBrush);
    FCanvas->drawRoundedRect(r, Rx * FScale, Ry * FScale, Qt::AbsoluteSize);
  }
}

void TFmxRptCanvas::DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) {
  if (!Painting()) return;
  const QRectF r = MakeRect(R);
  if (!IsTranspColor(Fill)) {
    FCanvas->setPen(Qt::NoPen);
    FCanvas->setBrush(ToQColor(Fill));
    FCanvas->drawEllipse(r);
  }
  if (!IsTranspColor(Stroke)) {
    FCanvas->setPen(StrokePen(Stroke, W));
    FCanvas->setBrush(Qt::NoBrush);
    FCanvas->drawEllipse(r);
  }
}

void TFmxRptCanvas::FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) {
  if (!Painting() || IsTranspColor(Color) || Pts.empty()) return;
  QPainterPath path(SXY(Pts.front()));
  for (size_t i = 1; i < Pts.size(); ++i) path.lineTo(SXY(Pts[i]));
  path.closeSubpath();
  FCanvas->fillPath(path, ToQColor(Color));
}

QRawFont TFmxRptCanvas::RawFontOf(const TPDFFontEntry& Entry, float Size) {
  const auto key = std::make_pair(&Entry, Size);
  auto it = FRawFonts.find(key);
  if (it != FRawFonts.end()) return it->second;
  QRawFont font = FPrintMode ? EmbeddableRawFontOfFile(Entry.FileName) : RawFontOfFile(Entry.FileName);
  // One canvas unit is one device pixel.
  if (font.isValid()) font.setPixelSize(static_cast<double>(Size) * FScale);
  return FRawFonts.emplace(key, font).first->second;
}

void TFmxRptCanvas::DrawLineGlyphs(const QRawFont& Font, const std::string& Line, const QPointF& Origin,
                                   const QColor& Color) {
  // The glyphs of the very file the layout measured, each at its unhinted advance, so a line
  // covers exactly the width the layout gave it.
  const QString text = QString::fromUtf8(Line);
  const QList<quint32> glyphs = Font.glyphIndexesForString(text);
  if (glyphs.isEmpty()) return;
  const QList<QPointF> advances = Font.advancesForGlyphIndexes(glyphs, QRawFont::UseDesignMetrics);
  QList<QPointF> positions;
  positions.reserve(glyphs.size());
  QPointF at(0, 0);
  for (qsizetype i = 0; i < glyphs.size(); ++i) {
    positions.push_back(at);
    if (i < advances.size()) at += advances[i];
  }
  QGlyphRun run;
  run.setRawFont(Font);
  run.setGlyphIndexes(glyphs);
  run.setPositions(positions);
  FCanvas->setPen(Color);
  FCanvas->drawGlyphRun(Origin, run);
}

void TFmxRptCanvas::DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA,
                             TRptVertAlign VA, bool WordWrap, TAlphaColor Color) {
  if (!Painting() || S.empty() || IsTranspColor(Color)) return;
  const TPDFFontEntry& entry = FFonts.GetFontEntry(F.Name, F.Bold, F.Italic);
  TPDFFont& font = *entry.Font;
  const TTextMetrics m = TextMetricsOf(font, F.Size);
  std::vector<std::string> lines;
  if (WordWrap) lines = TPdfRptCanvas::WrapText(font, S, F.Size, TextWrapWidth(R));
  else lines.push_back(S);
  const double top = TextBlockTop(R, VA, lines.size(), m);

  const QRawFont raw = RawFontOf(entry, F.Size);
  if (!raw.isValid()) return;
  const QColor color = ToQColor(Color);
  FCanvas->save();
  FCanvas->setClipRect(MakeRect(R), Qt::IntersectClip);
  for (size_t i = 0; i < lines.size(); ++i) {
    const double baseline = TextBaseline(top, m, i);
    if (TextLineBelowBox(R, baseline, m)) break;
    if (lines[i].empty()) continue;
    const double x = TextLineX(R, HA, font.TextWidth1000(lines[i]) / 1000.0 * F.Size);
    DrawLineGlyphs(raw, lines[i], QPointF(x * FScale + FOX, baseline * FScale + FOY), color);
  }
  FCanvas->restore();
}

TSizeF TFmxRptCanvas::MeasureText(const std::string& S, const TRptFont& F) {
  if (S.empty()) return {0, 1.2f * F.Size};
  TPDFFont& font = *FFonts.GetFontEntry(F.Name, F.Bold, F.Italic).Font;
  return {static_cast<float>(font.TextWidth1000(S) / 1000.0 * F.Size),
          static_cast<float>(TextMetricsOf(font, F.Size).Height)};
}

float TFmxRptCanvas::MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) {
  if (S.empty()) return 1.2f * F.Size;
  TPDFFont& font = *FFonts.GetFontEntry(F.Name, F.Bold, F.Italic).Font;
  return static_cast<float>(
      TextBlockHeight(TextMetricsOf(font, F.Size), TPdfRptCanvas::WrapText(font, S, F.Size, W).size()));
}

void TFmxRptCanvas::DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) {
  if (!Painting() || Bmp.IsEmpty() ||
      Bmp.Pixels.size() < static_cast<size_t>(Bmp.Width) * static_cast<size_t>(Bmp.Height) * 4)
    return;
  TRectF src{}, dst{};
  ComputeImagePlacement(R, Bmp.Width, Bmp.Height, Mode, src, dst);
  if (!(dst.Right - dst.Left > 0) || !(dst.Bottom - dst.Top > 0)) return;
  const QImage image(Bmp.Pixels.data(), Bmp.Width, Bmp.Height, Bmp.Width * 4, QImage::Format_RGBA8888);
  FCanvas->drawImage(MakeRect(dst), image, QRectF(src.Left, src.Top, src.Right - src.Left, src.Bottom - src.Top));
}

}  // namespace quillet
