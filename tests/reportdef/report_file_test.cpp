#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/error.h"
#include "base/file_io.h"
#include "reportdef/report_model.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

using nlohmann::ordered_json;

// An element of type T with every member away from its default; members a writer leaves out
// for T are set only when Foreign is true.
TReportElement FullElement(TRptElemType T, int N, bool Foreign = false) {
  TReportElement E;
  E.ElemType = T;
  E.Name = "E" + std::to_string(N) + " \xC3\xA7\xC3\xB6";
  E.Left = 10.1f + N;
  E.Top = 0.3f;
  E.Width = 123.456f;
  E.Height = 1e-7f;
  E.Text = "Total: [SUM(Amount)] \"quoted\"\n\ttab";
  E.DataField = "Orders.Amount";
  E.ImageFile = "img\\logo.png";
  E.WordWrap = true;
  E.FontName = "DejaVu Sans";
  E.FontSize = 8.5f;
  E.FontBold = true;
  E.FontItalic = true;
  E.TextColor = 0xFF112233;
  E.BackColor = 0x80FFFFFF;
  E.BorderColor = 0xFF00FF00;
  E.StrokeColor = 0x7F0000FF;
  E.FillColor = 0x01020304;
  E.HorzAlign = rhaRight;
  E.VertAlign = rvaBottom;
  E.BorderWidth = 0.5f;
  E.StrokeWidth = 2.25f;
  E.CornerX = 3;
  E.CornerY = 4;
  E.Checked = true;
  E.X2 = -5.75f;
  E.Y2 = 1e20f;
  E.BorderTop = false;
  E.BorderBottom = false;
  const bool Table = T == retTable || Foreign;
  if (Table) {
    E.Rows = 2;
    E.Cols = 4;
    E.CellTexts = {"a", "", "\xE2\x82\xAC", "d", "e", "f", "g", "h"};
    E.HeaderRow = true;
    E.HeaderFill = 0xFF0000AA;
    E.HeaderBold = false;
    E.HeaderTextColor = 0xFFFFFFFF;
    E.ColWidths = {1.5f, 0, -1, 0.1f};
    E.RowHeights = {2, 3.25f};
    // Unstyled cells are written as null and read back as this empty style.
    TCellStyle Plain;
    Plain.TextColor = 0xFF000000;
    E.CellStyles = {TCellStyle{true, true, false, 0xFF112233, 0x80FFFFFF, rhaCenter}, Plain,
                    TCellStyle{true, false, true, 0, 0, rhaRight}};
    E.ColFields = {"", "Name", "", "Price"};
  }
  if (T == retSubreport || Foreign) {
    E.SubReportFile = "sub.qdr";
    E.SubReportFlow = true;
  }
  if (T == retBarcode || Foreign) E.ShowBarcodeText = false;
  if (T == retImage || Foreign) E.ImageScale = risTile;
  return E;
}

TReportPage FullPage() {
  TReportPage Page;
  Page.PageWidth = 842;
  Page.PageHeight = 595;
  Page.MarginTop = 11.5f;
  Page.MarginBottom = 12;
  Page.MarginLeft = 13.25f;
  Page.MarginRight = 0;
  Page.StartPageNumber = 7;
  Page.ResetPageNumber = false;
  Page.GridSize = 5;
  Page.PrinterName = "Office Printer";
  Page.PdfTitle = "Title";
  Page.PdfAuthor = "Author";
  Page.PdfSubject = "Subject";
  Page.PdfKeywords = "k1, k2";
  Page.PdfCreator = "Creator";
  Page.VisibleDataSources = {"Orders", "Customers"};
  Page.DataSources["Orders"] = {"Id", "Amount"};
  Page.DataSources["Customers"] = {"Id", "Name", "City"};
  Page.DataSources["Empty"] = {};
  int N = 0;
  for (size_t b = 0; b < BandTypeNames.size(); ++b) {
    auto Band = std::make_unique<TReportBand>();
    Band->BandType = static_cast<TBandType>(b);
    Band->Height = 40.5f + b;
    Band->AutoGrow = true;
    Band->DataSourceName = "Orders";
    Band->GroupCondition = "[Orders.Id]";
    Band->PrintOnFirstPage = b % 2 == 0;
    Band->PrintOnOddPages = false;
    Band->PrintOnEvenPages = b % 3 == 0;
    Page.Bands.push_back(std::move(Band));
  }
  for (size_t t = 0; t < ElemTypeNames.size(); ++t)
    Page.Bands[t % Page.Bands.size()]->Elements.push_back(
        std::make_unique<TReportElement>(FullElement(static_cast<TRptElemType>(t), N++)));
  Page.Bands.push_back(std::make_unique<TReportBand>());  // a band with nothing on it
  return Page;
}

ordered_json SavedElement(const TReportElement& E) {
  ordered_json Obj = ordered_json::object();
  E.SaveToJSON(Obj);
  return Obj;
}

TReportElement LoadedElement(const char* Json) {
  return *TReportElement::LoadFromJSON(nlohmann::json::parse(Json));
}

std::string ErrorOf(const std::function<void()>& F) {
  try {
    F();
  } catch (const EQuilletError& E) {
    return E.what();
  }
  return "(no error)";
}

