#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <stdexcept>

#include "expr/date_time.h"
#include "expr/expr_evaluator.h"
#include "expr_test_support.h"

namespace quillet {
namespace {

using namespace testval;

// A small world of names: fields are asked first, then variables.
const std::map<std::string, TExprValue>& Fields() {
  static const std::map<std::string, TExprValue> fields = {
      {"Orders.Amount", F(12.5)}, {"Name", S("Ada")},   {"Qty", I(3)},      {"Due", D(45000.5)},
      {"Blank", TExprValue::Empty()}, {"EmptyStr", S("")}, {"a", S("A")},
  };
  return fields;
}

const std::map<std::string, TExprValue>& Vars() {
  static const std::map<std::string, TExprValue> vars = {{"Title", S("Report")}, {"Qty", I(99)}};
  return vars;
}

TGetIdentValueFunc Lookup(const std::map<std::string, TExprValue>& Table) {
  return [&Table](const std::string& Name, TExprValue& Value) {
    const auto it = Table.find(Name);
    if (it == Table.end()) return false;
    Value = it->second;
    return true;
  };
}

TExprValue Eval(const std::string& Expr) { return EvalExpression(Expr, Lookup(Fields()), Lookup(Vars()), nullptr); }
std::string Text(const std::string& T) { return EvalText(T, Lookup(Fields()), Lookup(Vars()), nullptr); }

struct EvalCase {
  std::string Expr;
  TExprValue Expected;
};

void ExpectAll(const std::vector<EvalCase>& Cases) {
  for (const EvalCase& c : Cases) EXPECT_EQ(Eval(c.Expr), c.Expected) << "expression: " << c.Expr;
}

TEST(ExprEvaluatorTest, OperatorsAndPrecedence) {
  ExpectAll({
      {"1 + 2 * 3", I(7)},
      {"(1 + 2) * 3", I(9)},
      {"10 / 4", F(2.5)},
      {"8 / 4", F(2)},
      {"10 / 0", I(0)},
      {"10 / ''", I(0)},
      {"10 / Missing", I(0)},
      {"10 / 'x'", N()},
      {"'x' / 2", N()},
      {"7 - 2 - 1", I(4)},
      {"2 - '1'", I(1)},
      {"'+12' * 2", I(24)},
      {"' 12 ' - '2,5'", F(9.5)},
      {"'abc' - 1", N()},
      {"'abc' - 1 + 5", N()},  // a failed step stays null
      {"-5", I(-5)},
      {"- -5", I(5)},
      {"-'2.5'", F(-2.5)},
      {"+'x'", S("x")},
      {"-'x'", N()},
      {"9223372036854775807 + 1", F(9223372036854775808.0)},
      {"9223372036854775807 * 2", F(18446744073709551614.0)},
      {"-9223372036854775807 - 2", F(-9223372036854775809.0)},
      {"2.5 * 2", F(5)},
      {"Missing + 1", N()},
      {"1 + 2 )junk", I(3)},
      {"Qty\n+ 1", I(3)},  // a line break ends the expression
      {"Qty\t+\t1", I(4)},
      {"", N()},
      {"   ", N()},
  });
}

TEST(ExprEvaluatorTest, LiteralsAndNames) {
  ExpectAll({
      {"42", I(42)},
      {"99999999999999999999", I(0)},  // out of range
      {"1.5", F(1.5)},
      {"12.", F(12)},
      {"1.2.3", F(1.2)},
      {".5", N()},  // not a number: a name nobody knows
      {"1E5", I(1)},
      {"'it\"s'", S("it\"s")},
      {"\"it's\"", S("it's")},
      {"'unterminated", S("unterminated")},
      {"''", S("")},
      {"Orders.Amount * 2", F(25)},
      {"orders.amount", N()},  // names go to the resolvers as written
      {"Qty", I(3)},           // fields before variables
      {"Title", S("Report")},
      {"TRUE", N()},  // not a keyword
      {"Blank", TExprValue::Empty()},
  });
}

TEST(ExprEvaluatorTest, ComparisonsAndLogic) {
  ExpectAll({
      {"'abc' = 'ABC'", B(true)},
      {"'10' = 10.0", B(true)},
      {"'1,5' = 1.5", B(true)},
      {"'2' < '10'", B(true)},
      {"'2a' < '10a'", B(false)},
      {"'B' > 'a'", B(true)},
      {"'\xC3\xA4' = '\xC3\x84'", B(true)},
      {"1 <> 2", B(true)},
      {"2 <= 2", B(true)},
      {"3 >= 4", B(false)},
      {"1 < 2 = TRUE", B(false)},  // True compared with null
      {"(1 < 2) = (2 < 3)", B(true)},
      {"1 => 2", B(true)},  // "=" then a stray ">": (1 = null) > 2, "False" > "2" as text
      {"1 == 1", B(false)},
      {"Missing = ''", B(true)},
      {"Due > 45000", B(true)},
      {"NOT 'False'", B(false)},
      {"not 0", B(true)},
      {"NOT NOT 1", B(true)},
      {"1 AND 0", B(false)},
      {"1 and 'x'", B(true)},
      {"0 or 1", B(true)},
      {"0 Or ''", B(false)},
      {"1 ORDER", I(1)},  // not the keyword OR
      {"1 + 2 > 2 AND 'x' = 'X'", B(true)},
      {"1 OR 0 AND 0", B(true)},
  });
}

TEST(ExprEvaluatorTest, DateArithmetic) {
  ExpectAll({
      {"Due + 1", D(45001.5)},
      {"1 + Due", D(45001.5)},
      {"Due - 0.5", D(45000)},
      {"Due - Due", F(0)},
      {"Due * 2", F(90001)},
      {"Due + ' x'", S("15.03.2023 12:00:00 x")},
  });
}

TEST(ExprEvaluatorTest, NumericFunctions) {
  ExpectAll({
      {"ABS(-3)", F(3)},         {"ABS('-2.5')", F(2.5)},         {"ABS('x')", N()},
      {"ABS()", N()},            {"ROUND(2.5)", I(2)},            {"ROUND(3.5)", I(4)},
      {"ROUND(-2.5)", I(-2)},    {"ROUND(7)", I(7)},              {"ROUND(0.125, 2)", F(0.12)},
      {"ROUND(0.375, 2)", F(0.38)}, {"ROUND(1234.5678, -2)", F(1200)}, {"ROUND(POWER(10, 30))", N()},
      {"ROUND(1, POWER(10, 30))", N()}, {"TRUNC(-2.7)", I(-2)},   {"TRUNC('3.9')", I(3)},
      {"TRUNC(POWER(10, 19))", N()}, {"INT(-2.5)", I(-3)},        {"INT(2.9)", I(2)},
      {"INT(3000000000)", N()},  {"FRAC(2.75)", F(0.75)},         {"FRAC(-2.75)", F(-0.75)},
      {"SQRT(16)", F(4)},        {"SQRT(-1)", N()},               {"SQR(1.5)", F(2.25)},
      {"MOD(-7, 3)", I(-1)},     {"MOD(7, -3)", I(1)},            {"MOD(7, 0)", I(0)},
      {"MOD(7.9, 3.2)", I(1)},   {"MOD(-2147483648, -1)", I(0)},  {"MOD(3000000000, 7)", N()},
      {"MOD(5)", N()},           {"POWER(2, 10)", F(1024)},       {"POWER(10, 400)", N()},
      {"POWER(-8, 0.5)", N()},   {"MINOF(3, 2)", F(2)},           {"MAXOF(3, 2)", F(3)},
      {"MAXOF(2)", N()},         {"MAXOF('a', 1)", N()},          {"STR(3.5)", S("3.5")},
      {"STR(2)", S("2")},        {"STR(2.0)", S("2")},            {"STR(1/3)", S("0.333333")},
      {"STR(0.1 + 0.2)", S("0.3")}, {"STR(123456789.123456789)", S("123456789.123457")},
      {"STR(-0.0000001)", S("0")}, {"STR('4.50')", S("4.5")},     {"STR('x')", N()},
      {"abs(-1) + Abs(-1)", F(2)}, {"NOSUCH(1)", N()},            {"Orders.Sum(1)", N()},
  });
}

TEST(ExprEvaluatorTest, StringFunctions) {
  ExpectAll({
      {"UPPER('a\xC3\xA4 \xC5\x9F \xC4\xB1')", S("A\xC3\x84 \xC5\x9E I")},  // aä ş ı
      {"LOWER('\xC3\x84 \xC5\x9E \xC4\xB0 X')", S("\xC3\xA4 \xC5\x9F i x")},  // Ä Ş İ X
      {"Upper ('x')", S("X")},
      {"UPPER(Missing)", S("")},
      {"TRIM('  a b \t\x01')", S("a b")},
      {"TRIM(Name)", S("Ada")},
      {"LENGTH('a\xC4\x9F" "a\xC3\xA7')", I(4)},  // ağaç
      {"LENGTH('')", I(0)},
      {"LENGTH(123)", I(3)},
      {"COPY('a\xC4\x9F" "a\xC3\xA7lar', 2, 3)", S("\xC4\x9F" "a\xC3\xA7")},
      {"COPY('abc', 0, 2)", S("ab")},
      {"COPY('abc', 2, 100)", S("bc")},
      {"COPY('abc', 5, 1)", S("")},
      {"COPY('abc', 1, -1)", S("")},
      {"COPY('abc', 1.9, 1.9)", S("a")},
      {"COPY('abc', 1)", N()},
      {"COPY('abc', POWER(10, 30), 1)", N()},
      {"POS('\xC3\xA7', 'a\xC4\x9F" "a\xC3\xA7')", I(4)},
      {"POS('b', 'abcb')", I(2)},
      {"POS('x', 'abc')", I(0)},
      {"POS('', 'abc')", I(0)},
      {"REPLACE('a-b-c', '-', '+')", S("a+b+c")},
      {"REPLACE('aaa', 'a', 'aa')", S("aaaaaa")},
      {"REPLACE('abc', '', 'x')", S("abc")},
      {"REPLACE('abc', 'B', 'x')", S("abc")},
      {"CONCAT('a', 1, 2.5, Missing, Due)", S("a12.515.03.2023 12:00:00")},
      {"CONCAT()", N()},
      {"'a' + 1", S("a1")},
      {"1 + '2'", S("12")},
      {"1 + 2 + 'x'", S("3x")},
      {"IIF(0, 'y', 'n')", S("n")},
      {"iif(1,'y','n')", S("y")},
      {"IIF('False', 1, 2)", I(1)},
      {"IIF(Missing, 1, 2)", I(2)},
      {"IIF(1, 2)", N()},
      {"FORMAT('%.2f', 3.14159)", S("3.14")},
      {"FORMAT('[%s]', 'abc')", S("[abc]")},
      {"FORMAT('%5.1f%%', 12.345)", S(" 12.3%")},
      {"FORMAT('%d', Qty)", S("3")},
      {"FORMAT('%d', 4.2)", N()},
      {"FORMAT('%s', 12)", N()},
      {"FORMAT('x')", N()},
  });
}

TEST(ExprEvaluatorTest, DateFunctions) {
  ExpectAll({
      {"YEAR('2024-03-05')", I(2024)},
      {"MONTH('2024-03-05 14:30')", I(3)},
      {"DAY('05.03.2024')", I(5)},
      {"DAY('2024-03-05T23:59:59')", I(5)},
      {"YEAR(45000)", I(2023)},
      {"MONTH(Due)", I(3)},
      {"YEAR('2024-13-01')", N()},
      {"DAY('2023-02-29')", N()},
      {"YEAR('garbage')", N()},
      {"YEAR(Missing)", N()},
      {"YEAR(POWER(10, 12))", N()},
      {"YEAR()", N()},
      {"FORMATDATETIME('yyyy/mm/dd hh:nn', '2024-03-05T14:30')", S("2024/03/05 14:30")},
      {"FORMATDATETIME('d mmmm yyyy', '31.12.2023')", S("31 December 2023")},
      {"FORMATDATETIME('dddd', Due)", S("Wednesday")},
      {"FORMATDATETIME('dd', 'x')", N()},
      {"FORMATDATETIME('dd')", N()},
  });
}

class ClockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* old = std::getenv("SOURCE_DATE_EPOCH");
    FHad = old != nullptr;
    if (old) FOld = old;
    setenv("SOURCE_DATE_EPOCH", "1709647629", 1);  // 2024-03-05 14:07:09 UTC
  }
  void TearDown() override {
    if (FHad)
      setenv("SOURCE_DATE_EPOCH", FOld.c_str(), 1);
    else
      unsetenv("SOURCE_DATE_EPOCH");
  }
  bool FHad = false;
  std::string FOld;
};

