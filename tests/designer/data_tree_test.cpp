// The data tree: what it lists from an application's description and the report's schema, what
// it tells of the selection, and what it hands on when a field is activated or dragged.
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "../support/test_support.h"
#include "base/error.h"
#include "designer/data_tree.h"
#include "designer/designer_window.h"
#include "designer/inspector.h"
#include "designer/session_start.h"

namespace quillet::designer {
namespace {

using TSchema = std::map<std::string, std::vector<std::string>>;
using TFields = std::vector<std::string>;

QTreeWidgetItem* Item(TDataTree& Tree, int Source, int Field = -1) {
  QTreeWidgetItem* s = Tree.topLevelItem(Source);
  return Field < 0 ? s : s->child(Field);
}

TEST(DataTree, MergesTheDescriptionAndTheReportSchema) {
  struct Case {
    const char* What;
    std::vector<TDataSourceSchema> Description;
    TSchema Report;
    std::vector<std::string> Sources;
    std::map<std::string, TFields> Fields;
    std::vector<std::string> ReportOnly;
  };
  const std::vector<Case> cases = {
      {"description alone, in its order", {{"Orders", {"id", "total"}}, {"Items", {"sku"}}}, {},
       {"Orders", "Items"}, {{"Orders", {"id", "total"}}, {"Items", {"sku"}}}, {}},
      {"report alone, marked", {}, {{"B", {"x"}}, {"A", {"y"}}}, {"A", "B"}, {{"A", {"y"}}, {"B", {"x"}}}, {"A", "B"}},
      {"a source in both shows once, description first",
       {{"Orders", {"id", "total"}}},
       {{"Orders", {"total", "old"}}, {"Archive", {"year"}}},
       {"Orders", "Archive"},
       {{"Orders", {"id", "total", "old"}}, {"Archive", {"year"}}},
       {"Archive"}},
      {"a name twice in the description counts once", {{"A", {"x"}}, {"A", {"y"}}}, {}, {"A"}, {{"A", {"x"}}}, {}},
      {"nothing", {}, {}, {}, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    TDataTree tree;
    tree.SetDescription(c.Description);
    tree.SetReportSchema(c.Report);
    EXPECT_EQ(tree.SourceNames(), c.Sources);
    for (const auto& [source, fields] : c.Fields) EXPECT_EQ(tree.FieldsOf(source), fields) << source;
    for (const std::string& s : c.Sources)
      EXPECT_EQ(tree.IsReportOnly(s), std::count(c.ReportOnly.begin(), c.ReportOnly.end(), s) == 1) << s;
    EXPECT_EQ(tree.FieldsOf("Nowhere"), TFields{});
    EXPECT_FALSE(tree.IsReportOnly("Nowhere"));
  }
}

// The description file as the designer bridge writes it; a broken one leaves the tree as it was.
TEST(DataTree, LoadsTheDescriptionFileAndReportsAFileThatIsNone) {
  test::TTempDir dir;
  const std::string good = dir.Write(
      "datasources.json", "\xEF\xBB\xBF[\n  {\"name\": \"Orders\", \"fields\": [\"id\", \"total\"]},\n"
                          "  {\"name\": \"Items\", \"fields\": []}\n]");
  const std::string bad = dir.Write("bad.json", "{\"name\": ");
  TDataTree tree;
  tree.LoadDescription(good);
  EXPECT_EQ(tree.SourceNames(), (std::vector<std::string>{"Orders", "Items"}));
  EXPECT_EQ(tree.FieldsOf("Orders"), (TFields{"id", "total"}));
  for (const std::string& file : {bad, dir.File("missing.json")}) {
    try {
      tree.LoadDescription(file);
      ADD_FAILURE() << file << " loaded";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.FileName(), file);
    }
    EXPECT_EQ(tree.SourceNames(), (std::vector<std::string>{"Orders", "Items"}));
  }
}

TEST(DataTree, SelectionAndActivationNameTheField) {
  TDataTree tree;
  tree.SetDescription({{"Orders", {"id", "total"}}, {"Items", {"sku"}}});
  tree.resize(300, 300);
  tree.expandAll();
  std::vector<std::pair<QString, QString>> activated;
  QObject::connect(&tree, &TDataTree::FieldActivated,
                   [&](const QString& Source, const QString& Field) { activated.emplace_back(Source, Field); });
  EXPECT_FALSE(tree.SelectedField());

  tree.setCurrentItem(Item(tree, 0));
  EXPECT_FALSE(tree.SelectedField());  // a source is no field
  QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
  QApplication::sendEvent(&tree, &enter);
  EXPECT_EQ(activated.size(), 0u);

  tree.setCurrentItem(Item(tree, 0, 1));
  EXPECT_EQ(tree.SelectedField(), std::make_pair(std::string("Orders"), std::string("total")));
  QApplication::sendEvent(&tree, &enter);
  ASSERT_EQ(activated.size(), 1u);
  EXPECT_EQ(activated[0].first, "Orders");
  EXPECT_EQ(activated[0].second, "total");

  // A double-click on another field.
  const QPoint at = tree.visualItemRect(Item(tree, 1, 0)).center();
  for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease, QEvent::MouseButtonDblClick,
                            QEvent::MouseButtonRelease}) {
    QMouseEvent e(type, at, tree.viewport()->mapToGlobal(at), Qt::LeftButton,
                  type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(tree.viewport(), &e);
  }
  ASSERT_EQ(activated.size(), 2u);
  EXPECT_EQ(activated[1].first, "Items");
  EXPECT_EQ(activated[1].second, "sku");
  EXPECT_EQ(tree.SelectedField(), std::make_pair(std::string("Items"), std::string("sku")));

  // The report changes (as after every edit): what was open and selected stays so.
  tree.collapseItem(Item(tree, 0));
  tree.SetReportSchema({{"Zeta", {"z"}}});
  EXPECT_EQ(tree.SelectedField(), std::make_pair(std::string("Items"), std::string("sku")));
  EXPECT_FALSE(Item(tree, 0)->isExpanded());
  EXPECT_TRUE(Item(tree, 1)->isExpanded());
}

// What a drag carries: the field for the designer's drop targets, its expression for any text
// field. A source or several items carry nothing.
TEST(DataTree, DragCarriesTheFieldAndItsExpression) {
  TDataTree tree;
  tree.SetDescription({{"Orders", {"id", "unit.price"}}});
  QAbstractItemModel* model = tree.model();
  const QModelIndex source = model->index(0, 0);
  const QModelIndex field = model->index(1, 0, source);
  std::unique_ptr<QMimeData> data(model->mimeData({field}));
  ASSERT_TRUE(data);
  EXPECT_EQ(data->data(kFieldMimeType), "Orders.unit.price");
  EXPECT_EQ(data->text(), "[Orders.unit.price]");
  EXPECT_EQ(FieldFromMimeData(data.get()), std::make_pair(std::string("Orders"), std::string("unit.price")));
  EXPECT_TRUE(model->flags(field) & Qt::ItemIsDragEnabled);
  EXPECT_FALSE(model->flags(source) & Qt::ItemIsDragEnabled);
  EXPECT_EQ(std::unique_ptr<QMimeData>(model->mimeData({source})), nullptr);
  EXPECT_EQ(std::unique_ptr<QMimeData>(model->mimeData({field, model->index(0, 0, source)})), nullptr);
  EXPECT_TRUE(model->mimeTypes().contains(kFieldMimeType));

  QMimeData text;
  text.setText("Orders.id");
  EXPECT_FALSE(FieldFromMimeData(&text));
  for (const char* bad : {"Orders", ".id", "Orders."}) {
    QMimeData m;
    m.setData(kFieldMimeType, bad);
    EXPECT_FALSE(FieldFromMimeData(&m)) << bad;
  }
}

// The description `quillet design` wrote for the designer (tests/e2e/designer_start.sh names it in
// DATASOURCES_JSON): a session started with /ds: on it shows each --data set with its CSV header's
// fields, and the band's data source list offers them.
TEST(DataTree, ShowsTheBridgesDescription) {
  const char* file = std::getenv("DATASOURCES_JSON");
  if (!file) GTEST_SKIP() << "run by e2e.designer_start with the file quillet design wrote";
  TReportDocument doc;
  TDesignerWindow window(doc);
  const std::vector<std::string> problems = StartSession(window, ParseDesignerArgs({std::string("/ds:") + file}), nullptr);
  ASSERT_TRUE(problems.empty()) << problems.front();
  TDataTree& tree = *window.DataTree();
  EXPECT_EQ(tree.SourceNames(), (std::vector<std::string>{"Orders", "Items"}));
  EXPECT_EQ(tree.FieldsOf("Orders"), (std::vector<std::string>{"id", "customer", "amount"}));
  EXPECT_EQ(tree.FieldsOf("Items"), (std::vector<std::string>{"order_id", "product"}));
  const std::vector<std::string> choices = window.Inspector()->DataSourceChoices();
  EXPECT_NE(std::find(choices.begin(), choices.end(), "Items"), choices.end());
}

}  // namespace
}  // namespace quillet::designer
