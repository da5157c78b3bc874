// Helpers shared by the tests: temporary folders, and the outside tools that check what
// we write (qpdf, poppler's pdftotext, pdffonts and pdftoppm).
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace quillet::test {

// A fresh folder under the system's temporary folder, removed with everything in it afterwards.
class TTempDir {
 public:
  TTempDir() {
    std::string t = (std::filesystem::temp_directory_path() / "quillet-test.XXXXXX").string();
    if (!::mkdtemp(t.data())) throw std::runtime_error("mkdtemp failed");
    Path = t;
  }
  ~TTempDir() {
    std::error_code ec;
    std::filesystem::remove_all(Path, ec);
  }
  TTempDir(const TTempDir&) = delete;
  TTempDir& operator=(const TTempDir&) = delete;

  std::string Str() const { return Path.string(); }
  std::string File(const std::string& Name) const { return (Path / Name).string(); }
  // Writes Bytes into the folder under Name; returns the path.
  std::string Write(const std::string& Name, const std::string& Bytes) const {
    std::ofstream(Path / Name, std::ios::binary) << Bytes;
    return File(Name);
  }
  // Copies the file From into the folder under the name As; returns the new path.
  std::string Add(const std::string& From, const std::string& As) const {
    std::filesystem::copy_file(From, Path / As);
    return File(As);
  }
  size_t Count() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(Path), {}));
  }

  std::filesystem::path Path;
};

// Runs a shell command and returns what it wrote to standard output (add 2>&1 to catch both);
// Status, when given, receives the exit status (-1 when the command could not run).
inline std::string RunTool(const std::string& Command, int* Status = nullptr) {
  std::string out;
  FILE* p = ::popen(Command.c_str(), "r");
  if (!p) {
    if (Status) *Status = -1;
    return out;
  }
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int rc = ::pclose(p);
  if (Status) *Status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  return out;
}

inline bool HaveTool(const std::string& Name) {
  int status = -1;
  RunTool("command -v " + Name + " >/dev/null 2>&1", &status);
  return status == 0;
}

}  // namespace quillet::test
