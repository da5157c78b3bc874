// formwright: the report designer. See command_line.h for how it is started.
#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "designer/command_line.h"
#include "designer/designer_data.h"
#include "designer/designer_window.h"
#include "designer/report_document.h"
#include "designer/session_start.h"
#include "engine/report_engine.h"
#include "screen/screen_drivers.h"

using namespace quillet;
using namespace quillet::designer;

namespace {

// The data of the command line, made and opened: a failure is one line on stderr, and null.
std::unique_ptr<TDesignerData> OpenData(const cli::TRunOptions& Options) {
  try {
    auto data = std::make_unique<TDesignerData>(Options);
    data->Open();
    for (const std::string& w : data->Warnings()) std::fprintf(stderr, "formwright: warning: %s\n", w.c_str());
    return data;
  } catch (const std::exception& e) {
    const auto* q = dynamic_cast<const EQuilletError*>(&e);
    std::fprintf(stderr, "formwright: %s\n", ErrorLine(q ? q->FileName() : std::string(), e).c_str());
    return nullptr;
  }
}

// /preview: the report in the preview window over the data of the command line, as the engine
// draws it; the program ends with it.
int RunPreview(const std::string& File, const TDesignerData& Data) {
  try {
    TReportEngine engine;
    Data.RegisterOn(engine);
    InstallGuiMessageHook(engine);
    Preview(engine, File);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "formwright: %s\n", ErrorLine(File, e).c_str());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  TDesignerArgs args;
  try {
    args = ParseDesignerArgs(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const EDesignerUsage& e) {
    std::fprintf(stderr, "formwright: %s\n%s", e.what(), kDesignerUsage);
    return 2;
  }
  if (args.Help) {
    std::fputs(kDesignerUsage, stdout);
    return 0;
  }
  if (args.Version) {
    std::printf("formwright %s\n", QUILLET_VERSION);
    return 0;
  }
  if (args.Preview) {
    // A report that cannot be read fails here, before any window (or display) is needed.
    try {
      TReportPage check;
      check.LoadFromFile(args.Report);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "formwright: %s\n", ErrorLine(args.Report, e).c_str());
      return 1;
    }
  }
  // Data that cannot be opened fails here too, before any window. The data stay open for the
  // whole session.
  const std::unique_ptr<TDesignerData> data = OpenData(args.Data);
  if (!data) return 1;
  QApplication app(argc, argv);
  QApplication::setApplicationName("formwright");
  QApplication::setOrganizationName("Quillet");
  QApplication::setApplicationVersion(QUILLET_VERSION);
  if (args.Preview) return RunPreview(args.Report, *data);

  TReportDocument doc;
  TDesignerWindow window(doc);
  for (const std::string& problem : StartSession(window, args, data->Empty() ? nullptr : data.get())) {
    std::fprintf(stderr, "formwright: %s\n", problem.c_str());
    QMessageBox::critical(&window, QObject::tr("Formwright"), QString::fromStdString(problem));
  }
  window.show();
  return app.exec();
}
