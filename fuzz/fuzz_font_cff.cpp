// CFF-flavoured OpenType font files (see font_check.h for what is checked). Every input is read as
// "OTTO": its first four bytes are set so, and the reader looks for a "CFF " (or "CFF2") table
// where a TrueType font has glyf and loca.
#include <cstdint>
#include <cstring>
#include <vector>

#include "font_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  std::vector<uint8_t> bytes(Data, Data + Size);
  if (bytes.size() >= 4) std::memcpy(bytes.data(), "OTTO", 4);
  quillet_fuzz::ExerciseFont(std::move(bytes));
  return 0;
}
