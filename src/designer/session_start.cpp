#include "designer/session_start.h"

#include <filesystem>

#include "base/error.h"
#include "designer/data_tree.h"

namespace quillet::designer {

std::string ErrorLine(const std::string& File, const std::exception& E) {
  std::string text = E.what();
  if (const auto* q = dynamic_cast<const EQuilletError*>(&E); q && !q->Detail().empty()) text += ": " + q->Detail();
  if (!File.empty() && text.find(File) == std::string::npos) text = File + ": " + text;
  // One line, whatever a data layer's message holds.
  for (char& c : text)
    if (c == '\n' || c == '\r') c = ' ';
  return text;
}

std::vector<std::string> StartSession(TDesignerWindow& Window, const TDesignerArgs& Args, TDesignerData* Data) {
  std::vector<std::string> problems;
  TReportDocument& doc = Window.Document();
  std::vector<TDataSourceSchema> offered;
  if (!Args.DataSources.empty()) {
    try {
      offered = ReadDataSourcesJsonFile(Args.DataSources);
    } catch (const std::exception& e) {
      problems.push_back(ErrorLine(Args.DataSources, e));
    }
  }
  if (Data && !Data->Empty()) {
    for (TDataSourceSchema& s : Data->Schema()) offered.push_back(std::move(s));
    Window.SetEngineSetup([Data](TReportEngine& Engine) { Data->RegisterOn(Engine); });
    TReportEngine* engine = &Data->Engine();
    Window.SetFieldResolver(
        [engine](const std::string& Name, TExprValue& Value) { return engine->ResolveFieldValue(Name, Value); });
  }
  Window.SetOfferedDataSources(offered);
  if (!Args.Report.empty()) {
    std::error_code ec;
    if (std::filesystem::exists(Args.Report, ec)) {
      try {
        doc.Open(Args.Report);
      } catch (const std::exception& e) {
        problems.push_back(ErrorLine(Args.Report, e));  // the reader's message; nothing is opened
      }
    } else {
      doc.NewReport(Args.Report);
    }
  }
  return problems;
}

}  // namespace quillet::designer
