// TReportEngine: the component an application uses to run a report. It holds the report file,
// the data sets that feed it, named string variables, PDF document information and the event
// hooks; it resolves element texts (fields, variables, [expression] templates, aggregates); its
// band walker turns a report definition into pages on any IRptCanvas; and its drivers make PDF
// files from one or several reports.
//
//   TReportEngine engine;
//   engine.SetDataSource("Orders", &orders);   // data sets stay owned by the application
//   engine.SetVariable("Company", "Acme");
//   engine.ExportPDF("invoice.qdr", "invoice.pdf");
//
// One engine runs one report at a time on the calling thread; separate engines may run on
// separate threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/error.h"
#include "canvas/rpt_canvas.h"
#include "data/data_set.h"
#include "expr/expr_evaluator.h"
#include "registration/component.h"
#include "reportdef/report_model.h"

namespace quillet {

class TDataSet;
class TReportEngine;
class TPdfRptCanvas;

// Where relative image file names are looked up: $HOME/Documents.
std::string UserDocumentsFolder();

// Subreport expansions allowed beneath one drawing of one band of the outer report.
inline constexpr int64_t kMaxSubreportExpansions = 10000;
// Warnings kept per output operation.
inline constexpr size_t kMaxWarnings = 100;
// Pages one output operation may begin (counting passes included), unless set otherwise:
// far above any report a person reads, low enough that a report adding pages without end stops
// in seconds instead of filling the disk.
inline constexpr int64_t kMaxPagesPerRun = 100000;
// Bytes of the resolved text of one element or table cell: a megabyte is hundreds of pages of
// prose; longer text comes from a runaway expression or a wrong field, and measuring and wrapping
// it would hold the run for minutes.
inline constexpr size_t kMaxElementTextBytes = 1048576;

// The names of the built-in variables, in upper case, each English name followed by its Turkish
// ones: D, DATE, TARIH, TIME, SAAT, ... A name matches in any case (the Turkish dotted and dotless
// i count as I: "TARİH", "tarih"), and a built-in always wins over a variable of the same name.
const std::vector<std::string>& SystemVariableNames();
bool IsSystemVariableName(std::string_view Name);

// Raised out of a run when an OnBeforePage handler cancels it (or RequestCancel was called).
class EReportCancelled : public EQuilletError {
 public:
  EReportCancelled() : EQuilletError("Rapor kullanici tarafindan durduruldu") {}
};

// Raised by an output operation of a strict engine that met a warning, before its output is
// written; the message is the first warning.
class EStrictWarning : public EQuilletError {
 public:
  using EQuilletError::EQuilletError;
};

// Running totals of one field.
struct TAggrAccum {
  int64_t Count = 0;  // records accumulated, null and non-numeric values included
  double Sum = 0;
  double Min = 0;  // valid only when HasValue
  double Max = 0;
  bool HasValue = false;  // at least one numeric value was seen
};

enum TAggrScope : int32_t { asNone, asGroup, asAll };

using TAggrTable = std::unordered_map<std::string, TAggrAccum>;

// How one walker pass runs: see TReportEngine::RunPass.
struct TRenderPass {
  bool CountOnly = false;        // count pages only: nothing drawn, no events
  bool FireEvents = false;       // page events fire (PDF export and vector printing)
  int32_t TotalPages = 0;        // known total from a counting pass, 0 = unknown
  std::string TotalPagesText;    // what the "TotalPages" variable reads during the pass ("?" when counting)

