// The quillet program: shared pieces of its commands.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillet::cli {

// A command-line mistake: reported with a hint to --help, exit status 2.
class EUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TArgs = std::vector<std::string>;

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

// The options of the commands that run reports (render, preview, print): the reports and the
// data options, and what each command adds.
enum class TRunCommand { Render, Preview, Print, Check, Design };
struct TDataOption {
  std::string Name;
  std::string Source;  // as typed, for messages
};
struct TLinkOption {
  std::string Detail, DetailField, Master, MasterField;
};
struct TRunOptions {
  std::vector<std::string> Reports;
  std::string OutFile;
  std::vector<TDataOption> Data;
  std::string MainName;
  bool HaveMain = false;
  std::vector<TLinkOption> Links;
  std::vector<std::pair<std::string, std::string>> Vars;
  std::vector<std::string> FontDirs;
  char CsvSeparator = 0;       // 0: each CSV file's header line decides ("," or ";")
  int Compression = -1;        // -1: the engine's default
  int JpegQuality = -1;        // -1: not given (lossless images)
  std::string Format = "pdf";  // pdf, png or raster
  int Dpi = 0;                 // 0: not given (96 for png and raster)
  std::string Printer;         // print --printer
  bool Strict = false;         // --strict: any warning fails the run
  bool Preview = false;        // design --preview
  bool ReadReports = true;     // false: the reports need not exist yet (design)
};
TRunOptions ParseRunOptions(const TArgs& Args, TRunCommand Command);

// The data sets the options name, made, linked and registered with Engine together with the
// variables and font folders (the report files are read once first, so a broken one fails
// before any data). Open opens them, each after the sets it reads from. The sets live as long as
// this object.
class TRunData {
 public:
  TRunData(const TRunOptions& Options, TReportEngine& Engine);
  ~TRunData();
  TRunData(const TRunData&) = delete;
  TRunData& operator=(const TRunData&) = delete;
  void Open();
  // What the options and the data gave rise to before the run (a --var that a built-in variable
  // shadows, a CSV separator taken from the header line), complete once Open has returned. The
  // commands print them with PrintWarnings.
  const std::vector<std::string>& Warnings() const noexcept { return FWarnings; }
  // The sets, in the order of their --data options.
  const std::vector<std::unique_ptr<TDataSet>>& Sets() const noexcept { return FSets; }

 private:
  std::vector<std::unique_ptr<TDataSet>> FSets;
  std::map<std::string, TDataSet*> FByName;
  std::vector<std::string> FWarnings;
};

// While it lives, Ctrl-C asks Engine to cancel its run (EReportCancelled at the next page it
// begins) and is remembered; the previous handler comes back afterwards.
class TInterruptGuard {
 public:
  explicit TInterruptGuard(TReportEngine& Engine);
  ~TInterruptGuard();
  TInterruptGuard(const TInterruptGuard&) = delete;
  TInterruptGuard& operator=(const TInterruptGuard&) = delete;
  static bool Interrupted();

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

// Splits "NAME=VALUE"; throws EUsageError naming Option when there is no "=" or no name.
std::pair<std::string, std::string> SplitAssignment(const std::string& Option, const std::string& Text);

}  // namespace quillet::cli
