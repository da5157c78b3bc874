// The screen canvas, checked on the pixels it paints into small images: where each operation
// lands for a given scale and gap, how pages stack or paint alone, the frame and shadow, the
// thinnest stroke, transparent colours, print mode's sheets, and text that is laid out and
// measured exactly as the PDF canvas does it.
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <functional>
#include <string>
#include <vector>

#include "../support/test_support.h"
#include "canvas/pdf_canvas.h"
#include "screen_test_support.h"

namespace quillet::screentest {
namespace {

constexpr TAlphaColor kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF, kBlack = 0xFF000000;
constexpr TAlphaColor kNone = 0x00FF0000;  // red, but fully transparent
const QRgb kRedPx = qRgb(255, 0, 0);
const TRptFont kSans = RptFont("DejaVu Sans", 20, false, false);
using TDraw = std::function<void(TFmxRptCanvas&)>;

// The pixels [L, R) x [T, B).
QRect Px(int L, int T, int R, int B) { return QRect(QPoint(L, T), QPoint(R - 1, B - 1)); }

// A W x H image holding one PageW x PageH page painted by Draw.
QImage PaintPage(int W, int H, float Scale, float Gap, const TDraw& Draw, float PageW = 200, float PageH = 100) {
  TPaintedImage p(W, H, Scale, Gap);
  p.Canvas->BeginPage(PageW, PageH);
  Draw(*p.Canvas);
  p.Canvas->EndPage();
  return p.Done();
}

TRptBitmap RedBitmap(int W, int H) {
  TRptBitmap bmp{W, H, {}};
  for (int i = 0; i < W * H; ++i) bmp.Pixels.insert(bmp.Pixels.end(), {255, 0, 0, 255});
  return bmp;
}

// Where the red pixels of each operation land; a null Expected means the page stays blank.
TEST(FmxCanvas, EachOperationLandsWhereScaleAndGapPutIt) {
  const struct {
    const char* Name;
    float Scale, Gap;
    TDraw Draw;
    QRect Expected;
    QPoint Hole = QPoint(-1, -1);  // a pixel inside Expected that must stay unpainted
  } cases[] = {
      {"fill rect", 2, 10, [](TFmxRptCanvas& c) { c.FillRect({10, 20, 30, 40}, kRed); }, Px(30, 50, 70, 90)},
      {"fill rect, scale 0.5", 0.5f, 6, [](TFmxRptCanvas& c) { c.FillRect({10, 20, 30, 40}, kRed); }, Px(11, 16, 21, 26)},
      // The pen is W * scale wide, centred on the outline.
      {"stroke rect", 2, 10, [](TFmxRptCanvas& c) { c.StrokeRect({10, 20, 30, 40}, kRed, 2); }, Px(28, 48, 72, 92),
       QPoint(50, 70)},
      {"line, flat ends", 2, 0, [](TFmxRptCanvas& c) { c.DrawLine({10, 10.5f}, {30, 10.5f}, kRed, 1); }, Px(20, 20, 60, 22)},
      {"round rect, fill only", 2, 0, [](TFmxRptCanvas& c) { c.DrawRoundRect({10, 10, 50, 30}, 5, 5, kNone, kRed, 1); },
       Px(20, 20, 100, 60), QPoint(20, 20)},
      {"round rect, stroke only", 2, 0,
       [](TFmxRptCanvas& c) { c.DrawRoundRect({10, 10, 50, 30}, 2, 2, kRed, kNone, 1); }, Px(19, 19, 101, 61),
       QPoint(60, 40)},
      {"ellipse, fill only", 2, 0, [](TFmxRptCanvas& c) { c.DrawEllipse({10, 10, 50, 30}, kNone, kRed, 1); },
       Px(20, 20, 100, 60), QPoint(22, 22)},
      {"ellipse, stroke only", 2, 0, [](TFmxRptCanvas& c) { c.DrawEllipse({10, 10, 50, 30}, kRed, kNone, 1); },
       Px(19, 19, 101, 61), QPoint(60, 40)},
      {"path", 2, 4, [](TFmxRptCanvas& c) { c.FillPath({{10, 10}, {50, 10}, {10, 30}}, kRed); }, Px(24, 24, 104, 64),
       QPoint(100, 60)},
      {"image stretched", 2, 0, [](TFmxRptCanvas& c) { c.DrawImage({10, 10, 50, 30}, RedBitmap(2, 2), risStretch); },
       Px(20, 20, 100, 60)},
      {"image fitted", 1, 0, [](TFmxRptCanvas& c) { c.DrawImage({0, 0, 40, 40}, RedBitmap(2, 1), risFit); },
       Px(0, 10, 40, 30)},
      {"transparent fill", 1, 5, [](TFmxRptCanvas& c) { c.FillRect({10, 10, 50, 40}, kNone); }, {}},
      {"transparent text", 1, 5,
       [](TFmxRptCanvas& c) { c.DrawText("Hidden", {10, 10, 90, 40}, kSans, rhaLeft, rvaTop, false, kNone); }, {}},
      {"empty text", 1, 5,
       [](TFmxRptCanvas& c) { c.DrawText("", {10, 10, 90, 40}, kSans, rhaLeft, rvaTop, false, kBlack); }, {}},
      {"empty image", 1, 5, [](TFmxRptCanvas& c) { c.DrawImage({10, 10, 50, 40}, TRptBitmap{}, risStretch); }, {}},
  };
  for (const auto& t : cases) {
    SCOPED_TRACE(t.Name);
    const QImage image = PaintPage(120, 100, t.Scale, t.Gap, t.Draw);
    if (t.Expected.isNull()) {
      EXPECT_TRUE(image == PaintPage(120, 100, t.Scale, t.Gap, [](TFmxRptCanvas&) {}));
      continue;
    }
    const QRect red = BoxOf(image, Near(kRedPx));
    EXPECT_TRUE(SameBox(red, t.Expected)) << testing::PrintToString(red);
    EXPECT_TRUE(t.Hole.x() < 0 || !Near(kRedPx)(image.pixel(t.Hole)));
  }
  // A colour with some alpha is blended.
  const QRgb half = PaintPage(100, 60, 1, 0, [](TFmxRptCanvas& c) { c.FillRect({10, 10, 50, 40}, 0x80FF0000); })
                        .pixel(30, 25);
  EXPECT_TRUE(qRed(half) == 255 && std::abs(qGreen(half) - 127) <= 2 && std::abs(qBlue(half) - 127) <= 2);
}

// Three A4 pages at scale 1 and gap 10, each marked by a 10-point square of its own colour in its
// top left corner: stacked, page 2 starts at (842 + 10) * 2 + 10 = 1714; alone, a page starts at
// the gap. Either way the sheet has a grey outline on its edge and a shadow 3 pixels wide at 0.6
// of 0x505050 over white along its right and bottom edges.
TEST(FmxCanvas, PagesStackDownwardsOrPaintAloneAtTheGap) {
  const QRgb colours[] = {qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255)};
  const int stackedTop[] = {10, 862, 1714};
  for (int only : {-1, 0, 2}) {
    SCOPED_TRACE(only);
    TPaintedImage p(640, only < 0 ? 2580 : 880, 1, 10);
    if (only >= 0) p.Canvas->SetOnlyPageIdx(only);
    for (TAlphaColor colour : {kRed, kGreen, kBlue}) {
      p.Canvas->BeginPage(595, 842);
      p.Canvas->FillRect({0, 0, 10, 10}, colour);
      p.Canvas->EndPage();
    }
    EXPECT_EQ(p.Canvas->PageIdx(), 3);
    const QImage& image = p.Done();
    for (int i = 0; i < 3; ++i) {
      const QRect box = BoxOf(image, Near(colours[i], 8));
      if (only < 0 || i == only) EXPECT_EQ(box, only < 0 ? Px(10, stackedTop[i], 20, stackedTop[i] + 10) : Px(10, 10, 20, 20));
      else EXPECT_TRUE(box.isNull()) << "page " << i << " painted";
    }
    const int top = only < 0 ? 1714 : 10;  // of the last sheet painted
    const double shade = 0.4 * 255 + 0.6 * 0x50;
    for (QPoint edge : {QPoint(300, top - 1), QPoint(300, top), QPoint(9, top + 300), QPoint(10, top + 300)}) {
      const QRgb px = image.pixel(edge);
      EXPECT_TRUE(qRed(px) == qBlue(px) && qGray(px) > 150 && qGray(px) < 240) << edge.x() << "," << edge.y();
    }
    for (QPoint white : {QPoint(300, top + 6), QPoint(300, top - 4), QPoint(610, top + 300), QPoint(300, top + 845)})
      EXPECT_EQ(image.pixel(white), qRgb(255, 255, 255)) << white.x() << "," << white.y();
    EXPECT_NEAR(qGray(image.pixel(10 + 595 + 1, top + 300)), shade, 4);
    EXPECT_NEAR(qGray(image.pixel(300, top + 842 + 2)), shade, 4);
  }
}

// Print mode: a new sheet is asked for before each page after the first, and every sheet starts
// at the device's corner, without the preview's frame and shadow.
TEST(FmxCanvas, PrintModeStartsASheetBeforeEachPageAfterTheFirst) {
  TPaintedImage p(100, 100, 1, 0);
  std::string log;
  auto canvas = TFmxRptCanvas::CreateForPrint(p.Painter.get(), 2, 50, 50, [&] { log += "next "; });
  for (int page = 0; page < 3; ++page) {
    canvas->BeginPage(50, 50);
    log += std::to_string(page) + " ";
    canvas->FillRect({0, 0, 10, 10}, kRed);
    canvas->EndPage();
  }
  EXPECT_EQ(log, "0 next 1 next 2 ");
  const QImage& image = p.Done();
  EXPECT_EQ(BoxOf(image, Near(kRedPx, 8)), Px(0, 0, 20, 20));
  EXPECT_TRUE(BoxOf(image, [](QRgb px) { return qRed(px) == qGreen(px) && qGray(px) < 250; }).isNull());
}

// How many pixels of black ink column X holds, antialiased edges counted by their share.
double DarknessOfColumn(const QImage& Image, int X) {
  double sum = 0;
  for (int y = 0; y < Image.height(); ++y) sum += (255.0 - qGray(Image.pixel(X, y))) / 255.0;
  return sum;
}

// Ink across one column, measured against the bare sheet, whose outline crosses the column too.
TEST(FmxCanvas, StrokesAreAtLeastHalfAPixelWide) {
  const struct {
    float W, Scale;
    bool Rect;
    double Pixels;
  } cases[] = {{0, 1, false, 0.5}, {1, 0.25f, false, 0.5}, {0, 4, false, 0.5},
               {2, 1.5f, false, 3.0}, {0, 1, true, 2 * 0.5}, {1, 2, true, 2 * 2.0}};
  for (const auto& t : cases) {
    SCOPED_TRACE(testing::Message() << "W " << t.W << " scale " << t.Scale << (t.Rect ? " rect" : " line"));
    const float s = t.Scale;
    const QImage drawn = PaintPage(60, 60, s, 0, [&](TFmxRptCanvas& c) {
      if (t.Rect) c.StrokeRect({5 / s, 10.3f / s, 55 / s, 40.6f / s}, kBlack, t.W);
      else c.DrawLine({5 / s, 20.3f / s}, {55 / s, 20.3f / s}, kBlack, t.W);
    }, 1000, 1000);
    const QImage blank = PaintPage(60, 60, s, 0, [](TFmxRptCanvas&) {}, 1000, 1000);
    EXPECT_NEAR(DarknessOfColumn(drawn, 30) - DarknessOfColumn(blank, 30), t.Pixels, 0.1);
  }
}

// 2 points in from either side, or centred; at the top, centred or at the bottom of the box, by
// the measured size; text too tall and too long for its box is cut at the box, at any scale.
TEST(FmxCanvas, TextSitsWhereTheMeasuredWidthAndHeightPlaceIt) {
  auto ink = [](const std::string& S, const TRectF& Box, TRptHorzAlign HA, TRptVertAlign VA, float Scale = 1,
                const TRptFont& F = kSans) {
    return BoxOf(PaintPage(int(220 * Scale), int(120 * Scale), Scale, 0,
                           [&](TFmxRptCanvas& c) { c.DrawText(S, Box, F, HA, VA, false, kBlack); }, 220, 120),
                 IsInk);
  };
  const TSizeF size = TFmxRptCanvas(nullptr, 1, 0, 220, 120).MeasureText("Hxg", kSans);
  const QRect topLeft = ink("Hxg", {10, 10, 190, 90}, rhaLeft, rvaTop);
  ASSERT_FALSE(topLeft.isNull());
  const double freeW = 180 - size.Width, freeH = 80 - size.Height;
  const struct {
    TRptHorzAlign HA;
    TRptVertAlign VA;
    double Dx, Dy;
  } cases[] = {{rhaRight, rvaTop, freeW - 4, 0}, {rhaCenter, rvaTop, freeW / 2 - 2, 0}, {rhaLeft, rvaBottom, 0, freeH},
               {rhaLeft, rvaCenter, 0, freeH / 2}, {rhaRight, rvaBottom, freeW - 4, freeH}};
  for (const auto& t : cases) {
    const QRect box = ink("Hxg", {10, 10, 190, 90}, t.HA, t.VA);
    EXPECT_NEAR(box.left() - topLeft.left(), t.Dx, 1.0) << t.HA << "/" << t.VA;
    EXPECT_NEAR(box.top() - topLeft.top(), t.Dy, 1.0) << t.HA << "/" << t.VA;
    EXPECT_EQ(box.size(), topLeft.size());
  }
  const QRect cut = ink("Overflowing", {20, 20, 60, 35}, rhaLeft, rvaTop, 2, RptFont("DejaVu Sans", 30, true, false));
  EXPECT_TRUE(!cut.isNull() && Px(40, 40, 120, 70).contains(cut)) << testing::PrintToString(cut);
}

// Whatever the scale, the screen canvas measures what the PDF canvas measures: the same text
// breaks into the same lines and the same bands grow alike, so both make the same pages.
TEST(FmxCanvas, MeasuresExactlyAsThePdfCanvasAtEveryScale) {
  test::TTempDir dir;
  TPdfRptCanvas pdf(dir.File("measure.pdf"));
  const TRptFont fonts[] = {RptFont("DejaVu Sans", 9, false, false), RptFont("DejaVu Sans", 14, true, false),
                            RptFont("DejaVu Serif", 11, false, true), RptFont("Liberation Sans", 10, true, true),
                            RptFont("No Such Family", 12, false, false)};
  const std::string texts[] = {"", "Total", "Jörg Ayşe Łukasz — 1,234.50 €",
                               "A much longer sentence that certainly needs several lines when wrapped"};
  for (float scale : {0.5f, 1.0f, 3.0f}) {
    TFmxRptCanvas screen(nullptr, scale, 4, 595, 842);
    for (const TRptFont& f : fonts)
      for (const std::string& s : texts) {
        SCOPED_TRACE(testing::Message() << f.Name << " " << f.Size << " \"" << s << "\" scale " << scale);
        EXPECT_EQ(screen.MeasureText(s, f), pdf.MeasureText(s, f));
        for (float w : {30, 120, 400}) EXPECT_EQ(screen.MeasureWrappedHeight(s, w, f), pdf.MeasureWrappedHeight(s, w, f)) << w;
      }
  }
}

}  // namespace
}  // namespace quillet::screentest
