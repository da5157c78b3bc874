// Draws a ledger-like document straight onto the PDF canvas: PAGES A4 pages (default 1000), each
// with 55 lines of six 9 pt text cells (Latin text with some non-ASCII letters, numbers right-
// aligned) and one thin rectangle per line. Prints pages per second, output size and peak memory.
//   pdf_canvas_bench [PAGES] [OUT.pdf]
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/number_format.h"
#include "canvas/pdf_canvas.h"

using namespace quillet;

int main(int argc, char** argv) {
  const int pages = argc > 1 ? std::atoi(argv[1]) : 1000;
  const std::string out = argc > 2 ? argv[2] : "pdf_canvas_bench.pdf";
  const char* names[] = {"Müller GmbH", "Şahin Ltd. Şti.", "Ærøskøbing A/S", "Çelik Yapı", "Łódź Sp. z o.o.",
                         "Garçon & Fils", "Öztürk Gıda", "Straße 12 KG"};
  const char* items[] = {"Invoice", "Credit note", "Payment", "Ausgleich", "İade", "Écriture"};
  const TRptFont font = RptFont("DejaVu Sans", 9, false, false);
  const float colX[] = {40, 90, 200, 330, 400, 470};
  const float colW[] = {50, 110, 130, 70, 70, 85};

  const auto start = std::chrono::steady_clock::now();
  {
    TPdfRptCanvas canvas(out);
    unsigned row = 0;
    double balance = 0;
    for (int p = 0; p < pages; ++p) {
      canvas.BeginPage(595, 842);
      for (int line = 0; line < 55; ++line, ++row) {
        const float y = 40 + line * 14.0f;
        canvas.StrokeRect(TRectF{40, y, 555, y + 14}, 0xFFB0BEC5, 0.25f);
        const double amount = ((row * 7919u) % 100000u) / 100.0 - 300;
        balance += amount;
        const std::string cells[6] = {std::to_string(row + 1),
                                      "2026-" + std::to_string(1 + row % 12) + "-" + std::to_string(1 + row % 28),
                                      names[row % 8],
                                      items[row % 6],
                                      FormatDecimals(amount, 2),
                                      FormatDecimals(balance, 2)};
        for (int c = 0; c < 6; ++c) {
          canvas.DrawText(cells[c], TRectF{colX[c], y, colX[c] + colW[c], y + 14}, font, c >= 4 ? rhaRight : rhaLeft,
                          rvaCenter, false, 0xFF000000);
        }
      }
      canvas.EndPage();
    }
    canvas.SaveToFile();
  }
  const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  std::printf("pages %d, %.3f s, %.0f pages/s, %.2f MB, peak memory %.1f MiB\n", pages, secs, pages / secs,
              std::filesystem::file_size(out) / 1e6, ru.ru_maxrss / 1024.0);
  return 0;
}
