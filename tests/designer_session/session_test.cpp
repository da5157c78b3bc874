// A report made in the designer from nothing, with real clicks and keys: started as the bridge
// starts it (a new file and a description of two data sets), bands added from the menu, a data
// band bound to a set in the inspector, three fields placed by the click path, a bold coloured
// title, a page-number label, saved and quit; then `quillet render` over real data makes a PDF
// that shows all of it (pdftotext, pdffonts, and the title's colour in a rendered page).
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>
#include <QListView>
#include <QProcess>
#include <QScrollArea>
#include <QTimer>
#include <QTreeWidget>
#include <fstream>
#include <nlohmann/json.hpp>

#include "../support/test_support.h"
#include "designer/data_tree.h"
#include "designer/design_surface.h"
#include "designer/designer_window.h"
#include "designer/inspector.h"
#include "designer/session_start.h"
#include "designer/toolbox.h"
#include "driver.h"

namespace quillet::designer {
namespace {

void Write(const std::string& File, const std::string& Text) { std::ofstream(File, std::ios::binary) << Text; }

// Runs Program with Args; its standard output, and the exit code in Code.
std::string RunProgram(const QString& Program, const QStringList& Args, int& Code) {
  QProcess p;
  p.start(Program, Args);
  p.waitForFinished(120000);
  Code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
  return (p.readAllStandardOutput() + p.readAllStandardError()).toStdString();
}

class TSession {
 public:
  TSession(TDesignerWindow& W, test::TDriver& D) : FWin(W), FDrive(D) {}

  TDesignSurface& Surface() { return *FWin.Surface(); }

  // Clicks page point (X, Y) of Band's body (Y < 0: the band's caption).
  void ClickBand(size_t Band, float X, float Y) {
    const TSurfaceLayout l = Surface().Layout();
    const auto& b = l.Bands().at(Band);
    const float y = Y < 0 ? b.CaptionTop + TSurfaceLayout::kCaption / 2 : b.Top + Y;
    Surface().EnsureVisible(l.Left() + X, y);
    FDrive.Click(Surface().viewport(), Surface().ToView(l.Left() + X, y).toPoint());
  }

  QWidget* Editor(const char* Member) {
    QWidget* w = FWin.Inspector()->EditorFor(Member);
    EXPECT_NE(w, nullptr) << Member;
    if (!w) return nullptr;
    for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
      if (auto* area = qobject_cast<QScrollArea*>(p)) {
        area->ensureWidgetVisible(w);
        break;
      }
    FDrive.Settle(100);
    return w;
  }

  // Types Text into a member's line edit, replacing what is there, and finishes with Return.
  void TypeInto(const char* Member, const QString& Text) {
    QWidget* w = Editor(Member);
    if (!w) return;
    QWidget* line = qobject_cast<QLineEdit*>(w) ? w : w->findChild<QLineEdit*>();
    ASSERT_NE(line, nullptr) << Member;
    FDrive.Click(line, line->rect().center());
    FDrive.Keys("ctrl+a");
    FDrive.Type(Text);
    FDrive.Keys("Return");
  }

  void ChooseInCombo(const char* Member, const QString& Text) {
    auto* combo = qobject_cast<QComboBox*>(Editor(Member));
    ASSERT_NE(combo, nullptr) << Member;
    const int index = combo->findText(Text);
    ASSERT_GE(index, 0) << Text.toStdString();
    FDrive.Click(combo, combo->rect().center());
    QAbstractItemView* view = combo->view();
    for (int k = 0; k < 25 && !view->isVisible(); ++k) FDrive.Settle(40);
    ASSERT_TRUE(view->isVisible());
    const QRect r = view->visualRect(combo->model()->index(index, 0));
    FDrive.Click(view->viewport(), r.center());
  }

  void ClickToolbox(TRptElemType Type) {
    TToolbox* box = FWin.Toolbox();
    QListWidgetItem* item = box->item(static_cast<int>(Type));
    box->scrollToItem(item);
    FDrive.Click(box->viewport(), box->visualItemRect(item).center());
  }

  void ClickField(const QString& Source, const QString& Field) {
    QTreeWidget* tree = FWin.DataTree();
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
      QTreeWidgetItem* s = tree->topLevelItem(i);
      if (s->text(0) != Source) continue;
      for (int j = 0; j < s->childCount(); ++j)
        if (s->child(j)->text(0) == Field) {
          tree->scrollToItem(s->child(j));
          FDrive.Click(tree->viewport(), tree->visualItemRect(s->child(j)).center());
          return;
        }
    }
    ADD_FAILURE() << "no field " << Source.toStdString() << "." << Field.toStdString() << " in the data tree";
  }

