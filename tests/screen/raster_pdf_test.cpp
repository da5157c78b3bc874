// The raster PDF: its bytes for one and two pages (all but the JPEG data, which is Qt's),
// a cross-reference table that points at every object, files that qpdf and poppler accept
// and show as painted, and no file at all unless the writer finishes.
#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <QPainter>

#include <regex>
#include <string>
#include <vector>

#include "../e2e/e2e_support.h"
#include "base/error.h"
#include "ui/raster_pdf.h"

namespace quillet::screentest {
namespace {

using e2e::Quote;
using e2e::ReadFile;

// An image with its left half red and its right half blue.
QImage TwoColours(int W, int H) {
  QImage image(W, H, QImage::Format_RGB32);
  image.fill(Qt::blue);
  QPainter(&image).fillRect(0, 0, W / 2, H, Qt::red);
  return image;
}

// The file with every JPEG's data replaced by "<JPEG>" and its length by "L"; Jpegs gets the data.
std::string ElideJpegs(const std::string& Pdf, std::vector<std::string>* Jpegs = nullptr) {
  const std::regex head(R"(/Filter /DCTDecode /Length (\d+)\n>>\nstream\n)");
  std::string text;
  auto at = Pdf.cbegin();
  for (std::smatch m; std::regex_search(at, Pdf.cend(), m, head); at = m[0].second + std::stol(m[1])) {
    text += std::string(at, m[0].first) + "/Filter /DCTDecode /Length L\n>>\nstream\n<JPEG>";
    if (Jpegs) Jpegs->emplace_back(m[0].second, m[0].second + std::stol(m[1]));
  }
  return text + std::string(at, Pdf.cend());
}

// The file ends with a cross-reference table of 20-byte entries pointing at each "k 0 obj" and a
// trailer whose startxref points at "xref"; and qpdf --check passes.
void ExpectSound(const std::string& File, int Objects) {
  const std::string pdf = ReadFile(File), n = std::to_string(Objects + 1);
  const size_t xref = pdf.rfind("\nxref\n") + 1;
  std::string expected = "xref\n0 " + n + "\n0000000000 65535 f \n";
  char entry[21];
  for (int k = 1; k <= Objects; ++k) {
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", pdf.find("\n" + std::to_string(k) + " 0 obj\n") + 1);
    expected += entry;
  }
  expected += "trailer\n<< /Size " + n + " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  EXPECT_EQ(pdf.substr(xref), expected);
  int status = -1;
  const std::string out = test::RunTool("qpdf --check " + Quote(File) + " 2>&1", &status);
  EXPECT_EQ(status, 0) << out;
}

class RasterPdf : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* tool : {"qpdf", "pdftoppm"})
      if (!test::HaveTool(tool)) GTEST_SKIP() << tool << " is not installed";
  }
  test::TTempDir Dir;
};

TEST_F(RasterPdf, OnePageFile) {
  const std::string file = Dir.File("one.pdf");
  RptSavePagesToPDF({TwoColours(40, 60)}, file, 595.276f, 841.89f);
  std::vector<std::string> jpegs;
  const std::string text = ElideJpegs(ReadFile(file), &jpegs);
  EXPECT_EQ(text.substr(0, text.find("xref\n")),
            "%PDF-1.4\n% Quillet\n"
            "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
            "2 0 obj\n<< /Type /Pages /Count 1 /Kids [3 0 R] >>\nendobj\n"
            "3 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 595.28 841.89]\n"
            "   /Resources << /XObject << /Im0 4 0 R >> >>\n   /Contents 5 0 R\n>>\nendobj\n"
            "4 0 obj\n<< /Type /XObject /Subtype /Image\n   /Width 40 /Height 60\n"
            "   /ColorSpace /DeviceRGB /BitsPerComponent 8\n   /Filter /DCTDecode /Length L\n>>\n"
            "stream\n<JPEG>\nendstream\nendobj\n"
            "5 0 obj\n<< /Length 37 >>\nstream\nq\n595.28 0 0 841.89 0 0 cm\n/Im0 Do\nQ\nendstream\nendobj\n");
  ExpectSound(file, 5);
  ASSERT_EQ(jpegs.size(), 1u);
  EXPECT_EQ(QImage::fromData(QByteArray::fromStdString(jpegs[0]), "JPEG").size(), QSize(40, 60));
}

