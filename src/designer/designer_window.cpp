#include "designer/designer_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QToolBar>
#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QDockWidget>
#include <QGuiApplication>
#include <QInputDialog>
#include <QLabel>
#include <QMimeData>
#include <QTreeWidget>
#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "designer/design_surface.h"
#include "designer/data_tree.h"
#include "designer/designer_settings.h"
#include "designer/edit_operations.h"
#include "designer/field_placement.h"
#include "designer/inspector.h"
#include "designer/toolbox.h"
#include "screen/screen_drivers.h"

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }
QString Utf8(std::string_view S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

QString Num(float V) { return QString::number(static_cast<double>(V), 'g', 6); }

const char* const kFilter = "Report definitions (*.qdr);;All files (*)";
// The clipboard's own form of copied elements (also put there as plain JSON text).
const char* const kElementsMimeType = "application/x-formwright-elements";

}  // namespace

TDesignerWindow::TDesignerWindow(TReportDocument& Doc, QWidget* Parent)
    : QMainWindow(Parent), FDoc(Doc), FSettings(std::make_unique<TDesignerSettings>()) {
  FSurface = new TDesignSurface(FDoc, FSel, this);
  setCentralWidget(FSurface);
  FSurface->SetUnit(FSettings->RulerUnit());
  FSurface->SetGrid(FSettings->GridStep(), FSettings->SnapToGrid());
  BuildDocks();
  BuildActions();
  connect(&FDoc, &TReportDocument::Changed, this, [this] {
    FDataTree->SetReportSchema(FDoc.Page().DataSources);
    Refresh();
    UpdateTitle();
    UpdateStatus();
    UpdateActions();
  });
  connect(&FDoc, &TReportDocument::FileNameChanged, this, [this] {
    UpdateTitle();
    ApplyGridOf(FDoc.Page());
  });
  connect(&FSel, &TSelection::Changed, this, [this] {
    SyncOutlineSelection();
    UpdateStatus();
    UpdateActions();
  });
  FCursorLabel = new QLabel(this);
  FSelectionLabel = new QLabel(this);
  FZoomLabel = new QLabel(this);
  statusBar()->addPermanentWidget(FSelectionLabel);
  statusBar()->addPermanentWidget(FCursorLabel);
  statusBar()->addPermanentWidget(FZoomLabel);
  connect(FSurface, &TDesignSurface::CursorMoved, this, [this](float X, float Y, int Band) {
    const float u = PointsPer(FSurface->Unit());
    QString where = Band >= 0 ? tr("in band %1").arg(Band + 1) : tr("on the page");
    FCursorLabel->setText(tr("x %1  y %2 %3 %4")
                              .arg(X / u, 0, 'f', 1)
                              .arg(Y / u, 0, 'f', 1)
                              .arg(QString::fromLatin1(UnitName(FSurface->Unit())), where));
  });
  connect(FSurface, &TDesignSurface::ZoomChanged, this,
          [this](float Z) { FZoomLabel->setText(tr("%1%").arg(std::lround(Z * 100))); });
  connect(FSurface, &TDesignSurface::ToolUsed, this, [this] { FToolbox->ShowArmed(std::nullopt); });
  connect(FToolbox, &TToolbox::ToolChosen, this, [this](std::optional<TRptElemType> T) {
    FSurface->SetTool(T);
    FSurface->setFocus();
    if (T) statusBar()->showMessage(tr("Click on a band to place the %1").arg(Utf8(ElemTypeNames[*T])), 5000);
  });
  FZoomLabel->setText("100%");
  FSurface->SetFieldSource(TDesignSurface::TFieldSource{
      [this] { return FDataTree->SelectedField().has_value(); },
      [this](size_t Band, float Left, float Top) {
        const auto field = FDataTree->SelectedField();
        if (!field) return;
        PlaceFieldOnBand(Band, Left, Top, field->first, field->second);
        // One click, one field: the next click on a band selects again.
        FDataTree->clearSelection();
      },
      [this](size_t Band, float Left, float Top, const std::string& Qualified) {
        const size_t dot = Qualified.find('.');
        if (dot == std::string::npos) return;
        PlaceFieldOnBand(Band, Left, Top, Qualified.substr(0, dot), Qualified.substr(dot + 1));
      }});
  connect(FDataTree, &TDataTree::FieldActivated, this, [this](const QString& Source, const QString& Field) {
    // Into the selected band, or the band of the selected elements, or the first data band.
    const TReportPage& page = FDoc.Page();
    if (page.Bands.empty()) return;
    size_t band = page.Bands.size();
    if (FSel.Kind() != TSelection::TKind::Page) band = FSel.Band();
    for (size_t i = 0; band >= page.Bands.size() && i < page.Bands.size(); ++i)
      if (page.Bands[i]->BandType == btMasterData || page.Bands[i]->BandType == btDetailData) band = i;
    if (band >= page.Bands.size()) band = 0;
    PlaceFieldOnBand(band, -1, 0, Source.toStdString(), Field.toStdString());
  });
  resize(1260, 900);
  if (const QByteArray g = FSettings->WindowGeometry(); !g.isEmpty()) restoreGeometry(g);
  if (const QByteArray st = FSettings->WindowState(); !st.isEmpty()) restoreState(st);
  Refresh();
  UpdateTitle();
  UpdateStatus();
  UpdateActions();
  statusBar()->showMessage(tr("Ready"));
}

