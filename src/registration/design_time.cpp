#include "registration/design_time.h"

#include "engine/report_engine.h"

namespace quillet {

void TReportEngineProperty::GetValues(const std::function<void(const std::string& Value)>& Proc) {
  const TComponent* root = Component().Owner();
  if (!root) return;
  for (const TComponent* c : root->Components())
    if (dynamic_cast<const TReportEngine*>(c)) Proc(c->Name());
}

}  // namespace quillet
