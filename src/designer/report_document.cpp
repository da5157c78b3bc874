#include "designer/report_document.h"

#include <QUndoCommand>
#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include "base/error.h"

namespace quillet::designer {

TPageProps PagePropsOf(const TReportPage& P) {
  TPageProps r;
  r.PageWidth = P.PageWidth;
  r.PageHeight = P.PageHeight;
  r.MarginTop = P.MarginTop;
  r.MarginBottom = P.MarginBottom;
  r.MarginLeft = P.MarginLeft;
  r.MarginRight = P.MarginRight;
  r.StartPageNumber = P.StartPageNumber;
  r.ResetPageNumber = P.ResetPageNumber;
  r.GridSize = P.GridSize;
  r.PrinterName = P.PrinterName;
  r.PdfTitle = P.PdfTitle;
  r.PdfAuthor = P.PdfAuthor;
  r.PdfSubject = P.PdfSubject;
  r.PdfKeywords = P.PdfKeywords;
  r.PdfCreator = P.PdfCreator;
  r.DataSources = P.DataSources;
  r.VisibleDataSources = P.VisibleDataSources;
  return r;
}

void ApplyPageProps(TReportPage& P, const TPageProps& r) {
  P.PageWidth = r.PageWidth;
  P.PageHeight = r.PageHeight;
  P.MarginTop = r.MarginTop;
  P.MarginBottom = r.MarginBottom;
  P.MarginLeft = r.MarginLeft;
  P.MarginRight = r.MarginRight;
  P.StartPageNumber = r.StartPageNumber;
  P.ResetPageNumber = r.ResetPageNumber;
  P.GridSize = r.GridSize;
  P.PrinterName = r.PrinterName;
  P.PdfTitle = r.PdfTitle;
  P.PdfAuthor = r.PdfAuthor;
  P.PdfSubject = r.PdfSubject;
  P.PdfKeywords = r.PdfKeywords;
  P.PdfCreator = r.PdfCreator;
  P.DataSources = r.DataSources;
  P.VisibleDataSources = r.VisibleDataSources;
}

TBandProps BandPropsOf(const TReportBand& B) {
  TBandProps r;
  r.BandType = B.BandType;
  r.Height = B.Height;
  r.AutoGrow = B.AutoGrow;
  r.DataSourceName = B.DataSourceName;
  r.GroupCondition = B.GroupCondition;
  r.PrintOnFirstPage = B.PrintOnFirstPage;
  r.PrintOnOddPages = B.PrintOnOddPages;
  r.PrintOnEvenPages = B.PrintOnEvenPages;
  return r;
}

void ApplyBandProps(TReportBand& B, const TBandProps& r) {
  B.BandType = r.BandType;
  B.Height = r.Height;
  B.AutoGrow = r.AutoGrow;
  B.DataSourceName = r.DataSourceName;
  B.GroupCondition = r.GroupCondition;
  B.PrintOnFirstPage = r.PrintOnFirstPage;
  B.PrintOnOddPages = r.PrintOnOddPages;
  B.PrintOnEvenPages = r.PrintOnEvenPages;
}

namespace {

// A command on the document: redo and undo change the report and tell the document's views.
class TDocCommand : public QUndoCommand {
 public:
  TDocCommand(TReportDocument& Doc, const QString& Text) : QUndoCommand(Text), FDoc(Doc) {}
  void redo() final {
    Do();
    FDoc.NotifyChanged();
  }
  void undo() final {
    Undo();
    FDoc.NotifyChanged();
  }

 protected:
  virtual void Do() = 0;
  virtual void Undo() = 0;
  TReportPage& Page() { return FDoc.MutablePage(); }
  TReportBand& Band(size_t I) { return *Page().Bands.at(I); }

 private:
  TReportDocument& FDoc;
};

// Swaps a value with the one kept in the command: redo and undo are the same step.
template <typename TValue, typename TGet, typename TSet>
class TSwapCommand : public TDocCommand {
 public:
  TSwapCommand(TReportDocument& Doc, const QString& Text, TValue Other, TGet Get, TSet Set)
      : TDocCommand(Doc, Text), FOther(std::move(Other)), FGet(Get), FSet(Set) {}

 protected:
  void Do() override { Swap(); }
  void Undo() override { Swap(); }