TDesignerWindow::~TDesignerWindow() = default;

void TDesignerWindow::BuildDocks() {
  FToolbox = new TToolbox(this);
  auto* tools = new QDockWidget(tr("Toolbox"), this);
  tools->setObjectName("toolboxDock");
  tools->setWidget(FToolbox);
  addDockWidget(Qt::LeftDockWidgetArea, tools);

  FDataTree = new TDataTree(this);
  auto* data = new QDockWidget(tr("Data"), this);
  data->setObjectName("dataDock");
  data->setWidget(FDataTree);
  addDockWidget(Qt::LeftDockWidgetArea, data);
  FDataTree->setToolTip(tr("Select a field, then click on a band to place it; or drag it onto a band"));

  FOutline = new QTreeWidget(this);
  FOutline->setColumnCount(2);
  FOutline->setHeaderLabels({tr("Item"), tr("Details")});
  FOutline->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  FOutline->setSelectionMode(QAbstractItemView::ExtendedSelection);
  auto* outline = new QDockWidget(tr("Outline"), this);
  outline->setObjectName("outlineDock");
  outline->setWidget(FOutline);
  addDockWidget(Qt::RightDockWidgetArea, outline);

  FInspector = new TInspector(FDoc, FSel, this);
  auto* inspector = new QDockWidget(tr("Inspector"), this);
  inspector->setObjectName("inspectorDock");
  inspector->setWidget(FInspector);
  addDockWidget(Qt::RightDockWidgetArea, inspector);
  resizeDocks({outline, inspector}, {200, 500}, Qt::Vertical);
  resizeDocks({tools, inspector}, {170, 300}, Qt::Horizontal);
  resizeDocks({tools, data}, {330, 300}, Qt::Vertical);
  connect(FOutline, &QTreeWidget::itemSelectionChanged, this, [this] {
    if (FSyncing) return;
    std::vector<TElementRef> refs;
    int band = -1;
    for (QTreeWidgetItem* item : FOutline->selectedItems()) {
      const int kind = item->data(0, Qt::UserRole).toInt();
      if (kind == 1) band = item->data(0, Qt::UserRole + 1).toInt();
      if (kind == 2)
        refs.push_back({static_cast<size_t>(item->data(0, Qt::UserRole + 1).toInt()),
                        static_cast<size_t>(item->data(0, Qt::UserRole + 2).toInt())});
    }
    FSyncing = true;
    if (!refs.empty())
      FSel.SelectElements(refs);
    else if (band >= 0)
      FSel.SelectBand(static_cast<size_t>(band));
    else
      FSel.SelectPage();
    FSyncing = false;
  });
}

QAction* TDesignerWindow::Action(const QString& Name) const { return findChild<QAction*>(Name); }

