#include "data/sqlite_data_set.h"

#include <sqlite3.h>

#include <algorithm>

#include "base/error.h"

namespace quillet {

namespace {

bool IsIdentStart(unsigned char C) { return (C >= 'A' && C <= 'Z') || (C >= 'a' && C <= 'z') || C == '_' || C >= 0x80; }
bool IsIdentChar(unsigned char C) { return IsIdentStart(C) || (C >= '0' && C <= '9'); }

bool ContainsNoCase(std::string_view Text, std::string_view Word) {
  auto it = std::search(Text.begin(), Text.end(), Word.begin(), Word.end(),
                        [](char a, char b) { return (a >= 'a' && a <= 'z' ? a - 32 : a) == b; });
  return it != Text.end();
}

// SQLite's column affinity rules, in its own order.
TFieldType TypeFromDeclared(std::string_view Declared) {
  if (ContainsNoCase(Declared, "INT")) return ftLargeint;
  if (ContainsNoCase(Declared, "CHAR") || ContainsNoCase(Declared, "CLOB") || ContainsNoCase(Declared, "TEXT"))
    return ftString;
  if (ContainsNoCase(Declared, "BLOB")) return ftBlob;
  if (ContainsNoCase(Declared, "REAL") || ContainsNoCase(Declared, "FLOA") || ContainsNoCase(Declared, "DOUB"))
    return ftFloat;
  return ftFMTBcd;
}

TFieldType TypeFromStorage(int StorageClass) {
  switch (StorageClass) {
    case SQLITE_INTEGER:
      return ftLargeint;
    case SQLITE_FLOAT:
      return ftFloat;
    case SQLITE_BLOB:
      return ftBlob;
    default:
      return ftString;
  }
}

}  // namespace

std::string RewriteSourceParams(std::string_view Sql, std::vector<TSqlSourceParam>& Params) {
  Params.clear();
  std::string out;
  out.reserve(Sql.size());
  size_t i = 0, n = Sql.size();
  auto copyQuoted = [&](char Close) {
    // A doubled closing quote stays inside the literal; an unterminated one runs to the end
    // and is left for SQLite to reject.
    out.push_back(Sql[i++]);
    while (i < n) {
      char c = Sql[i++];
      out.push_back(c);
      if (c == Close) {
        if (Close != ']' && i < n && Sql[i] == Close) {
          out.push_back(Sql[i++]);
          continue;
        }
        break;
      }
    }
  };
  while (i < n) {
    char c = Sql[i];
    if (c == '\'' || c == '"' || c == '`') {
      copyQuoted(c);
    } else if (c == '[') {
      copyQuoted(']');
    } else if (c == '-' && i + 1 < n && Sql[i + 1] == '-') {
      size_t e = Sql.find('\n', i);
      e = e == std::string_view::npos ? n : e;
      out.append(Sql.substr(i, e - i));
      i = e;
    } else if (c == '/' && i + 1 < n && Sql[i + 1] == '*') {
      size_t e = Sql.find("*/", i + 2);
      e = e == std::string_view::npos ? n : e + 2;
      out.append(Sql.substr(i, e - i));
      i = e;
    } else if (c == ':' && i + 1 < n && IsIdentStart(static_cast<unsigned char>(Sql[i + 1]))) {
      size_t s = i + 1, e = s;
      while (e < n && IsIdentChar(static_cast<unsigned char>(Sql[e]))) ++e;
      size_t f = e + 1, fe = f;
      while (fe < n && IsIdentChar(static_cast<unsigned char>(Sql[fe]))) ++fe;
      if (e < n && Sql[e] == '.' && fe > f) {
        TSqlSourceParam p{std::string(Sql.substr(s, e - s)), std::string(Sql.substr(f, fe - f))};
        auto it = std::find(Params.begin(), Params.end(), p);
        size_t num = static_cast<size_t>(it - Params.begin()) + 1;
        if (it == Params.end()) Params.push_back(std::move(p));
        out += '?';
        out += std::to_string(num);
        i = fe;
      } else {
        out.append(Sql.substr(i, e - i));
        i = e;
      }
    } else {
      out.push_back(c);
      ++i;
    }
  }
  return out;
}

TSqliteDataSet::TSqliteDataSet(std::string Name, std::string DatabaseFile, std::string Sql)
    : TDataSet(std::move(Name)), FDatabaseFile(std::move(DatabaseFile)), FSql(std::move(Sql)) {
  std::vector<TSqlSourceParam> params;
  RewriteSourceParams(FSql, params);
  FParams = std::move(params);
}

TSqliteDataSet::~TSqliteDataSet() {
  Close();
  Finalize();
}

void TSqliteDataSet::AddParamSource(TDataSet* Source) {
  if (Source) FParamSources.push_back(Source);
}

std::vector<TDataSet*> TSqliteDataSet::MasterSets() const {
  std::vector<TDataSet*> out;
  for (const TSqlSourceParam& p : FParams) {
    TDataSet* src = nullptr;
    for (TDataSet* d : FParamSources)
      if (d->Name() == p.Source) src = d;
    if (!src && FResolver) src = FResolver(p.Source);
    if (src && src != this && std::find(out.begin(), out.end(), src) == out.end()) out.push_back(src);
  }
  return out;
}

void TSqliteDataSet::SetMaster(TDataSet*, std::string, std::string) {
  throw EQuilletError("SQL data set " + Name() + " follows its master through :Source.Field parameters in its query");
}

void TSqliteDataSet::Fail(const std::string& Problem) const {
  throw EQuilletError("SQL error in data set " + Name() + " (" + FDatabaseFile + "): " + Problem, FDatabaseFile);
}

void TSqliteDataSet::Finalize() {
  if (FStmt) sqlite3_finalize(FStmt);
  FStmt = nullptr;
  if (FDb) sqlite3_close(FDb);
  FDb = nullptr;
}

void TSqliteDataSet::Prepare() {
  Finalize();
  if (sqlite3_open_v2(FDatabaseFile.c_str(), &FDb, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    std::string msg = FDb ? sqlite3_errmsg(FDb) : "out of memory";
    Finalize();
    throw EQuilletError("Cannot open database " + FDatabaseFile + " for data set " + Name() + ": " + msg,
                        FDatabaseFile);
  }
  // A writer holding the database gets this long to finish; then "database is locked" fails the run.
  sqlite3_busy_timeout(FDb, kSqliteBusyTimeoutMs);
  std::vector<TSqlSourceParam> params;
  std::string sql = RewriteSourceParams(FSql, params);
  const char* tail = nullptr;
  if (sqlite3_prepare_v2(FDb, sql.c_str(), static_cast<int>(sql.size()), &FStmt, &tail) != SQLITE_OK) {
    std::string msg = sqlite3_errmsg(FDb);
    Finalize();
    Fail(msg);
  }
  if (!FStmt) {
    Finalize();
    Fail("the query is empty");
  }
  for (; tail && *tail; ++tail)
    if (*tail != ' ' && *tail != '\t' && *tail != '\r' && *tail != '\n' && *tail != ';') {
      Finalize();
      Fail("only one SQL statement is allowed");
    }
  FFieldDefs.clear();
  int cols = sqlite3_column_count(FStmt);
  if (cols == 0) {
    Finalize();
    Fail("the statement returns no columns");
  }
  std::vector<int> undeclared;
  for (int c = 0; c < cols; ++c) {
    const char* name = sqlite3_column_name(FStmt, c);
    const char* decl = sqlite3_column_decltype(FStmt, c);
    TFieldType type = ftString;
    if (decl && *decl)
      type = TypeFromDeclared(decl);
    else
      undeclared.push_back(c);
    FFieldDefs.push_back({name ? name : "", type});
  }
  if (!undeclared.empty()) {
    // Expression columns take the storage class of their first non-null value.
    BindParams();
    std::vector<bool> found(undeclared.size(), false);
    size_t left = undeclared.size();
    int rc;
    while (left > 0 && (rc = sqlite3_step(FStmt)) == SQLITE_ROW) {
      for (size_t k = 0; k < undeclared.size(); ++k) {
        int t = sqlite3_column_type(FStmt, undeclared[k]);
        if (found[k] || t == SQLITE_NULL) continue;
        found[k] = true;
        --left;
        FFieldDefs[undeclared[k]].DataType = TypeFromStorage(t);
      }
    }
    if (left > 0 && rc != SQLITE_DONE) Fail(sqlite3_errmsg(FDb));
    sqlite3_reset(FStmt);
  }
}

void TSqliteDataSet::DoUpdateFieldDefs() {
  Prepare();
  Finalize();
}

void TSqliteDataSet::DoOpen() {
  Prepare();
  FRow = FCount = -1;
  FStmtRow = -1;
  FStmtDone = false;
  FPrevValid = false;
}

void TSqliteDataSet::DoClose() {
  Finalize();
  FStmtVals.clear();
  FPrevVals.clear();
}

void TSqliteDataSet::BindParams() {
  sqlite3_reset(FStmt);
  sqlite3_clear_bindings(FStmt);
  for (size_t i = 0; i < FParams.size(); ++i) {
    const TSqlSourceParam& p = FParams[i];
    TDataSet* src = nullptr;
    for (TDataSet* d : FParamSources)
      if (d->Name() == p.Source) src = d;
    if (!src && FResolver) src = FResolver(p.Source);
    if (!src) Fail("unknown data source '" + p.Source + "' in parameter :" + p.Source + "." + p.Field);
    int idx = static_cast<int>(i) + 1;
    int rc = SQLITE_OK;
    if (src->Active()) {
      TField* f = src->FindField(p.Field);
      if (!f) Fail("field '" + p.Field + "' not found in " + p.Source + " (parameter :" + p.Source + "." + p.Field + ")");
      const TExprValue& v = f->ValueRef();
      switch (v.Kind()) {
        case evkInteger:
          rc = sqlite3_bind_int64(FStmt, idx, v.AsInt());
          break;
        case evkFloat:
        case evkDateTime:
          rc = sqlite3_bind_double(FStmt, idx, v.AsFloat());
          break;
        case evkBoolean:
          rc = sqlite3_bind_int(FStmt, idx, v.AsBool() ? 1 : 0);
          break;
        case evkString:
          rc = sqlite3_bind_text(FStmt, idx, v.AsString().data(), static_cast<int>(v.AsString().size()),
                                 SQLITE_TRANSIENT);
          break;
        default:
          break;  // null stays unbound, which SQLite reads as NULL
      }
    }
    if (rc != SQLITE_OK) Fail(sqlite3_errmsg(FDb));
  }
}

void TSqliteDataSet::Restart() {
  sqlite3_reset(FStmt);
  FStmtRow = -1;
  FStmtDone = false;
  FPrevValid = false;
}

void TSqliteDataSet::ReadRow(std::vector<TExprValue>& Values) {
  size_t n = FFieldDefs.size();
  Values.resize(n);
  for (size_t c = 0; c < n; ++c) {
    int col = static_cast<int>(c);
    int storage = sqlite3_column_type(FStmt, col);
    TFieldType type = FFieldDefs[c].DataType;
    if (storage == SQLITE_NULL) {
      Values[c] = TExprValue();
    } else if (type == ftString || storage == SQLITE_TEXT || storage == SQLITE_BLOB) {
      const char* p = storage == SQLITE_BLOB ? static_cast<const char*>(sqlite3_column_blob(FStmt, col))
                                             : reinterpret_cast<const char*>(sqlite3_column_text(FStmt, col));
      int len = sqlite3_column_bytes(FStmt, col);
      Values[c] = TExprValue::FromString(p ? std::string(p, static_cast<size_t>(len)) : std::string());
    } else if (storage == SQLITE_INTEGER && type != ftFloat) {
      Values[c] = TExprValue::FromInt(sqlite3_column_int64(FStmt, col));
    } else {
      Values[c] = TExprValue::FromFloat(sqlite3_column_double(FStmt, col));
    }
  }
}

bool TSqliteDataSet::StepOne() {
  if (FStmtDone) return false;  // stepping again would silently restart the query
  int rc = sqlite3_step(FStmt);
  if (rc == SQLITE_ROW) {
    std::swap(FPrevVals, FStmtVals);
    FPrevValid = FStmtRow >= 0;
    ++FStmtRow;
    ReadRow(FStmtVals);
    return true;
  }
  if (rc != SQLITE_DONE) Fail(sqlite3_errmsg(FDb));
  FStmtDone = true;
  FCount = FStmtRow + 1;
  return false;
}

bool TSqliteDataSet::Goto(int64_t Row) {
  if (Row < 0 || (FCount >= 0 && Row >= FCount)) return false;
  if (Row == FStmtRow - 1 && FPrevValid) {
    FRecord = FPrevVals;
    FRow = Row;
    return true;
  }
  if (Row < FStmtRow) Restart();
  while (FStmtRow < Row)
    if (!StepOne()) return false;
  FRecord = FStmtVals;
  FRow = Row;
  return true;
}

bool TSqliteDataSet::DoFirst() {
  BindParams();
  Restart();
  FCount = -1;
  FRow = -1;
  return Goto(0);
}

bool TSqliteDataSet::DoNext() { return Goto(FRow + 1); }
bool TSqliteDataSet::DoPrior() { return Goto(FRow - 1); }

bool TSqliteDataSet::DoLast() {
  // The statement is never behind the current row, so stepping it to its end counts the rows.
  if (FCount < 0)
    while (StepOne()) {
    }
  return FCount > 0 && Goto(FCount - 1);
}

int64_t TSqliteDataSet::DoGetBookmark() { return FRow; }
bool TSqliteDataSet::DoGotoBookmark(int64_t Pos) { return Goto(Pos); }

}  // namespace quillet
