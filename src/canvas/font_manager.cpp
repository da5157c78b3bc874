#include "canvas/font_manager.h"

#include <algorithm>
#include <chrono>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <mutex>
#include <tuple>
#include <unordered_map>

#include "base/error.h"
#include "base/file_io.h"
#include "base/number_format.h"
#include "base/utf8.h"
#include "canvas/pdf_writer.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fontconfig/fontconfig.h>
#include <sys/stat.h>
#endif

namespace quillet {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Font file bytes cache

namespace {

struct TCachedFile {
  int64_t Size = -1;
  int64_t MTimeNs = 0;
  TFontBytes Bytes;
};

std::mutex GFontCacheMutex;
std::unordered_map<std::string, TCachedFile>& FontCache() {
  static std::unordered_map<std::string, TCachedFile> cache;
  return cache;
}

bool FileStamp(const std::string& FileName, int64_t& Size, int64_t& MTimeNs) {
  std::error_code ec;
  if (!fs::is_regular_file(FileName, ec)) return false;
  const auto size = fs::file_size(FileName, ec);
  if (ec) return false;
  const auto time = fs::last_write_time(FileName, ec);
  if (ec) return false;
  Size = static_cast<int64_t>(size);
  MTimeNs = std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
  return true;
}

}  // namespace

TFontBytes LoadFontFileBytes(const std::string& FileName) {
  int64_t size = -1, mtime = 0;
  const bool stamped = FileStamp(FileName, size, mtime);
  if (stamped) {
    const std::lock_guard<std::mutex> lock(GFontCacheMutex);
    const auto it = FontCache().find(FileName);
    if (it != FontCache().end() && it->second.Size == size && it->second.MTimeNs == mtime) return it->second.Bytes;
  }
  if (size > kMaxFontFileBytes) throw EQuilletError("Gecersiz font: dosya cok buyuk", FileName);
  // Read outside the lock: other threads keep finding the files already cached.
  const std::string text = ReadWholeFile(FileName);
  if (static_cast<int64_t>(text.size()) > kMaxFontFileBytes) throw EQuilletError("Gecersiz font: dosya cok buyuk", FileName);
  auto bytes = std::make_shared<const std::vector<uint8_t>>(text.begin(), text.end());
  if (stamped) {
    const std::lock_guard<std::mutex> lock(GFontCacheMutex);
    FontCache()[FileName] = TCachedFile{size, mtime, bytes};
  }
  return bytes;
}

// ---------------------------------------------------------------------------------------------
// Finding font files

namespace {

// Family names compare ignoring case and spaces: "DejaVu Sans" = "dejavusans".
std::string FamilyKey(const std::string& Name) {
  std::string s = Utf8Lower(Name);
  std::erase(s, ' ');
  return s;
}

bool EndsWithNoCase(const std::string& S, const char* Suffix) {
  const size_t n = std::strlen(Suffix);
  if (S.size() < n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(S[S.size() - n + i])) != Suffix[i]) return false;
  return true;
}

// Files TPDFFont reads (collections and Type 1 fonts are not).
bool IsEmbeddableFile(const std::string& File) { return EndsWithNoCase(File, ".ttf") || EndsWithNoCase(File, ".otf"); }

bool IsFile(const std::string& Path) {
  std::error_code ec;
  return fs::is_regular_file(Path, ec);
}

std::string JoinPath(const std::string& Dir, const std::string& File) { return (fs::path(Dir) / File).string(); }

#ifndef _WIN32

struct TFace {
  std::vector<std::string> Families;  // as FamilyKey
  int Weight = FC_WEIGHT_REGULAR;
  int Slant = FC_SLANT_ROMAN;
  int Width = FC_WIDTH_NORMAL;
  std::string File;
  int Index = 0;
};

std::vector<std::string> PatternFamilies(FcPattern* P) {
  std::vector<std::string> out;
  FcChar8* s = nullptr;
  for (int i = 0; FcPatternGetString(P, FC_FAMILY, i, &s) == FcResultMatch; ++i)
    out.push_back(FamilyKey(reinterpret_cast<const char*>(s)));
  return out;
}

int PatternInt(FcPattern* P, const char* Object, int Default) {
  int v = 0;
  return FcPatternGetInteger(P, Object, 0, &v) == FcResultMatch ? v : Default;
}

// The faces of one application folder, read once per process (again when the folder changes).
// A private fontconfig configuration is used so that the process-wide one, which other engines
// may be matching against on other threads, is never modified.
std::vector<TFace> FolderFaces(const std::string& Dir) {
  struct TScan {
    int64_t MTimeNs = 0;
    std::vector<TFace> Faces;
  };
  static std::mutex mutex;
  static std::unordered_map<std::string, TScan> scans;

  struct stat st {};
  if (::stat(Dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return {};
  const int64_t mtime = int64_t{st.st_mtim.tv_sec} * 1000000000 + st.st_mtim.tv_nsec;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto it = scans.find(Dir);
    if (it != scans.end() && it->second.MTimeNs == mtime) return it->second.Faces;
  }
  std::vector<TFace> faces;
  if (FcConfig* config = FcConfigCreate()) {
    // The user's font cache folder, as every fontconfig program has: a configuration without
    // one rescans the folder each time and complains on stderr that it cannot keep the result.
    FcConfigParseAndLoadFromMemory(
        config, reinterpret_cast<const FcChar8*>("<fontconfig><cachedir prefix=\"xdg\">fontconfig</cachedir></fontconfig>"),
        FcFalse);
    if (FcConfigAppFontAddDir(config, reinterpret_cast<const FcChar8*>(Dir.c_str()))) {
      if (FcFontSet* set = FcConfigGetFonts(config, FcSetApplication)) {
        for (int i = 0; i < set->nfont; ++i) {
          FcPattern* p = set->fonts[i];
          FcChar8* file = nullptr;
          if (FcPatternGetString(p, FC_FILE, 0, &file) != FcResultMatch) continue;
          TFace f;
          f.File = reinterpret_cast<const char*>(file);
          f.Index = PatternInt(p, FC_INDEX, 0);
          if (!IsEmbeddableFile(f.File) || f.Index != 0) continue;
          f.Families = PatternFamilies(p);
          f.Weight = PatternInt(p, FC_WEIGHT, FC_WEIGHT_REGULAR);
          f.Slant = PatternInt(p, FC_SLANT, FC_SLANT_ROMAN);
          f.Width = PatternInt(p, FC_WIDTH, FC_WIDTH_NORMAL);
          faces.push_back(std::move(f));
        }
      }
    }
    FcConfigDestroy(config);
  }
  std::sort(faces.begin(), faces.end(),
            [](const TFace& A, const TFace& B) { return std::tie(A.File, A.Index) < std::tie(B.File, B.Index); });
  const std::lock_guard<std::mutex> lock(mutex);
  scans[Dir] = TScan{mtime, faces};
  return faces;
}

bool IsBoldWeight(int Weight) { return Weight >= FC_WEIGHT_SEMIBOLD; }
bool IsItalicSlant(int Slant) { return Slant >= FC_SLANT_ITALIC; }

std::string FromFontFolders(const std::string& Name, bool Bold, bool Italic, const std::vector<std::string>& Dirs) {
  const std::string want = FamilyKey(Name);
  const int wantWeight = Bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR;
  // Higher score first, then nearest weight, then nearest to normal width; folder and file order
  // break the remaining ties because the first candidate is kept.
  std::tuple<int, int, int> best{-1, 0, 0};
  std::string bestFile;
  for (const std::string& dir : Dirs) {
    for (const TFace& f : FolderFaces(dir)) {
      if (std::find(f.Families.begin(), f.Families.end(), want) == f.Families.end()) continue;
      const int score = 10 + (IsBoldWeight(f.Weight) == Bold ? 5 : 0) + (IsItalicSlant(f.Slant) == Italic ? 5 : 0);
      const std::tuple<int, int, int> rank{score, -std::abs(f.Weight - wantWeight),
                                           -std::abs(f.Width - FC_WIDTH_NORMAL)};
      if (rank > best) {
        best = rank;
        bestFile = f.File;
      }
    }
  }
  return bestFile;
}

// fontconfig's best system face for the request. Family check is left to the caller.
FcPattern* SystemMatch(const std::string& Name, bool Bold, bool Italic) {
  FcPattern* pat = FcPatternCreate();
  if (!pat) return nullptr;
  FcPatternAddString(pat, FC_FAMILY, reinterpret_cast<const FcChar8*>(Name.c_str()));
  FcPatternAddInteger(pat, FC_WEIGHT, Bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
  FcPatternAddInteger(pat, FC_SLANT, Italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddInteger(pat, FC_WIDTH, FC_WIDTH_NORMAL);
  FcConfigSubstitute(nullptr, pat, FcMatchPattern);
  FcDefaultSubstitute(pat);
  return pat;
}

std::string EmbeddableFile(FcPattern* P) {
  FcChar8* file = nullptr;
  if (FcPatternGetString(P, FC_FILE, 0, &file) != FcResultMatch) return "";
  const std::string f = reinterpret_cast<const char*>(file);
  return IsEmbeddableFile(f) && PatternInt(P, FC_INDEX, 0) == 0 ? f : "";
}

std::string FromSystem(const std::string& Name, bool Bold, bool Italic) {
  FcPattern* pat = SystemMatch(Name, Bold, Italic);
  if (!pat) return "";
  std::string out;
  FcResult result = FcResultNoMatch;
  if (FcPattern* m = FcFontMatch(nullptr, pat, &result)) {
    const std::vector<std::string> families = PatternFamilies(m);
    if (std::find(families.begin(), families.end(), FamilyKey(Name)) != families.end()) out = EmbeddableFile(m);
    FcPatternDestroy(m);
  }
  FcPatternDestroy(pat);
  return out;
}

#else  // _WIN32

std::string WideToUtf8(const std::wstring& W) {
  if (W.empty()) return "";
  const int n = WideCharToMultiByte(CP_UTF8, 0, W.data(), static_cast<int>(W.size()), nullptr, 0, nullptr, nullptr);
  std::string s(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, W.data(), static_cast<int>(W.size()), s.data(), n, nullptr, nullptr);
  return s;
}

std::string WindowsFontsFolder() {
  const char* windir = std::getenv("windir");
  return windir ? JoinPath(windir, "Fonts") : "";
}

void EraseAll(std::string& S, const std::string& What) {
  for (size_t p; (p = S.find(What)) != std::string::npos;) S.erase(p, What.size());
}

// The installed-fonts registry: value names such as "Arial Bold (TrueType)" -> file names.
std::string FromRegistry(const std::string& Name, bool Bold, bool Italic) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts", 0, KEY_READ,
                    &key) != ERROR_SUCCESS)
    return "";
  const std::string want = FamilyKey(Name);
  const std::string folder = WindowsFontsFolder();
  int bestScore = 0;
  std::string best;
  for (DWORD i = 0;; ++i) {
    wchar_t valueName[1024];
    DWORD nameLen = 1024;
    wchar_t data[1024];
    DWORD dataBytes = sizeof(data) - sizeof(wchar_t);
    DWORD type = 0;
    const LONG r = RegEnumValueW(key, i, valueName, &nameLen, nullptr, &type, reinterpret_cast<BYTE*>(data), &dataBytes);
    if (r == ERROR_NO_MORE_ITEMS) break;
    if (r != ERROR_SUCCESS || type != REG_SZ) continue;
    data[dataBytes / sizeof(wchar_t)] = 0;
    const std::string file = WideToUtf8(data);
    if (!EndsWithNoCase(file, ".ttf") && !EndsWithNoCase(file, ".otf") && !EndsWithNoCase(file, ".ttc")) continue;
    std::string n = Utf8Lower(WideToUtf8(std::wstring(valueName, nameLen)));
    EraseAll(n, " (truetype)");
    EraseAll(n, " (opentype)");
    const bool bold = n.find("bold") != std::string::npos;
    const bool italic = n.find("italic") != std::string::npos || n.find("oblique") != std::string::npos;
    for (const char* w : {" ", "bold", "italic", "oblique"}) EraseAll(n, w);
    if (n != want) continue;
    const int score = 10 + (bold == Bold ? 5 : 0) + (italic == Italic ? 5 : 0);
    if (score > bestScore) {
      bestScore = score;
      best = fs::path(file).is_absolute() ? file : JoinPath(folder, file);
    }
  }
  RegCloseKey(key);
  return !best.empty() && IsFile(best) ? best : "";
}

#endif

}  // namespace

