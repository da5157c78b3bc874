// quillet render: runs one or several report definitions over data sets named on the command
// line and writes one PDF, or the pages painted on screen as PNG files or a raster PDF. The
// command owns the data sets; the engine only borrows them.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/number_format.h"
#include "cli/cli.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

namespace quillet::cli {

namespace {

// Ctrl-C, SIGTERM and SIGHUP: the handler only flags the run; the engine stops at the next band,
// subreport or page it begins, and its PDF writer removes the unfinished file on the way out.
std::atomic<bool> GInterrupted{false};
std::atomic<int> GSignal{0};
std::atomic<TReportEngine*> GRunningEngine{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<TReportEngine*>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);
constexpr int kCancelSignals[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void OnInterrupt(int Signal) {
  GSignal.store(Signal, std::memory_order_relaxed);
  GInterrupted.store(true, std::memory_order_relaxed);
  if (TReportEngine* e = GRunningEngine.load(std::memory_order_relaxed)) e->RequestCancel();
}

// A line on a terminal that is rewritten in place; silent when stderr is not a terminal.
class TProgressLine {
 public:
  TProgressLine() : FEnabled(::isatty(STDERR_FILENO) == 1) {}
  ~TProgressLine() { Clear(); }

  void Show(const std::string& Text, bool Force) {
    if (!FEnabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (!Force && FShown && now - FLast < std::chrono::milliseconds(100)) return;
    FLast = now;
    std::fprintf(stderr, "\r\033[K%s", Text.c_str());
    std::fflush(stderr);
    FShown = true;
  }
  void Clear() {
    if (!FShown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    FShown = false;
  }

 private:
  bool FEnabled;
  bool FShown = false;
  std::chrono::steady_clock::time_point FLast;
};

std::string Fixed(double Value, int Decimals) {
  std::string s = FormatDecimals(Value, Decimals);
  auto dot = s.find('.');
  if (dot == std::string::npos) {
    s += '.';
    dot = s.size() - 1;
  }
  while (static_cast<int>(s.size() - dot - 1) < Decimals) s += '0';
  return s;
}

std::string SizeText(uintmax_t Bytes) {
  if (Bytes < 1024) return std::to_string(Bytes) + " bytes";
  if (Bytes < 1024 * 1024) return Fixed(static_cast<double>(Bytes) / 1024, 1) + " KB";
  return Fixed(static_cast<double>(Bytes) / (1024.0 * 1024.0), 1) + " MB";
}

}  // namespace

struct TInterruptGuard::TSaved {
  struct sigaction Action[std::size(kCancelSignals)] {};
};

TInterruptGuard::TInterruptGuard(TReportEngine& Engine) : FOld(std::make_unique<TSaved>()) {
  GInterrupted.store(false);
  GSignal.store(0);
  GRunningEngine.store(&Engine);
  struct sigaction sa {};
  sa.sa_handler = OnInterrupt;
  sigemptyset(&sa.sa_mask);
  for (size_t i = 0; i < std::size(kCancelSignals); ++i) ::sigaction(kCancelSignals[i], &sa, &FOld->Action[i]);
}

TInterruptGuard::~TInterruptGuard() {
  for (size_t i = 0; i < std::size(kCancelSignals); ++i) ::sigaction(kCancelSignals[i], &FOld->Action[i], nullptr);
  GRunningEngine.store(nullptr);
}

bool TInterruptGuard::Interrupted() { return GInterrupted.load(std::memory_order_relaxed); }

std::string TInterruptGuard::Cause() {
  switch (GSignal.load(std::memory_order_relaxed)) {
    case SIGTERM:
      return "interrupted by SIGTERM";
    case SIGHUP:
      return "interrupted by SIGHUP";
    default:
      return "interrupted";
  }
}

void PrintWarnings(const std::vector<std::string>& Lines, size_t Total) {
  size_t shown = 0;
  for (const std::string& w : Lines) {
    if (shown == kMaxPrintedWarnings) break;
    std::fprintf(stderr, "quillet: warning: %s\n", w.c_str());
    ++shown;
  }
  Total = std::max(Total, Lines.size());
  if (Total > shown) std::fprintf(stderr, "quillet: warning: and %zu more\n", Total - shown);
}

void PrintWarnings(const TReportEngine& Engine) { PrintWarnings(Engine.Warnings(), Engine.WarningCount()); }

int StrictFailure(const std::string& FirstWarning) {
  std::fprintf(stderr, "quillet: strict: %s\n", FirstWarning.c_str());
  return 1;
}

int RunRender(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Render);
  const auto started = std::chrono::steady_clock::now();

  TReportEngine engine;
  engine.SetStrict(opt.Strict);
  if (opt.Compression >= 0) engine.SetPdfCompressionLevel(opt.Compression);
  if (opt.JpegQuality >= 0) engine.SetPdfJpegQuality(opt.JpegQuality);
  if (opt.MaxPages > 0) engine.SetMaxPages(opt.MaxPages);
  TRunData data(opt, engine);

  TInterruptGuard interruptGuard(engine);
  TProgressLine progress;
  const auto interrupted = [&progress, &opt]() {
    progress.Clear();
    std::fprintf(stderr, "quillet: %s; %s not written\n", TInterruptGuard::Cause().c_str(), opt.OutFile.c_str());
    return 130;
  };

  progress.Show("opening data...", true);
  data.Open();
  if (GInterrupted.load()) return interrupted();
  progress.Clear();
  PrintWarnings(data.Warnings());
  if (opt.Strict && !data.Warnings().empty()) return StrictFailure(data.Warnings().front());

  int32_t pages = 0;
  const bool several = opt.Reports.size() > 1;
  engine.OnBeforePage = [](TReportEngine&, int32_t, int32_t, bool& Cancel) {
    if (GInterrupted.load(std::memory_order_relaxed)) Cancel = true;
  };
  engine.OnPageRendered = [&](TReportEngine& Sender, int32_t PageNum, int32_t TotalPages) {
    ++pages;
    std::string text = "page " + std::to_string(PageNum) + " of " + std::to_string(TotalPages);
    if (several) text = Sender.ReportFile() + ": " + text;
    progress.Show(text, PageNum == TotalPages);
  };
  progress.Show("counting pages...", true);

  std::string written = opt.OutFile;
  try {
    if (opt.Format != "pdf") {
#ifdef QUILLET_WITH_QT
      TScreenRender screen;
      screen.Reports = opt.Reports;
      screen.Out = opt.OutFile;
      screen.Png = opt.Format == "png";
      screen.Dpi = opt.Dpi > 0 ? opt.Dpi : 96;
      screen.Progress = [&](const std::string& Text, bool Force) { progress.Show(Text, Force); };
      const TScreenResult result = RenderScreenPages(engine, screen);
      pages = result.Pages;
      written = result.Written;
#endif
    } else if (several) {
      engine.ExportPDF(opt.Reports, opt.OutFile);
    } else {
      engine.ExportPDF(opt.Reports.front(), opt.OutFile);
    }
  } catch (const EReportCancelled&) {
    return interrupted();
  } catch (const EStrictWarning& e) {
    progress.Clear();
    return StrictFailure(e.what());
  } catch (const std::bad_alloc&) {
    progress.Clear();
    const std::string report = engine.ReportFile().empty() ? opt.Reports.front() : engine.ReportFile();
    throw EQuilletError(report + ": out of memory", report);
  } catch (...) {
    progress.Clear();
    if (GInterrupted.load()) return interrupted();
    throw;
  }
  progress.Clear();

  PrintWarnings(engine);
  std::error_code ec;
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  if (opt.Format == "png") {
    std::fprintf(stderr, "quillet: wrote %s: %d page%s, %s s\n", written.c_str(), pages, pages == 1 ? "" : "s",
                 Fixed(seconds, 2).c_str());
    return 0;
  }
  const uintmax_t size = std::filesystem::file_size(opt.OutFile, ec);
  std::fprintf(stderr, "quillet: wrote %s: %d page%s, %s, %s s\n", opt.OutFile.c_str(), pages, pages == 1 ? "" : "s",
               ec ? "size unknown" : SizeText(size).c_str(), Fixed(seconds, 2).c_str());
  return 0;
}

}  // namespace quillet::cli
