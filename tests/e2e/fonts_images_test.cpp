// Fonts and images through quillet render: missing families keep their style (checked with
// pdffonts and fontconfig's own answer), damaged font files and images too large for JPEG still give
// a PDF that qpdf and poppler accept, and only glyphs that are drawn reach the embedded fonts.
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <regex>
#include <set>

#include "../support/font_damage.h"
#include "canvas/image_codecs.h"
#include "canvas/pdf_font.h"
#include "e2e_support.h"

namespace quillet::e2e {
namespace {

const std::string kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// Renders a title band holding Elements to out.pdf in Dir; the run must succeed and give a PDF
// that qpdf and poppler accept.
TRun RenderTitle(const test::TTempDir& Dir, std::vector<TJson> Elements, std::vector<std::string> Args = {}) {
  Dir.Write("t.qdr", Report({Band("Title", 220, std::move(Elements))}));
  Args.insert(Args.begin(), {"render", "t.qdr", "-o", "out.pdf"});
  const TRun r = RunQuillet(Args, Dir.Str());
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(PdfProblems(Dir.File("out.pdf"), Dir.File("raster")), "");
  return r;
}

size_t WarningCount(const std::string& Err) {
  size_t n = 0;
  for (size_t p = 0; (p = Err.find("quillet: warning: ", p)) != std::string::npos; ++p) ++n;
  return n;
}

// The base names pdffonts lists, without subset tags, each checked as embedded, subset and mapped.
std::multiset<std::string> EmbeddedFonts(const std::string& Pdf) {
  const std::string list = test::RunTool("pdffonts " + Quote(Pdf) + " 2>&1");
  std::multiset<std::string> names;
  const std::regex line(R"((?:[A-Z]{6}\+)?(\S+) +CID TrueType +Identity-H +yes yes yes +\d+ +0)");
  for (std::sregex_iterator it(list.begin(), list.end(), line), end; it != end; ++it) names.insert((*it)[1]);
  EXPECT_EQ(names.size() + 2, LineCount(list)) << list;  // two heading lines, nothing else
  return names;
}

std::string PdfText(const std::string& Pdf) { return test::RunTool("pdftotext " + Quote(Pdf) + " - 2>&1"); }

TJson StyledLabel(const std::string& Text, float Top, const std::string& Family, bool Bold, bool Italic) {
  TJson l = Label("l" + std::to_string(static_cast<int>(Top)), 0, Top, 500, Text);
  l["fontName"] = Family, l["fontBold"] = Bold, l["fontItalic"] = Italic;
  return l;
}

TEST(Fonts, MissingFamiliesKeepTheirStyle) {
  for (const char* f : {"liberation2/LiberationSans-Bold.ttf", "crosextra/Carlito-Regular.ttf",
                        "crosextra/Caladea-Bold.ttf"})
    if (!fs::exists(std::string("/usr/share/fonts/truetype/") + f)) GTEST_SKIP() << f << " is not installed";
  // A family nobody has: the face fontconfig offers for it in that style.
  const std::string offered = test::RunTool("fc-match -f '%{postscriptname}' 'Segoe UI:bold' 2>/dev/null");
  ASSERT_FALSE(offered.empty());
  test::TTempDir dir;
  // A file named after a family comes before its stand-ins, whatever face it holds.
  fs::create_directory(dir.Path / "fonts");
  fs::copy_file("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf", dir.Path / "fonts" / "arial.ttf");
  struct TFace {
    std::string Family;
    bool Bold, Italic;
    std::string Embedded;  // pdffonts' name
  };
  const struct {
    std::vector<std::string> Args;
    std::vector<TFace> Faces;
    std::string Warned;  // the one family with a warning, "" for none
  } cases[] = {
      {{},
       {{"Arial", true, false, "LiberationSans-Bold"},
        {"Arial", false, false, "LiberationSans"},
        {"Helvetica", true, true, "LiberationSans-BoldItalic"},
        {"Times New Roman", false, true, "LiberationSerif-Italic"},
        {"Courier New", true, false, "LiberationMono-Bold"},
        {"Calibri", false, false, "Carlito"},
        {"Cambria", true, false, "Caladea-Bold"},
        {"Segoe UI", true, false, offered}},
       "Segoe UI"},
      {{"--fonts", "fonts"}, {{"Arial", true, false, "DejaVuSerif"}}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Args.empty() ? "metric twins" : "family file in --fonts");
    std::vector<TJson> labels;
    std::multiset<std::string> expected;
    for (const TFace& f : c.Faces) {
      const std::string text = "Text in " + f.Family + (f.Bold ? " bold" : "") + (f.Italic ? " italic" : "");
      labels.push_back(StyledLabel(text, 20.0f * static_cast<float>(labels.size()), f.Family, f.Bold, f.Italic));
      expected.insert(f.Embedded);
    }
    const TRun r = RenderTitle(dir, labels, c.Args);
    EXPECT_EQ(WarningCount(r.Err), c.Warned.empty() ? 0u : 1u) << r.Err;
    EXPECT_TRUE(c.Warned.empty() || r.Err.find("warning: Font \"" + c.Warned + "\" bold") != std::string::npos) << r.Err;
    EXPECT_EQ(EmbeddedFonts(dir.File("out.pdf")), expected);
    const std::string text = PdfText(dir.File("out.pdf"));
    for (const auto& l : labels) EXPECT_NE(text.find(l["text"].get<std::string>()), std::string::npos) << l;
  }
}

// A copy of DejaVu Sans, damaged here, is the --fonts folder's file for the family "Quillet Damaged"
// and draws "ABC xyz": a damaged glyph is left empty, a damaged table refuses the file and
// fontconfig's face for the family stands in. Either way the export succeeds, with one warning.
TEST(Fonts, DamagedFontFilesStillExport) {
  if (!fs::exists(kDejaVuSans)) GTEST_SKIP() << "DejaVu Sans is not installed";
  auto font = TPDFFont::LoadFromFile(kDejaVuSans, "", false, false);
  const uint16_t a = font->GidOf('A'), b = font->GidOf('B');
  const struct {
    std::function<void(std::string&)> Damage;
    std::string Warning;
  } cases[] = {
      {[&](std::string& F) { test::SetLongLoca(F, b, 0); },
       "damaged glyphs left empty (glyph ids " + std::to_string(a) + ", " + std::to_string(b) + ")"},
      {[](std::string& F) { test::CutTable(F, "loca"); }, "Gecersiz font: loca tablosu bozuk"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Warning);
    test::TTempDir dir;
    fs::create_directory(dir.Path / "fonts");
    std::string damaged = ReadFile(kDejaVuSans);
    c.Damage(damaged);
    dir.Write("fonts/Quillet Damaged.ttf", damaged);
    const TRun r = RenderTitle(dir, {StyledLabel("ABC xyz", 0, "Quillet Damaged", false, false)}, {"--fonts", "fonts"});
    EXPECT_EQ(WarningCount(r.Err), 1u) << r.Err;
    EXPECT_NE(r.Err.find(c.Warning), std::string::npos) << r.Err;
    EXPECT_NE(r.Err.find("fonts/Quillet Damaged.ttf"), std::string::npos) << r.Err;
    EXPECT_EQ(EmbeddedFonts(dir.File("out.pdf")),
              std::multiset<std::string>{test::RunTool("fc-match -f '%{postscriptname}' 'Quillet Damaged'")});
    EXPECT_NE(PdfText(dir.File("out.pdf")).find("ABC xyz"), std::string::npos);
  }
}

// Glyphs reach the embedded font (widths, ToUnicode, subset) only where they are drawn: not the
// space at a line break, not the lines that fall below the box. The glyph ids are read from the
// /W arrays ("GID [WIDTH]" entries) after qpdf has rewritten the file with every object in view.
TEST(Fonts, OnlyDrawnGlyphsAreEmbedded) {
  if (!fs::exists(kDejaVuSans)) GTEST_SKIP() << "DejaVu Sans is not installed";
  auto font = TPDFFont::LoadFromFile(kDejaVuSans, "", false, false);
  const struct {
    std::string Text;
    float Width;
    std::string Drawn;
  } cases[] = {{"Alpha Beta", 300, "Alpha Beta"}, {"Alpha Beta", 40, "AlphaBeta"}, {"Alpha Beta Gamma", 40, "AlphaBeta"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Text + " in " + std::to_string(c.Width));
    test::TTempDir dir;
    TJson label = Label("t", 0, 0, c.Width, c.Text);
    label["wordWrap"] = true, label["vertAlign"] = "Top";
    RenderTitle(dir, {label});
    test::RunTool("qpdf --object-streams=disable " + Quote(dir.File("out.pdf")) + " " + Quote(dir.File("plain.pdf")));
    const std::string plain = ReadFile(dir.File("plain.pdf"));
    std::set<unsigned> gids, expected;
    const std::regex entry(R"((\d+) \[ ?\d+ ?\])");
    for (size_t at = plain.find("/W ["); at != std::string::npos; at = plain.find("/W [", at + 4)) {
      const std::string array = plain.substr(at + 4, plain.find(">>", at) - at - 4);
      for (std::sregex_iterator e(array.begin(), array.end(), entry), end; e != end; ++e)
        gids.insert(static_cast<unsigned>(std::stoul((*e)[1])));
    }
    for (const char ch : c.Drawn) expected.insert(font->GidOf(static_cast<unsigned char>(ch)));
    EXPECT_EQ(gids, expected);
  }
}

// A PNG of W x H RGB pixels, red in the first half along its longer side and blue in the second.
std::string SplitPng(uint32_t W, uint32_t H) {
  std::string raw, png = "\x89PNG\r\n\x1a\n", header(13, '\0');
  for (uint32_t y = 0; y < H; ++y) {
    raw += '\0';
    for (uint32_t x = 0; x < W; ++x) raw += (W > H ? x < W / 2 : y < H / 2) ? std::string("\xFF\0\0", 3) : std::string("\0\0\xFF", 3);
  }
  uLongf size = compressBound(raw.size());
  std::string packed(size, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(raw.data()), raw.size());
  packed.resize(size);
  test::PutBigEndian32(header, 0, W), test::PutBigEndian32(header, 4, H);
  header[8] = 8, header[9] = 2;  // 8 bits, RGB
  for (const auto& [type, data] : {std::pair<std::string, std::string>{"IHDR", header}, {"IDAT", packed}, {"IEND", ""}}) {
    std::string len(4, '\0'), crc(4, '\0'), body = type + data;
    test::PutBigEndian32(len, 0, static_cast<uint32_t>(data.size()));
    test::PutBigEndian32(crc, 0, static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(body.data()), body.size())));
    png += len + body + crc;
  }
  return png;
}

