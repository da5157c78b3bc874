#include "designer/field_placement.h"

#include "designer/edit_operations.h"

#include <QCoreApplication>
#include <algorithm>
#include <set>
#include <stdexcept>

namespace quillet::designer {

namespace {

bool IsDataBand(TBandType Type) { return Type == btMasterData || Type == btDetailData || Type == btSubdetailData; }

bool IsNameChar(char C) {
  return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || (C >= '0' && C <= '9') || C == '_' ||
         static_cast<unsigned char>(C) >= 0x80;
}

// Whether Text names "Source." as a whole word ("[Orders.id]", "SUM(Orders.total)").
bool Mentions(const std::string& Text, const std::string& Source) {
  const std::string key = Source + ".";
  for (size_t at = Text.find(key); at != std::string::npos; at = Text.find(key, at + 1))
    if (at == 0 || !IsNameChar(Text[at - 1])) return true;
  return false;
}

// Whether an element of Band uses a known data source other than Source.
bool UsesOtherSource(const TReportPage& Page, const TReportBand& Band, const std::string& Source) {
  std::set<std::string> others;
  for (const auto& [name, fields] : Page.DataSources) others.insert(name);
  others.insert(Page.VisibleDataSources.begin(), Page.VisibleDataSources.end());
  others.erase(Source);
  for (const auto& e : Band.Elements) {
    std::vector<const std::string*> texts = {&e->Text, &e->DataField};
    for (const std::string& t : e->CellTexts) texts.push_back(&t);
    for (const std::string& t : e->ColFields) texts.push_back(&t);
    for (const std::string& other : others)
      for (const std::string* t : texts)
        if (Mentions(*t, other)) return true;
  }
  return false;
}

}  // namespace

std::string PlacedFieldName(const TReportPage& Page, const std::string& Field) {
  std::string base = "lbl";
  for (char c : Field)
    if (IsNameChar(c)) base += c;
  if (base.size() > 3 && base[3] >= 'a' && base[3] <= 'z') base[3] = static_cast<char>(base[3] - 'a' + 'A');
  std::set<std::string> taken;
  for (const auto& b : Page.Bands)
    for (const auto& e : b->Elements) taken.insert(e->Name);
  std::string name = base;
  for (int n = 2; taken.count(name); ++n) name = base + std::to_string(n);
  return name;
}

void PlaceField(TReportDocument& Doc, size_t Band, float Left, float Top, const std::string& Source,
                const std::string& Field, const std::vector<std::string>& SourceFields) {
  const TReportPage& page = Doc.Page();
  if (Band >= page.Bands.size()) throw std::out_of_range("band index out of range");

  TReportElement label;
  label.ElemType = retLabel;
  label.Name = PlacedFieldName(page, Field);
  label.Left = Left;
  label.Top = Top;
  label.Width = kPlacedFieldWidth;
  label.Height = kPlacedFieldHeight;
  label.X2 = Left + kPlacedFieldWidth;
  label.Y2 = Top;
  label.Text = "[" + Source + "." + Field + "]";
  label.FontName = DefaultFontName();

  // The schema after the placement.
  TPageProps props = PagePropsOf(page);
  std::vector<std::string>& recorded = props.DataSources[Source];
  std::vector<std::string> wanted = SourceFields;
  if (std::find(wanted.begin(), wanted.end(), Field) == wanted.end()) wanted.push_back(Field);
  for (const std::string& f : wanted)
    if (std::find(recorded.begin(), recorded.end(), f) == recorded.end()) recorded.push_back(f);
  auto& visible = props.VisibleDataSources;
  if (std::find(visible.begin(), visible.end(), Source) == visible.end()) visible.push_back(Source);
  const bool schemaChanges = !(props == PagePropsOf(page));

  const TReportBand& band = *page.Bands[Band];
  TBandProps bandProps = BandPropsOf(band);
  const bool bind = IsDataBand(band.BandType) && band.DataSourceName.empty() && !UsesOtherSource(page, band, Source);
  if (bind) bandProps.DataSourceName = Source;

  QUndoStack& undo = Doc.UndoStack();
  undo.beginMacro(QCoreApplication::translate("PlaceField", "Place field %1.%2")
                      .arg(QString::fromStdString(Source), QString::fromStdString(Field)));
  Doc.AddElement(Band, band.Elements.size(), label);
  if (schemaChanges) Doc.SetPageProps(props);
  if (bind) Doc.SetBandProps(Band, bandProps);
  undo.endMacro();
}

}  // namespace quillet::designer
