// The PDF surface: IRptCanvas operations become page-description operators in a content buffer;
// each finished page goes to the object writer as a compressed content stream and a page object.
// Text is set in embedded subset fonts from the font manager. Each distinct image is embedded once
// per document: a JPEG source as it is where every reader decodes it alike, any other image
// losslessly (Flate, grey or RGB as the pixels need, alpha as a soft mask), or as JPEG at a chosen
// quality.
//
// Page content is written as changes of state: the canvas knows the page's graphics and text
// state (what a q/Q pair restores included) and writes a colour, width or font operator only when
// its value changes. Texts in a row share one text object, each placed relative to the previous
// one, and a text gets a clip only where its glyphs' ink can leave its box.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "canvas/font_manager.h"
#include "canvas/pdf_writer.h"
#include "canvas/rpt_canvas.h"

namespace quillet {

class TPdfRptCanvas : public IRptCanvas {
 public:
  // Writes a new document to FileName (the file appears only when SaveToFile completes).
  explicit TPdfRptCanvas(const std::string& FileName);
  // Draws into a writer the caller owns and finishes.
  explicit TPdfRptCanvas(TPDFVectorWriter& Writer);
  ~TPdfRptCanvas() override;

  // Closes an open page, writes the fonts and finishes the file.
  void SaveToFile();
  // Ends the page and embeds the fonts, as SaveToFile does first; the warnings are then complete.
  void PrepareSave();

  TPDFVectorWriter& Writer() { return *FWriter; }

  // 0 (the default): images without a JPEG source are embedded losslessly. 1..100: they are
  // embedded as JPEG at that quality, shrunk to fit the largest JPEG size. JPEG sources pass
  // through either way. Applies to images first drawn after the call.
  void SetJpegQuality(int Quality);
  int JpegQuality() const noexcept { return FJpegQuality; }
  TPDFFontManager& FontManager() { return *FFontMgr; }

  void BeginPage(float WidthPt, float HeightPt) override;
  void EndPage() override;
  void FillRect(const TRectF& R, TAlphaColor Color) override;
  void StrokeRect(const TRectF& R, TAlphaColor Color, float W) override;
  void DrawLine(const TPointF& P1, const TPointF& P2, TAlphaColor Color, float W) override;
  void DrawRoundRect(const TRectF& R, float Rx, float Ry, TAlphaColor Stroke, TAlphaColor Fill, float W) override;
  void DrawEllipse(const TRectF& R, TAlphaColor Stroke, TAlphaColor Fill, float W) override;
  void FillPath(const std::vector<TPointF>& Pts, TAlphaColor Color) override;
  void DrawText(const std::string& S, const TRectF& R, const TRptFont& F, TRptHorzAlign HA, TRptVertAlign VA,
                bool WordWrap, TAlphaColor Color) override;
  TSizeF MeasureText(const std::string& S, const TRptFont& F) override;
  float MeasureWrappedHeight(const std::string& S, float W, const TRptFont& F) override;
  void DrawImage(const TRectF& R, const TRptBitmap& Bmp, TRptImageScale Mode) override;

  // What this document tolerated: fonts substituted or with damaged glyphs (the font manager's
  // warnings), then images scaled down or left out, each text once, at most
  // TPDFFontManager::kMaxWarnings in all. Font damage is known only once the file is saved.
  std::vector<std::string> Warnings() const;

  // The current page's content so far (for tests and diagnostics).
  const std::string& Content() const { return FContent; }
  bool InPage() const { return FInPage; }

  // Splits S into the lines that fit MaxWidth points at Size in Font: paragraphs at line breaks,
  // words at single spaces, a word wider than the line kept whole.
  static std::vector<std::string> WrapText(TPDFFont& Font, std::string_view S, double Size, double MaxWidth);

  // Appends a glyph string (two bytes a glyph, big-endian) as a PDF literal string: the bytes as
  // they are, "(", ")" and "\\" escaped with a backslash and CR written as \r, so that no reader
  // can take a line end apart.
  static void AppendGlyphLiteral(std::string& Out, std::span<const uint16_t> Gids);

