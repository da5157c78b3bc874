// QR codes: an encoder object on top of zxing-cpp that the report drawing path uses, and a
// self-contained matrix encoder (level L, versions 1 to 40) for callers that want the modules.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "canvas/rpt_canvas.h"
#include "reportdef/report_model.h"

namespace quillet {

enum class TQRCodeEncoding : uint8_t {
  qrAuto,
  qrNumeric,
  qrAlphanumeric,
  qrISO88591,
  qrUTF8NoBOM,
  qrUTF8BOM,
  qrShift_JIS
};

enum class TQRErrorLevels : uint8_t { ecL, ecM, ecQ, ecH };

// The two format-information bits of a level: L = 1, M = 0, Q = 3, H = 2.
int QRFormatLevelBits(TQRErrorLevels Level);

// Builds a QR symbol from text. Every setter that changes a value re-encodes the whole symbol, so
// the properties always describe the current matrix. Rows and Columns include the quiet zone on
// both sides; they are 0 while there is no symbol (empty data, or the last encoding failed).
class TQRCodeEncoder {
 public:
  TQRCodeEncoder() = default;

  // Whether the module at (Row, Column) of the quiet-zoned symbol is dark; false outside.
  bool GetIsBlack(int32_t Row, int32_t Column) const;
  bool IsBlack(int32_t Row, int32_t Column) const { return GetIsBlack(Row, Column); }

  // UTF-8 text.
  const std::string& Data() const { return FData; }
  void SetData(const std::string& Value);

  TQRCodeEncoding Encoding() const { return FEncoding; }
  void SetEncoding(TQRCodeEncoding Value);

  // Modules of light border on every side, 0 to 100; other values are ignored.
  int32_t QuietZone() const { return FQuietZone; }
  void SetQuietZone(int32_t Value);

  int32_t Rows() const { return FRows; }
  int32_t Columns() const { return FColumns; }

  TQRErrorLevels ErrorLevels() const { return FErrorLevels; }
  void SetErrorLevels(TQRErrorLevels Value);

  // Kept with the symbol's settings; the encodings above already name their character sets.
  int32_t CodePage() const { return FCodePage; }
  void SetCodePage(int32_t Value);

  // Re-encodes Data. Throws what the encoder throws; the symbol is then empty.
  void Update();

 private:
  std::string FData;
  TQRCodeEncoding FEncoding = TQRCodeEncoding::qrAuto;
  int32_t FQuietZone = 4;
  int32_t FRows = 0;
  int32_t FColumns = 0;
  TQRErrorLevels FErrorLevels = TQRErrorLevels::ecL;
  int32_t FCodePage = 0;
  int32_t FSide = 0;               // symbol side without quiet zone
  std::vector<uint8_t> FModules;  // FSide * FSide, 1 = dark
};

// Paints Text as a QR symbol (UTF-8, level L, quiet zone 4) centred in R as a square of
// min(width, height): the background first when it has a colour, then one square per dark
// module. Never throws for bad data.
void DrawQRCode(IRptCanvas& Canvas, const std::string& Text, const TRectF& R, TAlphaColor ForeColor,
                TAlphaColor BackColor);

// A QR symbol without quiet zone: Size = 17 + 4 * version, Modules row by row, 1 = dark.
struct TQRMatrix {
  int32_t Size = 0;
  std::vector<uint8_t> Modules;

  uint8_t At(int32_t Row, int32_t Column) const { return Modules[size_t(Row) * size_t(Size) + size_t(Column)]; }
  int32_t Version() const { return (Size - 17) / 4; }
};

class EQRCodeError : public EQuilletError {
 public:
  using EQuilletError::EQuilletError;
};

// Encodes Data at level L in numeric, alphanumeric or byte mode, whichever holds every byte, in
// the smallest version that fits. Throws EQRCodeError when version 40 is too small.
TQRMatrix GenerateQRCode(std::span<const uint8_t> Data);
// Text as its UTF-8 bytes, without a byte-order mark.
TQRMatrix GenerateQRCode(std::string_view Text);

// The score that mask selection minimises: runs of five or more in a line, 2 x 2 blocks of one
// colour, finder-like 1:1:3:1:1 patterns with four light modules inside the symbol on one side,
// and the distance of the dark share from half. 0 for an empty or malformed matrix.
int32_t QRMaskPenalty(const TQRMatrix& M);

// Data bits that version Version (1 to 40) holds at level L.
int32_t QRDataCapacityBits(int32_t Version);

}  // namespace quillet
