// A developer demonstration page for the drawn elements: barcodes of every symbology, a table and
// an image fitted into a box, on one PDF page.
#pragma once

#include <string>

namespace quillet {

// Barcode rows: element i is at (kElementsSelfTestLeft, kElementsSelfTestTop + i * kElementsSelfTestPitch),
// kElementsSelfTestBarHeight high including its text, at most kElementsSelfTestMaxWidth wide, with
// nothing else drawn within 20 units of it, so a rendered page can be cut up and read back.
inline constexpr float kElementsSelfTestLeft = 40;
inline constexpr float kElementsSelfTestTop = 80;
inline constexpr float kElementsSelfTestPitch = 80;
inline constexpr float kElementsSelfTestBarHeight = 50;
inline constexpr float kElementsSelfTestMaxWidth = 260;
inline constexpr int kElementsSelfTestBarcodes = 7;
// The QR code's box, and what it holds.
inline constexpr float kElementsSelfTestQRLeft = 40;
inline constexpr float kElementsSelfTestQRTop = 752;
inline constexpr float kElementsSelfTestQRSize = 72;
inline constexpr const char* kElementsSelfTestQRText = "Quillet self-test: Gr\xC3\xBC\xC3\x9F" "e aus \xC5\x9E" "i\xC5\x9Fli";

void PDFElementsSelfTest(const std::string& FileName);

}  // namespace quillet
