#include "symbols/qr_code.h"

#include <ZXing/BarcodeFormat.h>
#include <ZXing/BitMatrix.h>
#include <ZXing/CharacterSet.h>
#include <ZXing/MultiFormatWriter.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

namespace quillet {

// ---------------------------------------------------------------------------------------------
// TQRCodeEncoder

int QRFormatLevelBits(TQRErrorLevels Level) {
  switch (Level) {
    case TQRErrorLevels::ecL: return 1;
    case TQRErrorLevels::ecM: return 0;
    case TQRErrorLevels::ecQ: return 3;
    case TQRErrorLevels::ecH: return 2;
  }
  return 1;
}

namespace {

// The writer's level scale runs 0 to 8 and halves (level - 1) onto L, M, Q, H.
int WriterEccLevel(TQRErrorLevels Level) {
  switch (Level) {
    case TQRErrorLevels::ecL: return 1;
    case TQRErrorLevels::ecM: return 3;
    case TQRErrorLevels::ecQ: return 5;
    case TQRErrorLevels::ecH: return 7;
  }
  return 1;
}

bool AllBelow256(const std::string& Utf8) {
  // A lead byte of C4 or above starts a code point beyond U+00FF.
  return std::none_of(Utf8.begin(), Utf8.end(), [](char Ch) { return uint8_t(Ch) >= 0xC4; });
}

}  // namespace

bool TQRCodeEncoder::GetIsBlack(int32_t Row, int32_t Column) const {
  const int32_t R = Row - FQuietZone;
  const int32_t C = Column - FQuietZone;
  if (FSide == 0 || R < 0 || C < 0 || R >= FSide || C >= FSide) return false;
  return FModules[size_t(R) * size_t(FSide) + size_t(C)] != 0;
}

void TQRCodeEncoder::SetData(const std::string& Value) {
  if (Value == FData) return;
  FData = Value;
  Update();
}

void TQRCodeEncoder::SetEncoding(TQRCodeEncoding Value) {
  if (Value == FEncoding) return;
  FEncoding = Value;
  Update();
}

void TQRCodeEncoder::SetQuietZone(int32_t Value) {
  if (Value < 0 || Value > 100 || Value == FQuietZone) return;
  FQuietZone = Value;
  Update();
}

void TQRCodeEncoder::SetErrorLevels(TQRErrorLevels Value) {
  if (Value == FErrorLevels) return;
  FErrorLevels = Value;
  Update();
}

void TQRCodeEncoder::SetCodePage(int32_t Value) {
  if (Value == FCodePage) return;
  FCodePage = Value;
  Update();
}

void TQRCodeEncoder::Update() {
  // Clear first so that a failed encoding leaves no stale symbol behind.
  FSide = 0;
  FModules.clear();
  FRows = 0;
  FColumns = 0;
  if (FData.empty()) return;

  std::string Content = FData;
  ZXing::CharacterSet Charset = ZXing::CharacterSet::Unknown;  // the writer picks the mode
  switch (FEncoding) {
    case TQRCodeEncoding::qrAuto:
      if (!AllBelow256(FData)) Charset = ZXing::CharacterSet::UTF8;
      break;
    case TQRCodeEncoding::qrNumeric:
    case TQRCodeEncoding::qrAlphanumeric:
      break;
    case TQRCodeEncoding::qrISO88591: Charset = ZXing::CharacterSet::ISO8859_1; break;
    case TQRCodeEncoding::qrUTF8NoBOM: Charset = ZXing::CharacterSet::UTF8; break;
    case TQRCodeEncoding::qrUTF8BOM:
      Charset = ZXing::CharacterSet::UTF8;
      Content = "\xEF\xBB\xBF" + FData;
      break;
    case TQRCodeEncoding::qrShift_JIS: Charset = ZXing::CharacterSet::Shift_JIS; break;
  }

  ZXing::MultiFormatWriter Writer(ZXing::BarcodeFormat::QRCode);
  Writer.setMargin(0).setEccLevel(WriterEccLevel(FErrorLevels));
  if (Charset != ZXing::CharacterSet::Unknown) Writer.setEncoding(Charset);
  // Width and height 0: one pixel per module, no scaling.
  const ZXing::BitMatrix M = Writer.encode(Content, 0, 0);

  const int32_t Side = M.width();
  std::vector<uint8_t> Modules(size_t(Side) * size_t(Side));
  for (int32_t R = 0; R < Side; ++R)
    for (int32_t C = 0; C < Side; ++C) Modules[size_t(R) * size_t(Side) + size_t(C)] = M.get(C, R) ? 1 : 0;
  FModules = std::move(Modules);
  FSide = Side;
  FRows = Side + 2 * FQuietZone;
  FColumns = FRows;
}

void DrawQRCode(IRptCanvas& Canvas, const std::string& Text, const TRectF& R, TAlphaColor ForeColor,
                TAlphaColor BackColor) {
  if (!IsTranspColor(BackColor)) Canvas.FillRect(R, BackColor);

  TQRCodeEncoder Encoder;
  try {
    Encoder.SetQuietZone(4);
    Encoder.SetEncoding(TQRCodeEncoding::qrUTF8NoBOM);
    Encoder.SetErrorLevels(TQRErrorLevels::ecL);
    Encoder.SetData(Text);
  } catch (...) {
    // Bad data must not stop a report: whatever the encoder then holds is drawn.
  }

  const int32_t N = Encoder.Rows();
  if (N == 0) return;
  const float Side = std::min(R.Width(), R.Height());
  const float M = Side / float(N);
  const float X0 = R.Left + (R.Width() - float(N) * M) / 2;
  const float Y0 = R.Top + (R.Height() - float(N) * M) / 2;
  for (int32_t Row = 0; Row < N; ++Row)
    for (int32_t Col = 0; Col < N; ++Col)
      if (Encoder.GetIsBlack(Row, Col))
        Canvas.FillRect(TRectF{X0 + float(Col) * M, Y0 + float(Row) * M, X0 + float(Col + 1) * M,
                               Y0 + float(Row + 1) * M},
                        ForeColor);
}

// ---------------------------------------------------------------------------------------------
// GenerateQRCode

namespace {

constexpr int kModeNumeric = 1;
constexpr int kModeAlphanumeric = 2;
constexpr int kModeByte = 4;

constexpr std::string_view kAlphanumeric = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ $%*+-./:";

// Level L: error-correction codewords per block and number of blocks, versions 1 to 40.
constexpr std::array<uint8_t, 40> kEccPerBlockL = {7,  10, 15, 20, 26, 18, 20, 24, 30, 18, 20, 24, 26, 30,
                                                   22, 24, 28, 30, 28, 28, 28, 28, 30, 30, 26, 28, 30, 30,
                                                   30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30};
constexpr std::array<uint8_t, 40> kBlocksL = {1,  1,  1,  1,  1,  2,  2,  2,  2,  4,  4,  4,  4,  4,
                                              6,  6,  6,  6,  7,  8,  8,  9,  9,  10, 12, 12, 12, 13,
                                              14, 15, 16, 17, 18, 19, 19, 20, 21, 22, 24, 25};

// Modules left for codewords once every function pattern is placed (remainder bits included).
int32_t RawDataModules(int32_t Version) {
  int32_t Result = (16 * Version + 128) * Version + 64;
  if (Version >= 2) {
    const int32_t NumAlign = Version / 7 + 2;
    Result -= (25 * NumAlign - 10) * NumAlign - 55;
    if (Version >= 7) Result -= 36;
  }
  return Result;
}

int32_t TotalCodewords(int32_t Version) { return RawDataModules(Version) / 8; }

int32_t DataCodewords(int32_t Version) {
  return TotalCodewords(Version) - kEccPerBlockL[size_t(Version - 1)] * kBlocksL[size_t(Version - 1)];
}

int CountBits(int Mode, int32_t Version) {
  const int Band = Version <= 9 ? 0 : Version <= 26 ? 1 : 2;
  switch (Mode) {
    case kModeNumeric: return std::array{10, 12, 14}[size_t(Band)];
    case kModeAlphanumeric: return std::array{9, 11, 13}[size_t(Band)];
    default: return std::array{8, 16, 16}[size_t(Band)];
  }
}

int AlphanumericValue(uint8_t B) {
  const size_t P = kAlphanumeric.find(char(B));
  return P == std::string_view::npos ? -1 : int(P);
}

class TBitBuffer {
 public:
  void Append(uint32_t Value, int Count) {
    for (int I = Count - 1; I >= 0; --I) FBits.push_back(uint8_t((Value >> I) & 1));
  }
  size_t Size() const { return FBits.size(); }
  std::vector<uint8_t> ToBytes() const {
    std::vector<uint8_t> Out(FBits.size() / 8, 0);
    for (size_t I = 0; I < Out.size() * 8; ++I) Out[I / 8] = uint8_t(Out[I / 8] | (FBits[I] << (7 - I % 8)));
    return Out;
  }

