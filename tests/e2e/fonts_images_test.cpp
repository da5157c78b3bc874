// Fonts and images through quillet render: missing families keep their style (checked with
// pdffonts and fontconfig's own answer), damaged font files and images too large for JPEG still give
// a PDF that qpdf and poppler accept, and only glyphs that are drawn reach the embedded fonts.
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <regex>
#include <set>

#include "canvas/image_codecs.h"
#include "canvas/pdf_font.h"
#include "e2e_support.h"

namespace quillet::e2e {
namespace {

const std::string kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

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

size_t WarningCount(const std::string& Err) {
  size_t n = 0;
  for (size_t p = 0; (p = Err.find("quillet: warning: ", p)) != std::string::npos; ++p) ++n;
  return n;
}

TJson StyledLabel(const std::string& Text, float Top, const std::string& Family, bool Bold, bool Italic) {
  TJson l = Label("l" + std::to_string(static_cast<int>(Top)), 0, Top, 500, Text);
  l["fontName"] = Family;
  l["fontBold"] = Bold;
  l["fontItalic"] = Italic;
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
    const char* What;
    std::vector<std::string> Extra;
    std::vector<TFace> Faces;
    std::string Warned;  // the one family with a warning, "" for none
  } cases[] = {
      {"metric twins",
       {},
       {{"Arial", true, false, "LiberationSans-Bold"},
        {"Arial", false, false, "LiberationSans"},
        {"Helvetica", true, true, "LiberationSans-BoldItalic"},
        {"Times New Roman", false, true, "LiberationSerif-Italic"},
        {"Courier New", true, false, "LiberationMono-Bold"},
        {"Calibri", false, false, "Carlito"},
        {"Cambria", true, false, "Caladea-Bold"},
        {"Segoe UI", true, false, offered}},
       "Segoe UI"},
      {"family file in --fonts", {"--fonts", "fonts"}, {{"Arial", true, false, "DejaVuSerif"}}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    std::vector<TJson> labels;
    std::multiset<std::string> expected;
    std::vector<std::string> texts;
    for (const TFace& f : c.Faces) {
      texts.push_back("Text in " + f.Family + std::string(f.Bold ? " bold" : "") + (f.Italic ? " italic" : ""));
      labels.push_back(StyledLabel(texts.back(), 20.0f * static_cast<float>(labels.size()), f.Family, f.Bold, f.Italic));
      expected.insert(f.Embedded);
    }
    dir.Write("fonts.qdr", Report({Band("Title", 200, labels)}));
    std::vector<std::string> args = {"render", "fonts.qdr", "-o", "fonts.pdf"};
    args.insert(args.end(), c.Extra.begin(), c.Extra.end());
    const TRun r = RunQuillet(args, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(WarningCount(r.Err), c.Warned.empty() ? 0u : 1u) << r.Err;
    if (!c.Warned.empty()) {
      EXPECT_NE(r.Err.find("warning: Font \"" + c.Warned + "\" bold"), std::string::npos) << r.Err;
    }
    const std::string pdf = dir.File("fonts.pdf");
    EXPECT_EQ(PdfProblems(pdf, dir.File("raster")), "");
    EXPECT_EQ(EmbeddedFonts(pdf), expected);
    const std::string text = PdfText(pdf);
    for (const std::string& t : texts) EXPECT_NE(text.find(t), std::string::npos) << t;
  }
}

// Offset and length of a font table, from the directory.
std::pair<uint32_t, uint32_t> TableAt(const std::string& Font, const std::string& Tag) {
  auto u32 = [&](size_t At) {
    return (uint32_t(uint8_t(Font[At])) << 24) | (uint32_t(uint8_t(Font[At + 1])) << 16) |
           (uint32_t(uint8_t(Font[At + 2])) << 8) | uint32_t(uint8_t(Font[At + 3]));
  };
  const size_t count = (uint32_t(uint8_t(Font[4])) << 8) | uint8_t(Font[5]);
  for (size_t e = 12; e < 12 + 16 * count; e += 16)
    if (Font.compare(e, 4, Tag) == 0) return {u32(e + 8), u32(e + 12)};
  ADD_FAILURE() << "no " << Tag;
  return {0, 0};
}

void PutU32(std::string& S, size_t At, uint32_t V) {
  for (int i = 0; i < 4; ++i) S[At + i] = static_cast<char>(V >> (24 - 8 * i));
}

// A copy of DejaVu Sans, damaged here, is the --fonts folder's file for the family "Quillet Damaged"
// and draws "ABC xyz". Where the file is refused, fontconfig's face for the family stands in.
TEST(Fonts, DamagedFontFilesStillExport) {
  if (!fs::exists(kDejaVuSans)) GTEST_SKIP() << "DejaVu Sans is not installed";
  const std::string original = ReadFile(kDejaVuSans);
  const auto [loca, locaLen] = TableAt(original, "loca");
  auto font = TPDFFont::LoadFromFile(kDejaVuSans, "", false, false);
  const uint16_t a = font->GidOf('A'), b = font->GidOf('B'), q = font->GidOf('Q');
  // DejaVu Sans has long loca entries; the directory entry of a table is found by its offset.
  auto setLoca = [loca = loca](std::string& F, uint32_t Gid, uint32_t V) { PutU32(F, loca + 4 * Gid, V); };
  auto cutTable = [](std::string& F, const std::string& Tag) {
    const size_t count = (uint32_t(uint8_t(F[4])) << 8) | uint8_t(F[5]);
    for (size_t e = 12; e < 12 + 16 * count; e += 16)
      if (F.compare(e, 4, Tag) == 0) PutU32(F, e + 12, TableAt(F, Tag).second / 2);
  };
  const struct {
    const char* What;
    std::function<void(std::string&)> Damage;
    std::string Warning;  // "" for none
  } cases[] = {
      {"loca backwards at an unused glyph", [&](std::string& F) { setLoca(F, q, 0); }, ""},
      {"loca backwards at a used glyph", [&](std::string& F) { setLoca(F, b, 0); },
       "damaged glyphs left empty (glyph ids " + std::to_string(a) + ", " + std::to_string(b) + ")"},
      {"hmtx cut short", [&](std::string& F) { cutTable(F, "hmtx"); }, "Gecersiz font: hmtx tablosu bozuk"},
      {"loca cut short", [&](std::string& F) { cutTable(F, "loca"); }, "Gecersiz font: loca tablosu bozuk"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    test::TTempDir dir;
    fs::create_directory(dir.Path / "fonts");
    std::string damaged = original;
    c.Damage(damaged);
    dir.Write("fonts/Quillet Damaged.ttf", damaged);
    dir.Write("font.qdr", Report({Band("Title", 30, {StyledLabel("ABC xyz", 0, "Quillet Damaged", false, false)})}));
    const TRun r = RunQuillet({"render", "font.qdr", "-o", "font.pdf", "--fonts", "fonts"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(WarningCount(r.Err), c.Warning.empty() ? 0u : 1u) << r.Err;
    EXPECT_NE(r.Err.find(c.Warning), std::string::npos) << r.Err;
    if (!c.Warning.empty()) {
      EXPECT_NE(r.Err.find("fonts/Quillet Damaged.ttf"), std::string::npos) << r.Err;
    }
    const std::string pdf = dir.File("font.pdf");
    EXPECT_EQ(PdfProblems(pdf, dir.File("raster")), "");
    EXPECT_EQ(EmbeddedFonts(pdf), std::multiset<std::string>{
                                      test::RunTool("fc-match -f '%{postscriptname}' 'Quillet Damaged'")});
    EXPECT_NE(PdfText(pdf).find("ABC xyz"), std::string::npos);
  }
}

// The glyph ids in the /W arrays of the file's CID fonts ("GID [WIDTH]" entries), read after qpdf
// has rewritten the file with every object in plain view.
std::set<unsigned> WidthEntries(const std::string& Pdf, const std::string& Scratch) {
  test::RunTool("qpdf --object-streams=disable " + Quote(Pdf) + " " + Quote(Scratch));
  const std::string plain = ReadFile(Scratch);
  std::set<unsigned> gids;
  const std::regex entry(R"((\d+) \[ ?\d+ ?\])");
  for (size_t at = plain.find("/W ["); at != std::string::npos; at = plain.find("/W [", at + 4)) {
    const std::string array = plain.substr(at + 4, plain.find(">>", at) - at - 4);
    for (std::sregex_iterator e(array.begin(), array.end(), entry), end; e != end; ++e)
      gids.insert(static_cast<unsigned>(std::stoul((*e)[1])));
  }
  return gids;
}

// Glyphs reach the embedded font (widths, ToUnicode, subset) only where they are drawn: not the
// space at a line break, not the lines that fall below the box.
TEST(Fonts, OnlyDrawnGlyphsAreEmbedded) {
  if (!fs::exists(kDejaVuSans)) GTEST_SKIP() << "DejaVu Sans is not installed";
  auto font = TPDFFont::LoadFromFile(kDejaVuSans, "", false, false);
  const struct {
    const char* What;
    std::string Text;
    float Width;
    std::string Drawn;
  } cases[] = {
      {"one line", "Alpha Beta", 300, "Alpha Beta"},
      {"a line per word", "Alpha Beta", 40, "AlphaBeta"},
      {"lines below the box", "Alpha Beta Gamma", 40, "AlphaBeta"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    test::TTempDir dir;
    TJson label = Label("t", 0, 0, c.Width, c.Text);
    label["wordWrap"] = true;
    label["vertAlign"] = "Top";
    dir.Write("wrap.qdr", Report({Band("Title", 30, {label})}));
    const TRun r = RunQuillet({"render", "wrap.qdr", "-o", "wrap.pdf"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    std::set<unsigned> expected;
    for (const char ch : c.Drawn) expected.insert(font->GidOf(static_cast<unsigned char>(ch)));
    EXPECT_EQ(WidthEntries(dir.File("wrap.pdf"), dir.File("qdf.pdf")), expected);
    EXPECT_EQ(PdfProblems(dir.File("wrap.pdf"), dir.File("raster")), "");
  }
}

// A PNG of Width x Height RGB pixels, each Rgb(x, y) as 0xRRGGBB, written here with zlib.
std::string Png(uint32_t Width, uint32_t Height, const std::function<uint32_t(uint32_t, uint32_t)>& Rgb) {
  std::string raw;
  raw.reserve((size_t(Width) * 3 + 1) * Height);
  for (uint32_t y = 0; y < Height; ++y) {
    raw += '\0';
    for (uint32_t x = 0; x < Width; ++x) {
      const uint32_t c = Rgb(x, y);
      raw += static_cast<char>(c >> 16), raw += static_cast<char>(c >> 8), raw += static_cast<char>(c);
    }
  }
  std::string packed(compressBound(raw.size()), '\0');
  uLongf packedSize = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &packedSize, reinterpret_cast<const Bytef*>(raw.data()), raw.size());
  packed.resize(packedSize);
  std::string png = "\x89PNG\r\n\x1a\n";
  auto chunk = [&png](const std::string& Type, const std::string& Data) {
    std::string len(4, '\0'), crc(4, '\0');
    PutU32(len, 0, static_cast<uint32_t>(Data.size()));
    const std::string body = Type + Data;
    PutU32(crc, 0, static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(body.data()), body.size())));
    png += len + body + crc;
  };
  std::string header(13, '\0');
  PutU32(header, 0, Width), PutU32(header, 4, Height);
  header[8] = 8, header[9] = 2;  // 8 bits, RGB
  chunk("IHDR", header);
  chunk("IDAT", packed);
  chunk("IEND", "");
  return png;
}

// Images wider or taller than JPEG allows are embedded at the largest size it takes, with a
// warning, and still show their picture: red in the first half, blue in the second.
TEST(Images, TooLargeForJpegAreScaledDown) {
  const struct {
    uint32_t Width, Height;
    std::string Listed;  // pdfimages' width and height
  } cases[] = {{70000, 3, "65500 +3"}, {4, 131000, "2 +65500"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.Width) + " x " + std::to_string(c.Height));
    test::TTempDir dir;
    const bool wide = c.Width > c.Height;
    dir.Write("big.png", Png(c.Width, c.Height, [&](uint32_t X, uint32_t Y) {
      return (wide ? X < c.Width / 2 : Y < c.Height / 2) ? 0xFF0000u : 0x0000FFu;
    }));
    TJson image;
    image["type"] = "Image";
    image["name"] = "big";
    image["left"] = 0, image["top"] = 0, image["width"] = 200, image["height"] = 200;
    image["imageFile"] = dir.File("big.png");
    image["imageScale"] = "Stretch";
    dir.Write("image.qdr", Report({Band("Title", 220, {image})}));
    const TRun r = RunQuillet({"render", "image.qdr", "-o", "image.pdf"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(WarningCount(r.Err), 1u) << r.Err;
    EXPECT_NE(r.Err.find("Image of " + std::to_string(c.Width) + " x " + std::to_string(c.Height) + " pixels scaled"),
              std::string::npos) << r.Err;
    const std::string pdf = dir.File("image.pdf");
    EXPECT_EQ(PdfProblems(pdf, dir.File("raster")), "");
    const std::string list = test::RunTool("pdfimages -list " + Quote(pdf) + " 2>&1");
    EXPECT_TRUE(std::regex_search(list, std::regex("image +" + c.Listed + " +rgb +3 +8 +jpeg"))) << list;
    // The page at 72 dpi: the image covers (30, 30) to (230, 230); look a quarter in from each end.
    test::RunTool("pdftoppm -r 72 -png -singlefile " + Quote(pdf) + " " + Quote(dir.File("page")));
    const std::string page = ReadFile(dir.File("page.png"));
    const TRptBitmap bmp = DecodePng({reinterpret_cast<const uint8_t*>(page.data()), page.size()});
    auto pixel = [&](int X, int Y) {
      const uint8_t* p = &bmp.Pixels[(size_t(Y) * size_t(bmp.Width) + size_t(X)) * 4];
      return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
    };
    auto near = [](uint32_t A, uint32_t B) {
      for (int s = 0; s < 24; s += 8)
        if (std::abs(int((A >> s) & 255) - int((B >> s) & 255)) > 24) return false;
      return true;
    };
    EXPECT_TRUE(near(wide ? pixel(80, 130) : pixel(130, 80), 0xFF0000u));
    EXPECT_TRUE(near(wide ? pixel(180, 130) : pixel(130, 180), 0x0000FFu));
  }
}

}  // namespace
}  // namespace quillet::e2e
