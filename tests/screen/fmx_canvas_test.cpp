// The screen canvas, checked on the pixels it paints into small images: where each operation
// lands for a given scale and gap, how pages stack or paint alone, the frame and shadow, the
// thinnest stroke, transparent colours, print mode's sheets, and text that is laid out and
// measured exactly as the PDF canvas does it.
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "../support/test_support.h"
#include "canvas/pdf_canvas.h"
#include "screen_test_support.h"

namespace quillet::screentest {
namespace {

constexpr TAlphaColor kRed = 0xFFFF0000;
constexpr TAlphaColor kGreen = 0xFF00FF00;
constexpr TAlphaColor kBlue = 0xFF0000FF;
constexpr TAlphaColor kBlack = 0xFF000000;
constexpr TAlphaColor kNone = 0x00FF0000;  // red, but fully transparent
const QRgb kRedPx = qRgb(255, 0, 0);

// The pixels [L, R) x [T, B).
QRect Px(int L, int T, int R, int B) { return QRect(QPoint(L, T), QPoint(R - 1, B - 1)); }

TRptBitmap SolidBitmap(int W, int H, uint8_t R, uint8_t G, uint8_t B) {
  TRptBitmap bmp;
  bmp.Width = W;
  bmp.Height = H;
  for (int i = 0; i < W * H; ++i) bmp.Pixels.insert(bmp.Pixels.end(), {R, G, B, 255});
  return bmp;
}

const TRptFont kSans = RptFont("DejaVu Sans", 20, false, false);

// ---- where each operation lands -------------------------------------------------------------

struct TMappingCase {
  const char* Name;
  float Scale;
  float Gap;
  std::function<void(TFmxRptCanvas&)> Draw;
  QRect Expected;               // the red pixels
  QPoint Hole = QPoint(-1, -1);  // a pixel inside Expected that must stay unpainted
};

TEST(FmxCanvas, EachOperationLandsWhereScaleAndGapPutIt) {
  const std::vector<TMappingCase> cases = {
      {"fill rect, scale 1", 1, 0, [](TFmxRptCanvas& c) { c.FillRect({10, 20, 30, 40}, kRed); }, Px(10, 20, 30, 40)},
      {"fill rect, scale 2 gap 10", 2, 10, [](TFmxRptCanvas& c) { c.FillRect({10, 20, 30, 40}, kRed); },
       Px(30, 50, 70, 90)},
      {"fill rect, scale 0.5 gap 6", 0.5f, 6, [](TFmxRptCanvas& c) { c.FillRect({10, 20, 30, 40}, kRed); },
       Px(11, 16, 21, 26)},
      // The pen is W * scale wide, centred on the outline.
      {"stroke rect", 2, 10, [](TFmxRptCanvas& c) { c.StrokeRect({10, 20, 30, 40}, kRed, 2); }, Px(28, 48, 72, 92),
       QPoint(50, 70)},
      {"line, flat ends", 2, 0, [](TFmxRptCanvas& c) { c.DrawLine({10, 10.5f}, {30, 10.5f}, kRed, 1); },
       Px(20, 20, 60, 22)},
      {"round rect, fill only", 2, 0,
       [](TFmxRptCanvas& c) { c.DrawRoundRect({10, 10, 50, 30}, 5, 5, kNone, kRed, 1); }, Px(20, 20, 100, 60),
       QPoint(20, 20)},
      {"round rect, stroke only", 2, 0,
       [](TFmxRptCanvas& c) { c.DrawRoundRect({10, 10, 50, 30}, 2, 2, kRed, kNone, 1); }, Px(19, 19, 101, 61),
       QPoint(60, 40)},
      {"ellipse, fill only", 2, 0, [](TFmxRptCanvas& c) { c.DrawEllipse({10, 10, 50, 30}, kNone, kRed, 1); },
       Px(20, 20, 100, 60), QPoint(22, 22)},
      {"ellipse, stroke only", 2, 0, [](TFmxRptCanvas& c) { c.DrawEllipse({10, 10, 50, 30}, kRed, kNone, 1); },
       Px(19, 19, 101, 61), QPoint(60, 40)},
      {"path", 2, 4, [](TFmxRptCanvas& c) { c.FillPath({{10, 10}, {50, 10}, {10, 30}}, kRed); },
       Px(24, 24, 104, 64), QPoint(100, 60)},
      {"image stretched", 2, 0,
       [](TFmxRptCanvas& c) { c.DrawImage({10, 10, 50, 30}, SolidBitmap(2, 2, 255, 0, 0), risStretch); },
       Px(20, 20, 100, 60)},
      {"image fitted", 1, 0,
       [](TFmxRptCanvas& c) { c.DrawImage({0, 0, 40, 40}, SolidBitmap(2, 1, 255, 0, 0), risFit); },
       Px(0, 10, 40, 30)},
  };
  for (const TMappingCase& t : cases) {
    SCOPED_TRACE(t.Name);
    TPaintedImage p(120, 100, t.Scale, t.Gap);
    p.Canvas->BeginPage(200, 100);
    t.Draw(*p.Canvas);
    p.Canvas->EndPage();
    const QImage& image = p.Done();
    EXPECT_TRUE(SameBox(BoxOf(image, Near(kRedPx)), t.Expected)) << testing::PrintToString(BoxOf(image, Near(kRedPx)));
    if (t.Hole.x() >= 0) {
      EXPECT_FALSE(Near(kRedPx)(image.pixel(t.Hole)));
    }
  }
}

// ---- pages stacked, one page alone, the sheet around a page --------------------------------

// Three pages, each marked by a 10-point square of its own colour in its top left corner.
void PaintThreePages(TFmxRptCanvas& C, float W, float H) {
  for (TAlphaColor colour : {kRed, kGreen, kBlue}) {
    C.BeginPage(W, H);
    C.FillRect({0, 0, 10, 10}, colour);
    C.EndPage();
  }
}

TEST(FmxCanvas, PagesStackDownwardsWithTheGapAroundEach) {
  // A4 at scale 1 with gap 10: page index 2 starts at (842 + 10) * 2 + 10 = 1714.
  TPaintedImage p(640, 2580, 1, 10);
  PaintThreePages(*p.Canvas, 595, 842);
  const QImage& image = p.Done();
  EXPECT_EQ(BoxOf(image, Near(qRgb(255, 0, 0), 8)), Px(10, 10, 20, 20));
  EXPECT_EQ(BoxOf(image, Near(qRgb(0, 255, 0), 8)), Px(10, 862, 20, 872));
  EXPECT_EQ(BoxOf(image, Near(qRgb(0, 0, 255), 8)), Px(10, 1714, 20, 1724));
  EXPECT_EQ(p.Canvas->PageIdx(), 3);

  // The sheet of the third page: a 1-pixel grey outline on its edge, white inside, the gap above
  // untouched, and a shadow 3 pixels wide along the right edge at 0.6 of 0x505050 over white.
  EXPECT_EQ(image.pixel(300, 1720), qRgb(255, 255, 255));
  EXPECT_EQ(image.pixel(300, 1710), qRgb(255, 255, 255));
  for (QPoint edge : {QPoint(300, 1713), QPoint(300, 1714), QPoint(9, 2000), QPoint(10, 2000)}) {
    const QRgb px = image.pixel(edge);
    EXPECT_TRUE(qRed(px) == qGreen(px) && qGreen(px) == qBlue(px) && qGray(px) > 150 && qGray(px) < 240)
        << edge.x() << "," << edge.y() << ": " << qGray(px);
  }
  const int shade = qGray(image.pixel(10 + 595 + 1, 2000));
  EXPECT_NEAR(shade, 0.4 * 255 + 0.6 * 0x50, 4);
  EXPECT_EQ(image.pixel(10 + 595 + 5, 2000), qRgb(255, 255, 255));
  EXPECT_NEAR(qGray(image.pixel(300, 1714 + 842 + 2)), 0.4 * 255 + 0.6 * 0x50, 4);
  EXPECT_EQ(image.pixel(300, 1714 + 842 + 3), qRgb(255, 255, 255));
}

TEST(FmxCanvas, OnlyTheChosenPageIsPaintedAtTheGap) {
  for (int only : {0, 1, 2}) {
    SCOPED_TRACE(only);
    TPaintedImage p(150, 150, 1, 10);
    p.Canvas->SetOnlyPageIdx(only);
    PaintThreePages(*p.Canvas, 100, 100);
    const QImage& image = p.Done();
    const QRgb colours[] = {qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255)};
    for (int i = 0; i < 3; ++i) {
      const QRect box = BoxOf(image, Near(colours[i], 8));
      if (i == only)
        EXPECT_EQ(box, Px(10, 10, 20, 20));
      else
        EXPECT_TRUE(box.isNull()) << "page " << i << " painted";
    }
    // One sheet: its shadow beside it, nothing further down.
    EXPECT_NEAR(qGray(image.pixel(111, 60)), 0.4 * 255 + 0.6 * 0x50, 4);
    EXPECT_EQ(image.pixel(60, 130), qRgb(255, 255, 255));
  }
}

TEST(FmxCanvas, PrintModeStartsASheetBeforeEachPageAfterTheFirst) {
  QImage image(100, 100, QImage::Format_RGB32);
  image.fill(Qt::white);
  QPainter painter(&image);
  PreparePagePainter(painter);
  std::vector<std::string> log;
  auto canvas = TFmxRptCanvas::CreateForPrint(&painter, 2, 50, 50, [&] { log.push_back("next sheet"); });
  for (int page = 0; page < 3; ++page) {
    canvas->BeginPage(50, 50);
    log.push_back("page " + std::to_string(page));
    canvas->FillRect({0, 0, 10, 10}, kRed);
    canvas->EndPage();
  }
  painter.end();
  EXPECT_EQ(log, (std::vector<std::string>{"page 0", "next sheet", "page 1", "next sheet", "page 2"}));
  // Every sheet starts at the device's corner, without the preview's frame and shadow.
  EXPECT_EQ(BoxOf(image, Near(kRedPx, 8)), Px(0, 0, 20, 20));
  EXPECT_EQ(CountOf(image, [](QRgb px) { return qRed(px) == qGreen(px) && qGray(px) < 250; }), 0);
}

// ---- strokes and colours ---------------------------------------------------------------------

TEST(FmxCanvas, StrokesAreAtLeastHalfAPixelWide) {
  struct TCase {
    float W;
    float Scale;
    bool Rect;
    double Pixels;  // ink across one column
  };
  const std::vector<TCase> cases = {
      {0, 1, false, 0.5},  {0.1f, 1, false, 0.5}, {1, 0.25f, false, 0.5}, {0, 4, false, 0.5},
      {1, 1, false, 1.0},  {2, 1.5f, false, 3.0}, {0, 1, true, 2 * 0.5},  {1, 2, true, 2 * 2.0},
  };
  for (const TCase& t : cases) {
    SCOPED_TRACE(testing::Message() << "W " << t.W << " scale " << t.Scale << (t.Rect ? " rect" : " line"));
    // Measured against the bare sheet, whose outline crosses the column too.
    TPaintedImage blank(60, 60, t.Scale, 0), p(60, 60, t.Scale, 0);
    blank.Canvas->BeginPage(1000, 1000);
    blank.Canvas->EndPage();
    p.Canvas->BeginPage(1000, 1000);
    const float s = t.Scale;
    if (t.Rect)
      p.Canvas->StrokeRect({5 / s, 10.3f / s, 55 / s, 40.6f / s}, kBlack, t.W);
    else
      p.Canvas->DrawLine({5 / s, 20.3f / s}, {55 / s, 20.3f / s}, kBlack, t.W);
    p.Canvas->EndPage();
    EXPECT_NEAR(DarknessOfColumn(p.Done(), 30) - DarknessOfColumn(blank.Done(), 30), t.Pixels, 0.1);
  }
}

TEST(FmxCanvas, TransparentColoursPaintNothing) {
  const TRptFont font = kSans;
  const std::vector<std::pair<const char*, std::function<void(TFmxRptCanvas&)>>> cases = {
      {"fill rect", [](TFmxRptCanvas& c) { c.FillRect({10, 10, 50, 40}, kNone); }},
      {"stroke rect", [](TFmxRptCanvas& c) { c.StrokeRect({10, 10, 50, 40}, kNone, 3); }},
      {"line", [](TFmxRptCanvas& c) { c.DrawLine({10, 10}, {50, 40}, kNone, 3); }},
      {"round rect", [](TFmxRptCanvas& c) { c.DrawRoundRect({10, 10, 50, 40}, 4, 4, kNone, 0x00FFFFFF, 3); }},
      {"ellipse", [](TFmxRptCanvas& c) { c.DrawEllipse({10, 10, 50, 40}, 0x00000000, kNone, 3); }},
      {"path", [](TFmxRptCanvas& c) { c.FillPath({{10, 10}, {50, 10}, {10, 40}}, kNone); }},
      {"text",
       [font](TFmxRptCanvas& c) { c.DrawText("Hidden", {10, 10, 90, 40}, font, rhaLeft, rvaTop, false, kNone); }},
      {"empty text",
       [font](TFmxRptCanvas& c) { c.DrawText("", {10, 10, 90, 40}, font, rhaLeft, rvaTop, false, kBlack); }},
      {"empty image", [](TFmxRptCanvas& c) { c.DrawImage({10, 10, 50, 40}, TRptBitmap{}, risStretch); }},
  };
  TPaintedImage blank(100, 60, 1, 5);
  blank.Canvas->BeginPage(200, 100);
  blank.Canvas->EndPage();
  const QImage& reference = blank.Done();
  for (const auto& [name, draw] : cases) {
    SCOPED_TRACE(name);
    TPaintedImage p(100, 60, 1, 5);
    p.Canvas->BeginPage(200, 100);
    draw(*p.Canvas);
    p.Canvas->EndPage();
    EXPECT_TRUE(p.Done() == reference);
  }
  // A colour with some alpha is blended, at full opacity otherwise.
  TPaintedImage half(100, 60, 1, 0);
  half.Canvas->BeginPage(200, 100);
  half.Canvas->FillRect({10, 10, 50, 40}, 0x80FF0000);
  half.Canvas->EndPage();
  const QRgb px = half.Done().pixel(30, 25);
  EXPECT_EQ(qRed(px), 255);
  EXPECT_NEAR(qGreen(px), 127, 2);
  EXPECT_NEAR(qBlue(px), 127, 2);
}

// ---- text ------------------------------------------------------------------------------------

// The ink of S drawn black in Box at Scale, gap 0.
QRect TextInk(const std::string& S, const TRectF& Box, TRptHorzAlign HA, TRptVertAlign VA, float Scale = 1,
              const TRptFont& F = kSans) {
  TPaintedImage p(static_cast<int>(220 * Scale), static_cast<int>(120 * Scale), Scale, 0);
  p.Canvas->BeginPage(220, 120);
  p.Canvas->DrawText(S, Box, F, HA, VA, false, kBlack);
  p.Canvas->EndPage();
  return BoxOf(p.Done(), IsInk);
}

TEST(FmxCanvas, TextSitsWhereTheMeasuredWidthAndHeightPlaceIt) {
  const TRectF box{10, 10, 190, 90};
  const std::string s = "Hxg";
  TFmxRptCanvas measure(nullptr, 1, 0, 220, 120);
  const TSizeF size = measure.MeasureText(s, kSans);
  const QRect topLeft = TextInk(s, box, rhaLeft, rvaTop);
  ASSERT_FALSE(topLeft.isNull());
  // 2 points in from either side, or centred; at the top, centred or at the bottom of the box.
  struct TCase {
    TRptHorzAlign HA;
    TRptVertAlign VA;
    double Dx, Dy;
  };
  const double freeW = (box.Right - box.Left) - size.Width, freeH = (box.Bottom - box.Top) - size.Height;
  const std::vector<TCase> cases = {
      {rhaRight, rvaTop, freeW - 4, 0},
      {rhaCenter, rvaTop, freeW / 2 - 2, 0},
      {rhaLeft, rvaBottom, 0, freeH},
      {rhaLeft, rvaCenter, 0, freeH / 2},
      {rhaRight, rvaBottom, freeW - 4, freeH},
  };
  for (const TCase& t : cases) {
    SCOPED_TRACE(testing::Message() << "align " << t.HA << "/" << t.VA);
    const QRect ink = TextInk(s, box, t.HA, t.VA);
    EXPECT_NEAR(ink.left() - topLeft.left(), t.Dx, 1.0);
    EXPECT_NEAR(ink.top() - topLeft.top(), t.Dy, 1.0);
    EXPECT_EQ(ink.size(), topLeft.size());
  }
  // Text too tall and too long for its box is cut at the box, at any scale.
  const QRect cut =
      TextInk("Overflowing", {20, 20, 60, 35}, rhaLeft, rvaTop, 2, RptFont("DejaVu Sans", 30, true, false));
  ASSERT_FALSE(cut.isNull());
  EXPECT_TRUE(Px(40, 40, 120, 70).contains(cut)) << testing::PrintToString(cut);
}

// Whatever the scale, the screen canvas measures what the PDF canvas measures: the same text
// breaks into the same lines and the same bands grow alike, so both make the same pages.
TEST(FmxCanvas, MeasuresExactlyAsThePdfCanvasAtEveryScale) {
  test::TTempDir dir;
  TPdfRptCanvas pdf(dir.File("measure.pdf"));
  const std::vector<TRptFont> fonts = {
      RptFont("DejaVu Sans", 9, false, false), RptFont("DejaVu Sans", 14, true, false),
      RptFont("DejaVu Serif", 11, false, true), RptFont("Liberation Sans", 10, true, true),
      RptFont("No Such Family", 12, false, false)};
  const std::vector<std::string> texts = {"", "Total", "Jörg Ayşe Łukasz — 1,234.50 €",
                                          "A much longer sentence that certainly needs several lines when wrapped"};
  const std::vector<float> widths = {30, 120, 400};
  for (float scale : {0.5f, 1.0f, 3.0f}) {
    TFmxRptCanvas screen(nullptr, scale, 4, 595, 842);
    for (const TRptFont& f : fonts)
      for (const std::string& s : texts) {
        SCOPED_TRACE(testing::Message() << f.Name << " " << f.Size << " \"" << s << "\" scale " << scale);
        EXPECT_EQ(screen.MeasureText(s, f), pdf.MeasureText(s, f));
        for (float w : widths) EXPECT_EQ(screen.MeasureWrappedHeight(s, w, f), pdf.MeasureWrappedHeight(s, w, f)) << w;
      }
  }
}

}  // namespace
}  // namespace quillet::screentest
