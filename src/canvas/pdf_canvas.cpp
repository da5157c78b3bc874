#include "canvas/pdf_canvas.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/error.h"
#include "base/number_format.h"
#include "canvas/image_codecs.h"
#include "canvas/text_layout.h"

namespace quillet {

namespace {

// Bezier constants for quarter ellipses: K = 4(sqrt 2 - 1)/3 and its complement.
constexpr double kKappa = 0.5522847498307936;
constexpr double kKappaComplement = 0.4477152501692064;

// V as FmtF writes it, in thousandths of a point: relative moves are computed from these, so a
// run of them lands exactly where the absolute positions would.
int64_t Thousandths(double V) {
  std::string s;
  s.reserve(24);
  AppendPdfNumber(s, V);
  int64_t whole = 0, frac = 0;
  size_t i = s[0] == '-' ? 1 : 0;
  for (; i < s.size() && s[i] != '.'; ++i) whole = whole * 10 + (s[i] - '0');
  int digits = 0;
  if (i < s.size()) {
    for (++i; i < s.size(); ++i, ++digits) frac = frac * 10 + (s[i] - '0');
  }
  for (; digits < 3; ++digits) frac *= 10;
  const int64_t t = whole * 1000 + frac;
  return s[0] == '-' ? -t : t;
}

// Thousandths as "0.###" text.
void AppendThousandths(std::string& Out, int64_t T) {
  if (T < 0) {
    Out += '-';
    T = -T;
  }
  Out += std::to_string(T / 1000);
  int64_t frac = T % 1000;
  if (frac == 0) return;
  char d[4] = {static_cast<char>('0' + frac / 100), static_cast<char>('0' + frac / 10 % 10),
               static_cast<char>('0' + frac % 10), 0};
  int n = 3;
  while (d[n - 1] == '0') --n;
  Out += '.';
  Out.append(d, static_cast<size_t>(n));
}

// A number as a reader takes it: correctly rounded, and digit by digit as simple lexers do
// (integer part exact, then each decimal added as digit times a tenth that shrinks by tenths).
double ReadCorrectly(std::string_view S) {
  double v = 0;
  std::from_chars(S.data(), S.data() + S.size(), v);
  return v;
}
double ReadDigitByDigit(std::string_view S) {
  size_t i = 0;
  const bool neg = !S.empty() && S[0] == '-';
  if (neg) ++i;
  int64_t whole = 0;
  for (; i < S.size() && S[i] != '.'; ++i) whole = whole * 10 + (S[i] - '0');
  double v = static_cast<double>(whole);
  double scale = 0.1;
  if (i < S.size()) {
    for (++i; i < S.size(); ++i) {
      v = v + scale * (S[i] - '0');
      scale *= 0.1;
    }
  }
  return neg ? -v : v;
}

// True when a reader that adds the move Delta to the position Prev (in double arithmetic, as
// PDF readers move text lines) arrives exactly where reading Target itself would put it, with
// either way of reading numbers. Otherwise a relative move could shift a glyph across a
// renderer's sub-pixel boundary.
bool MoveIsExact(int64_t Prev, int64_t Delta, int64_t Target) {
  std::string p, d, t;
  AppendThousandths(p, Prev);
  AppendThousandths(d, Delta);
  AppendThousandths(t, Target);
  return ReadCorrectly(p) + ReadCorrectly(d) == ReadCorrectly(t) &&
         ReadDigitByDigit(p) + ReadDigitByDigit(d) == ReadDigitByDigit(t);
}

}  // namespace

TPdfRptCanvas::TPdfRptCanvas(const std::string& FileName)
    : FOwnedWriter(std::make_unique<TPDFVectorWriter>(FileName)), FWriter(FOwnedWriter.get()) {
  FFontMgr = std::make_unique<TPDFFontManager>(*FWriter);
  FContent.reserve(64 * 1024);
}

TPdfRptCanvas::TPdfRptCanvas(TPDFVectorWriter& Writer) : FWriter(&Writer) {
  FFontMgr = std::make_unique<TPDFFontManager>(*FWriter);
  FContent.reserve(64 * 1024);
}

TPdfRptCanvas::~TPdfRptCanvas() = default;

std::vector<std::string> TPdfRptCanvas::Warnings() const {
  std::vector<std::string> all = FFontMgr->Warnings();
  for (const std::string& w : FWarnings)
    if (all.size() < TPDFFontManager::kMaxWarnings) all.push_back(w);
  return all;
}

void TPdfRptCanvas::AddWarning(std::string Text) {
  // The same image drawn on every record would otherwise repeat its warning.
  if (FWarnings.size() < TPDFFontManager::kMaxWarnings &&
      std::find(FWarnings.begin(), FWarnings.end(), Text) == FWarnings.end())
    FWarnings.push_back(std::move(Text));
}

void TPdfRptCanvas::PrepareSave() {
  if (FInPage) EndPage();
  if (FFontsEmitted) return;
  FFontMgr->EmitAll();
  FFontsEmitted = true;
}

void TPdfRptCanvas::SaveToFile() {
  PrepareSave();
  FWriter->SaveToFile();
}

// ---- numbers, colours, paths -------------------------------------------------------------------

void TPdfRptCanvas::FmtF(double V) { AppendPdfNumber(FContent, V); }

void TPdfRptCanvas::EmitColor(uint32_t Rgb, const char* Op) {
  AppendDecimals(FContent, ((Rgb >> 16) & 0xFF) / 255.0, 3);
  FContent += ' ';
  AppendDecimals(FContent, ((Rgb >> 8) & 0xFF) / 255.0, 3);
  FContent += ' ';
  AppendDecimals(FContent, (Rgb & 0xFF) / 255.0, 3);
  FContent += Op;
}

// Alpha is not part of what is painted: any colour that is not transparent is opaque.
void TPdfRptCanvas::EmitFillColor(TAlphaColor C) {
  const uint32_t rgb = C & 0xFFFFFF;
  if (rgb == FState.FillRgb) return;
  EmitColor(rgb, " rg\n");
  FState.FillRgb = rgb;
}

void TPdfRptCanvas::EmitStrokeColor(TAlphaColor C) {
  const uint32_t rgb = C & 0xFFFFFF;
  if (rgb == FState.StrokeRgb) return;
  EmitColor(rgb, " RG\n");
  FState.StrokeRgb = rgb;
}

void TPdfRptCanvas::EmitWidth(float W) {
  const float w = std::max(0.1f, W);
  if (w == FState.Width) return;
  FmtF(w);
  FContent += " w\n";
  FState.Width = w;
}

void TPdfRptCanvas::EndText() {
  if (!FInText) return;
  FContent += "ET\n";
  FInText = false;
}

void TPdfRptCanvas::PushState() {
  EndText();
  FContent += "q\n";
  FSavedState = FState;
}

void TPdfRptCanvas::PopState() {
  EndText();
  FContent += "Q\n";
  FState = FSavedState;
}

void TPdfRptCanvas::EmitRect(const TRectF& R) {
  FmtF(R.Left);
  FContent += ' ';
  FmtF(FlipY(R.Bottom));
  FContent += ' ';
  FmtF(R.Right - R.Left);
  FContent += ' ';
  FmtF(R.Bottom - R.Top);
}

void TPdfRptCanvas::EmitPoint(double X, double Y) {
  FmtF(X);
  FContent += ' ';
  FmtF(Y);
}

void TPdfRptCanvas::EmitCurve(double X1, double Y1, double X2, double Y2, double X3, double Y3) {
  EmitPoint(X1, Y1);
  FContent += ' ';
  EmitPoint(X2, Y2);
  FContent += ' ';
  EmitPoint(X3, Y3);
  FContent += " c\n";
}

void TPdfRptCanvas::EmitEllipsePath(double X, double Y, double W, double H) {
  const double rx = W / 2, ry = H / 2;
  const double cx = X + rx, cy = FlipY(Y + ry);
  const double kx = kKappa * rx, ky = kKappa * ry;
  EmitPoint(cx + rx, cy);
  FContent += " m\n";
  EmitCurve(cx + rx, cy + ky, cx + kx, cy + ry, cx, cy + ry);
  EmitCurve(cx - kx, cy + ry, cx - rx, cy + ky, cx - rx, cy);
  EmitCurve(cx - rx, cy - ky, cx - kx, cy - ry, cx, cy - ry);
  EmitCurve(cx + kx, cy - ry, cx + rx, cy - ky, cx + rx, cy);
}

void TPdfRptCanvas::EmitRoundRectPath(double X, double Y, double W, double H, double Rx, double Ry) {
  const double rx = std::min(W / 2, Rx), ry = std::min(H / 2, Ry);
  const double x0 = X, x1 = X + W, yT = FlipY(Y), yB = FlipY(Y + H);
  const double cx = kKappaComplement * rx, cy = kKappaComplement * ry;
  EmitPoint(x0 + rx, yT);
  FContent += " m\n";
  EmitPoint(x1 - rx, yT);
  FContent += " l\n";
  EmitCurve(x1 - cx, yT, x1, yT - cy, x1, yT - ry);
  EmitPoint(x1, yB + ry);
  FContent += " l\n";
  EmitCurve(x1, yB + cy, x1 - cx, yB, x1 - rx, yB);
  EmitPoint(x0 + rx, yB);
  FContent += " l\n";
  EmitCurve(x0 + cx, yB, x0, yB + cy, x0, yB + ry);
  EmitPoint(x0, yT - ry);
  FContent += " l\n";
  EmitCurve(x0, yT - cy, x0 + cx, yT, x0 + rx, yT);
  FContent += "h\n";
}

// ---- pages -------------------------------------------------------------------------------------

void TPdfRptCanvas::BeginPage(float WidthPt, float HeightPt) {
  FPageW = WidthPt;
  FPageH = HeightPt;
  FContent.clear();
  FPageFonts.clear();
  FLastPageFont = nullptr;
  FPageXObjs.clear();
  FState = TGState{};  // every content stream starts from the default state
  FInText = false;
  FInPage = true;
}

std::string TPdfRptCanvas::ResourcesDict() const {
  if (FPageFonts.empty() && FPageXObjs.empty()) return "<< >>";
  std::string s = "<< ";
  const auto entries = [&s](const char* Kind, const std::map<std::string, int32_t>& Map) {
    if (Map.empty()) return;
    s += Kind;
    s += " << ";
    for (const auto& [name, obj] : Map) {
      s += name;
      s += ' ';
      s += std::to_string(obj);
      s += " 0 R ";
    }
    s += ">> ";
  };
  entries("/Font", FPageFonts);
  entries("/XObject", FPageXObjs);
  s += ">>";
  return s;
}

void TPdfRptCanvas::EndPage() {
  if (!FInPage) return;
  EndText();
  FWriter->AddPageContent(FPageW, FPageH, FContent, ResourcesDict());
  FInPage = false;
}

// ---- shapes ------------------------------------------------------------------------------------

void TPdfRptCanvas::FillRect(const TRectF& R, TAlphaColor Color) {
  if (IsTranspColor(Color)) return;
  EndText();
  EmitFillColor(Color);
  EmitRect(R);
  FContent += " re f\n";
}

void TPdfRptCanvas::StrokeRect(const TRectF& R, TAlphaColor Color, float W) {
  if (IsTranspColor(Color)) return;
  EndText();
  EmitStrokeColor(Color);
  EmitWidth(W);
  EmitRect(R);
  FContent += " re S\n";
}

void TPdfRptCanvas::DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) {
  if (IsTranspColor(Color)) return;
  EndText();
  EmitStrokeColor(Color);
  EmitWidth(W);
  EmitPoint(P1.X, FlipY(P1.Y));
  FContent += " m \n";
  EmitPoint(P2.X, FlipY(P2.Y));
  FContent += " l S\n";
}

