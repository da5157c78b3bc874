// JSON data files are untrusted input: reading and walking one (see data_walk.h) may fail with
// EQuilletError but must never crash, hang or leak. The whole input is the file; the in-memory
// parser behind it (ParseJsonRecords) must agree with the file reader on the records.
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "data/json_data_set.h"
#include "data_walk.h"
#include "fuzz_support.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string_view text(reinterpret_cast<const char*>(Data), Size);
  if (!quillet_fuzz::WriteScratch("data.json", text)) return 0;
  bool fileRead = false;
  int fileFields = 0;
  try {
    TJsonDataSet d("Fuzz", quillet_fuzz::ScratchPath("data.json"));
    quillet_fuzz::WalkDataSet(d);
    d.Open();
    fileFields = d.FieldCount();
    fileRead = true;
  } catch (const EQuilletError&) {
  }
  std::vector<TFieldDef> defs;
  std::vector<std::vector<TExprValue>> rows;
  bool textRead = false;
  try {
    ParseJsonRecords(text, "data.json", defs, rows);
    textRead = true;
  } catch (const EQuilletError&) {
  }
  if (fileRead && textRead) {
    quillet_fuzz::DataCheck(int(defs.size()) == fileFields, "file and text readers disagree on the fields");
    for (const auto& row : rows) quillet_fuzz::DataCheck(row.size() == defs.size(), "a row does not fit the fields");
  }
  return 0;
}
