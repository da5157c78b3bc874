// The engine's screen operations: the size of page and composite images (the 8000-pixel limit,
// the composite's gap and stacking), what "TotalPages" reads in a preview, and page counts that
// agree with the PDF's.
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cmath>
#include <string>
#include <vector>

#include "../engine/engine_test_support.h"
#include "screen/screen_drivers.h"
#include "screen_test_support.h"

namespace quillet::screentest {
namespace {

using enginetest::AddBand;
using enginetest::AddLabel;
using enginetest::Numbers;
using enginetest::SmallPage;

// A 400 x 200 point list of Orders.N, a footer that reads Footer.
void ListReport(TReportPage& Page, const std::string& Footer, int32_t StartPageNumber = 1) {
  SmallPage(Page);
  Page.StartPageNumber = StartPageNumber;
  AddLabel(AddBand(Page, btPageHeader, 20), "Numbers").FontName = "DejaVu Sans";
  AddLabel(AddBand(Page, btMasterData, 24, "Orders"), "Row [Orders.N]").FontName = "DejaVu Sans";
  TReportElement& footer = AddLabel(AddBand(Page, btPageFooter, 16), Footer);
  footer.FontName = "DejaVu Sans";
  footer.Width = 200;
}

TEST(ScreenDrivers, PageImagesAreFourThirdsOfAPointPerZoomAndAtMost8000Pixels) {
  struct TCase {
    int32_t W, H;
    float Zoom;
    QSize Pixels;
  };
  const std::vector<TCase> cases = {
      {595, 842, 1, QSize(793, 1123)},   {595, 842, 2, QSize(1587, 2245)}, {612, 792, 0.5f, QSize(408, 528)},
      {842, 595, 1.5f, QSize(1684, 1190)}, {595, 842, 20, QSize(5653, 8000)}, {842, 595, 20, QSize(8000, 5653)},
  };
  auto orders = Numbers("Orders", 2);
  for (const TCase& t : cases) {
    SCOPED_TRACE(testing::Message() << t.W << "x" << t.H << " zoom " << t.Zoom);
    TReportPage page;
    ListReport(page, "x");
    page.PageWidth = t.W;
    page.PageHeight = t.H;
    TReportEngine engine;
    engine.SetDataSource("Orders", orders.get());
    const QImage image = RenderPreviewPage(engine, page, 0, 1, t.Zoom);
    EXPECT_EQ(image.size(), t.Pixels);
    if (t.Zoom > 2) continue;
    // The page's text is there, at the same place in points whatever the zoom.
    const QRect ink = BoxOf(image, IsInk);
    ASSERT_FALSE(ink.isNull());
    const double scale = static_cast<double>(t.Pixels.height()) / t.H;
    EXPECT_NEAR(ink.top() / scale, 10 + 2.5, 2.5);
  }
}

// The page image of a report whose footer reads "[PageNo] of [TotalPages]" against the same
// report with the footer's text written out.
TEST(ScreenDrivers, TotalPagesInAPreviewIsThePageCount) {
  auto orders = Numbers("Orders", 14);
  TReportEngine engine;
  engine.SetDataSource("Orders", orders.get());
  TReportPage numbered;
  ListReport(numbered, "[PageNo] of [TotalPages]", 5);
  const int32_t n = CountReportPages(engine, numbered);
  ASSERT_EQ(n, 3);
  for (int32_t index : {0, n - 1}) {
    SCOPED_TRACE(index);
    const QImage image = RenderPreviewPage(engine, numbered, index, n, 1.5f);
    auto literal = [&](const std::string& Text) {
      TReportPage page;
      ListReport(page, Text, 5);
      return RenderPreviewPage(engine, page, index, n, 1.5f);
    };
    const std::string number = std::to_string(5 + index);
    EXPECT_TRUE(image == literal(number + " of 3"));
    EXPECT_FALSE(image == literal(number + " of 7")) << "the last page number is the PDF's total, not the preview's";
  }
}

TEST(ScreenDrivers, TheCompositeStacksEveryPageWithA16PixelGap) {
  auto orders = Numbers("Orders", 14);
  TReportEngine engine;
  engine.SetDataSource("Orders", orders.get());
  TReportPage page;
  ListReport(page, "[PageNo]");
  ASSERT_EQ(CountReportPages(engine, page), 3);

  const QImage composite = RenderPreviewComposite(engine, page, 1);
  const double w = 400 * 4.0 / 3, h = 200 * 4.0 / 3;
  EXPECT_EQ(composite.size(), QSize(std::lround(w + 32), std::lround((h + 16) * 3 + 16)));
  // Down a column through the pages: three opaque sheets, 16 pixels in and 16 pixels apart, with
  // nothing painted in the gaps beside the shadows.
  std::vector<std::pair<int, int>> sheets;
  bool in = false;
  for (int y = 0; y < composite.height(); ++y) {
    const QRgb px = composite.pixel(530, y);
    const bool opaque = qAlpha(px) == 255;
    if (opaque && !in) sheets.push_back({y, y});
    if (opaque) sheets.back().second = y;
    in = opaque;
  }
  ASSERT_EQ(sheets.size(), 3u);
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    EXPECT_NEAR(sheets[k].first, 16 + k * (h + 16), 1);
    EXPECT_NEAR(sheets[k].second - sheets[k].first + 1, h, 1);
    EXPECT_EQ(composite.pixel(530, sheets[k].first + 20), qRgb(255, 255, 255));
    EXPECT_EQ(qAlpha(composite.pixel(8, static_cast<int>(16 + k * (h + 16) + h / 2))), 0);
  }
  EXPECT_EQ(qAlpha(composite.pixel(200, 4)), 0);
  // Each sheet carries its own page: the rows of the second page as on its own page image.
  const QImage second = RenderPreviewPage(engine, page, 1, 3, 1);
  QImage onWhite(composite.size(), QImage::Format_RGB32);
  onWhite.fill(Qt::white);
  QPainter(&onWhite).drawImage(0, 0, composite);
  const int top = sheets[1].first;
  const auto alone = InkRows(second, second.rect().adjusted(2, 2, -2, -2));
  const auto stacked = InkRows(onWhite, QRect(16 + 2, top + 2, static_cast<int>(w) - 4, static_cast<int>(h) - 4));
  ASSERT_EQ(stacked.size(), alone.size());
  for (size_t i = 0; i < alone.size(); ++i) EXPECT_NEAR(stacked[i].first - top, alone[i].first, 1) << i;

