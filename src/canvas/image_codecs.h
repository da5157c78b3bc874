// Image files for report images: PNG and JPEG decoding into TRptBitmap, and the JPEG encoding the
// PDF canvas embeds. The decoders read untrusted bytes: unknown formats, corrupt or truncated data
// and absurd sizes all raise EQuilletError, never a crash or a hang.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"

namespace quillet {

// The largest image the decoders accept, in pixels (each takes 4 bytes once decoded).
inline constexpr int64_t MaxImagePixels = 100'000'000;

// Decodes a PNG of any colour type, bit depth and interlacing into straight RGBA8. Gamma and
// colour-profile chunks are ignored: pixels keep their stored values.
TRptBitmap DecodePng(std::span<const uint8_t> Data);

// Decodes a baseline, progressive or arithmetic-coded JPEG (grey, YCbCr/RGB, CMYK or YCCK) into
// RGBA8 with alpha 255. Any sign of corrupt or missing data is an error, not a grey patch.
TRptBitmap DecodeJpeg(std::span<const uint8_t> Data);

// Decodes PNG or JPEG by the file signature; anything else raises "Unsupported image format".
TRptBitmap DecodeImage(std::span<const uint8_t> Data);

// Reads and decodes an image file. Failures carry the file name in EQuilletError::FileName().
TRptBitmap LoadImageFile(const std::string& FileName);

// The largest width or height the JPEG encoder takes, in pixels.
inline constexpr int32_t MaxJpegSide = 65500;

// Bmp reduced, in proportion, to at most MaxSide pixels a side (each side keeps at least one pixel):
// each new pixel is the average of the pixels it covers, composited over white, so the result is
// opaque. A bitmap within the limit comes back as it is. Raises EQuilletError when the pixel data
// does not match the size.
TRptBitmap ShrinkToFit(const TRptBitmap& Bmp, int32_t MaxSide);

// Encodes a bitmap as a baseline RGB JPEG (quality clamped to 1..100). Pixels that are not fully
// opaque are composited over white first, so transparent areas come out white, not black.
std::vector<uint8_t> EncodeJpeg(const TRptBitmap& Bmp, int Quality = 90);

}  // namespace quillet
