// UTF-8 helpers. Strings are UTF-8 std::string everywhere; rules that walk "characters" walk
// code points. Invalid bytes never fail: each becomes U+FFFD on decoding.
#pragma once

#include <string>
#include <string_view>

namespace quillet {

// Decodes one code point at Text[Pos], advancing Pos by the bytes consumed (at least 1).
// Malformed, overlong, surrogate or truncated sequences give U+FFFD and consume one byte.
char32_t DecodeUtf8At(std::string_view Text, size_t& Pos);

std::u32string DecodeUtf8(std::string_view Text);
void AppendUtf8(std::string& Out, char32_t CodePoint);
std::string EncodeUtf8(std::u32string_view Text);

// Number of code points (each invalid byte counts as one).
size_t Utf8Length(std::string_view Text);

// Simple (one-to-one) Unicode case mapping: "ä" <-> "Ä", "ş" <-> "Ş"; characters without a
// case partner stay as they are.
char32_t UpperCodePoint(char32_t C);
char32_t LowerCodePoint(char32_t C);
std::string Utf8Upper(std::string_view Text);
std::string Utf8Lower(std::string_view Text);

// Strips one leading UTF-8 byte-order mark.
std::string_view StripBom(std::string_view Text);

}  // namespace quillet
