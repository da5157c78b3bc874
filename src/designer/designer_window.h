// The designer's main window: the menus and the tool bar of the document's file and edit actions,
// and the report's outline (page, bands, elements) that follows every edit and undo.
#pragma once

#include <QMainWindow>
#include <memory>

#include "designer/report_document.h"

class QTreeWidget;
class QAction;

namespace quillet::designer {

class TDesignerWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit TDesignerWindow(TReportDocument& Doc, QWidget* Parent = nullptr);

  TReportDocument& Document() noexcept { return FDoc; }
  QTreeWidget* Outline() const noexcept { return FOutline; }

  // The file actions; each returns whether it went through (a cancelled dialog does not).
  bool NewReport();
  bool OpenReport(const QString& FileName = QString());
  bool Save();
  bool SaveAs();
  // Asks what to do with unsaved changes: true when they are saved or may go.
  bool MaySpoilChanges();

 protected:
  void closeEvent(QCloseEvent* Event) override;

 private:
  void BuildActions();
  void Refresh();
  void UpdateTitle();
  void ShowError(const QString& What, const std::exception& E);

  TReportDocument& FDoc;
  QTreeWidget* FOutline = nullptr;
};

}  // namespace quillet::designer
