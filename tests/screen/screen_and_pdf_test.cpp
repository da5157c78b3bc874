// Screen and PDF agree, end to end: every example report the demo renders is run through the
// quillet program as a PDF, as PNG pages at 96 dpi and as a raster PDF. The PNG pages must be as
// many as the PDF's pages and carry their ink where poppler's rasterisation of the PDF page
// carries it; the raster PDF must be sound and as long.
#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <string>
#include <vector>

#include "../e2e/e2e_support.h"
#include "screen_test_support.h"

namespace quillet::screentest {
namespace {

using e2e::Quote;
namespace fs = std::filesystem;

const std::string kSource = QUILLET_SOURCE_DIR;

// Stands in for the quillet program in a render command: writes the PDF as asked, then the same
// run's pages as PNG files (PREFIX = OUT without ".pdf") and as OUT.raster.pdf.
const char* const kThreeWays = R"(#!/usr/bin/env bash
set -euo pipefail
args=("$@")
for ((i = 0; i < ${#args[@]}; i++)); do if [ "${args[i]}" = -o ]; then o=$((i + 1)); fi; done
out="${args[o]}"
"$QUILLET" "$@"
png=("${args[@]}"); png[o]="${out%.pdf}"
"$QUILLET" "${png[@]}" --format png --dpi 96
raster=("${args[@]}"); raster[o]="${out%.pdf}.raster.pdf"
"$QUILLET" "${raster[@]}" --format raster
)";

// The share of A's ink (darker than 160) that has a faint mark of B (darker than 240) within
// Radius pixels.
double InkCovered(const QImage& A, const QImage& B, int Radius) {
  auto gray = [](const QImage& I, int X, int Y) { return qGray(reinterpret_cast<const QRgb*>(I.constScanLine(Y))[X]); };
  size_t ink = 0, covered = 0;
  for (int y = 0; y < A.height(); ++y)
    for (int x = 0; x < A.width(); ++x) {
      if (gray(A, x, y) >= 160) continue;
      ++ink;
      bool near = false;
      for (int v = std::max(0, y - Radius); v <= std::min(B.height() - 1, y + Radius) && !near; ++v)
        for (int u = std::max(0, x - Radius); u <= std::min(B.width() - 1, x + Radius) && !near; ++u)
          near = gray(B, u, v) < 240;
      covered += near;
    }
  return ink ? static_cast<double>(covered) / static_cast<double>(ink) : 1.0;
}

// The page files NAME-N.EXT in Dir, in page order.
std::vector<std::string> PageFiles(const fs::path& Dir, const std::string& Name, const std::string& Ext) {
  std::vector<std::string> files;
  for (const std::string& f : e2e::FilesEndingWith(Dir, Ext))
    if (f.rfind(Name + "-", 0) == 0 && f.find_first_not_of("0123456789", Name.size() + 1) == f.size() - Ext.size())
      files.push_back((Dir / f).string());
  std::sort(files.begin(), files.end());
  return files;
}

// One example: a PNG file per page of the PDF, numbered as pdftoppm numbers them (padded to the
// digits of the page count the screen canvas counted before drawing); a sound raster PDF as long;
// and on every page the ink where poppler's page at 96 dpi has it.
void CheckExample(const std::string& Name, const fs::path& Dir) {
  const std::string pdf = (Dir / (Name + ".pdf")).string(), raster = (Dir / (Name + ".raster.pdf")).string();
  const int pages = e2e::PdfPageCount(pdf);
  ASSERT_GT(pages, 0);
  std::vector<std::string> pngs;
  for (int i = 1; i <= pages; ++i) {
    const std::string n = std::to_string(i);
    pngs.push_back((Dir / (Name + "-" + std::string(std::to_string(pages).size() - n.size(), '0') + n + ".png")).string());
  }
  ASSERT_EQ(PageFiles(Dir, Name, ".png"), pngs);
  EXPECT_EQ(e2e::PdfPageCount(raster), pages);
  int status = -1;
  const std::string check = test::RunTool("qpdf --check " + Quote(raster) + " 2>&1", &status);
  EXPECT_EQ(status, 0) << check;

  // Poppler's pages as pixmaps rather than PNG files: the same pixels, written faster.
  test::RunTool("pdftoppm -r 96 " + Quote(pdf) + " " + Quote((Dir / ("ref-" + Name)).string()) + " 2>/dev/null");
  const std::vector<std::string> refs = PageFiles(Dir, "ref-" + Name, ".ppm");
  ASSERT_EQ(refs.size(), pngs.size());
  for (size_t i = 0; i < pngs.size(); ++i) {
    SCOPED_TRACE(pngs[i]);
    const QImage ours = QImage(QString::fromStdString(pngs[i])).convertToFormat(QImage::Format_RGB32);
    const QImage theirs = QImage(QString::fromStdString(refs[i])).convertToFormat(QImage::Format_RGB32);
    ASSERT_LE(std::abs(ours.width() - theirs.width()), 1);
    ASSERT_LE(std::abs(ours.height() - theirs.height()), 1);
    // The common area, without the sheet's outline that the page images carry at their edges.
    const QRect area = QRect(0, 0, std::min(ours.width(), theirs.width()), std::min(ours.height(), theirs.height()))
                           .adjusted(2, 2, -2, -2);
    const QImage a = ours.copy(area), b = theirs.copy(area);
    EXPECT_TRUE(SameBox(BoxOf(a, IsInk), BoxOf(b, IsInk), 2))
        << testing::PrintToString(BoxOf(a, IsInk)) << " against " << testing::PrintToString(BoxOf(b, IsInk));
    // Dark ink of either must have at least a faint mark of the other within 2 pixels. Faint,
    // because rules thinner than a pixel come out in different weights: poppler draws them one
    // pixel wide and dark, Qt antialiases them into lighter ones, in the same place.
    EXPECT_GE(InkCovered(a, b, 2), 0.995);
    EXPECT_GE(InkCovered(b, a, 2), 0.995);
    // Line by line: the same runs of marked rows (text lines, rules, fills), each within 2 pixels.
    const auto rowsA = InkRows(a, a.rect(), 240), rowsB = InkRows(b, b.rect(), 240);
    ASSERT_EQ(rowsA.size(), rowsB.size());
    for (size_t k = 0; k < rowsA.size(); ++k) {
      EXPECT_NEAR(rowsA[k].first, rowsB[k].first, 2) << "line " << k;
      EXPECT_NEAR(rowsA[k].second, rowsB[k].second, 2) << "line " << k;
    }
  }
}

TEST(ScreenAndPdf, PngPagesHaveTheirInkWhereThePdfHasIt) {
  for (const char* tool : {"sqlite3", "qpdf", "pdftoppm"})
    if (!test::HaveTool(tool)) GTEST_SKIP() << tool << " is not installed";
  test::TTempDir dir;
  const std::string three = dir.Write("three-ways.sh", kThreeWays), r = kSource + "/examples/render/";
  fs::permissions(three, fs::perms::owner_all);
  // The shop's four reports with the data options of its own render script; the CSV and JSON examples.
  for (const std::string& command :
       {Quote(kSource + "/examples/shop/render.sh") + " " + Quote(dir.Str()) + " " + Quote(three) + " " +
            Quote(dir.File("shop.db")),
        Quote(three) + " render " + Quote(r + "orders.qdr") + " -o " + Quote(dir.File("orders.pdf")) +
            " --data Orders=" + Quote(r + "orders.csv") + " --var 'Company=Quillet Trading'",
        Quote(three) + " render " + Quote(r + "customer_orders.qdr") + " -o " + Quote(dir.File("customer_orders.pdf")) +
            " --data Customers=" + Quote(r + "customers.json") + " --data Orders=" + Quote(r + "orders.csv") +
            " --link Orders.customer_id=Customers.id"}) {
    int status = -1;
    const std::string log = test::RunTool(std::string("SOURCE_DATE_EPOCH=") + e2e::kSourceDateEpoch +
                                              " QUILLET=" + Quote(QUILLET_CLI_PATH) + " " + command + " 2>&1",
                                          &status);
    ASSERT_EQ(status, 0) << command << "\n" << log;
  }
  for (const char* name : {"invoice", "sales", "labels", "letter", "orders", "customer_orders"}) {
    SCOPED_TRACE(name);
    CheckExample(name, dir.Path);
  }
}

}  // namespace
}  // namespace quillet::screentest