// Images wider or taller than JPEG allows are embedded as JPEG at the largest size it takes, with
// a warning, when JPEG is asked for; losslessly they keep their size. Either way they still show
// their picture: red in the first half, blue in the second.
TEST(Images, TooLargeForJpegAreScaledDownOnlyAsJpeg) {
  const struct {
    uint32_t Width, Height;
    std::vector<std::string> Args;
    std::string Listed;  // pdfimages' width, height, colour, components, bits and encoding
  } cases[] = {{70000, 3, {"--jpeg-quality", "90"}, "65500 +3 +rgb +3 +8 +jpeg"},
               {4, 131000, {"--jpeg-quality=75"}, "2 +65500 +rgb +3 +8 +jpeg"},
               {70000, 3, {}, "70000 +3 +rgb +3 +8 +image"}};
  for (const auto& c : cases) {
    const std::string size = std::to_string(c.Width) + " x " + std::to_string(c.Height);
    const bool asJpeg = !c.Args.empty();
    SCOPED_TRACE(size + (asJpeg ? " as JPEG" : " lossless"));
    test::TTempDir dir;
    const bool wide = c.Width > c.Height;
    dir.Write("big.png", SplitPng(c.Width, c.Height));
    const TRun r = RenderTitle(dir,
                               {{{"type", "Image"}, {"name", "big"}, {"left", 0}, {"top", 0}, {"width", 200},
                                 {"height", 200}, {"imageFile", dir.File("big.png")}, {"imageScale", "Stretch"}}},
                               c.Args);
    EXPECT_EQ(WarningCount(r.Err), asJpeg ? 1u : 0u) << r.Err;
    EXPECT_EQ(r.Err.find("Image of " + size + " pixels scaled") != std::string::npos, asJpeg) << r.Err;
    const std::string list = test::RunTool("pdfimages -list " + Quote(dir.File("out.pdf")) + " 2>&1");
    EXPECT_TRUE(std::regex_search(list, std::regex("image +" + c.Listed))) << list;
    // The page at 72 dpi: the image covers (30, 30) to (230, 230); look a quarter in from each end.
    test::RunTool("pdftoppm -r 72 -png -singlefile " + Quote(dir.File("out.pdf")) + " " + Quote(dir.File("page")));
    const TRptBitmap page = LoadImageFile(dir.File("page.png"));
    auto at = [&](size_t Along) {  // red and blue at a point on the middle line along the long side
      const uint8_t* p = &page.Pixels[((wide ? 130 : Along) * size_t(page.Width) + (wide ? Along : 130)) * 4];
      return std::make_pair(p[0], p[2]);
    };
    EXPECT_TRUE(at(80).first > 200 && at(80).second < 60 && at(180).first < 60 && at(180).second > 200);
  }
}

}  // namespace
}  // namespace quillet::e2e