 private:
  void Swap() {
    TValue current = FGet();
    FSet(FOther);
    FOther = std::move(current);
  }
  TValue FOther;
  TGet FGet;
  TSet FSet;
};

template <typename TValue, typename TGet, typename TSet>
QUndoCommand* MakeSwap(TReportDocument& Doc, const QString& Text, TValue Other, TGet Get, TSet Set) {
  return new TSwapCommand<TValue, TGet, TSet>(Doc, Text, std::move(Other), Get, Set);
}

// Inserting and taking out an owned item of a vector: a band of the page, an element of a band.
// While the item is out of the report, the command owns it.
template <typename TItem>
class TInsertCommand : public TDocCommand {
 public:
  using TList = std::vector<std::unique_ptr<TItem>>;
  using TListOf = std::function<TList&(TReportPage&)>;
  // Insert: Item is put in at Index on redo. Take (Item null): the item at Index comes out.
  TInsertCommand(TReportDocument& Doc, const QString& Text, TListOf List, size_t Index, std::unique_ptr<TItem> Item)
      : TDocCommand(Doc, Text), FList(std::move(List)), FIndex(Index), FItem(std::move(Item)), FInsert(FItem != nullptr) {}

 protected:
  void Do() override { FInsert ? Put() : Take(); }
  void Undo() override { FInsert ? Take() : Put(); }

 private:
  void Put() {
    TList& l = FList(Page());
    l.insert(l.begin() + static_cast<std::ptrdiff_t>(FIndex), std::move(FItem));
  }
  void Take() {
    TList& l = FList(Page());
    FItem = std::move(l.at(FIndex));
    l.erase(l.begin() + static_cast<std::ptrdiff_t>(FIndex));
  }
  TListOf FList;
  size_t FIndex;
  std::unique_ptr<TItem> FItem;
  bool FInsert;
};

// Moves an owned item from one list to another (or within one), remembering both places.
template <typename TItem>
class TMoveCommand : public TDocCommand {
 public:
  using TList = std::vector<std::unique_ptr<TItem>>;
  using TListOf = std::function<TList&(TReportPage&)>;
  TMoveCommand(TReportDocument& Doc, const QString& Text, TListOf From, size_t FromIndex, TListOf To, size_t ToIndex,
               std::function<void(TItem&, bool Forward)> Adjust = {})
      : TDocCommand(Doc, Text),
        FFrom(std::move(From)),
        FTo(std::move(To)),
        FFromIndex(FromIndex),
        FToIndex(ToIndex),
        FAdjust(std::move(Adjust)) {}

 protected:
  void Do() override { Move(FFrom, FFromIndex, FTo, FToIndex, true); }
  void Undo() override { Move(FTo, FToIndex, FFrom, FFromIndex, false); }