TEST_F(ClockTest, TodayAndNow) {
  ExpectAll({
      {"NOW()", D(EncodeDateTime(2024, 3, 5, 14, 7, 9, 0))},
      {"TODAY()", D(EncodeDateTime(2024, 3, 5, 0, 0, 0, 0))},
      {"TODAY() + 1", D(EncodeDateTime(2024, 3, 6, 0, 0, 0, 0))},
      {"TODAY() + 1 > NOW()", B(true)},
      {"NOW() - TODAY() > 0.5", B(true)},
      {"YEAR(TODAY())", I(2024)},
      {"FORMATDATETIME('dd.mm.yyyy', TODAY() + 1)", S("06.03.2024")},
      {"TODAY", N()},  // without parentheses it is a name
  });
  EXPECT_EQ(Text("Printed [TODAY()]"), "Printed 05.03.2024");
}

TEST(ExprEvaluatorTest, Aggregates) {
  std::vector<std::pair<std::string, std::vector<TExprValue>>> calls;
  const TAggregateFunc agg = [&calls](const std::string& Name, const std::vector<TExprValue>& Args) {
    calls.emplace_back(Name, Args);
    return F(30820.63);
  };
  struct Case {
    const char* Expr;
    TExprValue Result;
    const char* Name;
    std::vector<TExprValue> Args;
  };
  const Case cases[] = {
      {"sum( Orders.Amount )", F(30820.63), "SUM", {S("Orders.Amount")}},
      {"COUNT()", F(30820.63), "COUNT", {}},
      {"Max(Qty junk) + 1", F(30821.63), "MAX", {S("Qty")}},
      {"AVG('x')", F(30820.63), "AVG", {S("")}},
      {"MIN(Qty", F(30820.63), "MIN", {S("Qty")}},
  };
  for (const Case& c : cases) {
    calls.clear();
    EXPECT_EQ(EvalExpression(c.Expr, nullptr, nullptr, agg), c.Result) << c.Expr;
    ASSERT_EQ(calls.size(), 1u) << c.Expr;
    EXPECT_EQ(calls[0].first, c.Name);
    EXPECT_EQ(calls[0].second, c.Args) << c.Expr;
  }
  calls.clear();
  EXPECT_EQ(EvalText("Total: [SUM(Orders.Amount)] EUR", nullptr, nullptr, agg), "Total: 30820.63 EUR");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].first, "SUM");
  EXPECT_EQ(calls[0].second, std::vector<TExprValue>{S("Orders.Amount")});
  EXPECT_EQ(Eval("SUM(Orders.Amount)"), N());  // no aggregate callback
}

