// The report file: one JSON document. The reader is tolerant (every member optional, wrongly
// typed members fall back to defaults, unknown members ignored); the writer leaves out members a
// reader would default anyway and writes the same bytes for the same report.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/error.h"
#include "base/file_io.h"
#include "base/json_shape.h"
#include "base/number_format.h"
#include "base/utf8.h"
#include "reportdef/report_model.h"

namespace quillet {

namespace {

using OJson = nlohmann::ordered_json;

const char* const InvalidReportData = "Invalid report data";

[[noreturn]] void Fail(const std::string& Detail) {
  throw EQuilletError(std::string(InvalidReportData) + ": " + Detail);
}

// ---- writing -------------------------------------------------------------------------------

// A float as the JSON number that prints in the shortest form reading back to the same float:
// whole values as integers ("10", not "10.0"), others as the double of their shortest text, which
// the printer writes with the same digits. Non-finite values have no JSON form and become 0.
OJson FloatJson(float Value) {
  if (!std::isfinite(Value)) return OJson(0);
  if (std::trunc(Value) == Value && Value >= -0x1p63f && Value < 0x1p63f)
    return OJson(static_cast<int64_t>(Value));
  double D = 0;
  ParseDouble(FloatToShortest(Value), D);
  return OJson(D);
}

OJson FloatArrayJson(const std::vector<float>& Values) {
  OJson Arr = OJson::array();
  for (float V : Values) Arr.push_back(FloatJson(V));
  return Arr;
}

OJson StringArrayJson(const std::vector<std::string>& Values) {
  OJson Arr = OJson::array();
  for (const std::string& S : Values) Arr.push_back(S);
  return Arr;
}

OJson CellStyleJson(const TCellStyle& Style) {
  if (!Style.HasStyle) return OJson(nullptr);
  OJson Obj = OJson::object();
  Obj["b"] = Style.Bold;
  Obj["i"] = Style.Italic;
  Obj["tc"] = AlphaColorToHex(Style.TextColor);
  Obj["fl"] = AlphaColorToHex(Style.Fill);
  Obj["ha"] = HorzAlignToStr(Style.HAlign);
  return Obj;
}

// ---- reading -------------------------------------------------------------------------------

// Load warnings: what the reader fell back on. The page being loaded collects them; Where names
// the object being read ("bands[1].elements[4] (Label \"total\")", "" for the document).
struct TLoadNotes {
  std::vector<std::string>* Out = nullptr;
  std::string Where;
};
thread_local TLoadNotes* tNotes = nullptr;

// Plenty for any author to work through; a generated file with a million unknown members should
// not make a million lines.
constexpr size_t kMaxLoadWarnings = 1000;

void Note(const std::string& Text) {
  if (tNotes == nullptr || tNotes->Out == nullptr || tNotes->Out->size() >= kMaxLoadWarnings) return;
  tNotes->Out->push_back(tNotes->Where.empty() ? Text : tNotes->Where + ": " + Text);
}

// Sets Where for the life of the scope.
class TWhereScope {
 public:
  explicit TWhereScope(std::string Where) {
    if (tNotes == nullptr) return;
    FOld = std::move(tNotes->Where);
    tNotes->Where = std::move(Where);
    FSet = true;
  }
  ~TWhereScope() {
    if (FSet && tNotes != nullptr) tNotes->Where = std::move(FOld);
  }
  TWhereScope(const TWhereScope&) = delete;
  TWhereScope& operator=(const TWhereScope&) = delete;