  // A drawing pass whose "TotalPages" reads Total.
  static TRenderPass Drawing(int32_t Total, bool Events = false) {
    TRenderPass pass;
    pass.FireEvents = Events;
    pass.TotalPages = Total;
    pass.TotalPagesText = std::to_string(Total);
    return pass;
  }
};

using TNotifyEvent = std::function<void(TReportEngine& Sender)>;
using TRptPageRenderedEvent = std::function<void(TReportEngine& Sender, int32_t PageNum, int32_t TotalPages)>;
using TRptBeforePageEvent =
    std::function<void(TReportEngine& Sender, int32_t PageNum, int32_t TotalPages, bool& Cancel)>;
// Where messages for the user go (ShowReport on this platform). The default writes to stderr.
using TMessageHook = std::function<void(const std::string& Message)>;

class TReportEngine : public TComponent, private IDataSetFreeNotify {
 public:
  explicit TReportEngine(TComponent* Owner = nullptr);
  ~TReportEngine() override;

  // ---- Properties -------------------------------------------------------------------------

  // The report definition (.qdr) that the parameterless operations run.
  const std::string& ReportFile() const noexcept { return FReportFile; }
  void SetReportFile(std::string Value) { FReportFile = std::move(Value); }
  // Default output of ShowReport().
  const std::string& OutputFile() const noexcept { return FOutputFile; }
  void SetOutputFile(std::string Value) { FOutputFile = std::move(Value); }
  // Explicit path of the external designer program.
  const std::string& DesignerExe() const noexcept { return FDesignerExe; }
  void SetDesignerExe(std::string Value) { FDesignerExe = std::move(Value); }
  // The package's marker component, if one is placed beside the engine.
  TComponent* Scrivel() const noexcept { return FScrivel; }
  void SetScrivel(TComponent* Value);

  // The main data set: what an empty data-source name means. Not owned.
  TDataSet* DataSource() const noexcept { return FDataSource; }
  void SetDataSource(TDataSet* Value);

  // Raster resolutions for preview, printing and image export, kept within 72 .. 600.
  int32_t PreviewDPI() const noexcept { return FPreviewDPI; }
  int32_t PrintDPI() const noexcept { return FPrintDPI; }
  int32_t ExportDPI() const noexcept { return FExportDPI; }
  void SetPreviewDPI(int32_t Value) noexcept;
  void SetPrintDPI(int32_t Value) noexcept;
  void SetExportDPI(int32_t Value) noexcept;

  // PDF document information; an empty value means: take the report's own.
  const std::string& PdfTitle() const noexcept { return FPdfTitle; }
  const std::string& PdfAuthor() const noexcept { return FPdfAuthor; }
  const std::string& PdfSubject() const noexcept { return FPdfSubject; }
  const std::string& PdfKeywords() const noexcept { return FPdfKeywords; }
  const std::string& PdfCreator() const noexcept { return FPdfCreator; }
  void SetPdfTitle(std::string V) { FPdfTitle = std::move(V); }
  void SetPdfAuthor(std::string V) { FPdfAuthor = std::move(V); }
  void SetPdfSubject(std::string V) { FPdfSubject = std::move(V); }
  void SetPdfKeywords(std::string V) { FPdfKeywords = std::move(V); }
  void SetPdfCreator(std::string V) { FPdfCreator = std::move(V); }

