#include "data/json_data_set.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "base/error.h"
#include "base/file_io.h"

namespace quillet {

namespace {

using json = nlohmann::ordered_json;  // keeps keys in file order

constexpr int kMaxDepth = kMaxJsonDataNesting;

[[noreturn]] void Fail(const std::string& FileName, const std::string& Problem, int64_t Offset = -1) {
  throw EQuilletError("Invalid JSON data in " + FileName + ": " + Problem, FileName, Offset);
}

enum TJsonKind { jkInt, jkFloat, jkBool, jkString, jkOther };

TJsonKind KindOf(const json& V) {
  switch (V.type()) {
    case json::value_t::number_integer:
      return jkInt;
    case json::value_t::number_unsigned:
      return V.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) ? jkInt : jkFloat;
    case json::value_t::number_float:
      return jkFloat;
    case json::value_t::boolean:
      return jkBool;
    case json::value_t::string:
      return jkString;
    default:
      return jkOther;
  }
}

TExprValue ToValue(const json& V, TFieldType Type) {
  if (V.is_null()) return TExprValue();
  switch (Type) {
    case ftLargeint:
      return TExprValue::FromInt(V.get<int64_t>());
    case ftFloat:
      return TExprValue::FromFloat(V.get<double>());
    case ftBoolean:
      return TExprValue::FromBool(V.get<bool>());
    default:
      return TExprValue::FromString(V.is_string() ? V.get<std::string>() : V.dump());
  }
}

}  // namespace

void ParseJsonRecords(std::string_view Text, const std::string& FileName, std::vector<TFieldDef>& Defs,
                      std::vector<std::vector<TExprValue>>& Rows) {
  json doc;
  try {
    doc = json::parse(Text.begin(), Text.end(), [&](int Depth, json::parse_event_t, json&) {
      if (Depth >= kMaxDepth) Fail(FileName, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
      return true;
    });
  } catch (const json::parse_error& e) {
    std::string msg = e.what();
    auto p = msg.find("] ");
    if (p != std::string::npos) msg.erase(0, p + 2);
    Fail(FileName, msg, static_cast<int64_t>(e.byte));
  } catch (const json::exception& e) {
    // Anything else the parser raises (a number beyond the range of a double, say) is bad data
    // too, never an escape past the caller.
    std::string msg = e.what();
    auto p = msg.find("] ");
    if (p != std::string::npos) msg.erase(0, p + 2);
    Fail(FileName, msg);
  }
  if (!doc.is_array()) Fail(FileName, "expected an array of objects");

  struct TInfer {
    bool Any = false, AllInt = true, AllNum = true, AllBool = true;
  };
  std::vector<TInfer> infer;
  std::unordered_map<std::string, size_t> column;
  Defs.clear();
  for (size_t r = 0; r < doc.size(); ++r) {
    const json& obj = doc[r];
    if (!obj.is_object()) Fail(FileName, "element " + std::to_string(r) + " is not an object");
    for (const auto& [key, value] : obj.items()) {
      auto [it, added] = column.emplace(key, Defs.size());
      if (added) {
        Defs.push_back({key, ftString});
        infer.emplace_back();
      }
      if (value.is_null()) continue;
      TInfer& t = infer[it->second];
      t.Any = true;
      TJsonKind k = KindOf(value);
      t.AllInt = t.AllInt && k == jkInt;
      t.AllNum = t.AllNum && (k == jkInt || k == jkFloat);
      t.AllBool = t.AllBool && k == jkBool;
    }
  }
  for (size_t i = 0; i < Defs.size(); ++i) {
    const TInfer& t = infer[i];
    if (t.Any) Defs[i].DataType = t.AllInt ? ftLargeint : t.AllNum ? ftFloat : t.AllBool ? ftBoolean : ftString;
  }
  Rows.clear();
  Rows.reserve(doc.size());
  for (auto& obj : doc) {
    auto& row = Rows.emplace_back(Defs.size());
    for (const auto& [key, value] : obj.items()) {
      size_t c = column[key];
      row[c] = ToValue(value, Defs[c].DataType);
    }
  }
}

TJsonDataSet::TJsonDataSet(std::string Name, std::string FileName)
    : TMemDataSet(std::move(Name)), FFileName(std::move(FileName)) {}

void TJsonDataSet::Load() {
  std::string text = ReadWholeFile(FFileName);
  FDeclared.clear();
  FRows.clear();
  ParseJsonRecords(text, FFileName, FDeclared, FRows);
}

void TJsonDataSet::DoOpen() {
  Load();
  TMemDataSet::DoOpen();
}

void TJsonDataSet::DoClose() {
  TMemDataSet::DoClose();
  FRows.clear();
  FRows.shrink_to_fit();
}

void TJsonDataSet::DoUpdateFieldDefs() {
  Load();
  FRows.clear();
  TMemDataSet::DoUpdateFieldDefs();
}

}  // namespace quillet