TEST(ReportFile, SaveLoadSaveIsByteIdenticalAndKeepsTheModel) {
  const TReportPage Page = FullPage();
  const std::string First = Page.SaveToString();
  TReportPage Loaded;
  Loaded.LoadFromString(First);
  EXPECT_EQ(Loaded.SaveToString(), First);

  ASSERT_EQ(Loaded.Bands.size(), Page.Bands.size());
  for (size_t b = 0; b < Page.Bands.size(); ++b) {
    const TReportBand& A = *Page.Bands[b];
    const TReportBand& B = *Loaded.Bands[b];
    EXPECT_EQ(B.BandType, A.BandType);
    EXPECT_EQ(B.Height, A.Height);
    EXPECT_EQ(B.AutoGrow, A.AutoGrow);
    EXPECT_EQ(B.DataSourceName, A.DataSourceName);
    EXPECT_EQ(B.GroupCondition, A.GroupCondition);
    EXPECT_EQ(B.PrintOnFirstPage, A.PrintOnFirstPage);
    EXPECT_EQ(B.PrintOnOddPages, A.PrintOnOddPages);
    EXPECT_EQ(B.PrintOnEvenPages, A.PrintOnEvenPages);
    ASSERT_EQ(B.Elements.size(), A.Elements.size());
    for (size_t e = 0; e < A.Elements.size(); ++e)
      EXPECT_EQ(*B.Elements[e], *A.Elements[e]) << ElemTypeNames[A.Elements[e]->ElemType];
  }
  EXPECT_EQ(Loaded.VisibleDataSources, Page.VisibleDataSources);
  EXPECT_EQ(Loaded.DataSources, Page.DataSources);
  EXPECT_EQ(Loaded.PageWidth, 842);
  EXPECT_EQ(Loaded.PageHeight, 595);
  EXPECT_EQ(Loaded.MarginTop, 11.5f);
  EXPECT_EQ(Loaded.MarginLeft, 13.25f);
  EXPECT_EQ(Loaded.MarginRight, 0);
  EXPECT_EQ(Loaded.StartPageNumber, 7);
  EXPECT_FALSE(Loaded.ResetPageNumber);
  EXPECT_EQ(Loaded.GridSize, 5);
  EXPECT_EQ(Loaded.PrinterName, "Office Printer");
  EXPECT_EQ(Loaded.PdfKeywords, "k1, k2");
  EXPECT_EQ(Loaded.PdfCreator, "Creator");
  // The schema is written sorted by name, whatever order it was filled in.
  EXPECT_LT(First.find("\"Customers\""), First.find("\"Empty\""));
}

// The member lists that tools and the manual read are the members the writer writes, plus the two
// that only the reader knows: the older layout's "elements" and the single "margin".
TEST(ReportFile, MemberListsAreTheMembersOfTheFile) {
  const ordered_json Doc = ordered_json::parse(FullPage().SaveToString());
  std::map<std::string, std::set<std::string>> Written;
  const auto Add = [&Written](const std::string& Object, const ordered_json& Obj) {
    for (const auto& Item : Obj.items()) Written[Object].insert(Item.key());
  };
  Add("root", Doc);
  Add("page", Doc["page"]);
  Add("pdf", Doc["pdf"]);
  for (const auto& Source : Doc["dataSources"]) Add("dataSource", Source);
  for (const auto& Band : Doc["bands"]) {
    Add("band", Band);
    for (const auto& Element : Band["elements"]) {
      Add("element", Element);
      if (Element.contains("cellStyles"))
        for (const auto& Style : Element["cellStyles"])
          if (Style.is_object()) Add("cellStyle", Style);
    }
  }
  Written["root"].insert("elements");
  Written["page"].insert("margin");

  std::map<std::string, std::set<std::string>> Listed;
  for (const TFileMembers& M : ReportFileMembers())
    for (std::string_view Name : M.Members)
      EXPECT_TRUE(Listed[std::string(M.Object)].insert(std::string(Name)).second) << M.Object << "." << Name;
  EXPECT_EQ(Listed, Written);
}

TEST(ReportFile, DefaultReportText) {
  TReportPage Page;
  EXPECT_EQ(Page.SaveToString(), R"({
  "version": "2.0",
  "page": {
    "width": 595,
    "height": 842,
    "marginTop": 20,
    "marginBottom": 20,
    "marginLeft": 20,
    "marginRight": 20
  },
  "bands": []
})");

  Page.Bands.push_back(std::make_unique<TReportBand>());
  Page.Bands[0]->Elements.push_back(std::make_unique<TReportElement>());
  const std::string Text = Page.SaveToString();
  const std::string Band = R"(
  "bands": [
    {
      "type": "MasterData",
      "height": 60,
      "dataSource": "",
      "groupCondition": "",
      "elements": [
        {
          "type": "Label",
          "name": "",
          "left": 10,
          "top": 10,
          "width": 150,
          "height": 25,
          "text": "",
          "dataField": "",
          "imageFile": "",
          "wordWrap": false,
          "fontName": "Segoe UI",
          "fontSize": 10,
          "fontBold": false,
          "fontItalic": false,
          "textColor": "#FF000000",
          "backColor": "#00000000",
          "borderColor": "#FF000000",
          "strokeColor": "#FF000000",
          "fillColor": "#00000000",
          "horzAlign": "Left",
          "vertAlign": "Center",
          "borderWidth": 1,
          "strokeWidth": 1,
          "cornerX": 5,
          "cornerY": 5,
          "checked": false,
          "x2": 160,
          "y2": 10
        }
      ]
    }
  ]
})";
  ASSERT_GE(Text.size(), Band.size());
  EXPECT_EQ(Text.substr(Text.size() - Band.size()), Band);
}