  // PDF output settings: the Flate level of content streams (0 none … 12, default 6) and folders
  // searched for font files before the system's fonts.
  int PdfCompressionLevel() const noexcept { return FPdfCompressionLevel; }
  void SetPdfCompressionLevel(int Level);
  // Images in PDF output: 0 (the default) embeds every image that is not a JPEG file losslessly;
  // 1..100 embeds them as JPEG at that quality, for photo-heavy reports. JPEG files are embedded
  // as they are either way.
  int PdfJpegQuality() const noexcept { return FPdfJpegQuality; }
  void SetPdfJpegQuality(int Q);
  const std::vector<std::string>& FontDirs() const noexcept { return FFontDirs; }
  void SetFontDirs(std::vector<std::string> Dirs) { FFontDirs = std::move(Dirs); }
  // Page content is compressed on a second thread while the next page is drawn (on by default);
  // the file is byte-for-byte the same either way.
  bool PdfBackgroundCompression() const noexcept { return FPdfBackgroundCompression; }
  void SetPdfBackgroundCompression(bool On) noexcept { FPdfBackgroundCompression = On; }
  // What the last output operation warned about, each distinct line once, at most kMaxWarnings
  // of them: the checks of CheckReport, problems met while drawing (an unusable value in a
  // placeholder), substituted fonts, damaged glyphs, subreports that include themselves.
  const std::vector<std::string>& Warnings() const noexcept { return FWarnings; }
  // Distinct warnings of the operation, those beyond the kept ones included.
  size_t WarningCount() const noexcept { return FWarningCount; }
  // Adds a line to Warnings unless the operation has it already (drivers in other modules report
  // their canvas's substitutions here); ClearWarnings starts an operation's list.
  void AddWarning(const std::string& Text);
  void ClearWarnings();
  // A strict engine fails an output operation that warned: EStrictWarning is raised before the
  // output file is written, so an existing file stays as it was.
  bool Strict() const noexcept { return FStrict; }
  void SetStrict(bool On) noexcept { FStrict = On; }
  // Raises EStrictWarning when strict and a warning was met; drivers call it before they write.
  void CheckStrict() const;
  // The problems of Page that show without walking any record, one line each starting with
  // Label (the report file) and the place in it ("invoice.qdr: bands[1].elements[4] (Label
  // "total"): ..."): what the loader fell back on, data sources not registered or not open,
  // names their data sets lack, unknown functions, variables and other expression problems,
  // aggregates of fields no walked data set has, missing image and subreport files. Subreports
  // are checked in their own files. Uses the registered data sets and variables as they are now.
  std::vector<std::string> CheckReport(const TReportPage& Page, const std::string& Label);
  // "LABEL: bands[B].elements[E] (Type \"name\")".
  static std::string ElementPlace(const std::string& Label, size_t BandIndex, size_t ElementIndex,
                                  const TReportElement& El);
  // How many subreports may expand beneath one drawing of one band of the outer report, counted
  // over all depths; past it the run stops with "Subreport nesting too large in FILE".
  int64_t SubreportExpansionLimit() const noexcept { return FSubreportExpansionLimit; }
  void SetSubreportExpansionLimit(int64_t Limit) noexcept;
  // The pages one output operation may begin, counting passes and every report of a multi-report
  // PDF included; past it the run stops with EQuilletError ("... more than N pages ..."). At
  // least 1; kMaxPagesPerRun by default.
  int64_t MaxPages() const noexcept { return FMaxPages; }
  void SetMaxPages(int64_t Limit) noexcept { FMaxPages = Limit < 1 ? 1 : Limit; }
  // Parsed subreport files are kept from one pass to the next; the drivers clear them at the
  // start and end of each output operation, and so should a caller of RunPass. A subreport file
  // that cannot be read (not JSON, a limit broken) is drawn empty, with a warning.
  void ClearSubreportCache();

  // ---- Events -----------------------------------------------------------------------------

  TNotifyEvent OnBeforeRender;
  TNotifyEvent OnAfterRender;
  // Before each page of a drawing pass; setting Cancel stops the run with EReportCancelled.
  TRptBeforePageEvent OnBeforePage;
  TRptPageRenderedEvent OnPageRendered;

  void SetMessageHook(TMessageHook Hook) { FMessageHook = std::move(Hook); }
  // Hands Message to the message hook (stderr without one). Editors and drivers of other
  // modules speak to the user through it too.
  void ShowMessage(const std::string& Message);
  // Asks the running report to stop: the next band or subreport it draws, or the next page it
  // begins (counting passes included), raises EReportCancelled. The request holds until the output operation ends, and is cleared then,
  // so that the engine can run again. Safe to call from another thread or a signal handler.
  void RequestCancel() noexcept { FCancelRequested.store(true, std::memory_order_relaxed); }
  bool CancelRequested() const noexcept { return FCancelRequested.load(std::memory_order_relaxed); }
  void ClearCancel() noexcept { FCancelRequested.store(false, std::memory_order_relaxed); }

