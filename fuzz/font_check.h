// The checks the two font targets share. Font files are untrusted: loading must end in a font or an
// EQuilletError; measuring, encoding, subsetting and writing a loaded font never fail; and the
// subset it embeds must load again as the same font (same glyph count, units, metrics and
// widths of the glyphs it kept). Never a crash, undefined behaviour, a hang or another exception.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "canvas/pdf_font.h"
#include "canvas/pdf_writer.h"
#include "fuzz_support.h"

namespace quillet_fuzz {

inline void FontCheck(bool Condition, const char* What) {
  if (!Condition) {
    std::fprintf(stderr, "font check failed: %s\n", What);
    std::abort();
  }
}

inline uint32_t BE32(const std::vector<uint8_t>& B, size_t At) {
  return uint32_t(B[At]) << 24 | uint32_t(B[At + 1]) << 16 | uint32_t(B[At + 2]) << 8 | B[At + 3];
}
inline uint16_t BE16(const std::vector<uint8_t>& B, size_t At) { return uint16_t(B[At] << 8 | B[At + 1]); }
inline void PutBE32(std::vector<uint8_t>& B, size_t At, uint32_t V) {
  for (int i = 0; i < 4; ++i) B[At + i] = uint8_t(V >> (24 - 8 * i));
}

// The tables of an sfnt file whose directory must be sound: every table inside the file.
inline std::vector<std::pair<uint32_t, std::vector<uint8_t>>> ReadTables(const std::vector<uint8_t>& F) {
  FontCheck(F.size() >= 12, "the subset is shorter than its header");
  const size_t count = BE16(F, 4);
  FontCheck(F.size() >= 12 + 16 * count, "the subset's table directory is cut short");
  std::vector<std::pair<uint32_t, std::vector<uint8_t>>> tables;
  for (size_t i = 0; i < count; ++i) {
    const size_t rec = 12 + 16 * i;
    const uint64_t off = BE32(F, rec + 8), len = BE32(F, rec + 12);
    FontCheck(off + len <= F.size(), "a table of the subset lies outside it");
    tables.push_back({BE32(F, rec), std::vector<uint8_t>(F.begin() + off, F.begin() + off + len)});
  }
  return tables;
}

// The subset with the original file's cmap added, so the font reader, which wants a character
// map, can read it as it read the original: the cmap is placed last, holding the original's bytes
// from its cmap table to the end of the file, and its directory entry keeps the original length.
// Records are read within that length and subtables anywhere up to the end of the file, in both
// files alike. Without a cmap in the original the subset is returned as it is. (The subset is
// ours, so its own directory must be sound.)
inline std::vector<uint8_t> WithOriginalCmap(const std::vector<uint8_t>& Subset, const std::vector<uint8_t>& Original) {
  constexpr uint32_t kCmap = 0x636D6170;
  auto tables = ReadTables(Subset);
  for (const auto& t : tables)
    if (t.first == kCmap) return Subset;
  uint32_t cmapLength = 0;
  const size_t count = BE16(Original, 4);
  for (size_t i = 0; i < count && 12 + 16 * i + 16 <= Original.size(); ++i) {
    const size_t rec = 12 + 16 * i;
    if (BE32(Original, rec) != kCmap) continue;
    const uint64_t off = BE32(Original, rec + 8);
    if (off >= Original.size()) return Subset;
    cmapLength = BE32(Original, rec + 12);
    tables.push_back({kCmap, std::vector<uint8_t>(Original.begin() + off, Original.end())});
    break;
  }
  std::vector<uint8_t> out(12 + 16 * tables.size());
  PutBE32(out, 0, BE32(Subset, 0));
  out[4] = uint8_t(tables.size() >> 8);
  out[5] = uint8_t(tables.size());
  for (size_t i = 0; i < tables.size(); ++i) {
    while (out.size() % 4) out.push_back(0);
    const size_t rec = 12 + 16 * i;
    PutBE32(out, rec, tables[i].first);
    PutBE32(out, rec + 8, uint32_t(out.size()));
    PutBE32(out, rec + 12, tables[i].first == kCmap ? cmapLength : uint32_t(tables[i].second.size()));
    out.insert(out.end(), tables[i].second.begin(), tables[i].second.end());
  }
  return out;
}

// Runs a font file through everything the PDF output does with it.
inline void ExerciseFont(std::vector<uint8_t> Bytes) {
  using namespace quillet;
  std::unique_ptr<TPDFFont> font;
  try {
    font = TPDFFont::LoadFromBytes(Bytes, "Fuzz Font", false, false);
  } catch (const EQuilletError&) {
    return;
  }
  // Latin, Turkish, German, Greek, Cyrillic, a CJK ideograph, an emoji and a broken byte.
  const std::string sample =
      "Az09 \xC5\x9E\xC4\x9F\xC4\xB0\xC4\xB1 \xC3\x84\xC3\x9F \xCE\xA9\xCE\xBB \xD0\x96\xD1\x8F"
      " \xE4\xB8\x80\xF0\x9F\x98\x80\xFF";
  double measured = font->TextWidth1000(sample);
  FontCheck(font->UsedGlyphs().empty(), "measuring marked glyphs as used");
  double advance = 0;
  (void)font->EncodeText(sample, advance);
  FontCheck(advance == measured, "EncodeText and TextWidth1000 disagree");
  std::vector<uint16_t> gids;
  double advance2 = 0;
  font->AppendGlyphs("The quick brown fox", gids, advance2);
  // Code points spread over the planes, so every cmap branch is reached.
  for (uint32_t cp = 0; cp < 0x30000; cp = cp * 3 + 7) {
    const uint16_t gid = font->GidOf(cp);
    FontCheck(gid == 0 || gid < font->NumGlyphs(), "GidOf gave a glyph the font does not have");
  }
  for (uint32_t gid : {0u, 1u, 3u, uint32_t(font->NumGlyphs()) - 1, uint32_t(font->NumGlyphs()), 65535u}) {
    (void)font->GidWidthFU(gid);
    (void)font->GidWidth1000(gid);
    if (gid <= 65535) (void)font->GlyphInk(static_cast<uint16_t>(gid));
  }
  (void)font->AscentScaled();
  (void)font->DescentScaled();
  (void)font->CapHeightScaled();
  const std::string tag = font->SubsetTag();
  FontCheck(tag.size() == 6, "subset tag is not six letters");
  (void)font->EmbeddedFontName();

  std::vector<uint16_t> damaged;
  std::vector<uint8_t> subset = font->BuildSubset(&damaged);
  // The PDF objects, into a writer that is never saved (its temporary file goes with it).
  {
    TPDFVectorWriter w(ScratchPath("font.pdf"));
    w.SetBackgroundCompression(false);
    font->SetObjNum(w.AllocObj());
    (void)font->EmitTo(w);
  }
  // The embedded program must read back as the same font. A TrueType subset carries no cmap (the
  // PDF maps glyph ids itself), so the original's is added for the reader.
  std::unique_ptr<TPDFFont> back;
  try {
    if (font->IsCFF()) {
      FontCheck(subset == Bytes, "a CFF font is not embedded whole");
      back = TPDFFont::LoadFromBytes(subset, "Fuzz Font", false, false);
    } else {
      back = TPDFFont::LoadFromBytes(WithOriginalCmap(subset, Bytes), "Fuzz Font", false, false);
    }
  } catch (const EQuilletError& e) {
    std::fprintf(stderr, "the subset does not load: %s\n", e.what());
    std::abort();
  }
  FontCheck(back->IsCFF() == font->IsCFF(), "subset changed the outline format");
  FontCheck(back->NumGlyphs() == font->NumGlyphs(), "subset changed the glyph count");
  FontCheck(back->UnitsPerEm() == font->UnitsPerEm(), "subset changed units per em");
  FontCheck(back->NumHMetrics() == font->NumHMetrics(), "subset changed the metrics count");
  for (uint16_t gid : font->UsedGlyphs()) {
    FontCheck(back->GidWidthFU(gid) == font->GidWidthFU(gid), "subset changed a glyph width");
    const char32_t cp = font->UsedCodePoint(gid);
    FontCheck(back->GidOf(cp) == font->GidOf(cp), "subset changed the character map");
    if (std::find(damaged.begin(), damaged.end(), gid) != damaged.end()) continue;
    const TPDFFont::TGlyphBox a = font->GlyphInk(gid), b = back->GlyphInk(gid);
    FontCheck(a.XMin == b.XMin && a.YMin == b.YMin && a.XMax == b.XMax && a.YMax == b.YMax,
              "subset changed a glyph's outline box");
  }
  double backAdvance = 0;
  (void)back->EncodeText(sample, backAdvance);
  (void)back->BuildSubset();
}

}  // namespace quillet_fuzz
