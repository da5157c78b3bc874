#include "designer/inspector.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "designer/inspector_editors.h"
#include "designer/rich_text_editor.h"
#include "designer/table_grid_editor.h"

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }
QString Utf8(std::string_view S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }
std::string Std(const QString& S) { return S.toUtf8().toStdString(); }

// How a member is edited.
enum class TEditKind {
  Float,       // QDoubleSpinBox
  Int,         // QSpinBox
  Bool,        // QCheckBox
  Enum,        // QComboBox of Items, the value is the ordinal
  Color,       // TColorButton
  Font,        // editable QComboBox of font families
  Text,        // QLineEdit
  Template,    // TPathEdit with the expression editor on a [expression] template
  Expression,  // TPathEdit with the expression editor on one expression
  Memo,        // TPathEdit with the rich text editor
  File,        // TPathEdit with a file dialog
  DataSource,  // QComboBox of the data source names, the value is the name
  Grid,        // QPushButton that opens the table grid editor
  NameList,    // QLineEdit of comma-separated names
  Schema,      // QTableWidget of data sources and their fields
};

// One member of a kind of object T (TPageProps, TBandProps, TReportElement): how it is shown
// and how its value is read and set, as a QVariant (double, int, bool, uint colour, QString ...).
template <typename T>
struct TMemberDef {
  const char* Member;
  const char* Label;
  TEditKind Kind;
  const char* Section;
  std::function<QVariant(const T&)> Get;
  std::function<void(T&, const QVariant&)> Set;
  double Min = -100000;
  double Max = 100000;
  QStringList Items = {};
  // Elements: the kinds the member matters for (shown up front) and the kinds the writer writes it
  // for (shown at all), one bit per TRptElemType.
  uint32_t Relevant = ~0u;
  uint32_t Written = ~0u;
};

template <size_t N>
QStringList ItemsOf(const std::array<std::string_view, N>& Names) {
  QStringList L;
  for (std::string_view S : Names) L << Utf8(S);
  return L;
}

constexpr uint32_t Bit(TRptElemType T) { return 1u << static_cast<uint32_t>(T); }
template <typename... TKinds>
constexpr uint32_t Kinds(TKinds... T) {
  return (Bit(T) | ...);
}

// clang-format off
// Accessors for a field F of T as a member of the given value type.
#define QL_FLOAT(F) \
  [](const auto& O) { return QVariant(static_cast<double>(O.F)); }, \
  [](auto& O, const QVariant& V) { O.F = static_cast<float>(V.toDouble()); }
#define QL_INT(F) \
  [](const auto& O) { return QVariant(static_cast<int>(O.F)); }, [](auto& O, const QVariant& V) { O.F = V.toInt(); }
#define QL_BOOL(F) \
  [](const auto& O) { return QVariant(static_cast<bool>(O.F)); }, [](auto& O, const QVariant& V) { O.F = V.toBool(); }
#define QL_COLOR(F) \
  [](const auto& O) { return QVariant(static_cast<uint>(O.F)); }, [](auto& O, const QVariant& V) { O.F = V.toUInt(); }
#define QL_STR(F) \
  [](const auto& O) { return QVariant(Utf8(O.F)); }, [](auto& O, const QVariant& V) { O.F = Std(V.toString()); }
#define QL_ENUM(F, TYPE) \
  [](const auto& O) { return QVariant(static_cast<int>(O.F)); }, \
  [](auto& O, const QVariant& V) { O.F = static_cast<TYPE>(V.toInt()); }

