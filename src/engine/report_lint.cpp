// Checks of a report that need no records: what the loader fell back on, data sources that are
// not there, names their data sets lack, unknown functions and variables, aggregates that can
// only give 0, missing files. `quillet check` prints them; every output operation reports them
// as warnings, together with the problems only the data can show (an unusable value met while
// drawing).
#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "data/data_set.h"
#include "engine/report_engine.h"

namespace quillet {

namespace {

std::string Quote(const std::string& S) { return "\"" + S + "\""; }

// A whole text "{Name}" that reads a variable: a name without blanks, braces or backslashes (so
// that rich text, which also starts with "{", is not taken for one).
bool IsVariableReference(const std::string& T) {
  if (T.size() < 3 || T.front() != '{' || T.back() != '}') return false;
  for (size_t i = 1; i + 1 < T.size(); ++i) {
    const char c = T[i];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '{' || c == '}' || c == '\\') return false;
  }
  return true;
}

// Element kinds whose "text" is resolved (labels, edits, memos, marks, barcodes, QR codes).
bool ResolvesText(TRptElemType T) {
  switch (T) {
    case retLabel:
    case retEdit:
    case retMemo:
    case retCheckBox:
    case retRadioButton:
    case retBarcode:
    case retQRCode:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string TReportEngine::ElementPlace(const std::string& Label, size_t BandIndex, size_t ElementIndex,
                                        const TReportElement& El) {
  std::string s = Label + ": bands[" + std::to_string(BandIndex) + "].elements[" + std::to_string(ElementIndex) +
                  "] (" + std::string(ElemTypeNames[static_cast<size_t>(El.ElemType) % ElemTypeNames.size()]);
  if (!El.Name.empty()) s += " " + Quote(El.Name);
  return s + ")";
}

std::string TReportEngine::DataSetLabel(const std::string& Name) const {
  if (!Name.empty()) return "data source " + Quote(Name);
  for (const auto& [n, ds] : FNamedDataSources)
    if (ds == FDataSource && ds) return "data source " + Quote(n);
  return "the main data source";
}

// The checks of one report file. Band is the band being checked; names resolve as the walker
// resolves them, and every miss becomes one warning line.
class TReportEngine::TLinter {
 public:
  TLinter(TReportEngine& Engine, std::vector<std::string>& Out, std::set<std::string>& Visited)
      : E(Engine), FOut(Out), FVisited(Visited) {
    // The sets the walker accumulates for aggregates: those of the data bands.
  }

  void Check(const TReportPage& Page, const std::string& Label) {
    for (const std::string& w : Page.LoadWarnings) Add(Label + ": " + w);
    FWalked.clear();
    for (const auto& b : Page.Bands)
      if (b->BandType == btMasterData || b->BandType == btDetailData || b->BandType == btSubdetailData)
        if (TDataSet* ds = E.GetDataSource(b->DataSourceName); ds && ds->Active()) FWalked.push_back(ds);
    for (size_t i = 0; i < Page.Bands.size(); ++i) {
      const TReportBand& band = *Page.Bands[i];
      FBandName = band.DataSourceName;
      FBandSet = E.GetDataSource(band.DataSourceName);
      const std::string bandPlace = Label + ": bands[" + std::to_string(i) + "] (" +
                                    std::string(BandTypeNames[static_cast<size_t>(band.BandType) % BandTypeNames.size()]) +
                                    ")";
      if (!band.DataSourceName.empty()) CheckDataSource(band.DataSourceName, bandPlace);
      for (size_t j = 0; j < band.Elements.size(); ++j) CheckElement(*band.Elements[j], ElementPlace(Label, i, j, *band.Elements[j]));
    }
  }

 private:
  void Add(std::string Line) { FOut.push_back(std::move(Line)); }

  // Whether the data source Name is there and open; warns at Place when not.
  bool CheckDataSource(const std::string& Name, const std::string& Place) {
    TDataSet* ds = E.GetDataSource(Name);
    if (!ds) {
      Add(Place + ": data source " + Quote(Name) + " is not registered");
      return false;
    }
    if (!ds->Active()) {
      Add(Place + ": data source " + Quote(Name) + " is not open");
      return false;
    }
    return true;
  }

  bool IsVariable(const std::string& Name) const {
    TExprValue v;
    return E.ResolveVarValue(Name, v);
  }

  // A field name as the walker resolves it from the band: a bare name in the band's own set, a
  // dotted one in the named set. Returns whether the name is settled (known, or already warned
  // about); false leaves it to the variables.
  bool CheckField(const std::string& Name, const std::string& Place, const std::string& Context) {
    const auto dot = Name.find('.');
    if (dot != std::string::npos && !IsVariable(Name)) {
      const std::string source = Name.substr(0, dot);
      const std::string field = Name.substr(dot + 1);
      if (!CheckDataSourceOnce(source, Place, Context)) return true;
      if (!E.GetDataSource(source)->FindField(field))
        Add(Place + ": data source " + Quote(source) + " has no field " + Quote(field) + " in " + Context);
      return true;
    }
    if (FBandSet && FBandSet->Active() && FBandSet->FindField(Name)) return true;
    if (IsVariable(Name)) return false;
    if (!FBandName.empty() && (!FBandSet || !FBandSet->Active())) return true;  // warned at the band
    if (!FBandSet) return false;  // no data at all: an unknown name
    if (!FBandSet->Active()) return true;
    Add(Place + ": " + E.DataSetLabel(FBandName) + " has no field " + Quote(Name) + " in " + Context);
    return true;
  }

  bool CheckDataSourceOnce(const std::string& Name, const std::string& Place, const std::string& Context) {
    TDataSet* ds = E.GetDataSource(Name);
    if (ds && ds->Active()) return true;
    Add(Place + ": data source " + Quote(Name) + (ds ? " is not open" : " is not registered") + " in " + Context);
    return false;
  }

  // Evaluates Expr with resolvers that only check names; other problems are reported as found.
  void CheckExpression(const std::string& Expr, const std::string& Place, const std::string& Context) {
    const TGetIdentValueFunc fields = [&](const std::string& Name, TExprValue& Value) {
      Value = TExprValue::Null();
      return CheckField(Name, Place, Context);
    };
    const TGetIdentValueFunc vars = [&](const std::string& Name, TExprValue& Value) {
      return E.ResolveVarValue(Name, Value);
    };
    const TAggregateFunc aggs = [&](const std::string& Func, const std::vector<TExprValue>& Args) {
      const std::string field = Args.empty() ? std::string() : Args.front().ToText();
      if (!field.empty() && std::none_of(FWalked.begin(), FWalked.end(), [&](TDataSet* ds) { return ds->FindField(field); }))
        Add(Place + ": " + Func + "(" + field + ") names no field of the data sets the report walks, so it is always 0 in " +
            Context);
      return TExprValue::FromInt(0);
    };
    TExprProblem problem;
    EvalExpression(Expr, fields, vars, aggs, &problem);
    if (problem) Add(Place + ": " + DescribeExprProblem(problem) + " in " + Context);
  }

  void CheckTemplate(const std::string& Text, const std::string& Place) {
    size_t pos = 0;
    for (;;) {
      const size_t open = Text.find('[', pos);
      if (open == std::string::npos) return;
      const size_t close = Text.find(']', open + 1);
      if (close == std::string::npos) return;
      CheckExpression(Text.substr(open + 1, close - open - 1), Place, Text.substr(open, close - open + 1));
      pos = close + 1;
    }
  }

  void CheckElement(const TReportElement& El, const std::string& Place) {
    if (El.ElemType == retTable && !El.DataField.empty()) {
      // A data table: its data field names a data set, its column fields that set's fields.
      if (!CheckDataSource(El.DataField, Place)) return;
      // A column is a bare field name or a template over the table's set.
      TDataSet* ds = E.GetDataSource(El.DataField);
      const std::string savedName = FBandName;
      TDataSet* savedSet = FBandSet;
      FBandName = El.DataField;
      FBandSet = ds;
      for (size_t k = 0; k < El.ColFields.size(); ++k) {
        const std::string& f = El.ColFields[k];
        if (f.find('[') != std::string::npos)
          CheckTemplate(f, Place);
        else if (!f.empty() && !ds->FindField(f))
          Add(Place + ": data source " + Quote(El.DataField) + " has no field " + Quote(f) + " in colFields[" +
              std::to_string(k) + "]");
      }
      FBandName = savedName;
      FBandSet = savedSet;
      return;
    }
    if (El.ElemType == retTable) {
      for (const std::string& cell : El.CellTexts) CheckTemplate(cell, Place);
      return;
    }
    if (El.ElemType == retImage) {
      if (!El.ImageFile.empty() && E.LocateImage(El).empty())
        Add(Place + ": image file " + Quote(El.ImageFile) + " not found");
      return;
    }
    if (El.ElemType == retSubreport) {
      CheckSubreport(El, Place);
      return;
    }
    if (!ResolvesText(El.ElemType)) return;
    if (!El.DataField.empty()) {
      CheckExpression(El.DataField, Place, "dataField " + Quote(El.DataField));
      return;
    }
    if (IsVariableReference(El.Text)) {
      if (!IsVariable(El.Text.substr(1, El.Text.size() - 2)))
        Add(Place + ": unknown variable " + Quote(El.Text.substr(1, El.Text.size() - 2)) + " in " + El.Text);
      return;
    }
    CheckTemplate(El.Text, Place);
  }

  void CheckSubreport(const TReportElement& El, const std::string& Place) {
    if (El.SubReportFile.empty()) return;
    const std::string file = E.LocateSubreport(El);
    if (file.empty()) {
      Add(Place + ": subreport file " + Quote(El.SubReportFile) + " not found");
      return;
    }
    TReportPage* sub = E.CachedSubreport(file);
    if (!sub) {
      const auto problem = E.FSubreportProblems.find(E.SubreportKey(file));
      if (problem != E.FSubreportProblems.end())
        Add(Place + ": subreport file " + Quote(El.SubReportFile) + " cannot be read (" + problem->second +
            "); it is left empty");
      return;
    }
    if (!FVisited.insert(E.SubreportKey(file)).second) return;
    TLinter inner(E, FOut, FVisited);
    inner.Check(*sub, file);
  }

  TReportEngine& E;
  std::vector<std::string>& FOut;
  std::set<std::string>& FVisited;
  std::vector<TDataSet*> FWalked;
  std::string FBandName;
  TDataSet* FBandSet = nullptr;
};

std::vector<std::string> TReportEngine::CheckReport(const TReportPage& Page, const std::string& Label) {
  std::vector<std::string> out;
  std::set<std::string> visited;
  TLinter(*this, out, visited).Check(Page, Label);
  return out;
}

std::string TReportEngine::SubreportKey(const std::string& File) {
  std::error_code ec;
  std::string key = std::filesystem::weakly_canonical(File, ec).string();
  return ec || key.empty() ? File : key;
}

TReportPage* TReportEngine::CachedSubreport(const std::string& File) {
  const std::string key = SubreportKey(File);
  auto it = FSubreportCache.find(key);
  if (it == FSubreportCache.end()) {
    // A subreport file is read tolerantly, like an image: one that cannot be read is left empty
    // and the check of the report says why.
    auto page = std::make_unique<TReportPage>();
    try {
      page->LoadFromFile(File);
    } catch (const EQuilletError& e) {
      page.reset();
      FSubreportProblems[key] = e.Detail().empty() ? e.what() : std::string(e.what()) + ": " + e.Detail();
    }
    it = FSubreportCache.emplace(key, std::move(page)).first;
    FSubreportLabels[key] = File;
  }
  return it->second.get();
}

void TReportEngine::AddWarning(const std::string& Text) {
  // Each distinct line once per operation; the seen set is bounded too, past it lines simply
  // count.
  constexpr size_t kMaxSeen = 100000;
  if (FWarningSeen.count(Text)) return;
  if (FWarningSeen.size() < kMaxSeen) FWarningSeen.insert(Text);
  ++FWarningCount;
  if (FWarnings.size() < kMaxWarnings) FWarnings.push_back(Text);
}

void TReportEngine::ClearWarnings() {
  FWarnings.clear();
  FWarningSeen.clear();
  FWarningCount = 0;
}

void TReportEngine::CheckStrict() const {
  if (FStrict && !FWarnings.empty()) throw EStrictWarning(FWarnings.front());
}

void TReportEngine::WarnReport(const TReportPage& Page) {
  const std::string label = FReportFile.empty() ? std::string("report") : FReportFile;
  for (const std::string& w : CheckReport(Page, label)) AddWarning(w);
}

std::string TReportEngine::CurrentElementPlace() const {
  if (!FCvCurEl || !FCvCurBand || !FCvBandSrc) return std::string();
  const auto& bands = FCvBandSrc->Bands;
  size_t bi = 0, ei = 0;
  while (bi < bands.size() && bands[bi].get() != FCvCurBand) ++bi;
  if (bi == bands.size()) return std::string();
  const auto& els = FCvCurBand->Elements;
  while (ei < els.size() && els[ei].get() != FCvCurEl) ++ei;
  if (ei == els.size()) return std::string();
  std::string label = FReportFile.empty() ? std::string("report") : FReportFile;
  if (!FSubreportChain.empty()) {
    auto it = FSubreportLabels.find(FSubreportChain.back());
    label = it != FSubreportLabels.end() ? it->second : FSubreportChain.back();
  }
  return ElementPlace(label, bi, ei, *FCvCurEl);
}

std::string TReportEngine::CheckTextLength(std::string Text) const {
  if (Text.size() <= kMaxElementTextBytes) return Text;
  std::string place = CurrentElementPlace();
  if (place.empty()) place = FReportFile.empty() ? std::string("report") : FReportFile;
  throw EQuilletError(place + ": text of " + std::to_string(Text.size()) + " bytes exceeds the limit of " +
                          std::to_string(kMaxElementTextBytes) + " bytes",
                      FReportFile);
}

void TReportEngine::WarnTextProblems(const std::vector<TTextProblem>& Problems, bool DataField) {
  // Names were checked before the walk, against the data sets and variables; what is left are
  // the problems a value brings, which only drawing can meet.
  if (!FCvCurEl || !FCvCurBand || !FCvBandSrc) return;
  for (const TTextProblem& p : Problems) {
    if (p.Problem.Kind == TExprProblemKind::UnknownName) continue;
    const std::string place = CurrentElementPlace();
    if (place.empty()) return;
    AddWarning(place + ": " + DescribeExprProblem(p.Problem) + " in " +
               (DataField ? "dataField " + Quote(p.Placeholder) : "[" + p.Placeholder + "]"));
  }
}

}  // namespace quillet
