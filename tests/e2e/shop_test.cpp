// The demo shop end to end: examples/shop/render.sh builds the database and renders the four
// reports once; the amounts on the pages are checked against SQL run here over the same database,
// and the barcodes and QR codes are read back from rasterised pages.
#include <gtest/gtest.h>
#include <sqlite3.h>

#define ZX_USE_UTF8 1
#include <ZXing/BarcodeFormat.h>
#include <ZXing/DecodeHints.h>
#include <ZXing/ImageView.h>
#include <ZXing/ReadBarcode.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "e2e_support.h"

namespace quillet::e2e {
namespace {

using ZXing::BarcodeFormat;
using TRow = std::vector<std::string>;

// Whole cents as the reports print money with '%.2n': two decimals, comma thousands separator.
std::string Money(long long C) {
  std::string s = Cents(C < 0 ? -C : C);
  for (int i = static_cast<int>(s.find('.')) - 3; i > 0; i -= 3) s.insert(static_cast<size_t>(i), ",");
  return C < 0 ? "-" + s : s;
}

// Runs of blanks from -layout become one blank.
std::string Squeeze(const std::string& S) {
  std::string out;
  for (char c : S)
    if (!(c == ' ' && !out.empty() && out.back() == ' ')) out += c;
  return out;
}

size_t Occurrences(const std::string& Text, const std::string& What) {
  size_t n = 0;
  for (size_t p = 0; (p = Text.find(What, p)) != std::string::npos; p += What.size()) ++n;
  return n;
}

struct TSymbol {
  BarcodeFormat Format;
  std::string Text;
};

class ShopTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (const char* tool : {"sqlite3", "qpdf", "pdftotext", "pdftoppm", "pdfinfo"})
      if (!test::HaveTool(tool)) {
        Skip = std::string(tool) + " is not installed; the demo shop checks need it";
        return;
      }
    Dir = std::make_unique<test::TTempDir>();
    int status = -1;
    const std::string log = test::RunTool(
        std::string("SOURCE_DATE_EPOCH=") + kSourceDateEpoch + " " + QUILLET_SOURCE_DIR "/examples/shop/render.sh " +
            Quote(Dir->Str()) + " " + Quote(QUILLET_CLI_PATH) + " " + Quote(Dir->File("shop.db")) + " 2>&1",
        &status);
    if (status != 0) Failure = "render.sh failed (" + std::to_string(status) + "): " + log;
  }
  static void TearDownTestSuite() { Dir.reset(); }

  void SetUp() override {
    if (!Skip.empty()) GTEST_SKIP() << Skip;
    ASSERT_EQ(Failure, "");
  }

  static std::string Pdf(const std::string& Name) { return Dir->File(Name + ".pdf"); }