const std::vector<TMemberDef<TPageProps>>& PageDefs() {
  using P = TPageProps;
  static const std::vector<TMemberDef<P>> Defs = {
      {"width", "Width", TEditKind::Int, "Page", QL_INT(PageWidth), 1, 100000},
      {"height", "Height", TEditKind::Int, "Page", QL_INT(PageHeight), 1, 100000},
      {"margin", "All margins", TEditKind::Float, "Margins",
       [](const P& O) {
         const bool Same = O.MarginTop == O.MarginBottom && O.MarginTop == O.MarginLeft && O.MarginTop == O.MarginRight;
         return Same ? QVariant(static_cast<double>(O.MarginTop)) : QVariant();
       },
       [](P& O, const QVariant& V) {
         O.MarginTop = O.MarginBottom = O.MarginLeft = O.MarginRight = static_cast<float>(V.toDouble());
       },
       0, 10000},
      {"marginTop", "Top", TEditKind::Float, "Margins", QL_FLOAT(MarginTop), 0, 10000},
      {"marginBottom", "Bottom", TEditKind::Float, "Margins", QL_FLOAT(MarginBottom), 0, 10000},
      {"marginLeft", "Left", TEditKind::Float, "Margins", QL_FLOAT(MarginLeft), 0, 10000},
      {"marginRight", "Right", TEditKind::Float, "Margins", QL_FLOAT(MarginRight), 0, 10000},
      {"startPageNumber", "First page number", TEditKind::Int, "Page", QL_INT(StartPageNumber), -1000000000,
       1000000000},
      {"resetPageNumber", "Restart numbering", TEditKind::Bool, "Page", QL_BOOL(ResetPageNumber)},
      {"gridSize", "Grid size", TEditKind::Int, "Page", QL_INT(GridSize), 1, 1000},
      {"printerName", "Printer", TEditKind::Text, "Page", QL_STR(PrinterName)},
      {"title", "Title", TEditKind::Text, "PDF document", QL_STR(PdfTitle)},
      {"author", "Author", TEditKind::Text, "PDF document", QL_STR(PdfAuthor)},
      {"subject", "Subject", TEditKind::Text, "PDF document", QL_STR(PdfSubject)},
      {"keywords", "Keywords", TEditKind::Text, "PDF document", QL_STR(PdfKeywords)},
      {"creator", "Creator", TEditKind::Text, "PDF document", QL_STR(PdfCreator)},
      {"visibleDataSources", "Offered sources", TEditKind::NameList, "Data sources",
       [](const P& O) {
         QStringList L;
         for (const std::string& S : O.VisibleDataSources) L << Utf8(S);
         return QVariant(L);
       },
       [](P& O, const QVariant& V) {
         O.VisibleDataSources.clear();
         for (const QString& S : V.toStringList()) O.VisibleDataSources.push_back(Std(S));
       }},
      {"dataSources", "Schema", TEditKind::Schema, "Data sources",
       [](const P& O) {
         QVariantMap M;
         for (const auto& [Name, Fields] : O.DataSources) {
           QStringList L;
           for (const std::string& F : Fields) L << Utf8(F);
           M.insert(Utf8(Name), L);
         }
         return QVariant(M);
       },
       [](P& O, const QVariant& V) {
         O.DataSources.clear();
         const QVariantMap M = V.toMap();
         for (auto It = M.begin(); It != M.end(); ++It) {
           std::vector<std::string> Fields;
           for (const QString& F : It.value().toStringList()) Fields.push_back(Std(F));
           O.DataSources[Std(It.key())] = std::move(Fields);
         }
       }},
  };
  return Defs;
}

const std::vector<TMemberDef<TBandProps>>& BandDefs() {
  using B = TBandProps;
  static const std::vector<TMemberDef<B>> Defs = {
      {"type", "Type", TEditKind::Enum, "Band", QL_ENUM(BandType, TBandType), 0, 0, ItemsOf(BandTypeLabels)},
      {"height", "Height", TEditKind::Float, "Band", QL_FLOAT(Height), 0, 100000},
      {"dataSource", "Data source", TEditKind::DataSource, "Band", QL_STR(DataSourceName)},
      {"groupCondition", "Group condition", TEditKind::Expression, "Band", QL_STR(GroupCondition)},
      {"autoGrow", "Grow to fit", TEditKind::Bool, "Band", QL_BOOL(AutoGrow)},
      {"printOnFirstPage", "On the first page", TEditKind::Bool, "Printing", QL_BOOL(PrintOnFirstPage)},
      {"printOnOddPages", "On odd pages", TEditKind::Bool, "Printing", QL_BOOL(PrintOnOddPages)},
      {"printOnEvenPages", "On even pages", TEditKind::Bool, "Printing", QL_BOOL(PrintOnEvenPages)},
  };
  return Defs;
}

