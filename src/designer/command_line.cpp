#include "designer/command_line.h"

namespace quillet::designer {

const char* const kDesignerUsage =
    "Usage: formwright [REPORT.qdr] [/ds:DATASOURCES.json] [/preview] [DATA OPTIONS]\n"
    "\n"
    "Opens REPORT.qdr in the report designer; a file that does not exist yet is a new report that\n"
    "will be saved under that name.\n"
    "  /ds:FILE   the data sets an application offers, as the designer bridge writes them\n"
    "  /preview   show REPORT.qdr in the preview window and exit when it closes\n"
    "DATA OPTIONS, as for quillet render, give the preview real data:\n"
    "  --data NAME=SOURCE   SOURCE: FILE.csv | FILE.json | sqlite:FILE.db:SQL (SQL may use\n"
    "                       :Source.Field parameters)\n"
    "  --main NAME          the data source that an empty name means (default: the first --data)\n"
    "  --link DETAIL.FIELD=MASTER.FIELD   --var NAME=VALUE   --fonts DIR   --csv-separator C\n"
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
  for (size_t i = 0; i < Args.size(); ++i) {
    const std::string& a = Args[i];
    bool dataOption = false;
    try {
      dataOption = cli::ParseDataOption(Args, i, r.Data);
    } catch (const cli::EUsageError& e) {
      throw EDesignerUsage(e.what());
    }
    if (dataOption) continue;
    if (a == "/preview") {
      r.Preview = true;
    } else if (a.rfind("/ds:", 0) == 0) {
      if (a.size() == 4) throw EDesignerUsage("/ds: needs a file name");
      if (!r.DataSources.empty()) throw EDesignerUsage("/ds: given twice");
      r.DataSources = a.substr(4);
    } else if (a.size() > 2 && a.rfind("--", 0) == 0) {
      throw EDesignerUsage("unknown option \"" + a + "\"");
    } else {
      if (haveReport) throw EDesignerUsage("more than one report file: \"" + r.Report + "\" and \"" + a + "\"");
      if (a.empty()) throw EDesignerUsage("an empty report file name");
      r.Report = a;
      haveReport = true;
    }
  }
  if (r.Preview && r.Report.empty()) throw EDesignerUsage("/preview needs a report file");
  try {
    cli::CheckDataOptions(r.Data);
  } catch (const cli::EUsageError& e) {
    throw EDesignerUsage(e.what());
  }
  // The report is read by the designer itself, and may not exist yet.
  r.Data.ReadReports = false;
  return r;
}

}  // namespace quillet::designer
