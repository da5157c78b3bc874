// The engine's screen operations: the size of page and composite images (the 8000-pixel limit,
// the composite's gap and stacking) and what "TotalPages" reads in a preview. That page counts
// agree with the PDF's is checked on whole reports, in screen_and_pdf_test.
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

// The page image's size, and the page's text at the same place in points whatever the zoom.
TEST(ScreenDrivers, PageImagesAreFourThirdsOfAPointPerZoomAndAtMost8000Pixels) {
  const struct {
    int32_t W, H;
    float Zoom;
    QSize Pixels;
  } cases[] = {{595, 842, 1, QSize(793, 1123)},     {595, 842, 2, QSize(1587, 2245)},
               {612, 792, 0.5f, QSize(408, 528)},   {842, 595, 1.5f, QSize(1684, 1190)},
               {595, 842, 20, QSize(5653, 8000)},   {842, 595, 20, QSize(8000, 5653)}};
  auto orders = Numbers("Orders", 2);
  for (const auto& t : cases) {
    SCOPED_TRACE(testing::Message() << t.W << "x" << t.H << " zoom " << t.Zoom);
    TReportPage page;
    ListReport(page, "x");
    page.PageWidth = t.W, page.PageHeight = t.H;
    TReportEngine engine;
    engine.SetDataSource("Orders", orders.get());
    const QImage image = RenderPreviewPage(engine, page, 0, 1, t.Zoom);
    EXPECT_EQ(image.size(), t.Pixels);
    if (t.Zoom <= 2) {
      EXPECT_NEAR(BoxOf(image, IsInk).top() * t.H / static_cast<double>(t.Pixels.height()), 12.5, 2.5);
    }
  }
}

// A footer reading "[PageNo] of [TotalPages]" against the same footer with its text written out:
// the total is the page count, not the last page number.
TEST(ScreenDrivers, TotalPagesInAPreviewIsThePageCount) {
  auto orders = Numbers("Orders", 14);
  TReportEngine engine;
  engine.SetDataSource("Orders", orders.get());
  auto image = [&](const std::string& Footer, int32_t Index) {
    TReportPage page;
    ListReport(page, Footer, 5);
    return RenderPreviewPage(engine, page, Index, 3, 1.5f);
  };
  TReportPage numbered;
  ListReport(numbered, "", 5);
  ASSERT_EQ(CountReportPages(engine, numbered), 3);
  for (int32_t index : {0, 2}) {
    SCOPED_TRACE(index);
    const QImage shown = image("[PageNo] of [TotalPages]", index);
    EXPECT_TRUE(shown == image(std::to_string(5 + index) + " of 3", index));
    EXPECT_FALSE(shown == image(std::to_string(5 + index) + " of 7", index));
  }
}

// Three sheets, 16 pixels in and 16 pixels apart, nothing painted around them, each carrying its
// own page; too tall for 8000 pixels, the scale and the gap shrink together.
TEST(ScreenDrivers, TheCompositeStacksEveryPageWithA16PixelGap) {
  auto orders = Numbers("Orders", 14);
  TReportEngine engine;
  engine.SetDataSource("Orders", orders.get());
  TReportPage page;
  ListReport(page, "[PageNo]");
  const QImage composite = RenderPreviewComposite(engine, page, 1);
  const double w = 400 * 4.0 / 3, h = 200 * 4.0 / 3;
  EXPECT_EQ(composite.size(), QSize(std::lround(w + 32), std::lround((h + 16) * 3 + 16)));
  QImage onWhite(composite.size(), QImage::Format_RGB32);
  onWhite.fill(Qt::white);
  QPainter(&onWhite).drawImage(0, 0, composite);
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    const int top = static_cast<int>(std::lround(16 + k * (h + 16)));
    for (int y : {top - 2, top + static_cast<int>(h) + 8}) EXPECT_EQ(qAlpha(composite.pixel(530, y)), 0) << y;
    for (int y : {top + 1, top + static_cast<int>(h) - 2}) EXPECT_EQ(qAlpha(composite.pixel(530, y)), 255) << y;
    EXPECT_EQ(qAlpha(composite.pixel(8, static_cast<int>(top + h / 2))), 0);
    const QImage alone = RenderPreviewPage(engine, page, k, 3, 1);
    const auto rows = InkRows(alone, alone.rect().adjusted(2, 2, -2, -2));
    const auto stacked = InkRows(onWhite, QRect(16 + 2, top + 2, static_cast<int>(w) - 4, static_cast<int>(h) - 4));
    ASSERT_EQ(stacked.size(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) EXPECT_NEAR(stacked[i].first - top, rows[i].first, 1) << i;
  }
  const QImage big = RenderPreviewComposite(engine, page, 20);
  EXPECT_EQ(big.height(), 8000);
  EXPECT_NEAR(big.width(), 8000.0 * (400 * 80.0 / 3 + 32) / ((200 * 80.0 / 3 + 16) * 3 + 16), 1);
}

}  // namespace
}  // namespace quillet::screentest
