// Expressions come from report files: the evaluator must answer every text with a value or null,
// never an exception, a crash or a hang. The first byte picks what the resolvers know.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "expr/expr_evaluator.h"

using namespace quillet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  if (Size == 0) return 0;
  const uint8_t mode = Data[0];
  const std::string text(reinterpret_cast<const char*>(Data + 1), Size - 1);
  const TGetIdentValueFunc fields = [&](const std::string& Name, TExprValue& V) {
    if (Name == "Orders.Amount") V = TExprValue::FromFloat(12.5);
    else if (Name == "Orders.Name") V = TExprValue::FromString("M\xC3\xBCller");
    else if (Name == "Orders.Date") V = TExprValue::FromString("2024-02-29 13:45:10");
    else if (Name == "Orders.Count") V = TExprValue::FromInt(-9223372036854775807LL - 1);
    else return false;
    return true;
  };
  const TGetIdentValueFunc vars = [&](const std::string& Name, TExprValue& V) {
    if (Name == "TRUE") V = TExprValue::FromBool(true);
    else if (Name == "Big") V = TExprValue::FromFloat(1e308);
    else return false;
    return true;
  };
  const TAggregateFunc agg = [](const std::string& Func, const std::vector<TExprValue>& Args) {
    return TExprValue::FromString(Func + std::to_string(Args.size()));
  };
  try {
    if (mode & 1) {
      (void)EvalText(text, fields, vars, (mode & 2) ? agg : TAggregateFunc());
    } else {
      (void)EvalExpression(text, fields, vars, (mode & 2) ? agg : TAggregateFunc()).ToText();
    }
  } catch (...) {
    std::abort();  // nothing may escape the evaluator
  }
  return 0;
}
