// A data set over a JSON file holding an array of objects. Fields are the union of the objects'
// keys in order of first appearance; a key whose numbers are all integers is a large integer,
// any fraction makes it a float; strings, booleans and mixtures are strings (a number or
// boolean in a mixed key shows as its JSON text), nested objects and arrays become their JSON
// text, and a missing key or JSON null is null.
#pragma once

#include "data/mem_data_set.h"

namespace quillet {

// Levels of JSON nesting in a data file: nested values are kept as their JSON text, which is
// written recursively; a bound keeps hostile input from exhausting the stack.
inline constexpr int kMaxJsonDataNesting = 256;

class TJsonDataSet : public TMemDataSet {
 public:
  // The file is read and parsed whole when the field defs are asked for or the set opens.
  TJsonDataSet(std::string Name, std::string FileName);
  const std::string& FileName() const noexcept { return FFileName; }

 protected:
  void DoOpen() override;
  void DoClose() override;
  void DoUpdateFieldDefs() override;

 private:
  void Load();
  std::string FFileName;
};

// Parses JSON text (an array of objects) into field defs and rows; FileName names the source
// in errors. Works on text already in memory, so callers can parse JSON from any source.
void ParseJsonRecords(std::string_view Text, const std::string& FileName, std::vector<TFieldDef>& Defs,
                      std::vector<std::vector<TExprValue>>& Rows);

}  // namespace quillet
