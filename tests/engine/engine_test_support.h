// Shared pieces of the engine tests: a canvas that records every call together with the page it
// was made on and measures text predictably, builders for reports and in-memory data sets, and
// small queries over what was drawn.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "canvas/rpt_canvas.h"
#include "data/mem_data_set.h"
#include "engine/report_engine.h"
#include "../support/test_support.h"
#include "reportdef/report_model.h"

namespace quillet::enginetest {

enum class TKind { BeginPage, EndPage, FillRect, StrokeRect, DrawLine, DrawRoundRect, DrawEllipse, FillPath, DrawText, DrawImage };

struct TCall {
  TKind Kind = TKind::FillRect;
  int Page = 0;  // 1-based index of the canvas page the call was made on; 0 outside a page
  TRectF Rect{};
  TPointF P1{}, P2{};
  TAlphaColor Color = 0;   // fill, stroke or text colour
  TAlphaColor Color2 = 0;  // fill of DrawRoundRect and DrawEllipse
  float Width = 0;
  std::string Text = {};
  TRptFont Font{};
  TRptHorzAlign HAlign = rhaLeft;
  TRptVertAlign VAlign = rvaTop;
  bool WordWrap = false;
};

inline void PrintTo(const TCall& C, std::ostream* Os) {
  static const char* const Names[] = {"BeginPage", "EndPage",  "FillRect",  "StrokeRect", "DrawLine",
                                      "DrawRoundRect", "DrawEllipse", "FillPath", "DrawText", "DrawImage"};
  *Os << Names[static_cast<int>(C.Kind)] << "@p" << C.Page << " rect(" << C.Rect.Left << "," << C.Rect.Top << ","
      << C.Rect.Right << "," << C.Rect.Bottom << ") p(" << C.P1.X << "," << C.P1.Y << ")-(" << C.P2.X << ","
      << C.P2.Y << ") color " << std::hex << C.Color << "/" << C.Color2 << std::dec << " w " << C.Width
      << " text \"" << C.Text << "\"";
}

// Text is measured as if every byte were half the font size wide and one line the font size
// high; a wrapped text is as many lines as it has line feeds plus one, each LineHeight high.
class TTestCanvas : public IRptCanvas {
 public:
  static constexpr float LineHeight = 12;

  std::vector<TCall> Calls;
  int PagesBegun = 0;

  void BeginPage(float W, float H) override {
    ++PagesBegun;
    Calls.push_back({.Kind = TKind::BeginPage, .Page = PagesBegun, .P1 = {W, H}});
  }
  void EndPage() override { Calls.push_back({.Kind = TKind::EndPage, .Page = PagesBegun}); }
  void FillRect(const TRectF& R, TAlphaColor C) override {
    Calls.push_back({.Kind = TKind::FillRect, .Page = PagesBegun, .Rect = R, .Color = C});
  }
  void StrokeRect(const TRectF& R, TAlphaColor C, float W) override {
    Calls.push_back({.Kind = TKind::StrokeRect, .Page = PagesBegun, .Rect = R, .Color = C, .Width = W});
  }
  void DrawLine(const TPointF& A, const TPointF& B, TAlphaColor C, float W) override {
    Calls.push_back({.Kind = TKind::DrawLine, .Page = PagesBegun, .P1 = A, .P2 = B, .Color = C, .Width = W});
  }
  void DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor S, TAlphaColor F, float W) override {
    Calls.push_back({.Kind = TKind::DrawRoundRect, .Page = PagesBegun, .Rect = R, .P1 = {Rx, Ry}, .Color = S,
                     .Color2 = F, .Width = W});
  }
  void DrawEllipse(const TRectF& R, TAlphaColor S, TAlphaColor F, float W) override {
    Calls.push_back({.Kind = TKind::DrawEllipse, .Page = PagesBegun, .Rect = R, .Color = S, .Color2 = F, .Width = W});
  }
  void FillPath(const std::vector<TPointF>& Pts, TAlphaColor C) override {
    Calls.push_back({.Kind = TKind::FillPath, .Page = PagesBegun, .Color = C, .Width = static_cast<float>(Pts.size())});
  }
  void DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign H, TRptVertAlign V,
                bool Wrap, TAlphaColor C) override {
    Calls.push_back({.Kind = TKind::DrawText, .Page = PagesBegun, .Rect = R, .Color = C, .Text = S, .Font = F,
                     .HAlign = H, .VAlign = V, .WordWrap = Wrap});
  }
  TSizeF MeasureText(const std::string& S, const TRptFont& F) override {
    return {0.5f * F.Size * static_cast<float>(S.size()), F.Size};
  }
  float MeasureWrappedHeight(const std::string& S, float, const TRptFont&) override {
    return LineHeight * static_cast<float>(1 + std::count(S.begin(), S.end(), '\n'));
  }
  void DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale) override {
    // The bitmap's width travels in Width, so a test can tell which file was drawn.
    Calls.push_back({.Kind = TKind::DrawImage, .Page = PagesBegun, .Rect = R, .Width = static_cast<float>(Bmp.Width)});
  }

  // ---- Queries ----

  std::vector<TCall> OfKind(TKind K) const {
    std::vector<TCall> Out;
    for (const TCall& C : Calls)
      if (C.Kind == K) Out.push_back(C);
    return Out;
  }
  // Every call except page boundaries.
  std::vector<TCall> Drawing() const {
    std::vector<TCall> Out;
    for (const TCall& C : Calls)
      if (C.Kind != TKind::BeginPage && C.Kind != TKind::EndPage) Out.push_back(C);
    return Out;
  }
  std::vector<std::string> Texts() const {
    std::vector<std::string> Out;
    for (const TCall& C : Calls)
      if (C.Kind == TKind::DrawText) Out.push_back(C.Text);
    return Out;
  }
  std::vector<std::string> TextsOnPage(int Page) const {
    std::vector<std::string> Out;
    for (const TCall& C : Calls)
      if (C.Kind == TKind::DrawText && C.Page == Page) Out.push_back(C.Text);
    return Out;
  }
  // The first DrawText call showing exactly S.
  std::optional<TCall> FindText(const std::string& S) const {
    for (const TCall& C : Calls)
      if (C.Kind == TKind::DrawText && C.Text == S) return C;
    return std::nullopt;
  }
  int CountText(const std::string& S) const {
    return static_cast<int>(std::count_if(Calls.begin(), Calls.end(),
                                          [&](const TCall& C) { return C.Kind == TKind::DrawText && C.Text == S; }));
  }
};

