// PNG files for report images: decoding must end in a bitmap or an EQuilletError, never a crash, a
// hang or another exception (see image_check.h for what a bitmap must be). The input goes to the
// PNG decoder as it is and, when it has the PNG signature, through the format dispatch too.
#include <cstdint>
#include <cstring>
#include <span>

#include "base/error.h"
#include "image_check.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::span<const uint8_t> bytes(Data, Size);
  TRptBitmap bmp;
  try {
    bmp = DecodePng(bytes);
  } catch (const EQuilletError&) {
    return 0;
  }
  quillet_fuzz::CheckBitmap(bmp);
  if (Size >= 8 && std::memcmp(Data, "\x89PNG\r\n\x1A\n", 8) == 0) {
    const TRptBitmap again = DecodeImage(bytes);  // the same decoder: it must agree
    quillet_fuzz::ImageCheck(again.Width == bmp.Width && again.Height == bmp.Height && again.Pixels == bmp.Pixels,
                             "DecodeImage and DecodePng disagree");
  }
  return 0;
}