TEST(ReportFile, WriterLeavesOutDefaultsAndForeignMembers) {
  const std::vector<std::string> TableKeys = {"rows", "cols", "cells", "headerRow", "headerFill",
                                              "headerBold", "headerTextColor", "colWidths",
                                              "rowHeights", "cellStyles", "colFields"};
  const std::vector<std::string> Borders = {"borderTop", "borderRight", "borderBottom", "borderLeft"};
  const std::vector<std::string> Others = {"subReportFile", "subReportFlow", "showBarcodeText",
                                           "imageScale"};
  auto Concat = [](std::vector<std::vector<std::string>> Lists) {
    std::vector<std::string> R;
    for (auto& L : Lists) R.insert(R.end(), L.begin(), L.end());
    return R;
  };
  struct Case {
    const char* What;
    std::function<void(TReportElement&)> Setup;
    std::vector<std::string> Present, Absent;
  };
  const Case Cases[] = {
      {"default label", [](TReportElement&) {}, {"vertAlign", "x2"}, Concat({TableKeys, Borders, Others})},
      {"foreign members on a label",
       [](TReportElement& E) { E = FullElement(retLabel, 0, /*Foreign=*/true); },
       {"borderTop", "borderRight", "borderBottom", "borderLeft"}, Concat({TableKeys, Others})},
      {"one side off writes all four", [](TReportElement& E) { E.BorderLeft = false; }, Borders, {}},
      {"plain table", [](TReportElement& E) { E.ElemType = retTable; }, {"rows", "cols"},
       {"cells", "headerRow", "headerFill", "headerBold", "headerTextColor", "colWidths", "rowHeights",
        "cellStyles", "colFields"}},
      {"table with unstyled cells and empty column fields",
       [](TReportElement& E) {
         E.ElemType = retTable;
         E.CellTexts = {"a"};
         E.CellStyles = {TCellStyle{}, TCellStyle{false, true, true, 1, 2, rhaRight}};
         E.ColFields = {"", ""};
       },
       {"cells"}, {"cellStyles", "colFields", "headerRow"}},
      {"table header row",
       [](TReportElement& E) {
         E.ElemType = retTable;
         E.HeaderRow = true;
       },
       {"headerRow", "headerFill", "headerBold", "headerTextColor"}, {}},
      {"full subreport", [](TReportElement& E) { E = FullElement(retSubreport, 0, true); },
       {"subReportFile", "subReportFlow"}, {"rows", "showBarcodeText", "imageScale"}},
      {"default subreport", [](TReportElement& E) { E.ElemType = retSubreport; }, {},
       {"subReportFile", "subReportFlow"}},
      {"full barcode", [](TReportElement& E) { E = FullElement(retBarcode, 0, true); },
       {"showBarcodeText"}, {"rows", "subReportFile", "imageScale"}},
      {"default image", [](TReportElement& E) { E.ElemType = retImage; }, {}, {"imageScale"}},
      {"full image", [](TReportElement& E) { E = FullElement(retImage, 0, true); }, {"imageScale"},
       {"rows", "subReportFile", "showBarcodeText"}},
  };
  for (const Case& C : Cases) {
    TReportElement E;
    C.Setup(E);
    const ordered_json Obj = SavedElement(E);
    for (const std::string& K : C.Present) EXPECT_TRUE(Obj.contains(K)) << C.What << ": " << K;
    for (const std::string& K : C.Absent) EXPECT_FALSE(Obj.contains(K)) << C.What << ": " << K;
  }

  // One styled cell writes the whole array, null for the others, in the style member order.
  TReportElement T;
  T.ElemType = retTable;
  T.CellStyles = {TCellStyle{}, TCellStyle{true, true, false, 0xFF0000FF, 0, rhaCenter}, TCellStyle{}};
  EXPECT_EQ(SavedElement(T)["cellStyles"].dump(),
            R"([null,{"b":true,"i":false,"tc":"#FF0000FF","fl":"#00000000","ha":"Center"},null])");

  TReportBand Band;
  ordered_json BandObj = ordered_json::object();
  Band.SaveToJSON(BandObj);
  EXPECT_EQ(BandObj.dump(), R"({"type":"MasterData","height":60,"dataSource":"","groupCondition":"","elements":[]})");
  Band.AutoGrow = true;
  Band.PrintOnEvenPages = false;
  BandObj = ordered_json::object();
  Band.SaveToJSON(BandObj);
  EXPECT_EQ(BandObj["autoGrow"], true);
  EXPECT_EQ(BandObj["printOnEvenPages"], false);
  EXPECT_FALSE(BandObj.contains("printOnFirstPage"));

  TReportPage Page;
  Page.PdfAuthor = "A";
  const ordered_json Root = ordered_json::parse(Page.SaveToString());
  EXPECT_EQ(Root["pdf"].dump(), R"({"author":"A"})");
  EXPECT_FALSE(Root["page"].contains("startPageNumber"));
  EXPECT_FALSE(Root["page"].contains("resetPageNumber"));
  EXPECT_FALSE(Root["page"].contains("gridSize"));
  EXPECT_FALSE(Root["page"].contains("printerName"));
  EXPECT_FALSE(Root.contains("visibleDataSources"));
  EXPECT_FALSE(Root.contains("dataSources"));
}

TEST(ReportFile, FloatsAreWrittenInShortestForm) {
  struct Case {
    float Value;
    const char* Text;
  };
  const Case Cases[] = {
      {10.1f, "10.1"},      {10.0f, "10"},        {0.1f, "0.1"},          {-2.5f, "-2.5"},
      {1e-7f, "1e-07"},     {1e20f, "1e+20"},     {16777216.0f, "16777216"}, {123.456f, "123.456"},
      {-0.0f, "0"},         {3e9f, "3000000000"}, {FLT_MAX, "3.4028235e+38"},
      {std::numeric_limits<float>::quiet_NaN(), "0"}, {std::numeric_limits<float>::infinity(), "0"},
  };
  for (const Case& C : Cases) {
    TReportElement E;
    E.ElemType = retTable;
    E.Left = C.Value;
    E.ColWidths = {C.Value};
    const ordered_json Obj = SavedElement(E);
    EXPECT_EQ(Obj["left"].dump(), C.Text);
    EXPECT_EQ(Obj["colWidths"].dump(), std::string("[") + C.Text + "]");
  }

  // Seeded random finite floats over the whole range come back bit for bit.
  std::mt19937 Rng(20240613);
  TReportElement E;
  E.ElemType = retTable;
  while (E.ColWidths.size() < 20000) {
    const uint32_t Bits = Rng();
    float F;
    std::memcpy(&F, &Bits, sizeof F);
    if (std::isfinite(F) && F != 0) E.ColWidths.push_back(F);
  }
  for (int i = 0; i < 2000; ++i) E.ColWidths.push_back(static_cast<float>(Rng() % 100000) / 100);
  const ordered_json Obj = SavedElement(E);
  const TReportElement Back = *TReportElement::LoadFromJSON(nlohmann::json::parse(Obj.dump()));
  ASSERT_EQ(Back.ColWidths.size(), E.ColWidths.size());
  for (size_t i = 0; i < E.ColWidths.size(); ++i)
    ASSERT_EQ(std::memcmp(&Back.ColWidths[i], &E.ColWidths[i], sizeof(float)), 0)
        << E.ColWidths[i] << " read back as " << Back.ColWidths[i];
}

TEST(ReportFile, TolerantElementReading) {
  struct Case {
    const char* Json;
    std::function<void(const TReportElement&)> Check;
  };
  const Case Cases[] = {
      {R"({"type":"Frame"})", [](auto& E) { EXPECT_EQ(E.ElemType, retLabel); }},
      {R"({"type":"table"})", [](auto& E) { EXPECT_EQ(E.ElemType, retLabel); }},
      {R"({"type":"Table"})",
       [](auto& E) {
         EXPECT_EQ(E.ElemType, retTable);
         EXPECT_EQ(E.Rows, 3);
         EXPECT_EQ(E.Cols, 3);
         EXPECT_TRUE(E.CellTexts.empty() && E.CellStyles.empty() && E.ColWidths.empty() &&
                     E.RowHeights.empty() && E.ColFields.empty());
       }},
      {R"({})",
       [](auto& E) {
         TReportElement Fresh;
         Fresh.VertAlign = rvaTop;  // a file element without "vertAlign" is top-aligned
         EXPECT_EQ(E, Fresh);
       }},
      {R"({"fontName":"","textColor":"","name":null})",
       [](auto& E) {
         EXPECT_EQ(E.FontName, "Segoe UI");
         EXPECT_EQ(E.TextColor, 0xFF000000u);
         EXPECT_EQ(E.Name, "");
       }},
      {R"({"text":12,"name":true,"dataField":1.5,"imageFile":[1,"a"],"fontName":{"x":null}})",
       [](auto& E) {
         EXPECT_EQ(E.Text, "12");
         EXPECT_EQ(E.Name, "true");
         EXPECT_EQ(E.DataField, "1.5");
         EXPECT_EQ(E.ImageFile, R"([1,"a"])");
         EXPECT_EQ(E.FontName, R"({"x":null})");
       }},
      {R"({"left":"12","top":null,"width":true,"fontSize":[3]})",
       [](auto& E) {
         EXPECT_EQ(E.Left, 10);
         EXPECT_EQ(E.Top, 10);
         EXPECT_EQ(E.Width, 150);
         EXPECT_EQ(E.FontSize, 10);
       }},
      {R"({"left":12.5,"height":-3,"cornerX":1e300,"cornerY":-1e300,"strokeWidth":18446744073709551615})",
       [](auto& E) {
         EXPECT_EQ(E.Left, 12.5f);
         EXPECT_EQ(E.Height, -3);
         EXPECT_EQ(E.CornerX, FLT_MAX);
         EXPECT_EQ(E.CornerY, -FLT_MAX);
         EXPECT_EQ(E.StrokeWidth, 18446744073709551615.0f);
       }},
      {R"({"wordWrap":1,"borderTop":"false","checked":"true","headerBold":null,"showBarcodeText":0})",
       [](auto& E) {
         EXPECT_FALSE(E.WordWrap);
         EXPECT_TRUE(E.BorderTop);
         EXPECT_FALSE(E.Checked);
         EXPECT_TRUE(E.HeaderBold);
         EXPECT_TRUE(E.ShowBarcodeText);
       }},
      {R"({"vertAlign":"Middle","horzAlign":"right","imageScale":"Fit"})",
       [](auto& E) {
         EXPECT_EQ(E.VertAlign, rvaTop);
         EXPECT_EQ(E.HorzAlign, rhaLeft);
         EXPECT_EQ(E.ImageScale, risFit);  // read whatever the element type
       }},
      {R"({"left":20,"width":30.5,"top":7})",
       [](auto& E) {
         EXPECT_EQ(E.X2, 50.5f);
         EXPECT_EQ(E.Y2, 7);
       }},
      {R"({"left":20,"x2":5,"y2":-1})",
       [](auto& E) {
         EXPECT_EQ(E.X2, 5);
         EXPECT_EQ(E.Y2, -1);
       }},
      {R"({"textColor":"#336699","backColor":"#ABC","fillColor":"nope","borderColor":255,"headerFill":"#80FF0000"})",
       [](auto& E) {
         EXPECT_EQ(E.TextColor, 0xFF336699u);
         EXPECT_EQ(E.BackColor, 0x00000ABCu);
         EXPECT_EQ(E.FillColor, 0u);
         EXPECT_EQ(E.BorderColor, 0x255u);  // the number's text read as hexadecimal
         EXPECT_EQ(E.HeaderFill, 0x80FF0000u);
       }},
      {R"({"rows":2.5,"cols":2.4})",
       [](auto& E) {
         EXPECT_EQ(E.Rows, 3);
         EXPECT_EQ(E.Cols, 2);
       }},
      {R"({"rows":-1.5,"cols":"4"})",
       [](auto& E) {
         EXPECT_EQ(E.Rows, -2);
         EXPECT_EQ(E.Cols, 3);
       }},
      {R"({"rows":1e12,"cols":-99999999999})",
       [](auto& E) {
         EXPECT_EQ(E.Rows, std::numeric_limits<int32_t>::max());
         EXPECT_EQ(E.Cols, std::numeric_limits<int32_t>::min());
       }},
      {R"({"rows":1,"cells":["a",1,null,true,""],"colFields":[null,"F"],"colWidths":[1,"2",null,2.5],"rowHeights":[]})",
       [](auto& E) {
         // Array lengths come from the arrays, not from rows and cols.
         EXPECT_EQ(E.CellTexts, (std::vector<std::string>{"a", "1", "", "true", ""}));
         EXPECT_EQ(E.ColFields, (std::vector<std::string>{"", "F"}));
         EXPECT_EQ(E.ColWidths, (std::vector<float>{1, 0, 0, 2.5f}));
         EXPECT_TRUE(E.RowHeights.empty());
       }},
      {R"({"cellStyles":[null,5,"x",{},{"b":true,"i":1,"tc":"#FF0000FF","fl":"#336699","ha":"Right"}]})",
       [](auto& E) {
         ASSERT_EQ(E.CellStyles.size(), 5u);
         const TCellStyle Empty{false, false, false, 0xFF000000, 0, rhaLeft};
         EXPECT_EQ(E.CellStyles[0], Empty);
         EXPECT_EQ(E.CellStyles[1], Empty);
         EXPECT_EQ(E.CellStyles[2], Empty);
         EXPECT_EQ(E.CellStyles[3], (TCellStyle{true, false, false, 0xFF000000, 0, rhaLeft}));
         EXPECT_EQ(E.CellStyles[4], (TCellStyle{true, true, false, 0xFF0000FF, 0xFF336699, rhaRight}));
       }},
      {R"({"type":"Label","subReportFile":"s.qdr","subReportFlow":true,"headerRow":true,"unknown":{"deep":[1]}})",
       [](auto& E) {
         EXPECT_EQ(E.SubReportFile, "s.qdr");
         EXPECT_TRUE(E.SubReportFlow);
         EXPECT_TRUE(E.HeaderRow);
       }},
  };
  for (const Case& C : Cases) {
    SCOPED_TRACE(C.Json);
    C.Check(LoadedElement(C.Json));
    // The ordered tree a caller may hold reads the same.
    C.Check(*TReportElement::LoadFromJSON(ordered_json::parse(C.Json)));
  }
}

TEST(ReportFile, TolerantBandReading) {
  auto B = TReportBand::LoadFromJSON(nlohmann::json::parse(
      R"({"type":"Footer","height":"70","dataSource":5,"groupCondition":null,"autoGrow":"yes",
          "printOnFirstPage":false,"elements":[{"type":"Line"},{}]})"));
  EXPECT_EQ(B->BandType, btMasterData);
  EXPECT_EQ(B->Height, 60);
  EXPECT_EQ(B->DataSourceName, "5");
  EXPECT_EQ(B->GroupCondition, "");
  EXPECT_FALSE(B->AutoGrow);
  EXPECT_FALSE(B->PrintOnFirstPage);
  EXPECT_TRUE(B->PrintOnOddPages);
  ASSERT_EQ(B->Elements.size(), 2u);
  EXPECT_EQ(B->Elements[0]->ElemType, retLine);

  B = TReportBand::LoadFromJSON(nlohmann::json::parse(R"({"type":"GroupFooter","height":12.5})"));
  EXPECT_EQ(B->BandType, btGroupFooter);
  EXPECT_EQ(B->Height, 12.5f);
  EXPECT_TRUE(B->Elements.empty());
}

TEST(ReportFile, PageReading) {
  TReportPage Page;
  Page.PageWidth = 400;
  Page.PageHeight = 300;
  Page.SetMargin(9);
  Page.PrinterName = "Kept";
  Page.StartPageNumber = 4;
  Page.PdfTitle = "Old";
  Page.VisibleDataSources = {"Old"};
  Page.DataSources["Old"] = {"x"};
  Page.Bands.push_back(std::make_unique<TReportBand>());

  // Loading clears content but keeps geometry the file does not mention.
  Page.LoadFromString(R"({"version":"2.0"})");
  EXPECT_TRUE(Page.Bands.empty());
  EXPECT_TRUE(Page.VisibleDataSources.empty());
  EXPECT_TRUE(Page.DataSources.empty());
  EXPECT_EQ(Page.PdfTitle, "");
  EXPECT_EQ(Page.PageWidth, 400);
  EXPECT_EQ(Page.PageHeight, 300);
  EXPECT_EQ(Page.MarginRight, 9);
  EXPECT_EQ(Page.PrinterName, "Kept");
  EXPECT_EQ(Page.StartPageNumber, 4);

  Page.LoadFromString(R"({"version":"2.0","page":{"width":595.7,"height":"900","marginTop":5,
      "marginLeft":null,"margin":30,"printerName":"","gridSize":-3.9,"resetPageNumber":false},
      "pdf":{"title":"T","author":"","creator":7}})");
  EXPECT_EQ(Page.PageWidth, 595);  // fractional integers are truncated
  EXPECT_EQ(Page.PageHeight, 300);
  EXPECT_EQ(Page.MarginTop, 5);
  EXPECT_EQ(Page.MarginBottom, 9);  // "margin" only counts without "marginTop"
  EXPECT_EQ(Page.MarginLeft, 9);
  EXPECT_EQ(Page.PrinterName, "Kept");
  EXPECT_EQ(Page.GridSize, -3);
  EXPECT_FALSE(Page.ResetPageNumber);
  EXPECT_EQ(Page.PdfTitle, "T");
  EXPECT_EQ(Page.PdfAuthor, "");
  EXPECT_EQ(Page.PdfCreator, "7");

  Page.LoadFromString(R"({"version":"2.0","page":{"width":1e300,"height":-1e300,"margin":30,
      "startPageNumber":99999999999}})");
  EXPECT_EQ(Page.PageWidth, std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Page.PageHeight, std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Page.MarginBottom, 30);
  EXPECT_EQ(Page.StartPageNumber, std::numeric_limits<int32_t>::max());

  Page.LoadFromString(R"({"version":"2.0","pdf":"x","page":[1],
      "visibleDataSources":["A",1,null],
      "dataSources":[{"name":"Orders","fields":["Id","Total"]},{"name":""},{"fields":["lost"]},
                     {"name":"NoFields"}],
      "bands":[{"type":"Title"},{"type":"Summary","elements":[{"type":"QRCode"}]}],
      "elements":[{"type":"Label"}]})");
  EXPECT_EQ(Page.PageWidth, std::numeric_limits<int32_t>::max());  // a "page" that is no object is ignored
  EXPECT_EQ(Page.VisibleDataSources, (std::vector<std::string>{"A", "1", ""}));
  EXPECT_EQ(Page.DataSources.size(), 2u);
  EXPECT_EQ(Page.DataSources["Orders"], (std::vector<std::string>{"Id", "Total"}));
  EXPECT_TRUE(Page.DataSources["NoFields"].empty());
  ASSERT_EQ(Page.Bands.size(), 2u);  // root "elements" belong to the legacy layout only
  EXPECT_EQ(Page.Bands[0]->BandType, btTitle);
  EXPECT_EQ(Page.Bands[1]->BandType, btSummary);
  EXPECT_EQ(Page.Bands[1]->Elements.at(0)->ElemType, retQRCode);
}

