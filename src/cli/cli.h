// The quillet program: shared pieces of its commands.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/rundata/run_data.h"

namespace quillet::cli {

// Each command takes the arguments after its name and returns the exit status. Failures are
// thrown: EUsageError for usage, anything else is a failure while running (status 1).
int RunRender(const TArgs& Args);
int RunEval(const TArgs& Args);
int RunCheck(const TArgs& Args);
int RunSelfTest(const TArgs& Args);

}  // namespace quillet::cli

namespace quillet {
class TReportPage;
class TReportEngine;
class TDataSet;
}

namespace quillet::cli {

// The structure listing that `check` prints.
std::string DescribeReport(const TReportPage& Page);
// The traps `check` points out after the listing, one "warning: ..." line each.
std::string ReportWarnings(const TReportPage& Page, const std::string& Label);

// The screen half of render: pages painted by the screen canvas, written as PREFIX-N.png files
// (N the page number across all reports, padded to the digits of the total) or one raster PDF.
// Each page is written as soon as it is painted; a failed or interrupted run removes everything
// it wrote. Creates the Qt application (offscreen when there is no display).
struct TScreenRender {
  std::vector<std::string> Reports;
  std::string Out;  // PREFIX for PNG, the file for a raster PDF
  bool Png = true;
  int Dpi = 96;
  std::function<void(const std::string& Text, bool Force)> Progress;
};
struct TScreenResult {
  int Pages = 0;
  std::string Written;  // for the summary: "PREFIX-1.png .. PREFIX-9.png" or the PDF
};
TScreenResult RenderScreenPages(TReportEngine& Engine, const TScreenRender& Options);

// While it lives, Ctrl-C (SIGINT), SIGTERM and SIGHUP ask Engine to cancel its run
// (EReportCancelled at the next band, subreport or page it begins) and are remembered; the
// previous handlers come back afterwards.
class TInterruptGuard {
 public:
  explicit TInterruptGuard(TReportEngine& Engine);
  ~TInterruptGuard();
  TInterruptGuard(const TInterruptGuard&) = delete;
  TInterruptGuard& operator=(const TInterruptGuard&) = delete;
  static bool Interrupted();
  // "interrupted", or "interrupted by SIGTERM" / "by SIGHUP": the start of the line that says so.
  static std::string Cause();

 private:
  struct TSaved;
  std::unique_ptr<TSaved> FOld;
};

int RunPreview(const TArgs& Args);
int RunPrint(const TArgs& Args);
int RunPrinters(const TArgs& Args);
int RunDesign(const TArgs& Args);
int RunDesignerPath(const TArgs& Args);

// Warnings printed on stderr as "quillet: warning: ..." lines: at most kMaxPrintedWarnings, then
inline constexpr size_t kMaxPrintedWarnings = 20;
// one "and N more" line; Total counts the warnings beyond Lines too.
void PrintWarnings(const std::vector<std::string>& Lines, size_t Total = 0);
void PrintWarnings(const TReportEngine& Engine);
// The line of a run that --strict stopped: "quillet: strict: WARNING".
int StrictFailure(const std::string& FirstWarning);

}  // namespace quillet::cli
