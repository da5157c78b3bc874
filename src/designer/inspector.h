// The inspector: the members of what is selected (the page with its document information and
// data-source schema, one band, or elements), each with an editor that suits it. Every change
// applies at once as one undoable edit of the document; with several elements selected, a member
// edits all of them in one undo step, and a member whose values differ shows blank.
#pragma once

#include <QWidget>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "designer/expression_editor.h"
#include "designer/report_document.h"
#include "designer/selection.h"
#include "engine/designer_bridge.h"

class QLabel;
class QScrollArea;

namespace quillet::designer {

class TInspector : public QWidget {
  Q_OBJECT

 public:
  TInspector(TReportDocument& Doc, TSelection& Selection, QWidget* Parent = nullptr);
  ~TInspector() override;

  // The data sources the application offers, for the band's data source list (the report's own
  // "dataSources" are always offered too).
  void SetDataSourceNames(std::vector<std::string> Names);
  // Data sources with their fields, for the expression editor's field list (their names join the
  // band's list as well).
  void SetDataSources(std::vector<TDataSourceSchema> Sources);
  // The report's own variables, for the expression editor.
  void SetVariables(std::vector<std::string> Names);
  // Values of the first record for the expression editor's check line.
  void SetFieldResolver(TGetIdentValueFunc Resolver);

  // What the expression editor is given: the sources set here and the report's own schema.
  TExprContext ExpressionContext() const;
  // The data source names the band's list offers, "" (the main data set) first.
  std::vector<std::string> DataSourceChoices() const;

  // The editor of a member as the report file names it ("width", "marginTop", "title" of the PDF
  // information, "type", "fontBold", "cells" ...), or nullptr when it is not shown. Table members
  // edited in the grid editor ("cells", "cellStyles", "colWidths", "rowHeights", "colFields") all
  // give its button.
  QWidget* EditorFor(std::string_view Member) const;
  // The members shown, in order.
  std::vector<std::string> ShownMembers() const;

  // Shows the selection's values again, rebuilding the editors when other members are to be shown.
  void Refresh();

 private:
  struct TField;
  struct TRow;
  std::vector<TField> CurrentFields() const;
  void Rebuild(const std::vector<TField>& Fields);
  void ShowValues(const std::vector<TField>& Fields);
  QWidget* MakeEditor(const TField& Field, TRow& Row);
  void Apply(const std::string& Member, const QVariant& Value);
  void EditPage(const std::function<void(TPageProps&)>& Change);
  void EditBand(const std::function<void(TBandProps&)>& Change);
  void EditElements(const QString& What, const std::function<void(TReportElement&)>& Change);
  void OpenGridEditor();
  bool BrowseFile(const std::string& Member, const QString& Current, QString& Result);
  std::vector<TElementRef> SelectedElements() const;
  QString SelectionTitle() const;

  TReportDocument& FDoc;
  TSelection& FSelection;
  std::vector<std::string> FDataSourceNames;
  std::vector<TDataSourceSchema> FSources;
  std::vector<std::string> FVariables;
  TGetIdentValueFunc FResolver;

  QLabel* FTitle = nullptr;
  QScrollArea* FScroll = nullptr;
  std::string FKey;  // which editors are built
  std::vector<TRow> FRows;
  std::map<std::string, QWidget*, std::less<>> FEditors;
  bool FUpdating = false;  // showing values: editor signals are not edits
  bool FApplying = false;  // inside an edit of several commands
  bool FShowMore = false;
};

}  // namespace quillet::designer
