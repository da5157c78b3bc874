#include "expr/expr_evaluator.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/number_format.h"
#include "base/utf8.h"
#include "expr/date_time.h"
#include "expr/decimal_digits.h"
#include "expr/formatting.h"

namespace quillet {

namespace {

// Thrown past the nesting limit and caught only by EvalExpression: unwinding at once keeps a
// deeply nested input from being re-parsed level by level.
struct TNestingTooDeep {};

// No string value grows beyond this; an operation that would go further gives null instead of
// eating all memory (nested REPLACE calls can grow text exponentially).
constexpr size_t kMaxTextBytes = size_t{16} << 20;

bool IsDigit(char C) { return C >= '0' && C <= '9'; }
bool IsLetter(char C) { return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z'); }
bool IsWordChar(char C) { return IsLetter(C) || IsDigit(C) || C == '_'; }
bool IsIdentChar(char C) { return IsWordChar(C) || C == '.'; }

std::string AsciiUpper(std::string S) {
  for (char& c : S)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return S;
}

void NoteFailure(TExprProblem& P, const char* What) noexcept {
  try {
    P.Kind = TExprProblemKind::Failed;
    P.Name = What;
    P.Position = 1;
  } catch (...) {
  }
}

// An operand that makes an operator or function give null without being a problem.
bool IsBlank(const TExprValue& V) {
  return V.IsNullOrEmpty() || (V.Kind() == evkString && V.AsString().empty());
}

bool AnyBlank(const std::vector<TExprValue>& Args) {
  for (const TExprValue& a : Args)
    if (IsBlank(a)) return true;
  return false;
}

bool IsAggregateName(const std::string& Name) {
  return Name == "SUM" || Name == "AVG" || Name == "COUNT" || Name == "MIN" || Name == "MAX";
}

// A value ready for arithmetic.
struct TNum {
  bool IsInt = false;
  bool IsDate = false;
  int64_t I = 0;
  double F = 0;
};

// An optional sign and decimal digits that fit 64 bits.
bool ParseIntText(std::string_view S, int64_t& V) {
  const size_t digitsFrom = !S.empty() && (S[0] == '+' || S[0] == '-') ? 1 : 0;
  if (S.size() == digitsFrom) return false;
  for (size_t i = digitsFrom; i < S.size(); ++i)
    if (!IsDigit(S[i])) return false;
  if (S[0] == '+') S.remove_prefix(1);
  const auto r = std::from_chars(S.data(), S.data() + S.size(), V);
  return r.ec == std::errc() && r.ptr == S.data() + S.size();
}

bool ToNum(const TExprValue& V, TNum& N) {
  switch (V.Kind()) {
    case evkInteger:
      N.IsInt = true;
      N.I = V.AsInt();
      N.F = static_cast<double>(N.I);
      return true;
    case evkFloat:
      N.F = V.AsFloat();
      return true;
    case evkDateTime:
      N.IsDate = true;
      N.F = V.AsFloat();
      return true;
    case evkString: {
      // "12" counts as an integer so that '12' - 2 stays an integer.
      if (ParseIntText(TrimControl(V.AsString()), N.I)) {
        N.IsInt = true;
        N.F = static_cast<double>(N.I);
        return true;
      }
      return V.TryToNumber(N.F);
    }
    default:
      return false;
  }
}

TExprValue MakeFloat(double V) { return std::isfinite(V) ? TExprValue::FromFloat(V) : TExprValue::Null(); }
TExprValue MakeDateTime(double V) { return std::isfinite(V) ? TExprValue::FromDateTime(V) : TExprValue::Null(); }

TExprValue AddValues(TExprValue A, const TExprValue& B) {
  if (A.Kind() == evkString || B.Kind() == evkString) {
    // The left side is usually the running text of a long concatenation: append in place.
    std::string s = A.Kind() == evkString ? A.TakeString() : A.ToText();
    const std::string right = B.Kind() == evkString ? std::string() : B.ToText();
    const std::string& r = B.Kind() == evkString ? B.AsString() : right;
    if (s.size() + r.size() > kMaxTextBytes) return TExprValue::Null();
    s += r;
    return TExprValue::FromString(std::move(s));
  }
  TNum a, b;
  if (!ToNum(A, a) || !ToNum(B, b)) return TExprValue::Null();
  if (a.IsInt && b.IsInt) {
    int64_t r;
    if (!__builtin_add_overflow(a.I, b.I, &r)) return TExprValue::FromInt(r);
  }
  if (a.IsDate || b.IsDate) return MakeDateTime(a.F + b.F);
  return MakeFloat(a.F + b.F);
}

TExprValue SubtractValues(const TExprValue& A, const TExprValue& B) {
  TNum a, b;
  if (!ToNum(A, a) || !ToNum(B, b)) return TExprValue::Null();
  if (a.IsInt && b.IsInt) {
    int64_t r;
    if (!__builtin_sub_overflow(a.I, b.I, &r)) return TExprValue::FromInt(r);
  }
  if (a.IsDate && !b.IsDate) return MakeDateTime(a.F - b.F);
  return MakeFloat(a.F - b.F);
}

TExprValue MultiplyValues(const TExprValue& A, const TExprValue& B) {
  TNum a, b;
  if (!ToNum(A, a) || !ToNum(B, b)) return TExprValue::Null();
  if (a.IsInt && b.IsInt) {
    int64_t r;
    if (!__builtin_mul_overflow(a.I, b.I, &r)) return TExprValue::FromInt(r);
  }
  return MakeFloat(a.F * b.F);
}

TExprValue DivideValues(const TExprValue& A, const TExprValue& B) {
  // Division by nothing or by zero is 0 on purpose: a report shows 0 for an empty ratio.
  if (B.IsNullOrEmpty() || (B.Kind() == evkString && B.AsString().empty())) return TExprValue::FromInt(0);
  TNum a, b;
  if (!ToNum(B, b)) return TExprValue::Null();
  if (b.F == 0) return TExprValue::FromInt(0);
  if (!ToNum(A, a)) return TExprValue::Null();
  return MakeFloat(a.F / b.F);
}

TExprValue NegateValue(const TExprValue& V) {
  TNum n;
  if (!ToNum(V, n)) return TExprValue::Null();
  if (n.IsInt) {
    if (n.I == std::numeric_limits<int64_t>::min()) return MakeFloat(-n.F);
    return TExprValue::FromInt(-n.I);
  }
  return n.IsDate ? MakeDateTime(-n.F) : MakeFloat(-n.F);
}

bool CompareWith(const TExprValue& A, const std::string& Op, const TExprValue& B) {
  const int c = CompareValues(A, B);
  if (Op == "=") return c == 0;
  if (Op == "<>") return c != 0;
  if (Op == "<") return c < 0;
  if (Op == ">") return c > 0;
  if (Op == "<=") return c <= 0;
  if (Op == ">=") return c >= 0;
  return false;
}

// Conversions of doubles to integer types that can never overflow: out of range is a failure.
bool TruncToInt64(double D, int64_t& V) {
  D = std::trunc(D);
  if (!(D >= -9223372036854775808.0 && D < 9223372036854775808.0)) return false;
  V = static_cast<int64_t>(D);
  return true;
}

bool ToInt32(double D, int32_t& V) {
  if (!(D >= -2147483648.0 && D <= 2147483647.0)) return false;
  V = static_cast<int32_t>(D);
  return true;
}

using TArgs = std::vector<TExprValue>;

bool Num(const TExprValue& V, double& D) { return V.TryToNumber(D) && std::isfinite(D); }

TExprValue FnAbs(const TArgs& A) {
  double d;
  return Num(A[0], d) ? MakeFloat(std::fabs(d)) : TExprValue::Null();
}

TExprValue FnRound(const TArgs& A) {
  double d;
  if (A.size() == 1 && A[0].Kind() == evkInteger) return A[0];
  if (!Num(A[0], d)) return TExprValue::Null();
  // nearbyint rounds in the default mode: to nearest, ties to even (2.5 -> 2, 3.5 -> 4).
  if (A.size() == 1) {
    int64_t v;
    return TruncToInt64(std::nearbyint(d), v) ? TExprValue::FromInt(v) : TExprValue::Null();
  }
  double digitsValue;
  int32_t digits;
  if (!Num(A[1], digitsValue) || !ToInt32(std::nearbyint(digitsValue), digits)) return TExprValue::Null();
  const double scale = std::pow(10.0, digits);
  return MakeFloat(std::nearbyint(d * scale) / scale);
}

TExprValue FnTrunc(const TArgs& A) {
  if (A[0].Kind() == evkInteger) return A[0];
  double d;
  int64_t v;
  return Num(A[0], d) && TruncToInt64(d, v) ? TExprValue::FromInt(v) : TExprValue::Null();
}

TExprValue FnInt(const TArgs& A) {
  double d;
  int32_t v;
  return Num(A[0], d) && ToInt32(std::floor(d), v) ? TExprValue::FromInt(v) : TExprValue::Null();
}

TExprValue FnFrac(const TArgs& A) {
  double d;
  return Num(A[0], d) ? MakeFloat(d - std::trunc(d)) : TExprValue::Null();
}

TExprValue FnSqrt(const TArgs& A) {
  double d;
  return Num(A[0], d) && d >= 0 ? MakeFloat(std::sqrt(d)) : TExprValue::Null();
}

TExprValue FnSqr(const TArgs& A) {
  double d;
  return Num(A[0], d) ? MakeFloat(d * d) : TExprValue::Null();
}

TExprValue FnMod(const TArgs& A) {
  double a, b;
  int32_t x, y;
  if (!Num(A[0], a) || !Num(A[1], b) || !ToInt32(std::trunc(a), x) || !ToInt32(std::trunc(b), y))
    return TExprValue::Null();
  // y == -1 would overflow for INT32_MIN; the remainder is 0 anyway.
  if (y == 0 || y == -1) return TExprValue::FromInt(0);
  return TExprValue::FromInt(x % y);
}

TExprValue FnPower(const TArgs& A) {
  double a, b;
  return Num(A[0], a) && Num(A[1], b) ? MakeFloat(std::pow(a, b)) : TExprValue::Null();
}

TExprValue FnMinOf(const TArgs& A) {
  double a, b;
  return Num(A[0], a) && Num(A[1], b) ? MakeFloat(b <= a ? b : a) : TExprValue::Null();
}

TExprValue FnMaxOf(const TArgs& A) {
  double a, b;
  return Num(A[0], a) && Num(A[1], b) ? MakeFloat(a <= b ? b : a) : TExprValue::Null();
}

TExprValue FnUpper(const TArgs& A) { return TExprValue::FromString(Utf8Upper(A[0].ToText())); }
TExprValue FnLower(const TArgs& A) { return TExprValue::FromString(Utf8Lower(A[0].ToText())); }
TExprValue FnTrim(const TArgs& A) { return TExprValue::FromString(TrimControl(A[0].ToText())); }

TExprValue FnLength(const TArgs& A) {
  return TExprValue::FromInt(static_cast<int64_t>(Utf8Length(A[0].ToText())));
}

TExprValue FnCopy(const TArgs& A) {
  const std::string s = A[0].ToText();
  double startValue, countValue;
  int64_t start, count;
  if (!Num(A[1], startValue) || !Num(A[2], countValue) || !TruncToInt64(startValue, start) ||
      !TruncToInt64(countValue, count))
    return TExprValue::Null();
  if (start < 1) start = 1;
  if (count <= 0) return TExprValue::FromString(std::string());
  size_t pos = 0;
  for (int64_t k = 1; k < start && pos < s.size(); ++k) DecodeUtf8At(s, pos);
  const size_t from = pos;
  for (int64_t k = 0; k < count && pos < s.size(); ++k) DecodeUtf8At(s, pos);
  return TExprValue::FromString(s.substr(from, pos - from));
}

TExprValue FnPos(const TArgs& A) {
  const std::string sub = A[0].ToText();
  const std::string s = A[1].ToText();
  if (sub.empty()) return TExprValue::FromInt(0);
  const size_t p = s.find(sub);
  if (p == std::string::npos) return TExprValue::FromInt(0);
  return TExprValue::FromInt(static_cast<int64_t>(Utf8Length(std::string_view(s).substr(0, p))) + 1);
}

TExprValue FnReplace(const TArgs& A) {
  const std::string s = A[0].ToText();
  const std::string from = A[1].ToText();
  const std::string to = A[2].ToText();
  if (from.empty()) return TExprValue::FromString(s);
  std::string out;
  size_t pos = 0;
  for (;;) {
    const size_t hit = s.find(from, pos);
    const size_t end = hit == std::string::npos ? s.size() : hit;
    if (out.size() + (end - pos) + (hit == std::string::npos ? 0 : to.size()) > kMaxTextBytes)
      return TExprValue::Null();
    out.append(s, pos, end - pos);
    if (hit == std::string::npos) break;
    out += to;
    pos = hit + from.size();
  }
  return TExprValue::FromString(std::move(out));
}

TExprValue FnStr(const TArgs& A) {
  if (A[0].Kind() == evkInteger) return TExprValue::FromString(A[0].ToText());
  double d;
  if (!Num(A[0], d)) return TExprValue::Null();
  TDecimalDigits digits = ExactDecimalDigits(d);
  if (d == std::trunc(d)) return TExprValue::FromString(FixedNotation(digits, 0, ".", ""));
  RoundToSignificant(digits, 15);
  RoundToDecimals(digits, 6);
  std::string s = FixedNotation(digits, 6, ".", "");
  while (s.back() == '0') s.pop_back();
  if (s.back() == '.') s.pop_back();
  return TExprValue::FromString(std::move(s));
}

TExprValue FnConcat(const TArgs& A) {
  std::string out;
  for (const TExprValue& v : A) {
    const std::string t = v.ToText();
    if (out.size() + t.size() > kMaxTextBytes) return TExprValue::Null();
    out += t;
  }
  return TExprValue::FromString(std::move(out));
}

TExprValue FnFormat(const TArgs& A) {
  const std::vector<TExprValue> rest(A.begin() + 1, A.end());
  std::optional<std::string> s = FormatValues(A[0].ToText(), rest);
  return s ? TExprValue::FromString(std::move(*s)) : TExprValue::Null();
}

TExprValue FnToday(const TArgs&) { return TExprValue::FromDateTime(std::trunc(NowDateTime())); }
TExprValue FnNow(const TArgs&) { return TExprValue::FromDateTime(NowDateTime()); }

bool DateArg(const TExprValue& V, TDateTimeParts& Parts) {
  double dt;
  return TryValueToDateTime(V, dt) && DecodeDateTimeParts(dt, Parts);
}

TExprValue FnYear(const TArgs& A) {
  TDateTimeParts p;
  return DateArg(A[0], p) ? TExprValue::FromInt(p.Year) : TExprValue::Null();
}

TExprValue FnMonth(const TArgs& A) {
  TDateTimeParts p;
  return DateArg(A[0], p) ? TExprValue::FromInt(p.Month) : TExprValue::Null();
}

TExprValue FnDay(const TArgs& A) {
  TDateTimeParts p;
  return DateArg(A[0], p) ? TExprValue::FromInt(p.Day) : TExprValue::Null();
}

TExprValue FnFormatDateTime(const TArgs& A) {
  double dt;
  TDateTimeParts p;
  if (!TryValueToDateTime(A[1], dt) || !DecodeDateTimeParts(dt, p)) return TExprValue::Null();
  return TExprValue::FromString(FormatDateTime(A[0].ToText(), dt));
}

TExprValue FnIif(const TArgs& A) { return A[0].IsTruthy() ? A[1] : A[2]; }

struct TFunctionDef {
  const char* Name;
  size_t MinArgs;
  TExprValue (*Fn)(const TArgs&);
};

const TFunctionDef kFunctions[] = {
    {"ABS", 1, FnAbs},       {"ROUND", 1, FnRound},     {"TRUNC", 1, FnTrunc},   {"INT", 1, FnInt},
    {"FRAC", 1, FnFrac},     {"SQRT", 1, FnSqrt},       {"SQR", 1, FnSqr},       {"MOD", 2, FnMod},
    {"POWER", 2, FnPower},   {"MINOF", 2, FnMinOf},     {"MAXOF", 2, FnMaxOf},   {"UPPER", 1, FnUpper},
    {"LOWER", 1, FnLower},   {"TRIM", 1, FnTrim},       {"LENGTH", 1, FnLength}, {"COPY", 3, FnCopy},
    {"POS", 2, FnPos},       {"REPLACE", 3, FnReplace}, {"STR", 1, FnStr},       {"CONCAT", 1, FnConcat},
    {"FORMAT", 2, FnFormat}, {"TODAY", 0, FnToday},     {"NOW", 0, FnNow},       {"YEAR", 1, FnYear},
    {"MONTH", 1, FnMonth},   {"DAY", 1, FnDay},         {"FORMATDATETIME", 2, FnFormatDateTime},
    {"IIF", 3, FnIif},
};

}  // namespace

class TExprEvaluator::TDepthGuard {
 public:
  explicit TDepthGuard(TExprEvaluator& E) : FEvaluator(E) {
    if (++FEvaluator.FDepth > MaxNestingDepth) {
      FEvaluator.NoteProblem(TExprProblemKind::TooDeep, std::string(), FEvaluator.FPos);
      throw TNestingTooDeep{};
    }
  }
  ~TDepthGuard() { --FEvaluator.FDepth; }
  TDepthGuard(const TDepthGuard&) = delete;
  TDepthGuard& operator=(const TDepthGuard&) = delete;

