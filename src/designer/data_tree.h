// The data tree: the data sources a report can use and their fields, one source per top-level item
// with its fields below. Two lists feed it: the description an application hands the designer
// (/ds:, datasources.json) and the schema the report itself keeps ("dataSources"). A source in
// both shows once, with the description's fields first; a source or field that only the report
// knows is shown in italics (the application may no longer offer it).
//
// A field is dragged as "Source.field" in kFieldMimeType (and "[Source.field]" as plain text, for
// any text editor); double-click or Enter on it emits FieldActivated.
#pragma once

#include <QTreeWidget>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/designer_bridge.h"

class QMimeData;

namespace quillet::designer {

inline constexpr const char* kFieldMimeType = "application/x-formwright-field";

// The MIME data of a dragged field, and the field it carries (none for other data).
QMimeData* MakeFieldMimeData(const std::string& Source, const std::string& Field);
std::optional<std::pair<std::string, std::string>> FieldFromMimeData(const QMimeData* Data);

class TDataTree : public QTreeWidget {
  Q_OBJECT

 public:
  explicit TDataTree(QWidget* Parent = nullptr);

  // Reads the description File (ReadDataSourcesJsonFile); its EQuilletError goes to the caller and
  // the tree keeps what it had.
  void LoadDescription(const std::string& File);
  // The same from a description already read (the data opened on the command line, for one).
  void SetDescription(std::vector<TDataSourceSchema> Sources);
  // The report's own "dataSources"; set again whenever the report changes.
  void SetReportSchema(const std::map<std::string, std::vector<std::string>>& Sources);

  // The sources shown, in the tree's order.
  std::vector<std::string> SourceNames() const;
  // The fields shown for Source (empty for an unknown source).
  std::vector<std::string> FieldsOf(const std::string& Source) const;
  // Whether only the report's schema names Source (false for an unknown source).
  bool IsReportOnly(const std::string& Source) const;
  // The current field item as (source, field); none when a source or nothing is selected.
  std::optional<std::pair<std::string, std::string>> SelectedField() const;

 signals:
  void FieldActivated(const QString& Source, const QString& Field);

 protected:
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QList<QTreeWidgetItem*>& Items) const override;

 private:
  void Rebuild();
  QTreeWidgetItem* SourceItem(const std::string& Source) const;

  std::vector<TDataSourceSchema> FDescription;
  std::map<std::string, std::vector<std::string>> FReport;
};

}  // namespace quillet::designer
