// Font files are untrusted: loading must end in a font or an EQuilletError; encoding text and
// subsetting a loaded font never fail. Never a crash, undefined behaviour, a hang or another exception.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "base/error.h"
#include "canvas/pdf_font.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  std::unique_ptr<TPDFFont> font;
  try {
    font = TPDFFont::LoadFromBytes(std::vector<uint8_t>(Data, Data + Size), "Fuzz Font", false, false);
  } catch (const EQuilletError&) {
    return 0;
  } catch (...) {
    std::abort();
  }
  try {
    double advance = 0;
    // Latin, Turkish, German, Greek, Cyrillic, a CJK ideograph, an emoji and a broken byte.
    (void)font->EncodeText("Az09 \xC5\x9E\xC4\x9F\xC4\xB0\xC4\xB1 \xC3\x84\xC3\x9F \xCE\xA9\xCE\xBB \xD0\x96\xD1\x8F"
                           " \xE4\xB8\x80\xF0\x9F\x98\x80\xFF",
                           advance);
    // Code points spread over the planes, so every cmap branch is reached.
    for (uint32_t cp = 0; cp < 0x30000; cp = cp * 3 + 7) (void)font->GidOf(cp);
    (void)font->AscentScaled();
    (void)font->GidWidth1000(65535);
    (void)font->SubsetTag();
    (void)font->BuildSubset();
  } catch (...) {
    std::abort();
  }
  return 0;
}
