// The package's marker component: placed on a form it says which version of the components the
// form was made with. An engine may point at it (TReportEngine::SetScrivel).
#pragma once

#include <string>

#include "registration/component.h"

namespace quillet {

class TScrivel : public TComponent {
 public:
  explicit TScrivel(TComponent* Owner = nullptr) : TComponent(Owner), FVersion("1.0.0") {}

  const std::string& GetVersion() const noexcept { return FVersion; }

 private:
  std::string FVersion;
};

}  // namespace quillet
