// Hostile inputs through quillet render, one table. What the run depends on (the report file, its
// data) ends the run when it is malformed: one line, exit 1, nothing written and an old PDF left as
// it was. What the reader reads tolerantly (images, fonts, subreport files) is drawn as missing or
// replaced: exit 0, one warning line, and a PDF that qpdf and poppler accept. And numbers far beyond
// any page never reach the PDF as numbers a reader rejects.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "e2e_support.h"
#include "../support/font_damage.h"

namespace quillet::e2e {
namespace {

const std::string kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

struct THostileCase {
  const char* Name;
  // Writes t.qdr and whatever it reads into the folder; returns the arguments after -o out.pdf.
  std::function<std::vector<std::string>(const test::TTempDir&)> Setup;
  std::string Says;  // a part of the one line
};

std::string MinimalReport(std::vector<TJson> Elements) { return Report({Band("Title", 200, std::move(Elements))}); }

// A PNG signature and header of W x H pixels, then Rest.
std::string PngHeader(uint32_t W, uint32_t H, const std::string& Rest) {
  std::string ihdr = "IHDR";
  for (uint32_t v : {W, H})
    for (int i = 3; i >= 0; --i) ihdr += static_cast<char>(v >> (8 * i));
  ihdr += std::string("\x08\x02\x00\x00\x00", 5);
  return std::string("\x89PNG\r\n\x1a\n", 8) + std::string("\x00\x00\x00\x0d", 4) + ihdr + "CRC!" + Rest;
}

TJson Image(const std::string& File) {
  TJson i = Label("img", 0, 0, 100, "");
  i["type"] = "Image", i["imageFile"] = File, i["height"] = 80;
  return i;
}

TJson Subreport(const std::string& File) {
  TJson s = Label("sub", 0, 40, 300, "");
  s["type"] = "Subreport", s["subReportFile"] = File, s["height"] = 60;
  return s;
}

TJson FontLabel(const std::string& Family) {
  TJson l = Label("f", 0, 100, 300, "Text in a damaged font");
  l["fontName"] = Family;
  return l;
}

// The report t.qdr draws a label in the family "Quillet Hostile", whose file in fonts/ is Bytes.
std::vector<std::string> FontCase(const test::TTempDir& D, const std::string& Bytes) {
  fs::create_directory(D.Path / "fonts");
  D.Write("fonts/Quillet Hostile.ttf", Bytes);
  D.Write("t.qdr", MinimalReport({FontLabel("Quillet Hostile")}));
  return {"--fonts", "fonts"};
}

TEST(HostileInputs, FatalInputsStopTheRun) {
  const THostileCase cases[] = {
      {"report: not JSON", [](const test::TTempDir& D) { D.Write("t.qdr", "<report/>"); return std::vector<std::string>{}; },
       "t.qdr: Invalid report data: line 1, column 1"},
      {"report: empty file", [](const test::TTempDir& D) { D.Write("t.qdr", ""); return std::vector<std::string>{}; },
       "t.qdr: Invalid report data"},
      {"report: an array at the root",
       [](const test::TTempDir& D) { D.Write("t.qdr", "[{\"version\":\"2.0\"}]"); return std::vector<std::string>{}; },
       "t.qdr: Invalid report data: not a JSON object"},
      {"report: nested past the limit",
       [](const test::TTempDir& D) {
         D.Write("t.qdr", "{\"version\":\"2.0\",\"x\":" + std::string(100000, '[') + std::string(100000, ']') + "}");
         return std::vector<std::string>{};
       },
       "t.qdr: Invalid report data: nested deeper than 64 levels"},
      {"report: a huge array of bands",
       [](const test::TTempDir& D) {
         std::string bands;
         for (int i = 0; i < 300000; ++i) bands += i ? ",{}" : "{}";
         D.Write("t.qdr", "{\"version\":\"2.0\",\"bands\":[" + bands + "]}");
         return std::vector<std::string>{};
       },
       "t.qdr: Invalid report data: an array of more than 100000 entries"},
      {"report: table cells past the limit",
       [](const test::TTempDir& D) {
         TJson t = Label("Grid", 0, 0, 100, "");
         t["type"] = "Table", t["rows"] = 1000000, t["cols"] = 1000000;
         D.Write("t.qdr", MinimalReport({t}));
         return std::vector<std::string>{};
       },
       "t.qdr: Table Grid: 1000000x1000000 cells exceed the limit of 100000"},
      {"CSV: an over-long line",
       [](const test::TTempDir& D) {
         D.Write("d.csv", "a,b,c\n" + std::string(800000, 'x') + "," + std::string(800000, 'y') + "," +
                              std::string(800000, 'z') + "\n");
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "[D.a]")}));
         return std::vector<std::string>{"--data", "D=d.csv"};
       },
       "Invalid CSV data in d.csv: a record longer than 2097152 bytes"},
      {"CSV: an over-long cell in an unclosed quote",
       [](const test::TTempDir& D) {
         D.Write("d.csv", "a,b\n\"" + std::string(3000000, 'q') + "\n");
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "[D.a]")}));
         return std::vector<std::string>{"--data", "D=d.csv"};
       },
       "Invalid CSV data in d.csv: a cell longer than 1048576 bytes"},
      {"JSON data: nested too deep",
       [](const test::TTempDir& D) {
         D.Write("d.json", "[{\"a\":" + std::string(5000, '[') + std::string(5000, ']') + "}]");
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "[D.a]")}));
         return std::vector<std::string>{"--data", "D=d.json"};
       },
       "Invalid JSON data in d.json: nesting deeper than 256 levels"},
      {"JSON data: not JSON",
       [](const test::TTempDir& D) {
         D.Write("d.json", "id,name\n1,x\n");
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "[D.a]")}));
         return std::vector<std::string>{"--data", "D=d.json"};
       },
       "Invalid JSON data in d.json: "},
  };
  for (const THostileCase& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    std::vector<std::string> args = c.Setup(dir);
    dir.Write("out.pdf", "the old file");
    args.insert(args.begin(), {"render", "t.qdr", "-o", "out.pdf"});
    const size_t files = dir.Count();
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, 1);
    EXPECT_EQ(LineCount(r.Err), 1u) << r.Err.substr(0, 300);
    EXPECT_EQ(r.Err.rfind("quillet: " + c.Says, 0), 0u) << r.Err.substr(0, 300);
    EXPECT_EQ(ReadFile(dir.File("out.pdf")), "the old file");
    EXPECT_EQ(dir.Count(), files);
  }
}

