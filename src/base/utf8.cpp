#include "base/utf8.h"

#include <clocale>
#include <cwctype>
#include <locale.h>
#include <wctype.h>

namespace quillet {

char32_t DecodeUtf8At(std::string_view Text, size_t& Pos) {
  const size_t n = Text.size();
  const unsigned char c = static_cast<unsigned char>(Text[Pos]);
  if (c < 0x80) {
    ++Pos;
    return c;
  }
  int len;
  char32_t cp;
  char32_t min;
  if ((c & 0xE0) == 0xC0) {
    len = 2, cp = c & 0x1F, min = 0x80;
  } else if ((c & 0xF0) == 0xE0) {
    len = 3, cp = c & 0x0F, min = 0x800;
  } else if ((c & 0xF8) == 0xF0) {
    len = 4, cp = c & 0x07, min = 0x10000;
  } else {
    ++Pos;
    return 0xFFFD;
  }
  if (Pos + len > n) {
    ++Pos;
    return 0xFFFD;
  }
  for (int i = 1; i < len; ++i) {
    const unsigned char cc = static_cast<unsigned char>(Text[Pos + i]);
    if ((cc & 0xC0) != 0x80) {
      ++Pos;
      return 0xFFFD;
    }
    cp = (cp << 6) | (cc & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    ++Pos;
    return 0xFFFD;
  }
  Pos += len;
  return cp;
}

std::u32string DecodeUtf8(std::string_view Text) {
  std::u32string out;
  out.reserve(Text.size());
  size_t pos = 0;
  while (pos < Text.size()) out.push_back(DecodeUtf8At(Text, pos));
  return out;
}

void AppendUtf8(std::string& Out, char32_t C) {
  if (C > 0x10FFFF || (C >= 0xD800 && C <= 0xDFFF)) C = 0xFFFD;
  if (C < 0x80) {
    Out.push_back(static_cast<char>(C));
  } else if (C < 0x800) {
    Out.push_back(static_cast<char>(0xC0 | (C >> 6)));
    Out.push_back(static_cast<char>(0x80 | (C & 0x3F)));
  } else if (C < 0x10000) {
    Out.push_back(static_cast<char>(0xE0 | (C >> 12)));
    Out.push_back(static_cast<char>(0x80 | ((C >> 6) & 0x3F)));
    Out.push_back(static_cast<char>(0x80 | (C & 0x3F)));
  } else {
    Out.push_back(static_cast<char>(0xF0 | (C >> 18)));
    Out.push_back(static_cast<char>(0x80 | ((C >> 12) & 0x3F)));
    Out.push_back(static_cast<char>(0x80 | ((C >> 6) & 0x3F)));
    Out.push_back(static_cast<char>(0x80 | (C & 0x3F)));
  }
}

std::string EncodeUtf8(std::u32string_view Text) {
  std::string out;
  out.reserve(Text.size());
  for (char32_t c : Text) AppendUtf8(out, c);
  return out;
}

size_t Utf8Length(std::string_view Text) {
  size_t count = 0, pos = 0;
  while (pos < Text.size()) {
    DecodeUtf8At(Text, pos);
    ++count;
  }
  return count;
}

namespace {

// The C.UTF-8 locale carries the full Unicode simple case tables; it is used through the
// *_l functions so that the process's global locale is never touched.
locale_t CaseLocale() {
  static locale_t loc = [] {
    locale_t l = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    if (!l) l = newlocale(LC_CTYPE_MASK, "C.utf8", static_cast<locale_t>(0));
    return l;
  }();
  return loc;
}

// Fallback when no UTF-8 locale exists: Latin-1, Latin Extended-A, Greek and Cyrillic.
char32_t FallbackUpper(char32_t c) {
  if (c >= 'a' && c <= 'z') return c - 32;
  if ((c >= 0xE0 && c <= 0xFE && c != 0xF7)) return c - 32;
  if (c == 0xFF) return 0x178;
  if (c == 0x131) return 'I';
  if (c >= 0x100 && c <= 0x17E && c != 0x130 && c != 0x138 && c != 0x149) {
    const bool lowerIsEven = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if (lowerIsEven ? (c % 2 == 0) : (c % 2 == 1)) return c - 1;
    return c;
  }
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return c - 32;
  if (c >= 0x430 && c <= 0x44F) return c - 32;
  if (c >= 0x450 && c <= 0x45F) return c - 80;
  return c;
}

char32_t FallbackLower(char32_t c) {
  if (c >= 'A' && c <= 'Z') return c + 32;
  if ((c >= 0xC0 && c <= 0xDE && c != 0xD7)) return c + 32;
  if (c == 0x178) return 0xFF;
  if (c == 0x130) return 'i';
  if (c >= 0x100 && c <= 0x17E && c != 0x131 && c != 0x138 && c != 0x149) {
    const bool lowerIsEven = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if (lowerIsEven ? (c % 2 == 1) : (c % 2 == 0)) return c + 1;
    return c;
  }
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 32;
  if (c >= 0x410 && c <= 0x42F) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  return c;
}

}  // namespace

char32_t UpperCodePoint(char32_t C) {
  if (C < 0x80) return (C >= 'a' && C <= 'z') ? C - 32 : C;
  if (locale_t l = CaseLocale()) return static_cast<char32_t>(towupper_l(static_cast<wint_t>(C), l));
  return FallbackUpper(C);
}

char32_t LowerCodePoint(char32_t C) {
  if (C < 0x80) return (C >= 'A' && C <= 'Z') ? C + 32 : C;
  if (locale_t l = CaseLocale()) return static_cast<char32_t>(towlower_l(static_cast<wint_t>(C), l));
  return FallbackLower(C);
}

namespace {
template <char32_t (*Map)(char32_t)>
std::string MapCase(std::string_view Text) {
  std::string out;
  out.reserve(Text.size());
  size_t pos = 0;
  while (pos < Text.size()) {
    const size_t start = pos;
    const char32_t c = DecodeUtf8At(Text, pos);
    if (c == 0xFFFD && pos == start + 1 && static_cast<unsigned char>(Text[start]) >= 0x80) {
      out.push_back(Text[start]);  // keep an invalid byte as it was
      continue;
    }
    AppendUtf8(out, Map(c));
  }
  return out;
}
}  // namespace

std::string Utf8Upper(std::string_view Text) { return MapCase<UpperCodePoint>(Text); }
std::string Utf8Lower(std::string_view Text) { return MapCase<LowerCodePoint>(Text); }

std::string_view StripBom(std::string_view Text) {
  if (Text.size() >= 3 && Text.substr(0, 3) == "\xEF\xBB\xBF") Text.remove_prefix(3);
  return Text;
}

}  // namespace quillet
