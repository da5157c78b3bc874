#include <gtest/gtest.h>
#include <sqlite3.h>

#include "base/error.h"
#include "data/mem_data_set.h"
#include "data/sqlite_data_set.h"
#include "data_test_support.h"

namespace quillet {
namespace {

using testing_data::CheckMovement;
using testing_data::TTempDir;

// Creates a database file by running Script.
std::string MakeDb(const TTempDir& Dir, const std::string& FileName, const std::string& Script) {
  std::string path = Dir.File(FileName);
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  char* err = nullptr;
  EXPECT_EQ(sqlite3_exec(db, Script.c_str(), nullptr, nullptr, &err), SQLITE_OK) << (err ? err : "");
  sqlite3_free(err);
  sqlite3_close(db);
  return path;
}

TEST(SqliteDataSet, MovementForEverySize) {
  TTempDir dir;
  for (int n : {0, 1, 2, 3, 10}) {
    std::string script = "CREATE TABLE t(id INTEGER, s TEXT);";
    // Inserted in reverse so that only ORDER BY gives 1..n.
    for (int i = n; i >= 1; --i) script += "INSERT INTO t VALUES(" + std::to_string(i) + ", 'r');";
    std::string db = MakeDb(dir, "m" + std::to_string(n) + ".db", script);
    TSqliteDataSet ds("T", db, "SELECT id, s FROM t ORDER BY id");
    ds.Open();
    CheckMovement(ds, n);
  }
}

TEST(SqliteDataSet, TypesFromDeclaredAffinityOrFirstValue) {
  TTempDir dir;
  std::string db = MakeDb(dir, "a.db", R"(
    CREATE TABLE a(i INTEGER, bi BIGINT, r REAL, f FLOAT, d DOUBLE PRECISION, n NUMERIC, dec DECIMAL(10,2),
                   t TEXT, vc VARCHAR(20), cl CLOB, b BLOB, untyped);
    INSERT INTO a VALUES(NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
    INSERT INTO a VALUES(-7, 9007199254740993, 30820.63, 12, 0.1, 5, 12.5, '007', 'v', 'c', x'41', 3.5);
  )");
  TSqliteDataSet ds("A", db,
                    "SELECT a.*, i + 1 AS e_int, r * 2 AS e_float, t || 'x' AS e_text, NULL AS e_null "
                    "FROM a ORDER BY rowid");
  struct Col {
    const char* Name;
    TFieldType Type;
    const char* Text;  // second row
  } cols[] = {
      {"i", ftLargeint, "-7"},      {"bi", ftLargeint, "9007199254740993"}, {"r", ftFloat, "30820.63"},
      {"f", ftFloat, "12"},         {"d", ftFloat, "0.1"},                  {"n", ftFMTBcd, "5"},
      {"dec", ftFMTBcd, "12.5"},    {"t", ftString, "007"},                 {"vc", ftString, "v"},
      {"cl", ftString, "c"},        {"b", ftBlob, "A"},                     {"untyped", ftFloat, "3.5"},
      {"e_int", ftLargeint, "-6"},  {"e_float", ftFloat, "61641.26"},       {"e_text", ftString, "007x"},
      {"e_null", ftString, ""},
  };
  const auto& defs = ds.FieldDefs();  // while closed
  ASSERT_EQ(defs.size(), std::size(cols));
  for (size_t i = 0; i < defs.size(); ++i) {
    EXPECT_EQ(defs[i].Name, cols[i].Name);
    EXPECT_STREQ(FieldTypeName(defs[i].DataType), FieldTypeName(cols[i].Type)) << cols[i].Name;
  }
  ds.Open();
  for (int i = 0; i < ds.FieldCount(); ++i) EXPECT_TRUE(ds.Fields(i).IsNull()) << cols[i].Name;
  ds.Next();
  for (const auto& c : cols) EXPECT_EQ(ds.FindField(c.Name)->DisplayText(), c.Text) << c.Name;
  double v = 0;
  EXPECT_TRUE(ds.FindField("F")->AsFloat(v));
  EXPECT_EQ(v, 12.0);
  EXPECT_EQ(ds.FindField("F")->Value().Kind(), evkFloat);  // an integer stored in a REAL column reads as float
}

TEST(SqlSourceParams, RewrittenOnlyOutsideLiteralsAndComments) {
  struct Case {
    const char* Sql;
    const char* Rewritten;
    std::vector<TSqlSourceParam> Params;
  } cases[] = {
      {"SELECT * FROM d WHERE k = :Orders.Id", "SELECT * FROM d WHERE k = ?1", {{"Orders", "Id"}}},
      {"SELECT ':X.y', k FROM d WHERE k=:X.y", "SELECT ':X.y', k FROM d WHERE k=?1", {{"X", "y"}}},
      {"SELECT 'it''s :X.y' WHERE a=:A.b", "SELECT 'it''s :X.y' WHERE a=?1", {{"A", "b"}}},
      {"SELECT \"c:X.y\", [d:X.y], `e:X.y`", "SELECT \"c:X.y\", [d:X.y], `e:X.y`", {}},
      {"-- :A.b\nWHERE x = :C.d /* :A.b */ AND y = :A.b AND z = :C.d",
       "-- :A.b\nWHERE x = ?1 /* :A.b */ AND y = ?2 AND z = ?1",
       {{"C", "d"}, {"A", "b"}}},
      {"WHERE a = :plain AND b = :A. AND c = :_s.f_2", "WHERE a = :plain AND b = :A. AND c = ?1", {{"_s", "f_2"}}},
      {"WHERE a = :A.b.c", "WHERE a = ?1.c", {{"A", "b"}}},
      {"SELECT 'open :A.b", "SELECT 'open :A.b", {}},
  };
  for (const auto& c : cases) {
    std::vector<TSqlSourceParam> params;
    EXPECT_EQ(RewriteSourceParams(c.Sql, params), c.Rewritten) << c.Sql;
    EXPECT_EQ(params, c.Params) << c.Sql;
  }
}

TEST(SqliteDataSet, DetailQueryFollowsItsMaster) {
  TTempDir dir;
  std::string db = MakeDb(dir, "md.db", R"(
    CREATE TABLE lines(id INTEGER, order_no INTEGER, tag TEXT);
    INSERT INTO lines VALUES(1, 10, 'a'), (2, 20, 'b'), (3, 10, 'c'), (4, 30, 'd'), (5, 10, 'e');
  )");
  TMemDataSet master("Orders");
  master.AddField("OrderNo", ftLargeint);
  master.AddField("Tag", ftString);
  for (int k : {10, 20, 40}) master.AppendRecord({TExprValue::FromInt(k), TExprValue::FromString("c")});
  master.Open();
  TSqliteDataSet detail("Lines", db,
                        "SELECT id, ':Orders.OrderNo' AS lit FROM lines WHERE order_no = :Orders.OrderNo "
                        "AND tag <> :Orders.Tag ORDER BY id");
  detail.SetParamResolver([&](const std::string& Name) { return Name == "Orders" ? &master : nullptr; });
  ASSERT_EQ(detail.SourceParams().size(), 2u);
  detail.Open();
  std::vector<std::vector<int64_t>> got;
  for (master.First(); !master.Eof(); master.Next()) {
    auto& ids = got.emplace_back();
    for (detail.First(); !detail.Eof(); detail.Next()) {
      ids.push_back(testing_data::IdOf(detail));
      EXPECT_EQ(detail.FindField("lit")->DisplayText(), ":Orders.OrderNo");
    }
  }
  EXPECT_EQ(got, (std::vector<std::vector<int64_t>>{{1, 5}, {2}, {}}));
  // Inside one master record the re-run query moves like any set.
  master.First();
  detail.First();
  detail.Last();
  EXPECT_EQ(testing_data::IdOf(detail), 5);
  detail.Prior();
  EXPECT_EQ(testing_data::IdOf(detail), 1);

  // Sources added by name work without a resolver; unknown sources and fields fail on open.
  TSqliteDataSet byList("L", db, "SELECT id FROM lines WHERE order_no = :Orders.OrderNo");
  byList.AddParamSource(&master);
  byList.Open();
  EXPECT_EQ(testing_data::IdOf(byList), 1);
  TSqliteDataSet unknown("U", db, "SELECT id FROM lines WHERE order_no = :Nobody.OrderNo");
  EXPECT_THROW(unknown.Open(), EQuilletError);
  TSqliteDataSet badField("B", db, "SELECT id FROM lines WHERE order_no = :Orders.Missing");
  badField.AddParamSource(&master);
  EXPECT_THROW(badField.Open(), EQuilletError);
  EXPECT_THROW(detail.SetMaster(&master, "order_no", "OrderNo"), EQuilletError);
}

TEST(SqliteDataSet, BadQueriesAndFilesRaiseNamingTheFile) {
  TTempDir dir;
  std::string db = MakeDb(dir, "e.db", "CREATE TABLE t(a INTEGER); INSERT INTO t VALUES(1);");
  struct Case {
    std::string File, Sql, Problem;
  } cases[] = {
      {db, "SELEC a FROM t", "syntax error"},
      {db, "SELECT b FROM t", "no such column"},
      {db, "SELECT a FROM t; SELECT a FROM t", "one SQL statement"},
      {db, "", "empty"},
      {db, "DELETE FROM t", "no columns"},
      {dir.File("missing.db"), "SELECT 1", "Cannot open database"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Sql);
    TSqliteDataSet ds("T", c.File, c.Sql);
    try {
      ds.Open();
      ADD_FAILURE() << "no error";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.FileName(), c.File);
      EXPECT_NE(std::string(e.what()).find(c.Problem), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.File), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("data set T"), std::string::npos) << e.what();
    }
    EXPECT_FALSE(ds.Active());
  }
}

}  // namespace
}  // namespace quillet