#ifndef _WIN32
namespace {

// fontconfig's first embeddable face for Name in the style, of any family (for "Arial" a
// metric-compatible stand-in, for an unknown family the default face of the style).
TStandInFace FromSystemSubstitute(const std::string& Name, bool Bold, bool Italic) {
  FcPattern* pat = SystemMatch(Name, Bold, Italic);
  if (!pat) return {};
  TStandInFace out;
  FcResult result = FcResultNoMatch;
  // The sorted list, not just the best match: the best may be a format that cannot be embedded.
  if (FcFontSet* set = FcFontSort(nullptr, pat, FcTrue, nullptr, &result)) {
    for (int i = 0; i < set->nfont && out.File.empty(); ++i) {
      FcPattern* m = FcFontRenderPrepare(nullptr, pat, set->fonts[i]);
      if (!m) continue;
      out.File = EmbeddableFile(m);
      FcChar8* family = nullptr;
      if (!out.File.empty() && FcPatternGetString(set->fonts[i], FC_FAMILY, 0, &family) == FcResultMatch)
        out.Family = reinterpret_cast<const char*>(family);
      FcPatternDestroy(m);
    }
    FcFontSetDestroy(set);
  }
  FcPatternDestroy(pat);
  return out;
}

// Asking fontconfig costs milliseconds; a process that renders many reports asks once per face.
// Installed fonts do not change while a report runs, so the answers are kept for the process.
template <typename TAnswer>
TAnswer CachedAnswer(char Kind, const std::string& Name, bool Bold, bool Italic,
                     TAnswer (*Ask)(const std::string&, bool, bool)) {
  static std::mutex mutex;
  static std::unordered_map<std::string, TAnswer> answers;
  std::string key = Name;
  key += '\x01';
  key += Kind;
  key += Bold ? 'b' : 'r';
  key += Italic ? 'i' : 'u';
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (const auto it = answers.find(key); it != answers.end()) return it->second;
  }
  TAnswer answer = Ask(Name, Bold, Italic);
  const std::lock_guard<std::mutex> lock(mutex);
  answers.emplace(std::move(key), answer);
  return answer;
}

