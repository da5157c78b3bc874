// The designer's document: one report definition, the file it came from and the undo stack of
// every edit made to it. Each edit is a command with its exact inverse, so undoing it gives back
// the report byte for byte as the writer saves it. Bands and elements are addressed by their
// position in the report (band index, element index), never by pointers that a removal would
// leave dangling.
#pragma once

#include <QObject>
#include <QString>
#include <QUndoStack>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "reportdef/report_model.h"

namespace quillet::designer {

// Everything a page holds besides its bands.
struct TPageProps {
  int32_t PageWidth = 595;
  int32_t PageHeight = 842;
  float MarginTop = 20, MarginBottom = 20, MarginLeft = 20, MarginRight = 20;
  int32_t StartPageNumber = 1;
  bool ResetPageNumber = true;
  int32_t GridSize = 10;
  std::string PrinterName;
  std::string PdfTitle, PdfAuthor, PdfSubject, PdfKeywords, PdfCreator;
  std::map<std::string, std::vector<std::string>> DataSources;
  std::vector<std::string> VisibleDataSources;
  bool operator==(const TPageProps&) const = default;
};
TPageProps PagePropsOf(const TReportPage& Page);
void ApplyPageProps(TReportPage& Page, const TPageProps& Props);

// A band's own members (its elements aside).
struct TBandProps {
  TBandType BandType = btMasterData;
  float Height = 60;
  bool AutoGrow = false;
  std::string DataSourceName;
  std::string GroupCondition;
  bool PrintOnFirstPage = true;
  bool PrintOnOddPages = true;
  bool PrintOnEvenPages = true;
  bool operator==(const TBandProps&) const = default;
};
TBandProps BandPropsOf(const TReportBand& Band);
void ApplyBandProps(TReportBand& Band, const TBandProps& Props);

class TReportDocument : public QObject {
  Q_OBJECT

 public:
  explicit TReportDocument(QObject* Parent = nullptr);
  ~TReportDocument() override;

  const TReportPage& Page() const noexcept { return *FPage; }
  QUndoStack& UndoStack() noexcept { return FUndo; }
  // The file the report is saved to; "" for a report never saved.
  const std::string& FileName() const noexcept { return FFileName; }
  // Changed since it was opened or last saved.
  bool IsModified() const { return !FUndo.isClean(); }

  // A new, empty report (an A4 page) to be saved under FileName ("" asks at the first save).
  void NewReport(const std::string& FileName = std::string());
  // Reads FileName with the report reader. On failure the reader's EQuilletError goes to the
  // caller and the document stays as it was.
  void Open(const std::string& FileName);
  // Writes the report with the report writer (UTF-8 with a byte-order mark, atomically) and marks
  // the document unmodified. SaveAs also makes FileName the document's file.
  void Save();
  void SaveAs(const std::string& FileName);
  // The bytes Save writes.
  std::string FileBytes() const;

  // ---- Edits: each pushes one command onto the undo stack --------------------------------
  void SetPageProps(const TPageProps& Props);
  void AddBand(size_t Index, TBandType Type);
  void RemoveBand(size_t Index);
  void MoveBand(size_t From, size_t To);
  void SetBandProps(size_t Band, const TBandProps& Props);
  void AddElement(size_t Band, size_t Index, const TReportElement& Element);
  void RemoveElement(size_t Band, size_t Index);
  // Replaces every member of an element at once (a move, a resize, an edit in the inspector).
  void ReplaceElement(size_t Band, size_t Index, const TReportElement& Element, const QString& What);
  // Moves an element to another band (or within its band) at ToIndex of the target's elements as
  // they are before the move; Top is its new position in the target band.
  void MoveElementToBand(size_t FromBand, size_t FromIndex, size_t ToBand, size_t ToIndex, float Top);

  // For the commands: the report being edited.
  TReportPage& MutablePage() noexcept { return *FPage; }
  void NotifyChanged() { emit Changed(); }

 signals:
  // After every edit, undo, redo, open and new report.
  void Changed();
  // After the file name changes (new, open, save as).
  void FileNameChanged();

 private:
  std::unique_ptr<TReportPage> FPage;
  std::string FFileName;
  QUndoStack FUndo;
};

}  // namespace quillet::designer
