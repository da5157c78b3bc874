// Fonts of one PDF document: one TPDFFont per family and style, found on the machine, named /F0,
// /F1, ... in order of first use, and written into the file at the end as Type0 fonts with an
// Identity-H encoding, an embedded (subset) font program and a ToUnicode map.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "canvas/pdf_font.h"

namespace quillet {

class TPDFVectorWriter;

// The bytes of a font file through a process-wide cache: each file is read once per process
// however many documents use it (read again only when its size or time stamp changed).
// Thread-safe. A file that cannot be read raises EQuilletError naming it.
TFontBytes LoadFontFileBytes(const std::string& FileName);

// The font file of a family in a style, or "" when the family is not found. First hit wins:
//  1. the faces in the application font folders FontDirs (searched in their order, with their
//     sub-folders) whose family equals Name, ignoring case and spaces: score 10, +5 when the
//     boldness matches, +5 when the slant matches; among equal scores the face whose weight is
//     nearest the requested one and whose width is normal, then the first in folder and file order;
//  2. the system's fonts: fontconfig's best match for Name and the style, taken only when its
//     family equals Name;
//  3. files named after the family in each FontDirs folder: Name + "-BoldItalic"/"-Bold"/"-Italic",
//     then Name alone, each also lower-cased without spaces ("arial.ttf"), as .otf, then .ttf.
// Only files this engine can embed (.ttf, .otf) are considered in steps 1 and 2.
std::string ResolveFontFile(const std::string& Name, bool Bold, bool Italic,
                            const std::vector<std::string>& FontDirs = {});

// A face standing in for a family that is missing: its file, and the family it belongs to.
struct TStandInFace {
  std::string File;
  std::string Family;
};

// The faces that stand in for a missing family, best first, each in the requested style where it
// has one: the family's metric twin (Arial and Helvetica: Liberation Sans, Times New Roman: Liberation
// Serif, Courier New: Liberation Mono, Calibri: Carlito, Cambria: Caladea), found as ResolveFontFile
// finds a family; then the face fontconfig offers for the family in the style; then Arial.
std::vector<TStandInFace> ResolveStandInFontFiles(const std::string& Name, bool Bold, bool Italic,
                                                  const std::vector<std::string>& FontDirs = {});

// True when the two families are the same, or one is the metric twin of the other (or both of a third):
// their text takes the same widths.
bool AreMetricTwins(const std::string& A, const std::string& B);

// Whatever embeddable face fontconfig offers for Name in the style, of any family; "" when none.
std::string ResolveSubstituteFontFile(const std::string& Name, bool Bold = false, bool Italic = false);

struct TPDFFontEntry {
  std::unique_ptr<TPDFFont> Font;
  std::string ResName;  // "/F0", "/F1", ...
  int32_t ObjNum = 0;   // reserved for the Type0 font dictionary
  std::string FileName;  // the font file the face was read from
};

class TPDFFontManager {
 public:
  // The writer is not owned and must outlive the manager.
  explicit TPDFFontManager(TPDFVectorWriter& AWriter) : FWriter(&AWriter) {}
  // A manager that only measures and lays out text (the screen canvas): fonts get no object
  // numbers and EmitAll writes nothing.
  TPDFFontManager() = default;
  TPDFFontManager(const TPDFFontManager&) = delete;
  TPDFFontManager& operator=(const TPDFFontManager&) = delete;

  // Lower-cased family, "|", then bold and italic as -1 (true) or 0: "Arial" bold -> "arial|-10".
  static std::string KeyOf(const std::string& Name, bool Bold, bool Italic);

  // The font for a family and style, loaded on first use. A family that cannot be found or read
  // is replaced, under its own key, by the first stand-in face (ResolveStandInFontFiles) that
  // loads; a warning is recorded unless the stand-in is a metric twin of a missing family. Raises
  // EQuilletError only when no stand-in can be found at all, or when none of them can be read.
  TPDFFont& GetFont(const std::string& Name, bool Bold, bool Italic, std::string& ResName, int32_t& ObjNum);
  // The same lookup, handing out the entry itself (it lives as long as the manager).
  const TPDFFontEntry& GetFontEntry(const std::string& Name, bool Bold, bool Italic);

  // Writes every font once, in key order; later calls do nothing. A font whose subset had to leave
  // damaged glyphs empty gets a warning.
  void EmitAll();

  // Application font folders searched before the system's fonts (the engine's font folders and
  // the program's --fonts DIR options). Set them before the first GetFont.
  const std::vector<std::string>& FontDirs() const { return FFontDirs; }
  void SetFontDirs(std::vector<std::string> Dirs) { FFontDirs = std::move(Dirs); }

  // Fonts that were substituted or had damaged glyphs, at most kMaxWarnings of them.
  const std::vector<std::string>& Warnings() const { return FWarnings; }
  static constexpr size_t kMaxWarnings = 100;

  const std::map<std::string, TPDFFontEntry>& Entries() const { return FEntries; }

 private:
  // Finds, loads and numbers the font for a request not seen before.
  TPDFFontEntry LoadEntry(const std::string& Name, bool Bold, bool Italic);
  void AddWarning(std::string Text);

  TPDFVectorWriter* FWriter = nullptr;
  std::map<std::string, TPDFFontEntry> FEntries;
  int32_t FCounter = 0;
  bool FEmitted = false;
  std::vector<std::string> FFontDirs;
  std::vector<std::string> FWarnings;
  // The last few requests exactly as asked, so the text path of a page skips building the
  // case-folded key for every string it draws. Map entries never move, so the pointers hold.
  struct TRecent {
    std::string Name;
    bool Bold = false;
    bool Italic = false;
    TPDFFontEntry* Entry = nullptr;
  };
  static constexpr size_t kRecent = 4;
  TRecent FRecent[kRecent];
  size_t FRecentNext = 0;
};

}  // namespace quillet
