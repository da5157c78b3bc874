// Output: one walker pass onto any canvas, and the PDF drivers built on it. A PDF export runs a
// counting pass (so "TotalPages" is known) and then a drawing pass onto the same canvas; the file
// appears only when the drawing pass completes.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "canvas/pdf_canvas.h"
#include "data/data_set.h"
#include "engine/report_engine.h"

namespace quillet {

namespace {

// Page numbers far from the int32 limits, so counting on from any start number cannot overflow.
int32_t SaneStartPage(int32_t Start) { return std::clamp<int32_t>(Start, -1000000000, 1000000000); }

TRenderPass CountingPass() {
  TRenderPass p;
  p.CountOnly = true;
  p.TotalPagesText = "?";
  return p;
}

// Clears the walker's hold on the canvas whichever way a pass ends.
class TPassScope {
 public:
  TPassScope(IRptCanvasPtr& Canvas, bool& FireEvents, TReportPage*& Page, TReportPage*& BandSrc)
      : FCanvas(Canvas), FFireEvents(FireEvents), FPage(Page), FBandSrc(BandSrc) {}
  ~TPassScope() {
    FCanvas.reset();
    FFireEvents = false;
    FPage = nullptr;
    FBandSrc = nullptr;
  }
  TPassScope(const TPassScope&) = delete;
  TPassScope& operator=(const TPassScope&) = delete;

 private:
  IRptCanvasPtr& FCanvas;
  bool& FFireEvents;
  TReportPage*& FPage;
  TReportPage*& FBandSrc;
};

// Parsed subreports live for one output operation.
class TSubreportCacheScope {
 public:
  explicit TSubreportCacheScope(TReportEngine& Engine) : FEngine(Engine) { FEngine.ClearSubreportCache(); }
  ~TSubreportCacheScope() { FEngine.ClearSubreportCache(); }
  TSubreportCacheScope(const TSubreportCacheScope&) = delete;
  TSubreportCacheScope& operator=(const TSubreportCacheScope&) = delete;

