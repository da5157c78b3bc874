#include "engine/rich_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

#include "base/utf8.h"

namespace quillet {

namespace {

// Numbers after control words saturate here, so "\fs99999999999999999999" is a (huge) size and
// not an overflow. Every meaningful value (sizes, indexes, colour components) is far below it.
constexpr long long kMaxNumber = 1'000'000'000;

// Groups nested deeper than this keep the state of the deepest tracked group instead of pushing
// a new one: a formatting change inside them lasts until that tracked group closes. Real
// documents never come near this depth; the cap only bounds memory for hostile texts.
constexpr size_t kMaxGroupDepth = 4096;

// Font family names are short; a longer "name" is garbage and would otherwise be copied into
// every run that uses it.
constexpr size_t kMaxFontNameBytes = 128;

// Marks "no font selected yet": the memo's own font applies until the text picks one. Reachable
// by no control word, since numbers saturate at kMaxNumber.
constexpr long long kNoFont = std::numeric_limits<long long>::min();

bool IsLetter(char C) { return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z'); }
bool IsDigit(char C) { return C >= '0' && C <= '9'; }

int HexValue(char C) {
  if (C >= '0' && C <= '9') return C - '0';
  if (C >= 'a' && C <= 'f') return C - 'a' + 10;
  if (C >= 'A' && C <= 'F') return C - 'A' + 10;
  return -1;
}

struct TControlWord {
  std::string_view Name;
  bool HasNumber = false;
  long long Number = 0;
};

// Reads the control word whose backslash is at Text[Pos]: letters, an optional "-" and digits,
// and one optional space that only delimits the word. Pos ends after it, always beyond the
// backslash. The "-" belongs to the word even without digits after it: "\par-b" is "\par-" then "b".
TControlWord ReadControlWord(std::string_view Text, size_t& Pos) {
  TControlWord W;
  size_t P = Pos + 1;
  const size_t Start = P;
  while (P < Text.size() && IsLetter(Text[P])) ++P;
  W.Name = Text.substr(Start, P - Start);
  bool Negative = false;
  if (P < Text.size() && Text[P] == '-') {
    Negative = true;
    ++P;
  }
  if (P < Text.size() && IsDigit(Text[P])) {
    W.HasNumber = true;
    long long V = 0;
    for (; P < Text.size() && IsDigit(Text[P]); ++P)
      if (V < kMaxNumber) V = V * 10 + (Text[P] - '0');
    V = std::min(V, kMaxNumber);
    W.Number = Negative ? -V : V;
  }
  if (P < Text.size() && Text[P] == ' ') ++P;
  Pos = P;
  return W;
}

bool IsBlank(char C) { return static_cast<unsigned char>(C) <= ' '; }

std::string_view Trim(std::string_view S) {
  while (!S.empty() && IsBlank(S.front())) S.remove_prefix(1);
  while (!S.empty() && IsBlank(S.back())) S.remove_suffix(1);
  return S;
}

// Cuts S to at most Max bytes without splitting a UTF-8 sequence.
std::string_view CutUtf8(std::string_view S, size_t Max) {
  if (S.size() <= Max) return S;
  size_t N = Max;
  while (N > 0 && (static_cast<unsigned char>(S[N]) & 0xC0) == 0x80) --N;
  return S.substr(0, N);
}

using TFontTable = std::map<long long, std::string>;

void StoreFontName(TFontTable& Fonts, long long Number, std::string_view Collected) {
  std::string_view Name = Trim(Collected);
  if (!Name.empty() && Name.back() == ';') Name = Trim(Name.substr(0, Name.size() - 1));
  Name = CutUtf8(Name, kMaxFontNameBytes);
  // A group that names nothing (an inner group, or the table's own closing brace after the
  // last entry) must not wipe a name already stored for the number.
  if (!Name.empty()) Fonts[Number] = std::string(Name);
}

// Skips the group whose "{" is at Text[Pos]; Pos ends after its closing brace (or at the end).
void SkipGroup(std::string_view Text, size_t& Pos) {
  long long Depth = 0;
  for (; Pos < Text.size(); ++Pos) {
    const char C = Text[Pos];
    if (C == '\\') {
      ++Pos;  // an escaped brace does not count
    } else if (C == '{') {
      ++Depth;
    } else if (C == '}' && --Depth == 0) {
      ++Pos;
      return;
    }
  }
  Pos = Text.size();  // unclosed: the rest of the text belonged to it
}

// The font table maps "\fN" numbers to the names that follow them. Entries usually sit in their
// own groups ("{\f0\fswiss Arial;}"); the name of a group is stored when the group closes.
TFontTable ReadFontTable(std::string_view Text) {
  TFontTable Fonts;
  const size_t At = Text.find("\\fonttbl");
  if (At == std::string_view::npos) return Fonts;
  size_t P = At + 8;
  long long Depth = 1;
  bool HasFont = false;
  long long Font = 0;
  std::string Name;
  while (P < Text.size()) {
    const char C = Text[P];
    if (C == '{') {
      // Optional "{\*...}" parts (alternative names, panose numbers) are not part of the name.
      if (Text.substr(P + 1, 2) == "\\*") {
        SkipGroup(Text, P);
        continue;
      }
      ++Depth;
      ++P;
    } else if (C == '}') {
      ++P;
      if (HasFont) StoreFontName(Fonts, Font, Name);
      Name.clear();
      if (--Depth < 1) break;
    } else if (C == '\\') {
      const TControlWord W = ReadControlWord(Text, P);
      if (W.Name == "f" && W.HasNumber) {
        HasFont = true;
        Font = W.Number;
      }
    } else {
      Name.push_back(C);
      ++P;
    }
  }
  return Fonts;
}

// The colour table is a list of "\redR\greenG\blueB;" entries. Entry 0 is always the default
// colour, whatever it says: documents customarily start the table with an empty entry for it.
std::vector<TAlphaColor> ReadColorTable(std::string_view Text, TAlphaColor DefaultColor) {
  std::vector<TAlphaColor> Colors;
  const size_t At = Text.find("\\colortbl");
  if (At == std::string_view::npos) return Colors;
  size_t P = At + 9;
  long long Depth = 1;
  // Components left out of an entry are 0, as in "\red255;" for pure red: each entry starts
  // afresh rather than inheriting the previous entry's components.
  uint32_t Rgb[3] = {0, 0, 0};
  bool Given = false;
  while (P < Text.size()) {
    const char C = Text[P];
    if (C == '\\') {
      const TControlWord W = ReadControlWord(Text, P);
      const int Which = W.Name == "red" ? 0 : W.Name == "green" ? 1 : W.Name == "blue" ? 2 : -1;
      if (Which >= 0 && W.HasNumber) {
        Rgb[Which] = static_cast<uint32_t>(std::clamp(W.Number, 0LL, 255LL));
        Given = true;
      }
      continue;
    }
    ++P;
    if (C == '{') {
      ++Depth;
    } else if (C == '}') {
      if (--Depth < 1) break;
    } else if (C == ';') {
      Colors.push_back(Given ? (0xFF000000u | Rgb[0] << 16 | Rgb[1] << 8 | Rgb[2]) : DefaultColor);
      Rgb[0] = Rgb[1] = Rgb[2] = 0;
      Given = false;
    }
  }
  return Colors;  // entry 0 is never looked up: index 0 always means the default
}

// Destinations whose contents are never text of the document.
bool IsSkippedDestination(std::string_view Word) {
  static constexpr std::array<std::string_view, 8> kSkipped = {
      "fonttbl", "colortbl", "stylesheet", "info", "pict", "filetbl", "listtable", "listoverridetable"};
  return std::find(kSkipped.begin(), kSkipped.end(), Word) != kSkipped.end();
}

struct TFormatState {
  long long Font = kNoFont;
  float Size = 10;
  bool Bold = false;
  bool Italic = false;
  long long ColorIndex = 0;
  bool Skipping = false;  // inside a group whose contents produce no text
};

class TRichTextReader {
 public:
  TRichTextReader(std::string_view Text, const std::string& DefaultFontName, float DefaultFontSize,
                  TAlphaColor DefaultColor)
      : FText(Text),
        FDefaultFontName(DefaultFontName),
        FDefaultColor(DefaultColor),
        FFonts(ReadFontTable(Text)),
        FColors(ReadColorTable(Text, DefaultColor)) {
    FState.Size = DefaultFontSize;
  }

  std::vector<TRTFRun> Read() {
    size_t P = 0;
    const size_t N = FText.size();
    while (P < N) {
      const char C = FText[P];
      if (C == '\\') {
        ReadBackslash(P);
      } else if (C == '{') {
        OpenGroup(P + 1);
        ++P;
      } else if (C == '}') {
        CloseGroup();
        ++P;
      } else {
        // Line breaks in the source are only formatting of the source; "\par" and "\line"
        // make the lines of the text.
        if (C != '\r' && C != '\n') AddText(C);
        ++P;
      }
    }
    CloseRun();
    return std::move(FRuns);
  }

 private:
  void AddText(char C) {
    if (!FState.Skipping) FBuffer.push_back(C);
  }

  void ReadBackslash(size_t& P) {
    const size_t N = FText.size();
    if (P + 1 >= N) {  // a lone backslash at the very end
      ++P;
      return;
    }
    const char D = FText[P + 1];
    if (D == '\\' || D == '{' || D == '}') {
      AddText(D);
      P += 2;
    } else if (D == '~') {
      AddText(' ');
      P += 2;
    } else if (D == '\'') {
      // "\'hh" is the character with that code, taken as a code point as it stands. A broken
      // escape drops only its "\'": what follows is read as usual, so a brace or backslash
      // right after it keeps its meaning.
      const int Hi = P + 2 < N ? HexValue(FText[P + 2]) : -1;
      const int Lo = P + 3 < N ? HexValue(FText[P + 3]) : -1;
      if (Hi >= 0 && Lo >= 0) {
        if (!FState.Skipping) AppendUtf8(FBuffer, static_cast<char32_t>(Hi * 16 + Lo));
        P += 4;
      } else {
        P += 2;
      }
    } else if (IsLetter(D)) {
      const TControlWord W = ReadControlWord(FText, P);
      if (!FState.Skipping) Apply(W);
    } else if (static_cast<unsigned char>(D) < 0x80) {
      // Other control symbols ("\-" optional hyphen, "\*", "\_" ...) are not text.
      P += 2;
    } else {
      // A backslash before a multibyte character: drop the backslash only, so the character
      // stays whole.
      ++P;
    }
  }

  void Apply(const TControlWord& W) {
    if (W.Name == "b" || W.Name == "i") {
      CloseRun();
      const bool On = !(W.HasNumber && W.Number == 0);
      (W.Name == "b" ? FState.Bold : FState.Italic) = On;
    } else if (W.Name == "fs") {
      CloseRun();
      if (W.HasNumber) FState.Size = static_cast<float>(W.Number) / 2;  // half-points
    } else if (W.Name == "f") {
      CloseRun();
      if (W.HasNumber) FState.Font = W.Number;
    } else if (W.Name == "cf") {
      CloseRun();
      if (W.HasNumber) FState.ColorIndex = W.Number;
    } else if (W.Name == "par" || W.Name == "line") {
      // A line that ends without text (at the second of two "\par" in a row, or at one before any
      // text) is still a line: an empty run, carrying the size in force for its height. The flag
      // of a "\par" that no text follows is dropped at the end, so a "\par" there adds nothing.
      const bool EmptyLine = FBuffer.empty() && (FNewPara || FRuns.empty());
      if (EmptyLine) FNewPara = true;
      CloseRun(EmptyLine);
      FNewPara = true;
    }
  }

  // GroupStart is the position just after the "{".
  void OpenGroup(size_t GroupStart) {
    if (FStack.size() >= kMaxGroupDepth) {
      ++FUntrackedGroups;
      return;
    }
    FStack.push_back(FState);
    if (FState.Skipping) return;
    const std::string_view Rest = FText.substr(GroupStart);
    if (Rest.starts_with("\\*")) {
      FState.Skipping = true;
    } else if (Rest.size() > 1 && Rest[0] == '\\' && IsLetter(Rest[1])) {
      size_t P = 0;
      FState.Skipping = IsSkippedDestination(ReadControlWord(Rest, P).Name);
    }
  }

  void CloseGroup() {
    if (!FState.Skipping) CloseRun();
    if (FUntrackedGroups > 0) {
      --FUntrackedGroups;
      return;
    }
    // A closing brace with nothing open keeps the current state.
    if (!FStack.empty()) {
      FState = FStack.back();
      FStack.pop_back();
    }
  }

  // Runs are made from text, so formatting changes between runs never leave empty runs; the one
  // empty run is an empty line (EmptyLine), which "\par" and "\line" ask for.
  void CloseRun(bool EmptyLine = false) {
    if (FBuffer.empty() && !EmptyLine) return;
    TRTFRun R;
    R.Text = std::move(FBuffer);
    const auto Font = FFonts.find(FState.Font);
    R.FontName = Font != FFonts.end() ? Font->second : FDefaultFontName;
    R.FontSize = std::max(1.0f, FState.Size);  // also turns a NaN default into 1
    R.Bold = FState.Bold;
    R.Italic = FState.Italic;
    R.Color = FState.ColorIndex >= 1 && FState.ColorIndex < static_cast<long long>(FColors.size())
                  ? FColors[static_cast<size_t>(FState.ColorIndex)]
                  : FDefaultColor;
    R.NewPara = FNewPara;
    FRuns.push_back(std::move(R));
    FBuffer.clear();
    FNewPara = false;
  }

  std::string_view FText;
  const std::string& FDefaultFontName;
  TAlphaColor FDefaultColor;
  TFontTable FFonts;
  std::vector<TAlphaColor> FColors;
  TFormatState FState;
  std::vector<TFormatState> FStack;
  size_t FUntrackedGroups = 0;
  std::string FBuffer;
  bool FNewPara = false;
  std::vector<TRTFRun> FRuns;
};

}  // namespace

std::vector<TRTFRun> ParseRichText(const std::string& Text, const std::string& DefaultFontName,
                                   float DefaultFontSize, TAlphaColor DefaultColor) {
  if (!Text.starts_with("{\\rtf")) {
    // Even an empty text is one (empty) run: the memo still gets its font for the line height.
    // The size keeps the at-least-1 promise of every run.
    TRTFRun R;
    R.Text = Text;
    R.FontName = DefaultFontName;
    R.FontSize = std::max(1.0f, DefaultFontSize);
    R.Color = DefaultColor;
    return {std::move(R)};
  }
  return TRichTextReader(Text, DefaultFontName, DefaultFontSize, DefaultColor).Read();
}

}  // namespace quillet
