#include "canvas/pdf_font.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "base/error.h"
#include "base/utf8.h"
#include "canvas/font_manager.h"

namespace quillet {

namespace {

constexpr const char* kTooShort = "Gecersiz font: cok kisa";

// Rounds to nearest with ties to even (the default floating-point rounding mode).
int32_t RoundEven(double V) { return static_cast<int32_t>(std::nearbyint(V)); }

uint32_t Tag(const char* T) {
  return (uint32_t{static_cast<uint8_t>(T[0])} << 24) | (uint32_t{static_cast<uint8_t>(T[1])} << 16) |
         (uint32_t{static_cast<uint8_t>(T[2])} << 8) | uint32_t{static_cast<uint8_t>(T[3])};
}

std::string Hex8(uint32_t V) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s(8, '0');
  for (int i = 7; i >= 0; --i, V >>= 4) s[static_cast<size_t>(i)] = kDigits[V & 15];
  return s;
}

// Sum of the big-endian 32-bit words of Data[Off, Off + Len), the last word padded with zeros.
uint32_t TableChecksum(const std::vector<uint8_t>& Data, size_t Off, size_t Len) {
  uint32_t sum = 0;
  size_t i = 0;
  for (; i + 4 <= Len; i += 4) {
    const uint8_t* p = &Data[Off + i];
    sum += (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
  }
  if (i < Len) {
    uint32_t last = 0;
    for (size_t k = 0; k < 4; ++k) last = (last << 8) | (i + k < Len ? Data[Off + i + k] : 0u);
    sum += last;
  }
  return sum;
}

// Composite glyph flags.
constexpr uint8_t kArgsAreWords = 0x01;
constexpr uint8_t kHaveScale = 0x08;
constexpr uint8_t kMoreComponents = 0x20;
constexpr uint8_t kHaveXYScale = 0x40;
constexpr uint8_t kHaveTwoByTwo = 0x80;
constexpr uint16_t kHaveInstructions = 0x100;
// Simple glyph point flags.
constexpr uint8_t kXShort = 0x02;
constexpr uint8_t kYShort = 0x04;
constexpr uint8_t kRepeatFlag = 0x08;
constexpr uint8_t kXSameOrPositive = 0x10;
constexpr uint8_t kYSameOrPositive = 0x20;
// Real fonts nest composites two or three deep; deeper chains are not followed.
constexpr int kMaxCompositeDepth = 32;


// Reads one glyph's data as a renderer would and tells whether it holds together: a simple glyph's
// contour ends (ascending), instructions, flags and coordinates, or a composite's component records
// (each naming a glyph below NumGlyphs) and instructions, all within its Len bytes. Appends a
// composite's component glyph ids to Components. Empty data is a glyph without outline.
bool ReadGlyph(const uint8_t* P, uint64_t Len, int32_t NumGlyphs, std::vector<uint16_t>& Components) {
  if (Len == 0) return true;
  const TByteReader g(P, static_cast<size_t>(Len));
  if (!g.InRange(0, 10)) return false;
  const int16_t contours = g.S16(0);
  uint64_t pos = 10;
  if (contours < 0) {
    uint16_t flags = 0;
    do {
      if (!g.InRange(pos, 4)) return false;
      flags = g.U16(pos);
      const uint16_t component = g.U16(pos + 2);
      if (component >= NumGlyphs) return false;
      Components.push_back(component);
      pos += 4 + ((flags & kArgsAreWords) ? 4 : 2);
      if (flags & kHaveScale) pos += 2;
      else if (flags & kHaveXYScale) pos += 4;
      else if (flags & kHaveTwoByTwo) pos += 8;
    } while (flags & kMoreComponents);
    if (flags & kHaveInstructions) {
      if (!g.InRange(pos, 2)) return false;
      pos += 2 + uint64_t{g.U16(pos)};
    }
    return pos <= Len;
  }
  uint64_t points = 0;
  for (int i = 0; i < contours; ++i, pos += 2) {
    if (!g.InRange(pos, 2)) return false;
    const uint64_t end = g.U16(pos);
    if (i > 0 && end < points) return false;  // contour ends must ascend
    points = end + 1;
  }
  if (!g.InRange(pos, 2)) return false;
  pos += 2 + uint64_t{g.U16(pos)};  // instructions
  // Flags (with repeats), then the bytes each point's x and y take.
  uint64_t coordinates = 0;
  for (uint64_t p = 0; p < points;) {
    if (!g.InRange(pos, 1)) return false;
    const uint8_t flag = g.U8(pos++);
    uint64_t times = 1;
    if (flag & kRepeatFlag) {
      if (!g.InRange(pos, 1)) return false;
      times += g.U8(pos++);
    }
    if (times > points - p) return false;
    const uint64_t x = (flag & kXShort) ? 1 : (flag & kXSameOrPositive) ? 0 : 2;
    const uint64_t y = (flag & kYShort) ? 1 : (flag & kYSameOrPositive) ? 0 : 2;
    coordinates += times * (x + y);
    p += times;
  }
  return pos <= Len && coordinates <= Len - pos;
}

}  // namespace

TPDFFont::TPDFFont(TFontBytes AFontData, const std::string& ABaseFont, bool ABold, bool AItalic)
    : FData(std::move(AFontData)), FBold(ABold), FItalic(AItalic) {
  if (!FData) throw EQuilletError(kTooShort);
  FFile = TByteReader(FData->data(), FData->size(), kTooShort);
  if (FData->size() < 12) throw EQuilletError(kTooShort);

  const uint32_t version = FFile.U32(0);
  if (version == Tag("OTTO")) {
    FIsCFF = true;
  } else if (version != 0x00010000 && version != Tag("true")) {
    throw EQuilletError("Desteklenmeyen font formati (sfnt 0x" + Hex8(version) + ")");
  }
  // The whole table directory must be there; FindTable then reads it freely.
  FFile.Need(12, uint64_t{FFile.U16(4)} * 16);
  // No table, needed or not, may claim more than a sane size: later reads (the subset copies
  // hinting tables whole) then never meet one.
  for (uint32_t i = 0; i < FFile.U16(4); ++i) {
    const uint64_t entry = 12 + uint64_t{i} * 16;
    if (FFile.U32(entry + 12) > kMaxFontTableBytes) {
      const uint32_t tag = FFile.U32(entry);
      std::string name;
      for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>((tag >> shift) & 0xFF);
        name += c >= 0x20 && c < 0x7F ? c : '?';
      }
      throw EQuilletError("Gecersiz font: " + name + " tablosu cok buyuk", std::string(), static_cast<int64_t>(entry));
    }
  }