 private:
  std::string FOld;
  bool FSet = false;
};

std::string Where() { return tNotes ? tNotes->Where : std::string(); }

std::string Quote(std::string_view S) { return "\"" + std::string(S) + "\""; }

std::string AsciiLower(std::string_view S) {
  std::string R(S);
  for (char& C : R)
    if (C >= 'A' && C <= 'Z') C = static_cast<char>(C - 'A' + 'a');
  return R;
}

template <typename TJson>
const char* JsonTypeName(const TJson& V) {
  if (V.is_string()) return "a string";
  if (V.is_boolean()) return "true or false";
  if (V.is_number()) return "a number";
  if (V.is_array()) return "an array";
  if (V.is_object()) return "an object";
  return "null";
}

// Every member of Obj that is not in Known, with the spelling meant when only its case differs.
template <typename TJson, size_t N>
void NoteUnknownMembers(const TJson& Obj, const std::array<std::string_view, N>& Known) {
  if (tNotes == nullptr || !Obj.is_object()) return;
  for (auto It = Obj.begin(); It != Obj.end(); ++It) {
    const std::string& Key = It.key();
    bool Found = false;
    std::string_view Meant;
    for (std::string_view K : Known) {
      if (K == Key) Found = true;
      else if (AsciiLower(K) == AsciiLower(Key)) Meant = K;
    }
    if (Found) continue;
    Note("unknown member " + Quote(Key) + (Meant.empty() ? std::string(", ignored") : ", did you mean " + Quote(Meant) + "?"));
  }
}

// A member present with a value of another JSON type than Wanted (null counts as absent).
template <typename TJson>
void NoteWrongType(const TJson& V, const char* Key, const char* Wanted, const std::string& Default) {
  Note(Quote(Key) + " is " + JsonTypeName(V) + ", not " + Wanted + "; read as " + Default);
}
// The readers are templates so that they serve both the sorted json the file reader parses into
// (logarithmic member look-up, safe for objects with very many members) and the ordered json a
// caller may hold.

// The deepest value whose JSON text the string rule will produce; the printer recurses per level.
constexpr size_t MaxTextNesting = 256;

template <typename TJson>
bool NestedDeeperThan(const TJson& Value, size_t Limit) {
  // Iterative walk: the input decides the depth, the stack must not.
  std::vector<std::pair<const TJson*, size_t>> Stack{{&Value, 1}};
  while (!Stack.empty()) {
    auto [V, Depth] = Stack.back();
    Stack.pop_back();
    if (!V->is_structured()) continue;
    if (Depth > Limit) return true;
    for (const auto& Child : *V) Stack.emplace_back(&Child, Depth + 1);
  }
  return false;
}

// The text of a JSON value: a string's own text, "" for null, the JSON text of anything else
// (the number 12 gives "12").
template <typename TJson>
std::string ValueText(const TJson& Value, const char* Key) {
  if (Value.is_string()) return Value.template get_ref<const std::string&>();
  if (Value.is_null()) return std::string();
  if (NestedDeeperThan(Value, MaxTextNesting))
    Fail(std::string("\"") + Key + "\" is nested too deeply");
  return Value.dump();
}

template <typename TJson>
const TJson* Member(const TJson& Obj, const char* Key) {
  auto It = Obj.find(Key);
  return It == Obj.end() ? nullptr : &*It;
}

// String member: present, not null and with non-empty text, else Default.
template <typename TJson>
std::string ReadString(const TJson& Obj, const char* Key, const std::string& Default) {
  const TJson* V = Member(Obj, Key);
  if (V == nullptr || V->is_null()) return Default;
  std::string Text = ValueText(*V, Key);
  return Text.empty() ? Default : Text;
}

template <typename TJson>
bool ReadBool(const TJson& Obj, const char* Key, bool Default) {
  const TJson* V = Member(Obj, Key);
  if (V != nullptr && !V->is_boolean() && !V->is_null()) NoteWrongType(*V, Key, "true or false", Default ? "true" : "false");
  return V != nullptr && V->is_boolean() ? V->template get<bool>() : Default;
}

// JSON numbers beyond the float range are clamped to the largest finite float rather than
// converted (which would be undefined) or turned into infinities.
float ClampToFloat(double D) {
  if (std::isnan(D)) return 0;
  if (D > FLT_MAX) return FLT_MAX;
  if (D < -FLT_MAX) return -FLT_MAX;
  return static_cast<float>(D);
}

template <typename TJson>
float ReadFloat(const TJson& Obj, const char* Key, float Default) {
  const TJson* V = Member(Obj, Key);
  if (V != nullptr && !V->is_number() && !V->is_null()) NoteWrongType(*V, Key, "a number", FloatToShortest(Default));
  return V != nullptr && V->is_number() ? ClampToFloat(V->template get<double>()) : Default;
}

int32_t ClampToInt32(double D) {
  if (std::isnan(D)) return 0;
  if (D >= 2147483647.0) return std::numeric_limits<int32_t>::max();
  if (D <= -2147483648.0) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(D);
}

// Integer member. A fractional number is truncated toward zero (595.7 gives 595), or rounded to
// the nearest integer with halves away from zero when Round is set; numbers outside the 32-bit
// range are clamped to it.
template <typename TJson>
int32_t ReadInt(const TJson& Obj, const char* Key, int32_t Default, bool Round = false) {
  const TJson* V = Member(Obj, Key);
  if (V != nullptr && !V->is_number() && !V->is_null()) NoteWrongType(*V, Key, "a number", std::to_string(Default));
  if (V == nullptr || !V->is_number()) return Default;
  if (V->is_number_unsigned()) {
    const uint64_t U = V->template get<uint64_t>();
    return U > uint64_t(std::numeric_limits<int32_t>::max()) ? std::numeric_limits<int32_t>::max()
                                                             : static_cast<int32_t>(U);
  }
  if (V->is_number_integer()) {
    const int64_t I = V->template get<int64_t>();
    if (I > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (I < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(I);
  }
  const double D = V->template get<double>();
  return ClampToInt32(Round ? std::round(D) : std::trunc(D));
}

// Colour text that an author can only have meant otherwise: after one optional "#", anything
// but 6 or 8 hexadecimal digits ("#ABC", "red", "#FF00000").
bool IsColorText(std::string_view S) {
  if (!S.empty() && S[0] == '#') S.remove_prefix(1);
  if (S.size() != 6 && S.size() != 8) return false;
  for (char C : S)
    if (!((C >= '0' && C <= '9') || (C >= 'a' && C <= 'f') || (C >= 'A' && C <= 'F'))) return false;
  return true;
}

template <typename TJson>
TAlphaColor ReadColor(const TJson& Obj, const char* Key, const char* Default) {
  const std::string Text = ReadString(Obj, Key, Default);
  const TAlphaColor C = HexToAlphaColor(Text);
  if (!IsColorText(Text))
    Note(Quote(Key) + " " + Quote(Text) + " is not a colour (#RRGGBB or #AARRGGBB); read as " + AlphaColorToHex(C));
  return C;
}

// An enumeration member: its spelling, and a warning when the reader falls back.
template <typename TJson, typename TEnum>
TEnum ReadEnum(const TJson& Obj, const char* Key, const char* Default, TEnum (*FromStr)(std::string_view),
               std::string (*ToStr)(TEnum)) {
  const std::string Text = ReadString(Obj, Key, Default);
  const TEnum V = FromStr(Text);
  if (ToStr(V) != Text) Note("unknown " + std::string(Key) + " " + Quote(Text) + ", read as " + Quote(ToStr(V)));
  return V;
}

// An array member: nullptr when absent; present but not an array is a damaged file.
template <typename TJson>
const TJson* ArrayMember(const TJson& Obj, const char* Key) {
  const TJson* V = Member(Obj, Key);
  if (V != nullptr && !V->is_array()) Fail(std::string("\"") + Key + "\" is not an array");
  return V;
}

template <typename TJson>
void RequireObject(const TJson& Value, const char* What) {
  if (!Value.is_object()) Fail(std::string(What) + " is not an object");
}

// Entries of a string array keep their position whatever their type: the text of each entry.
template <typename TJson>
std::vector<std::string> ReadStringArray(const TJson& Arr, const char* Key) {
  std::vector<std::string> Result;
  Result.reserve(Arr.size());
  for (const auto& Item : Arr) Result.push_back(ValueText(Item, Key));
  return Result;
}

// Entries of a number array that are not numbers read as 0 (which hides a track).
template <typename TJson>
std::vector<float> ReadFloatArray(const TJson& Arr) {
  std::vector<float> Result;
  Result.reserve(Arr.size());
  for (const auto& Item : Arr)
    Result.push_back(Item.is_number() ? ClampToFloat(Item.template get<double>()) : 0.0f);
  return Result;
}

template <typename TJson>
TCellStyle ReadCellStyle(const TJson& Item) {
  TCellStyle Style;
  Style.TextColor = 0xFF000000;
  if (!Item.is_object()) return Style;
  Style.HasStyle = true;
  Style.Bold = ReadBool(Item, "b", false);
  Style.Italic = ReadBool(Item, "i", false);
  Style.TextColor = ReadColor(Item, "tc", "#FF000000");
  Style.Fill = ReadColor(Item, "fl", "#00000000");
  NoteUnknownMembers(Item, CellStyleMembers);
  Style.HAlign = ReadEnum(Item, "ha", "Left", StrToHorzAlign, HorzAlignToStr);
  return Style;
}

// A table's grid is allocated before any cell is drawn, so its size is bounded at load: a static
// table by its cells, a data table (whose rows follow the data) by its columns.
void CheckTableSize(const TReportElement& E) {
  if (E.ElemType != retTable) return;
  const int64_t rows = E.Rows, cols = E.Cols;
  const bool data = !E.DataField.empty();
  const int64_t limit = data ? kMaxDataTableColumns : kMaxTableCells;
  if ((data ? cols : rows * cols) > limit)
    throw EQuilletError("Table " + E.Name + ": " + std::to_string(rows) + "x" + std::to_string(cols) +
                        " cells exceed the limit of " + std::to_string(limit));
}

template <typename TJson>
std::unique_ptr<TReportElement> LoadElement(const TJson& Obj) {
  RequireObject(Obj, "an element");
  auto E = std::make_unique<TReportElement>();
  const std::string TypeText = ReadString(Obj, "type", "Label");
  E->ElemType = ElemTypeFromStr(TypeText);
  E->Name = ReadString(Obj, "name", "");
  const std::string_view TypeName = ElemTypeNames[static_cast<size_t>(E->ElemType)];
  const std::string Path = Where();
  const std::string Desc = " (" + std::string(TypeName) + (E->Name.empty() ? "" : " " + Quote(E->Name)) + ")";
  TWhereScope Scope(Path + Desc);
  if (TypeText != TypeName) Note("unknown element type " + Quote(TypeText) + ", read as " + Quote(TypeName));
  NoteUnknownMembers(Obj, ElementMembers);
  E->Left = ReadFloat(Obj, "left", 10);
  E->Top = ReadFloat(Obj, "top", 10);
  E->Width = ReadFloat(Obj, "width", 150);
  E->Height = ReadFloat(Obj, "height", 25);
  E->Text = ReadString(Obj, "text", "");
  E->DataField = ReadString(Obj, "dataField", "");
  E->ImageFile = ReadString(Obj, "imageFile", "");
  E->WordWrap = ReadBool(Obj, "wordWrap", false);
  E->FontName = ReadString(Obj, "fontName", "Segoe UI");
  E->FontSize = ReadFloat(Obj, "fontSize", 10);
  E->FontBold = ReadBool(Obj, "fontBold", false);
  E->FontItalic = ReadBool(Obj, "fontItalic", false);
  E->TextColor = ReadColor(Obj, "textColor", "#FF000000");
  E->BackColor = ReadColor(Obj, "backColor", "#00000000");
  E->BorderColor = ReadColor(Obj, "borderColor", "#FF000000");
  E->StrokeColor = ReadColor(Obj, "strokeColor", "#FF000000");
  E->FillColor = ReadColor(Obj, "fillColor", "#00000000");
  E->HorzAlign = ReadEnum(Obj, "horzAlign", "Left", StrToHorzAlign, HorzAlignToStr);
  // A missing vertical alignment reads as top, unlike a fresh element (centre).
  E->VertAlign = ReadEnum(Obj, "vertAlign", "Top", StrToVertAlign, VertAlignToStr);
  E->BorderWidth = ReadFloat(Obj, "borderWidth", 1);
  E->StrokeWidth = ReadFloat(Obj, "strokeWidth", 1);
  E->CornerX = ReadFloat(Obj, "cornerX", 5);
  E->CornerY = ReadFloat(Obj, "cornerY", 5);
  E->Checked = ReadBool(Obj, "checked", false);
  // A line without an end point runs along the top of its box as loaded.
  E->X2 = ReadFloat(Obj, "x2", ClampToFloat(double(E->Left) + E->Width));
  E->Y2 = ReadFloat(Obj, "y2", E->Top);
  E->BorderTop = ReadBool(Obj, "borderTop", true);
  E->BorderRight = ReadBool(Obj, "borderRight", true);
  E->BorderBottom = ReadBool(Obj, "borderBottom", true);
  E->BorderLeft = ReadBool(Obj, "borderLeft", true);

  // Table, subreport, barcode and image members are read whatever the element type.
  E->Rows = ReadInt(Obj, "rows", 3, /*Round=*/true);
  E->Cols = ReadInt(Obj, "cols", 3, /*Round=*/true);
  if (const TJson* Cells = ArrayMember(Obj, "cells"))
    E->CellTexts = ReadStringArray(*Cells, "cells");
  E->HeaderRow = ReadBool(Obj, "headerRow", false);
  E->HeaderFill = ReadColor(Obj, "headerFill", "#FFE0E0E0");
  E->HeaderBold = ReadBool(Obj, "headerBold", true);
  E->HeaderTextColor = ReadColor(Obj, "headerTextColor", "#FF000000");
  if (const TJson* W = ArrayMember(Obj, "colWidths")) E->ColWidths = ReadFloatArray(*W);
  if (const TJson* H = ArrayMember(Obj, "rowHeights")) E->RowHeights = ReadFloatArray(*H);
  if (const TJson* Styles = ArrayMember(Obj, "cellStyles")) {
    E->CellStyles.reserve(Styles->size());
    for (size_t K = 0; K < Styles->size(); ++K) {
      TWhereScope ItemScope(Path + ".cellStyles[" + std::to_string(K) + "]" + Desc);
      E->CellStyles.push_back(ReadCellStyle((*Styles)[K]));
    }
  }
  if (const TJson* F = ArrayMember(Obj, "colFields"))
    E->ColFields = ReadStringArray(*F, "colFields");
  CheckTableSize(*E);
  E->SubReportFile = ReadString(Obj, "subReportFile", "");
  E->SubReportFlow = ReadBool(Obj, "subReportFlow", false);
  E->ShowBarcodeText = ReadBool(Obj, "showBarcodeText", true);
  E->ImageScale = ReadEnum(Obj, "imageScale", "Stretch", StrToImageScale, ImageScaleToStr);
  return E;
}

// Where is the path of the array ("bands[1]" or "", the legacy document's own elements).
template <typename TJson>
void LoadElements(const TJson& Arr, TReportBand& Band, const std::string& Path) {
  Band.Elements.reserve(Arr.size());
  size_t K = 0;
  for (const auto& Item : Arr) {
    TWhereScope Scope((Path.empty() ? "" : Path + ".") + "elements[" + std::to_string(K++) + "]");
    Band.Elements.push_back(LoadElement(Item));
  }
}

template <typename TJson>
std::unique_ptr<TReportBand> LoadBand(const TJson& Obj) {
  RequireObject(Obj, "a band");
  auto Band = std::make_unique<TReportBand>();
  const std::string Path = Where();
  const std::string TypeText = ReadString(Obj, "type", "MasterData");
  Band->BandType = BandTypeFromStr(TypeText);
  const std::string_view TypeName = BandTypeNames[static_cast<size_t>(Band->BandType)];
  TWhereScope Scope(Path + " (" + std::string(TypeName) + ")");
  if (TypeText != TypeName) Note("unknown band type " + Quote(TypeText) + ", read as " + Quote(TypeName));
  NoteUnknownMembers(Obj, BandMembers);
  Band->Height = ReadFloat(Obj, "height", 60);
  Band->DataSourceName = ReadString(Obj, "dataSource", "");
  Band->GroupCondition = ReadString(Obj, "groupCondition", "");
  Band->AutoGrow = ReadBool(Obj, "autoGrow", false);
  Band->PrintOnFirstPage = ReadBool(Obj, "printOnFirstPage", true);
  Band->PrintOnOddPages = ReadBool(Obj, "printOnOddPages", true);
  Band->PrintOnEvenPages = ReadBool(Obj, "printOnEvenPages", true);
  if (const TJson* Elements = ArrayMember(Obj, "elements")) LoadElements(*Elements, *Band, Path);
  return Band;
}

template <typename TJson>
void LoadPageSettings(const TJson& P, TReportPage& Page) {
  TWhereScope Scope("page");
  NoteUnknownMembers(P, PageMembers);
  Page.PageWidth = ReadInt(P, "width", Page.PageWidth);
  Page.PageHeight = ReadInt(P, "height", Page.PageHeight);
  if (Member(P, "marginTop") != nullptr) {
    Page.MarginTop = ReadFloat(P, "marginTop", Page.MarginTop);
    Page.MarginBottom = ReadFloat(P, "marginBottom", Page.MarginBottom);
    Page.MarginLeft = ReadFloat(P, "marginLeft", Page.MarginLeft);
    Page.MarginRight = ReadFloat(P, "marginRight", Page.MarginRight);
  } else if (const TJson* M = Member(P, "margin"); M != nullptr && M->is_number()) {
    // Older files carry one margin for all four sides.
    Page.SetMargin(ClampToFloat(M->template get<double>()));
  }
  Page.StartPageNumber = ReadInt(P, "startPageNumber", Page.StartPageNumber);
  Page.ResetPageNumber = ReadBool(P, "resetPageNumber", Page.ResetPageNumber);
  Page.GridSize = ReadInt(P, "gridSize", Page.GridSize);
  Page.PrinterName = ReadString(P, "printerName", Page.PrinterName);
}

template <typename TJson>
void LoadDocument(const TJson& Root, TReportPage& Page) {
  // The layout is chosen by "version": only "1.0" is the legacy single-band layout. A document
  // that does not say which layout it uses is not read at all.
  const TJson* VersionMember = Member(Root, "version");
  if (VersionMember == nullptr) Fail("missing \"version\"");
  // Any other value selects the current layout by its JSON text ("version": null reads "null").
  const std::string Version =
      VersionMember->is_null() ? "null" : ValueText(*VersionMember, "version");

  NoteUnknownMembers(Root, RootMembers);
  if (const TJson* Pdf = Member(Root, "pdf"); Pdf != nullptr && Pdf->is_object()) {
    TWhereScope Scope("pdf");
    NoteUnknownMembers(*Pdf, PdfMembers);
    Page.PdfTitle = ReadString(*Pdf, "title", "");
    Page.PdfAuthor = ReadString(*Pdf, "author", "");
    Page.PdfSubject = ReadString(*Pdf, "subject", "");
    Page.PdfKeywords = ReadString(*Pdf, "keywords", "");
    Page.PdfCreator = ReadString(*Pdf, "creator", "");
  }

  if (const TJson* Visible = ArrayMember(Root, "visibleDataSources"))
    for (std::string& Name : ReadStringArray(*Visible, "visibleDataSources"))
      Page.VisibleDataSources.push_back(std::move(Name));

  if (const TJson* Sources = ArrayMember(Root, "dataSources")) {
    size_t K = 0;
    for (const auto& Source : *Sources) {
      RequireObject(Source, "a data source");
      TWhereScope Scope("dataSources[" + std::to_string(K++) + "]");
      NoteUnknownMembers(Source, DataSourceMembers);
      std::string Name = ReadString(Source, "name", "");
      if (Name.empty()) continue;
      std::vector<std::string> Fields;
      if (const TJson* F = ArrayMember(Source, "fields")) Fields = ReadStringArray(*F, "fields");
      if (!Page.DataSources.emplace(Name, std::move(Fields)).second)
        throw EQuilletError("Duplicate data source name \"" + Name + "\"");
    }
  }

  // Without "page" (or with a "page" that is not an object) the page keeps its settings.
  if (const TJson* P = Member(Root, "page"); P != nullptr && P->is_object())
    LoadPageSettings(*P, Page);

  if (Version != "1.0") {
    if (const TJson* Bands = ArrayMember(Root, "bands")) {
      Page.Bands.reserve(Bands->size());
      for (size_t K = 0; K < Bands->size(); ++K) {
        TWhereScope Scope("bands[" + std::to_string(K) + "]");
        Page.Bands.push_back(LoadBand((*Bands)[K]));
      }
    }
  } else {
    // Legacy reports are one data band filling the printable height.
    auto Band = std::make_unique<TReportBand>();
    Band->BandType = btMasterData;
    Band->Height = ClampToFloat(double(Page.PageHeight) - Page.MarginTop - Page.MarginBottom);
    if (const TJson* Elements = ArrayMember(Root, "elements")) LoadElements(*Elements, *Band, std::string());
    Page.Bands.push_back(std::move(Band));
  }
}

// "line 3, column 14: unexpected '}'" from the parser's message, its own prefix and the grammar
// rule it was in left out.
std::string ParseErrorDetail(const std::string& What) {
  std::string R = What;
  const size_t At = R.find("at line ");
  if (At != std::string::npos) R.erase(0, At + 3);
  const size_t Rule = R.find("syntax error while parsing ");
  if (Rule != std::string::npos) {
    const size_t Dash = R.find(" - ", Rule);
    if (Dash != std::string::npos) R.erase(Rule, Dash + 3 - Rule);
  }
  const size_t Semi = R.find("; ");
  if (Semi != std::string::npos) R.erase(Semi);
  return R;
}

// The nesting and the container sizes of JSON text, bounded before it is parsed (the parser's own
// hooks would cost far more than the parse).
void CheckJsonShape(std::string_view S) {
  const TJsonShape shape = MeasureJsonShape(S);
  if (shape.Depth > static_cast<size_t>(kMaxReportNesting))
    Fail("nested deeper than " + std::to_string(kMaxReportNesting) + " levels");
  if (shape.MostItems > static_cast<size_t>(kMaxReportArrayItems))
    Fail(std::string(shape.MostItemsInArray ? "an array" : "an object") + " of more than " +
         std::to_string(kMaxReportArrayItems) + " entries");
}

}  // namespace

// ---- TReportElement ----------------------------------------------------------------------------

void TReportElement::SaveToJSON(OJson& Obj) const {
  Obj["type"] = ElemTypeNames.at(static_cast<size_t>(ElemType) < ElemTypeNames.size()
                                     ? static_cast<size_t>(ElemType)
                                     : size_t{0});
  Obj["name"] = Name;
  Obj["left"] = FloatJson(Left);
  Obj["top"] = FloatJson(Top);
  Obj["width"] = FloatJson(Width);
  Obj["height"] = FloatJson(Height);
  Obj["text"] = Text;
  Obj["dataField"] = DataField;
  Obj["imageFile"] = ImageFile;
  Obj["wordWrap"] = WordWrap;
  Obj["fontName"] = FontName;
  Obj["fontSize"] = FloatJson(FontSize);
  Obj["fontBold"] = FontBold;
  Obj["fontItalic"] = FontItalic;
  Obj["textColor"] = AlphaColorToHex(TextColor);
  Obj["backColor"] = AlphaColorToHex(BackColor);
  Obj["borderColor"] = AlphaColorToHex(BorderColor);
  Obj["strokeColor"] = AlphaColorToHex(StrokeColor);
  Obj["fillColor"] = AlphaColorToHex(FillColor);
  Obj["horzAlign"] = HorzAlignToStr(HorzAlign);
  Obj["vertAlign"] = VertAlignToStr(VertAlign);
  Obj["borderWidth"] = FloatJson(BorderWidth);
  Obj["strokeWidth"] = FloatJson(StrokeWidth);
  Obj["cornerX"] = FloatJson(CornerX);
  Obj["cornerY"] = FloatJson(CornerY);
  Obj["checked"] = Checked;
  Obj["x2"] = FloatJson(X2);
  Obj["y2"] = FloatJson(Y2);
  if (!(BorderTop && BorderRight && BorderBottom && BorderLeft)) {
    Obj["borderTop"] = BorderTop;
    Obj["borderRight"] = BorderRight;
    Obj["borderBottom"] = BorderBottom;
    Obj["borderLeft"] = BorderLeft;
  }
  if (ElemType == retTable) {
    Obj["rows"] = Rows;
    Obj["cols"] = Cols;
    if (!CellTexts.empty()) Obj["cells"] = StringArrayJson(CellTexts);
    if (HeaderRow) {
      Obj["headerRow"] = true;
      Obj["headerFill"] = AlphaColorToHex(HeaderFill);
      Obj["headerBold"] = HeaderBold;
      Obj["headerTextColor"] = AlphaColorToHex(HeaderTextColor);
    }
    if (!ColWidths.empty()) Obj["colWidths"] = FloatArrayJson(ColWidths);
    if (!RowHeights.empty()) Obj["rowHeights"] = FloatArrayJson(RowHeights);
    bool AnyStyle = false;
    for (const TCellStyle& S : CellStyles) AnyStyle = AnyStyle || S.HasStyle;
    if (AnyStyle) {
      OJson Styles = OJson::array();
      for (const TCellStyle& S : CellStyles) Styles.push_back(CellStyleJson(S));
      Obj["cellStyles"] = std::move(Styles);
    }
    bool AnyField = false;
    for (const std::string& F : ColFields) AnyField = AnyField || !F.empty();
    if (AnyField) Obj["colFields"] = StringArrayJson(ColFields);
  }
  if (ElemType == retSubreport) {
    if (!SubReportFile.empty()) Obj["subReportFile"] = SubReportFile;
    if (SubReportFlow) Obj["subReportFlow"] = true;
  }
  if (ElemType == retBarcode && !ShowBarcodeText) Obj["showBarcodeText"] = false;
  if (ElemType == retImage && ImageScale != risStretch)
    Obj["imageScale"] = ImageScaleToStr(ImageScale);
}

std::unique_ptr<TReportElement> TReportElement::LoadFromJSON(const nlohmann::json& Obj) {
  return LoadElement(Obj);
}

std::unique_ptr<TReportElement> TReportElement::LoadFromJSON(const OJson& Obj) {
  return LoadElement(Obj);
}

// ---- TReportBand -------------------------------------------------------------------------------

void TReportBand::SaveToJSON(OJson& Obj) const {
  const size_t TypeIndex = static_cast<size_t>(BandType);
  Obj["type"] =
      BandTypeNames.at(TypeIndex < BandTypeNames.size() ? TypeIndex : size_t{btMasterData});
  Obj["height"] = FloatJson(Height);
  Obj["dataSource"] = DataSourceName;
  Obj["groupCondition"] = GroupCondition;
  if (AutoGrow) Obj["autoGrow"] = true;
  if (!PrintOnFirstPage) Obj["printOnFirstPage"] = false;
  if (!PrintOnOddPages) Obj["printOnOddPages"] = false;
  if (!PrintOnEvenPages) Obj["printOnEvenPages"] = false;
  OJson Elems = OJson::array();
  for (const auto& E : Elements) {
    OJson ElemObj = OJson::object();
    E->SaveToJSON(ElemObj);
    Elems.push_back(std::move(ElemObj));
  }
  Obj["elements"] = std::move(Elems);
}

std::unique_ptr<TReportBand> TReportBand::LoadFromJSON(const nlohmann::json& Obj) {
  return LoadBand(Obj);
}

std::unique_ptr<TReportBand> TReportBand::LoadFromJSON(const OJson& Obj) { return LoadBand(Obj); }

// ---- TReportPage -------------------------------------------------------------------------------

std::string TReportPage::SaveToString() const {
  OJson Root = OJson::object();
  Root["version"] = "2.0";

  OJson P = OJson::object();
  P["width"] = PageWidth;
  P["height"] = PageHeight;
  P["marginTop"] = FloatJson(MarginTop);
  P["marginBottom"] = FloatJson(MarginBottom);
  P["marginLeft"] = FloatJson(MarginLeft);
  P["marginRight"] = FloatJson(MarginRight);
  if (StartPageNumber != 1) P["startPageNumber"] = StartPageNumber;
  if (!ResetPageNumber) P["resetPageNumber"] = false;
  if (GridSize != 10) P["gridSize"] = GridSize;
  if (!PrinterName.empty()) P["printerName"] = PrinterName;
  Root["page"] = std::move(P);

  if (!(PdfTitle.empty() && PdfAuthor.empty() && PdfSubject.empty() && PdfKeywords.empty() &&
        PdfCreator.empty())) {
    OJson Pdf = OJson::object();
    if (!PdfTitle.empty()) Pdf["title"] = PdfTitle;
    if (!PdfAuthor.empty()) Pdf["author"] = PdfAuthor;
    if (!PdfSubject.empty()) Pdf["subject"] = PdfSubject;
    if (!PdfKeywords.empty()) Pdf["keywords"] = PdfKeywords;
    if (!PdfCreator.empty()) Pdf["creator"] = PdfCreator;
    Root["pdf"] = std::move(Pdf);
  }

  OJson BandArr = OJson::array();
  for (const auto& B : Bands) {
    OJson BandObj = OJson::object();
    B->SaveToJSON(BandObj);
    BandArr.push_back(std::move(BandObj));
  }
  Root["bands"] = std::move(BandArr);

  if (!VisibleDataSources.empty()) Root["visibleDataSources"] = StringArrayJson(VisibleDataSources);

  if (!DataSources.empty()) {
    OJson Sources = OJson::array();
    for (const auto& [Name, Fields] : DataSources) {
      OJson Source = OJson::object();
      Source["name"] = Name;
      Source["fields"] = StringArrayJson(Fields);
      Sources.push_back(std::move(Source));
    }
    Root["dataSources"] = std::move(Sources);
  }

  // Text set in code may hold invalid UTF-8; it is written with U+FFFD rather than refused.
  return Root.dump(2, ' ', false, OJson::error_handler_t::replace);
}

void TReportPage::LoadFromString(std::string_view S) {
  nlohmann::json Root;
  try {
    CheckJsonShape(S);
    Root = nlohmann::json::parse(S.begin(), S.end());
  } catch (const nlohmann::json::parse_error& E) {
    // The parser counts the bytes it read; the offset is that of the byte it stopped at.
    throw EQuilletError(InvalidReportData, std::string(), E.byte > 0 ? static_cast<int64_t>(E.byte) - 1 : 0,
                        ParseErrorDetail(E.what()));
  } catch (const nlohmann::json::exception&) {
    throw EQuilletError(InvalidReportData);
  }
  if (!Root.is_object()) throw EQuilletError(InvalidReportData, std::string(), -1, "not a JSON object");
  Clear();
  TLoadNotes Notes{&LoadWarnings, std::string()};
  TLoadNotes* Outer = tNotes;
  tNotes = &Notes;
  try {
    LoadDocument(Root, *this);
  } catch (...) {
    tNotes = Outer;
    throw;
  }
  tNotes = Outer;
}

void TReportPage::SaveToFile(const std::string& FileName) const {
  WriteFileAtomic(FileName, "\xEF\xBB\xBF" + SaveToString());
}

void TReportPage::LoadFromFile(const std::string& FileName) {
  std::error_code Ec;
  const auto Size = std::filesystem::file_size(FileName, Ec);
  if (!Ec && Size > static_cast<uintmax_t>(kMaxReportFileBytes))
    throw EQuilletError(std::string(InvalidReportData) + ": a file of " + std::to_string(Size) +
                            " bytes exceeds the limit of " + std::to_string(kMaxReportFileBytes),
                        FileName);
  const std::string Bytes = ReadWholeFile(FileName);
  const std::string_view Text = StripBom(Bytes);
  try {
    LoadFromString(Text);
  } catch (const EQuilletError& E) {
    if (!E.FileName().empty()) throw;
    const int64_t BomSize = static_cast<int64_t>(Bytes.size() - Text.size());
    throw EQuilletError(E.what(), FileName, E.Offset() >= 0 ? E.Offset() + BomSize : -1, E.Detail());
  }
}

// ---- The members the reader knows ---------------------------------------------------------------

const std::vector<TFileMembers>& ReportFileMembers() {
  static const std::vector<TFileMembers> Members = {
      {"root", {"version", "page", "pdf", "bands", "visibleDataSources", "dataSources", "elements"}},
      {"page",
       {"width", "height", "marginTop", "marginBottom", "marginLeft", "marginRight", "margin",
        "startPageNumber", "resetPageNumber", "gridSize", "printerName"}},
      {"pdf", {"title", "author", "subject", "keywords", "creator"}},
      {"dataSource", {"name", "fields"}},
      {"band",
       {"type", "height", "dataSource", "groupCondition", "autoGrow", "printOnFirstPage",
        "printOnOddPages", "printOnEvenPages", "elements"}},
      {"element",
       {"type",        "name",        "left",        "top",         "width",        "height",
        "text",        "dataField",   "imageFile",   "wordWrap",    "fontName",     "fontSize",
        "fontBold",    "fontItalic",  "textColor",   "backColor",   "borderColor",  "strokeColor",
        "fillColor",   "horzAlign",   "vertAlign",   "borderWidth", "strokeWidth",  "cornerX",
        "cornerY",     "checked",     "x2",          "y2",          "borderTop",    "borderRight",
        "borderBottom", "borderLeft", "rows",        "cols",        "cells",        "headerRow",
        "headerFill",  "headerBold",  "headerTextColor", "colWidths", "rowHeights", "cellStyles",
        "colFields",   "subReportFile", "subReportFlow", "showBarcodeText", "imageScale"}},
      {"cellStyle", {"b", "i", "tc", "fl", "ha"}},
  };
  return Members;
}

}  // namespace quillet
