#include "data/mem_data_set.h"

#include "base/error.h"

namespace quillet {

void TMemDataSet::AddField(std::string FieldName, TFieldType DataType) {
  if (Active()) throw EQuilletError("Cannot add a field to an open dataset: " + Name());
  for (const auto& d : FDeclared)
    if (SameFieldName(d.Name, FieldName)) throw EQuilletError("Duplicate field name '" + FieldName + "' in " + Name());
  FDeclared.push_back({std::move(FieldName), DataType});
  for (auto& row : FRows) row.resize(FDeclared.size());
  FFieldDefsKnown = false;
}

void TMemDataSet::AppendRecord(std::vector<TExprValue> Values) {
  if (Values.size() > FDeclared.size())
    throw EQuilletError("Record has " + std::to_string(Values.size()) + " values but " + Name() + " has " +
                        std::to_string(FDeclared.size()) + " fields");
  Values.resize(FDeclared.size());
  FRows.push_back(std::move(Values));
  FIndexBuilt = false;
}

void TMemDataSet::ClearRecords() {
  FRows.clear();
  FIndexBuilt = false;
  if (Active()) First();
}

void TMemDataSet::SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) {
  TDataSet::SetMaster(Master, std::move(DetailField), std::move(MasterField));
  FIndexBuilt = false;
  FFiltered = false;
}

void TMemDataSet::DoUpdateFieldDefs() { FFieldDefs = FDeclared; }

void TMemDataSet::DoOpen() {
  FFieldDefs = FDeclared;
  FPos = 0;
  FFiltered = false;
  FIndexBuilt = false;
}

void TMemDataSet::DoClose() {
  FIndex.clear();
  FView.clear();
  FIndexBuilt = false;
  FFiltered = false;
}

void TMemDataSet::Load(size_t ViewPos) {
  FPos = ViewPos;
  FRecord = FRows[RowAt(ViewPos)];
}

void TMemDataSet::Refilter() {
  FFiltered = FMaster != nullptr;
  if (FFiltered) {
    if (!FIndexBuilt) {
      // One pass over the records; every later First is a hash look-up.
      int col = DetailFieldIndex();
      FIndex.clear();
      for (size_t r = 0; r < FRows.size(); ++r) {
        const TExprValue& v = FRows[r][col];
        if (!v.IsNull()) FIndex[v.ToText()].push_back(r);
      }
      FIndexBuilt = true;
    }
    FView.clear();
    std::string key;
    if (MasterKey(key)) {
      auto it = FIndex.find(key);
      if (it != FIndex.end()) FView = it->second;
    }
  }
}

bool TMemDataSet::DoFirst() {
  Refilter();
  if (ViewSize() == 0) return false;
  Load(0);
  return true;
}

bool TMemDataSet::DoNext() {
  if (FPos + 1 >= ViewSize()) return false;
  Load(FPos + 1);
  return true;
}

bool TMemDataSet::DoPrior() {
  if (FPos == 0 || ViewSize() == 0) return false;
  Load(FPos - 1);
  return true;
}

bool TMemDataSet::DoLast() {
  Refilter();
  if (ViewSize() == 0) return false;
  Load(ViewSize() - 1);
  return true;
}

int64_t TMemDataSet::DoGetBookmark() { return static_cast<int64_t>(FPos); }

bool TMemDataSet::DoGotoBookmark(int64_t Pos) {
  if (Pos < 0 || static_cast<size_t>(Pos) >= ViewSize()) return false;
  Load(static_cast<size_t>(Pos));
  return true;
}

}  // namespace quillet
