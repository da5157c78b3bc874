#include <cstdio>
#include <gtest/gtest.h>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data/mem_data_set.h"
#include "data_test_support.h"

namespace quillet {
namespace {

using testing_data::CheckMovement;
using testing_data::TTempDir;

// Every record's cells as display texts, "(null)" for null.
std::vector<std::vector<std::string>> ReadAll(TDataSet& Ds) {
  std::vector<std::vector<std::string>> rows;
  for (Ds.First(); !Ds.Eof(); Ds.Next()) {
    auto& r = rows.emplace_back();
    for (int i = 0; i < Ds.FieldCount(); ++i)
      r.push_back(Ds.Fields(i).IsNull() ? "(null)" : Ds.Fields(i).DisplayText());
  }
  return rows;
}

TEST(CsvDataSet, MovementForEverySizeAndLineEnding) {
  TTempDir dir;
  for (const char* eol : {"\n", "\r\n", "\r"}) {
    for (int n : {0, 1, 2, 3, 10}) {
      // Quoted newlines and blank lines make record offsets irregular.
      std::string text = std::string("id,name") + eol;
      for (int i = 1; i <= n; ++i)
        text += std::to_string(i) + (i % 2 ? ",\"two\nlines\"" : ",plain") + eol + (i % 3 ? "" : eol);
      TCsvDataSet ds("T", dir.Write("m.csv", text));
      ds.Open();
      EXPECT_EQ(ds.RecordCount(), n);
      CheckMovement(ds, n);
      if (n > 0) {
        ds.Last();
        EXPECT_EQ(ds.FindField("name")->DisplayText(), n % 2 ? "two\nlines" : "plain");
      }
    }
  }
}

TEST(CsvDataSet, RecordsAcrossReadBufferBoundaries) {
  // Cells of irregular length (some quoted over several lines) put record starts and quote
  // pairs on every side of the reader's buffer edges.
  TTempDir dir;
  const int n = 1500;
  auto cellOf = [](int i) {
    std::string s(static_cast<size_t>((i * 7919) % 300), static_cast<char>('a' + i % 26));
    if (i % 5 == 0) s += "\n\"q\",";
    return s;
  };
  std::string text = "id,text\r\n";
  for (int i = 1; i <= n; ++i) {
    std::string c = cellOf(i), quoted;
    for (char ch : c) quoted += ch == '"' ? std::string("\"\"") : std::string(1, ch);
    text += std::to_string(i) + ",\"" + quoted + "\"\r\n";
  }
  ASSERT_GT(text.size(), 3u * 64 * 1024);
  TCsvDataSet ds("T", dir.Write("big.csv", text));
  ds.Open();
  int i = 0;
  for (ds.First(); !ds.Eof(); ds.Next()) {
    ++i;
    ASSERT_EQ(testing_data::IdOf(ds), i);
    ASSERT_EQ(ds.Fields(1).DisplayText(), cellOf(i)) << i;
  }
  EXPECT_EQ(i, n);
  ds.Last();
  for (int k = n; k > n - 40; --k, ds.Prior()) ASSERT_EQ(ds.Fields(1).DisplayText(), cellOf(k)) << k;
  CheckMovement(ds, n);
}

TEST(CsvDataSet, QuotingEdgeCases) {
  struct Case {
    const char* Name;
    std::string Text;
    std::vector<std::vector<std::string>> Rows;
  } cases[] = {
      {"doubled quotes", "a,b\n\"say \"\"hi\"\"\",x\n", {{"say \"hi\"", "x"}}},
      {"quoted comma and newline", "a,b\n\"1,2\",\"l1\r\nl2\"\n", {{"1,2", "l1\r\nl2"}}},
      {"empty quoted and unquoted cells are null", "a,b,c\n\"\",,z\n", {{"(null)", "(null)", "z"}}},
      {"short records read null, long ones are cut", "a,b\nx\ny,z,w\n", {{"x", "(null)"}, {"y", "z"}}},
      {"byte-order mark and no final newline", "\xEF\xBB\xBFname\n\xC3\xBC\xC3\xA7", {{"\xC3\xBC\xC3\xA7"}}},
      {"blank lines are skipped", "a\n\n\nx\r\n\r\ny\n\n", {{"x"}, {"y"}}},
      {"quoted header", "\"a,1\",b\nq,r\n", {{"q", "r"}}},
      {"only a header", "a,b\n", {}},
      {"empty file", "", {}},
  };
  TTempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    TCsvDataSet ds("T", dir.Write("q.csv", c.Text));
    ds.Open();
    EXPECT_EQ(ReadAll(ds), c.Rows);
  }
  TCsvDataSet ds("T", dir.Write("h.csv", "\xEF\xBB\xBF\"a,1\",b\n"));
  ASSERT_EQ(ds.FieldDefs().size(), 2u);
  EXPECT_EQ(ds.FieldDefs()[0].Name, "a,1");  // the mark is not part of the first name
}

// The separator is the one set, else ";" when the header line has ";" and no "," outside quotes,
// else ",".
TEST(CsvDataSet, SeparatorSetOrTakenFromTheHeaderLine) {
  struct Case {
    const char* Name;
    std::string Text;
    char Set;
    char Used;
    std::vector<std::vector<std::string>> Rows;
  } cases[] = {
      {"semicolons", "a;b\n1,5;x\n", 0, ';', {{"1,5", "x"}}},
      {"a comma too", "a;b,c\n1;2,3\n", 0, ',', {{"1;2", "3"}}},
      {"quoted semicolons do not count", "\"a;b\",c\nx,y\n", 0, ',', {{"x", "y"}}},
      {"quoted commas and line breaks do not count", "\"a,\"\"b\nc\";d\nx;\"y;z\"\n", 0, ';', {{"x", "y;z"}}},
      {"after a mark and blank lines", "\xEF\xBB\xBF\r\n\na;b\n1;2\n", 0, ';', {{"1", "2"}}},
      {"only the header line counts", "a\n1;2\n", 0, ',', {{"1;2"}}},
      {"set", "a|b\n\"1|2\"|3\n", '|', '|', {{"1|2", "3"}}},
      {"set over the header line", "a;b\n1;2\n", ',', ',', {{"1;2"}}},
  };
  TTempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    TCsvDataSet ds("T", dir.Write("s.csv", c.Text));
    ds.SetSeparator(c.Set);
    ds.Open();
    EXPECT_EQ(ReadAll(ds), c.Rows);
    EXPECT_EQ(ds.Separator(), c.Used);
    EXPECT_EQ(ds.SeparatorGuessed(), !c.Set && c.Used == ';');
  }
  TCsvDataSet ds("T", dir.File("s.csv"));
  EXPECT_THROW(ds.SetSeparator('"'), EQuilletError);
}

