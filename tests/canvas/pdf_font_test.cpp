// TPDFFont against FreeType as an outside oracle (character maps, advances, rendering of subset
// glyphs), plus small fonts built here for the rules real fonts cannot reach.
#include <gtest/gtest.h>

#include <ft2build.h>
#include FT_FREETYPE_H

#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "base/error.h"
#include "base/utf8.h"
#include "canvas/pdf_font.h"

namespace quillet {
namespace {

using Bytes = std::vector<uint8_t>;

const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char* const kDejaVuSerif = "/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf";
const char* const kLiberation = "/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf";
const char* const kHeros = "/usr/share/texmf/fonts/opentype/public/tex-gyre/texgyreheros-regular.otf";

Bytes ReadBytes(const std::string& Path) {
  std::ifstream in(Path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

#define REQUIRE_FONT(path) \
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "font not installed: " << path

// ---- a tiny sfnt builder -------------------------------------------------------------------

void Put16(Bytes& B, uint32_t V) {
  B.push_back(static_cast<uint8_t>(V >> 8));
  B.push_back(static_cast<uint8_t>(V));
}
void Put32(Bytes& B, uint32_t V) {
  Put16(B, V >> 16);
  Put16(B, V & 0xFFFF);
}
uint32_t Get32(const Bytes& B, size_t At) {
  return (uint32_t{B[At]} << 24) | (uint32_t{B[At + 1]} << 16) | (uint32_t{B[At + 2]} << 8) | B[At + 3];
}
uint16_t Get16(const Bytes& B, size_t At) { return static_cast<uint16_t>((B[At] << 8) | B[At + 1]); }

Bytes Sfnt(const std::map<std::string, Bytes>& Tables, uint32_t Version = 0x00010000) {
  Bytes out;
  Put32(out, Version);
  Put16(out, static_cast<uint32_t>(Tables.size()));
  Put16(out, 0), Put16(out, 0), Put16(out, 0);
  size_t at = 12 + 16 * Tables.size();
  for (const auto& [tag, data] : Tables) {
    for (char c : tag) out.push_back(static_cast<uint8_t>(c));
    Put32(out, 0), Put32(out, static_cast<uint32_t>(at)), Put32(out, static_cast<uint32_t>(data.size()));
    at += (data.size() + 3) & ~size_t{3};
  }
  for (const auto& [tag, data] : Tables) {
    out.insert(out.end(), data.begin(), data.end());
    out.resize((out.size() + 3) & ~size_t{3});
  }
  return out;
}

Bytes Head(uint16_t UnitsPerEm, int16_t LocFormat = 0) {
  Bytes b(54, 0);
  b[18] = static_cast<uint8_t>(UnitsPerEm >> 8), b[19] = static_cast<uint8_t>(UnitsPerEm);
  b[51] = static_cast<uint8_t>(LocFormat);
  return b;
}
Bytes Maxp(uint16_t NumGlyphs) {
  Bytes b{0, 0, 0x50, 0};
  Put16(b, NumGlyphs);
  return b;
}
Bytes Hhea(uint16_t NumHMetrics) {
  Bytes b(36, 0);
  b[4] = 0x03, b[5] = 0x20;   // ascender 800
  b[6] = 0xFF, b[7] = 0x38;   // descender -200
  b[34] = static_cast<uint8_t>(NumHMetrics >> 8), b[35] = static_cast<uint8_t>(NumHMetrics);
  return b;
}
// Format 4 with one segment per mapped code (start = end = code, delta = glyph - code).
Bytes Format4(const std::vector<std::pair<uint16_t, uint16_t>>& Map) {
  const uint32_t seg = static_cast<uint32_t>(Map.size()) + 1;
  Bytes b;
  Put16(b, 4), Put16(b, 16 + 8 * seg), Put16(b, 0), Put16(b, seg * 2), Put16(b, 0), Put16(b, 0), Put16(b, 0);
  for (auto [c, g] : Map) Put16(b, c);
  Put16(b, 0xFFFF), Put16(b, 0);
  for (auto [c, g] : Map) Put16(b, c);
  Put16(b, 0xFFFF);
  for (auto [c, g] : Map) Put16(b, static_cast<uint16_t>(g - c));
  Put16(b, 1);
  for (size_t i = 0; i < seg; ++i) Put16(b, 0);
  return b;
}
Bytes Format12(const std::vector<std::array<uint32_t, 3>>& Groups) {
  Bytes b;
  Put16(b, 12), Put16(b, 0), Put32(b, 16 + 12 * static_cast<uint32_t>(Groups.size())), Put32(b, 0);
  Put32(b, static_cast<uint32_t>(Groups.size()));
  for (const auto& g : Groups) Put32(b, g[0]), Put32(b, g[1]), Put32(b, g[2]);
  return b;
}
struct TSub {
  uint16_t Platform, Encoding;
  Bytes Data;
};
Bytes Cmap(const std::vector<TSub>& Subs) {
  Bytes b;
  Put16(b, 0), Put16(b, static_cast<uint32_t>(Subs.size()));
  uint32_t at = 4 + 8 * static_cast<uint32_t>(Subs.size());
  for (const auto& s : Subs) Put16(b, s.Platform), Put16(b, s.Encoding), Put32(b, at), at += static_cast<uint32_t>(s.Data.size());
  for (const auto& s : Subs) b.insert(b.end(), s.Data.begin(), s.Data.end());
  return b;
}
std::map<std::string, Bytes> BasicTables(uint16_t NumGlyphs = 10) {
  Bytes hmtx;
  for (uint16_t g = 0; g < NumGlyphs; ++g) Put16(hmtx, 100 + g * 10), Put16(hmtx, 0);
  return {{"head", Head(2048)}, {"maxp", Maxp(NumGlyphs)}, {"hhea", Hhea(NumGlyphs)}, {"hmtx", hmtx},
          {"cmap", Cmap({{3, 1, Format4({{'A', 1}, {'B', 2}})}})}};
}

// ---- FreeType --------------------------------------------------------------------------------

struct TFt {
  FT_Library Lib = nullptr;
  TFt() { FT_Init_FreeType(&Lib); }
  ~TFt() { FT_Done_FreeType(Lib); }
};
struct TFtFace {
  FT_Face Face = nullptr;
  TFtFace(FT_Library Lib, const Bytes& Data) {
    EXPECT_EQ(FT_New_Memory_Face(Lib, Data.data(), static_cast<FT_Long>(Data.size()), 0, &Face), 0);
  }
  ~TFtFace() { FT_Done_Face(Face); }
};
struct TRendered {
  int Left, Top;
  unsigned Rows, Width;
  Bytes Pixels;
  bool operator==(const TRendered&) const = default;
  friend std::ostream& operator<<(std::ostream& O, const TRendered& R) {
    return O << R.Width << "x" << R.Rows << " at " << R.Left << "," << R.Top;
  }
};
TRendered Render(FT_Face Face, unsigned Gid) {
  FT_Set_Pixel_Sizes(Face, 0, 32);
  EXPECT_EQ(FT_Load_Glyph(Face, Gid, FT_LOAD_RENDER), 0) << "glyph " << Gid;
  const FT_Bitmap& bm = Face->glyph->bitmap;
  TRendered r{Face->glyph->bitmap_left, Face->glyph->bitmap_top, bm.rows, bm.width, {}};
  for (unsigned y = 0; y < bm.rows; ++y)
    r.Pixels.insert(r.Pixels.end(), bm.buffer + y * bm.pitch, bm.buffer + y * bm.pitch + bm.width);
  return r;
}

// ---- tests -----------------------------------------------------------------------------------

TEST(PDFFont, CmapAndWidthsAgreeWithFreeType) {
  TFt ft;
  // Turkish, German, Greek, Cyrillic, the euro sign, and characters these fonts lack.
  const std::u32string text = U"AzşŞğĞİıçöüÄßΩλπЖяЁ€ 7\u4E00\uE123\U0001F98A";
  for (const char* path : {kDejaVu, kLiberation, kDejaVuSerif, kHeros}) {
    if (!std::filesystem::exists(path)) continue;
    SCOPED_TRACE(path);
    const Bytes data = ReadBytes(path);
    auto font = TPDFFont::LoadFromBytes(data, "", false, false);
    TFtFace face(ft.Lib, data);
    EXPECT_EQ(font->UnitsPerEm(), face.Face->units_per_EM);
    EXPECT_EQ(font->BaseFont(), FT_Get_Postscript_Name(face.Face));
    EXPECT_EQ(font->IsCFF(), std::string(path).ends_with(".otf"));
    for (const char32_t cp : text) {
      const uint16_t gid = font->GidOf(cp);
      EXPECT_EQ(gid, FT_Get_Char_Index(face.Face, cp)) << "U+" << std::hex << uint32_t(cp);
      if (cp == 0x4E00 || cp == 0xE123) {
        EXPECT_EQ(gid, 0);
      }
      if (cp < 0x80 || cp == U'ş' || cp == U'İ' || cp == U'ß') {
        EXPECT_NE(gid, 0);
      }
      ASSERT_EQ(FT_Load_Glyph(face.Face, gid, FT_LOAD_NO_SCALE), 0);
      EXPECT_EQ(font->GidWidthFU(gid), face.Face->glyph->metrics.horiAdvance) << "gid " << gid;
      EXPECT_EQ(font->GidWidth1000(gid),
                std::nearbyint(face.Face->glyph->metrics.horiAdvance * 1000.0 / face.Face->units_per_EM));
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
  // Widths 110 and 120 of 2048 units: 53.7 -> 54, 58.59 -> 59; unknown 'Z' is glyph 0, 100 -> 49.
  EXPECT_EQ(font->EncodeText("ABZ", adv), "000100020000");
  EXPECT_EQ(adv, 54 + 59 + 49);
  EXPECT_EQ(font->UsedGlyphs(), (std::vector<uint16_t>{0, 1, 2}));
  EXPECT_EQ(font->UsedCodePoint(0), U'Z');
  EXPECT_EQ(font->TextWidth1000("\xC3\xA4"), 49);  // measuring marks too: glyph 0 now stands for ä
  EXPECT_EQ(font->UsedCodePoint(0), U'ä');
}

TEST(PDFFont, CmapChoiceAndFormats) {
  const Bytes symbol = Format4({{0xF041, 3}});
  const Bytes unicode = Format4({{'A', 1}});
  Bytes format0(262, 0);
  format0[1] = 0, format0[3] = 6, format0[6 + 'A'] = 4;
  Bytes format6;
  Put16(format6, 6), Put16(format6, 14), Put16(format6, 0), Put16(format6, 'A'), Put16(format6, 2), Put16(format6, 5),
      Put16(format6, 6);
  const Bytes format12 = Format12({{'A', 'B', 7}, {0x1F600, 0x1F600, 9}, {0x20000, 0x20000, 500}});
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
  auto without = [](const char* Tag) {
    auto t = BasicTables();
    t.erase(Tag);
    return Sfnt(t);
  };
  auto with = [](const char* Tag, Bytes Data) {
    auto t = BasicTables();
    t[Tag] = std::move(Data);
    return Sfnt(t);
  };
  Bytes ttc = Sfnt(BasicTables(), 0x74746366);
  struct Case {
    Bytes Data;
    std::string Message;
  } cases[] = {
      {Bytes(11, 0), "Gecersiz font: cok kisa"},
      {ttc, "Desteklenmeyen font formati (sfnt 0x74746366)"},
      {Sfnt(BasicTables(), 0x00020000), "Desteklenmeyen font formati (sfnt 0x00020000)"},
      {without("head"), "Font: head tablosu yok"},
      {without("maxp"), "Font: maxp tablosu yok"},
      {without("hhea"), "Font: hhea tablosu yok"},
      {without("cmap"), "Font: cmap tablosu yok"},
      {without("hmtx"), "Font: hmtx tablosu yok"},
      {with("cmap", Cmap({{3, 1, Format4({})}, {3, 1, Bytes{0, 2, 0, 0}}})), ""},
      {with("cmap", Cmap({{3, 1, Bytes{0, 2, 0, 0}}})), "Font: kullanilabilir Unicode cmap yok"},
      {with("head", Bytes(40, 0)), "Gecersiz font: head tablosu bozuk"},
  };
  for (const auto& c : cases) {
    try {
      TPDFFont::LoadFromBytes(c.Data, "", false, false);
      EXPECT_EQ(c.Message, "") << "loaded";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.what(), c.Message);
    }
  }
  auto zeroEm = BasicTables();
  zeroEm["head"] = Head(0);
  EXPECT_EQ(TPDFFont::LoadFromBytes(Sfnt(zeroEm), "", false, false)->GidWidth1000(1), 110);
}

// Glyphs: 0 simple; 2 -> 3 -> {1, 7}; 5 <-> 6 a cycle; 4 and 8 unused simple; 9 -> a glyph id
// beyond the font.
std::map<std::string, Bytes> CompositeTables(int16_t LocFormat) {
  auto simple = [] { return Bytes{0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}; };
  auto composite = [](std::vector<uint16_t> Parts) {
    Bytes b{0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0};
    for (size_t i = 0; i < Parts.size(); ++i) {
      const bool more = i + 1 < Parts.size();
      // The first record has word arguments and an x/y scale, to move past 4 + 4 + 4 bytes.
      const uint16_t flags = (more ? 0x20 : 0) | (i == 0 ? 0x41 : 0);
      Put16(b, flags), Put16(b, Parts[i]);
      b.resize(b.size() + (i == 0 ? 8 : 2));
    }
    return b;
  };
  const std::vector<Bytes> glyphs = {simple(),       simple(),       composite({3}), composite({1, 7}), simple(),
                                     composite({6}), composite({5}), simple(),       simple(),          composite({300})};
  Bytes glyf, loca;
  for (const Bytes& g : glyphs) {
    LocFormat ? Put32(loca, static_cast<uint32_t>(glyf.size())) : Put16(loca, static_cast<uint32_t>(glyf.size() / 2));
    glyf.insert(glyf.end(), g.begin(), g.end());
  }
  LocFormat ? Put32(loca, static_cast<uint32_t>(glyf.size())) : Put16(loca, static_cast<uint32_t>(glyf.size() / 2));
  auto t = BasicTables(10);
  t["head"] = Head(1000, LocFormat);
  t["glyf"] = glyf;
  t["loca"] = loca;
  t["cmap"] = Cmap({{3, 1, Format4({{'A', 2}, {'B', 5}, {'C', 9}})}});
  t["fpgm"] = Bytes{1, 2, 3};
  t["name"] = Bytes{0, 0, 0, 0, 0, 6};
  return t;
}

struct TDirEntry {
  uint32_t Checksum, Offset, Length;
};
std::map<std::string, TDirEntry> Directory(const Bytes& Font) {
  std::map<std::string, TDirEntry> dir;
  for (size_t i = 0; i < Get16(Font, 4); ++i) {
    const size_t e = 12 + 16 * i;
    dir[std::string(Font.begin() + e, Font.begin() + e + 4)] = {Get32(Font, e + 4), Get32(Font, e + 8), Get32(Font, e + 12)};
  }
  return dir;
}
uint32_t Sum(const Bytes& B, size_t Off, size_t Len) {
  Bytes padded(B.begin() + Off, B.begin() + Off + Len);
  padded.resize((Len + 3) & ~size_t{3});
  uint32_t s = 0;
  for (size_t i = 0; i < padded.size(); i += 4) s += Get32(padded, i);
  return s;
}
// Checks the parts of a subset any sfnt reader relies on; returns the non-empty glyphs.
std::vector<unsigned> CheckSubsetStructure(const Bytes& Subset, unsigned NumGlyphs) {
  const auto dir = Directory(Subset);
  std::vector<std::string> tags;
  for (size_t i = 0; i < dir.size(); ++i) tags.emplace_back(Subset.begin() + 12 + 16 * i, Subset.begin() + 16 + 16 * i);
  EXPECT_TRUE(std::is_sorted(tags.begin(), tags.end()));
  for (const auto& [tag, e] : dir) {
    EXPECT_EQ(e.Offset % 4, 0u) << tag;
    EXPECT_EQ(tag == "head" ? Sum(Subset, e.Offset, e.Length) - Get32(Subset, e.Offset + 8) : Sum(Subset, e.Offset, e.Length),
              e.Checksum)
        << tag;
  }
  EXPECT_EQ(Sum(Subset, 0, Subset.size()), 0xB1B0AFBAu);
  for (const char* gone : {"cmap", "name", "OS/2", "post"}) EXPECT_EQ(dir.count(gone), 0u) << gone;
  EXPECT_EQ(Get16(Subset, dir.at("head").Offset + 50), 1);
  EXPECT_EQ(dir.at("loca").Length, 4 * (NumGlyphs + 1));
  std::vector<unsigned> present;
  for (unsigned g = 0; g < NumGlyphs; ++g) {
    const uint32_t a = Get32(Subset, dir.at("loca").Offset + 4 * g), b = Get32(Subset, dir.at("loca").Offset + 4 * g + 4);
    EXPECT_LE(a, b);
    if (b > a) present.push_back(g);
  }
  return present;
}

TEST(PDFFont, SubsetClosesCompositesAndWritesLongLoca) {
  for (const int16_t locFormat : {0, 1}) {
    SCOPED_TRACE(locFormat);
    auto font = TPDFFont::LoadFromBytes(Sfnt(CompositeTables(locFormat)), "", false, false);
    double adv = 0;
    font->EncodeText("ABC", adv);
    const Bytes subset = font->BuildSubset();
    EXPECT_EQ(CheckSubsetStructure(subset, 10), (std::vector<unsigned>{0, 1, 2, 3, 5, 6, 7, 9}));
    EXPECT_EQ(Directory(subset).count("fpgm"), 1u);
  }
  auto cff = TPDFFont::LoadFromBytes(Sfnt(BasicTables(), 0x4F54544F), "", false, false);
  EXPECT_EQ(cff->BuildSubset(), *cff->Data());
}

TEST(PDFFont, SubsetGlyphsRenderAsInTheOriginal) {
  TFt ft;
  const std::string text = "Şişli Ğüç İı ÄÖÜß Ωλπ Жя Ǻǻḉấ €1,5 №";
  for (const char* path : {kDejaVu, kLiberation}) {
    if (!std::filesystem::exists(path)) continue;
    SCOPED_TRACE(path);
    const Bytes data = ReadBytes(path);
    auto font = TPDFFont::LoadFromBytes(data, "", false, false);
    double adv = 0;
    font->EncodeText(text, adv);
    const Bytes subset = font->BuildSubset();
    EXPECT_LT(subset.size(), data.size() / 4);
    const std::vector<unsigned> present = CheckSubsetStructure(subset, font->NumGlyphs());
    const std::vector<uint16_t> used = font->UsedGlyphs();
    // Every used glyph but the blank space has outlines, and DejaVu's accented letters pull in
    // components that were not asked for.
    EXPECT_GE(present.size(), used.size() - 1);
    if (path == kDejaVu) {
      EXPECT_GT(present.size(), used.size());
    }
    TFtFace original(ft.Lib, data), reduced(ft.Lib, subset);
    ASSERT_NE(reduced.Face, nullptr);
    for (const uint16_t g : used) EXPECT_EQ(Render(reduced.Face, g), Render(original.Face, g)) << "glyph " << g;
  }
}

// A damaged font gives EQuilletError or works; nothing else may escape (the sanitizer build
// catches what would be undefined behaviour).
void Exercise(const Bytes& Data) {
  try {
    auto font = TPDFFont::LoadFromBytes(Data, "", false, false);
    double adv = 0;
    font->EncodeText("AzŞğΩЖ€\xF0\x9F\x98\x80", adv);
    for (char32_t cp = 0; cp < 0x3000; cp += 37) font->GidOf(cp);
    (void)font->BuildSubset();
  } catch (const EQuilletError&) {
  }
}

TEST(PDFFont, DamagedFontsFailCleanly) {
  const Bytes small = Sfnt(CompositeTables(0));
  for (size_t cut = 0; cut < small.size(); ++cut) Exercise(Bytes(small.begin(), small.begin() + cut));
  if (std::filesystem::exists(kLiberation)) {
    const Bytes real = ReadBytes(kLiberation);
    for (size_t cut = 0; cut < real.size(); cut += 4099) Exercise(Bytes(real.begin(), real.begin() + cut));
  }
  // Bogus offsets and counts: random bytes written over the directory and the tables.
  std::mt19937 rng(12345);
  for (int round = 0; round < 3000; ++round) {
    Bytes d = small;
    const int flips = 1 + static_cast<int>(rng() % 6);
    for (int i = 0; i < flips; ++i) {
      const size_t at = round % 2 ? rng() % (12 + 16 * 9) : rng() % d.size();
      d[at] = static_cast<uint8_t>(rng() % 3 ? rng() : (rng() % 2 ? 0xFF : 0));
    }
    Exercise(d);
  }
}

}  // namespace
}  // namespace quillet
