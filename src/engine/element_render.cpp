// Drawing one element of a band: texts, edit boxes, shapes, marks, memos, images, barcodes, QR
// codes, static tables and static subreports. Nothing is drawn in a counting pass.
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "canvas/image_codecs.h"
#include "engine/report_engine.h"
#include "engine/rich_text.h"
#include "symbols/barcode.h"
#include "symbols/qr_code.h"
#include "symbols/table_draw.h"

namespace quillet {

namespace {

bool Visible(TAlphaColor C) { return (C >> 24) != 0; }

// Whether the box from (X1, Y1) to (X2, Y2), widened by Slack, misses the page entirely (or has
// no position at all). Such an element shows nothing, and its far-away numbers would only burden
// the file.
bool WhollyOffPage(const TReportPage& Page, double X1, double Y1, double X2, double Y2, double Slack) {
  if (!std::isfinite(X1) || !std::isfinite(Y1) || !std::isfinite(X2) || !std::isfinite(Y2)) return true;
  return std::max(X1, X2) + Slack < 0 || std::min(X1, X2) - Slack > Page.PageWidth || std::max(Y1, Y2) + Slack < 0 ||
         std::min(Y1, Y2) - Slack > Page.PageHeight;
}

bool RegularFileExists(const std::string& Path) {
  std::error_code ec;
  return !Path.empty() && std::filesystem::is_regular_file(Path, ec);
}

// Flows the runs of a memo into lines from (left + 2, top + 2), breaking only at spaces so that
// the text stays left of right − 2 where it can. A word is what lies between spaces, line breaks
// and new paragraphs, across runs: adjacent runs with no space between them move together. A word
// wider than the line stays whole on a line of its own. A line is 1.3 times the largest font
// size on it high, 2 points apart from the next; a line without text takes the size of the run
// in force. Nothing clips the memo to its element.
//
// Each stretch of text is measured once and the widths are added up (advances add up exactly),
// so a long memo costs time in proportion to its length.
class TMemoFlow {
 public:
  TMemoFlow(IRptCanvas& Canvas, const TRectF& R, std::vector<TRTFRun> Runs)
      : FCanvas(Canvas), FLeft(R.Left + 2), FRight(R.Right - 2), FY(R.Top + 2), FX(FLeft), FRuns(std::move(Runs)) {
    FFonts.reserve(FRuns.size());
    for (const TRTFRun& Run : FRuns) FFonts.push_back(RptFont(Run.FontName, Run.FontSize, Run.Bold, Run.Italic));
  }

  void Draw() {
    for (size_t I = 0; I < FRuns.size(); ++I) {
      if (FRuns[I].NewPara && I > 0) EndLine(false);
      FRunInForce = I;
      const std::string& T = FRuns[I].Text;
      for (size_t P = 0; P < T.size();) {
        if (T[P] == '\r' || T[P] == '\n') {  // CR LF, CR and LF each end a line
          P += T[P] == '\r' && P + 1 < T.size() && T[P + 1] == '\n' ? 2 : 1;
          EndLine(false);
          continue;
        }
        size_t Q = P;
        if (T[P] == ' ') {
          while (Q < T.size() && T[Q] == ' ') ++Q;
          EndWord();
          Add(FSpaces, FSpacesWidth, I, P, Q);
        } else {
          while (Q < T.size() && T[Q] != ' ' && T[Q] != '\r' && T[Q] != '\n') ++Q;
          Add(FWord, FWordWidth, I, P, Q);
        }
        P = Q;
      }
    }
    EndLine(false);
  }

 private:
  // Bytes [Begin, End) of run Run, Width points wide, placed at X once on a line.
  struct TPiece {
    size_t Run;
    size_t Begin;
    size_t End;
    float Width;
    float X = 0;
  };

  void Add(std::vector<TPiece>& To, float& Width, size_t Run, size_t Begin, size_t End) {
    const float W = FCanvas.MeasureText(FRuns[Run].Text.substr(Begin, End - Begin), FFonts[Run]).Width;
    To.push_back({Run, Begin, End, W});
    Width += W;
  }

  // Places the word collected so far: after the spaces before it, or, when it does not fit there
  // behind other words, at the start of the next line, leaving the spaces it broke at behind.
  void EndWord() {
    if (FWord.empty()) return;
    if (FLineHasWord && FX + FSpacesWidth + FWordWidth > FRight) {
      FSpaces.clear();
      FSpacesWidth = 0;
      EndLine(true);
    }
    Place(FSpaces, FSpacesWidth);
    Place(FWord, FWordWidth);
    FLineHasWord = true;
  }

