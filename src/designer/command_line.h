// The designer's command line, as the designer bridge starts it:
//
//   formwright [REPORT.qdr] [/ds:DATASOURCES.json] [/preview]
//
// Only an argument that is exactly "/preview" or starts with "/ds:" is a switch; any other is the
// report file (an absolute path starts with "/" too). "--help" and "--version" alone are answered.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace quillet::designer {

struct TDesignerArgs {
  std::string Report;       // "" for none
  std::string DataSources;  // the /ds: file, "" for none
  bool Preview = false;
  bool Help = false;
  bool Version = false;
};

// A command-line mistake (two report files, an empty /ds:).
class EDesignerUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

TDesignerArgs ParseDesignerArgs(const std::vector<std::string>& Args);

extern const char* const kDesignerUsage;

}  // namespace quillet::designer