  // Every row of a query over the shop database, each column as text.
  static std::vector<TRow> Query(const std::string& Sql) {
    sqlite3* db = nullptr;
    std::vector<TRow> rows;
    sqlite3_open_v2(Dir->File("shop.db").c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, Sql.c_str(), -1, &st, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    while (st && sqlite3_step(st) == SQLITE_ROW) {
      TRow row;
      for (int i = 0; i < sqlite3_column_count(st); ++i) {
        const unsigned char* t = sqlite3_column_text(st, i);
        row.push_back(t ? reinterpret_cast<const char*>(t) : "");
      }
      rows.push_back(std::move(row));
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
    return rows;
  }

  static int Pages(const std::string& Name) {
    const std::string info = test::RunTool("pdfinfo " + Quote(Pdf(Name)) + " 2>/dev/null");
    std::smatch m;
    return std::regex_search(info, m, std::regex(R"(\nPages:\s+(\d+))")) ? std::stoi(m[1]) : -1;
  }

  // The text of one page, laid out, blanks squeezed.
  static std::string PageText(const std::string& Name, int Page) {
    const std::string p = std::to_string(Page);
    return Squeeze(test::RunTool("pdftotext -layout -f " + p + " -l " + p + " " + Quote(Pdf(Name)) + " - 2>/dev/null"));
  }

  // Rasterises one page in grey at Dpi and reads every symbol of the given formats on it.
  static std::vector<TSymbol> ReadSymbols(const std::string& Name, int Page, int Dpi, ZXing::BarcodeFormats Formats) {
    const std::string base = Dir->File(Name + "-" + std::to_string(Page) + "-" + std::to_string(Dpi));
    const std::string p = std::to_string(Page);
    test::RunTool("pdftoppm -gray -singlefile -r " + std::to_string(Dpi) + " -f " + p + " -l " + p + " " +
                  Quote(Pdf(Name)) + " " + Quote(base));
    // Binary PGM: "P5", width, height, maxval (255), one whitespace, then the samples.
    const std::string pgm = ReadFile(base + ".pgm");
    std::smatch m;
    if (!std::regex_search(pgm, m, std::regex(R"(^P5\s+(\d+)\s+(\d+)\s+255\s)"))) return {};
    const int w = std::stoi(m[1]), h = std::stoi(m[2]);
    const size_t off = static_cast<size_t>(m.length(0));
    if (pgm.size() < off + static_cast<size_t>(w) * static_cast<size_t>(h)) return {};
    ZXing::DecodeHints hints;
    hints.setFormats(Formats);
    hints.setTryRotate(false);
    // The reader's downscaled second pass finds linear symbols again, and merging those
    // duplicates trips an assertion inside zxing-cpp 1.4; full resolution is all we need.
    hints.setTryDownscale(false);
    std::vector<TSymbol> found;
    const auto* px = reinterpret_cast<const uint8_t*>(pgm.data() + off);
    for (const auto& r : ZXing::ReadBarcodes(ZXing::ImageView(px, w, h, ZXing::ImageFormat::Lum), hints))
      if (r.isValid()) found.push_back({r.format(), r.text()});
    return found;
  }

  static size_t Count(const std::vector<TSymbol>& Found, BarcodeFormat Format, const std::string& Text) {
    size_t n = 0;
    for (const auto& s : Found) n += s.Format == Format && s.Text == Text;
    return n;
  }

  static std::string Describe(const std::vector<TSymbol>& Found) {
    std::string s;
    for (const auto& f : Found) s += std::string(ZXing::ToString(f.Format)) + ":" + f.Text + " ";
    return s.empty() ? "(nothing decoded)" : s;
  }

  static inline std::string Skip, Failure;
  static inline std::unique_ptr<test::TTempDir> Dir;
};

TEST_F(ShopTest, EveryPdfIsSoundAndRasterisesSilently) {
  for (const char* name : {"invoice", "sales", "labels", "letter"}) {
    int status = -1;
    const std::string check = test::RunTool("qpdf --check " + Quote(Pdf(name)) + " 2>&1", &status);
    EXPECT_EQ(status, 0) << name << ": " << check;
    const std::string err = test::RunTool("pdftoppm -r 50 -png " + Quote(Pdf(name)) + " " +
                                              Quote(Dir->File(std::string("raster-") + name)) + " 2>&1 >/dev/null",
                                          &status);
    EXPECT_EQ(status, 0) << name;
    EXPECT_EQ(err, "") << name;
    const int pages = Pages(name);
    EXPECT_GE(pages, 1) << name;
    size_t rasters = 0;  // one image per page
    for (const auto& f : FilesEndingWith(Dir->Path, ".png")) rasters += f.rfind(std::string("raster-") + name + "-", 0) == 0;
    EXPECT_EQ(rasters, static_cast<size_t>(pages)) << name;
  }
}

// Cents of a money expression in SQL, so that the test never rounds a double itself.
#define SQL_CENTS(X) "CAST(ROUND((" X ") * 100) AS INTEGER)"

TEST_F(ShopTest, SalesTotalsMatchTheDatabase) {
  const int pages = Pages("sales");
  ASSERT_GE(pages, 2) << "the sales list is meant to need several pages";
  std::string all;
  for (int p = 1; p <= pages; ++p) {
    const std::string text = PageText("sales", p);
    EXPECT_EQ(Occurrences(text, "Page " + std::to_string(p) + " of " + std::to_string(pages) + "\n"), 1u)
        << "page " << p << ":\n" << text;
    all += text;
  }
  const auto grand = Query("SELECT " SQL_CENTS("SUM(quantity * unit_price)") " FROM order_items");
  ASSERT_EQ(grand.size(), 1u);
  EXPECT_EQ(Occurrences(all, "Grand total " + Money(std::stoll(grand[0][0])) + "\n"), 1u) << all;
  const auto customers = Query(
      "SELECT c.name, " SQL_CENTS("SUM(i.quantity * i.unit_price)") " FROM customers c"
      " JOIN orders o ON o.customer_id = c.id JOIN order_items i ON i.order_id = o.id GROUP BY c.id");
  ASSERT_GE(customers.size(), 5u);
  for (const auto& c : customers)
    EXPECT_EQ(Occurrences(all, "Total " + c[0] + ": " + Money(std::stoll(c[1])) + "\n"), 1u) << c[0];
}

TEST_F(ShopTest, OneInvoicePerOrderWithItsOwnTotals) {
  const auto orders = Query(
      "SELECT o.id, " SQL_CENTS("SUM(i.quantity * i.unit_price)") ", "
      SQL_CENTS("ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2)") " FROM orders o"
      " JOIN order_items i ON i.order_id = o.id GROUP BY o.id ORDER BY o.id");
  ASSERT_GE(orders.size(), 10u);
  const int pages = Pages("invoice");
  EXPECT_GE(pages, static_cast<int>(orders.size())) << "every invoice is meant to start on a page of its own";
  // Each invoice's text runs from its heading to the next heading, across page ends.
  std::vector<std::pair<std::string, std::string>> invoices;  // id, text
  const std::regex heading(R"(\bInvoice (\d+)\b)");
  for (int p = 1; p <= pages; ++p) {
    const std::string text = PageText("invoice", p);
    size_t pos = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), heading), end; it != end; ++it) {
      if (!invoices.empty()) invoices.back().second += text.substr(pos, static_cast<size_t>(it->position()) - pos);
      invoices.push_back({(*it)[1], ""});
      pos = static_cast<size_t>(it->position());
    }
    if (invoices.empty()) ADD_FAILURE() << "page " << p << " comes before the first invoice";
    else invoices.back().second += text.substr(pos);
  }
  ASSERT_EQ(invoices.size(), orders.size());
  for (size_t i = 0; i < orders.size(); ++i) {
    const auto& o = orders[i];
    EXPECT_EQ(invoices[i].first, o[0]) << "invoice " << i + 1 << " in id order";
    const std::string& text = invoices[i].second;
    EXPECT_EQ(Occurrences(text, "Net " + Money(std::stoll(o[1])) + "\n"), 1u) << o[0] << ":\n" << text;
    EXPECT_EQ(Occurrences(text, "Total EUR " + Money(std::stoll(o[2])) + "\n"), 1u) << o[0] << ":\n" << text;
  }
}