TEST(CsvDataSet, ColumnTypesFromAllNonEmptyCells) {
  struct Case {
    std::vector<std::string> Cells;
    TFieldType Type;
    std::vector<std::string> Texts;
  } cases[] = {
      {{"1", "-2", "", "+3"}, ftLargeint, {"1", "-2", "", "3"}},
      {{"9223372036854775807", "-9223372036854775808"}, ftLargeint, {"9223372036854775807", "-9223372036854775808"}},
      {{"9223372036854775808"}, ftFloat, {"9.22337203685478E18"}},
      {{"1", "2.50", "30820.63"}, ftFloat, {"1", "2.5", "30820.63"}},
      {{"0.1", "12.000"}, ftFloat, {"0.1", "12"}},
      {{"1,5"}, ftString, {"1,5"}},
      {{"TRUE", "false", "", "True"}, ftBoolean, {"True", "False", "", "True"}},
      {{"true", "1"}, ftString, {"true", "1"}},
      {{"2024-01-05", "2024-02-29"}, ftString, {"2024-01-05", "2024-02-29"}},
      {{"1", "x"}, ftString, {"1", "x"}},
      {{"", ""}, ftString, {"", ""}},
      {{"yes"}, ftString, {"yes"}},
  };
  TTempDir dir;
  for (const auto& c : cases) {
    std::string text = "v\n";
    for (const auto& cell : c.Cells) text += "\"" + cell + "\"\n";
    SCOPED_TRACE(text);
    TCsvDataSet ds("T", dir.Write("t.csv", text));
    ASSERT_EQ(ds.FieldDefs().size(), 1u);
    EXPECT_STREQ(FieldTypeName(ds.FieldDefs()[0].DataType), FieldTypeName(c.Type));
    ds.Open();
    std::vector<std::string> texts;
    for (ds.First(); !ds.Eof(); ds.Next()) {
      texts.push_back(ds.Fields(0).DisplayText());
      EXPECT_EQ(ds.Fields(0).IsNull(), texts.back().empty());
    }
    EXPECT_EQ(texts, c.Texts);
  }
}

