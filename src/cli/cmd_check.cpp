// quillet check: loads a report definition and prints its structure, one line per band and
// element, so that a report can be inspected (and diffed) without the designer; then every
// warning: what the loader fell back on and, given the data options of render, what the report
// asks of its data sets and variables.
#include <cstdio>
#include <new>
#include <string>

#include "base/error.h"
#include "base/number_format.h"
#include "cli/cli.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

namespace quillet::cli {

namespace {

// Quotes a text for a one-line listing: control characters are escaped, the rest stays.
std::string Quoted(const std::string& S) {
  std::string out = "\"";
  for (const char ch : S) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c == 0x7F) {
      static const char* hex = "0123456789ABCDEF";
      out += "\\x";
      out += hex[c >> 4];
      out += hex[c & 15];
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

std::string Num(float V) { return FloatToShortest(V); }

std::string Join(const std::vector<std::string>& Items) {
  std::string out;
  for (size_t i = 0; i < Items.size(); ++i) out += (i ? ", " : "") + Items[i];
  return out;
}

void Line(std::string& Out, const std::string& Text) {
  Out += Text;
  Out += '\n';
}

std::string DescribeElement(const TReportElement& E) {
  std::string s = std::string(ElemTypeNames[static_cast<int>(E.ElemType)]) + " " + Quoted(E.Name) + " at " +
                  Num(E.Left) + "," + Num(E.Top) + " size " + Num(E.Width) + "x" + Num(E.Height);
  switch (E.ElemType) {
    case TRptElemType::retLine:
      s += " to " + Num(E.X2) + "," + Num(E.Y2);
      break;
    case TRptElemType::retTable:
      s += " table " + std::to_string(E.Rows) + "x" + std::to_string(E.Cols);
      if (E.HeaderRow) s += " with header row";
      break;
    case TRptElemType::retImage:
      s += " image " + Quoted(E.ImageFile) + " " + ImageScaleToStr(E.ImageScale);
      break;
    case TRptElemType::retSubreport:
      s += " subreport " + Quoted(E.SubReportFile) + (E.SubReportFlow ? " flowing" : "");
      break;
    case TRptElemType::retCheckBox:
    case TRptElemType::retRadioButton:
      s += E.Checked ? " checked" : " unchecked";
      break;
    default:
      break;
  }
  if (!E.DataField.empty()) s += " field " + Quoted(E.DataField);
  if (!E.Text.empty()) s += " text " + Quoted(E.Text);
  return s;
}

}  // namespace

std::string DescribeReport(const TReportPage& P) {
  std::string out;
  Line(out, "Page " + std::to_string(P.PageWidth) + " x " + std::to_string(P.PageHeight) + ", margins top " +
                Num(P.MarginTop) + " bottom " + Num(P.MarginBottom) + " left " + Num(P.MarginLeft) + " right " +
                Num(P.MarginRight));
  Line(out, "Page numbers start at " + std::to_string(P.StartPageNumber) +
                (P.ResetPageNumber ? ", restart with each report" : ", continue from the previous report") +
                "; grid " + std::to_string(P.GridSize) +
                (P.PrinterName.empty() ? std::string() : "; printer " + Quoted(P.PrinterName)));
  const std::pair<const char*, const std::string*> info[] = {{"title", &P.PdfTitle},
                                                             {"author", &P.PdfAuthor},
                                                             {"subject", &P.PdfSubject},
                                                             {"keywords", &P.PdfKeywords},
                                                             {"creator", &P.PdfCreator}};
  for (const auto& [label, value] : info)
    if (!value->empty()) Line(out, std::string("PDF ") + label + " " + Quoted(*value));
  for (const auto& [name, fields] : P.DataSources) Line(out, "Data source " + Quoted(name) + ": " + Join(fields));
  if (!P.VisibleDataSources.empty()) Line(out, "Visible data sources: " + Join(P.VisibleDataSources));
  Line(out, "Bands: " + std::to_string(P.Bands.size()));
  int n = 0;
  for (const auto& band : P.Bands) {
    std::string b = "  " + std::to_string(++n) + ". " + std::string(BandTypeNames[static_cast<int>(band->BandType)]) +
                    " height " + Num(band->Height);
    if (!band->DataSourceName.empty()) b += " data source " + Quoted(band->DataSourceName);
    if (!band->GroupCondition.empty()) b += " group condition " + Quoted(band->GroupCondition);
    if (band->AutoGrow) b += " auto-grow";
    if (!band->PrintOnFirstPage) b += " not-on-first-page";
    if (!band->PrintOnOddPages) b += " not-on-odd-pages";
    if (!band->PrintOnEvenPages) b += " not-on-even-pages";
    Line(out, b);
    for (const auto& e : band->Elements) Line(out, "     " + DescribeElement(*e));
  }
  return out;
}

std::string ReportWarnings(const TReportPage& P, const std::string& Label) {
  std::string out;
  for (size_t i = 0; i < P.Bands.size(); ++i) {
    const TReportBand& b = *P.Bands[i];
    // An empty source means the main data set; walked from a master band over that same set, it
    // uses up the master's records and the report ends after the first one.
    if ((b.BandType == btDetailData || b.BandType == btSubdetailData) && b.DataSourceName.empty())
      Line(out, "warning: " + Label + ": bands[" + std::to_string(i) + "] (" +
                    std::string(BandTypeNames[static_cast<int>(b.BandType)]) + "): " +
                    (b.BandType == btDetailData ? "detail" : "sub-detail") +
                    " band with an empty data source walks the main data set");
  }
  return out;
}

int RunCheck(const TArgs& Args) {
  const TRunOptions opt = ParseRunOptions(Args, TRunCommand::Check);
  const std::string& file = opt.Reports.front();
  TReportPage page;
  try {
    page.LoadFromFile(file);
  } catch (const EQuilletError& e) {
    if (!e.FileName().empty()) throw;
    throw EQuilletError(e.what(), file, e.Offset(), e.Detail());
  } catch (const std::bad_alloc&) {
    throw EQuilletError(file + ": out of memory", file);
  }
  std::vector<std::string> warnings;
  const bool withData = !opt.Data.empty() || !opt.Vars.empty();
  TReportEngine engine;
  if (withData) {
    // The sets are opened for their field lists; no record is walked.
    TRunData data(opt, engine);
    data.Open();
    engine.SetReportFile(file);
    engine.InjectSystemVariables();
    warnings = data.Warnings();
    for (std::string& w : engine.CheckReport(page, file)) warnings.push_back(std::move(w));
  } else {
    for (const std::string& w : page.LoadWarnings) warnings.push_back(file + ": " + w);
  }
  std::string out = DescribeReport(page);
  for (const std::string& w : warnings) Line(out, "warning: " + w);
  const std::string traps = ReportWarnings(page, file);
  out += traps;
  std::fwrite(out.data(), 1, out.size(), stdout);
  if (opt.Strict && (!warnings.empty() || !traps.empty())) {
    std::fflush(stdout);
    std::string first = !warnings.empty() ? warnings.front() : traps.substr(9, traps.find('\n') - 9);
    return StrictFailure(first);
  }
  return 0;
}

}  // namespace quillet::cli
