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

// Runs the program with Args (no shell in between), stderr into a temporary file.
TRun RunQuillet(const std::vector<std::string>& Args) {
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
  }
  const TRun help = RunQuillet({"--help"});
  EXPECT_EQ(help.Status, 0);
  EXPECT_NE(help.Out.find("eval EXPR"), std::string::npos);
  const TRun version = RunQuillet({"--version"});
  EXPECT_EQ(version.Status, 0);
  EXPECT_EQ(version.Out.rfind("quillet ", 0), 0u);
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
