// The engine's front: properties, data sources, variables, text resolution, events and the
// messages of ShowReport.
#include <cstdio>
#include <string>
#include <string_view>

#include "data/data_set.h"
#include "engine/builtin_variables.h"
#include "engine/report_engine.h"
#include "expr/date_time.h"
#include "expr/formatting.h"
#include "registration/rpt_data_set.h"

namespace quillet {

namespace {

int32_t ClampDPI(int32_t Value) noexcept { return Value < 72 ? 72 : (Value > 600 ? 600 : Value); }

}  // namespace

TReportEngine::TReportEngine(TComponent* Owner) : TComponent(Owner) {
  FFieldFunc = [this](const std::string& Name, TExprValue& Value) { return ResolveFieldValue(Name, Value); };
  FVarFunc = [this](const std::string& Name, TExprValue& Value) { return ResolveVarValue(Name, Value); };
  FAggFunc = [this](const std::string& FuncName, const std::vector<TExprValue>& Args) {
    TExprValue result;
    EvalAggregate(FuncName, Args.empty() ? std::string() : Args.front().ToText(), result);
    return result;
  };
}

TReportEngine::~TReportEngine() {
  for (TDataSet* ds : FWatched) ds->RemoveFreeNotification(this);
}

void TReportEngine::Watch(TDataSet* DataSet) {
  if (DataSet && FWatched.insert(DataSet).second) DataSet->FreeNotification(this);
}

void TReportEngine::DataSetFreed(TDataSet* DataSet) {
  FWatched.erase(DataSet);
  for (auto it = FNamedDataSources.begin(); it != FNamedDataSources.end();)
    it = it->second == DataSet ? FNamedDataSources.erase(it) : std::next(it);
  if (FDataSource == DataSet) FDataSource = nullptr;
  if (FCurrentDS == DataSet) FCurrentDS = nullptr;
  if (FCvMasterDS == DataSet) FCvMasterDS = nullptr;
  if (FAggSlots.DataSet == DataSet) FAggSlots = TAggrSlots();
}

void TReportEngine::SetDataSource(TDataSet* Value) {
  Watch(Value);
  FDataSource = Value;
}

void TReportEngine::SetScrivel(TComponent* Value) {
  if (Value == FScrivel) return;
  if (FScrivel) RemoveFreeNotification(FScrivel);
  FScrivel = Value;
  if (FScrivel) FreeNotification(FScrivel);
}

void TReportEngine::Notification(TComponent* AComponent, TOperation Operation) {
  TComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent == FScrivel) FScrivel = nullptr;
}

void TReportEngine::SetPreviewDPI(int32_t Value) noexcept { FPreviewDPI = ClampDPI(Value); }
void TReportEngine::SetPrintDPI(int32_t Value) noexcept { FPrintDPI = ClampDPI(Value); }
void TReportEngine::SetExportDPI(int32_t Value) noexcept { FExportDPI = ClampDPI(Value); }

void TReportEngine::SetPdfCompressionLevel(int Level) {
  if (Level < 0 || Level > 12) throw EQuilletError("PDF compression level must be 0 to 12");
  FPdfCompressionLevel = Level;
}

void TReportEngine::SetPdfJpegQuality(int Q) {
  if (Q < 0 || Q > 100) throw EQuilletError("JPEG quality must be 0 to 100");
  FPdfJpegQuality = Q;
}

// ---- Data sources and variables -------------------------------------------------------------

void TReportEngine::SetDataSource(const std::string& Name, TDataSet* DataSet) {
  Watch(DataSet);
  FNamedDataSources[Name] = DataSet;
}

TDataSet* TReportEngine::GetDataSource(const std::string& Name) const {
  if (Name.empty()) return FDataSource;
  auto it = FNamedDataSources.find(Name);
  return it == FNamedDataSources.end() ? nullptr : it->second;
}

void TReportEngine::SetVariable(const std::string& Name, const std::string& Value) {
  auto it = FVariables.find(Name);
  if (it == FVariables.end())
    FVariables.emplace(Name, Value);
  else
    it->second.assign(Value);
}

std::string TReportEngine::GetVariable(const std::string& Name) const {
  auto it = FVariables.find(Name);
  return it == FVariables.end() ? std::string() : it->second;
}

void TReportEngine::InjectSystemVariables() {
  const double now = NowDateTime();
  FVariables.try_emplace("Date", FormatDateTime("dd.mm.yyyy", now));
  FVariables.try_emplace("Time", FormatDateTime("hh:nn", now));
  FVariables.try_emplace("DateTime", FormatDateTime("dd.mm.yyyy hh:nn", now));
  FVariables.try_emplace("PageNo", "1");
  FVariables.try_emplace("TotalPages", "?");
}

void TReportEngine::AutoDiscoverDataSources() {
  TComponent* owner = Owner();
  if (!owner) return;
  for (TComponent* c : owner->Components()) {
    auto* link = dynamic_cast<TRptDataSet*>(c);
    if (!link || !link->DataSet()) continue;
    if (link->ReportEngine() && link->ReportEngine() != this) continue;
    if (FNamedDataSources.try_emplace(link->EffectiveName(), link->DataSet()).second) Watch(link->DataSet());
  }
}

// ---- Text resolution ------------------------------------------------------------------------

bool TReportEngine::ResolveFieldValue(const std::string& Name, TExprValue& Value) const {
  const auto dot = Name.find('.');
  if (dot != std::string::npos) {
    TDataSet* ds = GetDataSource(Name.substr(0, dot));
    if (ds && ds->Active()) {
      if (TField* f = ds->FindField(std::string_view(Name).substr(dot + 1))) {
        Value = f->Value();
        return true;
      }
    }
    // "Other.Amount" still finds Amount in the current data set.
    if (FCurrentDS && FCurrentDS->Active()) {
      if (TField* f = FCurrentDS->FindField(std::string_view(Name).substr(dot + 1))) {
        Value = f->Value();
        return true;
      }
    }
    return false;
  }
  if (FCurrentDS && FCurrentDS->Active()) {
    if (TField* f = FCurrentDS->FindField(Name)) {
      Value = f->Value();
      return true;
    }
  }
  return false;
}

