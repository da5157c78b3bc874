#include "registration/rpt_data_set.h"

#include "engine/report_engine.h"

namespace quillet {

void TRptDataSet::SetReportEngine(TReportEngine* Value) {
  if (Value == FReportEngine) return;
  if (FReportEngine) RemoveFreeNotification(FReportEngine);
  FReportEngine = Value;
  if (FReportEngine) FreeNotification(FReportEngine);
}

void TRptDataSet::Notification(TComponent* AComponent, TOperation Operation) {
  TComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && FReportEngine && AComponent == static_cast<TComponent*>(FReportEngine))
    FReportEngine = nullptr;
}

}  // namespace quillet
