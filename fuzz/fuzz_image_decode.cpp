// Report images come from anywhere: decoding must end in a bitmap or an EQuilletError, never a
// crash, a hang or another exception. Small results are also re-encoded as JPEG and read back,
// which must always succeed.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "base/error.h"
#include "canvas/image_codecs.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  TRptBitmap bmp;
  try {
    bmp = DecodeImage(std::span<const uint8_t>(Data, Size));
  } catch (const EQuilletError&) {
    return 0;
  }
  if (bmp.Width <= 0 || bmp.Height <= 0 || bmp.Pixels.size() != size_t(bmp.Width) * size_t(bmp.Height) * 4)
    std::abort();
  if (size_t(bmp.Width) * size_t(bmp.Height) <= 4096) {
    const TRptBitmap back = DecodeJpeg(EncodeJpeg(bmp));
    if (back.Width != bmp.Width || back.Height != bmp.Height || back.HasTransparency()) std::abort();
  }
  return 0;
}