void TPdfRptCanvas::DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill,
                                  float W) {
  if (IsTranspColor(Fill) && IsTranspColor(Stroke)) return;
  EndText();
  const double x = R.Left, y = R.Top, w = R.Right - R.Left, h = R.Bottom - R.Top;
  if (!IsTranspColor(Fill)) {
    EmitFillColor(Fill);
    EmitRoundRectPath(x, y, w, h, Rx, Ry);
    FContent += "f\n";
  }
  if (!IsTranspColor(Stroke)) {
    EmitStrokeColor(Stroke);
    EmitWidth(W);
    EmitRoundRectPath(x, y, w, h, Rx, Ry);
    FContent += "S\n";
  }
}

void TPdfRptCanvas::DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) {
  if (IsTranspColor(Fill) && IsTranspColor(Stroke)) return;
  EndText();
  const double x = R.Left, y = R.Top, w = R.Right - R.Left, h = R.Bottom - R.Top;
  if (!IsTranspColor(Fill)) {
    EmitFillColor(Fill);
    EmitEllipsePath(x, y, w, h);
    FContent += "f\n";
  }
  if (!IsTranspColor(Stroke)) {
    EmitStrokeColor(Stroke);
    EmitWidth(W);
    EmitEllipsePath(x, y, w, h);
    FContent += "S\n";
  }
}

