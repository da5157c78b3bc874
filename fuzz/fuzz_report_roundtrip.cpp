// A report that loads must save to a text that loads again and saves to the very same bytes:
// load -> save (A) -> load -> save (B), and A == B. A saved report that does not load, or saves
// differently, aborts.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/error.h"
#include "reportdef/report_model.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string text(reinterpret_cast<const char*>(Data), Size);
  TReportPage page;
  try {
    page.LoadFromString(text);
  } catch (const EQuilletError&) {
    return 0;
  }
  const std::string first = page.SaveToString();
  TReportPage again;
  try {
    again.LoadFromString(first);
  } catch (const EQuilletError& e) {
    std::fprintf(stderr, "a saved report does not load: %s\n", e.what());
    std::abort();
  }
  const std::string second = again.SaveToString();
  if (second != first) {
    size_t at = 0;
    while (at < first.size() && at < second.size() && first[at] == second[at]) ++at;
    std::fprintf(stderr, "the second save differs at byte %zu:\n--- first\n%s\n--- second\n%s\n", at,
                 first.substr(at > 80 ? at - 80 : 0, 200).c_str(), second.substr(at > 80 ? at - 80 : 0, 200).c_str());
    std::abort();
  }
  return 0;
}