std::string FromSystemCached(const std::string& Name, bool Bold, bool Italic) {
  return CachedAnswer<std::string>('f', Name, Bold, Italic, FromSystem);
}

}  // namespace
#endif

std::string ResolveFontFile(const std::string& Name, bool Bold, bool Italic, const std::vector<std::string>& FontDirs) {
  std::vector<std::string> dirs = FontDirs;
#ifdef _WIN32
  if (std::string f = FromRegistry(Name, Bold, Italic); !f.empty()) return f;
  if (const std::string folder = WindowsFontsFolder(); !folder.empty()) dirs.insert(dirs.begin(), folder);
#else
  if (std::string f = FromFontFolders(Name, Bold, Italic, dirs); !f.empty()) return f;
  if (std::string f = FromSystemCached(Name, Bold, Italic); !f.empty()) return f;
#endif
  // Files named after the family: "Name-Bold.otf", "Name.otf", and the folded name ("arial.ttf").
  const char* suffix = Bold && Italic ? "-BoldItalic" : Bold ? "-Bold" : Italic ? "-Italic" : "";
  std::vector<std::string> stems{Name + suffix};
  for (const std::string& stem : {FamilyKey(Name) + suffix, Name, FamilyKey(Name)})
    if (std::find(stems.begin(), stems.end(), stem) == stems.end()) stems.push_back(stem);
  for (const std::string& dir : dirs) {
    for (const std::string& stem : stems) {
      for (const char* ext : {".otf", ".ttf"}) {
        const std::string path = JoinPath(dir, stem + ext);
        if (IsFile(path)) return path;
      }
    }
  }
  return "";
}

