// Printing: the screen canvas paints every page of a report onto the active printer through
// Qt's print support (CUPS on Linux), one job per report.
#include <QFileInfo>
#include <QMarginsF>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPrinter>
#include <QPrinterInfo>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <memory>
#include <string>

#include "base/error.h"
#include "screen/fmx_canvas.h"
#include "screen/page_records.h"
#include "screen/screen_drivers.h"

namespace quillet {

namespace {

// The printer SelectPrinterByName chose; empty: the system's default. Printing runs on the
// user-interface thread, as all painting with Qt does, so this needs no lock.
QString& ChosenPrinter() {
  static QString name;
  return name;
}

// The printer a job goes to: the chosen one while it still exists, else the system's default,
// else the first there is ("" when there is none at all).
QString ActivePrinter() {
  const QStringList names = QPrinterInfo::availablePrinterNames();
  if (!ChosenPrinter().isEmpty() && names.contains(ChosenPrinter())) return ChosenPrinter();
  const QString fallback = QPrinterInfo::defaultPrinterName();
  if (!fallback.isEmpty() && names.contains(fallback)) return fallback;
  return names.isEmpty() ? QString() : names.front();
}

std::string Quoted(const QString& S) { return "\"" + S.toStdString() + "\""; }

// The sheet is the report's page: a landscape page is the portrait size turned, so the printer
// feeds paper it knows; no margins, so nothing is shrunk or cut.
void SetSheet(QPrinter& Printer, float WidthPt, float HeightPt) {
  const bool landscape = WidthPt > HeightPt;
  const QSizeF portrait = landscape ? QSizeF(HeightPt, WidthPt) : QSizeF(WidthPt, HeightPt);
  const QPageSize size(portrait, QPageSize::Point, QString(), QPageSize::FuzzyMatch);
  const QPageLayout layout(size, landscape ? QPageLayout::Landscape : QPageLayout::Portrait, QMarginsF(0, 0, 0, 0),
                           QPageLayout::Point);
  Printer.setFullPage(true);
  if (!Printer.setPageLayout(layout)) {
    Printer.setPageSize(size);
    Printer.setPageOrientation(layout.orientation());
  }
}

// A job that did not finish is aborted. Qt's CUPS engine spools the whole document and cannot
// withdraw it, so there the pages drawn before the failure still reach the queue (the printer job
// is left to the platform); nothing after them does.
class TPrintJob {
 public:
  explicit TPrintJob(QPrinter& Printer) : FPrinter(Printer) {}
  ~TPrintJob() {
    if (!FPainter.isActive()) return;
    if (!FDone) FPrinter.abort();
    FPainter.end();
  }
  TPrintJob(const TPrintJob&) = delete;
  TPrintJob& operator=(const TPrintJob&) = delete;

  QPainter& Painter() { return FPainter; }
  void Finish() {
    FDone = true;
    if (!FPainter.end()) throw EQuilletError("Print error: the job could not be sent to the printer");
  }

 private:
  QPrinter& FPrinter;
  QPainter FPainter;
  bool FDone = false;
};

}  // namespace

bool SelectPrinterByName(const std::string& Name) {
  const QString wanted = QString::fromStdString(Name).trimmed();
  if (wanted.isEmpty()) return false;
  for (const QPrinterInfo& p : QPrinterInfo::availablePrinters()) {
    if (p.description().compare(wanted, Qt::CaseInsensitive) == 0 ||
        p.printerName().compare(wanted, Qt::CaseInsensitive) == 0) {
      ChosenPrinter() = p.printerName();
      return true;
    }
  }
  return false;
}

std::string ActivePrinterName() { return ActivePrinter().toStdString(); }

void PrintReport(TReportEngine& Engine) {
  if (Engine.ReportFile().empty()) throw EQuilletError("ReportEngine: ReportFile property is empty.");
  PrintReport(Engine, std::string(Engine.ReportFile()), std::string());
}

void PrintReport(TReportEngine& Engine, const std::string& FileName) { PrintReport(Engine, FileName, std::string()); }

void PrintReport(TReportEngine& Engine, const std::string& FileName, const std::string& PrinterName) {
  TReportEngine::TOutputScope operation(Engine);
  TReportPage page;
  page.LoadFromFile(FileName);
  Engine.SetReportFile(FileName);
  Engine.AutoDiscoverDataSources();
  Engine.InjectSystemVariables();
  PrintReportVector(Engine, page, PrinterName);
}

void PrintReport(TReportEngine& Engine, TReportPage& Page) {
  TReportEngine::TOutputScope operation(Engine);
  Engine.AutoDiscoverDataSources();
  Engine.InjectSystemVariables();
  PrintReportVector(Engine, Page, std::string());
}

void PrintReportVector(TReportEngine& Engine, TReportPage& Page, const std::string& PrinterName) {
  TReportEngine::TOutputScope operation(Engine);
  Engine.DoBeforeRender();
  Engine.ClearWarnings();
  Engine.ClearSubreportCache();
  struct TCacheScope {
    TReportEngine& E;
    ~TCacheScope() { E.ClearSubreportCache(); }
  } cacheScope{Engine};

  CountReportPages(Engine, Page);
  // As in PDF export, the total is the last page's number.
  const int32_t total = Engine.CvTotalPages();

  // An unknown name prints on the printer that is active.
  if (!PrinterName.empty())
    SelectPrinterByName(PrinterName);
  else if (!Page.PrinterName.empty())
    SelectPrinterByName(Page.PrinterName);
  const QString target = ActivePrinter();
  if (target.isEmpty()) throw EQuilletError("No printer is installed");

  QPrinter printer(QPrinter::HighResolution);
  printer.setPrinterName(target);
  if (!printer.isValid() || printer.outputFormat() != QPrinter::NativeFormat || printer.printerName() != target)
    throw EQuilletError("Print error: printer " + Quoted(target) + " is not available");
  const QString file = QFileInfo(QString::fromStdString(Engine.ReportFile())).fileName();
  printer.setDocName(file.isEmpty() ? QStringLiteral("Report") : file);
  const float widthPt = static_cast<float>(Page.PageWidth);
  const float heightPt = static_cast<float>(std::max<int32_t>(1, Page.PageHeight));
  SetSheet(printer, std::max(1.0f, widthPt), heightPt);

  // The pages are drawn (and the page events fire) into records first and reach the printer
  // only when the whole report has run: a run that is cancelled or fails sends no job at all.
  auto records = std::make_shared<TPageRecorder>(Engine.FontDirs());
  Engine.RunPass(Page, records, TRenderPass::Drawing(total, true));

  TPrintJob job(printer);
  if (!job.Painter().begin(&printer))
    throw EQuilletError("Print error: could not start a job on printer " + Quoted(target));
  PreparePagePainter(job.Painter());
  const float scale = widthPt < 1 ? 1.0f : static_cast<float>(printer.width()) / widthPt;
  std::shared_ptr<TFmxRptCanvas> canvas =
      TFmxRptCanvas::CreateForPrint(&job.Painter(), scale, std::max(1.0f, widthPt), heightPt, [&printer, &target] {
        if (!printer.newPage())
          throw EQuilletError("Print error: printer " + Quoted(target) + " refused a new page");
      });
  canvas->SetFontDirs(Engine.FontDirs());
  for (int32_t i = 0; i < records->PageCount(); ++i) records->Replay(i, *canvas);
  job.Finish();
  for (const std::string& w : canvas->Warnings()) Engine.AddWarning(w);
  Engine.DoAfterRender();
}

}  // namespace quillet
