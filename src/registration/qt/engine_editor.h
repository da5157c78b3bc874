// The design-time side of the components: the report engine's "Design Report..." verb and the
// registration of everything with a development environment (IDesignHost).
#pragma once

#include "registration/design_time.h"

namespace quillet {

// The component editor of TReportEngine: one verb, "Design Report...", which finds the designer
// (FindFormwrightExe, with its dialog when a QApplication runs), describes the data-set links
// of the engine's owner that serve this engine or every engine, and starts the designer on the
// engine's ReportFile without waiting for it. A designer found nowhere is reported through the
// engine's message hook (DesignerNotFoundMessage).
class TReportEngineEditor : public TComponentEditor {
 public:
  TReportEngineEditor(TReportEngine& Engine, IDesignHost* Designer = nullptr);

  int GetVerbCount() const override { return 1; }
  std::string GetVerb(int Index) const override;
  void ExecuteVerb(int Index) override;
};

// Registers the components with Host: the splash line "Quillet Components"; TReportEngine,
// TScrivel and TRptDataSet on the palette page "Quillet"; TReportEngineEditor for TReportEngine;
// TReportEngineProperty for the ReportEngine property of TRptDataSet.
void Register(IDesignHost& Host);
// The marker component's own entry: TScrivel on the palette page "Quillet".
void RegisterScrivel(IDesignHost& Host);

}  // namespace quillet
