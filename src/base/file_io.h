// Whole-file reading and atomic writing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillet {

// Reads a whole file as bytes. Failure raises EQuilletError naming the file.
std::string ReadWholeFile(const std::string& FileName);

// Writes Bytes to FileName atomically: a temporary file in the same folder is written, flushed
// and renamed over the target, so the target is either the old file or the whole new one.
// Failure raises EQuilletError naming the file and leaves no temporary file behind.
void WriteFileAtomic(const std::string& FileName, std::string_view Bytes);

// The same for a file written piece by piece: the pieces go to a temporary file beside the
// target, and Commit renames it over the target. Destroyed without Commit (a failure, a
// cancelled run), it removes the temporary file and the target stays as it was.
class TAtomicFileWriter {
 public:
  explicit TAtomicFileWriter(std::string FileName);  // raises EQuilletError naming the file
  ~TAtomicFileWriter();
  TAtomicFileWriter(const TAtomicFileWriter&) = delete;
  TAtomicFileWriter& operator=(const TAtomicFileWriter&) = delete;

  void Write(std::string_view Bytes);
  // Bytes written so far.
  uint64_t Position() const noexcept { return FPosition; }
  void Commit();
  const std::string& FileName() const noexcept { return FFileName; }

 private:
  [[noreturn]] void Fail(int Err);
  std::string FFileName, FTempName;
  int FFd = -1;
  uint64_t FPosition = 0;
};

}  // namespace quillet
