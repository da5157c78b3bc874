#include "engine/builtin_variables.h"

#include <string>

#include "base/utf8.h"

namespace quillet {

const std::vector<TBuiltinVariableNames>& BuiltinVariables() {
  static const std::vector<TBuiltinVariableNames> Variables = {
      {bvDate, {"D", "DATE", "TARIH"}},
      {bvTime, {"TIME", "SAAT"}},
      {bvDateTime, {"DATETIME", "TARIHSAAT"}},
      {bvPageNo, {"PAGENO", "SAYFANO"}},
      {bvTotalPages, {"TOTALPAGES", "TOPLAMSAYFA"}},
      {bvRecordNo, {"RECORDNO", "KAYITNO"}},
  };
  return Variables;
}

std::optional<TBuiltinVariable> FindBuiltinVariable(std::string_view Name) {
  // Name is upper-cased code point by code point, with the Turkish dotted capital I as I too
  // (the dotless small one already upper-cases to I). Every letter of a match takes one byte,
  // or two for a Turkish i; no built-in name is longer than 11 letters.
  constexpr size_t kLongest = 11;
  if (Name.empty() || Name.size() > 2 * kLongest) return std::nullopt;
  char key[kLongest];
  size_t n = 0;
  for (size_t pos = 0; pos < Name.size();) {
    const char32_t c = DecodeUtf8At(Name, pos);
    const char32_t up = c == U'\u0130' ? U'I' : UpperCodePoint(c);
    if (up >= 0x80 || n == kLongest) return std::nullopt;
    key[n++] = static_cast<char>(up);
  }
  const std::string_view up(key, n);
  for (const TBuiltinVariableNames& v : BuiltinVariables())
    for (std::string_view name : v.Names)
      if (name == up) return v.Variable;
  return std::nullopt;
}

const std::vector<std::string>& SystemVariableNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> r;
    for (const TBuiltinVariableNames& v : BuiltinVariables())
      for (std::string_view name : v.Names) r.emplace_back(name);
    return r;
  }();
  return names;
}

bool IsSystemVariableName(std::string_view Name) { return FindBuiltinVariable(Name).has_value(); }

}  // namespace quillet
