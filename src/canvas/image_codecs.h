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

// Reads and decodes an image file and keeps its bytes as the bitmap's Source. Failures carry the
// file name in EQuilletError::FileName().
TRptBitmap LoadImageFile(const std::string& FileName);

// A JPEG file as a PDF reader's DCT decoder takes it.
struct TJpegEmbedInfo {
  int32_t Width = 0;
  int32_t Height = 0;
  int Components = 0;          // 1 grey, 3 colour, 4 CMYK
  bool AdobeInverted = false;  // CMYK stored as 255 - ink (marked by an Adobe segment)
};

// Reads the markers of a JPEG file up to its first scan. Returns false, never throws, unless the
// file is an 8-bit Huffman baseline or progressive JPEG of 1, 3 or 4 components whose colours every
// PDF reader decodes as our decoder does: grey, YCbCr or RGB, plain or Adobe-inverted CMYK (not
// YCCK).
bool InspectJpegForEmbedding(std::span<const uint8_t> Data, TJpegEmbedInfo& Info);

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
