// Warnings as report authors meet them: the same line from `render` and from `check` with the
// same data options, --strict turning each into a failure that leaves the output as it was, and
// the smaller tools around them (eval --check, the reader's syntax errors).
#include <gtest/gtest.h>

#include "e2e_support.h"

namespace quillet::e2e {
namespace {

const char* const kOrders = "id,name,amount\n1,Ada,10\n2,Bob,\n";

TJson Element(const std::string& Type, const std::string& Name, const std::string& Text) {
  TJson e = Label(Name, 10, 2, 200, Text);
  e["type"] = Type;
  return e;
}

size_t Count(const std::string& S, const std::string& Part) {
  size_t n = 0;
  for (size_t p = S.find(Part); p != std::string::npos; p = S.find(Part, p + 1)) ++n;
  return n;
}

TEST(Warnings, RenderAndCheckNameTheSameProblemAndStrictFails) {
  struct Case {
    const char* What;
    TJson Band;
    std::string Line;  // "" for a report without warnings
  };
  TJson barcode = Element("barcode", "code", "123");
  TJson grey = Element("Label", "total", "[name]");
  grey["textColor"] = "#ABC";
  TJson logo = Element("Image", "logo", "");
  logo["imageFile"] = "nope.png";
  const std::vector<Case> cases = {
      {"clean", Band("MasterData", 20, {Element("Label", "total", "[name] [amount] {Company}")}, "Orders"), ""},
      {"missing data source", Band("MasterData", 20, {}, "Items"),
       "r.qdr: bands[0] (MasterData): data source \"Items\" is not registered"},
      {"unknown field", Band("MasterData", 20, {Element("Label", "total", "[amont]")}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"total\"): data source \"Orders\" has no field \"amont\" in [amont]"},
      {"misspelt function",
       Band("MasterData", 20, {Element("Label", "total", "[FORMT('%.2n', amount)]")}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"total\"): unknown function \"FORMT\" in [FORMT('%.2n', amount)]"},
      {"aggregate of no field", Band("MasterData", 20, {Element("Label", "sum", "[SUM(Orders.amount)]")}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"sum\"): SUM(Orders.amount) names no field of the data sets the report "
       "walks, so it is always 0 in [SUM(Orders.amount)]"},
      {"unknown variable", Band("MasterData", 20, {Element("Label", "v", "{Nope}")}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"v\"): unknown variable \"Nope\" in {Nope}"},
      {"type spelling", Band("MasterData", 20, {barcode}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"code\"): unknown element type \"barcode\", read as \"Label\""},
      {"three-digit colour", Band("MasterData", 20, {grey}, "Orders"),
       "r.qdr: bands[0].elements[0] (Label \"total\"): \"textColor\" \"#ABC\" is not a colour (#RRGGBB or "
       "#AARRGGBB); read as #00000ABC"},
      {"missing image", Band("MasterData", 20, {logo}, "Orders"),
       "r.qdr: bands[0].elements[0] (Image \"logo\"): image file \"nope.png\" not found"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    test::TTempDir dir;
    dir.Write("orders.csv", kOrders);
    dir.Write("r.qdr", Report({c.Band}));
    const std::vector<std::string> data = {"--data", "Orders=orders.csv", "--var", "Company=Acme"};
    auto args = [&](std::vector<std::string> Head, bool Strict) {
      Head.insert(Head.end(), data.begin(), data.end());
      if (Strict) Head.push_back("--strict");
      return Head;
    };

    const TRun render = RunQuillet(args({"render", "r.qdr", "-o", "out.pdf"}, false), dir.Str());
    EXPECT_EQ(render.Status, 0) << render.Err;
    const TRun check = RunQuillet(args({"check", "r.qdr"}, false), dir.Str());
    EXPECT_EQ(check.Status, 0) << check.Err;
    if (c.Line.empty()) {
      EXPECT_EQ(Count(render.Err, "warning"), 0u) << render.Err;
      EXPECT_EQ(Count(check.Out, "warning"), 0u) << check.Out;
      continue;
    }
    EXPECT_EQ(Count(render.Err, "quillet: warning: " + c.Line + "\n"), 1u) << render.Err;
    EXPECT_EQ(Count(render.Err, "quillet: warning: "), 1u) << render.Err;
    EXPECT_EQ(Count(check.Out, "\nwarning: " + c.Line + "\n"), 1u) << check.Out;

    // Strict: one line naming the warning, exit 1, the earlier output untouched.
    dir.Write("out.pdf", "earlier");
    const TRun strict = RunQuillet(args({"render", "r.qdr", "-o", "out.pdf"}, true), dir.Str());
    EXPECT_EQ(strict.Status, 1);
    EXPECT_EQ(strict.Err, "quillet: strict: " + c.Line + "\n");
    EXPECT_EQ(ReadFile(dir.Path / "out.pdf"), "earlier");
    EXPECT_TRUE(FilesEndingWith(dir.Path, ".tmp").empty());
    const TRun strictCheck = RunQuillet(args({"check", "r.qdr"}, true), dir.Str());
    EXPECT_EQ(strictCheck.Status, 1);
    EXPECT_EQ(strictCheck.Err, "quillet: strict: " + c.Line + "\n");
  }
}

TEST(Warnings, ManyAreCappedAndCounted) {
  test::TTempDir dir;
  std::vector<TJson> labels;
  for (int i = 0; i < 25; ++i) labels.push_back(Element("Label", "l" + std::to_string(i), "[F" + std::to_string(i) + "(1)]"));
  dir.Write("r.qdr", Report({Band("Title", 20, labels)}));
  const TRun r = RunQuillet({"render", "r.qdr", "-o", "out.pdf"}, dir.Str());
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(Count(r.Err, "quillet: warning: r.qdr: "), 20u) << r.Err;
  EXPECT_EQ(Count(r.Err, "quillet: warning: and 5 more\n"), 1u) << r.Err;
  // What the placeholders print: the unknown calls stay visible.
  EXPECT_NE(PdfPages(dir.File("out.pdf")).front().find("[F24(1)]"), std::string::npos);
}

TEST(Warnings, StrictPageImagesLeaveNothing) {
  test::TTempDir dir;
  dir.Write("r.qdr", Report({Band("Title", 20, {Element("Label", "x", "[nope]")}), Band("Summary", 900, {})}));
  const TRun r = RunQuillet({"render", "r.qdr", "--format", "png", "-o", "page", "--strict"}, dir.Str());
  if (r.Err.find("needs a build with the Qt module") != std::string::npos) GTEST_SKIP() << r.Err;
  EXPECT_EQ(r.Status, 1) << r.Err;
  EXPECT_EQ(r.Err, "quillet: strict: r.qdr: bands[0].elements[0] (Label \"x\"): unknown name \"nope\" in [nope]\n");
  EXPECT_TRUE(FilesEndingWith(dir.Path, ".png").empty());
}

// The program's smaller checks: exit status and the exact lines.
TEST(Warnings, EvalCheckAndTheReadersMessages) {
  test::TTempDir dir;
  dir.Write("bad.qdr", "{\"version\": \"2.0\",\n \"page\": {\n   \"width\": 595,}\n}\n");
  dir.Write("spelt.qdr", "{\"version\": \"2.0\", \"bands\": [{\"type\": \"Detail\", \"height\": \"40\",\n"
                         " \"elements\": [{\"type\": \"Label\", \"FontSize\": 12, \"wordWrap\": \"yes\"}]}]}");
  struct Case {
    std::vector<std::string> Args;
    int Status;
    std::string Err;
    std::string OutTail;
  };
  const std::vector<Case> cases = {
      {{"eval", "--check", "1 + 2"}, 0, "", ""},
      {{"eval", "--check", "--text", "Total: [FORMT(1)] [x y] [2 * (1]"},
       1,
       "quillet: position 9: unknown function \"FORMT\"\n"
       "quillet: position 20: unknown name \"x\"\n"
       "quillet: position 30: \"(\" without \")\"\n",
       ""},
      {{"eval", "--check", "'abc' - 1"}, 1, "quillet: position 7: unusable operand for \"-\"\n", ""},
      {{"eval", "--text", "<[x]>"}, 0, "", "<[x]>\n"},
      {{"check", "bad.qdr"}, 1, "quillet: bad.qdr: Invalid report data: line 3, column 17: unexpected '}'\n", ""},
      {{"check", "spelt.qdr"},
       0,
       "",
       "warning: spelt.qdr: bands[0] (MasterData): unknown band type \"Detail\", read as \"MasterData\"\n"
       "warning: spelt.qdr: bands[0] (MasterData): \"height\" is a string, not a number; read as 60\n"
       "warning: spelt.qdr: bands[0].elements[0] (Label): unknown member \"FontSize\", did you mean \"fontSize\"?\n"
       "warning: spelt.qdr: bands[0].elements[0] (Label): \"wordWrap\" is a string, not true or false; read as "
       "false\n"},
  };
  for (const Case& c : cases) {
    std::string line;
    for (const std::string& a : c.Args) line += a + " ";
    SCOPED_TRACE(line);
    const TRun r = RunQuillet(c.Args, dir.Str());
    EXPECT_EQ(r.Status, c.Status);
    EXPECT_EQ(r.Err, c.Err);
    ASSERT_GE(r.Out.size(), c.OutTail.size()) << r.Out;
    EXPECT_EQ(r.Out.substr(r.Out.size() - c.OutTail.size()), c.OutTail) << r.Out;
    if (c.Args[0] == "eval" && c.Args[1] == "--check") {
      EXPECT_EQ(r.Out, "");
    }
  }
}

}  // namespace
}  // namespace quillet::e2e