TEST_F(ShopTest, OneLetterPerCustomerWhoOrdered) {
  const auto customers = Query(
      "SELECT c.name, COUNT(DISTINCT o.id), " SQL_CENTS("SUM(i.quantity * i.unit_price)") " FROM customers c"
      " JOIN orders o ON o.customer_id = c.id JOIN order_items i ON i.order_id = o.id GROUP BY c.id ORDER BY c.name");
  ASSERT_GE(customers.size(), 5u);
  ASSERT_EQ(Pages("letter"), static_cast<int>(customers.size()));
  for (size_t i = 0; i < customers.size(); ++i) {
    const auto& c = customers[i];
    const std::string text = PageText("letter", static_cast<int>(i) + 1);
    EXPECT_EQ(Occurrences(text, "Dear " + c[0] + ",\n"), 1u) << text;
    EXPECT_EQ(Occurrences(text, "You placed " + c[1] + " orders with us, worth EUR " + Money(std::stoll(c[2])) + "."),
              1u)
        << text;
  }
}

TEST_F(ShopTest, FirstLabelPageCarriesEanAndCode128OfTheFirstProducts) {
  const std::string text = PageText("labels", 1);
  std::vector<std::string> onPage;
  const std::regex sku(R"(SKU QS-(\d+)\b)");
  for (std::sregex_iterator it(text.begin(), text.end(), sku), end; it != end; ++it) onPage.push_back((*it)[1]);
  const auto products = Query("SELECT id, ean FROM products ORDER BY id");
  ASSERT_GE(onPage.size(), 3u) << text;
  ASSERT_LT(onPage.size(), products.size()) << "the last page is meant to hold the other symbologies";
  // Read from the whole page: each symbol has to stand clear of its neighbour and of the label frame.
  const auto found = ReadSymbols("labels", 1, 200, BarcodeFormat::EAN13 | BarcodeFormat::Code128);
  EXPECT_EQ(found.size(), 2 * onPage.size()) << Describe(found);
  for (size_t i = 0; i < onPage.size(); ++i) {
    ASSERT_EQ(onPage[i], products[i][0]) << "labels in id order";
    EXPECT_EQ(Count(found, BarcodeFormat::EAN13, products[i][1]), 1u) << products[i][1] << ": " << Describe(found);
    EXPECT_EQ(Count(found, BarcodeFormat::Code128, "QS-" + products[i][0]), 1u) << Describe(found);
  }
}

