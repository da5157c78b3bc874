// The data-set interface the report engine walks: a cursor over records with typed fields,
// bookmarks and a controls-disabled counter. Implementations: memory, CSV, JSON, SQLite.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "expr/expr_value.h"

namespace quillet {

// The declared type of a field's values.
enum TFieldType : uint8_t {
  ftUnknown,
  ftSmallint,
  ftInteger,
  ftWord,
  ftFloat,
  ftCurrency,
  ftBCD,
  ftAutoInc,
  ftLargeint,
  ftFMTBcd,
  ftString,
  ftBoolean,
  ftDate,
  ftTime,
  ftDateTime,
  ftMemo,
  ftBlob
};

// The types whose non-null values count as numbers in aggregates.
bool IsNumericFieldType(TFieldType Type) noexcept;

// "Largeint", "String", ... (the member name without its prefix).
const char* FieldTypeName(TFieldType Type) noexcept;

// A field's name and type, known without reading records.
struct TFieldDef {
  std::string Name;
  TFieldType DataType = ftUnknown;
};

// An opaque position inside one data set; only meaningful to the set that made it.
struct TBookmark {
  int64_t Pos = -1;
  bool Valid() const noexcept { return Pos >= 0; }
  friend bool operator==(const TBookmark&, const TBookmark&) = default;
};

class TDataSet;

// Told when a data set it watches is destroyed (TDataSet::FreeNotification). The set is half
// gone by then: compare the pointer, do not call it.
class IDataSetFreeNotify {
 public:
  virtual void DataSetFreed(TDataSet* DataSet) = 0;

 protected:
  ~IDataSetFreeNotify() = default;
};

// A field of an open data set, reading the current record.
class TField {
 public:
  TField(TDataSet* Owner, int Index) : FOwner(Owner), FIndex(Index) {}

  const std::string& FieldName() const;
  TFieldType DataType() const;
  int Index() const noexcept { return FIndex; }  // position among the set's fields
  // True when the current record holds no value here (or there is no current record).
  bool IsNull() const;
  // A copy of the current value; null when the set has no current record.
  TExprValue Value() const;
  // The current value without a copy; valid until the cursor moves.
  const TExprValue& ValueRef() const;
  // Integers in decimal, floats in their 15-digit form, booleans True/False, strings as they are;
  // null reads "".
  std::string DisplayText() const;
  // The value as a double for numeric fields (false when null or not a number).
  bool AsFloat(double& Value) const;

 private:
  TDataSet* FOwner;
  int FIndex;
};

// The base of every data set. A set starts closed: Open reads its fields and makes the first
// record current. The engine walks only open sets and never opens or closes them itself.
class TDataSet {
 public:
  // Name is how reports refer to the set ("Orders" in "Orders.Amount").
  explicit TDataSet(std::string Name) : FName(std::move(Name)) {}
  // Tells every watcher that the set is going away (see FreeNotification).
  virtual ~TDataSet();
  TDataSet(const TDataSet&) = delete;
  TDataSet& operator=(const TDataSet&) = delete;

  const std::string& Name() const noexcept { return FName; }

  // Opens the set and moves to the first record; opening an open set does nothing. Raises
  // EQuilletError when the source cannot be read.
  void Open();
  // Closes the set; its TField objects go away.
  void Close();
  bool Active() const noexcept { return FActive; }  // whether the set is open
  void SetActive(bool Value) { Value ? Open() : Close(); }

  // Movement. An empty set reads Eof after First with every field null; Next past the last
  // record sets Eof and keeps the last record current; Prior on the first record stays and sets
  // Bof; Last makes the last record current and clears Eof.
  void First();
  void Next();
  void Prior();
  void Last();
  bool Eof() const noexcept { return FEof; }
  bool Bof() const noexcept { return FBof; }
  // True when a record is current (false on an empty set or before First).
  bool HasRecord() const noexcept { return FHasRecord; }

  // Fields of the open set (none while closed). Field objects live until the set closes; look
  // them up again after reopening.
  int FieldCount() const noexcept { return FActive ? static_cast<int>(FFields.size()) : 0; }
  // Raises EQuilletError when Index is out of range.
  TField& Fields(int Index);
  // Case-insensitive (ASCII) name match; nullptr when absent or closed.
  TField* FindField(std::string_view FieldName);

  // Names and types, also while closed (a file-backed set reads its header and infers types).
  const std::vector<TFieldDef>& FieldDefs();

  // Invalid bookmark when there is no current record.
  TBookmark GetBookmark();
  // Raises EQuilletError for an invalid bookmark.
  void GotoBookmark(const TBookmark& Bookmark);

  // A nesting counter for callers that move the cursor in bulk and want attached views to wait.
  void DisableControls() noexcept { ++FDisableCount; }
  void EnableControls() noexcept {
    if (FDisableCount > 0) --FDisableCount;
  }
  bool ControlsDisabled() const noexcept { return FDisableCount > 0; }

  // Master/detail: every First (and Last) shows only the records whose DetailField equals the master's
  // current MasterField (compared as display text). Master nullptr removes the link. Sets that
  // cannot filter this way raise EQuilletError.
  virtual void SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField);
  TDataSet* Master() const noexcept { return FMaster; }
  // Every set whose current record this set's First depends on (its master, the sources of its
  // query parameters), so a caller can rewind masters before their details.
  virtual std::vector<TDataSet*> MasterSets() const;

  // Data sets are no components, but whatever keeps a pointer to one can ask to be told when it
  // is destroyed: Observer->DataSetFreed(this) is called from the destructor, once, after the
  // set has dropped the request. An observer that goes away first removes its request.
  // Requests are kept once however often they are made.
  void FreeNotification(IDataSetFreeNotify* Observer);
  void RemoveFreeNotification(IDataSetFreeNotify* Observer);

 protected:
  // Implementations fill FFieldDefs in DoOpen (or DoUpdateFieldDefs) and load FRecord on moves.
  virtual void DoOpen() = 0;
  virtual void DoClose() = 0;
  virtual void DoUpdateFieldDefs() {}
  // Each returns whether a record is now current; Next/Prior/Last return false and leave the
  // current record untouched when they cannot move.
  virtual bool DoFirst() = 0;
  virtual bool DoNext() = 0;
  virtual bool DoPrior() = 0;
  virtual bool DoLast() = 0;
  virtual int64_t DoGetBookmark() = 0;
  virtual bool DoGotoBookmark(int64_t Pos) = 0;

  // The master's key for the current master record; false when the master has no record or the
  // key is null (then the detail is empty). Raises EQuilletError for an unknown master field.
  bool MasterKey(std::string& Key);
  // Index of DetailField among FFieldDefs; raises EQuilletError when absent.
  int DetailFieldIndex() const;

  std::vector<TFieldDef> FFieldDefs;
  bool FFieldDefsKnown = false;
  std::vector<TExprValue> FRecord;  // one value per field def
  TDataSet* FMaster = nullptr;
  std::string FDetailField, FMasterField;

 private:
  friend class TField;
  void RequireActive(const char* Operation) const;

  std::string FName;
  std::vector<TField> FFields;
  bool FActive = false;
  bool FEof = true;
  bool FBof = true;
  bool FHasRecord = false;
  int FDisableCount = 0;
  std::vector<IDataSetFreeNotify*> FFreeNotifies;
};

// ASCII case-insensitive equality, used for field names.
bool SameFieldName(std::string_view A, std::string_view B) noexcept;

}  // namespace quillet
