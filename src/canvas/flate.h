// Flate compression for PDF streams: zlib-wrapped deflate, as the FlateDecode filter expects.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

struct libdeflate_compressor;

namespace quillet {

class TFlateCompressor {
 public:
  static constexpr int MinLevel = 0;   // stored blocks only, still zlib-wrapped
  static constexpr int MaxLevel = 12;  // slowest, smallest
  static constexpr int DefaultLevel = 6;

  // Raises EQuilletError for a level outside MinLevel..MaxLevel.
  explicit TFlateCompressor(int Level = DefaultLevel);
  ~TFlateCompressor();
  TFlateCompressor(const TFlateCompressor&) = delete;
  TFlateCompressor& operator=(const TFlateCompressor&) = delete;

  int Level() const noexcept { return FLevel; }

  std::vector<uint8_t> Compress(std::span<const uint8_t> Data);
  // Compresses into Out (replacing its content). Callers that compress many streams pass the
  // same vector each time so its capacity is reused instead of reallocated.
  void CompressTo(std::span<const uint8_t> Data, std::vector<uint8_t>& Out);
  void CompressTo(std::string_view Data, std::vector<uint8_t>& Out);

 private:
  // The compressor holds its match-finder tables; it is made once and reused for every stream.
  libdeflate_compressor* FCompressor = nullptr;
  int FLevel;
};

}  // namespace quillet
