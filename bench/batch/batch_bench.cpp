// Batch throughput: many small invoices, each its own engine, data sets and PDF file, rendered by
// one or more threads in one process. Font files and font lookups are shared through the
// process-wide caches; everything else belongs to one engine.
//
//   batch_bench [INVOICES] [THREADS...]      defaults: 1000 invoices, 1 and 2 threads
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/file_io.h"
#include "data/sqlite_data_set.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"

namespace fs = std::filesystem;
using namespace quillet;

namespace {

const char* const kOrders =
    "SELECT o.id, o.order_date, o.paid, o.reference, c.name AS customer, c.street, c.city, c.country, "
    "(SELECT ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2) FROM order_items i WHERE i.order_id = o.id) AS gross "
    "FROM orders o JOIN customers c ON c.id = o.customer_id WHERE o.id = ";
const char* const kItems =
    "SELECT p.name AS product, p.ean, i.quantity, i.unit_price, i.quantity * i.unit_price AS amount "
    "FROM order_items i JOIN products p ON p.id = i.product_id WHERE i.order_id = :Orders.id ORDER BY i.id";
const char* const kTotals =
    "SELECT SUM(i.quantity * i.unit_price) AS net, ROUND(SUM(i.quantity * i.unit_price) * 0.19, 2) AS vat, "
    "ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2) AS gross FROM order_items i WHERE i.order_id = :Orders.id";

// One invoice, one file: what a server does per request.
void RenderInvoice(TReportPage& Page, const std::string& ReportFile, const std::string& Db, int OrderId,
                   const std::string& OutFile) {
  TSqliteDataSet orders("Orders", Db, kOrders + std::to_string(OrderId));
  TSqliteDataSet items("Items", Db, kItems);
  TSqliteDataSet totals("Totals", Db, kTotals);
  items.AddParamSource(&orders);
  totals.AddParamSource(&orders);
  orders.Open();
  items.Open();
  totals.Open();
  TReportEngine engine;
  engine.SetDataSource("Orders", &orders);
  engine.SetDataSource("Items", &items);
  engine.SetDataSource("Totals", &totals);
  engine.SetDataSource(&orders);
  engine.SetReportFile(ReportFile);  // the logo is found beside the report
  engine.ExportPDF(Page, OutFile);
}

}  // namespace

int main(int argc, char** argv) {
  const int invoices = argc > 1 ? std::atoi(argv[1]) : 1000;
  std::vector<int> threadCounts;
  for (int i = 2; i < argc; ++i) threadCounts.push_back(std::atoi(argv[i]));
  if (threadCounts.empty()) threadCounts = {1, 2};

  const fs::path source = QUILLET_SOURCE_DIR;
  const fs::path work = fs::temp_directory_path() / ("quillet-batch-" + std::to_string(::getpid()));
  fs::create_directories(work);
  const std::string db = (work / "shop.db").string();
  {
    sqlite3* h = nullptr;
    const std::string sql = ReadWholeFile((source / "examples/shop/shop.sql").string());
    if (sqlite3_open(db.c_str(), &h) != SQLITE_OK || sqlite3_exec(h, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      std::fprintf(stderr, "cannot build the shop database: %s\n", sqlite3_errmsg(h));
      return 1;
    }
    sqlite3_close(h);
  }
  const std::string reportFile = (source / "examples/shop/invoice.qdr").string();

  std::printf("%d invoices of the demo shop, one PDF each\n", invoices);
  std::printf("%8s %10s %14s %12s\n", "threads", "seconds", "invoices/s", "output MB");
  for (int threads : threadCounts) {
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    std::atomic<int64_t> bytes{0};
    const auto t0 = std::chrono::steady_clock::now();
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
      pool.emplace_back([&, t] {
        try {
          // Each thread loads the report once and runs it for every invoice it takes.
          TReportPage page;
          page.LoadFromFile(reportFile);
          for (int i; (i = next.fetch_add(1)) < invoices;) {
            const std::string out = (work / ("inv-" + std::to_string(t) + ".pdf")).string();
            RenderInvoice(page, reportFile, db, 1001 + i % 36, out);
            bytes += static_cast<int64_t>(fs::file_size(out));
          }
        } catch (const std::exception& e) {
          std::fprintf(stderr, "thread %d: %s\n", t, e.what());
          failed = true;
        }
      });
    for (auto& th : pool) th.join();
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (failed) return 1;
    std::printf("%8d %10.2f %14.1f %12.1f\n", threads, secs, invoices / secs, bytes / 1e6);
  }
  fs::remove_all(work);
  return 0;
}
