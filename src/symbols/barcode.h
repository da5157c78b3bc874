// One-dimensional barcodes. The symbology is chosen by a prefix of the element text itself:
//   "C39:" Code 39, "EAN8:" EAN-8, "EAN:" EAN-13, "UPCA:" UPC-A (drawn as EAN-13 with a leading 0),
//   "ITF:" Interleaved 2 of 5, "CBR:" Codabar; any other text is Code 128 (code set B).
// Two layers share one set of encoders: BarcodeRuns gives the bar/space widths without drawing,
// the Draw... operations paint them. Bad input never throws: invalid characters are skipped,
// replaced or filtered out, and a payload with too few digits draws nothing but the background.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"
#include "reportdef/report_model.h"

namespace quillet {

// Fills Runs with the widths in modules of alternating bars and spaces (narrow 1, wide 3; EAN/UPC
// 1 to 4). FirstIsBar tells whether Runs[0] is a bar; every symbology here starts with a bar.
// Returns false, with Runs empty, when the text encodes nothing (an empty Code 128 text, too few
// EAN/UPC digits, an ITF payload without digits).
bool BarcodeRuns(const std::string& Text, std::vector<int32_t>& Runs, bool& FirstIsBar);

// The line printed under the bars: Text without its symbology prefix, exactly as typed (no
// filtering, no computed check digit, no UPC-A leading zero).
std::string BarcodeHumanText(const std::string& Text);

// The element entry: optional human-readable strip at the bottom, background fill over the whole
// rectangle (when Back is not transparent), then the symbology picked by prefix.
void DrawBarcode(IRptCanvas& Canvas, const std::string& Text, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back, bool ShowText);

// Each draws one symbology over the whole rectangle (no quiet zone): background first when Back is
// not transparent, then the bars in Fore.
void DrawCode128(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back);
void DrawCode39(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                TAlphaColor Back);
void DrawEAN13(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
               TAlphaColor Back);
void DrawEAN8(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
              TAlphaColor Back);
void DrawITF(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
             TAlphaColor Back);
void DrawCodabar(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back);

}  // namespace quillet
