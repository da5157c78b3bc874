#include "designer/command_line.h"

namespace quillet::designer {

const char* const kDesignerUsage =
    "Usage: formwright [REPORT.qdr] [/ds:DATASOURCES.json] [/preview]\n"
    "\n"
    "Opens REPORT.qdr in the report designer; a file that does not exist yet is a new report that\n"
    "will be saved under that name.\n"
    "  /ds:FILE   the data sets an application offers, as the designer bridge writes them\n"
    "  /preview   show REPORT.qdr in the preview window and exit when it closes\n"
    "  --help     show this help;  --version  show the version\n";

TDesignerArgs ParseDesignerArgs(const std::vector<std::string>& Args) {
  TDesignerArgs r;
  if (Args.size() == 1 && (Args[0] == "--help" || Args[0] == "-h")) {
    r.Help = true;
    return r;
  }
  if (Args.size() == 1 && Args[0] == "--version") {
    r.Version = true;
    return r;
  }
  bool haveReport = false;
  for (const std::string& a : Args) {
    if (a == "/preview") {
      r.Preview = true;
    } else if (a.rfind("/ds:", 0) == 0) {
      if (a.size() == 4) throw EDesignerUsage("/ds: needs a file name");
      if (!r.DataSources.empty()) throw EDesignerUsage("/ds: given twice");
      r.DataSources = a.substr(4);
    } else {
      if (haveReport) throw EDesignerUsage("more than one report file: \"" + r.Report + "\" and \"" + a + "\"");
      if (a.empty()) throw EDesignerUsage("an empty report file name");
      r.Report = a;
      haveReport = true;
    }
  }
  if (r.Preview && r.Report.empty()) throw EDesignerUsage("/preview needs a report file");
  return r;
}

}  // namespace quillet::designer
