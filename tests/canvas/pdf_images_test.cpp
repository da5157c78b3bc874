// How the PDF canvas embeds images, judged by outside readers: pdfimages says how each image is
// stored, and pages rendered by poppler and mupdf at one pixel per image pixel show what a reader
// makes of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "canvas/image_codecs.h"
#include "canvas/pdf_canvas.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

using TBytes = std::vector<uint8_t>;

const std::string DataDir = std::string(QUILLET_SOURCE_DIR) + "/tests/canvas/data/";

TBytes ReadData(const std::string& Name) {
  const std::string s = ReadWholeFile(DataDir + Name);
  return TBytes(s.begin(), s.end());
}

// The first frame header (a marker C0..CF other than C4, C8, CC), as an offset of its marker byte.
size_t FrameHeader(const TBytes& Jpeg) {
  for (size_t i = 2; i + 1 < Jpeg.size(); ++i)
    if (Jpeg[i] == 0xFF && Jpeg[i + 1] >= 0xC0 && Jpeg[i + 1] <= 0xCF && Jpeg[i + 1] != 0xC4 &&
        Jpeg[i + 1] != 0xC8 && Jpeg[i + 1] != 0xCC)
      return i + 1;
  ADD_FAILURE() << "no frame header";
  return 0;
}

// A bitmap decoded from File, carrying Source as its source (the file itself when null).
TRptBitmap FromJpeg(const std::string& File, const TBytes* Source = nullptr) {
  const TBytes bytes = ReadData(File);
  TRptBitmap bmp = DecodeJpeg(bytes);
  auto src = std::make_shared<TRptImageSource>();
  src->Format = rifJpeg;
  src->Bytes = Source ? *Source : bytes;
  bmp.Source = std::move(src);
  return bmp;
}

// Smooth colours (grey when Grey), with alpha falling from 255 to 0 across when Alpha.
TRptBitmap Synthetic(int32_t W, int32_t H, bool Grey, bool Alpha) {
  TRptBitmap b{W, H, TBytes(size_t(W) * size_t(H) * 4)};
  for (int32_t y = 0; y < H; ++y)
    for (int32_t x = 0; x < W; ++x) {
      uint8_t* p = &b.Pixels[(size_t(y) * size_t(W) + size_t(x)) * 4];
      p[0] = uint8_t(x * 255 / (W - 1));
      p[1] = Grey ? p[0] : uint8_t(y * 255 / (H - 1));
      p[2] = Grey ? p[0] : uint8_t(128 + x / 4);
      p[3] = Alpha ? uint8_t(255 - x * 255 / (W - 1)) : 255;
    }
  return b;
}

uint8_t OverWhite(unsigned C, unsigned A) { return uint8_t((C * A + 255 * (255 - A) + 127) / 255); }

enum TCheck {
  ckExact,  // every pixel as the bitmap over white (within 1 for blending)
  ckNear,   // patch centres within a few levels: a JPEG decoded by another decoder
  ckInks    // patch centres on the same side of mid-grey in every clearly light or dark channel
};

