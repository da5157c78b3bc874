// Barcode and QR texts come from report files and data fields: every symbology must draw any
// text, never throw, crash or hang, and keep its marks inside the element's box. The symbology is a
// prefix of the text ("C39:", "EAN8:", "EAN:", "UPCA:", "ITF:", "CBR:", none for Code 128).
// Byte 0: bits 0-2 put a prefix in front of the text (0 and 7: the text as it is, 1.."C39:" ...
// 6 "CBR:"), bit 3 the human-readable line, bit 4 a tiny box. Byte 1: the QR encoder's settings
// (bits 0-2 encoding, bits 3-4 error level, bits 5-7 quiet zone). The rest is the text. Drawing
// goes to a canvas that only counts and checks.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"
#include "symbols/barcode.h"
#include "symbols/qr_code.h"

using namespace quillet;

namespace {

void Check(bool Condition, const char* What) {
  if (!Condition) {
    std::fprintf(stderr, "symbols check failed: %s\n", What);
    std::abort();
  }
}

// Counts what is drawn and checks that every mark is finite and inside Box.
class TCountingCanvas : public IRptCanvas {
 public:
  explicit TCountingCanvas(const TRectF& Box) : FBox(Box) {}
  size_t Marks = 0;

  void BeginPage(float, float) override {}
  void EndPage() override {}
  void FillRect(const TRectF& R, TAlphaColor) override { Inside(R); }
  void StrokeRect(const TRectF& R, TAlphaColor, float) override { Inside(R); }
  void DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor, float) override {
    Inside(TRectF{std::fmin(P1.X, P2.X), std::fmin(P1.Y, P2.Y), std::fmax(P1.X, P2.X), std::fmax(P1.Y, P2.Y)});
  }
  void DrawRoundRect(const TRectF& R, float, float, TAlphaColor, TAlphaColor, float) override { Inside(R); }
  void DrawEllipse(const TRectF& R, TAlphaColor, TAlphaColor, float) override { Inside(R); }
  void FillPath(const std::vector<TPointF>& Pts, TAlphaColor) override {
    for (const TPointF& p : Pts) Inside(TRectF{p.X, p.Y, p.X, p.Y});
  }
  void DrawText(const std::string&, const TRectF& R, const TRptFont& F, TRptHorzAlign, TRptVertAlign, bool,
                TAlphaColor) override {
    Check(std::isfinite(F.Size) && F.Size >= 0, "text of an odd size");
    Inside(R);
  }
  TSizeF MeasureText(const std::string& S, const TRptFont& F) override {
    return TSizeF{0.5f * F.Size * float(S.size()), F.Size};
  }
  float MeasureWrappedHeight(const std::string&, float, const TRptFont& F) override { return F.Size; }
  void DrawImage(const TRectF& R, const TRptBitmap&, TRptImageScale) override { Inside(R); }

 private:
  void Inside(const TRectF& R) {
    ++Marks;
    Check(std::isfinite(R.Left) && std::isfinite(R.Top) && std::isfinite(R.Right) && std::isfinite(R.Bottom),
          "a mark that is not finite");
    const float slack = 0.001f * (FBox.Width() + FBox.Height()) + 0.001f;
    Check(R.Left >= FBox.Left - slack && R.Right <= FBox.Right + slack && R.Top >= FBox.Top - slack &&
              R.Bottom <= FBox.Bottom + slack,
          "a mark outside the element's box");
  }
  TRectF FBox;
};

constexpr std::array<const char*, 8> kPrefixes = {"", "C39:", "EAN8:", "EAN:", "UPCA:", "ITF:", "CBR:", ""};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  if (Size < 2) return 0;
  const uint8_t barMode = Data[0];
  const uint8_t qrMode = Data[1];
  const std::string typed(reinterpret_cast<const char*>(Data + 2), Size - 2);
  const std::string text = kPrefixes[barMode & 7] + typed;
  const TRectF box = (barMode & 16) ? TRectF{1, 2, 4, 4} : TRectF{10, 20, 210, 80};

  std::vector<int32_t> runs;
  bool firstIsBar = false;
  const bool encodes = BarcodeRuns(text, runs, firstIsBar);
  Check(encodes == !runs.empty(), "BarcodeRuns answer and runs disagree");
  for (int32_t w : runs) Check(w >= 1 && w <= 4, "a bar or space of an odd width");
  (void)BarcodeHumanText(text);
  {
    TCountingCanvas canvas(box);
    DrawBarcode(canvas, text, box, 0xFF000000, (barMode & 32) ? 0xFFFFFFFF : 0, barMode & 8);
  }

  {
    TCountingCanvas canvas(box);
    DrawQRCode(canvas, text, box, 0xFF000000, 0xFFFFFFFF);
  }
  try {
    const TQRMatrix m = GenerateQRCode(typed);
    Check(m.Size >= 21 && m.Size <= 177 && (m.Size - 17) % 4 == 0, "a QR matrix of an odd size");
    Check(m.Modules.size() == size_t(m.Size) * size_t(m.Size), "QR modules do not fit the size");
    Check(QRDataCapacityBits(m.Version()) >= 0, "negative capacity");
    (void)QRMaskPenalty(m);
  } catch (const EQRCodeError&) {
  }
  TQRCodeEncoder encoder;
  try {
    encoder.SetQuietZone((qrMode >> 5) * 3);
    encoder.SetErrorLevels(static_cast<TQRErrorLevels>((qrMode >> 3) & 3));
    encoder.SetEncoding(static_cast<TQRCodeEncoding>((qrMode & 7) % 7));
    encoder.SetData(typed);
  } catch (...) {
    // The encoder object passes on what the encoder throws; the symbol is then empty.
  }
  Check(encoder.Rows() == encoder.Columns() && encoder.Rows() >= 0, "QR rows and columns differ");
  for (int32_t r = -1; r <= encoder.Rows(); r += 5)
    for (int32_t c = -1; c <= encoder.Columns(); c += 3) (void)encoder.GetIsBlack(r, c);
  return 0;
}
