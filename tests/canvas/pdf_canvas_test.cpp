// The PDF surface: operator lines byte for byte, and whole documents checked with outside tools.
#include <gtest/gtest.h>


#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <fstream>
#include <sstream>
#include <string>

#include "canvas/pdf_canvas.h"
#include "canvas/text_layout.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;

using test::HaveTool;

class PdfCanvasTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& Name) const { return Dir.File(Name); }
  test::TTempDir Dir;
};

TEST_F(PdfCanvasTest, ShapeOperatorsAreExact) {
  struct Case {
    const char* What;
    std::function<void(TPdfRptCanvas&)> Draw;
    float PageHeight;
    std::string Content;
  } cases[] = {
      {"fill rect", [](TPdfRptCanvas& c) { c.FillRect(TRectF{10, 20, 110, 70}, 0xFFFF0000); }, 842,
       "1 0 0 rg\n10 772 100 50 re f\n"},
      {"stroke rect width 0", [](TPdfRptCanvas& c) { c.StrokeRect(TRectF{0, 0, 10, 10}, 0xFF808080, 0); }, 100,
       "0.502 0.502 0.502 RG\n0.1 w\n0 90 10 10 re S\n"},
      {"line", [](TPdfRptCanvas& c) { c.DrawLine(TPointF{1.5f, 2}, TPointF{3, 4.25f}, 0x800000FF, 2); }, 10,
       "0 0 1 RG\n2 w\n1.5 8 m \n3 5.75 l S\n"},
      {"path", [](TPdfRptCanvas& c) { c.FillPath({TPointF{0, 0}, TPointF{10, 0}, TPointF{5, 5}}, 0xFF00FF00); }, 10,
       "0 1 0 rg\n0 10 m\n10 10 l\n5 5 l\nf\n"},
      {"path of one point", [](TPdfRptCanvas& c) { c.FillPath({TPointF{0, 0}}, 0xFF00FF00); }, 10, ""},
      {"transparent everything",
       [](TPdfRptCanvas& c) {
         c.FillRect(TRectF{0, 0, 5, 5}, 0x00FF0000);
         c.StrokeRect(TRectF{0, 0, 5, 5}, 0x00FFFFFF, 1);
         c.DrawLine(TPointF{0, 0}, TPointF{1, 1}, 0, 1);
         c.DrawEllipse(TRectF{0, 0, 5, 5}, 0, 0x00123456, 1);
         c.DrawRoundRect(TRectF{0, 0, 5, 5}, 1, 1, 0, 0, 1);
         c.FillPath({TPointF{0, 0}, TPointF{1, 1}}, 0);
         c.DrawText("x", TRectF{0, 0, 5, 5}, RptFont("DejaVu Sans", 10, false, false), rhaLeft, rvaTop, false, 0);
       },
       10, ""},
      {"ellipse",
       [](TPdfRptCanvas& c) { c.DrawEllipse(TRectF{0, 0, 100, 100}, 0x00000000, 0xFF000000, 1); }, 100,
       "100 50 m\n100 77.614 77.614 100 50 100 c\n22.386 100 0 77.614 0 50 c\n"
       "0 22.386 22.386 0 50 0 c\n77.614 0 100 22.386 100 50 c\nf\n"},
      {"round rect, radius clamped",
       [](TPdfRptCanvas& c) { c.DrawRoundRect(TRectF{0, 0, 20, 10}, 8, 20, 0xFF000000, 0x00000000, 1); }, 10,
       "8 10 m\n12 10 l\n16.418 10 20 7.761 20 5 c\n20 5 l\n20 2.239 16.418 0 12 0 c\n"
       "8 0 l\n3.582 0 0 2.239 0 5 c\n0 5 l\n0 7.761 3.582 10 8 10 c\nh\nS\n"},
  };
  for (const auto& c : cases) {
    TPdfRptCanvas canvas(Path("shapes.pdf"));
    canvas.BeginPage(100, c.PageHeight);
    c.Draw(canvas);
    EXPECT_EQ(canvas.Content(), c.Content) << c.What;
  }
}

