// quillet eval: evaluates one expression, or expands a text template, with --var variables.
// With --check it prints nothing but the problems, one line each, and fails when there are any.
#include <cstdio>
#include <map>
#include <string>

#include "cli/cli.h"
#include "expr/expr_evaluator.h"

namespace quillet::cli {

int RunEval(const TArgs& Args) {
  std::map<std::string, std::string> vars;
  bool isText = false;
  bool check = false;
  bool haveInput = false;
  std::string input;
  for (size_t i = 0; i < Args.size(); ++i) {
    const std::string& a = Args[i];
    if (a == "--var") {
      if (++i >= Args.size()) throw EUsageError("--var needs NAME=VALUE");
      auto [name, value] = SplitAssignment("--var", Args[i]);
      vars[name] = value;
    } else if (a.rfind("--var=", 0) == 0) {
      auto [name, value] = SplitAssignment("--var", a.substr(6));
      vars[name] = value;
    } else if (a == "--check") {
      if (haveInput) throw EUsageError("--check must come before the expression");
      check = true;
    } else if (a == "--text") {
      if (isText) throw EUsageError("--text given twice");
      if (haveInput) throw EUsageError("--text must come before the text");
      isText = true;
    } else if (a == "--") {
      // Everything after "--" is the input, so that an expression may start with "-".
      if (i + 1 < Args.size()) {
        if (haveInput || i + 2 < Args.size()) throw EUsageError("eval takes one expression");
        input = Args[++i];
        haveInput = true;
      }
    } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
      throw EUsageError("unknown option \"" + a + "\"");
    } else {
      if (haveInput) throw EUsageError("eval takes one expression; quote it as one argument");
      input = a;
      haveInput = true;
    }
  }
  if (!haveInput) throw EUsageError(isText ? "eval --text needs a TEXT" : "eval needs an EXPR");

  const TGetIdentValueFunc noFields;
  const TGetIdentValueFunc varFunc = [&vars](const std::string& Name, TExprValue& Value) {
    const auto it = vars.find(Name);
    if (it == vars.end()) return false;
    Value = TExprValue::FromString(it->second);
    return true;
  };
  const TAggregateFunc noAggregates;
  if (check) {
    std::vector<std::pair<size_t, TExprProblem>> problems;
    if (isText) {
      std::vector<TTextProblem> found;
      EvalText(input, noFields, varFunc, noAggregates, &found);
      for (TTextProblem& p : found) problems.emplace_back(p.Start + p.Problem.Position, std::move(p.Problem));
    } else {
      TExprProblem p;
      EvalExpression(input, noFields, varFunc, noAggregates, &p);
      if (p) problems.emplace_back(p.Position, std::move(p));
    }
    for (const auto& [position, p] : problems)
      std::fprintf(stderr, "quillet: position %zu: %s\n", position, DescribeExprProblem(p).c_str());
    return problems.empty() ? 0 : 1;
  }
  if (isText) {
    const std::string out = EvalText(input, noFields, varFunc, noAggregates);
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fputc('\n', stdout);
  } else {
    const TExprValue v = EvalExpression(input, noFields, varFunc, noAggregates);
    const std::string out = v.IsNull() ? std::string("(null)") : v.ToText();
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fputc('\n', stdout);
  }
  return 0;
}

}  // namespace quillet::cli