TEST(ReportFile, LegacyLayout) {
  TReportPage Page;
  Page.LoadFromString(R"({"version":"1.0","page":{"height":842,"margin":30},
                          "elements":[{"type":"Label"}],"bands":[{"type":"Title"}]})");
  ASSERT_EQ(Page.Bands.size(), 1u);
  EXPECT_EQ(Page.Bands[0]->BandType, btMasterData);
  EXPECT_EQ(Page.Bands[0]->Height, 782);
  ASSERT_EQ(Page.Bands[0]->Elements.size(), 1u);
  EXPECT_EQ(Page.Bands[0]->Elements[0]->ElemType, retLabel);

  Page.LoadFromString(R"({"version":"1.0","page":{"height":500,"marginTop":10.5,"marginBottom":4}})");
  ASSERT_EQ(Page.Bands.size(), 1u);
  EXPECT_EQ(Page.Bands[0]->Height, 485.5f);
  EXPECT_TRUE(Page.Bands[0]->Elements.empty());

  // Only the text "1.0" selects the legacy layout; a number contributes its JSON text.
  for (const char* Doc : {R"({"version":"1","elements":[{}]})", R"({"version":1,"elements":[{}]})",
                          R"({"version":"","elements":[{}]})", R"({"version":null,"elements":[{}]})",
                          R"({"version":"1.0 ","elements":[{}]})"}) {
    Page.LoadFromString(Doc);
    EXPECT_TRUE(Page.Bands.empty()) << Doc;
  }
  Page.LoadFromString(R"({"version":1.0,"elements":[{}]})");
  EXPECT_EQ(Page.Bands.size(), 1u);
}

