// Running totals for SUM, AVG, COUNT, MIN and MAX. Every field of every accumulated record is
// totalled under its bare field name, so any field can be aggregated without declaring it.
#include "data/data_set.h"
#include "engine/report_engine.h"

namespace quillet {

namespace {

void Accumulate(TAggrAccum& a, bool HasValue, double V) {
  a.Count += 1;
  if (!HasValue) return;
  a.Sum += V;
  if (!a.HasValue || V < a.Min) a.Min = V;
  if (!a.HasValue || V > a.Max) a.Max = V;
  a.HasValue = true;
}

}  // namespace

void TReportEngine::InitAggregates(int32_t GroupCount) {
  FAggGroup.clear();
  FAggGroup.resize(GroupCount > 0 ? static_cast<size_t>(GroupCount) : 0);
  FAggAll.clear();
  FAggScope = asNone;
  ++FAggEpoch;
}

void TReportEngine::ResetAggregates() {
  FAggAll.clear();
  for (auto& g : FAggGroup) g.clear();
  ++FAggEpoch;
}

void TReportEngine::ResetGroupAggregate(int32_t Level) {
  if (Level < 0 || static_cast<size_t>(Level) >= FAggGroup.size()) return;
  FAggGroup[static_cast<size_t>(Level)].clear();
  ++FAggEpoch;
}

void TReportEngine::AccumulateRecord(TDataSet* DataSet) {
  if (!DataSet || !DataSet->Active()) return;
  const int n = DataSet->FieldCount();
  const size_t tables = 1 + FAggGroup.size();
  TAggrSlots& c = FAggSlots;
  if (c.DataSet != DataSet || c.Epoch != FAggEpoch || c.FieldCount != n || c.Slots.size() != size_t(n) * tables) {
    // Taking the slots creates the entries; the first record fills them just below.
    c.Slots.clear();
    for (int i = 0; i < n; ++i) {
      const std::string& key = DataSet->Fields(i).FieldName();
      c.Slots.push_back(&FAggAll[key]);
      for (auto& g : FAggGroup) c.Slots.push_back(&g[key]);
    }
    c.DataSet = DataSet;
    c.Epoch = FAggEpoch;
    c.FieldCount = n;
  }
  TAggrAccum** slot = c.Slots.data();
  for (int i = 0; i < n; ++i) {
    TField& f = DataSet->Fields(i);
    double v = 0;
    const bool has = IsNumericFieldType(f.DataType()) && f.AsFloat(v);
    for (size_t t = 0; t < tables; ++t) Accumulate(**slot++, has, v);
  }
}

void TReportEngine::EvalAggregate(const std::string& FuncName, const std::string& FieldName,
                                  TExprValue& Result) const {
  Result = TExprValue::FromInt(0);
  const TAggrTable* d = nullptr;
  switch (FAggScope) {
    case asGroup:
      if (FAggScopeIdx >= 0 && static_cast<size_t>(FAggScopeIdx) < FAggGroup.size())
        d = &FAggGroup[static_cast<size_t>(FAggScopeIdx)];
      break;
    case asAll:
      d = &FAggAll;
      break;
    default:
      d = FAggGroup.empty() ? &FAggAll : &FAggGroup.back();
      break;
  }
  if (!d) return;
  std::string fn = FuncName;
  for (char& c : fn)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  if (fn == "COUNT") {
    if (FieldName.empty()) {
      // Every field of a record counts once per record, so any accumulator will do.
      if (!d->empty()) Result = TExprValue::FromInt(d->begin()->second.Count);
    } else {
      auto it = d->find(FieldName);
      if (it != d->end()) Result = TExprValue::FromInt(it->second.Count);
    }
    return;
  }
  auto it = d->find(FieldName);
  if (it == d->end()) return;
  const TAggrAccum& a = it->second;
  if (fn == "SUM")
    Result = TExprValue::FromFloat(a.Sum);
  else if (fn == "AVG")
    Result = a.Count > 0 ? TExprValue::FromFloat(a.Sum / static_cast<double>(a.Count)) : TExprValue::FromInt(0);
  else if (fn == "MIN")
    Result = a.HasValue ? TExprValue::FromFloat(a.Min) : TExprValue::FromInt(0);
  else if (fn == "MAX")
    Result = a.HasValue ? TExprValue::FromFloat(a.Max) : TExprValue::FromInt(0);
}

}  // namespace quillet