const std::vector<TMemberDef<TReportElement>>& ElementDefs() {
  using E = TReportElement;
  constexpr uint32_t kTexts = Kinds(retLabel, retEdit, retMemo, retCheckBox, retRadioButton, retBarcode, retQRCode);
  constexpr uint32_t kFonts = Kinds(retLabel, retEdit, retMemo, retCheckBox, retRadioButton, retTable);
  constexpr uint32_t kShapes = Kinds(retRectangle, retRoundRect, retEllipse, retCircle);
  constexpr uint32_t kMarks = Kinds(retCheckBox, retRadioButton);
  constexpr uint32_t kTable = Bit(retTable);
  // Rows or columns of a table: resized keeping every cell where it is.
  auto Resize = [](bool Rows) {
    return [Rows](E& O, const QVariant& V) {
      TTableGrid G = TableGridOf(O);
      ResizeTableGrid(G, Rows ? V.toInt() : G.Rows, Rows ? G.Cols : V.toInt());
      ApplyTableGrid(G, O);
    };
  };
  static const std::vector<TMemberDef<E>> Defs = {
      {"type", "Type", TEditKind::Enum, "Element", QL_ENUM(ElemType, TRptElemType), 0, 0, ItemsOf(ElemTypeNames)},
      {"name", "Name", TEditKind::Text, "Element", QL_STR(Name)},
      {"left", "Left", TEditKind::Float, "Position", QL_FLOAT(Left)},
      {"top", "Top", TEditKind::Float, "Position", QL_FLOAT(Top)},
      {"width", "Width", TEditKind::Float, "Position", QL_FLOAT(Width)},
      {"height", "Height", TEditKind::Float, "Position", QL_FLOAT(Height)},
      {"x2", "End X", TEditKind::Float, "Position", QL_FLOAT(X2), -100000, 100000, {}, Bit(retLine)},
      {"y2", "End Y", TEditKind::Float, "Position", QL_FLOAT(Y2), -100000, 100000, {}, Bit(retLine)},
      {"text", "Text", TEditKind::Template, "Content", QL_STR(Text), 0, 0, {}, kTexts},
      {"dataField", "Data field", TEditKind::Expression, "Content", QL_STR(DataField), 0, 0, {}, kTexts | kTable},
      {"imageFile", "Image file", TEditKind::File, "Content", QL_STR(ImageFile), 0, 0, {}, Bit(retImage)},
      {"imageScale", "Scaling", TEditKind::Enum, "Content", QL_ENUM(ImageScale, TRptImageScale), 0, 0,
       {"Stretch", "Fit", "Center", "Tile"}, Bit(retImage), Bit(retImage)},
      {"checked", "Checked", TEditKind::Bool, "Content", QL_BOOL(Checked), 0, 0, {}, kMarks},
      {"subReportFile", "Report file", TEditKind::File, "Content", QL_STR(SubReportFile), 0, 0, {},
       Bit(retSubreport), Bit(retSubreport)},
      {"subReportFlow", "In the page flow", TEditKind::Bool, "Content", QL_BOOL(SubReportFlow), 0, 0, {},
       Bit(retSubreport), Bit(retSubreport)},
      {"showBarcodeText", "Show the text", TEditKind::Bool, "Content", QL_BOOL(ShowBarcodeText), 0, 0, {},
       Bit(retBarcode), Bit(retBarcode)},
      {"wordWrap", "Word wrap", TEditKind::Bool, "Content", QL_BOOL(WordWrap), 0, 0, {}, Kinds(retLabel, retMemo)},
      {"fontName", "Font", TEditKind::Font, "Font", QL_STR(FontName), 0, 0, {}, kFonts},
      {"fontSize", "Size", TEditKind::Float, "Font", QL_FLOAT(FontSize), 1, 1000, {}, kFonts},
      {"fontBold", "Bold", TEditKind::Bool, "Font", QL_BOOL(FontBold), 0, 0, {}, kFonts},
      {"fontItalic", "Italic", TEditKind::Bool, "Font", QL_BOOL(FontItalic), 0, 0, {}, kFonts},
      {"horzAlign", "Horizontal", TEditKind::Enum, "Alignment", QL_ENUM(HorzAlign, TRptHorzAlign), 0, 0,
       {"Left", "Center", "Right"}, Kinds(retLabel, retMemo, retTable)},
      {"vertAlign", "Vertical", TEditKind::Enum, "Alignment", QL_ENUM(VertAlign, TRptVertAlign), 0, 0,
       {"Top", "Center", "Bottom"}, Kinds(retLabel, retMemo, retCheckBox, retRadioButton, retTable)},
      {"textColor", "Text", TEditKind::Color, "Colours", QL_COLOR(TextColor), 0, 0, {}, kTexts | kTable},
      {"backColor", "Background", TEditKind::Color, "Colours", QL_COLOR(BackColor), 0, 0, {}, kTexts},
      {"borderColor", "Border", TEditKind::Color, "Colours", QL_COLOR(BorderColor), 0, 0, {},
       Kinds(retEdit, retCheckBox, retRadioButton)},
      {"strokeColor", "Outline", TEditKind::Color, "Colours", QL_COLOR(StrokeColor), 0, 0, {},
       kShapes | Bit(retLine) | kTable},
      {"fillColor", "Fill", TEditKind::Color, "Colours", QL_COLOR(FillColor), 0, 0, {}, kShapes | kTable},
      {"borderWidth", "Border width", TEditKind::Float, "Lines", QL_FLOAT(BorderWidth), 0, 1000, {}, Bit(retEdit)},
      {"strokeWidth", "Outline width", TEditKind::Float, "Lines", QL_FLOAT(StrokeWidth), 0, 1000, {},
       kShapes | Bit(retLine) | kTable},
      {"cornerX", "Corner radius X", TEditKind::Float, "Lines", QL_FLOAT(CornerX), 0, 10000, {}, Bit(retRoundRect)},
      {"cornerY", "Corner radius Y", TEditKind::Float, "Lines", QL_FLOAT(CornerY), 0, 10000, {}, Bit(retRoundRect)},
      {"borderTop", "Border top", TEditKind::Bool, "Lines", QL_BOOL(BorderTop), 0, 0, {}, Bit(retEdit)},
      {"borderRight", "Border right", TEditKind::Bool, "Lines", QL_BOOL(BorderRight), 0, 0, {}, Bit(retEdit)},
      {"borderBottom", "Border bottom", TEditKind::Bool, "Lines", QL_BOOL(BorderBottom), 0, 0, {}, Bit(retEdit)},
      {"borderLeft", "Border left", TEditKind::Bool, "Lines", QL_BOOL(BorderLeft), 0, 0, {}, Bit(retEdit)},
      {"rows", "Rows", TEditKind::Int, "Table", [](const E& O) { return QVariant(O.Rows); }, Resize(true), 0, 1000,
       {}, kTable, kTable},
      {"cols", "Columns", TEditKind::Int, "Table", [](const E& O) { return QVariant(O.Cols); }, Resize(false), 0,
       1000, {}, kTable, kTable},
      {"cells", "Cells", TEditKind::Grid, "Table", [](const E&) { return QVariant(0); }, [](E&, const QVariant&) {},
       0, 0, {}, kTable, kTable},
      {"headerRow", "Header row", TEditKind::Bool, "Table", QL_BOOL(HeaderRow), 0, 0, {}, kTable, kTable},
      {"headerFill", "Header fill", TEditKind::Color, "Table", QL_COLOR(HeaderFill), 0, 0, {}, kTable, kTable},
      {"headerBold", "Header bold", TEditKind::Bool, "Table", QL_BOOL(HeaderBold), 0, 0, {}, kTable, kTable},
      {"headerTextColor", "Header text", TEditKind::Color, "Table", QL_COLOR(HeaderTextColor), 0, 0, {}, kTable,
       kTable},
  };
  return Defs;
}
// clang-format on

