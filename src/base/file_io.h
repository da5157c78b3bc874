// Whole-file reading and atomic writing.
#pragma once

#include <string>
#include <string_view>

namespace quillet {

// Reads a whole file as bytes. Failure raises EQuilletError naming the file.
std::string ReadWholeFile(const std::string& FileName);

// Writes Bytes to FileName atomically: a temporary file in the same folder is written, flushed
// and renamed over the target, so the target is either the old file or the whole new one.
// Failure raises EQuilletError naming the file and leaves no temporary file behind.
void WriteFileAtomic(const std::string& FileName, std::string_view Bytes);

}  // namespace quillet
