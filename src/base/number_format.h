// Locale-independent number text, built on std::to_chars. Every number the library writes into a
// file goes through one of these.
#pragma once

#include <string>

namespace quillet {

// Shortest decimal text that reads back to the same float ("10.1", never "10.100000381469727").
// Whole values have no decimal point. NaN and infinities give "0".
std::string FloatToShortest(float Value);

// Shortest decimal text that reads back to the same double; whole values without decimal point.
std::string DoubleToShortest(double Value);

// Fixed-point text with at most MaxDecimals decimals (0 to 15), trailing zeros and a bare point
// removed, "." as separator and never an exponent: the pattern "0.###" is FormatDecimals(v, 3).
// Rounds the value's 15-significant-digit decimal form half away from zero (2.675 -> 2.68);
// a result of zero is written "0", never "-0".
std::string FormatDecimals(double Value, int MaxDecimals);

// FormatDecimals appended to Out without a temporary string: the hot path of page content.
void AppendDecimals(std::string& Out, double Value, int MaxDecimals);

namespace detail {
// The rule of FormatDecimals worked out digit by digit; AppendDecimals takes a shortcut where the
// result cannot differ. Exposed so that tests can hold the two against each other.
void AppendDecimalsBy15Digits(std::string& Out, double Value, int MaxDecimals);
}  // namespace detail

// Parses a whole string as a finite double with "." as the decimal separator (leading and
// trailing blanks and tabs allowed, exponent allowed). Returns false when the text is not a number.
bool ParseDouble(std::string_view Text, double& Value);

}  // namespace quillet
