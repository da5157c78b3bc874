// The in-memory report definition: a page that owns its bands, bands that own their elements,
// the enumerations with their file spellings, colour text, and the two layout helpers shared by
// table drawing and image drawing. It holds no state of a report run and no data.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace quillet {

// 32-bit ARGB, alpha in the top byte: 0xFF000000 is opaque black, alpha 0 means "no colour".
using TAlphaColor = uint32_t;

// The stored value of every enumeration is its ordinal, so the order below is part of the model.
// The kinds of element a band holds.
enum TRptElemType : int32_t {
  retLabel,
  retEdit,
  retRectangle,
  retRoundRect,
  retEllipse,
  retCircle,
  retLine,
  retCheckBox,
  retRadioButton,
  retMemo,
  retImage,
  retBarcode,
  retQRCode,
  retTable,
  retSubreport
};

// Text alignment inside an element's box.
enum TRptHorzAlign : int32_t { rhaLeft, rhaCenter, rhaRight };

enum TRptVertAlign : int32_t { rvaTop, rvaCenter, rvaBottom };

// How an image fills its box: stretched, fitted keeping its proportions, centred at its own
// size, or repeated.
enum TRptImageScale : int32_t { risStretch, risFit, risCenter, risTile };

// What a band is for, and so when the band walker prints it.
enum TBandType : int32_t {
  btTitle,
  btPageHeader,
  btMasterData,
  btDetailData,
  btSubdetailData,
  btPageFooter,
  btSummary,
  btPageBody,
  btGroupHeader,
  btGroupFooter
};

// Size limits of a table read from a file: cells of a static table, columns of a data table.
// A table's grid is allocated before anything is drawn, so its size is bounded at load.
inline constexpr int64_t kMaxTableCells = 100000;
inline constexpr int64_t kMaxDataTableColumns = 1000;
// Levels of JSON nesting in a report file: the report itself needs seven (root, bands, a band,
// elements, an element, cell styles, a style); deeper input is damage or an attack on the reader.
inline constexpr int kMaxReportNesting = 64;
// Entries of one array (or members of one object) in a report file: as many as the cells of the
// largest static table; more is no report a person made, and each entry costs memory at load.
inline constexpr size_t kMaxReportArrayItems = 100000;
// Bytes of a report file, which is read and parsed whole: a thousand times a large report.
inline constexpr int64_t kMaxReportFileBytes = int64_t{64} << 20;

// File spellings, indexed by ordinal.
inline constexpr std::array<std::string_view, 15> ElemTypeNames = {
    "Label", "Edit",  "Rectangle", "RoundRect", "Ellipse", "Circle", "Line",     "CheckBox",
    "RadioButton", "Memo", "Image", "Barcode",   "QRCode",  "Table",  "Subreport"};

inline constexpr std::array<std::string_view, 10> BandTypeNames = {
    "Title",   "PageHeader", "MasterData", "DetailData",  "SubdetailData",
    "PageFooter", "Summary", "PageBody",   "GroupHeader", "GroupFooter"};

// The members a report file may give, per kind of object. Any other member is ignored with a
// load warning.
inline constexpr std::array<std::string_view, 7> RootMembers = {
    "version", "page", "pdf", "bands", "elements", "visibleDataSources", "dataSources"};
inline constexpr std::array<std::string_view, 11> PageMembers = {
    "width",  "height",          "marginTop",       "marginBottom", "marginLeft", "marginRight",
    "margin", "startPageNumber", "resetPageNumber", "gridSize",     "printerName"};
inline constexpr std::array<std::string_view, 5> PdfMembers = {"title", "author", "subject", "keywords", "creator"};
inline constexpr std::array<std::string_view, 2> DataSourceMembers = {"name", "fields"};
inline constexpr std::array<std::string_view, 9> BandMembers = {
    "type",    "height",           "dataSource",      "groupCondition",  "autoGrow",
    "elements", "printOnFirstPage", "printOnOddPages", "printOnEvenPages"};