void TPdfRptCanvas::FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) {
  if (Pts.size() < 2 || IsTranspColor(Color)) return;
  EndText();
  EmitFillColor(Color);
  EmitPoint(Pts[0].X, FlipY(Pts[0].Y));
  FContent += " m\n";
  for (size_t i = 1; i < Pts.size(); ++i) {
    EmitPoint(Pts[i].X, FlipY(Pts[i].Y));
    FContent += " l\n";
  }
  FContent += "f\n";
}

// ---- text --------------------------------------------------------------------------------------

std::vector<std::string> TPdfRptCanvas::WrapText(TPDFFont& Font, std::string_view S, double Size,
                                                 double MaxWidth) {
  // CR LF and lone CR both end a paragraph.
  std::string norm;
  norm.reserve(S.size());
  for (size_t i = 0; i < S.size(); ++i) {
    if (S[i] == '\r') {
      norm += '\n';
      if (i + 1 < S.size() && S[i + 1] == '\n') ++i;
    } else {
      norm += S[i];
    }
  }
  std::vector<std::string> lines;
  const double spaceWidth = Font.TextWidth1000(" ");
  size_t start = 0;
  while (true) {
    const size_t end = norm.find('\n', start);
    const std::string_view para(norm.data() + start, (end == std::string::npos ? norm.size() : end) - start);
    if (para.empty()) {
      lines.emplace_back();
    } else {
      std::string current;
      double currentWidth = 0;
      size_t w = 0;
      while (true) {
        const size_t sp = para.find(' ', w);
        const std::string_view word = para.substr(w, sp == std::string_view::npos ? std::string_view::npos : sp - w);
        const double wordWidth = Font.TextWidth1000(word);
        if (current.empty()) {
          current.assign(word);
          currentWidth = wordWidth;
        } else {
          // Advances add up exactly (no kerning), so the candidate's width is the sum of parts.
          const double candidate = currentWidth + spaceWidth + wordWidth;
          if (candidate / 1000.0 * Size > MaxWidth) {
            lines.push_back(std::move(current));
            current.assign(word);
            currentWidth = wordWidth;
          } else {
            current += ' ';
            current += word;
            currentWidth = candidate;
          }
        }
        if (sp == std::string_view::npos) break;
        w = sp + 1;
      }
      lines.push_back(std::move(current));
    }
    if (end == std::string::npos) break;
    start = end + 1;
  }
  if (lines.empty()) lines.emplace_back();
  return lines;
}

