// Report images come from anywhere: decoding must end in a bitmap or an EQuilletError, never a
// crash, a hang or another exception. Small results are also re-encoded as JPEG and read back,
// which must always succeed. The JPEG header reader that decides whether a file can be embedded
// as it is sees every input too, and may only pass a file whose size is the decoded one.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "base/error.h"
#include "canvas/image_codecs.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  TJpegEmbedInfo info;
  const bool embeddable = InspectJpegForEmbedding(std::span<const uint8_t>(Data, Size), info);
  if (embeddable && (info.Width <= 0 || info.Height <= 0)) std::abort();
  TRptBitmap bmp;
  try {
    bmp = DecodeImage(std::span<const uint8_t>(Data, Size));
  } catch (const EQuilletError&) {
    return 0;
  }
  if (bmp.Width <= 0 || bmp.Height <= 0 || bmp.Pixels.size() != size_t(bmp.Width) * size_t(bmp.Height) * 4)
    std::abort();
  if (embeddable && (info.Width != bmp.Width || info.Height != bmp.Height)) std::abort();
  if (size_t(bmp.Width) * size_t(bmp.Height) <= 4096) {
    const TRptBitmap back = DecodeJpeg(EncodeJpeg(bmp));
    if (back.Width != bmp.Width || back.Height != bmp.Height || back.HasTransparency()) std::abort();
  }
  return 0;
}