TEST_F(ShopTest, SymbolsDecode) {
  // The summary of the labels shows the last product's values.
  const auto last = Query("SELECT id, ean FROM products ORDER BY id DESC LIMIT 1");
  const auto order = Query("SELECT o.reference, " SQL_CENTS("ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2)")
                           " FROM orders o JOIN order_items i ON i.order_id = o.id GROUP BY o.id ORDER BY o.id LIMIT 1");
  const auto customer = Query("SELECT c.id FROM customers c WHERE EXISTS (SELECT 1 FROM orders o"
                              " WHERE o.customer_id = c.id) ORDER BY c.name LIMIT 1");
  ASSERT_TRUE(last.size() == 1 && order.size() == 1 && customer.size() == 1);
  const std::string id = last[0][0], ean = last[0][1];
  const int labelsLast = Pages("labels");
  struct {
    const char* Pdf;
    int Page;
    BarcodeFormat Format;
    std::string Text;
  } cases[] = {
      {"labels", labelsLast, BarcodeFormat::Code39, "QUILLET-" + id},
      {"labels", labelsLast, BarcodeFormat::UPCA, "036000291452"},  // with its check digit
      {"labels", labelsLast, BarcodeFormat::EAN8, "96385074"},
      {"labels", labelsLast, BarcodeFormat::ITF, ean + "0"},
      {"labels", labelsLast, BarcodeFormat::Codabar, id + "40156"},  // the start and stop letters frame it
      {"labels", labelsLast, BarcodeFormat::QRCode, "https://shop.example.com/p/" + id},
      {"invoice", 1, BarcodeFormat::QRCode, order[0][0] + " EUR " + Cents(std::stoll(order[0][1]))},
      {"letter", 1, BarcodeFormat::Code39, "CUST-" + customer[0][0]},
  };
  for (const auto& c : cases) {
    const auto found = ReadSymbols(c.Pdf, c.Page, 200, c.Format);
    EXPECT_EQ(Count(found, c.Format, c.Text), 1u)
        << c.Pdf << " page " << c.Page << ", " << ZXing::ToString(c.Format) << " " << c.Text << ": " << Describe(found);
  }
}

}  // namespace
}  // namespace quillet::e2e