void TPdfRptCanvas::AppendGlyphLiteral(std::string& Out, std::span<const uint16_t> Gids) {
  Out += '(';
  for (const uint16_t g : Gids) {
    for (const char c : {static_cast<char>(g >> 8), static_cast<char>(g & 0xFF)}) {
      if (c == '(' || c == ')' || c == '\\') {
        Out += '\\';
        Out += c;
      } else if (c == '\r') {
        Out += "\\r";
      } else {
        Out += c;
      }
    }
  }
  Out += ')';
}

void TPdfRptCanvas::EmitTextLine(const TTextLine& L, const TPDFFontEntry& Font, float Size, TAlphaColor Color) {
  if (!FInText) {
    FContent += "BT\n";
    FInText = true;
    FTextX = FTextY = 0;  // a text object starts at the origin
  }
  if (FState.Font != &Font || FState.FontSize != Size) {
    FContent += Font.ResName;
    FContent += ' ';
    FmtF(Size);
    FContent += " Tf\n";
    FState.Font = &Font;
    FState.FontSize = Size;
  }
  EmitFillColor(Color);
  // The move from the previous line where that is shorter and exact, else the absolute position.
  const int64_t x = Thousandths(L.X), y = Thousandths(FlipY(L.Baseline));
  const size_t at = FContent.size();
  AppendThousandths(FContent, x - FTextX);
  FContent += ' ';
  AppendThousandths(FContent, y - FTextY);
  const size_t relative = FContent.size() - at + 4;  // " Td\n"
  FAbsolute.assign("1 0 0 1 ");
  AppendThousandths(FAbsolute, x);
  FAbsolute += ' ';
  AppendThousandths(FAbsolute, y);
  FAbsolute += " Tm\n";
  if (FAbsolute.size() < relative || !MoveIsExact(FTextX, x - FTextX, x) || !MoveIsExact(FTextY, y - FTextY, y)) {
    FContent.resize(at);
    FContent += FAbsolute;
  } else {
    FContent += " Td\n";
  }
  FTextX = x;
  FTextY = y;
  AppendGlyphLiteral(FContent, std::span<const uint16_t>(FGids).subspan(L.First, L.Count));
  FContent += " Tj\n";
}

