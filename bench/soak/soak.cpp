// Long run: many reports through the library in one process, each with its own engine, data sets
// and PDF file, as a server renders them. After every thousand the peak resident size of that
// thousand is printed (VmHWM, reset through /proc/self/clear_refs), so that memory that grows
// with the number of reports shows as a rising column.
//
//   soak [REPORTS] [--flat PERCENT]     default 10000 reports; with --flat, exits 1 when the peak
//                                       of the last thousand exceeds the first's by more than
//                                       PERCENT
//
// The reports cover what a run touches: CSV, JSON and in-memory data sets, grouped bands with
// aggregates, a memo, a static and a data table, a barcode, a QR code, an image and a subreport.
// With a few hundred reports it is the leak check of the sanitizer build (CTest soak.leaks).
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/error.h"
#include "data/csv_data_set.h"
#include "data/json_data_set.h"
#include "data/mem_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

namespace fs = std::filesystem;
using namespace quillet;
using TJson = nlohmann::ordered_json;

namespace {

TJson Element(const std::string& Type, float Left, float Top, float Width, float Height, const std::string& Text) {
  return TJson{{"type", Type},   {"left", Left},           {"top", Top},     {"width", Width},
               {"height", Height}, {"text", Text},         {"fontName", "DejaVu Sans"},
               {"fontSize", 9}};
}

TJson Band(const std::string& Type, float Height, std::vector<TJson> Elements, const std::string& Source = "",
           const std::string& Group = "") {
  return TJson{{"type", Type}, {"height", Height}, {"dataSource", Source}, {"groupCondition", Group},
               {"elements", std::move(Elements)}};
}

std::string Report(std::vector<TJson> Bands) {
  TJson r{{"version", "2.0"},
          {"page", {{"width", 595}, {"height", 842}, {"marginTop", 30}, {"marginBottom", 30}, {"marginLeft", 30},
                    {"marginRight", 30}}},
          {"bands", std::move(Bands)}};
  return r.dump(1);
}

void Write(const fs::path& P, const std::string& Bytes) { std::ofstream(P, std::ios::binary) << Bytes; }

// The files every report reads: the main report, its subreport, an image and two data files.
void WriteFixtures(const fs::path& Dir, const std::string& Logo) {
  TJson table = Element("Table", 0, 0, 300, 40, "");
  table["rows"] = 2;
  table["cols"] = 3;
  table["cells"] = {"Region", "Orders", "Total", "[Orders.region]", "[COUNT(amount)]", "[SUM(amount)]"};
  TJson dataTable = Element("Table", 0, 0, 400, 32, "");
  dataTable["dataField"] = "Customers";
  dataTable["rows"] = 2;
  dataTable["cols"] = 2;
  dataTable["cells"] = {"Customer", "City"};
  dataTable["colFields"] = {"name", "city"};
  TJson memo = Element("Memo", 0, 0, 520, 40,
                       "<b>Terms</b> of the order [Orders.id]: payable within <i>30 days</i>, [Company].");
  memo["wordWrap"] = true;
  TJson image = Element("Image", 430, 0, 90, 40, "");
  image["imageFile"] = "logo.png";
  image["imageScale"] = "Fit";
  TJson sub = Element("Subreport", 0, 0, 520, 30, "");
  sub["subReportFile"] = "footer.qdr";
  Write(Dir / "footer.qdr", Report({Band("PageBody", 20, {Element("Label", 0, 0, 400, 14, "Footer of [Company]")})}));
  Write(Dir / "soak.qdr",
        Report({Band("Title", 50, {Element("Label", 0, 0, 400, 20, "Orders of [Company]"), image}),
                Band("PageHeader", 20, {Element("Label", 0, 0, 300, 14, "Page [PageNo] of [TotalPages]")}),
                Band("GroupHeader", 18, {Element("Label", 0, 0, 300, 14, "Region [Orders.region]")}, "",
                     "region"),
                Band("MasterData", 16,
                     {Element("Label", 0, 0, 60, 14, "[Orders.id]"),
                      Element("Label", 70, 0, 200, 14, "[FORMAT('%.2n', Orders.amount)]"),
                      Element("Barcode", 280, 0, 120, 14, "[Orders.id]"), Element("Rectangle", 410, 2, 8, 8, "")},
                     "Orders"),
                Band("GroupFooter", 50, {table}),
                Band("Summary", 140,
                     {Element("Label", 0, 0, 300, 14, "Total [SUM(Orders.amount)]"),
                      Element("QRCode", 420, 0, 60, 60, "QLT:[Orders.id]:[SUM(Orders.amount)]"), memo}),
                Band("Summary", 40, {dataTable}), Band("Summary", 30, {sub})}));
  fs::copy_file(Logo, Dir / "logo.png", fs::copy_options::overwrite_existing);
  std::string customers = "[";
  for (int i = 0; i < 12; ++i)
    customers += std::string(i ? "," : "") + "{\"name\":\"Customer " + std::to_string(i) + "\",\"city\":\"City " +
                 std::to_string(i % 5) + "\"}";
  Write(Dir / "customers.json", customers + "]");
}

// Report number N's orders: between 20 and 100 records, so page counts vary from report to report.
void WriteOrders(const fs::path& File, int N) {
  std::string csv = "id,region,amount\n";
  const int count = 20 + (N * 37) % 81;
  for (int i = 0; i < count; ++i)
    csv += std::to_string(N * 1000 + i) + ",R" + std::to_string(i / 9) + "," + std::to_string((N + i * 13) % 997) +
           ".5\n";
  Write(File, csv);
}

void RenderOne(const fs::path& Dir, int N) {
  const fs::path csv = Dir / ("orders" + std::to_string(N % 8) + ".csv");
  WriteOrders(csv, N);
  TCsvDataSet orders("Orders", csv.string());
  TJsonDataSet customers("Customers", (Dir / "customers.json").string());
  TMemDataSet extra("Extra");
  extra.AddField("k", ftLargeint);
  extra.AppendRecord({TExprValue::FromInt(N)});
  orders.Open();
  customers.Open();
  extra.Open();
  TReportEngine engine;
  engine.SetDataSource("Orders", &orders);
  engine.SetDataSource("Customers", &customers);
  engine.SetDataSource("Extra", &extra);
  engine.SetDataSource(&orders);
  engine.SetVariable("Company", "Soak " + std::to_string(N));
  engine.ExportPDF((Dir / "soak.qdr").string(), (Dir / ("out" + std::to_string(N % 4) + ".pdf")).string());
}

// Peak resident size since the last reset, in kB (-1 when unknown).
long PeakKb() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

bool ResetPeak() {
  std::ofstream out("/proc/self/clear_refs");
  out << "5";
  out.flush();
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  int reports = 10000;
  double flatPercent = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--flat" && i + 1 < argc) {
      flatPercent = std::atof(argv[++i]);
    } else if (!a.empty() && a[0] != '-') {
      reports = std::atoi(a.c_str());
    } else {
      std::fprintf(stderr, "usage: soak [REPORTS] [--flat PERCENT]\n");
      return 2;
    }
  }
  if (reports < 1) reports = 1;
  std::string tmpl = (fs::temp_directory_path() / "quillet-soak.XXXXXX").string();
  if (!::mkdtemp(tmpl.data())) {
    std::perror("mkdtemp");
    return 1;
  }
  const fs::path dir = tmpl;
  int status = 0;
  try {
    WriteFixtures(dir, QUILLET_SOURCE_DIR "/examples/shop/logo.png");
    const bool canReset = ResetPeak();
    if (!canReset) std::printf("note: /proc/self/clear_refs cannot be written; peaks are since the start\n");
    std::printf("%-16s %12s %10s\n", "reports", "peak RSS kB", "reports/s");
    const int block = reports < 1000 ? reports : 1000;
    std::vector<long> peaks;
    auto started = std::chrono::steady_clock::now();
    for (int n = 0; n < reports; ++n) {
      RenderOne(dir, n);
      if ((n + 1) % block == 0 || n + 1 == reports) {
        const auto now = std::chrono::steady_clock::now();
        const double seconds = std::chrono::duration<double>(now - started).count();
        const int done = (n % block) + 1;
        const long peak = PeakKb();
        peaks.push_back(peak);
        std::printf("%6d..%-9d %12ld %10.1f\n", n + 2 - done, n + 1, peak, seconds > 0 ? done / seconds : 0.0);
        std::fflush(stdout);
        if (canReset) ResetPeak();
        started = std::chrono::steady_clock::now();
      }
    }
    if (peaks.size() >= 2 && peaks.front() > 0) {
      const double growth = 100.0 * (static_cast<double>(peaks.back()) - peaks.front()) / peaks.front();
      std::printf("last block's peak against the first's: %+.1f%%\n", growth);
      if (flatPercent >= 0 && growth > flatPercent) {
        std::printf("memory is not flat (more than %.1f%%)\n", flatPercent);
        status = 1;
      }
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "soak: %s\n", e.what());
    status = 1;
  }
  std::error_code ec;
  fs::remove_all(dir, ec);
  return status;
}