inline constexpr std::array<std::string_view, 47> ElementMembers = {
    "type",        "name",          "left",         "top",         "width",           "height",
    "text",        "dataField",     "imageFile",    "imageScale",  "wordWrap",        "fontName",
    "fontSize",    "fontBold",      "fontItalic",   "textColor",   "backColor",       "borderColor",
    "strokeColor", "fillColor",     "horzAlign",    "vertAlign",   "borderWidth",     "strokeWidth",
    "cornerX",     "cornerY",       "checked",      "x2",          "y2",              "borderTop",
    "borderRight", "borderBottom",  "borderLeft",   "rows",        "cols",            "cells",
    "headerRow",   "headerFill",    "headerBold",   "headerTextColor", "colWidths",   "rowHeights",
    "cellStyles",  "colFields",     "subReportFile", "subReportFlow", "showBarcodeText"};
inline constexpr std::array<std::string_view, 5> CellStyleMembers = {"b", "i", "tc", "fl", "ha"};
// Captions for user interfaces, indexed by ordinal.
inline constexpr std::array<std::string_view, 10> BandTypeLabels = {
    "Title",       "Page Header", "Master Data", "Detail Data",  "Sub-detail Data",
    "Page Footer", "Summary",     "Page Body",   "Group Header", "Group Footer"};

// Conversions between enumerations and their spellings. Case-sensitive; an unknown spelling or
// an out-of-range value never fails but gives the fixed fall-back.
TRptElemType ElemTypeFromStr(std::string_view S);      // fall-back retLabel
TBandType BandTypeFromStr(std::string_view S);         // fall-back btMasterData
std::string HorzAlignToStr(TRptHorzAlign A);           // fall-back "Left"
TRptHorzAlign StrToHorzAlign(std::string_view S);      // fall-back rhaLeft
std::string VertAlignToStr(TRptVertAlign A);           // fall-back "Top"
TRptVertAlign StrToVertAlign(std::string_view S);      // fall-back rvaTop (not rvaCenter)
std::string ImageScaleToStr(TRptImageScale S);         // fall-back "Stretch"
TRptImageScale StrToImageScale(std::string_view S);    // fall-back risStretch
// "BoldItalic", "Bold", "Italic" or "Normal".
std::string BuildFontStyle(bool Bold, bool Italic);

// "#AARRGGBB" in upper case.
std::string AlphaColorToHex(TAlphaColor Color);
// Reads "#AARRGGBB" or "#RRGGBB" (made opaque); the "#" is optional. Any other length is read as
// a plain hexadecimal number and its low 32 bits are kept ("#ABC" is 0x00000ABC). Text that is
// empty, holds a non-hexadecimal character or overflows 64 bits gives 0.
TAlphaColor HexToAlphaColor(std::string_view S);

// Per-cell style override of a table. The default value (all zero) means "use the table's look".
struct TCellStyle {
  bool HasStyle = false;
  bool Bold = false;
  bool Italic = false;
  TAlphaColor TextColor = 0;
  TAlphaColor Fill = 0;
  TRptHorzAlign HAlign = rhaLeft;

  bool operator==(const TCellStyle&) const = default;
};

// A float rectangle given by its edges, y growing downwards.
struct TRectF {
  float Left = 0;
  float Top = 0;
  float Right = 0;
  float Bottom = 0;

  float Width() const { return Right - Left; }
  float Height() const { return Bottom - Top; }
  bool operator==(const TRectF&) const = default;
};

// Splits Total into Count track sizes (table columns or rows). When Weights has exactly Count
// entries and the positive ones sum to more than 0, each positive weight gets its share of Total
// and every weight <= 0 hides its track (size 0); otherwise all tracks are equal. Count < 1 gives
// an empty result.
void ComputeTrackSizes(int32_t Count, std::span<const float> Weights, float Total,
                       std::vector<float>& Sizes);

// Places an ImageWidth x ImageHeight pixel image into Box. DstRect is where it is drawn (always
// inside Box), SrcRect the part of the image shown there, in pixels. Both are the empty rectangle
// when the image or the box has no area, or when nothing of the image falls inside the box.
void ComputeImagePlacement(const TRectF& Box, int32_t ImageWidth, int32_t ImageHeight,
                           TRptImageScale Scale, TRectF& SrcRect, TRectF& DstRect);