 private:
  std::vector<uint8_t> FBits;
};

// GF(256) with the QR field polynomial x^8 + x^4 + x^3 + x^2 + 1.
uint8_t GfMultiply(uint8_t X, uint8_t Y) {
  uint32_t Z = 0;
  for (int I = 7; I >= 0; --I) {
    Z = (Z << 1) ^ ((Z >> 7) * 0x11D);
    Z ^= ((Y >> I) & 1u) * X;
  }
  return uint8_t(Z);
}

// Coefficients of prod (x - a^i), i < Degree, highest power first without its leading 1.
std::vector<uint8_t> RsGenerator(int Degree) {
  std::vector<uint8_t> Result(size_t(Degree), 0);
  Result.back() = 1;
  uint8_t Root = 1;
  for (int I = 0; I < Degree; ++I) {
    for (size_t J = 0; J < Result.size(); ++J) {
      Result[J] = GfMultiply(Result[J], Root);
      if (J + 1 < Result.size()) Result[J] ^= Result[J + 1];
    }
    Root = GfMultiply(Root, 0x02);
  }
  return Result;
}

std::vector<uint8_t> RsRemainder(std::span<const uint8_t> Data, const std::vector<uint8_t>& Generator) {
  std::vector<uint8_t> Result(Generator.size(), 0);
  for (uint8_t B : Data) {
    const uint8_t Factor = B ^ Result.front();
    Result.erase(Result.begin());
    Result.push_back(0);
    for (size_t I = 0; I < Result.size(); ++I) Result[I] ^= GfMultiply(Generator[I], Factor);
  }
  return Result;
}

// Splits the data codewords into blocks, appends each block's error correction and interleaves.
std::vector<uint8_t> AddEccAndInterleave(const std::vector<uint8_t>& Data, int32_t Version) {
  const int32_t NumBlocks = kBlocksL[size_t(Version - 1)];
  const int32_t EccLen = kEccPerBlockL[size_t(Version - 1)];
  const int32_t Raw = TotalCodewords(Version);
  const int32_t NumShort = NumBlocks - Raw % NumBlocks;
  const int32_t ShortLen = Raw / NumBlocks;  // data + ecc of a short block
  const std::vector<uint8_t> Generator = RsGenerator(EccLen);

  std::vector<std::vector<uint8_t>> DataBlocks;
  std::vector<std::vector<uint8_t>> EccBlocks;
  size_t Pos = 0;
  for (int32_t I = 0; I < NumBlocks; ++I) {
    const size_t Len = size_t(ShortLen - EccLen + (I < NumShort ? 0 : 1));
    std::vector<uint8_t> Block(Data.begin() + std::ptrdiff_t(Pos), Data.begin() + std::ptrdiff_t(Pos + Len));
    Pos += Len;
    EccBlocks.push_back(RsRemainder(Block, Generator));
    DataBlocks.push_back(std::move(Block));
  }

  std::vector<uint8_t> Result;
  Result.reserve(size_t(Raw));
  const size_t MaxData = DataBlocks.back().size();
  for (size_t I = 0; I < MaxData; ++I)
    for (const auto& Block : DataBlocks)
      if (I < Block.size()) Result.push_back(Block[I]);
  for (size_t I = 0; I < size_t(EccLen); ++I)
    for (const auto& Block : EccBlocks) Result.push_back(Block[I]);
  return Result;
}

std::vector<int32_t> AlignmentPositions(int32_t Version) {
  if (Version == 1) return {};
  const int32_t NumAlign = Version / 7 + 2;
  const int32_t Step = Version == 32 ? 26 : (Version * 4 + NumAlign * 2 + 1) / (NumAlign * 2 - 2) * 2;
  std::vector<int32_t> Result(static_cast<size_t>(NumAlign));
  Result[0] = 6;
  int32_t P = Version * 4 + 10;  // size - 7
  for (size_t I = Result.size() - 1; I >= 1; --I, P -= Step) Result[I] = P;
  return Result;
}

// The four penalty rules over the whole symbol, format and version information included.
int32_t MaskPenalty(int32_t Size, const std::vector<uint8_t>& Modules) {
  if (Size <= 0 || Modules.size() != size_t(Size) * size_t(Size)) return 0;
  auto Get = [&](int32_t Row, int32_t Col) { return Modules[size_t(Row) * size_t(Size) + size_t(Col)]; };
  int32_t Score = 0;
  for (int Pass = 0; Pass < 2; ++Pass) {  // rows, then columns
    for (int32_t Line = 0; Line < Size; ++Line) {
      auto At = [&](int32_t K) { return Pass == 0 ? Get(Line, K) : Get(K, Line); };
      int32_t Run = 1;
      for (int32_t K = 1; K <= Size; ++K) {
        if (K < Size && At(K) == At(K - 1)) {
          ++Run;
          continue;
        }
        if (Run >= 5) Score += 3 + (Run - 5);
        Run = 1;
      }
      for (int32_t K = 0; K + 7 <= Size; ++K) {
        if (!(At(K) && !At(K + 1) && At(K + 2) && At(K + 3) && At(K + 4) && !At(K + 5) && At(K + 6)))
          continue;
        // A side counts only when its four light modules all lie inside the symbol.
        bool Before = K >= 4;
        for (int32_t J = K - 4; Before && J < K; ++J) Before = !At(J);
        bool After = K + 11 <= Size;
        for (int32_t J = K + 7; After && J < K + 11; ++J) After = !At(J);
        if (Before || After) Score += 40;
      }
    }
  }
  for (int32_t Y = 0; Y + 1 < Size; ++Y)
    for (int32_t X = 0; X + 1 < Size; ++X) {
      const uint8_t C = Get(Y, X);
      if (C == Get(Y, X + 1) && C == Get(Y + 1, X) && C == Get(Y + 1, X + 1)) Score += 3;
    }
  int64_t Dark = 0;
  for (uint8_t M : Modules) Dark += M;
  const int64_t Total = int64_t(Size) * Size;
  const int64_t Percent = Dark * 100 / Total;
  Score += int32_t(10 * (std::llabs(Percent - 50) / 5));
  return Score;
}

class TQRBuilder {
 public:
  explicit TQRBuilder(int32_t Version)
      : FVersion(Version), FSize(17 + 4 * Version), FDark(size_t(FSize) * size_t(FSize), 0),
        FFunction(size_t(FSize) * size_t(FSize), 0) {}

