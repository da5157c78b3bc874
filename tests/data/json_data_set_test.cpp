#include <gtest/gtest.h>

#include "base/error.h"
#include "data/json_data_set.h"
#include "data/mem_data_set.h"
#include "data_test_support.h"

namespace quillet {
namespace {

using testing_data::CheckMovement;
using testing_data::TTempDir;

TEST(JsonDataSet, MovementForEverySize) {
  TTempDir dir;
  for (int n : {0, 1, 2, 3, 10}) {
    std::string text = "[";
    for (int i = 1; i <= n; ++i) text += (i > 1 ? "," : "") + std::string("{\"id\":") + std::to_string(i) + "}";
    text += "]";
    TJsonDataSet ds("T", dir.Write("m.json", text));
    ds.Open();
    CheckMovement(ds, n);
  }
}

TEST(JsonDataSet, KeyUnionOrderTypesAndTexts) {
  TTempDir dir;
  std::string text = "\xEF\xBB\xBF" R"([
    {"z": 1, "f": 2, "s": "a", "b": true, "nest": {"k": [1, 2]}, "mix": 1},
    {"f": 30820.63, "late": "x", "z": null, "s": "", "b": false, "nest": [], "mix": "t"},
    {"z": -9223372036854775808, "f": 12, "b": null, "nest": "str", "mix": false},
    {"big": 18446744073709551615, "none": null}
  ])";
  TJsonDataSet ds("T", dir.Write("t.json", text));
  struct Col {
    const char* Name;
    TFieldType Type;
    std::vector<std::string> Texts;  // "(null)" for null
  } cols[] = {
      {"z", ftLargeint, {"1", "(null)", "-9223372036854775808", "(null)"}},
      {"f", ftFloat, {"2", "30820.63", "12", "(null)"}},
      {"s", ftString, {"a", "", "(null)", "(null)"}},
      {"b", ftBoolean, {"True", "False", "(null)", "(null)"}},
      {"nest", ftString, {R"({"k":[1,2]})", "[]", "str", "(null)"}},
      {"mix", ftString, {"1", "t", "false", "(null)"}},
      {"late", ftString, {"(null)", "x", "(null)", "(null)"}},
      {"big", ftFloat, {"(null)", "(null)", "(null)", "1.84467440737096E19"}},
      {"none", ftString, {"(null)", "(null)", "(null)", "(null)"}},
  };
  // Field defs in order of first appearance, readable while closed.
  const auto& defs = ds.FieldDefs();
  ASSERT_EQ(defs.size(), std::size(cols));
  for (size_t i = 0; i < defs.size(); ++i) {
    EXPECT_EQ(defs[i].Name, cols[i].Name);
    EXPECT_STREQ(FieldTypeName(defs[i].DataType), FieldTypeName(cols[i].Type)) << cols[i].Name;
  }
  ds.Open();
  int r = 0;
  for (ds.First(); !ds.Eof(); ds.Next(), ++r)
    for (const auto& c : cols) {
      TField* f = ds.FindField(c.Name);
      ASSERT_NE(f, nullptr);
      EXPECT_EQ(f->IsNull() ? "(null)" : f->DisplayText(), c.Texts[r]) << c.Name << " row " << r;
    }
  EXPECT_EQ(r, 4);
}

TEST(JsonDataSet, MalformedInputRaisesWithFile) {
  struct Case {
    std::string Text;
    const char* Problem;
  } cases[] = {
      {"[{\"a\":1},", "parse error"},
      {"{\"a\":1}", "array of objects"},
      {"[1, 2]", "element 0 is not an object"},
      {"[{\"a\":1}, \"x\"]", "element 1 is not an object"},
      {"", "parse error"},
      {"[{\"a\": \"\xFF\"}]", "parse error"},
      {"[{\"a\": 1e400}]", "number overflow"},
      {std::string(10000, '[') + std::string(10000, ']'), "nesting"},
  };
  TTempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Text.substr(0, 40));
    std::string path = dir.Write("bad.json", c.Text);
    TJsonDataSet ds("T", path);
    try {
      ds.Open();
      ADD_FAILURE() << "no error";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.FileName(), path);
      EXPECT_NE(std::string(e.what()).find(c.Problem), std::string::npos) << e.what();
    }
    EXPECT_FALSE(ds.Active());
  }
  TJsonDataSet missing("T", dir.File("none.json"));
  EXPECT_THROW(missing.Open(), EQuilletError);
}

TEST(JsonDataSet, MasterDetail) {
  TTempDir dir;
  TJsonDataSet master("M", dir.Write("m.json", R"([{"k": 1}, {"k": 2}, {"k": 3}])"));
  TJsonDataSet detail("D", dir.Write("d.json", R"([{"id": 1, "mk": 2}, {"id": 2, "mk": 1}, {"id": 3}, {"id": 4, "mk": 2}])"));
  master.Open();
  detail.SetMaster(&master, "mk", "k");
  detail.Open();
  std::vector<std::vector<int64_t>> got;
  for (master.First(); !master.Eof(); master.Next()) {
    auto& ids = got.emplace_back();
    for (detail.First(); !detail.Eof(); detail.Next()) ids.push_back(testing_data::IdOf(detail));
  }
  EXPECT_EQ(got, (std::vector<std::vector<int64_t>>{{2}, {1, 4}, {}}));
}

}  // namespace
}  // namespace quillet