std::string ResolveSubstituteFontFile(const std::string& Name, bool Bold, bool Italic) {
#ifdef _WIN32
  (void)Name, (void)Bold, (void)Italic;
  return "";
#else
  return CachedAnswer<TStandInFace>('s', Name, Bold, Italic, FromSystemSubstitute).File;
#endif
}

namespace {

// Families whose faces have the advance widths of another family that is free to install.
const std::pair<const char*, const char*> kMetricTwins[] = {
    {"arial", "Liberation Sans"},   {"helvetica", "Liberation Sans"}, {"timesnewroman", "Liberation Serif"},
    {"couriernew", "Liberation Mono"}, {"calibri", "Carlito"},        {"cambria", "Caladea"},
};

std::string MetricTwinOf(const std::string& Family) {
  const std::string key = FamilyKey(Family);
  for (const auto& [from, to] : kMetricTwins)
    if (key == from) return to;
  return "";
}

}  // namespace

bool AreMetricTwins(const std::string& A, const std::string& B) {
  const std::string a = FamilyKey(A), b = FamilyKey(B);
  if (a == b) return true;
  const std::string twinA = FamilyKey(MetricTwinOf(A)), twinB = FamilyKey(MetricTwinOf(B));
  return twinA == b || twinB == a || (!twinA.empty() && twinA == twinB);
}

