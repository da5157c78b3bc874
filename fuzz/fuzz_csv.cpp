// CSV data files are untrusted input: reading and walking one (see data_walk.h) may fail with
// EQuilletError but must never crash, hang or leak. The first byte is the separator as
// --csv-separator gives it: 0 means none given, so the header line decides ("," or ";"); any other
// byte is set as the separator (a quote or a line break is refused with EQuilletError). The rest
// is the file.
#include <cstdint>
#include <string_view>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data_walk.h"
#include "fuzz_support.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  if (Size == 0) return 0;
  const char separator = static_cast<char>(Data[0]);
  if (!quillet_fuzz::WriteScratch("data.csv", std::string_view(reinterpret_cast<const char*>(Data + 1), Size - 1)))
    return 0;
  try {
    TCsvDataSet d("Fuzz", quillet_fuzz::ScratchPath("data.csv"));
    if (separator != 0) d.SetSeparator(separator);
    (void)d.RecordCount();
    quillet_fuzz::WalkDataSet(d);
    if (separator != 0) quillet_fuzz::DataCheck(d.Separator() == separator && !d.SeparatorGuessed(), "separator lost");
    else quillet_fuzz::DataCheck(d.Separator() == ',' || d.Separator() == ';', "guessed an odd separator");
  } catch (const EQuilletError&) {
  }
  return 0;
}
