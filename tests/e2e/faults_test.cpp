// Faults from outside the report, through the quillet program: a full disk, an output folder that
// cannot be written or a folder where the PDF should go, a run killed outright and the run after
// it, a database that is locked or damaged, and a signal in the middle of a long page. Each
// failure is one line and a status other than 0; the output file is either not there or the old
// one, and no temporary file is left behind (except by SIGKILL, which nothing can catch).
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "e2e_support.h"

namespace quillet::e2e {
namespace {

using namespace std::chrono_literals;

// Runs quillet like RunQuillet, with InChild run in the child between fork and exec (only calls
// that are safe there).
TRun RunQuilletWith(std::vector<std::string> Args, const std::string& Dir, const std::function<void()>& InChild) {
  FILE* err = std::tmpfile();
  TRun r;
  if (!err) return r;
  r.Status = WaitStatus(SpawnQuillet(std::move(Args), Dir, ::fileno(err), ::fileno(err), false, InChild));
  std::rewind(err);
  r.Err = ReadFd(::fileno(err));
  std::fclose(err);
  return r;
}

// A report of Rows records, a band each, and its data.
void WriteList(const test::TTempDir& Dir, int Rows) {
  std::string csv = "id,name\n";
  for (int i = 1; i <= Rows; ++i) csv += std::to_string(i) + ",Name " + std::to_string(i * 7919 % 10007) + "\n";
  Dir.Write("list.csv", csv);
  Dir.Write("list.qdr", Report({Band("MasterData", 14, {Label("r", 0, 0, 300, "Item [id] [name]")}, "Items")}));
}
const std::vector<std::string> kListArgs = {"render", "list.qdr", "-o", "out.pdf", "--data", "Items=list.csv"};

// The files of Dir, by name.
std::vector<std::string> Names(const fs::path& Dir) {
  std::vector<std::string> n;
  for (const auto& e : fs::directory_iterator(Dir)) n.push_back(e.path().filename().string());
  std::sort(n.begin(), n.end());
  return n;
}

// A disk that fills up during the write: a file size limit, with SIGXFSZ ignored by the test
// (inherited through exec) or by quillet itself, fails the write with one line. An existing PDF
// stays as it was.
TEST(Faults, DiskFullDuringTheWrite) {
  for (const bool oldFile : {false, true}) {
    for (const bool ignoredByParent : {true, false}) {
      SCOPED_TRACE(std::string(oldFile ? "an old PDF" : "no PDF before") +
                   (ignoredByParent ? ", SIGXFSZ ignored before exec" : ", SIGXFSZ left to quillet"));
      test::TTempDir dir;
      WriteList(dir, 3000);  // about 55 pages, well over the limit below
      if (oldFile) dir.Write("out.pdf", "the old file");
      const std::vector<std::string> before = Names(dir.Path);
      const TRun r = RunQuilletWith(kListArgs, dir.Str(), [ignoredByParent] {
        if (ignoredByParent) ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{20000, 20000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
      });
      EXPECT_EQ(r.Status, 1);
      EXPECT_EQ(r.Err, "quillet: Cannot write file \"out.pdf\": File too large\n");
      EXPECT_EQ(Names(dir.Path), before);
      if (oldFile) {
        EXPECT_EQ(ReadFile(dir.File("out.pdf")), "the old file");
      }
    }
  }
}

// A folder where the PDF should be written: refused at once, the folder untouched.
TEST(Faults, OutputPathIsAFolder) {
  test::TTempDir dir;
  WriteList(dir, 5);
  fs::create_directory(dir.Path / "out.pdf");
  const std::vector<std::string> before = Names(dir.Path);
  const TRun r = RunQuillet(kListArgs, dir.Str());
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "quillet: Cannot write file \"out.pdf\": Is a directory\n");
  EXPECT_EQ(Names(dir.Path), before);
  EXPECT_TRUE(fs::is_empty(dir.Path / "out.pdf"));
}

// A folder whose every parent the user "nobody" can pass through, with the program, its data and a
// font copied into it: root ignores permission bits, so the run that must meet them runs as nobody.
// Empty when that cannot be arranged here, with the reason in Why.
class TUnprivilegedRun {
 public:
  TUnprivilegedRun() {
    if (::geteuid() == 0) {
      if (!test::HaveTool("setpriv")) {
        Why = "setpriv is not installed";
        return;
      }
      FPrefix = {"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "--"};
    }
    ::chmod(FDir.Str().c_str(), 0755);
    fs::copy_file(QUILLET_CLI_PATH, FDir.Path / "quillet");
    if (FPrefix.empty()) return;
    int status = -1;
    test::RunTool(Command({"/bin/sh", "-c", "test -x " + Quote((FDir.Path / "quillet").string())}) + " 2>/dev/null",
                  &status);
    if (status != 0)
      Why = "the user nobody cannot reach " + FDir.Str() + " (a parent folder is not open to others)";
  }

  bool Usable() const { return Why.empty(); }
  const test::TTempDir& Dir() const { return FDir; }
  // The shell command that runs Args as the unprivileged user (or as this user, when not root).
  std::string Command(const std::vector<std::string>& Args) const {
    std::string c;
    for (const std::string& a : FPrefix) c += a + " ";
    for (const std::string& a : Args) c += Quote(a) + " ";
    return c;
  }

  std::string Why;

 private:
  test::TTempDir FDir;
  std::vector<std::string> FPrefix;
};

TEST(Faults, OutputFolderNotWritable) {
  TUnprivilegedRun run;
  if (!run.Usable()) GTEST_SKIP() << run.Why;
  const test::TTempDir& dir = run.Dir();
  WriteList(dir, 5);
  fs::create_directory(dir.Path / "fonts");
  fs::copy_file("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", dir.Path / "fonts" / "DejaVuSans.ttf");
  fs::create_directory(dir.Path / "locked");
  for (const char* f : {"list.qdr", "list.csv", "fonts", "fonts/DejaVuSans.ttf"})
    ::chmod(dir.File(f).c_str(), fs::is_directory(dir.Path / f) ? 0755 : 0644);
  ::chmod(dir.File("locked").c_str(), 0555);
  int status = -1;
  const std::string err = test::RunTool(
      "cd " + Quote(dir.Str()) + " && SOURCE_DATE_EPOCH=" + kSourceDateEpoch + " " +
          run.Command({dir.File("quillet"), "render", "list.qdr", "-o", "locked/out.pdf", "--data", "Items=list.csv",
                       "--fonts", "fonts"}) +
          " 2>&1",
      &status);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(err, "quillet: Cannot write file \"locked/out.pdf\": Permission denied\n");
  EXPECT_TRUE(fs::is_empty(dir.Path / "locked"));
}

// A run killed outright leaves its temporary file, named OUT.XXXXXX.tmp; the next run is not
// confused by it and writes the PDF, leaving the stranger alone.
TEST(Faults, KilledRunThenTheNextRun) {
  test::TTempDir dir;
  WriteList(dir, 200000);
  FILE* err = std::tmpfile();
  const pid_t pid = SpawnQuillet(kListArgs, dir.Str(), ::fileno(err), ::fileno(err));
  ASSERT_GE(pid, 0);
  std::vector<std::string> temps;
  for (auto deadline = std::chrono::steady_clock::now() + 60s; temps.empty() && std::chrono::steady_clock::now() < deadline;) {
    std::this_thread::sleep_for(5ms);
    temps = FilesEndingWith(dir.Path, ".tmp");
  }
  std::this_thread::sleep_for(200ms);
  ::kill(pid, SIGKILL);
  EXPECT_EQ(WaitStatus(pid), 128 + SIGKILL);
  std::fclose(err);
  ASSERT_EQ(temps.size(), 1u);
  EXPECT_TRUE(std::regex_match(temps[0], std::regex(R"(out\.pdf\.[A-Za-z0-9]{6}\.tmp)"))) << temps[0];
  EXPECT_FALSE(fs::exists(dir.Path / "out.pdf"));

  WriteList(dir, 30);
  const TRun r = RunQuillet(kListArgs, dir.Str());
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(PdfPageCount(dir.File("out.pdf")), 1);
  EXPECT_EQ(PdfProblems(dir.File("out.pdf"), dir.File("raster")), "");
  EXPECT_EQ(FilesEndingWith(dir.Path, ".tmp"), temps);
}

// A database file with a table t of three rows.
void MakeDatabase(const std::string& File) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(File.c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "CREATE TABLE t(id INTEGER, name TEXT); INSERT INTO t VALUES (1,'a'),(2,'b'),(3,'c');",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
}

const std::vector<std::string> kSqlArgs = {"render", "list.qdr", "-o", "out.pdf", "--data",
                                           "Items=sqlite:shop.db:SELECT id, name FROM t"};

// Another connection holds the database locked: the run waits the busy timeout, then fails with
// "database is locked" and the file's name; once the lock is gone the same run succeeds.
TEST(Faults, LockedDatabase) {
  test::TTempDir dir;
  WriteList(dir, 1);
  MakeDatabase(dir.File("shop.db"));
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(dir.File("shop.db").c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE; INSERT INTO t VALUES (4,'d');", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto started = std::chrono::steady_clock::now();
  const TRun locked = RunQuillet(kSqlArgs, dir.Str());
  const double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_EQ(locked.Status, 1);
  EXPECT_EQ(LineCount(locked.Err), 1u) << locked.Err;
  EXPECT_NE(locked.Err.find("database is locked"), std::string::npos) << locked.Err;
  EXPECT_NE(locked.Err.find("shop.db"), std::string::npos) << locked.Err;
  EXPECT_GE(waited, 4.5);
  EXPECT_LT(waited, 30.0);
  EXPECT_FALSE(fs::exists(dir.Path / "out.pdf"));
  EXPECT_TRUE(FilesEndingWith(dir.Path, ".tmp").empty());

  sqlite3_exec(holder, "ROLLBACK;", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  const TRun free = RunQuillet(kSqlArgs, dir.Str());
  EXPECT_EQ(free.Status, 0) << free.Err;
  EXPECT_NE(PdfPages(dir.File("out.pdf")).at(0).find("Item 3 c"), std::string::npos);
}

// Damaged databases fail with one line naming the file, and an old PDF stays as it was.
TEST(Faults, DamagedDatabase) {
  const struct {
    const char* Name;
    std::function<void(const test::TTempDir&)> Make;
    const char* Problem;
  } cases[] = {
      {"not a database", [](const test::TTempDir& D) { D.Write("shop.db", std::string(4096, 'Q')); },
       "file is not a database"},
      {"the table's page overwritten",
       [](const test::TTempDir& D) {
         MakeDatabase(D.File("shop.db"));
         std::string bytes = ReadFile(D.File("shop.db"));
         ASSERT_GE(bytes.size(), 8192u);
         std::fill(bytes.begin() + 4096, bytes.begin() + 8192, '\xA5');  // page 2, the root of t
         D.Write("shop.db", bytes);
       },
       "malformed"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    test::TTempDir dir;
    WriteList(dir, 1);
    c.Make(dir);
    dir.Write("out.pdf", "the old file");
    const TRun r = RunQuillet(kSqlArgs, dir.Str());
    EXPECT_EQ(r.Status, 1);
    EXPECT_EQ(LineCount(r.Err), 1u) << r.Err;
    EXPECT_NE(r.Err.find(c.Problem), std::string::npos) << r.Err;
    EXPECT_NE(r.Err.find("shop.db"), std::string::npos) << r.Err;
    EXPECT_EQ(ReadFile(dir.File("out.pdf")), "the old file");
    EXPECT_TRUE(FilesEndingWith(dir.Path, ".tmp").empty());
  }
}

// One page that takes long: 60,000 records in a band of no height, each evaluating a costly text
// that is drawn in no colour. A signal in the middle of it stops the run within a second or two,
// since the walker looks for a cancel request band by band. SIGTERM and SIGHUP cancel like Ctrl-C.
TEST(Faults, SignalDuringALongPage) {
  const struct {
    int Signal;
    const char* Line;
  } cases[] = {
      {SIGINT, "quillet: interrupted; out.pdf not written\n"},
      {SIGTERM, "quillet: interrupted by SIGTERM; out.pdf not written\n"},
      {SIGHUP, "quillet: interrupted by SIGHUP; out.pdf not written\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Line);
    test::TTempDir dir;
    std::string csv = "id\n";
    for (int i = 1; i <= 60000; ++i) csv += std::to_string(i) + "\n";
    dir.Write("slow.csv", csv);
    TJson costly = Label("c", 0, 0, 100, "[REPLACE(REPLACE(REPLACE(Text, 'a', 'bb'), 'b', 'cc'), 'c', 'dd')]");
    costly["textColor"] = "#00000000";
    dir.Write("slow.qdr", Report({Band("MasterData", 0, {costly}, "Slow")}));
    FILE* err = std::tmpfile();
    const pid_t pid = SpawnQuillet({"render", "slow.qdr", "-o", "out.pdf", "--data", "Slow=slow.csv", "--var",
                                    "Text=" + std::string(4000, 'a')},
                                   dir.Str(), ::fileno(err), ::fileno(err));
    ASSERT_GE(pid, 0);
    bool started = false;
    for (auto deadline = std::chrono::steady_clock::now() + 60s; !started && std::chrono::steady_clock::now() < deadline;) {
      std::this_thread::sleep_for(5ms);
      started = !FilesEndingWith(dir.Path, ".tmp").empty();
    }
    std::this_thread::sleep_for(500ms);
    int status = 0;
    const bool endedEarly = ::waitpid(pid, &status, WNOHANG) == pid;
    ASSERT_FALSE(endedEarly) << "the page was drawn before the signal";
    ASSERT_TRUE(started);
    const auto signalled = std::chrono::steady_clock::now();
    ::kill(pid, c.Signal);
    const int exitStatus = WaitStatus(pid);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - signalled).count();
    std::rewind(err);
    EXPECT_EQ(ReadFd(::fileno(err)), c.Line);
    std::fclose(err);
    EXPECT_EQ(exitStatus, 130);
    EXPECT_LT(took, 2.0);
    EXPECT_EQ(Names(dir.Path), (std::vector<std::string>{"slow.csv", "slow.qdr"}));
  }
}

}  // namespace
}  // namespace quillet::e2e