std::vector<TStandInFace> ResolveStandInFontFiles(const std::string& Name, bool Bold, bool Italic,
                                                  const std::vector<std::string>& FontDirs) {
  std::vector<TStandInFace> faces;
  auto add = [&faces](TStandInFace Face) {
    if (Face.File.empty()) return;
    for (const TStandInFace& f : faces)
      if (f.File == Face.File) return;
    faces.push_back(std::move(Face));
  };
  if (const std::string twin = MetricTwinOf(Name); !twin.empty())
    add({ResolveFontFile(twin, Bold, Italic, FontDirs), twin});
#ifndef _WIN32
  add(CachedAnswer<TStandInFace>('s', Name, Bold, Italic, FromSystemSubstitute));
#endif
  // Where fontconfig has nothing to offer (Windows), Arial.
  add({ResolveFontFile("Arial", Bold, Italic, FontDirs), "Arial"});
  return faces;
}

// ---------------------------------------------------------------------------------------------
// The manager

std::string TPDFFontManager::KeyOf(const std::string& Name, bool Bold, bool Italic) {
  return Utf8Lower(Name) + "|" + (Bold ? "-1" : "0") + (Italic ? "-1" : "0");
}

TPDFFont& TPDFFontManager::GetFont(const std::string& Name, bool Bold, bool Italic, std::string& ResName,
                                   int32_t& ObjNum) {
  const TPDFFontEntry& e = GetFontEntry(Name, Bold, Italic);
  ResName = e.ResName;
  ObjNum = e.ObjNum;
  return *e.Font;
}

