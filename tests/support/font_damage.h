// Damage made to a copy of a real font file: a loca entry or a table's length overwritten. Works on
// std::string and std::vector<uint8_t> alike.
#pragma once

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace quillet::test {

template <class B>
uint32_t BigEndian32(const B& F, size_t At) {
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) v = (v << 8) | static_cast<uint8_t>(F[At + i]);
  return v;
}
template <class B>
void PutBigEndian32(B& F, size_t At, uint32_t V) {
  for (int i = 0; i < 4; ++i) F[At + i] = static_cast<typename B::value_type>(V >> (24 - 8 * i));
}

// The directory entry of a table: its offset at +8, its length at +12.
template <class B>
size_t TableEntry(const B& F, const std::string& Tag) {
  for (size_t e = 12; e < 12 + 16 * (BigEndian32(F, 2) & 0xFFFF); e += 16)
    if (std::equal(Tag.begin(), Tag.end(), F.begin() + static_cast<std::ptrdiff_t>(e))) return e;
  throw std::runtime_error("no table " + Tag);
}
template <class B>
std::pair<uint32_t, uint32_t> TableAt(const B& F, const std::string& Tag) {
  return {BigEndian32(F, TableEntry(F, Tag) + 8), BigEndian32(F, TableEntry(F, Tag) + 12)};
}

// Sets the loca entry of a glyph, in a font with long loca entries.
template <class B>
void SetLongLoca(B& F, uint32_t Gid, uint32_t V) {
  PutBigEndian32(F, TableAt(F, "loca").first + 4 * Gid, V);
}
// Halves the length the directory gives a table.
template <class B>
void CutTable(B& F, const std::string& Tag) {
  PutBigEndian32(F, TableEntry(F, Tag) + 12, TableAt(F, Tag).second / 2);
}

}  // namespace quillet::test
