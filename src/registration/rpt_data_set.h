// The data-set link: a component placed beside a report engine that offers one data set to it
// under a name. The engine collects such links from its owner (AutoDiscoverDataSources), and
// the designer is told about them (TReportEngine::OpenDesigner, the "Design Report..." verb).
#pragma once

#include <string>

#include "data/data_set.h"
#include "registration/component.h"

namespace quillet {

class TReportEngine;

class TRptDataSet : public TComponent, private IDataSetFreeNotify {
 public:
  explicit TRptDataSet(TComponent* Owner = nullptr) : TComponent(Owner) {}
  ~TRptDataSet() override;

  // The engine this link serves; none means every engine under the same owner. A weak
  // reference: it becomes nullptr when the engine is destroyed.
  TReportEngine* ReportEngine() const noexcept { return FReportEngine; }
  void SetReportEngine(TReportEngine* Value);

  // The name reports use for the data set; empty means the link component's own name.
  const std::string& DataSetName() const noexcept { return FDataSetName; }
  void SetDataSetName(std::string Value) { FDataSetName = std::move(Value); }
  // The alias, or the component name when the alias is empty.
  const std::string& EffectiveName() const noexcept { return FDataSetName.empty() ? Name() : FDataSetName; }

  // Not owned; a weak reference too: it becomes nullptr when the data set is destroyed.
  TDataSet* DataSet() const noexcept { return FDataSet; }
  void SetDataSet(TDataSet* Value);

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  void DataSetFreed(TDataSet* DataSet) override;

  TReportEngine* FReportEngine = nullptr;
  std::string FDataSetName;
  TDataSet* FDataSet = nullptr;
};

}  // namespace quillet
