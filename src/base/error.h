// The one exception base of the library. what() is always the system's own message text;
// where the failure happened (file, element, byte offset) travels in separate fields.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace quillet {

class EQuilletError : public std::runtime_error {
 public:
  explicit EQuilletError(const std::string& Message) : std::runtime_error(Message) {}
  EQuilletError(const std::string& Message, std::string FileName, int64_t Offset = -1, std::string Detail = {})
      : std::runtime_error(Message), FFileName(std::move(FileName)), FOffset(Offset), FDetail(std::move(Detail)) {}

  // The file the failure concerns, or "" when none.
  const std::string& FileName() const noexcept { return FFileName; }
  // Byte offset inside that file, or -1 when not known.
  int64_t Offset() const noexcept { return FOffset; }
  // What exactly went wrong there, when known ("line 3, column 14: unexpected '}'"); "" otherwise.
  const std::string& Detail() const noexcept { return FDetail; }

 private:
  std::string FFileName;
  int64_t FOffset = -1;
  std::string FDetail;
};

}  // namespace quillet
