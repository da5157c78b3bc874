// The limits that bound what one run may cost (kMaxSubreportExpansions included), each met right at the limit (the run succeeds)
// and just past it, through the quillet program: a structural limit ends the run with one line,
// exit 1 and no file; a font past its limit is only replaced, with a warning.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "canvas/pdf_font.h"
#include "data/csv_data_set.h"
#include "data/json_data_set.h"
#include "e2e_support.h"
#include "engine/report_engine.h"
#include "reportdef/report_model.h"
#include "../support/font_damage.h"

namespace quillet::e2e {
namespace {

const std::string kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// One limit, once at it and once past it. Setup writes the files for the given side and returns
// the arguments after "render"; Message is what the one line of the failure says.
struct TLimitCase {
  const char* Name;
  std::function<std::vector<std::string>(const test::TTempDir&, bool Past)> Setup;
  std::string Message;
};

std::string Repeat(char C, size_t N) { return std::string(N, C); }

// "[" * N + "]" * N: N levels of nesting.
std::string Nested(int N) { return Repeat('[', static_cast<size_t>(N)) + Repeat(']', static_cast<size_t>(N)); }

std::vector<std::string> RenderArgs(std::vector<std::string> Extra) {
  std::vector<std::string> a = {"t.qdr", "-o", "out.pdf"};
  a.insert(a.end(), Extra.begin(), Extra.end());
  return a;
}

// A list of Rows records, one band of Height points each.
std::vector<std::string> RowsReport(const test::TTempDir& Dir, int Rows, float Height, std::vector<std::string> Extra) {
  std::string csv = "id\n";
  for (int i = 1; i <= Rows; ++i) csv += std::to_string(i) + "\n";
  Dir.Write("rows.csv", csv);
  Dir.Write("t.qdr", Report({Band("MasterData", Height, {Label("r", 0, 0, 100, "[id]")}, "Rows")}));
  Extra.insert(Extra.end(), {"--data", "Rows=rows.csv"});
  return RenderArgs(Extra);
}

// A report that shows the field "a" of one CSV record, in a label whose text is Text.
std::vector<std::string> CellReport(const test::TTempDir& Dir, const std::string& Csv, const std::string& Text) {
  Dir.Write("cells.csv", Csv);
  Dir.Write("t.qdr", Report({Band("MasterData", 20, {Label("l", 0, 0, 300, Text)}, "Cells")}));
  return RenderArgs({"--data", "Cells=cells.csv"});
}

TEST(Limits, AtTheLimitRunsAndPastItStops) {
  const size_t cell = kMaxCsvCellBytes;
  const size_t record = static_cast<size_t>(kMaxCsvRecordBytes);
  const TLimitCase cases[] = {
      {"pages per run, --max-pages",
       [](const test::TTempDir& D, bool Past) {
         return RowsReport(D, 12, 500, {"--max-pages", Past ? "11" : "12"});  // one record a page
       },
       "t.qdr: more than 11 pages; stopped at the limit of pages per run"},
      {"pages per run, the default",
       [](const test::TTempDir& D, bool Past) {
         // At the default the run would draw 100,000 pages: the case at the limit counts them only
         // up to a smaller --max-pages of the same report.
         return Past ? RowsReport(D, static_cast<int>(kMaxPagesPerRun) + 1, 500, {})
                     : RowsReport(D, 300, 500, {"--max-pages", "300"});
       },
       "t.qdr: more than 100000 pages; stopped at the limit of pages per run"},
      {"text of one element",
       [cell](const test::TTempDir& D, bool Past) {
         // The longest cell, shown with one byte more or less around it.
         return CellReport(D, "a\n" + Repeat('x', cell) + "\n", Past ? "[a]!" : "[a]");
       },
       "t.qdr: bands[0].elements[0] (Label \"l\"): text of 1048577 bytes exceeds the limit of 1048576 bytes"},
      {"CSV cell, unquoted",
       [cell](const test::TTempDir& D, bool Past) {
         return CellReport(D, "a,b\n" + Repeat('x', cell + Past) + ",1\n", "[b]");
       },
       "Invalid CSV data in cells.csv: a cell longer than 1048576 bytes (record at byte 4)"},
      {"CSV cell, quoted with line breaks",
       [cell](const test::TTempDir& D, bool Past) {
         std::string text = Repeat('y', cell + Past);
         for (size_t i = 100; i < text.size(); i += 1000) text[i] = '\n';
         return CellReport(D, "a,b\n\"" + text + "\",1\n", "[b]");
       },
       "Invalid CSV data in cells.csv: a cell longer than 1048576 bytes (record at byte 4)"},
      {"CSV record",
       [cell, record](const test::TTempDir& D, bool Past) {
         // Two cells within their limit whose record, with the comma, is the limit or a byte more.
         return CellReport(D, "a,b\n" + Repeat('x', cell) + "," + Repeat('z', record - cell - 1 + Past) + "\n", "[a]");
       },
       "Invalid CSV data in cells.csv: a record longer than 2097152 bytes (record at byte 4)"},
      {"JSON data nesting",
       [](const test::TTempDir& D, bool Past) {
         // The array of records and a record take two levels; the value the rest.
         D.Write("deep.json", "[{\"a\":" + Nested(kMaxJsonDataNesting - 2 + Past) + "}]");
         D.Write("t.qdr", Report({Band("MasterData", 20, {Label("l", 0, 0, 100, "x")}, "Deep")}));
         return RenderArgs({"--data", "Deep=deep.json"});
       },
       "Invalid JSON data in deep.json: nesting deeper than 256 levels"},
      {"report file nesting",
       [](const test::TTempDir& D, bool Past) {
         // Root, bands, a band, elements and an element: five levels around the text's value.
         TJson label = Label("l", 0, 0, 100, "x");
         std::string doc = Report({Band("Title", 20, {label})});
         const std::string text = "\"text\": \"x\"";
         doc.replace(doc.find(text), text.size(), "\"text\": " + Nested(kMaxReportNesting - 5 + Past));
         D.Write("t.qdr", doc);
         return RenderArgs({});
       },
       "t.qdr: Invalid report data: nested deeper than 64 levels"},
      {"static table cells",
       [](const test::TTempDir& D, bool Past) {
         TJson table = Label("T", 0, 0, 500, "");
         table["type"] = "Table", table["rows"] = 400, table["cols"] = Past ? 251 : 250, table["height"] = 700;
         D.Write("t.qdr", Report({Band("Title", 720, {table})}));
         return RenderArgs({});
       },
       "t.qdr: Table T: 400x251 cells exceed the limit of 100000"},
      {"data table columns",
       [](const test::TTempDir& D, bool Past) {
         D.Write("rows.csv", "id\n1\n2\n");
         TJson table = Label("D", 0, 0, 500, "");
         table["type"] = "Table", table["dataField"] = "Rows", table["rows"] = 2;
         table["cols"] = Past ? kMaxDataTableColumns + 1 : kMaxDataTableColumns;
         D.Write("t.qdr", Report({Band("Title", 40, {table})}));
         return RenderArgs({"--data", "Rows=rows.csv"});
       },
       "t.qdr: Table D: 2x1001 cells exceed the limit of 1000"},
      {"subreport expansions beneath one band",
       [](const test::TTempDir& D, bool Past) {
         // t.qdr holds a.qdr, which holds 99 times b.qdr (and past the limit one leaf more), each
         // b.qdr 100 leaves: 1 + 99 + 9,900 expansions, the limit.
         const auto holder = [](const std::string& File, int Count, float Height) {
           std::vector<TJson> subs;
           for (int i = 0; i < Count; ++i) {
             TJson s = Label("s" + std::to_string(i), 0, 0, 100, "");
             s["type"] = "Subreport", s["subReportFile"] = File, s["height"] = Height;
             subs.push_back(s);
           }
           return subs;
         };
         D.Write("leaf.qdr", Report({Band("Summary", 10, {Label("l", 0, 0, 50, "leaf")})}));
         D.Write("b.qdr", Report({Band("Summary", 20, holder("leaf.qdr", 100, 10))}));
         std::vector<TJson> a = holder("b.qdr", 99, 20);
         if (Past) a.push_back(holder("leaf.qdr", 1, 10)[0]);
         D.Write("a.qdr", Report({Band("Summary", 20, a)}));
         D.Write("t.qdr", Report({Band("Title", 40, holder("a.qdr", 1, 20))}));
         return RenderArgs({});
       },
       "Subreport nesting too large in leaf.qdr"},
      {"report file array",
       [](const test::TTempDir& D, bool Past) {
         TJson table = Label("T", 0, 0, 500, "");
         table["type"] = "Table", table["rows"] = 2, table["cols"] = 2;
         table["colWidths"] = std::vector<int>(kMaxReportArrayItems + Past, 1);
         D.Write("t.qdr", Report({Band("Title", 40, {table})}));
         return RenderArgs({});
       },
       "t.qdr: Invalid report data: an array of more than 100000 entries"},
      {"report file size",
       [](const test::TTempDir& D, bool Past) {
         std::string doc = Report({Band("Title", 20, {Label("l", 0, 0, 100, "x")})});
         doc += Repeat(' ', static_cast<size_t>(kMaxReportFileBytes) - doc.size() + Past);
         D.Write("t.qdr", doc);
         return RenderArgs({});
       },
       "t.qdr: Invalid report data: a file of 67108865 bytes exceeds the limit of 67108864"},
  };
  for (const TLimitCase& c : cases) {
    SCOPED_TRACE(c.Name);
    for (const bool past : {false, true}) {
      SCOPED_TRACE(past ? "past the limit" : "at the limit");
      test::TTempDir dir;
      std::vector<std::string> args = c.Setup(dir, past);
      args.insert(args.begin(), "render");
      const size_t before = dir.Count();
      const TRun r = RunQuillet(args, dir.Str());
      if (!past) {
        EXPECT_EQ(r.Status, 0) << r.Err.substr(0, 500);
        EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
        continue;
      }
      EXPECT_EQ(r.Status, 1);
      EXPECT_EQ(r.Err, "quillet: " + c.Message + "\n");
      EXPECT_EQ(dir.Count(), before);  // no PDF, no temporary
    }
  }
}

// A font whose directory gives the table "GSUB" (which the reader does not use) Length bytes at the
// end of the file: the file is extended to hold them, sparsely.
void WriteFontWithTable(const std::string& From, const fs::path& To, uint32_t Length) {
  std::string font = ReadFile(From);
  const size_t entry = test::TableEntry(font, "GSUB");
  const uint32_t offset = static_cast<uint32_t>((font.size() + 3) / 4 * 4);
  test::PutBigEndian32(font, entry + 8, offset);
  test::PutBigEndian32(font, entry + 12, Length);
  std::ofstream(To, std::ios::binary) << font;
  fs::resize_file(To, uint64_t{offset} + Length);
}

// A font file is read tolerantly: a table longer than the limit refuses the file, and the face
// fontconfig offers for the family stands in, with one warning.
TEST(Limits, FontTableSize) {
  if (!fs::exists(kDejaVuSans)) GTEST_SKIP() << "DejaVu Sans is not installed";
  for (const bool past : {false, true}) {
    SCOPED_TRACE(past ? "past the limit" : "at the limit");
    test::TTempDir dir;
    fs::create_directory(dir.Path / "fonts");
    WriteFontWithTable(kDejaVuSans, dir.Path / "fonts" / "Quillet Wide.ttf",
                       static_cast<uint32_t>(kMaxFontTableBytes + past));
    TJson label = Label("l", 0, 0, 300, "Wide tables");
    label["fontName"] = "Quillet Wide";
    dir.Write("t.qdr", Report({Band("Title", 40, {label})}));
    const TRun r = RunQuillet({"render", "t.qdr", "-o", "out.pdf", "--fonts", "fonts"}, dir.Str());
    EXPECT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
    if (past) {
      EXPECT_EQ(LineCount(r.Err), 2u) << r.Err;  // the warning and the summary
      EXPECT_NE(r.Err.find("quillet: warning: Font \"Quillet Wide\": Gecersiz font: GSUB tablosu cok buyuk ("),
                std::string::npos)
          << r.Err;
    } else {
      EXPECT_EQ(r.Err.find("warning"), std::string::npos) << r.Err;
    }
  }
}

// Usage mistakes in --max-pages are usage errors (exit 2), caught before anything is read.
TEST(Limits, MaxPagesOption) {
  test::TTempDir dir;
  for (const char* value : {"0", "-3", "many", "1000000000", ""}) {
    SCOPED_TRACE(value);
    const TRun r = RunQuillet({"render", "t.qdr", "-o", "out.pdf", "--max-pages", value}, dir.Str());
    EXPECT_EQ(r.Status, 2);
    EXPECT_NE(r.Err.find("--max-pages expects a number of pages"), std::string::npos) << r.Err;
  }
}

}  // namespace
}  // namespace quillet::e2e
