#include <gtest/gtest.h>

#include "base/error.h"
#include "data/mem_data_set.h"
#include "data_test_support.h"

namespace quillet {
namespace {

using testing_data::CheckMovement;

TEST(MemDataSet, MovementForEverySize) {
  for (int n : {0, 1, 2, 3, 10}) {
    TMemDataSet ds("T");
    ds.AddField("Id", ftInteger);
    ds.AddField("Name", ftString);
    for (int i = 1; i <= n; ++i) ds.AppendRecord({TExprValue::FromInt(i), TExprValue::FromString("r" + std::to_string(i))});
    ds.Open();
    CheckMovement(ds, n);
  }
}

TEST(MemDataSet, FieldsTypesAndDisplayText) {
  TMemDataSet ds("T");
  ds.AddField("I", ftLargeint);
  ds.AddField("F", ftFloat);
  ds.AddField("B", ftBoolean);
  ds.AddField("S", ftString);
  // Defs are readable while closed; fields are not.
  ASSERT_EQ(ds.FieldDefs().size(), 4u);
  EXPECT_EQ(ds.FieldDefs()[1].DataType, ftFloat);
  EXPECT_EQ(ds.FieldCount(), 0);
  EXPECT_EQ(ds.FindField("I"), nullptr);

  struct Row {
    TExprValue I, F, B, S;
    const char *IText, *FText, *BText, *SText;
  } rows[] = {
      {TExprValue::FromInt(-9007199254740993), TExprValue::FromFloat(30820.63), TExprValue::FromBool(true),
       TExprValue::FromString("a b"), "-9007199254740993", "30820.63", "True", "a b"},
      {TExprValue::FromInt(0), TExprValue::FromFloat(12.0), TExprValue::FromBool(false), TExprValue::FromString(""), "0",
       "12", "False", ""},
      {TExprValue(), TExprValue::FromFloat(0.1 + 0.2), TExprValue(), TExprValue(), "", "0.3", "", ""},
  };
  for (const auto& r : rows) ds.AppendRecord({r.I, r.F, r.B, r.S});
  ds.Open();
  EXPECT_EQ(ds.FieldCount(), 4);
  ASSERT_NE(ds.FindField("f"), nullptr);  // names match in any case
  EXPECT_EQ(ds.FindField("f"), &ds.Fields(1));
  EXPECT_EQ(ds.FindField("missing"), nullptr);
  EXPECT_THROW(ds.Fields(4), EQuilletError);
  EXPECT_THROW(ds.Fields(-1), EQuilletError);
  for (const auto& r : rows) {
    ASSERT_FALSE(ds.Eof());
    EXPECT_EQ(ds.Fields(0).DisplayText(), r.IText);
    EXPECT_EQ(ds.Fields(1).DisplayText(), r.FText);
    EXPECT_EQ(ds.Fields(2).DisplayText(), r.BText);
    EXPECT_EQ(ds.Fields(3).DisplayText(), r.SText);
    EXPECT_EQ(ds.Fields(0).IsNull(), r.I.IsNull());
    EXPECT_TRUE(ds.Fields(3).Value() == r.S);
    ds.Next();
  }
  EXPECT_TRUE(ds.Eof());
  ds.Close();
  EXPECT_EQ(ds.FieldCount(), 0);
  EXPECT_EQ(ds.FieldDefs().size(), 4u);
  EXPECT_THROW(ds.First(), EQuilletError);
}

TEST(MemDataSet, DeclarationErrors) {
  TMemDataSet ds("T");
  ds.AddField("A", ftInteger);
  EXPECT_THROW(ds.AddField("a", ftString), EQuilletError);
  EXPECT_THROW(ds.AppendRecord({TExprValue::FromInt(1), TExprValue::FromInt(2)}), EQuilletError);
  ds.AppendRecord({});  // missing values are null
  ds.Open();
  EXPECT_TRUE(ds.Fields(0).IsNull());
  EXPECT_THROW(ds.AddField("B", ftInteger), EQuilletError);
}

TEST(MemDataSet, ControlsCounterNests) {
  TMemDataSet ds("T");
  EXPECT_FALSE(ds.ControlsDisabled());
  ds.DisableControls();
  ds.DisableControls();
  ds.EnableControls();
  EXPECT_TRUE(ds.ControlsDisabled());
  ds.EnableControls();
  EXPECT_FALSE(ds.ControlsDisabled());
  ds.EnableControls();  // never goes below zero
  ds.DisableControls();
  EXPECT_TRUE(ds.ControlsDisabled());
}


// Walks the master and collects, per master record, the detail ids that First/Next show.
std::vector<std::vector<int64_t>> DetailIdsPerMaster(TDataSet& Master, TDataSet& Detail) {
  std::vector<std::vector<int64_t>> out;
  for (Master.First(); !Master.Eof(); Master.Next()) {
    out.emplace_back();
    for (Detail.First(); !Detail.Eof(); Detail.Next()) out.back().push_back(testing_data::IdOf(Detail));
  }
  return out;
}

TEST(MemDataSet, MasterDetailFiltersOnEveryFirst) {
  TMemDataSet master("Orders");
  master.AddField("OrderNo", ftLargeint);
  for (TExprValue v : {TExprValue::FromInt(10), TExprValue::FromInt(20), TExprValue(), TExprValue::FromInt(30)})
    master.AppendRecord({v});
  TMemDataSet detail("Lines");
  detail.AddField("id", ftInteger);
  detail.AddField("Order", ftString);  // text keys match the master's display text
  const char* keys[] = {"10", "30", "10", nullptr, "20", "10", "99"};
  for (int i = 0; i < 7; ++i)
    detail.AppendRecord({TExprValue::FromInt(i + 1), keys[i] ? TExprValue::FromString(keys[i]) : TExprValue()});
  master.Open();
  detail.SetMaster(&master, "ORDER", "orderno");
  detail.Open();
  auto got = DetailIdsPerMaster(master, detail);
  std::vector<std::vector<int64_t>> want = {{1, 3, 6}, {5}, {}, {2}};
  EXPECT_EQ(got, want);
  // Inside one master record the filtered view moves like any set.
  master.First();
  detail.Last();
  EXPECT_EQ(testing_data::IdOf(detail), 6);
  detail.Prior();
  EXPECT_EQ(testing_data::IdOf(detail), 3);
  detail.Next();
  detail.Next();
  EXPECT_TRUE(detail.Eof());
  EXPECT_EQ(testing_data::IdOf(detail), 6);
  // Unlinking shows every record again.
  detail.SetMaster(nullptr, "", "");
  detail.First();
  int n = 0;
  for (; !detail.Eof(); detail.Next()) ++n;
  EXPECT_EQ(n, 7);
}

TEST(MemDataSet, MasterDetailBadFieldNames) {
  TMemDataSet master("M"), detail("D");
  master.AddField("K", ftInteger);
  detail.AddField("K", ftInteger);
  master.Open();
  detail.SetMaster(&master, "K", "Nope");
  EXPECT_THROW(detail.Open(), EQuilletError);
  detail.SetMaster(&master, "Nope", "K");
  EXPECT_THROW(detail.Open(), EQuilletError);
  EXPECT_FALSE(detail.Active());
  EXPECT_THROW(detail.SetMaster(&detail, "K", "K"), EQuilletError);
}

}  // namespace
}  // namespace quillet