TEST(ExprEvaluatorTest, TemplateExpansion) {
  struct Case {
    const char* Text;
    const char* Expected;
  };
  const Case cases[] = {
      {"no brackets", "no brackets"},
      {"Name: [Name], qty [Qty*2]", "Name: Ada, qty 6"},
      {"[missing]", "[missing]"},
      {"[Blank]", ""},
      {"<[EmptyStr]>", "<>"},
      {"[  ]", "[  ]"},
      {"a [b", "a [b"},
      {"[a[b]c]", "Ac]"},  // evaluates "a[b"
      {"x]y[", "x]y["},
      {"[1/3]", "0.333333333333333"},
      {"[10/4][Name]", "2.5Ada"},
      {"[Due]", "15.03.2023 12:00:00"},
      {"[1 < 2]", "True"},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(c.Text), c.Expected) << c.Text;
}

// An empty field prints nothing; a placeholder with a problem stays as written, and a value
// that is there is printed even when text is left over after it.
TEST(ExprEvaluatorTest, EmptyValuesPrintEmptyProblemsStay) {
  struct Case {
    const char* Text;
    const char* Expected;
  };
  const Case cases[] = {
      {"<[Blank]>", "<>"},
      {"<[FORMAT('%.2n', Blank)]>", "<>"},
      {"<[Blank * 2]>", "<>"},
      {"<[IIF(Qty > 1, Blank, 'x')]>", "<>"},
      {"[missing]", "[missing]"},
      {"[FOO(1)]", "[FOO(1)]"},
      {"['abc' - 1]", "['abc' - 1]"},
      {"[]", "[]"},
      {"[Blank b]", "[Blank b]"},
      {"a [b", "a [b"},
      {"[Name b]", "Ada"},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(c.Text), c.Expected) << c.Text;
}

