#include "cli/rundata/run_data.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data/json_data_set.h"
#include "data/sqlite_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

namespace quillet::cli {

namespace {

bool EndsWithNoCase(const std::string& S, const std::string& Suffix) {
  if (S.size() < Suffix.size()) return false;
  for (size_t i = 0; i < Suffix.size(); ++i) {
    char c = S[S.size() - Suffix.size() + i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != Suffix[i]) return false;
  }
  return true;
}

EUsageError BadLink(const std::string& Text) {
  return EUsageError("--link expects DETAIL.FIELD=MASTER.FIELD, got \"" + Text + "\"");
}

// "Name.Field" split at the first dot; both parts must be non-empty.
std::pair<std::string, std::string> SplitSourceField(const std::string& Text, const std::string& Whole) {
  const auto dot = Text.find('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == Text.size()) throw BadLink(Whole);
  return {Text.substr(0, dot), Text.substr(dot + 1)};
}

EUsageError UnknownSource(const std::string& Option, const std::string& Name) {
  return EUsageError(Option + ": unknown data source \"" + Name + "\"");
}

bool IsSqlite(const std::string& Source) { return Source.rfind("sqlite:", 0) == 0; }
bool IsCsv(const std::string& Source) { return !IsSqlite(Source) && EndsWithNoCase(Source, ".csv"); }

// The parts of "sqlite:FILE:SQL" (checked by CheckSourceKind).
std::pair<std::string, std::string> SqliteParts(const std::string& Source) {
  const auto colon = Source.find(':', 7);
  return {Source.substr(7, colon - 7), Source.substr(colon + 1)};
}

// Every name the options use must be a --data: a typo is a usage error before anything is read.
void CheckSourceNames(const TRunOptions& O) {
  std::set<std::string> names;
  for (const TDataOption& d : O.Data) names.insert(d.Name);
  if (O.HaveMain && !names.count(O.MainName)) throw UnknownSource("--main", O.MainName);
  for (const TLinkOption& l : O.Links)
    for (const std::string* n : {&l.Detail, &l.Master})
      if (!names.count(*n)) throw UnknownSource("--link", *n);
  for (const TDataOption& d : O.Data) {
    if (!IsSqlite(d.Source)) continue;
    std::vector<TSqlSourceParam> params;
    RewriteSourceParams(SqliteParts(d.Source).second, params);
    for (const TSqlSourceParam& p : params)
      if (!names.count(p.Source))
        throw EUsageError("--data " + d.Name + ": unknown data source \"" + p.Source + "\" in parameter :" + p.Source +
                          "." + p.Field);
  }
}

// Checks the kind of SOURCE now so that a typo is a usage error before anything is opened.
void CheckSourceKind(const std::string& Source) {
  if (IsSqlite(Source)) {
    const auto colon = Source.find(':', 7);
    if (colon == std::string::npos || colon == 7 || colon + 1 == Source.size())
      throw EUsageError("--data: expected sqlite:FILE.db:SQL, got \"" + Source + "\"");
    return;
  }
  if (EndsWithNoCase(Source, ".csv") || EndsWithNoCase(Source, ".json")) return;
  throw EUsageError("--data: unknown kind of data source \"" + Source +
                    "\" (expected FILE.csv, FILE.json or sqlite:FILE.db:SQL)");
}

std::unique_ptr<TDataSet> MakeDataSet(const TDataOption& D, char CsvSeparator) {
  if (IsSqlite(D.Source)) {
    auto [file, sql] = SqliteParts(D.Source);
    return std::make_unique<TSqliteDataSet>(D.Name, file, sql);
  }
  if (IsCsv(D.Source)) {
    auto csv = std::make_unique<TCsvDataSet>(D.Name, D.Source);
    csv->SetSeparator(CsvSeparator);
    return csv;
  }
  return std::make_unique<TJsonDataSet>(D.Name, D.Source);
}

TRunOptions ParseRunOptionsImpl(const TArgs& Args, TRunCommand Command) {
  TRunOptions o;
  bool haveOut = false;
  for (size_t i = 0; i < Args.size(); ++i) {
    std::string a = Args[i];
    std::string value;
    bool inlineValue = false;
    if (a.size() > 2 && a[0] == '-' && a[1] == '-') {
      const auto eq = a.find('=');
      if (eq != std::string::npos) {
        value = a.substr(eq + 1);
        a.resize(eq);
        inlineValue = true;
      }
    }
    const auto next = [&]() -> std::string {
      if (inlineValue) return value;
      if (++i >= Args.size()) throw EUsageError(a + " needs a value");
      return Args[i];
    };
    if (a == "--strict" && !inlineValue && (Command == TRunCommand::Render || Command == TRunCommand::Check)) {
      o.Strict = true;
    } else if (a == "--preview" && !inlineValue && Command == TRunCommand::Design) {
      o.Preview = true;
    } else if ((a == "-o" || a == "--output") && Command != TRunCommand::Render) {
      throw EUsageError(a + " applies to render only");
    } else if (a == "--printer" && Command == TRunCommand::Print) {
      o.Printer = next();
    } else if ((a == "--format" || a == "--dpi" || a == "--compression" || a == "--jpeg-quality" ||
                a == "--max-pages") &&
               Command != TRunCommand::Render) {
      throw EUsageError(a + " applies to render only");
    } else if (a == "-o" || a == "--output") {
      if (haveOut) throw EUsageError("-o given twice");
      o.OutFile = next();
      if (o.OutFile.empty()) throw EUsageError("-o needs a file name");
      haveOut = true;
    } else if (ParseDataOption(Args, i, o)) {
      continue;
    } else if (a == "--compression") {
      const std::string v = next();
      int level = -1;
      if (!v.empty() && v.size() <= 2 && std::isdigit(static_cast<unsigned char>(v[0])) &&
          (v.size() == 1 || std::isdigit(static_cast<unsigned char>(v[1]))))
        level = std::stoi(v);
      if (level < 0 || level > 12) throw EUsageError("--compression expects a level from 0 to 12, got \"" + v + "\"");
      o.Compression = level;
    } else if (a == "--jpeg-quality") {
      const std::string v = next();
      int q = -1;
      if (!v.empty() && v.size() <= 3 && v.find_first_not_of("0123456789") == std::string::npos) q = std::stoi(v);
      if (q < 0 || q > 100) throw EUsageError("--jpeg-quality expects a quality from 0 to 100, got \"" + v + "\"");
      o.JpegQuality = q;
    } else if (a == "--max-pages") {
      const std::string v = next();
      int64_t n = 0;
      if (!v.empty() && v.size() <= 9 && v.find_first_not_of("0123456789") == std::string::npos) n = std::stoll(v);
      if (n < 1) throw EUsageError("--max-pages expects a number of pages from 1 to 999999999, got \"" + v + "\"");
      o.MaxPages = n;
    } else if (a == "--format") {
      o.Format = next();
      if (o.Format != "pdf" && o.Format != "png" && o.Format != "raster")
        throw EUsageError("--format expects pdf, png or raster, got \"" + o.Format + "\"");
    } else if (a == "--dpi") {
      const std::string v = next();
      int dpi = 0;
      if (!v.empty() && v.size() <= 4 && v.find_first_not_of("0123456789") == std::string::npos) dpi = std::stoi(v);
      if (dpi < 10 || dpi > 2400) throw EUsageError("--dpi expects a resolution from 10 to 2400, got \"" + v + "\"");
      o.Dpi = dpi;
    } else if (a.size() > 1 && a[0] == '-') {
      throw EUsageError("unknown option \"" + Args[i] + "\"");
    } else {
      o.Reports.push_back(a);
    }
  }
  const char* command = Command == TRunCommand::Render    ? "render"
                        : Command == TRunCommand::Preview ? "preview"
                        : Command == TRunCommand::Print   ? "print"
                        : Command == TRunCommand::Check   ? "check"
                                                          : "design";
  if (Command == TRunCommand::Check && o.Reports.size() != 1) throw EUsageError("check takes one REPORT.qdr");
  if (Command == TRunCommand::Design) {
    if (o.Reports.size() != 1) throw EUsageError("design takes one REPORT.qdr");
    // The preview shows the report as it is: the designer reads no data for it.
    if (o.Preview && o.HasDataOptions())
      throw EUsageError("design --preview takes no data options");
    // A report to be designed may not exist yet.
    o.ReadReports = false;
  }
  if (o.Reports.empty()) throw EUsageError(std::string(command) + " needs at least one REPORT.qdr");
  CheckDataOptions(o);
  if (Command != TRunCommand::Render) return o;
  if (!haveOut) throw EUsageError(o.Format == "png" ? "render needs -o PREFIX" : "render needs -o OUT.pdf");
  if (o.Format == "pdf" && o.Dpi != 0) throw EUsageError("--dpi applies to --format png and raster only");
  if (o.Format != "pdf" && o.Compression >= 0) throw EUsageError("--compression applies to --format pdf only");
  if (o.Format != "pdf" && o.JpegQuality >= 0) throw EUsageError("--jpeg-quality applies to --format pdf only");
#ifndef QUILLET_WITH_QT
  if (o.Format != "pdf") throw EUsageError("--format " + o.Format + " needs a build with the Qt module");
#endif
  // A slip of the keyboard must not replace a report or its data with the PDF.
  std::vector<std::string> inputs = o.Reports;
  for (const TDataOption& d : o.Data)
    inputs.push_back(IsSqlite(d.Source) ? SqliteParts(d.Source).first : d.Source);
  for (const std::string& in : inputs) {
    std::error_code ec;
    if (std::filesystem::equivalent(in, o.OutFile, ec))
      throw EUsageError("-o " + o.OutFile + " would overwrite the input " + in);
  }
  return o;
}

std::string SourceFile(TDataSet& D) {
  if (auto* csv = dynamic_cast<TCsvDataSet*>(&D)) return csv->FileName();
  if (auto* json = dynamic_cast<TJsonDataSet*>(&D)) return json->FileName();
  if (auto* sql = dynamic_cast<TSqliteDataSet*>(&D)) return sql->DatabaseFile();
  return "";
}

// Opens every set, each after the sets it reads from (its master and its :Source.Field
// sources), so that a detail's first query already sees its master's first record.
void OpenInDependencyOrder(const std::vector<std::unique_ptr<TDataSet>>& Sets,
                           const std::map<std::string, TDataSet*>& ByName) {
  std::set<TDataSet*> done, visiting;
  std::function<void(TDataSet*)> open = [&](TDataSet* D) {
    if (done.count(D) || visiting.count(D)) return;
    visiting.insert(D);
    if (D->Master()) open(D->Master());
    if (auto* sql = dynamic_cast<TSqliteDataSet*>(D))
      for (const TSqlSourceParam& p : sql->SourceParams()) {
        const auto it = ByName.find(p.Source);
        if (it != ByName.end()) open(it->second);
      }
    try {
      D->Open();
    } catch (const EQuilletError& e) {
      // Some data-layer messages name only the set (a link to a missing field); add its file.
      if (!e.FileName().empty()) throw;
      throw EQuilletError(e.what(), SourceFile(*D));
    }
    visiting.erase(D);
    done.insert(D);
  };
  for (const auto& d : Sets) open(d.get());
}

}  // namespace

std::pair<std::string, std::string> SplitAssignment(const std::string& Option, const std::string& Text) {
  const auto eq = Text.find('=');
  if (eq == std::string::npos || eq == 0)
    throw EUsageError(Option + " expects NAME=VALUE, got \"" + Text + "\"");
  return {Text.substr(0, eq), Text.substr(eq + 1)};
}

bool ParseDataOption(const TArgs& Args, size_t& I, TRunOptions& O) {
  std::string a = Args.at(I);
  std::string value;
  bool inlineValue = false;
  if (const auto eq = a.find('='); a.rfind("--", 0) == 0 && eq != std::string::npos) {
    value = a.substr(eq + 1);
    a.resize(eq);
    inlineValue = true;
  }
  if (a != "--data" && a != "--main" && a != "--link" && a != "--csv-separator" && a != "--var" && a != "--fonts")
    return false;
  const auto next = [&]() -> std::string {
    if (inlineValue) return value;
    if (I + 1 >= Args.size()) throw EUsageError(a + " needs a value");
    return Args[++I];
  };
  if (a == "--data") {
    auto [name, source] = SplitAssignment("--data", next());
    if (name.find('.') != std::string::npos)
      throw EUsageError("--data: a data source name cannot contain \".\": \"" + name + "\"");
    for (const TDataOption& d : O.Data)
      if (d.Name == name) throw EUsageError("--data: data source \"" + name + "\" given twice");
    CheckSourceKind(source);
    O.Data.push_back({name, source});
  } else if (a == "--main") {
    if (O.HaveMain) throw EUsageError("--main given twice");
    O.MainName = next();
    O.HaveMain = true;
  } else if (a == "--link") {
    const std::string text = next();
    const auto eq = text.find('=');
    if (eq == std::string::npos) throw BadLink(text);
    auto [d, df] = SplitSourceField(text.substr(0, eq), text);
    auto [m, mf] = SplitSourceField(text.substr(eq + 1), text);
    O.Links.push_back({d, df, m, mf});
  } else if (a == "--csv-separator") {
    if (O.CsvSeparator != 0) throw EUsageError("--csv-separator given twice");
    const std::string v = next();
    if (v.size() != 1 || static_cast<unsigned char>(v[0]) >= 0x80)
      throw EUsageError("--csv-separator expects one ASCII character, got \"" + v + "\"");
    if (v == "\"" || v == "\n" || v == "\r") throw EUsageError("--csv-separator cannot be a quote or a line break");
    O.CsvSeparator = v[0];
  } else if (a == "--var") {
    O.Vars.push_back(SplitAssignment("--var", next()));
  } else {
    O.FontDirs.push_back(next());
    if (O.FontDirs.back().empty()) throw EUsageError("--fonts needs a folder");
  }
  return true;
}

void CheckDataOptions(const TRunOptions& O) {
  CheckSourceNames(O);
  const auto isCsv = [](const TDataOption& d) { return IsCsv(d.Source); };
  if (O.CsvSeparator != 0 && std::none_of(O.Data.begin(), O.Data.end(), isCsv))
    throw EUsageError("--csv-separator applies to CSV data, and no --data names a .csv file");
}

TRunData::TRunData(const TRunOptions& Opt, TReportEngine& Engine) {
  // Report files are read up front so that a broken one fails before any data is opened.
  if (Opt.ReadReports) {
    for (const std::string& file : Opt.Reports) {
      TReportPage page;
      page.LoadFromFile(file);
    }
  }
  for (const std::string& dir : Opt.FontDirs) {
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec))
      throw EQuilletError("--fonts: no such folder \"" + dir + "\"", dir);
  }
  for (const TDataOption& d : Opt.Data) {
    FSets.push_back(MakeDataSet(d, Opt.CsvSeparator));
    FByName[d.Name] = FSets.back().get();
  }
  // ParseRunOptions has checked the names already.
  const auto lookup = [this](const std::string& Option, const std::string& Name) {
    const auto it = FByName.find(Name);
    if (it == FByName.end()) throw UnknownSource(Option, Name);
    return it->second;
  };

