// The quillet program as a user runs it: output, exit status and the one-line error messages.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "../support/test_support.h"

namespace {

namespace fs = std::filesystem;

struct TRun {
  int Status = -1;
  std::string Out;
  std::string Err;
};

std::string ReadAll(int Fd) {
  std::string s;
  char buf[4096];
  ssize_t n;
  while ((n = ::read(Fd, buf, sizeof buf)) > 0) s.append(buf, static_cast<size_t>(n));
  return s;
}

// Runs the program with Args in Dir (no shell in between), stderr into a temporary file.
TRun RunQuillet(const std::vector<std::string>& Args, const std::string& Dir = "") {
  std::vector<char*> argv;
  std::string prog = QUILLET_CLI_PATH;
  argv.push_back(prog.data());
  std::vector<std::string> copy = Args;
  for (auto& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);
  char errName[] = "/tmp/quillet_cli_errXXXXXX";
  const int errFd = ::mkstemp(errName);
  int out[2];
  if (errFd < 0 || ::pipe(out) != 0) return {};
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (!Dir.empty() && ::chdir(Dir.c_str()) != 0) ::_exit(126);
    ::dup2(out[1], 1);
    ::dup2(errFd, 2);
    ::close(out[0]);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(out[1]);
  TRun r;
  r.Out = ReadAll(out[0]);
  ::close(out[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  r.Status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  ::lseek(errFd, 0, SEEK_SET);
  r.Err = ReadAll(errFd);
  ::close(errFd);
  ::unlink(errName);
  return r;
}

std::string ReadFile(const fs::path& P) {
  std::ifstream in(P, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

TEST(Cli, EvalPrintsValuesAndTemplates) {
  struct Case {
    std::vector<std::string> Args;
    std::string Out;
  } cases[] = {
      {{"eval", "1 + 2 * 3"}, "7\n"},
      {{"eval", "--text", "a [missing] b"}, "a [missing] b\n"},
      {{"eval", "missing"}, "(null)\n"},
      {{"eval", "--var", "Name=Ada", "--text", "Hello [Name]!"}, "Hello Ada!\n"},
      {{"eval", "Qty * 2", "--var", "Qty=21"}, "42\n"},
      {{"eval", "Qty + 1", "--var=Qty=5"}, "51\n"},  // variables are strings, "+" concatenates
      {{"eval", "--", "-1 - 1"}, "-2\n"},
      {{"eval", "UPPER('straße ş')"}, "STRA\xC3\x9F" "E \xC5\x9E\n"},  // one-to-one mapping keeps ß
  };
  for (const auto& c : cases) {
    const TRun r = RunQuillet(c.Args);
    EXPECT_EQ(r.Status, 0) << c.Args.back() << r.Err;
    EXPECT_EQ(r.Out, c.Out) << c.Args.back();
    EXPECT_EQ(r.Err, "") << c.Args.back();
  }
}

TEST(Cli, DeepNestingEndsWithAResultNotACrash) {
  const TRun r = RunQuillet({"eval", std::string(100000, '(') + "1"});
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_FALSE(r.Out.empty());
}

TEST(Cli, UsageErrorsExitWithTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {}, {"frobnicate"}, {"eval"}, {"eval", "--text"}, {"eval", "1", "2"}, {"eval", "--var", "novalue", "1"},
      {"eval", "--bogus", "1"}, {"check"}, {"check", "a.qdr", "b.qdr"}};
  for (const auto& args : cases) {
    const TRun r = RunQuillet(args);
    EXPECT_EQ(r.Status, 2) << (args.empty() ? "" : args[0]);
    EXPECT_EQ(r.Out, "");
    EXPECT_NE(r.Err.find("--help"), std::string::npos);
    // One line: the problem and the hint together.
    EXPECT_EQ(std::count(r.Err.begin(), r.Err.end(), '\n'), 1) << r.Err;
  }
  const TRun help = RunQuillet({"--help"});
  EXPECT_EQ(help.Status, 0);
  EXPECT_NE(help.Out.find("eval EXPR"), std::string::npos);
  const TRun version = RunQuillet({"--version"});
  EXPECT_EQ(version.Status, 0);
  EXPECT_EQ(version.Out.rfind("quillet ", 0), 0u);
}

// The data options: mistakes in them, and what the data gives rise to. Each run's exit status, its
// exact lines on stderr (all but the summary of a written PDF) and a line the PDF shows.
TEST(Cli, DataOptionsAndTheirMessages) {
  quillet::test::TTempDir dir;
  dir.Write("r.qdr", R"({"version": "2.0",
    "page": {"width": 595, "height": 842, "marginTop": 30, "marginBottom": 30, "marginLeft": 30, "marginRight": 30},
    "bands": [{"type": "MasterData", "height": 14, "dataSource": "Items", "elements": [
      {"type": "Label", "name": "row", "left": 0, "top": 0, "width": 400, "height": 14,
       "text": "[name] costs [price] on page [PageNo]", "fontName": "DejaVu Sans", "fontSize": 9}]}]})");
  // Written where "," is the decimal comma.
  dir.Write("semi.csv", "id;name;price\n1;Widget;12,5\n2;\"Gadget, large\";3\n");
  dir.Write("empty.db", "");  // SQLite takes an empty file for an empty database
  const std::string usage = " (try 'quillet --help')\n";
  struct Case {
    std::vector<std::string> Args;  // after render r.qdr -o out.pdf
    int Status;
    std::string Err;
    std::string Shows;
  } cases[] = {
      {{"--data", "Items=semi.csv", "--main", "Nope"}, 2, "quillet: --main: unknown data source \"Nope\"" + usage, ""},
      {{"--data", "Items=semi.csv", "--link", "Items.id"},
       2, "quillet: --link expects DETAIL.FIELD=MASTER.FIELD, got \"Items.id\"" + usage, ""},
      {{"--data", "Items=semi.csv", "--link", "Items.id=Nope.id"},
       2, "quillet: --link: unknown data source \"Nope\"" + usage, ""},
      {{"--data", "Items=sqlite:empty.db:SELECT 1 AS id WHERE 1 = :Nope.id"},
       2, "quillet: --data Items: unknown data source \"Nope\" in parameter :Nope.id" + usage, ""},
      {{"--data", "Items=sqlite:empty.db:SELECT * FROM missing"},
       1, "quillet: SQL error in data set Items (empty.db): no such table: missing\n", ""},
      {{"--data", "Items=semi.csv"}, 0,
       "quillet: warning: semi.csv: read with \";\" as the separator, since its header line has \";\" and no \",\" "
       "(--csv-separator sets the separator)\n",
       "Gadget, large costs 3 on page 1"},
      {{"--data", "Items=semi.csv", "--csv-separator", ";"}, 0, "", "Widget costs 12,5 on page 1"},
      {{"--data", "Items=semi.csv", "--csv-separator", ";;"},
       2, "quillet: --csv-separator expects one ASCII character, got \";;\"" + usage, ""},
      // The built-ins win whatever the case; a plain variable is no built-in.
      {{"--data", "Items=semi.csv", "--csv-separator", ";", "--var", "PageNo=7", "--var", "TAR\u0130H=x", "--var",
        "Company=Acme"},
       0,
       "quillet: warning: --var PageNo is shadowed by the built-in variable of that name; the built-ins (in any "
       "case) are: D, DATE, TARIH, TIME, SAAT, DATETIME, TARIHSAAT, PAGENO, SAYFANO, TOTALPAGES, TOPLAMSAYFA, "
       "RECORDNO, KAYITNO\n"
       "quillet: warning: --var TAR\u0130H is shadowed by the built-in variable of that name; the built-ins (in any "
       "case) are: D, DATE, TARIH, TIME, SAAT, DATETIME, TARIHSAAT, PAGENO, SAYFANO, TOTALPAGES, TOPLAMSAYFA, "
       "RECORDNO, KAYITNO\n",
       "Widget costs 12,5 on page 1"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = {"render", "r.qdr", "-o", "out.pdf"};
    args.insert(args.end(), c.Args.begin(), c.Args.end());
    SCOPED_TRACE(args.back());
    fs::remove(dir.Path / "out.pdf");
    const TRun r = RunQuillet(args, dir.Str());
    EXPECT_EQ(r.Status, c.Status);
    std::string err = r.Err;
    const size_t wrote = err.find("quillet: wrote out.pdf: ");
    EXPECT_EQ(wrote == std::string::npos, c.Status != 0) << err;
    if (wrote != std::string::npos) err.erase(wrote, err.find('\n', wrote) + 1 - wrote);
    EXPECT_EQ(err, c.Err);
    if (c.Shows.empty()) continue;
    const std::string text = quillet::test::RunTool("pdftotext '" + dir.File("out.pdf") + "' - 2>&1");
    EXPECT_NE(text.find(c.Shows), std::string::npos) << text;
  }
}

TEST(Cli, CheckFailuresNameTheFileOnOneLine) {
  const fs::path dir = fs::temp_directory_path() / ("quillet_cli_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "broken.qdr") << "{\"version\": \"2.0\", ";
  std::ofstream(dir / "array.qdr") << "[1, 2]";
  std::ofstream(dir / "badband.qdr") << "{\"version\": \"2.0\", \"bands\": [42]}";
  for (const char* name : {"broken.qdr", "array.qdr", "badband.qdr", "missing.qdr"}) {
    const std::string file = (dir / name).string();
    const TRun r = RunQuillet({"check", file});
    EXPECT_EQ(r.Status, 1) << name;
    EXPECT_EQ(r.Out, "") << name;
    EXPECT_NE(r.Err.find(file), std::string::npos) << r.Err;
    EXPECT_EQ(std::count(r.Err.begin(), r.Err.end(), '\n'), 1) << r.Err;
  }
  for (const char* name : {"broken.qdr", "array.qdr"}) {
    EXPECT_NE(RunQuillet({"check", (dir / name).string()}).Err.find("Invalid report data"), std::string::npos);
  }
  fs::remove_all(dir);
}

// The listings of the example reports are kept as expected output, so that a loader change
// that drops or misreads a member shows up here. Regenerate with:
//   for f in $(find examples -name '*.qdr'); do build/quillet check "$f" > tests/cli/expected/$(basename "$f" .qdr).txt; done
TEST(Cli, CheckListsTheExampleReports) {
  const fs::path examples = fs::path(QUILLET_SOURCE_DIR) / "examples";
  const fs::path expected = fs::path(QUILLET_SOURCE_DIR) / "tests" / "cli" / "expected";
  int seen = 0;
  for (const auto& e : fs::recursive_directory_iterator(examples)) {
    if (e.path().extension() != ".qdr") continue;
    ++seen;
    const TRun r = RunQuillet({"check", e.path().string()});
    EXPECT_EQ(r.Status, 0) << e.path() << r.Err;
    const fs::path want = expected / (e.path().stem().string() + ".txt");
    ASSERT_TRUE(fs::exists(want)) << "no expected listing for " << e.path();
    EXPECT_EQ(r.Out, ReadFile(want)) << e.path();
  }
  EXPECT_GE(seen, 6);
}

}  // namespace
