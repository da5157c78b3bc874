// quillet preview: the preview window over the reports and data named on the command line.
#include <QApplication>

#include <cstdio>
#include <memory>
#include <string>

#include "base/error.h"
#include "cli/cli.h"
#include "cli/qt/gui_app.h"
#include "engine/report_engine.h"
#include "screen/screen_drivers.h"

namespace quillet::cli {

int RunPreview(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Preview);
  // A window needs a screen: without a display, or on a platform that shows nothing, the
  // command would wait for a window nobody can close.
  if (!DisplayUsable())
    throw EQuilletError("preview needs a display (DISPLAY or WAYLAND_DISPLAY), and none is usable here");

  TReportEngine engine;
  TRunData data(opt, engine);
  data.Open();
  PrintWarnings(data.Warnings());

  int argc = 1;
  char name[] = "quillet";
  char* argv[] = {name, nullptr};
  qInstallMessageHandler(QuietQtMessages);
  QApplication app(argc, argv);
  InstallGuiMessageHook(engine);
  if (opt.Reports.size() == 1) Preview(engine, opt.Reports.front());
  else Preview(engine, opt.Reports);
  PrintWarnings(engine);
  return 0;
}

}  // namespace quillet::cli