void TDesignerWindow::BuildActions() {
  QToolBar* bar = addToolBar(tr("File"));
  bar->setObjectName("fileToolBar");
  auto add = [&](QMenu* Menu, const QString& Name, const QString& Text, QKeySequence Keys, auto Slot,
                 bool OnBar = false) {
    QAction* a = Menu->addAction(Text);
    a->setObjectName(Name);
    if (!Keys.isEmpty()) a->setShortcut(Keys);
    connect(a, &QAction::triggered, this, Slot);
    if (OnBar) bar->addAction(a);
    return a;
  };
  QMenu* file = menuBar()->addMenu(tr("&File"));
  add(file, "new", tr("&New"), QKeySequence::New, [this] { NewReport(); }, true);
  add(file, "open", tr("&Open..."), QKeySequence::Open, [this] { OpenReport(); }, true);
  FRecentMenu = file->addMenu(tr("Open &Recent"));
  FRecentMenu->setObjectName("recentMenu");
  connect(FRecentMenu, &QMenu::aboutToShow, this, &TDesignerWindow::FillRecentMenu);
  add(file, "save", tr("&Save"), QKeySequence::Save, [this] { Save(); }, true);
  add(file, "saveAs", tr("Save &As..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S), [this] { SaveAs(); });
  file->addSeparator();
  add(file, "preview", tr("Pre&view"), QKeySequence(Qt::Key_F5), [this] { PreviewReport(); }, true);
  add(file, "exportPdf", tr("&Export PDF..."), QKeySequence(Qt::CTRL | Qt::Key_E), [this] { ExportPdf(); });
  file->addSeparator();
  add(file, "quit", tr("&Quit"), QKeySequence::Quit, [this] { close(); });

  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  QAction* undo = FDoc.UndoStack().createUndoAction(this, tr("&Undo"));
  undo->setObjectName("undo");
  undo->setShortcut(QKeySequence::Undo);
  QAction* redo = FDoc.UndoStack().createRedoAction(this, tr("&Redo"));
  redo->setObjectName("redo");
  redo->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Y), QKeySequence::Redo});
  edit->addAction(undo);
  edit->addAction(redo);
  bar->addSeparator();
  bar->addAction(undo);
  bar->addAction(redo);
  edit->addSeparator();
  add(edit, "cut", tr("Cu&t"), QKeySequence::Cut, [this] { Cut(); });
  add(edit, "copy", tr("&Copy"), QKeySequence::Copy, [this] { Copy(); });
  add(edit, "paste", tr("&Paste"), QKeySequence::Paste, [this] { Paste(); });
  add(edit, "duplicate", tr("D&uplicate"), QKeySequence(Qt::CTRL | Qt::Key_D),
      [this] { DuplicateSelection(FDoc, FSel, FSurface->GridStep()); });
  add(edit, "delete", tr("&Delete"), QKeySequence::Delete, [this] {
    if (!FSel.Elements().empty())
      DeleteSelection(FDoc, FSel);
    else if (FSel.Kind() == TSelection::TKind::Band)
      FDoc.RemoveBand(FSel.Band());
  });
  edit->addSeparator();
  add(edit, "selectAll", tr("Select &All"), QKeySequence::SelectAll, [this] {
    std::vector<TElementRef> all;
    for (size_t i = 0; i < FDoc.Page().Bands.size(); ++i)
      for (size_t j = 0; j < FDoc.Page().Bands[i]->Elements.size(); ++j) all.push_back({i, j});
    FSel.SelectElements(std::move(all));
  });

  QMenu* bands = menuBar()->addMenu(tr("&Band"));
  QMenu* addBand = bands->addMenu(tr("&Add band"));
  addBand->setObjectName("addBandMenu");
  for (size_t i = 0; i < BandTypeLabels.size(); ++i) {
    const auto type = static_cast<TBandType>(i);
    add(addBand, "addBand." + Utf8(BandTypeNames[i]), Utf8(BandTypeLabels[i]), QKeySequence(),
        [this, type] { AddBand(type); });
  }
  add(bands, "removeBand", tr("&Remove band"), QKeySequence(), [this] {
    if (FSel.Kind() == TSelection::TKind::Band) FDoc.RemoveBand(FSel.Band());
  });
  add(bands, "bandUp", tr("Move band &up"), QKeySequence(), [this] {
    if (FSel.Kind() != TSelection::TKind::Band || FSel.Band() == 0) return;
    const size_t b = FSel.Band();
    FDoc.MoveBand(b, b - 1);
    FSel.SelectBand(b - 1);
  });
  add(bands, "bandDown", tr("Move band &down"), QKeySequence(), [this] {
    if (FSel.Kind() != TSelection::TKind::Band || FSel.Band() + 1 >= FDoc.Page().Bands.size()) return;
    const size_t b = FSel.Band();
    FDoc.MoveBand(b, b + 1);
    FSel.SelectBand(b + 1);
  });

  QMenu* arrange = menuBar()->addMenu(tr("&Arrange"));
  add(arrange, "bringToFront", tr("Bring to &front"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_BracketRight),
      [this] { RaiseSelection(FDoc, FSel); });
  add(arrange, "sendToBack", tr("Send to &back"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_BracketLeft),
      [this] { LowerSelection(FDoc, FSel); });
  arrange->addSeparator();
  const std::pair<const char*, TAlign> aligns[] = {{"alignLeft", TAlign::Left},     {"alignHCenter", TAlign::HCenter},
                                                   {"alignRight", TAlign::Right},   {"alignTop", TAlign::Top},
                                                   {"alignVCenter", TAlign::VCenter}, {"alignBottom", TAlign::Bottom}};
  const QString alignText[] = {tr("Align &left edges"), tr("Align &centres"),       tr("Align &right edges"),
                               tr("Align &top edges"),  tr("Align &middles"),      tr("Align &bottom edges")};
  QMenu* alignMenu = arrange->addMenu(tr("A&lign"));
  for (size_t k = 0; k < 6; ++k) {
    const TAlign how = aligns[k].second;
    add(alignMenu, aligns[k].first, alignText[k], QKeySequence(), [this, how] { AlignSelection(FDoc, FSel, how); });
  }
  QMenu* sizeMenu = arrange->addMenu(tr("Same &size"));
  add(sizeMenu, "sameWidth", tr("Same &width"), QKeySequence(), [this] { SameSizeSelection(FDoc, FSel, TSameSize::Width); });
  add(sizeMenu, "sameHeight", tr("Same &height"), QKeySequence(),
      [this] { SameSizeSelection(FDoc, FSel, TSameSize::Height); });
  add(sizeMenu, "sameSize", tr("Same &size"), QKeySequence(), [this] { SameSizeSelection(FDoc, FSel, TSameSize::Both); });
  QMenu* spaceMenu = arrange->addMenu(tr("&Spacing"));
  add(spaceMenu, "spaceAcross", tr("Space evenly &across"), QKeySequence(),
      [this] { SpaceSelectionEvenly(FDoc, FSel, true); });
  add(spaceMenu, "spaceDown", tr("Space evenly &down"), QKeySequence(), [this] { SpaceSelectionEvenly(FDoc, FSel, false); });

  QMenu* view = menuBar()->addMenu(tr("&View"));
  bar->addSeparator();
  bar->addAction(add(view, "zoomIn", tr("Zoom &in"), QKeySequence::ZoomIn, [this] { FSurface->ZoomIn(); }));
  bar->addAction(add(view, "zoomOut", tr("Zoom &out"), QKeySequence::ZoomOut, [this] { FSurface->ZoomOut(); }));
  add(view, "zoom100", tr("&Actual size"), QKeySequence(Qt::CTRL | Qt::Key_0), [this] { FSurface->SetZoom(1); });
  bar->addAction(add(view, "fitWidth", tr("&Fit width"), QKeySequence(), [this] { FSurface->FitWidth(); }));
  view->addSeparator();
  QMenu* units = view->addMenu(tr("Ruler &unit"));
  auto* unitGroup = new QActionGroup(this);
  const std::pair<const char*, TUnit> unitList[] = {
      {"unit.mm", TUnit::Millimetre}, {"unit.inch", TUnit::Inch}, {"unit.pt", TUnit::Point}};
  const QString unitText[] = {tr("&Millimetres"), tr("&Inches"), tr("&Points")};
  for (size_t k = 0; k < 3; ++k) {
    const TUnit u = unitList[k].second;
    QAction* a = add(units, unitList[k].first, unitText[k], QKeySequence(), [this, u] {
      FSurface->SetUnit(u);
      FSettings->SetRulerUnit(u);
      UpdateStatus();
    });
    a->setCheckable(true);
    a->setChecked(u == FSurface->Unit());
    unitGroup->addAction(a);
  }
  QAction* snap = add(view, "snapToGrid", tr("&Snap to grid"), QKeySequence(),
                      [this](bool On) {
                        FSurface->SetGrid(FSurface->GridStep(), On);
                        FSettings->SetSnapToGrid(On);
                      });
  snap->setCheckable(true);
  snap->setChecked(FSurface->Snap());
  QMenu* help = menuBar()->addMenu(tr("&Help"));
  add(help, "about", tr("&About Formwright"), QKeySequence(), [this] {
    QMessageBox::about(this, tr("About Formwright"),
                       tr("<b>Formwright %1</b><p>The report designer of Quillet.</p>"
                          "<p>Select a field in the data tree, then click on a band to place it; click a kind in "
                          "the toolbox, then on a band. F5 shows the report with the data it was started "
                          "with.</p>")
                           .arg(QApplication::applicationVersion()));
  });
  add(view, "gridStep", tr("&Grid step..."), QKeySequence(), [this] {
    bool ok = false;
    const double step = QInputDialog::getDouble(this, tr("Grid step"), tr("Grid step in points:"),
                                                static_cast<double>(FSurface->GridStep()), 0.5, 200, 1, &ok);
    if (!ok) return;
    FSurface->SetGrid(static_cast<float>(step), FSurface->Snap());
    FSettings->SetGridStep(static_cast<float>(step));
  });
}

