// The band walker: decides which band prints next, how often, where, and when a page ends.
// Every band placement is the same four steps: compute the height, break the page if it does not
// fit, draw at the write position, advance the write position.
#include <string>

#include "data/data_set.h"
#include "engine/report_engine.h"
#include "expr/expr_evaluator.h"

namespace quillet {

namespace {

bool IsPageHeaderOrFooter(const TReportBand& B) { return B.BandType == btPageHeader || B.BandType == btPageFooter; }

const TReportBand* FirstTitleBand(const TReportPage& Page) {
  for (const auto& b : Page.Bands)
    if (b->BandType == btTitle) return b.get();
  return nullptr;
}

}  // namespace

void TReportEngine::CvExecuteReport() {
  FCvBandSrc = FCvPage;
  CvFindHdrFtr();
  FCvReportFirstPage = FCvPageNum + 1;
  FCvBaseX = 0;
  CvBeginPage();
  CvWalkBands(true);
  CvFinishPage();
}

void TReportEngine::CvFindHdrFtr() {
  FCvHdrBands.clear();
  FCvFtrBands.clear();
  FCvHdrH = 0;
  FCvFtrH = 0;
  for (const auto& b : FCvBandSrc->Bands) {
    if (b->BandType == btPageHeader) {
      FCvHdrBands.push_back(b.get());
      FCvHdrH += b->Height;
    } else if (b->BandType == btPageFooter) {
      FCvFtrBands.push_back(b.get());
      FCvFtrH += b->Height;
    }
  }
  FCvContentMaxY = static_cast<float>(FCvPage->PageHeight) - FCvPage->MarginBottom - FCvFtrH;
}

void TReportEngine::CvBeginPage() {
  if (CancelRequested()) throw EReportCancelled();
  // A band taller than the page body, or data without end, would otherwise add pages forever.
  if (FRunPages + ++FCvPassPages > FMaxPages) {
    const std::string file = FReportFile.empty() ? std::string("report") : FReportFile;
    throw EQuilletError(file + ": more than " + std::to_string(FMaxPages) +
                            " pages; stopped at the limit of pages per run",
                        FReportFile);
  }
  FCvPageNum += 1;
  SetVariable("PageNo", std::to_string(FCvPageNum));
  if (FCvTotalPages > 0) SetVariable("TotalPages", std::to_string(FCvTotalPages));
  const bool firstPage = FCvPageNum == FCvReportFirstPage;
  if (FCvCountOnly) {
    // The counting pass reserves every page header on every page, visible or not.
    FCvBodyY = FCvPage->MarginTop + FCvHdrH;
    if (firstPage)
      if (const TReportBand* title = FirstTitleBand(*FCvBandSrc)) FCvBodyY += title->Height;
    return;
  }
  if (FCvFireEvents && DoBeforePage(FCvPageNum, FCvTotalPages)) throw EReportCancelled();
  if (FCvCanvas)
    FCvCanvas->BeginPage(static_cast<float>(FCvPage->PageWidth), static_cast<float>(FCvPage->PageHeight));
  FCvBodyY = FCvPage->MarginTop;
  if (firstPage) {
    if (const TReportBand* title = FirstTitleBand(*FCvBandSrc)) {
      FCurrentDS = GetDataSource("");
      CvRenderBand(*title, FCvBodyY);
      FCvBodyY += title->Height;
    }
  }
  for (const TReportBand* hdr : FCvHdrBands) {
    if (!CvBandVisible(*hdr, firstPage)) continue;
    RenderPageBand(*hdr, FCvBodyY);
    FCvBodyY += hdr->Height;
  }
}

void TReportEngine::CvFinishPage() {
  TDataSet* saved = FCurrentDS;
  const bool firstPage = FCvPageNum == FCvReportFirstPage;
  // Footers stack on one line: every footer band starts at the same Y.
  const float y = static_cast<float>(FCvPage->PageHeight) - FCvPage->MarginBottom - FCvFtrH;
  for (const TReportBand* ftr : FCvFtrBands) {
    if (!CvBandVisible(*ftr, firstPage)) continue;
    FCurrentDS = (FCvMasterDS && FCvMasterDS->Active()) ? FCvMasterDS : nullptr;
    RenderPageBand(*ftr, y);
  }
  FCurrentDS = saved;
  if (FCvCountOnly) return;
  if (FCvCanvas) FCvCanvas->EndPage();
  if (FCvFireEvents) DoPageRendered(FCvPageNum, FCvTotalPages);
}

void TReportEngine::CvCheckBreak(float H) {
  // Half a point of tolerance keeps a band that ends on, or just past, the limit.
  if (FCvBodyY + H > FCvContentMaxY + 0.5f) {
    CvFinishPage();
    CvBeginPage();
  }
}

float TReportEngine::CvCalcBandHeight(const TReportBand& Band) {
  float h = Band.Height;
  if (!Band.AutoGrow || !FCvCanvas) return h;
  for (const auto& el : Band.Elements) {
    if ((el->ElemType != retLabel && el->ElemType != retEdit) || !el->WordWrap) continue;
    const std::string text = ResolveText(*el);
    if (text.empty()) continue;
    const TRptFont font = RptFont(el->FontName, el->FontSize, el->FontBold, el->FontItalic);
    const float bottom = FCvCanvas->MeasureWrappedHeight(text, el->Width, font) + el->Top;
    if (bottom > h) h = bottom;
  }
  return h;
}

bool TReportEngine::CvBandVisible(const TReportBand& Band, bool IsFirstPage) const {
  if (IsFirstPage && !Band.PrintOnFirstPage) return false;
  // C++'s remainder is signed like the rule wants: -3 % 2 is -1, which is not odd here.
  if (!Band.PrintOnOddPages && FCvPageNum % 2 == 1) return false;
  if (Band.PrintOnEvenPages) return true;
  return FCvPageNum % 2 != 0;
}

void TReportEngine::CvRenderBand(const TReportBand& Band, float Y) {
  // A page can take long (thousands of records in bands of no height, subreports fanning out):
  // a cancel request is honoured band by band, not only when the next page begins.
  if (CancelRequested()) throw EReportCancelled();
  // A band of the outer report starts a fresh budget of subreport expansions.
  if (FSubreportChain.empty()) FSubreportExpansions = 0;
  const TReportBand* savedBand = FCvCurBand;
  const TReportElement* savedEl = FCvCurEl;
  FCvCurBand = &Band;
  for (const auto& el : Band.Elements) {
    FCvCurEl = el.get();
    CvRenderEl(*el, Y, FCvPage->MarginLeft);
  }
  FCvCurBand = savedBand;
  FCvCurEl = savedEl;
}

void TReportEngine::RenderPageBand(const TReportBand& Band, float Y) {
  // Page headers and footers belong to the outer report: they draw at its own position and
  // outside any subreport that happens to be flowing when the page turns.
  const float savedBaseX = FCvBaseX;
  const int64_t savedExpansions = FSubreportExpansions;
  std::vector<std::string> savedChain;
  savedChain.swap(FSubreportChain);
  FCvBaseX = 0;
  auto restore = [&] {
    FCvBaseX = savedBaseX;
    FSubreportChain.swap(savedChain);
    FSubreportExpansions = savedExpansions;
  };
  try {
    CvRenderBand(Band, Y);
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

void TReportEngine::PlaceBand(const TReportBand& Band) {
  const float h = CvCalcBandHeight(Band);
  CvCheckBreak(h);
  CvRenderBand(Band, FCvBodyY);
  FCvBodyY += h;
}

std::string TReportEngine::EvalGroupValue(const std::string& Condition, TDataSet* DataSet) {
  if (Condition.empty() || !DataSet || !DataSet->Active()) return std::string();
  if (TField* f = DataSet->FindField(Condition)) return f->DisplayText();
  const TGetIdentValueFunc fieldFunc = [DataSet](const std::string& Name, TExprValue& Value) {
    TField* f = DataSet->FindField(Name);
    if (!f) return false;
    Value = f->Value();
    return true;
  };
  const TGetIdentValueFunc varFunc = [this](const std::string& Name, TExprValue& Value) {
    auto it = FVariables.find(Name);
    if (it == FVariables.end()) return false;
    Value = TExprValue::FromString(it->second);
    return true;
  };
  const TExprValue v = EvalExpression(Condition, fieldFunc, varFunc, TAggregateFunc());
  return v.IsNull() ? std::string() : v.ToText();
}

void TReportEngine::CvWalkBands(bool TopLevel) {
  bool firstMasterOfWalk = true;
  size_t i = 0;
  while (i < FCvBandSrc->Bands.size()) {
    const TReportBand& band = *FCvBandSrc->Bands[i];
    if (!IsPageHeaderOrFooter(band)) {
      if (CvBandHasFlowSubreport(band)) {
        const TReportElement* sub = nullptr;
        for (const auto& el : band.Elements)
          if (el->ElemType == retSubreport && el->SubReportFlow) {
            sub = el.get();
            break;
          }
        FCurrentDS = GetDataSource("");
        if (FSubreportChain.empty()) FSubreportExpansions = 0;
        // Only the strip above the subreport takes room; the band is drawn whole.
        if (sub->Top > 0) {
          CvCheckBreak(sub->Top);
          CvRenderBand(band, FCvBodyY);
          FCvBodyY += sub->Top;
        }
        CvRenderSubreportFlow(*sub);
        ++i;
        continue;
      }
      if (const TReportElement* table = CvBandDataTable(band)) {
        FCurrentDS = GetDataSource("");
        if (table->Top > 0) {
          CvCheckBreak(table->Top);
          CvRenderBand(band, FCvBodyY);
          FCvBodyY += table->Top;
        }
        CvRenderDataTable(*table, FCvPage->MarginLeft);
        ++i;
        continue;
      }
    }
    switch (band.BandType) {
      case btMasterData: {
        size_t next = i + 1;
        RunMasterBlock(i, next, TopLevel, firstMasterOfWalk);
        i = next;
        continue;
      }
      case btSummary:
        FCurrentDS = GetDataSource("");
        FAggScope = asAll;
        PlaceBand(band);
        FAggScope = asNone;
        break;
      case btPageBody:
        FCurrentDS = GetDataSource("");
        PlaceBand(band);
        break;
      default:
        break;
    }
    ++i;
  }
}

void TReportEngine::RunMasterBlock(size_t M, size_t& Next, bool TopLevel, bool& FirstMasterOfWalk) {
  const auto& bands = FCvBandSrc->Bands;
  const size_t n = bands.size();
  const TReportBand& master = *bands[M];

  // Group headers are the run right before the master, outermost first.
  size_t g = M;
  while (g > 0 && bands[g - 1]->BandType == btGroupHeader) --g;
  const size_t groupCount = M - g;
  size_t detailEnd = M + 1;
  while (detailEnd < n && (bands[detailEnd]->BandType == btDetailData || bands[detailEnd]->BandType == btSubdetailData))
    ++detailEnd;
  size_t footerEnd = detailEnd;
  while (footerEnd < n && bands[footerEnd]->BandType == btGroupFooter) ++footerEnd;
  auto header = [&](size_t k) -> const TReportBand& { return *bands[g + k]; };
  auto footer = [&](size_t k) -> const TReportBand* {
    return detailEnd + k < footerEnd ? bands[detailEnd + k].get() : nullptr;
  };
  const bool hasDetails = M + 1 < detailEnd;
  Next = footerEnd;

  std::vector<std::string> groupValues(groupCount);
  bool firstRecord = true;
  InitAggregates(static_cast<int32_t>(groupCount));

  TDataSet* ds = GetDataSource(master.DataSourceName);
  if (!ds || !ds->Active()) {
    // A master without a source prints once; one naming a missing source prints nothing.
    if (master.DataSourceName.empty()) {
      FCurrentDS = nullptr;
      FCvMasterDS = nullptr;
      PlaceBand(master);
    }
    return;
  }

  auto printFooter = [&](size_t k, bool Reset) {
    const TReportBand* f = footer(k);
    if (!f) return;
    FAggScope = asGroup;
    FAggScopeIdx = static_cast<int32_t>(k);
    PlaceBand(*f);
    FAggScope = asNone;
    if (Reset) ResetGroupAggregate(static_cast<int32_t>(k));
  };

  FRecordNo = 0;
  ds->First();
  while (!ds->Eof()) {
    FCurrentDS = ds;
    FCvMasterDS = ds;
    FRecordNo += 1;
    SetVariable("RecordNo", std::to_string(FRecordNo));

    size_t changed = groupCount;  // none
    for (size_t k = 0; k < groupCount; ++k)
      if (EvalGroupValue(header(k).GroupCondition, ds) != groupValues[k]) {
        changed = k;
        break;
      }

    if (!firstRecord && changed < groupCount) {
      // Footers of the ending groups see its last record.
      const TBookmark mark = ds->GetBookmark();
      ds->DisableControls();
      ds->Prior();
      for (size_t k = groupCount; k-- > changed;) printFooter(k, true);
      ds->GotoBookmark(mark);
      ds->EnableControls();
    }

    size_t from = groupCount;
    if (changed < groupCount)
      from = changed;
    else if (firstRecord && groupCount >= 1)
      from = 0;
    for (size_t k = from; k < groupCount; ++k) {
      groupValues[k] = EvalGroupValue(header(k).GroupCondition, ds);
      PlaceBand(header(k));
    }

    AccumulateRecord(ds);

    // A master with details and no groups starts a page per record.
    const bool pagePerRecord = TopLevel && groupCount == 0 && hasDetails;
    if (pagePerRecord) {
      if (!FirstMasterOfWalk) {
        CvFinishPage();
        CvBeginPage();
      }
      FirstMasterOfWalk = false;
    }

    firstRecord = false;
    FCurrentDS = ds;
    const float h = CvCalcBandHeight(master);
    if (!pagePerRecord) CvCheckBreak(h);
    CvRenderBand(master, FCvBodyY);
    FCvBodyY += h;

    size_t j = M + 1;
    while (j < detailEnd) {
      const TReportBand& detail = *bands[j];
      if (detail.BandType != btDetailData) {
        ++j;
        continue;
      }
      size_t k = j + 1;
      while (k < detailEnd && bands[k]->BandType == btSubdetailData) ++k;
      TDataSet* dds = GetDataSource(detail.DataSourceName);
      if (dds && dds->Active()) {
        dds->First();
        while (!dds->Eof()) {
          FCurrentDS = dds;
          AccumulateRecord(dds);
          PlaceBand(detail);
          for (size_t s = j + 1; s < k; ++s) {
            const TReportBand& sub = *bands[s];
            TDataSet* sds = GetDataSource(sub.DataSourceName);
            if (sds && sds->Active()) {
              sds->First();
              while (!sds->Eof()) {
                FCurrentDS = sds;
                PlaceBand(sub);
                sds->Next();
              }
            } else if (sub.DataSourceName.empty()) {
              FCurrentDS = nullptr;
              PlaceBand(sub);
            }
          }
          dds->Next();
        }
      } else {
        CvCheckBreak(detail.Height);
        FCurrentDS = nullptr;
        CvRenderBand(detail, FCvBodyY);
        FCvBodyY += detail.Height;
      }
      j = k;
    }
    ds->Next();
  }

  if (FRecordNo == 0 || groupCount == 0) return;
  // End of data: every open group closes, innermost first, on the last record.
  ds->DisableControls();
  ds->Last();
  FCurrentDS = ds;
  for (size_t k = groupCount; k-- > 0;) printFooter(k, false);
  ds->EnableControls();
}

}  // namespace quillet
