// One TrueType or CFF-flavoured OpenType font held in memory for PDF output: metrics, the Unicode
// character map, text to glyph ids and widths, the record of used glyphs, and the reduced font
// program that is embedded. Font files are untrusted input: every read is bounds-checked. A file
// without the tables the embedded program needs, or with one of them cut short, raises EQuilletError
// when it is loaded; damage to single glyphs only leaves those glyphs empty when the subset is built.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/byte_reader.h"

namespace quillet {

class TPDFVectorWriter;

// Bytes of one table of a font file: the largest fonts in use (CJK families) carry outline tables
// of about 20 MB; a directory claiming more is damage, and the subset would copy it whole.
inline constexpr uint64_t kMaxFontTableBytes = uint64_t{64} << 20;
// Bytes of a font file, which is read whole: a file larger than any real font is not read at all.
inline constexpr int64_t kMaxFontFileBytes = int64_t{128} << 20;

// Font file bytes, shared and immutable: many fonts (and documents) can hold one file's bytes.
using TFontBytes = std::shared_ptr<const std::vector<uint8_t>>;

class TPDFFont {
 public:
  // Parses AFontData; ABaseFont is the PDF base name used when the font carries no PostScript
  // name. ABold/AItalic are the requested style; the font's own style bits can only add to it.
  TPDFFont(TFontBytes AFontData, const std::string& ABaseFont, bool ABold, bool AItalic);

  // Reads the file through the process-wide font file cache. An empty BaseFont means the file
  // name without folder and extension.
  static std::unique_ptr<TPDFFont> LoadFromFile(const std::string& FileName, const std::string& BaseFont,
                                                bool Bold, bool Italic);
  static std::unique_ptr<TPDFFont> LoadFromBytes(std::vector<uint8_t> Data, const std::string& BaseFont,
                                                 bool Bold, bool Italic);

  // Glyph id for a Unicode code point; 0 when the font has none (a glyph id the font does not
  // have counts as none). Results are memoised.
  uint16_t GidOf(char32_t CodePoint);
  // Advance width in font units, and scaled to 1000 units per em.
  int32_t GidWidthFU(uint32_t Gid) const;
  int32_t GidWidth1000(uint32_t Gid) const;
  // Font units to 1000 units per em, rounded to nearest, ties to even.
  int32_t Scale(double V) const;
  int32_t AscentScaled() const { return Scale(FAscent); }
  int32_t DescentScaled() const { return Scale(FDescent); }  // negative
  int32_t CapHeightScaled() const { return Scale(FCapHeight); }

  // The Identity-H glyph string of UTF-8 text S (four upper-case hex digits per glyph) and its
  // advance in 1000-unit em space. Marks every glyph as used with the code point that asked for it.
  std::string EncodeText(std::string_view S, double& Advance1000);
  // As EncodeText, appending to a buffer the caller reuses.
  void AppendEncodedText(std::string_view S, std::string& Hex, double& Advance1000);
  // The glyph ids of S appended to Gids, marked used as EncodeText marks them, and their advance.
  void AppendGlyphs(std::string_view S, std::vector<uint16_t>& Gids, double& Advance1000);
  // The advance alone. Measuring marks nothing: only glyphs that are drawn reach the PDF.
  double TextWidth1000(std::string_view S);

  // The font program to embed: for TrueType outlines only the used glyphs (plus glyph 0 and the
  // components of composites), with the original glyph numbering; a CFF font whole. Never fails on
  // a loaded font: a glyph of the subset whose data is damaged (loca out of order or outside glyf,
  // data that cannot be read to its end, a composite that contains itself) is left empty, and its
  // id goes to DamagedGlyphs when given.
  std::vector<uint8_t> BuildSubset(std::vector<uint16_t>* DamagedGlyphs = nullptr) const;

  // Writes the font's PDF objects; the Type0 font goes to the number reserved in ObjNum. Returns
  // the glyphs the subset left empty because their data is damaged.
  std::vector<uint16_t> EmitTo(TPDFVectorWriter& Writer) const;