void TDesignerWindow::SetOfferedDataSources(const std::vector<TDataSourceSchema>& Sources) {
  std::vector<TDataSourceSchema> merged;
  for (const TDataSourceSchema& s : Sources) {
    auto same = [&s](const TDataSourceSchema& M) { return M.Name == s.Name; };
    if (std::find_if(merged.begin(), merged.end(), same) == merged.end()) merged.push_back(s);
  }
  FDataTree->SetDescription(merged);
  FDataTree->expandAll();
  FInspector->SetDataSources(merged);
}

void TDesignerWindow::SetFieldResolver(TGetIdentValueFunc Resolver) { FInspector->SetFieldResolver(std::move(Resolver)); }

void TDesignerWindow::PlaceFieldOnBand(size_t Band, float Left, float Top, const std::string& Source,
                                       const std::string& Field) {
  if (Band >= FDoc.Page().Bands.size()) return;
  const TReportBand& band = *FDoc.Page().Bands[Band];
  if (Left < 0) {
    Left = 0;
    for (const auto& e : band.Elements) Left = std::max(Left, e->Left + e->Width + FSurface->GridStep());
    Left = FSurface->SnapValue(Left);
  }
  PlaceField(FDoc, Band, Left, Top, Source, Field, FDataTree->FieldsOf(Source));
  FSel.SelectElements({{Band, FDoc.Page().Bands[Band]->Elements.size() - 1}});
  FSurface->setFocus();
}