TEST(ReportFile, DamagedDocumentsRaise) {
  const std::string Deep = std::string(200000, '[') + std::string(200000, ']');
  struct Case {
    std::string Doc;
    std::string Message;  // exact what()
    bool PageUntouched;
  };
  const Case Cases[] = {
      {"", "Invalid report data", true},
      {"not json", "Invalid report data", true},
      {"[1,2]", "Invalid report data", true},
      {"42", "Invalid report data", true},
      {"\"text\"", "Invalid report data", true},
      {"null", "Invalid report data", true},
      {R"({"version":"2.0"} trailing)", "Invalid report data", true},
      {R"({"version":"2.0","x":1e400})", "Invalid report data", true},
      {"{\"version\":\"2.0\",\"name\":\"\xFF\"}", "Invalid report data", true},
      {Deep, "Invalid report data: nested deeper than 64 levels", true},
      {"{}", "Invalid report data: missing \"version\"", false},
      {R"({"version":"2.0","bands":{}})", "Invalid report data: \"bands\" is not an array", false},
      {R"({"version":"2.0","bands":null})", "Invalid report data: \"bands\" is not an array", false},
      {R"({"version":"2.0","bands":[1]})", "Invalid report data: a band is not an object", false},
      {R"({"version":"2.0","bands":[{"elements":[{},"x"]}]})",
       "Invalid report data: an element is not an object", false},
      {R"({"version":"2.0","bands":[{"elements":"x"}]})",
       "Invalid report data: \"elements\" is not an array", false},
      {R"({"version":"1.0","elements":{}})", "Invalid report data: \"elements\" is not an array", false},
      {R"({"version":"2.0","bands":[{"elements":[{"cells":"a"}]}]})",
       "Invalid report data: \"cells\" is not an array", false},
      {R"({"version":"2.0","bands":[{"elements":[{"cellStyles":{}}]}]})",
       "Invalid report data: \"cellStyles\" is not an array", false},
      {R"({"version":"2.0","bands":[{"elements":[{"colWidths":1}]}]})",
       "Invalid report data: \"colWidths\" is not an array", false},
      {R"({"version":"2.0","visibleDataSources":"A"})",
       "Invalid report data: \"visibleDataSources\" is not an array", false},
      {R"({"version":"2.0","dataSources":[3]})", "Invalid report data: a data source is not an object",
       false},
      {R"({"version":"2.0","dataSources":[{"name":"A","fields":"Id"}]})",
       "Invalid report data: \"fields\" is not an array", false},
      {R"({"version":"2.0","dataSources":[{"name":"A"},{"name":"B"},{"name":"A","fields":[]}]})",
       "Duplicate data source name \"A\"", false},
      {R"({"version":"2.0","bands":[{"elements":[{"text":)" + Deep + "}]}]}",
       "Invalid report data: nested deeper than 64 levels", false},
      // Table grids are bounded before anything is allocated: static tables by cells, data
      // tables by columns.
      {R"({"version":"2.0","bands":[{"elements":[{"type":"Table","name":"T","rows":100001,"cols":1}]}]})",
       "Table T: 100001x1 cells exceed the limit of 100000", false},
      {R"({"version":"2.0","bands":[{"elements":[{"type":"Table","name":"Big","rows":400,"cols":251}]}]})",
       "Table Big: 400x251 cells exceed the limit of 100000", false},
      {R"({"version":"2.0","bands":[{"elements":[{"type":"Table","name":"D","dataField":"O","cols":1001}]}]})",
       "Table D: 3x1001 cells exceed the limit of 1000", false},
      {R"({"version":"2.0","bands":[{"elements":[{"type":"Table","name":"D","dataField":"O","cols":30000000}]}]})",
       "Table D: 3x30000000 cells exceed the limit of 1000", false},
  };
  for (const Case& C : Cases) {
    TReportPage Page;
    Page.PdfTitle = "before";
    Page.Bands.push_back(std::make_unique<TReportBand>());
    EXPECT_EQ(ErrorOf([&] { Page.LoadFromString(C.Doc); }), C.Message) << C.Doc.substr(0, 80);
    if (C.PageUntouched) {
      EXPECT_EQ(Page.PdfTitle, "before") << C.Doc.substr(0, 80);
      EXPECT_EQ(Page.Bands.size(), 1u) << C.Doc.substr(0, 80);
    }
  }

  // Tables right at the limits load, and a grid size on an element that is not a table is no grid.
  for (const char* Doc :
       {R"({"version":"2.0","bands":[{"elements":[{"type":"Table","rows":400,"cols":250}]}]})",
        R"({"version":"2.0","bands":[{"elements":[{"type":"Table","dataField":"O","rows":1000000,"cols":1000}]}]})",
        R"({"version":"2.0","bands":[{"elements":[{"type":"Label","rows":1000000,"cols":1000000}]}]})"}) {
    TReportPage AtLimit;
    EXPECT_EQ(ErrorOf([&] { AtLimit.LoadFromString(Doc); }), "(no error)") << Doc;
  }

  // Nesting is bounded wherever it is, in members the reader ignores too: 64 levels load, 65 do not.
  TReportPage Page;
  const auto nested = [](int N) { return std::string(N, '[') + std::string(N, ']'); };
  EXPECT_EQ(ErrorOf([&] { Page.LoadFromString(R"({"version":"2.0","extra":)" + nested(63) + "}"); }), "(no error)");
  EXPECT_TRUE(Page.Bands.empty());
  EXPECT_EQ(ErrorOf([&] { Page.LoadFromString(R"({"version":"2.0","extra":)" + nested(64) + "}"); }),
            "Invalid report data: nested deeper than 64 levels");

  // A parse failure reports where it happened.
  try {
    Page.LoadFromString(R"({"version": x})");
    FAIL() << "no error";
  } catch (const EQuilletError& E) {
    EXPECT_EQ(E.Offset(), 12);  // the "x"
  }

  EXPECT_EQ(ErrorOf([] { TReportElement::LoadFromJSON(nlohmann::json::array()); }),
            "Invalid report data: an element is not an object");
  EXPECT_EQ(ErrorOf([] { TReportBand::LoadFromJSON(ordered_json("band")); }),
            "Invalid report data: a band is not an object");
}

