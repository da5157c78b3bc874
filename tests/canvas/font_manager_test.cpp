// Font lookup (application folders, system fonts, name rules), the font manager's naming and
// fallback, and the PDF font objects checked in the written file and with poppler's tools.
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

// fontconfig loses a few small blocks while it parses its configuration files, once per
// process; that is its own, so the leak checker of the sanitizer build leaves it out.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace quillet {
namespace {

namespace fs = std::filesystem;

const std::string kDejaVuDir = "/usr/share/fonts/truetype/dejavu/";
const std::string kLiberationDir = "/usr/share/fonts/truetype/liberation2/";
const std::string kGyreDir = "/usr/share/texmf/fonts/opentype/public/tex-gyre/";

// A fresh folder under the system's temporary folder, removed afterwards.
struct TTempDir {
  fs::path Path;
  TTempDir() {
    static int counter = 0;
    Path = fs::temp_directory_path() / ("quillet-fonts-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    fs::remove_all(Path);
    fs::create_directories(Path);
  }
  ~TTempDir() {
    std::error_code ec;
    fs::remove_all(Path, ec);
  }
  std::string Add(const std::string& From, const std::string& As) const {
    fs::copy_file(From, Path / As);
    return (Path / As).string();
  }
  std::string Str() const { return Path.string(); }
};

bool HaveFonts() {
  return fs::exists(kDejaVuDir + "DejaVuSans.ttf") && fs::exists(kLiberationDir + "LiberationSans-Regular.ttf") &&
         fs::exists(kGyreDir + "texgyreheros-regular.otf");
}

TEST(FontManager, ResolveFontFileOrder) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  // fontconfig keeps a cache file per scanned folder: keep those of the temporary folders here.
  TTempDir cache;
  const char* oldCache = std::getenv("XDG_CACHE_HOME");
  const std::string keep = oldCache ? oldCache : "";
  ::setenv("XDG_CACHE_HOME", cache.Str().c_str(), 1);
  struct TRestore {
    const char* Old;
    std::string Value;
    ~TRestore() { Old ? ::setenv("XDG_CACHE_HOME", Value.c_str(), 1) : ::unsetenv("XDG_CACHE_HOME"); }
  } restore{oldCache, keep};
  // The wrong faces come first in file-name order, so only the weight and width rules pick right.
  TTempDir family;
  family.Add(kDejaVuDir + "DejaVuSans-ExtraLight.ttf", "1-extralight.ttf");
  family.Add(kDejaVuDir + "DejaVuSansCondensed.ttf", "2-condensed.ttf");
  family.Add(kDejaVuDir + "DejaVuSansCondensed-Bold.ttf", "3-condensed-bold.ttf");
  const std::string regular = family.Add(kDejaVuDir + "DejaVuSans.ttf", "4-regular.ttf");
  const std::string bold = family.Add(kDejaVuDir + "DejaVuSans-Bold.ttf", "5-bold.ttf");
  const std::string oblique = family.Add(kDejaVuDir + "DejaVuSans-Oblique.ttf", "6-oblique.ttf");
  // A system family also present here, and a family that has only a regular face here.
  TTempDir app;
  const std::string appLiberation = app.Add(kLiberationDir + "LiberationSans-Regular.ttf", "lib.ttf");
  const std::string appMono = app.Add(kDejaVuDir + "DejaVuSansMono.ttf", "mono.ttf");
  std::ofstream(app.Path / "DejaVu Serif.otf") << "not a font";
  // Name rules: OpenType files by name, then arial.ttf.
  TTempDir named;
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
      {"DejaVu Sans", true, true, {family.Str()}, bold},  // ties on score: bold is nearer in weight
      {"Liberation Sans", false, false, {app.Str(), family.Str()}, appLiberation},
      {"Liberation Sans", true, false, {}, kLiberationDir + "LiberationSans-Bold.ttf"},
      {"DejaVu Sans Mono", true, false, {app.Str()}, appMono},  // a regular face beats no face
      {"DejaVu Sans", false, false, {}, kDejaVuDir + "DejaVuSans.ttf"},
      {"DejaVu Sans", true, true, {}, kDejaVuDir + "DejaVuSans-BoldOblique.ttf"},
      {"DejaVu Serif", false, false, {app.Str()}, kDejaVuDir + "DejaVuSerif.ttf"},  // system before names
      {"Corporate", true, false, {named.Str()}, otfBold},
      {"Corporate", false, true, {named.Str()}, otf},
      {"No Such Family", false, false, {app.Str(), named.Str()}, arial},
      {"No Such Family", false, false, {app.Str()}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name + (c.Bold ? " bold" : "") + (c.Italic ? " italic" : ""));
    EXPECT_EQ(ResolveFontFile(c.Name, c.Bold, c.Italic, c.Dirs), c.Expected);
  }
  const std::string stand = ResolveSubstituteFontFile("Arial");
  ASSERT_FALSE(stand.empty());
  EXPECT_NO_THROW(TPDFFont::LoadFromFile(stand, "", false, false));
}