// One thing drawn in a band: a label, a shape, an image, a barcode, a table, a subreport ...
// Every kind uses the members that apply to it and ignores the rest. Positions and sizes are in
// points, relative to the band's top left corner (inside the page margins).
class TReportElement {
 public:
  TRptElemType ElemType = retLabel;
  std::string Name;  // unique within a report by convention; the designer shows it
  float Left = 10;
  float Top = 10;
  float Width = 150;
  float Height = 25;
  // What a label, edit or memo shows: literal text with [expression] parts (fields, variables,
  // aggregates such as [SUM(Amount)]); the data text of a barcode or QR code.
  std::string Text;
  // A field shown as it is ("Amount" of the current data set, or "Orders.Amount"); takes the
  // place of Text when set.
  std::string DataField;
  std::string ImageFile;  // image elements: PNG or JPEG file
  TRptImageScale ImageScale = risStretch;
  bool WordWrap = false;  // wrap text at the box width (an AutoGrow band grows to fit it)
  std::string FontName = "Segoe UI";  // family name, found in the font folders or through fontconfig
  float FontSize = 10;                // points
  bool FontBold = false;
  bool FontItalic = false;
  TAlphaColor TextColor = 0xFF000000;
  TAlphaColor BackColor = 0x00000000;    // fill behind text (alpha 0: none)
  TAlphaColor BorderColor = 0xFF000000;  // frame of edits (on the Border* sides), check boxes, radio buttons
  TAlphaColor StrokeColor = 0xFF000000;  // outline of shapes and lines
  TAlphaColor FillColor = 0x00000000;    // inside of shapes
  TRptHorzAlign HorzAlign = rhaLeft;
  TRptVertAlign VertAlign = rvaCenter;
  float BorderWidth = 1;
  float StrokeWidth = 1;
  float CornerX = 5;  // corner radii of a rounded rectangle
  float CornerY = 5;
  bool Checked = false;  // check boxes and radio buttons
  // A line runs from (Left, Top) to (X2, Y2). A fresh line runs horizontally along the top of
  // the default box.
  float X2 = 10 + 150;
  float Y2 = 10;
  bool BorderTop = true;
  bool BorderRight = true;
  bool BorderBottom = true;
  bool BorderLeft = true;
  // Tables: a Rows x Cols grid of cells whose texts are [expression] templates.
  int32_t Rows = 3;
  int32_t Cols = 3;
  std::vector<std::string> CellTexts;  // flat, row by row
  bool HeaderRow = false;
  TAlphaColor HeaderFill = 0xFFE0E0E0;
  bool HeaderBold = true;
  TAlphaColor HeaderTextColor = 0xFF000000;
  std::vector<float> ColWidths;   // weights for ComputeTrackSizes
  std::vector<float> RowHeights;  // weights for ComputeTrackSizes
  std::vector<TCellStyle> CellStyles;  // parallel to CellTexts
  std::vector<std::string> ColFields;  // data-field binding per column of a data table
  std::string SubReportFile;   // subreports: a .qdr file, relative to the report's folder
  bool SubReportFlow = false;  // run the subreport's bands in the page flow instead of inside the box
  bool ShowBarcodeText = true;  // print the human-readable text under a barcode

  bool operator==(const TReportElement&) const = default;

  // A deep copy placed 10 units right of and below this element (a line's end point moves
  // along), named Name + "_copy".
  std::unique_ptr<TReportElement> Clone() const;

  // Adds this element's members to Obj, leaving out the ones a reader would default anyway.
  void SaveToJSON(nlohmann::ordered_json& Obj) const;
  // Builds an element from an element object. Wrongly typed members fall back to defaults;
  // a value that is not an object, or an array member that is not an array, raises EQuilletError.
  static std::unique_ptr<TReportElement> LoadFromJSON(const nlohmann::json& Obj);
  static std::unique_ptr<TReportElement> LoadFromJSON(const nlohmann::ordered_json& Obj);
};

// A horizontal strip of the page holding elements. The band walker prints each band where its
// type says: the title once at the start, page headers and footers on every page, a master band
// once per record of its data set, group headers and footers where the group value changes, the
// summary once at the end.
class TReportBand {
 public:
  TReportBand() = default;
  TReportBand(const TReportBand&) = delete;
  TReportBand& operator=(const TReportBand&) = delete;
  TReportBand(TReportBand&&) = default;
  TReportBand& operator=(TReportBand&&) = default;

