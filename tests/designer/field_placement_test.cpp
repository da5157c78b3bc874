// Placing a field of the data tree on a band, checked on the file the document saves (parsed as
// JSON) and on the undo stack: one step, and undoing it gives back the bytes from before.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "../support/test_support.h"
#include "designer/field_placement.h"
#include "designer/report_document.h"

namespace quillet::designer {
namespace {

const std::string kSource = QUILLET_SOURCE_DIR;

nlohmann::json Saved(const TReportDocument& Doc) {
  std::string bytes = Doc.FileBytes();
  if (bytes.rfind("\xEF\xBB\xBF", 0) == 0) bytes.erase(0, 3);
  return nlohmann::json::parse(bytes);
}

// The "dataSources" array of a saved report as name -> fields.
std::map<std::string, std::vector<std::string>> SchemaOf(const nlohmann::json& J) {
  std::map<std::string, std::vector<std::string>> r;
  for (const auto& s : J.value("dataSources", nlohmann::json::array()))
    r[s.at("name").get<std::string>()] = s.at("fields").get<std::vector<std::string>>();
  return r;
}

std::vector<std::string> VisibleOf(const nlohmann::json& J) {
  return J.value("visibleDataSources", std::vector<std::string>{});
}

TReportElement LabelWith(const std::string& Text) {
  TReportElement e;
  e.Name = "lblOld";
  e.Text = Text;
  return e;
}

// A new report with one band of Type whose source is Source, holding a label with Text (none
// when empty), and Orders (id, total) recorded as a data source; the undo stack is cleared.
void Build(TReportDocument& Doc, TBandType Type, const std::string& Source, const std::string& Text) {
  Doc.NewReport();
  Doc.AddBand(0, Type);
  TBandProps b = BandPropsOf(*Doc.Page().Bands[0]);
  b.DataSourceName = Source;
  Doc.SetBandProps(0, b);
  if (!Text.empty()) Doc.AddElement(0, 0, LabelWith(Text));
  TPageProps p = PagePropsOf(Doc.Page());
  p.DataSources["Orders"] = {"id", "total"};
  Doc.SetPageProps(p);
  Doc.UndoStack().clear();
}

TEST(FieldPlacement, OneUndoStepThatRecordsTheSchemaAndBindsAFreeDataBand) {
  struct Case {
    const char* What;
    TBandType Type;
    std::string BandSource, ExistingText;
    std::string Source, Field;
    std::vector<std::string> Fields;
    std::string BandSourceAfter;
    std::vector<std::string> RecordedAfter;  // the source's fields in the saved schema
  };
  const std::vector<Case> cases = {
      {"free master band is bound", btMasterData, "", "", "Items", "qty", {"sku", "qty"}, "Items", {"sku", "qty"}},
      {"free detail band is bound", btDetailData, "", "", "Orders", "id", {"id", "total"}, "Orders", {"id", "total"}},
      {"a bound band keeps its source", btMasterData, "Orders", "", "Items", "sku", {"sku"}, "Orders", {"sku"}},
      {"a page header has no source", btPageHeader, "", "", "Items", "sku", {"sku"}, "", {"sku"}},
      {"a band using another source walks the main set", btMasterData, "", "Total: [Orders.total]", "Items", "sku",
       {"sku"}, "", {"sku"}},
      {"a band using the same source is bound", btMasterData, "", "No. [Orders.id]", "Orders", "total",
       {"id", "total"}, "Orders", {"id", "total"}},
      {"a name that only ends like a source is none", btMasterData, "", "[SubOrders.x]", "Items", "sku", {"sku"},
       "Items", {"sku"}},
      {"a recorded source gains the fields it lacks", btMasterData, "Orders", "", "Orders", "paid",
       {"id", "paid", "total"}, "Orders", {"id", "total", "paid"}},
      {"the placed field is recorded even when the list lacks it", btTitle, "", "", "Notes", "text", {}, "",
       {"text"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    TReportDocument doc;
    Build(doc, c.Type, c.BandSource, c.ExistingText);
    const std::string before = doc.FileBytes();
    const size_t elements = doc.Page().Bands[0]->Elements.size();

    PlaceField(doc, 0, 12.5f, 4, c.Source, c.Field, c.Fields);
    EXPECT_EQ(doc.UndoStack().count(), 1);
    const nlohmann::json saved = Saved(doc);
    const auto& band = saved.at("bands").at(0);
    EXPECT_EQ(band.value("dataSource", ""), c.BandSourceAfter);
    ASSERT_EQ(band.at("elements").size(), elements + 1);
    const auto& label = band.at("elements").back();
    EXPECT_EQ(label.value("type", ""), "Label");
    EXPECT_EQ(label.value("text", ""), "[" + c.Source + "." + c.Field + "]");
    EXPECT_EQ(label.value("left", 0.0), 12.5);
    EXPECT_EQ(label.value("top", 0.0), 4.0);
    EXPECT_EQ(label.value("width", 0.0), kPlacedFieldWidth);
    EXPECT_EQ(label.value("height", 0.0), kPlacedFieldHeight);
    const auto schema = SchemaOf(saved);
    ASSERT_TRUE(schema.count(c.Source));
    EXPECT_EQ(schema.at(c.Source), c.RecordedAfter);
    if (c.Source != "Orders") {
      EXPECT_EQ(schema.at("Orders"), (std::vector<std::string>{"id", "total"}));
    }
    const auto visible = VisibleOf(saved);
    EXPECT_EQ(std::count(visible.begin(), visible.end(), c.Source), 1);

    doc.UndoStack().undo();
    EXPECT_EQ(doc.FileBytes(), before);
    EXPECT_FALSE(doc.IsModified());
    doc.UndoStack().redo();
    EXPECT_EQ(Saved(doc), saved);
  }
}

// Fields placed one after another on a real report: the source is recorded and listed once, each
// label gets a name of its own, and the saved file reads back the same.
TEST(FieldPlacement, SeveralFieldsOfOneSourceRecordItOnce) {
  TReportDocument doc;
  doc.Open(kSource + "/examples/shop/invoice.qdr");
  const size_t band = 2;  // the Items detail band
  const std::string opened = doc.FileBytes();
  const auto before = SchemaOf(Saved(doc));
  const std::vector<std::string> customer = {"id", "name", "city"};
  PlaceField(doc, band, 0, 0, "Customers", "name", customer);
  PlaceField(doc, band, 0, 20, "Customers", "city", customer);
  PlaceField(doc, band, 0, 40, "Customers", "name", customer);
  PlaceField(doc, band, 0, 60, "Items", "product", {"product", "ean"});
  EXPECT_EQ(doc.UndoStack().count(), 4);

  test::TTempDir dir;
  doc.SaveAs(dir.File("placed.qdr"));
  TReportDocument again;
  again.Open(dir.File("placed.qdr"));
  const nlohmann::json saved = Saved(again);
  const auto schema = SchemaOf(saved);
  EXPECT_EQ(schema.at("Customers"), customer);
  EXPECT_EQ(schema.at("Items"), before.at("Items"));  // recorded before, and it had "product"
  const auto visible = VisibleOf(saved);
  EXPECT_EQ(visible, (std::vector<std::string>{"Orders", "Items", "Totals", "Customers"}));
  EXPECT_EQ(saved.at("bands").at(band).value("dataSource", ""), "Items");
  std::vector<std::string> names;
  for (const auto& e : saved.at("bands").at(band).at("elements")) names.push_back(e.value("name", ""));
  const std::vector<std::string> placed(names.end() - 4, names.end());
  EXPECT_EQ(placed, (std::vector<std::string>{"lblName", "lblCity", "lblName2", "lblProduct"}));

  for (int i = 0; i < 4; ++i) doc.UndoStack().undo();
  EXPECT_EQ(doc.FileBytes(), opened);
}

TEST(FieldPlacement, LabelNamesKeepOnlyNameCharacters) {
  TReportPage page;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"amount", "lblAmount"}, {"unit price", "lblUnitprice"}, {"_x", "lbl_x"}, {"größe", "lblGröße"}, {"", "lbl"}};
  for (const auto& [field, name] : cases) EXPECT_EQ(PlacedFieldName(page, field), name) << field;
  TReportDocument doc;
  doc.NewReport();
  doc.AddBand(0, btMasterData);
  EXPECT_THROW(PlaceField(doc, 1, 0, 0, "A", "b", {}), std::out_of_range);
  EXPECT_EQ(doc.UndoStack().count(), 1);
}

}  // namespace
}  // namespace quillet::designer
