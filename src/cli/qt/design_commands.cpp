// quillet design and quillet designer-path: starting the report designer, formwright, the way
// an application's "Design Report..." verb does, and telling where the designer is.
#include <QApplication>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/cli.h"
#include "cli/qt/gui_app.h"
#include "data/data_set.h"
#include "engine/report_engine.h"
#include "registration/qt/designer_locator.h"
#include "registration/qt/engine_editor.h"
#include "registration/rpt_data_set.h"

namespace quillet::cli {

namespace {

// Messages for the user are several lines on a screen; on stderr they are one line each.
void PrintMessageLine(const std::string& Message) {
  std::string line;
  for (size_t i = 0; i < Message.size(); ++i) {
    if (Message.compare(i, 2, "\r\n") == 0) {
      line += ' ';
      ++i;
    } else {
      line += Message[i];
    }
  }
  std::fprintf(stderr, "quillet: %s\n", line.c_str());
}

// The application the designer's file dialog needs, made only where a window can be shown;
// without it the search for the designer ends with what it found by itself.
class TDialogApplication {
 public:
  TDialogApplication() {
    if (!DisplayUsable()) return;
    qInstallMessageHandler(QuietQtMessages);
    FApp = std::make_unique<QApplication>(FArgs.Argc, FArgs.Argv);
  }

 private:
  TQtArgv FArgs;
  std::unique_ptr<QApplication> FApp;
};

}  // namespace

int RunDesign(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Design);
  bool failed = false;
  const TMessageHook hook = [&failed](const std::string& Message) {
    PrintMessageLine(Message);
    failed = true;
  };

  if (opt.Preview) {
    // The same designer as the verb finds, without asking.
    TReportEngine engine;
    engine.SetMessageHook(hook);
    engine.SetDesignerExe(FindFormwrightExe(nullptr, false));
    engine.OpenPreview(opt.Reports.front());
    return failed ? 1 : 0;
  }

  // What an application's form holds: the engine, and one open data set per --data, each offered
  // to the engine by a data-set link under its name.
  TComponent form;
  TReportEngine engine(&form);
  engine.SetName("ReportEngine1");
  engine.SetMessageHook(hook);
  engine.SetReportFile(opt.Reports.front());
  TRunData data(opt, engine);
  data.Open();
  PrintWarnings(data.Warnings());
  std::vector<std::unique_ptr<TRptDataSet>> links;
  for (const auto& set : data.Sets()) {
    auto link = std::make_unique<TRptDataSet>(&form);
    link->SetName("RptDataSet" + std::to_string(links.size() + 1));
    link->SetDataSetName(set->Name());
    link->SetDataSet(set.get());
    link->SetReportEngine(&engine);
    links.push_back(std::move(link));
  }
  TDialogApplication app;
  TReportEngineEditor(engine).ExecuteVerb(0);
  return failed ? 1 : 0;
}

int RunDesignerPath(const TArgs& Args) {
  bool choose = false;
  for (const std::string& a : Args) {
    if (a == "--choose")
      choose = true;
    else
      throw EUsageError(a.size() > 1 && a[0] == '-' ? "unknown option \"" + a + "\""
                                                     : std::string("designer-path takes no arguments"));
  }
  std::optional<TDialogApplication> app;
  if (choose) app.emplace();
  const std::string exe = FindFormwrightExe(nullptr, choose);
  if (exe.empty()) {
    PrintMessageLine(DesignerNotFoundMessage());
    return 1;
  }
  std::printf("%s\n", exe.c_str());
  return 0;
}

}  // namespace quillet::cli
