// What is selected in the designer: the page (nothing else), one band, or elements of any bands.
// The design surface and the outline set it; the inspector edits it. Elements are addressed by
// position like the document's commands; Prune drops what an edit or an undo took away.
#pragma once

#include <QObject>
#include <compare>
#include <cstddef>
#include <vector>

#include "reportdef/report_model.h"

namespace quillet::designer {

struct TElementRef {
  size_t Band = 0;
  size_t Index = 0;
  auto operator<=>(const TElementRef&) const = default;
};

class TSelection : public QObject {
  Q_OBJECT

 public:
  enum class TKind { Page, Band, Elements };

  explicit TSelection(QObject* Parent = nullptr) : QObject(Parent) {}

  TKind Kind() const noexcept { return FKind; }
  // The selected band (TKind::Band), or the band of the first selected element.
  size_t Band() const noexcept { return FBand; }
  // The selected elements in report order; empty unless TKind::Elements.
  const std::vector<TElementRef>& Elements() const noexcept { return FElements; }
  bool Contains(const TElementRef& Ref) const;

  void SelectPage();
  void SelectBand(size_t Band);
  // An empty list selects the page.
  void SelectElements(std::vector<TElementRef> Refs);
  // Adds Ref when it is not selected, takes it out when it is (shift-click).
  void Toggle(const TElementRef& Ref);
  // After the report changed: bands and elements that no longer exist leave the selection.
  void Prune(const TReportPage& Page);

 signals:
  void Changed();

 private:
  void Set(TKind Kind, size_t Band, std::vector<TElementRef> Refs);

  TKind FKind = TKind::Page;
  size_t FBand = 0;
  std::vector<TElementRef> FElements;
};

}  // namespace quillet::designer
