// Expressions and text templates come from report files: the evaluator must answer every text
// with a value or null (EvalExpression) or an expanded text (EvalText), never an exception, a
// crash or a hang; and asking for the problems must never change the answer. The first byte
// picks: bit 0 EvalText or EvalExpression, bit 1 an aggregate callback, bit 2 whether the
// resolvers know the fields and variables, bit 3 a resolver that raises.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "expr/expr_evaluator.h"

using namespace quillet;

namespace {

void Check(bool Condition) {
  if (!Condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  static const bool init = [] { return ::setenv("SOURCE_DATE_EPOCH", "1704585600", 1) == 0; }();
  (void)init;
  if (Size == 0) return 0;
  const uint8_t mode = Data[0];
  const std::string text(reinterpret_cast<const char*>(Data + 1), Size - 1);
  const bool known = !(mode & 4);
  const bool raising = mode & 8;
  const TGetIdentValueFunc fields = [&](const std::string& Name, TExprValue& V) {
    if (raising && Name == "Boom") throw std::runtime_error("resolver failed");
    if (!known) return false;
    if (Name == "Orders.Amount") V = TExprValue::FromFloat(12.5);
    else if (Name == "Orders.Name") V = TExprValue::FromString("M\xC3\xBCller");
    else if (Name == "Orders.Date") V = TExprValue::FromString("2024-02-29 13:45:10");
    else if (Name == "Orders.Due") V = TExprValue::FromDateTime(45351.5);
    else if (Name == "Orders.Count") V = TExprValue::FromInt(-9223372036854775807LL - 1);
    else if (Name == "Orders.Empty") V = TExprValue();
    else return false;
    return true;
  };
  const TGetIdentValueFunc vars = [&](const std::string& Name, TExprValue& V) {
    if (!known) return false;
    if (Name == "TRUE") V = TExprValue::FromBool(true);
    else if (Name == "Big") V = TExprValue::FromFloat(1e308);
    else if (Name == "PageNo") V = TExprValue::FromString("3");
    else return false;
    return true;
  };
  const TAggregateFunc agg = [&](const std::string& Func, const std::vector<TExprValue>& Args) {
    if (raising && Func == "MAX") throw std::runtime_error("aggregate failed");
    return TExprValue::FromString(Func + std::to_string(Args.size()));
  };
  const TAggregateFunc& aggFunc = (mode & 2) ? agg : TAggregateFunc();
  try {
    if (mode & 1) {
      const std::string plain = EvalText(text, fields, vars, aggFunc);
      std::vector<TTextProblem> problems;
      const std::string checked = EvalText(text, fields, vars, aggFunc, &problems);
      Check(plain == checked);
      if (text.find('[') == std::string::npos) Check(plain == text && problems.empty());
      for (const TTextProblem& p : problems) {
        Check(p.Problem && p.Start >= 1 && p.Start <= text.size() && text[p.Start - 1] == '[');
        Check(p.Placeholder.size() < text.size());
        (void)DescribeExprProblem(p.Problem);
      }
    } else {
      const std::string plain = EvalExpression(text, fields, vars, aggFunc).ToText();
      TExprProblem problem;
      problem.Kind = TExprProblemKind::TooDeep;  // must be cleared when there is none
      const std::string checked = EvalExpression(text, fields, vars, aggFunc, &problem).ToText();
      Check(plain == checked);
      if (problem) {
        Check(problem.Position >= 1 && problem.Position <= text.size() + 1);
        Check(!DescribeExprProblem(problem).empty());
      }
    }
  } catch (...) {
    std::abort();  // nothing may escape the evaluator
  }
  return 0;
}