#undef QL_FLOAT
#undef QL_INT
#undef QL_BOOL
#undef QL_COLOR
#undef QL_STR
#undef QL_ENUM

// The table members the grid editor edits besides the cell texts.
constexpr std::array<std::string_view, 4> kGridAliases = {"cellStyles", "colWidths", "rowHeights", "colFields"};

template <typename T>
const TMemberDef<T>* FindDef(const std::vector<TMemberDef<T>>& Defs, const std::string& Member) {
  for (const TMemberDef<T>& D : Defs)
    if (D.Member == Member) return &D;
  return nullptr;
}

QStringList SplitNames(const QString& S) {
  QStringList L;
  for (const QString& Part : S.split(',')) {
    const QString T = Part.trimmed();
    if (!T.isEmpty()) L << T;
  }
  return L;
}

// A spin box that shows nothing for differing values: its text is cleared, its value kept.
template <typename TSpin, typename TValue>
void ShowSpin(TSpin* S, TValue V, bool Mixed) {
  S->setProperty("mixed", Mixed);
  if (Mixed) {
    S->clear();
    return;
  }
  if (S->value() != V || S->text().isEmpty()) S->setValue(V);
}

// A blank spin box keeps the first element's value: typing that same value changes no value, so
// finishing the edit applies it to all.
template <typename TSpin, typename TApply>
void AcceptSameValue(TSpin* S, TApply Apply) {
  QObject::connect(S, &QAbstractSpinBox::editingFinished, S, [S, Apply] {
    if (S->property("mixed").toBool() && !S->text().isEmpty()) Apply(S->value());
  });
}

}  // namespace

// One member as shown for the current selection.
struct TInspector::TField {
  std::string Member;
  QString Label;
  TEditKind Kind;
  QString Section;
  bool More = false;  // written for the selection but not what it is about: in "More"
  QVariant Value;
  bool Mixed = false;
  double Min = 0, Max = 0;
  QStringList Items;
};

// The editor of a shown member and how it shows a value.
struct TInspector::TRow {
  std::string Member;
  QWidget* Editor = nullptr;
  std::function<void(const TField&)> Show;
};

TInspector::TInspector(TReportDocument& Doc, TSelection& Selection, QWidget* Parent)
    : QWidget(Parent), FDoc(Doc), FSelection(Selection) {
  FTitle = new QLabel(this);
  QFont f = FTitle->font();
  f.setBold(true);
  FTitle->setFont(f);
  FScroll = new QScrollArea(this);
  FScroll->setWidgetResizable(true);
  FScroll->setFrameShape(QFrame::NoFrame);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addWidget(FTitle);
  layout->addWidget(FScroll, 1);
  connect(&FDoc, &TReportDocument::Changed, this, &TInspector::Refresh);
  connect(&FSelection, &TSelection::Changed, this, &TInspector::Refresh);
  setMinimumWidth(260);
  Refresh();
}

TInspector::~TInspector() = default;

void TInspector::SetDataSourceNames(std::vector<std::string> Names) {
  FDataSourceNames = std::move(Names);
  Refresh();
}

void TInspector::SetDataSources(std::vector<TDataSourceSchema> Sources) {
  FSources = std::move(Sources);
  Refresh();
}

void TInspector::SetVariables(std::vector<std::string> Names) { FVariables = std::move(Names); }

void TInspector::SetFieldResolver(TGetIdentValueFunc Resolver) { FResolver = std::move(Resolver); }

TExprContext TInspector::ExpressionContext() const {
  TExprContext C;
  C.Sources = FSources;
  for (const auto& [Name, Fields] : FDoc.Page().DataSources) {
    auto It =
        std::find_if(C.Sources.begin(), C.Sources.end(), [&](const TDataSourceSchema& S) { return S.Name == Name; });
    if (It == C.Sources.end()) C.Sources.push_back({Name, Fields});
  }
  C.Variables = FVariables;
  C.FieldValue = FResolver;
  return C;
}

std::vector<std::string> TInspector::DataSourceChoices() const {
  std::vector<std::string> Names{std::string()};
  auto add = [&Names](const std::string& N) {
    if (std::find(Names.begin(), Names.end(), N) == Names.end()) Names.push_back(N);
  };
  for (const std::string& N : FDataSourceNames) add(N);
  for (const TDataSourceSchema& S : FSources) add(S.Name);
  for (const auto& [Name, Fields] : FDoc.Page().DataSources) add(Name);
  for (const std::string& N : FDoc.Page().VisibleDataSources) add(N);
  return Names;
}

