#include "designer/data_tree.h"

#include <QFont>
#include <QMimeData>
#include <set>

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

// What an item stands for. A field item's parent is its source item.
constexpr int kNameRole = Qt::UserRole;
constexpr int kReportOnlyRole = Qt::UserRole + 1;

bool IsField(const QTreeWidgetItem* Item) { return Item && Item->parent(); }
std::string NameOf(const QTreeWidgetItem* Item) { return Item->data(0, kNameRole).toString().toStdString(); }

void MarkReportOnly(QTreeWidgetItem* Item, const QString& Tip) {
  QFont font = Item->font(0);
  font.setItalic(true);
  Item->setFont(0, font);
  Item->setToolTip(0, Tip);
  Item->setData(0, kReportOnlyRole, true);
}

}  // namespace

QMimeData* MakeFieldMimeData(const std::string& Source, const std::string& Field) {
  auto* data = new QMimeData;
  const QString path = Utf8(Source + "." + Field);
  data->setData(kFieldMimeType, path.toUtf8());
  data->setText("[" + path + "]");
  return data;
}

std::optional<std::pair<std::string, std::string>> FieldFromMimeData(const QMimeData* Data) {
  if (!Data || !Data->hasFormat(kFieldMimeType)) return std::nullopt;
  const std::string path = Data->data(kFieldMimeType).toStdString();
  // A source name has no dot (the engine's names are "Source.field"); a field name may.
  const auto dot = path.find('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == path.size()) return std::nullopt;
  return std::make_pair(path.substr(0, dot), path.substr(dot + 1));
}

TDataTree::TDataTree(QWidget* Parent) : QTreeWidget(Parent) {
  setHeaderHidden(true);
  setColumnCount(1);
  setSelectionMode(QAbstractItemView::SingleSelection);
  setDragEnabled(true);
  setDragDropMode(QAbstractItemView::DragOnly);
  // Double-click and Enter both arrive as itemActivated.
  connect(this, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* Item) {
    if (IsField(Item)) emit FieldActivated(Utf8(NameOf(Item->parent())), Utf8(NameOf(Item)));
  });
}

void TDataTree::LoadDescription(const std::string& File) { SetDescription(ReadDataSourcesJsonFile(File)); }

void TDataTree::SetDescription(std::vector<TDataSourceSchema> Sources) {
  FDescription = std::move(Sources);
  Rebuild();
}

void TDataTree::SetReportSchema(const std::map<std::string, std::vector<std::string>>& Sources) {
  if (Sources == FReport) return;
  FReport = Sources;
  Rebuild();
}

void TDataTree::Rebuild() {
  // What the user had open and selected survives the rebuild (the report changes with every edit).
  std::set<std::string> expanded;
  for (int i = 0; i < topLevelItemCount(); ++i)
    if (topLevelItem(i)->isExpanded()) expanded.insert(NameOf(topLevelItem(i)));
  const QTreeWidgetItem* current = currentItem();
  const std::string currentSource = current ? NameOf(IsField(current) ? current->parent() : current) : std::string();
  const std::string currentField = IsField(current) ? NameOf(current) : std::string();

  clear();
  QTreeWidgetItem* select = nullptr;
  const auto addSource = [&](const std::string& Name, const std::vector<std::string>& Fields,
                             const std::vector<std::string>* ReportFields, bool ReportOnly) {
    auto* source = new QTreeWidgetItem(this, {Utf8(Name)});
    source->setData(0, kNameRole, Utf8(Name));
    source->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    if (ReportOnly) MarkReportOnly(source, tr("Only the report names this data source"));
    std::vector<std::pair<std::string, bool>> fields;
    std::set<std::string> seen;
    for (const std::string& f : Fields)
      if (seen.insert(f).second) fields.emplace_back(f, ReportOnly);
    if (ReportFields)
      for (const std::string& f : *ReportFields)
        if (seen.insert(f).second) fields.emplace_back(f, true);
    for (const auto& [f, reportOnly] : fields) {
      auto* field = new QTreeWidgetItem(source, {Utf8(f)});
      field->setData(0, kNameRole, Utf8(f));
      field->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren);
      if (reportOnly) MarkReportOnly(field, tr("Only the report names this field"));
      if (Name == currentSource && f == currentField) select = field;
    }
    if (Name == currentSource && currentField.empty()) select = source;
    source->setExpanded(expanded.count(Name) > 0);
  };

  std::set<std::string> described;
  for (const TDataSourceSchema& s : FDescription) {
    if (!described.insert(s.Name).second) continue;  // a name twice: the first one counts
    const auto inReport = FReport.find(s.Name);
    addSource(s.Name, s.Fields, inReport == FReport.end() ? nullptr : &inReport->second, false);
  }
  for (const auto& [name, fields] : FReport)
    if (!described.count(name)) addSource(name, fields, nullptr, true);
  if (select) setCurrentItem(select);
}

QTreeWidgetItem* TDataTree::SourceItem(const std::string& Source) const {
  for (int i = 0; i < topLevelItemCount(); ++i)
    if (NameOf(topLevelItem(i)) == Source) return topLevelItem(i);
  return nullptr;
}

std::vector<std::string> TDataTree::SourceNames() const {
  std::vector<std::string> r;
  for (int i = 0; i < topLevelItemCount(); ++i) r.push_back(NameOf(topLevelItem(i)));
  return r;
}

std::vector<std::string> TDataTree::FieldsOf(const std::string& Source) const {
  std::vector<std::string> r;
  if (const QTreeWidgetItem* s = SourceItem(Source))
    for (int i = 0; i < s->childCount(); ++i) r.push_back(NameOf(s->child(i)));
  return r;
}

bool TDataTree::IsReportOnly(const std::string& Source) const {
  const QTreeWidgetItem* s = SourceItem(Source);
  return s && s->data(0, kReportOnlyRole).toBool();
}

std::optional<std::pair<std::string, std::string>> TDataTree::SelectedField() const {
  const QTreeWidgetItem* item = currentItem();
  if (!IsField(item) || !item->isSelected()) return std::nullopt;
  return std::make_pair(NameOf(item->parent()), NameOf(item));
}

QStringList TDataTree::mimeTypes() const { return {kFieldMimeType, "text/plain"}; }

QMimeData* TDataTree::mimeData(const QList<QTreeWidgetItem*>& Items) const {
  // Only fields are draggable, and one at a time.
  if (Items.size() != 1 || !IsField(Items.front())) return nullptr;
  return MakeFieldMimeData(NameOf(Items.front()->parent()), NameOf(Items.front()));
}

}  // namespace quillet::designer
