// The engine's preview operations: the window opens at once, the pages are counted and then
// recorded in one drawing pass while the first ones can already be seen, and every page shown
// afterwards is painted from its record.
#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QTimer>

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "screen/page_records.h"
#include "screen/screen_drivers.h"
#include "ui/preview_form.h"

namespace quillet {

namespace {

struct TPreviewItem {
  TReportPage* Page = nullptr;
  std::string File;  // "" for a page handed in by the caller
  int32_t Start = 0;
  int32_t Count = 0;
  std::shared_ptr<TPageRecorder> Records;
};

void RunPreview(TReportEngine& Engine, std::vector<TPreviewItem>& Items, TRptPreviewForm::TPrintProc Print,
                TRptPreviewForm::TExportProc Export) {
  Engine.AutoDiscoverDataSources();
  Engine.InjectSystemVariables();
  Engine.ClearCancel();
  const float pageW = static_cast<float>(Items.front().Page->PageWidth);
  const float pageH = static_cast<float>(Items.front().Page->PageHeight);

  TRptPreviewForm form;
  auto renderer = [&Items](int32_t Index, float Zoom) -> QImage {
    // The report holding a global page index: the last one starting at or before it.
    size_t r = Items.size() - 1;
    while (r > 0 && Items[r].Start > Index) --r;
    if (!Items[r].Records) return QImage();
    return RenderRecordedPage(*Items[r].Records, Index - Items[r].Start, Zoom);
  };
  form.SetVector(renderer, Print, Export, 1, pageW, pageH, 0);
  form.SetBusy(true);

  std::exception_ptr failure;
  bool closed = false;
  QObject::connect(&form, &QDialog::finished, &form, [&] {
    closed = true;
    Engine.RequestCancel();  // a window closed while pages are prepared stops the run
  });
  QTimer::singleShot(0, &form, [&] {
    try {
      form.SetProgress(QStringLiteral("Counting pages..."));
      QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
      int32_t total = 0;
      for (TPreviewItem& item : Items) {
        if (!item.File.empty()) Engine.SetReportFile(item.File);
        item.Start = total;
        item.Count = CountReportPages(Engine, *item.Page);
        total += item.Count;
      }
      form.SetVector(renderer, Print, Export, total, pageW, pageH, 0);
      QElapsedTimer sinceEvents;
      sinceEvents.start();
      for (TPreviewItem& item : Items) {
        if (closed) break;
        if (!item.File.empty()) Engine.SetReportFile(item.File);
        item.Records = std::make_shared<TPageRecorder>(Engine.FontDirs());
        item.Records->OnPageRecorded = [&](int32_t Index) {
          const int32_t ready = item.Start + Index + 1;
          form.SetPagesReady(ready);
          if (sinceEvents.elapsed() >= 50 || ready == total) {
            form.SetProgress(QStringLiteral("Preparing page %1 of %2").arg(ready).arg(total));
            QApplication::processEvents();
            sinceEvents.restart();
          }
        };
        Engine.ClearSubreportCache();
        Engine.RunPass(*item.Page, item.Records, TRenderPass::Drawing(item.Count));
        Engine.ClearSubreportCache();
        for (const std::string& w : item.Records->Warnings()) Engine.AddWarning(w);
      }
      form.SetProgress(QString());
      form.SetBusy(false);
    } catch (const EReportCancelled&) {
      if (!closed) failure = std::current_exception();
      form.SetBusy(false);
    } catch (...) {
      failure = std::current_exception();
      form.SetBusy(false);
      form.reject();
    }
  });
  form.exec();
  Engine.ClearCancel();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

void Preview(TReportEngine& Engine) {
  if (Engine.ReportFile().empty()) throw EQuilletError("ReportEngine: ReportFile property is empty.");
  Preview(Engine, std::string(Engine.ReportFile()));
}

void Preview(TReportEngine& Engine, const std::string& FileName) {
  TReportPage page;
  page.LoadFromFile(FileName);
  Engine.SetReportFile(FileName);
  Preview(Engine, page);
}

void Preview(TReportEngine& Engine, TReportPage& Page) {
  std::vector<TPreviewItem> items(1);
  items[0].Page = &Page;
  RunPreview(
      Engine, items, [&Engine, &Page] { PrintReport(Engine, Page); },
      [&Engine, &Page](const std::string& File) { Engine.ExportPDF(Page, File); });
}

void Preview(TReportEngine& Engine, const std::vector<std::string>& Files) {
  if (Files.empty()) return;
  if (Files.size() == 1) {
    Preview(Engine, Files.front());
    return;
  }
  std::vector<std::unique_ptr<TReportPage>> pages;
  std::vector<TPreviewItem> items;
  for (const std::string& file : Files) {
    pages.push_back(std::make_unique<TReportPage>());
    pages.back()->LoadFromFile(file);
    TPreviewItem item;
    item.Page = pages.back().get();
    item.File = file;
    items.push_back(std::move(item));
  }
  RunPreview(
      Engine, items,
      [&Engine, &Files] {
        for (const std::string& file : Files) PrintReport(Engine, file);
      },
      [&Engine, &Files](const std::string& File) { Engine.ExportPDF(Files, File); });
}

void InstallGuiMessageHook(TReportEngine& Engine) {
  Engine.SetMessageHook([](const std::string& Message) {
    QMessageBox::information(QApplication::activeWindow(), QStringLiteral("Quillet"), QString::fromStdString(Message));
  });
}

}  // namespace quillet