TEST(FontManager, FontFileBytesAreReadOnce) {
  TTempDir dir;
  const std::string path = (dir.Path / "a.bin").string();
  std::ofstream(path) << "one";
  const TFontBytes first = LoadFontFileBytes(path);
  EXPECT_EQ(first, LoadFontFileBytes(path));  // the same shared bytes
  std::ofstream(path) << "three";             // a changed file is read again
  EXPECT_EQ(std::string(LoadFontFileBytes(path)->begin(), LoadFontFileBytes(path)->end()), "three");
  EXPECT_THROW(LoadFontFileBytes((dir.Path / "missing.ttf").string()), EQuilletError);
}

// ---- the written PDF ---------------------------------------------------------------------------

std::string ReadText(const std::string& Path) {
  std::ifstream in(Path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string RunCommand(const std::string& Command) {
  std::string out;
  if (FILE* p = ::popen(Command.c_str(), "r")) {
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    ::pclose(p);
  }
  return out;
}

struct TPdfObjects {
  std::map<int, std::string> Dict;    // object number -> dictionary text
  std::map<int, std::string> Stream;  // object number -> inflated stream data
};

std::string Inflate(const std::string& Raw) {
  for (size_t size = Raw.size() * 4 + 1024;; size *= 4) {
    std::string out(size, '\0');
    uLongf len = size;
    const int rc = uncompress(reinterpret_cast<Bytef*>(out.data()), &len, reinterpret_cast<const Bytef*>(Raw.data()), Raw.size());
    if (rc == Z_OK) return out.substr(0, len);
    if (rc != Z_BUF_ERROR) return "(bad flate data)";
  }
}

// Objects in file order; stream data is cut by its /Length, so binary data is never searched.
TPdfObjects ParsePdf(const std::string& Pdf) {
  TPdfObjects out;
  const std::regex objRe(R"((\d+) 0 obj\n)");
  const std::regex lengthRe(R"(/Length (\d+) >>\nstream\n$)");
  std::smatch m;
  for (auto from = Pdf.cbegin(); std::regex_search(from, Pdf.cend(), m, objRe);) {
    const int n = std::stoi(m[1]);
    const size_t body = static_cast<size_t>(m[0].second - Pdf.cbegin());
    const size_t line = Pdf.find('\n', body);
    std::string dict = Pdf.substr(body, line - body);
    size_t next = line + 1;
    std::smatch lm;
    const std::string head = Pdf.substr(body, line + 8 - body);
    if (std::regex_search(head, lm, lengthRe)) {
      const size_t len = std::stoul(lm[1]);
      const std::string raw = Pdf.substr(line + 8, len);
      out.Stream[n] = dict.find("/FlateDecode") != std::string::npos ? Inflate(raw) : raw;
      next = line + 8 + len;
    }
    out.Dict[n] = dict;
    from = Pdf.cbegin() + static_cast<std::ptrdiff_t>(next);
  }
  return out;
}

int Count(const std::string& S, const std::string& What) {
  int n = 0;
  for (size_t p = S.find(What); p != std::string::npos; p = S.find(What, p + 1)) ++n;
  return n;
}

TEST(FontManager, NamesEntriesAndFallsBack) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  struct KeyCase {
    const char* Name;
    bool Bold, Italic;
    const char* Key;
  } keys[] = {{"Arial", true, false, "arial|-10"}, {"Arial", false, false, "arial|00"},
              {"DejaVu Sans", false, true, "dejavu sans|0-1"}, {"Şirket Ö", true, true, "şirket ö|-1-1"}};
  for (const auto& k : keys) EXPECT_EQ(TPDFFontManager::KeyOf(k.Name, k.Bold, k.Italic), k.Key);

  // Arial is rarely installed here: then what fontconfig offers for it stands in.
  const bool haveArial = !ResolveFontFile("Arial", false, false).empty();
  const std::string arialBase =
      TPDFFont::LoadFromFile(haveArial ? ResolveFontFile("Arial", false, false) : ResolveSubstituteFontFile("Arial"),
                             "", false, false)
          ->BaseFont();
  TTempDir dir;
  TPDFVectorWriter writer((dir.Path / "out.pdf").string());
  TPDFFontManager fonts(writer);
  struct Case {
    const char* Name;
    bool Bold;
    const char* ResName;
    std::string BaseFont;
  } cases[] = {
      {"DejaVu Sans", false, "/F0", "DejaVuSans"},
      {"Arial", false, "/F1", arialBase},
      {"arial", false, "/F1", arialBase},  // the same entry
      {"DejaVu Sans", true, "/F2", "DejaVuSans-Bold"},
      {"No Such Family", false, "/F3", arialBase},  // its own entry holding the fallback
      {"DejaVu Sans", false, "/F0", "DejaVuSans"},
  };
  std::map<std::string, std::pair<TPDFFont*, int32_t>> seen;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    std::string res;
    int32_t obj = 0;
    TPDFFont& font = fonts.GetFont(c.Name, c.Bold, false, res, obj);
    EXPECT_EQ(res, c.ResName);
    EXPECT_EQ(font.BaseFont(), c.BaseFont);
    EXPECT_EQ(font.ObjNum(), obj);
    const auto [it, fresh] = seen.emplace(res, std::make_pair(&font, obj));
    if (!fresh) {
      EXPECT_EQ(it->second, std::make_pair(&font, obj));
    }
  }
  EXPECT_EQ(fonts.Entries().size(), 4u);
  EXPECT_EQ(fonts.Warnings().size(), haveArial ? 1u : 2u);
}