 private:
  void Move(const TListOf& Src, size_t SrcIndex, const TListOf& Dst, size_t DstIndex, bool Forward) {
    TList& s = Src(Page());
    std::unique_ptr<TItem> item = std::move(s.at(SrcIndex));
    s.erase(s.begin() + static_cast<std::ptrdiff_t>(SrcIndex));
    if (FAdjust) FAdjust(*item, Forward);
    TList& d = Dst(Page());
    d.insert(d.begin() + static_cast<std::ptrdiff_t>(std::min(DstIndex, d.size())), std::move(item));
  }
  TListOf FFrom, FTo;
  size_t FFromIndex, FToIndex;
  std::function<void(TItem&, bool)> FAdjust;
};

std::function<std::vector<std::unique_ptr<TReportBand>>&(TReportPage&)> BandsOf() {
  return [](TReportPage& P) -> std::vector<std::unique_ptr<TReportBand>>& { return P.Bands; };
}

std::function<std::vector<std::unique_ptr<TReportElement>>&(TReportPage&)> ElementsOf(size_t Band) {
  return [Band](TReportPage& P) -> std::vector<std::unique_ptr<TReportElement>>& { return P.Bands.at(Band)->Elements; };
}

void RequireIndex(size_t Index, size_t Size, const char* What) {
  if (Index >= Size) throw std::out_of_range(std::string(What) + " index out of range");
}

}  // namespace

TReportDocument::TReportDocument(QObject* Parent) : QObject(Parent), FPage(std::make_unique<TReportPage>()) {
  connect(&FUndo, &QUndoStack::cleanChanged, this, [this] { emit Changed(); });
}

TReportDocument::~TReportDocument() {
  // The commands hold bands and elements that are out of the report; they go first.
  FUndo.clear();
}

void TReportDocument::NewReport(const std::string& FileName) {
  FUndo.clear();
  FPage = std::make_unique<TReportPage>();
  FFileName = FileName;
  emit FileNameChanged();
  emit Changed();
}

void TReportDocument::Open(const std::string& FileName) {
  auto page = std::make_unique<TReportPage>();
  page->LoadFromFile(FileName);
  FUndo.clear();
  FPage = std::move(page);
  FFileName = FileName;
  emit FileNameChanged();
  emit Changed();
}

std::string TReportDocument::FileBytes() const { return "\xEF\xBB\xBF" + FPage->SaveToString(); }

void TReportDocument::Save() {
  if (FFileName.empty()) throw EQuilletError("The report has no file name yet");
  FPage->SaveToFile(FFileName);
  FUndo.setClean();
  emit Changed();
}

void TReportDocument::SaveAs(const std::string& FileName) {
  FPage->SaveToFile(FileName);
  FFileName = FileName;
  FUndo.setClean();
  emit FileNameChanged();
  emit Changed();
}

void TReportDocument::SetPageProps(const TPageProps& Props) {
  FUndo.push(MakeSwap(
      *this, tr("Change page"), Props, [this] { return PagePropsOf(*FPage); },
      [this](const TPageProps& P) { ApplyPageProps(*FPage, P); }));
}

void TReportDocument::AddBand(size_t Index, TBandType Type) {
  RequireIndex(Index, FPage->Bands.size() + 1, "band");
  auto band = std::make_unique<TReportBand>();
  band->BandType = Type;
  FUndo.push(new TInsertCommand<TReportBand>(
      *this, tr("Add %1 band").arg(QString::fromUtf8(BandTypeLabels[static_cast<size_t>(Type)].data())), BandsOf(), Index,
      std::move(band)));
}

void TReportDocument::RemoveBand(size_t Index) {
  RequireIndex(Index, FPage->Bands.size(), "band");
  FUndo.push(new TInsertCommand<TReportBand>(*this, tr("Remove band"), BandsOf(), Index, nullptr));
}

void TReportDocument::MoveBand(size_t From, size_t To) {
  RequireIndex(From, FPage->Bands.size(), "band");
  RequireIndex(To, FPage->Bands.size(), "band");
  if (From == To) return;
  FUndo.push(new TMoveCommand<TReportBand>(*this, tr("Move band"), BandsOf(), From, BandsOf(), To));
}

void TReportDocument::SetBandProps(size_t Band, const TBandProps& Props) {
  RequireIndex(Band, FPage->Bands.size(), "band");
  FUndo.push(MakeSwap(
      *this, tr("Change band"), Props, [this, Band] { return BandPropsOf(*FPage->Bands.at(Band)); },
      [this, Band](const TBandProps& P) { ApplyBandProps(*FPage->Bands.at(Band), P); }));
}

void TReportDocument::AddElement(size_t Band, size_t Index, const TReportElement& Element) {
  RequireIndex(Band, FPage->Bands.size(), "band");
  RequireIndex(Index, FPage->Bands[Band]->Elements.size() + 1, "element");
  FUndo.push(new TInsertCommand<TReportElement>(
      *this, tr("Add %1").arg(QString::fromUtf8(ElemTypeNames[static_cast<size_t>(Element.ElemType)].data())),
      ElementsOf(Band), Index, std::make_unique<TReportElement>(Element)));
}

void TReportDocument::RemoveElement(size_t Band, size_t Index) {
  RequireIndex(Band, FPage->Bands.size(), "band");
  RequireIndex(Index, FPage->Bands[Band]->Elements.size(), "element");
  FUndo.push(new TInsertCommand<TReportElement>(*this, tr("Delete element"), ElementsOf(Band), Index, nullptr));
}

void TReportDocument::ReplaceElement(size_t Band, size_t Index, const TReportElement& Element, const QString& What) {
  RequireIndex(Band, FPage->Bands.size(), "band");
  RequireIndex(Index, FPage->Bands[Band]->Elements.size(), "element");
  FUndo.push(MakeSwap(
      *this, What, Element, [this, Band, Index] { return *FPage->Bands.at(Band)->Elements.at(Index); },
      [this, Band, Index](const TReportElement& E) { *FPage->Bands.at(Band)->Elements.at(Index) = E; }));
}

void TReportDocument::MoveElementToBand(size_t FromBand, size_t FromIndex, size_t ToBand, size_t ToIndex, float Top) {
  RequireIndex(FromBand, FPage->Bands.size(), "band");
  RequireIndex(ToBand, FPage->Bands.size(), "band");
  RequireIndex(FromIndex, FPage->Bands[FromBand]->Elements.size(), "element");
  // Within one band the target index counts the elements before the move.
  if (FromBand == ToBand && ToIndex > FromIndex) --ToIndex;
  // A line's far end moves with it, as it does when the line is dragged. Undo puts back the
  // values kept, not a sum that floating point might not give back exactly.
  auto kept = std::make_shared<std::pair<float, float>>();
  auto adjust = [kept, Top](TReportElement& E, bool Forward) {
    if (Forward) {
      *kept = {E.Top, E.Y2};
      E.Y2 = E.Y2 + (Top - E.Top);
      E.Top = Top;
    } else {
      E.Top = kept->first;
      E.Y2 = kept->second;
    }
  };
  FUndo.push(new TMoveCommand<TReportElement>(*this, tr("Move element to band"), ElementsOf(FromBand), FromIndex,
                                               ElementsOf(ToBand), ToIndex, adjust));
}

}  // namespace quillet::designer
