// A report built in code, fed from memory and written as a PDF: the smallest program that uses
// Quillet as a library. Usage: embed [OUT.pdf] (default out.pdf).
#include <cstdio>
#include <memory>
#include <string>

#include "data/mem_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

using namespace quillet;

namespace {

// A label in Band; Text may hold [expressions], DataField names a field shown as it is.
TReportElement& AddLabel(TReportBand& Band, float Left, float Width, std::string Text, bool Bold = false,
                         TRptHorzAlign Align = rhaLeft) {
  auto el = std::make_unique<TReportElement>();
  el->ElemType = retLabel;
  el->Left = Left;
  el->Top = 0;
  el->Width = Width;
  el->Height = Band.Height;
  el->Text = std::move(Text);
  el->FontName = "DejaVu Sans";
  el->FontSize = 10;
  el->FontBold = Bold;
  el->HorzAlign = Align;
  Band.Elements.push_back(std::move(el));
  return *Band.Elements.back();
}

TReportBand& AddBand(TReportPage& Page, TBandType Type, float Height) {
  auto band = std::make_unique<TReportBand>();
  band->BandType = Type;
  band->Height = Height;
  Page.Bands.push_back(std::move(band));
  return *Page.Bands.back();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string out = argc > 1 ? argv[1] : "out.pdf";
  try {
    // The data: one record per order line. The application owns the set; the engine only reads it.
    TMemDataSet orders("Orders");
    orders.AddField("Item", ftString);
    orders.AddField("Qty", ftInteger);
    orders.AddField("Amount", ftFloat);
    orders.AppendRecord({TExprValue::FromString("Paper, A4"), TExprValue::FromInt(5), TExprValue::FromFloat(24.5)});
    orders.AppendRecord({TExprValue::FromString("Toner"), TExprValue::FromInt(2), TExprValue::FromFloat(118.0)});
    orders.AppendRecord({TExprValue::FromString("Stapler"), TExprValue::FromInt(1), TExprValue::FromFloat(12.25)});
    orders.AppendRecord({TExprValue::FromString("Folders"), TExprValue::FromInt(20), TExprValue::FromFloat(30.0)});
    orders.Open();  // the engine walks open data sets only; a closed one leaves the master band empty

    // The report: an A4 page (the defaults) with four bands.
    TReportPage page;
    page.PdfTitle = "Orders";
    TReportBand& title = AddBand(page, btTitle, 40);
    AddLabel(title, 0, 400, "Orders of [Customer]", true).FontSize = 16;

    TReportBand& header = AddBand(page, btPageHeader, 20);
    AddLabel(header, 0, 250, "Item", true);
    AddLabel(header, 260, 60, "Qty", true, rhaRight);
    AddLabel(header, 330, 100, "Amount", true, rhaRight);
    AddLabel(header, 435, 120, "Page [PageNo] of [TotalPages]", false, rhaRight);

    // A master band with no data-source name walks the engine's main data set.
    TReportBand& detail = AddBand(page, btMasterData, 18);
    AddLabel(detail, 0, 250, "").DataField = "Item";
    AddLabel(detail, 260, 60, "", false, rhaRight).DataField = "Qty";
    AddLabel(detail, 330, 100, "[FORMAT('%.2n', Amount)]", false, rhaRight);

    TReportBand& summary = AddBand(page, btSummary, 24);
    AddLabel(summary, 0, 250, "Total", true);
    AddLabel(summary, 330, 100, "[FORMAT('%.2n', SUM(Amount))]", true, rhaRight);

    TReportEngine engine;
    engine.SetDataSource(&orders);
    engine.SetVariable("Customer", "Acme Ltd");
    engine.ExportPDF(page, out);
    for (const auto& w : engine.Warnings()) std::fprintf(stderr, "warning: %s\n", w.c_str());
    std::printf("%s\n", out.c_str());
  } catch (const EQuilletError& e) {
    std::fprintf(stderr, "embed: %s\n", e.what());
    return 1;
  }
  return 0;
}
