// The designer's main window: the design surface in the middle, the toolbox and the report's
// outline (page, bands, elements) beside it, the menus and tool bar of the file, edit, band,
// arrange and view actions, and a status bar with the cursor's place and the selection's box.
#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>

#include "designer/report_document.h"
#include "designer/selection.h"
#include "engine/designer_bridge.h"
#include "engine/report_engine.h"

class QTreeWidget;
class QAction;
class QLabel;
class QMenu;

namespace quillet::designer {

class TDataTree;
class TDesignSurface;
class TDesignerSettings;
class TInspector;
class TToolbox;

class TDesignerWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit TDesignerWindow(TReportDocument& Doc, QWidget* Parent = nullptr);
  ~TDesignerWindow() override;

  TReportDocument& Document() noexcept { return FDoc; }
  QTreeWidget* Outline() const noexcept { return FOutline; }
  TSelection& Selection() noexcept { return FSel; }
  TDesignSurface* Surface() const noexcept { return FSurface; }
  TToolbox* Toolbox() const noexcept { return FToolbox; }
  TInspector* Inspector() const noexcept { return FInspector; }
  TDataTree* DataTree() const noexcept { return FDataTree; }
  TDesignerSettings& Settings() noexcept { return *FSettings; }
  // The data sources an application offers (the /ds: description, the sets of --data): shown in
  // the data tree and offered by the inspector.
  void SetOfferedDataSources(const std::vector<TDataSourceSchema>& Sources);
  // Values of the first record of the designer's data, for the expression editor's check.
  void SetFieldResolver(TGetIdentValueFunc Resolver);
  // Places the field as a label in Band: at (Left, Top), or after the band's last element when
  // Left is negative; the label is selected.
  void PlaceFieldOnBand(size_t Band, float Left, float Top, const std::string& Source, const std::string& Field);
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
  void FillRecentMenu();
  void Remember(const std::string& File);
  void ApplyGridOf(const TReportPage& Page);
  void ShowError(const QString& What, const std::exception& E);

  TReportDocument& FDoc;
  TSelection FSel;
  TDesignSurface* FSurface = nullptr;
  TToolbox* FToolbox = nullptr;
  TInspector* FInspector = nullptr;
  TDataTree* FDataTree = nullptr;
  std::unique_ptr<TDesignerSettings> FSettings;
  QMenu* FRecentMenu = nullptr;
  QTreeWidget* FOutline = nullptr;
  QLabel* FCursorLabel = nullptr;
  QLabel* FSelectionLabel = nullptr;
  QLabel* FZoomLabel = nullptr;
  bool FSyncing = false;
  std::function<void(TReportEngine&)> FEngineSetup;
};

}  // namespace quillet::designer
