// quillet render: runs one or several report definitions over data sets named on the command
// line and writes one PDF, or the pages painted on screen as PNG files or a raster PDF. The
// command owns the data sets; the engine only borrows them.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/number_format.h"
#include "cli/cli.h"
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
  bool haveOut = false, haveSeparator = false;
  std::set<std::string> names;
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
    } else if ((a == "--format" || a == "--dpi" || a == "--compression" || a == "--jpeg-quality") && Command != TRunCommand::Render) {
      throw EUsageError(a + " applies to render only");
    } else if (a == "-o" || a == "--output") {
      if (haveOut) throw EUsageError("-o given twice");
      o.OutFile = next();
      if (o.OutFile.empty()) throw EUsageError("-o needs a file name");
      haveOut = true;
    } else if (a == "--data") {
      auto [name, source] = SplitAssignment("--data", next());
      if (name.find('.') != std::string::npos)
        throw EUsageError("--data: a data source name cannot contain \".\": \"" + name + "\"");
      if (!names.insert(name).second) throw EUsageError("--data: data source \"" + name + "\" given twice");
      CheckSourceKind(source);
      o.Data.push_back({name, source});
    } else if (a == "--main") {
      if (o.HaveMain) throw EUsageError("--main given twice");
      o.MainName = next();
      o.HaveMain = true;
    } else if (a == "--link") {
      const std::string text = next();
      const auto eq = text.find('=');
      if (eq == std::string::npos) throw BadLink(text);
      auto [d, df] = SplitSourceField(text.substr(0, eq), text);
      auto [m, mf] = SplitSourceField(text.substr(eq + 1), text);
      o.Links.push_back({d, df, m, mf});
    } else if (a == "--csv-separator") {
      if (haveSeparator) throw EUsageError("--csv-separator given twice");
      const std::string v = next();
      if (v.size() != 1 || static_cast<unsigned char>(v[0]) >= 0x80)
        throw EUsageError("--csv-separator expects one ASCII character, got \"" + v + "\"");
      if (v == "\"" || v == "\n" || v == "\r") throw EUsageError("--csv-separator cannot be a quote or a line break");
      o.CsvSeparator = v[0];
      haveSeparator = true;
    } else if (a == "--var") {
      o.Vars.push_back(SplitAssignment("--var", next()));
    } else if (a == "--fonts") {
      o.FontDirs.push_back(next());
      if (o.FontDirs.back().empty()) throw EUsageError("--fonts needs a folder");
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
    if (o.Preview && (!o.Data.empty() || o.HaveMain || !o.Links.empty() || !o.Vars.empty() || !o.FontDirs.empty() ||
                      haveSeparator))
      throw EUsageError("design --preview takes no data options");
    // A report to be designed may not exist yet.
    o.ReadReports = false;
  }
  if (o.Reports.empty()) throw EUsageError(std::string(command) + " needs at least one REPORT.qdr");
  CheckSourceNames(o);
  const auto isCsv = [](const TDataOption& d) { return IsCsv(d.Source); };
  if (haveSeparator && std::none_of(o.Data.begin(), o.Data.end(), isCsv))
    throw EUsageError("--csv-separator applies to CSV data, and no --data names a .csv file");
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

// Ctrl-C: the handler only flags the run; the engine stops at the next page it begins, and its
// PDF writer removes the unfinished file on the way out.
std::atomic<bool> GInterrupted{false};
std::atomic<TReportEngine*> GRunningEngine{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<TReportEngine*>::is_always_lock_free);

extern "C" void OnInterrupt(int) {
  GInterrupted.store(true, std::memory_order_relaxed);
  if (TReportEngine* e = GRunningEngine.load(std::memory_order_relaxed)) e->RequestCancel();
}

// A line on a terminal that is rewritten in place; silent when stderr is not a terminal.
class TProgressLine {
 public:
  TProgressLine() : FEnabled(::isatty(STDERR_FILENO) == 1) {}
  ~TProgressLine() { Clear(); }