TEST(HostileInputs, TolerantInputsAreReplaced) {
  const bool haveFont = fs::exists(kDejaVuSans);
  std::vector<THostileCase> cases = {
      {"image: a PNG cut short",
       [](const test::TTempDir& D) {
         D.Write("cut.png", PngHeader(64, 64, std::string("\x00\x00\x01\x00IDAT\x78\x9c", 10)));
         D.Write("t.qdr", MinimalReport({Image("cut.png")}));
         return std::vector<std::string>{};
       },
       "image file cut.png cannot be read"},
      {"image: a PNG of absurd size",
       [](const test::TTempDir& D) {
         D.Write("huge.png", PngHeader(2000000000u, 2000000000u, std::string(64, '\0')));
         D.Write("t.qdr", MinimalReport({Image("huge.png")}));
         return std::vector<std::string>{};
       },
       "image file huge.png cannot be read"},
      {"image: a JPEG of garbage",
       [](const test::TTempDir& D) {
         std::string junk = "\xFF\xD8\xFF\xE0";
         for (int i = 0; i < 3000; ++i) junk += static_cast<char>((i * 7919) & 0xFF);
         D.Write("junk.jpg", junk);
         D.Write("t.qdr", MinimalReport({Image("junk.jpg")}));
         return std::vector<std::string>{};
       },
       "image file junk.jpg cannot be read"},
      {"subreport: not JSON",
       [](const test::TTempDir& D) {
         D.Write("sub.qdr", "this is no report");
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "Outer"), Subreport("sub.qdr")}));
         return std::vector<std::string>{};
       },
       "subreport file \"sub.qdr\" cannot be read (Invalid report data"},
      {"subreport: a table past the limit",
       [](const test::TTempDir& D) {
         TJson t = Label("Grid", 0, 0, 100, "");
         t["type"] = "Table", t["rows"] = 100000, t["cols"] = 100000;
         D.Write("sub.qdr", MinimalReport({t}));
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "Outer"), Subreport("sub.qdr")}));
         return std::vector<std::string>{};
       },
       "subreport file \"sub.qdr\" cannot be read (Table Grid: 100000x100000 cells exceed the limit"},
      {"subreport: itself",
       [](const test::TTempDir& D) {
         D.Write("t.qdr", MinimalReport({Label("l", 0, 0, 100, "Outer"), Subreport("t.qdr")}));
         return std::vector<std::string>{};
       },
       "includes itself; the inner copy is left empty"},
  };
  if (haveFont) {
    const std::string font = ReadFile(kDejaVuSans);
    cases.push_back({"font: cut short", [font](const test::TTempDir& D) { return FontCase(D, font.substr(0, 300)); },
                     "Font \"Quillet Hostile\": Gecersiz font"});
    cases.push_back({"font: garbage",
                     [](const test::TTempDir& D) { return FontCase(D, std::string("\x00\x01\x00\x00", 4) + std::string(2000, '\xEE')); },
                     "Font \"Quillet Hostile\": Gecersiz font"});
    cases.push_back({"font: a table past the limit",
                     [font](const test::TTempDir& D) {
                       std::string f = font;
                       test::PutBigEndian32(f, test::TableEntry(f, "GPOS") + 12, 0xFFFFFFF0u);
                       return FontCase(D, f);
                     },
                     "Font \"Quillet Hostile\": Gecersiz font: GPOS tablosu cok buyuk"});
  }
  for (const THostileCase& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    std::vector<std::string> args = c.Setup(dir);
    args.insert(args.begin(), {"render", "t.qdr", "-o", "out.pdf"});
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(LineCount(r.Err), 2u) << r.Err;  // the warning, then the summary
    EXPECT_EQ(r.Err.rfind("quillet: warning: ", 0), 0u) << r.Err;
    EXPECT_NE(r.Err.find(c.Says), std::string::npos) << r.Err;
    EXPECT_NE(r.Err.find("\nquillet: wrote out.pdf: 1 page"), std::string::npos) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
  }
  if (!haveFont) GTEST_SKIP() << "DejaVu Sans is not installed: the font cases did not run";
}