TEST(ExprEvaluatorTest, FirstProblemKindNameAndPosition) {
  using K = TExprProblemKind;
  struct Case {
    std::string Expr;
    K Kind;
    const char* Name;
    size_t Position;
  };
  const Case cases[] = {
      {"Qty * 2", K::None, "", 0},
      {"Blank * 2 + FORMAT('%.2n', Blank) + UPPER(EmptyStr)", K::None, "", 0},
      {"10 / 0", K::None, "", 0},
      {"1 + missing", K::UnknownName, "missing", 5},
      {"FORMT('%.2n', Qty)", K::UnknownFunction, "FORMT", 1},
      {"1 + copy('abc', 1)", K::TooFewArguments, "COPY", 5},
      {"'abc' - 1", K::UnusableOperand, "-", 7},
      {"-'abc'", K::UnusableOperand, "-", 1},
      {"FORMAT('%d', 'x')", K::UnusableOperand, "FORMAT", 1},
      {"SQRT(-1)", K::UnusableOperand, "SQRT", 1},
      {"", K::MissingOperand, "", 1},
      {"1 +", K::MissingOperand, "", 4},
      {"Name b", K::TrailingText, "b", 6},
      {"1 + 2 )junk", K::TrailingText, ")junk", 7},
      {"(1 2)", K::TrailingText, "2)", 4},
      {"'abc", K::UnclosedString, "", 1},
      {"2 * (1 + 1", K::UnclosedParen, "", 5},
      {"UPPER('a'", K::UnclosedParen, "", 6},
      {"SUM(Amount", K::UnclosedParen, "", 4},
      {"IIF(1, 2, nope)", K::UnknownName, "nope", 11},  // the side not taken counts too
      {"x OR y", K::UnknownName, "x", 1},               // the first one met
      {"1 +\n", K::MissingOperand, "", 4},
      {"Qty\r\n", K::None, "", 0},
      {std::string(300, '('), K::TooDeep, "", 258},
  };
  for (const Case& c : cases) {
    TExprProblem p;
    p.Position = 99;
    EvalExpression(c.Expr, Lookup(Fields()), Lookup(Vars()), nullptr, &p);
    EXPECT_EQ(p.Kind, c.Kind) << c.Expr << ": " << DescribeExprProblem(p);
    EXPECT_EQ(p.Name, c.Name) << c.Expr;
    EXPECT_EQ(p.Position, c.Position) << c.Expr;
  }
  std::vector<TTextProblem> problems;
  EXPECT_EQ(EvalText("ab [Qty] [FORMT(1)] [x y]", Lookup(Fields()), Lookup(Vars()), nullptr, &problems),
            "ab 3 [FORMT(1)] [x y]");
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0].Placeholder, "FORMT(1)");
  EXPECT_EQ(problems[0].Start, 10u);
  EXPECT_EQ(DescribeExprProblem(problems[0].Problem), "unknown function \"FORMT\"");
  EXPECT_EQ(problems[1].Start, 21u);
  EXPECT_EQ(DescribeExprProblem(problems[1].Problem), "unknown name \"x\"");
}