TEST_F(PdfCanvasTest, TextLinesWrappingAndClipping) {
  const TRptFont f = RptFont("DejaVu Sans", 10, false, false);
  TPdfRptCanvas canvas(Path("text.pdf"));
  canvas.BeginPage(200, 200);
  const auto count = [](const std::string& S, const std::string& Sub) {
    size_t n = 0;
    for (size_t p = S.find(Sub); p != std::string::npos; p = S.find(Sub, p + 1)) ++n;
    return n;
  };
  canvas.DrawText("one\r\ntwo", TRectF{0, 0, 200, 100}, f, rhaLeft, rvaTop, true, 0xFF000000);
  EXPECT_EQ(count(canvas.Content(), "Tj"), 2u);
  EXPECT_EQ(canvas.Content().substr(0, 15), "BT\n/F0 10 Tf\n2 ");  // black is the page's own colour

  canvas.BeginPage(200, 200);
  canvas.DrawText("one\r\ntwo", TRectF{0, 0, 200, 100}, f, rhaLeft, rvaTop, false, 0xFF000000);
  EXPECT_EQ(count(canvas.Content(), "Tj"), 1u);

  // A box 30 points high keeps the lines whose tops lie inside it: at 0, 13.4 and 26.8 (the line
  // step is 1.15 times the line height of about 11.6).
  canvas.BeginPage(200, 200);
  canvas.DrawText("a b c d e f", TRectF{0, 0, 10, 30}, f, rhaLeft, rvaTop, true, 0xFF000000);
  EXPECT_EQ(count(canvas.Content(), "Tj"), 3u);
  EXPECT_EQ(canvas.Content().substr(0, 21), "q\n0 170 10 30 re W n\n");

  // Wrapping: a word wider than the line stays whole; the fit test includes equality.
  std::string resName;
  int32_t objNum = 0;
  TPDFFont& font = canvas.FontManager().GetFont("DejaVu Sans", false, false, resName, objNum);
  const double ab = font.TextWidth1000("ab cd") / 1000.0 * 10;
  EXPECT_EQ(TPdfRptCanvas::WrapText(font, "ab cd", 10, ab).size(), 1u);
  EXPECT_EQ(TPdfRptCanvas::WrapText(font, "ab cd", 10, ab - 0.01).size(), 2u);
  EXPECT_EQ(TPdfRptCanvas::WrapText(font, "abcdefghij", 10, 1).size(), 1u);
  EXPECT_EQ(TPdfRptCanvas::WrapText(font, "a\n\nb", 10, 100),
            (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(TPdfRptCanvas::WrapText(font, "a  b", 10, 1000), (std::vector<std::string>{"a  b"}));

  const TSizeF m = canvas.MeasureText("", f);
  EXPECT_FLOAT_EQ(m.Height, 12);
  EXPECT_FLOAT_EQ(canvas.MeasureWrappedHeight("", 50, f), 12);
  const float h1 = canvas.MeasureWrappedHeight("x", 50, f);
  EXPECT_NEAR(canvas.MeasureWrappedHeight("x\ny", 50, f), h1 * 2.15, 1e-3);
}

size_t CountOf(const std::string& S, const std::string& Sub) {
  size_t n = 0;
  for (size_t p = S.find(Sub); p != std::string::npos; p = S.find(Sub, p + 1)) ++n;
  return n;
}

// Operators are written only when the state they set changes, and the canvas knows what a q/Q
// pair restores.
TEST_F(PdfCanvasTest, ContentWritesStateChangesOnly) {
  const TRptFont sans = RptFont("DejaVu Sans", 10, false, false), bold = RptFont("DejaVu Sans", 10, true, false);
  const TRectF roomy{0, 0, 150, 30}, tight{0, 0, 150, 6};
  auto text = [](const TRptFont& F, TRectF R, TAlphaColor C) {
    return [=](TPdfRptCanvas& c) { c.DrawText("Şişli İĞ", R, F, rhaLeft, rvaCenter, false, C); };
  };
  auto rect = [](TPdfRptCanvas& c) { c.FillRect(TRectF{0, 50, 10, 60}, 0xFF0000FF); };
  auto line = [](TPdfRptCanvas& c) { c.DrawLine(TPointF{0, 0}, TPointF{10, 10}, 0xFF00FF00, 2); };
  using TDraw = std::function<void(TPdfRptCanvas&)>;
  const struct {
    const char* What;
    std::vector<TDraw> Draws;
    size_t BT, Tf, rg, RG, w, Clips;
  } cases[] = {
      {"texts in a row share a text object", {text(sans, roomy, 0xFF000000), text(sans, roomy, 0xFF000000)}, 1, 1, 0, 0, 0, 0},
      {"a colour is set once", {text(sans, roomy, 0xFFFF0000), text(sans, roomy, 0xFFFF0000)}, 1, 1, 1, 0, 0, 0},
      {"alpha is not a change", {text(sans, roomy, 0xFFFF0000), text(sans, roomy, 0x80FF0000)}, 1, 1, 1, 0, 0, 0},
      {"a new font or colour is", {text(sans, roomy, 0xFFFF0000), text(bold, roomy, 0xFF000000)}, 1, 2, 2, 0, 0, 0},
      {"a path ends the text object, the font stays set",
       {text(sans, roomy, 0xFF000000), rect, text(sans, roomy, 0xFF000000)}, 2, 1, 2, 0, 0, 0},
      {"the path's colour is the text's colour now",
       {rect, text(sans, roomy, 0xFF0000FF)}, 1, 1, 1, 0, 0, 0},
      {"a text whose ink leaves its box is clipped", {text(sans, tight, 0xFF000000)}, 1, 1, 0, 0, 0, 1},
      {"what Q restores is written again",
       {text(sans, tight, 0xFFFF0000), text(sans, roomy, 0xFFFF0000)}, 2, 2, 2, 0, 0, 1},
      {"stroke colour and width once", {line, line}, 0, 0, 0, 1, 1, 0},
  };
  for (const auto& c : cases) {
    TPdfRptCanvas canvas(Path("state.pdf"));
    canvas.BeginPage(200, 200);
    for (const TDraw& d : c.Draws) d(canvas);
    const std::string& s = canvas.Content();
    EXPECT_EQ(CountOf(s, "BT\n"), c.BT) << c.What << "\n" << s;
    EXPECT_LE(CountOf(s, "BT\n") - CountOf(s, "ET\n"), 1u) << c.What;  // the last one may be open
    EXPECT_EQ(CountOf(s, " Tf\n"), c.Tf) << c.What;
    EXPECT_EQ(CountOf(s, " rg\n"), c.rg) << c.What;
    EXPECT_EQ(CountOf(s, " RG\n"), c.RG) << c.What;
    EXPECT_EQ(CountOf(s, " w\n"), c.w) << c.What;
    EXPECT_EQ(CountOf(s, " re W n\n"), c.Clips) << c.What;
    EXPECT_EQ(CountOf(s, "q\n"), c.Clips) << c.What;
    canvas.EndPage();
  }
}

// Lines placed by moves relative to the previous one land exactly where their absolute positions
// would: the content stream is read back and each move added up in thousandths of a point.
TEST_F(PdfCanvasTest, RelativeMovesLandOnAbsolutePositions) {
  const TRptFont f = RptFont("DejaVu Sans", 7.3f, false, false);
  TPdfRptCanvas canvas(Path("moves.pdf"));
  canvas.BeginPage(595.276f, 841.89f);
  std::vector<std::pair<double, double>> expected;  // (x, baseline) of each text, in page points
  std::string resName;
  int32_t objNum = 0;
  TPDFFont& font = canvas.FontManager().GetFont("DejaVu Sans", false, false, resName, objNum);
  const TTextMetrics m = TextMetricsOf(font, f.Size);
  const TRptHorzAlign aligns[] = {rhaLeft, rhaCenter, rhaRight};
  for (int i = 0; i < 150; ++i) {
    const float left = 20.37f + static_cast<float>(i % 5) * 101.13f, top = 30.1f + static_cast<float>(i / 5) * 25.7f;
    const TRectF r{left, top, left + 97.77f, top + 24.3f};
    const std::string s = "Row " + std::to_string(i * 7919 % 1000);
    canvas.DrawText(s, r, f, aligns[i % 3], rvaCenter, false, 0xFF000000);
    const double baseline = TextBaseline(TextBlockTop(r, rvaCenter, 1, m), m, 0);
    expected.emplace_back(TextLineX(r, aligns[i % 3], font.TextWidth1000(s) / 1000.0 * f.Size),
                          841.89f - baseline);
  }
  // Numbers of the content in thousandths; BT starts at the origin, Td moves, Tm sets.
  std::istringstream in(canvas.Content());
  std::vector<std::string> stack;
  int64_t x = 0, y = 0;
  size_t n = 0;
  const auto thousandths = [](const std::string& T) { return std::llround(std::stod(T) * 1000); };
  for (std::string tok; in >> tok;) {
    if (tok == "BT") {
      x = y = 0;
    } else if (tok == "Td") {
      x += thousandths(stack[stack.size() - 2]);
      y += thousandths(stack[stack.size() - 1]);
    } else if (tok == "Tm") {
      x = thousandths(stack[stack.size() - 2]);
      y = thousandths(stack[stack.size() - 1]);
    } else if (tok == "Tj") {
      ASSERT_LT(n, expected.size());
      EXPECT_EQ(x, std::llround(expected[n].first * 1000)) << "text " << n;
      EXPECT_EQ(y, std::llround(expected[n].second * 1000)) << "text " << n;
      ++n;
    }
    stack.push_back(tok);
  }
  EXPECT_EQ(n, expected.size());
  EXPECT_GT(CountOf(canvas.Content(), " Td\n"), 50u);  // the moves are really relative
}

// Every two-byte glyph value survives the literal string encoding: a file holding all 65,536 of
// them, read back by qpdf.
TEST_F(PdfCanvasTest, GlyphLiteralsRoundTripThroughQpdf) {
  if (!HaveTool("qpdf")) GTEST_SKIP() << "qpdf not installed";
  const std::string file = Path("strings.pdf");
  {
    TPDFVectorWriter w(file);
    // 0x9F9F first: a byte PDFDocEncoding leaves undefined, so qpdf shows each string as bytes.
    for (uint32_t block = 0; block < 256; ++block) {
      std::vector<uint16_t> gids{0x9F9F};
      for (uint32_t lo = 0; lo < 256; ++lo) gids.push_back(static_cast<uint16_t>(block << 8 | lo));
      std::string body;
      TPdfRptCanvas::AppendGlyphLiteral(body, gids);
      w.BeginObj(w.AllocObj());
      w.WB(body);
      w.WL("");
      w.EndObj();
    }
    w.SaveToFile();
  }
  int status = -1;
  const std::string json = test::RunTool("qpdf --json-output '" + file + "' 2>&1", &status);
  ASSERT_EQ(status, 0) << json.substr(0, 500);
  std::string all;
  for (uint32_t v = 0; v < 65536; ++v) {
    if (v % 256 == 0) all += "\"b:9f9f";
    static const char kHex[] = "0123456789abcdef";
    all += {kHex[v >> 12], kHex[(v >> 8) & 15], kHex[(v >> 4) & 15], kHex[v & 15]};
    if (v % 256 == 255) all += '"';
  }
  // The strings, in object order, without the rest of the JSON around them.
  std::string found;
  for (size_t p = json.find("\"b:"); p != std::string::npos; p = json.find("\"b:", p + 1))
    found.append(json, p, json.find('"', p + 1) + 1 - p);
  EXPECT_EQ(found.size(), all.size());
  EXPECT_TRUE(found == all) << "a glyph value did not survive the literal string";
  EXPECT_EQ(test::RunTool("qpdf --check '" + file + "' 2>&1", &status).find("No syntax or stream encoding errors") !=
                std::string::npos, true);
}

TEST_F(PdfCanvasTest, ResourcesAndImageNames) {
  TPdfRptCanvas canvas(Path("res.pdf"));
  canvas.BeginPage(100, 100);
  canvas.FillRect(TRectF{0, 0, 10, 10}, 0xFF000000);
  canvas.EndPage();
  TRptBitmap bmp{2, 2, {200, 200, 200, 255, 200, 200, 200, 255, 200, 200, 200, 255, 200, 200, 200, 255}};
  canvas.BeginPage(100, 100);
  canvas.DrawImage(TRectF{0, 0, 40, 20}, bmp, risFit);
  EXPECT_EQ(canvas.Content(), "q\n0 80 40 20 re W n\n20 0 0 20 10 80 cm\n/Im1 Do\nQ\n");
  canvas.EndPage();
  // The same pixels on the next page, twice, are the same image object under the same name; other
  // pixels are the second image.
  TRptBitmap other = bmp;
  other.Pixels[5] = 1;
  canvas.BeginPage(100, 100);
  canvas.DrawImage(TRectF{0, 0, 40, 20}, TRptBitmap(bmp), risStretch);
  canvas.DrawImage(TRectF{0, 40, 40, 60}, other, risStretch);
  canvas.DrawImage(TRectF{50, 0, 90, 20}, bmp, risCenter);
  EXPECT_EQ(CountOf(canvas.Content(), "/Im1 Do"), 2u);
  EXPECT_EQ(CountOf(canvas.Content(), "/Im2 Do"), 1u);
  canvas.SaveToFile();

  std::ifstream in(Path("res.pdf"), std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  const std::string pdf = ss.str();
  EXPECT_NE(pdf.find("/Resources << >>"), std::string::npos);
  EXPECT_NE(pdf.find("/Resources << /XObject << /Im1 "), std::string::npos);
  EXPECT_EQ(CountOf(pdf, "/Subtype /Image"), 2u);
  EXPECT_NE(pdf.find("/Width 2 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 8 "), std::string::npos);
  EXPECT_NE(pdf.find("/Width 2 /Height 2 /ColorSpace /DeviceRGB /BitsPerComponent 8 "), std::string::npos);
}

// Embedded as JPEG, an image JPEG cannot hold is shrunk to the largest size it takes; embedded
// losslessly it keeps its size. One whose pixels do not match its size is left out. Either way the
// document is written, with one warning for two drawings.
TEST_F(PdfCanvasTest, ImagesTooLargeForJpegOrBroken) {
  auto grey = [](int32_t W, int32_t H) { return TRptBitmap{W, H, std::vector<uint8_t>(size_t(W) * size_t(H) * 4, 90)}; };
  const struct {
    TRptBitmap Bmp;
    int Quality;
    std::string Embedded, Warning;  // "" when none
  } cases[] = {
      {grey(65500, 2), 90, "/Width 65500 /Height 2 ", ""},
      {grey(2, 65501), 90, "/Width 2 /Height 65500 ", "Image of 2 x 65501 pixels scaled down to 2 x 65500"},
      {grey(2, 65501), 0, "/Width 2 /Height 65501 ", ""},
      {TRptBitmap{70000, 2, std::vector<uint8_t>(8)}, 90, "", "Image of 70000 x 2 pixels not drawn: pixel data"},
      {TRptBitmap{3, 2, std::vector<uint8_t>(8)}, 0, "", "Image of 3 x 2 pixels not drawn: pixel data"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.Bmp.Width) + " x " + std::to_string(c.Bmp.Height) + " at " +
                 std::to_string(c.Quality));
    TPdfRptCanvas canvas(Path("big.pdf"));
    canvas.SetJpegQuality(c.Quality);
    canvas.BeginPage(100, 100);
    canvas.DrawImage(TRectF{0, 0, 40, 20}, c.Bmp, risStretch);
    canvas.DrawImage(TRectF{0, 40, 40, 60}, c.Bmp, risStretch);
    canvas.SaveToFile();
    ASSERT_EQ(canvas.Warnings().size(), c.Warning.empty() ? 0u : 1u);
    if (!c.Warning.empty()) {
      EXPECT_EQ(canvas.Warnings()[0].rfind(c.Warning, 0), 0u) << canvas.Warnings()[0];
    }
    std::ifstream in(Path("big.pdf"), std::ios::binary);
    const std::string pdf((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(pdf.find("/Subtype /Image") != std::string::npos, !c.Embedded.empty());
    EXPECT_TRUE(c.Embedded.empty() || pdf.find(c.Embedded) != std::string::npos) << c.Embedded;
    int status = -1;
    test::RunTool("qpdf --check '" + Path("big.pdf") + "' 2>&1", &status);
    EXPECT_EQ(status, 0);
  }
}

// The self-test documents, checked by tools we did not write.
TEST_F(PdfCanvasTest, SelfTestDocumentsPassOutsideChecks) {
  if (!HaveTool("qpdf") || !HaveTool("pdftotext") || !HaveTool("pdffonts") || !HaveTool("pdftoppm"))
    GTEST_SKIP() << "qpdf and poppler-utils are needed";
  const std::string vec = Path("vector.pdf"), text = Path("text.pdf"), font = Path("font.pdf");
  PDFVectorSelfTest(vec);
  PDFCanvasTextSelfTest(text);
  const std::string dejavu = ResolveFontFile("DejaVu Sans", false, false, {});
  ASSERT_FALSE(dejavu.empty());
  PDFFontSelfTest(dejavu, font);
  int status = 0;
  for (const auto& f : {vec, text, font}) {
    test::RunTool("qpdf --check '" + f + "' 2>&1", &status);
    EXPECT_EQ(status, 0) << f;
    const std::string err = test::RunTool("pdftoppm -r 30 -png '" + f + "' '" + Path("page") + "' 2>&1", &status);
    EXPECT_EQ(status, 0) << f;
    EXPECT_EQ(err, "") << f;
  }
  const std::string words = test::RunTool("pdftotext -layout '" + text + "' - 2>&1", &status);
  for (const char* s : {"Türkçe: Şişli'de ığdır ağacı, ÇĞİÖŞÜ çğıöşü", "Καλημέρα κόσμε",
                        "Съешь же ещё этих мягких французских булок", "Grüße aus Köln, Straße", "l'œuvre",
                        "Plane: \xF0\x90\x8C\x80\xF0\x90\x8C\x81\xF0\x90\x8C\x82"})
    EXPECT_NE(words.find(s), std::string::npos) << s;
  EXPECT_NE(test::RunTool("pdftotext '" + font + "' - 2>&1", &status).find("Pijamalı hasta yağız şoföre çabucak güvendi"),
            std::string::npos);
  const std::string fonts = test::RunTool("pdffonts '" + text + "' 2>&1", &status);
  // name type encoding emb sub uni: every font an embedded, tagged TrueType subset with ToUnicode.
  std::istringstream lines(fonts);
  std::string line;
  int listed = 0;
  while (std::getline(lines, line)) {
    if (line.find("CID TrueType") == std::string::npos) continue;
    ++listed;
    EXPECT_EQ(line[6], '+') << line;
    std::istringstream cols(line);
    std::string name, cid, truetype, encoding, emb, sub, uni;
    cols >> name >> cid >> truetype >> encoding >> emb >> sub >> uni;
    EXPECT_EQ(encoding + " " + emb + " " + sub + " " + uni, "Identity-H yes yes yes") << line;
  }
  EXPECT_GE(listed, 5) << fonts;
}

}  // namespace
}  // namespace quillet