// Sizes and places far beyond any page: the run succeeds and every number in the file is one a
// reader accepts; what lies wholly off the page is not written at all.
TEST(HostileInputs, NumbersBeyondAnyPage) {
  const auto element = [](const std::string& Type, std::function<void(TJson&)> Change) {
    TJson e = Label("e", 0, 0, 100, "Far");
    e["type"] = Type, e["fillColor"] = "#FF336699", e["strokeColor"] = "#FF000000";
    Change(e);
    return e;
  };
  const struct {
    const char* Name;
    std::vector<TJson> Bands;
  } cases[] = {
      {"a label at top 1e20", {Band("Title", 100, {element("Label", [](TJson& E) { E["top"] = 1e20; })})}},
      {"a rectangle at left -1e20",
       {Band("Title", 100, {element("Rectangle", [](TJson& E) { E["left"] = -1e20; })})}},
      {"a rectangle 1e30 wide",
       {Band("Title", 100, {element("Rectangle", [](TJson& E) { E["width"] = 1e30; })})}},
      {"a line to 1e25", {Band("Title", 100, {element("Line", [](TJson& E) { E["x2"] = 1e25, E["y2"] = -1e25; })})}},
      {"an ellipse 1e30 tall",
       {Band("Title", 100, {element("Ellipse", [](TJson& E) { E["height"] = 1e30, E["top"] = -5e29; })})}},
      {"a font size of 1e30", {Band("Title", 100, {element("Label", [](TJson& E) { E["fontSize"] = 1e30; })})}},
      {"a font size of 1e30, wrapped",
       {Band("Title", 100, {element("Label", [](TJson& E) { E["fontSize"] = 1e30, E["wordWrap"] = true; })})}},
      {"a band height of -9.3e18",
       {Band("Title", -9.3e18f, {Label("a", 0, 0, 100, "Above")}), Band("Summary", 30, {Label("b", 0, 0, 100, "Below")})}},
      {"a band 1e30 tall",
       {Band("Title", 30, {Label("a", 0, 0, 100, "Near")}), Band("Summary", 1e30f, {Label("b", 0, 0, 100, "Far")})}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    dir.Write("t.qdr", Report(c.Bands));
    const TRun r = RunQuillet({"render", "t.qdr", "-o", "out.pdf"}, dir.Str());
    EXPECT_EQ(r.Status, 0) << r.Err;
    EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
    // Every number of every page's content and page box within what a reader holds.
    const std::string pages = test::RunTool("qpdf --show-pages " + Quote(dir.File("out.pdf")));
    const std::regex object(R"((\d+) 0 R)");
    size_t objects = 0;
    for (std::sregex_iterator m(pages.begin(), pages.end(), object), end; m != end; ++m, ++objects) {
      // A content stream decoded, or a page's dictionary.
      const std::string show = "qpdf --show-object=" + (*m)[1].str() + " " + Quote(dir.File("out.pdf"));
      const std::string text = test::RunTool(show + " --filtered-stream-data 2>/dev/null || " + show);
      const std::regex number(R"((^|[\s\[])(-?[0-9]+(\.[0-9]+)?)(?=[\s\]]|$))");
      for (std::sregex_iterator n(text.begin(), text.end(), number); n != end; ++n)
        EXPECT_LE(std::fabs(std::stod((*n)[2])), 32767.0) << (*n)[2] << " in object " << (*m)[1];
    }
    EXPECT_GE(objects, 2u) << pages;
  }
}

}  // namespace
}  // namespace quillet::e2e
