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

struct TParsed {
  std::string Text;                // the file with every JPEG replaced by "<JPEG>" and its length by "L"
  std::vector<std::string> Jpegs;  // the JPEG data, in order
};

TParsed ElideJpegs(const std::string& Pdf) {
  TParsed p;
  const std::regex head(R"(/Filter /DCTDecode /Length (\d+)\n>>\nstream\n)");
  size_t at = 0;
  std::smatch m;
  auto from = Pdf.cbegin();
  while (std::regex_search(from, Pdf.cend(), m, head)) {
    const size_t start = static_cast<size_t>(m.position(0)) + static_cast<size_t>(from - Pdf.cbegin());
    const size_t data = start + static_cast<size_t>(m.length(0));
    const size_t length = std::stoul(m[1]);
    p.Text += Pdf.substr(at, start - at) + "/Filter /DCTDecode /Length L\n>>\nstream\n<JPEG>";
    p.Jpegs.push_back(Pdf.substr(data, length));
    at = data + length;
    from = Pdf.cbegin() + static_cast<std::ptrdiff_t>(at);
  }
  p.Text += Pdf.substr(at);
  return p;
}

// The cross-reference table and trailer of a file with Objects objects after the free one:
// 20-byte entries whose offsets point at "k 0 obj", and a startxref that points at "xref".
// Returns what is wrong, "" when all is right.
std::string XrefProblems(const std::string& Pdf, int Objects) {
  size_t xref = Pdf.rfind("\nxref\n");
  if (xref == std::string::npos) return "no xref";
  ++xref;
  const std::string head = "xref\n0 " + std::to_string(Objects + 1) + "\n";
  if (Pdf.compare(xref, head.size(), head) != 0) return "xref header: " + Pdf.substr(xref, 20);
  size_t at = xref + head.size();
  if (Pdf.compare(at, 20, "0000000000 65535 f \n") != 0) return "entry 0";
  for (int k = 1; k <= Objects; ++k) {
    at += 20;
    const std::string entry = Pdf.substr(at, 20);
    if (!std::regex_match(entry, std::regex(R"(\d{10} 00000 n \n)")))
      return "entry " + std::to_string(k) + ": " + entry;
    const size_t offset = std::stoul(entry.substr(0, 10));
    const std::string obj = std::to_string(k) + " 0 obj\n";
    if (Pdf.compare(offset, obj.size(), obj) != 0) return "entry " + std::to_string(k) + " points elsewhere";
  }
  at += 20;
  const std::string tail = "trailer\n<< /Size " + std::to_string(Objects + 1) + " /Root 1 0 R >>\nstartxref\n" +
                           std::to_string(xref) + "\n%%EOF\n";
  if (Pdf.substr(at) != tail) return "trailer: " + Pdf.substr(at);
  return "";
}

std::string QpdfCheck(const std::string& File) {
  int status = -1;
  const std::string out = test::RunTool("qpdf --check " + Quote(File) + " 2>&1", &status);
  return status == 0 ? "" : out;
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
  const std::string pdf = ReadFile(file);
  const TParsed p = ElideJpegs(pdf);
  EXPECT_EQ(p.Text.substr(0, p.Text.find("xref\n")),
            "%PDF-1.4\n"
            "% Quillet\n"
            "1 0 obj\n"
            "<< /Type /Catalog /Pages 2 0 R >>\n"
            "endobj\n"
            "2 0 obj\n"
            "<< /Type /Pages /Count 1 /Kids [3 0 R] >>\n"
            "endobj\n"
            "3 0 obj\n"
            "<< /Type /Page /Parent 2 0 R\n"
            "   /MediaBox [0 0 595.28 841.89]\n"
            "   /Resources << /XObject << /Im0 4 0 R >> >>\n"
            "   /Contents 5 0 R\n"
            ">>\n"
            "endobj\n"
            "4 0 obj\n"
            "<< /Type /XObject /Subtype /Image\n"
            "   /Width 40 /Height 60\n"
            "   /ColorSpace /DeviceRGB /BitsPerComponent 8\n"
            "   /Filter /DCTDecode /Length L\n"
            ">>\n"
            "stream\n"
            "<JPEG>\n"
            "endstream\n"
            "endobj\n"
            "5 0 obj\n"
            "<< /Length 37 >>\n"
            "stream\n"
            "q\n"
            "595.28 0 0 841.89 0 0 cm\n"
            "/Im0 Do\n"
            "Q\n"
            "endstream\n"
            "endobj\n");
  EXPECT_EQ(XrefProblems(pdf, 5), "");
  ASSERT_EQ(p.Jpegs.size(), 1u);
  const QImage jpeg = QImage::fromData(reinterpret_cast<const uchar*>(p.Jpegs[0].data()),
                                       static_cast<int>(p.Jpegs[0].size()), "JPEG");
  EXPECT_EQ(jpeg.size(), QSize(40, 60));
  EXPECT_EQ(QpdfCheck(file), "");
}