  // Where a glyph can put ink, in font units from its origin (y up). A glyph without outline gives
  // an empty box (XMin > XMax). TrueType glyphs report their own box; CFF outlines, which are not
  // read here, and glyph data that cannot be read give the font's bounding box.
  struct TGlyphBox {
    int16_t XMin = 0, YMin = 0, XMax = -1, YMax = -1;
    bool Empty() const { return XMin > XMax; }
  };
  TGlyphBox GlyphInk(uint16_t Gid);

  // The used glyph ids in ascending order, and the code point last encoded with one of them.
  std::vector<uint16_t> UsedGlyphs() const;
  bool IsUsed(uint16_t Gid) const { return Gid < FUsed.size() && FUsed[Gid] != kNotUsed; }
  char32_t UsedCodePoint(uint16_t Gid) const { return IsUsed(Gid) ? FUsed[Gid] : 0; }
  // Six upper-case letters derived from the used glyph set (PDF's tag for subset fonts).
  std::string SubsetTag() const;
  // The base font name written into the PDF: "TAG+Name" for a TrueType subset, Name for CFF.
  std::string EmbeddedFontName() const;

  const std::string& BaseFont() const { return FBaseFont; }
  const TFontBytes& Data() const { return FData; }
  int32_t UnitsPerEm() const { return FUnitsPerEm; }
  int32_t NumGlyphs() const { return FNumGlyphs; }
  int32_t NumHMetrics() const { return FNumHMetrics; }
  int32_t Ascent() const { return FAscent; }
  int32_t Descent() const { return FDescent; }
  int32_t CapHeight() const { return FCapHeight; }
  int16_t XMin() const { return FXMin; }
  int16_t YMin() const { return FYMin; }
  int16_t XMax() const { return FXMax; }
  int16_t YMax() const { return FYMax; }
  float ItalicAngle() const { return FItalicAngle; }
  bool Bold() const { return FBold; }
  bool Italic() const { return FItalic; }
  bool IsCFF() const { return FIsCFF; }
  uint16_t CmapFormat() const { return FCmapFormat; }
  int32_t ObjNum() const { return FObjNum; }
  void SetObjNum(int32_t N) { FObjNum = N; }

 private:
  static constexpr char32_t kNotUsed = 0xFFFFFFFF;
  static constexpr uint32_t kUnknownGid = 0xFFFFFFFF;

  struct TTableRef {
    bool Found = false;
    uint64_t Offset = 0;  // from the start of the file
    uint64_t Length = 0;  // as the directory says
  };
  TTableRef FindTable(const char* Tag) const;
  // Raises "Gecersiz font: TAG tablosu bozuk" unless the table lies wholly in the file and holds at
  // least MinLength bytes.
  void RequireWhole(const char* TagName, const TTableRef& T, uint64_t MinLength) const;
  // The table's bytes clamped to the file; reads outside them raise "Gecersiz font: TAG tablosu bozuk".
  TByteReader TableReader(const char* Tag, const TTableRef& T) const;
  void ParseName(const TTableRef& T);
  void ChooseCmap();
  uint32_t CmapLookup(char32_t CodePoint) const;
  void MarkUsed(uint16_t Gid, char32_t CodePoint);

  TFontBytes FData;
  TByteReader FFile;
  std::string FBaseFont;
  int32_t FUnitsPerEm = 1000;
  int32_t FNumGlyphs = 0;
  int32_t FNumHMetrics = 0;
  uint64_t FHmtxOff = 0;
  int32_t FAscent = 0;
  int32_t FDescent = 0;
  int32_t FCapHeight = 0;
  int16_t FXMin = 0, FYMin = 0, FXMax = 0, FYMax = 0;
  float FItalicAngle = 0;
  bool FBold = false;
  bool FItalic = false;
  bool FIsCFF = false;
  uint64_t FCmapOff = 0;
  uint16_t FCmapFormat = 0;
  // Memoised lookups: a flat table for the BMP (allocated on first use), a map beyond it.
  std::vector<uint32_t> FBmpCache;
  std::unordered_map<char32_t, uint16_t> FCmapCache;
  // Indexed by glyph id: the code point last encoded with the glyph, or kNotUsed.
  std::vector<char32_t> FUsed;
  // GlyphInk's answers by glyph id, filled on first use; FInkKnown marks the filled ones.
  std::vector<TGlyphBox> FInk;
  std::vector<bool> FInkKnown;
  int32_t FObjNum = 0;
};

}  // namespace quillet
