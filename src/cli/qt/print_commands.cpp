// quillet print and quillet printers: reports on paper, and the printers there are to choose.
#include <QPrinterInfo>
#include <QString>

#include <cstdio>
#include <string>
#include <vector>

#include "base/error.h"
#include "cli/cli.h"
#include "cli/qt/gui_app.h"
#include "engine/report_engine.h"
#include "screen/screen_drivers.h"

namespace quillet::cli {

namespace {

void RequirePrinters() {
  if (QPrinterInfo::availablePrinterNames().isEmpty())
    throw EQuilletError("no printer is installed (quillet printers lists none)");
}

}  // namespace

int RunPrint(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Print);
  TReportEngine engine;
  TRunData data(opt, engine);
  TGuiApplicationScope gui;
  RequirePrinters();
  // A mistyped name must not send the pages to some other printer unnoticed.
  if (!opt.Printer.empty() && !SelectPrinterByName(opt.Printer))
    throw EQuilletError("no printer named \"" + opt.Printer + "\" (quillet printers lists them)");

  TInterruptGuard interruptGuard(engine);
  data.Open();
  if (TInterruptGuard::Interrupted()) {
    std::fprintf(stderr, "quillet: %s; nothing printed\n", TInterruptGuard::Cause().c_str());
    return 130;
  }
  PrintWarnings(data.Warnings());
  engine.OnBeforePage = [](TReportEngine&, int32_t, int32_t, bool& Cancel) {
    if (TInterruptGuard::Interrupted()) Cancel = true;
  };
  int pages = 0;
  engine.OnPageRendered = [&pages](TReportEngine&, int32_t, int32_t) { ++pages; };

  // One job per report; without --printer a report's own printer name picks its printer.
  std::vector<std::string> printers;
  for (const std::string& report : opt.Reports) {
    const int before = pages;
    // A report reaches its printer only when it has run to its end: earlier reports were printed,
    // this one is not.
    const auto interrupted = [&] {
      std::fprintf(stderr, "quillet: %s; %s not printed (stopped after drawing %d page%s)\n",
                   TInterruptGuard::Cause().c_str(), report.c_str(), pages - before, pages - before == 1 ? "" : "s");
      return 130;
    };
    try {
      PrintReport(engine, report, opt.Printer);
    } catch (const EReportCancelled&) {
      return interrupted();
    } catch (const EQuilletError& e) {
      if (TInterruptGuard::Interrupted()) return interrupted();
      if (!e.FileName().empty()) throw;
      throw EQuilletError(e.what(), report);
    }
    PrintWarnings(engine);
    const std::string printer = ActivePrinterName();
    if (pages > before && (printers.empty() || printers.back() != printer)) printers.push_back(printer);
  }
  std::string where;
  for (const std::string& p : printers) where += (where.empty() ? "" : ", ") + p;
  std::fprintf(stderr, "quillet: sent %d page%s to %s\n", pages, pages == 1 ? "" : "s",
               where.empty() ? ActivePrinterName().c_str() : where.c_str());
  return 0;
}

int RunPrinters(const TArgs& Args) {
  if (!Args.empty()) throw EUsageError("printers takes no arguments");
  TGuiApplicationScope gui;
  const QString fallback = QPrinterInfo::defaultPrinterName();
  for (const QPrinterInfo& p : QPrinterInfo::availablePrinters()) {
    std::string line = p.printerName().toStdString() + "\t" + p.description().toStdString();
    if (!fallback.isEmpty() && p.printerName() == fallback) line += "\tdefault";
    std::printf("%s\n", line.c_str());
  }
  return 0;
}

}  // namespace quillet::cli