TEST(ReportFileOnDisk, SaveAndLoadWithByteOrderMark) {
  const test::TTempDir Dir;
  const TReportPage Page = FullPage();
  const std::string FileName = Dir.File("report.qdr");
  Page.SaveToFile(FileName);
  const std::string Bytes = ReadWholeFile(FileName);
  EXPECT_EQ(Bytes, "\xEF\xBB\xBF" + Page.SaveToString());

  TReportPage Loaded;
  Loaded.LoadFromFile(FileName);
  EXPECT_EQ(Loaded.SaveToString(), Page.SaveToString());

  // Saving again replaces the file whole and leaves nothing else in the folder.
  Loaded.PdfTitle = "Second";
  Loaded.SaveToFile(FileName);
  EXPECT_EQ(Dir.Count(), 1u);
  TReportPage Again;
  Again.LoadFromFile(FileName);
  EXPECT_EQ(Again.PdfTitle, "Second");

  // The byte-order mark is optional.
  const std::string Plain = Dir.File("plain.qdr");
  WriteFileAtomic(Plain, R"({"version":"2.0","pdf":{"title":"Plain \u00e7"}})");
  Again.LoadFromFile(Plain);
  EXPECT_EQ(Again.PdfTitle, "Plain \xC3\xA7");
}

TEST(ReportFileOnDisk, FailuresNameTheFile) {
  const test::TTempDir Dir;
  const std::string Bad = Dir.File("bad.qdr");
  WriteFileAtomic(Bad, "\xEF\xBB\xBF{\"version\":\"2.0\",\"bands\":[7]}");
  TReportPage Page;
  try {
    Page.LoadFromFile(Bad);
    FAIL() << "no error";
  } catch (const EQuilletError& E) {
    EXPECT_STREQ(E.what(), "Invalid report data: a band is not an object");
    EXPECT_EQ(E.FileName(), Bad);
  }
  // Offsets count the byte-order mark: they point into the file.
  WriteFileAtomic(Bad, "\xEF\xBB\xBF{x");
  try {
    Page.LoadFromFile(Bad);
    FAIL() << "no error";
  } catch (const EQuilletError& E) {
    EXPECT_STREQ(E.what(), "Invalid report data");
    EXPECT_EQ(E.FileName(), Bad);
    EXPECT_EQ(E.Offset(), 4);
  }
  const std::string Missing = Dir.File("missing.qdr");
  try {
    Page.LoadFromFile(Missing);
    FAIL() << "no error";
  } catch (const EQuilletError& E) {
    EXPECT_EQ(E.FileName(), Missing);
  }
  EXPECT_THROW(Page.SaveToFile((Dir.Path / "no-such-dir" / "r.qdr").string()), EQuilletError);
}

}  // namespace
}  // namespace quillet
