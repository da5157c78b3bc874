// Open the page in a viewer (or scan it) to see that every barcode reads, the table keeps its
// header and cell styles, and the image keeps its aspect ratio inside its box.
#include "symbols/elements_selftest.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "canvas/pdf_canvas.h"
#include "canvas/pdf_writer.h"
#include "symbols/barcode.h"
#include "symbols/qr_code.h"
#include "symbols/table_draw.h"

namespace quillet {
namespace {

TRectF Box(float L, float T, float W, float H) { return TRectF{L, T, L + W, T + H}; }

// A small gradient with a dark frame, made in code so the page needs no image file.
TRptBitmap GradientBitmap(int32_t W, int32_t H) {
  TRptBitmap B{W, H, std::vector<uint8_t>(static_cast<size_t>(W) * H * 4)};
  for (int32_t y = 0; y < H; ++y)
    for (int32_t x = 0; x < W; ++x) {
      uint8_t* P = &B.Pixels[(static_cast<size_t>(y) * W + x) * 4];
      const bool Frame = x < 2 || y < 2 || x >= W - 2 || y >= H - 2;
      P[0] = Frame ? 30 : static_cast<uint8_t>(255 * x / (W - 1));
      P[1] = Frame ? 30 : static_cast<uint8_t>(255 * y / (H - 1));
      P[2] = Frame ? 60 : 160;
      P[3] = 255;
    }
  return B;
}

}  // namespace

void PDFElementsSelfTest(const std::string& FileName) {
  TPdfRptCanvas C(FileName);
  C.Writer().SetInfoTitle("Quillet elements self-test");
  C.BeginPage(595, 842);
  const TRptFont Caption = RptFont("DejaVu Sans", 9, false, false);
  C.DrawText("Barcodes, a table, a fitted image and a QR code", Box(40, 30, 515, 20), RptFont("DejaVu Sans", 14, true, false),
             rhaLeft, rvaTop, false, 0xFF1F3B57);

  struct TSample {
    const char* Text;
    const char* Label;
  };
  const TSample Samples[kElementsSelfTestBarcodes] = {
      {"Quillet-2026", "Code 128 (no prefix)"},     {"C39:QUILLET 39", "Code 39"},
      {"EAN:590123412345", "EAN-13, check digit computed"}, {"UPCA:03600029145", "UPC-A"},
      {"EAN8:9638507", "EAN-8"},                    {"ITF:1234567890", "Interleaved 2 of 5"},
      {"CBR:31117013206375", "Codabar"},
  };
  for (int i = 0; i < kElementsSelfTestBarcodes; ++i) {
    std::vector<int32_t> Runs;
    bool FirstIsBar = true;
    BarcodeRuns(Samples[i].Text, Runs, FirstIsBar);
    // One unit per module where it fits: wide enough to scan from a modest rendering.
    const float Modules = static_cast<float>(std::accumulate(Runs.begin(), Runs.end(), 0));
    const float W = std::min(Modules * 1.2f, kElementsSelfTestMaxWidth);
    const float Top = kElementsSelfTestTop + i * kElementsSelfTestPitch;
    DrawBarcode(C, Samples[i].Text, Box(kElementsSelfTestLeft, Top, W, kElementsSelfTestBarHeight), 0xFF000000,
                0xFFFFFFFF, true);
    C.DrawText(Samples[i].Label, Box(340, Top, 215, 14), Caption, rhaLeft, rvaTop, false, 0xFF000000);
    C.DrawText(Samples[i].Text, Box(340, Top + 14, 215, 14), Caption, rhaLeft, rvaTop, false, 0xFF606060);
  }

  const float TableTop = kElementsSelfTestTop + kElementsSelfTestBarcodes * kElementsSelfTestPitch + 10;
  TRptTableStyle Style = DefaultTableStyle();
  Style.HeaderRow = true;
  Style.HeaderFill = 0xFFE0E0E0;
  Style.ColWidths = {3, 1, 1.5f};
  Style.CellStyles.resize(12);
  Style.CellStyles[5] = TCellStyle{true, true, false, 0xFFB71C1C, 0xFFFFEBEE, rhaRight};
  Style.CellStyles[11] = TCellStyle{true, true, true, 0xFF1B5E20, 0xFFE8F5E9, rhaRight};
  const std::vector<std::string> Cells = {"Item", "Qty", "Amount", "Paper, A4", "12", "-3.50",
                                          "Toner",     "2",   "118.00", "Total",    "",   "114.50"};
  DrawTable(C, Box(40, TableTop, 280, 80), 4, 3, 0xFF606060, 0xFFFFFFFF, 0.5f, Cells,
            RptFont("DejaVu Sans", 9, false, false), 0xFF000000, rhaLeft, rvaCenter, Style);
  C.DrawText("DrawTable: header row, weighted columns, styled cells", Box(40, TableTop + 84, 280, 14), Caption,
             rhaLeft, rvaTop, false, 0xFF000000);

  const TRectF ImageBox = Box(340, TableTop, 215, 80);
  C.StrokeRect(ImageBox, 0xFFB0B0B0, 0.5f);
  C.DrawImage(ImageBox, GradientBitmap(64, 40), risFit);
  C.DrawText("DrawImage, fitted into its box", Box(340, TableTop + 84, 215, 14), Caption, rhaLeft, rvaTop, false,
             0xFF000000);

  const TRectF QRBox = Box(kElementsSelfTestQRLeft, kElementsSelfTestQRTop, kElementsSelfTestQRSize,
                           kElementsSelfTestQRSize);
  DrawQRCode(C, kElementsSelfTestQRText, QRBox, 0xFF000000, 0xFFFFFFFF);
  C.DrawText("DrawQRCode, UTF-8 text at level L:", Box(130, kElementsSelfTestQRTop + 20, 425, 14), Caption, rhaLeft,
             rvaTop, false, 0xFF000000);
  C.DrawText(kElementsSelfTestQRText, Box(130, kElementsSelfTestQRTop + 36, 425, 14), Caption, rhaLeft, rvaTop, false,
             0xFF606060);
  C.EndPage();
  C.SaveToFile();
}

}  // namespace quillet