  const TTableRef head = FindTable("head");
  if (!head.Found) throw EQuilletError("Font: head tablosu yok");
  RequireWhole("head", head, 54);  // the subset patches offsets 8 and 50
  {
    const TByteReader t = TableReader("head", head);
    FUnitsPerEm = t.U16(18);
    if (FUnitsPerEm == 0) FUnitsPerEm = 1000;
    FXMin = t.S16(36);
    FYMin = t.S16(38);
    FXMax = t.S16(40);
    FYMax = t.S16(42);
    const uint16_t macStyle = t.U16(44);
    if (macStyle & 1) FBold = true;
    if (macStyle & 2) FItalic = true;
  }

  const TTableRef maxp = FindTable("maxp");
  if (!maxp.Found) throw EQuilletError("Font: maxp tablosu yok");
  RequireWhole("maxp", maxp, 6);
  FNumGlyphs = TableReader("maxp", maxp).U16(4);

  const TTableRef hhea = FindTable("hhea");
  if (!hhea.Found) throw EQuilletError("Font: hhea tablosu yok");
  RequireWhole("hhea", hhea, 36);
  {
    const TByteReader t = TableReader("hhea", hhea);
    FAscent = t.S16(4);
    FDescent = t.S16(6);
    FNumHMetrics = t.U16(34);
    FCapHeight = RoundEven(FAscent * 0.7);
  }