TEST(ExprEvaluatorTest, FailingCallbacksGiveNull) {
  const TGetIdentValueFunc throwing = [](const std::string&, TExprValue&) -> bool {
    throw std::runtime_error("boom");
  };
  const TAggregateFunc throwingAgg = [](const std::string&, const std::vector<TExprValue>&) -> TExprValue {
    throw std::runtime_error("boom");
  };
  EXPECT_EQ(EvalExpression("1 + X", throwing, nullptr, nullptr), N());
  EXPECT_EQ(EvalExpression("SUM(X)", nullptr, nullptr, throwingAgg), N());
  EXPECT_EQ(EvalText("a [X] b [1+1]", throwing, nullptr, nullptr), "a [X] b 2");
}

TEST(ExprEvaluatorTest, NestingLimit) {
  auto repeat = [](const std::string& S, int N) {
    std::string out;
    for (int i = 0; i < N; ++i) out += S;
    return out;
  };
  const int limit = TExprEvaluator::MaxNestingDepth;
  ExpectAll({
      {repeat("(", limit) + "1" + repeat(")", limit), I(1)},
      {repeat("(", limit + 1) + "1", N()},
      {repeat("-", limit) + "1", I(1)},
      {repeat("-", limit + 1) + "1", N()},
      {repeat("NOT ", limit) + "0", B(false)},
      {repeat("NOT ", limit + 1) + "0", N()},
      {repeat("ABS(", limit) + "1", F(1)},
      {repeat("ABS(", limit + 1) + "1", N()},
      // Depth is released on the way out: many shallow groups in a row are fine.
      {repeat("(((1)))+", 1000) + "0", I(1000)},
      {"1 + " + repeat("(", limit + 1) + "1", N()},  // the whole evaluation gives up
  });
}

