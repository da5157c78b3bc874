#include "engine/builtin_variables.h"

#include <string>

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
  // No built-in name is longer than this; longer names are not worth upper-casing.
  if (Name.empty() || Name.size() > 11) return std::nullopt;
  std::string up(Name);
  for (char& c : up)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  for (const TBuiltinVariableNames& v : BuiltinVariables())
    for (std::string_view n : v.Names)
      if (n == up) return v.Variable;
  return std::nullopt;
}

}  // namespace quillet
