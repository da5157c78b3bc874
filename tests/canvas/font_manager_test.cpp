// Font lookup (application folders, system fonts, name rules), the font manager's naming and
// fallback, and the PDF font objects checked in the written file and with poppler's and qpdf's tools.
#include <gtest/gtest.h>

#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "base/error.h"
#include "base/utf8.h"
#include "canvas/font_manager.h"
#include "canvas/pdf_writer.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;

const std::string kDejaVuDir = "/usr/share/fonts/truetype/dejavu/";
const std::string kLiberationDir = "/usr/share/fonts/truetype/liberation2/";
const std::string kGyreDir = "/usr/share/texmf/fonts/opentype/public/tex-gyre/";

bool HaveFonts() {
  return fs::exists(kDejaVuDir + "DejaVuSans.ttf") && fs::exists(kDejaVuDir + "DejaVuSans-ExtraLight.ttf") &&
         fs::exists(kLiberationDir + "LiberationSans-Regular.ttf") &&
         fs::exists(kGyreDir + "texgyreheros-regular.otf");
}

using test::TTempDir;

TEST(FontManager, ResolveFontFileOrder) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  // fontconfig keeps a cache file per scanned folder: those of the temporary folders go here.
  const TTempDir cache;
  const std::string oldCache = std::getenv("XDG_CACHE_HOME") ? std::getenv("XDG_CACHE_HOME") : "";
  ::setenv("XDG_CACHE_HOME", cache.Str().c_str(), 1);
  // The wrong faces come first in file-name order, so only the weight and width rules pick right.
  const TTempDir family;
  family.Add(kDejaVuDir + "DejaVuSans-ExtraLight.ttf", "1-extralight.ttf");
  family.Add(kDejaVuDir + "DejaVuSansCondensed.ttf", "2-condensed.ttf");
  family.Add(kDejaVuDir + "DejaVuSansCondensed-Bold.ttf", "3-condensed-bold.ttf");
  const std::string regular = family.Add(kDejaVuDir + "DejaVuSans.ttf", "4-regular.ttf");
  const std::string bold = family.Add(kDejaVuDir + "DejaVuSans-Bold.ttf", "5-bold.ttf");
  const std::string oblique = family.Add(kDejaVuDir + "DejaVuSans-Oblique.ttf", "6-oblique.ttf");
  // A system family also present here, and a family that has only a regular face here.
  const TTempDir app;
  const std::string appLiberation = app.Add(kLiberationDir + "LiberationSans-Regular.ttf", "lib.ttf");
  const std::string appMono = app.Add(kDejaVuDir + "DejaVuSansMono.ttf", "mono.ttf");
  std::ofstream(app.Path / "DejaVu Serif.otf") << "not a font";
  // Files named after the family, whatever family they hold.
  const TTempDir named;
  const std::string otfBold = named.Add(kGyreDir + "texgyreheros-bold.otf", "Corporate-Bold.otf");
  const std::string otf = named.Add(kGyreDir + "texgyreheros-regular.otf", "Corporate.otf");
  const std::string arial = named.Add(kLiberationDir + "LiberationSans-Regular.ttf", "arial.ttf");

  struct Case {
    std::string Name;
    bool Bold, Italic;
    std::vector<std::string> Dirs;
    std::string Expected;
  } cases[] = {
      {"DejaVu Sans", false, false, {family.Str()}, regular},
      {"dejavusans", true, false, {family.Str()}, bold},
      {"DEJAVU SANS", false, true, {family.Str()}, oblique},
      {"DejaVu Sans", true, true, {family.Str()}, bold},  // equal scores: bold is nearer in weight
      {"Liberation Sans", false, false, {app.Str(), family.Str()}, appLiberation},
      {"Liberation Sans", true, false, {}, kLiberationDir + "LiberationSans-Bold.ttf"},
      {"DejaVu Sans Mono", true, false, {app.Str()}, appMono},  // a regular face beats no face
      {"DejaVu Sans", false, false, {}, kDejaVuDir + "DejaVuSans.ttf"},
      {"DejaVu Sans", true, true, {}, kDejaVuDir + "DejaVuSans-BoldOblique.ttf"},
      {"DejaVu Serif", false, false, {app.Str()}, kDejaVuDir + "DejaVuSerif.ttf"},  // system before names
      {"Corporate", true, false, {named.Str()}, otfBold},
      {"Corporate", false, true, {named.Str()}, otf},
      {"Arial", false, false, {app.Str(), named.Str()}, arial},
      {"Arial", true, false, {named.Str()}, arial},  // the family itself, if only regular
      {"No Such Family", false, false, {app.Str(), named.Str()}, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ResolveFontFile(c.Name, c.Bold, c.Italic, c.Dirs), c.Expected) << c.Name << c.Bold << c.Italic;
  const std::string standIn = ResolveSubstituteFontFile("Arial");
  EXPECT_NO_THROW(TPDFFont::LoadFromFile(standIn, "", false, false)) << standIn;
  // A metric twin is looked for in the application folders first, in the requested style.
  const TTempDir twins;
  const std::string sansBold = twins.Add(kLiberationDir + "LiberationSans-Bold.ttf", "b.ttf");
  twins.Add(kLiberationDir + "LiberationSans-Regular.ttf", "r.ttf");
  EXPECT_EQ(ResolveStandInFontFiles("Helvetica", true, false, {twins.Str()}).at(0).File, sansBold);
  oldCache.empty() ? ::unsetenv("XDG_CACHE_HOME") : ::setenv("XDG_CACHE_HOME", oldCache.c_str(), 1);
}