  std::vector<std::unique_ptr<TReportElement>> Elements;  // in definition order, owned
  TBandType BandType = btMasterData;
  float Height = 60;  // points
  // Grows to fit the word-wrapped labels and edits it holds (never shrinks below Height).
  bool AutoGrow = false;
  // Data bands: the name of the data set to walk (TReportEngine::SetDataSource); "" is the
  // engine's main data set.
  std::string DataSourceName;
  // Group headers: a field name or an expression; a new group starts where its value changes.
  std::string GroupCondition;
  // Page headers and footers can be left out of the first, odd or even pages.
  bool PrintOnFirstPage = true;
  bool PrintOnOddPages = true;
  bool PrintOnEvenPages = true;

  // Reading and writing the band's object in a report file, as TReportElement does.

  void SaveToJSON(nlohmann::ordered_json& Obj) const;
  static std::unique_ptr<TReportBand> LoadFromJSON(const nlohmann::json& Obj);
  static std::unique_ptr<TReportBand> LoadFromJSON(const nlohmann::ordered_json& Obj);
};

// A whole report definition: page geometry, the bands in order and the document information.
// Build one in code, or load a .qdr file with LoadFromFile; TReportEngine::ExportPDF runs it.
class TReportPage {
 public:
  TReportPage() = default;
  TReportPage(const TReportPage&) = delete;
  TReportPage& operator=(const TReportPage&) = delete;
  TReportPage(TReportPage&&) = default;
  TReportPage& operator=(TReportPage&&) = default;

  std::vector<std::unique_ptr<TReportBand>> Bands;  // in definition order, owned
  std::vector<std::string> VisibleDataSources;      // offered to the designer
  // Data-source schema: name -> field names. Sorted by name so a report always saves the same.
  std::map<std::string, std::vector<std::string>> DataSources;
  int32_t PageWidth = 595;  // points; the default is A4 portrait
  int32_t PageHeight = 842;
  float MarginTop = 20;
  float MarginBottom = 20;
  float MarginLeft = 20;
  float MarginRight = 20;
  int32_t StartPageNumber = 1;  // number of the first page ([PageNo])
  // Whether numbering restarts when this report follows another in one output.
  bool ResetPageNumber = true;
  int32_t GridSize = 10;    // the designer's snap grid
  std::string PrinterName;  // printer to use when printing; "" is the default printer
  // What the last load fell back on, one line each: unknown type spellings and members, members
  // of the wrong JSON type, colour texts that cannot be meant. Each line starts with where it is
  // in the file ("bands[1].elements[4] (Label \"total\"): ...", "page: ..."); no file name.
  std::vector<std::string> LoadWarnings;
  // PDF document information; the engine's own Pdf* settings take precedence when set.
  std::string PdfTitle;
  std::string PdfAuthor;
  std::string PdfSubject;
  std::string PdfKeywords;
  std::string PdfCreator;

  // Empties bands, data sources and document information. Page geometry, numbering, grid and
  // printer stay: a reload keeps what the file does not mention.
  void Clear();

  // One value for all four margins: reads the top margin, sets all four.
  float GetMargin() const { return MarginTop; }
  void SetMargin(float Value);

  // The report file text: JSON indented by 2, without byte-order mark.
  std::string SaveToString() const;
  // Replaces the content of the page with the report in S. Text that is not a JSON object raises
  // EQuilletError("Invalid report data") and leaves the page untouched; a later failure raises
  // EQuilletError and may leave the page partly loaded.
  void LoadFromString(std::string_view S);
  // UTF-8 with a byte-order mark, written atomically.
  void SaveToFile(const std::string& FileName) const;
  // Reads a file written by SaveToFile (the byte-order mark is optional). Errors carry FileName.
  void LoadFromFile(const std::string& FileName);
};

// The members a report file may hold, for each kind of JSON object in it: "root" (the document),
// "page", "pdf", "dataSource" (an entry of "dataSources"), "band", "element" and "cellStyle" (an
// entry of an element's "cellStyles"). The reader knows these and ignores any other member.
struct TFileMembers {
  std::string_view Object;
  std::vector<std::string_view> Members;
};
const std::vector<TFileMembers>& ReportFileMembers();

}  // namespace quillet
