#include "expr/expr_value.h"

#include <charconv>
#include <cmath>

#include "base/number_format.h"
#include "base/utf8.h"
#include "expr/date_time.h"
#include "expr/decimal_digits.h"

namespace quillet {

TExprValue TExprValue::Empty() {
  TExprValue v;
  v.FKind = evkEmpty;
  return v;
}

TExprValue TExprValue::FromBool(bool Value) {
  TExprValue v;
  v.FKind = evkBoolean;
  v.FBool = Value;
  return v;
}

TExprValue TExprValue::FromInt(int64_t Value) {
  TExprValue v;
  v.FKind = evkInteger;
  v.FInt = Value;
  return v;
}

TExprValue TExprValue::FromFloat(double Value) {
  TExprValue v;
  v.FKind = evkFloat;
  v.FFloat = Value;
  return v;
}

TExprValue TExprValue::FromString(std::string Value) {
  TExprValue v;
  v.FKind = evkString;
  v.FString = std::move(Value);
  return v;
}

TExprValue TExprValue::FromDateTime(double Value) {
  TExprValue v;
  v.FKind = evkDateTime;
  v.FFloat = Value;
  return v;
}

std::string FloatToText(double Value) {
  if (std::isnan(Value)) return "NAN";
  if (std::isinf(Value)) return Value < 0 ? "-INF" : "INF";
  return GeneralNotation(Value, 15, ".");
}

namespace {

std::string DateTimeToText(double Value) {
  int y, m, d, h, n, s, ms;
  if (!DecodeDateTime(Value, y, m, d, h, n, s, ms)) return FloatToText(Value);
  char buf[32];
  auto two = [](char* p, int v) {
    p[0] = static_cast<char>('0' + v / 10);
    p[1] = static_cast<char>('0' + v % 10);
  };
  two(buf, d);
  buf[2] = '.';
  two(buf + 3, m);
  buf[5] = '.';
  two(buf + 6, y / 100);
  two(buf + 8, y % 100);
  if (h == 0 && n == 0 && s == 0) return std::string(buf, 10);
  buf[10] = ' ';
  two(buf + 11, h);
  buf[13] = ':';
  two(buf + 14, n);
  buf[16] = ':';
  two(buf + 17, s);
  return std::string(buf, 19);
}

}  // namespace

std::string TExprValue::ToText() const {
  switch (FKind) {
    case evkNull:
    case evkEmpty:
      return std::string();
    case evkBoolean:
      return FBool ? "True" : "False";
    case evkInteger: {
      char buf[24];
      const auto r = std::to_chars(buf, buf + sizeof buf, FInt);
      return std::string(buf, r.ptr);
    }
    case evkFloat:
      return FloatToText(FFloat);
    case evkString:
      return FString;
    case evkDateTime:
      return DateTimeToText(FFloat);
  }
  return std::string();
}

std::string TrimControl(std::string_view Text) {
  size_t b = 0, e = Text.size();
  while (b < e && static_cast<unsigned char>(Text[b]) <= 32) ++b;
  while (e > b && static_cast<unsigned char>(Text[e - 1]) <= 32) --e;
  return std::string(Text.substr(b, e - b));
}

bool TExprValue::TryToNumber(double& Value) const {
  switch (FKind) {
    case evkInteger:
      Value = static_cast<double>(FInt);
      return true;
    case evkFloat:
    case evkDateTime:
      Value = FFloat;
      return true;
    case evkString: {
      std::string s = TrimControl(FString);
      if (ParseDouble(s, Value)) return true;
      // Second chance with "," as the decimal separator; a "." is then not part of a number.
      if (s.find('.') != std::string::npos) return false;
      const size_t comma = s.find(',');
      if (comma == std::string::npos) return false;
      s[comma] = '.';
      return ParseDouble(s, Value);
    }
    default:
      return false;
  }
}

bool TExprValue::IsTruthy() const {
  switch (FKind) {
    case evkNull:
    case evkEmpty:
      return false;
    case evkBoolean:
      return FBool;
    case evkInteger:
      return FInt != 0;
    case evkFloat:
      return FFloat != 0;
    case evkString: {
      const std::string s = TrimControl(FString);
      return !(s.empty() || s == "0");
    }
    case evkDateTime:
      return true;
  }
  return true;
}

bool operator==(const TExprValue& A, const TExprValue& B) {
  if (A.FKind != B.FKind) return false;
  switch (A.FKind) {
    case evkNull:
    case evkEmpty:
      return true;
    case evkBoolean:
      return A.FBool == B.FBool;
    case evkInteger:
      return A.FInt == B.FInt;
    case evkFloat:
    case evkDateTime:
      return A.FFloat == B.FFloat;
    case evkString:
      return A.FString == B.FString;
  }
  return false;
}

int CompareValues(const TExprValue& A, const TExprValue& B) {
  if (A.Kind() == evkInteger && B.Kind() == evkInteger)
    return A.AsInt() < B.AsInt() ? -1 : (A.AsInt() > B.AsInt() ? 1 : 0);
  double a, b;
  if (A.TryToNumber(a) && B.TryToNumber(b)) return a < b ? -1 : (a > b ? 1 : 0);
  const std::string ta = Utf8Lower(A.ToText());
  const std::string tb = Utf8Lower(B.ToText());
  const int c = ta.compare(tb);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

}  // namespace quillet
