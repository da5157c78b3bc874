// Helpers of the designer tests: a stand-in designer that records how it was started, and
// changed environments for this process and for programs run from it.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <optional>
#include <sstream>
#include <thread>

#include "../e2e/e2e_support.h"

namespace quillet::test {

namespace fs = std::filesystem;
using e2e::ReadFile;

inline void WriteBytes(const fs::path& P, const std::string& Bytes) {
  fs::create_directories(P.parent_path());
  std::ofstream(P, std::ios::binary) << Bytes;
}

// A stand-in program: writes its working folder, each argument on a line and "END" into
// $QUILLET_TEST_RECORD, with shell builtins only, so that any PATH serves. When
// $QUILLET_TEST_GATE names a FIFO, it first waits for a line from it.
inline void WriteStandIn(const fs::path& File) {
  WriteBytes(File, "#!/bin/sh\n[ -z \"$QUILLET_TEST_GATE\" ] || read line < \"$QUILLET_TEST_GATE\"\n"
                   "{ pwd; for a in \"$@\"; do printf '%s\\n' \"$a\"; done; echo END; } > \"$QUILLET_TEST_RECORD\"\n");
  fs::permissions(File, fs::perms(0755));
}

struct TRecord {
  std::string Folder;
  std::vector<std::string> Args;
  friend bool operator==(const TRecord&, const TRecord&) = default;
  friend std::ostream& operator<<(std::ostream& Out, const TRecord& R) {
    Out << "{in " << R.Folder << ":";
    for (const auto& a : R.Args) Out << " [" << a << "]";
    return Out << "}";
  }
};

// The record once the stand-in has written all of it (then removed), or nothing after 20 s.
inline std::optional<TRecord> WaitForRecord(const fs::path& File) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  for (std::string text; std::chrono::steady_clock::now() < until;
       std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
    text = ReadFile(File);
    if (text.size() < 4 || text.compare(text.size() - 4, 4, "END\n") != 0) continue;
    TRecord r;
    std::istringstream lines(text.substr(0, text.size() - 4));
    std::getline(lines, r.Folder);
    for (std::string line; std::getline(lines, line);) r.Args.push_back(line);
    fs::remove(File);
    return r;
  }
  return std::nullopt;
}

// True when this process has no child process, running or unreaped.
inline bool HasNoChild() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

using TEnv = std::map<std::string, std::optional<std::string>>;  // a value sets, nullopt removes

// Changes this process's environment until destroyed.
class TScopedEnv {
 public:
  explicit TScopedEnv(const TEnv& Vars) {
    for (const auto& [name, value] : Vars) {
      const char* old = std::getenv(name.c_str());
      FOld[name] = old ? std::optional<std::string>(old) : std::nullopt;
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
  }
  ~TScopedEnv() {
    for (const auto& [name, value] : FOld) value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
  }

 private:
  TEnv FOld;
};

// Runs Argv in Dir with the environment changed by Env.
inline e2e::TRun RunProgram(const std::vector<std::string>& Argv, const TEnv& Env, const std::string& Dir) {
  std::string command = "cd " + e2e::Quote(Dir) + " && env", sets;
  for (const auto& [name, value] : Env) (value ? sets : command) += " " + e2e::Quote(value ? name + "=" + *value : "-u" + name);
  // A used suppression is reported at exit under LeakSanitizer; the tests read stderr exactly.
  if (const char* lsan = std::getenv("LSAN_OPTIONS"))
    sets += " " + e2e::Quote("LSAN_OPTIONS=" + std::string(lsan) + ":print_suppressions=0");
  command += sets;
  for (const auto& a : Argv) command += " " + e2e::Quote(a);
  const std::string err = Dir + "/stderr.txt";
  e2e::TRun r;
  r.Out = RunTool(command + " 2>" + e2e::Quote(err), &r.Status);
  r.Err = ReadFile(err);
  fs::remove(err);
  return r;
}

// The message the library shows when the designer is nowhere.
inline std::string NotFoundMessage(const std::string& SettingsFile) {
  return "formwright bulunamadi.\r\n\r\nLutfen exe dosyasinin yolunu manuel olarak ayarlayin:\r\n"
         "  - Bu menuyu tekrar tiklayin > dosya secim penceresi cikar\r\n  - VEYA ayar dosyasi: " +
         SettingsFile + ", DesignerPath\r\n  - VEYA env var: QUILLET_DESIGNER";
}

}  // namespace quillet::test
