#include "designer/designer_data.h"

#include "data/data_set.h"

namespace quillet::designer {

namespace {

cli::TRunOptions WithoutReports(cli::TRunOptions Options) {
  // The designer reads the report itself; the data need no report.
  Options.Reports.clear();
  Options.ReadReports = false;
  return Options;
}

}  // namespace

TDesignerData::TDesignerData(cli::TRunOptions Options)
    : FOptions(WithoutReports(std::move(Options))), FData(std::make_unique<cli::TRunData>(FOptions, FEngine)) {}

TDesignerData::~TDesignerData() = default;

void TDesignerData::Open() {
  FData->Open();
  FOpen = true;
}

void TDesignerData::RegisterOn(TReportEngine& Engine) const { FData->RegisterOn(Engine); }

std::vector<TDataSourceSchema> TDesignerData::Schema() const {
  std::vector<TDataSourceSchema> r;
  for (const auto& set : FData->Sets()) r.push_back({set->Name(), ReadFieldNames(set.get())});
  return r;
}

}  // namespace quillet::designer
