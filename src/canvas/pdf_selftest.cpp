// Developer demonstration pages for the PDF surface: open them in a viewer to see that shapes,
// colours, alignment, wrapping, accented text and embedded fonts come out as intended.
#include <cmath>
#include <memory>

#include "canvas/pdf_canvas.h"
#include "canvas/pdf_font.h"

namespace quillet {

namespace {
constexpr float kA4W = 595, kA4H = 842;
TRectF Box(float L, float T, float W, float H) { return TRectF{L, T, L + W, T + H}; }
}  // namespace

void PDFVectorSelfTest(const std::string& FileName) {
  TPdfRptCanvas c(FileName);
  c.Writer().SetInfoTitle("Quillet vector self-test");
  c.BeginPage(kA4W, kA4H);
  const TRptFont caption = RptFont("DejaVu Sans", 9, false, false);
  c.DrawText("Fills, strokes, lines, rounded rectangles, ellipses and paths", Box(40, 30, 515, 20),
             RptFont("DejaVu Sans", 14, true, false), rhaLeft, rvaTop, false, 0xFF1F3B57);

  const TAlphaColor fills[] = {0xFFE53935, 0xFFFB8C00, 0xFFFDD835, 0xFF43A047, 0xFF1E88E5, 0xFF8E24AA};
  for (int i = 0; i < 6; ++i) c.FillRect(Box(40 + i * 85.f, 70, 75, 40), fills[i]);
  c.DrawText("FillRect in six colours", Box(40, 112, 300, 14), caption, rhaLeft, rvaTop, false, 0xFF000000);

  const float widths[] = {0, 0.5f, 1, 2, 4};
  for (int i = 0; i < 5; ++i) c.StrokeRect(Box(40 + i * 102.f, 140, 90, 40), 0xFF000000, widths[i]);
  c.DrawText("StrokeRect, widths 0 (drawn at 0.1), 0.5, 1, 2 and 4", Box(40, 184, 400, 14), caption, rhaLeft,
             rvaTop, false, 0xFF000000);

  for (int i = 0; i < 10; ++i) {
    const float x = 40 + i * 51.f;
    c.DrawLine(TPointF{x, 210}, TPointF{x + 40, 260}, 0xFF000000 | (i * 25u << 16), 0.5f + i * 0.5f);
  }
  c.DrawLine(TPointF{40, 270}, TPointF{555, 270}, 0xFF1E88E5, 1);
  c.DrawText("DrawLine, growing widths", Box(40, 274, 300, 14), caption, rhaLeft, rvaTop, false, 0xFF000000);

  c.DrawRoundRect(Box(40, 300, 150, 80), 12, 12, 0xFF1F3B57, 0xFFE3F2FD, 1.5f);
  c.DrawRoundRect(Box(210, 300, 150, 80), 40, 20, 0xFF000000, 0x00000000, 1);
  c.DrawRoundRect(Box(380, 300, 150, 80), 0, 0, 0x00000000, 0xFFFFCDD2, 1);
  c.DrawText("DrawRoundRect: fill and stroke, stroke only, fill only with zero radii", Box(40, 384, 515, 14),
             caption, rhaLeft, rvaTop, false, 0xFF000000);

  c.DrawEllipse(Box(40, 410, 150, 80), 0xFF8E24AA, 0xFFF3E5F5, 2);
  c.DrawEllipse(Box(230, 410, 80, 80), 0xFF000000, 0x00000000, 1);
  c.DrawEllipse(Box(350, 410, 80, 80), 0x00000000, 0xFF43A047, 1);
  c.DrawEllipse(Box(470, 410, 60, 80), 0x00000000, 0x00000000, 1);  // both transparent: nothing
  c.DrawText("DrawEllipse: ellipse, circle outline, filled circle (and an invisible one)", Box(40, 494, 515, 14),
             caption, rhaLeft, rvaTop, false, 0xFF000000);

  std::vector<TPointF> star;
  for (int i = 0; i < 10; ++i) {
    const double a = -M_PI / 2 + i * M_PI / 5;
    const double r = (i % 2) ? 18 : 45;
    star.push_back(TPointF{static_cast<float>(100 + r * std::cos(a)), static_cast<float>(570 + r * std::sin(a))});
  }
  c.FillPath(star, 0xFFFDD835);
  c.FillPath({TPointF{200, 610}, TPointF{260, 525}, TPointF{320, 610}}, 0xFFE53935);
  c.FillPath({TPointF{350, 530}, TPointF{450, 530}, TPointF{350, 610}, TPointF{450, 610}}, 0xFF1E88E5);
  c.DrawText("FillPath: star, triangle, a self-crossing bow tie (nonzero winding)", Box(40, 620, 515, 14), caption,
             rhaLeft, rvaTop, false, 0xFF000000);
  c.EndPage();
  c.SaveToFile();
}

void PDFCanvasTextSelfTest(const std::string& FileName) {
  TPdfRptCanvas c(FileName);
  c.Writer().SetInfoTitle("Quillet text self-test");
  c.BeginPage(kA4W, kA4H);
  const TRptFont body = RptFont("DejaVu Sans", 11, false, false);
  c.DrawText("Text: alignment, clipping, wrapping and accented letters", Box(40, 30, 515, 20),
             RptFont("DejaVu Sans", 14, true, false), rhaLeft, rvaTop, false, 0xFF1F3B57);

  const TRptHorzAlign ha[] = {rhaLeft, rhaCenter, rhaRight};
  const TRptVertAlign va[] = {rvaTop, rvaCenter, rvaBottom};
  const char* names[] = {"Left", "Center", "Right"};
  const char* vnames[] = {"Top", "Center", "Bottom"};
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      const TRectF r = Box(40 + col * 172.f, 70 + row * 50.f, 165, 44);
      c.StrokeRect(r, 0xFFB0BEC5, 0.5f);
      c.DrawText(std::string(names[col]) + " / " + vnames[row], r, body, ha[col], va[row], false, 0xFF000000);
    }
  }

  const char* samples[] = {
      "Türkçe: Şişli'de ığdır ağacı, ÇĞİÖŞÜ çğıöşü",
      "Deutsch: Grüße aus Köln, Straße, Äpfel und Öl",
      "Ελληνικά: Καλημέρα κόσμε",
      "Русский: Съешь же ещё этих мягких французских булок",
      "Français: Là-bas, l'œuvre d'un garçon très âgé",
      "Old Italic, beyond the Basic Multilingual Plane: \xF0\x90\x8C\x80\xF0\x90\x8C\x81\xF0\x90\x8C\x82",
  };
  float y = 230;
  for (const char* s : samples) {
    c.DrawText(s, Box(40, y, 515, 18), body, rhaLeft, rvaCenter, false, 0xFF000000);
    y += 20;
  }
  const TRptFont styles[] = {RptFont("DejaVu Sans", 11, true, false), RptFont("DejaVu Sans", 11, false, true),
                             RptFont("DejaVu Sans", 11, true, true), RptFont("DejaVu Serif", 11, false, false),
                             RptFont("DejaVu Sans Mono", 11, false, false)};
  for (const auto& f : styles) {
    c.DrawText(f.Name + (f.Bold ? " bold" : "") + (f.Italic ? " italic" : "") + ": Quillet 0123456789", Box(40, y, 515, 18),
               f, rhaLeft, rvaCenter, false, 0xFF37474F);
    y += 20;
  }

  const std::string paragraph =
      "A report engine walks the bands of a report over the records of its data, evaluates the "
      "expressions of every element and breaks pages where the content ends. This paragraph is "
      "wrapped at the width of its box, keeps  double  spaces inside a line, and starts a new line "
      "here:\r\nafter a line break, and again after an empty line:\n\nThe end. "
      "Averyveryveryverylongwordthatdoesnotfitonalineofitsownstayswhole.";
  const TRectF para = Box(40, y + 10, 300, 200);
  c.StrokeRect(para, 0xFFB0BEC5, 0.5f);
  c.DrawText(paragraph, para, body, rhaLeft, rvaTop, true, 0xFF000000);
  const TRectF cut = Box(360, y + 10, 195, 60);
  c.StrokeRect(cut, 0xFFE53935, 0.5f);
  c.DrawText(paragraph, cut, body, rhaRight, rvaTop, true, 0xFF1E88E5);
  c.EndPage();
  c.SaveToFile();
}

void PDFFontSelfTest(const std::string& FontPath, const std::string& FileName) {
  TPDFVectorWriter w(FileName);
  w.SetInfoTitle("Quillet font self-test");
  std::unique_ptr<TPDFFont> font = TPDFFont::LoadFromFile(FontPath, "", false, false);
  font->SetObjNum(w.AllocObj());
  double advance = 0;
  const std::string hex = font->EncodeText("Pijamalı hasta yağız şoföre çabucak güvendi. İĞÜŞÖÇ ığüşöç", advance);
  const std::string content = "BT\n/F0 14 Tf\n0 0 0 rg\n40 780 Td\n<" + hex + "> Tj\nET\n";
  const int32_t contentObj = w.AddContentStream(std::string_view(content));
  w.AddPage(595, 842, contentObj, "<< /Font << /F0 " + std::to_string(font->ObjNum()) + " 0 R >> >>");
  font->EmitTo(w);
  w.SaveToFile();
}

}  // namespace quillet
