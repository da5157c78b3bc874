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
#include <QTreeWidget>

#include "base/error.h"

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }
QString Utf8(std::string_view S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

QString Num(float V) { return QString::number(static_cast<double>(V), 'g', 6); }

const char* const kFilter = "Report definitions (*.qdr);;All files (*)";

}  // namespace

TDesignerWindow::TDesignerWindow(TReportDocument& Doc, QWidget* Parent) : QMainWindow(Parent), FDoc(Doc) {
  FOutline = new QTreeWidget(this);
  FOutline->setColumnCount(2);
  FOutline->setHeaderLabels({tr("Item"), tr("Details")});
  FOutline->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  setCentralWidget(FOutline);
  BuildActions();
  connect(&FDoc, &TReportDocument::Changed, this, [this] {
    Refresh();
    UpdateTitle();
  });
  connect(&FDoc, &TReportDocument::FileNameChanged, this, &TDesignerWindow::UpdateTitle);
  resize(900, 640);
  Refresh();
  UpdateTitle();
  statusBar()->showMessage(tr("Ready"));
}

void TDesignerWindow::BuildActions() {
  QMenu* file = menuBar()->addMenu(tr("&File"));
  QToolBar* bar = addToolBar(tr("File"));
  bar->setObjectName("fileToolBar");
  auto add = [&](QMenu* Menu, const QString& Text, QKeySequence Keys, auto Slot, bool OnBar = false) {
    QAction* a = Menu->addAction(Text);
    a->setShortcut(Keys);
    connect(a, &QAction::triggered, this, Slot);
    if (OnBar) bar->addAction(a);
    return a;
  };
  add(file, tr("&New"), QKeySequence::New, [this] { NewReport(); }, true);
  add(file, tr("&Open..."), QKeySequence::Open, [this] { OpenReport(); }, true);
  add(file, tr("&Save"), QKeySequence::Save, [this] { Save(); }, true);
  add(file, tr("Save &As..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S), [this] { SaveAs(); });
  file->addSeparator();
  add(file, tr("&Quit"), QKeySequence::Quit, [this] { close(); });

  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  QAction* undo = FDoc.UndoStack().createUndoAction(this, tr("&Undo"));
  undo->setShortcut(QKeySequence::Undo);
  QAction* redo = FDoc.UndoStack().createRedoAction(this, tr("&Redo"));
  redo->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Y), QKeySequence::Redo});
  edit->addAction(undo);
  edit->addAction(redo);
  bar->addSeparator();
  bar->addAction(undo);
  bar->addAction(redo);
}

void TDesignerWindow::Refresh() {
  FOutline->clear();
  const TReportPage& p = FDoc.Page();
  auto* page = new QTreeWidgetItem(FOutline, {tr("Page"), tr("%1 x %2 pt, margins %3 %4 %5 %6")
                                                              .arg(p.PageWidth)
                                                              .arg(p.PageHeight)
                                                              .arg(Num(p.MarginTop), Num(p.MarginRight),
                                                                   Num(p.MarginBottom), Num(p.MarginLeft))});
  for (const auto& b : p.Bands) {
    QString details = tr("height %1").arg(Num(b->Height));
    if (!b->DataSourceName.empty()) details += tr(", data source %1").arg(Utf8(b->DataSourceName));
    auto* band = new QTreeWidgetItem(page, {Utf8(BandTypeLabels[static_cast<size_t>(b->BandType)]), details});
    for (const auto& e : b->Elements) {
      QString name = Utf8(ElemTypeNames[static_cast<size_t>(e->ElemType)]);
      if (!e->Name.empty()) name += " " + Utf8(e->Name);
      QString what = tr("at %1, %2 size %3 x %4").arg(Num(e->Left), Num(e->Top), Num(e->Width), Num(e->Height));
      const std::string& shown = !e->DataField.empty() ? e->DataField : e->Text;
      if (!shown.empty()) what += "  " + Utf8(shown).left(60);
      new QTreeWidgetItem(band, {name, what});
    }
  }
  FOutline->expandAll();
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

bool TDesignerWindow::NewReport() {
  if (!MaySpoilChanges()) return false;
  FDoc.NewReport();
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
  statusBar()->showMessage(tr("Saved %1").arg(file), 5000);
  return true;
}

void TDesignerWindow::closeEvent(QCloseEvent* Event) {
  if (MaySpoilChanges())
    Event->accept();
  else
    Event->ignore();
}

}  // namespace quillet::designer