QWidget* TInspector::EditorFor(std::string_view Member) const {
  const auto It = FEditors.find(Member);
  return It == FEditors.end() ? nullptr : It->second;
}

std::vector<std::string> TInspector::ShownMembers() const {
  std::vector<std::string> R;
  for (const TRow& Row : FRows) R.push_back(Row.Member);
  return R;
}

std::vector<TElementRef> TInspector::SelectedElements() const {
  std::vector<TElementRef> Refs;
  if (FSelection.Kind() != TSelection::TKind::Elements) return Refs;
  const TReportPage& P = FDoc.Page();
  for (const TElementRef& R : FSelection.Elements())
    if (R.Band < P.Bands.size() && R.Index < P.Bands[R.Band]->Elements.size()) Refs.push_back(R);
  return Refs;
}

QString TInspector::SelectionTitle() const {
  const TReportPage& P = FDoc.Page();
  switch (FSelection.Kind()) {
    case TSelection::TKind::Page: return tr("Page");
    case TSelection::TKind::Band:
      if (FSelection.Band() >= P.Bands.size()) return QString();
      return tr("Band %1: %2")
          .arg(FSelection.Band() + 1)
          .arg(Utf8(BandTypeLabels[static_cast<size_t>(P.Bands[FSelection.Band()]->BandType) % BandTypeLabels.size()]));
    case TSelection::TKind::Elements: {
      const std::vector<TElementRef> Refs = SelectedElements();
      if (Refs.size() != 1) return Refs.empty() ? QString() : tr("%1 elements").arg(Refs.size());
      const TReportElement& E = *P.Bands[Refs[0].Band]->Elements[Refs[0].Index];
      return Utf8(ElemTypeNames[static_cast<size_t>(E.ElemType) % ElemTypeNames.size()]) + " " + Utf8(E.Name);
    }
  }
  return QString();
}

std::vector<TInspector::TField> TInspector::CurrentFields() const {
  std::vector<TField> Fields;
  auto add = [&Fields](const auto& D, const QVariant& Value, bool Mixed, bool More) {
    TField F{D.Member, tr(D.Label), D.Kind, tr(D.Section), More, Value, Mixed || !Value.isValid(),
             D.Min,    D.Max,       D.Items};
    Fields.push_back(std::move(F));
  };
  const TReportPage& P = FDoc.Page();
  switch (FSelection.Kind()) {
    case TSelection::TKind::Page: {
      const TPageProps Props = PagePropsOf(P);
      for (const auto& D : PageDefs()) add(D, D.Get(Props), false, false);
      break;
    }
    case TSelection::TKind::Band: {
      if (FSelection.Band() >= P.Bands.size()) break;
      const TBandProps Props = BandPropsOf(*P.Bands[FSelection.Band()]);
      for (const auto& D : BandDefs()) add(D, D.Get(Props), false, false);
      break;
    }
    case TSelection::TKind::Elements: {
      std::vector<const TReportElement*> Elems;
      for (const TElementRef& R : SelectedElements()) Elems.push_back(P.Bands[R.Band]->Elements[R.Index].get());
      if (Elems.empty()) break;
      uint32_t Any = 0;
      bool AllMemos = true;
      for (const TReportElement* E : Elems) {
        Any |= Bit(E->ElemType);
        AllMemos = AllMemos && E->ElemType == retMemo;
      }
      // Members written for every selected kind; up front those that matter to one of them.
      std::vector<TField> More;
      for (const auto& D : ElementDefs()) {
        bool Written = true;
        for (const TReportElement* E : Elems) Written = Written && (D.Written & Bit(E->ElemType)) != 0;
        if (!Written) continue;
        const QVariant V = D.Get(*Elems[0]);
        bool Mixed = false;
        for (const TReportElement* E : Elems) Mixed = Mixed || D.Get(*E) != V;
        const bool Relevant = (D.Relevant & Any) != 0;
        add(D, V, Mixed, !Relevant);
        if (D.Member == std::string_view("text") && AllMemos) Fields.back().Kind = TEditKind::Memo;
        if (D.Member == std::string_view("cells") && Elems.size() > 1) Fields.back().Mixed = true;
        if (!Relevant) {
          More.push_back(std::move(Fields.back()));
          Fields.pop_back();
        }
      }
      for (TField& F : More) Fields.push_back(std::move(F));
      break;
    }
  }
  return Fields;
}

void TInspector::Refresh() {
  if (FApplying) return;
  FTitle->setText(SelectionTitle());
  const std::vector<TField> Fields = CurrentFields();
  std::string Key = std::to_string(static_cast<int>(FSelection.Kind())) + ":";
  for (const TField& F : Fields)
    Key += F.Member + "/" + std::to_string(static_cast<int>(F.Kind)) + (F.More ? "+" : "") + ",";
  if (Key != FKey) {
    FKey = Key;
    Rebuild(Fields);
  }
  ShowValues(Fields);
}