  void Place(std::vector<TPiece>& Pieces, float& Width) {
    for (TPiece& P : Pieces) {
      FLineHeight = std::max(FLineHeight, 1.3f * FRuns[P.Run].FontSize);
      P.X = FX;
      FX += P.Width;
      // Pieces of one run that follow each other in its text are drawn as one.
      if (!FLine.empty() && FLine.back().Run == P.Run && FLine.back().End == P.Begin) {
        FLine.back().End = P.End;
        FLine.back().Width += P.Width;
      } else {
        FLine.push_back(P);
      }
    }
    Pieces.clear();
    Width = 0;
  }

  // Draws the line and moves down to the next. Spaces at the end of a line stay on it, unless the
  // line ends because the next word did not fit after them (Wrapped: the caller dropped them).
  void EndLine(bool Wrapped) {
    if (!Wrapped) {
      EndWord();
      Place(FSpaces, FSpacesWidth);
    }
    if (FLine.empty() && FLineHeight == 0 && FRunInForce < FRuns.size())
      FLineHeight = 1.3f * FRuns[FRunInForce].FontSize;
    for (const TPiece& P : FLine) {
      const TRTFRun& Run = FRuns[P.Run];
      FCanvas.DrawText(Run.Text.substr(P.Begin, P.End - P.Begin),
                       TRectF{P.X, FY, P.X + P.Width + 2, FY + FLineHeight}, FFonts[P.Run], rhaLeft, rvaTop, false,
                       Run.Color);
    }
    FLine.clear();
    FY += FLineHeight + 2;
    FX = FLeft;
    FLineHeight = 0;
    FLineHasWord = false;
  }