// Where and on which page a text was drawn: {page, top}; {0, -1} when it was not drawn.
struct TPlace {
  int Page = 0;
  float Y = -1;
  bool operator==(const TPlace&) const = default;
};
inline void PrintTo(const TPlace& P, std::ostream* Os) { *Os << "{page " << P.Page << ", y " << P.Y << "}"; }

inline TPlace PlaceOf(const TTestCanvas& C, const std::string& Text) {
  auto Call = C.FindText(Text);
  return Call ? TPlace{Call->Page, Call->Rect.Top} : TPlace{};
}

// ---- Report builders ----

// A small page that keeps hand-computed positions short: 400 x 200 points, margins 10 at the top
// and the bottom and 20 at the left, so the body runs from y 10 to y 190.
inline void SmallPage(TReportPage& Page, int32_t Height = 200) {
  Page.PageWidth = 400;
  Page.PageHeight = Height;
  Page.MarginTop = 10;
  Page.MarginBottom = 10;
  Page.MarginLeft = 20;
  Page.MarginRight = 20;
}

inline TReportBand& AddBand(TReportPage& Page, TBandType Type, float Height, std::string DataSource = {}) {
  auto B = std::make_unique<TReportBand>();
  B->BandType = Type;
  B->Height = Height;
  B->DataSourceName = std::move(DataSource);
  Page.Bands.push_back(std::move(B));
  return *Page.Bands.back();
}

// A label in the band's top left corner, 100 x 10, so its text rectangle's top is the band's y.
inline TReportElement& AddLabel(TReportBand& Band, std::string Text, float Left = 0, float Top = 0) {
  auto E = std::make_unique<TReportElement>();
  E->ElemType = retLabel;
  E->Text = std::move(Text);
  E->Left = Left;
  E->Top = Top;
  E->Width = 100;
  E->Height = 10;
  Band.Elements.push_back(std::move(E));
  return *Band.Elements.back();
}

inline TReportElement& AddElement(TReportBand& Band, TRptElemType Type, float Left, float Top, float Width,
                                  float Height) {
  auto E = std::make_unique<TReportElement>();
  E->ElemType = Type;
  E->Left = Left;
  E->Top = Top;
  E->Width = Width;
  E->Height = Height;
  Band.Elements.push_back(std::move(E));
  return *Band.Elements.back();
}

struct TFieldDecl {
  std::string Name;
  TFieldType Type;
};

// An open in-memory data set with the given fields and records.
inline std::unique_ptr<TMemDataSet> MakeSet(const std::string& Name, const std::vector<TFieldDecl>& Fields,
                                            const std::vector<std::vector<TExprValue>>& Rows) {
  auto DS = std::make_unique<TMemDataSet>(Name);
  for (const TFieldDecl& F : Fields) DS->AddField(F.Name, F.Type);
  for (const auto& R : Rows) DS->AppendRecord(R);
  DS->Open();
  DS->First();
  return DS;
}

// A data set with one integer field "N" holding 1 .. Count.
inline std::unique_ptr<TMemDataSet> Numbers(const std::string& Name, int Count) {
  std::vector<std::vector<TExprValue>> Rows;
  for (int I = 1; I <= Count; ++I) Rows.push_back({TExprValue::FromInt(I)});
  return MakeSet(Name, {{"N", ftLargeint}}, Rows);
}

inline TExprValue I(int64_t V) { return TExprValue::FromInt(V); }
inline TExprValue F(double V) { return TExprValue::FromFloat(V); }
inline TExprValue S(std::string V) { return TExprValue::FromString(std::move(V)); }
inline TExprValue Null() { return TExprValue::Null(); }

inline TRenderPass DrawPass(int32_t TotalPages = 0, std::string TotalText = "?") {
  return TRenderPass{.CountOnly = false, .FireEvents = false, .TotalPages = TotalPages,
                     .TotalPagesText = std::move(TotalText)};
}
inline TRenderPass CountPass() {
  return TRenderPass{.CountOnly = true, .FireEvents = false, .TotalPages = 0, .TotalPagesText = "?"};
}

// Sets an environment variable for the lifetime of the object, restoring the old value after.
class TScopedEnv {
 public:
  TScopedEnv(const char* Name, const std::string& Value) : FName(Name) {
    if (const char* Old = ::getenv(Name)) FOld = Old;
    ::setenv(Name, Value.c_str(), 1);
  }
  ~TScopedEnv() {
    if (FOld) ::setenv(FName.c_str(), FOld->c_str(), 1);
    else ::unsetenv(FName.c_str());
  }
  TScopedEnv(const TScopedEnv&) = delete;
  TScopedEnv& operator=(const TScopedEnv&) = delete;

 private:
  std::string FName;
  std::optional<std::string> FOld;
};

}  // namespace quillet::enginetest
