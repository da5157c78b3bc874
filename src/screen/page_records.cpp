#include "screen/page_records.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/error.h"
#include "screen/fmx_canvas.h"
#include "screen/screen_drivers.h"

namespace quillet {

namespace {

enum TOp : uint8_t {
  opFillRect = 1,
  opStrokeRect,
  opDrawLine,
  opDrawRoundRect,
  opDrawEllipse,
  opFillPath,
  opDrawText,
  opDrawImage,
};

// Reads a record back; records are made by this process, so running past the end is a bug, not
// bad input, and it still stops cleanly.
class TReader {
 public:
  explicit TReader(const QByteArray& Data) : FData(Data) {}
  bool AtEnd() const { return FPos >= static_cast<size_t>(FData.size()); }
  uint8_t U8() { return Read<uint8_t>(); }
  uint32_t U32() { return Read<uint32_t>(); }
  float F() { return Read<float>(); }
  TRectF Rect() {
    TRectF r;
    r.Left = F();
    r.Top = F();
    r.Right = F();
    r.Bottom = F();
    return r;
  }
  std::string String() {
    const uint32_t n = U32();
    Need(n);
    std::string s(FData.constData() + FPos, n);
    FPos += n;
    return s;
  }

  template <typename T>
  T Read() {
    Need(sizeof(T));
    T v;
    std::memcpy(&v, FData.constData() + FPos, sizeof(T));
    FPos += sizeof(T);
    return v;
  }

 private:
  void Need(size_t N) const {
    if (FPos + N > static_cast<size_t>(FData.size())) throw EQuilletError("Damaged page record");
  }
  const QByteArray& FData;
  size_t FPos = 0;
};

uint64_t HashBitmap(const TRptBitmap& Bmp) {
  // FNV-1a over the size and the pixels: the same picture drawn on every record is kept once.
  uint64_t h = 1469598103934665603ull;
  auto mix = [&h](const uint8_t* P, size_t N) {
    for (size_t i = 0; i < N; ++i) h = (h ^ P[i]) * 1099511628211ull;
  };
  mix(reinterpret_cast<const uint8_t*>(&Bmp.Width), sizeof Bmp.Width);
  mix(reinterpret_cast<const uint8_t*>(&Bmp.Height), sizeof Bmp.Height);
  mix(Bmp.Pixels.data(), Bmp.Pixels.size());
  return h;
}

}  // namespace

TPageRecorder::TPageRecorder(std::vector<std::string> FontDirs)
    : FFontDirs(std::move(FontDirs)), FMeasure(std::make_unique<TFmxRptCanvas>(nullptr, 1.0f, 0.0f, 0.0f, 0.0f)) {
  FMeasure->SetFontDirs(FFontDirs);
}

TPageRecorder::~TPageRecorder() = default;

const std::vector<std::string>& TPageRecorder::Warnings() const { return FMeasure->Warnings(); }

TSizeF TPageRecorder::PageSize(int32_t Index) const {
  if (Index < 0 || Index >= PageCount()) return {};
  return {FPages[static_cast<size_t>(Index)].Width, FPages[static_cast<size_t>(Index)].Height};
}

size_t TPageRecorder::MemoryBytes() const {
  size_t n = 0;
  for (const TPage& p : FPages) n += static_cast<size_t>(p.Ops.size()) + sizeof(TPage);
  for (const auto& img : FImages) n += img->Pixels.size();
  return n;
}

void TPageRecorder::PutU32(uint32_t V) { FOps.append(reinterpret_cast<const char*>(&V), 4); }
void TPageRecorder::PutF(float V) { FOps.append(reinterpret_cast<const char*>(&V), 4); }
void TPageRecorder::PutRect(const TRectF& R) {
  PutF(R.Left);
  PutF(R.Top);
  PutF(R.Right);
  PutF(R.Bottom);
}
void TPageRecorder::PutString(const std::string& S) {
  PutU32(static_cast<uint32_t>(S.size()));
  FOps.append(S);
}

uint32_t TPageRecorder::FontIndex(const TRptFont& F) {
  for (size_t i = FFonts.size(); i-- > 0;)
    if (FFonts[i] == F) return static_cast<uint32_t>(i);
  FFonts.push_back(F);
  return static_cast<uint32_t>(FFonts.size() - 1);
}

uint32_t TPageRecorder::ImageIndex(const TRptBitmap& Bmp) {
  const uint64_t h = HashBitmap(Bmp);
  for (size_t i = 0; i < FImages.size(); ++i)
    if (FImageHashes[i] == h && FImages[i]->Width == Bmp.Width && FImages[i]->Height == Bmp.Height &&
        FImages[i]->Pixels == Bmp.Pixels)
      return static_cast<uint32_t>(i);
  FImages.push_back(std::make_shared<const TRptBitmap>(Bmp));
  FImageHashes.push_back(h);
  return static_cast<uint32_t>(FImages.size() - 1);
}

void TPageRecorder::BeginPage(float WidthPt, float HeightPt) {
  FInPage = true;
  FPageW = WidthPt;
  FPageH = HeightPt;
  FOps.clear();
}

void TPageRecorder::EndPage() {
  if (!FInPage) return;
  FInPage = false;
  TPage page;
  page.Width = FPageW;
  page.Height = FPageH;
  page.Ops = qCompress(reinterpret_cast<const uchar*>(FOps.data()), static_cast<qsizetype>(FOps.size()), 1);
  FPages.push_back(std::move(page));
  FOps.clear();
  if (OnPageRecorded) OnPageRecorded(PageCount() - 1);
}

void TPageRecorder::FillRect(const TRectF& R, TAlphaColor Color) {
  PutU8(opFillRect);
  PutRect(R);
  PutU32(Color);
}

void TPageRecorder::StrokeRect(const TRectF& R, TAlphaColor Color, float W) {
  PutU8(opStrokeRect);
  PutRect(R);
  PutU32(Color);
  PutF(W);
}

void TPageRecorder::DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) {
  PutU8(opDrawLine);
  PutF(P1.X);
  PutF(P1.Y);
  PutF(P2.X);
  PutF(P2.Y);
  PutU32(Color);
  PutF(W);
}