 private:
  TReportEngine& FEngine;
};

}  // namespace

void TReportEngine::RewindForPass() {
  // Every registered set once, the main one included.
  std::vector<TDataSet*> sets;
  auto add = [&sets](TDataSet* D) {
    if (D && std::find(sets.begin(), sets.end(), D) == sets.end()) sets.push_back(D);
  };
  add(FDataSource);
  for (const auto& [name, ds] : FNamedDataSources) add(ds);
  // A set's rank is one more than its highest master's, so masters rewind before the sets that
  // follow them and a detail re-filters from its master's first record. A cycle of links counts
  // as rank 0 where it closes.
  std::unordered_map<TDataSet*, int> rank;
  std::vector<TDataSet*> onPath;
  std::function<int(TDataSet*)> rankOf = [&](TDataSet* D) -> int {
    if (auto it = rank.find(D); it != rank.end()) return it->second;
    if (std::find(onPath.begin(), onPath.end(), D) != onPath.end() || onPath.size() > 64) return 0;
    onPath.push_back(D);
    int r = 0;
    for (TDataSet* m : D->MasterSets()) r = std::max(r, rankOf(m) + 1);
    onPath.pop_back();
    rank[D] = r;
    return r;
  };
  for (TDataSet* d : sets) rankOf(d);
  std::stable_sort(sets.begin(), sets.end(), [&](TDataSet* A, TDataSet* B) { return rank[A] < rank[B]; });
  for (TDataSet* d : sets)
    if (d->Active()) d->First();
  FRecordNo = 0;
  SetVariable("RecordNo", "0");
  FCurrentDS = GetDataSource("");
  FCvMasterDS = nullptr;
  FSubreportChain.clear();
  FSubreportExpansions = 0;
}

int32_t TReportEngine::RunPass(TReportPage& Page, const IRptCanvasPtr& Canvas, const TRenderPass& Pass) {
  TOutputScope operation(*this);
  TPassScope scope(FCvCanvas, FCvFireEvents, FCvPage, FCvBandSrc);
  RewindForPass();
  FCvCanvas = Canvas;
  FCvPage = &Page;
  FCvCountOnly = Pass.CountOnly;
  FCvFireEvents = Pass.FireEvents;
  FCvTotalPages = Pass.TotalPages;
  FCvPageNum = SaneStartPage(Page.StartPageNumber) - 1;
  SetVariable("TotalPages", Pass.TotalPagesText.empty() ? (Pass.CountOnly ? std::string("?")
                                                                          : std::to_string(Pass.TotalPages))
                                                        : Pass.TotalPagesText);
  if (!Pass.CountOnly) ResetAggregates();
  WarnReport(Page);
  FCvPassPages = 0;
  CvExecuteReport();
  // A counting pass is followed by a drawing pass of the same pages: only drawn pages add up.
  if (!Pass.CountOnly) FRunPages += FCvPassPages;
  return FCvPageNum;
}

std::shared_ptr<TPdfRptCanvas> TReportEngine::NewPdfCanvas(const std::string& OutFile, const TReportPage* InfoPage) {
  auto canvas = std::make_shared<TPdfRptCanvas>(OutFile);
  canvas->SetJpegQuality(FPdfJpegQuality);
  TPDFVectorWriter& w = canvas->Writer();
  w.SetCompressionLevel(FPdfCompressionLevel);
  w.SetBackgroundCompression(FPdfBackgroundCompression);
  canvas->FontManager().SetFontDirs(FFontDirs);
  auto pick = [](const std::string& Own, const TReportPage* P, std::string TReportPage::*Field) {
    return !Own.empty() || !P ? Own : P->*Field;
  };
  w.SetInfoTitle(pick(FPdfTitle, InfoPage, &TReportPage::PdfTitle));
  w.SetInfoAuthor(pick(FPdfAuthor, InfoPage, &TReportPage::PdfAuthor));
  w.SetInfoSubject(pick(FPdfSubject, InfoPage, &TReportPage::PdfSubject));
  w.SetInfoKeywords(pick(FPdfKeywords, InfoPage, &TReportPage::PdfKeywords));
  w.SetInfoCreator(pick(FPdfCreator, InfoPage, &TReportPage::PdfCreator));
  return canvas;
}

void TReportEngine::FinishPdf(TPdfRptCanvas& Canvas) {
  // Fonts are embedded before the file is written: their damage is known before a strict run
  // decides whether to write it.
  Canvas.PrepareSave();
  for (const std::string& w : Canvas.Warnings()) AddWarning(w);
  CheckStrict();
  Canvas.SaveToFile();
}

int32_t TReportEngine::CountAndDraw(TReportPage& Page, const IRptCanvasPtr& Canvas) {
  const int32_t last = RunPass(Page, Canvas, CountingPass());
  // The total is the last page's number, so it shares one numbering with the page numbers.
  return RunPass(Page, Canvas, TRenderPass::Drawing(last, true));
}

void TReportEngine::RenderPageToPDF(TReportPage& Page, const std::string& OutFile) {
  TOutputScope operation(*this);
  DoBeforeRender();
  ClearWarnings();
  TSubreportCacheScope cache(*this);
  auto canvas = NewPdfCanvas(OutFile, &Page);
  CountAndDraw(Page, canvas);
  FinishPdf(*canvas);
  DoAfterRender();
}

void TReportEngine::ExportPDF(const std::string& OutFile) {
  TOutputScope operation(*this);
  if (FReportFile.empty()) throw EQuilletError("ReportEngine: ReportFile property is empty.");
  ExportPDF(std::string(FReportFile), OutFile);
}

void TReportEngine::ExportPDF(const std::string& FileName, const std::string& OutFile) {
  TOutputScope operation(*this);
  TReportPage page;
  page.LoadFromFile(FileName);
  FReportFile = FileName;
  ExportPDF(page, OutFile);
}

void TReportEngine::ExportPDF(TReportPage& Page, const std::string& OutFile) {
  TOutputScope operation(*this);
  AutoDiscoverDataSources();
  InjectSystemVariables();
  RenderPageToPDF(Page, OutFile);
}

void TReportEngine::ExportPDF(const std::vector<std::string>& Files, const std::string& OutFile) {
  TOutputScope operation(*this);
  if (Files.empty()) return;
  if (Files.size() == 1) {
    ExportPDF(Files.front(), OutFile);
    return;
  }
  AutoDiscoverDataSources();
  InjectSystemVariables();
  DoBeforeRender();
  ClearWarnings();
  TSubreportCacheScope cache(*this);
  std::shared_ptr<TPdfRptCanvas> canvas;
  {
    TReportPage first;
    first.LoadFromFile(Files.front());
    canvas = NewPdfCanvas(OutFile, &first);
  }
  for (const std::string& file : Files) {
    TReportPage page;
    page.LoadFromFile(file);
    FReportFile = file;
    CountAndDraw(page, canvas);
  }
  FinishPdf(*canvas);
  DoAfterRender();
}

int32_t TReportEngine::CountReportPages(TReportPage& Page, const IRptCanvasPtr& Canvas) {
  TOutputScope operation(*this);
  IRptCanvasPtr measure = Canvas;
  if (!measure) {
    // Measure with the PDF fonts; the writer is never finished, so its temporary file goes away
    // with it.
    const auto target = std::filesystem::temp_directory_path() / "quillet-count.pdf";
    measure = std::make_shared<TPdfRptCanvas>(target.string());
  }
  const int32_t start = SaneStartPage(Page.StartPageNumber);
  TSubreportCacheScope cache(*this);
  const int32_t last = RunPass(Page, measure, CountingPass());
  FCvTotalPages = last;
  return std::max(1, last - (start - 1));
}

}  // namespace quillet
