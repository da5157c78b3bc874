// "datasources.json", the description of an application's data sets the designer reads, is a file
// anyone can edit: ReadDataSourcesJson must answer with data sets or EQuilletError, never a crash,
// a hang or another exception. What it reads, written again by DataSourcesJson (through data sets
// with those fields), must read back the same.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "data/mem_data_set.h"
#include "data_walk.h"
#include "engine/designer_bridge.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string_view text(reinterpret_cast<const char*>(Data), Size);
  std::vector<TDataSourceSchema> schemas;
  try {
    schemas = ReadDataSourcesJson(text);
  } catch (const EQuilletError&) {
    return 0;
  }
  // Written again: one data set per schema, named as read, with its fields (a field name the data
  // set refuses, such as a repeated one, is left out).
  std::vector<std::unique_ptr<TMemDataSet>> sets;
  std::vector<TDataSet*> pointers;
  std::vector<std::string> names;
  for (const auto& s : schemas) {
    auto d = std::make_unique<TMemDataSet>(s.Name);
    for (const auto& f : s.Fields) {
      try {
        d->AddField(f, ftString);
      } catch (const EQuilletError&) {
      }
    }
    pointers.push_back(d.get());
    names.push_back(s.Name);
    sets.push_back(std::move(d));
  }
  const std::string written = DataSourcesJson(pointers, names);
  std::vector<TDataSourceSchema> back;
  try {
    back = ReadDataSourcesJson(written);
  } catch (const EQuilletError&) {
    quillet_fuzz::DataCheck(false, "written datasources.json does not read back");
  }
  quillet_fuzz::DataCheck(back.size() == schemas.size(), "written datasources.json lost a data set");
  for (size_t i = 0; i < back.size(); ++i) {
    const std::string expected = schemas[i].Name.empty() ? "dataset" + std::to_string(i + 1) : schemas[i].Name;
    quillet_fuzz::DataCheck(back[i].Name == expected, "a data set name changed on the way back");
    quillet_fuzz::DataCheck(back[i].Fields == ReadFieldNames(pointers[i]), "field names changed on the way back");
  }
  return 0;
}