void TInspector::Rebuild(const std::vector<TField>& Fields) {
  FRows.clear();
  FEditors.clear();
  // The old editors may be the ones whose signal led here: they go once it is handled.
  if (QWidget* Old = FScroll->takeWidget()) {
    Old->hide();
    Old->deleteLater();
  }
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(0, 0, 0, 0);
  std::map<QString, QFormLayout*> forms;
  QWidget* moreBox = nullptr;
  QFormLayout* moreForm = nullptr;
  FRows.reserve(Fields.size());
  for (const TField& F : Fields) {
    QFormLayout* form = nullptr;
    QWidget* owner = nullptr;
    if (F.More) {
      if (!moreBox) {
        auto* toggle = new QToolButton(content);
        toggle->setText(tr("More members"));
        toggle->setCheckable(true);
        toggle->setChecked(FShowMore);
        toggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        toggle->setArrowType(FShowMore ? Qt::DownArrow : Qt::RightArrow);
        toggle->setAutoRaise(true);
        moreBox = new QGroupBox(content);
        moreBox->setVisible(FShowMore);
        moreForm = new QFormLayout(moreBox);
        connect(toggle, &QToolButton::toggled, this, [this, toggle, moreBox](bool On) {
          FShowMore = On;
          toggle->setArrowType(On ? Qt::DownArrow : Qt::RightArrow);
          moreBox->setVisible(On);
        });
        layout->addWidget(toggle);
        layout->addWidget(moreBox);
      }
      form = moreForm;
      owner = moreBox;
    } else {
      auto It = forms.find(F.Section);
      if (It == forms.end()) {
        auto* box = new QGroupBox(F.Section, content);
        auto* f = new QFormLayout(box);
        f->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
        layout->addWidget(box);
        It = forms.emplace(F.Section, f).first;
      }
      form = It->second;
      owner = form->parentWidget();
    }
    FRows.push_back(TRow{F.Member, nullptr, {}});
    TRow& Row = FRows.back();
    Row.Editor = MakeEditor(F, Row);
    Row.Editor->setParent(owner);
    Row.Editor->setObjectName(Utf8(F.Member));
    form->addRow(F.Label, Row.Editor);
    FEditors[F.Member] = Row.Editor;
    if (F.Kind == TEditKind::Grid)
      for (std::string_view A : kGridAliases) FEditors[std::string(A)] = Row.Editor;
  }
  layout->addStretch(1);
  FScroll->setWidget(content);
}

void TInspector::ShowValues(const std::vector<TField>& Fields) {
  FUpdating = true;
  for (size_t i = 0; i < Fields.size() && i < FRows.size(); ++i)
    if (FRows[i].Show) FRows[i].Show(Fields[i]);
  FUpdating = false;
}

