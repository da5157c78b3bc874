// A data set over one SQL query on an SQLite database file. Rows are streamed with sqlite3_step
// and never copied whole: the cursor keeps the previous row for Prior, and Last, bookmarks and
// longer steps back re-run the query and step to a row number.
//
// ":Source.Field" in the SQL (outside string literals, quoted names and comments) names a field
// of another data set; each is rewritten into a positional parameter before preparing, and every
// First re-runs the query with the parameters bound from those sets' current records. That is how
// a detail query follows its master.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_set.h"

struct sqlite3;
struct sqlite3_stmt;

namespace quillet {

// How long a query waits for a database that another connection holds locked (milliseconds):
// long enough for a writer's transaction to end, short enough that a stuck one fails the run.
inline constexpr int kSqliteBusyTimeoutMs = 5000;


// One ":Source.Field" reference of a query.
struct TSqlSourceParam {
  std::string Source, Field;
  friend bool operator==(const TSqlSourceParam&, const TSqlSourceParam&) = default;
};

// Rewrites each ":Source.Field" outside string literals, quoted identifiers and comments into
// "?N"; Params receives the distinct (Source, Field) pairs, parameter N being Params[N-1].
// A ":name" without a dot is left to SQLite.
std::string RewriteSourceParams(std::string_view Sql, std::vector<TSqlSourceParam>& Params);

// Finds a data set by its source name; nullptr when unknown.
using TDataSetResolver = std::function<TDataSet*(const std::string& Name)>;

class TSqliteDataSet : public TDataSet {
 public:
  // The database is opened read-only and the query prepared when the set opens (or its field
  // defs are asked for); errors raise EQuilletError naming the set and the database, with
  // SQLite's message.
  TSqliteDataSet(std::string Name, std::string DatabaseFile, std::string Sql);
  ~TSqliteDataSet() override;

  const std::string& DatabaseFile() const noexcept { return FDatabaseFile; }
  const std::string& Sql() const noexcept { return FSql; }
  // The ":Source.Field" references of the query, in parameter order.
  const std::vector<TSqlSourceParam>& SourceParams() const noexcept { return FParams; }

  // Where ":Source.Field" sources are looked up: first the sets added here by name, then the
  // resolver. An unknown source raises EQuilletError when the query runs.
  void AddParamSource(TDataSet* Source);
  void SetParamResolver(TDataSetResolver Resolver) { FResolver = std::move(Resolver); }

  // SQL sets follow masters through ":Source.Field" parameters; this raises EQuilletError.
  void SetMaster(TDataSet* Master, std::string DetailField, std::string MasterField) override;
  // The sets its ":Source.Field" parameters read, as far as they can be found.
  std::vector<TDataSet*> MasterSets() const override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  void DoUpdateFieldDefs() override;
  bool DoFirst() override;
  bool DoNext() override;
  bool DoPrior() override;
  bool DoLast() override;
  int64_t DoGetBookmark() override;
  bool DoGotoBookmark(int64_t Pos) override;

 private:
  void Prepare();
  void Finalize();
  [[noreturn]] void Fail(const std::string& Problem) const;
  void BindParams();
  void Restart();
  bool StepOne();
  void ReadRow(std::vector<TExprValue>& Values);
  bool Goto(int64_t Row);

  std::string FDatabaseFile, FSql;
  std::vector<TSqlSourceParam> FParams;
  std::vector<TDataSet*> FParamSources;
  TDataSetResolver FResolver;
  sqlite3* FDb = nullptr;
  sqlite3_stmt* FStmt = nullptr;
  int64_t FStmtRow = -1;  // row the statement last produced
  bool FStmtDone = false;
  std::vector<TExprValue> FStmtVals, FPrevVals;  // rows FStmtRow and FStmtRow - 1
  bool FPrevValid = false;
  int64_t FRow = -1;    // current row of the set
  int64_t FCount = -1;  // known once the statement ran to its end
};

}  // namespace quillet
