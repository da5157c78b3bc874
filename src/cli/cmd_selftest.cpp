// quillet selftest DIR: writes the developer demonstration PDFs, one per drawing area.
#include <cstdio>
#include <filesystem>
#include <string>

#include "base/error.h"
#include "canvas/font_manager.h"
#include "canvas/pdf_canvas.h"
#include "cli/cli.h"
#include "symbols/elements_selftest.h"

namespace quillet::cli {

int RunSelfTest(const TArgs& Args) {
  if (Args.size() != 1) throw EUsageError("selftest takes one output folder");
  if (!Args[0].empty() && Args[0][0] == '-') throw EUsageError("unknown option \"" + Args[0] + "\"");
  const std::filesystem::path dir(Args[0]);
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw EQuilletError("Cannot create folder \"" + dir.string() + "\": " + ec.message(), dir.string());

  const auto made = [](const std::string& File) { std::fprintf(stderr, "wrote %s\n", File.c_str()); };
  const std::string vector = (dir / "vector.pdf").string();
  PDFVectorSelfTest(vector);
  made(vector);
  const std::string text = (dir / "text.pdf").string();
  PDFCanvasTextSelfTest(text);
  made(text);
  const std::string fontFile = ResolveFontFile("DejaVu Sans", false, false, {});
  if (fontFile.empty()) throw EQuilletError("No font file found for \"DejaVu Sans\"");
  const std::string font = (dir / "font.pdf").string();
  PDFFontSelfTest(fontFile, font);
  made(font);
  const std::string elements = (dir / "elements.pdf").string();
  PDFElementsSelfTest(elements);
  made(elements);
  return 0;
}

}  // namespace quillet::cli