bool TPdfRptCanvas::InkLeavesBox(const std::vector<TTextLine>& Lines, TPDFFont& Font, float Size,
                                 const TRectF& R) {
  // Ink that comes close to an edge counts as leaving: a renderer smooths a glyph's edge into the
  // pixel beside it, and a clip through that pixel would have cut it.
  constexpr double kMargin = 1.0;
  const double left = R.Left + kMargin, right = R.Right - kMargin, top = R.Top + kMargin,
               bottom = R.Bottom - kMargin;
  const double perUnit = static_cast<double>(Size) / Font.UnitsPerEm();
  for (const TTextLine& L : Lines) {
    double pen = L.X;
    for (size_t i = L.First; i < L.First + L.Count; ++i) {
      const uint16_t gid = FGids[i];
      const TPDFFont::TGlyphBox b = Font.GlyphInk(gid);
      if (!b.Empty() && (pen + b.XMin * perUnit < left || pen + b.XMax * perUnit > right ||
                         L.Baseline - b.YMax * perUnit < top || L.Baseline - b.YMin * perUnit > bottom))
        return true;
      pen += Font.GidWidth1000(gid) / 1000.0 * Size;
    }
  }
  return false;
}

void TPdfRptCanvas::DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA,
                             TRptVertAlign VA, bool WordWrap, TAlphaColor Color) {
  if (S.empty() || IsTranspColor(Color)) return;
  const TPDFFontEntry& entry = FFontMgr->GetFontEntry(F.Name, F.Bold, F.Italic);
  TPDFFont& font = *entry.Font;
  if (&entry != FLastPageFont) {
    FPageFonts[entry.ResName] = entry.ObjNum;
    FLastPageFont = &entry;
  }

  const TTextMetrics m = TextMetricsOf(font, F.Size);
  std::vector<std::string> wrapped;
  if (WordWrap) wrapped = WrapText(font, S, F.Size, TextWrapWidth(R));
  const size_t lineCount = WordWrap ? wrapped.size() : 1;
  const double top = TextBlockTop(R, VA, lineCount, m);

  FGids.clear();
  FLines.clear();
  for (size_t i = 0; i < lineCount; ++i) {
    const double baseline = TextBaseline(top, m, i);
    if (TextLineBelowBox(R, baseline, m)) break;  // encoding marks glyphs used: only lines drawn are encoded
    TTextLine line;
    line.First = FGids.size();
    double advance = 0;
    font.AppendGlyphs(WordWrap ? std::string_view(wrapped[i]) : std::string_view(S), FGids, advance);
    line.Count = FGids.size() - line.First;
    if (line.Count == 0) continue;
    line.X = TextLineX(R, HA, advance / 1000.0 * F.Size);
    line.Baseline = baseline;
    FLines.push_back(line);
  }
  if (FLines.empty()) return;
  const bool clip = InkLeavesBox(FLines, font, F.Size, R);
  if (clip) {
    PushState();
    EmitRect(R);
    FContent += " re W n\n";
  }
  for (const TTextLine& line : FLines) EmitTextLine(line, entry, F.Size, Color);
  if (clip) PopState();
}