TEST(FontManager, WritesEmbeddedFontsThatReadersAccept) {
  if (!HaveFonts()) GTEST_SKIP() << "test fonts not installed";
  TTempDir dir;
  const std::string out = (dir.Path / "fonts.pdf").string();
  std::string page = "BT 72 720 Td ";
  std::map<std::string, TPDFFont*> byRes;
  TPDFVectorWriter writer(out);
  TPDFFontManager fonts(writer);  // keeps the fonts alive for the checks below
  {
    fonts.SetFontDirs({kGyreDir});
    std::string resources = "<< /Font <<";
    auto show = [&](const std::string& Family, bool Bold, const std::string& Text) {
      std::string res;
      int32_t obj = 0;
      TPDFFont& font = fonts.GetFont(Family, Bold, false, res, obj);
      if (!byRes.count(res)) resources += " " + res + " " + std::to_string(obj) + " 0 R";
      byRes[res] = &font;
      double advance = 0;
      page += res + " 12 Tf <" + font.EncodeText(Text, advance) + "> Tj 0 -20 Td ";
      return &font;
    };
    show("DejaVu Sans", false, "AB");
    // 150 glyphs: the first 150 code points from '!' that the font has, plus one outside the BMP.
    std::string many;
    {
      auto probe = TPDFFont::LoadFromFile(kDejaVuDir + "DejaVuSans-Bold.ttf", "", false, false);
      std::set<uint16_t> gids;
      for (char32_t cp = 0x21; gids.size() < 149; ++cp)
        if (const uint16_t g = probe->GidOf(cp); g != 0 && gids.insert(g).second) AppendUtf8(many, cp);
      AppendUtf8(many, 0x10300);
    }
    show("DejaVu Sans", true, many);
    show("TeX Gyre Heros", false, "Quillet");
    page += "ET";
    writer.AddPage(595, 842, writer.AddContentStream(page), resources + " >> >>");
    fonts.EmitAll();
    fonts.EmitAll();  // once only
    writer.SaveToFile();
  }
  const TPdfObjects pdf = ParsePdf(ReadText(out));
  auto deref = [&](const std::string& Dict, const std::string& Key) {
    std::smatch m;
    EXPECT_TRUE(std::regex_search(Dict, m, std::regex(Key + R"( \[?(\d+) 0 R)"))) << Key << " in " << Dict;
    return m.empty() ? 0 : std::stoi(m[1]);
  };
  for (const auto& [res, font] : byRes) {
    SCOPED_TRACE(res);
    const std::string& type0 = pdf.Dict.at(font->ObjNum());
    const std::string& cid = pdf.Dict.at(deref(type0, "/DescendantFonts"));
    const std::string& descriptor = pdf.Dict.at(deref(cid, "/FontDescriptor"));
    const std::string& cmap = pdf.Stream.at(deref(type0, "/ToUnicode"));
    const std::vector<uint16_t> used = font->UsedGlyphs();

    const std::string name = font->IsCFF() ? font->BaseFont() : font->SubsetTag() + "+" + font->BaseFont();
    EXPECT_TRUE(font->IsCFF() || std::regex_match(name, std::regex("[A-Z]{6}\\+DejaVuSans.*"))) << name;
    for (const std::string* d : {&type0, &cid}) EXPECT_NE(d->find("/BaseFont /" + name + " "), std::string::npos);
    EXPECT_NE(descriptor.find("/FontName /" + name + " "), std::string::npos);

    std::string widths = "/W [";
    for (const uint16_t g : used) widths += std::to_string(g) + " [" + std::to_string(font->GidWidth1000(g)) + "] ";
    EXPECT_NE(cid.find(widths + "] >>"), std::string::npos) << cid;
    EXPECT_EQ(Count(cmap, "> <") - 1, static_cast<int>(used.size()));  // less the code space range

    if (font->IsCFF()) {
      EXPECT_NE(cid.find("/Subtype /CIDFontType0 "), std::string::npos);
      EXPECT_EQ(cid.find("/CIDToGIDMap"), std::string::npos);
      const int file = deref(descriptor, "/FontFile3");
      EXPECT_NE(pdf.Dict.at(file).find("/Subtype /OpenType"), std::string::npos);
      EXPECT_TRUE(pdf.Stream.at(file) == std::string(font->Data()->begin(), font->Data()->end()));
    } else {
      EXPECT_NE(cid.find("/Subtype /CIDFontType2 "), std::string::npos);
      EXPECT_NE(cid.find("/CIDToGIDMap /Identity"), std::string::npos);
      const int file = deref(descriptor, "/FontFile2");
      const std::vector<uint8_t> subset = font->BuildSubset();
      EXPECT_NE(pdf.Dict.at(file).find("/Length1 " + std::to_string(subset.size()) + " "), std::string::npos);
      EXPECT_TRUE(pdf.Stream.at(file) == std::string(subset.begin(), subset.end()));
    }
    if (used.size() == 2) {
      EXPECT_NE(cmap.find("2 beginbfchar\n"), std::string::npos);
      char hex[8];
      std::snprintf(hex, sizeof hex, "%04X", font->GidOf('B'));
      EXPECT_NE(cmap.find("<" + std::string(hex) + "> <0042>\n"), std::string::npos) << cmap;
    }
    if (used.size() == 150) {
      EXPECT_NE(cmap.find("100 beginbfchar\n"), std::string::npos);
      EXPECT_NE(cmap.find("50 beginbfchar\n"), std::string::npos);
      EXPECT_NE(cmap.find("> <D800DF00>\n"), std::string::npos);
    }
  }

  // Outside readers: structure, fonts embedded as subsets, and text recoverable through ToUnicode.
  EXPECT_NE(RunCommand("qpdf --check '" + out + "' 2>&1").find("No syntax or stream encoding errors"), std::string::npos);
  const std::string list = RunCommand("pdffonts '" + out + "' 2>&1");
  EXPECT_EQ(Count(list, "Identity-H"), 3) << list;
  for (const char* line : {"[A-Z]{6}\\+DejaVuSans +CID TrueType +Identity-H +yes yes yes",
                           "[A-Z]{6}\\+DejaVuSans-Bold +CID TrueType +Identity-H +yes yes yes",
                           "\nTeXGyreHeros-Regular +CID Type 0C \\(OT\\) +Identity-H +yes no +yes"})
    EXPECT_TRUE(std::regex_search(list, std::regex(line))) << line << "\n" << list;
  const std::string text = RunCommand("pdftotext '" + out + "' - 2>&1");
  EXPECT_NE(text.find("AB"), std::string::npos) << text;
  EXPECT_NE(text.find("Quillet"), std::string::npos) << text;
  EXPECT_NE(text.find("!\"#$%&"), std::string::npos) << text;
}

}  // namespace
}  // namespace quillet