TEST(FontManager, FontFileBytesAreReadOnce) {
  const TTempDir dir;
  const std::string path = (dir.Path / "a.bin").string();
  std::ofstream(path) << "one";
  const TFontBytes first = LoadFontFileBytes(path);
  EXPECT_EQ(first, LoadFontFileBytes(path));  // the same shared bytes
  std::ofstream(path) << "three";             // a changed file is read again
  EXPECT_EQ(std::string(LoadFontFileBytes(path)->begin(), LoadFontFileBytes(path)->end()), "three");
  EXPECT_THROW(LoadFontFileBytes((dir.Path / "missing.ttf").string()), EQuilletError);
}

TEST(FontManager, NamesEntriesAndFallsBack) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  EXPECT_EQ(TPDFFontManager::KeyOf("Arial", true, false), "arial|-10");
  EXPECT_EQ(TPDFFontManager::KeyOf("Şirket Ö", false, true), "şirket ö|0-1");
  // Arial is rarely installed here: then what fontconfig offers for it stands in.
  const bool haveArial = !ResolveFontFile("Arial", false, false).empty();
  const std::string arial =
      TPDFFont::LoadFromFile(haveArial ? ResolveFontFile("Arial", false, false) : ResolveSubstituteFontFile("Arial"),
                             "", false, false)
          ->BaseFont();
  // A family without a metric twin: what fontconfig offers for it.
  const std::string unknown =
      TPDFFont::LoadFromFile(ResolveSubstituteFontFile("No Such Family"), "", false, false)->BaseFont();
  const TTempDir dir;
  TPDFVectorWriter writer((dir.Path / "out.pdf").string());
  TPDFFontManager fonts(writer);
  const struct {
    const char* Name;
    bool Bold;
    const char* ResName;
    std::string BaseFont;
  } cases[] = {
      {"DejaVu Sans", false, "/F0", "DejaVuSans"},    {"Arial", false, "/F1", arial},
      {"arial", false, "/F1", arial},                 {"DejaVu Sans", true, "/F2", "DejaVuSans-Bold"},
      {"No Such Family", false, "/F3", unknown},  // its own entry holding the stand-in
      {"DejaVu Sans", false, "/F0", "DejaVuSans"},
  };
  std::map<std::string, std::pair<TPDFFont*, int32_t>> seen;
  for (const auto& c : cases) {
    std::string res;
    int32_t obj = 0;
    TPDFFont& font = fonts.GetFont(c.Name, c.Bold, false, res, obj);
    EXPECT_EQ(res, c.ResName) << c.Name;
    EXPECT_EQ(font.BaseFont(), c.BaseFont) << c.Name;
    EXPECT_EQ(font.ObjNum(), obj);
    EXPECT_EQ(seen.emplace(res, std::make_pair(&font, obj)).first->second, std::make_pair(&font, obj)) << c.Name;
  }
  EXPECT_EQ(fonts.Entries().size(), 4u);
  // Only the missing family is worth a warning: Arial standing in for itself is not.
  ASSERT_EQ(fonts.Warnings().size(), 1u);
  EXPECT_NE(fonts.Warnings()[0].find("No Such Family"), std::string::npos);
}

// The file's text with every Flate stream replaced by its inflated data (cut by its /Length).
std::string InflatedPdf(const std::string& Path) {
  std::ifstream in(Path, std::ios::binary);
  const std::string pdf((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::string out;
  size_t at = 0;
  for (std::smatch m; std::regex_search(pdf.begin() + at, pdf.end(), m, std::regex(R"(/Length (\d+) >>\nstream\n)"));) {
    const size_t data = at + m.position() + m.length(), len = std::stoul(m[1]);
    out += pdf.substr(at, data - at);
    std::string inflated(len * 50 + 4096, '\0');
    uLongf size = inflated.size();
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(inflated.data()), &size,
                         reinterpret_cast<const Bytef*>(pdf.data() + data), len), Z_OK);
    out += inflated.substr(0, size);
    at = data + len;
  }
  return out + pdf.substr(at);
}

