// Memo texts may carry a small subset of RTF: bold, italic, font, size, colour and line breaks.
// The reader flattens such a text into runs, each a stretch of text in one font and colour, which
// the memo measures, wraps and draws run by run. Anything else is plain text and gives one run.
#pragma once

#include <string>
#include <vector>

#include "reportdef/report_model.h"

namespace quillet {

struct TRTFRun {
  std::string Text;  // UTF-8
  std::string FontName;
  float FontSize = 10;  // points, at least 1
  bool Bold = false;
  bool Italic = false;
  TAlphaColor Color = 0xFF000000;
  bool NewPara = false;  // the run starts a new line
  friend bool operator==(const TRTFRun&, const TRTFRun&) = default;
};

// Texts starting with "{\rtf" are read as rich text; any other text is one run in the defaults.
// In rich text each "\par" or "\line" ends a line and starts a new one. A line it ends without
// text is a run with empty text and NewPara set, whose size gives the line its height; the new
// line a "\par" at the very end would start is left out. Bold and italic always start off.
// Reports no errors: malformed groups, unknown control words and bad escapes are ignored. Time
// and memory stay linear in the length of Text, whatever it holds, so texts from report data are
// safe to pass.
std::vector<TRTFRun> ParseRichText(const std::string& Text, const std::string& DefaultFontName,
                                   float DefaultFontSize, TAlphaColor DefaultColor);

}  // namespace quillet
