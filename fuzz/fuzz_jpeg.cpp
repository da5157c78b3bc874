// JPEG files for report images. Decoding must end in a bitmap or an EQuilletError, never a crash, a
// hang or another exception (see image_check.h for what a bitmap must be). The pass-through check
// that decides whether the PDF embeds a JPEG file as it is (InspectJpegForEmbedding) sees every
// input too: it never throws, passes only 1, 3 or 4 components of a positive size, and a file it
// passes that also decodes must decode to the size it reported. (It reads the markers only, so a
// file whose scan data is damaged may pass and still fail to decode.)
#include <cstdint>
#include <span>

#include "base/error.h"
#include "image_check.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::span<const uint8_t> bytes(Data, Size);
  TJpegEmbedInfo info;
  bool embeddable = false;
  try {
    embeddable = InspectJpegForEmbedding(bytes, info);
  } catch (...) {
    quillet_fuzz::ImageCheck(false, "InspectJpegForEmbedding threw");
  }
  if (embeddable) {
    quillet_fuzz::ImageCheck(info.Width > 0 && info.Height > 0, "pass-through of an empty image");
    quillet_fuzz::ImageCheck(info.Components == 1 || info.Components == 3 || info.Components == 4,
                             "pass-through with an odd component count");
  }
  TRptBitmap bmp;
  try {
    bmp = DecodeJpeg(bytes);
  } catch (const EQuilletError&) {
    return 0;
  }
  quillet_fuzz::CheckBitmap(bmp);
  if (embeddable)
    quillet_fuzz::ImageCheck(info.Width == bmp.Width && info.Height == bmp.Height,
                             "pass-through size differs from the decoded size");
  return 0;
}
