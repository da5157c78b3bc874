// The data options of the programs that run reports, quillet (render, preview, print, check,
// design) and formwright (/preview): parsing them, and the data sets they name, made, linked and
// registered with an engine. A static library of its own, so that both programs read the same
// options the same way.
//
//   --data NAME=SOURCE           SOURCE: FILE.csv | FILE.json | sqlite:FILE.db:SQL, where SQL may
//                                use :Source.Field parameters
//   --main NAME                  the data source an empty name means (default: the first --data)
//   --link DETAIL.FIELD=MASTER.FIELD
//   --var NAME=VALUE   --fonts DIR   --csv-separator C
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quillet {
class TReportEngine;
class TDataSet;
}  // namespace quillet

namespace quillet::cli {

// A command-line mistake: reported with a hint to --help, exit status 2.
class EUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TArgs = std::vector<std::string>;

// Splits "NAME=VALUE"; throws EUsageError naming Option when there is no "=" or no name.
std::pair<std::string, std::string> SplitAssignment(const std::string& Option, const std::string& Text);

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
  int64_t MaxPages = 0;        // --max-pages; 0: the engine's default
  std::string Format = "pdf";  // pdf, png or raster
  int Dpi = 0;                 // 0: not given (96 for png and raster)
  std::string Printer;         // print --printer
  bool Strict = false;         // --strict: any warning fails the run
  bool Preview = false;        // design --preview
  bool ReadReports = true;     // false: the reports need not exist yet (design)
  // Whether any data option was given.
  bool HasDataOptions() const {
    return !Data.empty() || HaveMain || !Links.empty() || !Vars.empty() || !FontDirs.empty() || CsvSeparator != 0;
  }
};
TRunOptions ParseRunOptions(const TArgs& Args, TRunCommand Command);

// The data option at Args[I] (--data, --main, --link, --var, --fonts, --csv-separator, each with
// its value as the next argument or after "="): adds it to Options, leaves I at its last argument
// and returns true. Any other argument returns false and changes nothing. Mistakes in the option
// itself throw EUsageError.
bool ParseDataOption(const TArgs& Args, size_t& I, TRunOptions& Options);
// The checks that need all the data options: every name that --main, --link and a :Source.Field
// parameter use is a --data; --csv-separator needs a CSV file. Throws EUsageError.
void CheckDataOptions(const TRunOptions& Options);

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
  // Registers the sets, the main set, the variables and the font folders with another engine, as
  // the constructor did with its own.
  void RegisterOn(TReportEngine& Engine) const;
  // What the options and the data gave rise to before the run (a --var that a built-in variable
  // shadows, a CSV separator taken from the header line), complete once Open has returned. The
  // commands print them with PrintWarnings.
  const std::vector<std::string>& Warnings() const noexcept { return FWarnings; }
  // The sets, in the order of their --data options.
  const std::vector<std::unique_ptr<TDataSet>>& Sets() const noexcept { return FSets; }

 private:
  std::vector<std::unique_ptr<TDataSet>> FSets;
  std::map<std::string, TDataSet*> FByName;
  TDataSet* FMain = nullptr;
  std::vector<std::pair<std::string, std::string>> FVars;
  std::vector<std::string> FFontDirs;
  std::vector<std::string> FWarnings;
};

}  // namespace quillet::cli
