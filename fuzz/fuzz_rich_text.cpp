// Memo texts come from report files and data fields: the rich-text reader must turn any text into
// runs without crashing, hanging or producing runs the memo cannot draw.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/utf8.h"
#include "engine/rich_text.h"

using namespace quillet;

namespace {

// Well-formed UTF-8: decoding gives U+FFFD only where the text really holds that 3-byte character.
bool IsValidUtf8(const std::string& Text) {
  for (size_t P = 0; P < Text.size();) {
    const size_t Start = P;
    if (DecodeUtf8At(Text, P) == 0xFFFD && P - Start != 3) return false;
  }
  return true;
}

void Check(bool Condition) {
  if (!Condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string Text(reinterpret_cast<const char*>(Data), Size);
  const std::string DefaultFont = "Default";
  const auto Runs = ParseRichText(Text, DefaultFont, 10, 0xFF123456);
  const bool Rich = Text.starts_with("{\\rtf");
  const bool ValidInput = IsValidUtf8(Text);
  if (!Rich) {
    Check(Runs.size() == 1 && Runs[0].Text == Text && Runs[0].FontName == DefaultFont && !Runs[0].Bold &&
          !Runs[0].Italic && !Runs[0].NewPara && Runs[0].Color == 0xFF123456);
  }
  size_t Total = 0;
  for (const auto& R : Runs) {
    Check(!R.Text.empty() || !Rich || R.NewPara);  // an empty run is an empty line
    Check(R.FontSize >= 1);
    Check(R.FontName == DefaultFont || (!R.FontName.empty() && R.FontName.size() <= 128));
    if (ValidInput) Check(IsValidUtf8(R.Text) && IsValidUtf8(R.FontName));
    Total += R.Text.size();
  }
  // Escapes only ever shrink: no input byte turns into more than one output byte. Every run of rich
  // text takes at least one byte of text or a control word (plain text is one run, even empty).
  Check(Total <= Size);
  Check(!Rich || Runs.size() <= Size);
  return 0;
}
