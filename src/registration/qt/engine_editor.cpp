#include "registration/qt/engine_editor.h"

#include "engine/designer_bridge.h"
#include "engine/report_engine.h"
#include "registration/qt/designer_locator.h"
#include "registration/rpt_data_set.h"
#include "registration/scrivel.h"

namespace quillet {

namespace {

const char* const kPalettePage = "Quillet";

TComponentClass EngineClass() { return ComponentClassOf<TReportEngine>("TReportEngine"); }
TComponentClass ScrivelClass() { return ComponentClassOf<TScrivel>("TScrivel"); }
TComponentClass RptDataSetClass() { return ComponentClassOf<TRptDataSet>("TRptDataSet"); }

}  // namespace

TReportEngineEditor::TReportEngineEditor(TReportEngine& Engine, IDesignHost* Designer)
    : TComponentEditor(Engine, Designer) {}

std::string TReportEngineEditor::GetVerb(int Index) const { return Index == 0 ? "Design Report..." : std::string(); }

void TReportEngineEditor::ExecuteVerb(int Index) {
  if (Index != 0) return;
  auto& engine = static_cast<TReportEngine&>(Component());
  const std::string exe = FindFormwrightExe(Designer(), true);
  if (exe.empty()) {
    engine.ShowMessage(DesignerNotFoundMessage());
    return;
  }
  std::vector<TDataSet*> sets;
  std::vector<std::string> names;
  if (const TComponent* owner = engine.Owner()) {
    for (TComponent* c : owner->Components()) {
      auto* link = dynamic_cast<TRptDataSet*>(c);
      if (!link || (link->ReportEngine() && link->ReportEngine() != &engine)) continue;
      sets.push_back(link->DataSet());
      names.push_back(link->EffectiveName());
    }
  }
  StartDesigner(exe, engine.ReportFile(), sets, names);
}

void Register(IDesignHost& Host) {
  Host.AddSplashText("Quillet Components");
  Host.RegisterComponentEditor(EngineClass(), [](TComponent& C, IDesignHost* D) -> std::unique_ptr<TComponentEditor> {
    auto* engine = dynamic_cast<TReportEngine*>(&C);
    return engine ? std::make_unique<TReportEngineEditor>(*engine, D) : nullptr;
  });
  Host.RegisterComponents(kPalettePage, {EngineClass(), ScrivelClass(), RptDataSetClass()});
  Host.RegisterPropertyEditor("TComponent", RptDataSetClass(), "ReportEngine",
                              [](TComponent& C, IDesignHost* D) -> std::unique_ptr<TPropertyEditor> {
                                return std::make_unique<TReportEngineProperty>(C, D);
                              });
}

void RegisterScrivel(IDesignHost& Host) { Host.RegisterComponents(kPalettePage, {ScrivelClass()}); }

}  // namespace quillet
