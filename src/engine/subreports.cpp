// Elements that reach beyond their rectangle: static subreports stamped into their box, flowing
// subreports walked on the outer report's pages, and data tables that grow a row per record and
// continue over pages with their header row repeated.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

#include "data/data_set.h"
#include "engine/report_engine.h"
#include "symbols/table_draw.h"

namespace quillet {

namespace {

// Nesting depth at which subreports stop expanding, whatever the files say.
constexpr int kMaxSubreportDepth = 16;

}  // namespace

bool TReportEngine::CvBandHasFlowSubreport(const TReportBand& Band) {
  for (const auto& el : Band.Elements)
    if (el->ElemType == retSubreport && el->SubReportFlow) return true;
  return false;
}

const TReportElement* TReportEngine::CvBandDataTable(const TReportBand& Band) {
  for (const auto& el : Band.Elements)
    if (el->ElemType == retTable && !el->DataField.empty() && el->Cols > 0) return el.get();
  return nullptr;
}

std::string TReportEngine::LocateSubreport(const TReportElement& El) const {
  if (El.SubReportFile.empty()) return std::string();
  std::filesystem::path p(El.SubReportFile);
  if (!p.is_absolute() && !FReportFile.empty()) p = std::filesystem::path(FReportFile).parent_path() / p;
  std::error_code ec;
  return std::filesystem::is_regular_file(p, ec) ? p.string() : std::string();
}

void TReportEngine::ClearSubreportCache() {
  FSubreportCache.clear();
  FSubreportProblems.clear();
  FSubreportCycleWarned.clear();
  FSubreportLabels.clear();
}

void TReportEngine::SetSubreportExpansionLimit(int64_t Limit) noexcept {
  FSubreportExpansionLimit = std::max<int64_t>(1, Limit);
}

TReportPage* TReportEngine::EnterSubreport(const TReportElement& El, std::string& Key) {
  if (CancelRequested()) throw EReportCancelled();
  if (static_cast<int>(FSubreportChain.size()) >= kMaxSubreportDepth) return nullptr;
  const std::string file = LocateSubreport(El);
  if (file.empty()) return nullptr;
  Key = SubreportKey(file);
  // A file already being drawn further up would expand without end.
  if (std::find(FSubreportChain.begin(), FSubreportChain.end(), Key) != FSubreportChain.end()) {
    if (FSubreportCycleWarned.insert(Key).second)
      AddWarning("subreport " + file + " includes itself; the inner copy is left empty");
    return nullptr;
  }
  if (++FSubreportExpansions > FSubreportExpansionLimit)
    throw EQuilletError("Subreport nesting too large in " + file, file);
  TReportPage* page = CachedSubreport(file);
  if (!page) return nullptr;  // damaged: the check of the report warned
  FSubreportChain.push_back(Key);
  return page;
}

void TReportEngine::LeaveSubreport() { FSubreportChain.pop_back(); }

void TReportEngine::CvRenderSubreport(const TReportElement& El, float X, float Y) {
  std::string key;
  TReportPage* sub = EnterSubreport(El, key);
  if (!sub) return;
  const float savedBaseX = FCvBaseX;
  // The band renderer adds the page margin and the base offset already in X; what is left is
  // the element's own left edge.
  FCvBaseX = X - FCvPage->MarginLeft;
  try {
    float cy = Y;
    for (const auto& band : sub->Bands) {
      if (band->BandType == btPageBody) continue;
      CvRenderBand(*band, cy);
      cy += band->Height;
      if (cy - Y >= El.Height) break;
    }
  } catch (...) {
    LeaveSubreport();
    FCvBaseX = savedBaseX;
    throw;
  }
  LeaveSubreport();
  FCvBaseX = savedBaseX;
}

void TReportEngine::CvRenderSubreportFlow(const TReportElement& El) {
  std::string key;
  TReportPage* subPage = EnterSubreport(El, key);
  if (!subPage) return;
  TReportPage& sub = *subPage;

  const float savedBaseX = FCvBaseX;
  TReportPage* savedBandSrc = FCvBandSrc;
  TDataSet* savedCurrent = FCurrentDS;
  TDataSet* savedMaster = FCvMasterDS;
  TAggrTable savedAll = std::move(FAggAll);
  std::vector<TAggrTable> savedGroup = std::move(FAggGroup);
  const TAggrScope savedScope = FAggScope;
  const int32_t savedScopeIdx = FAggScopeIdx;

  FCvBaseX = FCvBaseX + El.Left;
  FCvBandSrc = &sub;
  FAggAll = TAggrTable();
  FAggGroup.clear();
  FAggScope = asNone;
  ++FAggEpoch;
  auto restore = [&] {
    LeaveSubreport();
    FCvBaseX = savedBaseX;
    FCvBandSrc = savedBandSrc;
    FCurrentDS = savedCurrent;
    FCvMasterDS = savedMaster;
    FAggAll = std::move(savedAll);
    FAggGroup = std::move(savedGroup);
    FAggScope = savedScope;
    FAggScopeIdx = savedScopeIdx;
    ++FAggEpoch;
  };
  try {
    // The subreport's bands run on the outer pages: outer page size, margins, headers, footers
    // and numbering stay in force, and the outer report continues below the last band.
    CvWalkBands(false);
  } catch (...) {
    // The band source must not point at the freed subreport once this frame is gone.
    restore();
    throw;
  }
  restore();
}

void TReportEngine::CvRenderDataTable(const TReportElement& El, float OffsetX) {
  TDataSet* ds = GetDataSource(El.DataField);
  if (!ds || !ds->Active() || El.Cols <= 0) return;
  float rowH = El.Height / static_cast<float>(std::max<int32_t>(1, El.Rows));
  if (!(rowH > 0)) rowH = 16;
  const float x = OffsetX + El.Left + FCvBaseX;
  const TRptFont font = RptFont(El.FontName, El.FontSize, El.FontBold, El.FontItalic);
  const TRptTableStyle style = TableStyleOf(El);
  const size_t cols = static_cast<size_t>(El.Cols);

  std::vector<std::string> header(cols);
  for (size_t c = 0; c < cols && c < El.CellTexts.size(); ++c) header[c] = El.CellTexts[c];
  // A bare field name shows that field; an entry with brackets is a template used as written.
  std::vector<std::string> templates(cols);
  for (size_t c = 0; c < cols && c < El.ColFields.size(); ++c) {
    const std::string& entry = El.ColFields[c];
    if (entry.empty()) continue;  // no binding: an empty cell, not a literal "[]"
    templates[c] = entry.find('[') == std::string::npos ? "[" + entry + "]" : entry;
  }

  TDataSet* previous = FCurrentDS;
  FCurrentDS = ds;
  ds->DisableControls();
  auto restore = [&] {
    ds->EnableControls();
    FCurrentDS = previous;
  };
  try {
    ds->First();
    std::vector<std::string> cells;
    while (!ds->Eof()) {
      // No half-point tolerance here: the header and one row must fit.
      if (FCvBodyY + 2 * rowH > FCvContentMaxY) {
        CvFinishPage();
        CvBeginPage();
      }
      const double room = std::floor((static_cast<double>(FCvContentMaxY) - FCvBodyY) / rowH) - 1;
      const int64_t fit = room >= 1 ? static_cast<int64_t>(std::min(room, 1e9)) : 1;
      cells.assign(header.begin(), header.end());
      int64_t rowsDrawn = 0;
      while (rowsDrawn < fit && !ds->Eof()) {
        for (size_t c = 0; c < cols; ++c) cells.push_back(ResolveCellText(templates[c]));
        ++rowsDrawn;
        ds->Next();
      }
      const float tableH = static_cast<float>(rowsDrawn + 1) * rowH;
      if (!FCvCountOnly && FCvCanvas)
        DrawTable(*FCvCanvas, TRectF{x, FCvBodyY, x + El.Width, FCvBodyY + tableH}, static_cast<int32_t>(rowsDrawn + 1),
                  El.Cols, El.StrokeColor, El.FillColor, El.StrokeWidth, cells, font, El.TextColor, El.HorzAlign,
                  El.VertAlign, style);
      FCvBodyY += tableH;
      if (!ds->Eof()) {
        CvFinishPage();
        CvBeginPage();
      }
    }
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

}  // namespace quillet