  // Optional tables: what is missing or cut short is simply not used.
  if (const TTableRef os2 = FindTable("OS/2"); os2.Found) {
    const TByteReader t = TableReader("OS/2", os2);
    if (t.Size() >= 78) {
      const uint16_t winAscent = t.U16(74);
      const uint16_t winDescent = t.U16(76);
      if (winAscent != 0) FAscent = winAscent;
      if (winDescent != 0) FDescent = -int32_t{winDescent};
      if (t.U16(0) >= 2 && t.Size() >= 90) {
        const int16_t capHeight = t.S16(88);
        if (capHeight != 0) FCapHeight = capHeight;
      }
    }
  }
  if (const TTableRef post = FindTable("post"); post.Found) {
    const TByteReader t = TableReader("post", post);
    if (t.InRange(4, 4)) FItalicAngle = static_cast<float>(t.S32(4) / 65536.0);
  }
  if (const TTableRef name = FindTable("name"); name.Found) ParseName(name);
  if (FBaseFont.empty()) FBaseFont = ABaseFont;
  ChooseCmap();

  const TTableRef hmtx = FindTable("hmtx");
  if (!hmtx.Found) throw EQuilletError("Font: hmtx tablosu yok");
  // Advance and side bearing pairs, then side bearings alone for the remaining glyphs.
  RequireWhole("hmtx", hmtx, 4 * uint64_t{static_cast<uint32_t>(FNumHMetrics)} +
                                 2 * uint64_t{static_cast<uint32_t>(std::max(0, FNumGlyphs - FNumHMetrics))});
  FHmtxOff = hmtx.Offset;

  // The outlines the embedded program carries.
  if (FIsCFF) {
    TTableRef cff = FindTable("CFF ");
    if (!cff.Found) cff = FindTable("CFF2");
    if (!cff.Found) throw EQuilletError("Font: CFF tablosu yok");
    RequireWhole("CFF", cff, 4);
  } else {
    const TTableRef loca = FindTable("loca"), glyf = FindTable("glyf");
    if (!loca.Found) throw EQuilletError("Font: loca tablosu yok");
    if (!glyf.Found) throw EQuilletError("Font: glyf tablosu yok");
    const bool longLoca = TableReader("head", head).S16(50) == 1;
    RequireWhole("loca", loca, (uint64_t{static_cast<uint32_t>(FNumGlyphs)} + 1) * (longLoca ? 4 : 2));
    RequireWhole("glyf", glyf, 0);
  }

  std::erase(FBaseFont, ' ');
  if (FBaseFont.empty()) FBaseFont = "EmbeddedFont";
  FUsed.assign(static_cast<size_t>(std::max(FNumGlyphs, 1)), kNotUsed);
}

std::unique_ptr<TPDFFont> TPDFFont::LoadFromFile(const std::string& FileName, const std::string& BaseFont,
                                                 bool Bold, bool Italic) {
  TFontBytes bytes = LoadFontFileBytes(FileName);
  const std::string name = BaseFont.empty() ? std::filesystem::path(FileName).stem().string() : BaseFont;
  try {
    return std::make_unique<TPDFFont>(std::move(bytes), name, Bold, Italic);
  } catch (const EQuilletError& e) {
    throw EQuilletError(e.what(), FileName, e.Offset());  // the message stays; the file travels beside it
  }
}

std::unique_ptr<TPDFFont> TPDFFont::LoadFromBytes(std::vector<uint8_t> Data, const std::string& BaseFont,
                                                  bool Bold, bool Italic) {
  return std::make_unique<TPDFFont>(std::make_shared<const std::vector<uint8_t>>(std::move(Data)), BaseFont,
                                    Bold, Italic);
}

TPDFFont::TTableRef TPDFFont::FindTable(const char* TagName) const {
  const uint32_t want = Tag(TagName);
  const uint16_t count = FFile.U16(4);
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t entry = 12 + uint64_t{i} * 16;
    if (FFile.U32(entry) == want) return TTableRef{true, FFile.U32(entry + 8), FFile.U32(entry + 12)};
  }
  return {};
}

void TPDFFont::RequireWhole(const char* TagName, const TTableRef& T, uint64_t MinLength) const {
  if (!FFile.InRange(T.Offset, T.Length) || T.Length < MinLength)
    throw EQuilletError(std::string("Gecersiz font: ") + TagName + " tablosu bozuk", std::string(),
                        static_cast<int64_t>(T.Offset));
}

