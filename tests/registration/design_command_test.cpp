// quillet design and quillet designer-path as whole programs: a copy of quillet is placed in a
// folder layout of its own beside stand-in designers, and the one that starts records its
// working folder and arguments. Each place of the search is tried alone, missing ones are
// passed over, and both commands find the same designer.
#include <gtest/gtest.h>
#include <unistd.h>

#include "designer_test_support.h"

namespace quillet {
namespace {

using test::TRecord;
namespace fs = std::filesystem;

// A world-readable folder with quillet at Program (relative) and stand-ins at Designers.
struct TLayout {
  test::TTempDir Dir;
  std::string Root = Dir.Str() + "/", Program, Record = Root + "record";
  std::string Settings = Root + "config/Quillet/Quillet.conf";
  TLayout(const std::string& ProgramAt, const std::vector<std::string>& Designers) : Program(Root + ProgramAt) {
    fs::permissions(Dir.Path, fs::perms(0755));
    fs::create_directories(fs::path(Program).parent_path());
    std::error_code ec;  // a link where the file system allows one: the program is large
    fs::create_hard_link(QUILLET_CLI_PATH, Program, ec);
    if (ec) fs::copy_file(QUILLET_CLI_PATH, Program);
    for (const std::string& d : Designers) test::WriteStandIn(Root + d);
    fs::create_directories(Root + "empty");
  }
  // The layout's own user folders, record and PATH; no display, so no dialog.
  test::TEnv Env(const std::string& Path = "empty") const {
    return {{"XDG_CONFIG_HOME", Root + "config"}, {"XDG_CACHE_HOME", Root + "cache"}, {"HOME", Root + "home"},
            {"QUILLET_TEST_RECORD", Record},     {"PATH", Root + Path},               {"QUILLET_DESIGNER", std::nullopt},
            {"DISPLAY", std::nullopt},           {"WAYLAND_DISPLAY", std::nullopt}};
  }
  e2e::TRun Run(std::vector<std::string> Args, const test::TEnv& E) const {
    Args.insert(Args.begin(), Program);
    return test::RunProgram(Args, E, Root);
  }
};

std::string OneLine(std::string Message) {
  for (size_t p; (p = Message.find("\r\n")) != std::string::npos;) Message.replace(p, 2, " ");
  return "quillet: " + Message + "\n";
}

TEST(DesignCommand, FindsTheDesignerInEachPlace) {
  struct TCase {
    const char* What;
    std::string Program;
    std::vector<std::string> Designers;
    std::string Remembered, Env, Path;  // DesignerPath, QUILLET_DESIGNER ("" for none), PATH
    std::string Found, Preview;         // what designer-path prints, what design --preview starts
  };
  const std::vector<TCase> cases = {
      {"beside the program", "bin/quillet", {"bin/formwright"}, "", "", "empty", "bin/formwright", "bin/formwright"},
      {"above the program", "bin/quillet", {"formwright"}, "", "", "empty", "formwright", "formwright"},
      {"beside before above", "bin/quillet", {"bin/formwright", "formwright"}, "", "", "empty", "bin/formwright",
       "bin/formwright"},
      {"in ../bin", "lib/quillet", {"bin/formwright"}, "", "", "empty", "bin/formwright", "bin/formwright"},
      {"on PATH", "lib/quillet", {"tools/formwright"}, "", "", "tools", "tools/formwright", "tools/formwright"},
      {"remembered first", "bin/quillet", {"set/formwright", "env/formwright", "bin/formwright"}, "set/formwright",
       "env/formwright", "empty", "set/formwright", "set/formwright"},
      {"stale remembered, then QUILLET_DESIGNER", "bin/quillet", {"env/formwright", "bin/formwright"},
       "deleted/formwright", "env/formwright", "empty", "env/formwright", "env/formwright"},
      {"missing QUILLET_DESIGNER", "bin/quillet", {"bin/formwright"}, "", "gone/formwright", "empty", "bin/formwright",
       "bin/formwright"},
      {"Designer folder beside the program", "bin/quillet", {"bin/Designer/formwright"}, "", "", "empty", "",
       "bin/Designer/formwright"},
      {"Designer folder two levels up", "a/b/quillet", {"Designer/formwright"}, "", "", "empty", "",
       "Designer/formwright"},
      {"nowhere", "bin/quillet", {}, "", "", "empty", "", ""},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.What);
    TLayout l(c.Program, c.Designers);
    if (!c.Remembered.empty()) test::WriteBytes(l.Settings, "[General]\nDesignerPath=" + l.Root + c.Remembered + "\n");
    test::TEnv env = l.Env(c.Path);
    if (!c.Env.empty()) env["QUILLET_DESIGNER"] = l.Root + c.Env;

    const e2e::TRun where = l.Run({"designer-path"}, env);
    EXPECT_EQ(where.Status, c.Found.empty() ? 1 : 0);
    EXPECT_EQ(where.Out, c.Found.empty() ? "" : l.Root + c.Found + "\n");
    EXPECT_EQ(where.Err, c.Found.empty() ? OneLine(test::NotFoundMessage(l.Settings)) : "");

    const e2e::TRun preview = l.Run({"design", "--preview", "r.qdr"}, env);
    EXPECT_EQ(preview.Status, c.Preview.empty() ? 1 : 0);
    if (c.Preview.empty()) {
      const std::string folder = fs::path(l.Program).parent_path().string() + "/";
      EXPECT_EQ(preview.Err, OneLine("formwright not found.\r\nPlace it here: " + folder));
      EXPECT_FALSE(fs::exists(l.Record));
    } else {
      EXPECT_EQ(test::WaitForRecord(l.Record),
                (TRecord{fs::path(l.Root + c.Preview).parent_path(), {l.Root + "r.qdr", "/preview"}}));
    }
    EXPECT_EQ(fs::exists(l.Settings), !c.Remembered.empty());  // searching remembers nothing
  }
}

// design offers each --data to the designer under its name, as an application's form would;
// without --data there is no description. The report need not exist yet, and relative paths
// reach the designer, which runs in its own folder, as absolute ones. A designer folder its user
// cannot write (tried as an unprivileged user when the tests run as root, since root writes
// anywhere) gets the description in the user's cache instead.
TEST(DesignCommand, DescribesEachDataSet) {
  TLayout l("bin/quillet", {"bin/formwright"});
  test::WriteBytes(l.Root + "data/orders.csv", "id,customer,amount\n1,Ada,12.5\n");
  test::WriteBytes(l.Root + "data/items.json", R"([{"sku": "A-1", "qty": 2}, {"sku": "B-2", "note": "x"}])");
  const std::string beside = l.Root + "bin/datasources.json";
  const std::string description =
      "\xEF\xBB\xBF[\n  {\n    \"name\": \"Orders\",\n    \"fields\": [\n      \"id\",\n      \"customer\",\n"
      "      \"amount\"\n    ]\n  },\n  {\n    \"name\": \"Items\",\n    \"fields\": [\n      \"sku\",\n"
      "      \"qty\",\n      \"note\"\n    ]\n  }\n]";
  const std::vector<std::string> data = {"--data", "Orders=data/orders.csv", "--data=Items=data/items.json"};

  e2e::TRun run = l.Run({"design", "reports/new.qdr", data[0], data[1], data[2]}, l.Env());
  EXPECT_EQ(run.Status, 0);
  EXPECT_EQ(run.Err, "");
  EXPECT_EQ(test::WaitForRecord(l.Record), (TRecord{l.Root + "bin", {l.Root + "reports/new.qdr", "/ds:" + beside}}));
  EXPECT_EQ(test::ReadFile(beside), description);

  fs::remove(beside);
  run = l.Run({"design", "reports/new.qdr"}, l.Env());
  EXPECT_EQ(run.Status, 0) << run.Err;
  EXPECT_EQ(test::WaitForRecord(l.Record), (TRecord{l.Root + "bin", {l.Root + "reports/new.qdr"}}));
  EXPECT_FALSE(fs::exists(beside));

  run = l.Run({"design", "reports/new.qdr", "--data", "Orders=data/missing.csv"}, l.Env());
  EXPECT_EQ(run.Status, 1);
  EXPECT_NE(run.Err.find("missing.csv"), std::string::npos) << run.Err;
  EXPECT_FALSE(fs::exists(l.Record));

  // As root, the designer's folder is made unwritable by running as nobody; that needs a machine
  // where nobody can run programs at all (not so in a root folder closed to others).
  if (::geteuid() == 0 &&
      test::RunProgram({"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "/bin/true"}, l.Env(),
                       l.Root)
              .Status != 0)
    GTEST_SKIP() << "an unprivileged user cannot run programs here; the cache-folder case is not tried";
  test::TTempDir writable;
  fs::permissions(writable.Path, fs::perms(0777));
  fs::permissions(l.Root + "data", fs::perms(0755));
  fs::permissions(l.Root + "data/orders.csv", fs::perms(0644));
  fs::permissions(l.Root + "data/items.json", fs::perms(0644));
  const std::string w = writable.Str() + "/";
  test::TEnv env = l.Env();
  env["XDG_CACHE_HOME"] = w + "cache";
  env["HOME"] = w;
  env["QUILLET_TEST_RECORD"] = w + "record";
  std::vector<std::string> args = {"design", "reports/new.qdr", data[0], data[1], data[2]};
  if (::geteuid() == 0)
    args.insert(args.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", l.Program});
  else
    fs::permissions(l.Root + "bin", fs::perms(0555));
  run = ::geteuid() == 0 ? test::RunProgram(args, env, l.Root) : l.Run(args, env);
  fs::permissions(l.Root + "bin", fs::perms(0755));
  EXPECT_EQ(run.Status, 0) << run.Err;
  const std::string cached = w + "cache/quillet/datasources.json";
  EXPECT_EQ(test::WaitForRecord(w + "record"), (TRecord{l.Root + "bin", {l.Root + "reports/new.qdr", "/ds:" + cached}}));
  EXPECT_EQ(test::ReadFile(cached), description);
  EXPECT_FALSE(fs::exists(beside));
}

TEST(DesignCommand, UsageMistakes) {
  TLayout l("bin/quillet", {"bin/formwright"});
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"design"}, "design takes one REPORT.qdr"},
      {{"design", "a.qdr", "b.qdr"}, "design takes one REPORT.qdr"},
      {{"design", "--preview", "a.qdr", "--data", "Orders=o.csv"}, "design --preview takes no data options"},
      {{"design", "a.qdr", "-o", "a.pdf"}, "-o applies to render only"},
      {{"designer-path", "somewhere"}, "designer-path takes no arguments"},
      {{"designer-path", "--where"}, "unknown option \"--where\""},
  };
  for (const auto& [args, message] : cases) {
    const e2e::TRun run = l.Run(args, l.Env());
    EXPECT_EQ(run.Status, 2);
    EXPECT_EQ(run.Err, "quillet: " + message + " (try 'quillet --help')\n");
  }
  EXPECT_FALSE(fs::exists(l.Record));
}

}  // namespace
}  // namespace quillet