void TDesignerWindow::FillRecentMenu() {
  FRecentMenu->clear();
  const std::vector<std::string> files = FSettings->RecentFiles();
  for (size_t k = 0; k < files.size(); ++k) {
    const QString file = Utf8(files[k]);
    QAction* a = FRecentMenu->addAction(QString("&%1 %2").arg((k + 1) % 10).arg(QFileInfo(file).fileName()));
    a->setToolTip(file);
    a->setStatusTip(file);
    connect(a, &QAction::triggered, this, [this, file] { OpenReport(file); });
  }
  if (files.empty()) FRecentMenu->addAction(tr("(none)"))->setEnabled(false);
  FRecentMenu->addSeparator();
  connect(FRecentMenu->addAction(tr("&Clear list")), &QAction::triggered, this, [this] { FSettings->ClearRecentFiles(); });
}

void TDesignerWindow::Remember(const std::string& File) {
  if (!File.empty()) FSettings->AddRecentFile(File);
}

void TDesignerWindow::ApplyGridOf(const TReportPage& Page) {
  // A report that sets its own grid size is designed on it; others on the user's step.
  const float step = Page.GridSize != 10 && Page.GridSize > 0 ? static_cast<float>(Page.GridSize)
                                                               : FSettings->GridStep();
  FSurface->SetGrid(step, FSurface->Snap());
}