  void Show(const std::string& Text, bool Force) {
    if (!FEnabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (!Force && FShown && now - FLast < std::chrono::milliseconds(100)) return;
    FLast = now;
    std::fprintf(stderr, "\r\033[K%s", Text.c_str());
    std::fflush(stderr);
    FShown = true;
  }
  void Clear() {
    if (!FShown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    FShown = false;
  }

 private:
  bool FEnabled;
  bool FShown = false;
  std::chrono::steady_clock::time_point FLast;
};

std::string Fixed(double Value, int Decimals) {
  std::string s = FormatDecimals(Value, Decimals);
  auto dot = s.find('.');
  if (dot == std::string::npos) {
    s += '.';
    dot = s.size() - 1;
  }
  while (static_cast<int>(s.size() - dot - 1) < Decimals) s += '0';
  return s;
}

std::string SizeText(uintmax_t Bytes) {
  if (Bytes < 1024) return std::to_string(Bytes) + " bytes";
  if (Bytes < 1024 * 1024) return Fixed(static_cast<double>(Bytes) / 1024, 1) + " KB";
  return Fixed(static_cast<double>(Bytes) / (1024.0 * 1024.0), 1) + " MB";
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

struct TInterruptGuard::TSaved {
  struct sigaction Action {};
};

TInterruptGuard::TInterruptGuard(TReportEngine& Engine) : FOld(std::make_unique<TSaved>()) {
  GInterrupted.store(false);
  GRunningEngine.store(&Engine);
  struct sigaction sa {};
  sa.sa_handler = OnInterrupt;
  sigemptyset(&sa.sa_mask);
  ::sigaction(SIGINT, &sa, &FOld->Action);
}

TInterruptGuard::~TInterruptGuard() {
  ::sigaction(SIGINT, &FOld->Action, nullptr);
  GRunningEngine.store(nullptr);
}

bool TInterruptGuard::Interrupted() { return GInterrupted.load(std::memory_order_relaxed); }

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

  TDataSet* mainSet = nullptr;
  if (Opt.HaveMain)
    mainSet = lookup("--main", Opt.MainName);
  else if (!FSets.empty())
    mainSet = FSets.front().get();

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

  for (const auto& d : FSets) Engine.SetDataSource(d->Name(), d.get());
  Engine.SetDataSource(mainSet);
  for (const auto& [name, value] : Opt.Vars) {
    // Still set: GetVariable reads it, only the report's texts never reach it.
    if (IsSystemVariableName(name)) {
      std::string all;
      for (const std::string& n : SystemVariableNames()) all += (all.empty() ? "" : ", ") + n;
      FWarnings.push_back("--var " + name + " is shadowed by the built-in variable of that name; " +
                          "the built-ins (in any case) are: " + all);
    }
    Engine.SetVariable(name, value);
  }
  if (!Opt.FontDirs.empty()) Engine.SetFontDirs(Opt.FontDirs);
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

void PrintWarnings(const std::vector<std::string>& Lines, size_t Total) {
  size_t shown = 0;
  for (const std::string& w : Lines) {
    if (shown == kMaxPrintedWarnings) break;
    std::fprintf(stderr, "quillet: warning: %s\n", w.c_str());
    ++shown;
  }
  Total = std::max(Total, Lines.size());
  if (Total > shown) std::fprintf(stderr, "quillet: warning: and %zu more\n", Total - shown);
}

void PrintWarnings(const TReportEngine& Engine) { PrintWarnings(Engine.Warnings(), Engine.WarningCount()); }

int StrictFailure(const std::string& FirstWarning) {
  std::fprintf(stderr, "quillet: strict: %s\n", FirstWarning.c_str());
  return 1;
}

int RunRender(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Render);
  const auto started = std::chrono::steady_clock::now();

  TReportEngine engine;
  engine.SetStrict(opt.Strict);
  if (opt.Compression >= 0) engine.SetPdfCompressionLevel(opt.Compression);
  if (opt.JpegQuality >= 0) engine.SetPdfJpegQuality(opt.JpegQuality);
  TRunData data(opt, engine);

  TInterruptGuard interruptGuard(engine);
  TProgressLine progress;
  const auto interrupted = [&progress, &opt]() {
    progress.Clear();
    std::fprintf(stderr, "quillet: interrupted; %s not written\n", opt.OutFile.c_str());
    return 130;
  };

  progress.Show("opening data...", true);
  data.Open();
  if (GInterrupted.load()) return interrupted();
  progress.Clear();
  PrintWarnings(data.Warnings());
  if (opt.Strict && !data.Warnings().empty()) return StrictFailure(data.Warnings().front());

  int32_t pages = 0;
  const bool several = opt.Reports.size() > 1;
  engine.OnBeforePage = [](TReportEngine&, int32_t, int32_t, bool& Cancel) {
    if (GInterrupted.load(std::memory_order_relaxed)) Cancel = true;
  };
  engine.OnPageRendered = [&](TReportEngine& Sender, int32_t PageNum, int32_t TotalPages) {
    ++pages;
    std::string text = "page " + std::to_string(PageNum) + " of " + std::to_string(TotalPages);
    if (several) text = Sender.ReportFile() + ": " + text;
    progress.Show(text, PageNum == TotalPages);
  };
  progress.Show("counting pages...", true);

  std::string written = opt.OutFile;
  try {
    if (opt.Format != "pdf") {
#ifdef QUILLET_WITH_QT
      TScreenRender screen;
      screen.Reports = opt.Reports;
      screen.Out = opt.OutFile;
      screen.Png = opt.Format == "png";
      screen.Dpi = opt.Dpi > 0 ? opt.Dpi : 96;
      screen.Progress = [&](const std::string& Text, bool Force) { progress.Show(Text, Force); };
      const TScreenResult result = RenderScreenPages(engine, screen);
      pages = result.Pages;
      written = result.Written;
#endif
    } else if (several) {
      engine.ExportPDF(opt.Reports, opt.OutFile);
    } else {
      engine.ExportPDF(opt.Reports.front(), opt.OutFile);
    }
  } catch (const EReportCancelled&) {
    return interrupted();
  } catch (const EStrictWarning& e) {
    progress.Clear();
    return StrictFailure(e.what());
  } catch (const std::bad_alloc&) {
    progress.Clear();
    const std::string report = engine.ReportFile().empty() ? opt.Reports.front() : engine.ReportFile();
    throw EQuilletError(report + ": out of memory", report);
  } catch (...) {
    progress.Clear();
    if (GInterrupted.load()) return interrupted();
    throw;
  }
  progress.Clear();

  PrintWarnings(engine);
  std::error_code ec;
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  if (opt.Format == "png") {
    std::fprintf(stderr, "quillet: wrote %s: %d page%s, %s s\n", written.c_str(), pages, pages == 1 ? "" : "s",
                 Fixed(seconds, 2).c_str());
    return 0;
  }
  const uintmax_t size = std::filesystem::file_size(opt.OutFile, ec);
  std::fprintf(stderr, "quillet: wrote %s: %d page%s, %s, %s s\n", opt.OutFile.c_str(), pages, pages == 1 ? "" : "s",
               ec ? "size unknown" : SizeText(size).c_str(), Fixed(seconds, 2).c_str());
  return 0;
}

}  // namespace quillet::cli
