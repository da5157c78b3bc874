#include "designer/edit_operations.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QObject>
#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

namespace quillet::designer {

namespace {

// Groups the pushes of one user action into one undo step.
class TMacro {
 public:
  TMacro(TReportDocument& Doc, const QString& Text) : FStack(Doc.UndoStack()) { FStack.beginMacro(Text); }
  ~TMacro() { FStack.endMacro(); }
  TMacro(const TMacro&) = delete;
  TMacro& operator=(const TMacro&) = delete;

 private:
  QUndoStack& FStack;
};

const TReportElement& ElementAt(const TReportDocument& Doc, const TElementRef& R) {
  return *Doc.Page().Bands.at(R.Band)->Elements.at(R.Index);
}

// Every position member moves: a line's far end goes with its start.
void Shift(TReportElement& E, float Dx, float Dy) {
  E.Left += Dx;
  E.Top += Dy;
  E.X2 += Dx;
  E.Y2 += Dy;
}

// The edits of a selection, one ReplaceElement each for the elements that change.
template <typename TEdit>
void EditEach(TReportDocument& Doc, const TSelection& Sel, const QString& What, TEdit Edit) {
  if (Sel.Elements().empty()) return;
  TMacro macro(Doc, What);
  const std::vector<TElementRef> refs = Sel.Elements();
  for (size_t k = 0; k < refs.size(); ++k) {
    TReportElement e = ElementAt(Doc, refs[k]);
    Edit(e, k);
    if (!(e == ElementAt(Doc, refs[k]))) Doc.ReplaceElement(refs[k].Band, refs[k].Index, e, What);
  }
}

std::set<std::string> NamesIn(const TReportPage& Page) {
  std::set<std::string> names;
  for (const auto& b : Page.Bands)
    for (const auto& e : b->Elements) names.insert(e->Name);
  return names;
}

}  // namespace

std::string DefaultFontName() {
  static const std::string name = [] {
    const std::string file = TReportElement().FontName;
    if (QFontDatabase::hasFamily(QString::fromStdString(file))) return file;
    // The family a font file really has, not a generic alias such as "Sans Serif".
    const QString system = QFontInfo(QFontDatabase::systemFont(QFontDatabase::GeneralFont)).family();
    return system.isEmpty() ? file : system.toStdString();
  }();
  return name;
}

TReportElement NewElement(TRptElemType Type) {
  TReportElement e;
  e.ElemType = Type;
  e.FontName = DefaultFontName();
  e.Left = 0;
  e.Top = 0;
  switch (Type) {
    case retLabel:
      e.Width = 100;
      e.Height = 18;
      e.Text = "Label";
      break;
    case retEdit:
      e.Width = 120;
      e.Height = 20;
      break;
    case retRectangle:
    case retRoundRect:
    case retEllipse:
      e.Width = 80;
      e.Height = 40;
      break;
    case retCircle:
      e.Width = 40;
      e.Height = 40;
      break;
    case retLine:
      e.Width = 100;
      e.Height = 0;
      break;
    case retCheckBox:
    case retRadioButton:
      e.Width = 100;
      e.Height = 18;
      e.Text = Type == retCheckBox ? "Check box" : "Option";
      break;
    case retMemo:
      e.Width = 200;
      e.Height = 60;
      e.WordWrap = true;
      e.VertAlign = rvaTop;
      e.Text = "Memo";
      break;
    case retImage:
      e.Width = 80;
      e.Height = 60;
      break;
    case retBarcode:
      e.Width = 160;
      e.Height = 50;
      e.Text = "128:12345678";
      break;
    case retQRCode:
      e.Width = 60;
      e.Height = 60;
      e.Text = "Quillet";
      break;
    case retTable:
      e.Width = 240;
      e.Height = 60;
      e.CellTexts.assign(static_cast<size_t>(e.Rows * e.Cols), std::string());
      break;
    case retSubreport:
      e.Width = 200;
      e.Height = 60;
      break;
  }
  e.X2 = e.Left + e.Width;
  e.Y2 = e.Top;
  return e;
}

std::string UniqueElementName(const TReportPage& Page, TRptElemType Type) {
  const std::set<std::string> names = NamesIn(Page);
  const std::string prefix(ElemTypeNames[static_cast<size_t>(Type)]);
  for (size_t n = 1;; ++n) {
    std::string name = prefix + std::to_string(n);
    if (!names.count(name)) return name;
  }
}

void PlaceElement(TReportDocument& Doc, TSelection& Sel, size_t Band, TReportElement El) {
  if (El.Name.empty()) El.Name = UniqueElementName(Doc.Page(), El.ElemType);
  const size_t index = Doc.Page().Bands.at(Band)->Elements.size();
  Doc.AddElement(Band, index, El);
  Sel.SelectElements({{Band, index}});
}

void MoveSelection(TReportDocument& Doc, const TSelection& Sel, float Dx, float Dy) {
  if (Dx == 0 && Dy == 0) return;
  EditEach(Doc, Sel, QObject::tr("Move"), [&](TReportElement& E, size_t) { Shift(E, Dx, Dy); });
}

std::string ElementsToJson(const TReportPage& Page, const std::vector<TElementRef>& Refs) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const TElementRef& r : Refs) {
    nlohmann::ordered_json obj = nlohmann::ordered_json::object();
    Page.Bands.at(r.Band)->Elements.at(r.Index)->SaveToJSON(obj);
    list.push_back(std::move(obj));
  }
  return list.dump(2);
}