TSizeF TPdfRptCanvas::MeasureText(const std::string& S, const TRptFont& F) {
  if (S.empty()) return {0, 1.2f * F.Size};
  TPDFFont& font = *FFontMgr->GetFontEntry(F.Name, F.Bold, F.Italic).Font;
  return {static_cast<float>(font.TextWidth1000(S) / 1000.0 * F.Size),
          static_cast<float>(TextMetricsOf(font, F.Size).Height)};
}

float TPdfRptCanvas::MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) {
  if (S.empty()) return 1.2f * F.Size;
  TPDFFont& font = *FFontMgr->GetFontEntry(F.Name, F.Bold, F.Italic).Font;
  return static_cast<float>(TextBlockHeight(TextMetricsOf(font, F.Size), WrapText(font, S, F.Size, W).size()));
}

// ---- images ------------------------------------------------------------------------------------

namespace {

// Two independent 64-bit hashes over the size and the pixels, eight bytes at a time.
uint64_t Mix(uint64_t H, uint64_t V, uint64_t Mul) {
  H ^= V * Mul;
  H = (H << 29) | (H >> 35);
  return H * 0x9E3779B97F4A7C15ULL;
}

// Appends Row (Bytes bytes, Bpp bytes a pixel) as one row of PNG-predicted data: a filter byte and
// the row filtered by whichever of None, Sub, Up and Paeth leaves the smallest sum of magnitudes,
// the usual guess at what deflates best. Prev is the previous row, null for the first.
void AppendPredictedRow(std::vector<uint8_t>& Out, const uint8_t* Row, const uint8_t* Prev, size_t Bytes, size_t Bpp,
                        std::vector<uint8_t>& Scratch) {
  Scratch.resize(Bytes * 4);
  uint8_t* f[4] = {Scratch.data(), Scratch.data() + Bytes, Scratch.data() + 2 * Bytes, Scratch.data() + 3 * Bytes};
  uint64_t cost[4] = {};
  for (size_t i = 0; i < Bytes; ++i) {
    const int a = i >= Bpp ? Row[i - Bpp] : 0, b = Prev ? Prev[i] : 0, c = Prev && i >= Bpp ? Prev[i - Bpp] : 0;
    const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    const int paeth = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
    const uint8_t v[4] = {Row[i], uint8_t(Row[i] - a), uint8_t(Row[i] - b), uint8_t(Row[i] - paeth)};
    for (int k = 0; k < 4; ++k) {
      f[k][i] = v[k];
      cost[k] += v[k] < 128 ? v[k] : 256 - v[k];
    }
  }
  static constexpr uint8_t kPngFilter[4] = {0, 1, 2, 4};
  const int best = int(std::min_element(cost, cost + 4) - cost);
  Out.push_back(kPngFilter[best]);
  Out.insert(Out.end(), f[best], f[best] + Bytes);
}

bool PixelsMatch(const TRptBitmap& Bmp) {
  return Bmp.Pixels.size() % 4 == 0 && Bmp.Pixels.size() / 4 == uint64_t(Bmp.Width) * uint64_t(Bmp.Height);
}

std::string ImageDictHead(int32_t W, int32_t H, const char* ColorSpace) {
  return "/Type /XObject /Subtype /Image /Width " + std::to_string(W) + " /Height " + std::to_string(H) +
         " /ColorSpace " + ColorSpace + " /BitsPerComponent 8";
}

std::string PredictorParms(size_t Colors, int32_t Columns) {
  return " /DecodeParms << /Predictor 15 /Colors " + std::to_string(Colors) + " /Columns " +
         std::to_string(Columns) + " >>";
}

}  // namespace

void TPdfRptCanvas::SetJpegQuality(int Quality) {
  if (Quality < 0 || Quality > 100) throw EQuilletError("JPEG quality must be 0 to 100");
  FJpegQuality = Quality;
}