 private:
  TDesignerWindow& FWin;
  test::TDriver& FDrive;
};

TEST(DesignerSession, AReportFromNothingRendersWithItsData) {
  quillet::test::TTempDir dir;
  const std::string ds = dir.File("datasources.json");
  Write(ds, "\xEF\xBB\xBF[\n  {\"name\": \"Orders\", \"fields\": [\"id\", \"customer\", \"amount\"]},\n"
            "  {\"name\": \"Items\", \"fields\": [\"order_id\", \"product\", \"qty\"]}\n]\n");
  Write(dir.File("orders.csv"), "id,customer,amount\n1001,Ada Lovelace,250.50\n1002,Blaise Pascal,99.90\n"
                                "1003,Emmy Noether,12.00\n");
  Write(dir.File("items.csv"), "order_id,product,qty\n1001,Lamp,2\n1002,Chair,1\n");
  const std::string report = dir.File("new.qdr");

  TReportDocument doc;
  TDesignerWindow window(doc);
  const std::vector<std::string> problems =
      StartSession(window, ParseDesignerArgs({report, "/ds:" + ds}), nullptr);
  ASSERT_TRUE(problems.empty()) << problems.front();
  window.move(0, 0);
  window.resize(1270, 980);
  window.show();
  const char* art = std::getenv("ARTEFACTS");
  test::TDriver drive(window, art ? std::filesystem::path(art) / "session" : std::filesystem::path(dir.File("shots")));
  drive.Settle(600);
  drive.Focus();
  TSession s(window, drive);
  EXPECT_EQ(window.windowTitle().toStdString(), "new.qdr[*] - Formwright");
  ASSERT_EQ(window.DataTree()->SourceNames(), (std::vector<std::string>{"Orders", "Items"}));
  drive.Shot("started");

  // Bands from the menu; each goes in after the one selected, which is the one added last.
  for (const char* band : {"addBand.Title", "addBand.PageHeader", "addBand.MasterData", "addBand.PageFooter"}) {
    ASSERT_TRUE(drive.ClickMenu(window.Action(band))) << band;
  }
  ASSERT_EQ(doc.Page().Bands.size(), 4u);
  EXPECT_EQ(doc.Page().Bands[0]->BandType, btTitle);
  EXPECT_EQ(doc.Page().Bands[1]->BandType, btPageHeader);
  EXPECT_EQ(doc.Page().Bands[2]->BandType, btMasterData);
  EXPECT_EQ(doc.Page().Bands[3]->BandType, btPageFooter);
  drive.Shot("bands-added");

  // The master band on Orders, through its caption and the inspector.
  s.ClickBand(2, 40, -1);
  ASSERT_EQ(window.Selection().Kind(), TSelection::TKind::Band);
  ASSERT_EQ(window.Selection().Band(), 2u);
  s.ChooseInCombo("dataSource", "Orders");
  EXPECT_EQ(doc.Page().Bands[2]->DataSourceName, "Orders");
  drive.Shot("master-on-orders");

  // Three fields by the click path: the field in the tree, then the place on the band.
  const std::pair<const char*, float> fields[] = {{"id", 0}, {"customer", 120}, {"amount", 260}};
  for (const auto& [field, x] : fields) {
    s.ClickField("Orders", field);
    s.ClickBand(2, x + 5, 5);
    drive.Shot(std::string("field-") + field);
  }
  ASSERT_EQ(doc.Page().Bands[2]->Elements.size(), 3u);
  EXPECT_EQ(doc.Page().Bands[2]->Elements[1]->Text, "[Orders.customer]");

  // A title label from the toolbox, with its text typed, bold and coloured.
  s.ClickToolbox(retLabel);
  s.ClickBand(0, 5, 5);
  ASSERT_EQ(doc.Page().Bands[0]->Elements.size(), 1u);
  s.TypeInto("text", "Order list");
  s.TypeInto("width", "200");
  s.TypeInto("fontSize", "16");
  s.TypeInto("height", "24");
  auto* bold = qobject_cast<QCheckBox*>(s.Editor("fontBold"));
  ASSERT_NE(bold, nullptr);
  drive.Click(bold, QPoint(8, bold->height() / 2));
  // The colour picker is modal: while it is open, this timer picks the colour in it.
  bool picked = false;
  QTimer::singleShot(900, [&] {
    auto* dlg = qobject_cast<QColorDialog*>(QApplication::activeModalWidget());
    if (!dlg) return;
    drive.Shot("colour-picker");
    for (QLineEdit* line : dlg->findChildren<QLineEdit*>())
      if (line->text().startsWith('#')) {
        drive.Click(line, line->rect().center());
        drive.Keys("ctrl+a");
        drive.Type("#c00000");
        drive.Keys("Return");
        picked = true;
        break;
      }
    if (!picked) dlg->reject();
  });
  QWidget* colour = s.Editor("textColor");
  ASSERT_NE(colour, nullptr);
  drive.Click(colour, QPoint(colour->width() / 3, colour->height() / 2));
  drive.Settle(300);
  EXPECT_TRUE(picked) << "the colour picker did not open";
  const TReportElement& title = *doc.Page().Bands[0]->Elements[0];
  EXPECT_EQ(title.Text, "Order list");
  EXPECT_TRUE(title.FontBold);
  EXPECT_EQ(title.TextColor, 0xFFC00000u);
  drive.Shot("title");

  // The page numbers in the footer.
  s.ClickToolbox(retLabel);
  s.ClickBand(3, 300, 5);
  ASSERT_EQ(doc.Page().Bands[3]->Elements.size(), 1u);
  s.TypeInto("text", "Page [PageNo] of [TotalPages]");
  s.TypeInto("width", "200");
  EXPECT_EQ(doc.Page().Bands[3]->Elements[0]->Text, "Page [PageNo] of [TotalPages]");
  drive.Shot("footer");

  // Save and quit with the keys.
  drive.Focus();
  window.Surface()->setFocus();
  drive.Keys("ctrl+s");
  EXPECT_FALSE(doc.IsModified());
  drive.Shot("saved");
  drive.Keys("ctrl+q");
  drive.Settle(300);
  EXPECT_FALSE(window.isVisible());
  ASSERT_TRUE(std::filesystem::exists(report));

  // The file holds the schema the fields came from.
  std::ifstream in(report, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto saved = nlohmann::json::parse(bytes.substr(3));
  EXPECT_EQ(saved["visibleDataSources"], nlohmann::json::array({"Orders"}));
  EXPECT_EQ(saved["dataSources"][0]["name"], "Orders");

  // quillet renders it over the data.
  int code = 0;
  const std::string pdf = dir.File("new.pdf");
  const std::string log = RunProgram(QUILLET_CLI_PATH, {"render", QString::fromStdString(report), "-o", QString::fromStdString(pdf),
                                                 "--data", QString::fromStdString("Orders=" + dir.File("orders.csv")),
                                                 "--data", QString::fromStdString("Items=" + dir.File("items.csv")),
                                                 "--strict"},
                              code);
  ASSERT_EQ(code, 0) << log;
  const std::string text = RunProgram("pdftotext", {"-layout", QString::fromStdString(pdf), "-"}, code);
  for (const char* want : {"Order list", "1001", "Ada Lovelace", "250.5", "1003", "Emmy Noether", "99.9",
                           "Page 1 of 1"})
    EXPECT_NE(text.find(want), std::string::npos) << want << " not in:\n" << text;
  const std::string fonts = RunProgram("pdffonts", {QString::fromStdString(pdf)}, code);
  EXPECT_NE(fonts.find("Bold"), std::string::npos) << fonts;
  // The title's colour, in the rendered page's top part.
  RunProgram("pdftoppm", {"-r", "72", "-png", "-singlefile", QString::fromStdString(pdf),
                   QString::fromStdString(dir.File("page"))},
      code);
  const QImage page(QString::fromStdString(dir.File("page.png")));
  ASSERT_FALSE(page.isNull());
  int red = 0;
  for (int y = 0; y < page.height() / 4; ++y)
    for (int x = 0; x < page.width(); ++x) {
      const QColor c = page.pixelColor(x, y);
      if (c.red() > 150 && c.green() < 70 && c.blue() < 70) ++red;
    }
  EXPECT_GT(red, 30) << "no red title on the page";
  if (art) std::filesystem::copy_file(pdf, std::filesystem::path(art) / "session" / "new.pdf",
                                      std::filesystem::copy_options::overwrite_existing);
}

}  // namespace
}  // namespace quillet::designer
