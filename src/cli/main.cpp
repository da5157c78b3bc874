#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "base/error.h"
#include "cli/cli.h"

namespace quillet::cli {

namespace {

const char* const kUsage =
    "Usage: quillet COMMAND [ARGS...]\n"
    "\n"
    "Commands:\n"
    "  render REPORT.qdr [MORE.qdr ...] -o OUT.pdf [--data NAME=SOURCE]... [--main NAME]\n"
    "         [--link DETAIL.FIELD=MASTER.FIELD]... [--var NAME=VALUE]... [--fonts DIR]...\n"
    "         [--csv-separator C] [--compression LEVEL] [--jpeg-quality Q] [--strict] [--max-pages N]\n"
    "                                          run reports over data sets into one PDF\n"
    "     SOURCE: FILE.csv | FILE.json | sqlite:FILE.db:SQL (SQL may use :Source.Field parameters)\n"
    "     --main NAME: the data source that an empty name means (default: the first --data)\n"
    "     --link: DETAIL shows only the records whose FIELD equals MASTER's current FIELD\n"
    "     --csv-separator C: the cell separator of every CSV file (one character); without it a file\n"
    "         whose header line has \";\" and no \",\" is read with \";\" (with a warning), others with \",\"\n"
    "     --compression LEVEL: Flate level of page content, 0 (none) to 12, default 6\n"
    "     --jpeg-quality Q: images other than JPEG files as JPEG at quality Q (1 to 100) instead of\n"
    "         losslessly (0, the default); JPEG files are embedded as they are\n"
    "     --strict: any warning fails the run (exit 1) and leaves an existing OUT as it was\n"
    "     --max-pages N: stop a run that begins more than N pages (default 100000)\n"
    "  preview REPORT.qdr [MORE.qdr ...] [DATA OPTIONS]\n"
    "                                          show the reports in the preview window\n"
    "  print REPORT.qdr [MORE.qdr ...] [--printer NAME] [DATA OPTIONS]\n"
    "                                          print the reports, one job each, on the default\n"
    "                                          printer or on NAME (name or description)\n"
    "  printers                                list the printers: NAME<TAB>DESCRIPTION[<TAB>default]\n"
    "  design REPORT.qdr [DATA OPTIONS]        start the report designer, formwright, on REPORT.qdr,\n"
    "                                          telling it the fields of each --data (datasources.json)\n"
    "  design --preview REPORT.qdr             start the designer showing REPORT.qdr as a preview\n"
    "  designer-path [--choose]                print where the designer is (exit 1: nowhere); --choose\n"
    "                                          asks for it in a file dialog when it is not found and\n"
    "                                          a display is there, and remembers the choice\n"
    "  eval EXPR [--var NAME=VALUE]...         evaluate an expression and print its value\n"
    "                                          (\"(null)\" for null)\n"
    "  eval --text TEXT [--var NAME=VALUE]...  expand the [expression] placeholders of TEXT\n"
    "  eval --check [--text] INPUT             print each problem of INPUT (exit 1 if any)\n"
    "  check REPORT.qdr [DATA OPTIONS] [--strict]\n"
    "                                          load a report, print its structure and warnings;\n"
    "                                          with data options also check its names against\n"
    "                                          the data sets and variables\n"
    "  selftest DIR                            write the PDF self-test pages into DIR\n"
    "\n"
    "Options:\n"
    "  --help     show this help and exit\n"
    "  --version  show the version and exit\n"
    "\n"
    "Variables given with --var are strings, as report variables always are. The built-in variables\n"
    "of reports (Date, Time, DateTime, PageNo, TotalPages, RecordNo and their Turkish names, in any\n"
    "case) cannot be set: render, preview and print warn of a --var that one of them shadows.\n"
    "The designer is looked for as DesignerPath in $XDG_CONFIG_HOME/Quillet/Quillet.conf (default\n"
    "~/.config), in $QUILLET_DESIGNER, beside this program and in the folder above it, in ../bin and on\n"
    "PATH; design --preview then also tries Designer/formwright beside this program and in each\n"
    "folder above it.\n"
    "Exit status: 0 success, 1 failure while running, 2 usage error, 130 interrupted (Ctrl-C,\n"
    "SIGTERM or SIGHUP: nothing is written).\n";

}  // namespace

int Main(int argc, char** argv) {
  TArgs args(argv + 1, argv + argc);
  try {
    if (args.empty()) throw EUsageError("no command given");
    const std::string command = args.front();
    args.erase(args.begin());
    if (command == "--help" || command == "-h" || command == "help") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (command == "--version") {
      std::printf("quillet %s\n", QUILLET_VERSION);
      return 0;
    }
    for (const auto& a : args) {
      if (a == "--help" || a == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
      }
    }
    if (command == "render") return RunRender(args);
#ifdef QUILLET_WITH_QT
    if (command == "preview") return RunPreview(args);
    if (command == "print") return RunPrint(args);
    if (command == "printers") return RunPrinters(args);
    if (command == "design") return RunDesign(args);
    if (command == "designer-path") return RunDesignerPath(args);
#else
    if (command == "preview" || command == "print" || command == "printers" || command == "design" ||
        command == "designer-path")
      throw EUsageError(command + " needs a build with the Qt module");
#endif
    if (command == "eval") return RunEval(args);
    if (command == "check") return RunCheck(args);
    if (command == "selftest") return RunSelfTest(args);
    throw EUsageError("unknown command \"" + command + "\"");
  } catch (const EUsageError& e) {
    std::fprintf(stderr, "quillet: %s (try 'quillet --help')\n", e.what());
    return 2;
  } catch (const EQuilletError& e) {
    std::string text = e.what();
    if (!e.Detail().empty()) text += ": " + e.Detail();
    if (!e.FileName().empty() && text.find(e.FileName()) == std::string::npos)
      std::fprintf(stderr, "quillet: %s: %s\n", e.FileName().c_str(), text.c_str());
    else
      std::fprintf(stderr, "quillet: %s\n", text.c_str());
    return 1;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "quillet: out of memory\n");
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "quillet: %s\n", e.what());
    return 1;
  }
}

}  // namespace quillet::cli

int main(int argc, char** argv) {
  // A file size limit (ulimit -f) or a full quota then fails the write with one line, instead of
  // killing the process and leaving its temporary file behind.
  ::signal(SIGXFSZ, SIG_IGN);
  return quillet::cli::Main(argc, argv);
}