 private:
  // What the content written so far has set: the colours and width (the page starts with black
  // and 1), the font, and whether a text object is open and where its last line started.
  struct TGState {
    uint32_t FillRgb = 0;
    uint32_t StrokeRgb = 0;
    float Width = 1;
    const TPDFFontEntry* Font = nullptr;
    float FontSize = 0;
  };
  // One line of a text about to be written: its glyphs in FGids from First, and where it goes.
  struct TTextLine {
    size_t First = 0;
    size_t Count = 0;
    double X = 0;
    double Baseline = 0;
  };

  void FmtF(double V);
  double FlipY(double Y) const { return static_cast<double>(FPageH) - Y; }
  void EmitFillColor(TAlphaColor C);
  void EmitStrokeColor(TAlphaColor C);
  void EmitColor(uint32_t Rgb, const char* Op);
  void EmitWidth(float W);
  void EmitRect(const TRectF& R);
  void EmitPoint(double X, double Y);
  void EmitCurve(double X1, double Y1, double X2, double Y2, double X3, double Y3);
  void EmitEllipsePath(double X, double Y, double W, double H);
  void EmitRoundRectPath(double X, double Y, double W, double H, double Rx, double Ry);
  // Leaves an open text object (paths, images and clips cannot stand inside one).
  void EndText();
  void PushState();
  void PopState();
  void EmitTextLine(const TTextLine& L, const TPDFFontEntry& Font, float Size, TAlphaColor Color);
  // True when the ink of the lines can reach outside R.
  bool InkLeavesBox(const std::vector<TTextLine>& Lines, TPDFFont& Font, float Size, const TRectF& R);
  std::string ResourcesDict() const;
  void AddWarning(std::string Text);

  std::unique_ptr<TPDFVectorWriter> FOwnedWriter;
  TPDFVectorWriter* FWriter = nullptr;
  std::string FContent;
  float FPageW = 0;
  float FPageH = 0;
  bool FInPage = false;
  bool FFontsEmitted = false;
  std::unique_ptr<TPDFFontManager> FFontMgr;
  std::map<std::string, int32_t> FPageFonts;
  const TPDFFontEntry* FLastPageFont = nullptr;  // already in FPageFonts for this page
  std::map<std::string, int32_t> FPageXObjs;
  // Every distinct image is written once per document, under one resource name on every page:
  // /Im1 for the first, /Im2 for the second, ... Keyed by a 128-bit hash of the size and pixels.
  struct TImageKey {
    uint64_t A = 0, B = 0;
    auto operator<=>(const TImageKey&) const = default;
  };
  struct TImageObj {
    int32_t Obj = 0;  // 0: could not be embedded
    std::string Name;
  };
  std::map<TImageKey, TImageObj> FImages;
  int32_t FImgCounter = 0;  // distinct images embedded so far
  // Writes the image object of Bmp; 0 when it cannot be embedded (with a warning).
  int32_t EmbedImage(const TRptBitmap& Bmp);
  int32_t EmbedJpegSource(const TRptBitmap& Bmp);    // 0 when the source cannot pass through
  int32_t EmbedFlate(const TRptBitmap& Bmp);
  int32_t EmbedAsJpeg(const TRptBitmap& Bmp);
  int32_t EmbedSoftMask(const TRptBitmap& Bmp);      // the alpha channel as a grey image
  int FJpegQuality = 0;
  std::vector<uint16_t> FGids;      // glyphs of the text being drawn, reused
  std::vector<TTextLine> FLines;    // its lines, reused
  std::string FAbsolute;            // scratch for an absolute text position
  TGState FState;                   // as the content written so far leaves it
  TGState FSavedState;              // what the open q restores
  bool FInText = false;             // between BT and ET
  int64_t FTextX = 0, FTextY = 0;   // start of the text object's current line, in thousandths of a point
  std::vector<std::string> FWarnings;
};

// Developer demonstrations: a page of shapes and colours, a page of aligned, accented and wrapped
// text, and a page of Turkish text in the font file FontPath under resource /F0.
void PDFVectorSelfTest(const std::string& FileName);
void PDFCanvasTextSelfTest(const std::string& FileName);
void PDFFontSelfTest(const std::string& FontPath, const std::string& FileName);

}  // namespace quillet