 private:
  TExprEvaluator& FEvaluator;
};

TExprEvaluator::TExprEvaluator(std::string Text, TGetIdentValueFunc FieldFunc, TGetIdentValueFunc VarFunc,
                               TAggregateFunc AggFunc)
    : FText(std::move(Text)),
      FFieldFunc(std::move(FieldFunc)),
      FVarFunc(std::move(VarFunc)),
      FAggFunc(std::move(AggFunc)) {}

TExprValue TExprEvaluator::EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                                          const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc,
                                          TExprProblem* Problem) noexcept {
  if (Problem) *Problem = TExprProblem();
  try {
    TExprEvaluator evaluator(Expr, FieldFunc, VarFunc, AggFunc);
    TExprValue v;
    try {
      v = evaluator.ParseOr();
    } catch (const TNestingTooDeep&) {
      if (Problem) *Problem = evaluator.FProblem;
      return TExprValue::Null();
    }
    if (Problem) {
      // What follows the expression: blanks and line ends may close it, anything else is left over.
      evaluator.SkipWS();
      size_t k = evaluator.FPos - 1;
      while (k < Expr.size() && (Expr[k] == ' ' || Expr[k] == '\t' || Expr[k] == '\r' || Expr[k] == '\n')) ++k;
      if (k < Expr.size()) {
        constexpr size_t kShown = 40;
        std::string rest = Expr.substr(evaluator.FPos - 1, kShown);
        while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t')) rest.pop_back();
        evaluator.NoteProblem(TExprProblemKind::TrailingText, std::move(rest), evaluator.FPos);
      }
      *Problem = std::move(evaluator.FProblem);
    }
    return v;
  } catch (const std::exception& e) {
    if (Problem) NoteFailure(*Problem, e.what());
    return TExprValue::Null();
  } catch (...) {
    if (Problem) NoteFailure(*Problem, "unknown error");
    return TExprValue::Null();
  }
}

void TExprEvaluator::NoteProblem(TExprProblemKind Kind, std::string Name, size_t At) {
  if (FProblem) return;
  FProblem.Kind = Kind;
  FProblem.Name = std::move(Name);
  FProblem.Position = At;
}

char TExprEvaluator::PeekChar() const noexcept { return FPos >= 1 && FPos <= FText.size() ? FText[FPos - 1] : '\0'; }

void TExprEvaluator::SkipWS() noexcept {
  while (FPos <= FText.size() && (FText[FPos - 1] == ' ' || FText[FPos - 1] == '\t')) ++FPos;
}

bool TExprEvaluator::TryMatchKeyword(const char* Word) {
  SkipWS();
  const size_t len = std::strlen(Word);
  const size_t from = FPos - 1;
  size_t to = from;
  // A run longer than the word cannot match, so the scan stops one past its length: a long name
  // after an operand is not scanned again for every keyword at every nesting level.
  while (to < FText.size() && to - from <= len && IsWordChar(FText[to])) ++to;
  if (to - from != len) return false;
  for (size_t k = 0; k < len; ++k) {
    char c = FText[from + k];
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (c != Word[k]) return false;
  }
  FPos = to + 1;
  return true;
}

TExprValue TExprEvaluator::ParseOr() {
  TExprValue left = ParseAnd();
  while (TryMatchKeyword("OR")) {
    const TExprValue right = ParseAnd();
    left = TExprValue::FromBool(left.IsTruthy() || right.IsTruthy());
  }
  return left;
}

TExprValue TExprEvaluator::ParseAnd() {
  TExprValue left = ParseNot();
  while (TryMatchKeyword("AND")) {
    const TExprValue right = ParseNot();
    left = TExprValue::FromBool(left.IsTruthy() && right.IsTruthy());
  }
  return left;
}

TExprValue TExprEvaluator::ParseNot() {
  if (TryMatchKeyword("NOT")) {
    TDepthGuard guard(*this);
    return TExprValue::FromBool(!ParseNot().IsTruthy());
  }
  return ParseComparison();
}

TExprValue TExprEvaluator::ParseComparison() {
  TExprValue left = ParseExpression();
  for (;;) {
    SkipWS();
    const char c = PeekChar();
    if (c != '<' && c != '=' && c != '>') break;
    std::string op(1, c);
    ++FPos;
    const char c2 = PeekChar();
    if ((c == '<' && (c2 == '=' || c2 == '>')) || (c == '>' && c2 == '=')) {
      op.push_back(c2);
      ++FPos;
    }
    const TExprValue right = ParseExpression();
    left = TExprValue::FromBool(CompareWith(left, op, right));
  }
  return left;
}

TExprValue TExprEvaluator::ParseExpression() {
  TExprValue left = ParseTerm();
  for (;;) {
    SkipWS();
    const char c = PeekChar();
    if (c == '+' || c == '-') {
      const size_t at = FPos++;
      const TExprValue right = ParseTerm();
      const bool usable = !IsBlank(left) && !IsBlank(right);
      left = c == '+' ? AddValues(std::move(left), right) : SubtractValues(left, right);
      if (usable && left.IsNull()) NoteProblem(TExprProblemKind::UnusableOperand, std::string(1, c), at);
    } else {
      break;
    }
  }
  return left;
}

TExprValue TExprEvaluator::ParseTerm() {
  TExprValue left = ParseFactor();
  for (;;) {
    SkipWS();
    const char c = PeekChar();
    if (c == '*' || c == '/') {
      const size_t at = FPos++;
      const TExprValue right = ParseFactor();
      const bool usable = !IsBlank(left) && !IsBlank(right);
      left = c == '*' ? MultiplyValues(left, right) : DivideValues(left, right);
      if (usable && left.IsNull()) NoteProblem(TExprProblemKind::UnusableOperand, std::string(1, c), at);
    } else {
      break;
    }
  }
  return left;
}

TExprValue TExprEvaluator::ParseFactor() {
  SkipWS();
  const char c = PeekChar();
  if (c == '"' || c == '\'') return ParseString();
  if (c == '(') {
    const size_t open = FPos++;
    TDepthGuard guard(*this);
    TExprValue v = ParseOr();
    CloseParen(open);
    return v;
  }
  if (c == '+') {
    ++FPos;
    TDepthGuard guard(*this);
    return ParseFactor();
  }
  if (c == '-') {
    const size_t at = FPos++;
    TDepthGuard guard(*this);
    const TExprValue operand = ParseFactor();
    TExprValue v = NegateValue(operand);
    if (v.IsNull() && !IsBlank(operand)) NoteProblem(TExprProblemKind::UnusableOperand, "-", at);
    return v;
  }
  if (IsDigit(c)) return ParseNumber();
  const size_t at = FPos;
  const std::string ident = ReadIdent();
  if (ident.empty()) {
    NoteProblem(TExprProblemKind::MissingOperand, std::string(), at);
    return TExprValue::Null();
  }
  SkipWS();
  if (PeekChar() == '(') {
    ++FPos;
    const std::string name = AsciiUpper(ident);
    TDepthGuard guard(*this);
    const std::vector<TExprValue> args = ParseArgList(IsAggregateName(name));
    return CallFunction(name, args, at);
  }
  return ResolveIdent(ident, at);
}

void TExprEvaluator::CloseParen(size_t Open) {
  SkipWS();
  const char c = PeekChar();
  if (c == ')') {
    ++FPos;
  } else if (c == '\0') {
    NoteProblem(TExprProblemKind::UnclosedParen, std::string(), Open);
  } else {
    NoteProblem(TExprProblemKind::TrailingText, FText.substr(FPos - 1, 40), FPos);
  }
}

std::vector<TExprValue> TExprEvaluator::ParseArgList(bool IsAggregate) {
  const size_t open = FPos - 1;
  std::vector<TExprValue> args;
  SkipWS();
  if (PeekChar() == ')') {
    ++FPos;
    return args;
  }
  if (IsAggregate) {
    // The argument names a field for the aggregate callback; it is passed as written and not
    // evaluated. Whatever follows it up to ")" is skipped.
    args.push_back(TExprValue::FromString(ReadIdent()));
    const size_t close = FText.find(')', FPos - 1);
    if (close == std::string::npos) NoteProblem(TExprProblemKind::UnclosedParen, std::string(), open);
    FPos = close == std::string::npos ? FText.size() + 1 : close + 2;
    return args;
  }
  for (;;) {
    args.push_back(ParseOr());
    SkipWS();
    if (PeekChar() != ',') break;
    ++FPos;
  }
  CloseParen(open);
  return args;
}

TExprValue TExprEvaluator::ParseNumber() {
  const size_t from = FPos - 1;
  bool dot = false;
  for (;;) {
    const char c = PeekChar();
    if (IsDigit(c)) {
      ++FPos;
    } else if (c == '.' && !dot) {
      dot = true;
      ++FPos;
    } else {
      break;
    }
  }
  const std::string_view text(FText.data() + from, FPos - 1 - from);
  if (!dot) {
    int64_t v = 0;
    const auto r = std::from_chars(text.data(), text.data() + text.size(), v);
    return TExprValue::FromInt(r.ec == std::errc() ? v : 0);
  }
  double d = 0;
  if (!ParseDouble(text, d)) d = 0;
  return TExprValue::FromFloat(d);
}

TExprValue TExprEvaluator::ParseString() {
  const char quote = PeekChar();
  const size_t from = FPos;  // 0-based index of the first character inside the quotes
  const size_t close = FText.find(quote, from);
  if (close == std::string::npos) {
    NoteProblem(TExprProblemKind::UnclosedString, std::string(), FPos);
    FPos = FText.size() + 1;
    return TExprValue::FromString(FText.substr(from));
  }
  FPos = close + 2;
  return TExprValue::FromString(FText.substr(from, close - from));
}

std::string TExprEvaluator::ReadIdent() {
  const size_t from = FPos - 1;
  size_t to = from;
  while (to < FText.size() && IsIdentChar(FText[to])) ++to;
  FPos = to + 1;
  return FText.substr(from, to - from);
}

TExprValue TExprEvaluator::ResolveIdent(const std::string& Name, size_t At) {
  if (Name.empty()) return TExprValue::Null();
  TExprValue v;
  if (FFieldFunc && FFieldFunc(Name, v)) return v;
  v = TExprValue::Null();
  if (FVarFunc && FVarFunc(Name, v)) return v;
  NoteProblem(TExprProblemKind::UnknownName, Name, At);
  return TExprValue::Null();
}

TExprValue TExprEvaluator::CallFunction(const std::string& Name, const std::vector<TExprValue>& Args, size_t At) {
  if (IsAggregateName(Name)) return FAggFunc ? FAggFunc(Name, Args) : TExprValue::Null();
  for (const TFunctionDef& f : kFunctions) {
    if (Name != f.Name) continue;
    if (Args.size() < f.MinArgs) {
      NoteProblem(TExprProblemKind::TooFewArguments, Name, At);
      return TExprValue::Null();
    }
    TExprValue v = f.Fn(Args);
    if (v.IsNull() && !AnyBlank(Args)) NoteProblem(TExprProblemKind::UnusableOperand, Name, At);
    return v;
  }
  NoteProblem(TExprProblemKind::UnknownFunction, Name, At);
  return TExprValue::Null();
}

TExprValue EvalExpression(const std::string& Expr, const TGetIdentValueFunc& FieldFunc,
                          const TGetIdentValueFunc& VarFunc, const TAggregateFunc& AggFunc,
                          TExprProblem* Problem) noexcept {
  return TExprEvaluator::EvalExpression(Expr, FieldFunc, VarFunc, AggFunc, Problem);
}

std::string DescribeExprProblem(const TExprProblem& P) {
  const std::string quoted = "\"" + P.Name + "\"";
  switch (P.Kind) {
    case TExprProblemKind::None:
      return std::string();
    case TExprProblemKind::UnknownName:
      return "unknown name " + quoted;
    case TExprProblemKind::UnknownFunction:
      return "unknown function " + quoted;
    case TExprProblemKind::TooFewArguments:
      return "too few arguments for " + quoted;
    case TExprProblemKind::UnusableOperand:
      return "unusable operand for " + quoted;
    case TExprProblemKind::MissingOperand:
      return "missing operand";
    case TExprProblemKind::TrailingText:
      return "unexpected text " + quoted;
    case TExprProblemKind::UnclosedString:
      return "string without its closing quote";
    case TExprProblemKind::UnclosedParen:
      return "\"(\" without \")\"";
    case TExprProblemKind::TooDeep:
      return "nested deeper than " + std::to_string(TExprEvaluator::MaxNestingDepth) + " levels";
    case TExprProblemKind::Failed:
      return "evaluation failed: " + P.Name;
  }
  return std::string();
}

std::string EvalText(const std::string& Text, const TGetIdentValueFunc& FieldFunc, const TGetIdentValueFunc& VarFunc,
                     const TAggregateFunc& AggFunc, std::vector<TTextProblem>* Problems) noexcept {
  try {
    if (Text.find('[') == std::string::npos) return Text;
    std::string out;
    out.reserve(Text.size());
    size_t pos = 0;
    for (;;) {
      const size_t open = Text.find('[', pos);
      if (open == std::string::npos) {
        out.append(Text, pos, std::string::npos);
        break;
      }
      out.append(Text, pos, open - pos);
      const size_t close = Text.find(']', open + 1);
      if (close == std::string::npos) {
        out.append(Text, open, std::string::npos);
        break;
      }
      std::string expr = Text.substr(open + 1, close - open - 1);
      TExprProblem problem;
      const TExprValue v = TExprEvaluator::EvalExpression(expr, FieldFunc, VarFunc, AggFunc, &problem);
      if (!v.IsNullOrEmpty())
        out += v.ToText();
      else if (problem)
        out.append(Text, open, close - open + 1);
      if (problem && Problems) Problems->push_back({std::move(expr), open + 1, std::move(problem)});
      pos = close + 1;
    }
    return out;
  } catch (...) {
  }
  try {
    return Text;
  } catch (...) {
    return std::string();
  }
}

}  // namespace quillet

namespace quillet {

std::vector<std::string> FunctionNames() {
  std::vector<std::string> names;
  for (const TFunctionDef& f : kFunctions) names.push_back(f.Name);
  for (const char* aggregate : {"SUM", "AVG", "COUNT", "MIN", "MAX"})
    if (IsAggregateName(aggregate)) names.push_back(aggregate);
  return names;
}

}  // namespace quillet
