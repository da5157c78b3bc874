#include "data/data_set.h"

#include <algorithm>

#include "base/error.h"

namespace quillet {

namespace {
const TExprValue& NullValue() {
  static const TExprValue Null;
  return Null;
}
}  // namespace

bool IsNumericFieldType(TFieldType Type) noexcept {
  switch (Type) {
    case ftSmallint:
    case ftInteger:
    case ftWord:
    case ftFloat:
    case ftCurrency:
    case ftBCD:
    case ftAutoInc:
    case ftLargeint:
    case ftFMTBcd:
      return true;
    default:
      return false;
  }
}

const char* FieldTypeName(TFieldType Type) noexcept {
  static const char* const Names[] = {"Unknown", "Smallint", "Integer",  "Word", "Float", "Currency",
                                      "BCD",     "AutoInc",  "Largeint", "FMTBcd", "String", "Boolean",
                                      "Date",    "Time",     "DateTime", "Memo", "Blob"};
  return Type <= ftBlob ? Names[Type] : "Unknown";
}

bool SameFieldName(std::string_view A, std::string_view B) noexcept {
  if (A.size() != B.size()) return false;
  for (size_t i = 0; i < A.size(); ++i) {
    unsigned char a = static_cast<unsigned char>(A[i]), b = static_cast<unsigned char>(B[i]);
    if (a >= 'a' && a <= 'z') a = static_cast<unsigned char>(a - 32);
    if (b >= 'a' && b <= 'z') b = static_cast<unsigned char>(b - 32);
    if (a != b) return false;
  }
  return true;
}

// ---- TField ----

const std::string& TField::FieldName() const { return FOwner->FFieldDefs[FIndex].Name; }
TFieldType TField::DataType() const { return FOwner->FFieldDefs[FIndex].DataType; }

const TExprValue& TField::ValueRef() const {
  if (!FOwner->FHasRecord || FIndex >= static_cast<int>(FOwner->FRecord.size())) return NullValue();
  return FOwner->FRecord[FIndex];
}

bool TField::IsNull() const { return ValueRef().IsNull(); }
TExprValue TField::Value() const { return ValueRef(); }
std::string TField::DisplayText() const { return ValueRef().ToText(); }

bool TField::AsFloat(double& Value) const {
  const TExprValue& v = ValueRef();
  if (v.Kind() == evkInteger) {
    Value = static_cast<double>(v.AsInt());
    return true;
  }
  if (v.Kind() == evkFloat) {
    Value = v.AsFloat();
    return true;
  }
  return false;
}

// ---- TDataSet ----

TDataSet::~TDataSet() {
  // Each watcher is told once; a list of its own, as a watcher may change requests meanwhile.
  std::vector<IDataSetFreeNotify*> notifies;
  notifies.swap(FFreeNotifies);
  for (IDataSetFreeNotify* o : notifies) o->DataSetFreed(this);
}

void TDataSet::FreeNotification(IDataSetFreeNotify* Observer) {
  if (Observer && std::find(FFreeNotifies.begin(), FFreeNotifies.end(), Observer) == FFreeNotifies.end())
    FFreeNotifies.push_back(Observer);
}

void TDataSet::RemoveFreeNotification(IDataSetFreeNotify* Observer) {
  const auto it = std::find(FFreeNotifies.begin(), FFreeNotifies.end(), Observer);
  if (it != FFreeNotifies.end()) FFreeNotifies.erase(it);
}

void TDataSet::RequireActive(const char* Operation) const {
  if (!FActive) throw EQuilletError(std::string("Cannot perform ") + Operation + " on a closed dataset: " + FName);
}

void TDataSet::Open() {
  if (FActive) return;
  FFieldDefs.clear();
  FFieldDefsKnown = false;
  DoOpen();
  FFieldDefsKnown = true;
  FFields.clear();
  FFields.reserve(FFieldDefs.size());
  for (size_t i = 0; i < FFieldDefs.size(); ++i) FFields.emplace_back(this, static_cast<int>(i));
  FRecord.assign(FFieldDefs.size(), TExprValue());
  FActive = true;
  try {
    First();
  } catch (...) {
    Close();
    throw;
  }
}

void TDataSet::Close() {
  if (!FActive) return;
  FActive = false;
  FHasRecord = false;
  FEof = FBof = true;
  FFields.clear();
  FRecord.clear();
  DoClose();
}

void TDataSet::First() {
  RequireActive("First");
  FHasRecord = DoFirst();
  FBof = true;
  FEof = !FHasRecord;
  if (!FHasRecord) FRecord.assign(FFieldDefs.size(), TExprValue());
}

void TDataSet::Next() {
  RequireActive("Next");
  if (FHasRecord && DoNext()) {
    FEof = FBof = false;
  } else {
    FEof = true;
  }
}

void TDataSet::Prior() {
  RequireActive("Prior");
  if (FHasRecord && DoPrior()) {
    FEof = FBof = false;
  } else {
    FBof = true;
    if (FHasRecord) FEof = false;
  }
}

void TDataSet::Last() {
  RequireActive("Last");
  FHasRecord = DoLast();
  FEof = !FHasRecord;
  FBof = !FHasRecord;
  if (!FHasRecord) FRecord.assign(FFieldDefs.size(), TExprValue());
}

TField& TDataSet::Fields(int Index) {
  if (Index < 0 || Index >= FieldCount())
    throw EQuilletError("Field index out of range: " + std::to_string(Index) + " in " + FName);
  return FFields[Index];
}

TField* TDataSet::FindField(std::string_view FieldName) {
  if (!FActive) return nullptr;
  for (size_t i = 0; i < FFields.size(); ++i)
    if (SameFieldName(FFieldDefs[i].Name, FieldName)) return &FFields[i];
  return nullptr;
}

const std::vector<TFieldDef>& TDataSet::FieldDefs() {
  if (!FActive && !FFieldDefsKnown) {
    FFieldDefs.clear();
    DoUpdateFieldDefs();
    FFieldDefsKnown = true;
  }
  return FFieldDefs;
}

TBookmark TDataSet::GetBookmark() {
  RequireActive("GetBookmark");
  if (!FHasRecord) return TBookmark{};
  return TBookmark{DoGetBookmark()};
}

void TDataSet::GotoBookmark(const TBookmark& Bookmark) {
  RequireActive("GotoBookmark");
  if (!Bookmark.Valid() || !FHasRecord || !DoGotoBookmark(Bookmark.Pos))
    throw EQuilletError("Bookmark not found in " + FName);
  FEof = FBof = false;
}

void TDataSet::SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) {
  if (Master == this) throw EQuilletError("A dataset cannot be its own master: " + FName);
  FMaster = Master;
  FDetailField = std::move(DetailField);
  FMasterField = std::move(MasterField);
}

bool TDataSet::MasterKey(std::string& Key) {
  if (!FMaster->Active()) return false;
  TField* f = FMaster->FindField(FMasterField);
  if (!f) throw EQuilletError("Field '" + FMasterField + "' not found in " + FMaster->Name());
  if (!FMaster->HasRecord() || f->IsNull()) return false;
  Key = f->DisplayText();
  return true;
}

int TDataSet::DetailFieldIndex() const {
  for (size_t i = 0; i < FFieldDefs.size(); ++i)
    if (SameFieldName(FFieldDefs[i].Name, FDetailField)) return static_cast<int>(i);
  throw EQuilletError("Field '" + FDetailField + "' not found in " + FName);
}

std::vector<TDataSet*> TDataSet::MasterSets() const {
  return FMaster ? std::vector<TDataSet*>{FMaster} : std::vector<TDataSet*>{};
}

}  // namespace quillet