QWidget* TInspector::MakeEditor(const TField& F, TRow& Row) {
  const std::string Member = F.Member;
  auto apply = [this, Member](const QVariant& V) {
    if (!FUpdating) Apply(Member, V);
  };
  switch (F.Kind) {
    case TEditKind::Float: {
      auto* w = new QDoubleSpinBox;
      w->setRange(F.Min, F.Max);
      w->setDecimals(2);
      w->setKeyboardTracking(false);
      connect(w, &QDoubleSpinBox::valueChanged, this, [apply](double V) { apply(V); });
      AcceptSameValue(w, apply);
      Row.Show = [w](const TField& F) { ShowSpin(w, F.Value.toDouble(), F.Mixed); };
      return w;
    }
    case TEditKind::Int: {
      auto* w = new QSpinBox;
      w->setRange(static_cast<int>(F.Min), static_cast<int>(F.Max));
      w->setKeyboardTracking(false);
      connect(w, &QSpinBox::valueChanged, this, [apply](int V) { apply(V); });
      AcceptSameValue(w, apply);
      Row.Show = [w](const TField& F) { ShowSpin(w, F.Value.toInt(), F.Mixed); };
      return w;
    }
    case TEditKind::Bool: {
      auto* w = new QCheckBox;
      connect(w, &QCheckBox::stateChanged, this, [apply, w](int State) {
        if (State == Qt::PartiallyChecked) return;
        w->setTristate(false);
        apply(State == Qt::Checked);
      });
      Row.Show = [w](const TField& F) {
        w->setTristate(F.Mixed);
        w->setCheckState(F.Mixed ? Qt::PartiallyChecked : F.Value.toBool() ? Qt::Checked : Qt::Unchecked);
      };
      return w;
    }
    case TEditKind::Enum: {
      auto* w = new QComboBox;
      w->addItems(F.Items);
      connect(w, &QComboBox::currentIndexChanged, this, [apply](int I) {
        if (I >= 0) apply(I);
      });
      Row.Show = [w](const TField& F) { w->setCurrentIndex(F.Mixed ? -1 : F.Value.toInt()); };
      return w;
    }
    case TEditKind::Color: {
      auto* w = new TColorButton;
      connect(w, &TColorButton::ColorChosen, this, [apply](TAlphaColor C) { apply(static_cast<uint>(C)); });
      Row.Show = [w](const TField& F) { w->ShowColor(F.Value.toUInt(), F.Mixed); };
      return w;
    }
    case TEditKind::Font: {
      auto* w = new QComboBox;
      w->setEditable(true);
      // The font database is read once; a rebuild happens with every other kind of selection.
      static const QStringList Families = QFontDatabase::families();
      w->addItems(Families);
      w->setInsertPolicy(QComboBox::NoInsert);
      auto finish = [apply, w] {
        if (w->currentText() != w->property("shown").toString()) {
          w->setProperty("shown", w->currentText());
          apply(w->currentText());
        }
      };
      connect(w->lineEdit(), &QLineEdit::editingFinished, this, finish);
      connect(w, &QComboBox::activated, this, finish);
      Row.Show = [w](const TField& F) {
        const QString Text = F.Mixed ? QString() : F.Value.toString();
        w->setProperty("shown", Text);
        if (w->currentText() != Text) w->setEditText(Text);
      };
      return w;
    }
    case TEditKind::Text:
    case TEditKind::NameList: {
      auto* w = new QLineEdit;
      const bool List = F.Kind == TEditKind::NameList;
      if (List) w->setPlaceholderText(tr("names, separated by commas"));
      connect(w, &QLineEdit::editingFinished, this, [apply, w, List] {
        if (w->text() == w->property("shown").toString()) return;
        w->setProperty("shown", w->text());
        apply(List ? QVariant(SplitNames(w->text())) : QVariant(w->text()));
      });
      Row.Show = [w, List](const TField& F) {
        const QString Text = F.Mixed ? QString() : List ? F.Value.toStringList().join(", ") : F.Value.toString();
        w->setPlaceholderText(F.Mixed ? tr("(different values)") : List ? tr("names, separated by commas") : QString());
        w->setProperty("shown", Text);
        // Text being typed is left alone until its edit is finished.
        if (w->text() != Text && !(w->hasFocus() && w->isModified())) w->setText(Text);
      };
      return w;
    }
    case TEditKind::Template:
    case TEditKind::Expression:
    case TEditKind::Memo:
    case TEditKind::File: {
      TPathEdit::TBrowse browse;
      if (F.Kind == TEditKind::File) {
        browse = [this, Member](const QString& Current, QString& Result) {
          return BrowseFile(Member, Current, Result);
        };
      } else if (F.Kind == TEditKind::Memo) {
        browse = [this](const QString& Current, QString& Result) {
          TRichTextEditor dlg(Current, this);
          if (RunDialog(dlg) != QDialog::Accepted) return false;
          Result = dlg.Text();
          return true;
        };
      } else {
        const TExprMode Mode = F.Kind == TEditKind::Template ? TExprMode::Template : TExprMode::Expression;
        browse = [this, Mode](const QString& Current, QString& Result) {
          TExpressionEditor dlg(Current, Mode, ExpressionContext(), this);
          if (RunDialog(dlg) != QDialog::Accepted) return false;
          Result = dlg.Text();
          return true;
        };
      }
      auto* w = new TPathEdit(std::move(browse));
      connect(w, &TPathEdit::Edited, this, [apply](const QString& T) { apply(T); });
      Row.Show = [w](const TField& F) {
        if (!(w->LineEdit()->hasFocus() && w->LineEdit()->isModified())) w->ShowText(F.Value.toString(), F.Mixed);
      };
      return w;
    }
    case TEditKind::DataSource: {
      auto* w = new QComboBox;
      connect(w, &QComboBox::currentIndexChanged, this, [apply, w](int I) {
        if (I >= 0) apply(w->itemData(I).toString());
      });
      Row.Show = [this, w](const TField& F) {
        std::vector<std::string> Names = DataSourceChoices();
        const std::string Current = Std(F.Value.toString());
        if (std::find(Names.begin(), Names.end(), Current) == Names.end()) Names.push_back(Current);
        w->clear();
        for (const std::string& N : Names) w->addItem(N.empty() ? tr("(main data set)") : Utf8(N), Utf8(N));
        w->setCurrentIndex(F.Mixed ? -1 : w->findData(F.Value.toString()));
      };
      return w;
    }
    case TEditKind::Grid: {
      auto* w = new QPushButton(tr("Edit grid..."));
      connect(w, &QPushButton::clicked, this, &TInspector::OpenGridEditor);
      Row.Show = [w](const TField& F) {
        w->setToolTip(F.Mixed ? tr("Opens the grid of the first table; applies it to every selected table")
                              : QString());
      };
      return w;
    }
    case TEditKind::Schema: {
      auto* w = new QTableWidget(0, 2);
      w->setHorizontalHeaderLabels({tr("Name"), tr("Fields")});
      w->horizontalHeader()->setStretchLastSection(true);
      w->verticalHeader()->hide();
      w->setMinimumHeight(110);
      w->setToolTip(
          tr("One data source a row, its fields separated by commas; type in the last row to add one, "
             "clear a name to remove one"));
      connect(w, &QTableWidget::itemChanged, this, [apply, w] {
        QVariantMap M;
        for (int R = 0; R < w->rowCount(); ++R) {
          const QString Name = w->item(R, 0) ? w->item(R, 0)->text().trimmed() : QString();
          if (!Name.isEmpty()) M.insert(Name, SplitNames(w->item(R, 1) ? w->item(R, 1)->text() : QString()));
        }
        apply(M);
      });
      Row.Show = [w](const TField& F) {
        const QVariantMap M = F.Value.toMap();
        const QSignalBlocker block(w);
        w->setRowCount(static_cast<int>(M.size()) + 1);
        int R = 0;
        for (auto It = M.begin(); It != M.end(); ++It, ++R) {
          w->setItem(R, 0, new QTableWidgetItem(It.key()));
          w->setItem(R, 1, new QTableWidgetItem(It.value().toStringList().join(", ")));
        }
        w->setItem(R, 0, new QTableWidgetItem);
        w->setItem(R, 1, new QTableWidgetItem);
      };
      return w;
    }
  }
  return new QWidget;
}