  if (Opt.HaveMain)
    FMain = lookup("--main", Opt.MainName);
  else if (!FSets.empty())
    FMain = FSets.front().get();

  for (const TLinkOption& l : Opt.Links) {
    TDataSet* detail = lookup("--link", l.Detail);
    TDataSet* master = lookup("--link", l.Master);
    detail->SetMaster(master, l.DetailField, l.MasterField);
  }

  for (const auto& d : FSets) {
    auto* sql = dynamic_cast<TSqliteDataSet*>(d.get());
    if (!sql) continue;
    for (const auto& other : FSets)
      if (other.get() != sql) sql->AddParamSource(other.get());
  }

  FVars = Opt.Vars;
  FFontDirs = Opt.FontDirs;
  for (const auto& [name, value] : FVars) {
    // Still set: GetVariable reads it, only the report's texts never reach it.
    if (IsSystemVariableName(name)) {
      std::string all;
      for (const std::string& n : SystemVariableNames()) all += (all.empty() ? "" : ", ") + n;
      FWarnings.push_back("--var " + name + " is shadowed by the built-in variable of that name; " +
                          "the built-ins (in any case) are: " + all);
    }
  }
  RegisterOn(Engine);
}

void TRunData::RegisterOn(TReportEngine& Engine) const {
  for (const auto& d : FSets) Engine.SetDataSource(d->Name(), d.get());
  Engine.SetDataSource(FMain);
  for (const auto& [name, value] : FVars) Engine.SetVariable(name, value);
  if (!FFontDirs.empty()) Engine.SetFontDirs(FFontDirs);
}

TRunData::~TRunData() = default;

void TRunData::Open() {
  OpenInDependencyOrder(FSets, FByName);
  for (const auto& d : FSets)
    if (auto* csv = dynamic_cast<TCsvDataSet*>(d.get()); csv && csv->SeparatorGuessed())
      FWarnings.push_back(csv->FileName() + ": read with \";\" as the separator, since its header line has \";\" " +
                          "and no \",\" (--csv-separator sets the separator)");
}

TRunOptions ParseRunOptions(const TArgs& Args, TRunCommand Command) { return ParseRunOptionsImpl(Args, Command); }

}  // namespace quillet::cli