void TPageRecorder::DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill,
                                  float W) {
  PutU8(opDrawRoundRect);
  PutRect(R);
  PutF(Rx);
  PutF(Ry);
  PutU32(Stroke);
  PutU32(Fill);
  PutF(W);
}

void TPageRecorder::DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) {
  PutU8(opDrawEllipse);
  PutRect(R);
  PutU32(Stroke);
  PutU32(Fill);
  PutF(W);
}

void TPageRecorder::FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) {
  PutU8(opFillPath);
  PutU32(Color);
  PutU32(static_cast<uint32_t>(Pts.size()));
  for (const TPointF& p : Pts) {
    PutF(p.X);
    PutF(p.Y);
  }
}

void TPageRecorder::DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA,
                             TRptVertAlign VA, bool WordWrap, TAlphaColor Color) {
  PutU8(opDrawText);
  PutString(S);
  PutRect(R);
  PutU32(FontIndex(F));
  PutU8(static_cast<uint8_t>(HA));
  PutU8(static_cast<uint8_t>(VA));
  PutU8(WordWrap ? 1 : 0);
  PutU32(Color);
}

TSizeF TPageRecorder::MeasureText(const std::string& S, const TRptFont& F) { return FMeasure->MeasureText(S, F); }

float TPageRecorder::MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) {
  return FMeasure->MeasureWrappedHeight(S, W, F);
}

void TPageRecorder::DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) {
  PutU8(opDrawImage);
  PutRect(R);
  PutU32(ImageIndex(Bmp));
  PutU8(static_cast<uint8_t>(Mode));
}

void TPageRecorder::Replay(int32_t Index, IRptCanvas& Target) const {
  if (Index < 0 || Index >= PageCount()) return;
  const TPage& page = FPages[static_cast<size_t>(Index)];
  const QByteArray ops = qUncompress(page.Ops);
  TReader r(ops);
  Target.BeginPage(page.Width, page.Height);
  while (!r.AtEnd()) {
    switch (r.U8()) {
      case opFillRect: {
        const TRectF rc = r.Rect();
        Target.FillRect(rc, r.U32());
        break;
      }
      case opStrokeRect: {
        const TRectF rc = r.Rect();
        const TAlphaColor c = r.U32();
        Target.StrokeRect(rc, c, r.F());
        break;
      }
      case opDrawLine: {
        TPointF a, b;
        a.X = r.F();
        a.Y = r.F();
        b.X = r.F();
        b.Y = r.F();
        const TAlphaColor c = r.U32();
        Target.DrawLine(a, b, c, r.F());
        break;
      }
      case opDrawRoundRect: {
        const TRectF rc = r.Rect();
        const float rx = r.F(), ry = r.F();
        const TAlphaColor s = r.U32(), f = r.U32();
        Target.DrawRoundRect(rc, rx, ry, s, f, r.F());
        break;
      }
      case opDrawEllipse: {
        const TRectF rc = r.Rect();
        const TAlphaColor s = r.U32(), f = r.U32();
        Target.DrawEllipse(rc, s, f, r.F());
        break;
      }
      case opFillPath: {
        const TAlphaColor c = r.U32();
        std::vector<TPointF> pts(r.U32());
        for (TPointF& p : pts) {
          p.X = r.F();
          p.Y = r.F();
        }
        Target.FillPath(pts, c);
        break;
      }
      case opDrawText: {
        const std::string s = r.String();
        const TRectF rc = r.Rect();
        const TRptFont& font = FFonts.at(r.U32());
        const auto ha = static_cast<TRptHorzAlign>(r.U8());
        const auto va = static_cast<TRptVertAlign>(r.U8());
        const bool wrap = r.U8() != 0;
        Target.DrawText(s, rc, font, ha, va, wrap, r.U32());
        break;
      }
      case opDrawImage: {
        const TRectF rc = r.Rect();
        const TRptBitmap& bmp = *FImages.at(r.U32());
        Target.DrawImage(rc, bmp, static_cast<TRptImageScale>(r.U8()));
        break;
      }
      default:
        throw EQuilletError("Damaged page record");
    }
  }
  Target.EndPage();
}

QImage RenderRecordedPage(const TPageRecorder& Records, int32_t Index, float Zoom) {
  const TSizeF size = Records.PageSize(Index);
  const float w = std::max(1.0f, size.Width), h = std::max(1.0f, size.Height);
  const float scale = PreviewScale(w, h, Zoom);
  QImage image(std::max(1, static_cast<int>(std::lround(w * scale))), std::max(1, static_cast<int>(std::lround(h * scale))),
               QImage::Format_RGB32);
  image.fill(Qt::white);
  if (Index < 0 || Index >= Records.PageCount()) return image;
  QPainter painter(&image);
  PreparePagePainter(painter);
  TFmxRptCanvas canvas(&painter, scale, 0.0f, w, h);
  canvas.SetFontDirs(Records.FontDirs());
  canvas.SetOnlyPageIdx(0);
  Records.Replay(Index, canvas);
  painter.end();
  return image;
}

}  // namespace quillet