  int32_t Size() const { return FSize; }
  uint8_t Get(int32_t Row, int32_t Col) const { return FDark[Index(Row, Col)]; }
  const std::vector<uint8_t>& Modules() const { return FDark; }

  void DrawFunctionPatterns() {
    for (int32_t I = 0; I < FSize; ++I) {  // timing patterns
      SetFunction(6, I, I % 2 == 0);
      SetFunction(I, 6, I % 2 == 0);
    }
    DrawFinder(3, 3);
    DrawFinder(3, FSize - 4);
    DrawFinder(FSize - 4, 3);
    const std::vector<int32_t> Align = AlignmentPositions(FVersion);
    const size_t N = Align.size();
    for (size_t I = 0; I < N; ++I)
      for (size_t J = 0; J < N; ++J) {
        if ((I == 0 && J == 0) || (I == 0 && J == N - 1) || (I == N - 1 && J == 0)) continue;  // finders
        DrawAlignment(Align[I], Align[J]);
      }
    DrawFormatBits(0);  // reserves the format area; rewritten per mask
    DrawVersion();
  }

  void DrawCodewords(const std::vector<uint8_t>& Codewords) {
    size_t Bit = 0;
    const size_t Total = Codewords.size() * 8;
    for (int32_t Right = FSize - 1; Right >= 1; Right -= 2) {
      if (Right == 6) Right = 5;  // the vertical timing column is skipped
      const bool Upward = ((Right + 1) & 2) == 0;
      for (int32_t Vert = 0; Vert < FSize; ++Vert) {
        const int32_t Row = Upward ? FSize - 1 - Vert : Vert;
        for (int32_t J = 0; J < 2; ++J) {
          const int32_t Col = Right - J;
          if (FFunction[Index(Row, Col)]) continue;
          // Remainder bits past the codewords stay light.
          if (Bit < Total) FDark[Index(Row, Col)] = uint8_t((Codewords[Bit / 8] >> (7 - Bit % 8)) & 1);
          ++Bit;
        }
      }
    }
  }