  // Held by every output operation (RunPass, the PDF, screen and print drivers) while it runs.
  // When the outermost one ends, however it ends, the cancel request is cleared. A caller that
  // makes one output out of several operations holds one around them all, so that a request made
  // between two of them still stops the rest.
  class TOutputScope {
   public:
    explicit TOutputScope(TReportEngine& Engine) noexcept : FEngine(Engine) {
      if (FEngine.FOutputDepth++ == 0) FEngine.FRunPages = 0;
    }
    ~TOutputScope() {
      if (--FEngine.FOutputDepth == 0) FEngine.ClearCancel();
    }
    TOutputScope(const TOutputScope&) = delete;
    TOutputScope& operator=(const TOutputScope&) = delete;

   private:
    TReportEngine& FEngine;
  };

  // ---- Data sources and variables ---------------------------------------------------------

  // Adds or replaces a named data set (names are case-sensitive). Not owned.
  void SetDataSource(const std::string& Name, TDataSet* DataSet);
  // "" gives the main data set; otherwise the named one or nullptr.
  TDataSet* GetDataSource(const std::string& Name) const;
  // The engine watches every data set it is given (named, main or found through the links of its
  // owner): a set that is destroyed drops out of its tables, so no pointer to it is left behind.
  void ClearDataSources() { FNamedDataSources.clear(); }
  const std::map<std::string, TDataSet*>& NamedDataSources() const noexcept { return FNamedDataSources; }

  void SetVariable(const std::string& Name, const std::string& Value);
  // "" when absent.
  std::string GetVariable(const std::string& Name) const;
  void ClearVariables() { FVariables.clear(); }

  // Adds Date, Time, DateTime, PageNo and TotalPages where they are not set yet.
  void InjectSystemVariables();
  // Adds the data sets of the data-set links owned by this engine's owner (never replacing).
  void AutoDiscoverDataSources();

  // ---- Text resolution --------------------------------------------------------------------

  // A field of the current data set, or "Source.Field" of a named one (falling back to the
  // current data set's Field).
  bool ResolveFieldValue(const std::string& Name, TExprValue& Value) const;
  // Built-in names (SystemVariableNames, any case), then the variables exactly as spelled.
  bool ResolveVarValue(const std::string& Name, TExprValue& Value) const;
  // The text an element shows: its data field, a whole-text {Variable}, or its [expression] template.
  std::string ResolveText(const TReportElement& El);
  // A table cell's [expression] template.
  std::string ResolveCellText(const std::string& S);
  // Whether any element mentions TotalPages (a counting pass is then worth its time).
  static bool PageNeedsTotalPages(const TReportPage* Page);

  // ---- Aggregates -------------------------------------------------------------------------

  void InitAggregates(int32_t GroupCount);
  void ResetAggregates();
  void ResetGroupAggregate(int32_t Level);
  void AccumulateRecord(TDataSet* DataSet);
  // SUM, AVG, COUNT, MIN or MAX of FieldName in the scope the walker has selected.
  void EvalAggregate(const std::string& FuncName, const std::string& FieldName, TExprValue& Result) const;
  TAggrScope AggScope() const noexcept { return FAggScope; }
  void SetAggScope(TAggrScope Scope, int32_t Index = 0) noexcept {
    FAggScope = Scope;
    FAggScopeIdx = Index;
  }
  const TAggrTable& AggAll() const noexcept { return FAggAll; }

  // ---- Event triggers ---------------------------------------------------------------------

  void DoBeforeRender();
  void DoAfterRender();
  void DoPageRendered(int32_t PageNum, int32_t TotalPages);
  // Returns Cancel as the handler left it (false without a handler).
  bool DoBeforePage(int32_t PageNum, int32_t TotalPages);

  // ---- Output -----------------------------------------------------------------------------

