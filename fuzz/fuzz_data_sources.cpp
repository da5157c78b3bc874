// CSV and JSON data files are untrusted input: reading and walking them may fail with
// EQuilletError but must never crash, hang or leak. The first byte picks the format: odd for
// CSV, even for JSON.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data/json_data_set.h"

using namespace quillet;

namespace {

// One scratch file per process, rewritten for every input and removed at exit.
const std::string& ScratchFile() {
  static const std::string name = [] {
    std::string t = (std::filesystem::temp_directory_path() / "quillet-fuzz-data.XXXXXX").string();
    const int fd = ::mkstemp(t.data());
    if (fd >= 0) ::close(fd);
    std::atexit([] { std::remove(ScratchFile().c_str()); });
    return t;
  }();
  return name;
}

void Walk(TDataSet& D) {
  D.Open();
  std::string sink;
  for (D.First(); !D.Eof(); D.Next())
    for (int i = 0; i < D.FieldCount(); ++i) sink += D.Fields(i).DisplayText();
  const TBookmark mark = D.GetBookmark();
  D.Last();
  D.Prior();
  D.Prior();
  if (mark.Valid()) D.GotoBookmark(mark);
  D.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  if (Size == 0) return 0;
  const std::string& file = ScratchFile();
  if (FILE* f = std::fopen(file.c_str(), "wb")) {
    std::fwrite(Data + 1, 1, Size - 1, f);
    std::fclose(f);
  } else {
    return 0;
  }
  try {
    if (Data[0] & 1) {
      TCsvDataSet d("Fuzz", file);
      Walk(d);
    } else {
      TJsonDataSet d("Fuzz", file);
      Walk(d);
    }
  } catch (const EQuilletError&) {
  }
  return 0;
}