TByteReader TPDFFont::TableReader(const char* TagName, const TTableRef& T) const {
  return FFile.Sub(T.Offset, T.Length, std::string("Gecersiz font: ") + TagName + " tablosu bozuk");
}

void TPDFFont::ParseName(const TTableRef& T) {
  const TByteReader t = TableReader("name", T);
  if (!t.InRange(0, 6)) return;
  const uint16_t count = t.U16(2);
  const uint64_t storage = T.Offset + t.U16(4);
  bool found = false;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t rec = 6 + uint64_t{i} * 12;
    if (!t.InRange(rec, 12)) break;
    if (t.U16(rec + 6) != 6) continue;  // only the PostScript name
    const uint16_t platform = t.U16(rec);
    const uint16_t length = t.U16(rec + 8);
    const uint64_t at = storage + t.U16(rec + 10);
    if (!FFile.InRange(at, length)) continue;
    std::string s;
    if (platform == 3 || platform == 0) {
      for (uint64_t k = 0; k + 1 < length; k += 2) {
        const uint16_t c = FFile.U16(at + k);
        if (c >= 32 && c <= 126) s += static_cast<char>(c);
      }
      if (!s.empty()) {
        FBaseFont = s;
        found = true;
      }
    } else if (platform == 1 && !found) {
      // PostScript names are printable ASCII; anything else would not survive as a PDF name.
      for (uint64_t k = 0; k < length; ++k) {
        const uint8_t c = FFile.U8(at + k);
        if (c >= 32 && c <= 126) s += static_cast<char>(c);
      }
      FBaseFont = s;
      found = !s.empty();
    }
  }
}

void TPDFFont::ChooseCmap() {
  const TTableRef cmap = FindTable("cmap");
  if (!cmap.Found) throw EQuilletError("Font: cmap tablosu yok");
  RequireWhole("cmap", cmap, 4);
  const TByteReader t = TableReader("cmap", cmap);
  const uint16_t count = t.U16Or0(2);
  int best = -1;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t rec = 4 + uint64_t{i} * 8;
    if (!t.InRange(rec, 8)) break;
    const uint16_t platform = t.U16(rec);
    const uint16_t encoding = t.U16(rec + 2);
    const uint64_t sub = cmap.Offset + t.U32(rec + 4);
    if (!FFile.InRange(sub, 4)) continue;
    const uint16_t format = FFile.U16(sub);
    if (format != 0 && format != 4 && format != 6 && format != 12) continue;
    int score = 0;
    if ((platform == 3 && encoding == 10) || (platform == 0 && encoding >= 4)) score = 6;
    else if (platform == 3 && encoding == 1) score = 5;
    else if (platform == 0) score = 4;
    else if (platform == 3 && encoding == 0) score = 1;
    if (format == 12) ++score;
    if (score > best) {
      best = score;
      FCmapOff = sub;
      FCmapFormat = format;
    }
  }
  if (best < 0) throw EQuilletError("Font: kullanilabilir Unicode cmap yok");
}