  // Runs one whole report onto Canvas: sets the walker state from Pass, starts page numbers at
  // the report's startPageNumber, resets aggregates for a drawing pass, and runs the walk.
  // Returns the number of the last page. Data-source discovery and system variables stay with
  // the drivers.
  int32_t RunPass(TReportPage& Page, const IRptCanvasPtr& Canvas, const TRenderPass& Pass);

  // PDF export. The file appears only when the drawing pass completes; a failed or cancelled run
  // leaves nothing behind.
  void ExportPDF(const std::string& OutFile);                              // the ReportFile
  void ExportPDF(const std::string& FileName, const std::string& OutFile);  // a report file
  void ExportPDF(TReportPage& Page, const std::string& OutFile);           // a loaded report
  // Several reports into one PDF, one after the other, each with its own page numbers.
  void ExportPDF(const std::vector<std::string>& Files, const std::string& OutFile);
  // The two-pass render of one report (no discovery, no system variables).
  void RenderPageToPDF(TReportPage& Page, const std::string& OutFile);
  // Counting pass only; at least 1. Text is measured with Canvas, or with the PDF fonts when
  // Canvas is empty.
  int32_t CountReportPages(TReportPage& Page, const IRptCanvasPtr& Canvas = nullptr);

  // On this platform these only show "PDF generation is only supported on Android." through the
  // message hook; PDF output goes through ExportPDF.
  void ShowReport();
  void ShowReport(const std::string& OutputFile);
  void ShowReport(const std::string& ReportFile, const std::string& OutputFile);
  void ShowReport(TReportPage& Page, const std::string& OutputFile);
  void ShowReports(const std::vector<std::string>& Files, const std::string& OutputFile);
  void ShowReports(const std::vector<TReportPage*>& Pages, const std::string& OutputFile);

  // ---- The designer ------------------------------------------------------------------------
  // Report definitions are drawn in the designer program, formwright (designer_bridge.h).

  // Where the designer is: DesignerExe when that file exists; else, D being the folder of the
  // running executable, D/formwright, D/Designer/formwright, then Designer/formwright in D and
  // in each folder above it up to the root; then ../bin/formwright beside the library's code and
  // formwright on PATH. When none exists, D/formwright all the same (callers test existence).
  std::string DesignerExePath() const;
  // Starts the designer on ReportFile without waiting for it. The data-set links that Owner
  // holds (when given) for this engine or for every engine, and that have a data set, are
  // described to it in datasources.json. A designer that cannot be found is reported through
  // the message hook: "formwright not found.\r\nPlace it here: FOLDER".
  void OpenDesigner(const std::string& ReportFile, TComponent* Owner = nullptr);
  // Starts the designer showing ReportFile as a preview (nothing when ReportFile is empty).
  void OpenPreview(const std::string& ReportFile);

  // ---- The design view --------------------------------------------------------------------
  // Draws El as the walker draws it in a band whose top is BandTop (page coordinates, the band's
  // left edge at the left margin of a page with Page's margins), but with its templates in place
  // of values: a data field shows as "[field]", texts, cells and codes as they are written, so a
  // designer shows what the author typed. Nothing is evaluated and no warning is added. Images are
  // looked up as the report looks them up (beside ReportFile); subreports, data tables and images
  // that cannot be found are drawn as frames naming what they stand for.
  void DrawDesignElement(const IRptCanvasPtr& Canvas, const TReportPage& Page, const TReportElement& El,
                         float BandTop);

  // ---- The band walker's steps ------------------------------------------------------------
  // RunPass drives these; they are public for drivers in other modules and for tests.