void TDesignerWindow::AddBand(TBandType Type) {
  size_t at = FDoc.Page().Bands.size();
  if (FSel.Kind() == TSelection::TKind::Band) at = FSel.Band() + 1;
  FDoc.AddBand(at, Type);
  FSel.SelectBand(at);
}

void TDesignerWindow::Copy() {
  if (FSel.Elements().empty()) return;
  auto* data = new QMimeData;
  const std::string json = ElementsToJson(FDoc.Page(), FSel.Elements());
  data->setData(kElementsMimeType, QByteArray::fromStdString(json));
  data->setText(Utf8(json));
  QGuiApplication::clipboard()->setMimeData(data);
}

void TDesignerWindow::Cut() {
  Copy();
  DeleteSelection(FDoc, FSel);
}

void TDesignerWindow::Paste() {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  if (!data || FDoc.Page().Bands.empty()) return;
  const QByteArray bytes = data->hasFormat(kElementsMimeType) ? data->data(kElementsMimeType) : data->text().toUtf8();
  const std::vector<TReportElement> elements = ElementsFromJson(bytes.toStdString());
  if (elements.empty()) return;
  size_t band = FDoc.Page().Bands.size() - 1;
  if (FSel.Kind() != TSelection::TKind::Page) band = FSel.Band();
  PasteElements(FDoc, FSel, band, elements, FSurface->GridStep());
}

void TDesignerWindow::UpdateActions() {
  const bool elements = !FSel.Elements().empty();
  const bool band = FSel.Kind() == TSelection::TKind::Band;
  for (const char* name : {"cut", "copy", "duplicate", "bringToFront", "sendToBack"})
    if (QAction* a = Action(name)) a->setEnabled(elements);
  if (QAction* a = Action("delete")) a->setEnabled(elements || band);
  for (const char* name : {"removeBand", "bandUp", "bandDown"})
    if (QAction* a = Action(name)) a->setEnabled(band);
  const size_t n = FSel.Elements().size();
  for (const char* name : {"alignLeft", "alignHCenter", "alignRight", "alignTop", "alignVCenter", "alignBottom",
                           "sameWidth", "sameHeight", "sameSize"})
    if (QAction* a = Action(name)) a->setEnabled(n >= 2);
  for (const char* name : {"spaceAcross", "spaceDown"})
    if (QAction* a = Action(name)) a->setEnabled(n >= 3);
  if (QAction* a = Action("paste")) a->setEnabled(!FDoc.Page().Bands.empty());
}

void TDesignerWindow::UpdateStatus() {
  const float u = PointsPer(FSurface->Unit());
  const QString unit = QString::fromLatin1(UnitName(FSurface->Unit()));
  switch (FSel.Kind()) {
    case TSelection::TKind::Page:
      FSelectionLabel->setText(tr("Page %1 x %2 %3").arg(FDoc.Page().PageWidth / u, 0, 'f', 1)
                                   .arg(FDoc.Page().PageHeight / u, 0, 'f', 1).arg(unit));
      break;
    case TSelection::TKind::Band: {
      const TReportBand& b = *FDoc.Page().Bands.at(FSel.Band());
      FSelectionLabel->setText(tr("%1 band, height %2 %3")
                                   .arg(Utf8(BandTypeLabels[static_cast<size_t>(b.BandType)]))
                                   .arg(b.Height / u, 0, 'f', 1)
                                   .arg(unit));
      break;
    }
    case TSelection::TKind::Elements: {
      const TElementRef r = FSel.Elements().front();
      const TReportElement& e = *FDoc.Page().Bands.at(r.Band)->Elements.at(r.Index);
      QString text = tr("%1 at %2, %3 size %4 x %5 %6")
                         .arg(Utf8(e.Name.empty() ? std::string(ElemTypeNames[e.ElemType]) : e.Name))
                         .arg(e.Left / u, 0, 'f', 1)
                         .arg(e.Top / u, 0, 'f', 1)
                         .arg(e.Width / u, 0, 'f', 1)
                         .arg(e.Height / u, 0, 'f', 1)
                         .arg(unit);
      if (FSel.Elements().size() > 1) text = tr("%1 elements; first: %2").arg(FSel.Elements().size()).arg(text);
      FSelectionLabel->setText(text);
      break;
    }
  }
}

