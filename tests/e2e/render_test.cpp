// quillet render end to end: reports over CSV, JSON and SQLite data become PDFs that outside
// tools accept, and the numbers on the pages are the ones the test works out from its own data.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "e2e_support.h"

namespace quillet::e2e {
namespace {

struct TOrder {
  int Id;
  int CustomerId;
  std::string Region;
  long long Cents;
};

struct TCustomer {
  int Id;
  std::string Name;
};

// Orders sorted by region (groups need sorted data), with amounts that have cents, one zero
// and a few negative ones (credit notes), and a few orders of a customer that does not exist.
std::vector<TOrder> MakeOrders(int Count) {
  static const char* regions[] = {"Adana", "Bursa", "Corum", "Denizli", "Erzurum"};
  std::mt19937 rng(20240611);
  std::vector<TOrder> v;
  for (int i = 1; i <= Count; ++i) {
    long long cents = static_cast<long long>(rng() % 900000) + 1;
    if (i % 37 == 0) cents = -cents / 10;
    if (i == 5) cents = 0;
    const int customer = i % 50 == 0 ? 99 : 1 + (i * 3) % 7;
    v.push_back({i, customer, regions[(i - 1) * 5 / Count], cents});
  }
  return v;
}

std::vector<TCustomer> MakeCustomers() {
  // Customer 8 has no orders: a master record with an empty detail.
  return {{1, "Anka"}, {2, "Birlik"}, {3, "Cinar"}, {4, "Deniz"}, {5, "Ege"}, {6, "Firat"}, {7, "Gediz"}, {8, "Hazar"}};
}

std::string OrdersCsv(const std::vector<TOrder>& Orders) {
  std::string s = "id,customer_id,region,amount\n";
  for (const auto& o : Orders)
    s += std::to_string(o.Id) + "," + std::to_string(o.CustomerId) + "," + o.Region + "," + Cents(o.Cents) + "\n";
  return s;
}

std::string OrdersJson(const std::vector<TOrder>& Orders) {
  // Amounts written as the CSV has them, so that the JSON reader parses the same decimals.
  std::string s = "[\n";
  for (size_t i = 0; i < Orders.size(); ++i) {
    const auto& o = Orders[i];
    s += "  {\"id\": " + std::to_string(o.Id) + ", \"customer_id\": " + std::to_string(o.CustomerId) +
         ", \"region\": \"" + o.Region + "\", \"amount\": " + Cents(o.Cents) + "}" +
         (i + 1 < Orders.size() ? ",\n" : "\n");
  }
  return s + "]\n";
}

std::string CustomersJson(const std::vector<TCustomer>& Customers) {
  TJson a = TJson::array();
  for (const auto& c : Customers) a.push_back({{"id", c.Id}, {"name", c.Name}});
  return a.dump(1);
}

void Exec(sqlite3* Db, const std::string& Sql) {
  char* err = nullptr;
  ASSERT_EQ(sqlite3_exec(Db, Sql.c_str(), nullptr, nullptr, &err), SQLITE_OK) << (err ? err : "");
}

// The same data as an SQLite database, written with the sqlite3 C API.
std::string MakeDatabase(const test::TTempDir& Dir, const std::vector<TOrder>& Orders,
                         const std::vector<TCustomer>& Customers) {
  const std::string file = Dir.File("shop.db");
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  Exec(db, "CREATE TABLE customers (id INTEGER PRIMARY KEY, name TEXT);"
           "CREATE TABLE orders (id INTEGER PRIMARY KEY, customer_id INTEGER, region TEXT, amount REAL);"
           "BEGIN");
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO orders VALUES (?, ?, ?, ?)", -1, &st, nullptr);
  for (const auto& o : Orders) {
    sqlite3_bind_int(st, 1, o.Id);
    sqlite3_bind_int(st, 2, o.CustomerId);
    sqlite3_bind_text(st, 3, o.Region.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_double(st, 4, static_cast<double>(o.Cents) / 100);
    EXPECT_EQ(sqlite3_step(st), SQLITE_DONE);
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  sqlite3_prepare_v2(db, "INSERT INTO customers VALUES (?, ?)", -1, &st, nullptr);
  for (const auto& c : Customers) {
    sqlite3_bind_int(st, 1, c.Id);
    sqlite3_bind_text(st, 2, c.Name.c_str(), -1, SQLITE_TRANSIENT);
    EXPECT_EQ(sqlite3_step(st), SQLITE_DONE);
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  Exec(db, "COMMIT");
  sqlite3_close(db);
  return file;
}

// One integer (or text) out of a query, for expectations computed by SQLite itself.
std::string QueryOne(const std::string& DbFile, const std::string& Sql) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(DbFile.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* st = nullptr;
  std::string v;
  if (sqlite3_prepare_v2(db, Sql.c_str(), -1, &st, nullptr) == SQLITE_OK && sqlite3_step(st) == SQLITE_ROW)
    if (const unsigned char* t = sqlite3_column_text(st, 0)) v = reinterpret_cast<const char*>(t);
  sqlite3_finalize(st);
  sqlite3_close(db);
  return v;
}

size_t Occurrences(const std::string& Text, const std::string& What) {
  size_t n = 0;
  for (size_t p = 0; (p = Text.find(What, p)) != std::string::npos; p += What.size()) ++n;
  return n;
}

std::string Join(const std::vector<std::string>& Pages) {
  std::string s;
  for (const auto& p : Pages) s += p + "\f";
  return s;
}

// pdftotext -layout pads columns with runs of blanks; one blank is enough for matching.
std::string Squeeze(const std::string& S) {
  std::string out;
  for (char c : S)
    if (!(c == ' ' && !out.empty() && out.back() == ' ')) out += c;
  return out;
}

// Grouped list: page numbers in the header, one group per region with a subtotal, a grand total.
std::string GroupedListReport(const std::string& MasterSource = "Orders") {
  return Report({
      Band("PageHeader", 20, {Label("hdr", 0, 0, 300, "Page [PageNo] of [TotalPages]")}),
      Band("GroupHeader", 18, {Label("grp", 0, 2, 300, "Region [region]")}, MasterSource, "region"),
      Band("MasterData", 14, {Label("row", 10, 0, 400, "Order [id] [FORMAT('%.2f', amount)]")}, MasterSource),
      Band("GroupFooter", 18,
           {Label("sub", 0, 2, 500, "Subtotal [region]: [FORMAT('%.2f', SUM(amount))] in [COUNT(id)] orders")},
           MasterSource),
      Band("Summary", 20, {Label("tot", 0, 2, 500, "Grand total: [FORMAT('%.2f', SUM(amount))] in [COUNT(id)] orders")}),
      Band("PageFooter", 16, {Label("ftr", 0, 0, 300, "Printed for [Company]")}),
  });
}

// Checks a rendered grouped list against the orders it was made from.
void ExpectGroupedList(const std::string& Pdf, const std::vector<TOrder>& Orders, const test::TTempDir& Dir) {
  EXPECT_EQ(PdfProblems(Pdf, Dir.File("raster")), "");
  const int pageCount = PdfPageCount(Pdf);
  ASSERT_GE(pageCount, 2) << "the data is meant to need several pages";
  const std::vector<std::string> pages = PdfPages(Pdf);
  ASSERT_EQ(pages.size(), static_cast<size_t>(pageCount));
  for (int i = 0; i < pageCount; ++i) {
    const std::string page = Squeeze(pages[static_cast<size_t>(i)]);
    EXPECT_EQ(Occurrences(page, "Page " + std::to_string(i + 1) + " of " + std::to_string(pageCount)), 1u)
        << "page " << i + 1;
    EXPECT_EQ(Occurrences(page, "Printed for Acme & Sons"), 1u) << "page " << i + 1;
  }
  const std::string all = Squeeze(Join(pages));
  std::map<std::string, std::pair<long long, int>> groups;
  long long total = 0;
  for (const auto& o : Orders) {
    EXPECT_EQ(Occurrences(all, "Order " + std::to_string(o.Id) + " " + Cents(o.Cents) + "\n"), 1u) << o.Id;
    groups[o.Region].first += o.Cents;
    groups[o.Region].second += 1;
    total += o.Cents;
  }
  for (const auto& [region, g] : groups) {
    EXPECT_EQ(Occurrences(all, "Region " + region + "\n"), 1u) << region;
    EXPECT_EQ(Occurrences(all, "Subtotal " + region + ": " + Cents(g.first) + " in " + std::to_string(g.second) +
                                   " orders"),
              1u)
        << region;
  }
  EXPECT_EQ(Occurrences(all, "Grand total: " + Cents(total) + " in " + std::to_string(Orders.size()) + " orders"), 1u);
}

TEST(Render, GroupedListOverEveryKindOfSource) {
  const std::vector<TOrder> orders = MakeOrders(260);
  struct Case {
    const char* Name;
    std::string Source;  // relative to the test folder
  } cases[] = {
      {"csv", "orders.csv"},
      {"json", "orders.json"},
      {"sqlite", "sqlite:shop.db:SELECT id, customer_id, region, amount FROM orders ORDER BY region, id"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    dir.Write("orders.csv", OrdersCsv(orders));
    dir.Write("orders.json", OrdersJson(orders));
    MakeDatabase(dir, orders, MakeCustomers());
    dir.Write("list.qdr", GroupedListReport());
    const TRun r = RunQuillet(
        {"render", "list.qdr", "-o", "list.pdf", "--data", "Orders=" + c.Source, "--var", "Company=Acme & Sons"},
        dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(r.Out, "");
    // Not a terminal: no progress line, just the summary.
    EXPECT_EQ(LineCount(r.Err), 1u) << r.Err;
    EXPECT_EQ(r.Err.rfind("quillet: wrote list.pdf: " + std::to_string(PdfPageCount(dir.File("list.pdf"))) + " pages, ", 0),
              0u)
        << r.Err;
    ExpectGroupedList(dir.File("list.pdf"), orders, dir);
    EXPECT_TRUE(FilesEndingWith(dir.Path, ".tmp").empty());
  }
}

// A customer on each page and, under it, only that customer's orders: once through an SQL
// parameter that reads the master's current record, once through --link over CSV and JSON.
TEST(Render, MasterDetail) {
  const std::vector<TOrder> orders = MakeOrders(200);
  const std::vector<TCustomer> customers = MakeCustomers();
  const std::string report = Report({
      Band("PageHeader", 20, {Label("hdr", 0, 0, 300, "Page [PageNo] of [TotalPages]")}),
      Band("MasterData", 20, {Label("cust", 0, 2, 300, "Customer [Customers.id] [Customers.name]")}, "Customers"),
      Band("DetailData", 14, {Label("item", 10, 0, 400, "Item [Orders.id] [FORMAT('%.2f', Orders.amount)]")},
           "Orders"),
      Band("Summary", 20, {Label("tot", 0, 2, 400, "All customers: [FORMAT('%.2f', SUM(amount))]")}),
  });
  struct Case {
    const char* Name;
    std::vector<std::string> Data;
  } cases[] = {
      {"sql parameter",
       {"--data", "Customers=sqlite:shop.db:SELECT id, name FROM customers ORDER BY id", "--data",
        "Orders=sqlite:shop.db:SELECT id, amount FROM orders WHERE customer_id = :Customers.id ORDER BY id"}},
      {"link", {"--data", "Customers=customers.json", "--data", "Orders=orders.csv", "--link",
                "Orders.customer_id=Customers.id"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    dir.Write("orders.csv", OrdersCsv(orders));
    dir.Write("customers.json", CustomersJson(customers));
    const std::string db = MakeDatabase(dir, orders, customers);
    dir.Write("md.qdr", report);
    std::vector<std::string> args = {"render", "md.qdr", "-o", "md.pdf"};
    args.insert(args.end(), c.Data.begin(), c.Data.end());
    const TRun r = RunQuillet(args, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    const std::string pdf = dir.File("md.pdf");
    EXPECT_EQ(PdfProblems(pdf, dir.File("raster")), "");
    // A master with a detail band starts a page per record.
    ASSERT_EQ(PdfPageCount(pdf), static_cast<int>(customers.size()));
    const std::vector<std::string> pages = PdfPages(pdf);
    ASSERT_EQ(pages.size(), customers.size());
    for (size_t i = 0; i < customers.size(); ++i) {
      SCOPED_TRACE(customers[i].Name);
      const std::string page = Squeeze(pages[i]);
      const std::string n = std::to_string(customers.size());
      EXPECT_EQ(Occurrences(page, "Page " + std::to_string(i + 1) + " of " + n), 1u);
      EXPECT_EQ(Occurrences(page, "Customer " + std::to_string(customers[i].Id) + " " + customers[i].Name), 1u);
      size_t mine = 0;
      for (const auto& o : orders)
        if (o.CustomerId == customers[i].Id) {
          ++mine;
          EXPECT_EQ(Occurrences(page, "Item " + std::to_string(o.Id) + " " + Cents(o.Cents) + "\n"), 1u) << o.Id;
        }
      EXPECT_EQ(Occurrences(page, "Item "), mine);
    }
    // Orders of customer 99 have no master record and never print; SQLite works the total out.
    const std::string expected =
        QueryOne(db, "SELECT printf('%.2f', SUM(CAST(ROUND(amount * 100) AS INTEGER)) / 100.0) FROM orders "
                     "WHERE customer_id IN (SELECT id FROM customers)");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(Occurrences(Squeeze(Join(pages)), "All customers: " + expected), 1u) << expected;
  }
}

// --main decides what a band with an empty data source walks; without it, the first --data.
TEST(Render, MainDataSource) {
  const std::vector<TOrder> orders = MakeOrders(30);
  const std::vector<TCustomer> customers = MakeCustomers();
  struct Case {
    std::vector<std::string> Extra;
    size_t Rows;
  } cases[] = {
      {{}, customers.size()},
      {{"--main", "Orders"}, orders.size()},
      {{"--main", "Customers"}, customers.size()},
  };
  for (const auto& c : cases) {
    test::TTempDir dir;
    dir.Write("orders.csv", OrdersCsv(orders));
    dir.Write("customers.json", CustomersJson(customers));
    dir.Write("main.qdr", Report({Band("MasterData", 14, {Label("row", 0, 0, 300, "Row [id]")})}));
    std::vector<std::string> args = {"render", "main.qdr",  "-o",   "main.pdf", "--data", "Customers=customers.json",
                                     "--data", "Orders=orders.csv"};
    args.insert(args.end(), c.Extra.begin(), c.Extra.end());
    const TRun r = RunQuillet(args, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(Occurrences(Join(PdfPages(dir.File("main.pdf"))), "Row "), c.Rows);
  }
}

// Several reports into one PDF: the pages follow each other and each report numbers its own,
// a report starting at page 5 counting its total in the same numbering.
TEST(Render, SeveralReportsIntoOnePdf) {
  const std::vector<TOrder> orders = MakeOrders(260);
  test::TTempDir dir;
  dir.Write("orders.csv", OrdersCsv(orders));
  dir.Write("customers.json", CustomersJson(MakeCustomers()));
  dir.Write("list.qdr", GroupedListReport());
  dir.Write("cust.qdr", Report({Band("PageHeader", 20, {Label("hdr", 0, 0, 300, "Sheet [PageNo] of [TotalPages]")}),
                                Band("MasterData", 300, {Label("row", 0, 0, 300, "Customer [name]")}, "Customers")},
                               5));
  const std::vector<std::string> data = {"--data", "Orders=orders.csv", "--data", "Customers=customers.json",
                                         "--var",  "Company=Acme & Sons"};
  const auto render = [&](std::vector<std::string> Reports, const std::string& Out) {
    std::vector<std::string> args = {"render"};
    args.insert(args.end(), Reports.begin(), Reports.end());
    args.insert(args.end(), {"-o", Out});
    args.insert(args.end(), data.begin(), data.end());
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File(Out), dir.File("raster")), "");
    return PdfPageCount(dir.File(Out));
  };
  const int listPages = render({"list.qdr"}, "list.pdf");
  const int custPages = render({"cust.qdr"}, "cust.pdf");
  EXPECT_EQ(custPages, 4);  // two 300-point bands per page, 8 customers
  ASSERT_EQ(render({"list.qdr", "cust.qdr"}, "both.pdf"), listPages + custPages);
  const std::vector<std::string> pages = PdfPages(dir.File("both.pdf"));
  ASSERT_EQ(pages.size(), static_cast<size_t>(listPages + custPages));
  for (int i = 0; i < listPages; ++i)
    EXPECT_NE(Squeeze(pages[i]).find("Page " + std::to_string(i + 1) + " of " + std::to_string(listPages)),
              std::string::npos);
  for (int i = 0; i < custPages; ++i)
    EXPECT_NE(Squeeze(pages[listPages + i]).find("Sheet " + std::to_string(5 + i) + " of 8"), std::string::npos)
        << pages[listPages + i];
}

TEST(Render, SameInputGivesTheSameBytes) {
  test::TTempDir dir;
  dir.Write("orders.csv", OrdersCsv(MakeOrders(120)));
  dir.Write("list.qdr", GroupedListReport());
  for (const char* out : {"a.pdf", "b.pdf"}) {
    const TRun r = RunQuillet({"render", "list.qdr", "-o", out, "--data", "Orders=orders.csv"}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
  }
  const std::string a = ReadFile(dir.File("a.pdf"));
  EXPECT_GT(a.size(), 1000u);
  EXPECT_TRUE(a == ReadFile(dir.File("b.pdf")));
}

// The level reaches the PDF writer: uncompressed page content shows its text operators.
TEST(Render, CompressionLevel) {
  test::TTempDir dir;
  dir.Write("orders.csv", OrdersCsv(MakeOrders(120)));
  dir.Write("list.qdr", GroupedListReport());
  std::map<std::string, std::string> files;
  for (const char* level : {"0", "12"}) {
    const std::string out = std::string("level") + level + ".pdf";
    const TRun r =
        RunQuillet({"render", "list.qdr", "-o", out, "--data", "Orders=orders.csv", "--compression", level}, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File(out), dir.File("raster")), "");
    files[level] = ReadFile(dir.File(out));
  }
  EXPECT_GE(Occurrences(files["0"], " Tj\n"), 120u);
  EXPECT_LT(Occurrences(files["12"], " Tj\n"), 5u);
  EXPECT_LT(files["12"].size(), files["0"].size());
}

// Missing pieces that only draw less: a band over a data source nobody registered, and a font
// family that is not installed (substituted, with a warning).
TEST(Render, ToleratedGaps) {
  test::TTempDir dir;
  TJson odd = Label("odd", 0, 30, 300, "Odd font");
  odd["fontName"] = "No Such Family Quillet";
  dir.Write("gaps.qdr", Report({Band("Title", 60, {Label("title", 0, 0, 300, "Hello there"), odd}),
                                Band("MasterData", 14, {Label("row", 0, 0, 300, "Ghost row [id]")}, "Ghost")}));
  const TRun r = RunQuillet({"render", "gaps.qdr", "-o", "gaps.pdf"}, dir.Str());
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Out, "");
  EXPECT_NE(r.Err.find("quillet: warning: "), std::string::npos) << r.Err;
  EXPECT_NE(r.Err.find("No Such Family Quillet"), std::string::npos) << r.Err;
  EXPECT_EQ(r.Err.rfind("quillet: wrote gaps.pdf: 1 page, "), r.Err.find("quillet: wrote")) << r.Err;
  const std::string pdf = dir.File("gaps.pdf");
  EXPECT_EQ(PdfProblems(pdf, dir.File("raster")), "");
  EXPECT_EQ(PdfPageCount(pdf), 1);
  const std::string text = Join(PdfPages(pdf));
  EXPECT_NE(text.find("Hello there"), std::string::npos);
  EXPECT_NE(text.find("Odd font"), std::string::npos);
  EXPECT_EQ(text.find("Ghost row"), std::string::npos);
}

// A family found only in a --fonts folder (as FAMILY.otf) is embedded without a warning; without
// the folder it is substituted, with a warning naming it.
TEST(Render, FontFolders) {
  const std::string face = test::RunTool("fc-match -f '%{file}' 'TeX Gyre Cursor:style=Regular' 2>/dev/null");
  if (face.size() < 4 || face.substr(face.size() - 4) != ".otf" || !fs::exists(face))
    GTEST_SKIP() << "TeX Gyre Cursor is not installed";
  test::TTempDir dir;
  fs::create_directory(dir.Path / "fonts");
  fs::copy_file(face, dir.Path / "fonts" / "QuilletFace.otf");
  TJson label = Label("t", 0, 0, 300, "Typewriter text");
  label["fontName"] = "QuilletFace";
  dir.Write("font.qdr", Report({Band("Title", 30, {label})}));
  struct Case {
    std::vector<std::string> Extra;
    bool Warns;
  } cases[] = {{{"--fonts", "fonts"}, false}, {{}, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Warns ? "without --fonts" : "with --fonts");
    std::vector<std::string> args = {"render", "font.qdr", "-o", "font.pdf"};
    args.insert(args.end(), c.Extra.begin(), c.Extra.end());
    const TRun r = RunQuillet(args, dir.Str());
    ASSERT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(r.Err.find("warning") != std::string::npos, c.Warns) << r.Err;
    EXPECT_EQ(r.Err.find("QuilletFace") != std::string::npos, c.Warns) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File("font.pdf"), dir.File("raster")), "");
    const std::string fonts = test::RunTool("pdffonts " + Quote(dir.File("font.pdf")) + " 2>&1");
    EXPECT_EQ(fonts.find("TeXGyreCursor") != std::string::npos, !c.Warns) << fonts;
    EXPECT_NE(Join(PdfPages(dir.File("font.pdf"))).find("Typewriter text"), std::string::npos);
  }
}

// Each failure: the right exit status, one line (a usage error adds the --help hint), nothing
// on stdout, and neither the output file nor a temporary file left behind.
TEST(Render, FailuresLeaveNothingBehind) {
  struct Case {
    const char* Name;
    std::vector<std::string> Args;  // after "render"
    int Status;
    std::string Mentions;
  } cases[] = {
      {"malformed report", {"bad.qdr", "-o", "out.pdf"}, 1, "bad.qdr"},
      {"missing report", {"none.qdr", "-o", "out.pdf"}, 1, "none.qdr"},
      {"one good report, one missing", {"list.qdr", "none.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv"}, 1,
       "none.qdr"},
      {"missing data file", {"list.qdr", "-o", "out.pdf", "--data", "Orders=nope.csv"}, 1, "nope.csv"},
      {"missing JSON file", {"list.qdr", "-o", "out.pdf", "--data", "Orders=nope.json"}, 1, "nope.json"},
      {"malformed CSV", {"list.qdr", "-o", "out.pdf", "--data", "Orders=broken.csv"}, 1, "broken.csv"},
      {"missing database", {"list.qdr", "-o", "out.pdf", "--data", "Orders=sqlite:nope.db:SELECT 1 AS x"}, 1,
       "nope.db"},
      {"bad SQL", {"list.qdr", "-o", "out.pdf", "--data", "Orders=sqlite:shop.db:SELEC id FROM orders"}, 1, "shop.db"},
      {"unknown table", {"list.qdr", "-o", "out.pdf", "--data", "Orders=sqlite:shop.db:SELECT * FROM nothing"}, 1,
       "nothing"},
      {"unknown --main", {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--main", "Sales"}, 2, "Sales"},
      {"--main without data", {"list.qdr", "-o", "out.pdf", "--main", "Sales"}, 2, "Sales"},
      {"unknown --link detail",
       {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--link", "Items.order_id=Orders.id"}, 2,
       "--link: unknown data source \"Items\""},
      {"unknown --link master",
       {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--link", "Orders.customer_id=Clients.id"}, 2,
       "--link: unknown data source \"Clients\""},
      {"--link to a missing field",
       {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--data", "Customers=customers.json", "--link",
        "Orders.customer_id=Customers.number"},
       1, "orders.csv: Field 'number' not found in Customers"},
      {"--link on an SQL set",
       {"list.qdr", "-o", "out.pdf", "--data", "Orders=sqlite:shop.db:SELECT * FROM orders", "--data",
        "Customers=customers.json", "--link", "Orders.customer_id=Customers.id"},
       1, "Orders"},
      {"unknown :Source.Field parameter",
       {"list.qdr", "-o", "out.pdf", "--data",
        "Orders=sqlite:shop.db:SELECT * FROM orders WHERE customer_id = :Clients.id"},
       2, "Clients"},
      {"unknown field in a parameter",
       {"list.qdr", "-o", "out.pdf", "--data", "Customers=customers.json", "--data",
        "Orders=sqlite:shop.db:SELECT * FROM orders WHERE customer_id = :Customers.number"},
       1, "number"},
      {"output folder missing", {"list.qdr", "-o", "no/such/dir/out.pdf", "--data", "Orders=orders.csv"}, 1,
       "no/such/dir/out.pdf"},
      {"missing font folder", {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--fonts", "nofonts"}, 1,
       "nofonts"},
      {"no output", {"list.qdr", "--data", "Orders=orders.csv"}, 2, "-o"},
      {"output over the report", {"list.qdr", "-o", "./list.qdr", "--data", "Orders=orders.csv"}, 2, "overwrite"},
      {"output over the data", {"list.qdr", "-o", "orders.csv", "--data", "Orders=./orders.csv"}, 2, "overwrite"},
      {"output over the database", {"list.qdr", "-o", "shop.db", "--data", "Orders=sqlite:shop.db:SELECT * FROM orders"},
       2, "overwrite"},
      {"no report", {"-o", "out.pdf"}, 2, "REPORT"},
      {"unknown source kind", {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.xml"}, 2, "orders.xml"},
      {"sqlite without SQL", {"list.qdr", "-o", "out.pdf", "--data", "Orders=sqlite:shop.db"}, 2, "sqlite:"},
      {"data without name", {"list.qdr", "-o", "out.pdf", "--data", "=orders.csv"}, 2, "--data"},
      {"data name twice",
       {"list.qdr", "-o", "out.pdf", "--data", "Orders=orders.csv", "--data", "Orders=orders.csv"}, 2, "twice"},
      {"link without field", {"list.qdr", "-o", "out.pdf", "--link", "Orders=Customers.id"}, 2, "--link"},
      {"compression too high", {"list.qdr", "-o", "out.pdf", "--compression", "13"}, 2, "13"},
      {"compression not a number", {"list.qdr", "-o", "out.pdf", "--compression", "high"}, 2, "high"},
      {"compression negative", {"list.qdr", "-o", "out.pdf", "--compression", "-1"}, 2, "--compression"},
      {"JPEG quality too high", {"list.qdr", "-o", "out.pdf", "--jpeg-quality", "101"}, 2, "101"},
      {"JPEG quality not a number", {"list.qdr", "-o", "out.pdf", "--jpeg-quality", "good"}, 2, "good"},
      {"JPEG quality for page images", {"list.qdr", "-o", "page", "--format", "png", "--jpeg-quality", "80"}, 2,
       "--jpeg-quality applies to --format pdf"},
      {"JPEG quality for a raster PDF", {"list.qdr", "-o", "out.pdf", "--format", "raster", "--jpeg-quality", "80"}, 2,
       "--jpeg-quality applies to --format pdf"},
      {"option without value", {"list.qdr", "-o", "out.pdf", "--var"}, 2, "--var"},
      {"unknown option", {"list.qdr", "-o", "out.pdf", "--colour"}, 2, "--colour"},
  };
  const std::vector<TOrder> orders = MakeOrders(40);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    dir.Write("orders.csv", OrdersCsv(orders));
    dir.Write("broken.csv", "id,amount\n1,\"12.5\n2,3\n");
    dir.Write("customers.json", CustomersJson(MakeCustomers()));
    MakeDatabase(dir, orders, MakeCustomers());
    dir.Write("list.qdr", GroupedListReport());
    dir.Write("bad.qdr", "{\"bands\": [ this is not JSON");
    const size_t before = dir.Count();
    std::vector<std::string> args = {"render"};
    args.insert(args.end(), c.Args.begin(), c.Args.end());
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, c.Status) << r.Err;
    EXPECT_EQ(r.Out, "");
    EXPECT_EQ(r.Err.rfind("quillet: ", 0), 0u) << r.Err;
    EXPECT_EQ(LineCount(r.Err), 1u) << r.Err;  // a usage error too: its hint to --help on the same line
    EXPECT_NE(r.Err.find(c.Mentions), std::string::npos) << r.Err;
    EXPECT_FALSE(fs::exists(dir.Path / "out.pdf"));
    EXPECT_EQ(dir.Count(), before);
    EXPECT_EQ(ReadFile(dir.Path / "list.qdr"), GroupedListReport());
    EXPECT_EQ(ReadFile(dir.Path / "orders.csv"), OrdersCsv(orders));
    EXPECT_EQ(ReadFile(dir.Path / "shop.db").rfind("SQLite format 3", 0), 0u);
  }
}

}  // namespace
}  // namespace quillet::e2e
