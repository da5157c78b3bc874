// The variables every report can read without anyone setting them: the date and time of the run,
// the page numbers and the record number. Each has an English and a Turkish name, both matched
// in any case ("PageNo", "pageno", "SayfaNo").
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace quillet {

enum TBuiltinVariable { bvDate, bvTime, bvDateTime, bvPageNo, bvTotalPages, bvRecordNo };

struct TBuiltinVariableNames {
  TBuiltinVariable Variable;
  std::vector<std::string_view> Names;  // upper case, the English ones first
};

const std::vector<TBuiltinVariableNames>& BuiltinVariables();

// The built-in variable that Name stands for, if any.
std::optional<TBuiltinVariable> FindBuiltinVariable(std::string_view Name);

}  // namespace quillet