TEST(ExprEvaluatorTest, HostileInputsStayCheap) {
  // None of these may take more than linear work; a quadratic step would make the test crawl.
  std::string parens(100000, '(');
  EXPECT_EQ(Eval(parens + "1"), N());
  EXPECT_EQ(Text("[" + parens + "1]"), "[" + parens + "1]");

  std::string sum = "1";
  while (sum.size() < (1u << 20)) sum += "+1";
  EXPECT_EQ(Eval(sum), I(static_cast<int64_t>(sum.size() / 2 + 1)));

  std::string concat = "'ab'";
  for (int i = 0; i < 200000; ++i) concat += "+'ab'";
  const TExprValue joined = Eval(concat);
  ASSERT_EQ(joined.Kind(), evkString);
  EXPECT_EQ(joined.AsString().size(), 400002u);

  // A long name after an operand at every nesting level is not rescanned for each keyword.
  const std::string name(1 << 20, 'x');
  EXPECT_EQ(Eval(std::string(200, '(') + "1 " + name), I(1));

  // Exponential growth stops at the text cap (null, read as "" further out) instead of
  // exhausting memory.
  std::string grow = "'aaaaaaaaaaaaaaaa'";
  for (int i = 0; i < 40; ++i) grow = "REPLACE(" + grow + ", 'a', 'aaaaaaaaaaaaaaaa')";
  EXPECT_EQ(Eval(grow), S(""));
  EXPECT_EQ(Eval("FORMAT('%999999s', 'x')").AsString().size(), 999999u);
}

TEST(ExprEvaluatorTest, InvalidUtf8AndControlCharacters) {
  ExpectAll({
      {"'\xFF\xFE'", S("\xFF\xFE")},
      {"LENGTH('\xFF\xC3')", I(2)},
      {"UPPER('\xFF\xC3\xA4')", S("\xFF\xC3\x84")},
      {"COPY('a\xFF" "b', 2, 1)", S("\xFF")},
      {"1 + \x01", N()},
      {"\x01", N()},
      {"\xC3\xBC", N()},  // ü is no name character
      {"1 +\r 2", N()},
  });
  EXPECT_EQ(Eval(std::string("1\0+1", 4)), I(1));

  // Random bytes and fragments of the language: every input gives some value, nothing escapes.
  const std::vector<std::string> pieces = {"(", ")", "'", "\"", "[", "]", "+", "-", "*", "/", "<", ">", "=",
                                           ",", ".", " ", "NOT ", " AND ", " OR ", "1", "2.5", "Qty", "Due",
                                           "SUM(", "COPY(", "FORMAT('%", "d", "s", "IIF(", "\n", "\xFF", "\xC3"};
  std::mt19937 rng(12345);
  for (int i = 0; i < 20000; ++i) {
    std::string expr;
    const int n = static_cast<int>(rng() % 24);
    for (int k = 0; k < n; ++k) {
      if (rng() % 4 == 0)
        expr.push_back(static_cast<char>(rng() % 256));
      else
        expr += pieces[rng() % pieces.size()];
    }
    const TExprValue v = Eval(expr);
    EXPECT_LE(static_cast<int>(v.Kind()), static_cast<int>(evkDateTime));
    (void)Text(expr);
  }
}

}  // namespace
}  // namespace quillet