bool TReportEngine::ResolveVarValue(const std::string& Name, TExprValue& Value) const {
  if (const std::optional<TBuiltinVariable> builtin = FindBuiltinVariable(Name)) {
    switch (*builtin) {
      case bvDate:
        Value = TExprValue::FromString(FormatDateTime("dd.mm.yyyy", NowDateTime()));
        break;
      case bvTime:
        Value = TExprValue::FromString(FormatDateTime("hh:nn", NowDateTime()));
        break;
      case bvDateTime:
        Value = TExprValue::FromString(FormatDateTime("dd.mm.yyyy hh:nn", NowDateTime()));
        break;
      case bvPageNo:
        Value = TExprValue::FromString(GetVariable("PageNo"));
        break;
      case bvTotalPages:
        Value = TExprValue::FromString(GetVariable("TotalPages"));
        break;
      case bvRecordNo:
        Value = TExprValue::FromInt(FRecordNo);
        break;
    }
    return true;
  }
  auto it = FVariables.find(Name);
  if (it == FVariables.end()) return false;
  Value = TExprValue::FromString(it->second);
  return true;
}

std::string TReportEngine::ResolveText(const TReportElement& El) {
  const std::string& df = El.DataField;
  if (FCvDesign) return df.empty() ? El.Text : "[" + df + "]";
  if (!df.empty()) {
    const bool qualified = df.find('.') != std::string::npos;
    if (!qualified && FCurrentDS && FCurrentDS->Active()) {
      if (TField* f = FCurrentDS->FindField(df)) return CheckTextLength(f->DisplayText());
    }
    if (qualified || (FCurrentDS && FCurrentDS->Active())) {
      TExprProblem problem;
      TExprValue v = EvalExpression(df, FFieldFunc, FVarFunc, FAggFunc, &problem);
      if (problem) WarnTextProblems({TTextProblem{df, 1, std::move(problem)}}, true);
      return v.IsNull() ? std::string() : CheckTextLength(v.ToText());
    }
  }
  const std::string& t = El.Text;
  if (t.size() >= 2 && t.front() == '{' && t.back() == '}') {
    TExprValue v;
    if (ResolveVarValue(t.substr(1, t.size() - 2), v)) return CheckTextLength(v.ToText());
  }
  std::vector<TTextProblem> problems;
  std::string out = EvalText(t, FFieldFunc, FVarFunc, FAggFunc, &problems);
  if (!problems.empty()) WarnTextProblems(problems);
  return CheckTextLength(std::move(out));
}

std::string TReportEngine::ResolveCellText(const std::string& S) {
  if (S.empty() || FCvDesign) return S;
  std::vector<TTextProblem> problems;
  std::string out = EvalText(S, FFieldFunc, FVarFunc, FAggFunc, &problems);
  if (!problems.empty()) WarnTextProblems(problems);
  return CheckTextLength(std::move(out));
}

bool TReportEngine::PageNeedsTotalPages(const TReportPage* Page) {
  if (!Page) return false;
  for (const auto& band : Page->Bands)
    for (const auto& el : band->Elements) {
      if (el->Text.find("{TotalPages}") != std::string::npos || el->Text.find("[TotalPages]") != std::string::npos ||
          el->DataField.find("TotalPages") != std::string::npos)
        return true;
    }
  return false;
}

// ---- Events and messages --------------------------------------------------------------------

void TReportEngine::DoBeforeRender() {
  if (OnBeforeRender) OnBeforeRender(*this);
}

void TReportEngine::DoAfterRender() {
  if (OnAfterRender) OnAfterRender(*this);
}

void TReportEngine::DoPageRendered(int32_t PageNum, int32_t TotalPages) {
  if (OnPageRendered) OnPageRendered(*this, PageNum, TotalPages);
}

bool TReportEngine::DoBeforePage(int32_t PageNum, int32_t TotalPages) {
  bool cancel = false;
  if (OnBeforePage) OnBeforePage(*this, PageNum, TotalPages, cancel);
  return cancel;
}

void TReportEngine::ShowMessage(const std::string& Message) {
  if (FMessageHook)
    FMessageHook(Message);
  else
    std::fprintf(stderr, "%s\n", Message.c_str());
}

void TReportEngine::ShowReport() {
  if (FReportFile.empty()) throw EQuilletError("ReportEngine: ReportFile property is empty.");
  ShowReport(FReportFile, FOutputFile);
}

void TReportEngine::ShowReport(const std::string& OutputFile) {
  if (FReportFile.empty())
    throw EQuilletError(
        "ReportEngine: ReportFile property is empty. Create a .qdr file with Designer and assign it to ReportFile.");
  ShowReport(FReportFile, OutputFile);
}

void TReportEngine::ShowReport(const std::string&, const std::string&) {
  ShowMessage("PDF generation is only supported on Android.");
}

void TReportEngine::ShowReport(TReportPage&, const std::string&) {
  ShowMessage("PDF generation is only supported on Android.");
}

void TReportEngine::ShowReports(const std::vector<std::string>&, const std::string&) {
  ShowMessage("PDF generation is only supported on Android.");
}

void TReportEngine::ShowReports(const std::vector<TReportPage*>&, const std::string&) {
  ShowMessage("PDF generation is only supported on Android.");
}

}  // namespace quillet