std::vector<TReportElement> ElementsFromJson(const std::string& Text) {
  std::vector<TReportElement> out;
  const nlohmann::json doc = nlohmann::json::parse(Text, nullptr, false);
  if (doc.is_discarded()) return out;
  auto take = [&out](const nlohmann::json& Obj) {
    if (!Obj.is_object()) return;
    try {
      out.push_back(*TReportElement::LoadFromJSON(Obj));
    } catch (const std::exception&) {
      // Not an element the reader can take: left out.
    }
  };
  if (doc.is_array())
    for (const auto& item : doc) take(item);
  else
    take(doc);
  return out;
}

void PasteElements(TReportDocument& Doc, TSelection& Sel, size_t Band, const std::vector<TReportElement>& Elements,
                   float Offset) {
  if (Elements.empty()) return;
  TMacro macro(Doc, QObject::tr("Paste"));
  std::vector<TElementRef> added;
  for (TReportElement e : Elements) {
    Shift(e, Offset, Offset);
    if (e.Name.empty() || NamesIn(Doc.Page()).count(e.Name)) e.Name = UniqueElementName(Doc.Page(), e.ElemType);
    const size_t index = Doc.Page().Bands.at(Band)->Elements.size();
    Doc.AddElement(Band, index, e);
    added.push_back({Band, index});
  }
  Sel.SelectElements(std::move(added));
}

void DuplicateSelection(TReportDocument& Doc, TSelection& Sel, float Offset) {
  if (Sel.Elements().empty()) return;
  TMacro macro(Doc, QObject::tr("Duplicate"));
  std::vector<TElementRef> added;
  for (const TElementRef& r : Sel.Elements()) {
    TReportElement e = ElementAt(Doc, r);
    Shift(e, Offset, Offset);
    e.Name = UniqueElementName(Doc.Page(), e.ElemType);
    const size_t index = Doc.Page().Bands.at(r.Band)->Elements.size();
    Doc.AddElement(r.Band, index, e);
    added.push_back({r.Band, index});
  }
  Sel.SelectElements(std::move(added));
}

void DeleteSelection(TReportDocument& Doc, TSelection& Sel) {
  if (Sel.Elements().empty()) return;
  const std::vector<TElementRef> refs = Sel.Elements();
  Sel.SelectPage();
  TMacro macro(Doc, QObject::tr("Delete"));
  for (auto it = refs.rbegin(); it != refs.rend(); ++it) Doc.RemoveElement(it->Band, it->Index);
}

void RaiseSelection(TReportDocument& Doc, TSelection& Sel) {
  if (Sel.Elements().empty()) return;
  const std::vector<TElementRef> refs = Sel.Elements();
  std::map<size_t, size_t> moved;  // band -> elements taken to the end so far
  TMacro macro(Doc, QObject::tr("Bring to front"));
  for (const TElementRef& r : refs) {
    const size_t current = r.Index - moved[r.Band]++;
    const size_t size = Doc.Page().Bands.at(r.Band)->Elements.size();
    Doc.MoveElementToBand(r.Band, current, r.Band, size, ElementAt(Doc, {r.Band, current}).Top);
  }
  std::vector<TElementRef> now;
  for (const auto& [band, count] : moved) {
    const size_t size = Doc.Page().Bands.at(band)->Elements.size();
    for (size_t k = 0; k < count; ++k) now.push_back({band, size - count + k});
  }
  Sel.SelectElements(std::move(now));
}

void LowerSelection(TReportDocument& Doc, TSelection& Sel) {
  if (Sel.Elements().empty()) return;
  const std::vector<TElementRef> refs = Sel.Elements();
  std::map<size_t, size_t> moved;  // band -> elements taken to the front so far
  TMacro macro(Doc, QObject::tr("Send to back"));
  for (const TElementRef& r : refs) {
    const size_t to = moved[r.Band]++;
    if (to != r.Index) Doc.MoveElementToBand(r.Band, r.Index, r.Band, to, ElementAt(Doc, r).Top);
  }
  std::vector<TElementRef> now;
  for (const auto& [band, count] : moved)
    for (size_t k = 0; k < count; ++k) now.push_back({band, k});
  Sel.SelectElements(std::move(now));
}

