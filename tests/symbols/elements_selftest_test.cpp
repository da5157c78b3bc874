#include "symbols/elements_selftest.h"

#include <gtest/gtest.h>

// text() gives UTF-8.
#define ZX_USE_UTF8 1
#include <ZXing/BarcodeFormat.h>
#include <ZXing/DecodeHints.h>
#include <ZXing/ImageView.h>
#include <ZXing/ReadBarcode.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../support/test_support.h"

namespace quillet {
namespace {

struct TGrey {
  int Width = 0, Height = 0;
  std::vector<uint8_t> Pixels;
};

// Binary 8-bit PGM as pdftoppm -gray writes it (no comments).
TGrey ReadPgm(const std::string& Path) {
  std::ifstream In(Path, std::ios::binary);
  std::string Magic;
  int MaxVal = 0;
  TGrey G;
  In >> Magic >> G.Width >> G.Height >> MaxVal;
  In.get();
  if (Magic != "P5" || MaxVal != 255 || G.Width <= 0 || G.Height <= 0) return {};
  G.Pixels.resize(static_cast<size_t>(G.Width) * G.Height);
  In.read(reinterpret_cast<char*>(G.Pixels.data()), static_cast<std::streamsize>(G.Pixels.size()));
  return In ? G : TGrey{};
}

TEST(ElementsSelfTest, PagePassesOutsideChecksAndEveryBarcodeReads) {
  if (!test::HaveTool("qpdf") || !test::HaveTool("pdftoppm")) GTEST_SKIP() << "qpdf and pdftoppm are needed";
  const test::TTempDir Dir;
  const std::string Pdf = Dir.File("elements.pdf");
  int Status = -1;
  PDFElementsSelfTest(Pdf);
  std::string Out = test::RunTool("qpdf --check '" + Pdf + "' 2>&1", &Status);
  EXPECT_EQ(Status, 0) << Out;
  constexpr int Dpi = 216;  // 3 pixels per unit
  Out = test::RunTool("pdftoppm -r 216 -gray -singlefile '" + Pdf + "' '" + Dir.File("page") + "' 2>&1", &Status);
  EXPECT_EQ(Status, 0);
  EXPECT_EQ(Out, "");
  const TGrey Page = ReadPgm(Dir.File("page.pgm"));
  ASSERT_EQ(Page.Width, 595 * Dpi / 72);

  struct Expect {
    ZXing::BarcodeFormat Format;
    std::string Text;
  } Rows[kElementsSelfTestBarcodes] = {
      {ZXing::BarcodeFormat::Code128, "Quillet-2026"}, {ZXing::BarcodeFormat::Code39, "QUILLET 39"},
      {ZXing::BarcodeFormat::EAN13, "5901234123457"},  {ZXing::BarcodeFormat::UPCA, "036000291452"},
      {ZXing::BarcodeFormat::EAN8, "96385074"},        {ZXing::BarcodeFormat::ITF, "1234567890"},
      {ZXing::BarcodeFormat::Codabar, "31117013206375"},
  };
  const int Scale = Dpi / 72;
  ZXing::DecodeHints Hints;
  Hints.setFormats(ZXing::BarcodeFormat::LinearCodes);
  for (int i = 0; i < kElementsSelfTestBarcodes; ++i) {
    SCOPED_TRACE(Rows[i].Text);
    // The barcode's row with 15 units of blank page around it.
    const int Top = static_cast<int>(kElementsSelfTestTop + i * kElementsSelfTestPitch - 15) * Scale;
    const int Height = static_cast<int>(kElementsSelfTestBarHeight + 30) * Scale;
    const int Width = static_cast<int>(kElementsSelfTestLeft + kElementsSelfTestMaxWidth + 15) * Scale;
    ASSERT_LE(Top + Height, Page.Height);
    const ZXing::Result R = ZXing::ReadBarcode(
        ZXing::ImageView(Page.Pixels.data() + static_cast<size_t>(Top) * Page.Width, Width, Height,
                         ZXing::ImageFormat::Lum, Page.Width),
        Hints);
    EXPECT_EQ(R.format(), Rows[i].Format) << ZXing::ToString(R.format());
    EXPECT_EQ(R.text(), Rows[i].Text);
  }

  ZXing::DecodeHints QRHints;
  QRHints.setFormats(ZXing::BarcodeFormat::QRCode);
  const int QRTop = static_cast<int>(kElementsSelfTestQRTop - 10) * Scale;
  const int QRLeft = static_cast<int>(kElementsSelfTestQRLeft - 10) * Scale;
  const int QRSide = static_cast<int>(kElementsSelfTestQRSize + 20) * Scale;
  ASSERT_LE(QRTop + QRSide, Page.Height);
  const ZXing::Result QR = ZXing::ReadBarcode(
      ZXing::ImageView(Page.Pixels.data() + static_cast<size_t>(QRTop) * Page.Width + QRLeft, QRSide, QRSide,
                       ZXing::ImageFormat::Lum, Page.Width),
      QRHints);
  EXPECT_EQ(QR.format(), ZXing::BarcodeFormat::QRCode);
  EXPECT_EQ(QR.text(), kElementsSelfTestQRText);
}

}  // namespace
}  // namespace quillet