void TDesignerWindow::Refresh() {
  FSyncing = true;
  FOutline->clear();
  const TReportPage& p = FDoc.Page();
  auto* page = new QTreeWidgetItem(FOutline, {tr("Page"), tr("%1 x %2 pt, margins %3 %4 %5 %6")
                                                              .arg(p.PageWidth)
                                                              .arg(p.PageHeight)
                                                              .arg(Num(p.MarginTop), Num(p.MarginRight),
                                                                   Num(p.MarginBottom), Num(p.MarginLeft))});
  page->setData(0, Qt::UserRole, 0);
  for (size_t i = 0; i < p.Bands.size(); ++i) {
    const TReportBand& b = *p.Bands[i];
    QString details = tr("height %1").arg(Num(b.Height));
    if (!b.DataSourceName.empty()) details += tr(", data source %1").arg(Utf8(b.DataSourceName));
    auto* band = new QTreeWidgetItem(page, {Utf8(BandTypeLabels[static_cast<size_t>(b.BandType)]), details});
    band->setData(0, Qt::UserRole, 1);
    band->setData(0, Qt::UserRole + 1, static_cast<int>(i));
    for (size_t j = 0; j < b.Elements.size(); ++j) {
      const TReportElement& e = *b.Elements[j];
      QString name = Utf8(ElemTypeNames[static_cast<size_t>(e.ElemType)]);
      if (!e.Name.empty()) name += " " + Utf8(e.Name);
      QString what = tr("at %1, %2 size %3 x %4").arg(Num(e.Left), Num(e.Top), Num(e.Width), Num(e.Height));
      const std::string& shown = !e.DataField.empty() ? e.DataField : e.Text;
      if (!shown.empty()) what += "  " + Utf8(shown).left(60);
      auto* item = new QTreeWidgetItem(band, {name, what});
      item->setData(0, Qt::UserRole, 2);
      item->setData(0, Qt::UserRole + 1, static_cast<int>(i));
      item->setData(0, Qt::UserRole + 2, static_cast<int>(j));
    }
  }
  FOutline->expandAll();
  FSyncing = false;
  SyncOutlineSelection();
}

void TDesignerWindow::SyncOutlineSelection() {
  if (FSyncing) return;
  FSyncing = true;
  FOutline->clearSelection();
  QTreeWidgetItem* page = FOutline->topLevelItem(0);
  if (page) {
    switch (FSel.Kind()) {
      case TSelection::TKind::Page:
        break;
      case TSelection::TKind::Band:
        if (QTreeWidgetItem* b = page->child(static_cast<int>(FSel.Band()))) b->setSelected(true);
        break;
      case TSelection::TKind::Elements:
        for (const TElementRef& r : FSel.Elements())
          if (QTreeWidgetItem* b = page->child(static_cast<int>(r.Band)))
            if (QTreeWidgetItem* e = b->child(static_cast<int>(r.Index))) e->setSelected(true);
        break;
    }
  }
  FSyncing = false;
}

void TDesignerWindow::UpdateTitle() {
  const QString name =
      FDoc.FileName().empty() ? tr("Untitled report") : QFileInfo(Utf8(FDoc.FileName())).fileName();
  setWindowTitle(name + "[*] - Formwright");
  setWindowModified(FDoc.IsModified());
}