TEST_F(RasterPdf, TwoPagesOfDifferentPixelSizesFillTheSameMediaBox) {
  const std::string file = Dir.File("two.pdf");
  RptSavePagesToPDF({TwoColours(30, 20), TwoColours(60, 40)}, file, 612, 792);
  const std::string pdf = ReadFile(file);
  const std::string text = ElideJpegs(pdf).Text;
  EXPECT_NE(text.find("2 0 obj\n<< /Type /Pages /Count 2 /Kids [3 0 R 6 0 R] >>\nendobj\n"), std::string::npos);
  // Pages 3 and 6 with their images 4 and 7 and contents 5 and 8, each object once.
  for (int k = 1; k <= 8; ++k) {
    const std::string obj = "\n" + std::to_string(k) + " 0 obj\n";
    EXPECT_NE(text.find(obj), std::string::npos) << k;
    EXPECT_EQ(text.find(obj), text.rfind(obj)) << k;
  }
  EXPECT_EQ(text.find("\n9 0 obj"), std::string::npos);
  EXPECT_NE(text.find("6 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 612 792]\n"
                      "   /Resources << /XObject << /Im0 7 0 R >> >>\n   /Contents 8 0 R\n>>\n"),
            std::string::npos);
  EXPECT_NE(text.find("/Width 30 /Height 20\n"), std::string::npos);
  EXPECT_NE(text.find("/Width 60 /Height 40\n"), std::string::npos);
  EXPECT_NE(text.find("8 0 obj\n<< /Length 31 >>\nstream\nq\n612 0 0 792 0 0 cm\n/Im0 Do\nQ\nendstream\n"),
            std::string::npos);
  EXPECT_EQ(XrefProblems(pdf, 8), "");
  EXPECT_EQ(QpdfCheck(file), "");
  EXPECT_EQ(e2e::PdfPageCount(file), 2);

  // Both pages come out at the media box's size, red on the left and blue on the right.
  test::RunTool("pdftoppm -r 36 -png " + Quote(file) + " " + Quote(Dir.File("page")) + " 2>/dev/null");
  for (const char* name : {"page-1.png", "page-2.png"}) {
    SCOPED_TRACE(name);
    const QImage page(QString::fromStdString(Dir.File(name)));
    ASSERT_EQ(page.size(), QSize(306, 396));
    const QColor left = page.pixelColor(70, 200), right = page.pixelColor(236, 200);
    EXPECT_TRUE(left.red() > 200 && left.blue() < 60) << left.name().toStdString();
    EXPECT_TRUE(right.blue() > 200 && right.red() < 60) << right.name().toStdString();
  }
}

TEST_F(RasterPdf, EachPageOfTheWriterKeepsItsOwnSize) {
  const std::string file = Dir.File("sizes.pdf");
  TRasterPdfWriter writer(file, 2);
  writer.AddPage(TwoColours(20, 28), 595.276f, 841.89f);
  writer.AddPage(TwoColours(28, 20), 841.89f, 595.276f);
  writer.Finish();
  const std::string pdf = ReadFile(file);
  EXPECT_NE(pdf.find("3 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 595.28 841.89]\n"), std::string::npos);
  EXPECT_NE(pdf.find("6 0 obj\n<< /Type /Page /Parent 2 0 R\n   /MediaBox [0 0 841.89 595.28]\n"), std::string::npos);
  EXPECT_EQ(XrefProblems(pdf, 8), "");
  EXPECT_EQ(QpdfCheck(file), "");
}

TEST_F(RasterPdf, NothingIsWrittenUnlessTheWriterFinishes) {
  RptSavePagesToPDF({}, Dir.File("empty.pdf"), 595, 842);
  EXPECT_EQ(Dir.Count(), 0u) << "an empty list writes no file";
  {
    TRasterPdfWriter writer(Dir.File("abandoned.pdf"), 2);
    writer.AddPage(TwoColours(10, 10), 100, 100);
    EXPECT_FALSE(std::filesystem::exists(Dir.File("abandoned.pdf")));
  }
  EXPECT_EQ(Dir.Count(), 0u) << "a writer destroyed before Finish leaves nothing";
  {
    TRasterPdfWriter writer(Dir.File("short.pdf"), 2);
    writer.AddPage(TwoColours(10, 10), 100, 100);
    EXPECT_THROW(writer.Finish(), EQuilletError);
  }
  {
    TRasterPdfWriter writer(Dir.File("long.pdf"), 1);
    writer.AddPage(TwoColours(10, 10), 100, 100);
    EXPECT_THROW(writer.AddPage(TwoColours(10, 10), 100, 100), EQuilletError);
  }
  EXPECT_EQ(Dir.Count(), 0u) << "a writer with the wrong number of pages leaves nothing";
  EXPECT_THROW(RptSavePagesToPDF({TwoColours(10, 10)}, Dir.File("missing/x.pdf"), 100, 100), EQuilletError);
}

}  // namespace
}  // namespace quillet::screentest