  void CvExecuteReport();
  void CvFindHdrFtr();
  void CvBeginPage();
  void CvFinishPage();
  void CvCheckBreak(float H);
  float CvCalcBandHeight(const TReportBand& Band);
  bool CvBandVisible(const TReportBand& Band, bool IsFirstPage) const;
  void CvWalkBands(bool TopLevel);
  void CvRenderBand(const TReportBand& Band, float Y);
  void CvRenderEl(const TReportElement& El, float BandTop, float OffsetX);
  static bool CvBandHasFlowSubreport(const TReportBand& Band);
  static const TReportElement* CvBandDataTable(const TReportBand& Band);
  void CvRenderSubreport(const TReportElement& El, float X, float Y);
  void CvRenderSubreportFlow(const TReportElement& El);
  void CvRenderDataTable(const TReportElement& El, float OffsetX);
  std::string EvalGroupValue(const std::string& Condition, TDataSet* DataSet);

  // Walker state, readable for drivers and tests.
  int32_t CvPageNum() const noexcept { return FCvPageNum; }
  int32_t CvTotalPages() const noexcept { return FCvTotalPages; }
  float CvBodyY() const noexcept { return FCvBodyY; }
  float CvContentMaxY() const noexcept { return FCvContentMaxY; }
  TDataSet* CurrentDS() const noexcept { return FCurrentDS; }
  int32_t RecordNo() const noexcept { return FRecordNo; }

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  class TLinter;
  void DataSetFreed(TDataSet* DataSet) override;
  void Watch(TDataSet* DataSet);
  // Adds the warnings of CheckReport for the report being run.
  void WarnReport(const TReportPage& Page);
  // Warns of the problems of an element's placeholders met while drawing it.
  // (DataField: the problems are of the element's data field, not of placeholders.)
  void WarnTextProblems(const std::vector<TTextProblem>& Problems, bool DataField = false);
  // Where the element being drawn is, as warnings name it: "FILE: bands[B].elements[E] (Type
  // \"name\")"; "" when no element is being drawn.
  std::string CurrentElementPlace() const;
  // Text, unless it is longer than kMaxElementTextBytes: then the run stops naming the element.
  std::string CheckTextLength(std::string Text) const;
  // "data source \"Name\"", or how the main data set is called.
  std::string DataSetLabel(const std::string& Name) const;
  static std::string SubreportKey(const std::string& File);
  // The parsed subreport File from this operation's cache, loaded on first use.
  TReportPage* CachedSubreport(const std::string& File);
  // The state every pass starts from: each active registered set on its first record (masters
  // first), no record counted, the default data source current, no master.
  void RewindForPass();
  // The subreport file El names, resolved against the report file's folder; "" when missing.
  std::string LocateSubreport(const TReportElement& El) const;
  // The parsed subreport El names, entered into the include chain (nullptr: draw nothing). Raises
  // when the outer band's expansions pass the limit.
  TReportPage* EnterSubreport(const TReportElement& El, std::string& Key);
  void LeaveSubreport();
  // The image file El names: as given when rooted, else in the user's documents folder, else
  // beside the report file; "" when missing.
  std::string LocateImage(const TReportElement& El) const;
  void RenderMemo(const TReportElement& El, const TRectF& R);
  void RenderMark(const TReportElement& El, const TRectF& R, const TRptFont& Font);
  void RenderEditBorder(const TReportElement& El, const TRectF& R);
  // The design view's stand-in for what cannot be shown: a tinted box with a caption.
  void DrawDesignFrame(const TReportElement& El, const TRectF& R, const std::string& Caption);
  void PlaceBand(const TReportBand& Band);  // height, break, draw, advance
  void RenderPageBand(const TReportBand& Band, float Y);  // a page header or footer
  void RunMasterBlock(size_t M, size_t& Next, bool TopLevel, bool& FirstMasterOfWalk);
  // A PDF canvas for OutFile with the engine's settings and the document information.
  std::shared_ptr<TPdfRptCanvas> NewPdfCanvas(const std::string& OutFile, const TReportPage* InfoPage);
  void FinishPdf(TPdfRptCanvas& Canvas);
  // The counting pass, then the drawing pass with the total it found; returns the last page.
  int32_t CountAndDraw(TReportPage& Page, const IRptCanvasPtr& Canvas);