void TDesignerWindow::ShowError(const QString& What, const std::exception& E) {
  QString text = Utf8(std::string(E.what()));
  if (const auto* q = dynamic_cast<const EQuilletError*>(&E); q && !q->Detail().empty())
    text += ": " + Utf8(q->Detail());
  QMessageBox::critical(this, What, text);
}

bool TDesignerWindow::MaySpoilChanges() {
  if (!FDoc.IsModified()) return true;
  const auto answer = QMessageBox::question(this, tr("Unsaved changes"),
                                            tr("The report has changes that are not saved. Save them?"),
                                            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
  if (answer == QMessageBox::Save) return Save();
  return answer == QMessageBox::Discard;
}

void TDesignerWindow::PreviewReport() {
  try {
    TReportEngine engine;
    engine.SetReportFile(FDoc.FileName());
    InstallGuiMessageHook(engine);
    if (FEngineSetup) FEngineSetup(engine);
    Preview(engine, FDoc.MutablePage());
  } catch (const std::exception& e) {
    ShowError(tr("Preview"), e);
  }
}

bool TDesignerWindow::ExportPdf(const QString& FileName) {
  QString file = FileName;
  if (file.isEmpty()) {
    QString suggested = Utf8(FDoc.FileName());
    if (suggested.endsWith(".qdr")) suggested.chop(4);
    if (!suggested.isEmpty()) suggested += ".pdf";
    file = QFileDialog::getSaveFileName(this, tr("Export PDF"), suggested, tr("PDF files (*.pdf)"));
  }
  if (file.isEmpty()) return false;
  try {
    TReportEngine engine;
    engine.SetReportFile(FDoc.FileName());
    if (FEngineSetup) FEngineSetup(engine);
    engine.ExportPDF(FDoc.MutablePage(), file.toStdString());
  } catch (const std::exception& e) {
    ShowError(tr("Export PDF"), e);
    return false;
  }
  statusBar()->showMessage(tr("Exported %1").arg(file), 5000);
  return true;
}

bool TDesignerWindow::NewReport() {
  if (!MaySpoilChanges()) return false;
  FDoc.NewReport();
  FSel.SelectPage();
  return true;
}

bool TDesignerWindow::OpenReport(const QString& FileName) {
  if (!MaySpoilChanges()) return false;
  QString file = FileName;
  if (file.isEmpty()) file = QFileDialog::getOpenFileName(this, tr("Open report"), QString(), tr(kFilter));
  if (file.isEmpty()) return false;
  try {
    FDoc.Open(file.toStdString());
  } catch (const std::exception& e) {
    ShowError(tr("Open report"), e);
    return false;
  }
  Remember(FDoc.FileName());
  FSel.SelectPage();
  statusBar()->showMessage(tr("Opened %1").arg(file), 5000);
  return true;
}

bool TDesignerWindow::Save() {
  if (FDoc.FileName().empty()) return SaveAs();
  try {
    FDoc.Save();
  } catch (const std::exception& e) {
    ShowError(tr("Save report"), e);
    return false;
  }
  Remember(FDoc.FileName());
  statusBar()->showMessage(tr("Saved %1").arg(Utf8(FDoc.FileName())), 5000);
  return true;
}

bool TDesignerWindow::SaveAs() {
  QString file = QFileDialog::getSaveFileName(this, tr("Save report as"), Utf8(FDoc.FileName()), tr(kFilter));
  if (file.isEmpty()) return false;
  if (QFileInfo(file).suffix().isEmpty()) file += ".qdr";
  try {
    FDoc.SaveAs(file.toStdString());
  } catch (const std::exception& e) {
    ShowError(tr("Save report"), e);
    return false;
  }
  Remember(FDoc.FileName());
  statusBar()->showMessage(tr("Saved %1").arg(file), 5000);
  return true;
}

void TDesignerWindow::closeEvent(QCloseEvent* Event) {
  if (!MaySpoilChanges()) {
    Event->ignore();
    return;
  }
  FSettings->SetWindowGeometry(saveGeometry());
  FSettings->SetWindowState(saveState());
  Event->accept();
}

}  // namespace quillet::designer
