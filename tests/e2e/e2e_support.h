// Helpers of the end-to-end tests: running the quillet program as a child process, building small
// report definitions, and reading PDFs back through outside tools (qpdf, poppler).
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "../support/test_support.h"

namespace quillet::e2e {

namespace fs = std::filesystem;

// A fixed clock for every child, so that dates and PDF creation dates are reproducible.
inline constexpr const char* kSourceDateEpoch = "1700000000";

struct TRun {
  int Status = -1;  // exit status, or 128 + signal
  std::string Out;
  std::string Err;
};

inline std::string ReadFd(int Fd) {
  std::string s;
  char buf[65536];
  ssize_t n;
  while ((n = ::read(Fd, buf, sizeof buf)) > 0) s.append(buf, static_cast<size_t>(n));
  return s;
}

inline std::string ReadFile(const fs::path& P) {
  std::ifstream in(P, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// This process's environment with the fixed clock, built before fork: the child only execs.
inline std::vector<std::string> ChildEnvironment() {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    std::string v = *e;
    if (v.rfind("SOURCE_DATE_EPOCH=", 0) == 0) continue;
    // Under LeakSanitizer a used suppression is reported at exit; the tests read stderr exactly.
    if (v.rfind("LSAN_OPTIONS=", 0) == 0) v += ":print_suppressions=0";
    env.push_back(std::move(v));
  }
  env.push_back(std::string("SOURCE_DATE_EPOCH=") + kSourceDateEpoch);
  return env;
}

// Starts quillet with Args in Dir, its stdout and stderr on the given descriptors; NewSession
// detaches it from the test's terminal (so a pty given as stderr is its only terminal).
// Everything the child needs is built before fork: the child only execs, after InChild (which
// may only make calls that are safe between fork and exec, such as setrlimit and signal).
inline pid_t SpawnQuillet(std::vector<std::string> Args, const std::string& Dir, int OutFd, int ErrFd,
                          bool NewSession = false, const std::function<void()>& InChild = {}) {
  std::string prog = QUILLET_CLI_PATH;
  std::vector<char*> argv{prog.data()};
  for (auto& a : Args) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<std::string> envStrings = ChildEnvironment();
  std::vector<char*> envp;
  for (auto& e : envStrings) envp.push_back(e.data());
  envp.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (NewSession) ::setsid();
    if (!Dir.empty() && ::chdir(Dir.c_str()) != 0) ::_exit(126);
    ::dup2(OutFd, 1);
    ::dup2(ErrFd, 2);
    if (InChild) InChild();
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  return pid;
}

// Exit status, or 128 + signal.
inline int WaitStatus(pid_t Pid) {
  int status = 0;
  ::waitpid(Pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs quillet with Args in Dir, stdout and stderr captured separately through files so that
// neither can block the child.
inline TRun RunQuillet(std::vector<std::string> Args, const std::string& Dir = "") {
  FILE* out = std::tmpfile();
  FILE* err = std::tmpfile();
  TRun r;
  if (!out || !err) return r;
  r.Status = WaitStatus(SpawnQuillet(std::move(Args), Dir, ::fileno(out), ::fileno(err)));
  std::rewind(out);
  std::rewind(err);
  r.Out = ReadFd(::fileno(out));
  r.Err = ReadFd(::fileno(err));
  std::fclose(out);
  std::fclose(err);
  return r;
}

inline std::string Quote(const std::string& S) {
  std::string q = "'";
  for (char c : S) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Number of lines in S (a last line without newline counts).
inline size_t LineCount(const std::string& S) {
  size_t n = 0;
  for (char c : S) n += c == '\n';
  return n + (!S.empty() && S.back() != '\n');
}

inline int PdfPageCount(const std::string& Pdf) {
  int status = -1;
  const std::string out = test::RunTool("qpdf --show-npages " + Quote(Pdf) + " 2>/dev/null", &status);
  return status == 0 ? std::atoi(out.c_str()) : -1;
}

// The text of each page, as pdftotext -layout lays it out.
inline std::vector<std::string> PdfPages(const std::string& Pdf) {
  const std::string text = test::RunTool("pdftotext -layout " + Quote(Pdf) + " - 2>/dev/null");
  std::vector<std::string> pages;
  size_t start = 0;
  for (size_t ff; (ff = text.find('\f', start)) != std::string::npos; start = ff + 1)
    pages.push_back(text.substr(start, ff - start));
  if (start < text.size() && text.find_first_not_of(" \n", start) != std::string::npos)
    pages.push_back(text.substr(start));
  return pages;
}

// qpdf finds no damage and every page rasterises without a word from poppler. Returns what went
// wrong, "" when all is well.
inline std::string PdfProblems(const std::string& Pdf, const std::string& Scratch) {
  int status = -1;
  const std::string check = test::RunTool("qpdf --check " + Quote(Pdf) + " 2>&1", &status);
  if (status != 0) return "qpdf --check: " + check;
  const std::string err =
      test::RunTool("pdftoppm -r 20 -png " + Quote(Pdf) + " " + Quote(Scratch) + " 2>&1 >/dev/null", &status);
  if (status != 0 || !err.empty()) return "pdftoppm: " + err;
  return "";
}

// Files of Dir whose name ends with Suffix.
inline std::vector<std::string> FilesEndingWith(const fs::path& Dir, const std::string& Suffix) {
  std::vector<std::string> found;
  for (const auto& e : fs::directory_iterator(Dir)) {
    const std::string n = e.path().filename().string();
    if (n.size() >= Suffix.size() && n.compare(n.size() - Suffix.size(), Suffix.size(), Suffix) == 0)
      found.push_back(n);
  }
  return found;
}

// ---- Report definitions ---------------------------------------------------------------------

using TJson = nlohmann::ordered_json;

inline TJson Label(const std::string& Name, float Left, float Top, float Width, const std::string& Text,
                   const std::string& DataField = "") {
  TJson e;
  e["type"] = "Label";
  e["name"] = Name;
  e["left"] = Left;
  e["top"] = Top;
  e["width"] = Width;
  e["height"] = 14;
  e["text"] = Text;
  e["dataField"] = DataField;
  e["fontName"] = "DejaVu Sans";
  e["fontSize"] = 9;
  e["vertAlign"] = "Center";
  return e;
}

inline TJson Band(const std::string& Type, float Height, std::vector<TJson> Elements,
                  const std::string& DataSource = "", const std::string& GroupCondition = "") {
  TJson b;
  b["type"] = Type;
  b["height"] = Height;
  b["dataSource"] = DataSource;
  b["groupCondition"] = GroupCondition;
  b["elements"] = std::move(Elements);
  return b;
}

// A portrait A4 report with 30-point margins.
inline std::string Report(std::vector<TJson> Bands, int StartPageNumber = 1) {
  TJson r;
  r["version"] = "2.0";
  r["page"] = {{"width", 595},      {"height", 842},     {"marginTop", 30},
               {"marginBottom", 30}, {"marginLeft", 30}, {"marginRight", 30},
               {"startPageNumber", StartPageNumber}};
  r["bands"] = std::move(Bands);
  return r.dump(2);
}

// Money in whole cents, printed as the report's FORMAT('%.2f', ...) prints it.
inline std::string Cents(long long C) {
  const bool neg = C < 0;
  if (neg) C = -C;
  std::string s = std::to_string(C / 100) + "." + (C % 100 < 10 ? "0" : "") + std::to_string(C % 100);
  return neg ? "-" + s : s;
}

}  // namespace quillet::e2e