const TPDFFontEntry& TPDFFontManager::GetFontEntry(const std::string& Name, bool Bold, bool Italic) {
  for (const TRecent& r : FRecent)
    if (r.Entry && r.Bold == Bold && r.Italic == Italic && r.Name == Name) return *r.Entry;
  const std::string key = KeyOf(Name, Bold, Italic);
  auto it = FEntries.find(key);
  if (it == FEntries.end()) it = FEntries.emplace(key, LoadEntry(Name, Bold, Italic)).first;
  TRecent& slot = FRecent[FRecentNext++ % kRecent];
  slot.Name = Name;
  slot.Bold = Bold;
  slot.Italic = Italic;
  slot.Entry = &it->second;
  return it->second;
}

void TPDFFontManager::AddWarning(std::string Text) {
  if (FWarnings.size() < kMaxWarnings) FWarnings.push_back(std::move(Text));
}

TPDFFontEntry TPDFFontManager::LoadEntry(const std::string& Name, bool Bold, bool Italic) {
  TPDFFontEntry entry;
  std::string problem;
  const std::string path = ResolveFontFile(Name, Bold, Italic, FFontDirs);
  if (path.empty()) {
    problem = "not found";
  } else {
    try {
      entry.Font = TPDFFont::LoadFromFile(path, Name, Bold, Italic);
      entry.FileName = path;
    } catch (const std::exception& e) {
      problem = std::string(e.what()) + " (" + path + ")";
    }
  }
  if (!entry.Font) {
    // A report must still print, in the style it asks for: the family's metric twin, what
    // fontconfig offers for the family, or Arial. Only a face of other widths, or a damaged file, is
    // worth a warning.
    std::exception_ptr failure;
    std::string family;
    for (const TStandInFace& face : ResolveStandInFontFiles(Name, Bold, Italic, FFontDirs)) {
      if (face.File == path) continue;  // the file that just failed
      try {
        entry.Font = TPDFFont::LoadFromFile(face.File, face.Family, Bold, Italic);
        entry.FileName = face.File;
        family = face.Family;
        break;
      } catch (const EQuilletError&) {
        failure = std::current_exception();
      }
    }
    if (!entry.Font && failure) std::rethrow_exception(failure);
    if (!entry.Font)
      throw EQuilletError("No font file found for \"" + Name + "\" nor for its stand-in \"Arial\"");
    if (!path.empty() || !AreMetricTwins(Name, family))
      AddWarning("Font \"" + Name + "\"" + (Bold ? " bold" : "") + (Italic ? " italic" : "") + ": " + problem +
                 "; using " + entry.FileName);
  }

  entry.ResName = "/F" + std::to_string(FCounter);
  entry.ObjNum = FWriter ? FWriter->AllocObj() : 0;
  entry.Font->SetObjNum(entry.ObjNum);
  ++FCounter;
  return entry;
}

void TPDFFontManager::EmitAll() {
  if (FEmitted) return;
  FEmitted = true;
  if (!FWriter) return;
  for (const auto& [key, entry] : FEntries) {
    const std::vector<uint16_t> damaged = entry.Font->EmitTo(*FWriter);
    if (damaged.empty()) continue;
    std::string ids;
    for (size_t i = 0; i < damaged.size() && i < 10; ++i) ids += (i ? ", " : "") + std::to_string(damaged[i]);
    if (damaged.size() > 10) ids += ", ...";
    AddWarning("Font file " + entry.FileName + ": damaged glyphs left empty (glyph ids " + ids + ")");
  }
}

// ---------------------------------------------------------------------------------------------
// Writing one font