uint32_t TPDFFont::CmapLookup(char32_t CodePoint) const {
  const TByteReader& f = FFile;
  const uint64_t sub = FCmapOff;
  switch (FCmapFormat) {
    case 0:
      return CodePoint <= 255 ? f.U8Or0(sub + 6 + CodePoint) : 0;
    case 4: {
      if (CodePoint > 0xFFFF) return 0;
      const uint32_t segX2 = f.U16Or0(sub + 6);
      const uint64_t ends = sub + 14;
      const uint64_t starts = ends + segX2 + 2;
      const uint64_t deltas = starts + segX2;
      const uint64_t ranges = deltas + segX2;
      // End codes beyond the file would read as 0 and could only ever match code point 0.
      const uint64_t segCount = std::min<uint64_t>(segX2 / 2, f.Size() > ends ? (f.Size() - ends) / 2 : 0);
      // The first segment whose end code is >= the code point; end codes ascend, so binary search.
      uint64_t lo = 0, hi = segCount;
      while (lo < hi) {
        const uint64_t mid = lo + (hi - lo) / 2;
        if (f.U16(ends + 2 * mid) < CodePoint) lo = mid + 1;
        else hi = mid;
      }
      if (lo == segCount) return 0;
      const uint64_t i = 2 * lo;
      const uint16_t start = f.U16Or0(starts + i);
      if (CodePoint < start) return 0;
      const uint16_t delta = f.U16Or0(deltas + i);
      const uint16_t rangeOffset = f.U16Or0(ranges + i);
      if (rangeOffset == 0) return (CodePoint + delta) & 0xFFFF;
      const uint16_t g = f.U16Or0(ranges + i + rangeOffset + 2 * uint64_t{CodePoint - start});
      return g == 0 ? 0 : (g + delta) & 0xFFFF;
    }
    case 6: {
      const uint32_t first = f.U16Or0(sub + 6);
      const uint32_t count = f.U16Or0(sub + 8);
      if (CodePoint < first || CodePoint - first >= count) return 0;
      return f.U16Or0(sub + 10 + 2 * uint64_t{CodePoint - first});
    }
    case 12: {
      uint64_t groups = f.U32Or0(sub + 12);
      // A count larger than the file can hold is cut to the groups that are there.
      const uint64_t avail = f.Size() > sub + 16 ? (f.Size() - sub - 16) / 12 : 0;
      groups = std::min(groups, avail);
      uint64_t lo = 0, hi = groups;
      while (lo < hi) {
        const uint64_t mid = lo + (hi - lo) / 2;
        const uint64_t g = sub + 16 + mid * 12;
        const uint32_t start = f.U32(g);
        const uint32_t end = f.U32(g + 4);
        if (CodePoint < start) hi = mid;
        else if (CodePoint > end) lo = mid + 1;
        else return f.U32(g + 8) + (CodePoint - start);
      }
      return 0;
    }
    default:
      return 0;
  }
}

uint16_t TPDFFont::GidOf(char32_t CodePoint) {
  if (CodePoint <= 0xFFFF) {
    if (FBmpCache.empty()) FBmpCache.assign(0x10000, kUnknownGid);
    uint32_t& slot = FBmpCache[CodePoint];
    if (slot == kUnknownGid) {
      const uint32_t g = CmapLookup(CodePoint);
      slot = g < static_cast<uint32_t>(FNumGlyphs) ? g : 0;
    }
    return static_cast<uint16_t>(slot);
  }
  if (CodePoint > 0x10FFFF) return 0;
  const auto it = FCmapCache.find(CodePoint);
  if (it != FCmapCache.end()) return it->second;
  const uint32_t g = CmapLookup(CodePoint);
  const uint16_t gid = g < static_cast<uint32_t>(FNumGlyphs) ? static_cast<uint16_t>(g) : 0;
  FCmapCache.emplace(CodePoint, gid);
  return gid;
}

int32_t TPDFFont::GidWidthFU(uint32_t Gid) const {
  if (FNumHMetrics == 0) return 0;
  const uint32_t index = std::min<uint32_t>(Gid, static_cast<uint32_t>(FNumHMetrics - 1));
  return FFile.U16Or0(FHmtxOff + uint64_t{index} * 4);
}

int32_t TPDFFont::GidWidth1000(uint32_t Gid) const { return Scale(GidWidthFU(Gid)); }

int32_t TPDFFont::Scale(double V) const { return RoundEven(V * 1000.0 / FUnitsPerEm); }

void TPDFFont::MarkUsed(uint16_t Gid, char32_t CodePoint) {
  if (Gid < FUsed.size()) FUsed[Gid] = CodePoint;
}

void TPDFFont::AppendEncodedText(std::string_view S, std::string& Hex, double& Advance1000) {
  static const char kDigits[] = "0123456789ABCDEF";
  Advance1000 = 0;
  Hex.reserve(Hex.size() + S.size() * 4);
  size_t pos = 0;
  while (pos < S.size()) {
    const char32_t cp = DecodeUtf8At(S, pos);
    const uint16_t gid = GidOf(cp);
    MarkUsed(gid, cp);
    const char h[4] = {kDigits[gid >> 12], kDigits[(gid >> 8) & 15], kDigits[(gid >> 4) & 15], kDigits[gid & 15]};
    Hex.append(h, 4);
    Advance1000 += GidWidth1000(gid);
  }
}