int32_t TPdfRptCanvas::EmbedJpegSource(const TRptBitmap& Bmp) {
  const std::vector<uint8_t>& bytes = Bmp.Source->Bytes;
  TJpegEmbedInfo info;
  if (!InspectJpegForEmbedding(bytes, info) || info.Width != Bmp.Width || info.Height != Bmp.Height) return 0;
  std::string dict = ImageDictHead(info.Width, info.Height,
                                   info.Components == 1   ? "/DeviceGray"
                                   : info.Components == 3 ? "/DeviceRGB"
                                                          : "/DeviceCMYK");
  if (info.AdobeInverted) dict += " /Decode [1 0 1 0 1 0 1 0]";
  dict += " /Filter /DCTDecode";
  return FWriter->AddStreamObject(dict, std::span<const uint8_t>(bytes));
}

int32_t TPdfRptCanvas::EmbedSoftMask(const TRptBitmap& Bmp) {
  const size_t w = size_t(Bmp.Width), h = size_t(Bmp.Height);
  std::vector<uint8_t> alpha(w), prev(w), data, scratch;
  data.reserve((w + 1) * h);
  for (size_t y = 0; y < h; ++y) {
    const uint8_t* src = Bmp.Pixels.data() + y * w * 4;
    for (size_t x = 0; x < w; ++x) alpha[x] = src[x * 4 + 3];
    AppendPredictedRow(data, alpha.data(), y ? prev.data() : nullptr, w, 1, scratch);
    alpha.swap(prev);
  }
  return FWriter->AddStreamObjectFlate(ImageDictHead(Bmp.Width, Bmp.Height, "/DeviceGray") + PredictorParms(1, Bmp.Width),
                                       std::span<const uint8_t>(data));
}

int32_t TPdfRptCanvas::EmbedFlate(const TRptBitmap& Bmp) {
  const size_t w = size_t(Bmp.Width), h = size_t(Bmp.Height), n = w * h;
  const uint8_t* px = Bmp.Pixels.data();
  bool grey = true, opaque = true;
  for (size_t i = 0; i < n && (grey || opaque); ++i, px += 4) {
    grey = grey && px[0] == px[1] && px[1] == px[2];
    opaque = opaque && px[3] == 255;
  }
  const size_t comps = grey ? 1 : 3, rowBytes = w * comps;
  std::vector<uint8_t> row(rowBytes), prev(rowBytes), data, scratch;
  data.reserve((rowBytes + 1) * h);
  for (size_t y = 0; y < h; ++y) {
    const uint8_t* src = Bmp.Pixels.data() + y * w * 4;
    if (grey) {
      for (size_t x = 0; x < w; ++x) row[x] = src[x * 4];
    } else {
      for (size_t x = 0; x < w; ++x) std::memcpy(&row[x * 3], src + x * 4, 3);
    }
    AppendPredictedRow(data, row.data(), y ? prev.data() : nullptr, rowBytes, comps, scratch);
    row.swap(prev);
  }
  std::string dict = ImageDictHead(Bmp.Width, Bmp.Height, grey ? "/DeviceGray" : "/DeviceRGB");
  if (!opaque) dict += " /SMask " + std::to_string(EmbedSoftMask(Bmp)) + " 0 R";
  dict += PredictorParms(comps, Bmp.Width);
  return FWriter->AddStreamObjectFlate(dict, std::span<const uint8_t>(data));
}

int32_t TPdfRptCanvas::EmbedAsJpeg(const TRptBitmap& Bmp) {
  if (Bmp.Width > MaxJpegSide || Bmp.Height > MaxJpegSide) {
    // Too large for JPEG: embedded at the largest size JPEG takes, still placed by its own size.
    const TRptBitmap smaller = ShrinkToFit(Bmp, MaxJpegSide);
    const std::vector<uint8_t> jpeg = EncodeJpeg(smaller, FJpegQuality);
    AddWarning("Image of " + std::to_string(Bmp.Width) + " x " + std::to_string(Bmp.Height) +
               " pixels scaled down to " + std::to_string(smaller.Width) + " x " + std::to_string(smaller.Height) +
               ", the largest JPEG size");
    return FWriter->AddStreamObject(ImageDictHead(smaller.Width, smaller.Height, "/DeviceRGB") + " /Filter /DCTDecode",
                                    std::span<const uint8_t>(jpeg));
  }
  std::string dict = ImageDictHead(Bmp.Width, Bmp.Height, "/DeviceRGB");
  std::vector<uint8_t> jpeg;
  if (Bmp.HasTransparency()) {
    // The colours as they are, the alpha beside them: compositing here would show white where the
    // page has another colour.
    TRptBitmap colours{Bmp.Width, Bmp.Height, Bmp.Pixels};
    for (size_t i = 3; i < colours.Pixels.size(); i += 4) colours.Pixels[i] = 255;
    jpeg = EncodeJpeg(colours, FJpegQuality);
    dict += " /SMask " + std::to_string(EmbedSoftMask(Bmp)) + " 0 R";
  } else {
    jpeg = EncodeJpeg(Bmp, FJpegQuality);
  }
  dict += " /Filter /DCTDecode";
  return FWriter->AddStreamObject(dict, std::span<const uint8_t>(jpeg));
}

