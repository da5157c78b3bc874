// How the PDF canvas embeds images.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/file_io.h"
#include "canvas/image_codecs.h"

namespace quillet {
namespace {

using TBytes = std::vector<uint8_t>;

const std::string DataDir = std::string(QUILLET_SOURCE_DIR) + "/tests/canvas/data/";

TBytes ReadData(const std::string& Name) {
  const std::string s = ReadWholeFile(DataDir + Name);
  return TBytes(s.begin(), s.end());
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