  // XORs the mask over every data module; applying it twice undoes it.
  void ApplyMask(int Mask) {
    for (int32_t Y = 0; Y < FSize; ++Y)
      for (int32_t X = 0; X < FSize; ++X) {
        if (FFunction[Index(Y, X)]) continue;
        bool Invert = false;
        switch (Mask) {
          case 0: Invert = (X + Y) % 2 == 0; break;
          case 1: Invert = Y % 2 == 0; break;
          case 2: Invert = X % 3 == 0; break;
          case 3: Invert = (X + Y) % 3 == 0; break;
          case 4: Invert = (X / 3 + Y / 2) % 2 == 0; break;
          case 5: Invert = X * Y % 2 + X * Y % 3 == 0; break;
          case 6: Invert = (X * Y % 2 + X * Y % 3) % 2 == 0; break;
          default: Invert = ((X + Y) % 2 + X * Y % 3) % 2 == 0; break;
        }
        if (Invert) FDark[Index(Y, X)] ^= 1;
      }
  }

  void DrawFormatBits(int Mask) {
    const uint32_t Data = uint32_t(QRFormatLevelBits(TQRErrorLevels::ecL) << 3 | Mask);
    uint32_t Rem = Data;
    for (int I = 0; I < 10; ++I) Rem = (Rem << 1) ^ ((Rem >> 9) * 1335);
    const uint32_t Bits = (Data << 10 | Rem) ^ 21522;
    auto B = [Bits](int I) { return ((Bits >> I) & 1) != 0; };
    // Copy beside the top-left finder.
    for (int I = 0; I <= 5; ++I) SetFunction(I, 8, B(I));
    SetFunction(7, 8, B(6));
    SetFunction(8, 8, B(7));
    SetFunction(8, 7, B(8));
    for (int I = 9; I < 15; ++I) SetFunction(8, 14 - I, B(I));
    // Copy split between the other two finders.
    for (int I = 0; I < 8; ++I) SetFunction(8, FSize - 1 - I, B(I));
    for (int I = 8; I < 15; ++I) SetFunction(FSize - 15 + I, 8, B(I));
    SetFunction(FSize - 8, 8, true);  // the dark module
  }

