// The inspector against the report writer: every member the reader knows, set through its editor
// as a user would, is in the saved file with that value, and one undo gives the old bytes back.
// Also the expression check, the memo text formatting read back by the engine's rich-text reader,
// and the table grid.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "designer/expression_editor.h"
#include "designer/inspector.h"
#include "designer/inspector_editors.h"
#include "designer/rich_text_editor.h"
#include "designer/table_grid_editor.h"
#include "engine/rich_text.h"

namespace quillet::designer {
namespace {

using json = nlohmann::json;

json Saved(const TReportDocument& Doc) {
  std::string Bytes = Doc.FileBytes();
  if (Bytes.rfind("\xEF\xBB\xBF", 0) == 0) Bytes.erase(0, 3);
  return json::parse(Bytes);
}

// Answers the dialogs the inspector runs while it lives.
class TDialogAnswer {
 public:
  explicit TDialogAnswer(std::function<void(QDialog&)> Fill) {
    SetDialogRunner([Fill, this](QDialog& D) {
      ++Runs;
      Fill(D);
      return int(QDialog::Accepted);
    });
  }
  ~TDialogAnswer() { SetDialogRunner(nullptr); }
  int Runs = 0;
};

template <typename T>
T* As(QWidget* W, const std::string& Member) {
  T* Typed = qobject_cast<T*>(W);
  EXPECT_NE(Typed, nullptr) << Member << ": editor is a " << (W ? W->metaObject()->className() : "null");
  return Typed;
}

// How a probe sets a member through its editor.
using TDrive = std::function<void(QWidget* Editor, const std::string& Member)>;

TDrive SpinTo(double V) {
  return [V](QWidget* W, const std::string& M) {
    if (auto* D = qobject_cast<QDoubleSpinBox*>(W)) return D->setValue(V);
    if (auto* S = As<QSpinBox>(W, M)) S->setValue(static_cast<int>(V));
  };
}
TDrive CheckTo(bool V) {
  return [V](QWidget* W, const std::string& M) {
    if (auto* C = As<QCheckBox>(W, M)) C->setChecked(V);
  };
}
TDrive ComboTo(int Index) {
  return [Index](QWidget* W, const std::string& M) {
    if (auto* C = As<QComboBox>(W, M)) C->setCurrentIndex(Index);
  };
}
TDrive ComboData(QString Data) {
  return [Data](QWidget* W, const std::string& M) {
    if (auto* C = As<QComboBox>(W, M)) C->setCurrentIndex(C->findData(Data));
  };
}
TDrive TypeText(QString Text) {
  return [Text](QWidget* W, const std::string& M) {
    QLineEdit* L = qobject_cast<QLineEdit*>(W);
    if (auto* P = qobject_cast<TPathEdit*>(W)) L = P->LineEdit();
    if (auto* C = qobject_cast<QComboBox*>(W); C && C->isEditable()) {
      C->setEditText(Text);
      L = C->lineEdit();
    }
    ASSERT_NE(L, nullptr) << M;
    if (!qobject_cast<QComboBox*>(W)) L->setText(Text);
    emit L->editingFinished();
  };
}
TDrive ColorTo(TAlphaColor C) {
  return [C](QWidget* W, const std::string& M) {
    if (auto* B = As<TColorButton>(W, M)) B->SetColor(C);
  };
}
// Through the picker, as a click on the swatch opens it.
TDrive PickColor(QColor C) {
  return [C](QWidget* W, const std::string& M) {
    TDialogAnswer Answer([C](QDialog& D) { dynamic_cast<QColorDialog&>(D).setCurrentColor(C); });
    if (auto* B = As<TColorButton>(W, M)) B->click();
    EXPECT_EQ(Answer.Runs, 1) << M;
  };
}
TDrive NoColor() {
  return [](QWidget* W, const std::string& M) {
    auto* B = As<TColorButton>(W, M);
    if (!B) return;
    for (QAction* A : B->menu()->actions())
      if (A->text() == "No colour") A->trigger();
  };
}
// The "..." button, with the dialog it opens (of type TDialog) filled in by Fill.
template <typename TDialog>
TDrive Browse(std::function<void(TDialog&)> Fill) {
  return [Fill](QWidget* W, const std::string& M) {
    TDialogAnswer Answer([Fill](QDialog& D) { Fill(dynamic_cast<TDialog&>(D)); });
    if (auto* P = qobject_cast<TPathEdit*>(W))
      P->Button()->click();
    else if (auto* B = As<QPushButton>(W, M))
      B->click();
    EXPECT_EQ(Answer.Runs, 1) << M;
  };
}
TDrive Grid(std::function<void(TTableGridEditor&)> Fill) { return Browse<TTableGridEditor>(std::move(Fill)); }

void SetCell(QTableWidget* T, int R, int C, const QString& Text) {
  if (!T->item(R, C)) T->setItem(R, C, new QTableWidgetItem);
  T->item(R, C)->setText(Text);
}

struct TProbe {
  TDrive Drive;
  json Expected;
  // Done through the document before the edit, for members written only together with another.
  std::function<void(TReportElement&)> Prepare = nullptr;
};

const QString& ImagePath() {
  static QTemporaryDir Dir;
  static const QString Path = [] {
    const QString P = Dir.filePath("logo.png");
    QFile F(P);
    F.open(QIODevice::WriteOnly);
    F.write("not really a png");
    return P;
  }();
  return Path;
}

// A value other than the fresh one for every member, and how to set it.
std::map<std::string, TProbe> Probes(TRptElemType Kind) {
  const auto Header = [](TReportElement& E) { E.HeaderRow = true; };
  std::map<std::string, TProbe> P = {
      {"type", {ComboTo((Kind + 1) % 15), ElemTypeNames[(Kind + 1) % 15]}},
      {"name", {TypeText("elemX"), "elemX"}},
      {"left", {SpinTo(12.5), 12.5}},
      {"top", {SpinTo(7.25), 7.25}},
      {"width", {SpinTo(99.5), 99.5}},
      {"height", {SpinTo(33.75), 33.75}},
      {"dataField", {TypeText("Orders.amount"), "Orders.amount"}},
      {"imageFile",
       {Browse<QFileDialog>([](QFileDialog& D) { D.selectFile(ImagePath()); }), ImagePath().toStdString()}},
      {"imageScale", {ComboTo(1), "Fit"}},
      {"wordWrap", {CheckTo(true), true}},
      {"fontName", {TypeText("Liberation Serif"), "Liberation Serif"}},
      {"fontSize", {SpinTo(14.5), 14.5}},
      {"fontBold", {CheckTo(true), true}},
      {"fontItalic", {CheckTo(true), true}},
      {"textColor", {ColorTo(0xFF336699), "#FF336699"}},
      {"backColor", {PickColor(QColor(0x12, 0x34, 0x56, 0x80)), "#80123456"}},
      {"borderColor", {ColorTo(0x80FF0000), "#80FF0000"}},
      {"strokeColor", {NoColor(), "#00000000"}},
      {"fillColor", {ColorTo(0xFF00FF00), "#FF00FF00"}},
      {"horzAlign", {ComboTo(2), "Right"}},
      {"vertAlign", {ComboTo(2), "Bottom"}},
      {"borderWidth", {SpinTo(2.5), 2.5}},
      {"strokeWidth", {SpinTo(3.5), 3.5}},
      {"cornerX", {SpinTo(8.5), 8.5}},
      {"cornerY", {SpinTo(9.5), 9.5}},
      {"checked", {CheckTo(true), true}},
      {"x2", {SpinTo(200.5), 200.5}},
      {"y2", {SpinTo(40.5), 40.5}},
      {"borderTop", {CheckTo(false), false}},
      {"borderRight", {CheckTo(false), false}},
      {"borderBottom", {CheckTo(false), false}},
      {"borderLeft", {CheckTo(false), false}},
      {"rows", {SpinTo(4), 4}},
      {"cols", {SpinTo(5), 5}},
      {"cells",
       {Grid([](TTableGridEditor& G) { SetCell(G.Cells(), 1, 2, "[Orders.total]"); }),
        json{"", "", "", "", "", "[Orders.total]", "", "", ""}}},
      {"headerRow", {CheckTo(true), true}},
      {"headerFill", {ColorTo(0xFFABCDEF), "#FFABCDEF", Header}},
      {"headerBold", {CheckTo(false), false, Header}},
      {"headerTextColor", {ColorTo(0xFF102030), "#FF102030", Header}},
      {"colWidths", {Grid([](TTableGridEditor& G) { SetCell(G.Columns(), 0, 1, "2.5"); }), json{1, 2.5, 1}}},
      {"rowHeights", {Grid([](TTableGridEditor& G) { SetCell(G.RowHeights(), 2, 0, "3"); }), json{1, 1, 3}}},
      {"cellStyles",
       {Grid([](TTableGridEditor& G) {
          TCellStyle S;
          S.HasStyle = true;
          S.Bold = true;
          S.TextColor = 0xFF112233;
          S.HAlign = rhaCenter;
          G.SetCellStyle(0, 1, S);
        }),
        json{nullptr,
             {{"b", true}, {"i", false}, {"tc", "#FF112233"}, {"fl", "#00000000"}, {"ha", "Center"}},
             nullptr,
             nullptr,
             nullptr,
             nullptr,
             nullptr,
             nullptr,
             nullptr}}},
      {"colFields",
       {Grid([](TTableGridEditor& G) { SetCell(G.Columns(), 1, 0, "Orders.name"); }), json{"Orders.name", "", ""}}},
      {"subReportFile",
       {Browse<QFileDialog>([](QFileDialog& D) { D.selectFile(ImagePath()); }), ImagePath().toStdString()}},
      {"subReportFlow", {CheckTo(true), true}},
      {"showBarcodeText", {CheckTo(false), false}},
  };
  // Texts through the editor each kind opens: the memo's rich text editor, else the expression
  // editor.
  if (Kind == retMemo)
    P["text"] = {Browse<TRichTextEditor>([](TRichTextEditor& D) {
                   D.Editor()->setPlainText("Hello");
                   D.Select(0, 5);
                   D.Format(TRichFormat::Bold);
                 }),
                 "{\\rtf1 {\\b Hello}}"};
  else
    P["text"] = {Browse<TExpressionEditor>([](TExpressionEditor& D) { D.SetText("Total: [Orders.amount]"); }),
                 "Total: [Orders.amount]"};
  return P;
}

// The members the writer writes for an element of Kind, found by saving one that has every
// optional member set.
std::set<std::string> WrittenMembers(TRptElemType Kind) {
  TReportElement E;
  E.ElemType = Kind;
  E.HeaderRow = true;
  E.CellTexts = {"a"};
  E.ColWidths = {1};
  E.RowHeights = {1};
  E.CellStyles = {TCellStyle{true}};
  E.ColFields = {"f"};
  E.SubReportFile = "sub.qdr";
  E.SubReportFlow = true;
  E.ShowBarcodeText = false;
  E.ImageScale = risFit;
  E.BorderTop = false;
  nlohmann::ordered_json J;
  E.SaveToJSON(J);
  std::set<std::string> Members;
  for (auto It = J.begin(); It != J.end(); ++It) Members.insert(It.key());
  return Members;
}

struct TInspected {
  TReportDocument Doc;
  TSelection Selection;
  TInspector Inspector{Doc, Selection};
};

// Drives one member and checks the saved file and the undo.
void ProbeMember(TInspected& I, const std::string& Member, const TProbe& Probe,
                 const std::function<json(const json&)>& Where) {
  SCOPED_TRACE("member " + Member);
  QWidget* Editor = I.Inspector.EditorFor(Member);
  ASSERT_NE(Editor, nullptr) << Member << " has no editor";
  const std::string Before = I.Doc.FileBytes();
  const int Steps = I.Doc.UndoStack().index();
  Probe.Drive(Editor, Member);
  EXPECT_EQ(I.Doc.UndoStack().index(), Steps + 1) << Member << ": not one undo step";
  const json Saved_ = Saved(I.Doc);
  const json Holder = Where(Saved_);
  if (Member == "margin") {
    // Not written itself: the four margins it sets are.
    for (const char* M : {"marginTop", "marginBottom", "marginLeft", "marginRight"})
      EXPECT_EQ(Holder.value(M, json()), Probe.Expected) << Member << " -> " << M;
  } else {
    ASSERT_TRUE(Holder.contains(Member)) << Member << " not written: " << Holder.dump();
    EXPECT_EQ(Holder[Member], Probe.Expected) << Member;
  }
  I.Doc.UndoStack().undo();
  EXPECT_TRUE(I.Doc.FileBytes() == Before) << Member << ": undo does not restore the file";
}

TEST(Inspector, EveryMemberOfPageBandAndEachElementKindSavesAndUndoes) {
  // The page, the PDF information and the data-source schema.
  const std::map<std::string, TProbe> PageProbes = {
      {"width", {SpinTo(600), 600}},
      {"height", {SpinTo(900), 900}},
      {"marginTop", {SpinTo(15.5), 15.5}},
      {"marginBottom", {SpinTo(16.5), 16.5}},
      {"marginLeft", {SpinTo(17.5), 17.5}},
      {"marginRight", {SpinTo(18.5), 18.5}},
      {"margin", {SpinTo(11.25), 11.25}},
      {"startPageNumber", {SpinTo(5), 5}},
      {"resetPageNumber", {CheckTo(false), false}},
      {"gridSize", {SpinTo(8), 8}},
      {"printerName", {TypeText("Office laser"), "Office laser"}},
      {"title", {TypeText("Sales"), "Sales"}},
      {"author", {TypeText("Ayla"), "Ayla"}},
      {"subject", {TypeText("Orders of 2024"), "Orders of 2024"}},
      {"keywords", {TypeText("orders, sales"), "orders, sales"}},
      {"creator", {TypeText("Formwright"), "Formwright"}},
      {"visibleDataSources", {TypeText("Orders, Items"), json{"Orders", "Items"}}},
      {"dataSources",
       {[](QWidget* W, const std::string& M) {
          auto* T = As<QTableWidget>(W, M);
          ASSERT_TRUE(T);
          SetCell(T, 0, 1, "id, name");  // a row without a name is not a source yet
          SetCell(T, 0, 0, "Orders");
        },
        json{{{"name", "Orders"}, {"fields", {"id", "name"}}}}}},
  };
  {
    TInspected I;
    I.Selection.SelectPage();
    std::vector<std::string_view> Members(PageMembers.begin(), PageMembers.end());
    Members.insert(Members.end(), PdfMembers.begin(), PdfMembers.end());
    Members.push_back("visibleDataSources");
    Members.push_back("dataSources");
    for (std::string_view M : Members) {
      const std::string Member(M);
      auto It = PageProbes.find(Member);
      ASSERT_NE(It, PageProbes.end()) << "no probe for page member " << Member;
      const bool Pdf = std::find(PdfMembers.begin(), PdfMembers.end(), M) != PdfMembers.end();
      const bool Root = Member == "visibleDataSources" || Member == "dataSources";
      ProbeMember(I, Member, It->second,
                  [Pdf, Root](const json& J) { return Root ? J : J.value(Pdf ? "pdf" : "page", json::object()); });
    }
  }

  // A band.
  const std::map<std::string, TProbe> BandProbes = {
      {"type", {ComboTo(btGroupHeader), "GroupHeader"}},
      {"height", {SpinTo(45.5), 45.5}},
      {"dataSource", {ComboData("Orders"), "Orders"}},
      {"groupCondition",
       {Browse<TExpressionEditor>([](TExpressionEditor& D) { D.SetText("YEAR(Orders.date)"); }), "YEAR(Orders.date)"}},
      {"autoGrow", {CheckTo(true), true}},
      {"printOnFirstPage", {CheckTo(false), false}},
      {"printOnOddPages", {CheckTo(false), false}},
      {"printOnEvenPages", {CheckTo(false), false}},
  };
  {
    TInspected I;
    I.Doc.AddBand(0, btMasterData);
    I.Inspector.SetDataSourceNames({"Orders", "Items"});
    I.Selection.SelectBand(0);
    for (std::string_view M : BandMembers) {
      if (M == "elements") continue;
      const std::string Member(M);
      auto It = BandProbes.find(Member);
      ASSERT_NE(It, BandProbes.end()) << "no probe for band member " << Member;
      ProbeMember(I, Member, It->second, [](const json& J) { return J["bands"][0]; });
    }
  }

  // Every kind of element, every member the writer writes for it; the others have no editor.
  for (size_t K = 0; K < ElemTypeNames.size(); ++K) {
    const auto Kind = static_cast<TRptElemType>(K);
    SCOPED_TRACE(std::string("element ") + std::string(ElemTypeNames[K]));
    const std::set<std::string> Written = WrittenMembers(Kind);
    const std::map<std::string, TProbe> ElemProbes = Probes(Kind);
    for (std::string_view M : ElementMembers) {
      const std::string Member(M);
      TInspected I;
      I.Doc.AddBand(0, btMasterData);
      TReportElement E;
      E.ElemType = Kind;
      E.Name = "e1";
      auto It = ElemProbes.find(Member);
      ASSERT_NE(It, ElemProbes.end()) << "no probe for element member " << Member;
      if (It->second.Prepare) It->second.Prepare(E);
      I.Doc.AddElement(0, 0, E);
      I.Selection.SelectElements({{0, 0}});
      if (!Written.count(Member)) {
        EXPECT_EQ(I.Inspector.EditorFor(Member), nullptr) << Member << " is not saved for this kind but editable";
        continue;
      }
      ProbeMember(I, Member, It->second, [](const json& J) { return J["bands"][0]["elements"][0]; });
    }
  }
}

TEST(Inspector, OneEditOfTwoLabelsIsOneUndoStep) {
  TInspected I;
  I.Doc.AddBand(0, btMasterData);
  TReportElement A, B;
  A.Name = "a";
  B.Name = "b";
  B.FontSize = 12;
  B.Top = 40;
  I.Doc.AddElement(0, 0, A);
  I.Doc.AddElement(0, 1, B);
  I.Selection.SelectElements({{0, 0}, {0, 1}});

  // Differing values show blank; equal ones show the value.
  auto* Size = qobject_cast<QDoubleSpinBox*>(I.Inspector.EditorFor("fontSize"));
  auto* Name = qobject_cast<QLineEdit*>(I.Inspector.EditorFor("name"));
  auto* Bold = qobject_cast<QCheckBox*>(I.Inspector.EditorFor("fontBold"));
  auto* Left = qobject_cast<QDoubleSpinBox*>(I.Inspector.EditorFor("left"));
  ASSERT_TRUE(Size && Name && Bold && Left);
  EXPECT_TRUE(Size->text().isEmpty());
  EXPECT_TRUE(Name->text().isEmpty());
  EXPECT_EQ(Bold->checkState(), Qt::Unchecked);
  EXPECT_DOUBLE_EQ(Left->value(), 10);
  EXPECT_FALSE(Left->text().isEmpty());

  struct TCase {
    const char* Member;
    std::function<void()> Drive;
    json Expected;
  };
  const std::vector<TCase> Cases = {
      {"fontBold", [&] { Bold->setChecked(true); }, true},
      {"fontSize", [&] { Size->setValue(20); }, 20},
      {"textColor", [&] { qobject_cast<TColorButton*>(I.Inspector.EditorFor("textColor"))->SetColor(0xFFAA0000); },
       "#FFAA0000"},
  };
  for (const TCase& C : Cases) {
    SCOPED_TRACE(C.Member);
    const std::string Before = I.Doc.FileBytes();
    const int Steps = I.Doc.UndoStack().index();
    C.Drive();
    EXPECT_EQ(I.Doc.UndoStack().index(), Steps + 1);
    const json J = Saved(I.Doc);
    for (int E = 0; E < 2; ++E) EXPECT_EQ(J["bands"][0]["elements"][E][C.Member], C.Expected) << E;
    I.Doc.UndoStack().undo();
    EXPECT_EQ(I.Doc.FileBytes(), Before);
    I.Doc.UndoStack().redo();
  }
  // A blank member set to the value the first element has still applies it to both.
  auto* Top = qobject_cast<QDoubleSpinBox*>(I.Inspector.EditorFor("top"));
  ASSERT_NE(Top, nullptr);
  EXPECT_TRUE(Top->text().isEmpty());
  Top->setValue(10);
  emit Top->editingFinished();
  EXPECT_EQ(Saved(I.Doc)["bands"][0]["elements"][1]["top"], 10);
  // After the edits the values agree: no longer blank.
  EXPECT_EQ(Size->text().isEmpty(), false);
  EXPECT_DOUBLE_EQ(Size->value(), 20);
}

TEST(Inspector, ColumnsOfATableResizeAroundTheirCells) {
  TInspected I;
  I.Doc.AddBand(0, btMasterData);
  TReportElement T;
  T.ElemType = retTable;
  T.Rows = 2;
  T.Cols = 2;
  T.CellTexts = {"a", "b", "c", "d"};
  I.Doc.AddElement(0, 0, T);
  I.Selection.SelectElements({{0, 0}});
  auto* Cols = qobject_cast<QSpinBox*>(I.Inspector.EditorFor("cols"));
  ASSERT_NE(Cols, nullptr);
  Cols->setValue(3);
  EXPECT_EQ(Saved(I.Doc)["bands"][0]["elements"][0]["cells"], (json{"a", "b", "", "c", "d", ""}));
  Cols->setValue(1);
  EXPECT_EQ(Saved(I.Doc)["bands"][0]["elements"][0]["cells"], (json{"a", "c"}));

  // The grid editor resizes the same way, styles and column weights along.
  TTableGrid G0 = TableGridOf(T);
  G0.Styles[3].HasStyle = true;
  G0.Styles[3].Bold = true;
  G0.ColWidths = {1, 2};
  TTableGridEditor D(G0, TExprContext{});
  EXPECT_EQ(D.Grid(), G0);
  D.ColCount()->setValue(3);
  TTableGrid G = D.Grid();
  EXPECT_EQ(G.Cells, (std::vector<std::string>{"a", "b", "", "c", "d", ""}));
  EXPECT_TRUE(G.Styles[4].HasStyle && G.Styles[4].Bold);
  EXPECT_EQ(G.ColWidths, (std::vector<float>{1, 2, 1}));
  D.RowCount()->setValue(1);
  G = D.Grid();
  EXPECT_EQ(G.Cells, (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(G.ColFields.size(), 3u);
  EXPECT_TRUE(G.RowHeights.empty());
}

// The editors follow the document and the selection: another kind of element brings its members
// and undo takes them away again, an edit that changes nothing is no undo step, a subreport beside
// the report is kept relative to it, and a selection the document no longer has shows nothing.
TEST(Inspector, EditorsFollowTheDocumentAndTheSelection) {
  QTemporaryDir Dir;
  TInspected I;
  I.Doc.SaveAs(Dir.filePath("report.qdr").toStdString());
  I.Doc.AddBand(0, btMasterData);
  I.Doc.AddElement(0, 0, TReportElement{});
  I.Selection.SelectElements({{0, 0}});
  EXPECT_EQ(I.Inspector.EditorFor("rows"), nullptr);
  qobject_cast<QComboBox*>(I.Inspector.EditorFor("type"))->setCurrentIndex(retTable);
  EXPECT_NE(I.Inspector.EditorFor("rows"), nullptr);
  EXPECT_NE(I.Inspector.EditorFor("colWidths"), nullptr);
  I.Doc.UndoStack().undo();
  EXPECT_EQ(I.Inspector.EditorFor("rows"), nullptr);

  const int Steps = I.Doc.UndoStack().index();
  auto* Name = qobject_cast<QLineEdit*>(I.Inspector.EditorFor("name"));
  auto* Left = qobject_cast<QDoubleSpinBox*>(I.Inspector.EditorFor("left"));
  ASSERT_TRUE(Name && Left);
  emit Name->editingFinished();
  Left->setValue(Left->value());
  emit Left->editingFinished();
  qobject_cast<TColorButton*>(I.Inspector.EditorFor("textColor"))->SetColor(0xFF000000);
  EXPECT_EQ(I.Doc.UndoStack().index(), Steps);

  qobject_cast<QComboBox*>(I.Inspector.EditorFor("type"))->setCurrentIndex(retSubreport);
  QDir(Dir.path()).mkdir("parts");
  QFile Sub(Dir.filePath("parts/sub.qdr"));
  ASSERT_TRUE(Sub.open(QIODevice::WriteOnly));
  Sub.close();
  Browse<QFileDialog>([&](QFileDialog& D) { D.selectFile(Sub.fileName()); })(I.Inspector.EditorFor("subReportFile"),
                                                                             "subReportFile");
  EXPECT_EQ(Saved(I.Doc)["bands"][0]["elements"][0]["subReportFile"], "parts/sub.qdr");

  I.Doc.RemoveElement(0, 0);
  EXPECT_EQ(I.Inspector.EditorFor("name"), nullptr);
  I.Selection.SelectBand(0);
  EXPECT_NE(I.Inspector.EditorFor("groupCondition"), nullptr);
  I.Doc.RemoveBand(0);
  EXPECT_EQ(I.Inspector.EditorFor("groupCondition"), nullptr);
}

TEST(ExpressionCheck, ValueOrFirstProblemWithItsPosition) {
  TExprContext Context;
  Context.Sources = {{"Orders", {"amount", "name"}}};
  Context.Variables = {"Customer"};
  TExprContext WithValues = Context;
  WithValues.FieldValue = [](const std::string& Name, TExprValue& V) {
    if (Name != "Orders.amount") return false;
    V = TExprValue::FromInt(21);
    return true;
  };
  struct TCase {
    const char* Text;
    TExprMode Mode;
    const TExprContext* Context;
    const char* Line;
  };
  const std::vector<TCase> Cases = {
      {"1 + 2", TExprMode::Expression, &Context, "Value: 3"},
      {"Orders.amount * 2", TExprMode::Expression, &WithValues, "Value: 42"},
      {"Orders.amount", TExprMode::Expression, &Context, "Value: "},
      {"amount", TExprMode::Expression, &Context, "Value: "},  // a bare field of some source
      {"PAGENO", TExprMode::Expression, &Context, "Value: 1"},
      {"Customer", TExprMode::Expression, &Context, "Value: "},
      {"customer", TExprMode::Expression, &Context, "position 1: unknown name \"customer\""},
      {"1 + nope", TExprMode::Expression, &Context, "position 5: unknown name \"nope\""},
      {"FORMT(1)", TExprMode::Expression, &Context, "position 1: unknown function \"FORMT\""},
      {"(1 + 2", TExprMode::Expression, &Context, "position 1: \"(\" without \")\""},
      {"Total [Orders.amount] of [missing]", TExprMode::Template, &WithValues, "position 27: unknown name \"missing\""},
      {"Total [Orders.amount] of [Orders.name]", TExprMode::Template, &WithValues, "Value: Total 21 of "},
      {"no placeholder [", TExprMode::Template, &Context, "Value: no placeholder ["},
  };
  for (const TCase& C : Cases) {
    const TExprCheck R = CheckExpression(C.Text, C.Mode, *C.Context);
    EXPECT_EQ(R.Line(), C.Line) << C.Text;
    EXPECT_EQ(R.Ok, std::string(C.Line).rfind("Value: ", 0) == 0) << C.Text;
  }

  // The dialog: a double-click inserts at the cursor, in brackets within a template, and the
  // check line follows the text.
  TExpressionEditor D("Sum: ", TExprMode::Template, Context);
  QListWidgetItem* Field = D.Fields()->item(0);
  ASSERT_NE(Field, nullptr);
  EXPECT_EQ(Field->text().toStdString(), "Orders.amount");
  emit D.Fields()->itemDoubleClicked(Field);
  EXPECT_EQ(D.Text().toStdString(), "Sum: [Orders.amount]");
  EXPECT_EQ(D.CheckLine().toStdString(), "Value: Sum: ");
  D.SetText("[x]");
  EXPECT_EQ(D.CheckLine().toStdString(), "position 2: unknown name \"x\"");
}

// Formatting a selection gives runs the engine's reader reads back with that format.
TEST(RichTextEditor, FormattedSelectionReadsBackInItsFormat) {
  struct TCase {
    const char* What;
    QString Text;
    int From, To;
    TRichFormat Format;
    uint32_t Value;
    std::function<bool(const TRTFRun&)> Has;
  };
  const std::vector<TCase> Cases = {
      {"bold", "Hello world", 6, 11, TRichFormat::Bold, 0, [](const TRTFRun& R) { return R.Bold; }},
      {"italic", "Hello world", 6, 11, TRichFormat::Italic, 0, [](const TRTFRun& R) { return R.Italic; }},
      {"colour", "Hello world", 6, 11, TRichFormat::Color, 0xFFCC0000,
       [](const TRTFRun& R) { return R.Color == 0xFFCC0000; }},
      {"size", "Hello world", 6, 11, TRichFormat::Size, 1450, [](const TRTFRun& R) { return R.FontSize == 14.5f; }},
      {"escaped", "a{b}\\c world", 7, 12, TRichFormat::Bold, 0, [](const TRTFRun& R) { return R.Bold; }},
  };
  for (const TCase& C : Cases) {
    SCOPED_TRACE(C.What);
    const TRichEdit E = ApplyRichFormat({C.Text, C.From, C.To}, C.Format, C.Value);
    EXPECT_EQ(E.Text.mid(E.From, E.To - E.From), C.Text.mid(C.From, C.To - C.From));
    const std::vector<TRTFRun> Runs = ParseRichText(E.Text.toStdString(), "Sans", 10, 0xFF000000);
    std::string All, Marked;
    for (const TRTFRun& R : Runs) {
      All += R.Text;
      if (C.Has(R)) Marked += R.Text;
    }
    EXPECT_EQ(All, C.Text.toStdString());
    EXPECT_EQ(Marked, C.Text.mid(C.From, C.To - C.From).toStdString());
  }
  // A second colour goes into the same table; the first keeps its index.
  TRichEdit E = ApplyRichFormat({"one two", 0, 3}, TRichFormat::Color, 0xFF0000FF);
  const int Two = static_cast<int>(E.Text.indexOf("two"));
  E = ApplyRichFormat({E.Text, Two, Two + 3}, TRichFormat::Color, 0xFF00FF00);
  const std::vector<TRTFRun> Runs = ParseRichText(E.Text.toStdString(), "Sans", 10, 0xFF000000);
  std::map<std::string, TAlphaColor> Colors;
  for (const TRTFRun& R : Runs) Colors[R.Text] = R.Color;
  EXPECT_EQ(Colors["one"], 0xFF0000FFu);
  EXPECT_EQ(Colors["two"], 0xFF00FF00u);
}

}  // namespace
}  // namespace quillet::designer
