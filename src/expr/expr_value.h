// The dynamically typed value of the expression language.
//
// Text form, used by EvalText, by "+" when it concatenates and by text comparison:
//   null, empty      ""
//   integer          decimal digits
//   float            at most 15 significant digits rounded half away from zero, "." as decimal
//                    separator, no trailing zeros and no point when whole: 2.5, 0.1, 12; a running
//                    sum of 4954598.919999999 shows as 4954598.92. Magnitudes below 1E-5 and from
//                    1E15 up take an exponent: 1E20, 1.5E-7, -2E15 (1E-5 itself is 0.00001).
//                    NaN and infinities show as NAN, INF, -INF; the evaluator never makes them.
//   boolean          True / False
//   date-time        dd.mm.yyyy hh:nn:ss, or dd.mm.yyyy when the time of day is 00:00:00; a value
//                    outside the years 1..9999 shows as its number of days
//   string           as it is
//
// A date-time is a double counting days since 1899-12-30 00:00 (1.25 is 1899-12-31 06:00). For
// negative values the integer part counts days back and the fraction, taken as an absolute
// value, is the time of day (-1.25 is 1899-12-29 06:00).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillet {

enum TExprValueKind : uint8_t { evkNull, evkEmpty, evkBoolean, evkInteger, evkFloat, evkString, evkDateTime };

class TExprValue {
 public:
  TExprValue() = default;  // null

  static TExprValue Null() { return TExprValue(); }
  static TExprValue Empty();
  static TExprValue FromBool(bool Value);
  static TExprValue FromInt(int64_t Value);
  static TExprValue FromFloat(double Value);
  static TExprValue FromString(std::string Value);
  static TExprValue FromDateTime(double Value);

  TExprValueKind Kind() const noexcept { return FKind; }
  bool IsNull() const noexcept { return FKind == evkNull; }
  bool IsEmpty() const noexcept { return FKind == evkEmpty; }
  bool IsNullOrEmpty() const noexcept { return FKind == evkNull || FKind == evkEmpty; }
  bool IsNumeric() const noexcept { return FKind == evkInteger || FKind == evkFloat; }

  // Payload accessors; each is meaningful only for its own kind and reads 0/false/"" otherwise.
  bool AsBool() const noexcept { return FBool; }
  int64_t AsInt() const noexcept { return FInt; }
  double AsFloat() const noexcept { return FFloat; }  // float and date-time payload
  double AsDateTime() const noexcept { return FFloat; }
  const std::string& AsString() const noexcept { return FString; }
  // Moves the string payload out (the value keeps its kind with an empty string).
  std::string TakeString() noexcept { return std::move(FString); }

  std::string ToText() const;

  // Number conversion: integers, floats and date-times convert; a string is trimmed and read with
  // "." as decimal separator, failing that with "," ("1,5" is 1.5); null, empty and booleans do
  // not convert.
  bool TryToNumber(double& Value) const;

  // Truth used by OR, AND, NOT and IIF: null and empty are false, a boolean is itself, a number is
  // true when not zero, a string is false only when it trims to "" or "0" (so "False" is true),
  // anything else (a date-time) is true.
  bool IsTruthy() const;

  // Same kind and same payload (floats compare with ==).
  friend bool operator==(const TExprValue& A, const TExprValue& B);

 private:
  TExprValueKind FKind = evkNull;
  bool FBool = false;
  int64_t FInt = 0;
  double FFloat = 0;
  std::string FString;
};

// The float part of the text form on its own.
std::string FloatToText(double Value);

// Orders two values as the comparison operators do: numerically when both convert to numbers
// (two integers exactly), otherwise by their text forms ignoring case (full Unicode lower-case
// folding, then code point order). Returns <0, 0 or >0.
int CompareValues(const TExprValue& A, const TExprValue& B);

// Trims characters with codes up to 32 (blanks and control characters) at both ends.
std::string TrimControl(std::string_view Text);

}  // namespace quillet
