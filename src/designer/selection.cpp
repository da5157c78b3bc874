#include "designer/selection.h"

#include <algorithm>
#include <utility>

namespace quillet::designer {

bool TSelection::Contains(const TElementRef& Ref) const {
  return std::binary_search(FElements.begin(), FElements.end(), Ref);
}

void TSelection::Set(TKind Kind, size_t Band, std::vector<TElementRef> Refs) {
  std::sort(Refs.begin(), Refs.end());
  Refs.erase(std::unique(Refs.begin(), Refs.end()), Refs.end());
  if (Kind == TKind::Elements && Refs.empty()) Kind = TKind::Page;
  if (Kind == TKind::Elements) Band = Refs.front().Band;
  if (Kind == TKind::Page) Band = 0;
  if (Kind == FKind && Band == FBand && Refs == FElements) return;
  FKind = Kind;
  FBand = Band;
  FElements = std::move(Refs);
  emit Changed();
}

void TSelection::SelectPage() { Set(TKind::Page, 0, {}); }

void TSelection::SelectBand(size_t Band) { Set(TKind::Band, Band, {}); }

void TSelection::SelectElements(std::vector<TElementRef> Refs) { Set(TKind::Elements, 0, std::move(Refs)); }

void TSelection::Toggle(const TElementRef& Ref) {
  std::vector<TElementRef> refs = FElements;
  if (auto it = std::find(refs.begin(), refs.end(), Ref); it != refs.end())
    refs.erase(it);
  else
    refs.push_back(Ref);
  SelectElements(std::move(refs));
}

void TSelection::Prune(const TReportPage& Page) {
  const size_t bands = Page.Bands.size();
  switch (FKind) {
    case TKind::Page:
      return;
    case TKind::Band:
      if (FBand >= bands) SelectPage();
      return;
    case TKind::Elements: {
      std::vector<TElementRef> refs;
      for (const TElementRef& r : FElements)
        if (r.Band < bands && r.Index < Page.Bands[r.Band]->Elements.size()) refs.push_back(r);
      SelectElements(std::move(refs));
      return;
    }
  }
}

}  // namespace quillet::designer
