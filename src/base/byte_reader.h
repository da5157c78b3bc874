// The one bounds-checked big-endian reader for binary formats (fonts, images). Offsets are 64-bit
// and every range test is written so that it cannot overflow, whatever a hostile file claims.
// Two kinds of read: the plain ones throw EQuilletError with the reader's message when any byte
// lies outside the data; the ...Or0 ones give 0 instead, for rules where a miss simply means 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/error.h"

namespace quillet {

class TByteReader {
 public:
  TByteReader() = default;
  // Data must outlive the reader. ErrorText is what() of the exception a failed read raises.
  TByteReader(const uint8_t* Data, size_t Size, std::string ErrorText = "Truncated data")
      : FData(Data), FSize(Size), FErrorText(std::move(ErrorText)) {}

  const uint8_t* Data() const { return FData; }
  size_t Size() const { return FSize; }

  // True when [Off, Off + Len) lies inside the data.
  bool InRange(uint64_t Off, uint64_t Len) const { return Off <= FSize && Len <= FSize - Off; }

  // The bytes [Off, Off + Len) clamped to the data: a window that starts past the end is empty.
  TByteReader Sub(uint64_t Off, uint64_t Len, std::string ErrorText) const {
    if (Off >= FSize) return TByteReader(FData + FSize, 0, std::move(ErrorText));
    const uint64_t avail = FSize - Off;
    return TByteReader(FData + Off, static_cast<size_t>(Len < avail ? Len : avail), std::move(ErrorText));
  }

  uint8_t U8(uint64_t Off) const {
    Need(Off, 1);
    return FData[Off];
  }
  uint16_t U16(uint64_t Off) const {
    Need(Off, 2);
    return Get16(Off);
  }
  int16_t S16(uint64_t Off) const { return static_cast<int16_t>(U16(Off)); }
  uint32_t U32(uint64_t Off) const {
    Need(Off, 4);
    return Get32(Off);
  }
  int32_t S32(uint64_t Off) const { return static_cast<int32_t>(U32(Off)); }

  uint8_t U8Or0(uint64_t Off) const { return InRange(Off, 1) ? FData[Off] : 0; }
  uint16_t U16Or0(uint64_t Off) const { return InRange(Off, 2) ? Get16(Off) : 0; }
  uint32_t U32Or0(uint64_t Off) const { return InRange(Off, 4) ? Get32(Off) : 0; }

  // Throws unless [Off, Off + Len) lies inside the data.
  void Need(uint64_t Off, uint64_t Len) const {
    if (!InRange(Off, Len))
      throw EQuilletError(FErrorText, std::string(), Off > INT64_MAX ? -1 : static_cast<int64_t>(Off));
  }

 private:
  uint16_t Get16(uint64_t Off) const { return static_cast<uint16_t>((FData[Off] << 8) | FData[Off + 1]); }
  uint32_t Get32(uint64_t Off) const {
    return (uint32_t{FData[Off]} << 24) | (uint32_t{FData[Off + 1]} << 16) | (uint32_t{FData[Off + 2]} << 8) |
           uint32_t{FData[Off + 3]};
  }

  const uint8_t* FData = nullptr;
  size_t FSize = 0;
  std::string FErrorText = "Truncated data";
};

// Big-endian writers for building binary tables.
inline void PutU16BE(std::vector<uint8_t>& Out, size_t Off, uint16_t V) {
  if (Off > Out.size() || Out.size() - Off < 2) throw std::out_of_range("PutU16BE");
  Out[Off] = static_cast<uint8_t>(V >> 8);
  Out[Off + 1] = static_cast<uint8_t>(V);
}
inline void PutU32BE(std::vector<uint8_t>& Out, size_t Off, uint32_t V) {
  if (Off > Out.size() || Out.size() - Off < 4) throw std::out_of_range("PutU32BE");
  Out[Off] = static_cast<uint8_t>(V >> 24);
  Out[Off + 1] = static_cast<uint8_t>(V >> 16);
  Out[Off + 2] = static_cast<uint8_t>(V >> 8);
  Out[Off + 3] = static_cast<uint8_t>(V);
}
inline void AppendU16BE(std::vector<uint8_t>& Out, uint16_t V) {
  Out.push_back(static_cast<uint8_t>(V >> 8));
  Out.push_back(static_cast<uint8_t>(V));
}
inline void AppendU32BE(std::vector<uint8_t>& Out, uint32_t V) {
  Out.push_back(static_cast<uint8_t>(V >> 24));
  Out.push_back(static_cast<uint8_t>(V >> 16));
  Out.push_back(static_cast<uint8_t>(V >> 8));
  Out.push_back(static_cast<uint8_t>(V));
}

}  // namespace quillet