  int32_t Penalty() const { return MaskPenalty(FSize, FDark); }

 private:
  size_t Index(int32_t Row, int32_t Col) const { return size_t(Row) * size_t(FSize) + size_t(Col); }

  void SetFunction(int32_t Row, int32_t Col, bool Dark) {
    FDark[Index(Row, Col)] = Dark ? 1 : 0;
    FFunction[Index(Row, Col)] = 1;
  }

  // Finder with its separator, clipped at the symbol edge.
  void DrawFinder(int32_t CenterRow, int32_t CenterCol) {
    for (int32_t DY = -4; DY <= 4; ++DY)
      for (int32_t DX = -4; DX <= 4; ++DX) {
        const int32_t Row = CenterRow + DY, Col = CenterCol + DX;
        if (Row < 0 || Row >= FSize || Col < 0 || Col >= FSize) continue;
        const int32_t Dist = std::max(std::abs(DX), std::abs(DY));
        SetFunction(Row, Col, Dist != 2 && Dist != 4);
      }
  }

  void DrawAlignment(int32_t CenterRow, int32_t CenterCol) {
    for (int32_t DY = -2; DY <= 2; ++DY)
      for (int32_t DX = -2; DX <= 2; ++DX)
        SetFunction(CenterRow + DY, CenterCol + DX, std::max(std::abs(DX), std::abs(DY)) != 1);
  }

  void DrawVersion() {
    if (FVersion < 7) return;
    uint32_t Rem = uint32_t(FVersion);
    for (int I = 0; I < 12; ++I) Rem = (Rem << 1) ^ ((Rem >> 11) * 0x1F25);
    const uint32_t Bits = uint32_t(FVersion) << 12 | Rem;
    for (int I = 0; I < 18; ++I) {
      const bool B = ((Bits >> I) & 1) != 0;
      const int32_t A = FSize - 11 + I % 3, C = I / 3;
      SetFunction(C, A, B);  // top right
      SetFunction(A, C, B);  // bottom left
    }
  }

