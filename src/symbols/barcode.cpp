#include "symbols/barcode.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/utf8.h"

namespace quillet {
namespace {

// ---- Symbology tables: the only copy, used by the run encoders and the drawing path alike. ----

// Code 128 element widths (bar, space, bar, space, bar, space) of symbol values 0..105; the stop
// pattern (106) has a seventh element, the final bar.
constexpr std::array<std::array<uint8_t, 6>, 106> kCode128Widths = {{
    {2, 1, 2, 2, 2, 2}, {2, 2, 2, 1, 2, 2}, {2, 2, 2, 2, 2, 1}, {1, 2, 1, 2, 2, 3}, {1, 2, 1, 3, 2, 2},
    {1, 3, 1, 2, 2, 2}, {1, 2, 2, 2, 1, 3}, {1, 2, 2, 3, 1, 2}, {1, 3, 2, 2, 1, 2}, {2, 2, 1, 2, 1, 3},
    {2, 2, 1, 3, 1, 2}, {2, 3, 1, 2, 1, 2}, {1, 1, 2, 2, 3, 2}, {1, 2, 2, 1, 3, 2}, {1, 2, 2, 2, 3, 1},
    {1, 1, 3, 2, 2, 2}, {1, 2, 3, 1, 2, 2}, {1, 2, 3, 2, 2, 1}, {2, 2, 3, 2, 1, 1}, {2, 2, 1, 1, 3, 2},
    {2, 2, 1, 2, 3, 1}, {2, 1, 3, 2, 1, 2}, {2, 2, 3, 1, 1, 2}, {3, 1, 2, 1, 3, 1}, {3, 1, 1, 2, 2, 2},
    {3, 2, 1, 1, 2, 2}, {3, 2, 1, 2, 2, 1}, {3, 1, 2, 2, 1, 2}, {3, 2, 2, 1, 1, 2}, {3, 2, 2, 2, 1, 1},
    {2, 1, 2, 1, 2, 3}, {2, 1, 2, 3, 2, 1}, {2, 3, 2, 1, 2, 1}, {1, 1, 1, 3, 2, 3}, {1, 3, 1, 1, 2, 3},
    {1, 3, 1, 3, 2, 1}, {1, 1, 2, 3, 1, 3}, {1, 3, 2, 1, 1, 3}, {1, 3, 2, 3, 1, 1}, {2, 1, 1, 3, 1, 3},
    {2, 3, 1, 1, 1, 3}, {2, 3, 1, 3, 1, 1}, {1, 1, 2, 1, 3, 3}, {1, 1, 2, 3, 3, 1}, {1, 3, 2, 1, 3, 1},
    {1, 1, 3, 1, 2, 3}, {1, 1, 3, 3, 2, 1}, {1, 3, 3, 1, 2, 1}, {3, 1, 3, 1, 2, 1}, {2, 1, 1, 3, 3, 1},
    {2, 3, 1, 1, 3, 1}, {2, 1, 3, 1, 1, 3}, {2, 1, 3, 3, 1, 1}, {2, 1, 3, 1, 3, 1}, {3, 1, 1, 1, 2, 3},
    {3, 1, 1, 3, 2, 1}, {3, 3, 1, 1, 2, 1}, {3, 1, 2, 1, 1, 3}, {3, 1, 2, 3, 1, 1}, {3, 3, 2, 1, 1, 1},
    {3, 1, 4, 1, 1, 1}, {2, 2, 1, 4, 1, 1}, {4, 3, 1, 1, 1, 1}, {1, 1, 1, 2, 2, 4}, {1, 1, 1, 4, 2, 2},
    {1, 2, 1, 1, 2, 4}, {1, 2, 1, 4, 2, 1}, {1, 4, 1, 1, 2, 2}, {1, 4, 1, 2, 2, 1}, {1, 1, 2, 2, 1, 4},
    {1, 1, 2, 4, 1, 2}, {1, 2, 2, 1, 1, 4}, {1, 2, 2, 4, 1, 1}, {1, 4, 2, 1, 1, 2}, {1, 4, 2, 2, 1, 1},
    {2, 4, 1, 2, 1, 1}, {2, 2, 1, 1, 1, 4}, {4, 1, 3, 1, 1, 1}, {2, 4, 1, 1, 1, 2}, {1, 3, 4, 1, 1, 1},
    {1, 1, 1, 2, 4, 2}, {1, 2, 1, 1, 4, 2}, {1, 2, 1, 2, 4, 1}, {1, 1, 4, 2, 1, 2}, {1, 2, 4, 1, 1, 2},
    {1, 2, 4, 2, 1, 1}, {4, 1, 1, 2, 1, 2}, {4, 2, 1, 1, 1, 2}, {4, 2, 1, 2, 1, 1}, {2, 1, 2, 1, 4, 1},
    {2, 1, 4, 1, 2, 1}, {4, 1, 2, 1, 2, 1}, {1, 1, 1, 1, 4, 3}, {1, 1, 1, 3, 4, 1}, {1, 3, 1, 1, 4, 1},
    {1, 1, 4, 1, 1, 3}, {1, 1, 4, 3, 1, 1}, {4, 1, 1, 1, 1, 3}, {4, 1, 1, 3, 1, 1}, {1, 1, 3, 1, 4, 1},
    {1, 1, 4, 1, 3, 1}, {3, 1, 1, 1, 4, 1}, {4, 1, 1, 1, 3, 1}, {2, 1, 1, 4, 1, 2}, {2, 1, 1, 2, 1, 4},
    {2, 1, 1, 2, 3, 2},
}};
constexpr std::array<uint8_t, 7> kCode128Stop = {2, 3, 3, 1, 1, 1, 2};
constexpr int32_t kCode128StartB = 104;
constexpr int32_t kCode128StopValue = 106;
constexpr int32_t kCode128Question = '?' - 32;

// Code 39: nine elements per character, bar first; the most significant of the nine bits is the
// first element, a set bit is a wide element. The position in the alphabet indexes the pattern.
constexpr std::string_view kCode39Alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%*";
constexpr std::array<uint16_t, 44> kCode39Patterns = {
    0x034, 0x121, 0x061, 0x160, 0x031, 0x130, 0x070, 0x025, 0x124, 0x064,  // 0-9
    0x109, 0x049, 0x148, 0x019, 0x118, 0x058, 0x00D, 0x10C, 0x04C, 0x01C,  // A-J
    0x103, 0x043, 0x142, 0x013, 0x112, 0x052, 0x007, 0x106, 0x046, 0x016,  // K-T
    0x181, 0x0C1, 0x1C0, 0x091, 0x190, 0x0D0, 0x085, 0x184, 0x0C4, 0x0A8,  // U-Z - . space $
    0x0A2, 0x08A, 0x02A, 0x094,                                            // / + % *
};
constexpr uint16_t kCode39Star = 0x094;  // 148

// EAN/UPC left-hand odd-parity (L) codes, seven modules each, most significant bit first. The
// right-hand (R) code is the complement of L, the even-parity (G) code is R mirrored.
constexpr std::array<uint8_t, 10> kEanL = {0x0D, 0x19, 0x13, 0x3D, 0x23, 0x31, 0x2F, 0x3B, 0x37, 0x0B};
// EAN-13 first digit: which of digits 1..6 use G (bit 5 = digit 1).
constexpr std::array<uint8_t, 10> kEan13Parity = {0x00, 0x0B, 0x0D, 0x0E, 0x13, 0x19, 0x1C, 0x15, 0x16, 0x1A};

// Interleaved 2 of 5: five elements per digit, first element in bit 4, set = wide.
constexpr std::array<uint8_t, 10> kItfPatterns = {0x06, 0x11, 0x09, 0x18, 0x05, 0x14, 0x0C, 0x03, 0x12, 0x0A};

// Codabar: seven elements per character (bar first), first element in bit 6, set = wide.
constexpr std::string_view kCodabarAlphabet = "0123456789-$:/.+ABCD";
constexpr std::array<uint8_t, 20> kCodabarPatterns = {
    0x03, 0x06, 0x09, 0x60, 0x12, 0x42, 0x21, 0x24, 0x30, 0x48,  // 0-9
    0x0C, 0x18, 0x45, 0x51, 0x54, 0x15, 0x1A, 0x29, 0x0B, 0x0E,  // - $ : / . + A B C D
};
constexpr size_t kCodabarDataChars = 16;  // the letters A..D frame the symbol, never carry data

constexpr int32_t kNarrow = 1;
constexpr int32_t kWide = 3;
constexpr int32_t kEan13Modules = 95;
constexpr int32_t kEan8Modules = 67;

// ---- Prefix dispatch ----

enum class TSymbology { Code128, Code39, EAN8, EAN13, UPCA, ITF, Codabar };

struct TPrefix {
  std::string_view Text;
  TSymbology Symbology;
};
// Tested in this order, so "EAN8:" is never taken for "EAN:".
constexpr std::array<TPrefix, 6> kPrefixes = {{{"C39:", TSymbology::Code39},
                                               {"EAN8:", TSymbology::EAN8},
                                               {"EAN:", TSymbology::EAN13},
                                               {"UPCA:", TSymbology::UPCA},
                                               {"ITF:", TSymbology::ITF},
                                               {"CBR:", TSymbology::Codabar}}};

struct TParsed {
  TSymbology Symbology = TSymbology::Code128;
  std::string Typed;  // the text after the prefix, as shown to the reader
};

TParsed ParsePrefix(const std::string& Text) {
  for (const auto& P : kPrefixes)
    if (std::string_view(Text).starts_with(P.Text)) return {P.Symbology, Text.substr(P.Text.size())};
  return {TSymbology::Code128, Text};
}

// What the symbology encodes: UPC-A is an EAN-13 whose first digit is 0.
std::string EncodedPayload(const TParsed& P) {
  return P.Symbology == TSymbology::UPCA ? "0" + P.Typed : P.Typed;
}

// ---- Run encoders ----

void AppendPattern(std::vector<int32_t>& Runs, uint32_t Bits, int Count) {
  for (int k = Count - 1; k >= 0; --k) Runs.push_back((Bits >> k) & 1 ? kWide : kNarrow);
}

bool EncodeCode128(const std::string& Payload, std::vector<int32_t>& Runs) {
  std::vector<int32_t> Values;
  size_t Pos = 0;
  while (Pos < Payload.size()) {
    const char32_t C = DecodeUtf8At(Payload, Pos);
    // Characters outside the BMP are two UTF-16 units, and so two "?".
    const int Units = C > 0xFFFF ? 2 : 1;
    for (int u = 0; u < Units; ++u)
      Values.push_back(C >= 32 && C <= 127 ? static_cast<int32_t>(C) - 32 : kCode128Question);
  }
  if (Values.empty()) return false;
  int64_t Sum = kCode128StartB;
  for (size_t i = 0; i < Values.size(); ++i) Sum += int64_t(Values[i]) * int64_t(i + 1) % 103;
  const int32_t Check = static_cast<int32_t>(Sum % 103);
  auto Add = [&](int32_t V) { Runs.insert(Runs.end(), kCode128Widths[V].begin(), kCode128Widths[V].end()); };
  Add(kCode128StartB);
  for (int32_t V : Values) Add(V);
  Add(Check);
  static_assert(kCode128StopValue == kCode128Widths.size());
  Runs.insert(Runs.end(), kCode128Stop.begin(), kCode128Stop.end());
  return true;
}

bool EncodeCode39(const std::string& Payload, std::vector<int32_t>& Runs) {
  AppendPattern(Runs, kCode39Star, 9);
  for (char C : Utf8Upper(Payload)) {
    const size_t Idx = kCode39Alphabet.find(C);
    // "*" is the frame character and cannot be data.
    if (C == '*' || Idx == std::string_view::npos) continue;
    Runs.push_back(kNarrow);
    AppendPattern(Runs, kCode39Patterns[Idx], 9);
  }
  Runs.push_back(kNarrow);
  AppendPattern(Runs, kCode39Star, 9);
  return true;
}

std::vector<int> Digits(const std::string& Payload) {
  std::vector<int> D;
  for (char C : Payload)
    if (C >= '0' && C <= '9') D.push_back(C - '0');
  return D;
}

void AppendModules(std::vector<uint8_t>& M, uint32_t Bits, int Count) {
  for (int k = Count - 1; k >= 0; --k) M.push_back((Bits >> k) & 1);
}

void AppendEanDigit(std::vector<uint8_t>& M, int Digit, char Set) {
  const uint8_t L = kEanL[Digit];
  const uint8_t R = static_cast<uint8_t>(~L & 0x7F);
  if (Set == 'L') AppendModules(M, L, 7);
  else if (Set == 'R') AppendModules(M, R, 7);
  else  // G: R read backwards
    for (int k = 0; k < 7; ++k) M.push_back((R >> k) & 1);
}

void ModulesToRuns(const std::vector<uint8_t>& M, std::vector<int32_t>& Runs, bool& FirstIsBar) {
  FirstIsBar = M.empty() || M[0] == 1;
  for (size_t i = 0; i < M.size();) {
    size_t j = i;
    while (j < M.size() && M[j] == M[i]) ++j;
    Runs.push_back(static_cast<int32_t>(j - i));
    i = j;
  }
}

bool EncodeEAN13(const std::string& Payload, std::vector<int32_t>& Runs, bool& FirstIsBar) {
  std::vector<int> D = Digits(Payload);
  if (D.size() < 12) return false;
  if (D.size() == 12) {
    int Sum = 0;
    for (int i = 0; i < 12; ++i) Sum += D[i] * (i % 2 ? 3 : 1);
    D.push_back((10 - Sum % 10) % 10);
  }
  // A given 13th digit is drawn as it stands, right or wrong.
  D.resize(13);
  std::vector<uint8_t> M;
  AppendModules(M, 0b101, 3);
  const uint8_t Parity = kEan13Parity[D[0]];
  for (int i = 1; i <= 6; ++i) AppendEanDigit(M, D[i], (Parity >> (6 - i)) & 1 ? 'G' : 'L');
  AppendModules(M, 0b01010, 5);
  for (int i = 7; i <= 12; ++i) AppendEanDigit(M, D[i], 'R');
  AppendModules(M, 0b101, 3);
  ModulesToRuns(M, Runs, FirstIsBar);
  return true;
}

bool EncodeEAN8(const std::string& Payload, std::vector<int32_t>& Runs, bool& FirstIsBar) {
  std::vector<int> D = Digits(Payload);
  if (D.size() < 7) return false;
  if (D.size() == 7) D.push_back((10 - (3 * (D[0] + D[2] + D[4] + D[6]) + (D[1] + D[3] + D[5])) % 10) % 10);
  D.resize(8);
  std::vector<uint8_t> M;
  AppendModules(M, 0b101, 3);
  for (int i = 0; i < 4; ++i) AppendEanDigit(M, D[i], 'L');
  AppendModules(M, 0b01010, 5);
  for (int i = 4; i < 8; ++i) AppendEanDigit(M, D[i], 'R');
  AppendModules(M, 0b101, 3);
  ModulesToRuns(M, Runs, FirstIsBar);
  return true;
}

bool EncodeITF(const std::string& Payload, std::vector<int32_t>& Runs) {
  std::vector<int> D = Digits(Payload);
  if (D.empty()) return false;
  if (D.size() % 2) D.insert(D.begin(), 0);
  Runs.insert(Runs.end(), {kNarrow, kNarrow, kNarrow, kNarrow});
  for (size_t i = 0; i < D.size(); i += 2) {
    const uint8_t Bars = kItfPatterns[D[i]], Spaces = kItfPatterns[D[i + 1]];
    for (int k = 4; k >= 0; --k) {
      Runs.push_back((Bars >> k) & 1 ? kWide : kNarrow);
      Runs.push_back((Spaces >> k) & 1 ? kWide : kNarrow);
    }
  }
  Runs.insert(Runs.end(), {kWide, kNarrow, kNarrow});
  return true;
}

bool EncodeCodabar(const std::string& Payload, std::vector<int32_t>& Runs) {
  AppendPattern(Runs, kCodabarPatterns[kCodabarAlphabet.find('A')], 7);
  for (char C : Utf8Upper(Payload)) {
    const size_t Idx = kCodabarAlphabet.find(C);
    if (Idx >= kCodabarDataChars) continue;  // also npos
    Runs.push_back(kNarrow);
    AppendPattern(Runs, kCodabarPatterns[Idx], 7);
  }
  Runs.push_back(kNarrow);
  AppendPattern(Runs, kCodabarPatterns[kCodabarAlphabet.find('D')], 7);
  return true;
}

bool Encode(TSymbology S, const std::string& Payload, std::vector<int32_t>& Runs, bool& FirstIsBar) {
  Runs.clear();
  FirstIsBar = true;
  switch (S) {
    case TSymbology::Code128: return EncodeCode128(Payload, Runs);
    case TSymbology::Code39: return EncodeCode39(Payload, Runs);
    case TSymbology::EAN8: return EncodeEAN8(Payload, Runs, FirstIsBar);
    case TSymbology::EAN13:
    case TSymbology::UPCA: return EncodeEAN13(Payload, Runs, FirstIsBar);
    case TSymbology::ITF: return EncodeITF(Payload, Runs);
    case TSymbology::Codabar: return EncodeCodabar(Payload, Runs);
  }
  return false;
}

// ---- Drawing ----

void FillBackground(IRptCanvas& Canvas, const TRectF& R, TAlphaColor Back) {
  if (!IsTranspColor(Back)) Canvas.FillRect(R, Back);
}

// Spreads the runs over the whole width of R: TotalModules modules, each R.Width() / TotalModules.
void DrawRuns(IRptCanvas& Canvas, const std::vector<int32_t>& Runs, bool FirstIsBar, int64_t TotalModules,
              const TRectF& R, TAlphaColor Fore) {
  if (TotalModules <= 0) return;
  const float Module = R.Width() / static_cast<float>(TotalModules);
  float X = R.Left;
  bool Bar = FirstIsBar;
  for (int32_t Run : Runs) {
    const float W = static_cast<float>(Run) * Module;
    if (Bar && Run > 0) Canvas.FillRect(TRectF{X, R.Top, X + W, R.Bottom}, Fore);
    X += W;
    Bar = !Bar;
  }
}

int64_t SumOf(const std::vector<int32_t>& Runs) {
  int64_t Sum = 0;
  for (int32_t Run : Runs) Sum += Run;
  return Sum;
}

void DrawSymbology(IRptCanvas& Canvas, TSymbology S, const std::string& Payload, const TRectF& R,
                   TAlphaColor Fore, TAlphaColor Back) {
  FillBackground(Canvas, R, Back);
  std::vector<int32_t> Runs;
  bool FirstIsBar = true;
  if (!Encode(S, Payload, Runs, FirstIsBar)) return;
  int64_t Total = SumOf(Runs);
  if (S == TSymbology::EAN13 || S == TSymbology::UPCA) Total = kEan13Modules;
  else if (S == TSymbology::EAN8) Total = kEan8Modules;
  DrawRuns(Canvas, Runs, FirstIsBar, Total, R, Fore);
}

}  // namespace

bool BarcodeRuns(const std::string& Text, std::vector<int32_t>& Runs, bool& FirstIsBar) {
  const TParsed P = ParsePrefix(Text);
  return Encode(P.Symbology, EncodedPayload(P), Runs, FirstIsBar);
}

std::string BarcodeHumanText(const std::string& Text) { return ParsePrefix(Text).Typed; }

void DrawBarcode(IRptCanvas& Canvas, const std::string& Text, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back, bool ShowText) {
  TRectF Bars = R;
  std::string Human;
  if (ShowText) {
    Human = BarcodeHumanText(Text);
    if (!Human.empty()) {
      float H = 0.18f * R.Height();
      if (H > 14) H = 14;
      // Small symbols keep a readable strip but never give it more than half their height.
      if (H < 7) H = std::min(0.5f * R.Height(), 7.0f);
      Bars.Bottom = R.Bottom - H;
    }
  }
  FillBackground(Canvas, R, Back);
  const TParsed P = ParsePrefix(Text);
  // Background 0: the whole rectangle was filled once above, strip included.
  DrawSymbology(Canvas, P.Symbology, EncodedPayload(P), Bars, Fore, 0);
  if (!Human.empty() && R.Bottom > Bars.Bottom) {
    const TRptFont Font = RptFont("Arial", 0.8f * (R.Bottom - Bars.Bottom), false, false);
    Canvas.DrawText(Human, TRectF{R.Left, Bars.Bottom, R.Right, R.Bottom}, Font, rhaCenter, rvaCenter, false,
                    Fore);
  }
}

void DrawCode128(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::Code128, Payload, R, Fore, Back);
}
void DrawCode39(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::Code39, Payload, R, Fore, Back);
}
void DrawEAN13(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
               TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::EAN13, Payload, R, Fore, Back);
}
void DrawEAN8(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
              TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::EAN8, Payload, R, Fore, Back);
}
void DrawITF(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
             TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::ITF, Payload, R, Fore, Back);
}
void DrawCodabar(IRptCanvas& Canvas, const std::string& Payload, const TRectF& R, TAlphaColor Fore,
                 TAlphaColor Back) {
  DrawSymbology(Canvas, TSymbology::Codabar, Payload, R, Fore, Back);
}

}  // namespace quillet