void AlignSelection(TReportDocument& Doc, const TSelection& Sel, TAlign How) {
  if (Sel.Elements().size() < 2) return;
  const TReportElement ref = ElementAt(Doc, Sel.Elements().front());
  EditEach(Doc, Sel, QObject::tr("Align"), [&](TReportElement& E, size_t) {
    float dx = 0, dy = 0;
    switch (How) {
      case TAlign::Left: dx = ref.Left - E.Left; break;
      case TAlign::HCenter: dx = (ref.Left + ref.Width / 2) - (E.Left + E.Width / 2); break;
      case TAlign::Right: dx = (ref.Left + ref.Width) - (E.Left + E.Width); break;
      case TAlign::Top: dy = ref.Top - E.Top; break;
      case TAlign::VCenter: dy = (ref.Top + ref.Height / 2) - (E.Top + E.Height / 2); break;
      case TAlign::Bottom: dy = (ref.Top + ref.Height) - (E.Top + E.Height); break;
    }
    Shift(E, dx, dy);
  });
}

void SameSizeSelection(TReportDocument& Doc, const TSelection& Sel, TSameSize How) {
  if (Sel.Elements().size() < 2) return;
  const TReportElement ref = ElementAt(Doc, Sel.Elements().front());
  EditEach(Doc, Sel, QObject::tr("Same size"), [&](TReportElement& E, size_t) {
    if (How != TSameSize::Height) E.Width = ref.Width;
    if (How != TSameSize::Width) E.Height = ref.Height;
  });
}

void SpaceSelectionEvenly(TReportDocument& Doc, const TSelection& Sel, bool Horizontally) {
  const std::vector<TElementRef>& refs = Sel.Elements();
  if (refs.size() < 3) return;
  auto start = [&](const TReportElement& E) { return Horizontally ? E.Left : E.Top; };
  auto extent = [&](const TReportElement& E) { return Horizontally ? E.Width : E.Height; };
  // Order along the axis; the first and the last stay.
  std::vector<size_t> order(refs.size());
  for (size_t k = 0; k < order.size(); ++k) order[k] = k;
  std::stable_sort(order.begin(), order.end(), [&](size_t A, size_t B) {
    return start(ElementAt(Doc, refs[A])) < start(ElementAt(Doc, refs[B]));
  });
  const TReportElement& first = ElementAt(Doc, refs[order.front()]);
  const TReportElement& last = ElementAt(Doc, refs[order.back()]);
  float sizes = 0;
  for (const TElementRef& r : refs) sizes += extent(ElementAt(Doc, r));
  const float gap = (start(last) + extent(last) - start(first) - sizes) / static_cast<float>(refs.size() - 1);
  std::vector<float> target(refs.size());
  float pos = start(first);
  for (size_t k : order) {
    target[k] = pos;
    pos += extent(ElementAt(Doc, refs[k])) + gap;
  }
  EditEach(Doc, Sel, QObject::tr("Space evenly"), [&](TReportElement& E, size_t K) {
    const float d = target[K] - start(E);
    Shift(E, Horizontally ? d : 0, Horizontally ? 0 : d);
  });
}

void MoveSelectionToBand(TReportDocument& Doc, TSelection& Sel, size_t Band, float Dx, const std::vector<float>& NewTops) {
  const std::vector<TElementRef> refs = Sel.Elements();
  if (refs.empty() || NewTops.size() != refs.size()) return;
  TMacro macro(Doc, QObject::tr("Move to band"));
  // Left first, in place; then the moves, last element first so earlier indices hold.
  for (const TElementRef& r : refs) {
    if (Dx == 0) break;
    TReportElement e = ElementAt(Doc, r);
    Shift(e, Dx, 0);
    Doc.ReplaceElement(r.Band, r.Index, e, QObject::tr("Move to band"));
  }
  const size_t already = Doc.Page().Bands.at(Band)->Elements.size();
  std::vector<TElementRef> now(refs.size());
  // Elements of the target band itself keep their place in it; the others go on top of it.
  for (size_t k = refs.size(); k-- > 0;) {
    const TElementRef& r = refs[k];
    if (r.Band == Band) {
      TReportElement e = ElementAt(Doc, r);
      Shift(e, 0, NewTops[k] - e.Top);
      Doc.ReplaceElement(r.Band, r.Index, e, QObject::tr("Move to band"));
    }
  }
  // Each one goes in at the same index, last first, so they end up in selection order; the
  // target band's own elements keep their indices, since only other bands lose elements.
  for (size_t k = refs.size(); k-- > 0;) {
    const TElementRef& r = refs[k];
    if (r.Band != Band) Doc.MoveElementToBand(r.Band, r.Index, Band, already, NewTops[k]);
  }
  size_t moved = 0;
  for (size_t k = 0; k < refs.size(); ++k) {
    const TElementRef& r = refs[k];
    if (r.Band == Band) {
      now[k] = r;
      continue;
    }
    now[k] = {Band, already + moved++};
  }
  Sel.SelectElements(std::move(now));
}

}  // namespace quillet::designer