  int32_t FVersion;
  int32_t FSize;
  std::vector<uint8_t> FDark;
  std::vector<uint8_t> FFunction;
};

}  // namespace

int32_t QRMaskPenalty(const TQRMatrix& M) { return MaskPenalty(M.Size, M.Modules); }

int32_t QRDataCapacityBits(int32_t Version) {
  if (Version < 1 || Version > 40) return 0;
  return DataCodewords(Version) * 8;
}

TQRMatrix GenerateQRCode(std::span<const uint8_t> Data) {
  int Mode = kModeNumeric;
  if (!std::all_of(Data.begin(), Data.end(), [](uint8_t B) { return B >= '0' && B <= '9'; }))
    Mode = std::all_of(Data.begin(), Data.end(), [](uint8_t B) { return AlphanumericValue(B) >= 0; })
               ? kModeAlphanumeric
               : kModeByte;

  const size_t N = Data.size();
  size_t DataBits = 0;
  if (Mode == kModeNumeric)
    DataBits = N / 3 * 10 + (N % 3 == 2 ? 7 : N % 3 == 1 ? 4 : 0);
  else if (Mode == kModeAlphanumeric)
    DataBits = N / 2 * 11 + (N % 2) * 6;
  else
    DataBits = N * 8;

  int32_t Version = 0;
  for (int32_t V = 1; V <= 40; ++V)
    if (4 + size_t(CountBits(Mode, V)) + DataBits <= size_t(QRDataCapacityBits(V))) {
      Version = V;
      break;
    }
  if (Version == 0)
    throw EQRCodeError("QR Code: veri cok uzun (" + std::to_string(N) + " byte). Mode " + std::to_string(Mode) +
                       " ile V40 sigmiyor.");

  TBitBuffer Bits;
  Bits.Append(uint32_t(Mode), 4);
  Bits.Append(uint32_t(N), CountBits(Mode, Version));
  if (Mode == kModeNumeric) {
    for (size_t I = 0; I < N; I += 3) {
      const size_t Len = std::min<size_t>(3, N - I);
      uint32_t V = 0;
      for (size_t J = 0; J < Len; ++J) V = V * 10 + uint32_t(Data[I + J] - '0');
      Bits.Append(V, Len == 3 ? 10 : Len == 2 ? 7 : 4);
    }
  } else if (Mode == kModeAlphanumeric) {
    for (size_t I = 0; I + 1 < N; I += 2)
      Bits.Append(uint32_t(AlphanumericValue(Data[I]) * 45 + AlphanumericValue(Data[I + 1])), 11);
    if (N % 2) Bits.Append(uint32_t(AlphanumericValue(Data[N - 1])), 6);
  } else {
    for (uint8_t B : Data) Bits.Append(B, 8);
  }

  const size_t Capacity = size_t(QRDataCapacityBits(Version));
  Bits.Append(0, int(std::min<size_t>(4, Capacity - Bits.Size())));
  Bits.Append(0, int((8 - Bits.Size() % 8) % 8));
  std::vector<uint8_t> Codewords = Bits.ToBytes();
  for (uint8_t Pad = 0xEC; Codewords.size() < Capacity / 8; Pad ^= 0xEC ^ 0x11) Codewords.push_back(Pad);

  TQRBuilder Builder(Version);
  Builder.DrawFunctionPatterns();
  Builder.DrawCodewords(AddEccAndInterleave(Codewords, Version));

  int BestMask = 0;
  int32_t BestScore = std::numeric_limits<int32_t>::max();
  for (int Mask = 0; Mask < 8; ++Mask) {
    Builder.ApplyMask(Mask);
    Builder.DrawFormatBits(Mask);
    const int32_t Score = Builder.Penalty();
    if (Score < BestScore) {  // strict: the lower mask wins a tie
      BestScore = Score;
      BestMask = Mask;
    }
    Builder.ApplyMask(Mask);
  }
  Builder.ApplyMask(BestMask);
  Builder.DrawFormatBits(BestMask);

  return TQRMatrix{Builder.Size(), Builder.Modules()};
}

TQRMatrix GenerateQRCode(std::string_view Text) {
  const auto* P = reinterpret_cast<const uint8_t*>(Text.data());
  return GenerateQRCode(std::span<const uint8_t>(P, Text.size()));
}

}  // namespace quillet
