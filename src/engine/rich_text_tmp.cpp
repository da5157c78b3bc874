// Interim plain-text reader so the engine links while the rich-text reader is finished; removed
// when it lands.
#include "engine/rich_text.h"

namespace quillet {

std::vector<TRTFRun> ParseRichText(const std::string& Text, const std::string& DefaultFontName, float DefaultFontSize,
                                   TAlphaColor DefaultColor) {
  if (Text.empty()) return {};
  TRTFRun r;
  r.Text = Text;
  r.FontName = DefaultFontName;
  r.FontSize = DefaultFontSize < 1 ? 1 : DefaultFontSize;
  r.Color = DefaultColor;
  return {r};
}

}  // namespace quillet