TEST(FontManager, WritesEmbeddedFontsThatReadersAccept) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  // 150 glyphs: 149 code points from '!' with distinct glyphs, and one beyond the BMP.
  std::string many;
  std::set<uint16_t> gids;
  auto probe = TPDFFont::LoadFromFile(kDejaVuDir + "DejaVuSans-Bold.ttf", "", false, false);
  for (char32_t cp = 0x21; gids.size() < 149; ++cp)
    if (const uint16_t g = probe->GidOf(cp); g != 0 && gids.insert(g).second) AppendUtf8(many, cp);
  AppendUtf8(many, 0x10300);
  const struct {
    std::string Family;
    bool Bold;
    std::string Text;
    std::string FontsLine;  // pdffonts' line for the font
    std::vector<std::string> Present, Absent;
  } cases[] = {
      {"DejaVu Sans", false, "AB", "[A-Z]{6}\\+DejaVuSans +CID TrueType +Identity-H +yes yes yes",
       {"/W [36 [684] 37 [686] ] >>", "2 beginbfchar\n<0024> <0041>\n<0025> <0042>\nendbfchar\nendcmap",
        "/CIDToGIDMap /Identity", "/FontFile2 "},
       {"/FontFile3"}},
      {"DejaVu Sans", true, many, "[A-Z]{6}\\+DejaVuSans-Bold +CID TrueType +Identity-H +yes yes yes",
       {"100 beginbfchar\n<0004> <0021>\n", "50 beginbfchar\n", "> <D800DF00>\nendbfchar\nendcmap"},
       {}},
      {"TeX Gyre Heros", false, "Quillet", "\nTeXGyreHeros-Regular +CID Type 0C \\(OT\\) +Identity-H +yes no +yes",
       {"/Subtype /CIDFontType0 /BaseFont /TeXGyreHeros-Regular ", "/FontFile3 ", "<< /Subtype /OpenType /Filter"},
       {"/CIDToGIDMap", "+TeXGyre"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Family + (c.Bold ? " bold" : ""));
    const TTempDir dir;
    const std::string out = (dir.Path / "fonts.pdf").string();
    TPDFVectorWriter writer(out);
    TPDFFontManager fonts(writer);
    fonts.SetFontDirs({kGyreDir});
    std::string res;
    int32_t obj = 0;
    TPDFFont& font = fonts.GetFont(c.Family, c.Bold, false, res, obj);
    double advance = 0;
    const std::string page = "BT " + res + " 12 Tf 72 720 Td <" + font.EncodeText(c.Text, advance) + "> Tj ET";
    writer.AddPage(595, 842, writer.AddContentStream(page), "<< /Font << " + res + " " + std::to_string(obj) + " 0 R >> >>");
    fonts.EmitAll();
    fonts.EmitAll();  // once only
    writer.SaveToFile();

    const std::string pdf = InflatedPdf(out);
    for (const std::string& s : c.Present) EXPECT_NE(pdf.find(s), std::string::npos) << s;
    for (const std::string& s : c.Absent) EXPECT_EQ(pdf.find(s), std::string::npos) << s;
    size_t type0 = 0;
    for (size_t p = 0; (p = pdf.find("/Subtype /Type0", p)) != std::string::npos; ++p) ++type0;
    EXPECT_EQ(type0, 1u);
    if (!font.IsCFF()) {
      const std::vector<uint8_t> subset = font.BuildSubset();
      EXPECT_NE(pdf.find("<< /Length1 " + std::to_string(subset.size()) + " /Filter /FlateDecode /Length "), std::string::npos);
      EXPECT_NE(pdf.find(std::string(subset.begin(), subset.end())), std::string::npos);
    }
    EXPECT_NE(test::RunTool("qpdf --check '" + out + "' 2>&1").find("No syntax or stream encoding errors"), std::string::npos);
    const std::string list = test::RunTool("pdffonts '" + out + "' 2>&1");
    EXPECT_TRUE(std::regex_search(list, std::regex(c.FontsLine))) << list;
    const std::string text = test::RunTool("pdftotext '" + out + "' - 2>&1");
    EXPECT_NE(text.find(c.Text.substr(0, 40)), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace quillet
