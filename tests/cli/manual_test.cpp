// The authors' manual, docs/authoring.md, against the program. Every report example renders
// without a warning, and its PDF holds the text shown under "Output contains:"; every command of a
// "console" block prints what the manual shows; every report file of docs/examples/ is rendered
// by some example; and the lists of band types, element types, file members, functions and
// built-in variables in the manual are the lists the program has.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "engine/builtin_variables.h"
#include "expr/expr_evaluator.h"
#include "reportdef/report_model.h"
#include "../support/test_support.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;

// Appended to every render command of the manual: a warning fails the run itself.
const char* const kStrictOption = " --strict";

const fs::path kSource = QUILLET_SOURCE_DIR;

std::string ReadText(const fs::path& P) {
  std::ifstream in(P, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::vector<std::string> Lines(const std::string& Text) {
  std::vector<std::string> lines;
  std::istringstream in(Text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Runs of blanks as one blank, none at the ends: pdftotext -layout spaces columns by their
// position on the page, which the manual shows only roughly.
std::string Squeezed(const std::string& S) {
  std::string out;
  for (const char c : S) {
    const bool blank = c == ' ' || c == '\t';
    if (blank && (out.empty() || out.back() == ' ')) continue;
    out += blank ? ' ' : c;
  }
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

struct TBlock {
  std::string Info;     // the word after the opening fence: sh, console, text, json ...
  std::string Body;     // the lines inside, each ending in "\n"
  std::string Before;   // the last non-blank line between the previous block and this one
  size_t Line = 0;      // of the opening fence, 1-based
};

std::vector<TBlock> FencedBlocks(const std::string& Markdown) {
  std::vector<TBlock> blocks;
  const std::vector<std::string> lines = Lines(Markdown);
  std::string before;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].rfind("```", 0) != 0) {
      if (!Squeezed(lines[i]).empty()) before = Squeezed(lines[i]);
      continue;
    }
    TBlock b{lines[i].substr(3), "", before, i + 1};
    for (++i; i < lines.size() && lines[i].rfind("```", 0) != 0; ++i) b.Body += lines[i] + "\n";
    blocks.push_back(std::move(b));
    before.clear();
  }
  return blocks;
}

struct TShellRun {
  int Status = -1;
  std::string Out;
  std::string Err;
};

// Runs Command through the shell in Dir, as a reader would type it, with the built quillet first
// on PATH and no inherited clock. Under LeakSanitizer a used suppression would be reported on
// standard error at exit, which is read exactly here.
TShellRun RunShell(const std::string& Command, const fs::path& Dir) {
  const std::string bin = fs::path(QUILLET_CLI_PATH).parent_path().string();
  const fs::path errFile = Dir / ".stderr";
  TShellRun r;
  r.Out = test::RunTool("cd '" + Dir.string() + "' && unset SOURCE_DATE_EPOCH && PATH='" + bin +
                            "':\"$PATH\" && if [ -n \"${LSAN_OPTIONS:-}\" ]; then export " +
                            "LSAN_OPTIONS=\"$LSAN_OPTIONS:print_suppressions=0\"; fi && {\n" + Command +
                            "\n} 2>'" + errFile.string() + "'",
                        &r.Status);
  r.Err = ReadText(errFile);
  fs::remove(errFile);
  return r;
}

fs::path ScratchRoot() { return fs::temp_directory_path() / ("quillet_manual_" + std::to_string(::getpid())); }

// A folder in which "docs/..." names the manual's examples, as in the source tree.
fs::path ScratchFolder(const std::string& Name) {
  const fs::path dir = ScratchRoot() / Name;
  fs::remove_all(dir);
  fs::create_directories(dir);
  fs::create_directory_symlink(kSource / "docs", dir / "docs");
  return dir;
}

std::vector<std::string> PdfPages(const fs::path& Pdf) {
  const std::string text = test::RunTool("pdftotext -layout '" + Pdf.string() + "' - 2>/dev/null");
  std::vector<std::string> pages;
  size_t start = 0;
  for (size_t ff; (ff = text.find('\f', start)) != std::string::npos; start = ff + 1)
    pages.push_back(text.substr(start, ff - start));
  return pages;
}

// Where Expected (the manual's "Output contains:" lines, "--- page N ---" starting page N) is not
// found in Pages in that order, the first line missed; "" when everything is there.
std::string FirstMissingLine(const std::string& Expected, const std::vector<std::string>& Pages) {
  size_t page = 0, line = 0;
  std::vector<std::vector<std::string>> text;
  for (const std::string& p : Pages) {
    text.emplace_back();
    for (const std::string& l : Lines(p)) text.back().push_back(Squeezed(l));
  }
  for (const std::string& raw : Lines(Expected)) {
    const std::string want = Squeezed(raw);
    if (want.empty()) continue;
    if (want.rfind("--- page ", 0) == 0) {
      page = std::stoul(want.substr(9)) - 1;
      line = 0;
      if (page >= text.size()) return want + " (the PDF has " + std::to_string(text.size()) + " pages)";
      continue;
    }
    while (page < text.size() && line < text[page].size() && text[page][line].find(want) == std::string::npos)
      ++line;
    if (page >= text.size() || line >= text[page].size()) return want;
    ++line;
  }
  return "";
}

std::string Lowered(std::string S) {
  for (char& c : S) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return S;
}

const std::string& Manual() {
  static const std::string text = ReadText(kSource / "docs" / "authoring.md");
  return text;
}

TEST(Manual, ExamplesRenderWithoutWarningsAndShowTheirOutput) {
  ASSERT_TRUE(test::HaveTool("pdftotext"));
  const std::vector<TBlock> blocks = FencedBlocks(Manual());
  std::string commands;
  int n = 0;
  for (size_t i = 1; i < blocks.size(); ++i) {
    if (blocks[i].Before != "Output contains:") continue;
    const TBlock& command = blocks[i - 1];
    SCOPED_TRACE("docs/authoring.md:" + std::to_string(command.Line));
    ASSERT_EQ(command.Info, "sh") << "an output block must follow the sh block of its command";
    ASSERT_NE(command.Body.find("quillet render "), std::string::npos);
    commands += command.Body;
    const fs::path dir = ScratchFolder("example" + std::to_string(++n));
    std::string line = command.Body;
    while (!line.empty() && line.back() == '\n') line.pop_back();
    const TShellRun r = RunShell(line + kStrictOption, dir);
    EXPECT_EQ(r.Status, 0) << r.Err;
    for (const std::string& l : Lines(r.Err))
      EXPECT_EQ(Lowered(l).find("warning"), std::string::npos) << l;
    std::vector<fs::path> pdfs;
    for (const auto& e : fs::directory_iterator(dir))
      if (e.path().extension() == ".pdf") pdfs.push_back(e.path());
    ASSERT_EQ(pdfs.size(), 1u) << "the command should write one PDF";
    EXPECT_EQ(FirstMissingLine(blocks[i].Body, PdfPages(pdfs[0])), "");
  }
  EXPECT_GT(n, 0);
  fs::remove_all(ScratchRoot());

  // Every report of docs/examples/ is rendered by an example, or is a subreport of one.
  std::string reports;
  for (const auto& e : fs::directory_iterator(kSource / "docs" / "examples"))
    if (e.path().extension() == ".qdr") reports += ReadText(e.path());
  for (const auto& e : fs::directory_iterator(kSource / "docs" / "examples")) {
    if (e.path().extension() != ".qdr") continue;
    const std::string name = e.path().filename().string();
    EXPECT_TRUE(commands.find("docs/examples/" + name) != std::string::npos ||
                reports.find("\"subReportFile\": \"" + name + "\"") != std::string::npos)
        << name << " is rendered by no example of the manual";
  }
}

TEST(Manual, ConsoleCommandsPrintWhatTheManualShows) {
  const fs::path dir = ScratchFolder("console");
  int n = 0;
  for (const TBlock& b : FencedBlocks(Manual())) {
    if (b.Info != "console") continue;
    std::string command, expected;
    size_t line = b.Line;
    const auto check = [&] {
      if (command.empty()) return;
      SCOPED_TRACE("docs/authoring.md:" + std::to_string(line) + ": " + command);
      const TShellRun r = RunShell(command, dir);
      EXPECT_EQ(r.Status, 0) << r.Err;
      EXPECT_EQ(r.Err, "");
      EXPECT_EQ(r.Out, expected);
      ++n;
    };
    for (const std::string& l : Lines(b.Body)) {
      ++line;
      if (l.rfind("$ ", 0) == 0) {
        check();
        command = l.substr(2);
        expected.clear();
      } else {
        expected += l + "\n";
      }
    }
    check();
  }
  EXPECT_GT(n, 0);
  fs::remove_all(ScratchRoot());
}

// The backquoted words of the first column of the table after "<!-- Marker -->" in the manual.
std::set<std::string> DocumentedNames(const std::string& Marker) {
  const std::string tag = "<!-- " + Marker + " -->";
  const size_t at = Manual().find(tag);
  if (at == std::string::npos) return {};
  std::set<std::string> names;
  bool inTable = false;
  for (const std::string& l : Lines(Manual().substr(at + tag.size()))) {
    if (l.rfind("|", 0) != 0) {
      if (inTable) break;
      continue;
    }
    const bool header = !inTable;
    inTable = true;
    if (header || l.rfind("|---", 0) == 0) continue;
    const std::string cell = l.substr(1, l.find('|', 1) - 1);
    for (size_t open = cell.find('`'); open != std::string::npos; open = cell.find('`', open)) {
      const size_t close = cell.find('`', open + 1);
      if (close == std::string::npos) break;
      names.insert(cell.substr(open + 1, close - open - 1));
      open = close + 1;
    }
  }
  return names;
}

template <typename TList>
std::set<std::string> NameSet(const TList& List) {
  std::set<std::string> names;
  for (const auto& n : List) names.insert(std::string(n));
  return names;
}

TEST(Manual, DocumentsEveryNameTheProgramKnows) {
  EXPECT_EQ(DocumentedNames("band types"), NameSet(BandTypeNames));
  EXPECT_EQ(DocumentedNames("element types"), NameSet(ElemTypeNames));
  for (const TFileMembers& m : ReportFileMembers())
    EXPECT_EQ(DocumentedNames("file members: " + std::string(m.Object)), NameSet(m.Members)) << m.Object;

  std::set<std::string> functions;
  for (const std::string& call : DocumentedNames("functions")) functions.insert(call.substr(0, call.find('(')));
  EXPECT_EQ(functions, NameSet(FunctionNames()));

  std::set<std::string> variables, known;
  for (const std::string& name : DocumentedNames("built-in variables")) {
    std::string up = name;
    for (char& c : up) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    variables.insert(up);
  }
  for (const TBuiltinVariableNames& v : BuiltinVariables()) known.merge(NameSet(v.Names));
  EXPECT_EQ(variables, known);
}

}  // namespace
}  // namespace quillet