void TPDFFont::AppendGlyphs(std::string_view S, std::vector<uint16_t>& Gids, double& Advance1000) {
  Advance1000 = 0;
  size_t pos = 0;
  while (pos < S.size()) {
    const char32_t cp = DecodeUtf8At(S, pos);
    const uint16_t gid = GidOf(cp);
    MarkUsed(gid, cp);
    Gids.push_back(gid);
    Advance1000 += GidWidth1000(gid);
  }
}

TPDFFont::TGlyphBox TPDFFont::GlyphInk(uint16_t Gid) {
  const TGlyphBox fontBox{FXMin, FYMin, FXMax, FYMax};
  if (FIsCFF || Gid >= FNumGlyphs) return fontBox;
  if (FInk.empty()) {
    FInk.resize(static_cast<size_t>(FNumGlyphs));
    FInkKnown.assign(static_cast<size_t>(FNumGlyphs), false);
  }
  if (FInkKnown[Gid]) return FInk[Gid];
  // loca and glyf were checked when the font was loaded; the glyph's own bytes are read with care.
  TGlyphBox box = fontBox;
  const TTableRef loca = FindTable("loca"), glyf = FindTable("glyf"), head = FindTable("head");
  const bool longLoca = TableReader("head", head).S16(50) == 1;
  const TByteReader locaR = TableReader("loca", loca), glyfR = TableReader("glyf", glyf);
  const uint64_t start = longLoca ? locaR.U32Or0(uint64_t{Gid} * 4) : uint64_t{locaR.U16Or0(uint64_t{Gid} * 2)} * 2;
  const uint64_t end = longLoca ? locaR.U32Or0(uint64_t{Gid + 1u} * 4)
                                : uint64_t{locaR.U16Or0(uint64_t{Gid + 1u} * 2)} * 2;
  if (end == start) {
    box = TGlyphBox{};  // no outline
  } else if (end > start && glyfR.InRange(start, 10)) {
    const TGlyphBox own{glyfR.S16(start + 2), glyfR.S16(start + 4), glyfR.S16(start + 6), glyfR.S16(start + 8)};
    if (!own.Empty() && own.YMin <= own.YMax) box = own;
  }
  FInk[Gid] = box;
  FInkKnown[Gid] = true;
  return box;
}

std::string TPDFFont::EncodeText(std::string_view S, double& Advance1000) {
  std::string hex;
  AppendEncodedText(S, hex, Advance1000);
  return hex;
}

double TPDFFont::TextWidth1000(std::string_view S) {
  double advance = 0;
  size_t pos = 0;
  while (pos < S.size()) advance += GidWidth1000(GidOf(DecodeUtf8At(S, pos)));
  return advance;
}

std::vector<uint16_t> TPDFFont::UsedGlyphs() const {
  std::vector<uint16_t> out;
  for (size_t g = 0; g < FUsed.size(); ++g)
    if (FUsed[g] != kNotUsed) out.push_back(static_cast<uint16_t>(g));
  return out;
}

std::string TPDFFont::SubsetTag() const {
  // FNV-1a over the sorted glyph ids: the same glyph set always gives the same tag.
  uint64_t h = 0xCBF29CE484222325ULL;
  for (const uint16_t g : UsedGlyphs()) {
    for (const uint8_t b : {static_cast<uint8_t>(g >> 8), static_cast<uint8_t>(g)}) {
      h ^= b;
      h *= 0x100000001B3ULL;
    }
  }
  std::string tag(6, 'A');
  for (char& c : tag) {
    c = static_cast<char>('A' + h % 26);
    h /= 26;
  }
  return tag;
}

std::string TPDFFont::EmbeddedFontName() const {
  return FIsCFF ? FBaseFont : SubsetTag() + "+" + FBaseFont;
}

