// What the two image targets check of a decoded bitmap: a positive size whose pixel buffer matches
// it; a small one also shrinks, and re-encodes as JPEG and reads back, which must always succeed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "canvas/image_codecs.h"

namespace quillet_fuzz {

inline void ImageCheck(bool Condition, const char* What) {
  if (!Condition) {
    std::fprintf(stderr, "image check failed: %s\n", What);
    std::abort();
  }
}

inline void CheckBitmap(const quillet::TRptBitmap& Bmp) {
  using namespace quillet;
  ImageCheck(Bmp.Width > 0 && Bmp.Height > 0, "decoded an empty image");
  ImageCheck(int64_t(Bmp.Width) * Bmp.Height <= MaxImagePixels, "decoded past the pixel limit");
  ImageCheck(Bmp.Pixels.size() == size_t(Bmp.Width) * size_t(Bmp.Height) * 4, "pixel buffer does not fit the size");
  if (size_t(Bmp.Width) * size_t(Bmp.Height) > 4096) return;
  const TRptBitmap small = ShrinkToFit(Bmp, 7);
  ImageCheck(small.Width >= 1 && small.Height >= 1 && small.Width <= 7 && small.Height <= 7 &&
                 small.Pixels.size() == size_t(small.Width) * size_t(small.Height) * 4,
             "ShrinkToFit gave a wrong size");
  const TRptBitmap back = DecodeJpeg(EncodeJpeg(Bmp, 75));
  ImageCheck(back.Width == Bmp.Width && back.Height == Bmp.Height && !back.HasTransparency(),
             "the JPEG encoder's output does not read back");
}

}  // namespace quillet_fuzz
