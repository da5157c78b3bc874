// Report files are untrusted input. Loading may fail with EQuilletError but must never crash, hang
// or leak. Whatever loads is then checked as every render checks it first (TReportEngine's
// CheckReport, report_lint.cpp), with its file names kept inside a scratch folder; the checker
// answers with warnings, never a crash. The save/load round trip has its own target,
// report_roundtrip.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/error.h"
#include "data/mem_data_set.h"
#include "engine/report_engine.h"
#include "fuzz_support.h"
#include "reportdef/report_model.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  static const bool init = [] {
    ::setenv("HOME", quillet_fuzz::ScratchDir().c_str(), 1);  // $HOME/Documents is where images are sought
    ::setenv("SOURCE_DATE_EPOCH", "1704585600", 1);
    return true;
  }();
  (void)init;
  const std::string text(reinterpret_cast<const char*>(Data), Size);
  TReportPage page;
  try {
    page.LoadFromString(text);
  } catch (const EQuilletError&) {
    return 0;
  }
  size_t sink = 0;
  for (const std::string& w : page.LoadWarnings) sink += w.size();
  for (const auto& band : page.Bands) sink += band->Elements.size();
  quillet_fuzz::KeepFilesInside(page);

  // A registered data set with a few fields, so the checker also compares names against data.
  TMemDataSet orders("Orders");
  orders.AddField("Id", ftLargeint);
  orders.AddField("Name", ftString);
  orders.AddField("Amount", ftFloat);
  orders.AppendRecord({TExprValue::FromInt(1), TExprValue::FromString("Ada"), TExprValue::FromFloat(2.5)});
  orders.Open();
  TReportEngine engine;
  engine.SetMessageHook([](const std::string&) {});
  engine.SetReportFile(quillet_fuzz::ScratchPath("fuzz.qdr"));
  engine.SetDataSource(&orders);
  engine.SetDataSource("Orders", &orders);
  engine.SetVariable("Company", "Acme");
  try {
    for (const std::string& w : engine.CheckReport(page, "fuzz.qdr")) sink += w.size();
  } catch (const EQuilletError&) {
  }
  if (sink == size_t(-1)) std::abort();
  return 0;
}
