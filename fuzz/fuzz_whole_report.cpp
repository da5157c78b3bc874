// A whole report run from untrusted files: the input is cut at each line "%%FILE%%" into a report
// definition (report.qdr), a CSV data set (data.csv, the main data set, also named "Data"), and
// optionally an image (image.png, PNG or JPEG bytes) and a subreport (sub.qdr). All of them are
// written into a private scratch folder, and every file name in the two reports is cut to its last
// component (no absolute path, no "..": see KeepInside), so the run reads and writes nothing
// outside that folder; $HOME points there too, since images are also sought in $HOME/Documents.
// TReportEngine then checks the report and renders it to a PDF file in the folder: an
// EQuilletError (a report that does not load, data that does not read, a cancelled run) is fine,
// anything else escaping, a crash or a hang is not.
//
// The target keeps each run short by itself, whatever limits the engine has: a run is cancelled
// from OnBeforePage once it has drawn kMaxPages pages, and by a watchdog (RequestCancel) when it
// takes longer than kTimeBudget, which also stops a long counting pass.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "engine/report_engine.h"
#include "fuzz_support.h"
#include "reportdef/report_model.h"

using namespace quillet;

namespace {

constexpr int32_t kMaxPages = 6;
constexpr std::chrono::milliseconds kTimeBudget{2500};
constexpr std::string_view kCut = "\n%%FILE%%\n";

// Calls RequestCancel on the engine when the budget runs out before it is destroyed.
class TWatchdog {
 public:
  TWatchdog(TReportEngine& Engine, std::chrono::milliseconds Budget)
      : FThread([this, &Engine, Budget] {
          std::unique_lock<std::mutex> lock(FMutex);
          if (!FCv.wait_for(lock, Budget, [this] { return FDone; })) Engine.RequestCancel();
        }) {}
  ~TWatchdog() {
    {
      std::lock_guard<std::mutex> lock(FMutex);
      FDone = true;
    }
    FCv.notify_all();
    FThread.join();
  }

 private:
  std::mutex FMutex;
  std::condition_variable FCv;
  bool FDone = false;
  std::thread FThread;
};

// Writes a report text into the scratch folder with its file names kept inside; a text that does
// not load is written as it is (the engine will not load it either).
void WriteReport(std::string_view Name, std::string_view Text) {
  TReportPage page;
  try {
    page.LoadFromString(Text);
  } catch (const EQuilletError&) {
    quillet_fuzz::WriteScratch(Name, Text);
    return;
  }
  quillet_fuzz::KeepFilesInside(page);
  quillet_fuzz::WriteScratch(Name, page.SaveToString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  static const bool init = [] {
    ::setenv("HOME", quillet_fuzz::ScratchDir().c_str(), 1);
    ::setenv("SOURCE_DATE_EPOCH", "1704585600", 1);
    return true;
  }();
  (void)init;
  namespace fs = std::filesystem;
  std::error_code ec;
  for (const char* stale : {"report.qdr", "data.csv", "image.png", "sub.qdr", "out.pdf"})
    fs::remove(quillet_fuzz::ScratchPath(stale), ec);

  const auto parts = quillet_fuzz::SplitInput(std::string_view(reinterpret_cast<const char*>(Data), Size), kCut, 4);
  WriteReport("report.qdr", parts[0]);
  if (parts.size() > 1) quillet_fuzz::WriteScratch("data.csv", parts[1]);
  if (parts.size() > 2) quillet_fuzz::WriteScratch("image.png", parts[2]);
  if (parts.size() > 3) WriteReport("sub.qdr", parts[3]);

  TCsvDataSet csv("Data", quillet_fuzz::ScratchPath("data.csv"));
  bool haveData = false;
  if (parts.size() > 1) {
    try {
      csv.Open();
      haveData = true;
    } catch (const EQuilletError&) {
    }
  }

  TReportEngine engine;
  engine.SetMessageHook([](const std::string&) {});
  engine.SetPdfCompressionLevel(1);
  engine.SetPdfBackgroundCompression(false);
  engine.SetSubreportExpansionLimit(200);
  if (haveData) {
    engine.SetDataSource(&csv);
    engine.SetDataSource("Data", &csv);
  }
  engine.SetVariable("Company", "Acme & S\xC3\xB6hne");
  engine.SetVariable("Amount", "1234.5");
  int32_t drawn = 0;
  engine.OnBeforePage = [&drawn](TReportEngine&, int32_t, int32_t, bool& Cancel) {
    if (++drawn > kMaxPages) Cancel = true;
  };
  const std::string out = quillet_fuzz::ScratchPath("out.pdf");
  {
    TWatchdog watchdog(engine, kTimeBudget);
    try {
      engine.ExportPDF(quillet_fuzz::ScratchPath("report.qdr"), out);
    } catch (const EQuilletError&) {
    }
  }
  size_t sink = engine.WarningCount();
  for (const std::string& w : engine.Warnings()) sink += w.size();
  if (sink == size_t(-1)) std::abort();
  return 0;
}
