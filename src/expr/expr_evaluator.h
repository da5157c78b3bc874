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
//
// Alongside its value an evaluation can report its first problem (TExprProblem): a name no
// resolver knows, an unknown function or one given too few arguments, an operand that is there
// but cannot be used ('abc' - 1, SQRT(-1)), a missing operand, text left after the expression, a
// string or "(" left open, or nesting past the limit. A null or empty operand is not a problem:
// the operator or function simply gives null. Reporting never changes the value.
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

enum class TExprProblemKind : uint8_t {
  None,
  UnknownName,      // Name: the name as written
  UnknownFunction,  // Name: the function, upper case
  TooFewArguments,  // Name: the function
  UnusableOperand,  // Name: the operator ("-") or function ("SQRT")
  MissingOperand,
  TrailingText,     // Name: the text left over
  UnclosedString,
  UnclosedParen,
  TooDeep,
  Failed,           // a resolver or aggregate callback raised; Name: its message
};

// The first problem of an evaluation. Position is 1-based in the expression text.
struct TExprProblem {
  TExprProblemKind Kind = TExprProblemKind::None;
  std::string Name;
  size_t Position = 0;
  explicit operator bool() const noexcept { return Kind != TExprProblemKind::None; }
};

// The problem in words, e.g. `unknown function "FORMT"`.
std::string DescribeExprProblem(const TExprProblem& Problem);

// A problem of one [placeholder] of a text template: the placeholder's text between the
// brackets and the 1-based position of its "[" in the template.
struct TTextProblem {
  std::string Placeholder;
  size_t Start = 0;
  TExprProblem Problem;
};

class TExprEvaluator {
 public:
  static constexpr int MaxNestingDepth = 256;

  TExprEvaluator(std::string Text, TGetIdentValueFunc FieldFunc, TGetIdentValueFunc VarFunc, TAggregateFunc AggFunc);

  // Evaluates one OR-expression from the start of Expr; null on any failure. Problem, when given,
  // receives the first problem met (or a cleared record).
  static TExprValue EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                                   const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc,
                                   TExprProblem* Problem = nullptr) noexcept;

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
  TExprValue ResolveIdent(const std::string& Name, size_t At);
  // Records a problem unless an earlier one is recorded already.
  void NoteProblem(TExprProblemKind Kind, std::string Name, size_t At);
  const TExprProblem& Problem() const noexcept { return FProblem; }
  bool TryMatchKeyword(const char* Word);
  char PeekChar() const noexcept;  // '\0' past the end
  void SkipWS() noexcept;          // blanks and tabs only
  // Reads the ")" that closes the "(" at Open, noting a problem when something else follows.
  void CloseParen(size_t Open);

  // Name is upper case. Unknown names, too few arguments and unusable arguments give null.
  TExprValue CallFunction(const std::string& Name, const std::vector<TExprValue>& Args, size_t At = 0);

 private:
  class TDepthGuard;

  std::string FText;
  size_t FPos = 1;  // 1-based; FText.size() + 1 is the end
  TGetIdentValueFunc FFieldFunc;
  TGetIdentValueFunc FVarFunc;
  TAggregateFunc FAggFunc;
  int FDepth = 0;
  TExprProblem FProblem;
};

TExprValue EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                          const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc,
                          TExprProblem* Problem = nullptr) noexcept;

// Expands "[expression]" placeholders: each is replaced by the text form of its value. A null or
// empty value gives nothing when its evaluation had no problem (an empty field prints empty), and
// keeps the placeholder as written, brackets included, when it had one ("[missing]" stays
// visible). Brackets do not nest ("[a[b]c]" evaluates "a[b" and keeps "c]"); a "[" without a
// closing "]" is kept with the rest of the text. Text without "[" comes back unchanged. Problems,
// when given, receives every placeholder's problem, whatever its value.
std::string EvalText(const std::string& Text, const TGetIdentValueFunc& FieldFunc,
                     const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc,
                     std::vector<TTextProblem>* Problems = nullptr) noexcept;

}  // namespace quillet

namespace quillet {

// The name of every function the language knows, aggregates included, in upper case.
std::vector<std::string> FunctionNames();

}  // namespace quillet
