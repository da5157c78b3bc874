// A data set held in memory: built in code with declared field types, or filled by a loader
// (the JSON set). A master link filters it through a key index built once per open.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "data/data_set.h"

namespace quillet {

// Usage: AddField for each column, AppendRecord for each row, then Open.
class TMemDataSet : public TDataSet {
 public:
  explicit TMemDataSet(std::string Name) : TDataSet(std::move(Name)) {}

  // Declares a field; only while closed. Raises EQuilletError for a duplicate name.
  void AddField(std::string FieldName, TFieldType DataType);
  // Appends a record; Values are matched to fields by position, missing ones are null and
  // surplus ones raise EQuilletError.
  void AppendRecord(std::vector<TExprValue> Values);
  size_t RecordCount() const noexcept { return FRows.size(); }  // all records, ignoring a master link
  void ClearRecords();  // removes every record; the fields stay

  // See TDataSet::SetMaster; the key index is built once per open, when first needed.
  void SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  void DoUpdateFieldDefs() override;
  bool DoFirst() override;
  bool DoNext() override;
  bool DoPrior() override;
  bool DoLast() override;
  int64_t DoGetBookmark() override;
  bool DoGotoBookmark(int64_t Pos) override;

  // Loaders fill these; the declared defs become the open set's field defs.
  std::vector<TFieldDef> FDeclared;
  std::vector<std::vector<TExprValue>> FRows;

 private:
  size_t RowAt(size_t ViewPos) const { return FFiltered ? FView[ViewPos] : ViewPos; }
  size_t ViewSize() const { return FFiltered ? FView.size() : FRows.size(); }
  void Load(size_t ViewPos);
  // First and Last follow the master's current record.
  void Refilter();

  size_t FPos = 0;  // position inside the view
  bool FFiltered = false;
  std::vector<size_t> FView;
  bool FIndexBuilt = false;
  std::unordered_map<std::string, std::vector<size_t>> FIndex;
};

}  // namespace quillet