  IRptCanvas& FCanvas;
  const float FLeft;
  const float FRight;
  float FY;
  float FX;
  std::vector<TRTFRun> FRuns;
  std::vector<TRptFont> FFonts;
  size_t FRunInForce = 0;
  std::vector<TPiece> FLine;    // placed on the current line, waiting for its height
  std::vector<TPiece> FWord;    // the word being collected
  float FWordWidth = 0;
  std::vector<TPiece> FSpaces;  // spaces after the last placed word
  float FSpacesWidth = 0;
  float FLineHeight = 0;
  bool FLineHasWord = false;
};

}  // namespace

// The user's documents folder: $HOME/Documents (the password database when HOME is unset).
std::string UserDocumentsFolder() {
  std::string home;
  if (const char* h = std::getenv("HOME"); h && *h) {
    home = h;
  } else {
    struct passwd pw {};
    struct passwd* result = nullptr;
    char buf[4096];
    if (getpwuid_r(getuid(), &pw, buf, sizeof buf, &result) == 0 && result && result->pw_dir) home = result->pw_dir;
  }
  if (home.empty()) return std::string();
  return (std::filesystem::path(home) / "Documents").string();
}

std::string TReportEngine::LocateImage(const TReportElement& El) const {
  const std::filesystem::path name(El.ImageFile);
  if (name.is_absolute()) return RegularFileExists(name.string()) ? name.string() : std::string();
  if (const std::string docs = UserDocumentsFolder(); !docs.empty()) {
    const std::string p = (std::filesystem::path(docs) / name).string();
    if (RegularFileExists(p)) return p;
  }
  // Next beside the report file, as subreports are, so a report and its logo travel together.
  if (!FReportFile.empty()) {
    const std::string p = (std::filesystem::path(FReportFile).parent_path() / name).string();
    if (RegularFileExists(p)) return p;
  }
  return std::string();
}

void TReportEngine::CvRenderEl(const TReportElement& El, float BandTop, float OffsetX) {
  if (FCvCountOnly || !FCvCanvas) return;
  IRptCanvas& c = *FCvCanvas;
  const float x = OffsetX + El.Left + FCvBaseX;
  const float y = BandTop + El.Top;
  const TRectF r{x, y, x + El.Width, y + El.Height};
  const double slack = 1.0 + std::max({0.0, double(El.BorderWidth), double(El.StrokeWidth)});
  if (!FCvDesign && FCvPage &&
      (El.ElemType == retLine ? WhollyOffPage(*FCvPage, x, y, OffsetX + El.X2 + FCvBaseX, BandTop + El.Y2, slack)
                              : WhollyOffPage(*FCvPage, r.Left, r.Top, r.Right, r.Bottom, slack)))
    return;
  const TRptFont font = RptFont(El.FontName, El.FontSize, El.FontBold, El.FontItalic);

  switch (El.ElemType) {
    case retLabel:
      if (Visible(El.BackColor)) c.FillRect(r, El.BackColor);
      c.DrawText(ResolveText(El), r, font, El.HorzAlign, El.VertAlign, El.WordWrap, El.TextColor);
      break;
    case retEdit:
      if (Visible(El.BackColor)) c.FillRect(r, El.BackColor);
      RenderEditBorder(El, r);
      // An edit box always shows one line, left-aligned and centred, inset from its border.
      c.DrawText(ResolveText(El), TRectF{r.Left + 3, r.Top + 2, r.Right - 2, r.Bottom - 2}, font, rhaLeft, rvaCenter,
                 false, El.TextColor);
      break;
    case retRectangle:
      if (Visible(El.FillColor)) c.FillRect(r, El.FillColor);
      if (Visible(El.StrokeColor)) c.StrokeRect(r, El.StrokeColor, std::max(El.StrokeWidth, 0.5f));
      break;
    case retRoundRect:
      c.DrawRoundRect(r, El.CornerX, El.CornerY, El.StrokeColor, El.FillColor, El.StrokeWidth);
      break;
    case retEllipse:
    case retCircle:
      c.DrawEllipse(r, El.StrokeColor, El.FillColor, El.StrokeWidth);
      break;
    case retLine:
      // X2/Y2 are the far end in band coordinates, like Left/Top.
      c.DrawLine(TPointF{OffsetX + El.X2 + FCvBaseX, BandTop + El.Y2}, TPointF{x, y}, El.StrokeColor,
                 std::max(El.StrokeWidth, 0.5f));
      break;
    case retCheckBox:
    case retRadioButton:
      RenderMark(El, r, font);
      break;
    case retMemo:
      if (Visible(El.BackColor)) c.FillRect(r, El.BackColor);
      RenderMemo(El, r);
      break;
    case retImage: {
      if (El.ImageFile.empty() && !FCvDesign) break;
      const std::string path = El.ImageFile.empty() ? std::string() : LocateImage(El);
      if (path.empty() && FCvDesign) {
        DrawDesignFrame(El, r, El.ImageFile.empty() ? std::string("Image") : "Image: " + El.ImageFile);
        break;
      }
      if (path.empty()) break;
      // Image files are read tolerantly: a damaged one is drawn as a missing one is, with a warning.
      TRptBitmap bmp;
      try {
        bmp = LoadImageFile(path);
      } catch (const EQuilletError& e) {
        AddWarning(CurrentElementPlace() + ": image file " + path + " cannot be read (" + e.what() + "); not drawn");
        break;
      } catch (const std::bad_alloc&) {
        AddWarning(CurrentElementPlace() + ": image file " + path + " cannot be read (out of memory); not drawn");
        break;
      }
      c.DrawImage(r, bmp, El.ImageScale);
      break;
    }
    case retBarcode:
      DrawBarcode(c, ResolveText(El), r, El.TextColor, El.BackColor, El.ShowBarcodeText);
      break;
    case retQRCode:
      DrawQRCode(c, ResolveText(El), r, El.TextColor, El.BackColor);
      break;
    case retTable: {
      if (!El.DataField.empty() && !FCvDesign) break;  // a data table is flowed by the walker
      std::vector<std::string> cells;
      cells.reserve(El.CellTexts.size());
      for (const std::string& s : El.CellTexts) cells.push_back(ResolveCellText(s));
      DrawTable(c, r, El.Rows, El.Cols, El.StrokeColor, El.FillColor, El.StrokeWidth, cells, font, El.TextColor,
                El.HorzAlign, El.VertAlign, TableStyleOf(El));
      break;
    }
    case retSubreport:
      if (FCvDesign)
        DrawDesignFrame(El, r, (El.SubReportFlow ? "Subreport (flowing): " : "Subreport: ") + El.SubReportFile);
      else if (!El.SubReportFlow)
        CvRenderSubreport(El, x, y);
      break;
    default:
      break;
  }
}

void TReportEngine::DrawDesignFrame(const TReportElement& El, const TRectF& R, const std::string& Caption) {
  IRptCanvas& c = *FCvCanvas;
  c.FillRect(R, 0x18406080);
  c.StrokeRect(R, 0xFF8090A0, 0.5f);
  const TRectF inner{R.Left + 3, R.Top + 2, R.Right - 3, R.Bottom - 2};
  if (inner.Right > inner.Left && inner.Bottom > inner.Top)
    c.DrawText(Caption, inner, RptFont(El.FontName, std::min(El.FontSize, 9.0f), false, true), rhaLeft, rvaTop, true,
               0xFF506070);
}

void TReportEngine::DrawDesignElement(const IRptCanvasPtr& Canvas, const TReportPage& Page,
                                      const TReportElement& El, float BandTop) {
  if (!Canvas) return;
  const IRptCanvasPtr savedCanvas = FCvCanvas;
  const bool savedCount = FCvCountOnly, savedDesign = FCvDesign;
  const float savedBaseX = FCvBaseX;
  FCvCanvas = Canvas;
  FCvCountOnly = false;
  FCvDesign = true;
  FCvBaseX = 0;
  try {
    CvRenderEl(El, BandTop, Page.MarginLeft);
  } catch (...) {
    FCvCanvas = savedCanvas;
    FCvCountOnly = savedCount;
    FCvDesign = savedDesign;
    FCvBaseX = savedBaseX;
    throw;
  }
  FCvCanvas = savedCanvas;
  FCvCountOnly = savedCount;
  FCvDesign = savedDesign;
  FCvBaseX = savedBaseX;
}

void TReportEngine::RenderEditBorder(const TReportElement& El, const TRectF& R) {
  IRptCanvas& c = *FCvCanvas;
  const float w = std::max(El.BorderWidth, 0.5f);
  if (El.BorderTop && El.BorderRight && El.BorderBottom && El.BorderLeft) {
    c.StrokeRect(R, El.BorderColor, w);
    return;
  }
  if (El.BorderTop) c.DrawLine(TPointF{R.Left, R.Top}, TPointF{R.Right, R.Top}, El.BorderColor, w);
  if (El.BorderRight) c.DrawLine(TPointF{R.Right, R.Top}, TPointF{R.Right, R.Bottom}, El.BorderColor, w);
  if (El.BorderBottom) c.DrawLine(TPointF{R.Left, R.Bottom}, TPointF{R.Right, R.Bottom}, El.BorderColor, w);
  if (El.BorderLeft) c.DrawLine(TPointF{R.Left, R.Top}, TPointF{R.Left, R.Bottom}, El.BorderColor, w);
}

void TReportEngine::RenderMark(const TReportElement& El, const TRectF& R, const TRptFont& Font) {
  IRptCanvas& c = *FCvCanvas;
  const float s = std::min(14.0f, El.Height);
  const float top = R.Top + (El.Height - s) / 2;
  const TRectF b{R.Left, top, R.Left + s, top + s};
  if (Visible(El.BackColor)) c.FillRect(R, El.BackColor);
  if (El.ElemType == retCheckBox) {
    c.StrokeRect(b, El.BorderColor, 1.0f);
    if (El.Checked) {
      const TPointF p1{b.Left + 0.2f * s, b.Top + 0.5f * s};
      const TPointF p2{b.Left + 0.45f * s, b.Bottom - 0.22f * s};
      const TPointF p3{b.Right - 0.15f * s, b.Top + 0.2f * s};
      c.DrawLine(p1, p2, El.TextColor, 1.5f);
      c.DrawLine(p2, p3, El.TextColor, 1.5f);
    }
  } else {
    c.DrawEllipse(b, El.BorderColor, 0, 1.0f);
    if (El.Checked) {
      const float inset = 0.28f * s;
      c.DrawEllipse(TRectF{b.Left + inset, b.Top + inset, b.Right - inset, b.Bottom - inset}, 0, El.TextColor, 0);
    }
  }
  c.DrawText(ResolveText(El), TRectF{b.Right + 4, R.Top, R.Right, R.Bottom}, Font, rhaLeft, El.VertAlign, false,
             El.TextColor);
}

void TReportEngine::RenderMemo(const TReportElement& El, const TRectF& R) {
  TMemoFlow(*FCvCanvas, R, ParseRichText(ResolveText(El), El.FontName, El.FontSize, El.TextColor)).Draw();
}

}  // namespace quillet
