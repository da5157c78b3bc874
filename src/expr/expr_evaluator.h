// The expression language of report texts, group conditions and data bindings, evaluated in one
// pass over the text (no syntax tree) over dynamically typed values.
//
//   or-expr    := and-expr { OR and-expr }                 both sides always evaluated
//   and-expr   := not-expr { AND not-expr }
//   not-expr   := NOT not-expr | comparison
//   comparison := sum { ("=" | "<>" | "<" | ">" | "<=" | ">=") sum }   chains left to right
//   sum        := term { ("+" | "-") term }
//   term       := factor { ("*" | "/") factor }
//   factor     := 'string' | "string" | number | "(" or-expr [")"] | "+" factor | "-" factor
//               | name "(" args [")"] | name
//
// Keywords and function names are case-insensitive; names are passed to the resolvers exactly as
// written. TRUE and FALSE are not keywords: like any name they go to the resolvers, so without a
// resolver that knows them they are null. Names are runs of ASCII letters, digits, "_" and "."
// ("Orders.Amount"); a byte outside ASCII belongs to no character class. Only blanks and tabs are
// white space: a line break ends the expression, as does any text the grammar cannot continue
// with ("1 + 2 )junk" is 3).
//
// Values: "+" joins text forms when either side is a string, otherwise adds; integer + - * integer
// stays a 64-bit integer and becomes a float when it would overflow; "/" gives a float, and 0 (an
// integer) when the divisor is null, has an empty text form or is zero. A date-time plus or minus
// a number stays a date-time; a date-time minus a date-time is a float of days. An operation that
// cannot be carried out (a non-number, a result that is not finite) makes the value null and
// parsing goes on. Comparisons are numeric when both sides convert to numbers, otherwise
// case-insensitive on the text forms (see CompareValues). A date-time converts to its day count,
// so date-times compare chronologically, never by their text: [Due] < TODAY() means "before
// today" whatever the date format prints.
//
// Evaluation never throws and never crashes. Any failure makes the result null; nesting deeper
// than 256 levels (parentheses, signs, NOT, function arguments) makes the whole result null.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "expr/expr_value.h"

namespace quillet {

// Returns true and sets Value when it knows Name.
using TGetIdentValueFunc = std::function<bool(const std::string& Name, TExprValue& Value)>;
// Computes an aggregate. FuncName is upper case ("SUM", "AVG", "COUNT", "MIN", "MAX"); Args holds
// the raw argument text as one string, or nothing for COUNT().
using TAggregateFunc = std::function<TExprValue(const std::string& FuncName, const std::vector<TExprValue>& Args)>;

class TExprEvaluator {
 public:
  static constexpr int MaxNestingDepth = 256;

  TExprEvaluator(std::string Text, TGetIdentValueFunc FieldFunc, TGetIdentValueFunc VarFunc, TAggregateFunc AggFunc);

  // Evaluates one OR-expression from the start of Expr; null on any failure.
  static TExprValue EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                                   const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc) noexcept;

  // The parser. Each method reads from the current position and leaves it after what it read.
  // They throw only an internal exception when the nesting limit is passed; EvalExpression turns
  // that into null.
  TExprValue ParseOr();
  TExprValue ParseAnd();
  TExprValue ParseNot();
  TExprValue ParseComparison();
  TExprValue ParseExpression();
  TExprValue ParseTerm();
  TExprValue ParseFactor();
  std::vector<TExprValue> ParseArgList(bool IsAggregate);
  TExprValue ParseNumber();
  TExprValue ParseString();
  std::string ReadIdent();
  TExprValue ResolveIdent(const std::string& Name);
  bool TryMatchKeyword(const char* Word);
  char PeekChar() const noexcept;  // '\0' past the end
  void SkipWS() noexcept;          // blanks and tabs only

  // Name is upper case. Unknown names, too few arguments and unusable arguments give null.
  TExprValue CallFunction(const std::string& Name, const std::vector<TExprValue>& Args);

 private:
  class TDepthGuard;

  std::string FText;
  size_t FPos = 1;  // 1-based; FText.size() + 1 is the end
  TGetIdentValueFunc FFieldFunc;
  TGetIdentValueFunc FVarFunc;
  TAggregateFunc FAggFunc;
  int FDepth = 0;
};

TExprValue EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                          const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc) noexcept;

// Expands "[expression]" placeholders: each is replaced by the text form of its value, or kept
// as written, brackets included, when the value is null or empty ("[missing]" stays visible).
// Brackets do not nest ("[a[b]c]" evaluates "a[b" and keeps "c]"); a "[" without a closing "]"
// is kept with the rest of the text. Text without "[" comes back unchanged.
std::string EvalText(const std::string& Text, const TGetIdentValueFunc& FieldFunc,
                     const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc) noexcept;

}  // namespace quillet