TEST(CsvDataSet, MalformedInputRaisesWithFileAndOffset) {
  struct Case {
    const char* Text;
    int64_t Offset;
    const char* Problem;
  } cases[] = {
      {"a,b\nx,\"open\n", 4, "unterminated"},
      {"a,b\n1,2\n\"q\"x,2\n", 8, "after a closing quote"},
      {"a,b\n1,ab\"c\n", 4, "quote inside"},
      {"\"a\nb", 0, "unterminated"},
  };
  TTempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Text);
    std::string path = dir.Write("bad.csv", c.Text);
    TCsvDataSet ds("T", path);
    try {
      ds.Open();
      ADD_FAILURE() << "no error";
    } catch (const EQuilletError& e) {
      EXPECT_EQ(e.FileName(), path);
      EXPECT_EQ(e.Offset(), c.Offset);
      EXPECT_NE(std::string(e.what()).find(c.Problem), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
    }
    EXPECT_FALSE(ds.Active());
  }
  TCsvDataSet missing("T", dir.File("none.csv"));
  EXPECT_THROW(missing.Open(), EQuilletError);
  EXPECT_THROW(missing.FieldDefs(), EQuilletError);
}

TEST(CsvDataSet, MasterDetailThroughTheKeyIndex) {
  TTempDir dir;
  TMemDataSet master("Customers");
  master.AddField("Code", ftString);
  for (const char* k : {"7", "3", "5", "2.5"}) master.AppendRecord({TExprValue::FromString(k)});
  master.Open();
  // The detail key column is numeric: keys compare by display text ("7" matches 7.0 written "7.00").
  TCsvDataSet detail("Invoices", dir.Write("inv.csv",
                                           "id,Cust\n1,3\n2,7.00\n3,\n4,3\n5,2.5\n6,7\n"));
  detail.SetMaster(&master, "cust", "code");
  detail.Open();
  std::vector<std::vector<int64_t>> got;
  for (master.First(); !master.Eof(); master.Next()) {
    auto& ids = got.emplace_back();
    for (detail.First(); !detail.Eof(); detail.Next()) ids.push_back(testing_data::IdOf(detail));
  }
  std::vector<std::vector<int64_t>> want = {{2, 6}, {1, 4}, {}, {5}};
  EXPECT_EQ(got, want);
  // The key index is built once: a row added to the file afterwards is not found by rescanning.
  {
    std::FILE* f = std::fopen(dir.File("inv.csv").c_str(), "ab");
    ASSERT_NE(f, nullptr);
    std::fputs("8,7\n", f);
    std::fclose(f);
  }
  got.clear();
  for (master.First(); !master.Eof(); master.Next()) {
    auto& ids = got.emplace_back();
    for (detail.First(); !detail.Eof(); detail.Next()) ids.push_back(testing_data::IdOf(detail));
  }
  EXPECT_EQ(got, want);
  // Bookmarks and Prior inside the filtered view.
  master.First();
  detail.First();
  detail.Next();
  TBookmark b = detail.GetBookmark();
  detail.Prior();
  EXPECT_EQ(testing_data::IdOf(detail), 2);
  detail.Prior();
  EXPECT_TRUE(detail.Bof());
  detail.GotoBookmark(b);
  EXPECT_EQ(testing_data::IdOf(detail), 6);
  detail.Next();
  EXPECT_TRUE(detail.Eof());
  EXPECT_EQ(testing_data::IdOf(detail), 6);
}

}  // namespace
}  // namespace quillet
