#include "registration/rpt_data_set.h"

#include "engine/report_engine.h"

namespace quillet {

TRptDataSet::~TRptDataSet() {
  if (FDataSet) FDataSet->RemoveFreeNotification(this);
}

void TRptDataSet::SetReportEngine(TReportEngine* Value) {
  if (Value == FReportEngine) return;
  if (FReportEngine) RemoveFreeNotification(FReportEngine);
  FReportEngine = Value;
  if (FReportEngine) FreeNotification(FReportEngine);
}

void TRptDataSet::SetDataSet(TDataSet* Value) {
  if (Value == FDataSet) return;
  if (FDataSet) FDataSet->RemoveFreeNotification(this);
  FDataSet = Value;
  if (FDataSet) FDataSet->FreeNotification(this);
}

void TRptDataSet::Notification(TComponent* AComponent, TOperation Operation) {
  TComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && FReportEngine && AComponent == static_cast<TComponent*>(FReportEngine))
    FReportEngine = nullptr;
}

void TRptDataSet::DataSetFreed(TDataSet* DataSet) {
  if (DataSet == FDataSet) FDataSet = nullptr;
}

}  // namespace quillet
