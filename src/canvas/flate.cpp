#include "canvas/flate.h"

#include <libdeflate.h>

#include <new>
#include <string>

#include "base/error.h"

namespace quillet {

TFlateCompressor::TFlateCompressor(int Level) : FLevel(Level) {
  if (Level < MinLevel || Level > MaxLevel)
    throw EQuilletError("Invalid compression level " + std::to_string(Level) + " (allowed 0 to 12)");
  FCompressor = libdeflate_alloc_compressor(Level);
  if (!FCompressor) throw std::bad_alloc();
}

TFlateCompressor::~TFlateCompressor() { libdeflate_free_compressor(FCompressor); }

std::vector<uint8_t> TFlateCompressor::Compress(std::span<const uint8_t> Data) {
  std::vector<uint8_t> out;
  CompressTo(Data, out);
  return out;
}

void TFlateCompressor::CompressTo(std::string_view Data, std::vector<uint8_t>& Out) {
  CompressTo(std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(Data.data()), Data.size()), Out);
}

void TFlateCompressor::CompressTo(std::span<const uint8_t> Data, std::vector<uint8_t>& Out) {
  const size_t bound = libdeflate_zlib_compress_bound(FCompressor, Data.size());
  Out.resize(bound);  // keeps the capacity of earlier calls
  const size_t n = libdeflate_zlib_compress(FCompressor, Data.data(), Data.size(), Out.data(), Out.size());
  // With an output of the bound's size the compressor cannot run out of room.
  if (n == 0) throw EQuilletError("Flate compression failed");
  Out.resize(n);
}

}  // namespace quillet
