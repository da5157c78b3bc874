#include "reportdef/report_model.h"

#include <algorithm>

namespace quillet {

namespace {

template <typename TEnum, size_t N>
TEnum IndexOrFallBack(const std::array<std::string_view, N>& Names, std::string_view S,
                      TEnum FallBack) {
  for (size_t i = 0; i < N; ++i)
    if (Names[i] == S) return static_cast<TEnum>(i);
  return FallBack;
}

int HexDigitValue(char C) {
  if (C >= '0' && C <= '9') return C - '0';
  if (C >= 'A' && C <= 'F') return C - 'A' + 10;
  if (C >= 'a' && C <= 'f') return C - 'a' + 10;
  return -1;
}

}  // namespace

TRptElemType ElemTypeFromStr(std::string_view S) {
  return IndexOrFallBack(ElemTypeNames, S, retLabel);
}

TBandType BandTypeFromStr(std::string_view S) {
  return IndexOrFallBack(BandTypeNames, S, btMasterData);
}

std::string HorzAlignToStr(TRptHorzAlign A) {
  switch (A) {
    case rhaCenter: return "Center";
    case rhaRight: return "Right";
    default: return "Left";
  }
}

TRptHorzAlign StrToHorzAlign(std::string_view S) {
  if (S == "Center") return rhaCenter;
  if (S == "Right") return rhaRight;
  return rhaLeft;
}

std::string VertAlignToStr(TRptVertAlign A) {
  switch (A) {
    case rvaCenter: return "Center";
    case rvaBottom: return "Bottom";
    default: return "Top";
  }
}

TRptVertAlign StrToVertAlign(std::string_view S) {
  if (S == "Center") return rvaCenter;
  if (S == "Bottom") return rvaBottom;
  return rvaTop;
}

std::string ImageScaleToStr(TRptImageScale S) {
  switch (S) {
    case risFit: return "Fit";
    case risCenter: return "Center";
    case risTile: return "Tile";
    default: return "Stretch";
  }
}

TRptImageScale StrToImageScale(std::string_view S) {
  if (S == "Fit") return risFit;
  if (S == "Center") return risCenter;
  if (S == "Tile") return risTile;
  return risStretch;
}

std::string BuildFontStyle(bool Bold, bool Italic) {
  if (Bold && Italic) return "BoldItalic";
  if (Bold) return "Bold";
  if (Italic) return "Italic";
  return "Normal";
}

std::string AlphaColorToHex(TAlphaColor Color) {
  static constexpr char Digits[] = "0123456789ABCDEF";
  std::string Result(9, '#');
  for (int i = 0; i < 8; ++i) Result[8 - i] = Digits[(Color >> (4 * i)) & 0xF];
  return Result;
}

TAlphaColor HexToAlphaColor(std::string_view S) {
  if (!S.empty() && S.front() == '#') S.remove_prefix(1);
  std::string Text(S);
  if (Text.size() == 6) Text = "FF" + Text;
  if (Text.empty()) return 0;
  uint64_t Value = 0;
  for (char C : Text) {
    const int D = HexDigitValue(C);
    if (D < 0) return 0;
    if (Value >> 60 != 0) return 0;  // a further digit would overflow 64 bits
    Value = (Value << 4) | static_cast<uint64_t>(D);
  }
  return static_cast<TAlphaColor>(Value & 0xFFFFFFFFu);
}

void ComputeTrackSizes(int32_t Count, std::span<const float> Weights, float Total,
                       std::vector<float>& Sizes) {
  Sizes.assign(static_cast<size_t>(std::max<int32_t>(Count, 0)), 0.0f);
  if (Count < 1) return;
  // Summed in double so that many or huge weights neither lose precision nor overflow.
  double Sum = 0;
  if (Weights.size() == static_cast<size_t>(Count))
    for (float W : Weights)
      if (W > 0) Sum += W;
  if (Sum > 0) {
    for (size_t i = 0; i < Sizes.size(); ++i)
      Sizes[i] = Weights[i] > 0 ? static_cast<float>(double(Total) * Weights[i] / Sum) : 0.0f;
  } else {
    std::fill(Sizes.begin(), Sizes.end(), static_cast<float>(double(Total) / Count));
  }
}

void ComputeImagePlacement(const TRectF& Box, int32_t ImageWidth, int32_t ImageHeight,
                           TRptImageScale Scale, TRectF& SrcRect, TRectF& DstRect) {
  SrcRect = TRectF{};
  DstRect = TRectF{};
  const double BoxW = double(Box.Right) - Box.Left;
  const double BoxH = double(Box.Bottom) - Box.Top;
  // The negated tests also reject NaN sizes.
  if (ImageWidth <= 0 || ImageHeight <= 0 || !(BoxW > 0) || !(BoxH > 0)) return;
  const double IW = ImageWidth, IH = ImageHeight;

  double L = Box.Left, T = Box.Top, R = Box.Right, B = Box.Bottom;
  if (Scale == risFit || Scale == risCenter) {
    const double S = Scale == risFit ? std::min(BoxW / IW, BoxH / IH) : 1.0;
    L = Box.Left + (BoxW - IW * S) / 2;
    T = Box.Top + (BoxH - IH * S) / 2;
    R = L + IW * S;
    B = T + IH * S;
  }

  const double DL = std::max<double>(L, Box.Left), DT = std::max<double>(T, Box.Top);
  const double DR = std::min<double>(R, Box.Right), DB = std::min<double>(B, Box.Bottom);
  if (!(DR > DL) || !(DB > DT)) return;
  DstRect = TRectF{float(DL), float(DT), float(DR), float(DB)};
  const double RW = R - L, RH = B - T;
  SrcRect = TRectF{float(IW * (DL - L) / RW), float(IH * (DT - T) / RH),
                   float(IW * (DR - L) / RW), float(IH * (DB - T) / RH)};
}

std::unique_ptr<TReportElement> TReportElement::Clone() const {
  // Every member is a value (arrays included), so a copy shares nothing with this element.
  auto Copy = std::make_unique<TReportElement>(*this);
  Copy->Name += "_copy";
  Copy->Left += 10;
  Copy->Top += 10;
  Copy->X2 += 10;
  Copy->Y2 += 10;
  return Copy;
}

void TReportPage::Clear() {
  Bands.clear();
  LoadWarnings.clear();
  VisibleDataSources.clear();
  DataSources.clear();
  PdfTitle.clear();
  PdfAuthor.clear();
  PdfSubject.clear();
  PdfKeywords.clear();
  PdfCreator.clear();
}

void TReportPage::SetMargin(float Value) {
  MarginTop = Value;
  MarginBottom = Value;
  MarginLeft = Value;
  MarginRight = Value;
}

}  // namespace quillet