TEST(PdfImages, EachImageEmbeddedAsItsSourceAllowsAndReadersAgree) {
  if (!test::HaveTool("pdfimages") || !test::HaveTool("pdftoppm") || !test::HaveTool("mutool"))
    GTEST_SKIP() << "poppler-utils and mupdf-tools are needed";
  const TBytes progressive = ReadData("rgb_progressive.jpg");
  TBytes arithmetic = progressive;
  arithmetic[FrameHeader(arithmetic)] = 0xCA;  // progressive, arithmetic-coded
  TBytes twelveBit = progressive;
  twelveBit[FrameHeader(twelveBit) + 3] = 12;  // the frame's sample precision
  const TBytes cut(progressive.begin(), progressive.begin() + 40);
  const TBytes grey = ReadData("grey.jpg");
  TRptBitmap pngSourced = Synthetic(48, 20, false, false);
  pngSourced.Source = std::make_shared<TRptImageSource>(TRptImageSource{rifPng, grey});

  struct Case {
    const char* What;
    TRptBitmap Bmp;
    int Quality;
    std::string Listed;  // colour, components, bits and encoding as pdfimages lists them
    bool SoftMask;
    TCheck Check;
  } cases[] = {
      {"grey JPEG", FromJpeg("grey.jpg"), 0, "gray +1 +8 +jpeg", false, ckNear},
      {"progressive RGB JPEG", FromJpeg("rgb_progressive.jpg"), 0, "rgb +3 +8 +jpeg", false, ckNear},
      {"JPEG source at quality 40", FromJpeg("rgb_progressive.jpg"), 40, "rgb +3 +8 +jpeg", false, ckNear},
      {"Adobe-inverted CMYK JPEG", FromJpeg("cmyk_adobe.jpg"), 0, "cmyk +4 +8 +jpeg", false, ckInks},
      {"plain CMYK JPEG", FromJpeg("cmyk_plain.jpg"), 0, "cmyk +4 +8 +jpeg", false, ckInks},
      {"YCCK JPEG", FromJpeg("ycck_adobe.jpg"), 0, "rgb +3 +8 +image", false, ckExact},
      {"arithmetic-coded frame", FromJpeg("rgb_progressive.jpg", &arithmetic), 0, "rgb +3 +8 +image", false, ckExact},
      {"12-bit frame", FromJpeg("rgb_progressive.jpg", &twelveBit), 0, "rgb +3 +8 +image", false, ckExact},
      {"cut source", FromJpeg("rgb_progressive.jpg", &cut), 0, "rgb +3 +8 +image", false, ckExact},
      {"source of another size", FromJpeg("rgb_progressive.jpg", &grey), 0, "rgb +3 +8 +image", false, ckExact},
      {"PNG source", pngSourced, 0, "rgb +3 +8 +image", false, ckExact},
      {"opaque RGB", Synthetic(48, 20, false, false), 0, "rgb +3 +8 +image", false, ckExact},
      {"grey with alpha", Synthetic(48, 20, true, true), 0, "gray +1 +8 +image", true, ckExact},
      {"RGB with alpha", Synthetic(48, 20, false, true), 0, "rgb +3 +8 +image", true, ckExact},
      {"RGB with alpha at quality 60", Synthetic(48, 20, false, true), 60, "rgb +3 +8 +jpeg", true, ckNear},
      {"opaque grey at quality 60", Synthetic(48, 20, true, false), 60, "rgb +3 +8 +jpeg", false, ckNear},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    test::TTempDir dir;
    const std::string pdf = dir.File("img.pdf");
    {
      TPdfRptCanvas canvas(pdf);
      canvas.SetJpegQuality(c.Quality);
      canvas.BeginPage(float(c.Bmp.Width), float(c.Bmp.Height));
      canvas.DrawImage(TRectF{0, 0, float(c.Bmp.Width), float(c.Bmp.Height)}, c.Bmp, risStretch);
      canvas.SaveToFile();
      EXPECT_TRUE(canvas.Warnings().empty());
    }
    int status = -1;
    const std::string check = test::RunTool("qpdf --check '" + pdf + "' 2>&1", &status);
    EXPECT_EQ(status, 0) << check;
    const std::string list = test::RunTool("pdfimages -list '" + pdf + "' 2>&1");
    const std::string size = std::to_string(c.Bmp.Width) + " +" + std::to_string(c.Bmp.Height) + " +";
    EXPECT_TRUE(std::regex_search(list, std::regex(" image +" + size + c.Listed + " "))) << list;
    EXPECT_EQ(std::regex_search(list, std::regex(" smask +" + size + "gray +1 +8 +image ")), c.SoftMask) << list;

    const std::string renders[] = {
        "pdftoppm -r 72 -png -singlefile '" + pdf + "' '" + dir.File("poppler") + "' 2>&1",
        "mutool draw -q -r 72 -o '" + dir.File("mupdf.png") + "' '" + pdf + "' 2>&1"};
    const std::string pages[] = {dir.File("poppler.png"), dir.File("mupdf.png")};
    for (int r = 0; r < 2; ++r) {
      SCOPED_TRACE(renders[r]);
      std::string err = test::RunTool(renders[r], &status);
      ASSERT_EQ(status, 0) << err;
      const std::string noIcc = "warning: ICC support is not available\n";  // how mupdf was built
      if (err.rfind(noIcc, 0) == 0) err.erase(0, noIcc.size());
      EXPECT_EQ(err, "");
      const TRptBitmap page = LoadImageFile(pages[r]);
      ASSERT_EQ(page.Width, c.Bmp.Width);
      ASSERT_EQ(page.Height, c.Bmp.Height);
      int worst = 0;
      size_t wrongInks = 0;
      for (int32_t y = 0; y < page.Height; ++y)
        for (int32_t x = 0; x < page.Width; ++x) {
          // JPEG files hold 16 x 16 patches; their centres are free of block and chroma bleeding.
          // Poppler samples an image drawn at its own size a fraction of a pixel off, so it is
          // judged at the centres too.
          const bool exact = c.Check == ckExact && r == 1;
          if (!exact && (x % 16 != 8 || y % 16 != 8)) continue;
          const uint8_t* want = &c.Bmp.Pixels[(size_t(y) * size_t(page.Width) + size_t(x)) * 4];
          const uint8_t* got = &page.Pixels[(size_t(y) * size_t(page.Width) + size_t(x)) * 4];
          for (int k = 0; k < 3; ++k) {
            const int w = OverWhite(want[k], want[3]);
            worst = std::max(worst, std::abs(w - int(got[k])));
            if ((w < 64 && got[k] >= 128) || (w > 192 && got[k] < 128)) ++wrongInks;
          }
        }
      if (c.Check == ckExact && r == 1) {
        EXPECT_LE(worst, 1);
      } else if (c.Check != ckInks) {
        EXPECT_LE(worst, c.Quality ? 24 : 12);
      }
      EXPECT_EQ(wrongInks, 0u);
    }
  }
}

// Frame headers cut anywhere, or read from damaged bytes, are refused without a crash; only the
// whole header up to the first scan passes.
TEST(PdfImages, JpegHeadersAreReadWithinTheirBytes) {
  for (const char* file : {"grey.jpg", "rgb_progressive.jpg", "cmyk_adobe.jpg"}) {
    SCOPED_TRACE(file);
    const TBytes bytes = ReadData(file);
    size_t scan = 0;
    for (size_t i = 2; i + 1 < bytes.size() && !scan; ++i)
      if (bytes[i] == 0xFF && bytes[i + 1] == 0xDA) scan = i;
    ASSERT_GT(scan, 0u);
    TJpegEmbedInfo info;
    for (size_t n = 0; n <= scan + 2; ++n)
      EXPECT_EQ(InspectJpegForEmbedding(std::span<const uint8_t>(bytes.data(), n), info), n == scan + 2) << n;
    // Every byte of the header replaced by each of a few telling values: any answer but a crash.
    for (size_t i = 0; i < scan; ++i)
      for (uint8_t v : {uint8_t(0x00), uint8_t(0x01), uint8_t(0xFF), uint8_t(0xC2), uint8_t(0xDA)}) {
        TBytes damaged = bytes;
        damaged[i] = v;
        if (InspectJpegForEmbedding(damaged, info)) {
          EXPECT_GT(info.Width, 0);
          EXPECT_GT(info.Height, 0);
        }
      }
  }
}

}  // namespace
}  // namespace quillet