std::vector<uint8_t> TPDFFont::BuildSubset(std::vector<uint16_t>* DamagedGlyphs) const {
  const std::vector<uint8_t>& data = *FData;
  if (DamagedGlyphs) DamagedGlyphs->clear();
  if (FIsCFF) return data;
  // The constructor made sure these tables exist and lie wholly in the file.
  const TTableRef glyf = FindTable("glyf"), loca = FindTable("loca"), head = FindTable("head"),
                  hhea = FindTable("hhea"), maxp = FindTable("maxp"), hmtx = FindTable("hmtx");
  const TByteReader headR = TableReader("head", head);
  const TByteReader glyfR = TableReader("glyf", glyf);
  const TByteReader locaR = TableReader("loca", loca);
  const size_t n = static_cast<size_t>(FNumGlyphs);

  // Glyph offsets. A glyph is intact when its bytes lie inside glyf and start no earlier than the end
  // of the intact glyph before it: intact glyphs never overlap, so a small file cannot blow up the
  // subset. An entry that runs backwards or points outside glyf damages the glyphs on either side.
  const bool longLoca = headR.S16(50) == 1;
  std::vector<uint32_t> offsets(n + 1);
  for (size_t i = 0; i <= n; ++i) {
    offsets[i] = longLoca ? locaR.U32(uint64_t{i} * 4) : uint32_t{locaR.U16(uint64_t{i} * 2)} * 2;
  }
  enum : uint8_t { kUnmarked, kMarked, kDamaged };
  std::vector<uint8_t> state(n, kUnmarked);
  std::vector<bool> intact(n, false);
  for (uint64_t g = 0, floor = 0; g < n; ++g) {
    const uint64_t start = offsets[g], end = offsets[g + 1];
    if (start >= floor && start <= end && end <= glyfR.Size()) {
      intact[g] = true;
      floor = end;
    }
  }

  // Glyph closure: used glyphs, glyph 0, and every component of a composite, however nested. A
  // glyph that is not intact or cannot be read to its end is damaged and stays empty.
  std::vector<std::pair<uint16_t, int>> work;  // glyph id, nesting depth
  std::vector<uint16_t> components;            // of the marked composites, glyph by glyph
  std::vector<std::pair<uint32_t, uint32_t>> componentsOf(n, {0, 0});  // begin, count in components
  auto mark = [&](uint32_t Gid, int Depth) {
    if (Gid < n && state[Gid] == kUnmarked) {
      state[Gid] = kMarked;
      work.emplace_back(static_cast<uint16_t>(Gid), Depth);
    }
  };
  if (n > 0) mark(0, 0);
  for (size_t g = 0; g < FUsed.size(); ++g)
    if (FUsed[g] != kNotUsed) mark(static_cast<uint32_t>(g), 0);
  for (size_t w = 0; w < work.size(); ++w) {
    const auto [gid, depth] = work[w];
    const size_t first = components.size();
    if (!intact[gid] ||
        !ReadGlyph(glyfR.Data() + offsets[gid], offsets[gid + 1] - offsets[gid], FNumGlyphs, components)) {
      state[gid] = kDamaged;
      components.resize(first);
      continue;
    }
    componentsOf[gid] = {static_cast<uint32_t>(first), static_cast<uint32_t>(components.size() - first)};
    if (depth < kMaxCompositeDepth)
      for (size_t c = first; c < components.size(); ++c) mark(components[c], depth + 1);
  }

  // A composite that contains itself, directly or through others, cannot be drawn: every glyph on
  // such a cycle is damaged. Depth-first walk over the marked composites with an explicit stack.
  {
    enum : uint8_t { kNew, kOnStack, kDone };
    std::vector<uint8_t> visit(n, kNew);
    std::vector<std::pair<uint16_t, uint32_t>> stack;  // glyph, next component to follow
    for (const auto& item : work) {
      const uint16_t root = item.first;
      if (visit[root] != kNew || componentsOf[root].second == 0) continue;
      visit[root] = kOnStack;
      stack.emplace_back(root, 0);
      while (!stack.empty()) {
        auto& [gid, next] = stack.back();
        const auto [begin, count] = componentsOf[gid];
        if (next == count) {
          visit[gid] = kDone;
          stack.pop_back();
          continue;
        }
        const uint16_t child = components[begin + next++];
        if (child >= n || state[child] == kUnmarked) continue;  // beyond the depth cap
        if (visit[child] == kNew) {
          visit[child] = kOnStack;
          stack.emplace_back(child, 0);
        } else if (visit[child] == kOnStack) {
          for (auto it = stack.rbegin(); it != stack.rend(); ++it) {
            state[it->first] = kDamaged;
            if (it->first == child) break;
          }
        }
      }
    }
  }

  std::vector<uint8_t> newGlyf, newLoca;
  newLoca.reserve((n + 1) * 4);
  for (size_t g = 0; g < n; ++g) {
    AppendU32BE(newLoca, static_cast<uint32_t>(newGlyf.size()));
    if (state[g] == kMarked)
      newGlyf.insert(newGlyf.end(), glyfR.Data() + offsets[g], glyfR.Data() + offsets[g + 1]);
    else if (state[g] == kDamaged && DamagedGlyphs)
      DamagedGlyphs->push_back(static_cast<uint16_t>(g));
  }
  AppendU32BE(newLoca, static_cast<uint32_t>(newGlyf.size()));

  auto copyOf = [](const TByteReader& R) { return std::vector<uint8_t>(R.Data(), R.Data() + R.Size()); };
  std::vector<uint8_t> newHead = copyOf(headR);
  PutU16BE(newHead, 50, 1);
  PutU32BE(newHead, 8, 0);

  struct TOutTable {
    uint32_t Tag;
    std::vector<uint8_t> Bytes;
  };
  std::vector<TOutTable> tables;
  tables.push_back({Tag("glyf"), std::move(newGlyf)});
  tables.push_back({Tag("loca"), std::move(newLoca)});
  tables.push_back({Tag("head"), std::move(newHead)});
  tables.push_back({Tag("hhea"), copyOf(TableReader("hhea", hhea))});
  tables.push_back({Tag("maxp"), copyOf(TableReader("maxp", maxp))});
  tables.push_back({Tag("hmtx"), copyOf(TableReader("hmtx", hmtx))});
  for (const char* hinting : {"cvt ", "fpgm", "prep"})
    if (const TTableRef t = FindTable(hinting); t.Found) tables.push_back({Tag(hinting), copyOf(TableReader(hinting, t))});
  // Big-endian tags compare as unsigned numbers exactly as their bytes compare as strings.
  std::sort(tables.begin(), tables.end(), [](const TOutTable& A, const TOutTable& B) { return A.Tag < B.Tag; });

  const uint16_t count = static_cast<uint16_t>(tables.size());
  uint16_t pow2 = 1, log2 = 0;
  while (pow2 * 2 <= count) {
    pow2 *= 2;
    ++log2;
  }
  std::vector<uint8_t> out;
  size_t total = 12 + 16 * size_t{count};
  for (const auto& t : tables) total += (t.Bytes.size() + 3) & ~size_t{3};
  out.reserve(total);
  AppendU32BE(out, 0x00010000);
  AppendU16BE(out, count);
  AppendU16BE(out, static_cast<uint16_t>(16 * pow2));
  AppendU16BE(out, log2);
  AppendU16BE(out, static_cast<uint16_t>(16 * count - 16 * pow2));
  out.resize(12 + 16 * size_t{count});
  size_t headAt = 0;
  for (size_t i = 0; i < tables.size(); ++i) {
    const size_t at = out.size();
    out.insert(out.end(), tables[i].Bytes.begin(), tables[i].Bytes.end());
    out.resize((out.size() + 3) & ~size_t{3}, 0);
    const size_t dir = 12 + 16 * i;
    PutU32BE(out, dir, tables[i].Tag);
    PutU32BE(out, dir + 4, TableChecksum(out, at, tables[i].Bytes.size()));
    PutU32BE(out, dir + 8, static_cast<uint32_t>(at));
    PutU32BE(out, dir + 12, static_cast<uint32_t>(tables[i].Bytes.size()));
    if (tables[i].Tag == Tag("head")) headAt = at;
  }
  PutU32BE(out, headAt + 8, 0xB1B0AFBAu - TableChecksum(out, 0, out.size()));
  return out;
}

}  // namespace quillet