void TInspector::Apply(const std::string& Member, const QVariant& Value) {
  const QString What = tr("Change %1").arg(Utf8(Member));
  switch (FSelection.Kind()) {
    case TSelection::TKind::Page:
      if (const auto* D = FindDef(PageDefs(), Member)) EditPage([&](TPageProps& P) { D->Set(P, Value); });
      break;
    case TSelection::TKind::Band:
      if (const auto* D = FindDef(BandDefs(), Member)) EditBand([&](TBandProps& B) { D->Set(B, Value); });
      break;
    case TSelection::TKind::Elements:
      if (const auto* D = FindDef(ElementDefs(), Member))
        EditElements(What, [&](TReportElement& E) { D->Set(E, Value); });
      break;
  }
}

void TInspector::EditPage(const std::function<void(TPageProps&)>& Change) {
  const TPageProps Old = PagePropsOf(FDoc.Page());
  TPageProps New = Old;
  Change(New);
  if (New == Old) return;
  FDoc.SetPageProps(New);
}

void TInspector::EditBand(const std::function<void(TBandProps&)>& Change) {
  const size_t B = FSelection.Band();
  if (FSelection.Kind() != TSelection::TKind::Band || B >= FDoc.Page().Bands.size()) return;
  const TBandProps Old = BandPropsOf(*FDoc.Page().Bands[B]);
  TBandProps New = Old;
  Change(New);
  if (New == Old) return;
  FDoc.SetBandProps(B, New);
}

void TInspector::EditElements(const QString& What, const std::function<void(TReportElement&)>& Change) {
  std::vector<std::pair<TElementRef, TReportElement>> Changed;
  for (const TElementRef& R : SelectedElements()) {
    const TReportElement& Old = *FDoc.Page().Bands[R.Band]->Elements[R.Index];
    TReportElement New = Old;
    Change(New);
    if (!(New == Old)) Changed.emplace_back(R, std::move(New));
  }
  if (Changed.empty()) return;
  if (Changed.size() == 1) {
    FDoc.ReplaceElement(Changed[0].first.Band, Changed[0].first.Index, Changed[0].second, What);
    return;
  }
  // One undo step for all of them; the editors are shown again once, at the end.
  FApplying = true;
  FDoc.UndoStack().beginMacro(What);
  for (const auto& [R, E] : Changed) FDoc.ReplaceElement(R.Band, R.Index, E, What);
  FDoc.UndoStack().endMacro();
  FApplying = false;
  Refresh();
}

void TInspector::OpenGridEditor() {
  const std::vector<TElementRef> Refs = SelectedElements();
  if (Refs.empty()) return;
  const TReportElement& First = *FDoc.Page().Bands[Refs[0].Band]->Elements[Refs[0].Index];
  TTableGridEditor dlg(TableGridOf(First), ExpressionContext(), this);
  if (RunDialog(dlg) != QDialog::Accepted) return;
  const TTableGrid Grid = dlg.Grid();
  EditElements(tr("Edit table grid"), [&Grid](TReportElement& E) { ApplyTableGrid(Grid, E); });
}

bool TInspector::BrowseFile(const std::string& Member, const QString& Current, QString& Result) {
  const bool Report = Member == "subReportFile";
  const QString ReportDir = FDoc.FileName().empty() ? QString() : QFileInfo(Utf8(FDoc.FileName())).absolutePath();
  QString Start = Current;
  if (!Start.isEmpty() && QFileInfo(Start).isRelative() && !ReportDir.isEmpty())
    Start = QDir(ReportDir).filePath(Start);
  QFileDialog dlg(
      this, Report ? tr("Subreport") : tr("Image"), Start.isEmpty() ? ReportDir : QFileInfo(Start).absolutePath(),
      Report ? tr("Report definitions (*.qdr);;All files (*)") : tr("Images (*.png *.jpg *.jpeg);;All files (*)"));
  dlg.setFileMode(QFileDialog::ExistingFile);
  if (!Start.isEmpty()) dlg.selectFile(Start);
  if (RunDialog(dlg) != QDialog::Accepted || dlg.selectedFiles().isEmpty()) return false;
  Result = dlg.selectedFiles().front();
  // A subreport beside or below the report is kept relative to it, as the engine resolves it.
  if (Report && !ReportDir.isEmpty()) {
    const QString Rel = QDir(ReportDir).relativeFilePath(Result);
    if (!Rel.startsWith("..")) Result = Rel;
  }
  return true;
}

}  // namespace quillet::designer