namespace {

// A PDF name token: bytes outside '!'..'~' and the delimiters are written as #XX.
std::string PdfName(const std::string& S) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (const unsigned char c : S) {
    if (c < '!' || c > '~' || std::strchr("()<>[]{}/%#", c)) {
      out += '#';
      out += kDigits[c >> 4];
      out += kDigits[c & 15];
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

void AppendHex4(std::string& Out, uint32_t V) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (int shift = 12; shift >= 0; shift -= 4) Out += kDigits[(V >> shift) & 15];
}

std::string ToUnicodeCMap(const TPDFFont& Font, const std::vector<uint16_t>& Gids) {
  std::string s =
      "/CIDInit /ProcSet findresource begin\n"
      "12 dict begin\nbegincmap\n"
      "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
      "/CMapName /Adobe-Identity-UCS def\n/CMapType 2 def\n"
      "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n";
  s.reserve(s.size() + Gids.size() * 16 + 200);
  for (size_t first = 0; first < Gids.size(); first += 100) {
    const size_t n = std::min<size_t>(100, Gids.size() - first);
    s += std::to_string(n) + " beginbfchar\n";
    for (size_t i = first; i < first + n; ++i) {
      s += '<';
      AppendHex4(s, Gids[i]);
      s += "> <";
      const char32_t cp = Font.UsedCodePoint(Gids[i]);
      if (cp > 0xFFFF) {
        AppendHex4(s, 0xD800 + ((cp - 0x10000) >> 10));
        AppendHex4(s, 0xDC00 + ((cp - 0x10000) & 0x3FF));
      } else {
        AppendHex4(s, cp);
      }
      s += ">\n";
    }
    s += "endbfchar\n";
  }
  s += "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
  return s;
}

}  // namespace

std::vector<uint16_t> TPDFFont::EmitTo(TPDFVectorWriter& Writer) const {
  const std::vector<uint16_t> gids = UsedGlyphs();
  const std::string name = PdfName(EmbeddedFontName());

  int32_t program = 0;
  std::vector<uint16_t> damaged;
  if (FIsCFF) {
    program = Writer.AddStreamObjectFlate("/Subtype /OpenType", std::span<const uint8_t>(*FData));
  } else {
    const std::vector<uint8_t> subset = BuildSubset(&damaged);
    program = Writer.AddStreamObjectFlate("/Length1 " + std::to_string(subset.size()), std::span<const uint8_t>(subset));
  }

  const int32_t flags = 32 + (FItalic ? 64 : 0);
  const int32_t descriptor = Writer.AddRawObject(
      "<< /Type /FontDescriptor /FontName /" + name + " /Flags " + std::to_string(flags) + " /FontBBox [" +
      std::to_string(Scale(FXMin)) + " " + std::to_string(Scale(FYMin)) + " " + std::to_string(Scale(FXMax)) + " " +
      std::to_string(Scale(FYMax)) + "] /ItalicAngle " + FormatDecimals(FItalicAngle, 3) + " /Ascent " +
      std::to_string(AscentScaled()) + " /Descent " + std::to_string(DescentScaled()) + " /CapHeight " +
      std::to_string(CapHeightScaled()) + " /StemV 80" + (FIsCFF ? " /FontFile3 " : " /FontFile2 ") +
      std::to_string(program) + " 0 R >>");

  const std::string cmap = ToUnicodeCMap(*this, gids);
  const int32_t toUnicode = Writer.AddStreamObjectFlate("", std::string_view(cmap));

  std::string cid = "<< /Type /Font /Subtype /";
  cid += FIsCFF ? "CIDFontType0" : "CIDFontType2";
  cid += " /BaseFont /" + name + " /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) /Supplement 0 >>";
  cid += " /FontDescriptor " + std::to_string(descriptor) + " 0 R";
  if (!FIsCFF) cid += " /CIDToGIDMap /Identity";
  cid += " /DW 1000 /W [";
  for (const uint16_t g : gids) cid += std::to_string(g) + " [" + std::to_string(GidWidth1000(g)) + "] ";
  cid += "] >>";
  const int32_t cidFont = Writer.AddRawObject(cid);

  Writer.WriteRawObjectAt(FObjNum, "<< /Type /Font /Subtype /Type0 /BaseFont /" + name +
                                       " /Encoding /Identity-H /DescendantFonts [" + std::to_string(cidFont) +
                                       " 0 R] /ToUnicode " + std::to_string(toUnicode) + " 0 R >>");
  return damaged;
}

}  // namespace quillet
