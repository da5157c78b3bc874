// TrueType font files (see font_check.h for what is checked). A file that says it holds CFF
// outlines ("OTTO") is read as TrueType here, so every input reaches the TrueType paths: the glyf
// and loca reader, composites and the glyph subsetter. The CFF flavour has its own target.
#include <cstdint>
#include <cstring>
#include <vector>

#include "font_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  std::vector<uint8_t> bytes(Data, Data + Size);
  if (bytes.size() >= 4 && std::memcmp(bytes.data(), "OTTO", 4) == 0) {
    const uint8_t trueType[4] = {0, 1, 0, 0};
    std::memcpy(bytes.data(), trueType, 4);
  }
  quillet_fuzz::ExerciseFont(std::move(bytes));
  return 0;
}
