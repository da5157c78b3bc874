// Screen and PDF agree, end to end: every example report the demo renders is run through the
// quillet program as a PDF, as PNG pages at 96 dpi and as a raster PDF. The PNG pages must be as
// many as the PDF's pages and carry their ink where poppler's rasterisation of the PDF page
// carries it; the raster PDF must be sound and as long.
#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <memory>
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

// Pixels darker than Threshold as a mask.
std::vector<uint8_t> Mask(const QImage& Image, int Threshold) {
  std::vector<uint8_t> m(static_cast<size_t>(Image.width()) * Image.height());
  for (int y = 0; y < Image.height(); ++y) {
    const QRgb* row = reinterpret_cast<const QRgb*>(Image.constScanLine(y));
    for (int x = 0; x < Image.width(); ++x) m[static_cast<size_t>(y) * Image.width() + x] = qGray(row[x]) < Threshold;
  }
  return m;
}

// The smallest rectangle holding every set pixel of a mask W pixels wide.
QRect BoxOfMask(const std::vector<uint8_t>& M, int W) {
  int left = W, top = -1, right = -1, bottom = -1;
  for (size_t i = 0; i < M.size(); ++i)
    if (M[i]) {
      const int x = static_cast<int>(i % static_cast<size_t>(W)), y = static_cast<int>(i / static_cast<size_t>(W));
      if (top < 0) top = y;
      bottom = y;
      left = std::min(left, x);
      right = std::max(right, x);
    }
  return top < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

// Marks within Radius pixels (a square neighbourhood) of a mask.
std::vector<uint8_t> Grow(const std::vector<uint8_t>& M, int W, int H, int Radius) {
  // Along rows, then along columns, each with a running count of set pixels in the window.
  std::vector<uint8_t> across(M.size()), out(M.size());
  for (int y = 0; y < H; ++y) {
    const uint8_t* in = &M[static_cast<size_t>(y) * W];
    int count = 0;
    for (int x = 0; x < std::min(W, Radius); ++x) count += in[x];
    for (int x = 0; x < W; ++x) {
      if (x + Radius < W) count += in[x + Radius];
      if (x - Radius - 1 >= 0) count -= in[x - Radius - 1];
      across[static_cast<size_t>(y) * W + x] = count > 0;
    }
  }
  for (int x = 0; x < W; ++x) {
    int count = 0;
    for (int y = 0; y < std::min(H, Radius); ++y) count += across[static_cast<size_t>(y) * W + x];
    for (int y = 0; y < H; ++y) {
      if (y + Radius < H) count += across[static_cast<size_t>(y + Radius) * W + x];
      if (y - Radius - 1 >= 0) count -= across[static_cast<size_t>(y - Radius - 1) * W + x];
      out[static_cast<size_t>(y) * W + x] = count > 0;
    }
  }
  return out;
}

// The share of A's pixels that have a pixel of B near them.
double InkCovered(const std::vector<uint8_t>& A, const std::vector<uint8_t>& GrownB) {
  size_t ink = 0, covered = 0;
  for (size_t i = 0; i < A.size(); ++i)
    if (A[i]) {
      ++ink;
      covered += GrownB[i];
    }
  return ink ? static_cast<double>(covered) / static_cast<double>(ink) : 1.0;
}

class ScreenAndPdf : public testing::Test {
 public:
  static void SetUpTestSuite() {
    for (const char* tool : {"sqlite3", "qpdf", "pdftoppm"})
      if (!test::HaveTool(tool)) {
        Skip = std::string(tool) + " is not installed";
        return;
      }
    Dir = std::make_unique<test::TTempDir>();
    const std::string three = Dir->Write("three-ways.sh", kThreeWays);
    fs::permissions(three, fs::perms::owner_all);
    const std::string env =
        std::string("SOURCE_DATE_EPOCH=") + e2e::kSourceDateEpoch + " QUILLET=" + Quote(QUILLET_CLI_PATH) + " ";
    // The shop's four reports, with the data options of its own render script.
    int status = -1;
    std::string log = test::RunTool(env + Quote(kSource + "/examples/shop/render.sh") + " " + Quote(Dir->Str()) + " " +
                                        Quote(three) + " " + Quote(Dir->File("shop.db")) + " 2>&1",
                                    &status);
    if (status != 0) Failure += "render.sh: " + log;
    // The CSV and JSON examples.
    const std::string render = kSource + "/examples/render/";
    const std::vector<std::vector<std::string>> commands = {
        {"orders.qdr", "--data", "Orders=" + render + "orders.csv", "--var", "Company=Quillet Trading"},
        {"customer_orders.qdr", "--data", "Customers=" + render + "customers.json", "--data",
         "Orders=" + render + "orders.csv", "--link", "Orders.customer_id=Customers.id"},
    };
    for (const auto& c : commands) {
      std::string cmd = env + Quote(three) + " render " + Quote(render + c[0]) + " -o " +
                        Quote(Dir->File(fs::path(c[0]).stem().string() + ".pdf"));
      for (size_t i = 1; i < c.size(); ++i) cmd += " " + Quote(c[i]);
      log = test::RunTool(cmd + " 2>&1", &status);
      if (status != 0) Failure += c[0] + ": " + log;
    }
  }
  static void TearDownTestSuite() { Dir.reset(); }

  void SetUp() override {
    if (!Skip.empty()) GTEST_SKIP() << Skip;
    ASSERT_EQ(Failure, "");
  }

  static inline std::unique_ptr<test::TTempDir> Dir;
  static inline std::string Skip, Failure;
};

// The page files PREFIX-N.EXT in page order.
std::vector<std::string> PageFiles(const fs::path& Dir, const std::string& Name, const std::string& Ext) {
  std::vector<std::string> files;
  for (const std::string& f : e2e::FilesEndingWith(Dir, Ext))
    if (f.rfind(Name + "-", 0) == 0 && f.find_first_not_of("0123456789", Name.size() + 1) == f.size() - Ext.size())
      files.push_back((Dir / f).string());
  std::sort(files.begin(), files.end());
  return files;
}

// One example: its PDF, PNG pages and raster PDF, made by the suite.
void CheckExample(const std::string& name, const fs::path& Dir) {
  const std::string pdf = (Dir / (name + ".pdf")).string();
  const int pages = e2e::PdfPageCount(pdf);
  ASSERT_GT(pages, 0);
  // One file per page of the PDF, numbered as pdftoppm numbers them: padded to the digits of the
  // page count the screen canvas counted before drawing.
  std::vector<std::string> pngs;
  const size_t digits = std::to_string(pages).size();
  for (int i = 1; i <= pages; ++i) {
    const std::string n = std::to_string(i);
    pngs.push_back((Dir / (name + "-" + std::string(digits - n.size(), '0') + n + ".png")).string());
  }
  ASSERT_EQ(PageFiles(Dir, name, ".png"), pngs);

  const std::string raster = (Dir / (name + ".raster.pdf")).string();
  EXPECT_EQ(e2e::PdfPageCount(raster), pages);
  int status = -1;
  const std::string check = test::RunTool("qpdf --check " + Quote(raster) + " 2>&1", &status);
  EXPECT_EQ(status, 0) << check;

  const fs::path ref = Dir / ("ref-" + name);
  fs::create_directory(ref);
  // Poppler's pages at 96 dpi (as pixmaps rather than PNG files: the same pixels, written faster).
  test::RunTool("pdftoppm -r 96 " + Quote(pdf) + " " + Quote((ref / name).string()) + " 2>/dev/null");
  const std::vector<std::string> refs = PageFiles(ref, name, ".ppm");
  ASSERT_EQ(refs.size(), pngs.size());
  for (size_t i = 0; i < pngs.size(); ++i) {
    SCOPED_TRACE(pngs[i]);
    const QImage ours = QImage(QString::fromStdString(pngs[i])).convertToFormat(QImage::Format_RGB32);
    const QImage theirs = QImage(QString::fromStdString(refs[i])).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(ours.isNull());
    ASSERT_LE(std::abs(ours.width() - theirs.width()), 1);
    ASSERT_LE(std::abs(ours.height() - theirs.height()), 1);
    // The common area, without the sheet's outline that the page images carry at their edges.
    const QRect area = QRect(0, 0, std::min(ours.width(), theirs.width()), std::min(ours.height(), theirs.height()))
                           .adjusted(2, 2, -2, -2);
    const QImage a = ours.copy(area), b = theirs.copy(area);
    const int w = a.width(), h = a.height();
    const auto darkA = Mask(a, 160), darkB = Mask(b, 160), faintA = Mask(a, 240), faintB = Mask(b, 240);
    EXPECT_TRUE(SameBox(BoxOfMask(darkA, w), BoxOfMask(darkB, w), 2))
        << testing::PrintToString(BoxOfMask(darkA, w)) << " against " << testing::PrintToString(BoxOfMask(darkB, w));
    // Dark ink of either must have at least a faint mark of the other within 2 pixels. Faint,
    // because rules thinner than a pixel come out in different weights: poppler draws them one
    // pixel wide and dark, Qt antialiases them into lighter ones, in the same place.
    EXPECT_GE(InkCovered(darkA, Grow(faintB, w, h, 2)), 0.995);
    EXPECT_GE(InkCovered(darkB, Grow(faintA, w, h, 2)), 0.995);
    // Line by line: the same runs of marked rows (text lines, rules, fills), each within 2 pixels.
    const auto rowsA = InkRows(a, a.rect(), 240), rowsB = InkRows(b, b.rect(), 240);
    ASSERT_EQ(rowsA.size(), rowsB.size());
    for (size_t k = 0; k < rowsA.size(); ++k) {
      EXPECT_NEAR(rowsA[k].first, rowsB[k].first, 2) << "line " << k;
      EXPECT_NEAR(rowsA[k].second, rowsB[k].second, 2) << "line " << k;
    }
  }
}

TEST_F(ScreenAndPdf, PngPagesHaveTheirInkWhereThePdfHasIt) {
  for (const char* name : {"invoice", "sales", "labels", "letter", "orders", "customer_orders"}) {
    SCOPED_TRACE(name);
    CheckExample(name, Dir->Path);
  }
}

}  // namespace
}  // namespace quillet::screentest
