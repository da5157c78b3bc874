// The data-set link: a component placed beside a report engine that offers one data set to it
// under a name. The engine collects such links from its owner (AutoDiscoverDataSources).
#pragma once

#include <string>

#include "registration/component.h"

namespace quillet {

class TDataSet;
class TReportEngine;

class TRptDataSet : public TComponent {
 public:
  explicit TRptDataSet(TComponent* Owner = nullptr) : TComponent(Owner) {}

  // The engine this link serves; none means every engine under the same owner.
  TReportEngine* ReportEngine() const noexcept { return FReportEngine; }
  void SetReportEngine(TReportEngine* Value);

  // The name reports use for the data set; empty means the link component's own name.
  const std::string& DataSetName() const noexcept { return FDataSetName; }
  void SetDataSetName(std::string Value) { FDataSetName = std::move(Value); }
  // The alias, or the component name when the alias is empty.
  const std::string& EffectiveName() const noexcept { return FDataSetName.empty() ? Name() : FDataSetName; }

  // Not owned; the application keeps the data set alive while the link refers to it.
  TDataSet* DataSet() const noexcept { return FDataSet; }
  void SetDataSet(TDataSet* Value) noexcept { FDataSet = Value; }

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  TReportEngine* FReportEngine = nullptr;
  std::string FDataSetName;
  TDataSet* FDataSet = nullptr;
};

}  // namespace quillet
