// The data the designer was started with (the data options of its command line): the data sets,
// made, linked and opened as quillet render opens them, registered on an engine of their own and
// ready for any other engine that previews the report. The sets live as long as this object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/rundata/run_data.h"
#include "engine/designer_bridge.h"
#include "engine/report_engine.h"

namespace quillet::designer {

class TDesignerData {
 public:
  // Makes the sets the options name (nothing is read yet). A --fonts folder that does not exist
  // raises EQuilletError.
  explicit TDesignerData(cli::TRunOptions Options = {});
  ~TDesignerData();
  TDesignerData(const TDesignerData&) = delete;
  TDesignerData& operator=(const TDesignerData&) = delete;

  const cli::TRunOptions& Options() const noexcept { return FOptions; }
  // No data options were given: there is nothing to open or register.
  bool Empty() const noexcept { return !FOptions.HasDataOptions(); }

  // Opens the sets, each after the sets it reads from. A set that cannot be opened raises
  // EQuilletError (naming its file); the sets opened before it stay open.
  void Open();
  bool IsOpen() const noexcept { return FOpen; }
  // What opening gave rise to (a --var that a built-in shadows, a guessed CSV separator).
  const std::vector<std::string>& Warnings() const noexcept { return FData->Warnings(); }

  // The engine the sets, the main set, the variables and the font folders are registered on.
  TReportEngine& Engine() noexcept { return FEngine; }
  // Registers the same on another engine (one made for a preview window, say).
  void RegisterOn(TReportEngine& Engine) const;
  // Each set's name and field names, in the order of the --data options: a description for the
  // data tree. The fields are known once the sets are open.
  std::vector<TDataSourceSchema> Schema() const;

 private:
  cli::TRunOptions FOptions;
  TReportEngine FEngine;
  std::unique_ptr<cli::TRunData> FData;
  bool FOpen = false;
};

}  // namespace quillet::designer
