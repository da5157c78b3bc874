// The designer's command line, as the designer bridge starts it:
//
//   formwright [REPORT.qdr] [/ds:DATASOURCES.json] [/preview] [DATA OPTIONS]
//
// Only an argument that is exactly "/preview" or starts with "/ds:" is a switch (an absolute path
// starts with "/" too). The data options are those of quillet render (--data NAME=SOURCE, --main,
// --link, --var, --fonts, --csv-separator), parsed by the same code; any other argument that
// starts with "--" is a mistake, and the rest is the report file. "--help" and "--version" alone
// are answered.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "cli/rundata/run_data.h"

namespace quillet::designer {

struct TDesignerArgs {
  std::string Report;       // "" for none
  std::string DataSources;  // the /ds: file, "" for none
  bool Preview = false;
  bool Help = false;
  bool Version = false;
  // The data options; no reports in it.
  cli::TRunOptions Data;
};

// A command-line mistake (two report files, an empty /ds:, a data option without its value).
class EDesignerUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

TDesignerArgs ParseDesignerArgs(const std::vector<std::string>& Args);

extern const char* const kDesignerUsage;

}  // namespace quillet::designer
