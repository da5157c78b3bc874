// Report files are untrusted input. Loading may fail with EQuilletError but must never crash,
// hang or leak; and whatever loads must save to a text that loads back to the same text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/error.h"
#include "reportdef/report_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string text(reinterpret_cast<const char*>(Data), Size);
  quillet::TReportPage page;
  try {
    page.LoadFromString(text);
  } catch (const quillet::EQuilletError&) {
    return 0;
  }
  const std::string saved = page.SaveToString();
  quillet::TReportPage again;
  again.LoadFromString(saved);  // a saved report must always load
  if (again.SaveToString() != saved) std::abort();
  return 0;
}
