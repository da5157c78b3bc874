// The designer's main window: the design surface in the middle, the toolbox and the report's
// outline (page, bands, elements) beside it, the menus and tool bar of the file, edit, band,
// arrange and view actions, and a status bar with the cursor's place and the selection's box.
#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>

#include "designer/report_document.h"
#include "designer/selection.h"
#include "engine/report_engine.h"

class QTreeWidget;
class QAction;
class QLabel;

namespace quillet::designer {

class TDesignSurface;
class TInspector;
class TToolbox;

class TDesignerWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit TDesignerWindow(TReportDocument& Doc, QWidget* Parent = nullptr);

  TReportDocument& Document() noexcept { return FDoc; }
  QTreeWidget* Outline() const noexcept { return FOutline; }
  TSelection& Selection() noexcept { return FSel; }
  TDesignSurface* Surface() const noexcept { return FSurface; }
  TToolbox* Toolbox() const noexcept { return FToolbox; }
  TInspector* Inspector() const noexcept { return FInspector; }
  // The action of a menu entry by its object name ("addBand.MasterData", "alignLeft", ...).
  QAction* Action(const QString& Name) const;

  // The edit actions (also on the menus).
  void Copy();
  void Cut();
  void Paste();
  // Adds a band of Type where the report walks it among the others: after the selected band, or
  // at the end.
  void AddBand(TBandType Type);

  // The file actions; each returns whether it went through (a cancelled dialog does not).
  bool NewReport();
  bool OpenReport(const QString& FileName = QString());
  bool Save();
  bool SaveAs();
  // Asks what to do with unsaved changes: true when they are saved or may go.
  bool MaySpoilChanges();
  // The report as it is now (saved or not) in the preview window; and the same to a PDF file.
  void PreviewReport();
  bool ExportPdf(const QString& FileName = QString());
  // Called on the engine of each preview and export before it runs: registers the data sets and
  // variables the designer was started with.
  void SetEngineSetup(std::function<void(TReportEngine&)> Setup) { FEngineSetup = std::move(Setup); }

 protected:
  void closeEvent(QCloseEvent* Event) override;

 private:
  void BuildActions();
  void BuildDocks();
  void Refresh();
  void SyncOutlineSelection();
  void UpdateTitle();
  void UpdateStatus();
  void UpdateActions();
  void ShowError(const QString& What, const std::exception& E);

  TReportDocument& FDoc;
  TSelection FSel;
  TDesignSurface* FSurface = nullptr;
  TToolbox* FToolbox = nullptr;
  TInspector* FInspector = nullptr;
  QTreeWidget* FOutline = nullptr;
  QLabel* FCursorLabel = nullptr;
  QLabel* FSelectionLabel = nullptr;
  QLabel* FZoomLabel = nullptr;
  bool FSyncing = false;
  std::function<void(TReportEngine&)> FEngineSetup;
};

}  // namespace quillet::designer