  std::string FReportFile;
  TComponent* FScrivel = nullptr;
  TDataSet* FDataSource = nullptr;
  std::string FOutputFile;
  std::string FDesignerExe;
  std::unordered_map<std::string, std::string> FVariables;
  std::map<std::string, TDataSet*> FNamedDataSources;
  TDataSet* FCurrentDS = nullptr;
  int32_t FRecordNo = 0;
  int32_t FPreviewDPI = 150;
  int32_t FPrintDPI = 200;
  int32_t FExportDPI = 150;
  std::string FPdfTitle, FPdfAuthor, FPdfSubject, FPdfKeywords, FPdfCreator;
  bool FCvFireEvents = false;

  TAggrTable FAggAll;
  std::vector<TAggrTable> FAggGroup;
  TAggrScope FAggScope = asNone;
  int32_t FAggScopeIdx = 0;
  // Where each field of the last accumulated data set lands in each table, so a record costs no
  // name hashing. Any change to the tables bumps FAggEpoch and the slots are looked up again.
  uint64_t FAggEpoch = 0;
  struct TAggrSlots {
    const TDataSet* DataSet = nullptr;
    uint64_t Epoch = ~uint64_t{0};
    int FieldCount = -1;
    std::vector<TAggrAccum*> Slots;  // field-major: one per table (all, then each group level)
  } FAggSlots;

  // The walker.
  IRptCanvasPtr FCvCanvas;
  TReportPage* FCvPage = nullptr;
  TReportPage* FCvBandSrc = nullptr;
  int32_t FCvPageNum = 0;
  int32_t FCvTotalPages = 0;
  int32_t FCvReportFirstPage = 0;
  float FCvBodyY = 0;
  float FCvContentMaxY = 0;
  std::vector<const TReportBand*> FCvHdrBands, FCvFtrBands;
  float FCvHdrH = 0;
  float FCvFtrH = 0;
  bool FCvCountOnly = false;
  bool FCvDesign = false;  // DrawDesignElement: templates, not values
  TDataSet* FCvMasterDS = nullptr;
  float FCvBaseX = 0;

  int FPdfCompressionLevel = 6;
  int FPdfJpegQuality = 0;
  bool FPdfBackgroundCompression = true;
  std::vector<std::string> FFontDirs;
  std::vector<std::string> FWarnings;
  std::set<TDataSet*> FWatched;  // the data sets whose destruction this engine is told of
  std::set<std::string> FWarningSeen;
  size_t FWarningCount = 0;
  bool FStrict = false;
  // The element being drawn, for the place of a warning.
  const TReportBand* FCvCurBand = nullptr;
  const TReportElement* FCvCurEl = nullptr;
  TMessageHook FMessageHook;
  std::atomic<bool> FCancelRequested{false};
  int FOutputDepth = 0;  // output operations running, nested ones included
  int64_t FMaxPages = kMaxPagesPerRun;
  int64_t FRunPages = 0;   // pages of the finished drawing passes of this output operation
  int64_t FCvPassPages = 0;  // pages the running pass has begun
  // Subreports: the files being drawn, outermost first; expansions beneath the outer band now
  // drawing; parsed files kept for one output operation.
  std::vector<std::string> FSubreportChain;
  int64_t FSubreportExpansions = 0;
  int64_t FSubreportExpansionLimit = kMaxSubreportExpansions;
  std::map<std::string, std::unique_ptr<TReportPage>> FSubreportCache;
  std::set<std::string> FSubreportCycleWarned;
  std::map<std::string, std::string> FSubreportLabels;  // cache key -> the file as located
  std::map<std::string, std::string> FSubreportProblems;  // cache key -> why the file cannot be read

  // The evaluator's callbacks, made once so resolving a text allocates no closures.
  TGetIdentValueFunc FFieldFunc;
  TGetIdentValueFunc FVarFunc;
  TAggregateFunc FAggFunc;
};

}  // namespace quillet