  // Too tall for 8000 pixels: the scale and the gap shrink together.
  const QImage big = RenderPreviewComposite(engine, page, 20);
  EXPECT_EQ(big.height(), 8000);
  EXPECT_NEAR(big.width(), 8000.0 * (400 * 80.0 / 3 + 32) / ((200 * 80.0 / 3 + 16) * 3 + 16), 1);
}

TEST(ScreenDrivers, PageCountsAgreeWithThePdf) {
  auto orders = Numbers("Orders", 40);
  TReportEngine engine;
  engine.SetDataSource("Orders", orders.get());
  {
    TReportPage empty;
    EXPECT_EQ(CountReportPages(engine, empty), 1);
  }
  // Bands that grow with wrapped text break pages where the measured text says.
  for (float width : {60.f, 120.f, 300.f}) {
    SCOPED_TRACE(width);
    TReportPage page;
    ListReport(page, "[PageNo]", 3);
    TReportBand& rows = *page.Bands[1];
    rows.AutoGrow = true;
    TReportElement& memo = AddLabel(rows, "Note [Orders.N]: a remark long enough to wrap over several lines", 100);
    memo.FontName = "DejaVu Serif";
    memo.WordWrap = true;
    memo.Width = width;
    EXPECT_EQ(CountReportPages(engine, page), engine.CountReportPages(page));
  }
}

}  // namespace
}  // namespace quillet::screentest
