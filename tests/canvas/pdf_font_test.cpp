// TPDFFont against FreeType as an outside oracle (character maps, advances, rendering of subset
// glyphs), plus small fonts built here for the rules real fonts cannot reach.
#include <gtest/gtest.h>

#include <ft2build.h>
#include FT_FREETYPE_H

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "../support/font_damage.h"
#include "base/error.h"
#include "canvas/pdf_font.h"

namespace quillet {
namespace {

using Bytes = std::vector<uint8_t>;

const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char* const kLiberation = "/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf";
const char* const kHeros = "/usr/share/texmf/fonts/opentype/public/tex-gyre/texgyreheros-regular.otf";

Bytes ReadBytes(const std::string& Path) {
  std::ifstream in(Path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// ---- a tiny sfnt builder -------------------------------------------------------------------

void Put16(Bytes& B, uint32_t V) { B.insert(B.end(), {static_cast<uint8_t>(V >> 8), static_cast<uint8_t>(V)}); }
void Put32(Bytes& B, uint32_t V) { Put16(B, V >> 16), Put16(B, V & 0xFFFF); }
uint16_t Get16(const Bytes& B, size_t At) { return static_cast<uint16_t>((B[At] << 8) | B[At + 1]); }
uint32_t Get32(const Bytes& B, size_t At) { return (uint32_t{Get16(B, At)} << 16) | Get16(B, At + 2); }

Bytes Sfnt(const std::map<std::string, Bytes>& Tables, uint32_t Version = 0x00010000) {
  Bytes dir, data;
  Put32(dir, Version), Put16(dir, static_cast<uint32_t>(Tables.size())), Put16(dir, 0), Put32(dir, 0);
  for (const auto& [tag, t] : Tables) {
    dir.insert(dir.end(), tag.begin(), tag.end());
    Put32(dir, 0), Put32(dir, static_cast<uint32_t>(12 + 16 * Tables.size() + data.size())),
        Put32(dir, static_cast<uint32_t>(t.size()));
    data.insert(data.end(), t.begin(), t.end());
    data.resize((data.size() + 3) & ~size_t{3});
  }
  dir.insert(dir.end(), data.begin(), data.end());
  return dir;
}
// Tables with the fields the reader uses at their offsets; ascender 800, descender -200.
Bytes Table(size_t Size, std::map<size_t, uint16_t> Fields) {
  Bytes b(Size, 0);
  for (auto [at, v] : Fields) b[at] = static_cast<uint8_t>(v >> 8), b[at + 1] = static_cast<uint8_t>(v);
  return b;
}
Bytes Head(uint16_t UnitsPerEm, uint16_t LocFormat = 0) { return Table(54, {{18, UnitsPerEm}, {50, LocFormat}}); }
// Format 4 with one segment per mapped code (start = end = code, delta = glyph - code).
Bytes Format4(const std::vector<std::pair<uint16_t, uint16_t>>& Map) {
  const uint32_t seg = static_cast<uint32_t>(Map.size()) + 1;
  Bytes b, ends, starts, deltas;
  for (auto [c, g] : Map) Put16(ends, c), Put16(starts, c), Put16(deltas, static_cast<uint16_t>(g - c));
  Put16(ends, 0xFFFF), Put16(starts, 0xFFFF), Put16(deltas, 1);
  Put16(b, 4), Put16(b, 16 + 8 * seg), Put16(b, 0), Put16(b, seg * 2), Put16(b, 0), Put32(b, 0);
  b.insert(b.end(), ends.begin(), ends.end()), Put16(b, 0);
  b.insert(b.end(), starts.begin(), starts.end()), b.insert(b.end(), deltas.begin(), deltas.end());
  b.resize(b.size() + 2 * seg);
  return b;
}
struct TSub {
  uint16_t Platform, Encoding;
  Bytes Data;
};
Bytes Cmap(const std::vector<TSub>& Subs) {
  Bytes b, data;
  Put16(b, 0), Put16(b, static_cast<uint32_t>(Subs.size()));
  for (const auto& s : Subs) {
    Put16(b, s.Platform), Put16(b, s.Encoding), Put32(b, static_cast<uint32_t>(4 + 8 * Subs.size() + data.size()));
    data.insert(data.end(), s.Data.begin(), s.Data.end());
  }
  b.insert(b.end(), data.begin(), data.end());
  return b;
}
// Ten glyphs without outlines, of widths 100, 110, ...; A and B map to glyphs 1 and 2.
std::map<std::string, Bytes> BasicTables() {
  Bytes hmtx;
  for (uint16_t g = 0; g < 10; ++g) Put32(hmtx, (100u + g * 10) << 16);
  return {{"head", Head(2048)},
          {"maxp", Table(6, {{4, 10}})},
          {"hhea", Table(36, {{4, 800}, {6, 0xFF38}, {34, 10}})},
          {"hmtx", hmtx},
          {"cmap", Cmap({{3, 1, Format4({{'A', 1}, {'B', 2}})}})},
          {"loca", Bytes(22, 0)},
          {"glyf", Bytes{}}};
}

// ---- FreeType --------------------------------------------------------------------------------

struct TFtFace {
  FT_Library Lib = nullptr;
  FT_Face Face = nullptr;
  explicit TFtFace(const Bytes& Data) {
    FT_Init_FreeType(&Lib);
    EXPECT_EQ(FT_New_Memory_Face(Lib, Data.data(), static_cast<FT_Long>(Data.size()), 0, &Face), 0);
  }
  ~TFtFace() { FT_Done_Face(Face), FT_Done_FreeType(Lib); }
  // The glyph rendered at 32 pixels: placement, size and coverage bytes.
  Bytes Render(unsigned Gid) const {
    FT_Set_Pixel_Sizes(Face, 0, 32);
    EXPECT_EQ(FT_Load_Glyph(Face, Gid, FT_LOAD_RENDER), 0) << "glyph " << Gid;
    const FT_Bitmap& bm = Face->glyph->bitmap;
    Bytes r;
    Put32(r, Face->glyph->bitmap_left), Put32(r, Face->glyph->bitmap_top), Put32(r, bm.rows), Put32(r, bm.width);
    for (unsigned y = 0; y < bm.rows; ++y) r.insert(r.end(), bm.buffer + y * bm.pitch, bm.buffer + y * bm.pitch + bm.width);
    return r;
  }
};

// ---- tests -----------------------------------------------------------------------------------

TEST(PDFFont, CmapAndWidthsAgreeWithFreeType) {
  // Turkish, German, Greek, Cyrillic, the euro sign, and characters these fonts lack.
  const std::u32string text = U"AzşŞğĞİıçöüÄßΩλπЖяЁ€ 7\u4E00\uE123\U0001F98A";
  for (const char* path : {kDejaVu, kLiberation, kHeros}) {
    if (!std::filesystem::exists(path)) continue;
    SCOPED_TRACE(path);
    const Bytes data = ReadBytes(path);
    auto font = TPDFFont::LoadFromBytes(data, "", false, false);
    const TFtFace ft(data);
    EXPECT_EQ(font->UnitsPerEm(), ft.Face->units_per_EM);
    EXPECT_EQ(font->BaseFont(), FT_Get_Postscript_Name(ft.Face));
    EXPECT_EQ(font->IsCFF(), path == kHeros);
    for (const char32_t cp : text) {
      const uint16_t gid = font->GidOf(cp);
      EXPECT_EQ(gid, FT_Get_Char_Index(ft.Face, cp)) << "U+" << std::hex << uint32_t(cp);
      EXPECT_TRUE((cp == 0x4E00 || cp == 0xE123) ? gid == 0 : (cp >= 0x80 && cp != U'ş') || gid != 0);
      ASSERT_EQ(FT_Load_Glyph(ft.Face, gid, FT_LOAD_NO_SCALE), 0);
      const FT_Pos advance = ft.Face->glyph->metrics.horiAdvance;
      EXPECT_EQ(font->GidWidthFU(gid), advance) << "gid " << gid;
      EXPECT_EQ(font->GidWidth1000(gid), std::nearbyint(advance * 1000.0 / ft.Face->units_per_EM));
    }
  }
}

TEST(PDFFont, EncodeTextMarksGlyphsWithTheirCodePoints) {
  auto font = TPDFFont::LoadFromBytes(Sfnt(BasicTables()), "My Font", false, false);
  EXPECT_EQ(font->BaseFont(), "MyFont");  // no name table: the given name without spaces
  double adv = -1;
  EXPECT_EQ(font->EncodeText("", adv), "");
  EXPECT_EQ(adv, 0);
  EXPECT_TRUE(font->UsedGlyphs().empty());
  // Widths 110, 120 and 100 of 2048 units: 53.7 -> 54, 58.6 -> 59, 48.8 -> 49 (glyph 0 for Z).
  EXPECT_EQ(font->EncodeText("ABZ", adv), "000100020000");
  EXPECT_EQ(adv, 54 + 59 + 49);
  EXPECT_EQ(font->UsedGlyphs(), (std::vector<uint16_t>{0, 1, 2}));
  EXPECT_EQ(font->UsedCodePoint(0), U'Z');
  EXPECT_EQ(font->TextWidth1000("\xC3\xA4"), 49);  // measuring marks nothing: glyph 0 still stands for Z
  EXPECT_EQ(font->UsedCodePoint(0), U'Z');
}

TEST(PDFFont, CmapChoiceAndFormats) {
  const Bytes symbol = Format4({{0xF041, 3}}), unicode = Format4({{'A', 1}});
  Bytes format0 = Table(262, {{2, 262}}), format6 = Table(14, {{0, 6}, {2, 14}, {6, 'A'}, {8, 2}, {10, 5}, {12, 6}});
  format0[6 + 'A'] = 4;
  Bytes format12 = Table(16, {{0, 12}, {6, 52}, {14, 3}});
  for (uint32_t v : {0x41u, 0x42u, 7u, 0x1F600u, 0x1F600u, 9u, 0x20000u, 0x20000u, 500u}) Put32(format12, v);
  struct Case {
    const char* What;
    std::vector<TSub> Subs;
    uint16_t Format;
    std::vector<std::pair<char32_t, uint16_t>> Lookups;
  } cases[] = {
      {"symbol used only without unicode", {{3, 0, symbol}, {3, 1, unicode}}, 4, {{'A', 1}, {0xF041, 0}}},
      {"symbol alone", {{3, 0, symbol}}, 4, {{0xF041, 3}, {'A', 0}}},
      {"format 12 beats format 4", {{3, 1, unicode}, {3, 10, format12}}, 12,
       {{'A', 7}, {'B', 8}, {'C', 0}, {0x1F600, 9}, {0x20000, 0}}},  // 500 is past the glyph count
      {"format 0", {{1, 0, format0}}, 0, {{'A', 4}, {'B', 0}, {0x141, 0}}},
      {"format 6", {{0, 3, format6}}, 6, {{'A', 5}, {'B', 6}, {'C', 0}, {'@', 0}}},
      {"earlier record wins a tie", {{0, 3, format6}, {0, 3, format0}}, 6, {{'A', 5}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    auto tables = BasicTables();
    tables["cmap"] = Cmap(c.Subs);
    auto font = TPDFFont::LoadFromBytes(Sfnt(tables), "", false, false);
    EXPECT_EQ(font->CmapFormat(), c.Format);
    for (auto [cp, gid] : c.Lookups) EXPECT_EQ(font->GidOf(cp), gid) << std::hex << uint32_t(cp);
  }
}

TEST(PDFFont, LoadErrorsCarryTheirMessages) {
  auto with = [](const char* Tag, std::optional<Bytes> Data, uint32_t Version = 0x00010000) {
    auto t = BasicTables();
    Data ? void(t[Tag] = *Data) : void(t.erase(Tag));
    return Sfnt(t, Version);
  };
  auto pastEnd = [](const char* Tag) {  // the directory puts the table far past the end of the file
    auto t = BasicTables();
    t["zzzz"] = {};  // sorts last, so the table under test is not at the very end
    Bytes f = Sfnt(t);
    f[test::TableEntry(f, Tag) + 8] = 0x7F;
    return f;
  };
  const std::pair<Bytes, std::string> cases[] = {
      {Bytes(11, 0), "Gecersiz font: cok kisa"},
      {with("name", Bytes{}, 0x74746366), "Desteklenmeyen font formati (sfnt 0x74746366)"},
      {with("name", Bytes{}, 0x00020000), "Desteklenmeyen font formati (sfnt 0x00020000)"},
      {with("head", {}), "Font: head tablosu yok"},
      {with("maxp", {}), "Font: maxp tablosu yok"},
      {with("hhea", {}), "Font: hhea tablosu yok"},
      {with("cmap", {}), "Font: cmap tablosu yok"},
      {with("hmtx", {}), "Font: hmtx tablosu yok"},
      {with("cmap", Cmap({{3, 1, Bytes{0, 2, 0, 0}}})), "Font: kullanilabilir Unicode cmap yok"},
      {with("head", Bytes(40, 0)), "Gecersiz font: head tablosu bozuk"},
      // What the embedded program needs must be there whole.
      {with("loca", {}), "Font: loca tablosu yok"},
      {with("glyf", {}), "Font: glyf tablosu yok"},
      {with("name", Bytes{}, 0x4F54544F), "Font: CFF tablosu yok"},
      {with("loca", Bytes(21, 0)), "Gecersiz font: loca tablosu bozuk"},
      {with("hmtx", Bytes(39, 0)), "Gecersiz font: hmtx tablosu bozuk"},
      {with("maxp", Bytes(5, 0)), "Gecersiz font: maxp tablosu bozuk"},
      {with("hhea", Bytes(35, 0)), "Gecersiz font: hhea tablosu bozuk"},
      {pastEnd("cmap"), "Gecersiz font: cmap tablosu bozuk"},
      {pastEnd("glyf"), "Gecersiz font: glyf tablosu bozuk"},
      {pastEnd("hmtx"), "Gecersiz font: hmtx tablosu bozuk"},
      {pastEnd("loca"), "Gecersiz font: loca tablosu bozuk"},
      {with("cmap", Cmap({{3, 1, Format4({})}, {3, 1, Bytes{0, 2, 0, 0}}})), ""},
  };
  for (const auto& [data, message] : cases) {
    try {
      TPDFFont::LoadFromBytes(data, "", false, false);
      EXPECT_EQ(message, "") << "loaded";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.what(), message);
    }
  }
  EXPECT_EQ(TPDFFont::LoadFromBytes(with("head", Head(0)), "", false, false)->GidWidth1000(1), 110);  // 0 em = 1000
}

// Glyphs: 0 simple; 2 -> 3 -> {1, 7}; 5 <-> 6 a cycle; 4 and 8 unused; 9 -> a glyph id beyond the font.
// A uses 2, B uses 5 and C uses 9: the last two cannot be drawn.
std::map<std::string, Bytes> CompositeTables(uint16_t LocFormat) {
  auto composite = [](std::vector<uint16_t> Parts) {
    Bytes b = Table(10, {{0, 0xFFFF}});
    for (size_t i = 0; i < Parts.size(); ++i) {
      // The first record has word arguments and an x/y scale: 4 + 4 + 4 bytes.
      Put16(b, (i + 1 < Parts.size() ? 0x20 : 0) | (i == 0 ? 0x41 : 0)), Put16(b, Parts[i]);
      b.resize(b.size() + (i == 0 ? 8 : 2));
    }
    return b;
  };
  // One contour of one point: its flag (on curve, x and y unchanged) needs no coordinate bytes.
  const Bytes simple = Table(16, {{0, 1}, {14, 0x3100}});
  Bytes glyf, loca;
  for (const Bytes& g : {simple, simple, composite({3}), composite({1, 7}), simple, composite({6}), composite({5}),
                         simple, simple, composite({300}), Bytes{}}) {
    LocFormat ? Put32(loca, static_cast<uint32_t>(glyf.size())) : Put16(loca, static_cast<uint32_t>(glyf.size() / 2));
    glyf.insert(glyf.end(), g.begin(), g.end());
  }
  auto t = BasicTables();
  t["head"] = Head(1000, LocFormat), t["glyf"] = glyf, t["loca"] = loca, t["fpgm"] = {1, 2, 3};
  t["cmap"] = Cmap({{3, 1, Format4({{'A', 2}, {'B', 5}, {'C', 9}})}});
  return t;
}

// Checks what any sfnt reader relies on (table order, alignment, checksums, long loca) and
// returns the glyphs that have data.
std::vector<unsigned> CheckSubset(const Bytes& Font, unsigned NumGlyphs) {
  auto sum = [&](size_t Off, size_t Len) {
    Bytes b(Font.begin() + Off, Font.begin() + Off + Len);
    b.resize((Len + 3) & ~size_t{3});
    uint32_t s = 0;
    for (size_t i = 0; i < b.size(); i += 4) s += Get32(b, i);
    return s;
  };
  std::map<std::string, std::pair<uint32_t, uint32_t>> dir;
  std::string last;
  for (size_t e = 12; e < 12 + 16 * size_t{Get16(Font, 4)}; e += 16) {
    const std::string tag(Font.begin() + e, Font.begin() + e + 4);
    const uint32_t off = Get32(Font, e + 8), len = Get32(Font, e + 12);
    EXPECT_LT(last, tag);
    EXPECT_EQ(off % 4, 0u) << tag;
    EXPECT_EQ(sum(off, len) - (tag == "head" ? Get32(Font, off + 8) : 0), Get32(Font, e + 4)) << tag;
    dir[last = tag] = {off, len};
  }
  EXPECT_EQ(sum(0, Font.size()), 0xB1B0AFBAu);
  for (const char* gone : {"cmap", "name", "OS/2", "post"}) EXPECT_EQ(dir.count(gone), 0u) << gone;
  EXPECT_EQ(Get16(Font, dir.at("head").first + 50), 1);
  EXPECT_EQ(dir.at("loca").second, 4 * (NumGlyphs + 1));
  std::vector<unsigned> present;
  for (unsigned g = 0; g < NumGlyphs; ++g) {
    const uint32_t a = Get32(Font, dir.at("loca").first + 4 * g), b = Get32(Font, dir.at("loca").first + 4 * g + 4);
    EXPECT_LE(a, b);
    if (b > a) present.push_back(g);
  }
  return present;
}

TEST(PDFFont, SubsetClosesCompositesAndWritesLongLoca) {
  for (const uint16_t locFormat : {0, 1}) {
    auto font = TPDFFont::LoadFromBytes(Sfnt(CompositeTables(locFormat)), "", false, false);
    double advance = 0;
    font->EncodeText("ABC", advance);
    std::vector<uint16_t> damaged;
    const Bytes subset = font->BuildSubset(&damaged);
    EXPECT_EQ(CheckSubset(subset, 10), (std::vector<unsigned>{0, 1, 2, 3, 7})) << locFormat;
    EXPECT_EQ(damaged, (std::vector<uint16_t>{5, 6, 9}));
    const std::string_view fpgm = "fpgm";
    EXPECT_NE(std::search(subset.begin(), subset.end(), fpgm.begin(), fpgm.end()), subset.end());
  }
  auto cffTables = BasicTables();
  cffTables["CFF "] = {1, 0, 4, 1};
  auto cff = TPDFFont::LoadFromBytes(Sfnt(cffTables, 0x4F54544F), "", false, false);
  EXPECT_EQ(cff->BuildSubset(), *cff->Data());
}

TEST(PDFFont, SubsetGlyphsRenderAsInTheOriginal) {
  for (const char* path : {kDejaVu, kLiberation}) {
    if (!std::filesystem::exists(path)) continue;
    SCOPED_TRACE(path);
    const Bytes data = ReadBytes(path);
    auto font = TPDFFont::LoadFromBytes(data, "", false, false);
    double advance = 0;
    font->EncodeText("Şişli Ğüç İı ÄÖÜß Ωλπ Жя Ǻǻḉấ €1,5 №", advance);
    const Bytes subset = font->BuildSubset();
    EXPECT_LT(subset.size(), data.size() / 4);
    const std::vector<unsigned> present = CheckSubset(subset, font->NumGlyphs());
    const std::vector<uint16_t> used = font->UsedGlyphs();
    // DejaVu's accented letters pull in components that were not asked for (all but the space have outlines).
    EXPECT_GE(present.size(), used.size() + (path == kDejaVu ? 1 : -1));
    const TFtFace original(data), reduced(subset);
    for (const uint16_t g : used) EXPECT_TRUE(reduced.Render(g) == original.Render(g)) << "glyph " << g;
  }
}

// Damage to single glyphs of a real font, made here: the subset still builds, exactly the damaged
// glyphs the text uses come out empty (FreeType draws nothing for them), and every other glyph
// renders as in the original.
TEST(PDFFont, DamagedGlyphsAreLeftEmpty) {
  if (!std::filesystem::exists(kDejaVu)) GTEST_SKIP() << "DejaVu Sans not installed";
  const Bytes original = ReadBytes(kDejaVu);
  ASSERT_EQ(Get16(original, test::TableAt(original, "head").first + 50), 1) << "the cases write long loca entries";
  const auto [glyf, glyfLen] = test::TableAt(original, "glyf");
  auto glyphAt = [glyf = glyf](const Bytes& F, uint32_t Gid) {
    return glyf + Get32(F, test::TableAt(F, "loca").first + 4 * Gid);
  };
  const std::string text = "ABÖ Sxyz";  // no letter built on A or B
  auto probe = TPDFFont::LoadFromBytes(original, "", false, false);
  const uint16_t a = probe->GidOf('A'), b = probe->GidOf('B'), q = probe->GidOf('Q'), x = probe->GidOf('x'),
                 y = probe->GidOf('y'), composite = probe->GidOf(U'Ö');
  ASSERT_LT(static_cast<int16_t>(Get16(original, glyphAt(original, composite))), 0) << "Ö is not a composite";
  ASSERT_TRUE(b == a + 1 && y == x + 1);
  const struct {
    const char* What;
    std::function<void(Bytes&)> Damage;
    std::set<uint16_t> Damaged;  // of the glyphs the text uses
  } cases[] = {
      {"loca backwards at an unused glyph", [&](Bytes& F) { test::SetLongLoca(F, q, 0); }, {}},
      // The entry both ends A and starts B: neither can be trusted.
      {"loca backwards at a used glyph", [&](Bytes& F) { test::SetLongLoca(F, b, 0); }, {a, b}},
      {"loca entry beyond glyf", [&](Bytes& F) { test::SetLongLoca(F, y, glyfLen + 4); }, {x, y}},
      {"contour count past the glyph's end", [&](Bytes& F) { F[glyphAt(F, y)] = 0x7F; }, {y}},
      {"composite containing itself",
       [&](Bytes& F) {
         const uint32_t at = glyphAt(F, composite) + 12;  // first component's glyph id
         F[at] = static_cast<uint8_t>(composite >> 8), F[at + 1] = static_cast<uint8_t>(composite);
       },
       {composite}},
  };
  const TFtFace reference(original);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.What);
    Bytes data = original;
    c.Damage(data);
    auto font = TPDFFont::LoadFromBytes(data, "", false, false);
    double advance = 0;
    font->EncodeText(text, advance);
    std::vector<uint16_t> damaged;
    const Bytes subset = font->BuildSubset(&damaged);
    EXPECT_EQ(std::set<uint16_t>(damaged.begin(), damaged.end()), c.Damaged);
    CheckSubset(subset, font->NumGlyphs());
    const TFtFace reduced(subset);
    for (const uint16_t g : font->UsedGlyphs()) {
      const Bytes drawn = reduced.Render(g);
      if (c.Damaged.count(g)) EXPECT_EQ(Get32(drawn, 8) * Get32(drawn, 12), 0u) << "glyph " << g << " drawn";
      else EXPECT_TRUE(drawn == reference.Render(g)) << "glyph " << g;
    }
  }
}

// A damaged font gives EQuilletError at load or works; once loaded, subsetting never fails.
// Nothing else may escape (the sanitizer build catches what would be undefined behaviour).
void Exercise(const Bytes& Data) {
  std::unique_ptr<TPDFFont> font;
  try {
    font = TPDFFont::LoadFromBytes(Data, "", false, false);
  } catch (const EQuilletError&) {
    return;
  }
  double advance = 0;
  font->EncodeText("AzŞğΩЖ€\xF0\x9F\x98\x80", advance);
  for (char32_t cp = 0; cp < 0x3000; cp += 37) font->GidOf(cp);
  EXPECT_NO_THROW((void)font->BuildSubset());
}

TEST(PDFFont, DamagedFontsFailCleanly) {
  const Bytes small = Sfnt(CompositeTables(0));
  for (size_t cut = 0; cut < small.size(); ++cut) Exercise(Bytes(small.begin(), small.begin() + cut));
  if (std::filesystem::exists(kLiberation)) {
    const Bytes real = ReadBytes(kLiberation);
    for (size_t cut = 0; cut < real.size(); cut += 4099) Exercise(Bytes(real.begin(), real.begin() + cut));
  }
  // Bogus offsets and counts: random bytes written over the directory (odd rounds) or anywhere.
  std::mt19937 rng(12345);
  for (int round = 0; round < 3000; ++round) {
    Bytes d = small;
    for (int i = 0, flips = 1 + static_cast<int>(rng() % 6); i < flips; ++i)
      d[round % 2 ? rng() % (12 + 16 * 7) : rng() % d.size()] = static_cast<uint8_t>(rng() % 3 ? rng() : 0xFF);
    Exercise(d);
  }
}

}  // namespace
}  // namespace quillet