// Pages 3 and 6 with their images 4 and 7 and contents 5 and 8, each object once; both pages
// come out at the media box's size, red on the left and blue on the right. The writer behind
// it gives each page its own size.
TEST_F(RasterPdf, TwoPagesOfDifferentPixelSizesFillTheSameMediaBox) {
  const std::string file = Dir.File("two.pdf");
  RptSavePagesToPDF({TwoColours(30, 20), TwoColours(60, 40)}, file, 612, 792);
  const std::string text = ElideJpegs(ReadFile(file));
  for (const std::string part :
       {"2 0 obj\n<< /Type /Pages /Count 2 /Kids [3 0 R 6 0 R] >>\nendobj\n", "/Width 30 /Height 20\n",
        "6 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 612 792]\n"
        "   /Resources << /XObject << /Im0 7 0 R >> >>\n   /Contents 8 0 R\n>>\n",
        "/Width 60 /Height 40\n", "8 0 obj\n<< /Length 31 >>\nstream\nq\n612 0 0 792 0 0 cm\n/Im0 Do\nQ\nendstream\n"})
    EXPECT_NE(text.find(part), std::string::npos) << part;
  for (int k = 1; k <= 9; ++k) {
    const std::string obj = "\n" + std::to_string(k) + " 0 obj\n";
    EXPECT_EQ(text.find(obj) != std::string::npos && text.find(obj) == text.rfind(obj), k < 9) << k;
  }
  ExpectSound(file, 8);
  test::RunTool("pdftoppm -r 36 -png " + Quote(file) + " " + Quote(Dir.File("page")) + " 2>/dev/null");
  for (const char* name : {"page-1.png", "page-2.png"}) {
    const QImage page(QString::fromStdString(Dir.File(name)));
    ASSERT_EQ(page.size(), QSize(306, 396)) << name;
    const QColor left = page.pixelColor(70, 200), right = page.pixelColor(236, 200);
    EXPECT_TRUE(left.red() > 200 && left.blue() < 60 && right.blue() > 200 && right.red() < 60) << name;
  }

  TRasterPdfWriter writer(Dir.File("sizes.pdf"), 2);
  writer.AddPage(TwoColours(20, 28), 595.276f, 841.89f);
  writer.AddPage(TwoColours(28, 20), 841.89f, 595.276f);
  writer.Finish();
  const std::string sizes = ReadFile(Dir.File("sizes.pdf"));
  EXPECT_NE(sizes.find("3 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 595.28 841.89]\n"), std::string::npos);
  EXPECT_NE(sizes.find("6 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 841.89 595.28]\n"), std::string::npos);
  ExpectSound(Dir.File("sizes.pdf"), 8);
}

// An empty list, a writer destroyed before Finish, one given too few or too many pages, and a
// folder that does not exist leave nothing.
TEST_F(RasterPdf, NothingIsWrittenUnlessTheWriterFinishes) {
  RptSavePagesToPDF({}, Dir.File("empty.pdf"), 595, 842);
  {
    TRasterPdfWriter abandoned(Dir.File("abandoned.pdf"), 2), few(Dir.File("few.pdf"), 2), many(Dir.File("many.pdf"), 1);
    for (TRasterPdfWriter* w : {&abandoned, &few, &many}) w->AddPage(TwoColours(10, 10), 100, 100);
    EXPECT_FALSE(std::filesystem::exists(Dir.File("abandoned.pdf")));
    EXPECT_THROW(few.Finish(), EQuilletError);
    EXPECT_THROW(many.AddPage(TwoColours(10, 10), 100, 100), EQuilletError);
  }
  EXPECT_THROW(RptSavePagesToPDF({TwoColours(10, 10)}, Dir.File("missing/x.pdf"), 100, 100), EQuilletError);
  EXPECT_EQ(Dir.Count(), 0u);
}

}  // namespace
}  // namespace quillet::screentest
