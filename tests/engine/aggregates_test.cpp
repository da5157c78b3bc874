// Running totals: what every accumulated record adds, which table a scope reads, and how the
// five aggregate functions answer.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/report_engine.h"
#include "engine_test_support.h"

namespace quillet::enginetest {
namespace {

// Accumulates every record of DS from the first.
void AccumulateAll(TReportEngine& E, TDataSet& DS) {
  for (DS.First(); !DS.Eof(); DS.Next()) E.AccumulateRecord(&DS);
}

double Agg(const TReportEngine& E, const std::string& Func, const std::string& Field) {
  TExprValue V;
  E.EvalAggregate(Func, Field, V);
  double D = -12345;
  EXPECT_TRUE(V.TryToNumber(D)) << Func << "(" << Field << ") is not a number";
  return D;
}

struct TAggCase {
  std::string Func, Field;
  double Expected;
};

void ExpectAll(const TReportEngine& E, const std::vector<TAggCase>& Cases) {
  for (const TAggCase& C : Cases) EXPECT_DOUBLE_EQ(Agg(E, C.Func, C.Field), C.Expected) << C.Func << "(" << C.Field << ")";
}

TEST(Aggregates, NoRecordsGiveZeroEverywhere) {
  TReportEngine E;
  E.InitAggregates(0);
  ExpectAll(E, {{"SUM", "X", 0}, {"AVG", "X", 0}, {"MIN", "X", 0}, {"MAX", "X", 0}, {"COUNT", "X", 0}, {"COUNT", "", 0}});
  TExprValue V = TExprValue::FromString("junk");
  E.EvalAggregate("COUNT", "", V);
  EXPECT_EQ(V.Kind(), evkInteger);
}

TEST(Aggregates, NullValuesCountButDoNotAdd) {
  auto DS = MakeSet("T", {{"X", ftLargeint}}, {{I(5)}, {Null()}, {I(7)}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  // AVG divides by the records, nulls included: 12 / 3.
  ExpectAll(E, {{"COUNT", "X", 3}, {"SUM", "X", 12}, {"AVG", "X", 4}, {"MIN", "X", 5}, {"MAX", "X", 7}});
  TExprValue V;
  E.EvalAggregate("COUNT", "X", V);
  EXPECT_EQ(V.Kind(), evkInteger);
  EXPECT_EQ(V.AsInt(), 3);
  const TAggrAccum& A = E.AggAll().at("X");
  EXPECT_EQ(A.Count, 3);
  EXPECT_TRUE(A.HasValue);
}

TEST(Aggregates, StringFieldsOnlyCount) {
  auto DS = MakeSet("T", {{"S", ftString}}, {{S("10")}, {S("b")}, {S("c")}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  ExpectAll(E, {{"COUNT", "S", 3}, {"SUM", "S", 0}, {"MIN", "S", 0}, {"MAX", "S", 0}, {"AVG", "S", 0}});
  EXPECT_FALSE(E.AggAll().at("S").HasValue);
}

TEST(Aggregates, TheFirstValueSetsBothMinimumAndMaximum) {
  struct TCase {
    std::vector<double> Values;
    double Min, Max, Sum;
  };
  for (const TCase& C : {TCase{{-3, -8}, -8, -3, -11}, TCase{{-2.5}, -2.5, -2.5, -2.5},
                         TCase{{4, 1.5, 9}, 1.5, 9, 14.5}, TCase{{0, 0}, 0, 0, 0}}) {
    std::vector<std::vector<TExprValue>> Rows;
    for (double V : C.Values) Rows.push_back({F(V)});
    auto DS = MakeSet("T", {{"V", ftFloat}}, Rows);
    TReportEngine E;
    E.InitAggregates(0);
    AccumulateAll(E, *DS);
    ExpectAll(E, {{"MIN", "V", C.Min}, {"MAX", "V", C.Max}, {"SUM", "V", C.Sum}});
  }
}

TEST(Aggregates, FunctionNamesIgnoreCaseFieldNamesDoNot) {
  auto DS = MakeSet("Orders", {{"Amount", ftLargeint}}, {{I(2)}, {I(3)}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  ExpectAll(E, {{"sum", "Amount", 5}, {"Max", "Amount", 3}, {"SUM", "amount", 0}, {"SUM", "Orders.Amount", 0},
                {"MEDIAN", "Amount", 0}, {"COUNT", "Orders.Amount", 0}});
}

TEST(Aggregates, EveryNumericFieldTypeAdds) {
  const std::vector<TFieldType> Numeric = {ftSmallint, ftInteger, ftWord, ftFloat, ftCurrency,
                                           ftBCD,      ftAutoInc, ftLargeint, ftFMTBcd};
  for (TFieldType T : Numeric) {
    auto DS = MakeSet("T", {{"V", T}, {"B", ftBoolean}}, {{I(4), TExprValue::FromBool(true)}, {I(6), TExprValue::FromBool(true)}});
    TReportEngine E;
    E.InitAggregates(0);
    AccumulateAll(E, *DS);
    EXPECT_DOUBLE_EQ(Agg(E, "SUM", "V"), 10) << FieldTypeName(T);
    EXPECT_DOUBLE_EQ(Agg(E, "SUM", "B"), 0) << "booleans only count";
    EXPECT_DOUBLE_EQ(Agg(E, "COUNT", "B"), 2);
  }
}

TEST(Aggregates, CountWithoutFieldCountsRecords) {
  auto DS = MakeSet("T", {{"A", ftLargeint}, {"B", ftString}}, {{I(1), S("x")}, {Null(), Null()}, {I(3), S("z")}, {I(4), Null()}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  ExpectAll(E, {{"COUNT", "", 4}, {"COUNT", "A", 4}, {"COUNT", "B", 4}, {"AVG", "A", 2}});
}

TEST(Aggregates, GroupResetRestartsTheGroupWhileTheReportTotalContinues) {
  auto First = MakeSet("T", {{"X", ftLargeint}}, {{I(10)}, {I(20)}});
  auto Second = MakeSet("T", {{"X", ftLargeint}}, {{I(5)}});
  TReportEngine E;
  E.InitAggregates(2);
  AccumulateAll(E, *First);
  E.ResetGroupAggregate(1);
  AccumulateAll(E, *Second);

  E.SetAggScope(asGroup, 1);
  ExpectAll(E, {{"SUM", "X", 5}, {"COUNT", "", 1}});
  E.SetAggScope(asGroup, 0);
  ExpectAll(E, {{"SUM", "X", 35}, {"COUNT", "", 3}});
  E.SetAggScope(asAll);
  ExpectAll(E, {{"SUM", "X", 35}, {"MIN", "X", 5}, {"MAX", "X", 20}});
  // No scope chosen: the innermost group.
  E.SetAggScope(asNone);
  ExpectAll(E, {{"SUM", "X", 5}, {"MAX", "X", 5}});
  // A group level that does not exist reads nothing.
  E.SetAggScope(asGroup, 2);
  ExpectAll(E, {{"SUM", "X", 0}, {"COUNT", "", 0}});
  E.SetAggScope(asGroup, -1);
  ExpectAll(E, {{"SUM", "X", 0}});

  // Levels out of range are ignored by the reset.
  E.ResetGroupAggregate(5);
  E.ResetGroupAggregate(-1);
  E.SetAggScope(asGroup, 0);
  ExpectAll(E, {{"SUM", "X", 35}});
  E.ResetGroupAggregate(0);
  ExpectAll(E, {{"SUM", "X", 0}});
  E.SetAggScope(asAll);
  ExpectAll(E, {{"SUM", "X", 35}});

  E.ResetAggregates();
  ExpectAll(E, {{"SUM", "X", 0}, {"COUNT", "", 0}});
}

TEST(Aggregates, WithoutGroupsNoScopeReadsTheReportTotal) {
  auto DS = MakeSet("T", {{"X", ftLargeint}}, {{I(2)}, {I(9)}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  EXPECT_EQ(E.AggScope(), asNone);
  ExpectAll(E, {{"SUM", "X", 11}, {"COUNT", "", 2}});
}

TEST(Aggregates, InitStartsAfreshAndResetsTheScope) {
  auto DS = MakeSet("T", {{"X", ftLargeint}}, {{I(2)}});
  TReportEngine E;
  E.InitAggregates(1);
  AccumulateAll(E, *DS);
  E.SetAggScope(asAll);
  E.InitAggregates(1);
  EXPECT_EQ(E.AggScope(), asNone);
  EXPECT_TRUE(E.AggAll().empty());
  ExpectAll(E, {{"SUM", "X", 0}});
}

TEST(Aggregates, MissingOrClosedDataSetsAddNothing) {
  auto DS = MakeSet("T", {{"X", ftLargeint}}, {{I(2)}});
  TReportEngine E;
  E.InitAggregates(1);
  E.AccumulateRecord(nullptr);
  DS->Close();
  E.AccumulateRecord(DS.get());
  EXPECT_TRUE(E.AggAll().empty());
  ExpectAll(E, {{"COUNT", "", 0}});
}

TEST(Aggregates, ExpressionsReachTheTotals) {
  auto DS = MakeSet("T", {{"X", ftLargeint}}, {{I(5)}, {Null()}, {I(7)}});
  TReportEngine E;
  E.InitAggregates(0);
  AccumulateAll(E, *DS);
  EXPECT_EQ(E.ResolveCellText("[SUM(X)]/[COUNT()]/[AVG(X)]/[MIN(X)]/[MAX(X)]"), "12/3/4/5/7");
  EXPECT_EQ(E.ResolveCellText("[sum(X) * 2]"), "24");
}

}  // namespace
}  // namespace quillet::enginetest