int32_t TPdfRptCanvas::EmbedImage(const TRptBitmap& Bmp) {
  const std::string size = std::to_string(Bmp.Width) + " x " + std::to_string(Bmp.Height);
  try {
    if (!PixelsMatch(Bmp)) throw EQuilletError("pixel data does not match the bitmap size");
    if (Bmp.Source && Bmp.Source->Format == rifJpeg)
      if (const int32_t obj = EmbedJpegSource(Bmp)) return obj;
    return FJpegQuality > 0 ? EmbedAsJpeg(Bmp) : EmbedFlate(Bmp);
  } catch (const EQuilletError& e) {
    AddWarning("Image of " + size + " pixels not drawn: " + e.what());
  } catch (const std::bad_alloc&) {
    AddWarning("Image of " + size + " pixels not drawn: out of memory");
  }
  return 0;
}

void TPdfRptCanvas::DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) {
  if (Bmp.IsEmpty()) return;
  TImageKey key{0x243F6A8885A308D3ULL ^ static_cast<uint64_t>(Bmp.Width),
                0x13198A2E03707344ULL ^ static_cast<uint64_t>(Bmp.Height)};
  const uint8_t* p = Bmp.Pixels.data();
  const size_t n = Bmp.Pixels.size();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t v;
    std::memcpy(&v, p + i, 8);
    key.A = Mix(key.A, v, 0xFF51AFD7ED558CCDULL);
    key.B = Mix(key.B, v, 0xC4CEB9FE1A85EC53ULL);
  }
  uint64_t tail = n;
  for (; i < n; ++i) tail = (tail << 8) | p[i];
  key.A = Mix(key.A, tail, 0xFF51AFD7ED558CCDULL);
  key.B = Mix(key.B, tail, 0xC4CEB9FE1A85EC53ULL);

  auto it = FImages.find(key);
  if (it == FImages.end()) {
    const int32_t obj = EmbedImage(Bmp);
    it = FImages.emplace(key, TImageObj{obj, obj ? "/Im" + std::to_string(++FImgCounter) : std::string()}).first;
  }
  if (it->second.Obj == 0) return;
  const std::string& name = it->second.Name;
  FPageXObjs[name] = it->second.Obj;

  const double bw = static_cast<double>(R.Right) - R.Left, bh = static_cast<double>(R.Bottom) - R.Top;
  double dw = bw, dh = bh, dx = R.Left, dy = R.Top;
  if (Mode == risFit || Mode == risCenter) {
    double s = 1;
    if (Mode == risFit) s = std::min(bw / Bmp.Width, bh / Bmp.Height);
    dw = Bmp.Width * s;
    dh = Bmp.Height * s;
    dx = R.Left + (bw - dw) / 2;
    dy = R.Top + (bh - dh) / 2;
  }
  // Kept even when the image lies inside R: an image fills its box to the edge, and renderers
  // draw the edge pixels differently with the clip than without.
  PushState();
  EmitRect(R);
  FContent += " re W n\n";
  FmtF(dw);
  FContent += " 0 0 ";
  FmtF(dh);
  FContent += ' ';
  FmtF(dx);
  FContent += ' ';
  FmtF(FlipY(dy + dh));
  FContent += " cm\n";
  FContent += name;
  FContent += " Do\n";
  PopState();
}

}  // namespace quillet
